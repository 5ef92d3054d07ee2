#include "EMDP.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "LCDTable.h"
#include "NCOA_Utils.h"

namespace QV_NCOA {

void CNCOA_EMDP::truncateSecondaryDirectionals(char* sno) {
    static const char* const kWords[] = {"EAST    ", "WEST    ", "NORTH   ", "SOUTH   ", "UPPER   ", "LOWER   "};
    for (const char* w : kWords) {
        if (std::memcmp(sno, w, 8) == 0) {
            std::memset(sno + 1, ' ', 7);
            return;
        }
    }
}

void CNCOA_EMDP::replacePrimaryNumLeadingSequences(char* pno) {
    static const char* const kFrom[] = {"1111", "2222", "3333", "4444", "5555", "6666", "7777", "8888", "9999"};
    static const char* const kTo[] = {"2345", "3456", "4567", "5678", "6789", "2345", "3456", "4567", "5678"};
    for (int i = 0; i < 9; ++i) {
        if (std::memcmp(pno, kFrom[i], 4) == 0) {
            std::memcpy(pno, kTo[i], 4);
            return;
        }
    }
}

static bool onlyBlanksAndDigits(const char* s) {
    for (; *s; ++s)
        if (*s != ' ' && !hx_isdigit(static_cast<unsigned char>(*s))) return false;
    return true;
}

bool CNCOA_EMDP::isHalf(const char* s, int i) {
    return s[i - 3] == ' ' && s[i - 2] == '1' && !hx_isalnum(static_cast<unsigned char>(s[i - 1])) && s[i] == '2';
}

void CNCOA_EMDP::replaceHalfsInPrimaryNum(char* pno) {
    if (onlyBlanksAndDigits(pno)) return;
    // The lowest index tested is 5: a half needs two characters before its blank.
    for (int i = findLastNonSpace(pno); i >= 5; --i) {
        if (isHalf(pno, i)) {
            pno[i] = '9';
            pno[i - 2] = '9';
        }
    }
}

void CNCOA_EMDP::replaceHalfsInSecondaryNum(char* sno) {
    if (onlyBlanksAndDigits(sno)) return;
    if (sno[0] == '1' && !hx_isalnum(static_cast<unsigned char>(sno[1])) && sno[2] == '2') {
        sno[0] = '9';
        sno[2] = '9';
    }
}

void CNCOA_EMDP::fillDigitAlBufs(const char* combined, fixedString<7>& digitBuf, fixedString<2>& alphaBuf) {
    std::memset(digitBuf.buf, '0', 7);
    alphaBuf.spcs();
    int d = 7, a = 2;
    for (int i = static_cast<int>(std::strlen(combined)) - 1; i >= 0; --i) {
        unsigned char c = static_cast<unsigned char>(combined[i]);
        if (hx_isdigit(c)) {
            if (d > 0) digitBuf.buf[--d] = static_cast<char>(c);
        } else if (hx_isalpha(c)) {
            if (a > 0) alphaBuf.buf[--a] = static_cast<char>(c);
        }
    }
}

static int letterValue(char c) {
    if (c == ' ') return 0;
    return std::toupper(static_cast<unsigned char>(c)) - 64;
}

bool CNCOA_EMDP::getEMDP(const fixedString<9>& zip9, const fixedString<10>& pnoIn, const fixedString<4>& descIn,
                         const fixedString<8>& snoIn, unsigned long& emdp, fixedString<4>& zip4Used) {
    fixedString<10> pno;
    fixedString<8> sno;
    fixedString<4> desc;
    fixedString<18> combined;
    fixedString<7> digitBuf;
    fixedString<2> alphaBuf;
    fixedString<16> digits16;
    unsigned short lcdValue = 0;

    pno = pnoIn;
    sno = snoIn;
    desc = descIn;

    if (zip9.isNumeric(0, 9)) {
        unsigned zipNum = static_cast<unsigned>(atoi64(zip9.buf, 9));
        unsigned short value = 0;
        CNCOA_LCDTable lcd(tables);
        if (lcd.lookup(zipNum, value))
            lcdValue = value;
        else
            lcdValue = static_cast<unsigned short>(atoi64(zip9.buf + 5, 4));
    }

    trimLeadingSpacesAndZeros(sno.buf);
    if (sno.isSpaces() && !desc.isSpaces()) sno.cpyIn(desc.buf);
    truncateSecondaryDirectionals(sno.buf);
    trimLeadingSpacesAndZeros(pno.buf);
    replacePrimaryNumLeadingSequences(pno.buf);
    // "7" keys like "700": the USPS rule.
    if (hx_isdigit(static_cast<unsigned char>(pno.buf[0])) && pno.isSpaces(1, 9)) {
        pno.buf[1] = '0';
        pno.buf[2] = '0';
    }
    if (!sno.isSpaces()) desc.spcs();
    replaceHalfsInPrimaryNum(pno.buf);
    replaceHalfsInSecondaryNum(sno.buf);

    combined.cpyIn(pno.buf, 10, 0, 10, 0, 10);
    combined.cpyIn(desc.buf, 4, 0, 4, 10, 4);
    combined.cpyIn(sno.buf, 8, 0, 8, 14, 4);  // only four places: the rest of a long secondary is lost
    fillDigitAlBufs(combined.buf, digitBuf, alphaBuf);

    int c1 = letterValue(alphaBuf.buf[0]);
    int c2 = letterValue(alphaBuf.buf[1]);

    char z4[8];
    if (lcdValue <= 9999) {  // "%04d" by hand: this runs for every search key
        for (int i = 3, v = lcdValue; i >= 0; --i, v /= 10) z4[i] = static_cast<char>('0' + v % 10);
        z4[4] = '\0';
    } else {
        std::snprintf(z4, sizeof z4, "%04d", lcdValue);
    }
    zip4Used.cpyIn(z4, -1, -1, -1, -1, -1);

    digits16.cpyIn(zip9.buf, 9, 0, 5, 0, 5);
    digits16.cpyIn(zip4Used.buf, 4, 0, 4, 5, 4);
    digits16.cpyIn(digitBuf.buf, 7, 0, 7, 9, 7);
    if (!digits16.isNumeric(0, 16)) {
        emdp = 0;
        return false;
    }
    emdp = static_cast<unsigned long>(atoi64(digits16.buf, 16)) * 1000UL + static_cast<unsigned long>(c1 * 27 + c2);
    return true;
}

}  // namespace QV_NCOA
