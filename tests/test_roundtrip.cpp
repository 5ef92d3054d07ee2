// Round trip of the hash data set between two implementations: the writer
// encodes thousands of random filings (with clusters forced onto one stripe
// place), and the library, from the opened data set, finds every one of them
// on disk and in memory and decodes exactly what was written. Keys that were
// never written miss, and the filter's measured false-positive rate is printed.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

#include "ClkHsb_Test.h"
#include "DailyDelete.h"
#include "DataSetWriter.h"
#include "DataTables.h"
#include "EMDP.h"
#include "HashLookup.h"
#include "LCDTable.h"
#include "NCOA.h"
#include "UrbanizationLst.h"
#include "World.h"
#include "qvncoa.h"
#include "qvs_auth.h"

namespace fs = std::filesystem;
using namespace QV_NCOA;

namespace {

const int kRandomFilings = 3900;
const int kClusterSize = 10;  // filings forced onto one place of stripe 1, and of stripe 7
const int kAbsentKeys = 200000;

struct Probe {
    qvw::Filing filing;
    unsigned char sha[20];
};

class RoundTripTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        root_ = fs::temp_directory_path() / ("qv-roundtrip-" + std::to_string(::getpid()));
        fs::remove_all(root_);
        world_ = new qvw::World(makeWorld());
        report_ = qvw::DataSetWriter(*world_, root_.string()).write();
        for (unsigned flags : {0u, static_cast<unsigned>(QVNCOA_INIT_IN_MEMORY)}) {
            char err[1024] = {};
            void*& obj = flags == 0 ? onDisk_ : inMemory_;
            ASSERT_EQ(qvncoa_init_data_obj(&obj, root_.string().c_str(), QV_SOURCE_DIR "/data/namekb", "", 2, nullptr,
                                           err, flags),
                      QVNCOA_OK)
                << err;
        }
    }
    static void TearDownTestSuite() {
        qvncoa_destroy_data_obj(&onDisk_);
        qvncoa_destroy_data_obj(&inMemory_);
        delete world_;
        fs::remove_all(root_);
    }

    static std::string letters(std::mt19937& rng, int minLen, int maxLen) {
        std::string s(std::uniform_int_distribution<int>(minLen, maxLen)(rng), 'A');
        for (char& c : s) c = static_cast<char>('A' + rng() % 26);
        return s;
    }
    static std::string digits(std::mt19937& rng, int n) {
        std::string s(n, '0');
        for (char& c : s) c = static_cast<char>('0' + rng() % 10);
        return s;
    }
    static qvw::Address randomAddress(std::mt19937& rng) {
        static const char* const designators[] = {"", "", "APT", "STE", "UNIT"};
        qvw::Address a;
        a.zip9 = digits(rng, 2) + "1" + digits(rng, 2) + (rng() % 8 == 0 ? "    " : digits(rng, 4));
        a.primary = std::to_string(1 + rng() % 29999);
        if (rng() % 10 == 0) a.primary += " 1/2";
        if (rng() % 10 == 1) a.primary += static_cast<char>('A' + rng() % 26);
        a.designator = designators[rng() % 5];
        if (!a.designator.empty() && rng() % 4 != 0) a.secondary = std::to_string(rng() % 900) + letters(rng, 0, 1);
        return a;
    }
    static qvw::Filing randomFiling(std::mt19937& rng, int year, const std::vector<std::string>& zips,
                                    const std::vector<std::string>& hints) {
        static const char* const suffixes[] = {"", "", "", "JR", "III", "ESQ"};
        qvw::Filing f;
        const unsigned kind = rng() % 10;
        f.kind = kind < 6 ? qvw::Filing::Kind::Individual
                          : kind < 8 ? qvw::Filing::Kind::Family : qvw::Filing::Kind::Business;
        if (f.kind == qvw::Filing::Kind::Business) {
            f.business = letters(rng, 3, 12) + " " + letters(rng, 2, 12) + " INC";
        } else {
            f.name.first = f.kind == qvw::Filing::Kind::Individual ? letters(rng, 2, 15) : "";
            f.name.middle = rng() % 3 == 0 ? "" : letters(rng, 1, 8);
            f.name.last = letters(rng, 2, 20);
            f.name.suffix = suffixes[rng() % 6];
            f.name.gender = "UMF"[rng() % 3];
        }
        f.from = randomAddress(rng);
        const unsigned to = rng() % 20;
        if (to == 0) f.toZip11 = "";
        else if (to == 1) f.toZip11 = "000000077" + std::string(rng() % 2 ? "11" : "19");
        else f.toZip11 = zips[rng() % zips.size()] + digits(rng, 6);
        f.hint = rng() % 4 == 0 ? hints[rng() % hints.size()] : "";
        char date[16];
        std::snprintf(date, sizeof date, "%04d%02d", year - 5 + static_cast<int>(rng() % 7), 1 + static_cast<int>(rng() % 12));
        f.moveDate = date;
        f.dropFlag = rng() % 5 == 0;
        f.nameFlag = rng() % 7 == 0;
        return f;
    }

    static qvw::World makeWorld() {
        std::mt19937 rng(20261122);
        const int year = CNCOA_HashLookup(dummyTables()).getCurrentYear();
        qvw::World w;
        w.dataset.name = "ROUND TRIP";
        w.dataset.setLetter = 'A';
        w.dataset.sequence = 500;
        // Small minimums and four letters for all ZIP groups: the sections are
        // sized by their load alone, about 1,000 filings a letter, where the
        // filter is at its fullest (16 bits a key).
        w.dataset.filterBytes = 64;
        w.dataset.stripeBytes = 64;
        w.dataset.bitTableBytes = 1024;
        for (int g = 0; g < 100; ++g) w.dataset.contentsLetters += "abcd"[g % 4];
        w.places.push_back({"30301", "GA", "ATLANTA", "", "A30301"});
        qvw::AddressRange r;
        r.zip = "30301";
        r.addonLow = r.addonHigh = "0020";
        r.primaryLow = r.primaryHigh = "100";
        r.street = "PEACHTREE";
        w.ranges.push_back(r);
        std::vector<std::string> zips, hints;
        for (int i = 0; i < 300; ++i) zips.push_back(digits(rng, 5));
        for (int i = 0; i < 40; ++i) hints.push_back(letters(rng, 1, 7));
        w.hints = hints;

        std::set<std::string> lcdKeys;
        for (int i = 0; i < kRandomFilings; ++i) {
            qvw::Filing f = randomFiling(rng, year, zips, hints);
            if (i % 40 == 0 && f.from.zip9.find(' ') == std::string::npos && lcdKeys.insert(f.from.zip9).second)
                w.lcd.push_back({f.from.zip9, static_cast<unsigned>(rng() % 10000)});
            w.filings.push_back(f);
        }
        // Two clusters: filings whose first place in stripe 1 (the key's
        // bytes 2 to 5), or in stripe 7 (bytes 6 to 9 of the key's digest),
        // agree in the low 12 bits, so that all of them want one place of any
        // stripe of up to 4096 bytes.
        for (int stripe : {0, 6}) {
            qvw::Filing base = randomFiling(rng, year, zips, hints);
            base.kind = qvw::Filing::Kind::Individual;
            base.from.zip9 = "55101    ";  // no add-on: the key asks no LCD table
            unsigned target = 0;
            for (int found = 0; found < kClusterSize;) {
                qvw::Filing f = base;
                f.name.first = letters(rng, 4, 15);
                unsigned char sha[20];
                keyOf(f, sha, nullptr);
                unsigned char next[20];
                qvs_auth_get_sha1(sha, 20, next);
                const unsigned char* p = stripe == 0 ? sha + 2 : next + 6;
                const unsigned low = ((p[2] << 8) | p[3]) & 0xFFF;
                if (found == 0) target = low;
                if (low != target) continue;
                w.filings.push_back(f);
                ++found;
            }
        }
        for (int i = 0; i < 60; ++i) {
            qvw::DailyDelete d;
            d.at.address = w.filings[static_cast<size_t>(i * 7)].from;
            d.sequence = 500 + (i % 2);  // odd ones newer than the set
            w.dailyDeletes.push_back(d);
        }
        w.urbanizations.push_back({"009261520", "URB EL VEDADO"});
        return w;
    }
    static CNCOA_DataTables& dummyTables() {
        static CNCOA_DataTables t;
        return t;
    }

    // The 48 bytes the search hashes, as the match flow lays them out, over
    // the library's EMDP. Without tables (while the world is made) only
    // addresses without an add-on may be keyed: they ask no LCD table.
    static void keyOf(const qvw::Filing& f, unsigned char* sha, const CNCOA_DataTables* tables) {
        unsigned long emdp = 0;
        emdpOfAddress(f.from, tables ? *tables : dummyTables(), emdp);
        char key[48];
        std::memset(key, ' ', sizeof key);
        for (int i = 0; i < 8; ++i) key[i] = static_cast<char>(emdp >> (56 - 8 * i));
        auto put = [&](int off, const std::string& s, size_t width) { std::memcpy(key + off, s.data(), std::min(s.size(), width)); };
        if (f.kind == qvw::Filing::Kind::Business) {
            put(8, f.business, 40);
        } else {
            if (f.kind == qvw::Filing::Kind::Individual) put(8, f.name.first, 15);
            put(23, f.name.last, 20);
            const std::string& s = f.name.suffix;
            if (s.rfind("JR", 0) == 0 || s.rfind("SR", 0) == 0 || s.rfind("II", 0) == 0 || s.rfind("IV", 0) == 0)
                put(43, s, 5);
        }
        qvs_auth_get_sha1(key, sizeof key, sha);
    }
    static bool emdpOfAddress(const qvw::Address& a, const CNCOA_DataTables& tables, unsigned long& emdp) {
        fixedString<9> zip9;
        fixedString<10> pno;
        fixedString<4> desc;
        fixedString<8> sno;
        fixedString<4> used;
        zip9.cpyIn(a.zip9.c_str());
        pno.cpyIn(a.primary.c_str());
        desc.cpyIn(a.designator.c_str());
        sno.cpyIn(a.secondary.c_str());
        return CNCOA_EMDP(tables).getEMDP(zip9, pno, desc, sno, emdp, used);
    }

    static const CNCOA_DataTables& tables(void* obj) { return *tablesOf(obj); }

    // What the library must read back for a filing.
    static void expectDecoded(const qvw::Filing& f, const LookupRes& res, size_t i) {
        std::string zip11 = f.toZip11.empty() ? "00000000000" : f.toZip11;
        EXPECT_EQ(std::string(res.zip11.buf, 11), zip11) << i;
        EXPECT_EQ(std::string(res.moveDate.buf, 6), f.moveDate) << i;
        const bool business = f.kind == qvw::Filing::Kind::Business;
        std::string middle = business ? "  " : (f.name.middle + "  ").substr(0, 2);
        EXPECT_EQ(std::string(res.middle.buf, 2), middle) << i;
        EXPECT_EQ(res.gender, business ? 'U' : f.name.gender) << i;
        EXPECT_EQ(res.dropFlag, f.dropFlag ? 'Y' : 'N') << i;
        EXPECT_EQ(res.nameFlag, f.nameFlag ? 'Y' : 'N') << i;
        EXPECT_EQ(std::string(res.hint.buf, 7), (f.hint + "       ").substr(0, 7)) << i;
    }

    static fs::path root_;
    static qvw::World* world_;
    static qvw::BuildReport report_;
    static void* onDisk_;
    static void* inMemory_;
};
fs::path RoundTripTest::root_;
qvw::World* RoundTripTest::world_ = nullptr;
qvw::BuildReport RoundTripTest::report_;
void* RoundTripTest::onDisk_ = nullptr;
void* RoundTripTest::inMemory_ = nullptr;

}  // namespace

TEST_F(RoundTripTest, EveryFilingIsFoundAndDecodesAsWritten) {
    ASSERT_EQ(report_.filingsEncoded, world_->filings.size());
    const CNCOA_DataTables& disk = tables(onDisk_);
    const CNCOA_DataTables& mem = tables(inMemory_);
    ASSERT_TRUE(disk.hashImage[0][0].empty());
    ASSERT_FALSE(mem.hashImage[0][0].empty());

    size_t checked = 0;
    for (size_t i = 0; i < world_->filings.size(); ++i) {
        const qvw::Filing& f = world_->filings[i];
        unsigned char sha[20];
        keyOf(f, sha, &disk);
        const std::string zip5 = f.from.zip9.substr(0, 5);
        LookupRes onFile, handedOver, inMemory;
        CNCOA_HashLookup fileLookup(disk);
        ASSERT_TRUE(fileLookup.doLookup(sha, zip5.c_str(), onFile)) << "filing " << i;
        expectDecoded(f, onFile, i);
        CNCOA_HashLookup memLookup(mem);
        ASSERT_TRUE(memLookup.doLookup(sha, zip5.c_str(), handedOver)) << "filing " << i;
        CNCOA_HashLookupMem direct(mem);
        ASSERT_TRUE(direct.doLookup(sha, zip5.c_str(), inMemory)) << "filing " << i;
        EXPECT_EQ(std::memcmp(onFile.raw, handedOver.raw, 8), 0) << i;
        EXPECT_EQ(std::memcmp(onFile.raw, inMemory.raw, 8), 0) << i;
        EXPECT_EQ(onFile.seventeen, inMemory.seventeen) << i;
        ++checked;
    }
    EXPECT_EQ(checked, static_cast<size_t>(kRandomFilings + 2 * kClusterSize));

    // The clusters really collided: their common first place is marked taken.
    const size_t first = kRandomFilings;
    for (int c = 0; c < 2; ++c) {
        const qvw::Filing& f = world_->filings[first + static_cast<size_t>(c * kClusterSize)];
        unsigned char sha[20], next[20];
        keyOf(f, sha, &disk);
        qvs_auth_get_sha1(sha, 20, next);
        const char letter = disk.contentsLst.at(55).letter;
        const unsigned size = disk.getHSXSize(1, letter);
        ASSERT_LE(size, 4096u);  // the clusters agree in 12 bits
        const int stripe = c == 0 ? 0 : 6;
        const unsigned char* p = c == 0 ? sha + 2 : next + 6;
        const unsigned place = ((unsigned(p[0]) << 24) | (unsigned(p[1]) << 16) | (unsigned(p[2]) << 8) | p[3]) & (size - 1);
        EXPECT_EQ(mem.hashImage[letter - 'a'][stripe + 1].buf[place], 255) << "stripe " << stripe + 1;
    }
    std::printf("[ round trip ] %zu filings, %zu stripe places marked taken\n", checked, report_.stripeTakenPlaces);
    EXPECT_GT(report_.stripeTakenPlaces, 100u);
}

TEST_F(RoundTripTest, AbsentKeysMissAndTheFilterRarelyLies) {
    const CNCOA_DataTables& disk = tables(onDisk_);
    const CNCOA_DataTables& mem = tables(inMemory_);
    std::mt19937 rng(7);
    size_t filterYes = 0, hits = 0;
    for (int i = 0; i < kAbsentKeys; ++i) {
        unsigned char sha[20];
        for (auto& b : sha) b = static_cast<unsigned char>(rng());
        char zip5[6];
        std::snprintf(zip5, sizeof zip5, "%05u", static_cast<unsigned>(rng() % 100000));
        CNCOA_HashLookupMem lookup(mem);
        char found = 'N';
        ASSERT_TRUE(lookup.init_10c0(sha, (zip5[0] - '0') * 10 + zip5[1] - '0', found));
        LookupRes res;
        const bool hit = lookup.doLookup(sha, zip5, res);
        filterYes += found == 'Y';
        hits += hit;
        if (i % 50 == 0) {  // the files give the same answers
            CNCOA_HashLookup onFile(disk);
            LookupRes fileRes;
            EXPECT_EQ(onFile.doLookup(sha, zip5, fileRes), hit);
            char fileFound = 'N';
            onFile.init_10c0(sha, (zip5[0] - '0') * 10 + zip5[1] - '0', fileFound);
            EXPECT_EQ(fileFound, found);
        }
    }
    const double rate = static_cast<double>(filterYes) / kAbsentKeys;
    std::printf("[ round trip ] filter false-positive rate %.6f (%zu of %d absent keys), %zu decoded as hits; "
                "writer's estimate at most %.6f\n",
                rate, filterYes, kAbsentKeys, hits, report_.filterFalsePositiveRate);
    EXPECT_LT(rate, 2e-3);
    EXPECT_LE(hits, filterYes);

    // Written addresses under names never filed miss too.
    size_t misses = 0;
    for (size_t i = 0; i < 500; ++i) {
        qvw::Filing f = world_->filings[i];
        f.kind = qvw::Filing::Kind::Individual;
        f.name.first = "ZZNOTFILED";
        unsigned char sha[20];
        keyOf(f, sha, &disk);
        LookupRes res;
        misses += !CNCOA_HashLookup(disk).doLookup(sha, f.from.zip9.substr(0, 5).c_str(), res);
    }
    EXPECT_GE(misses, 498u);
}

TEST_F(RoundTripTest, SideTablesAgreeWithTheWriter) {
    for (void* obj : {onDisk_, inMemory_}) {
        const CNCOA_DataTables& t = tables(obj);
        SCOPED_TRACE(t.inMemory ? "memory" : "disk");
        // Every business filing's address is in clk.hsb; most individual ones are not.
        size_t business = 0, others = 0, othersIn = 0;
        for (const auto& f : world_->filings) {
            unsigned long emdp = 0;
            ASSERT_TRUE(emdpOfAddress(f.from, t, emdp));
            unsigned char be[8], sha[20];
            for (int i = 0; i < 8; ++i) be[i] = static_cast<unsigned char>(emdp >> (56 - 8 * i));
            qvs_auth_get_sha1(be, 8, sha);
            const bool in = CNCOA_CLKHSBTest(t).testEMDPHash(sha, false);
            if (f.kind == qvw::Filing::Kind::Business) {
                EXPECT_TRUE(in);
                ++business;
            } else {
                ++others;
                othersIn += in;
            }
            EXPECT_TRUE(CNCOA_CLKHSBTest(t).testEMDPHash(sha, true));  // every address of the world
        }
        EXPECT_GT(business, 100u);
        EXPECT_LT(othersIn * 100, others);  // a few share a business's address key, or pass the filter

        // Daily deletes by address: only those newer than the set count.
        for (const auto& d : world_->dailyDeletes) {
            unsigned long emdp = 0;
            ASSERT_TRUE(emdpOfAddress(*d.at.address, t, emdp));
            unsigned char be[8], sha[20];
            for (int i = 0; i < 8; ++i) be[i] = static_cast<unsigned char>(emdp >> (56 - 8 * i));
            qvs_auth_get_sha1(be, 8, sha);
            DDRecord rec{};
            EXPECT_EQ(CNCOA_DailyDeleteLookup(t).isInDailyDelete(sha, t.dvdHeader[0], rec), d.sequence > 500);
        }

        // LCD rows by segment, and the urbanization list.
        for (const auto& l : world_->lcd) {
            unsigned short value = 0;
            ASSERT_TRUE(CNCOA_LCDTable(t).lookup(static_cast<unsigned>(std::stoul(l.zip9)), value)) << l.zip9;
            EXPECT_EQ(value, l.value);
        }
        unsigned short none = 0;
        EXPECT_FALSE(CNCOA_LCDTable(t).lookup(999000001u, none));
        fixedString<28> urb;
        EXPECT_TRUE(CNCOA_UrbanizationLst(t).getUrbanizationName("009261520", urb));
        EXPECT_EQ(std::string(urb.buf, 13), "URB EL VEDADO");
        EXPECT_FALSE(CNCOA_UrbanizationLst(t).getUrbanizationName("009261521", urb));
    }
}
