// Range validation and expansion over parsed house and unit numbers. A range
// walks exactly one piece: the one in which its bounds differ.
#include "RV9_RangeExp.h"

#include <cstdlib>
#include <cstring>

#include "NCOA_Utils.h"
#include "RV9_DeliveryPoint.h"

namespace QV_NCOA {

namespace {

const char kRangeChars[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ /.";

bool isUpperLetter(char c) { return c >= 'A' && c <= 'Z'; }

size_t textCount(int32_t length) { return length < 0 ? 0 : (length > 6 ? 6 : static_cast<size_t>(length)); }

// Length of a text piece without a trailing hyphen.
int32_t lengthWithoutHyphen(const parsenumOut& p) {
    int32_t len = p.length;
    if (len >= 1 && len <= 6 && p.text.buf[len - 1] == '-') --len;
    return len;
}

bool textsPass(const parseRes& r) {
    for (int k = 0; k < 3; ++k) {
        const char* t = r.parts[k].text.buf;
        size_t n = static_cast<size_t>(findLastNonSpaceN(t, 6) + 1);
        if (!isComposedOf(t, kRangeChars, n)) return false;
    }
    return true;
}

// a above b over n characters.
bool textAbove(const fixedString<6>& a, const fixedString<6>& b, int32_t n) {
    return std::strncmp(a.buf, b.buf, textCount(n)) > 0;
}

}  // namespace

// Each part's value is set against the other bound's length, not its value.
// This is how bounds have always been judged equal; keep it.
bool parseRes::operator==(const parseRes& o) const {
    for (int k = 0; k < 4; ++k) {
        if (parts[k].length != o.parts[k].length) return false;
        if (parts[k].value != o.parts[k].length) return false;
        if (std::strncmp(parts[k].text.buf, o.parts[k].text.buf, textCount(parts[k].length)) != 0) return false;
    }
    return error == o.error && type == o.type;
}

// Above in every field at once (value again against length); with two valid
// bounds the error fields are equal, so this never holds for them.
bool parseRes::operator>(const parseRes& o) const {
    for (int k = 0; k < 4; ++k) {
        if (!(parts[k].length > o.parts[k].length)) return false;
        if (!(parts[k].value > o.parts[k].length)) return false;
        if (!(std::strncmp(parts[k].text.buf, o.parts[k].text.buf, textCount(parts[k].length)) > 0)) return false;
    }
    return error > o.error && type > o.type;
}

// ---- validrng -------------------------------------------------------------

CNCOA_validRng::CNCOA_validRng(const parseRes& lowIn, const parseRes& highIn, char& parityIn)
    : low(lowIn), high(highIn), parity(&parityIn) {}

bool CNCOA_validRng::sameText(int part) const {
    return std::memcmp(low.parts[part].text.buf, high.parts[part].text.buf, 6) == 0;
}

int32_t CNCOA_validRng::validrng() {
    result = 0;
    lowLen0 = lengthWithoutHyphen(low.parts[0]);
    lowLen1 = lengthWithoutHyphen(low.parts[1]);
    lowLen2 = lengthWithoutHyphen(low.parts[2]);
    highLen0 = lengthWithoutHyphen(high.parts[0]);
    highLen1 = lengthWithoutHyphen(high.parts[1]);
    highLen2 = lengthWithoutHyphen(high.parts[2]);

    // Drops the difference marks of an earlier comparison.
    low.type %= 64;
    high.type %= 64;
    fractionBit = low.type % 2;
    typeBits = low.type % 32;

    for (int k = 0; k < 2; ++k) {
        if (high.parts[k].value != 0) {
            parityLow = low.parts[k].value % 2;
            parityHigh = high.parts[k].value % 2;
        }
    }

    if (low.error + high.error > 0) return result = 1;

    int32_t odd = parityLow + parityHigh;
    if ((odd == 0 && *parity == 'O') || (odd == 1 && *parity != 'B') || (odd == 2 && *parity == 'E'))
        return result = 10;

    if (!(low == high)) {
        if (low.type != high.type) return result = 2;
        bool lowPasses = textsPass(low);
        bool highPasses = textsPass(high);
        if (lowPasses != highPasses) return result = 2;
        if (std::strncmp(low.parts[3].text.buf, high.parts[3].text.buf, textCount(low.parts[3].length)) != 0)
            return result = 4;

        switch (typeBits - fractionBit) {
            case 0:
            case 16:
                do0100Range_a1_or_n1();
                break;
            case 24:
                do0200Range_n1_or_a2();
                break;
            case 28:
                do0300Range_a2_or_n2();
                break;
            case 30:
                do0400Range_n2_or_a3();
                break;
            default:
                result = 7;
                break;
        }
        if (result != 0) return result;
    }

    if (low > high) result = 5;

    // Mark the first difference on these copies; the marks leave with them.
    int32_t mark = 0;
    if (!sameText(0))
        mark = 4096;
    else if (low.parts[0].value != high.parts[0].value)
        mark = 2048;
    else if (!sameText(1))
        mark = 1024;
    else if (low.parts[1].value != high.parts[1].value)
        mark = 512;
    else if (!sameText(2))
        mark = 256;
    low.type += mark;
    high.type += mark;
    return result;
}

// The first text walks: its prefixes must differ, the reverse of the other
// three walks. The inversion is required.
void CNCOA_validRng::do0100Range_a1_or_n1() { checkWalk(1, 2, 0, lowLen0, highLen0, 0, true); }
void CNCOA_validRng::do0200Range_n1_or_a2() { checkWalk(0, 2, 1, lowLen1, highLen1, 0, false); }
void CNCOA_validRng::do0300Range_a2_or_n2() { checkWalk(0, 2, 1, lowLen1, highLen1, 1, false); }
void CNCOA_validRng::do0400Range_n2_or_a3() { checkWalk(0, 1, 2, lowLen2, highLen2, 1, false); }

void CNCOA_validRng::checkWalk(int equalA, int equalB, int walking, int32_t lowLen, int32_t highLen,
                               int numberPart, bool equalPrefixRefused) {
    if (!sameText(equalA) || !sameText(equalB) || low.parts[1].value != high.parts[1].value) {
        result = 6;
        return;
    }
    if (lowLen != highLen) {
        result = 3;
        return;
    }
    if (sameText(walking)) return;
    if (low.parts[numberPart].value != high.parts[numberPart].value) {
        result = 9;
        return;
    }
    if (*parity != 'B') {
        result = 10;
        return;
    }
    if (lowLen < 2) return;

    char lowPrefix[8];
    char highPrefix[8];
    std::memset(lowPrefix, ' ', 7);
    std::memset(highPrefix, ' ', 7);
    lowPrefix[7] = highPrefix[7] = '\0';
    size_t n = textCount(lowLen - 1);
    std::memcpy(lowPrefix, low.parts[walking].text.buf, n);
    std::memcpy(highPrefix, high.parts[walking].text.buf, n);
    bool equalPrefix = std::memcmp(lowPrefix, highPrefix, 7) == 0;
    if (equalPrefix == equalPrefixRefused) result = 8;
}

int32_t validrng(parseRes low, parseRes high, char& parity) {
    CNCOA_validRng check(low, high, parity);
    return check.validrng();
}

// ---- rangeexp -------------------------------------------------------------

CNCOA_RangeExp::CNCOA_RangeExp(const parseRes& lowIn, const parseRes& highIn, char parityIn,
                               const fixedString<4>& addonLowIn, const fixedString<4>& addonHighIn,
                               rangeExpOut& outIn)
    : out(&outIn), low(lowIn), high(highIn), parity(parityIn), addonLow(addonLowIn), addonHigh(addonHighIn) {}

int32_t CNCOA_RangeExp::rangeexp() {
    result = 0;

    // A bare number against a suffixed bound is the same address.
    auto suffixed = [](int32_t t) { return t == 17 || t == 24 || t == 25; };
    if (low.type == 16) {
        if (suffixed(high.type)) low = high;
    } else if (high.type == 16) {
        if (suffixed(low.type)) high = low;
    }

    out->count = 0;
    out->items.clear();

    if (std::strncmp(addonLow.buf, addonHigh.buf, 4) == 0)
        addonSpan = 0;
    else if (addonLow.isNumericToLastNonSpace() && addonHigh.isNumericToLastNonSpace())
        addonSpan = std::atoi(addonHigh.buf) - std::atoi(addonLow.buf);
    else
        throw qvncoa_exception(1026);

    // Every walk steps by 1; the caller drops members of the wrong parity by
    // their code. Odd or even ranges cannot walk the add-on in step.
    if (parity == 'B') {
        parityStep = 1;
    } else if (parity == 'E' || parity == 'O') {
        parityStep = 2;
        if (addonSpan != 0) throw qvncoa_exception(1026);
    } else {
        throw qvncoa_exception(1026);
    }

    current = low;

    // High's third text is set against low's fraction: required as it stands.
    if (textAbove(high.parts[2].text, low.parts[3].text, high.parts[2].length))
        do1000RangeStr3();
    else if (high.parts[1].value > low.parts[1].value)
        do2000RangeNum2();
    else if (textAbove(high.parts[1].text, low.parts[1].text, high.parts[1].length))
        do3000RangeStr2();
    else if (high.parts[0].value > low.parts[0].value)
        do4000RangeNum1();
    else if (textAbove(high.parts[0].text, low.parts[0].text, high.parts[0].length))
        do5000RangeStr1();
    else
        do9000JustOne();
    return result;
}

void CNCOA_RangeExp::do1000RangeStr3() { walkLetter(2, true, false); }
void CNCOA_RangeExp::do2000RangeNum2() { walkNumber(1); }
void CNCOA_RangeExp::do3000RangeStr2() { walkLetter(1, false, true); }
void CNCOA_RangeExp::do4000RangeNum1() { walkNumber(0); }
void CNCOA_RangeExp::do5000RangeStr1() { walkLetter(0, false, true); }

void CNCOA_RangeExp::walkNumber(int part) {
    int32_t lowValue = low.parts[part].value;
    int32_t highValue = high.parts[part].value;
    if (addonSpan != 0) {
        addonDiff = highValue - lowValue;
        if (addonDiff != addonSpan) {
            result = 16;
            return;
        }
    }
    // Past the limit do9000JustOne adds nothing, so the walk may stop there.
    for (int32_t v = lowValue; v <= highValue && out->count < RANGE_EXP_MAX_ITEMS; ++v) {
        current.parts[part].value = v;
        addonOffset = v - lowValue;
        do9000JustOne();
        if (v == highValue) break;  // highValue may be INT_MAX
    }
}

// Walks the last letter of one text. The third-text walk adds the offset
// from the base letter, the other two add the base letter itself (so a walk
// from B starts its add-ons one further on): both as they always were.
void CNCOA_RangeExp::walkLetter(int part, bool boundedScan, bool offsetWithBase) {
    const fixedString<6>& lowText = low.parts[part].text;
    const fixedString<6>& highText = high.parts[part].text;

    letterPos = low.parts[part].length > 6 ? 6 : low.parts[part].length;
    for (;;) {
        if (letterPos < 1) {
            // The third-text walk stops at the start of the field and then
            // finds no letter: the low bound is listed once as it stands.
            if (boundedScan) break;
            throw qvncoa_exception(1026);
        }
        char c = lowText.buf[letterPos - 1];
        if (isUpperLetter(c) || c == ' ') break;
        --letterPos;
    }

    if (letterPos >= 1) {
        char c = lowText.buf[letterPos - 1];
        if (isUpperLetter(c)) letterLow = letterLowBase = c - 'A';
        c = highText.buf[letterPos - 1];
        if (isUpperLetter(c)) letterHigh = letterHighBase = c - 'A';
    }

    if (addonSpan != 0) {
        addonDiff = letterHighBase - letterLowBase;
        if (addonDiff != addonSpan) {
            result = 16;
            return;
        }
    }

    for (letterIndex = letterLow; letterIndex <= letterHigh; ++letterIndex) {
        letterNow = letterIndex;
        if (letterPos >= 1) current.parts[part].text.buf[letterPos - 1] = static_cast<char>('A' + letterNow);
        addonOffset = offsetWithBase ? letterNow + letterLowBase : letterNow - letterLowBase;
        do9000JustOne();
    }
}

void CNCOA_RangeExp::do9000JustOne() {
    if (out->count >= RANGE_EXP_MAX_ITEMS) return;
    ++out->count;

    rangeExpOut::item it;
    char text[24];
    if (addonSpan != 0) {
        ncoa_snprintf(text, sizeof text, "%04d", std::atoi(addonLow.buf) + addonOffset);
        it.addon.cpyIn(text);
    } else {
        it.addon = addonLow;
    }

    if (current.type == 16) {
        ncoa_snprintf(text, sizeof text, "%04d", current.parts[0].value);
        it.number.cpyIn(text);
    } else {
        int32_t rest = current.type;
        int32_t marks = 0;
        divrem(rest, 64, marks, rest);  // difference marks above the piece bits
        int32_t bit[6];                 // 32, 16, 8, 4, 2, 1
        int32_t divisor = 32;
        for (int i = 0; i < 6; ++i, divisor /= 2) divrem(rest, divisor, bit[i], rest);

        fixedString<10> firstNumber;
        fixedString<10> secondNumber;
        if (bit[1] != 0) {
            ncoa_snprintf(text, sizeof text, "%010d", current.parts[0].value);
            firstNumber.cpyIn(text);
            firstNumber.leftShiftRemove('0');
        }
        if (bit[3] != 0) {
            ncoa_snprintf(text, sizeof text, "%010d", current.parts[1].value);
            secondNumber.cpyIn(text);
            secondNumber.leftShiftRemove('0');
        }

        struct Piece {
            const char* text;
            int width;
        };
        const Piece pieces[6] = {{current.parts[0].text.buf, 6}, {firstNumber.buf, 10},
                                 {current.parts[1].text.buf, 6}, {secondNumber.buf, 10},
                                 {current.parts[2].text.buf, 6}, {current.parts[3].text.buf, 6}};
        int pos = 0;
        for (const Piece& p : pieces) {
            int n = findLastNonSpaceN(p.text, static_cast<size_t>(p.width)) + 1;
            if (n <= 0) continue;
            if (pos >= 10) break;  // starts beyond the field: dropped
            it.number.cpyIn(p.text, p.width, 0, n, pos, n);
            pos += n;
        }
    }
    out->items.push_back(it);
}

int32_t rangeexp(parseRes low, parseRes high, char parity, const fixedString<4>& addonLow,
                 const fixedString<4>& addonHigh, rangeExpOut& out) {
    CNCOA_RangeExp expander(low, high, parity, addonLow, addonHigh, out);
    return expander.rangeexp();
}

}  // namespace QV_NCOA
