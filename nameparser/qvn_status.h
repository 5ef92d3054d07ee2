/* Status codes of the name-parsing engine. Every failure is negative and
 * leaves a text for proxy__qv_error_info_get on the calling thread. */
#ifndef QVN_STATUS_H
#define QVN_STATUS_H

enum {
  QVN_OK = 0,
  QVN_E_BAD_HANDLE = -1,        /* null, closed or foreign handle */
  QVN_E_BAD_ARGUMENT = -2,      /* a required pointer is null */
  QVN_E_BAD_VERSION = -3,       /* qv_proxy_init with an interface version other than 2 */
  QVN_E_KB_MISSING = -4,        /* knowledge base folder or one of its files does not exist */
  QVN_E_KB_UNREADABLE = -5,     /* a knowledge base file exists but cannot be read */
  QVN_E_KB_BAD_LINE = -6,       /* a knowledge base file holds a line that is not a valid entry */
  QVN_E_NO_KB_PATH = -7,        /* locale load before proxy__qv_lkm_path_set */
  QVN_E_UNKNOWN_LOCALE = -8,    /* locale name or code the engine does not know */
  QVN_E_LOCALE_NOT_LOADED = -9, /* parse before a successful proxy__qv_lkm_locale_load */
  QVN_E_UNKNOWN_DEFINITION = -10, /* parse definition not listed in the knowledge base */
  QVN_E_BAD_OPTIONS = -11,      /* locale load options other than 7 */
  QVN_E_ALREADY_LOADED = -12,   /* path set or locale load after the locale was loaded */
  QVN_E_NO_MEMORY = -13
};

/* The only locale: US English. */
enum { QVN_LOCALE_ENUSA = 1 };
/* proxy__qv_lkm_locale_load options: load every list of the locale. */
enum { QVN_LOAD_ALL = 7 };
/* Interface version the caller must open the engine with. */
enum { QVN_INTERFACE_VERSION = 2 };

#endif
