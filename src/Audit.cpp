#include "Audit.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "NCOA_Utils.h"

namespace QV_NCOA {

// ---------------------------------------------------------------- helpers

bool footnoteIsMatch(const char* code) {
    if (code == nullptr) return false;
    // The code as it stands in a blank-padded field: "A " is "A".
    if (code[0] == 'A' && (code[1] == '\0' || code[1] == ' ')) return true;
    switch (std::atoi(code)) {
        case 1: case 2: case 3: case 5: case 14: case 19: case 91: case 92:
            return true;
        default:
            return false;
    }
}

void shaDumpToStr(const unsigned char* sha, fixedString<40>& out) {
    // Five words read as the bytes lie and printed most significant first:
    // the plain digits of the digest in order, whatever the host's byte order.
    unsigned w[5];
    for (int i = 0; i < 5; ++i)
        w[i] = (unsigned(sha[4 * i]) << 24) | (unsigned(sha[4 * i + 1]) << 16) | (unsigned(sha[4 * i + 2]) << 8) |
               sha[4 * i + 3];
    char text[41];
    std::snprintf(text, sizeof text, "%08x%08x%08x%08x%08x", w[0], w[1], w[2], w[3], w[4]);
    out.cpyIn(text, 40);
}

fixedString<16> hexDump8Bytes(const unsigned char* bytes) {
    char text[17];
    for (int i = 0; i < 8; ++i) std::snprintf(text + 2 * i, 3, "%02x", bytes[i]);
    fixedString<16> out;
    out.cpyIn(text, 16);
    return out;
}

namespace {

// Blank-padded copy of `width` columns from `col` of a line of `length`
// characters; nothing when the line does not reach the column.
template <int N>
void fromColumn(fixedString<N>& field, const char* line, int length, int col) {
    if (length > col) field.cpyIn(line, length, col, N);
}

void markFromColumn(char& mark, const char* line, int length, int col) {
    if (length > col) mark = line[col];
}

// A NUL-ended text of the verifier's record into a field, blank-filled.
template <int N>
void fromVerifier(fixedString<N>& field, const char* record, int offset) {
    field.cpyIn(record + offset, N);
}

template <int N>
void place(char* record, int pos, const fixedString<N>& field) {
    std::memcpy(record + pos, field.buf, N);
}

const char* addressRecordOf(const void* verified) {
    if (verified == nullptr) return nullptr;
    const char* main = static_cast<const char*>(verified);
    const char* sub;
    std::memcpy(&sub, main + QVAV_MAIN_ADDRESS, sizeof sub);
    return sub;
}

// The verified address into the engine's input, as the lookup with the
// verifier builds it: ZIP, then the add-on over positions 5 to 8.
void inputFromVerifier(NCOAInput& input, const char* addr) {
    input.zip9.cpyIn(addr + QVAV_ADDR_ZIP);
    input.zip9.cpyIn(addr + QVAV_ADDR_ZIP4, -1, -1, 4, 5, 4);
    input.pno.cpyIn(addr + QVAV_ADDR_PRIMARY);
    input.desc.cpyIn(addr + QVAV_ADDR_DESIGNATOR);
    input.sno.cpyIn(addr + QVAV_ADDR_SECONDARY);
    input.recordType = addr[QVAV_ADDR_RECORD_TYPE];
}

void putDate(char* at, int year, int month, int day) {
    char text[48];
    std::snprintf(text, sizeof text, "%.4d%.2d%.2d", year, month, day);
    std::memcpy(at, text, 8);
}

}  // namespace

// ---------------------------------------------------------------- records

bool testClientInputDetailRecord::fromCharString(const char* line, int length) {
    if (length == -1) length = static_cast<int>(std::strlen(line));
    fromColumn(leadText, line, length, 0);
    markFromColumn(leadMark, line, length, 28);
    fromColumn(nameText, line, length, 29);
    markFromColumn(nameMark, line, length, 95);
    fromColumn(midText, line, length, 96);
    fromColumn(addressText, line, length, 124);
    markFromColumn(addressMark, line, length, 191);
    fromColumn(lastLineText, line, length, 192);
    return true;
}

void testClientOutputDetail::set(const NCOAAnswer& answer, const testClientInputDetailRecord& in,
                                 const void* verified, const CNCOA_DataTables& tables) {
    const char letter = tables.dvdHeader[0].setLetter;
    showLetterACE = letter == 'A' || letter == 'C' || letter == 'E';
    showLetterCD = letter == 'C' || letter == 'D';
    showLetterAB = letter == 'A' || letter == 'B';
    showLetterEF = letter == 'E' || letter == 'F';

    // The test record as it came; its middle text is not carried over.
    leadText = in.leadText;
    leadMark = in.leadMark;
    nameText = in.nameText;
    nameMark = in.nameMark;
    addressText = in.addressText;
    addressMark = in.addressMark;
    lastLineText = in.lastLineText;

    searchedName.spcs();
    if (!answer.firmName.isSpaces()) {
        searchedName.cpyIn(answer.firmName.buf, 40);
    } else {
        searchedName.cpyIn(answer.name.opPrefix, 5, -1, -1, 0, 5);
        searchedName.cpyIn(answer.name.opFirst, 15, -1, -1, 5, 15);
        searchedName.cpyIn(answer.name.opMiddle, 15, -1, -1, 20, 15);
        searchedName.cpyIn(answer.name.opLast, 20, -1, -1, 35, 20);
        searchedName.cpyIn(answer.name.opSuffix, 6, -1, -1, 55, 6);
    }

    // The verified address says nothing of whom nobody found or a deletion hid.
    const char* addr = addressRecordOf(verified);
    const bool hideVerified = std::strncmp(answer.returnCode.buf, "00", 2) == 0 ||
                              std::strncmp(answer.returnCode.buf, "66", 2) == 0;
    if (addr != nullptr && !hideVerified) {
        fromVerifier(avUrbanization, addr, QVAV_ADDR_URBANIZATION);
        fromVerifier(avPrimaryNumber, addr, QVAV_ADDR_PRIMARY);
        fromVerifier(avPreDirectional, addr, QVAV_ADDR_PREDIR);
        fromVerifier(avStreetName, addr, QVAV_ADDR_STREET);
        fromVerifier(avSuffix, addr, QVAV_ADDR_SUFFIX);
        fromVerifier(avPostDirectional, addr, QVAV_ADDR_POSTDIR);
        fromVerifier(avSecondaryDesignator, addr, QVAV_ADDR_DESIGNATOR);
        fromVerifier(avSecondaryNumber, addr, QVAV_ADDR_SECONDARY);
        fromVerifier(avCity, addr, QVAV_ADDR_CITY);
        fromVerifier(avState, static_cast<const char*>(verified), QVAV_MAIN_STATE);
        fromVerifier(avZip, addr, QVAV_ADDR_ZIP);
    }
    if (!hideVerified) zip4Used.cpyIn(answer.zip4Used.buf, 4);
    if (addr != nullptr) {
        fromVerifier(avCode1, addr, QVAV_ADDR_RESULT1);
        fromVerifier(avCode2, addr, QVAV_ADDR_RESULT2);
    }

    urbanization.cpyIn(answer.urbanization.buf, 28);
    primaryNumber.cpyIn(answer.address.primaryNumber, 10);
    preDirectional.cpyIn(answer.address.preDirectional, 2);
    streetName.cpyIn(answer.address.streetName, 28);
    suffix.cpyIn(answer.address.suffix, 4);
    postDirectional.cpyIn(answer.address.postDirectional, 2);
    secondaryDesignator.cpyIn(answer.address.secondaryDesignator, 4);
    secondaryNumber.cpyIn(answer.address.secondaryNumber, 8);
    secondaryNumber.leftShiftRemove('0');
    city.cpyIn(answer.city.city, 28);
    state.cpyIn(answer.city.state, 2);
    zip.cpyIn(answer.resultCopy.buf, 12, 0, 5);
    zip4.cpyIn(answer.resultCopy.buf, 12, 5, 4);
    deliveryPoint.cpyIn(answer.city.deliveryPoint, 2, -1, -1, 0, 2);
    deliveryPoint.cpyIn(answer.city.checkDigit, 1, -1, -1, 2, 1);
    carrierRoute.cpyIn(answer.carrierRoute.buf, 4);
    dropFlag = answer.dropFlag;
    nameFlag = answer.nameFlag;
    moveEffectiveDate.cpyIn(answer.moveEffectiveDate.buf, 6);
    middleInitials.cpyIn(answer.name.opMiddle, 2);
    inputGender = answer.inputGender;
    hint.cpyIn(answer.hint.buf, 8);
    returnCode.cpyIn(answer.returnCode.buf, 2);

    // The key is kept byte-reversed for hashing; turned back it prints in
    // the order it was hashed.
    char text[24];
    std::snprintf(text, sizeof text, "%016lx", static_cast<unsigned long>(__builtin_bswap64(answer.emdp)));
    emdp.cpyIn(text, 16);
    shaDumpToStr(answer.emdpSha, emdpSha);
    const unsigned char* key = reinterpret_cast<const unsigned char*>(answer.searchKey);
    searchKey = hexDump8Bytes(showLetterACE ? key + 1 : key);
    searchFirst.cpyIn(answer.searchKey + 9, 15);
    searchLast.cpyIn(answer.searchKey + 24, 20);
    searchSuffix.cpyIn(answer.searchKey + 44, 5);
    shaDumpToStr(answer.searchSha, searchSha);
    rawResult = hexDump8Bytes(answer.rawResult);
    seventeen.spcs();
    if (answer.seventeen != 0) {
        std::snprintf(text, sizeof text, "%017lu", answer.seventeen);
        seventeen.cpyIn(text, 17);
    }
    moveType = answer.moveType;
    footnote.cpyIn(answer.footnote.buf, 2);
}

void testClientOutputDetail::layOut(char (&r)[kClientOutputRecord]) const {
    std::memset(r, ' ', sizeof r);
    place(r, 0, leadText);
    r[28] = nameMark;  // leadMark is never written: the name mark stands here too
    place(r, 29, nameText);
    r[95] = nameMark;
    place(r, 96, midText);
    place(r, 124, addressText);
    r[191] = addressMark;
    place(r, 192, lastLineText);
    place(r, 298, searchedName);
    place(r, 360, avUrbanization);
    place(r, 388, avPrimaryNumber);
    place(r, 398, avPreDirectional);
    place(r, 400, avStreetName);
    place(r, 428, avSuffix);
    place(r, 432, avPostDirectional);
    place(r, 434, avSecondaryDesignator);
    place(r, 438, avSecondaryNumber);
    place(r, 446, avCity);
    place(r, 474, avState);
    place(r, 476, avZip);
    place(r, 481, zip4Used);
    place(r, 485, urbanization);
    place(r, 513, primaryNumber);
    place(r, 523, preDirectional);
    place(r, 525, streetName);
    place(r, 553, suffix);
    place(r, 557, postDirectional);
    place(r, 559, secondaryDesignator);
    place(r, 563, secondaryNumber);
    place(r, 571, city);
    place(r, 599, state);
    place(r, 601, zip);
    place(r, 606, zip4);
    place(r, 610, deliveryPoint);
    place(r, 613, carrierRoute);
    r[617] = dropFlag;
    r[618] = nameFlag;
    place(r, 619, moveEffectiveDate);
    place(r, 625, middleInitials);
    r[627] = inputGender;
    place(r, 628, hint);
    place(r, 636, returnCode);
    place(r, 638, avCode1);
    place(r, 640, avCode2);
    place(r, 642, emdp);
    place(r, 658, emdpSha);
    place(r, 698, searchKey);
    place(r, 714, searchFirst);
    place(r, 729, searchLast);
    place(r, 749, searchSuffix);
    place(r, 754, searchSha);
    place(r, 794, rawResult);
    place(r, 810, seventeen);
    r[827] = moveType;
    place(r, 836, footnote);
    if (showLetterCD) r[840] = footnoteIsMatch(returnCode.buf) ? 'Y' : 'N';
    if (showLetterEF) r[841] = std::strncmp(footnote.buf, "77", 2) == 0 ? 'Y' : 'N';
    if (showLetterAB) r[842] = footnoteIsMatch(returnCode.buf) ? 'Y' : 'N';
    std::memcpy(r + 997, "D\r\n", 3);
}

void testClientOutputDetail::write(hx_file* file) const {
    if (file == nullptr) return;
    char record[kClientOutputRecord];
    layOut(record);
    hx_fio_putb(file, record, sizeof record);
}

// ---------------------------------------------------------------- the run

CNCOA_Auditor::CNCOA_Auditor(const CNCOA_DataTables& t, qvav_context* av, bool dbg, const qvncoa_prog_cb_t* prog)
    : engine(t, dbg), tables(&t), verifier(av), debug(dbg), progress(prog) {}

bool CNCOA_Auditor::loadHeader(const char* line, int length) {
    fromColumn(header1, line, length, 0);
    fromColumn(header2, line, length, 8);
    fromColumn(header3, line, length, 14);
    fromColumn(header4, line, length, 18);
    fromColumn(header5, line, length, 26);
    fromColumn(header6, line, length, 34);
    markFromColumn(headerFlag, line, length, 42);
    return true;
}

int CNCOA_Auditor::loadLines(const char* path, int lineLength, bool exactLength) {
    records.clear();
    hx_file* file = nullptr;
    if (hx_fio_open(path, HX_FIO_READ, &file) != 0) throw fio_file_error(QVNCOA_ERR_FILE_OPEN, path);
    hx_fio_closer closer(file);
    std::vector<char> line(static_cast<size_t>(lineLength) + 1);
    bool first = true;
    for (;;) {
        // Cleared for each line, so that what a short line leaves unread is
        // never taken for the newline of the line before.
        std::memset(line.data(), 0, line.size());
        int n = hx_fio_gets(file, line.data(), lineLength + 1);
        if (n <= 0) break;
        if (exactLength && n != lineLength) break;
        if (line[static_cast<size_t>(lineLength) - 1] != '\n') return 1044;
        if (first) {
            loadHeader(line.data(), n);
            first = false;
            continue;
        }
        testClientInputDetailRecord rec;
        if (rec.fromCharString(line.data(), n)) records.push_back(rec);
    }
    return QVNCOA_OK;
}

int CNCOA_Auditor::loadClientInput(const char* path) { return loadLines(path, kClientInputLine, true); }

int CNCOA_Auditor::loadClientInputS1(const char* path) { return loadLines(path, kClientInputLineS1, false); }

void CNCOA_Auditor::writeOutfileHeader(hx_file* file, const char* outputTag) {
    if (file == nullptr) return;
    char r[kClientOutputRecord];
    std::memset(r, ' ', sizeof r);
    place(r, 0, header1);
    place(r, 8, header2);
    place(r, 14, header3);
    place(r, 18, header4);
    place(r, 26, header5);
    place(r, 34, header6);
    r[42] = headerFlag;

    time_t now = time(nullptr);
    struct tm lt;
    localtime_r(&now, &lt);
    putDate(r + 298, lt.tm_year + 1900, lt.tm_mon + 1, lt.tm_mday);
    char text[48];
    std::snprintf(text, sizeof text, "%.2d%.2d%.2d", lt.tm_hour, lt.tm_min, lt.tm_sec);
    std::memcpy(r + 306, text, 6);
    std::memcpy(r + 312, tables->dvdHeader[1].date2.buf, 8);
    int year = 0, month = 0, day = 0;
    qvav_get_usps_date(verifier, &year, &month, &day);
    putDate(r + 320, year, month, 15);
    year = month = day = 0;
    qvav_get_usps_component_date(verifier, 9, &year, &month, &day);
    putDate(r + 328, year, month, 15);
    if (outputTag != nullptr) std::memcpy(r + 336, outputTag, ncoa_strnlen(outputTag, 4));
    std::memcpy(r + 997, "H\r\n", 3);
    hx_fio_putb(file, r, sizeof r);
}

int CNCOA_Auditor::processRecord(const testClientInputDetailRecord& in, testClientOutputDetail& out) {
    if (debug) {
        log("\n------------------------------------------------------\n");
        log("Trying:\n\t\t%s\n\t\t%s\n\t\t%s", in.nameText.buf, in.addressText.buf, in.lastLineText.buf);
    }
    void* result = nullptr;
    int status = qvav_verify_address(verifier, 1, in.nameText.buf, "", "", in.addressText.buf, "",
                                     in.lastLineText.buf, &result);
    if (status != 0) return status;

    NCOAInput input;
    input.name.cpyIn(in.nameText.buf, 40);
    const char* addr = addressRecordOf(result);
    if (addr != nullptr) {
        inputFromVerifier(input, addr);
        if (debug) {
            int code = std::atoi(addr + QVAV_ADDR_RESULT1);
            if (code != 0) log("CASS result code:\t%d\n Press Enter to continue.\n", code);
        }
    }

    NCOAAnswer answer;
    answer.init(false);
    engine.doNCOA(input, answer, eBIF_All);
    int months = 0;
    bool tooOld = answer.doMEDMonthsCalc(0, months);
    if (out.outAddr != nullptr) {
        out.outAddr->monthsSinceMove = months;
        out.outAddr->moveTooOld = tooOld ? 1 : 0;
    }
    out.set(answer, in, result, *tables);
    return QVNCOA_OK;
}

void CNCOA_Auditor::fillForm3553(unsigned char (&form)[kForm3553Record], const char* form1, const char* form2,
                                 const char* form3, const char* form4, const char* form5, const char* form6) {
    std::memset(form, 0, sizeof form);
    char* f = reinterpret_cast<char*>(form);
    auto text = [f](int at, const char* s, size_t width) {
        if (s != nullptr) std::strncpy(f + at, s, width);
    };
    text(0, form1, 25);
    text(26, form6, 25);
    const int one = 1;
    std::memcpy(f + 52, &one, sizeof one);
    text(56, form2, 32);
    text(89, form3, 32);
    text(122, form4, 32);
    text(155, form5, 32);
}

int CNCOA_Auditor::doClientTest(const char* inputPath, const char* outputPath, const char* form3553Path,
                                const char* outputTag, const char* form1, const char* form2, const char* form3,
                                const char* form4, const char* form5, const char* form6) {
    int status = stageOne ? loadClientInputS1(inputPath) : loadClientInput(inputPath);
    if (status != QVNCOA_OK) return status;

    hx_file* file = nullptr;
    if (hx_fio_open(outputPath, HX_FIO_WRITE_NEW, &file) != 0)
        throw qvncoa_exception(QVNCOA_ERR_FILE_WRITE, outputPath);
    hx_fio_closer closer(file);
    writeOutfileHeader(file, outputTag);

    const bool form = form3553Path != nullptr && *form3553Path != '\0';
    if (form) qvav_start_3553(verifier);

    const unsigned total = static_cast<unsigned>(records.size());
    for (unsigned i = 0; i < total; ++i) {
        qvncoa_out_addr_t outAddr;
        std::memset(&outAddr, 0, sizeof outAddr);
        testClientOutputDetail out;
        out.outAddr = &outAddr;
        out.leadMark = out.nameMark = out.addressMark = 'N';
        out.dropFlag = out.nameFlag = 'N';
        out.inputGender = 'U';
        out.moveType = ' ';
        status = processRecord(records[i], out);
        if (status != QVNCOA_OK && status != QVNCOA_OK_MOVE_TOO_OLD) break;
        out.write(file);
        // A write that failed leaves its error on the file.
        if (hx_fio_syserr(file) != 0) throw qvncoa_exception(QVNCOA_ERR_FILE_WRITE, outputPath);
        if (progress != nullptr && progress->callback != nullptr &&
            progress->callback(i + 1, total, &outAddr, progress->userData) != QVNCOA_OK) {
            if (hx_fio_close(closer.release()) != 0) throw qvncoa_exception(QVNCOA_ERR_FILE_WRITE, outputPath);
            return QVNCOA_ERR_CANCELLED;
        }
    }

    if (status == QVNCOA_OK && form) {
        unsigned char record[kForm3553Record];
        fillForm3553(record, form1, form2, form3, form4, form5, form6);
        int formStatus = qvav_write_3553(verifier, record, form3553Path);
        if (formStatus != 0) status = formStatus;
    }
    if (hx_fio_close(closer.release()) != 0) throw qvncoa_exception(QVNCOA_ERR_FILE_WRITE, outputPath);
    return status;
}

}  // namespace QV_NCOA
