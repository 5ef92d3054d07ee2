// Result decoding: the base-254 number behind the eight bytes, the key's
// permutation, ZIP index, flags, initials, gender, hint, and the decade rule
// that places a one-digit year around today.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "DataTables.h"
#include "HashLookup.h"
#include "NCOA_Utils.h"
#include "TestSupport.h"

using namespace QV_NCOA;

namespace {

class ResultDecodeTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (int i = 0; i < 1300; ++i) tables.zipLst.emplace_back(std::to_string(10000 + i).c_str());
        tables.hintLst.emplace_back("1/2");
        tables.hintLst.emplace_back("REARHOUSE");
        ASSERT_TRUE(tables.xoStripeTable.allocate(kXOStripeRowCount));
        buildXOStripeTable(tables.xoStripeTable.buf);
    }
    // Stored bytes are base-254 digits plus 1; the top one takes what is left.
    static void digitsOf(unsigned long number, unsigned long* values) {
        for (int i = 0; i < 6; ++i, number /= 254) values[i] = number % 254 + 1;
        values[6] = number + 1;
    }
    // The number of a result: ZIP index, flags, year digit, month, name code, six digits.
    static unsigned long numberOf(unsigned long zipIndex, bool nameFlag, bool dropFlag, unsigned long yearDigit,
                                  unsigned long month, unsigned long nameCode, unsigned long six) {
        unsigned long rest = (nameFlag ? 524880UL : 0) + (dropFlag ? 262440UL : 0) +
                             (yearDigit * 12 + month - 1) * 2187 + nameCode;
        return (zipIndex + 64000UL * rest) * 1000000UL + six;
    }
    bool decode(unsigned long number, unsigned char hint) {
        unsigned long values[7];
        digitsOf(number, values);
        res.clear();
        return lookup.calcResults_int(values, hint, res);
    }
    std::string text() const {  // zip11 moveDate middle gender drop name hint
        return std::string(res.zip11.buf, 11) + " " + std::string(res.moveDate.buf, 6) + " " +
               std::string(res.middle.buf, 2) + res.gender + res.dropFlag + res.nameFlag + " " +
               std::string(res.hint.buf, 7);
    }
    int code(unsigned long number) {
        return errCodeOf<qvncoa_exception>([&] { decode(number, 1); });
    }

    CNCOA_DataTables tables;
    CNCOA_HashLookup lookup{tables};
    LookupRes res;
    const unsigned long year = static_cast<unsigned long>(lookup.getCurrentYear());
    const std::string decade = std::to_string(year / 10);
};

}  // namespace

TEST_F(ResultDecodeTest, WorkedExample) {
    // In 2026: ZIP index 1234 (line 1233), rest 135676, year digit 5, March.
    unsigned long d = 0;
    ASSERT_TRUE(decadeOfYearDigit(5, 2026, d));
    EXPECT_EQ(d, 202u);
    ASSERT_TRUE(decadeOfYearDigit(5, static_cast<int>(year), d));
    ASSERT_TRUE(decode(8683265234000123UL, 254));
    EXPECT_EQ(res.seventeen, 8683265234000123UL);
    EXPECT_EQ(text(), "11233000123 " + std::to_string(d) + "503 A MNN        ");
    if (year == 2026) {
        EXPECT_EQ(std::string(res.moveDate.buf, 6), "202503");
    }
}

TEST_F(ResultDecodeTest, PermutationOfTheKeyPlacesTheBytes) {
    unsigned long values[7];
    digitsOf(numberOf(7, false, true, year % 10, 11, 1000, 424242), values);
    const unsigned long keys[] = {0UL, 1UL, 5039UL, 0xF1E2D3C4B5A69788UL};
    for (int k = 0; k < 4; ++k) {
        unsigned char sha[20] = {};
        for (int i = 0; i < 8; ++i) sha[i] = static_cast<unsigned char>(keys[k] >> (56 - 8 * i));
        const unsigned char* row = tables.xoStripeTable.buf[keys[k] % 5040];
        unsigned char data[8];
        for (int i = 0; i < 7; ++i) data[row[i] - 1] = static_cast<unsigned char>(values[i]);
        data[7] = 2;
        res.clear();
        ASSERT_TRUE(lookup.calcResults(sha, data, res)) << k;
        // 1000 = 12 * 81 + 9 * 3 + 1: "LI", male; hint 2 cut at 7.
        EXPECT_EQ(text(), "10006424242 " + decade + std::to_string(year % 10) + "11 LIMYN REARHOU") << k;
    }
}

TEST_F(ResultDecodeTest, ZipIndexFlagsNamesAndHint) {
    const unsigned long y = year % 10;
    const std::string ym = decade + std::to_string(y);
    ASSERT_TRUE(decode(numberOf(0, false, false, y, 1, 0, 77), 1));  // index 0: the digits carry a code
    EXPECT_EQ(text(), "00000000077 " + ym + "01   UNN 1/2    ");
    ASSERT_TRUE(decode(numberOf(1, true, true, y, 12, 2186, 0), 254));
    EXPECT_EQ(text(), "10000000000 " + ym + "12 ZZFYY        ");
    ASSERT_TRUE(decode(numberOf(2, true, false, y, 6, 13 * 81 + 10 * 3 + 1, 5), 254));
    EXPECT_EQ(text(), "10001000005 " + ym + "06 MJMNY        ");
    // The last usable index is one below the list's size: its last line is a guard.
    ASSERT_TRUE(decode(numberOf(1299, false, false, y, 1, 0, 0), 254));
    EXPECT_EQ(std::string(res.zip11.buf, 5), "11298");
    EXPECT_EQ(code(numberOf(1300, false, false, y, 1, 0, 0)), 1023);
}

// For every year digit of today and of a filing: the year read is the one
// year from today - 5 to today + 1 that ends in the digit; none: refused.
TEST_F(ResultDecodeTest, DecadeRuleKeepsYearsFromFiveBackToOneAhead) {
    for (int now = 2020; now <= 2039; ++now) {
        for (unsigned digit = 0; digit < 10; ++digit) {
            int expected = -1;
            for (int y = now - 5; y <= now + 1; ++y)
                if (y % 10 == static_cast<int>(digit)) expected = y;
            unsigned long d = 0;
            bool ok = decadeOfYearDigit(digit, now, d);
            EXPECT_EQ(ok ? static_cast<int>(d * 10 + digit) : -1, expected) << now << " digit " << digit;
        }
    }
    // Only the distance counts: "digit" 15 is nine ahead of 2026's 6 and reads
    // as the decade before; the date then cannot print in six places.
    unsigned long d = 0;
    EXPECT_TRUE(decadeOfYearDigit(15, 2026, d));
    EXPECT_FALSE(decadeOfYearDigit(16, 2026, d));
    if (year % 10 != 0) {
        EXPECT_EQ(code(numberOf(5, true, true, year % 10 + 9, 1, 0, 0)), 1050);
    }

    // A refused digit blanks the result, through the real clock.
    EXPECT_FALSE(decode(numberOf(5, true, false, (year + 3) % 10, 4, 82, 123), 1));
    EXPECT_EQ(text(), std::string(32, ' '));
    EXPECT_EQ(res.seventeen, 0u);
}

// The decode prints its number as "%017lu" into 18 bytes: a wrapped number of
// 18 to 20 digits keeps its first 17.
TEST(ZeroPaddedCut, PrintsAsSnprintfWould) {
    std::vector<unsigned long> values = {0, 1, 9, 10, 99999999999999999UL, 100000000000000000UL,
                                         999999999999999999UL, 18446744073709551615UL};
    unsigned long x = 88172645463325252UL;
    for (int i = 0; i < 2000; ++i) {
        x ^= x << 13, x ^= x >> 7, x ^= x << 17;
        values.push_back(x >> (i % 64));
    }
    for (unsigned long v : values)
        for (int width : {4, 17}) {
            char want[32], got[32];
            std::snprintf(want, static_cast<size_t>(width) + 1, "%0*lu", width, v);
            printZeroPaddedCut(v, width, got);
            EXPECT_STREQ(got, want) << v << " width " << width;
        }
}
