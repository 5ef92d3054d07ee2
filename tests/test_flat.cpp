// One world written as a hash and as a flat data set gives the same answers,
// field for field, through the exported lookup: the sample world with its
// list, and a synthetic world with a generated list of hits, near misses,
// misses and coded filings. The flat set is searched on disk and in memory,
// without an index and with each index size, and from four threads at once.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "DataSetWriter.h"
#include "DataTables.h"
#include "Emdp.h"
#include "FlatEncoder.h"
#include "FlatLookup.h"
#include "HashLookup.h"
#include "NCOA.h"
#include "NameLists.h"
#include "Synth.h"
#include "TestSupport.h"
#include "World.h"
#include "qvncoa.h"
#include "qvs_auth.h"

namespace fs = std::filesystem;

namespace flattest {

const std::string kKb = QV_SOURCE_DIR "/data/namekb";

struct Input {
    std::string name, pno, sno, desc, zip9;
    char type = 'S';
};

struct Answer {
    int rc = 0;
    qvncoa_out_addr_t out;
};

Answer lookUp(void* obj, const Input& r) {
    Answer a;
    std::memset(&a.out, 0, sizeof a.out);
    qvncoa_in_addr_t in = {r.name.c_str(), r.pno.c_str(), r.sno.c_str(), r.zip9.c_str(), r.desc.c_str(), r.type};
    char err[QVNCOA_ERROR_TEXT_SIZE] = {};
    a.rc = qvncoa_lookup_without_qvav(obj, &in, &a.out, 0, 0, err, 0);
    return a;
}

// The sample list: Name (else Company), Primary Number, Secondary
// Designator, Secondary Number, ZIP and ZIP4, Record Type.
std::vector<Input> sampleList() {
    std::ifstream in(QV_SOURCE_DIR "/data/sample/list.csv");
    std::vector<Input> rows;
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
        const std::vector<std::string> f = csvFields(line);
        if (f.size() < 12) continue;
        Input r;
        r.name = f[1].empty() ? f[2] : f[1];
        r.pno = f[3];
        r.desc = f[5];
        r.sno = f[6];
        r.zip9 = f[9] + f[10];
        r.type = f[11].empty() ? ' ' : f[11][0];
        rows.push_back(r);
    }
    return rows;
}

// One world written as both kinds, the flat one indexed.
struct WorldSets {
    fs::path hash, flat;
    std::vector<Input> list;
};

struct Sets {
    fs::path dir;
    WorldSets sample, synth;
    std::unique_ptr<qvw::SynthGenerator> generator;
};

Sets* sets = nullptr;

void writeBoth(const qvw::World& world, const fs::path& dir, WorldSets& out) {
    out.hash = dir / "hash";
    out.flat = dir / "flat";
    qvw::DataSetWriter(world, out.hash.string(), qvw::DataSetKind::Hash).write();
    qvw::DataSetWriter(world, out.flat.string(), qvw::DataSetKind::Flat).write();
    char err[QVNCOA_ERROR_TEXT_SIZE] = {};
    ASSERT_EQ(qvncoa_buildFlatIndexFiles(out.flat.string().c_str(), nullptr, err), QVNCOA_OK) << err;
}

class FlatSets : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        sets = new Sets;
        sets->dir = fs::temp_directory_path() / ("qv-flat-" + std::to_string(::getpid()));
        fs::remove_all(sets->dir);
        writeBoth(qvw::loadWorld(QV_SOURCE_DIR "/data/sample/world.json"), sets->dir / "sample", sets->sample);
        sets->sample.list = sampleList();

        qvw::SynthOptions so;
        so.filings = 3000;
        so.seed = 11;
        so.nameListDir = kKb;
        sets->generator = std::make_unique<qvw::SynthGenerator>(so);
        writeBoth(sets->generator->world(), sets->dir / "synth", sets->synth);
        for (const qvw::SynthListRecord& r : sets->generator->makeList(3000, 0.3, 5)) {
            Input in;
            in.name = r.name.empty() ? r.company : r.name;
            in.pno = r.primary;
            in.sno = r.secondary;
            in.desc = r.designator;
            in.zip9 = r.zip + r.zip4;
            in.type = r.recordType;
            sets->synth.list.push_back(in);
        }
    }
    static void TearDownTestSuite() {
        fs::remove_all(sets->dir);
        delete sets;
        sets = nullptr;
    }

    // Every flag combination of index size and memory gives the hash set's
    // answers; with the three-byte index, four threads share the object.
    static void expectSameAnswers(const WorldSets& w, size_t minCodes) {
        std::vector<Answer> expected;
        std::set<std::string> codes;
        void* hash = openDataObj(w.hash.string());
        ASSERT_NE(hash, nullptr);
        for (const Input& r : w.list) {
            expected.push_back(lookUp(hash, r));
            codes.insert(expected.back().out.returnCode);
        }
        qvncoa_destroy_data_obj(&hash);
        EXPECT_GE(codes.size(), minCodes) << "the list should give a spread of return codes";

        // The hash set in memory answers as it does on disk.
        void* hashMem = openDataObj(w.hash.string(), 8);
        ASSERT_NE(hashMem, nullptr);
        int memDiffer = 0;
        for (size_t i = 0; i < w.list.size(); ++i) {
            const Answer a = lookUp(hashMem, w.list[i]);
            if (a.rc != expected[i].rc || std::memcmp(&a.out, &expected[i].out, sizeof a.out) != 0) ++memDiffer;
        }
        qvncoa_destroy_data_obj(&hashMem);
        EXPECT_EQ(memDiffer, 0) << "hash set in memory";
        EXPECT_TRUE(codes.count("A")) << "the list should find moves";

        for (unsigned flags : {0u, 2u, 4u, 6u, 8u, 10u, 12u, 14u}) {
            void* obj = openDataObj(w.flat.string(), flags);
            ASSERT_NE(obj, nullptr);
            EXPECT_EQ(static_cast<int>(QV_NCOA::tablesOf(obj)->fltKeySize),
                      static_cast<int>((flags & 6) == 6 ? 3 : (flags & 6) >> 1));
            const int threads = (flags & 6) == 6 ? 4 : 1;
            std::atomic<int> ready{0}, differ{0}, lookups{0};
            std::vector<std::thread> pool;
            for (int t = 0; t < threads; ++t) {
                pool.emplace_back([&, t]() {
                    ++ready;
                    while (ready.load() < threads) std::this_thread::yield();
                    for (size_t k = 0; k < w.list.size(); ++k) {
                        const size_t i = (k + static_cast<size_t>(t) * 97) % w.list.size();
                        const Answer a = lookUp(obj, w.list[i]);
                        ++lookups;
                        if (a.rc != expected[i].rc || std::memcmp(&a.out, &expected[i].out, sizeof a.out) != 0)
                            ++differ;
                    }
                });
            }
            for (std::thread& th : pool) th.join();
            qvncoa_destroy_data_obj(&obj);
            EXPECT_EQ(lookups.load(), threads * static_cast<int>(w.list.size()));
            EXPECT_EQ(differ.load(), 0) << "flags " << flags << ", threads " << threads;
        }
    }
};

TEST_F(FlatSets, SampleListGetsTheHashAnswersOnDiskInMemoryWithEachIndexAndFromFourThreads) {
    expectSameAnswers(sets->sample, 6);
}

TEST_F(FlatSets, SyntheticListGetsTheHashAnswersOnDiskInMemoryWithEachIndexAndFromFourThreads) {
    expectSameAnswers(sets->synth, 4);
}

// Every filing of the synthetic world found by its own key, the flat lookup
// against the hash lookup, including the filings whose keys are the first
// and last of clk.flt.2, which belong to that file.
TEST_F(FlatSets, EveryFilingDecodesAsInTheHashSetAndTheMiddleFileKeepsItsEnds) {
    const qvw::World& world = sets->generator->world();
    void* hashObj = openDataObj(sets->synth.hash.string());
    void* flatObj = openDataObj(sets->synth.flat.string(), 6);
    ASSERT_NE(hashObj, nullptr);
    ASSERT_NE(flatObj, nullptr);
    const QV_NCOA::CNCOA_DataTables& flat = *QV_NCOA::tablesOf(flatObj);
    const QV_NCOA::CNCOA_DataTables& hash = *QV_NCOA::tablesOf(hashObj);
    const qvw::LcdReplacements lcd = qvw::lcdReplacements(world);
    const std::vector<qvw::NameRuleLine> rules = world.names.rules.value_or(qvw::defaultNameRules());

    int atFirst = 0, atLast = 0, found = 0;
    for (const qvw::Filing& f : world.filings) {
        std::uint64_t emdp = 0;
        ASSERT_TRUE(qvw::emdpOf(f.from, lcd, emdp));
        const qvw::Bytes key = qvw::flatSearchKey(f, emdp, rules);
        unsigned char sha49[20], sha48[20];
        qvs_auth_get_sha1(key.data(), 49, sha49);
        qvs_auth_get_sha1(key.data() + 1, 48, sha48);
        atFirst += std::memcmp(sha49 + 11, flat.fltFirstKey, 9) == 0;
        atLast += std::memcmp(sha49 + 11, flat.fltLastKey, 9) == 0;

        QV_NCOA::LookupRes viaFlat, viaHash;
        const bool gotFlat = QV_NCOA::CNCOA_FlatLookup(flat).doLookup(sha49, "", viaFlat);
        const bool gotHash = QV_NCOA::CNCOA_HashLookup(hash).doLookup(sha48, f.from.zip9.c_str(), viaHash);
        ASSERT_EQ(gotFlat, gotHash) << f.from.zip9 << " " << f.name.last;
        found += gotFlat;
        EXPECT_EQ(std::memcmp(viaFlat.zip11.buf, viaHash.zip11.buf, 11), 0);
        EXPECT_EQ(std::memcmp(viaFlat.moveDate.buf, viaHash.moveDate.buf, 6), 0);
        EXPECT_EQ(std::memcmp(viaFlat.middle.buf, viaHash.middle.buf, 2), 0);
        EXPECT_EQ(std::memcmp(viaFlat.hint.buf, viaHash.hint.buf, 7), 0);
        EXPECT_EQ(viaFlat.gender, viaHash.gender);
        EXPECT_EQ(viaFlat.dropFlag, viaHash.dropFlag);
        EXPECT_EQ(viaFlat.nameFlag, viaHash.nameFlag);
        EXPECT_EQ(viaFlat.seventeen, viaHash.seventeen);
    }
    EXPECT_EQ(atFirst, 1);
    EXPECT_EQ(atLast, 1);
    EXPECT_GT(found, static_cast<int>(world.filings.size()) * 9 / 10);

    // The flat lookup refuses a hash set, and the hash lookup a flat one.
    QV_NCOA::LookupRes res;
    unsigned char sha[20] = {};
    using QV_NCOA::qvncoa_exception;
    EXPECT_EQ(errCodeOf<qvncoa_exception>([&] { QV_NCOA::CNCOA_FlatLookup(hash).doLookup(sha, "", res); }), 1012);
    EXPECT_EQ(errCodeOf<qvncoa_exception>([&] { QV_NCOA::CNCOA_HashLookup(flat).doLookup(sha, "10001", res); }), 1013);
    qvncoa_destroy_data_obj(&hashObj);
    qvncoa_destroy_data_obj(&flatObj);
}

}  // namespace flattest
