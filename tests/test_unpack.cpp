// Packed hash sections: the writer's packer against the library's unpacker on
// a whole data set, streams made by hand for each rule of the format, and
// damaged input, missing files and full disks.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "DataTables.h"
#include "NCOA.h"
#include "Packer.h"
#include "TestSupport.h"
#include "qvncoa.h"

namespace fs = std::filesystem;

namespace {

const std::string kWorld = QV_SOURCE_DIR "/data/sample/world.json";

std::string sectionName(char letter, int section) {
    return std::string("clk.") + letter + ".hs" + std::to_string(section);
}
fs::path sectionPath(const fs::path& root, char letter, int section) {
    return root / (section == 0 ? "DVD 2" : "DVD 1") / sectionName(letter, section);
}

// A packed stream written as text: '0' and '1' are bits, anything else is
// ignored; the last byte is padded with zero bits.
std::string bits(const std::string& text) {
    std::string out;
    int n = 0;
    unsigned char acc = 0;
    for (char c : text) {
        if (c != '0' && c != '1') continue;
        acc = static_cast<unsigned char>((acc << 1) | (c == '1'));
        if (++n == 8) {
            out.push_back(static_cast<char>(acc));
            n = 0;
            acc = 0;
        }
    }
    if (n) out.push_back(static_cast<char>(acc << (8 - n)));
    return out;
}
std::string run(std::size_t n) {
    std::string s;
    for (; n >= 7; n -= 7) s += "111 ";
    static const char* groups[] = {"000", "001", "010", "011", "100", "101", "110"};
    return s + groups[n] + " ";
}
std::string literal(unsigned char c) {
    std::string s;
    for (int i = 7; i >= 0; --i) s += ((c >> i) & 1) ? '1' : '0';
    return s + " ";
}
const std::string kEnd = literal(0);

struct Outcome {
    int code;
    std::string text;
};

Outcome unpackFile(const fs::path& from, const fs::path& to) {
    char err[QVNCOA_ERROR_TEXT_SIZE] = "untouched";
    const int rc = qvncoa_unpackHashFile(from.c_str(), to.c_str(), err);
    return {rc, err};
}

// Unpacks a packed stream given as bytes and returns what came out.
std::string unpackBytes(const TempRoot& t, const std::string& packed, int* rc = nullptr) {
    t.write("in.SZP", packed);
    std::remove(t.path("out").c_str());
    const Outcome o = unpackFile(t.path("in.SZP"), t.path("out"));
    if (rc) *rc = o.code;
    else EXPECT_EQ(o.code, QVNCOA_OK) << o.text;
    return fileBytes(t.path("out"));
}

// The sample world written twice by the command, as it is and with packed
// hash sections, and the packed one unpacked in place: as the demo runs it.
class PackedSample : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        root_ = new TempRoot;
        plain_ = root_->path("plain");
        packed_ = root_->path("packed");
        log_ = runNcoa("dataset build '" + kWorld + "' '" + plain_.string() + "' --quiet", &status_);
        if (status_ == 0) log_ = runNcoa("dataset build '" + kWorld + "' '" + packed_.string() + "' --packed", &status_);
        for (char l = 'a'; l <= 'z'; ++l)
            for (int s = 0; s <= 9; ++s) {
                const fs::path p = sectionPath(packed_, l, s);
                packedOnly_ &= !fs::exists(p) && fs::exists(p.string() + ".SZP");
            }
        // Nothing proves before it is unpacked; one file, then all of them.
        int before = 0;
        runNcoa("prove '" + packed_.string() + "'", &before);
        provedPacked_ = before == 0;
        if (status_ == 0) log_ = runNcoa("dataset unpack '" + packed_.string() + "' --file 'DVD 2/clk.a.hs0.SZP'", &status_);
        if (status_ == 0) log_ = runNcoa("dataset unpack '" + packed_.string() + "'", &status_);
    }
    static void TearDownTestSuite() { delete root_; }
    void SetUp() override { ASSERT_EQ(status_, 0) << log_; }

    static inline TempRoot* root_ = nullptr;
    static inline fs::path plain_, packed_;
    static inline std::string log_;
    static inline int status_ = -1;
    static inline bool packedOnly_ = true, provedPacked_ = true;
};

}  // namespace

TEST_F(PackedSample, EverySectionUnpacksToTheFileWrittenUnpacked) {
    EXPECT_TRUE(packedOnly_) << "the packed set holds only .SZP sections";
    EXPECT_NE(log_.find("Unpacked 260 files"), std::string::npos) << log_;
    std::uint64_t bytes = 0, packedBytes = 0;
    for (char l = 'a'; l <= 'z'; ++l)
        for (int s = 0; s <= 9; ++s) {
            const std::string want = fileBytes(sectionPath(plain_, l, s));
            ASSERT_FALSE(want.empty());
            ASSERT_EQ(fileBytes(sectionPath(packed_, l, s)), want) << sectionName(l, s);
            bytes += want.size();
            packedBytes += fs::file_size(sectionPath(packed_, l, s).string() + ".SZP");
        }
    EXPECT_LT(packedBytes * 10, bytes) << "mostly zero sections pack small";
    // Headers list the unpacked files: the same text either way.
    EXPECT_EQ(fileBytes(packed_ / "DVD 1/dvdhdr01.dat"), fileBytes(plain_ / "DVD 1/dvdhdr01.dat"));
    EXPECT_EQ(fileBytes(packed_ / "DVD 2/dvdhdr02.dat"), fileBytes(plain_ / "DVD 2/dvdhdr02.dat"));
}

TEST_F(PackedSample, UnpackedSetProvesAndAnswersTheListAsTheUnpackedOne) {
    EXPECT_FALSE(provedPacked_);
    void* obj = openDataObj(packed_.string());
    ASSERT_NE(obj, nullptr);
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    EXPECT_EQ(qvncoa_validateDVDFileHashSignatures(obj, nullptr, err), QVNCOA_OK) << err;
    // The export hides all but 1081; the verification itself must find every file.
    QvbString failed;
    EXPECT_EQ(QV_NCOA::tablesOf(obj)->verifyDVDFileHashes(failed, nullptr), QVNCOA_OK) << failed.asCstr();
    qvncoa_destroy_data_obj(&obj);

    int status = 0;
    for (const fs::path& set : {plain_, packed_}) {
        const std::string out = runNcoa("match --data '" + set.string() + "' --in '" QV_SOURCE_DIR
                                     "/data/sample/list.csv' --out '" + set.string() + ".csv' --threads 1",
                                     &status);
        ASSERT_EQ(status, 0) << out;
    }
    const std::string answers = fileBytes(plain_.string() + ".csv");
    EXPECT_GT(std::count(answers.begin(), answers.end(), '\n'), 10);
    EXPECT_EQ(fileBytes(packed_.string() + ".csv"), answers);

    runNcoa("dataset unpack '" + root_->path("nowhere") + "'", &status);
    EXPECT_NE(status, 0);
    runNcoa("dataset unpack '" + packed_.string() + "' --file 'DVD 2/clk.a.hs0'", &status);
    EXPECT_NE(status, 0) << "only .SZP files unpack";
}

TEST_F(PackedSample, ASectionCutShortDoesNotProve) {
    // Whatever the cut stream gives, or if it is refused, the proof refuses it.
    const fs::path section = sectionPath(packed_, 'q', 3), szp = section.string() + ".SZP";
    const std::string good = fileBytes(section), whole = fileBytes(szp);
    root_->write("cut.SZP", whole.substr(0, whole.size() / 2));
    const Outcome o = unpackFile(root_->path("cut.SZP"), section);
    if (o.code != QVNCOA_OK) {
        EXPECT_EQ(o.code, QVNCOA_ERR_FILE_OPEN);
        EXPECT_EQ(o.text, root_->path("cut.SZP"));
    }
    EXPECT_NE(fileBytes(section), good);
    void* obj = openDataObj(packed_.string());
    ASSERT_NE(obj, nullptr);
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    EXPECT_EQ(qvncoa_validateDVDFileHashSignatures(obj, nullptr, err), QVNCOA_ERR_SHA1_MISMATCH);
    EXPECT_NE(std::string(err).find("clk.q.hs3"), std::string::npos) << err;
    qvncoa_destroy_data_obj(&obj);
    ASSERT_EQ(unpackFile(szp, section).code, QVNCOA_OK);
    EXPECT_EQ(fileBytes(section), good);
}

TEST(PackedFormat, LiteralsRunsAndTheEnd) {
    TempRoot t;
    // 000 then a zero literal: an empty file.
    EXPECT_EQ(unpackBytes(t, bits("000" + kEnd)), "");
    // One byte stays in the output block: nothing reaches the file.
    EXPECT_EQ(unpackBytes(t, bits("000" + literal(0x41) + "000" + kEnd)), "");
    // 512 zeros: 73 groups of 7 and a group of 1.
    EXPECT_EQ(unpackBytes(t, bits(run(512) + kEnd)), std::string(512, '\0'));
    EXPECT_EQ(run(512).size(), 74u * 4);
    // A run of exactly 7 is 111 000; 511 zeros and a literal fill a block.
    EXPECT_EQ(run(7), "111 000 ");
    EXPECT_EQ(unpackBytes(t, bits(run(511) + literal(0x41) + run(0) + kEnd)), std::string(511, '\0') + "A");

    // Every group value, and runs of one to several groups, each before a literal.
    std::string stream, want;
    for (std::size_t n = 0; n <= 22; ++n) {
        stream += run(n) + literal(static_cast<unsigned char>(0x80 | n));
        want += std::string(n, '\0') + static_cast<char>(0x80 | n);
    }
    // All 255 non-zero literals.
    for (int c = 1; c < 256; ++c) {
        stream += run(0) + literal(static_cast<unsigned char>(c));
        want += static_cast<char>(c);
    }
    const std::size_t pad = 1024 - want.size();
    stream += run(pad) + kEnd;
    want += std::string(pad, '\0');
    EXPECT_EQ(unpackBytes(t, bits(stream)), want);
}

TEST(PackedFormat, RunsAcrossAndUpToBlockBoundaries) {
    TempRoot t;
    // A run that ends exactly at the end of a block, a literal opening the next.
    std::string want = std::string(512, '\0') + "B" + std::string(511, '\0');
    EXPECT_EQ(unpackBytes(t, bits(run(512) + literal('B') + run(511) + kEnd)), want);
    // A run crossing two block ends, and bytes behind the last whole block lost.
    want = "C" + std::string(1100, '\0') + "D";
    const std::string got = unpackBytes(t, bits("000 " + literal('C') + run(1100) + literal('D') + run(400) + kEnd));
    EXPECT_EQ(got, (want + std::string(400, '\0')).substr(0, 1024));
}

TEST(PackedFormat, InputEndingMidCodeReadsTheLastBlockAgain) {
    TempRoot t;
    // Cut inside the literal: the missing bits come from the fresh (zero)
    // block, so 01000 reads as 0x40, and then the zero bits end the stream.
    std::string s = run(511) + "01000";
    EXPECT_EQ(bits(s).size(), 29u);
    EXPECT_EQ(unpackBytes(t, bits(s)), std::string(511, '\0') + "@");
    // A zero-length file is an empty stream.
    EXPECT_EQ(unpackBytes(t, ""), "");

    // A whole block of one bits is a run that never ends: refused with the
    // source's path, after at most a few blocks of output.
    int rc = 0;
    const std::string out = unpackBytes(t, std::string(512, '\xff'), &rc);
    EXPECT_EQ(rc, QVNCOA_ERR_FILE_OPEN);
    EXPECT_LT(out.size(), 1u << 20);
    // Past the end, the short last block (10 bytes) lies over the start of
    // the block before it, and the whole is read again and again. Here the
    // first pass reads 800 groups of 111, then 000 and the literal 0x01 from
    // bytes 300-301 (00000000 00111111); the passes after it meet those bytes
    // in another bit position, where they give 000 and a zero literal.
    std::string twoBlocks(512, '\xff');
    twoBlocks[300] = '\x00';
    twoBlocks[301] = '\x3f';
    twoBlocks += std::string(10, '\xff');
    const std::string got = unpackBytes(t, twoBlocks, &rc);
    EXPECT_EQ(rc, QVNCOA_OK);
    std::string want(14848, '\0');
    want[5600] = '\x01';
    EXPECT_EQ(got, want);
}

TEST(PackedFormat, RandomBytesGiveAnOutcomeNeverACrash) {
    TempRoot t;
    std::mt19937 rng(1515);
    for (int i = 0; i < 300; ++i) {
        std::string junk(rng() % 3000, '\0');
        // Skewed towards one bits, as packed sections are, so that runs are long.
        for (auto& c : junk) c = static_cast<char>(rng() % 4 ? 0xFF : rng());
        int rc = 0;
        const std::string out = unpackBytes(t, junk, &rc);
        EXPECT_TRUE(rc == QVNCOA_OK || rc == QVNCOA_ERR_FILE_OPEN) << rc;
        EXPECT_EQ(out.size() % 512, 0u);
    }
}

TEST(PackedFiles, MissingSourceUnwritableOutputAndFullDisk) {
    TempRoot t;
    t.write("ok.SZP", bits(run(70000) + literal('Z') + run(1679) + kEnd));
    Outcome o = unpackFile(t.path("absent.SZP"), t.path("out"));
    EXPECT_EQ(o.code, QVNCOA_ERR_FILE_OPEN);
    EXPECT_EQ(o.text, t.path("absent.SZP"));
    EXPECT_FALSE(fs::exists(t.path("out"))) << "nothing is created for a missing source";
    o = unpackFile(t.path("ok.SZP"), t.path("no/such/folder/out"));
    EXPECT_EQ(o.code, QVNCOA_ERR_FILE_WRITE);
    EXPECT_EQ(o.text, t.path("no/such/folder/out"));
    // A disk that takes nothing: the block that can't be written names the output.
    if (fs::exists("/dev/full")) {
        o = unpackFile(t.path("ok.SZP"), "/dev/full");
        EXPECT_EQ(o.code, QVNCOA_ERR_FILE_WRITE);
        EXPECT_EQ(o.text, "/dev/full");
    }
    // Without an error buffer the code still comes back.
    EXPECT_EQ(qvncoa_unpackHashFile(t.path("absent.SZP").c_str(), t.path("out").c_str(), nullptr),
              QVNCOA_ERR_FILE_OPEN);
    o = unpackFile(t.path("ok.SZP"), t.path("out"));
    EXPECT_EQ(o.code, QVNCOA_OK);
    EXPECT_EQ(o.text, "untouched");
    EXPECT_EQ(fs::file_size(t.path("out")), 71680u);
}

namespace {
struct Calls {
    std::vector<std::pair<unsigned, unsigned>> seen;
    int answer = QVNCOA_OK;
};
int record(unsigned current, unsigned total, qvncoa_out_addr_t* rec, void* user) {
    EXPECT_EQ(rec, nullptr);
    Calls* c = static_cast<Calls*>(user);
    c->seen.emplace_back(current, total);
    return c->answer;
}
}  // namespace

TEST(PackedFiles, FolderTakesSzpInAnyCaseAndReportsEachFile) {
    TempRoot t;
    const fs::path in = t.path("in"), out = t.path("out");
    fs::create_directories(in);
    fs::create_directories(out);
    const std::string block = bits(run(511) + literal('x') + run(0) + kEnd);
    for (const char* name : {"clk.a.hs1.SZP", "clk.b.hs2.szp", "clk.c.hs3.SZP.bak", "noext", "clk.d.hs4"})
        std::ofstream(in / name, std::ios::binary) << block;
    Calls calls;
    qvncoa_prog_cb_t cb = {record, &calls};
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    ASSERT_EQ(qvncoa_unpackHashFolder(in.c_str(), out.c_str(), &cb, err), QVNCOA_OK) << err;
    std::set<std::string> made;
    for (const auto& e : fs::directory_iterator(out)) made.insert(e.path().filename().string());
    EXPECT_EQ(made, (std::set<std::string>{"clk.a.hs1", "clk.b.hs2"}));
    EXPECT_EQ(fileBytes(out / "clk.b.hs2"), std::string(511, '\0') + "x");
    EXPECT_EQ(calls.seen, (std::vector<std::pair<unsigned, unsigned>>{{0, 2}, {1, 2}}));

    // Stopped by the callback after the first file: still 1000, one file made.
    fs::remove_all(out);
    fs::create_directories(out);
    calls = Calls{{}, 1053};
    EXPECT_EQ(qvncoa_unpackHashFolder(in.c_str(), out.c_str(), &cb, err), QVNCOA_OK);
    EXPECT_EQ(calls.seen.size(), 1u);
    EXPECT_EQ(std::distance(fs::directory_iterator(out), fs::directory_iterator()), 1);

    // No packed files: true, and no call.
    calls = Calls{};
    EXPECT_EQ(qvncoa_unpackHashFolder(out.c_str(), out.c_str(), &cb, err), QVNCOA_OK);
    EXPECT_TRUE(calls.seen.empty());

    // A missing folder names itself; a source that can't be opened names its entry.
    EXPECT_EQ(qvncoa_unpackHashFolder(t.path("absent").c_str(), out.c_str(), nullptr, err), QVNCOA_ERR_FILE_OPEN);
    EXPECT_EQ(std::string(err), t.path("absent"));
    fs::create_symlink(t.path("gone"), in / "clk.e.hs5.SZP");
    EXPECT_EQ(qvncoa_unpackHashFolder(in.c_str(), out.c_str(), nullptr, err), QVNCOA_ERR_FILE_OPEN);
    EXPECT_EQ(std::string(err), (in / "clk.e.hs5.SZP").string());
    fs::remove(in / "clk.e.hs5.SZP");
    EXPECT_EQ(qvncoa_unpackHashFolder(in.c_str(), t.path("absent").c_str(), nullptr, err), QVNCOA_ERR_FILE_WRITE);
}

TEST(PackedWriter, RandomSectionsRoundTripAndPartBlocksAreRefused) {
    TempRoot t;
    std::mt19937 rng(15);
    for (int density : {0, 1, 50, 1000}) {
        qvw::Bytes data(512 * (1 + rng() % 40), 0);
        for (auto& b : data)
            if (static_cast<int>(rng() % 1000) < density) b = static_cast<unsigned char>(rng());
        const qvw::Bytes packed = qvw::packSection(data, "test");
        EXPECT_EQ(unpackBytes(t, std::string(packed.begin(), packed.end())), std::string(data.begin(), data.end()))
            << density;
    }
    EXPECT_THROW(qvw::packSection(qvw::Bytes(100, 1), "clk.a.hs1"), qvw::WriterError);
    EXPECT_EQ(qvw::packSection(qvw::Bytes(), "empty").size(), 2u);  // 000 and the zero literal
}
