#include "RV9_ExplodeRange.h"

#include <cstdio>
#include <cstring>

#include "NCOA_Utils.h"
#include "RV9_DeliveryPoint.h"

namespace QV_NCOA {

namespace {

constexpr uint64_t kWalkLimit = 32000;

template <int N>
int lenOf(const fixedString<N>& f) {
    return findLastNonSpace(f.buf) + 1;
}

template <int N>
void copyWhole(fixedString<N>& dst, const fixedString<N>& src) {
    std::memcpy(dst.buf, src.buf, N + 1);
}

fixedString<12> deliveryCodeOf(const char* primary, int primaryLen, const char* secondary, int secondaryLen,
                               const char* zip, char recordType) {
    CNCOA_DeliveryPoints dp;
    return dp.calcDeliveryPoints(primaryLen, primary, secondaryLen, secondary, zip, recordType, "    ");
}

// An add-on printed with "%d" into its four places: a shorter number leaves a
// NUL behind its last digit and no leading zeros.
void printAddon(uint32_t value, fixedString<4>& field) {
    char text[16];
    const int n = std::snprintf(text, sizeof text, "%u", value);
    for (int i = 0; i < 4 && i < n; ++i) field.buf[i] = text[i];
    if (n >= 0 && n < 4) field.buf[n] = '\0';
}

// A walked value printed in decimal without leading zeros, cut to the field,
// blank filled. Written out by hand: it runs once per walked address.
template <int N>
void printValue(uint64_t value, fixedString<N>& field) {
    char digits[20];
    int n = 0;
    do {
        digits[n++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0 && n < 20);
    int i = 0;
    for (; i < N && i < n; ++i) field.buf[i] = digits[n - 1 - i];
    for (; i < N; ++i) field.buf[i] = ' ';
}

}  // namespace

bool CNCOA_RV9::getExplodedRange(const char* code, exp97 rec, std::vector<deliveryPoint>& out) {
    i58Struct in;
    in.zip.cpyIn(code);
    in.recordType = rec.recordType;
    copyWhole(in.primaryLow, rec.primaryLow);
    copyWhole(in.primaryHigh, rec.primaryHigh);
    in.primaryParity = rec.primaryParity;
    copyWhole(in.secondaryLow, rec.secondaryLow);
    copyWhole(in.secondaryHigh, rec.secondaryHigh);
    in.secondaryParity = rec.secondaryParity;
    printAddon(rec.addonLow, in.addonLow);
    printAddon(rec.addonHigh, in.addonHigh);
    CNCOA_RV9ExplodeRange exploder;
    return exploder.getExploded(in, out);
}

bool CNCOA_RV9ExplodeRange::getExploded(i58Struct in, std::vector<deliveryPoint>& out) {
    out.clear();
    if (std::strncmp(in.primaryHigh.buf, "9999999999", 10) == 0 || std::strncmp(in.secondaryHigh.buf, "99999999", 8) == 0)
        return true;

    const bool primarySame = std::memcmp(in.primaryLow.buf, in.primaryHigh.buf, 10) == 0;
    const bool secondarySame = std::memcmp(in.secondaryLow.buf, in.secondaryHigh.buf, 8) == 0;
    if (primarySame && secondarySame) {
        if (in.recordType == 'H' && beginsWithDesignatorWord(in.secondaryLow.buf)) {
            deliveryCode.spcs();
            std::memcpy(deliveryCode.buf, in.zip.buf, 11);
            deliveryCode.buf[9] = deliveryCode.buf[10] = '9';
        } else {
            copyWhole(deliveryCode, deliveryCodeOf(in.primaryLow.buf, lenOf(in.primaryLow), in.secondaryLow.buf,
                                                   lenOf(in.secondaryLow), in.zip.buf, in.recordType));
        }
        if (std::memcmp(deliveryCode.buf, in.zip.buf, 11) != 0) return true;
        deliveryPoint p;
        copyWhole(p.primaryNumber, in.primaryLow);
        copyWhole(p.secondaryNumber, in.secondaryLow);
        out.push_back(p);
        return true;
    }
    // A range spans one dimension only.
    if (!primarySame && !secondarySame) throw qvncoa_exception(1025);
    if (!primarySame)
        do4000SpinPrimary(in, out);
    else
        do3000SpinSecondary(in, out);
    return true;
}

void CNCOA_RV9ExplodeRange::do3000SpinSecondary(i58Struct& in, std::vector<deliveryPoint>& out) {
    // Only the primary side looks at the add-ons; this side's test always held.
    if (in.secondaryLow.isNumericToLastNonSpace() && in.secondaryHigh.isNumericToLastNonSpace() &&
        atoi64(in.secondaryHigh.buf) - atoi64(in.secondaryLow.buf) < kWalkLimit)
        do7000PermuteSecondary(in, out);
    else
        do5000ExplodeSecondary(in, out);
}

void CNCOA_RV9ExplodeRange::do4000SpinPrimary(i58Struct& in, std::vector<deliveryPoint>& out) {
    if (in.primaryLow.isNumericToLastNonSpace() && in.primaryHigh.isNumericToLastNonSpace() &&
        std::memcmp(in.addonLow.buf, in.addonHigh.buf, 4) == 0 &&
        atoi64(in.primaryHigh.buf) - atoi64(in.primaryLow.buf) < kWalkLimit)
        do8000PermutePrimary(in, out);
    else
        do6000ExplodePrimary(in, out);
}

// The walk starts at low and adds the step: the low bound is trusted to have
// the range's parity.
//
// Most walked codes are known without the parse and print of the delivery
// point rules, which cost more than the rest of a lookup together:
// - the code of a value on the side the record's type does not read (the
//   primary of a high-rise record, the secondary of any other) is the same
//   for every value: it is computed once, at the first value, as before;
// - a value printed as a plain number below 10,000,000 parses whole, so its
//   delivery point is the number rule of its side, and with a ZIP+4 of
//   digits (no 1024 then) the code matches exactly when that point is the
//   searched code's. Larger values take the full rules.
namespace {

constexpr uint64_t kPlainNumber = 9999999;

bool digitsAt(const char* s, int n) {
    for (int i = 0; i < n; ++i)
        if (s[i] < '0' || s[i] > '9') return false;
    return true;
}

// The searched code's delivery point, or -1 when it is no two digits.
int wantedPoint(const fixedString<11>& zip) {
    return digitsAt(zip.buf + 9, 2) ? (zip.buf[9] - '0') * 10 + (zip.buf[10] - '0') : -1;
}

// The high-rise number rule on a plain number.
int secondaryPoint(uint64_t n) {
    const uint64_t r1 = n % 100, r2 = (n / 100) % 100;
    if (n <= 99 || (n > 9999 && r2 == 0)) return static_cast<int>(n % 100);
    return static_cast<int>((r2 % 4) * 25 + r1 % 25);
}

}  // namespace

bool CNCOA_RV9ExplodeRange::do7000PermuteSecondary(i58Struct& in, std::vector<deliveryPoint>& out) {
    step = in.secondaryParity == 'B' ? 1 : 2;
    const uint64_t low = atoi64(in.secondaryLow.buf);
    const uint64_t high = atoi64(in.secondaryHigh.buf);
    if (low > high) return false;
    const int primaryLen = lenOf(in.primaryLow);
    const bool byValue = in.recordType == 'H';
    const bool plainZip = digitsAt(in.zip.buf, 9);
    const int wanted = wantedPoint(in.zip);
    int sameCode = -1;  // for a code that doesn't depend on the value: 1 matches, 0 not, -1 not yet known
    fixedString<8> value;
    for (uint64_t v = low; v <= high; v += static_cast<uint64_t>(step)) {
        printValue(v, value);
        bool match;
        if (byValue && plainZip && v <= kPlainNumber) {
            match = secondaryPoint(v) == wanted;
        } else if (!byValue && sameCode >= 0) {
            match = sameCode == 1;
        } else {
            copyWhole(deliveryCode,
                      deliveryCodeOf(in.primaryLow.buf, primaryLen, value.buf, lenOf(value), in.zip.buf, in.recordType));
            match = std::memcmp(deliveryCode.buf, in.zip.buf, 11) == 0;
            if (!byValue) sameCode = match ? 1 : 0;
        }
        if (!match) continue;
        deliveryPoint p;
        copyWhole(p.primaryNumber, in.primaryLow);
        copyWhole(p.secondaryNumber, value);
        out.push_back(p);
    }
    return true;
}

bool CNCOA_RV9ExplodeRange::do8000PermutePrimary(i58Struct& in, std::vector<deliveryPoint>& out) {
    step = in.primaryParity == 'B' ? 1 : 2;
    const uint64_t low = atoi64(in.primaryLow.buf);
    const uint64_t high = atoi64(in.primaryHigh.buf);
    if (low > high) return false;
    const int secondaryLen = lenOf(in.secondaryLow);
    const bool byValue = in.recordType != 'H';
    const bool plainZip = digitsAt(in.zip.buf, 9);
    const int wanted = wantedPoint(in.zip);
    int sameCode = -1;
    fixedString<10> value;
    for (uint64_t v = low; v <= high; v += static_cast<uint64_t>(step)) {
        printValue(v, value);
        bool match;
        if (byValue && plainZip && v <= kPlainNumber) {
            match = static_cast<int>(v % 100) == wanted;
        } else if (!byValue && sameCode >= 0) {
            match = sameCode == 1;
        } else {
            copyWhole(deliveryCode,
                      deliveryCodeOf(value.buf, lenOf(value), in.secondaryLow.buf, secondaryLen, in.zip.buf, in.recordType));
            match = std::memcmp(deliveryCode.buf, in.zip.buf, 11) == 0;
            if (!byValue) sameCode = match ? 1 : 0;
        }
        if (!match) continue;
        deliveryPoint p;
        copyWhole(p.primaryNumber, value);
        copyWhole(p.secondaryNumber, in.secondaryLow);
        out.push_back(p);
    }
    return true;
}

// Parse, validate and expand two bounds into rangeOut. False when the range
// is refused, or cut off at the expansion's limit.
bool CNCOA_RV9ExplodeRange::expandBounds(const char* low, const char* high, char& parity, const i58Struct& in) {
    parsenum(low, findLastNonSpace(low) + 1, parseLow);
    parsenum(high, findLastNonSpace(high) + 1, parseHigh);
    if (parseLow.error != 0 || parseHigh.error != 0) return false;
    validRngRc = validrng(parseLow, parseHigh, parity);
    if (validRngRc != 0) return false;
    if (std::memcmp(in.addonLow.buf, in.addonHigh.buf, 4) != 0) {
        copyWhole(addonLowWork, in.addonLow);
        copyWhole(addonHighWork, in.addonHigh);
    } else {
        addonLowWork.spcs();
        addonHighWork.spcs();
    }
    rangeExpRc = rangeexp(parseLow, parseHigh, parity, addonLowWork, addonHighWork, rangeOut);
    return rangeExpRc == 0 && rangeOut.count > 0 && rangeOut.count != RANGE_EXP_MAX_ITEMS;
}

// The code searched for, with the item's add-on in place of the ZIP+4's when
// the range spans several add-ons.
void CNCOA_RV9ExplodeRange::workZip(const i58Struct& in, const rangeExpOut::item& it, fixedString<11>& zip) const {
    copyWhole(zip, in.zip);
    if (std::memcmp(in.addonLow.buf, in.addonHigh.buf, 4) != 0 && it.addon.buf[0] != '\0')
        zip.cpyIn(it.addon.buf, -1, -1, 6, 5, 6);
}

bool CNCOA_RV9ExplodeRange::do5000ExplodeSecondary(i58Struct& in, std::vector<deliveryPoint>& out) {
    copyWhole(secondaryLowText, in.secondaryLow);
    secondaryLowText.leftShiftRemove('0');
    secondaryLowLast = findLastNonSpace(secondaryLowText.buf);
    // Here, and only here, blanks are removed and not zeros.
    copyWhole(secondaryHighText, in.secondaryHigh);
    secondaryHighText.leftShiftRemove(' ');
    secondaryHighLast = findLastNonSpace(secondaryHighText.buf);

    if (!expandBounds(in.secondaryLow.buf, in.secondaryHigh.buf, in.secondaryParity, in)) return false;

    const int primaryLen = lenOf(in.primaryLow);
    fixedString<8> value;
    fixedString<11> zip;
    for (size_t i = 0; i < rangeOut.items.size(); ++i) {
        const rangeExpOut::item& it = rangeOut.items[i];
        workZip(in, it, zip);
        if (std::memcmp(zip.buf, in.zip.buf, 9) != 0) continue;
        // The digit test starts at the item's own index, not at 0; from the
        // tenth item on nothing is left to test and the value stays. Kept so.
        bool digits = true;
        for (size_t k = i; k < 10; ++k) {
            if (!hx_isdigit(static_cast<unsigned char>(it.number.buf[k]))) {
                digits = false;
                break;
            }
        }
        if (!digits) value.cpyIn(it.number.buf, 10, 0, 8);
        padSecondary(value);
        copyWhole(deliveryCode,
                  deliveryCodeOf(in.primaryLow.buf, primaryLen, value.buf, lenOf(value), zip.buf, in.recordType));
        if (std::memcmp(deliveryCode.buf, in.zip.buf, 11) != 0) continue;
        deliveryPoint p;
        copyWhole(p.primaryNumber, in.primaryLow);
        copyWhole(p.secondaryNumber, value);
        padSecondary(p.secondaryNumber);
        out.push_back(p);
    }
    return true;
}

bool CNCOA_RV9ExplodeRange::do6000ExplodePrimary(i58Struct& in, std::vector<deliveryPoint>& out) {
    copyWhole(primaryLowText, in.primaryLow);
    primaryLowText.leftShiftRemove('0');
    primaryLowLast = findLastNonSpace(primaryLowText.buf);
    copyWhole(primaryHighText, in.primaryHigh);
    primaryHighText.leftShiftRemove('0');
    primaryHighLast = findLastNonSpace(primaryHighText.buf);

    if (!expandBounds(in.primaryLow.buf, in.primaryHigh.buf, in.primaryParity, in)) return false;

    const int secondaryLen = lenOf(in.secondaryLow);
    fixedString<11> zip;
    for (const rangeExpOut::item& it : rangeOut.items) {
        workZip(in, it, zip);
        if (std::memcmp(zip.buf, in.zip.buf, 9) != 0) continue;
        copyWhole(deliveryCode,
                  deliveryCodeOf(it.number.buf, lenOf(it.number), in.secondaryLow.buf, secondaryLen, zip.buf, in.recordType));
        if (std::memcmp(deliveryCode.buf, in.zip.buf, 11) != 0) continue;
        deliveryPoint p;
        copyWhole(p.primaryNumber, it.number);
        padPrimary(p.primaryNumber);
        copyWhole(p.secondaryNumber, in.secondaryLow);
        out.push_back(p);
    }
    return true;
}

// A value shorter than the bounds is tried zero-filled at the first place
// where it leaves the low bound; kept when that lies within the range. The
// secondary rule works one place further left than the primary rule.
void CNCOA_RV9ExplodeRange::padSecondary(fixedString<8>& value) {
    secondaryValueLast = findLastNonSpace(value.buf);
    if (secondaryLowLast != secondaryHighLast || secondaryValueLast >= secondaryLowLast) return;
    const int p = secondaryLowText.firstNonMatch(value);
    firstDiff = p;
    secondaryWork.cpyIn(value.buf, -1, -1, p - 1);  // all of the value when p is 0
    if (p - 1 >= 0 && p - 1 < 8) secondaryWork.cpyIn("0000", -1, -1, -1, p - 1, 4);
    secondaryWork.cpyIn(value.buf, -1, p - 1, -1, p + secondaryLowLast - secondaryValueLast - 1);
    if (std::memcmp(secondaryWork.buf, secondaryLowText.buf, 8) >= 0 &&
        std::memcmp(secondaryWork.buf, secondaryHighText.buf, 8) <= 0)
        copyWhole(value, secondaryWork);
}

void CNCOA_RV9ExplodeRange::padPrimary(fixedString<10>& value) {
    primaryValueLast = findLastNonSpace(value.buf);
    if (primaryLowLast != primaryHighLast || primaryValueLast >= primaryLowLast) return;
    const int p = primaryLowText.firstNonMatch(value);
    firstDiff = p;
    primaryWork.cpyIn(value.buf, -1, -1, p);  // all of the value when p is -1
    if (p >= 0 && p < 10) primaryWork.cpyIn("0000", -1, -1, -1, p, 4);
    primaryWork.cpyIn(value.buf, -1, p, -1, primaryLowLast + p - primaryValueLast);
    if (std::memcmp(primaryWork.buf, primaryLowText.buf, 10) >= 0 &&
        std::memcmp(primaryWork.buf, primaryHighText.buf, 10) <= 0)
        copyWhole(value, primaryWork);
}

}  // namespace QV_NCOA
