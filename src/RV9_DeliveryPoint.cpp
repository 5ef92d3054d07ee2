// High-rise delivery points from the secondary number, and the entry point
// that picks the primary or the secondary rule by record type.
#include "RV9_DeliveryPoint.h"

#include <cstring>

#include "NCOA_Utils.h"
#include "RV9_DPBC.h"

namespace QV_NCOA {

const int32_t alphaArray[26] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  0,  21, 22, 23,
                                24, 25, 26, 27, 28, 29, 30, 41, 42, 43, 44, 45, 46};

void divrem(int32_t dividend, int32_t divisor, int32_t& quotient, int32_t& remainder) {
    quotient = dividend / divisor;
    remainder = dividend % divisor;
}

namespace {

const char kComputedTypes[] = "SHFRPG";
const char kSecondaryKeep[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 /";

bool isUpperLetter(char c) { return c >= 'A' && c <= 'Z'; }

void fillZeros(fixedString<12>& code) { std::memset(code.buf, '0', 12); }

}  // namespace

fixedString<12> CNCOA_DeliveryPoints::calcDeliveryPoints(int primaryLenIn, const char* primaryIn,
                                                         int secondaryLenIn, const char* secondaryIn,
                                                         const char* zip, char recordTypeIn,
                                                         const char* extraIn) {
    primaryLen = primaryLenIn;
    primary = primaryIn;
    secondaryLen = secondaryLenIn;
    secondary = secondaryIn;
    recordType = recordTypeIn;
    extra = extraIn;
    zip9.cpyIn(zip, 9);

    bool computed = recordType != '\0' && std::strchr(kComputedTypes, recordType) != nullptr;
    if (computed) {
        if (!zip9.isNumeric()) throw qvncoa_exception(1024);
    } else {
        fillZeros(code);
    }

    if (recordType != 'H') {
        CNCOA_RV9DPBC dpbc;
        dpbc.makeDPBC(primaryLen, primary, zip9.buf, code);
    } else if (secondary == nullptr || isSpaces(secondary)) {
        deliveryValue = 99;
        do1005MoveToOutstuff();
    } else {
        do1000CalculateSdpbc();
    }
    return code;
}

void CNCOA_DeliveryPoints::do1000CalculateSdpbc() {
    if (!zip9.isNumeric()) {
        fillZeros(code);
        return;
    }
    deliveryValue = 99;
    secondaryClean.cpyIn(secondary);
    secondaryClean.stripAllButChars(kSecondaryKeep);
    if (!parsenum(secondaryClean.buf, secondaryLen, secParsed)) {
        do1005MoveToOutstuff();
        return;
    }

    // A fraction does not count.
    switch (secParsed.type) {
        case 17: case 25: case 29: case 31: case 33: case 49: case 57: case 61: case 63:
            secParsed.type -= 1;
            break;
        default:
            break;
    }

    const parsenumOut* p = secParsed.parts;
    switch (secParsed.type) {
        case 1:
            deliveryValue = 0;
            break;
        case 16: {
            int32_t n = p[0].value;
            divrem(n, 100, quotient, lowPair);
            divrem(quotient, 100, quotient, highPair);
            if (n <= 99 || (n > 9999 && highPair == 0)) {
                deliveryValue = static_cast<uint8_t>(lowPair);
            } else {
                divrem(highPair, 4, quotient, remainder);
                int32_t floorPart = remainder * 25;
                divrem(lowPair, 25, quotient, remainder);
                deliveryValue = static_cast<uint8_t>(floorPart + remainder);
            }
            break;
        }
        case 24:
        case 56:  // the second text's own length, as for 24
            textIn = p[1].text;
            textLen = p[1].length;
            do1100ConvertTrailingAlpha();
            break;
        case 28:
            textIn = p[1].text;
            numberIn = p[1].value;
            do1100ConvertTrailingNumeric();
            break;
        case 30:
        case 62:
            textIn = p[2].text;
            textLen = p[2].length;
            do1100ConvertTrailingAlpha();
            break;
        case 32: {
            char c = p[0].text.buf[0];
            deliveryValue = static_cast<uint8_t>(isUpperLetter(c) ? c + 8 : 99);
            break;
        }
        case 48:
            textIn = p[0].text;
            numberIn = p[0].value;
            do1100ConvertTrailingNumeric();
            break;
        case 60:
            textIn = p[0].text;
            numberIn = p[1].value;
            do1100ConvertTrailingNumeric();
            break;
        default:
            deliveryValue = 99;
            break;
    }
    do1005MoveToOutstuff();
}

// The letter at the text's length decides alone; the number plays no part.
// A position without a letter keeps 99.
void CNCOA_DeliveryPoints::do1100ConvertTrailingAlpha() {
    if (textLen < 1 || textLen > 6) return;
    char c = textIn.buf[textLen - 1];
    if (isUpperLetter(c)) deliveryValue = static_cast<uint8_t>(alphaArray[c - 'A'] % 100);
}

// The first letter of the text plus the last digit of the number. A text
// that does not start with a letter keeps 99.
void CNCOA_DeliveryPoints::do1100ConvertTrailingNumeric() {
    char c = textIn.buf[0];
    if (!isUpperLetter(c)) return;
    int32_t q = 0;
    int32_t lastDigit = 0;
    divrem(numberIn, 10, q, lastDigit);
    divrem(alphaArray[c - 'A'] + lastDigit, 100, q, remainder);
    deliveryValue = static_cast<uint8_t>(remainder);
}

void CNCOA_DeliveryPoints::do1005MoveToOutstuff() {
    zip9Out = zip9;
    checkDigit = static_cast<int8_t>(CNCOA_RV9DPBC::do1005MoveToOutstuff(zip9Out.buf, deliveryValue, code));
}

}  // namespace QV_NCOA
