// Result decoding: the base-254 number behind the eight bytes, the permutation
// chosen by the key, ZIP index, flags, initials, gender, hint and the decade
// rule that places a one-digit year around today.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "DataTables.h"
#include "HashLookup.h"
#include "LookupBase.h"

using namespace QV_NCOA;

namespace {

class ResultDecodeTest : public ::testing::Test {
protected:
    void SetUp() override {
        // ZIP index k names line k - 1; 1300 lines, the last one a guard.
        for (int i = 0; i < 1300; ++i) {
            char zip[8];
            std::snprintf(zip, sizeof zip, "%05d", 10000 + i);
            tables.zipLst.emplace_back(zip);
        }
        tables.hintLst.emplace_back("1/2");
        tables.hintLst.emplace_back("REARHOUSE");
        ASSERT_TRUE(tables.xoStripeTable.allocate(kXOStripeRowCount));
        buildXOStripeTable(tables.xoStripeTable.buf);
    }

    // The seven stored bytes of a number: base-254 digits, each plus 1.
    static void digitsOf(unsigned long number, unsigned long* values) {
        for (int i = 0; i < 6; ++i) {
            values[i] = number % 254 + 1;
            number /= 254;
        }
        values[6] = number + 1;  // may pass one byte: calcResults_int takes any numbers
    }
    // head: ZIP index + 64000 * (flags and date and name code); six further digits.
    static unsigned long numberOf(unsigned long head, unsigned long six) { return head * 1000000UL + six; }
    static unsigned long restOf(bool nameFlag, bool dropFlag, unsigned long yearDigit, unsigned long month,
                                unsigned long nameCode) {
        return (nameFlag ? 524880UL : 0) + (dropFlag ? 262440UL : 0) + ((yearDigit * 12 + month - 1) * 2187) +
               nameCode;
    }
    bool decode(unsigned long number, unsigned char hint, LookupRes& res) {
        unsigned long values[7];
        digitsOf(number, values);
        res.clear();
        return lookup.calcResults_int(values, hint, res);
    }
    static std::string str(const char* p, size_t n) { return std::string(p, n); }

    CNCOA_DataTables tables;
    CNCOA_HashLookup lookup{tables};
};

}  // namespace

TEST_F(ResultDecodeTest, WorkedExample) {
    LookupRes res;
    ASSERT_TRUE(decode(8683265234000123UL, 254, res));
    EXPECT_EQ(res.seventeen, 8683265234000123UL);
    // ZIP index 1234 is line 1233.
    EXPECT_EQ(str(res.zip11.buf, 11), "11233000123");
    EXPECT_EQ(res.nameFlag, 'N');
    EXPECT_EQ(res.dropFlag, 'N');
    EXPECT_EQ(str(res.middle.buf, 2), "A ");
    EXPECT_EQ(res.gender, 'M');
    EXPECT_EQ(str(res.hint.buf, 7), "       ");
    unsigned long decade = 0;
    ASSERT_TRUE(decadeOfYearDigit(5, lookup.getCurrentYear(), decade));
    EXPECT_EQ(str(res.moveDate.buf, 6), std::to_string(decade) + "503");
    if (lookup.getCurrentYear() == 2026) {
        EXPECT_EQ(str(res.moveDate.buf, 6), "202503");
    }
    unsigned long d2026 = 0;
    ASSERT_TRUE(decadeOfYearDigit(5, 2026, d2026));
    EXPECT_EQ(d2026, 202u);
}

TEST_F(ResultDecodeTest, PermutationOfTheKeyPlacesTheBytes) {
    const unsigned long number = numberOf(7 + 64000UL * restOf(false, true, lookup.getCurrentYear() % 10, 11, 1000), 424242);
    unsigned long values[7];
    digitsOf(number, values);
    LookupRes direct;
    direct.clear();
    ASSERT_TRUE(lookup.calcResults_int(values, 2, direct));

    // Rows 0, 1, 5039 and one chosen by a full 64-bit key: n % 5040.
    const unsigned long keys[] = {0UL, 1UL, 5039UL, 0xF1E2D3C4B5A69788UL};
    const unsigned char rows[][7] = {{1, 2, 3, 4, 5, 6, 7}, {1, 2, 3, 4, 5, 7, 6}, {7, 6, 5, 4, 3, 2, 1}, {}};
    for (int k = 0; k < 4; ++k) {
        unsigned char sha[20] = {};
        for (int i = 0; i < 8; ++i) sha[i] = static_cast<unsigned char>(keys[k] >> (56 - 8 * i));
        const unsigned char* row = tables.xoStripeTable.buf[keys[k] % 5040];
        if (k < 3) {
            EXPECT_EQ(std::memcmp(row, rows[k], 7), 0) << k;
        }
        unsigned char data[8];
        for (int i = 0; i < 7; ++i) data[row[i] - 1] = static_cast<unsigned char>(values[i]);
        data[7] = 2;
        LookupRes res;
        res.clear();
        ASSERT_TRUE(lookup.calcResults(sha, data, res)) << k;
        EXPECT_EQ(res.seventeen, number);
        EXPECT_EQ(str(res.zip11.buf, 11), "10006424242");
        EXPECT_EQ(str(res.moveDate.buf, 6), str(direct.moveDate.buf, 6));
        EXPECT_EQ(str(res.hint.buf, 7), "REARHOU");  // cut at 7
        EXPECT_EQ(res.dropFlag, 'Y');
        EXPECT_EQ(res.nameFlag, 'N');
    }
}

TEST_F(ResultDecodeTest, ZipIndexFlagsNamesAndHint) {
    const unsigned long y = lookup.getCurrentYear() % 10;
    LookupRes res;

    // ZIP index 0: the six digits carry a code.
    ASSERT_TRUE(decode(numberOf(64000UL * restOf(false, false, y, 1, 0), 77), 1, res));
    EXPECT_EQ(str(res.zip11.buf, 11), "00000000077");
    EXPECT_EQ(str(res.middle.buf, 2), "  ");
    EXPECT_EQ(res.gender, 'U');
    EXPECT_EQ(str(res.hint.buf, 7), "1/2    ");

    // Both flags, the last name code: ZZ, female.
    ASSERT_TRUE(decode(numberOf(1 + 64000UL * restOf(true, true, y, 12, 2186), 0), 254, res));
    EXPECT_EQ(res.nameFlag, 'Y');
    EXPECT_EQ(res.dropFlag, 'Y');
    EXPECT_EQ(str(res.middle.buf, 2), "ZZ");
    EXPECT_EQ(res.gender, 'F');
    EXPECT_EQ(str(res.zip11.buf, 5), "10000");
    EXPECT_EQ(str(res.moveDate.buf + 4, 2), "12");

    // Name flag alone; "MJ" male: (13 * 81) + (10 * 3) + 1.
    ASSERT_TRUE(decode(numberOf(2 + 64000UL * restOf(true, false, y, 6, 13 * 81 + 10 * 3 + 1), 5), 254, res));
    EXPECT_EQ(res.nameFlag, 'Y');
    EXPECT_EQ(res.dropFlag, 'N');
    EXPECT_EQ(str(res.middle.buf, 2), "MJ");
    EXPECT_EQ(res.gender, 'M');

    // The last usable index is the one before the list's size: the last line is a guard.
    ASSERT_TRUE(decode(numberOf(1299 + 64000UL * restOf(false, false, y, 1, 0), 0), 254, res));
    EXPECT_EQ(str(res.zip11.buf, 5), "11298");
    try {
        decode(numberOf(1300 + 64000UL * restOf(false, false, y, 1, 0), 0), 254, res);
        FAIL() << "index equal to the list's size";
    } catch (const qvncoa_exception& e) {
        EXPECT_EQ(e.errCode(), 1023);
    }
}

// Every pair of today's year digit and a stored digit: the decoded year is the
// one year in today-5 .. today+1 that ends in the digit, or the filing is
// refused when no year of that window ends in it.
TEST_F(ResultDecodeTest, DecadeRuleKeepsYearsFromFiveBackToOneAhead) {
    for (int year = 2020; year <= 2039; ++year) {
        for (unsigned digit = 0; digit < 10; ++digit) {
            int expected = -1;
            for (int y = year - 5; y <= year + 1; ++y)
                if (y % 10 == static_cast<int>(digit)) expected = y;
            unsigned long decade = 0;
            bool ok = decadeOfYearDigit(digit, year, decade);
            EXPECT_EQ(ok, expected != -1) << year << " digit " << digit;
            if (ok) {
                EXPECT_EQ(static_cast<int>(decade * 10 + digit), expected) << year << " digit " << digit;
            }
        }
    }
    unsigned long decade = 0;
    EXPECT_TRUE(decadeOfYearDigit(0, 2029, decade));
    EXPECT_EQ(decade, 203u);
    EXPECT_TRUE(decadeOfYearDigit(9, 2030, decade));
    EXPECT_EQ(decade, 202u);
    // The rule looks at the distance only: a "digit" of 15 is nine ahead of
    // 2026's 6 and passes as the decade before, and the date then fails to
    // print in six places.
    EXPECT_TRUE(decadeOfYearDigit(15, 2026, decade));
    EXPECT_FALSE(decadeOfYearDigit(16, 2026, decade));
    const unsigned long nowDigit = lookup.getCurrentYear() % 10;
    if (nowDigit != 0) {
        LookupRes res;
        try {
            decode(numberOf(5 + 64000UL * restOf(true, true, nowDigit + 9, 1, 0), 0), 1, res);
            FAIL() << "a two-digit year can't print in six places";
        } catch (const qvncoa_exception& e) {
            EXPECT_EQ(e.errCode(), 1050);
            EXPECT_STREQ(e.what().asCstr(), "Lookup base internal error 1");
        }
    }

    // A refused digit blanks the result through the real clock.
    const unsigned long refused = (lookup.getCurrentYear() + 3) % 10;
    LookupRes res;
    EXPECT_FALSE(decode(numberOf(5 + 64000UL * restOf(true, false, refused, 4, 82), 123), 1, res));
    EXPECT_EQ(str(res.zip11.buf, 11), "           ");
    EXPECT_EQ(str(res.moveDate.buf, 6), "      ");
    EXPECT_EQ(res.nameFlag, ' ');
    EXPECT_EQ(res.seventeen, 0u);
}
