/* The address verifier's C interface (libqvav). The move library calls it to
 * parse, standardise and, where the data set allows, confirm an address before
 * a lookup; the client test run calls it for every test record. A caller makes
 * one context per thread: a context and the result it hands out are not shared.
 * Contexts opened on the same data root share its address data, read once.
 *
 * Result record. *result of qvav_verify_address points at a main record
 * (QVAV_MAIN_SIZE bytes):
 *   offset   0  standardised delivery line, NUL-ended
 *   offset 128  standardised last line ("CITY ST 12345-6789"), NUL-ended
 *   offset 505  state, two letters, NUL-ended
 *   offset 600  pointer to the address sub-record
 * The address sub-record (QVAV_ADDR_SIZE bytes) holds NUL-ended upper-case
 * texts at:
 *     0  ZIP (five digits)
 *    41  ZIP+4 add-on (four digits)
 *   100  urbanization (Puerto Rico)
 *   201  primary (house) number, as written ("12 1/2", "123-45"); for a PO
 *        box the box number, for a rural route, highway contract or military
 *        address the box number
 *   242  pre-directional
 *   283  street name, without suffix and directionals; "PO BOX" for a PO box,
 *        "RR 2" / "HC 3" for a rural route or highway contract, "PSC 123",
 *        "CMR 450" or "UNIT 2050" for a military address
 *   324  street suffix (USPS abbreviation)
 *   365  post-directional
 *   406  secondary unit designator (USPS abbreviation, or "#")
 *   447  secondary (unit) number
 *   490  carrier route of the confirming range (empty when not confirmed)
 *   661  city
 *   870  record type, one character: S street, H high-rise, P PO box,
 *        R rural route or highway contract, F firm, G general delivery; a
 *        blank for input with nothing to read. Confirmed addresses take the
 *        type of their range; others S, P, R or G by their form.
 *   988  first result code, two characters (QVAV_R1_*)
 *   991  second result code, two characters (QVAV_R2_*)
 * The result is owned by the context and stays valid until its next call.
 *
 * Result codes. The first says what became of the address:
 *   00  confirmed: found in an address range of the data; ZIP, ZIP+4,
 *       directionals, street, suffix, record type, city and state come
 *       from the data, the numbers as written
 *   01  coded to a high-rise building's default range: the unit was missing
 *       or is none of the building's units
 *   10  not confirmed: every parsed component is kept, with the last line's
 *       ZIP and ZIP+4 (the second code says why)
 *   20  nothing to look up: empty, unreadable or without a street name
 * The second gives the detail:
 *   00  confirmed as written
 *   01  confirmed with a directional, suffix or designator filled in or
 *       corrected from the data
 *   02  confirmed in another ZIP of the written city (ZIP missing or wrong)
 *   11  ZIP missing, and the city names none in the data
 *   12  ZIP not in the data
 *   13  street not found in the ZIP (or the city's ZIPs)
 *   14  house or box number out of the street's ranges (or of their parity)
 *   15  house or box number missing
 *   16  unit missing: the building has only unit ranges (with 01: coded to
 *       the building's default)
 *   17  unit not found in the building's ranges (with 01: coded to the
 *       default)
 *   18  several addresses match equally: two streets (N and S of one name)
 *       or overlapping ranges under different ZIP+4s
 *   19  not looked up: no data open, or options without QVAV_OPT_CONFIRM
 *   21  empty address line
 *   22  address line without a letter or digit
 *   23  no street name (a number or unit alone)
 *
 * Status of the functions: 0 ok, else one of QVAV_ERR_* (a 1000-family code,
 * the same numbers as the move library's: memory 1030, file cannot be opened
 * 1040, file size not a whole number of records 1042, file missing 1043,
 * argument null 1052, disc header unreadable 1080). */
#ifndef QVAV_H
#define QVAV_H

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define QVAV_API __attribute__((visibility("default")))
#else
#define QVAV_API
#endif

typedef struct qvav_context qvav_context;

/* Offsets of the result records. */
enum {
    QVAV_MAIN_STATE = 505,
    QVAV_MAIN_ADDRESS = 600,
    QVAV_ADDR_ZIP = 0,
    QVAV_ADDR_ZIP4 = 41,
    QVAV_ADDR_URBANIZATION = 100,
    QVAV_ADDR_PRIMARY = 201,
    QVAV_ADDR_PREDIR = 242,
    QVAV_ADDR_STREET = 283,
    QVAV_ADDR_SUFFIX = 324,
    QVAV_ADDR_POSTDIR = 365,
    QVAV_ADDR_DESIGNATOR = 406,
    QVAV_ADDR_SECONDARY = 447,
    QVAV_ADDR_CITY = 661,
    QVAV_ADDR_RECORD_TYPE = 870,
    QVAV_ADDR_RESULT1 = 988,
    QVAV_ADDR_RESULT2 = 991,
    /* Added by this verifier. */
    QVAV_MAIN_DELIVERY_LINE = 0,
    QVAV_MAIN_LAST_LINE = 128,
    QVAV_MAIN_SIZE = 1024,
    QVAV_ADDR_CARRIER_ROUTE = 490,
    QVAV_ADDR_SIZE = 1024
};

/* Result codes as numbers; the record holds them as two digits. */
enum {
    QVAV_R1_CONFIRMED = 0,
    QVAV_R1_DEFAULT = 1,
    QVAV_R1_NOT_CONFIRMED = 10,
    QVAV_R1_UNUSABLE = 20
};
enum {
    QVAV_R2_EXACT = 0,
    QVAV_R2_CORRECTED = 1,
    QVAV_R2_ZIP_CORRECTED = 2,
    QVAV_R2_ZIP_MISSING = 11,
    QVAV_R2_ZIP_UNKNOWN = 12,
    QVAV_R2_STREET_NOT_FOUND = 13,
    QVAV_R2_NUMBER_OUT_OF_RANGE = 14,
    QVAV_R2_NUMBER_MISSING = 15,
    QVAV_R2_UNIT_MISSING = 16,
    QVAV_R2_UNIT_NOT_FOUND = 17,
    QVAV_R2_AMBIGUOUS = 18,
    QVAV_R2_NO_DATA = 19,
    QVAV_R2_EMPTY = 21,
    QVAV_R2_UNUSABLE = 22,
    QVAV_R2_NO_STREET = 23
};

/* Options of qvav_verify_address: confirm against the data (the move library
 * passes 1); without it the address is only parsed and standardised. */
enum { QVAV_OPT_CONFIRM = 1 };

/* Status codes. */
enum {
    QVAV_ERR_MEMORY = 1030,
    QVAV_ERR_OPEN = 1040,
    QVAV_ERR_WRITE = 1041,
    QVAV_ERR_SIZE = 1042,
    QVAV_ERR_MISSING = 1043,
    QVAV_ERR_ARGUMENT = 1052,
    QVAV_ERR_NO_DATA = 1054,
    QVAV_ERR_HEADER = 1080
};

/* Opens the NCOALink data set under dataRoot (its "DVD 1" and "DVD 2"
 * folders: the disc headers and the address ranges of DVD 2/rv9). A null or
 * empty dataRoot opens a context that parses and standardises only.
 * 0 ok; otherwise a non-zero status with the reason (a path) in errorText
 * (1024 bytes). */
QVAV_API int qvav_open(qvav_context** av, const char* dataRoot, char* errorText);
/* Frees the context and sets *av to NULL. */
QVAV_API void qvav_close(qvav_context** av);
/* Parses, standardises and (with QVAV_OPT_CONFIRM and data open) confirms
 * one address. name and firm are not used; urbanization, addressLine2 and
 * lastLine may be empty or null (a last line may then end addressLine after a
 * comma). 0 ok, also for input that gives nothing (told by the result
 * codes); QVAV_ERR_ARGUMENT for a null av or result.
 * *result is owned by av until its next call. */
QVAV_API int qvav_verify_address(qvav_context* av, int options, const char* name, const char* firm,
                                 const char* urbanization, const char* addressLine, const char* addressLine2,
                                 const char* lastLine, void** result);
/* Form 3553: start counting the records this context verifies from now on
 * (records, coded to ZIP+4, confirmed in ranges, and each pair of result
 * codes), and write them as plain text with the texts of the 188-byte form
 * record (offsets 0, 56, 89, 122, 155 and 26; the integer at 52) to path.
 * QVAV_ERR_WRITE when the file cannot be written. */
QVAV_API int qvav_start_3553(qvav_context* av);
QVAV_API int qvav_write_3553(qvav_context* av, const void* form188, const char* path);
/* Release date of the address data: the release date of the first disc's
 * header. Components: 0 that date; 1, 2, 3 the first disc's release, cutoff
 * and expiry dates; 4, 5, 6 the same of the second disc; 9 the address
 * ranges (DVD 2/rv9), dated by the second disc's release date. Another
 * component gives QVAV_ERR_ARGUMENT, a context without data QVAV_ERR_NO_DATA. */
QVAV_API int qvav_get_usps_date(qvav_context* av, int* year, int* month, int* day);
QVAV_API int qvav_get_usps_component_date(qvav_context* av, int component, int* year, int* month, int* day);

#ifdef __cplusplus
}
#endif

#endif
