// Copy rules and queries of the fixed-width field, and the text helpers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "NCOA_Utils.h"
#include "fixedString.h"

using namespace QV_NCOA;

template <int N>
static std::string S(const fixedString<N>& f) { return std::string(f.buf); }

TEST(FixedStringCopy, ConstructedBlankWithNulBehind) {
    fixedString<5> f;
    EXPECT_EQ(S(f), "     ");
    EXPECT_EQ(f.size, 5);
    EXPECT_EQ(f.buf[5], '\0');
}

TEST(FixedStringCopy, CpyInDefaultsBlankTheTailButExplicitCountKeepsIt) {
    fixedString<8> f;
    f.cpyIn("ABCDEFGH");
    f.cpyIn("XYZ");
    EXPECT_EQ(S(f), "XYZ     ");
    f.cpyIn("ABCDEFGH");
    f.cpyIn("XYZ", -1, -1, -1, -1, 3);
    EXPECT_EQ(S(f), "XYZDEFGH");
    f.cpyIn("ABCDEFGH");
    f.cpyIn("XYZ", -1, -1, -1, -1, -2);  // -2 also counts as the default
    EXPECT_EQ(S(f), "XYZ     ");
}

TEST(FixedStringCopy, CpyInOffsetsAndCountsClip) {
    fixedString<6> f;
    f.cpyIn("123456789");  // cut at the width
    EXPECT_EQ(S(f), "123456");
    f.cpyIn("AB", -1, -1, -1, 4, 10);  // only what fits from the offset
    EXPECT_EQ(S(f), "1234AB");
    f.cpyIn("WXYZ", 4, 1, 2, 0, 2);  // two characters from offset 1
    EXPECT_EQ(S(f), "XY34AB");
    f.cpyIn("QQ", -1, -1, -1, 6, -1);  // offset at the width: nothing happens
    EXPECT_EQ(S(f), "XY34AB");
    f.cpyIn("QQ", 2, 2, -1, 0, -1);  // source offset past an explicit length: nothing
    EXPECT_EQ(S(f), "XY34AB");
    f.cpyIn("AB\0CD", 5);  // the explicit length is still bounded by the NUL
    EXPECT_EQ(S(f), "AB    ");
    f.cpyIn(nullptr);
    EXPECT_EQ(S(f), "      ");
}

TEST(FixedStringCopy, AssignmentKeepsOldTailAndSkipsEmptySource) {
    fixedString<6> a, b;
    a.cpyIn("ABCDEF");
    b.cpyIn("XY");
    b.buf[2] = '\0';  // a source that ends early
    a = b;
    EXPECT_EQ(S(a), "XYCDEF");
    fixedString<6> empty;
    empty.buf[0] = '\0';
    a = empty;
    EXPECT_EQ(S(a), "XYCDEF");
}

TEST(FixedStringQuery, RangesAndClasses) {
    fixedString<8> f;
    EXPECT_FALSE(f.isNumeric(0, 0));
    EXPECT_TRUE(f.isSpaces(0, 0));
    EXPECT_TRUE(f.isSpaces(20, 5));  // cut to the width: empty range
    f.cpyIn("12 45");
    EXPECT_TRUE(f.isNumeric(0, 2));
    EXPECT_FALSE(f.isNumeric(0, 3));
    EXPECT_TRUE(f.isNumeric(3, 2));
    EXPECT_TRUE(f.isSpaces(5, -1));
    EXPECT_FALSE(f.isNumericToLastNonSpace());
    fixedString<8> g;
    EXPECT_TRUE(g.isNumericToLastNonSpace());
    g.cpyIn("0123");
    EXPECT_TRUE(g.isNumericToLastNonSpace());
    fixedString<4> addon;  // "%d" of 1 printed into four places
    std::snprintf(addon.buf, 5, "%d", 1);
    addon.buf[2] = ' ';
    addon.buf[3] = ' ';
    EXPECT_TRUE(addon.isNumericToLastNonSpace());
    addon.buf[0] = 'A';
    EXPECT_FALSE(addon.isNumericToLastNonSpace());
    EXPECT_EQ(f.find(' ', 0), 2);
    EXPECT_EQ(f.find('5', 5), -1);
    EXPECT_EQ(f.find('1', 8), -1);
    EXPECT_EQ(f.firstNonMatch(g), 0);
    EXPECT_EQ(g.firstNonMatch(g), -1);
}

TEST(FixedStringEdit, ShiftStripAndKeep) {
    fixedString<5> f;
    f.cpyIn("00120");
    f.leftShiftRemove('0');
    EXPECT_EQ(S(f), "120  ");
    fixedString<3> z;
    z.cpyIn("000");
    z.leftShiftRemove('0');  // at most N shifts
    EXPECT_EQ(S(z), "   ");
    fixedString<8> s;
    s.cpyIn("A-B-C'D");
    s.stripChar('-');
    EXPECT_EQ(S(s), "ABC'D   ");
    s.cpyIn("12A 3-B");
    s.stripAllButChars("0123456789");
    EXPECT_EQ(S(s), "123     ");
    s.cpyIn("abc");
    s.upper();
    EXPECT_EQ(S(s), "ABC     ");
}

TEST(TextHelpers, TrimFamilies) {
    char a[] = "  AB";
    trimLeadingSpaces(a);
    EXPECT_STREQ(a, "AB  ");
    char z[] = "000";
    trimLeadingSpacesAndZeros(z);
    EXPECT_STREQ(z, "000");
    char bz[] = " 0012 ";
    trimLeadingSpacesAndZeros(bz);
    EXPECT_STREQ(bz, "12    ");
    char t[] = "  X Y  ";
    trimSpaces(t);
    EXPECT_STREQ(t, "X Y");
    char out[6];
    sntrcpy_trim(out, "  ABCDEFG", sizeof out);
    EXPECT_STREQ(out, "ABC");
    char nz[10];
    nzstrcpy(nz, 4, " AB XYZ", 9);
    EXPECT_STREQ(nz, "AB");
}

// Every byte of the output record's fields is the caller's to read, so the
// copies leave each byte where copy-then-trim step by step leaves it.
TEST(TextHelpers, TrimmedCopiesLeaveTheBytesOfTheStepwiseCopy) {
    auto stepwise = [](char* s) {
        int last = findLastNonSpace(s);
        s[last + 1] = '\0';
        trimLeadingSpaces(s);
        last = findLastNonSpace(s);
        s[last + 1] = '\0';
    };
    using namespace std::string_literals;
    const std::string texts[] = {""s, " "s, "   "s, "A"s, " A"s, "A "s, "  AB CD   "s, "ABCDEFGHIJKL"s,
                                 "  ABCDEFGHIJKLMN  "s, "X\0  Y"s, " \0Z"s, "ABCDEFGHIJ  "s};
    for (const std::string& text : texts) {
        const std::string src = text + '\0';
        for (int n = 1; n <= 14; ++n) {
            char want[32], got[32];
            std::memset(want, '#', sizeof want);
            std::memset(got, '#', sizeof got);
            std::strncpy(want, src.c_str(), static_cast<size_t>(n));
            want[n - 1] = '\0';
            stepwise(want);
            sntrcpy_trim(got, src.c_str(), n);
            EXPECT_EQ(std::string(got, sizeof got), std::string(want, sizeof want)) << '"' << text.c_str() << "\" " << n;

            const int srcLen = static_cast<int>(src.size()) - 1;
            std::memset(want, '#', sizeof want);
            std::memset(got, '#', sizeof got);
            const int m = std::min(srcLen, n);
            std::memcpy(want, src.data(), static_cast<size_t>(m));
            want[m] = '\0';
            stepwise(want);
            nzstrcpy(got, srcLen, src.data(), n);
            EXPECT_EQ(std::string(got, sizeof got), std::string(want, sizeof want)) << '"' << text.c_str() << "\" " << n;
        }
    }
}

TEST(TextHelpers, ComparisonsIgnoreTheLastCharacter) {
    EXPECT_TRUE(streql_itsp("AB", "AC"));
    EXPECT_TRUE(streql_itsp("A", "B"));
    EXPECT_TRUE(streql_itsp("AB  ", "AC"));
    EXPECT_FALSE(streql_itsp("AB", "ABC"));
    EXPECT_FALSE(streql_itsp("XB", "AB"));
    EXPECT_TRUE(streql_itsp("   ", ""));
    EXPECT_EQ(strcmp_itsp("  ", ""), 0);
    EXPECT_EQ(strcmp_itsp("ABX", "ABY"), 0);
    EXPECT_GT(strcmp_itsp("ABCD", "ABC"), 0);
    EXPECT_LT(strcmp_itsp("AB", "ABC"), 0);
    EXPECT_LT(strcmp_itsp("AAC", "ABC"), 0);
    EXPECT_EQ(findLastNonSpace("   "), -1);
    EXPECT_EQ(findLastNonSpace("A B "), 2);
    EXPECT_EQ(findLastNonSpaceN("A B C", 3), 2);
}

TEST(TextHelpers, ClassesAndCounts) {
    EXPECT_TRUE(isComposedOf("", "AB"));
    EXPECT_FALSE(isComposedOf("A", ""));
    EXPECT_TRUE(isComposedOf("ABBA", "AB"));
    EXPECT_TRUE(isComposedOf("ABX", "AB", 2));
    EXPECT_TRUE(isNumeric("") && isAlpha("") && isSpaces(""));
    EXPECT_FALSE(isNumeric("12a"));
    EXPECT_TRUE(isNumeric("12a", 2));
    EXPECT_TRUE(isAlphaSpace("AB CD"));
    EXPECT_FALSE(isAlphaNum("AB-1"));
    EXPECT_EQ(countLeading('0', "0012"), 2);
    EXPECT_EQ(countTrailing(' ', "AB  "), 2);
    EXPECT_EQ(countOccurences("A-B-C", '-', 3), 1);
    EXPECT_STREQ(pad("AB", 5, '*').asCstr(), "AB***");
    EXPECT_STREQ(pad("ABCDEF", 3, '*').asCstr(), "ABCDEF");
    char init[5];
    strInit(init, 4);
    EXPECT_STREQ(init, "    ");
}

TEST(TextHelpers, EditingInPlace) {
    char r[] = "A-B-C";
    replace(r, '-', ' ', 2, 0);  // end sets no limit
    EXPECT_STREQ(r, "A-B C");
    char r2[] = "A-B";
    replace(r2, '-', ' ', 0, -1);  // -1 with an ordinary start: nothing
    EXPECT_STREQ(r2, "A-B");
    char s[] = "A B C";
    stripSpaces(s, 0, -1);
    EXPECT_STREQ(s, "ABC  ");
    char s2[] = "A B C";
    stripSpaces(s2, 2, -1);
    EXPECT_STREQ(s2, "A BC ");
    char s3[] = {'A', ' ', '\0', ' ', 'B', ' ', 'Z', 'X'};  // a NUL in the range is a byte like any other
    stripSpaces(s3, 0, 6);
    EXPECT_EQ(std::string(s3, 8), std::string("A\0B   ZX", 8));
}

TEST(TextHelpers, NumbersAndCheckDigit) {
    EXPECT_EQ(atoi64("12345x9"), 12345u);
    EXPECT_EQ(atoi64("12345", 3), 123u);
    EXPECT_EQ(atoin("1 2 3X4", 7), 123);
    EXPECT_EQ(check11("12345678901"), '4');  // sum 46
    EXPECT_EQ(check11("00000000000"), '0');
    EXPECT_EQ(check11("9999999999 9"), '0');  // blank skipped, twelfth character not read
    std::vector<QvbString> w;
    unstring("  ONE TWO   THREE ", w);
    ASSERT_EQ(w.size(), 3u);
    EXPECT_STREQ(w[2].asCstr(), "THREE");
}

TEST(TextHelpers, SnprintfAlwaysEndsTheBuffer) {
    char b[4];
    int n = ncoa_snprintf(b, sizeof b, "%s", "ABCDEF");
    EXPECT_EQ(n, 6);
    EXPECT_STREQ(b, "AB");  // size - 1 is handed on, and the last place is a NUL
    EXPECT_EQ(ncoa_strnlen("ABC", 2), 2u);
}

TEST(DateHelpers, LocalMidnightAndTimeOfDay) {
    time_t t = YYYYMMDDToTime("20260301");
    struct tm lt;
    localtime_r(&t, &lt);
    EXPECT_EQ(lt.tm_year, 126);
    EXPECT_EQ(lt.tm_mon, 2);
    EXPECT_EQ(lt.tm_mday, 1);
    EXPECT_EQ(lt.tm_hour, 0);
    time_t u = YYYYMMDDHHMMSSToTime("20260301123456");
    EXPECT_EQ(u - t, 12 * 3600 + 34 * 60 + 56);
}

TEST(DebugLog, SecondReadingHalvesPercentSignsAndNeverExpands) {
    testing::internal::CaptureStdout();
    log("%s|", "100%% A%sB");
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "100% A%sB|");
}
