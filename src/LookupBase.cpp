#include "LookupBase.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "DataTables.h"

namespace QV_NCOA {

void buildXOStripeTable(unsigned char (*rows)[7]) {
    unsigned char perm[7] = {1, 2, 3, 4, 5, 6, 7};
    for (int row = 0; row < kXOStripeRowCount; ++row) {
        std::memcpy(rows[row], perm, sizeof perm);
        std::next_permutation(perm, perm + 7);
    }
}

namespace {

// 254^0 .. 254^6, and their sum: every stored digit is its value plus 1, so
// that the byte 0 stays free to mark an empty place.
const unsigned long kPow254[7] = {1UL, 254UL, 64516UL, 16387064UL, 4162314256UL, 1057227821024UL,
                                  268535866540096UL};
const unsigned long kDigitBias = 269597273127211UL;

const char kInitials[] = " ABCDEFGHIJKLMNOPQRSTUVWXYZ";
const char kGenders[] = "UMF";

enum : unsigned long {
    kZipModulus = 64000,
    kNameFlagStep = 524880,
    kDropFlagStep = 262440,
    kNameCodes = 2187,
};

}  // namespace

bool decadeOfYearDigit(unsigned yearDigit, int currentYear, unsigned long& decade) {
    const unsigned long thisDecade = static_cast<unsigned long>(currentYear / 10);
    const unsigned digit = static_cast<unsigned>(currentYear % 10);
    if (yearDigit > digit) {
        unsigned d = yearDigit - digit;
        if (d == 1) {
            decade = thisDecade;  // next year, same decade
            return true;
        }
        if (d >= 5 && d <= 9) {
            decade = thisDecade - 1;
            return true;
        }
        // 2 to 4 years ahead; a distance of 10 or more has no reading either.
        return false;
    }
    unsigned d = digit - yearDigit;
    if (d <= 5) {
        decade = thisDecade;
        return true;
    }
    if (d == 9) {
        decade = thisDecade + 1;  // a year ending in 9 sees 0 as next year
        return true;
    }
    return false;  // 6 to 8 years back
}

int CNCOA_LookupBase::getCurrentYear() const {
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    return local.tm_year + 1900;
}

bool CNCOA_LookupBase::calcResults(const unsigned char* sha, const unsigned char* data, LookupRes& res) const {
    unsigned long n = 0;
    for (int i = 0; i < 8; ++i) n = (n << 8) | sha[i];
    const unsigned char* row = tables.xoStripeTable.buf[n % kXOStripeRowCount];
    unsigned long values[7];
    for (int i = 0; i < 7; ++i) values[i] = data[row[i] - 1];
    return calcResults_int(values, data[7], res);
}

bool CNCOA_LookupBase::calcResults_int(const unsigned long* values, unsigned char hintIndex, LookupRes& res) const {
    unsigned long number = 0;
    for (int i = 0; i < 7; ++i) number += values[i] * kPow254[i];
    number -= kDigitBias;  // unsigned: a byte 0 among the digits wraps, and the print below cuts it
    res.seventeen = number;

    char text[18];
    printZeroPaddedCut(number, 17, text);  // "%017lu" into 18 bytes
    std::memcpy(res.zip11.buf + 5, text + 11, 6);

    unsigned long head = 0;
    for (int i = 0; i < 11; ++i) head = head * 10 + static_cast<unsigned long>(text[i] - '0');
    const unsigned long zipIndex = head % kZipModulus;
    unsigned long rest = head / kZipModulus;

    if (zipIndex == 0) {
        std::memcpy(res.zip11.buf, "00000", 5);
    } else {
        // The index of the list's last line is refused although its entry
        // zipIndex - 1 exists: the list ends in a guard line.
        if (zipIndex >= tables.zipLst.size()) throw qvncoa_exception(1023);
        const char* zip = tables.zipLst[zipIndex - 1].asCstr();
        size_t len = ncoa_strnlen(zip, 5);
        std::memset(res.zip11.buf, ' ', 5);
        std::memcpy(res.zip11.buf, zip, len);
    }

    res.dropFlag = 'N';
    res.nameFlag = 'N';
    if (rest >= kNameFlagStep) {
        res.nameFlag = 'Y';
        rest -= kNameFlagStep;
    }
    if (rest >= kDropFlagStep) {
        res.dropFlag = 'Y';
        rest -= kDropFlagStep;
    }

    const unsigned long nameCode = rest % kNameCodes;
    const unsigned long dateCode = rest / kNameCodes;
    const unsigned long month = dateCode % 12 + 1;
    const unsigned long yearDigit = dateCode / 12;

    unsigned long decade = 0;
    if (!decadeOfYearDigit(static_cast<unsigned>(yearDigit), getCurrentYear(), decade)) {
        res.clear();
        return false;
    }

    res.middle.buf[0] = kInitials[nameCode / 81];
    const unsigned long rem = nameCode % 81;
    res.middle.buf[1] = kInitials[rem / 3];
    res.gender = kGenders[rem % 3];

    res.hint.spcs();
    // Hint 254 means none. An index outside the list (0, or past its end)
    // would point outside it; such a hint is left blank.
    if (hintIndex != 254 && hintIndex != 0 && hintIndex <= tables.hintLst.size()) {
        const char* hint = tables.hintLst[hintIndex - 1u].asCstr();
        std::memcpy(res.hint.buf, hint, ncoa_strnlen(hint, 7));
    }

    char date[8];
    if (decade <= 999 && yearDigit <= 9 && month <= 99) {  // what the print below makes of them
        date[0] = static_cast<char>('0' + decade / 100);
        date[1] = static_cast<char>('0' + decade / 10 % 10);
        date[2] = static_cast<char>('0' + decade % 10);
        date[3] = static_cast<char>('0' + yearDigit);
        date[4] = static_cast<char>('0' + month / 10);
        date[5] = static_cast<char>('0' + month % 10);
    } else {
        int len = std::snprintf(date, sizeof date, "%03lu%01lu%02lu", decade, yearDigit, month);
        if (len != 6) throw qvncoa_exception(1050, "Lookup base internal error 1");
    }
    std::memcpy(res.moveDate.buf, date, 6);
    return true;
}

}  // namespace QV_NCOA
