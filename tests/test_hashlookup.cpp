// Hash lookup on small hand-made sections: an empty place after a filter's
// yes, and the refusals before any file is read.
// (Found-as-written on whole data sets: test_roundtrip.cpp.)
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "DataTables.h"
#include "HashLookup.h"
#include "TestSupport.h"
#include "qvs_auth.h"

using namespace QV_NCOA;

namespace {

const unsigned kSize = 256;  // filter and stripes

class HashLookupTest : public ::testing::Test {
protected:
    void SetUp() override {
        tables.setRoot(tmp.root.c_str());
        tables.isHashData = true;
        for (int g = 0; g < 100; ++g) tables.contentsLst.push_back({g, g == 42 ? 'q' : 'a'});  // q: no sections
        tables.hs0Sizes['a'] = tables.hs1Sizes['a'] = kSize;
        ASSERT_TRUE(tables.xoStripeTable.allocate(kXOStripeRowCount));
        buildXOStripeTable(tables.xoStripeTable.buf);
        tables.zipLst.assign(5, QvbString("30301"));
        for (auto& s : sections) s.assign(kSize, 0);
    }

    void flush(bool intoMemory) {
        for (int s = 0; s <= 8; ++s) {
            std::ofstream(tables.getClkXHsYPath('a', s).asCstr(), std::ios::binary)
                .write(reinterpret_cast<const char*>(sections[s].data()), kSize);
            tables.hashImage[0][s].release();
            if (intoMemory) loadFileToManagedBuf(tables.hashImage[0][s], tables.getClkXHsYPath('a', s).asCstr());
        }
    }
    static unsigned be32(const unsigned char* p) {
        return (unsigned(p[0]) << 24) | (unsigned(p[1]) << 16) | (unsigned(p[2]) << 8) | p[3];
    }
    // The k-th place of stripe s (first places only: within the key and its digest).
    static unsigned place(const unsigned char* sha, int s, int k) {
        unsigned char stream[40];
        std::memcpy(stream, sha, 20);
        qvs_auth_get_sha1(sha, 20, stream + 20);
        return be32(stream + 4 * s + 2 + k) % kSize;
    }
    // Filter bits and, at each stripe's first place, a byte that decodes
    // (this year's January, ZIP index 1), hint 254.
    void store(const unsigned char* sha, unsigned char* data) {
        for (int i = 0; i <= 16; i += 2) sections[0][be32(sha + i) % kSize] |= static_cast<unsigned char>(0x80 >> (sha[i] >> 5));
        unsigned long number = (1 + 64000UL * (CNCOA_HashLookup(tables).getCurrentYear() % 10) * 12 * 2187) * 1000000UL;
        unsigned long n = 0;
        for (int i = 0; i < 8; ++i) n = (n << 8) | sha[i];
        const unsigned char* row = tables.xoStripeTable.buf[n % 5040];
        for (int i = 0; i < 7; ++i, number /= 254) data[row[i] - 1] = static_cast<unsigned char>(number % 254 + 1);
        data[7] = 254;
        for (int s = 0; s < 8; ++s) sections[s + 1][place(sha, s, 0)] = data[s];
    }

    TempRoot tmp;
    CNCOA_DataTables tables;
    std::vector<unsigned char> sections[9];
};

}  // namespace

// (The slide past a taken place, on disk and in memory: the clusters of
// test_roundtrip.cpp.)
TEST_F(HashLookupTest, EmptyPlaceAfterTheFiltersYesEndsTheSearch) {
    unsigned char sha[20], data[8];
    int n = 10;
    qvs_auth_get_sha1(&n, sizeof n, sha);
    store(sha, data);
    for (bool inMemory : {false, true}) {
        SCOPED_TRACE(inMemory ? "memory" : "file");
        flush(inMemory);
        LookupRes res;
        ASSERT_TRUE(CNCOA_HashLookup(tables).doLookup(sha, "01999", res));
        EXPECT_EQ(std::memcmp(res.raw, data, 8), 0);
        EXPECT_EQ(std::string(res.zip11.buf, 11), "30301000000");
        EXPECT_EQ(std::string(res.moveDate.buf + 4, 2), "01");
    }

    // Byte 0 in the fourth stripe: the filter says yes, the stripes say no.
    sections[4][place(sha, 3, 0)] = 0;
    for (bool inMemory : {false, true}) {
        flush(inMemory);
        LookupRes res;
        EXPECT_FALSE(CNCOA_HashLookup(tables).doLookup(sha, "01999", res));
        EXPECT_TRUE(res.zip11.isSpaces());
    }
}

TEST_F(HashLookupTest, RefusalsAndFailures) {
    unsigned char sha[20] = {3};
    LookupRes res;
    CNCOA_HashLookup lookup(tables);
    EXPECT_FALSE(lookup.doLookup(sha, "ABCDE", res));  // no file exists: none was touched
    EXPECT_FALSE(lookup.doLookup(sha, "42000", res));  // a letter without sizes
    char found = 'x';
    EXPECT_FALSE(lookup.init_10c0(sha, 42, found));

    auto codeOf = [&](const char* zip5) {
        return thrownText<qvncoa_exception>([&] { lookup.doLookup(sha, zip5, res); });
    };
    // Group 99 of a 100-entry list is taken; its filter file is missing.
    EXPECT_EQ(codeOf("99000"), "1040 " + std::string(tables.getClkXHsYPath('a', 0).asCstr()));
    tables.contentsLst.resize(50);
    EXPECT_EQ(codeOf("60000"), "1050 Hash Lookup Internal Error 2");
    EXPECT_THROW(lookup.doLookup(sha, "50000", res), std::out_of_range);
    tables.isHashData = false;
    EXPECT_EQ(codeOf("01000").substr(0, 4), "1013");

    unsigned char block[20] = {0, 1};
    EXPECT_TRUE(testZeros(block, 20));
    EXPECT_TRUE(testZeros(block + 1, 0));
    EXPECT_FALSE(testZeros(block + 1, 20));
}
