// The USPS number parser: piece bits, values and the 13 refusals.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "RV9_ParseNum.h"

using namespace QV_NCOA;

namespace {

// Parses with the length up to the last non-space, as callers do.
parseRes parse(const char* s, bool* ok = nullptr) {
    int len = static_cast<int>(std::strlen(s));
    while (len > 0 && s[len - 1] == ' ') --len;
    parseRes r;
    bool good = parsenum(s, len, r);
    if (ok) *ok = good;
    return r;
}

std::string text(const parseRes& r, int part) { return std::string(r.parts[part].text.buf); }

}  // namespace

TEST(ParseNumPieces, BlankDigitsAndLettersAlone) {
    bool ok = false;
    parseRes r = parse("", &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(r.type, 0);
    EXPECT_EQ(r.error, 0);

    r = parse("123");
    EXPECT_EQ(r.type, 16);
    EXPECT_EQ(r.parts[0].value, 123);
    EXPECT_EQ(r.parts[0].length, 0);

    r = parse("ABC");
    EXPECT_EQ(r.type, 32);
    EXPECT_EQ(text(r, 0), "ABC   ");
    EXPECT_EQ(r.parts[0].length, 3);
}

TEST(ParseNumPieces, TextsBeforeAndBehindTheNumber) {
    parseRes r = parse("12A");
    EXPECT_EQ(r.type, 24);
    EXPECT_EQ(r.parts[0].value, 12);
    EXPECT_EQ(text(r, 1), "A     ");
    EXPECT_EQ(r.parts[1].length, 1);

    r = parse("A12");
    EXPECT_EQ(r.type, 48);
    EXPECT_EQ(text(r, 0), "A     ");
    EXPECT_EQ(r.parts[0].value, 12);

    r = parse("A-1");
    EXPECT_EQ(r.type, 48);
    EXPECT_EQ(text(r, 0), "A-    ");
    EXPECT_EQ(r.parts[0].value, 1);

    // A trailing hyphen is a second text unless it fills the field.
    r = parse("5-");
    EXPECT_EQ(r.type, 24);
    EXPECT_EQ(text(r, 1), "-     ");

    // A leading hyphen may stand before a digit or a direction letter.
    EXPECT_EQ(parse("-1").error, 0);
    EXPECT_EQ(parse("-N1").error, 0);
}

TEST(ParseNumPieces, SecondNumberLeavesOnlyItsBit) {
    parseRes r = parse("12A5");
    EXPECT_EQ(r.type, 28);
    EXPECT_EQ(r.parts[0].value, 12);
    EXPECT_EQ(r.parts[1].value, 0);
    EXPECT_EQ(text(r, 1), "A     ");

    r = parse("1A2B");
    EXPECT_EQ(r.type, 30);
    EXPECT_EQ(text(r, 2), "B     ");
    EXPECT_EQ(r.parts[2].length, 1);

    // A dot between two numbers is allowed.
    r = parse("1.5");
    EXPECT_EQ(r.error, 0);
    EXPECT_EQ(text(r, 1), ".     ");
}

TEST(ParseNumPieces, FractionsKeepOneCharacterLess) {
    parseRes r = parse("12 1/2");
    EXPECT_EQ(r.type, 17);
    EXPECT_EQ(r.parts[0].value, 12);
    EXPECT_EQ(text(r, 3), "1/    ");
    EXPECT_EQ(r.parts[3].length, 2);

    r = parse("1/2");
    EXPECT_EQ(r.type, 1);
    EXPECT_EQ(r.error, 0);

    // A fourth character that is no digit is allowed.
    EXPECT_EQ(parse("1/2A").error, 0);
}

TEST(ParseNumRefusals, EveryErrorNumberHasItsInput) {
    const struct {
        const char* input;
        int error;
    } cases[] = {
        {"12#", 1},        {"1/2/3", 2},   {"1-2-3", 3},    {"1.2.3", 4},      {"1-2.3", 5},
        {"-A1", 6},        {"123456789-", 6},               {"1 2 3", 7},      {"12  1/2", 7},
        {"12 34", 8},      {"1/1", 9},     {"2/1", 9},      {"0/1", 9},        {"1/23", 9},
        {"12 1/2345", 9},  {"12345678", 10},                {"ABCDEFG1", 11},  {"ABCDEFG", 11},
        {"1.A", 12},       {".5", 12},     {"1A2-", 13},
    };
    for (const auto& c : cases) {
        bool ok = true;
        parseRes r = parse(c.input, &ok);
        EXPECT_FALSE(ok) << c.input;
        EXPECT_EQ(r.error, c.error) << c.input;
    }
}

TEST(ParseNumRefusals, RefusedPartsAreEmptiedButTypeStays) {
    parseRes r = parse("12345678");
    EXPECT_EQ(r.error, 10);
    EXPECT_EQ(r.type, 16);
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(r.parts[k].value, 0);
        EXPECT_EQ(r.parts[k].length, 0);
        EXPECT_EQ(text(r, k), "      ");
    }
    r = parse("AB12CD#");
    EXPECT_EQ(r.error, 1);
    EXPECT_EQ(text(r, 0), "      ");
}
