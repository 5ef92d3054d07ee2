// The EMDP key: the rules that shape it. (The worked examples are keyed by the
// writer and found by the library in test_roundtrip.cpp.)
#include <gtest/gtest.h>

#include <string>

#include "DataTables.h"
#include "EMDP.h"
#include "TestSupport.h"

using namespace QV_NCOA;

namespace {

// A data object whose LCD table holds the given rows (6 bytes each, sorted).
class EmdpTest : public ::testing::Test {
protected:
    void SetUp() override { writeLcd({{999999999u, 1}}); }

    void writeLcd(std::initializer_list<std::pair<unsigned, unsigned short>> rows) {
        std::string bytes;
        for (auto& r : rows)
            for (unsigned v : {r.first >> 24, r.first >> 16, r.first >> 8, r.first, unsigned(r.second) >> 8,
                               unsigned(r.second)})
                bytes += static_cast<char>(v & 0xFF);
        tmp.write("DVD 2/clk/lcd", bytes);
        tables.setRoot(tmp.root.c_str());
    }

    bool key(const char* zip9, const char* pno, const char* desc, const char* sno, unsigned long& emdp,
             std::string& zip4) {
        fixedString<9> z;
        fixedString<10> p;
        fixedString<4> d;
        fixedString<8> s;
        fixedString<4> used;
        z.cpyIn(zip9);
        p.cpyIn(pno);
        d.cpyIn(desc);
        s.cpyIn(sno);
        CNCOA_EMDP maker(tables);
        bool ok = maker.getEMDP(z, p, d, s, emdp, used);
        zip4 = used.buf;
        return ok;
    }

    unsigned long emdpOf(const char* zip9, const char* pno, const char* desc, const char* sno) {
        unsigned long e = 0;
        std::string z4;
        EXPECT_TRUE(key(zip9, pno, desc, sno, e, z4)) << zip9 << "/" << pno << "/" << desc << "/" << sno;
        return e;
    }

    TempRoot tmp;
    CNCOA_DataTables tables;
};

}  // namespace

TEST_F(EmdpTest, DifferentSpellingsOfOneAddressAgree) {
    EXPECT_EQ(emdpOf("123456789", "0123", "", ""), emdpOf("123456789", "123", "", ""));
    EXPECT_EQ(emdpOf("123456789", "123", "", "0004"), emdpOf("123456789", "123", "", "4"));
    EXPECT_NE(emdpOf("123456789", "12", "", "upper"), emdpOf("123456789", "12", "", "U"));  // case-exact words
    EXPECT_EQ(emdpOf("123456789", "12", "", "UPPER"), emdpOf("123456789", "12", "", "U"));
    EXPECT_NE(emdpOf("123456789", "12", "", "UPPERS"), emdpOf("123456789", "12", "", "U"));
    EXPECT_EQ(emdpOf("123456789", "12", "", "b"), emdpOf("123456789", "12", "", "B"));
    // A designator alone stands as the secondary; with a number it is dropped.
    EXPECT_EQ(emdpOf("123456789", "12", "PH", ""), emdpOf("123456789", "12", "", "PH"));
    EXPECT_EQ(emdpOf("123456789", "12", "APT", "4"), emdpOf("123456789", "12", "", "4"));
}

TEST_F(EmdpTest, OddRulesOfTheKeyStay) {
    // Leading runs of one digit are replaced.
    EXPECT_EQ(emdpOf("123456789", "99991", "", ""), emdpOf("123456789", "56781", "", ""));
    // "7" keys like "700"; a zero primary becomes "000".
    EXPECT_EQ(emdpOf("123456789", "0", "", ""), emdpOf("123456789", "000", "", ""));
    // "1 1/2" keeps its digits: a half needs two characters before its blank.
    EXPECT_EQ(emdpOf("123456789", "1 1/2", "", ""), 1234567890000112000UL);
    // Only four places for the secondary, and the first four are kept.
    EXPECT_EQ(emdpOf("123456789", "1", "", "12345678"), emdpOf("123456789", "1", "", "1234"));
    // Seven digits survive: the primary's leading ones vanish.
    EXPECT_EQ(emdpOf("123456789", "87654321", "", "1234"), emdpOf("123456789", "321", "", "1234"));
}

TEST_F(EmdpTest, ZipPlusFourComesFromTheInputOrTheReplacementTable) {
    unsigned long e = 0;
    std::string z4;
    ASSERT_TRUE(key("12345    ", "1", "", "", e, z4));
    EXPECT_EQ(z4, "0000");
    ASSERT_TRUE(key("123456789", "1", "", "", e, z4));
    EXPECT_EQ(z4, "6789");
    writeLcd({{123456788u, 11}, {123456789u, 42}, {123456790u, 12}});
    ASSERT_TRUE(key("123456789", "1", "", "", e, z4));
    EXPECT_EQ(z4, "0042");
    EXPECT_EQ(e, 1234500420000100000UL);
    ASSERT_TRUE(key("123456791", "1", "", "", e, z4));
    EXPECT_EQ(z4, "6791");
    EXPECT_FALSE(key("1234A6789", "1", "", "", e, z4));
    EXPECT_EQ(e, 0u);
    EXPECT_EQ(z4, "0000");
}
