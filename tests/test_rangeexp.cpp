// Range validation and expansion of non-numeric house and unit number ranges.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "NCOA_Utils.h"
#include "RV9_ParseNum.h"
#include "RV9_RangeExp.h"

using namespace QV_NCOA;

namespace {

parseRes P(const char* s) {
    int len = static_cast<int>(std::strlen(s));
    while (len > 0 && s[len - 1] == ' ') --len;
    parseRes r;
    parsenum(s, len, r);
    return r;
}

int valid(const char* low, const char* high, char parity) { return validrng(P(low), P(high), parity); }

fixedString<4> addon(const char* s) {
    fixedString<4> f;
    f.cpyIn(s);
    return f;
}

struct Expanded {
    int result;
    rangeExpOut out;
    std::vector<std::string> numbers() const {
        std::vector<std::string> v;
        for (const auto& it : out.items) {
            std::string s(it.number.buf);
            s.erase(s.find_last_not_of(' ') + 1);
            v.push_back(s);
        }
        return v;
    }
    std::vector<std::string> addons() const {
        std::vector<std::string> v;
        for (const auto& it : out.items) v.emplace_back(it.addon.buf);
        return v;
    }
};

Expanded expand(const char* low, const char* high, char parity = 'B', const char* addLow = "    ",
                const char* addHigh = "    ") {
    Expanded e;
    e.result = rangeexp(P(low), P(high), parity, addon(addLow), addon(addHigh), e.out);
    return e;
}

int thrownCode(const char* low, const char* high, char parity, const char* addLow, const char* addHigh) {
    try {
        expand(low, high, parity, addLow, addHigh);
    } catch (const qvncoa_exception& e) {
        return e.errCode();
    }
    return 0;
}

using Names = std::vector<std::string>;

}  // namespace

TEST(ValidRange, GoodRangesAndParity) {
    EXPECT_EQ(valid("1A", "1F", 'B'), 0);
    EXPECT_EQ(valid("A1", "A9", 'B'), 0);
    EXPECT_EQ(valid("1", "5", 'O'), 0);
    EXPECT_EQ(valid("2", "4", 'E'), 0);
    EXPECT_EQ(valid("2", "4", 'O'), 10);
    EXPECT_EQ(valid("1", "4", 'E'), 10);
    EXPECT_EQ(valid("1", "5", 'E'), 10);
    EXPECT_EQ(valid("1A", "1F", 'O'), 10);  // a letter walk needs both parities
}

TEST(ValidRange, RefusalsByShape) {
    EXPECT_EQ(valid("12#", "15", 'B'), 1);
    EXPECT_EQ(valid("5", "5A", 'B'), 2);
    EXPECT_EQ(valid("A1", "A-5", 'B'), 2);  // "-" only in one bound
    EXPECT_EQ(valid("A1", "BC1", 'B'), 3);
    EXPECT_EQ(valid("1 1/2", "2 3/4", 'B'), 4);
    EXPECT_EQ(valid("A1B", "C1D", 'B'), 6);
    EXPECT_EQ(valid("A1", "B2", 'B'), 9);

    parseRes low, high;  // a shape the parser never makes
    low.type = high.type = 20;
    low.parts[0].value = 1;
    high.parts[0].value = 3;
    char parity = 'B';
    EXPECT_EQ(validrng(low, high, parity), 7);
}

TEST(ValidRange, PrefixTestIsInvertedForTheFirstText) {
    EXPECT_EQ(valid("AB1", "AC1", 'B'), 8);
    EXPECT_EQ(valid("AB1", "BC1", 'B'), 0);
    EXPECT_EQ(valid("1AB", "1AC", 'B'), 0);
    EXPECT_EQ(valid("1AB", "1BC", 'B'), 8);
}

TEST(ValidRange, ComparisonsSetValueAgainstLength) {
    parseRes a, b;
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(P("5") == P("5"));  // value 5 against a length of 0
    a.parts[0].length = 1;
    a.parts[0].value = 1;
    b.parts[0].length = 1;
    b.parts[0].value = 7;
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(P("9") > P("1"));
}

TEST(RangeExpand, LetterAndNumberWalks) {
    Expanded e = expand("1A", "1F");
    EXPECT_EQ(e.result, 0);
    EXPECT_EQ(e.out.count, 6);
    EXPECT_EQ(e.numbers(), (Names{"1A", "1B", "1C", "1D", "1E", "1F"}));

    e = expand("A1", "A9");
    EXPECT_EQ(e.out.count, 9);
    EXPECT_EQ(e.numbers().front(), "A1");
    EXPECT_EQ(e.numbers().back(), "A9");

    EXPECT_EQ(expand("A-1", "C-1").numbers(), (Names{"A-1", "B-1", "C-1"}));

    // Every walk steps by 1; odd or even members are sorted out by code.
    EXPECT_EQ(expand("A2", "A6", 'E').out.count, 5);
}

TEST(RangeExpand, SingleItemsAndTheirLayout) {
    Expanded e = expand("5", "5A");  // the bare number takes the suffixed bound
    EXPECT_EQ(e.numbers(), (Names{"5A"}));
    EXPECT_EQ(expand("5", "5").numbers(), (Names{"0005"}));
    EXPECT_EQ(expand("12 1/2", "12 1/2").numbers(), (Names{"121/"}));
    // A third-text walk whose scan finds no letter stops at the start of
    // the field and lists the low bound once.
    EXPECT_EQ(expand("1A", "1A2B").numbers(), (Names{"1A"}));
}

TEST(RangeExpand, AddonsWalkInStep) {
    Expanded e = expand("1A", "1D", 'B', "0010", "0013");
    EXPECT_EQ(e.addons(), (Names{"0010", "0011", "0012", "0013"}));
    e = expand("A1", "A4", 'B', "0020", "0023");
    EXPECT_EQ(e.addons(), (Names{"0020", "0021", "0022", "0023"}));
    // Text 1 and text 0 walks add the base letter to the offset.
    e = expand("1B", "1E", 'B', "0010", "0013");
    EXPECT_EQ(e.addons(), (Names{"0012", "0013", "0014", "0015"}));
    // The third-text walk counts from the base letter; the second number
    // (value 0) is not printed.
    e = expand("1A2B", "1A2E", 'B', "0010", "0013");
    EXPECT_EQ(e.addons(), (Names{"0010", "0011", "0012", "0013"}));
    EXPECT_EQ(e.numbers().front(), "1AB");
    // Equal add-ons are carried as they stand.
    EXPECT_EQ(expand("1A", "1B", 'B', "0042", "0042").addons(), (Names{"0042", "0042"}));

    e = expand("1A", "1F", 'B', "0010", "0012");
    EXPECT_EQ(e.result, 16);
    EXPECT_EQ(e.out.count, 0);
    EXPECT_TRUE(e.out.items.empty());
}

TEST(RangeExpand, LimitOf32000Members) {
    Expanded e = expand("A1", "A32001");
    EXPECT_EQ(e.result, 0);
    EXPECT_EQ(e.out.count, RANGE_EXP_MAX_ITEMS);
    EXPECT_EQ(e.out.items.size(), 32000u);
    EXPECT_EQ(e.numbers().back(), "A32000");
}

TEST(RangeExpand, UnexpandableRangesThrow1026) {
    EXPECT_EQ(thrownCode("1A", "1B", 'E', "0010", "0011"), 1026);
    EXPECT_EQ(thrownCode("1A", "1B", 'O', "0010", "0011"), 1026);
    EXPECT_EQ(thrownCode("1A", "1B", ' ', "    ", "    "), 1026);
    EXPECT_EQ(thrownCode("1A", "1B", 'B', "00A0", "0011"), 1026);
    // Letter scans of text 0 and text 1 that leave the field.
    EXPECT_EQ(thrownCode("-1", "A1", 'B', "    ", "    "), 1026);
    EXPECT_EQ(thrownCode("1-", "1A", 'B', "    ", "    "), 1026);
    EXPECT_EQ(thrownCode("1A", "1B", 'E', "0010", "0010"), 0);
}
