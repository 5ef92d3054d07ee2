// Delivery points and check digits of primary and high-rise secondary numbers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "NCOA_Utils.h"
#include "RV9_DPBC.h"
#include "RV9_DeliveryPoint.h"
#include "TestSupport.h"

using namespace QV_NCOA;

namespace {

const char kZip[] = "123456789";  // digit sum 45

int lastNonSpace(const char* s) {
    int len = static_cast<int>(std::strlen(s));
    while (len > 0 && s[len - 1] == ' ') --len;
    return len;
}

std::string code(const char* primary, const char* secondary, char type, const char* zip = kZip) {
    CNCOA_DeliveryPoints dp;
    fixedString<12> c = dp.calcDeliveryPoints(lastNonSpace(primary), primary, lastNonSpace(secondary), secondary,
                                              zip, type, "    ");
    return std::string(c.buf);
}

}  // namespace

TEST(DeliveryPointPrimary, LastTwoDigitsOfTheHouseNumber) {
    EXPECT_EQ(code("123", "", 'S'), "123456789230");
    EXPECT_EQ(code("5", "", 'S'), "123456789050");
    EXPECT_EQ(code("12A", "", 'F'), "123456789122");  // number and second text
    EXPECT_EQ(code("A", "", 'R'), "123456789997");
    EXPECT_EQ(code("12A5", "", 'S'), "123456789005");  // second number: its value is 0
    EXPECT_EQ(code("1-2", "", 'S'), "123456789997");   // second text with a hyphen keeps 99
}

TEST(DeliveryPointPrimary, UnparsableNumbersFallBack) {
    EXPECT_EQ(code("- ", "", 'S'), "123456789005");
    // Two hyphens: the digits at the right end.
    EXPECT_EQ(code("1-2-34", "", 'S'), "123456789348");
    EXPECT_EQ(code("1-2-3", "", 'S'), "123456789032");
    // A refused fraction is not scanned.
    EXPECT_EQ(code("1/1", "", 'S'), "123456789997");

    fixedString<12> c;
    CNCOA_RV9DPBC().makeDPBC(3, "123", "12345678X", c);
    EXPECT_EQ(std::string(c.buf), "000000000000");
}

TEST(DeliveryPointSecondary, NumberRule) {
    EXPECT_EQ(code("1", "1205", 'H'), "123456789050");  // (12 % 4) * 25 + 5
    EXPECT_EQ(code("1", "7", 'H'), "123456789078");
    EXPECT_EQ(code("1", "10012", 'H'), "123456789122");  // above 9999 with R2 of 0
    EXPECT_EQ(code("1", "1399", 'H'), "123456789492");   // 1 * 25 + 24
    EXPECT_EQ(code("1", "12 1/2", 'H'), "123456789122");  // the fraction does not count
    EXPECT_EQ(code("1", "1/2", 'H'), "123456789005");
}

TEST(DeliveryPointSecondary, LettersAndTrailingConversions) {
    EXPECT_EQ(code("1", "A", 'H'), "123456789735");  // 65 + 8
    EXPECT_EQ(code("1", "12A", 'H'), "123456789014");
    EXPECT_EQ(code("1", "12B", 'H'), "123456789023");
    EXPECT_EQ(code("1", "12J", 'H'), "123456789005");
    EXPECT_EQ(code("1", "A12", 'H'), "123456789032");  // 1 + 2
    EXPECT_EQ(code("1", "1A2B", 'H'), "123456789023");  // third text
    EXPECT_EQ(code("1", "A1B", 'H'), "123456789023");   // type 56 reads its own length
    EXPECT_EQ(code("1", "#12A", 'H'), "123456789014");  // cleaned before parsing
    EXPECT_EQ(code("1", "        ", 'H'), "123456789997");
    EXPECT_EQ(code("1", "12 34", 'H'), "123456789997");  // refused by the parser: 99
}

TEST(DeliveryPointCode, CheckDigitAndZipHandling) {
    fixedString<12> c;
    CNCOA_RV9DPBC::do1005MoveToOutstuff(kZip, 1, c);
    EXPECT_EQ(std::string(c.buf), "123456789014");  // 100 - 46, modulo 10

    EXPECT_EQ(errCodeOf<qvncoa_exception>([&] { code("1", "", 'S', "1234X6789"); }), 1024);
    // A type that carries no computed code does not throw, and only the
    // ZIP+4 decides whether the primary rule fills in a code.
    EXPECT_EQ(code("123", "", ' ', "1234X6789"), "000000000000");
    EXPECT_EQ(code("123", "", ' '), "123456789230");
}

TEST(DeliveryPointCode, DivremTruncatesTowardZero) {
    int32_t q = 0, r = 0;
    divrem(-7, 2, q, r);
    EXPECT_EQ(q, -3);
    EXPECT_EQ(r, -1);
    divrem(1205, 100, q, r);
    EXPECT_EQ(q, 12);
    EXPECT_EQ(r, 5);
}
