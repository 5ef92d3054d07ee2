// USPS house and unit numbers split into their pieces: a first text, a first
// number, a second text, a second number, a third text and a fraction.
#pragma once

#include <cstdint>

#include "fixedString.h"

namespace QV_NCOA {

// One piece pair of a parsed number.
struct parsenumOut {
    int32_t length = 0;  // characters of the text piece, spaces not counted
    int32_t value = 0;   // numeric value
    fixedString<6> text;
};

// Bits of parseRes::type: which pieces were found.
enum : int32_t {
    PN_FIRST_TEXT = 32,
    PN_FIRST_NUMBER = 16,
    PN_SECOND_TEXT = 8,
    PN_SECOND_NUMBER = 4,
    PN_THIRD_TEXT = 2,
    PN_FRACTION = 1
};

// A house or unit number in its pieces. parts[0]: first text and number,
// parts[1]: second text and number, parts[2]: third text, parts[3]: fraction.
struct parseRes {
    parsenumOut parts[4];
    int32_t error = 0;
    int32_t type = 0;

    parseRes() = default;
    // Member-wise: a text field copies by the fixedString rule, so an empty
    // (NUL-led) source text leaves the old one standing.
    parseRes(const parseRes&) = default;
    parseRes& operator=(const parseRes&) = default;

    // The range comparisons; defined with the range unit (RV9_RangeExp.cpp).
    bool operator==(const parseRes& o) const;
    bool operator>(const parseRes& o) const;
};

class CNCOA_ParseNum {
public:
    CNCOA_ParseNum(parsenumOut* parts, int32_t& type, int32_t& error);

    // Splits str (length up to its last non-space) into the caller's parts;
    // true when no error number was set.
    bool parsenum(const char* str, int length);

private:
    void do100Initialize(int length);
    void do200Evaluate();
    void do300FindLengths();
    void do400TestValidity();
    void do1000Breakout();
    void do1100FirstSplitup();
    void do1200SecondSplitup();
    void do2000CheckMisc();
    void do2100CheckFractions();

    fixedString<10> token1;
    fixedString<10> token2;
    fixedString<10> token3;
    fixedString<10> rest;
    fixedString<10> work;
    fixedString<10> alpha1;
    fixedString<10> alpha2;
    fixedString<10> alpha3;
    fixedString<10> fraction;
    int32_t token1Len = 0;
    int32_t token2Len = 0;
    int32_t token3Len = 0;
    int32_t inputLen = 0;
    int32_t digitsLen = 0;
    int32_t spaceCount = 0;
    int32_t innerSpaces = 0;
    int32_t hyphens = 0;
    int32_t dots = 0;
    int32_t slashes = 0;
    int32_t errorNo = 0;
    bool secondNumber = false;
    parsenumOut* parts;
    int32_t* type;
    int32_t* error;
    fixedString<10> input;
};

// Parses str into res; true when res.error is 0.
bool parsenum(const char* str, int length, parseRes& res);

}  // namespace QV_NCOA
