// Side tables on hand-made files: the daily delete against the header's
// sequence, and each of the nine probes of the business bit table.
// (Both bit tables on disk and in memory against the writer: test_roundtrip.cpp.)
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "ClkHsb_Test.h"
#include "DailyDelete.h"
#include "DataTables.h"
#include "qvs_auth.h"

namespace fs = std::filesystem;
using namespace QV_NCOA;

namespace {

class SideTablesTest : public ::testing::Test {
protected:
    void SetUp() override {
        root = fs::temp_directory_path() / ("qv-side-" + std::to_string(::getpid()));
        fs::create_directories(root / "DVD 2");
        tables.setRoot(root.string().c_str());
        for (int i = 0; i < 3; ++i) qvs_auth_get_sha1(&i, sizeof i, sha[i]);
    }
    void TearDown() override { fs::remove_all(root); }

    void write(const char* rel, const std::vector<unsigned char>& bytes) {
        std::ofstream(root / rel, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    static unsigned word(const unsigned char* d, int probe) {
        const unsigned char* p = d + 2 * probe;
        return (unsigned(p[0]) << 24) | (unsigned(p[1]) << 16) | (unsigned(p[2]) << 8) | p[3];
    }
    // The nine bits of digest d, all but `skip`.
    static std::vector<unsigned char> bits(const unsigned char* d, size_t size, int skip = -1) {
        std::vector<unsigned char> t(size, 0);
        for (int k = 0; k < 9; ++k)
            if (k != skip) t[word(d, k) % size] |= static_cast<unsigned char>(0x80 >> (word(d, k) >> 29));
        return t;
    }

    fs::path root;
    CNCOA_DataTables tables;
    unsigned char sha[3][20];
};

}  // namespace

TEST_F(SideTablesTest, DailyDeleteCountsOnlyNewerSequences) {
    CNCOA_DailyDeleteLookup dd(tables);
    DVDHeader header;
    header.sequence = 10;
    DDRecord rec{};
    EXPECT_FALSE(dd.isInDailyDelete(sha[0], header, rec));  // no file: nothing deleted

    std::vector<unsigned char> rows[2];
    for (int i = 0; i < 2; ++i) {
        rows[i].assign(sha[i], sha[i] + 8);
        const char* seq = i == 0 ? "0011" : "0010";
        rows[i].insert(rows[i].end(), seq, seq + 4);
    }
    if (rows[1] < rows[0]) std::swap(rows[0], rows[1]);
    rows[0].insert(rows[0].end(), rows[1].begin(), rows[1].end());
    write("DVD 2/dailydel.dat", rows[0]);

    ASSERT_TRUE(dd.isInDailyDelete(sha[0], header, rec));
    EXPECT_EQ(rec.sequence, 11);
    EXPECT_EQ(std::memcmp(rec.key, sha[0], 8), 0);
    EXPECT_FALSE(dd.isInDailyDelete(sha[1], header, rec));  // equal sequence: already in the set
    EXPECT_FALSE(dd.isInDailyDelete(sha[2], header, rec));  // not listed
    header.sequence = 9;
    EXPECT_TRUE(dd.isInDailyDelete(sha[1], header, rec));
}

TEST_F(SideTablesTest, BusinessBitTableNeedsAllNineBits) {
    CNCOA_CLKHSBTest test(tables);
    write("DVD 2/clk.hsb", bits(sha[0], 4096));
    EXPECT_TRUE(test.testEMDPHash(sha[0], false));
    EXPECT_FALSE(test.testEMDPHash(sha[1], false));
    for (int probe = 0; probe < 9; ++probe) {
        write("DVD 2/clk.hsb", bits(sha[0], 4096, probe));
        EXPECT_FALSE(test.testEMDPHash(sha[0], false)) << "probe " << probe;
    }
    // A table of one byte: every probe lands on byte 0.
    write("DVD 2/clk.hsb", {0xFF});
    EXPECT_TRUE(test.testEMDPHash(sha[1], false));
    write("DVD 2/clk.hsb", {0x7F});
    bool bitZeroProbed = false;
    for (int k = 0; k < 9; ++k) bitZeroProbed |= (word(sha[1], k) >> 29) == 0;
    EXPECT_EQ(test.testEMDPHash(sha[1], false), !bitZeroProbed);

    try {
        test.testEMDPHash(sha[0], true);
        FAIL() << "no dph.hsa";
    } catch (const qvncoa_exception& e) {
        EXPECT_EQ(e.errCode(), 1043);
        EXPECT_STREQ(e.what().asCstr(), tables.getDphHsaPath().asCstr());
    }
    tables.inMemory = true;  // in memory, but nothing loaded
    try {
        test.testEMDPHash(sha[0], false);
        FAIL() << "no image";
    } catch (const qvncoa_exception& e) {
        EXPECT_EQ(e.errCode(), 1050);
        EXPECT_STREQ(e.what().asCstr(), "Invalid data in CLKHSB test");
    }
}
