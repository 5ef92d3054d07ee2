// Data-set paths, record layouts, the whole-file reader and the binary searches.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "BinFileUtils.h"
#include "FileManager.h"
#include "TestSupport.h"

using namespace QV_NCOA;

namespace {

// LCD rows with keys 10, 20, ... and values equal to the row number.
std::string lcdRows(int n) {
    std::string s;
    for (int i = 0; i < n; ++i) {
        unsigned k = 10u * (i + 1);
        s += {char(k >> 24), char(k >> 16), char(k >> 8), char(k), char(0), char(i)};
    }
    return s;
}

lcdEntry lcdKey(uint32_t k) {
    lcdEntry e{};
    e.zip9 = k;
    return e;
}

int codeOf(const std::function<void()>& f) { return errCodeOf<qvncoa_exception>(f); }

}  // namespace

TEST(FileManager, Paths) {
    CNCOA_FileManager fm;
    fm.setRoot("/d");
    EXPECT_STREQ(fm.getClkXHsYPath('a', 0).asCstr(), "/d/DVD 2/clk.a.hs0");
    EXPECT_STREQ(fm.getClkXHsYPath('a', 1).asCstr(), "/d/DVD 1/clk.a.hs1");
    EXPECT_STREQ(fm.getClkXHsYPath('z', 9).asCstr(), "/d/DVD 1/clk.z.hs9");
    EXPECT_STREQ(fm.getCLKFLTPath(3).asCstr(), "/d");
    EXPECT_STREQ(fm.getCLKFLTPath(-1).asCstr(), "/d");
    EXPECT_STREQ(fm.getDVDHeaderPath(2).asCstr(), "/d");
    EXPECT_STREQ(fm.getFLTIdxPath(0, 0).asCstr(), "");
    EXPECT_STREQ(fm.getFLTIdxPath(2, 3).asCstr(), "/d/flt_idx_24_2.dat");
    EXPECT_STREQ(fm.getFLTIdxPath(1, 2).asCstr(), "/d/flt_idx_16_1.dat");

    // The fixed names of the other files are proved by opening writer-made sets.
    EXPECT_STREQ(fm.getCLKFLTPath(2).asCstr(), "/d/DVD 2/clk.flt.3");

    // Empty root: the literal alone. A trailing slash is kept, so it doubles.
    CNCOA_FileManager bare;
    EXPECT_STREQ(bare.getLCDPath().asCstr(), "/DVD 2/clk/lcd");
    fm.setRoot("/d/");
    EXPECT_STREQ(fm.getRv9EsdPath().asCstr(), "/d//DVD 2/rv9/rv9.esd");
    // Formatted paths are cut at 1,023 characters, literal ones are not.
    fm.setRoot(std::string(1100, 'r').c_str());
    EXPECT_EQ(fm.getClkXHsYPath('a', 1).length(), 1023);
    EXPECT_EQ(fm.getFLTIdxPath(0, 1).length(), 1023);
    EXPECT_EQ(fm.getLCDPath().length(), 1100 + 14);
}

// (The daily delete, LCD and rv9.esd rows are read from writer-made sets in
// test_roundtrip.cpp and test_rv9.cpp.)
TEST(Records, GenderLayoutAndUnsignedKeys) {
    // Numeric keys compare as unsigned numbers, not as host bytes.
    EXPECT_LT(lcdEntry::compare(lcdKey(0x000000FF), lcdKey(0x00000100)), 0);
    EXPECT_GT(lcdEntry::compare(lcdKey(0x80000000u), lcdKey(1)), 0);

    const char g[12] = {'M', 'A', 'R', 'Y', ' ', ' ', ' ', ' ', ' ', ' ', 'F', 'X'};
    genderStruct gs{};
    ASSERT_TRUE(genderStruct::deserialize(reinterpret_cast<const unsigned char*>(g), gs));
    EXPECT_EQ(gs.gender, 'F');
    EXPECT_EQ(gs.term, 0);

    // Byte keys compare unsigned and only over the key.
    BusinessLstItem a{}, b{};
    std::memset(&a, 0x01, sizeof a);
    std::memset(&b, 0x01, sizeof b);
    b.name[0] = 'Z';
    EXPECT_EQ(BusinessLstItem::compare(a, b), 0);
    b.key[7] = 0xFF;
    EXPECT_LT(BusinessLstItem::compare(a, b), 0);
}

TEST(BinFile, ReadPackedFile) {
    TempRoot dir;
    ManagedBuf<x11Record> table;
    std::string empty = dir.write("empty", "");
    EXPECT_THROW(CBinFileUtils<x11Record>::readPackedFile(empty.c_str(), table, 24, x11Record::deserialize),
                 std::bad_alloc);
    std::string odd = dir.write("odd", std::string(25, '1'));
    try {
        CBinFileUtils<x11Record>::readPackedFile(odd.c_str(), table, 24, x11Record::deserialize);
        FAIL() << "no exception";
    } catch (const fio_file_error& e) {
        EXPECT_EQ(e.errCode(), 1042);
        EXPECT_STREQ(e.what().asCstr(), odd.c_str());
    }
    EXPECT_EQ(codeOf([&] {
                  CBinFileUtils<x11Record>::readPackedFile(dir.path("none").c_str(), table, 24, x11Record::deserialize);
              }),
              1043);

    std::string two = dir.write("x11", std::string(24, 'A') + std::string(24, 'B'));
    ASSERT_TRUE(CBinFileUtils<x11Record>::readPackedFile(two.c_str(), table, 24, x11Record::deserialize));
    ASSERT_EQ(table.count, 2u);
    EXPECT_EQ(table[1].zip11[0], 'B');
    EXPECT_EQ(table[0].flag2, 'A');
    // A block of the right count is kept and refilled.
    x11Record* block = table.buf;
    dir.write("x11", std::string(24, 'C') + std::string(24, 'D'));
    ASSERT_TRUE(CBinFileUtils<x11Record>::readPackedFile(two.c_str(), table, 24, x11Record::deserialize));
    EXPECT_EQ(table.buf, block);
    EXPECT_EQ(table[0].zip11[0], 'C');
}

TEST(BinFile, SearchOnFileAndInMemory) {
    TempRoot dir;
    const int n = 37;
    std::string bytes = lcdRows(n);
    std::string path = dir.write("lcd", bytes);
    const auto* mem = reinterpret_cast<const unsigned char*>(bytes.data());

    auto onFile = [&](uint32_t key, unsigned long low, unsigned long high, unsigned long& at) {
        lcdEntry found = lcdKey(777);
        bool hit = CBinFileUtils<lcdEntry>::binSearch(path.c_str(), lcdKey(key), found, at, lcdEntry::compare,
                                                      lcdEntry::deserialize, 6, low, high);
        // A miss leaves found alone.
        EXPECT_EQ(found.zip9, hit ? key : 777u);
        return hit;
    };
    auto inMem = [&](uint32_t key, unsigned long low, unsigned long high, unsigned long& at) {
        lcdEntry found{};
        return CBinFileUtils<lcdEntry>::binSearchRawMem(mem, bytes.size(), lcdKey(key), found, at, lcdEntry::compare,
                                                        lcdEntry::deserialize, 6, low, high);
    };

    for (auto search : {std::function<bool(uint32_t, unsigned long, unsigned long, unsigned long&)>(onFile),
                        std::function<bool(uint32_t, unsigned long, unsigned long, unsigned long&)>(inMem)}) {
        unsigned long at = 999;
        for (int i = 0; i < n; ++i) {
            ASSERT_TRUE(search(10u * (i + 1), 0, 0, at)) << i;  // high 0: whole file
            EXPECT_EQ(at, static_cast<unsigned long>(i));
        }
        for (uint32_t miss : {0u, 5u, 15u, 365u, 371u, 5000u}) EXPECT_FALSE(search(miss, 0, 0, at)) << miss;
        // low past the end is clamped to the last record, which alone is seen.
        EXPECT_TRUE(search(370, 500, 0, at));
        EXPECT_EQ(at, 36u);
        EXPECT_FALSE(search(360, 500, 0, at));
        // high past the end is clamped; a range excludes what lies outside it.
        EXPECT_TRUE(search(20, 0, 1000, at));
        EXPECT_FALSE(search(20, 5, 9, at));
        EXPECT_TRUE(search(60, 5, 9, at));
        EXPECT_TRUE(search(100, 5, 9, at));
        EXPECT_FALSE(search(110, 5, 9, at));
        EXPECT_FALSE(search(60, 9, 5, at));
    }

    lcdEntry found{};
    unsigned long at = 0;
    EXPECT_FALSE(CBinFileUtils<lcdEntry>::binSearchRawMem(nullptr, 60, lcdKey(10), found, at, lcdEntry::compare,
                                                          lcdEntry::deserialize, 6, 0, 0));
    EXPECT_EQ(codeOf([&] {
                  CBinFileUtils<lcdEntry>::binSearch(dir.path("gone").c_str(), lcdKey(10), found, at,
                                                     lcdEntry::compare, lcdEntry::deserialize, 6, 0, 0);
              }),
              1043);
}

TEST(BinFile, SearchWholeTable) {
    ManagedBuf<czpRecord> table;
    ASSERT_TRUE(table.allocate(1));
    std::memcpy(table[0].zip, "12345", 5);
    czpRecord key{};
    std::memcpy(key.zip, "12345", 5);
    czpRecord found{};
    unsigned long at = 0;
    // One record never yields a hit, even for its own key.
    EXPECT_FALSE(CBinFileUtils<czpRecord>::binSearchMem(table, key, found, at, czpRecord::compare));

    const char* zips[] = {"00501", "10001", "12345", "60601", "90210"};
    ASSERT_TRUE(table.allocate(5));
    for (int i = 0; i < 5; ++i) std::memcpy(table[i].zip, zips[i], 5);
    for (int i = 0; i < 5; ++i) {
        std::memcpy(key.zip, zips[i], 5);
        ASSERT_TRUE(CBinFileUtils<czpRecord>::binSearchMem(table, key, found, at, czpRecord::compare));
        EXPECT_EQ(at, static_cast<unsigned long>(i));
    }
    std::memcpy(key.zip, "99999", 5);
    EXPECT_FALSE(CBinFileUtils<czpRecord>::binSearchMem(table, key, found, at, czpRecord::compare));
}

TEST(BinFile, SearchMulti) {
    TempRoot dir;
    // Ten firms; records 3, 4 and 5 share one address key.
    std::string bytes;
    const int keys[10] = {1, 2, 3, 7, 7, 7, 8, 9, 10, 11};
    for (int i = 0; i < 10; ++i) {
        std::string rec(8, '\0');
        rec[7] = static_cast<char>(keys[i]);
        rec += "FIRM " + std::string(1, char('A' + i)) + std::string(34, ' ');
        bytes += rec;
    }
    std::string path = dir.write("business.lst", bytes);
    BusinessLstItem key{};
    key.key[7] = 7;
    std::vector<BusinessLstItem> out;
    unsigned long first = 99, last = 99;

    auto multi = [&](unsigned long low, unsigned long high) {
        return CBinFileUtils<BusinessLstItem>::binSearchMulti(path.c_str(), key, out, BusinessLstItem::compare,
                                                              BusinessLstItem::deserialize, 48, first, last, low, high);
    };
    // "first-last names" of the records found.
    auto found = [&] {
        std::string s = std::to_string(first) + "-" + std::to_string(last) + " ";
        for (const auto& r : out) s += r.name[5];
        return s;
    };

    ASSERT_TRUE(multi(0, 9));
    EXPECT_EQ(found(), "3-5 DEF");
    // The step to index 2 lies below low: the records are all there, first is not moved to 3.
    ASSERT_TRUE(multi(3, 9));
    EXPECT_EQ(found(), "4-5 DEF");
    // The same at the upper bound: the step to index 6 lies above high.
    ASSERT_TRUE(multi(0, 5));
    EXPECT_EQ(found(), "3-4 DEF");
    // A high of 0 searches the whole file but walks no step forward.
    ASSERT_TRUE(multi(0, 0));
    EXPECT_EQ(found().substr(4), "DE");

    key.key[7] = 4;
    EXPECT_FALSE(multi(0, 9));
    EXPECT_EQ(found(), "0-0 ");
}
