#include "NCOA.h"

#include <cctype>
#include <cstring>
#include <ctime>

#include "EMDP.h"
#include "UrbanizationLst.h"

namespace QV_NCOA {

// ---------------------------------------------------------------- NCOAAnswer

NCOAAnswer::NCOAAnswer() {
    std::memset(nameBlock, ' ', sizeof nameBlock);
    std::memset(addressBlock, ' ', sizeof addressBlock);
    std::memset(cityBlock, ' ', sizeof cityBlock);
    parsedName.gender = ' ';
    init(false);
}

NCOAAnswer::NCOAAnswer(const NCOAAnswer& o) : NCOAAnswer() { *this = o; }

void NCOAAnswer::init(bool keepInput) {
    addressLine.spcs();
    lastLine.spcs();
    carrierRoute.spcs();
    moveEffectiveDate.spcs();
    moveType = ' ';
    inputGender = ' ';
    dropFlag = ' ';
    nameFlag = ' ';
    returnCode.spcs();
    footnote.spcs();
    std::memset(nameBlock, ' ', sizeof nameBlock);
    std::memset(addressBlock, ' ', sizeof addressBlock);
    std::memset(cityBlock, ' ', sizeof cityBlock);
    seventeen = 0;
    std::memset(searchKey, 0, sizeof searchKey);
    std::memset(searchSha, 0, sizeof searchSha);
    std::memset(rawResult, 0, sizeof rawResult);
    hint.spcs();
    firmName.spcs();
    if (!keepInput) {
        lookupCount = 0;
        emdp = 0;
        std::memset(emdpSha, 0, sizeof emdpSha);
        parsedName.blank();
        parsedName.gender = ' ';
        parsedGender = ' ';
        zip4Used.spcs();
    }
    // nameLine, resultCopy and urbanization are left as they are.
}

NCOAAnswer& NCOAAnswer::operator=(const NCOAAnswer& o) {
    if (this == &o) return *this;
    nameLine = o.nameLine;
    addressLine = o.addressLine;
    lastLine = o.lastLine;
    carrierRoute = o.carrierRoute;
    moveEffectiveDate = o.moveEffectiveDate;
    moveType = o.moveType;
    inputGender = o.inputGender;
    dropFlag = o.dropFlag;
    nameFlag = o.nameFlag;
    resultCopy = o.resultCopy;
    urbanization = o.urbanization;
    returnCode = o.returnCode;
    footnote = o.footnote;
    lookupCount = o.lookupCount;
    std::memcpy(nameBlock, o.nameBlock, sizeof nameBlock);
    std::memcpy(addressBlock, o.addressBlock, sizeof addressBlock);
    std::memcpy(cityBlock, o.cityBlock, sizeof cityBlock);
    seventeen = o.seventeen;
    emdp = o.emdp;
    std::memcpy(emdpSha, o.emdpSha, sizeof emdpSha);
    std::memcpy(searchKey, o.searchKey, sizeof searchKey);
    std::memcpy(searchSha, o.searchSha, sizeof searchSha);
    std::memcpy(rawResult, o.rawResult, sizeof rawResult);
    parsedName.prefix = o.parsedName.prefix;
    parsedName.first = o.parsedName.first;
    parsedName.middle = o.parsedName.middle;
    parsedName.last = o.parsedName.last;
    parsedName.suffix = o.parsedName.suffix;
    parsedName.gender = o.parsedName.gender;
    parsedGender = o.parsedGender;
    hint = o.hint;
    firmName = o.firmName;
    zip4Used = o.zip4Used;
    return *this;
}

template <size_t D>
static void rawField(char (&dst)[D], const char* src, int width) {
    nzstrcpy(dst, width, src, static_cast<int>(D) - 1);
}

void NCOAAnswer::toOutAddr(qvncoa_out_addr_t& out) const {
    sntrcpy_trim(out.name, moveType == 'B' ? firmName.buf : nameLine.buf, sizeof out.name);
    sntrcpy_trim(out.addressLine, addressLine.buf, sizeof out.addressLine);
    rawField(out.primaryNumber, address.primaryNumber, sizeof address.primaryNumber);
    rawField(out.preDirectional, address.preDirectional, sizeof address.preDirectional);
    rawField(out.streetName, address.streetName, sizeof address.streetName);
    rawField(out.suffix, address.suffix, sizeof address.suffix);
    rawField(out.postDirectional, address.postDirectional, sizeof address.postDirectional);
    rawField(out.secondaryDesignator, address.secondaryDesignator, sizeof address.secondaryDesignator);
    rawField(out.secondaryNumber, address.secondaryNumber, sizeof address.secondaryNumber);
    sntrcpy_trim(out.lastLine, lastLine.buf, sizeof out.lastLine);
    rawField(out.city, city.city, sizeof city.city);
    rawField(out.state, city.state, sizeof city.state);
    rawField(out.zip, city.zip, sizeof city.zip);
    rawField(out.zip4, city.zip4, sizeof city.zip4);
    sntrcpy_trim(out.carrierRoute, carrierRoute.buf, sizeof out.carrierRoute);
    sntrcpy_trim(out.moveEffectiveDate, moveEffectiveDate.buf, sizeof out.moveEffectiveDate);
    out.moveType = moveType;
    rawField(out.deliveryPoint, city.deliveryPoint, sizeof city.deliveryPoint);
    out.checkDigit = city.checkDigit[0];
    sntrcpy_trim(out.urbanization, urbanization.buf, sizeof out.urbanization);
    sntrcpy_trim(out.returnCode, returnCode.buf, sizeof out.returnCode);
    sntrcpy_trim(out.footnote, footnote.buf, sizeof out.footnote);
    out.lookupCount = lookupCount;
}

int NCOAAnswer::monthDiff(const char* yyyymm) {
    if (yyyymm == nullptr || std::strlen(yyyymm) != 6 || !isNumeric(yyyymm)) return 0;
    int year = static_cast<int>(atoi64(yyyymm, 4));
    int month = static_cast<int>(atoi64(yyyymm + 4, 2));
    time_t now = time(nullptr);
    struct tm lt;
    localtime_r(&now, &lt);
    return (lt.tm_year + 1900 - year) * 12 + (lt.tm_mon + 1 - month);
}

static bool startsWith(const fixedString<2>& code, const char* lit) {
    return std::strncmp(code.buf, lit, std::strlen(lit)) == 0;
}

static bool startsWithAny(const fixedString<2>& code, std::initializer_list<const char*> lits) {
    for (const char* l : lits)
        if (startsWith(code, l)) return true;
    return false;
}

bool NCOAAnswer::doMEDMonthsCalc(int medMonths, int& months) const {
    months = monthDiff(moveEffectiveDate.buf);
    if (medMonths < 6) return false;
    if (startsWithAny(returnCode, {"A", "91", "92", "01", "02", "03", "05", "14", "19"})) return medMonths < months;
    return false;
}

// Copies at most n characters of src (bounded by its width) into dst; a
// shorter source leaves the rest of dst as it was.
static void putBounded(char* dst, size_t n, const char* src, size_t srcWidth) {
    size_t len = ncoa_strnlen(src, srcWidth < n ? srcWidth : n);
    std::memcpy(dst, src, len);
}

void setOPName(NCOAAnswer& a, const nameStruct& n) {
    putBounded(a.name.opFirst, 15, n.first.buf, 15);
    putBounded(a.name.opPrefix, 6, n.prefix.buf, 5);
    putBounded(a.name.opLast, 20, n.last.buf, 20);
    putBounded(a.name.opMiddle, 15, n.middle.buf, 20);
    putBounded(a.name.opSuffix, 6, n.suffix.buf, 5);
}

// ---------------------------------------------------------------- CNCOA_Main

CNCOA_Main::CNCOA_Main(const CNCOA_DataTables& t, bool dbg) : CNCOA_Lookup(t, dbg), debug(dbg), tables(t) { reset(); }

static bool resultBlank(const NCOAAnswer& a) { return isSpaces(a.resultString(), 11); }

bool CNCOA_Main::doNCOA(NCOAInput& input, NCOAAnswer& out, eQVNCOA_BIFLookupMode mode) {
    if (debug) {
        log("\nclk002c0 input----------------------------------------\n");
        log("\t\tname:\t%s", input.name.buf);
        log("\n\t\tpno:\t%s", input.pno.buf);
        log("\n\t\tdesc:\t%s", input.desc.buf);
        log("\n\t\tsno:\t%s", input.sno.buf);
        log("\n\t\tzip9:\t%s", input.zip9.buf);
        log("\n------------------------------------------------------\n");
    }

    // Each pass runs once: " 012" keeps its zero, "0 12" loses both.
    input.pno.leftShiftRemove('0');
    input.pno.leftShiftRemove(' ');
    input.sno.leftShiftRemove('0');
    input.sno.leftShiftRemove(' ');

    if (input.name.isSpaces() && input.pno.isSpaces() && input.sno.isSpaces() && input.zip9.isSpaces()) {
        out.returnCode.cpyIn("00");
        return false;
    }

    fixedString<4> zip4Used;
    unsigned long emdp = 0;
    CNCOA_EMDP emdpMaker(tables);
    bool ok = emdpMaker.getEMDP(input.zip9, input.pno, input.desc, input.sno, emdp, zip4Used);
    if (debug) log("EMDP\t\t0x%016lx\t(%li)\n", emdp, static_cast<long>(emdp));
    if (!ok) {
        out.returnCode.cpyIn("00");
        return false;
    }

    reset();
    doClks05c0(input, emdp, mode);
    out = workingAnswer();
    if (!zip4Used.isSpaces()) out.zip4Used = zip4Used;
    if (debug) log("\nclks05c0 res:\t11: '%.11s'\n\t\tdrp:%c\n", out.resultString(), out.dropFlag);

    char* result = out.resultString();
    if (!resultBlank(out) && std::toupper(static_cast<unsigned char>(out.dropFlag)) == 'Y' &&
        std::toupper(static_cast<unsigned char>(out.moveType)) != 'F')
        out.returnCode.cpyIn("91");

    if (resultBlank(out)) {
        unsigned long firstEmdp = emdp;
        // Only an upper-case 'S' passes; the case folding sees only the yes or no.
        if (input.recordType == 'S') {
            int last = findLastNonSpaceN(input.pno.buf, 10);
            if (last < 0) last = 0;
            unsigned char c = static_cast<unsigned char>(input.pno.buf[last]);
            if (hx_isalpha(c) || c == ' ') input.pno.buf[last] = ' ';
            fixedString<4> noDesc;
            fixedString<8> noSno;
            emdpMaker.getEMDP(input.zip9, input.pno, noDesc, noSno, emdp, zip4Used);
            if (emdp != firstEmdp) {
                if (debug) {
                    log("\n** Re-trying with dropped sno ** \n");
                    log("EMDP\t\t0x%016lx\t(%li)\n", emdp, static_cast<long>(emdp));
                }
                reset();
                doClks05c0(input, emdp, mode);
                out = workingAnswer();
                if (!zip4Used.isSpaces()) out.zip4Used = zip4Used;
                if (debug) log("\nclks05c0 res:\t11: '%.11s'\n\t\tdrp:%c\n", out.resultString(), out.dropFlag);
                if (!resultBlank(out) && (std::toupper(static_cast<unsigned char>(out.dropFlag)) == 'Y' ||
                                          std::toupper(static_cast<unsigned char>(out.moveType)) == 'F')) {
                    out.addressLine.spcs();
                    std::memset(out.addressBlock, ' ', sizeof out.addressBlock);
                    out.lastLine.spcs();
                    std::memset(out.cityBlock, ' ', sizeof out.cityBlock);
                    out.carrierRoute.spcs();
                    std::memcpy(result, "00000000016", 11);
                } else if (!resultBlank(out)) {
                    out.returnCode.cpyIn("92");
                }
            }
        }
    }

    if (std::strncmp(result, "00000", 5) == 0 && result[7] == '7' && result[8] == '7' && result[5] != '\0')
        out.footnote.cpyIn(result + 5, 4);

    if (resultBlank(out)) out.returnCode.cpyIn("00");

    fixedString<28> urbanization;
    {
        CNCOA_UrbanizationLst urbx(tables);
        if (urbx.getUrbanizationName(result, urbanization) && !urbanization.isSpaces()) out.urbanization = urbanization;
    }

    if (isSpaces(result, 12)) std::memset(result, '0', 12);

    if (!isSpaces(result, 12) && std::strncmp(result, "00000", 5) != 0 && !out.addressLine.isSpaces()) {
        if (!startsWithAny(out.returnCode, {"91", "92", "A"})) out.returnCode.cpyIn("A");
    }

    out.resultCopy.cpyIn(result, 12);

    if (!startsWithAny(out.returnCode, {"A", "91", "92"})) {
        if (out.returnCode.isSpaces()) out.returnCode.cpyIn(out.resultCopy.buf + 9, 2);
        out.resultCopy.spcs();
        std::memset(out.cityBlock, ' ', sizeof out.cityBlock);
        std::memset(out.addressBlock, ' ', sizeof out.addressBlock);
        out.lastLine.spcs();
        out.addressLine.spcs();
    }

    if (startsWithAny(out.returnCode, {"00", "66"})) {
        out.zip4Used.spcs();
        out.nameLine.spcs();
        std::memset(out.nameBlock, ' ', sizeof out.nameBlock);
    }

    if (startsWithAny(out.returnCode,
                      {"04", "06", "07", "08", "09", "10", "11", "18", "20", "12", "13", "15", "16", "17"}))
        out.moveEffectiveDate.spcs();

    return startsWith(out.returnCode, "A");
}

}  // namespace QV_NCOA
