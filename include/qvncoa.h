/* NCOALink move processing: the exported C interface of libqvncoa. */
#ifndef QVNCOA_H
#define QVNCOA_H

#include "qv_proxy.h"
#include "qvav.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define QVNCOA_API __attribute__((visibility("default")))
#else
#define QVNCOA_API
#endif

/* Return codes of the exported functions. */
enum {
    QVNCOA_OK = 1000,
    QVNCOA_OK_MOVE_TOO_OLD = 1001,
    QVNCOA_ERR_WORDMAP = 1011,
    QVNCOA_ERR_FLAT_ON_HASH = 1012,
    QVNCOA_ERR_HASH_ON_FLAT = 1013,
    QVNCOA_ERR_NO_NAME_RULES = 1014,
    QVNCOA_ERR_BIT_POSITION = 1020,
    QVNCOA_ERR_ZIP_INDEX = 1023,
    QVNCOA_ERR_DELIVERY_POINT = 1024,
    QVNCOA_ERR_RANGE_EXPLOSION = 1025,
    QVNCOA_ERR_RANGE_EXPANSION = 1026,
    QVNCOA_ERR_NO_MEMORY = 1030,
    QVNCOA_ERR_FILE_OPEN = 1040,
    QVNCOA_ERR_FILE_WRITE = 1041,
    QVNCOA_ERR_FILE_PACKED_SIZE = 1042,
    QVNCOA_ERR_FILE_SIZE = 1043,
    QVNCOA_ERR_INTERNAL = 1050,
    QVNCOA_ERR_NULL_OBJECT = 1051,
    QVNCOA_ERR_ARGUMENT = 1052,
    QVNCOA_ERR_CANCELLED = 1053,
    QVNCOA_ERR_DATA_EXPIRED = 1060,
    QVNCOA_ERR_PARSER_NOT_STARTED = 1070,
    QVNCOA_ERR_PARSER_FAILURE = 1071,
    QVNCOA_ERR_PARSER_LOCALE = 1072,
    QVNCOA_ERR_PARSER_STARTUP = 1073,
    QVNCOA_ERR_PARSER_KB_PATH = 1074,
    QVNCOA_ERR_HEADER_INVALID = 1080,
    QVNCOA_ERR_SHA1_MISMATCH = 1081,
    QVNCOA_ERR_FILE_NOT_IN_HEADER = 1082
};

/* Buffer size the errorText arguments must have, when not null. */
enum { QVNCOA_ERROR_TEXT_SIZE = 1024 };

/* Lookup modes: which of the business, individual and family searches run. */
typedef enum eQVNCOA_BIFLookupMode {
    eBIF_All = 0,
    eBIF_BusinessOnly = 1,
    eBIF_IndividualOnly = 2,
    eBIF_BusinessIndividual = 3,
    eBIF_IndividualFamily = 4
} eQVNCOA_BIFLookupMode;

/* Flags of qvncoa_init_data_obj. */
enum {
    QVNCOA_INIT_FLAT_KEY_1 = 2, /* flat index key size: 2 alone 1 byte, 4 alone 2, both 3 */
    QVNCOA_INIT_FLAT_KEY_2 = 4,
    QVNCOA_INIT_IN_MEMORY = 8   /* keep the large files and bit tables in memory */
};
/* Flags of the lookups. */
enum { QVNCOA_LOOKUP_DEBUG = 1 };
/* Flag of qvncoa_runAudit, besides the debug log: the stage-one input layout (1000-byte lines). */
enum { QVNCOA_AUDIT_STAGE_ONE = 2 };

/* The answer record. Text fields are NUL-terminated and trimmed. */
typedef struct qvncoa_out_addr_t {
    char inputName[200];
    char name[200];
    char addressLine[200];
    char primaryNumber[30];
    char preDirectional[30];
    char streetName[30];
    char suffix[30];
    char postDirectional[30];
    char secondaryDesignator[30];
    char secondaryNumber[30];
    char lastLine[200];
    char city[30];
    char state[30];
    char zip[30];
    char zip4[30];
    char carrierRoute[30];
    char moveEffectiveDate[30];
    char moveType;
    char deliveryPoint[30];
    char checkDigit;
    char urbanization[30];
    char returnCode[30];
    char footnote[30];
    int lookupCount;
    int monthsSinceMove;
    int moveTooOld;
    void* avRecord;
} qvncoa_out_addr_t;

/* Progress callback: return 1000 to go on, anything else stops the work (1053). */
typedef struct qvncoa_prog_cb_t {
    int (*callback)(unsigned current, unsigned total, qvncoa_out_addr_t* record, void* userData);
    void* userData;
} qvncoa_prog_cb_t;

/* Input record of qvncoa_lookup_without_qvav; the five texts must not be null. */
typedef struct qvncoa_in_addr_t {
    const char* name;
    const char* primaryNumber;
    const char* secondaryNumber;
    const char* zip9;
    const char* secondaryDesignator;
    char recordType;
} qvncoa_in_addr_t;

/* What the data set's header says of it. */
typedef struct qvncoa_release_info_t {
    char setName[51];
    char date1[9];
    int sequence;
    char date2[9];
    char date3[9];
    int fileCount;
    char setLetter;
    char setLetter2;
} qvncoa_release_info_t;

/* Build identity. */
QVNCOA_API extern const int qvx_build_number;
QVNCOA_API extern const char* const qvx_build_version;
QVNCOA_API extern const char* const qvx_build_info;

/* Opens a data set. *dataObj is set before loading starts, so a failed call may
 * leave it set: pass it to qvncoa_destroy_data_obj then. */
QVNCOA_API int qvncoa_init_data_obj(void** dataObj, const char* dataRoot, const char* lkmPath,
                                    const char* proxyConfig, qv_target_version version,
                                    const char* parseDefinition, char* errorText, unsigned flags);
QVNCOA_API void qvncoa_destroy_data_obj(void** dataObj);
QVNCOA_API int qvncoa_getNCOAReleaseInfo(void* dataObj, qvncoa_release_info_t* info);

/* Looks up a record whose address is already verified. */
QVNCOA_API int qvncoa_lookup_without_qvav(void* dataObj, const qvncoa_in_addr_t* in, qvncoa_out_addr_t* out,
                                          int mode, int medMonths, char* errorText, unsigned flags);

/* Receives each failure of qvncoa_check_data_set: its code, the file's path
 * and a short English description of what is wrong. */
typedef struct qvncoa_check_cb_t {
    void (*failure)(int code, const char* path, const char* what, void* userData);
    void* userData;
} qvncoa_check_cb_t;

/* Checks that the data set under dataRoot is whole before it is opened:
 * both disc headers complete; every file they list present with its listed
 * size (and, when full is not 0, its listed SHA-1); every file that start-up
 * or a lookup reads listed (the locally built flat index files excepted);
 * every record file a whole number of records, and at least one; for a hash
 * set, a contents list naming a stripe letter for each of the 100 ZIP groups
 * and stripe files whose sizes the lookup's masks accept. Returns 1000 when
 * whole, else the code of the first failure with its path in errorText:
 * 1040 missing or unreadable, 1042 wrong size or layout, 1080 header
 * incomplete, 1081 SHA-1 differs, 1082 read but not listed; 1052 for a null
 * or empty root. each (may be null) hears of every failure, not only the
 * first. progress (may be null) hears of whole percentages of the SHA-1 pass.
 * Call it once for each installed set: a set that passes it cannot make a
 * lookup fail by an exception the boundary lets through. */
QVNCOA_API int qvncoa_check_data_set(const char* dataRoot, int full, const qvncoa_prog_cb_t* progress,
                                     const qvncoa_check_cb_t* each, char* errorText);

/* Proves every file of the opened data set against the SHA-1 list of its
 * disc's header. 1081 when a file's digest differs, with its path in errorText;
 * any other outcome of the verification gives 1000. progress (may be null)
 * hears of each whole percentage of all bytes; its result is ignored. */
QVNCOA_API int qvncoa_validateDVDFileHashSignatures(void* dataObj, const qvncoa_prog_cb_t* progress, char* errorText);

/* Verifies the address with the verifier, then looks the record up. record is
 * three texts: name, address line, last line. A non-zero status of the verifier
 * is returned as it stands; out->avRecord holds the verifier's result. */
QVNCOA_API int qvncoa_lookup_with_qvav(void* dataObj, qvav_context* av, const char** record, qvncoa_out_addr_t* out,
                                       int mode, int medMonths, char* errorText, unsigned flags);

/* Unpack packed hash files (".SZP") of a folder, or one file. No data object is
 * needed: a data set is unpacked before it is opened. */
QVNCOA_API int qvncoa_unpackHashFolder(const char* from, const char* to, const qvncoa_prog_cb_t* progress,
                                       char* errorText);
QVNCOA_API int qvncoa_unpackHashFile(const char* from, const char* to, char* errorText);

/* Builds the index files of a flat data set. progress hears whole percentages;
 * its result is ignored. */
QVNCOA_API int qvncoa_buildFlatIndexFiles(const char* dataRoot, const qvncoa_prog_cb_t* progress, char* errorText);

/* The USPS client test run: reads the test input file, verifies and looks up
 * every record and writes the answer file; optionally the form 3553. flags: 1
 * debug log, 2 the alternative (stage one) input layout. */
QVNCOA_API int qvncoa_runAudit(void* dataObj, qvav_context* av, const char* inputPath, const char* outputPath,
                               const char* text1, const char* text2, const char* text3, const char* text4,
                               const char* text5, const char* text6, const char* text7, const char* form3553Path,
                               const qvncoa_prog_cb_t* progress, char* errorText, unsigned flags);

#ifdef __cplusplus
}
#endif

#endif
