/* Person-name parsing engine, reached through this small C interface.
 * Every function returns a signed 32-bit status; negative is a failure, and
 * proxy__qv_error_info_get then tells the calling thread's last failure. */
#ifndef QV_PROXY_H
#define QV_PROXY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define QV_PROXY_API __attribute__((visibility("default")))
#else
#define QV_PROXY_API
#endif

typedef int qv_target_version;

/* Token array of proxy__qv_parse: 32 slots of 1032 bytes, each a 4-byte
 * integer followed by NUL-terminated text. */
enum { QV_PROXY_SLOT_COUNT = 32, QV_PROXY_SLOT_SIZE = 1032, QV_PROXY_TOKEN_ARRAY_SIZE = 33024 };
/* Slots of the definition "Name (Address Update)". */
enum { QV_SLOT_PREFIX = 0, QV_SLOT_FIRST = 1, QV_SLOT_MIDDLE = 2, QV_SLOT_LAST = 3, QV_SLOT_SUFFIX = 4 };
/* Size of the error text buffers handed to the engine. */
enum { QV_PROXY_ERROR_SIZE = 1024 };

/* Opens the engine; *handle is null on failure and errorText (1024 bytes) says why.
 * version must be 2; config is reserved and may be null. */
QV_PROXY_API int32_t qv_proxy_init(void** handle, const char* config, qv_target_version version, char* errorText);
/* Closes the engine and frees the handle. */
QV_PROXY_API int32_t qv_proxy_close(void* handle);
/* Where the knowledge base lies (a folder). */
QV_PROXY_API int32_t proxy__qv_lkm_path_set(void* handle, const char* path);
/* "ENUSA" gives a non-zero code; unknown names fail. */
QV_PROXY_API int32_t proxy__qv_locale_code_get_by_iso_name(void* handle, const char* isoName, int32_t* code);
/* Loads the knowledge base of that locale; the only I/O of the engine. options must
 * be 7 (every list). A file with a bad entry is refused, naming file and line. */
QV_PROXY_API int32_t proxy__qv_lkm_locale_load(void* handle, int32_t code, int32_t options);
/* Splits input under the named definition into tokens (QV_PROXY_TOKEN_ARRAY_SIZE bytes).
 * Writes slots 0-4 only: upper-case text, and the text's length in the slot's integer;
 * a part the name lacks is an empty text. *count gets the number of non-empty parts.
 * Safe to call from many threads on one handle at once, once the locale is loaded. */
QV_PROXY_API int32_t proxy__qv_parse(void* handle, const char* definition, const char* input, void* tokens, int32_t* count);
/* The calling thread's last failure: code and text (at most QV_PROXY_ERROR_SIZE bytes with the NUL).
 * Needs no valid handle. The negative codes are listed in nameparser/qvn_status.h. */
QV_PROXY_API int32_t proxy__qv_error_info_get(void* handle, int32_t* code, char* text);

#ifdef __cplusplus
}
#endif

#endif
