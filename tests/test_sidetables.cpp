// The business bit table on hand-made files: each of its nine probes; a
// missing daily delete file.
// (Both bit tables and the daily delete against the header's sequence, on
// disk and in memory against the writer: test_roundtrip.cpp; the daily
// delete's answer end to end: test_matchflow.cpp.)
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include "ClkHsb_Test.h"
#include "DailyDelete.h"
#include "TestSupport.h"
#include "DataTables.h"
#include "qvs_auth.h"

using namespace QV_NCOA;

namespace {

class SideTablesTest : public ::testing::Test {
protected:
    void SetUp() override {
        tables.setRoot(tmp.root.c_str());
        for (int i = 0; i < 3; ++i) qvs_auth_get_sha1(&i, sizeof i, sha[i]);
    }
    void write(const char* rel, const std::vector<unsigned char>& bytes) {
        tmp.write(rel, std::string(bytes.begin(), bytes.end()));
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

    TempRoot tmp;
    CNCOA_DataTables tables;
    unsigned char sha[3][20];
};

}  // namespace

TEST_F(SideTablesTest, MissingDailyDeleteFileDeletesNothing) {
    DVDHeader header;
    DDRecord rec{};
    EXPECT_FALSE(CNCOA_DailyDeleteLookup(tables).isInDailyDelete(sha[0], header, rec));
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

    EXPECT_EQ(thrownText<qvncoa_exception>([&] { test.testEMDPHash(sha[0], true); }),
              std::string("1043 ") + tables.getDphHsaPath().asCstr());
    tables.inMemory = true;  // in memory, but nothing loaded
    EXPECT_EQ(thrownText<qvncoa_exception>([&] { test.testEMDPHash(sha[0], false); }),
              "1050 Invalid data in CLKHSB test");
}
