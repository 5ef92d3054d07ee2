// Range explosion: walks the addresses of one ZIP+4 range, computes the
// delivery point code of each and keeps those that carry the code searched
// for. The reverse of a ZIP+4 lookup.
#pragma once

#include <cstdint>
#include <vector>

#include "RV9.h"
#include "RV9_ParseNum.h"
#include "RV9_RangeExp.h"
#include "fixedString.h"

namespace QV_NCOA {

// One range in the form the explosion works on.
struct i58Struct {
    fixedString<11> zip;  // the code searched for
    char recordType = ' ';
    fixedString<4> addonLow;
    fixedString<4> addonHigh;
    fixedString<10> primaryLow;
    fixedString<10> primaryHigh;
    char primaryParity = ' ';
    fixedString<8> secondaryLow;
    fixedString<8> secondaryHigh;
    char secondaryParity = ' ';
};

class CNCOA_RV9ExplodeRange {
public:
    // Replaces out by the points of the range that carry in.zip. Throws
    // qvncoa_exception 1025 for a range open in both dimensions.
    bool getExploded(i58Struct in, std::vector<deliveryPoint>& out);

    // Numeric walk or general expansion, by the shape of the bounds.
    void do3000SpinSecondary(i58Struct& in, std::vector<deliveryPoint>& out);
    void do4000SpinPrimary(i58Struct& in, std::vector<deliveryPoint>& out);
    bool do5000ExplodeSecondary(i58Struct& in, std::vector<deliveryPoint>& out);
    bool do6000ExplodePrimary(i58Struct& in, std::vector<deliveryPoint>& out);
    bool do7000PermuteSecondary(i58Struct& in, std::vector<deliveryPoint>& out);
    bool do8000PermutePrimary(i58Struct& in, std::vector<deliveryPoint>& out);

private:
    void padSecondary(fixedString<8>& value);
    void padPrimary(fixedString<10>& value);
    bool expandBounds(const char* low, const char* high, char& parity, const i58Struct& in);
    void workZip(const i58Struct& in, const rangeExpOut::item& it, fixedString<11>& zip) const;

    fixedString<4> addonLowWork;
    fixedString<4> addonHighWork;
    int32_t secondaryHighLast = 0;
    int32_t secondaryLowLast = 0;
    int32_t secondaryValueLast = 0;
    int32_t primaryHighLast = 0;
    int32_t primaryLowLast = 0;
    int32_t primaryValueLast = 0;
    int32_t rangeExpRc = 0;
    int32_t firstDiff = 0;
    int32_t step = 1;
    int32_t validRngRc = 0;
    rangeExpOut rangeOut;
    parseRes parseLow;
    parseRes parseHigh;
    fixedString<12> deliveryCode;
    fixedString<8> secondaryLowText;
    fixedString<8> secondaryHighText;
    fixedString<8> secondaryWork;
    fixedString<10> primaryLowText;
    fixedString<10> primaryHighText;
    fixedString<10> primaryWork;
};

}  // namespace QV_NCOA
