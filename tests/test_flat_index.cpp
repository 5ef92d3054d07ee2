// The prefix index of the flat files: the builder on hand-made files against
// a brute-force grouping, the nine files of qvncoa_buildFlatIndexFiles read
// back by a reader of this test's own, progress in whole percent, the
// fall-back at start-up when an index does not fit the data set, and the
// codes and paths of missing or damaged flat files.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "DataFileIndexer.h"
#include "DataSetWriter.h"
#include "DataTables.h"
#include "NCOA.h"
#include "TestSupport.h"
#include "World.h"
#include "qvncoa.h"

namespace fs = std::filesystem;
using QV_NCOA::CNCOA_DataFileIndexer;
using Entry = CNCOA_DataFileIndexer::idxStruct;

namespace {

const std::string kKb = QV_SOURCE_DIR "/data/namekb";

// 18-byte records whose keys begin with the given three-byte prefixes, in
// order; the next six key bytes count the records, so keys stay sorted.
std::string flatFile(const std::vector<uint32_t>& prefixes) {
    std::string out;
    for (size_t i = 0; i < prefixes.size(); ++i) {
        unsigned char rec[18] = {};
        for (int b = 0; b < 3; ++b) rec[b] = static_cast<unsigned char>(prefixes[i] >> (16 - 8 * b));
        for (int b = 0; b < 6; ++b) rec[3 + b] = static_cast<unsigned char>(i >> (40 - 8 * b));
        out.append(reinterpret_cast<const char*>(rec), sizeof rec);
    }
    return out;
}

std::vector<uint32_t> runs(const std::vector<std::pair<uint32_t, int>>& groups) {
    std::vector<uint32_t> p;
    for (const auto& g : groups) p.insert(p.end(), static_cast<size_t>(g.second), g.first);
    return p;
}

// "key:first-last" of each entry, in hexadecimal keys.
std::string shown(const std::vector<Entry>& idx) {
    std::string s;
    char b[40];
    for (const Entry& e : idx) s += (std::snprintf(b, sizeof b, " %x:%u-%u", e.key, e.first, e.last), b);
    return s;
}

std::vector<Entry> index3(const std::string& path) {
    std::vector<Entry> idx;
    CNCOA_DataFileIndexer ix(path.c_str(), idx, 18, 10, CNCOA_DataFileIndexer::eKey3, nullptr);
    ix.makeIndex();
    ix.verifyIndex();
    return idx;
}

// First and last record of each key group, by reading every record.
struct Group {
    uint32_t first, last;
};
std::map<uint32_t, Group> groupsOf(const std::string& bytes, int keyBytes) {
    std::map<uint32_t, Group> g;
    for (uint32_t i = 0; i * 18 < bytes.size(); ++i) {
        uint32_t key = 0;
        for (int b = 0; b < keyBytes; ++b) key = (key << 8) | static_cast<unsigned char>(bytes[i * 18 + b]);
        auto it = g.find(key);
        if (it == g.end())
            g[key] = Group{i, i};
        else
            it->second.last = i;
    }
    return g;
}

uint32_t be32(const std::string& s, size_t at) {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v = (v << 8) | static_cast<unsigned char>(s[at + i]);
    return v;
}

TEST(FlatIndexer, AbsentKeysAreZeroEntriesAndFoldingKeepsGroupBounds) {
    TempRoot t;
    t.write("gap", flatFile(runs({{5, 5}, {7, 4}})));
    EXPECT_EQ(shown(index3(t.path("gap"))), " 5:0-0 0:0-0 7:5-9");  // entry 0 searches the whole file

    // 0x012345 and 0x012346 fold into 0x0123: its first that of 0x012345,
    // its last the record before the next group.
    t.write("fold", flatFile(runs({{0x012345, 4}, {0x012346, 3}, {0x012400, 3}})));
    std::vector<Entry> folded;
    const std::string foldPath = t.path("fold");
    CNCOA_DataFileIndexer ix(foldPath.c_str(), folded, 18, 10, CNCOA_DataFileIndexer::eKey3, nullptr);
    ix.makeIndex();
    ix.makeSubIndex(CNCOA_DataFileIndexer::eKey2);
    ix.verifyIndex();
    EXPECT_EQ(shown(folded), " 123:0-6 124:7-10");
    EXPECT_THROW(ix.makeSubIndex(CNCOA_DataFileIndexer::eKey2), QV_NCOA::qvncoa_exception);
}

// Groups of 1 to 23 records, changes on probe places (10, 20, 30) and beside
// them, gaps in the keys: every group's first record is found.
TEST(FlatIndexer, EveryGroupStartFoundBySparseProbes) {
    TempRoot t;
    std::vector<std::pair<uint32_t, int>> g = {{0x100, 10}, {0x101, 10}, {0x105, 9}, {0x106, 1}, {0x107, 1}};
    uint32_t key = 0x200;
    for (int i = 0; i < 150; ++i) {
        g.push_back({key, 1 + (i * 7 + i / 3) % 23});
        key += 1 + static_cast<uint32_t>(i % 4 == 0 ? 3 : 0);
    }
    const std::vector<uint32_t> prefixes = runs(g);
    const std::string bytes = flatFile(prefixes);
    t.write("many", bytes);
    const std::vector<Entry> idx = index3(t.path("many"));
    const std::map<uint32_t, Group> groups = groupsOf(bytes, 3);
    ASSERT_EQ(idx.size(), prefixes.back() - prefixes.front() + 1);
    size_t present = 0;
    for (size_t i = 0; i < idx.size(); ++i) {
        const uint32_t k = prefixes.front() + static_cast<uint32_t>(i);
        auto it = groups.find(k);
        if (it == groups.end()) {
            EXPECT_EQ(idx[i].key | idx[i].first | idx[i].last, 0u) << std::hex << k;
            continue;
        }
        ++present;
        EXPECT_EQ(idx[i].key, k);
        EXPECT_EQ(idx[i].first, it->second.first) << std::hex << k;
    }
    EXPECT_EQ(present, groups.size());
}

// Progress over three hand-made files: whole percentages of 100, rising.
TEST(FlatIndexBuild, ProgressInWholePercentAndDamagedFilesGiveTheirCode) {
    TempRoot t;
    std::vector<std::pair<uint32_t, int>> g;
    for (uint32_t k = 0; k < 400; ++k) g.push_back({0x3000 + k * 2, 1 + static_cast<int>(k % 5)});
    const std::string bytes = flatFile(runs(g));
    for (const char* f : {"DVD 1/clk.flt.1", "DVD 1/clk.flt.2", "DVD 2/clk.flt.3"}) t.write(f, bytes);

    std::vector<std::pair<unsigned, unsigned>> calls;
    qvncoa_prog_cb_t progress = {[](unsigned cur, unsigned total, qvncoa_out_addr_t* rec, void* user) -> int {
                                     EXPECT_EQ(rec, nullptr);
                                     static_cast<std::vector<std::pair<unsigned, unsigned>>*>(user)->push_back(
                                         {cur, total});
                                     return 0;  // ignored
                                 },
                                 &calls};
    char err[QVNCOA_ERROR_TEXT_SIZE] = {};
    ASSERT_EQ(qvncoa_buildFlatIndexFiles(t.root.c_str(), &progress, err), QVNCOA_OK) << err;
    ASSERT_GT(calls.size(), 50u);
    for (size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ(calls[i].second, 100u);
        EXPECT_LE(calls[i].first, 100u);
        if (i > 0) {
            EXPECT_GT(calls[i].first, calls[i - 1].first);
        }
    }
    for (int bits : {24, 16, 8})
        for (int n = 0; n < 3; ++n) EXPECT_TRUE(fs::exists(t.path("flt_idx_" + std::to_string(bits) + "_" +
                                                                  std::to_string(n) + ".dat")));

    // A block out of order in the second file fails its proof.
    t.write("DVD 1/clk.flt.2", flatFile(runs({{1, 10}, {3, 10}, {2, 10}, {4, 10}})));
    EXPECT_EQ(qvncoa_buildFlatIndexFiles(t.root.c_str(), nullptr, err), 1050);
    EXPECT_STREQ(err, "Data file indexing error (2)");
    // A missing flat file, and an index file that can't be created.
    fs::remove(t.path("DVD 1/clk.flt.2"));
    EXPECT_EQ(qvncoa_buildFlatIndexFiles(t.root.c_str(), nullptr, err), 1040);
    EXPECT_EQ(std::string(err), t.path("DVD 1/clk.flt.2"));
    t.write("DVD 1/clk.flt.2", bytes);
    fs::remove(t.path("flt_idx_16_1.dat"));
    fs::create_directory(t.path("flt_idx_16_1.dat"));
    EXPECT_EQ(qvncoa_buildFlatIndexFiles(t.root.c_str(), nullptr, err), 1041);
    EXPECT_EQ(std::string(err), t.path("flt_idx_16_1.dat"));
}

// The sample world as a flat set, indexed.
class FlatIndexFiles : public ::testing::Test {
protected:
    void SetUp() override {
        root = fs::temp_directory_path() / ("qv-flatidx-" + std::to_string(::getpid()));
        fs::remove_all(root);
        world = qvw::loadWorld(QV_SOURCE_DIR "/data/sample/world.json");
        qvw::DataSetWriter(world, root.string(), qvw::DataSetKind::Flat).write();
        char err[QVNCOA_ERROR_TEXT_SIZE] = {};
        ASSERT_EQ(qvncoa_buildFlatIndexFiles(root.string().c_str(), nullptr, err), QVNCOA_OK) << err;
    }
    void TearDown() override {
        qvncoa_destroy_data_obj(&obj);
        fs::remove_all(root);
    }
    int open(unsigned flags) {
        qvncoa_destroy_data_obj(&obj);
        err[0] = '\0';
        return qvncoa_init_data_obj(&obj, root.string().c_str(), kKb.c_str(), "", 2, nullptr, err, flags);
    }
    std::string flat(int n) const {
        static const char* const names[] = {"DVD 1/clk.flt.1", "DVD 1/clk.flt.2", "DVD 2/clk.flt.3"};
        return (root / names[n]).string();
    }
    std::string idx(int bits, int n) const {
        return (root / ("flt_idx_" + std::to_string(bits) + "_" + std::to_string(n) + ".dat")).string();
    }

    fs::path root;
    qvw::World world;
    void* obj = nullptr;
    char err[QVNCOA_ERROR_TEXT_SIZE] = {};
};

// Each of the nine files read by this test's own reader: head, one entry per
// key value from the file's first to its last, each group's bounds.
TEST_F(FlatIndexFiles, NineFilesHoldEveryGroupOfTheirFlatFile) {
    for (int n = 0; n < 3; ++n) {
        const std::string records = fileBytes(flat(n));
        const uint32_t entries = static_cast<uint32_t>(records.size() / 18);
        for (int bytes = 3; bytes >= 1; --bytes) {
            SCOPED_TRACE("file " + std::to_string(n) + ", key bytes " + std::to_string(bytes));
            const std::string f = fileBytes(idx(8 * bytes, n));
            ASSERT_GE(f.size(), 12u);
            EXPECT_EQ(be32(f, 0), static_cast<uint32_t>(bytes));
            EXPECT_EQ(static_cast<unsigned char>(f[8]) << 8 | static_cast<unsigned char>(f[9]),
                      world.dataset.sequence & 0xFFFF);
            EXPECT_EQ(f[10] | f[11], 0);
            const std::map<uint32_t, Group> groups = groupsOf(records, bytes);
            const uint32_t low = groups.begin()->first, high = groups.rbegin()->first;
            const uint32_t count = be32(f, 4);
            ASSERT_EQ(count, high - low + 1);
            ASSERT_EQ(f.size(), 12 + 12 * static_cast<size_t>(count));
            for (uint32_t i = 0; i < count; ++i) {
                const uint32_t key = be32(f, 12 + 12 * i) >> (8 * (4 - bytes));
                uint32_t first, last;
                std::memcpy(&first, f.data() + 12 + 12 * i + 4, 4);
                std::memcpy(&last, f.data() + 12 + 12 * i + 8, 4);
                auto g = groups.find(low + i);
                if (g == groups.end()) {
                    ASSERT_EQ(key | first | last, 0u) << i;
                    continue;
                }
                EXPECT_EQ(key, low + i);
                EXPECT_EQ(first, g->second.first);
                if (i + 1 == count) {
                    EXPECT_EQ(last, entries);  // the last entry runs to the record count
                } else if (bytes < 3) {
                    EXPECT_EQ(last, g->second.last);
                } else if (i > 0) {
                    EXPECT_GE(last, g->second.last);  // the three-byte index may reach further
                }
            }
        }
    }
}

// An index that doesn't fit the data set is dropped whole at start-up, and
// the lookups go on without one.
TEST_F(FlatIndexFiles, IndexOfAnotherSetIsIgnored) {
    ASSERT_EQ(open(6), QVNCOA_OK) << err;
    const QV_NCOA::CNCOA_DataTables* t = QV_NCOA::tablesOf(obj);
    EXPECT_EQ(t->fltKeySize, CNCOA_DataFileIndexer::eKey3);
    for (int n = 0; n < 3; ++n) EXPECT_EQ(t->fltIndex[n].size(), (fs::file_size(idx(24, n)) - 12) / 12);

    // Another sequence number in the middle file's index.
    std::string other = fileBytes(idx(24, 1));
    other[9] = static_cast<char>(other[9] ^ 1);
    std::ofstream(idx(24, 1), std::ios::binary | std::ios::trunc) << other;
    ASSERT_EQ(open(6), QVNCOA_OK) << err;
    t = QV_NCOA::tablesOf(obj);
    EXPECT_EQ(t->fltKeySize, CNCOA_DataFileIndexer::eKeyNone);
    for (int n = 0; n < 3; ++n) EXPECT_TRUE(t->fltIndex[n].empty());

    // Another key size under the name of the one-byte index of the third
    // file; a missing one-byte index of the first; the two-byte ones still serve.
    fs::copy_file(idx(16, 2), idx(8, 2), fs::copy_options::overwrite_existing);
    ASSERT_EQ(open(2), QVNCOA_OK) << err;
    EXPECT_EQ(QV_NCOA::tablesOf(obj)->fltKeySize, CNCOA_DataFileIndexer::eKeyNone);
    fs::remove(idx(8, 0));
    ASSERT_EQ(open(2), QVNCOA_OK) << err;
    EXPECT_EQ(QV_NCOA::tablesOf(obj)->fltKeySize, CNCOA_DataFileIndexer::eKeyNone);
    ASSERT_EQ(open(4 | 8), QVNCOA_OK) << err;
    EXPECT_EQ(QV_NCOA::tablesOf(obj)->fltKeySize, CNCOA_DataFileIndexer::eKey2);
    EXPECT_FALSE(QV_NCOA::tablesOf(obj)->fltIndex[2].empty());
}

// A flat file missing at start-up gives its code with its path. One removed
// from under an open set goes on answering from what start-up opened.
TEST_F(FlatIndexFiles, MissingOrEmptyFlatFileGivesItsCodeAndPath) {
    const std::string third = fileBytes(flat(2));
    fs::remove(flat(2));
    EXPECT_EQ(open(0), 1040);
    EXPECT_EQ(std::string(err), flat(2));
    std::ofstream(flat(2), std::ios::binary | std::ios::trunc) << third;

    const std::string middle = fileBytes(flat(1));
    fs::remove(flat(1));
    EXPECT_EQ(open(0), 1040);
    EXPECT_EQ(std::string(err), flat(1));
    std::ofstream(flat(1), std::ios::binary | std::ios::trunc) << middle;

    std::ofstream(flat(0), std::ios::binary | std::ios::trunc).close();
    EXPECT_EQ(open(8), 1030);  // an empty file can't be held in memory

    ASSERT_EQ(open(0), QVNCOA_OK) << err;
    // A filing of the sample world: its search reaches a flat file.
    qvncoa_in_addr_t in = {"KAREN THOMAS", "118", "", "100011234", "", 'S'};
    qvncoa_out_addr_t before, after;
    std::memset(&before, 0, sizeof before);
    std::memset(&after, 0, sizeof after);
    ASSERT_EQ(qvncoa_lookup_without_qvav(obj, &in, &before, 0, 0, err, 0), QVNCOA_OK) << err;
    for (int n = 0; n < 3; ++n) fs::remove(flat(n));
    ASSERT_EQ(qvncoa_lookup_without_qvav(obj, &in, &after, 0, 0, err, 0), QVNCOA_OK) << err;
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

}  // namespace
