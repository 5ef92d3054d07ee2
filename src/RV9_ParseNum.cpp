// USPS number parser: splits "12A", "A-1", "12 1/2" and the like into their
// pieces, or refuses them with one of 13 error numbers.
#include "RV9_ParseNum.h"

#include <climits>
#include <cstring>
#include <vector>

#include "NCOA_Utils.h"

namespace QV_NCOA {

namespace {

const char kUpperLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
const char kNumberChars[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ /.-";
const char kLettersSpace[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ ";

bool isDigitChar(char c) { return c >= '0' && c <= '9'; }

// Value of n digits; ten digits can pass the 32-bit range, so the value is
// held at INT_MAX, which the 9999999 limit refuses all the same.
int32_t digitsValue(const char* p, int n) {
    uint64_t v = atoi64(p, static_cast<size_t>(n));
    return v > static_cast<uint64_t>(INT_MAX) ? INT_MAX : static_cast<int32_t>(v);
}

}  // namespace

CNCOA_ParseNum::CNCOA_ParseNum(parsenumOut* partsOut, int32_t& typeOut, int32_t& errorOut)
    : parts(partsOut), type(&typeOut), error(&errorOut) {}

bool CNCOA_ParseNum::parsenum(const char* str, int length) {
    input.cpyIn(str, 10);
    do100Initialize(length);
    do200Evaluate();
    do300FindLengths();
    do400TestValidity();
    *error = errorNo;
    if (errorNo != 0) {
        for (int k = 0; k < 4; ++k) {
            parts[k].length = 0;
            parts[k].value = 0;
            parts[k].text.spcs();
        }
        return false;
    }
    return true;
}

void CNCOA_ParseNum::do100Initialize(int length) {
    // The field holds 10 characters; a longer length would scan past it.
    inputLen = length < 0 ? 0 : (length > 10 ? 10 : length);
    secondNumber = false;
}

void CNCOA_ParseNum::do200Evaluate() {
    if (inputLen != 0 && input.isNumeric(0, inputLen)) {
        parts[0].value = digitsValue(input.buf, inputLen);
        *type = PN_FIRST_NUMBER;
        return;
    }
    if (input.isSpaces(0, inputLen)) return;

    size_t used = static_cast<size_t>(findLastNonSpaceN(input.buf, 10) + 1);
    if (isComposedOf(input.buf, kUpperLetters, used)) {
        alpha1 = input;
        *type = PN_FIRST_TEXT;
        return;
    }
    if (isComposedOf(input.buf, kNumberChars, used))
        do1000Breakout();
    else
        errorNo = 1;
}

void CNCOA_ParseNum::do1000Breakout() {
    work = input;
    do2000CheckMisc();
    if (errorNo != 0) return;

    if (token2Len != 0) {
        if (token1Len + 1 <= 10 && work.buf[token1Len + 1] == ' ') {
            errorNo = 7;
            return;
        }
        // The fraction keeps one character less than its word: "1/2" stays
        // "1/". Ranges compare fractions at this width.
        int keep = token2Len - 1;
        if (keep > inputLen) keep = inputLen;
        fraction.cpyIn(token2.buf, 10, 0, keep);
        for (int i = token1Len; i < 10; ++i) work.buf[i] = ' ';
        *type += PN_FRACTION;
        if (token1Len < 10 && work.buf[token1Len] == '-') {
            errorNo = 6;
            return;
        }
    }
    do1100FirstSplitup();
    if (!rest.isSpaces()) do1200SecondSplitup();
}

void CNCOA_ParseNum::do1100FirstSplitup() {
    for (int s = 1; s <= inputLen; ++s) {
        for (digitsLen = inputLen - s + 1; digitsLen >= 1; --digitsLen) {
            if (!work.isNumeric(s - 1, digitsLen)) continue;
            parts[0].value = digitsValue(work.buf + s - 1, digitsLen);
            *type += PN_FIRST_NUMBER;
            if (s > 1) {
                alpha1.cpyIn(work.buf, 10, 0, s - 1);
                *type += PN_FIRST_TEXT;
            }
            if (s + digitsLen >= inputLen + 1) return;
            rest.cpyIn(work.buf, 10, s - 1 + digitsLen, inputLen - s - digitsLen + 1);
            return;
        }
    }
    alpha1.cpyIn(work.buf, 10);
    if (!alpha1.isSpaces()) *type += PN_FIRST_TEXT;
}

void CNCOA_ParseNum::do1200SecondSplitup() {
    for (int s = 1; s <= inputLen; ++s) {
        for (digitsLen = inputLen - s + 1; digitsLen >= 1; --digitsLen) {
            if (!rest.isNumeric(s - 1, digitsLen)) continue;
            secondNumber = true;
            if (s == 1) {
                parts[1].text.cpyIn(rest.buf, 10, 0, digitsLen);
                *type += PN_SECOND_NUMBER;
            } else {
                // Placed from the group's offset but taken from the start of
                // rest; do400TestValidity overwrites it anyway.
                parts[1].text.cpyIn(rest.buf, 10, 0, digitsLen, s - 1, digitsLen);
                *type += PN_SECOND_NUMBER;
                alpha2.cpyIn(rest.buf, 10, 0, s - 1);
                *type += PN_SECOND_TEXT;
            }
            if (s + digitsLen >= inputLen + 1) return;
            alpha3.cpyIn(rest.buf, 10, s - 1 + digitsLen, inputLen - s - digitsLen + 1);
            if (!alpha3.isSpaces()) *type += PN_THIRD_TEXT;
            return;
        }
    }
    alpha2.cpyIn(rest.buf, 10);
    if (!alpha2.isSpaces()) *type += PN_SECOND_TEXT;
}

void CNCOA_ParseNum::do2000CheckMisc() {
    int last = findLastNonSpaceN(work.buf, 10);
    innerSpaces = 0;
    for (int i = 0; i <= last; ++i)
        if (work.buf[i] == ' ') ++innerSpaces;
    slashes = countOccurences(work.buf, '/', 10);
    hyphens = countOccurences(work.buf, '-', 10);
    dots = countOccurences(work.buf, '.', 10);

    if (slashes >= 2)
        errorNo = 2;
    else if (hyphens >= 2)
        errorNo = 3;
    else if (dots >= 2)
        errorNo = 4;
    else if (hyphens > 0 && dots > 0)
        errorNo = 5;

    // The hyphen placement test runs whatever was found above; it can turn a
    // 5 into a 6.
    if (hyphens == 1) {
        if (work.buf[0] == '-' && std::strchr("0123456789NSEW", work.buf[1]) == nullptr) errorNo = 6;
        int end = 9 - innerSpaces;
        if (end >= 0 && work.buf[end] == '-') errorNo = 6;
    }
    if (errorNo == 0) do2100CheckFractions();
}

void CNCOA_ParseNum::do2100CheckFractions() {
    // The first three blank-separated words of the field, in place.
    const char* wordAt[3] = {nullptr, nullptr, nullptr};
    int wordLen[3] = {0, 0, 0};
    size_t words = 0;
    for (const char* p = work.buf; *p != '\0' && words < 3;) {
        while (*p == ' ') ++p;
        if (*p == '\0') break;
        const char* b = p;
        while (*p != '\0' && *p != ' ') ++p;
        wordAt[words] = b;
        wordLen[words++] = static_cast<int>(p - b);
    }
    fixedString<10>* tokens[3] = {&token1, &token2, &token3};
    int32_t* lens[3] = {&token1Len, &token2Len, &token3Len};
    for (size_t k = 0; k < 3; ++k) {
        if (k < words) {
            tokens[k]->cpyIn(wordAt[k], wordLen[k]);
            *lens[k] = wordLen[k];
        } else {
            tokens[k]->spcs();
            *lens[k] = 0;
        }
    }

    do {
        if (token3Len != 0) {
            errorNo = 7;
            break;
        }
        if (token2Len == 0) {
            if (slashes == 0) break;
            // A fraction alone.
            token2 = token1;
            token1.spcs();
            token2Len = token1Len;
            token1Len = 0;
        } else if (slashes == 0) {
            errorNo = 8;
            break;
        }
        const char* t = token2.buf;
        int f = token2Len;
        if (!(f >= 3 && isDigitChar(t[0]) && t[0] != '0' && t[1] == '/' && isDigitChar(t[2]))) {
            errorNo = 9;
        } else if (f == 3) {
            if (!(t[0] < t[2])) errorNo = 9;
        } else if (f == 4) {
            if (isDigitChar(t[3]) || !(t[0] < t[2])) errorNo = 9;
        } else if (f == 5) {
            errorNo = 9;
        }
    } while (false);

    if (isDigitChar(token2.buf[3])) errorNo = 9;
}

void CNCOA_ParseNum::do300FindLengths() {
    if (errorNo != 0) return;
    const fixedString<10>* pieces[4] = {&alpha1, &alpha2, &alpha3, &fraction};
    for (int k = 0; k < 4; ++k) {
        if (pieces[k]->isSpaces()) {
            parts[k].length = 0;
            continue;
        }
        spaceCount = 0;
        for (int i = 0; i < inputLen; ++i)
            if (pieces[k]->buf[i] == ' ') ++spaceCount;
        parts[k].length = inputLen - spaceCount;
    }
}

void CNCOA_ParseNum::do400TestValidity() {
    const fixedString<10>* pieces[4] = {&alpha1, &alpha2, &alpha3, &fraction};
    for (int k = 0; k < 4; ++k) parts[k].text.cpyIn(pieces[k]->buf, 10, 0, 6);
    if (errorNo != 0) return;

    if (parts[0].value > 9999999 || parts[1].value > 9999999)
        errorNo = 10;
    else if (parts[0].length >= 7 || parts[1].length >= 7 || parts[2].length >= 7)
        errorNo = 11;
    else if (dots > 0 && !(std::memcmp(parts[1].text.buf, ".     ", 6) == 0 && secondNumber))
        errorNo = 12;
    else if (!isComposedOf(parts[2].text.buf, kLettersSpace, 6))
        errorNo = 13;
}

bool parsenum(const char* str, int length, parseRes& res) {
    CNCOA_ParseNum parser(res.parts, res.type, res.error);
    return parser.parsenum(str, length);
}

}  // namespace QV_NCOA
