// Delivery point and check digit of an address: from the primary number for
// street, firm and other records, from the secondary number for high-rises.
#pragma once

#include <cstdint>

#include "RV9_ParseNum.h"
#include "fixedString.h"

namespace QV_NCOA {

// Value of the letters A to Z in delivery point arithmetic.
extern const int32_t alphaArray[26];

// Signed division; the remainder has the sign of the dividend.
void divrem(int32_t dividend, int32_t divisor, int32_t& quotient, int32_t& remainder);

class CNCOA_DeliveryPoints {
public:
    // Result: 9 digits of ZIP+4, 2 of delivery point, 1 check digit. Throws
    // qvncoa_exception 1024 when a record type of "SHFRPG" has a ZIP+4 that
    // is not numeric. extra is kept and not read.
    fixedString<12> calcDeliveryPoints(int primaryLen, const char* primary, int secondaryLen,
                                       const char* secondary, const char* zip, char recordType,
                                       const char* extra);

private:
    void do1000CalculateSdpbc();
    void do1005MoveToOutstuff();
    void do1100ConvertTrailingAlpha();
    void do1100ConvertTrailingNumeric();

    fixedString<9> zip9Out;
    uint8_t deliveryValue = 99;
    int8_t checkDigit = 0;
    parseRes secParsed;
    [[maybe_unused]] parseRes spareParsed;
    int32_t quotient = 0;
    int32_t remainder = 0;
    int32_t lowPair = 0;   // N modulo 100
    int32_t highPair = 0;  // (N / 100) modulo 100
    int32_t numberIn = 0;
    int32_t textLen = 0;
    fixedString<6> textIn;
    fixedString<8> secondaryClean;
    int32_t primaryLen = 0;
    const char* primary = nullptr;
    int32_t secondaryLen = 0;
    const char* secondary = nullptr;
    fixedString<9> zip9;
    char recordType = ' ';
    [[maybe_unused]] const char* extra = nullptr;
    fixedString<12> code;
};

}  // namespace QV_NCOA
