// The exported C face of the library: argument tests, and the boundary at
// which the library's exceptions become return codes.
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "Audit.h"
#include "DataTables.h"
#include "HashUnpacker.h"
#include "NCOA.h"
#include "NCOA_Utils.h"
#include "qvncoa.h"

using namespace QV_NCOA;

// Callers compiled against older copies of the header rely on these layouts.
#define QV_AT(type, field, off) static_assert(offsetof(type, field) == (off), #type "." #field " moved")
QV_AT(qvncoa_out_addr_t, name, 200);
QV_AT(qvncoa_out_addr_t, addressLine, 400);
QV_AT(qvncoa_out_addr_t, primaryNumber, 600);
QV_AT(qvncoa_out_addr_t, secondaryNumber, 780);
QV_AT(qvncoa_out_addr_t, lastLine, 810);
QV_AT(qvncoa_out_addr_t, city, 1010);
QV_AT(qvncoa_out_addr_t, zip4, 1100);
QV_AT(qvncoa_out_addr_t, moveEffectiveDate, 1160);
QV_AT(qvncoa_out_addr_t, moveType, 1190);
QV_AT(qvncoa_out_addr_t, deliveryPoint, 1191);
QV_AT(qvncoa_out_addr_t, checkDigit, 1221);
QV_AT(qvncoa_out_addr_t, urbanization, 1222);
QV_AT(qvncoa_out_addr_t, returnCode, 1252);
QV_AT(qvncoa_out_addr_t, footnote, 1282);
QV_AT(qvncoa_out_addr_t, lookupCount, 1312);
QV_AT(qvncoa_out_addr_t, monthsSinceMove, 1316);
QV_AT(qvncoa_out_addr_t, moveTooOld, 1320);
QV_AT(qvncoa_out_addr_t, avRecord, 1328);
static_assert(sizeof(qvncoa_out_addr_t) == 1336, "answer record size");
QV_AT(qvncoa_in_addr_t, zip9, 24);
QV_AT(qvncoa_in_addr_t, recordType, 40);
static_assert(sizeof(qvncoa_in_addr_t) == 48, "input record size");
QV_AT(qvncoa_release_info_t, date1, 51);
QV_AT(qvncoa_release_info_t, sequence, 60);
QV_AT(qvncoa_release_info_t, date2, 64);
QV_AT(qvncoa_release_info_t, date3, 73);
QV_AT(qvncoa_release_info_t, fileCount, 84);
QV_AT(qvncoa_release_info_t, setLetter, 88);
QV_AT(qvncoa_release_info_t, setLetter2, 89);
static_assert(sizeof(qvncoa_release_info_t) == 92, "release info size");
QV_AT(qvncoa_prog_cb_t, userData, 8);
#undef QV_AT

namespace {

// What the caller's void* points at.
struct DataObjHolder {
    CNCOA_DataTables* tables = nullptr;
};

}  // namespace

namespace QV_NCOA {

CNCOA_DataTables* tablesOf(void* dataObj) { return static_cast<DataObjHolder*>(dataObj)->tables; }

int clampMedMonths(int medMonths) {
    if (medMonths < 6) return 0;
    if (medMonths > 48) return 48;
    return medMonths;
}

int doIt(NCOAInput& in, void* dataObj, qvncoa_out_addr_t* out, int mode, int medMonths, unsigned flags) {
    CNCOA_Main driver(*tablesOf(dataObj), (flags & QVNCOA_LOOKUP_DEBUG) != 0);
    NCOAAnswer answer;
    answer.init(false);
    driver.doNCOA(in, answer, static_cast<eQVNCOA_BIFLookupMode>(mode));
    out->moveTooOld = 0;
    int result = QVNCOA_OK;
    if (answer.doMEDMonthsCalc(medMonths, out->monthsSinceMove)) {
        out->moveTooOld = 1;
        result = QVNCOA_OK_MOVE_TOO_OLD;
    }
    answer.toOutAddr(*out);
    nzstrcpy(out->inputName, 40, in.name.buf, sizeof out->inputName - 1);
    return result;
}

}  // namespace QV_NCOA

extern "C" {

QVNCOA_API int qvncoa_init_data_obj(void** dataObj, const char* dataRoot, const char* lkmPath, const char* proxyConfig,
                                    qv_target_version version, const char* parseDefinition, char* errorText,
                                    unsigned flags) {
    return atBoundary(errorText, [&]() -> int {
        if (dataObj == nullptr) return QVNCOA_ERR_ARGUMENT;
        *dataObj = nullptr;
        if (dataRoot == nullptr || lkmPath == nullptr || *dataRoot == '\0' || *lkmPath == '\0')
            return QVNCOA_ERR_ARGUMENT;
        DataObjHolder* holder = new (std::nothrow) DataObjHolder;
        if (holder == nullptr) return QVNCOA_ERR_NO_MEMORY;
        holder->tables = new (std::nothrow) CNCOA_DataTables;
        if (holder->tables == nullptr) {
            delete holder;
            return QVNCOA_ERR_NO_MEMORY;
        }
        // Stored before loading: a failed start-up is cleaned up by the caller.
        *dataObj = holder;
        holder->tables->initialize(dataRoot, lkmPath, proxyConfig, version, parseDefinition, flags);
        return QVNCOA_OK;
    });
}

QVNCOA_API void qvncoa_destroy_data_obj(void** dataObj) {
    if (dataObj == nullptr || *dataObj == nullptr) return;
    DataObjHolder* holder = static_cast<DataObjHolder*>(*dataObj);
    delete holder->tables;
    delete holder;
    *dataObj = nullptr;
}

QVNCOA_API int qvncoa_getNCOAReleaseInfo(void* dataObj, qvncoa_release_info_t* info) {
    if (dataObj == nullptr) return QVNCOA_ERR_NULL_OBJECT;
    if (info == nullptr) return QVNCOA_ERR_ARGUMENT;
    std::memset(info, 0, sizeof *info);
    const DVDHeader& h = tablesOf(dataObj)->dvdHeader[0];
    // The record is zeroed: at most 50 or 8 characters keep a NUL behind them.
    std::memcpy(info->setName, h.setName.buf, ncoa_strnlen(h.setName.buf, 50));
    std::memcpy(info->date1, h.date1.buf, ncoa_strnlen(h.date1.buf, 8));
    info->sequence = h.sequence;
    std::memcpy(info->date2, h.date2.buf, ncoa_strnlen(h.date2.buf, 8));
    std::memcpy(info->date3, h.date3.buf, ncoa_strnlen(h.date3.buf, 8));
    info->fileCount = h.fileCount;
    info->setLetter = h.setLetter;
    info->setLetter2 = h.setLetter2;
    return QVNCOA_OK;
}

QVNCOA_API int qvncoa_lookup_without_qvav(void* dataObj, const qvncoa_in_addr_t* in, qvncoa_out_addr_t* out, int mode,
                                          int medMonths, char* errorText, unsigned flags) {
    return atBoundary(errorText, [&]() -> int {
        if (dataObj == nullptr) return QVNCOA_ERR_NULL_OBJECT;
        if (out == nullptr || in == nullptr) return QVNCOA_ERR_ARGUMENT;
        medMonths = clampMedMonths(medMonths);
        NCOAInput input;
        input.name.cpyIn(in->name, 40);
        input.pno.cpyIn(in->primaryNumber, 10);
        input.sno.cpyIn(in->secondaryNumber, 8);
        input.zip9.cpyIn(in->zip9, 9);
        input.desc.cpyIn(in->secondaryDesignator, 4);
        input.recordType = in->recordType;
        return doIt(input, dataObj, out, mode, medMonths, flags);
    });
}

QVNCOA_API int qvncoa_lookup_with_qvav(void* dataObj, qvav_context* av, const char** record, qvncoa_out_addr_t* out,
                                       int mode, int medMonths, char* errorText, unsigned flags) {
    return atBoundary(errorText, [&]() -> int {
        if (dataObj == nullptr) return QVNCOA_ERR_NULL_OBJECT;
        if (out == nullptr || record == nullptr || av == nullptr) return QVNCOA_ERR_ARGUMENT;
        medMonths = clampMedMonths(medMonths);
        std::memset(out, 0, sizeof *out);
        void* result = nullptr;
        const int status = qvav_verify_address(av, 1, record[0], "", "", record[1], "", record[2], &result);
        out->avRecord = result;
        if (status != 0) return status;

        // Only these fields of the verifier's record are read; see qvav.h.
        const char* addr = *reinterpret_cast<char* const*>(static_cast<const char*>(result) + QVAV_MAIN_ADDRESS);
        NCOAInput input;
        input.name.cpyIn(record[0], 40);
        input.zip9.cpyIn(addr + QVAV_ADDR_ZIP);
        input.zip9.cpyIn(addr + QVAV_ADDR_ZIP4, -1, 0, 4, 5, 4);  // the ZIP's blanks behind it stay where it is short
        input.pno.cpyIn(addr + QVAV_ADDR_PRIMARY);
        input.desc.cpyIn(addr + QVAV_ADDR_DESIGNATOR);
        input.sno.cpyIn(addr + QVAV_ADDR_SECONDARY);
        input.recordType = addr[QVAV_ADDR_RECORD_TYPE];
        return doIt(input, dataObj, out, mode, medMonths, flags);
    });
}

QVNCOA_API int qvncoa_validateDVDFileHashSignatures(void* dataObj, const qvncoa_prog_cb_t* progress, char* errorText) {
    if (dataObj == nullptr) return QVNCOA_ERR_NULL_OBJECT;
    return atBoundary(errorText, [&]() -> int {
        return validateDVDFileHashSignatures(*tablesOf(dataObj), progress, errorText);
    });
}

QVNCOA_API int qvncoa_buildFlatIndexFiles(const char* dataRoot, const qvncoa_prog_cb_t* progress, char* errorText) {
    return atBoundary(errorText, [&]() -> int {
        if (dataRoot == nullptr || *dataRoot == '\0') return QVNCOA_ERR_ARGUMENT;
        return buildFlatIndexFiles(dataRoot, progress);
    });
}

QVNCOA_API int qvncoa_unpackHashFolder(const char* from, const char* to, const qvncoa_prog_cb_t* progress,
                                       char* errorText) {
    return atBoundary(errorText, [&]() -> int {
        // A stop by the progress function is no failure here: the files done stay done.
        CNCOA_HashUnpacker unpacker;
        unpacker.UnpackFolder(from, to, progress);
        return QVNCOA_OK;
    });
}

QVNCOA_API int qvncoa_unpackHashFile(const char* from, const char* to, char* errorText) {
    return atBoundary(errorText, [&]() -> int {
        CNCOA_HashUnpacker unpacker;
        unpacker.UnpackFile(from, to);
        return QVNCOA_OK;
    });
}

QVNCOA_API int qvncoa_runAudit(void* dataObj, qvav_context* av, const char* inputPath, const char* outputPath,
                               const char* text1, const char* text2, const char* text3, const char* text4,
                               const char* text5, const char* text6, const char* text7, const char* form3553Path,
                               const qvncoa_prog_cb_t* progress, char* errorText, unsigned flags) {
    return atBoundary(errorText, [&]() -> int {
        if (dataObj == nullptr) return QVNCOA_ERR_NULL_OBJECT;
        if (av == nullptr || inputPath == nullptr || outputPath == nullptr) return QVNCOA_ERR_ARGUMENT;
        // The engine is large: the run's state lives on the heap, not the caller's stack.
        std::unique_ptr<CNCOA_Auditor> auditor(
            new CNCOA_Auditor(*tablesOf(dataObj), av, (flags & QVNCOA_LOOKUP_DEBUG) != 0, progress));
        auditor->stageOne = (flags & QVNCOA_AUDIT_STAGE_ONE) != 0;
        return auditor->doClientTest(inputPath, outputPath, form3553Path, text1, text2, text3, text4, text5, text6,
                                     text7);
    });
}

}  // extern "C"
