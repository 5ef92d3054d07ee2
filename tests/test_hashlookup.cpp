// Hash lookup on small hand-made sections: filter, stripes, the sliding past
// taken places, empty places, and the refusals before any file is touched.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "DataTables.h"
#include "HashLookup.h"
#include "qvs_auth.h"

namespace fs = std::filesystem;
using namespace QV_NCOA;

namespace {

const unsigned kFilterSize = 1024, kStripeSize = 256;

class HashLookupTest : public ::testing::Test {
protected:
    void SetUp() override {
        root = fs::temp_directory_path() / ("qv-hash-" + std::to_string(::getpid()));
        fs::remove_all(root);
        fs::create_directories(root / "DVD 1");
        fs::create_directories(root / "DVD 2");
        tables.setRoot(root.string().c_str());
        tables.isHashData = true;
        for (int g = 0; g < 100; ++g) {
            ContentsLstItem item;
            item.code = g;
            item.letter = g == 42 ? 'q' : 'a';  // q has no sections
            tables.contentsLst.push_back(item);
        }
        tables.hs0Sizes['a'] = kFilterSize;
        tables.hs1Sizes['a'] = kStripeSize;
        ASSERT_TRUE(tables.xoStripeTable.allocate(kXOStripeRowCount));
        buildXOStripeTable(tables.xoStripeTable.buf);
        for (int i = 0; i < 20; ++i) tables.zipLst.emplace_back(std::to_string(30300 + i).c_str());
        tables.hintLst.emplace_back("REAR");
        filter.assign(kFilterSize, 0);
        for (auto& s : stripes) s.assign(kStripeSize, 0);
    }
    void TearDown() override { fs::remove_all(root); }

    void flush() {
        write("DVD 2/clk.a.hs0", filter);
        for (int s = 0; s < 8; ++s) write("DVD 1/clk.a.hs" + std::to_string(s + 1), stripes[s]);
    }
    void write(const std::string& rel, const std::vector<unsigned char>& bytes) {
        std::ofstream out(root / rel, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    static unsigned be32(const unsigned char* p) {
        return (unsigned(p[0]) << 24) | (unsigned(p[1]) << 16) | (unsigned(p[2]) << 8) | p[3];
    }
    static void keyOf(int n, unsigned char* sha) { qvs_auth_get_sha1(&n, sizeof n, sha); }
    void setFilter(const unsigned char* sha) {
        for (int i = 0; i <= 16; i += 2) filter[be32(sha + i) % kFilterSize] |= static_cast<unsigned char>(0x80 >> (sha[i] >> 5));
    }
    // The k-th place tried in stripe s: the word at 4s + 2 + k of the key
    // followed by its own digest (enough for the first places of every stripe).
    static unsigned place(const unsigned char* sha, int s, int k) {
        unsigned char stream[40];
        std::memcpy(stream, sha, 20);
        qvs_auth_get_sha1(sha, 20, stream + 20);
        return be32(stream + 4 * s + 2 + k) % kStripeSize;
    }
    // The eight stored bytes of a result: June of this year, ZIP index 3,
    // middle "B ", female; seven digits permuted by the key, then the hint.
    void encode(const unsigned char* sha, unsigned long six, unsigned char* data) {
        int year = CNCOA_HashLookup(tables).getCurrentYear();
        unsigned long rest = (static_cast<unsigned long>(year % 10) * 12 + 5) * 2187 + 2 * 81 + 2;
        unsigned long number = (3 + 64000UL * rest) * 1000000UL + six;
        unsigned long n = 0;
        for (int i = 0; i < 8; ++i) n = (n << 8) | sha[i];
        const unsigned char* row = tables.xoStripeTable.buf[n % 5040];
        for (int i = 0; i < 7; ++i, number /= 254) data[row[i] - 1] = static_cast<unsigned char>(number % 254 + 1);
        data[7] = 1;
    }
    void place(const unsigned char* sha, const unsigned char* data) {
        setFilter(sha);
        for (int s = 0; s < 8; ++s) stripes[s][place(sha, s, 0)] = data[s];
    }
    void expectHit(CNCOA_LookupBase& lookup, const unsigned char* sha, const unsigned char* data, const char* zip11) {
        LookupRes res;
        ASSERT_TRUE(lookup.doLookup(sha, "01999", res));
        EXPECT_EQ(std::memcmp(res.raw, data, 8), 0);
        EXPECT_EQ(std::string(res.zip11.buf, 11), zip11);
        EXPECT_EQ(std::string(res.middle.buf, 2), "B ");
        EXPECT_EQ(res.gender, 'F');
        EXPECT_EQ(std::string(res.moveDate.buf + 3, 3), std::to_string(CNCOA_HashLookup(tables).getCurrentYear() % 10) + "06");
        EXPECT_EQ(std::string(res.hint.buf, 7), "REAR   ");
    }

    fs::path root;
    CNCOA_DataTables tables;
    std::vector<unsigned char> filter;
    std::vector<unsigned char> stripes[8];
};

}  // namespace

TEST_F(HashLookupTest, FoundOnFileAndInMemory) {
    unsigned char sha[20], data[8], absent[20];
    keyOf(1, sha);
    keyOf(2, absent);
    encode(sha, 123456, data);
    place(sha, data);
    flush();

    CNCOA_HashLookup onFile(tables);
    expectHit(onFile, sha, data, "30302123456");
    LookupRes res;
    EXPECT_FALSE(onFile.doLookup(absent, "01999", res));

    for (int s = 0; s <= 8; ++s) loadFileToManagedBuf(tables.hashImage[0][s], tables.getClkXHsYPath('a', s).asCstr());
    CNCOA_HashLookup handedOver(tables);
    expectHit(handedOver, sha, data, "30302123456");
    CNCOA_HashLookupMem inMemory(tables);
    expectHit(inMemory, sha, data, "30302123456");
    EXPECT_FALSE(inMemory.doLookup(absent, "01999", res));
}

TEST_F(HashLookupTest, TakenPlaceSlidesToTheNextEmptyPlaceEndsTheSearch) {
    // A key whose first two places in stripe 0 differ.
    unsigned char sha[20], data[8];
    int n = 10;
    do keyOf(n++, sha);
    while (place(sha, 0, 0) == place(sha, 0, 1));
    encode(sha, 654321, data);
    place(sha, data);
    stripes[0][place(sha, 0, 0)] = 255;  // taken by another key
    stripes[0][place(sha, 0, 1)] = data[0];
    flush();
    CNCOA_HashLookup onFile(tables);
    expectHit(onFile, sha, data, "30302654321");
    unsigned char value = 0;
    onFile.init_01c0(1, sha, 0, kStripeSize, value);
    EXPECT_EQ(value, data[0]);
    for (int s = 0; s <= 8; ++s) loadFileToManagedBuf(tables.hashImage[0][s], tables.getClkXHsYPath('a', s).asCstr());
    CNCOA_HashLookupMem inMemory(tables);
    expectHit(inMemory, sha, data, "30302654321");
    value = 0;
    inMemory.init_01c0(1, sha, 0, kStripeSize, value);
    EXPECT_EQ(value, data[0]);
    for (int s = 0; s <= 8; ++s) tables.hashImage[0][s].release();

    // Byte 0 in the fourth stripe: the filter says yes, the stripes say no.
    stripes[3][place(sha, 3, 0)] = 0;
    flush();
    LookupRes res;
    CNCOA_HashLookup lookup(tables);
    EXPECT_FALSE(lookup.doLookup(sha, "01999", res));
    EXPECT_EQ(std::string(res.zip11.buf, 11), "           ");
}

TEST_F(HashLookupTest, RefusalsAndFailures) {
    unsigned char sha[20];
    keyOf(3, sha);
    LookupRes res;
    CNCOA_HashLookup lookup(tables);
    EXPECT_FALSE(lookup.doLookup(sha, "ABCDE", res));  // no file exists yet: none was touched
    EXPECT_FALSE(lookup.doLookup(sha, "42000", res));  // letter without sections
    char found = 'x';
    EXPECT_FALSE(lookup.init_10c0(sha, 42, found));

    try {
        lookup.doLookup(sha, "99000", res);  // group 99 of a 100-entry list is taken
        FAIL() << "the filter file is missing";
    } catch (const qvncoa_exception& e) {
        EXPECT_EQ(e.errCode(), 1040);
        EXPECT_STREQ(e.what().asCstr(), tables.getClkXHsYPath('a', 0).asCstr());
    }

    setFilter(sha);
    write("DVD 2/clk.a.hs0", filter);
    try {
        lookup.doLookup(sha, "01000", res);
        FAIL() << "the stripe files are missing";
    } catch (const qvncoa_exception& e) {
        EXPECT_EQ(e.errCode(), 1040);
    }

    tables.contentsLst.resize(50);
    try {
        lookup.doLookup(sha, "60000", res);
        FAIL();
    } catch (const qvncoa_exception& e) {
        EXPECT_STREQ(e.what().asCstr(), "Hash Lookup Internal Error 2");
    }
    EXPECT_THROW(lookup.doLookup(sha, "50000", res), std::out_of_range);

    tables.isHashData = false;
    try {
        lookup.doLookup(sha, "01000", res);
        FAIL();
    } catch (const qvncoa_exception& e) {
        EXPECT_EQ(e.errCode(), 1013);
    }

    unsigned char block[20] = {0, 1};
    EXPECT_TRUE(testZeros(block, 20));
    EXPECT_TRUE(testZeros(block + 1, 0));
    EXPECT_FALSE(testZeros(block + 1, 20));
}
