// Ranges whose bounds are no plain numbers (1A to 1F, A1 to A9): whether two
// parsed bounds form a range, and the list of its members.
#pragma once

#include <cstdint>
#include <vector>

#include "RV9_ParseNum.h"
#include "fixedString.h"

namespace QV_NCOA {

// The expansion stops adding at this count; a range that reaches it is
// treated as cut off by the caller.
constexpr int32_t RANGE_EXP_MAX_ITEMS = 32000;

struct rangeExpOut {
    struct item {
        fixedString<10> number;
        fixedString<4> addon;
    };
    int32_t count = 0;
    std::vector<item> items;
};

class CNCOA_validRng {
public:
    CNCOA_validRng(const parseRes& lowIn, const parseRes& highIn, char& parityIn);
    // 0 for a good range, else a refusal code 1 to 10.
    int32_t validrng();

private:
    void do0100Range_a1_or_n1();
    void do0200Range_n1_or_a2();
    void do0300Range_a2_or_n2();
    void do0400Range_n2_or_a3();
    void checkWalk(int equalA, int equalB, int walking, int32_t lowLen, int32_t highLen, int numberPart,
                   bool equalPrefixRefused);
    bool sameText(int part) const;

    int32_t fractionBit = 0;
    int32_t typeBits = 0;
    int32_t parityLow = 0;
    int32_t parityHigh = 0;
    int32_t lowLen0 = 0;
    int32_t lowLen1 = 0;
    int32_t lowLen2 = 0;
    int32_t highLen0 = 0;
    int32_t highLen1 = 0;
    int32_t highLen2 = 0;
    int32_t result = 0;
    parseRes low;
    parseRes high;
    char* parity;
};

class CNCOA_RangeExp {
public:
    CNCOA_RangeExp(const parseRes& lowIn, const parseRes& highIn, char parityIn,
                   const fixedString<4>& addonLowIn, const fixedString<4>& addonHighIn, rangeExpOut& outIn);
    // 0, or 16 when the add-on span does not fit the walk. Throws
    // qvncoa_exception 1026 for add-ons or a parity that cannot be expanded.
    int32_t rangeexp();

private:
    void do1000RangeStr3();
    void do2000RangeNum2();
    void do3000RangeStr2();
    void do4000RangeNum1();
    void do5000RangeStr1();
    void do9000JustOne();
    void walkNumber(int part);
    void walkLetter(int part, bool boundedScan, bool offsetWithBase);

    rangeExpOut* out;
    int32_t addonDiff = 0;
    int32_t addonSpan = 0;
    int32_t addonOffset = 0;
    int32_t parityStep = 1;
    int32_t letterPos = 0;
    parseRes current;
    parseRes low;
    parseRes high;
    char parity;
    fixedString<4> addonLow;
    fixedString<4> addonHigh;
    int32_t letterLow = 0;
    int32_t letterLowBase = 0;
    int32_t letterHigh = 0;
    int32_t letterHighBase = 0;
    int32_t letterNow = 0;
    int32_t letterIndex = 0;
    int32_t result = 0;
};

int32_t validrng(parseRes low, parseRes high, char& parity);
int32_t rangeexp(parseRes low, parseRes high, char parity, const fixedString<4>& addonLow,
                 const fixedString<4>& addonHigh, rangeExpOut& out);

}  // namespace QV_NCOA
