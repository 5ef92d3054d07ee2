/* The address verifier's C interface (libqvav). The move library calls it to
 * parse, standardise and, where the data set allows, confirm an address before
 * a lookup; the client test run calls it for every test record. A caller makes
 * one context per thread: a context and the result it hands out are not shared.
 *
 * Result record. *result of qvav_verify_address points at a main record:
 *   offset 505  state, two letters, NUL-ended
 *   offset 600  pointer to the address sub-record
 * The address sub-record holds NUL-ended upper-case texts at:
 *     0  ZIP (five digits)
 *    41  ZIP+4 add-on (four digits)
 *   100  urbanization (Puerto Rico)
 *   201  primary (house) number; for a PO box the box number, for a rural
 *        route or highway contract the box number
 *   242  pre-directional
 *   283  street name, without suffix and directionals; "PO BOX" for a PO box,
 *        "RR 2" / "HC 3" for a rural route or highway contract
 *   324  street suffix (USPS abbreviation)
 *   365  post-directional
 *   406  secondary unit designator (USPS abbreviation)
 *   447  secondary (unit) number
 *   661  city
 *   870  record type, one character: S street, H high-rise, P PO box,
 *        R rural route or highway contract, F firm, G general delivery
 *   988  first result code, two characters
 *   991  second result code, two characters
 * The result is owned by the context and stays valid until its next call. */
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
    QVAV_ADDR_RESULT2 = 991
};

/* 0 ok; otherwise a non-zero status with the reason in errorText (1024 bytes). */
QVAV_API int qvav_open(qvav_context** av, const char* dataRoot, char* errorText);
/* Frees the context and sets *av to NULL. */
QVAV_API void qvav_close(qvav_context** av);
/* 0 ok; *result is owned by av until its next call. */
QVAV_API int qvav_verify_address(qvav_context* av, int options, const char* name, const char* firm,
                                 const char* urbanization, const char* addressLine, const char* addressLine2,
                                 const char* lastLine, void** result);
/* Form 3553: start counting the records verified from now on, and write the form. */
QVAV_API int qvav_start_3553(qvav_context* av);
QVAV_API int qvav_write_3553(qvav_context* av, const void* form188, const char* path);
/* Release date of the address data. */
QVAV_API int qvav_get_usps_date(qvav_context* av, int* year, int* month, int* day);
QVAV_API int qvav_get_usps_component_date(qvav_context* av, int component, int* year, int* month, int* day);

#ifdef __cplusplus
}
#endif

#endif
