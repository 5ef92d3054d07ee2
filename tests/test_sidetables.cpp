// Side tables: the daily delete against the header's sequence, and the
// nine-probe business bit tables on file and in memory.
#include <gtest/gtest.h>

#include <algorithm>
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
        fs::remove_all(root);
        fs::create_directories(root / "DVD 2" / "clk");
        tables.setRoot(root.string().c_str());
    }
    void TearDown() override { fs::remove_all(root); }

    void writeFile(const std::string& rel, const std::vector<unsigned char>& bytes) {
        std::ofstream out(root / rel, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    static std::vector<unsigned char> ddRow(const unsigned char* key, const char* seq) {
        std::vector<unsigned char> row(key, key + 8);
        row.insert(row.end(), seq, seq + 4);
        return row;
    }
    // Sets in `table` the nine bits that a digest probes: the word at
    // sha[0], sha[2], ... sha[16]; byte by the low bits, bit by the top three
    // counted from the left.
    static void setBits(std::vector<unsigned char>& table, const unsigned char* sha) {
        for (int i = 0; i <= 16; i += 2) {
            unsigned word = (unsigned(sha[i]) << 24) | (unsigned(sha[i + 1]) << 16) | (unsigned(sha[i + 2]) << 8) |
                            sha[i + 3];
            table[word % table.size()] |= static_cast<unsigned char>(0x80 >> (word >> 29));
        }
    }
    static void digestOf(unsigned long v, unsigned char* sha) {
        unsigned char be[8];
        for (int i = 0; i < 8; ++i) be[i] = static_cast<unsigned char>(v >> (56 - 8 * i));
        qvs_auth_get_sha1(be, 8, sha);
    }

    fs::path root;
    CNCOA_DataTables tables;
};

}  // namespace

TEST_F(SideTablesTest, DailyDeleteCountsOnlyNewerSequences) {
    CNCOA_DailyDeleteLookup dd(tables);
    DVDHeader header;
    header.sequence = 10;
    unsigned char shaA[20], shaB[20], shaC[20];
    digestOf(1, shaA);
    digestOf(2, shaB);
    digestOf(3, shaC);
    DDRecord rec{};
    EXPECT_FALSE(dd.isInDailyDelete(shaA, header, rec));  // no file: nothing deleted

    std::vector<std::vector<unsigned char>> rows = {ddRow(shaA, "0011"), ddRow(shaB, "0010")};
    std::sort(rows.begin(), rows.end());
    std::vector<unsigned char> image;
    for (auto& r : rows) image.insert(image.end(), r.begin(), r.end());
    writeFile("DVD 2/dailydel.dat", image);

    ASSERT_TRUE(dd.isInDailyDelete(shaA, header, rec));
    EXPECT_EQ(rec.sequence, 11);
    EXPECT_EQ(std::memcmp(rec.key, shaA, 8), 0);
    EXPECT_FALSE(dd.isInDailyDelete(shaB, header, rec));  // already in the data set
    EXPECT_FALSE(dd.isInDailyDelete(shaC, header, rec));  // not listed
    header.sequence = 9;
    EXPECT_TRUE(dd.isInDailyDelete(shaB, header, rec));
}

TEST_F(SideTablesTest, BusinessBitTableOnFileAndInMemory) {
    unsigned char firm[20], other[20];
    digestOf(0x0123456789ABCDEFUL, firm);
    digestOf(42, other);
    std::vector<unsigned char> hsb(4096, 0), hsa(256, 0);
    setBits(hsb, firm);
    setBits(hsa, other);
    writeFile("DVD 2/clk.hsb", hsb);
    writeFile("DVD 2/clk/dph.hsa", hsa);

    CNCOA_CLKHSBTest test(tables);
    for (int pass = 0; pass < 2; ++pass) {
        SCOPED_TRACE(pass == 0 ? "file" : "memory");
        EXPECT_TRUE(test.testEMDPHash(firm, false));
        EXPECT_FALSE(test.testEMDPHash(other, false));
        EXPECT_TRUE(test.testEMDPHash(other, true));
        EXPECT_FALSE(test.testEMDPHash(firm, true));
        tables.inMemory = true;
        loadFileToManagedBuf(tables.clkHsbImage, tables.getClkHsbPath().asCstr());
        loadFileToManagedBuf(tables.dphHsaImage, tables.getDphHsaPath().asCstr());
    }

    // Each of the nine probes decides: clearing any one bit makes it a miss.
    tables.inMemory = false;
    for (int probe = 0; probe < 9; ++probe) {
        std::vector<unsigned char> partial(4096, 0);
        setBits(partial, firm);
        int i = probe * 2;
        unsigned word = (unsigned(firm[i]) << 24) | (unsigned(firm[i + 1]) << 16) | (unsigned(firm[i + 2]) << 8) |
                        firm[i + 3];
        partial[word % 4096] &= static_cast<unsigned char>(~(0x80 >> (word >> 29)));
        writeFile("DVD 2/clk.hsb", partial);
        EXPECT_FALSE(test.testEMDPHash(firm, false)) << "probe " << probe;
    }

    // A table of one byte: every probe lands on byte 0.
    writeFile("DVD 2/clk.hsb", {0xFF});
    EXPECT_TRUE(test.testEMDPHash(other, false));
    writeFile("DVD 2/clk.hsb", {0x7F});
    bool anyTopBit = false;
    for (int i = 0; i <= 16; i += 2) anyTopBit |= (firm[i] >> 5) == 0;
    EXPECT_EQ(test.testEMDPHash(firm, false), !anyTopBit);
}

TEST_F(SideTablesTest, BusinessBitTableFailures) {
    unsigned char sha[20];
    digestOf(7, sha);
    CNCOA_CLKHSBTest test(tables);
    try {
        test.testEMDPHash(sha, false);
        FAIL() << "no clk.hsb";
    } catch (const qvncoa_exception& e) {
        EXPECT_EQ(e.errCode(), 1043);
        EXPECT_EQ(std::string(e.what().asCstr()), tables.getClkHsbPath().asCstr());
    }
    tables.inMemory = true;  // in memory, but nothing loaded
    try {
        test.testEMDPHash(sha, true);
        FAIL() << "no image";
    } catch (const qvncoa_exception& e) {
        EXPECT_EQ(e.errCode(), 1050);
        EXPECT_STREQ(e.what().asCstr(), "Invalid data in CLKHSB test");
    }
}
