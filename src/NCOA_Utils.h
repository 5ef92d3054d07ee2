// Small text tools around fixedString, the library's exception, the debug log
// and the date helpers. All tolerant: they cut and pad, they do not fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <vector>

#include "fixedString.h"
#include "qvb_string.h"

namespace QV_NCOA {

// The one exception class of the library: a code of the 1000 family and a text.
class qvncoa_exception {
public:
    explicit qvncoa_exception(int code);
    qvncoa_exception(int code, const char* text);
    virtual ~qvncoa_exception() = default;
    virtual QvbString what() const { return text_; }
    virtual int errCode() const { return code_; }

private:
    int code_;
    QvbString text_;
};

// File trouble; the text is the path.
class fio_file_error : public qvncoa_exception {
public:
    fio_file_error(int code, const char* path) : qvncoa_exception(code, path) {}
};

// Debug log line to standard output. The formatted text is read once more as a
// format: "%%" in it halves. Other conversions are not expanded a second time,
// so a '%' in a caller's name cannot read arguments that are not there.
void log(const char* format, ...) __attribute__((format(printf, 1, 2)));

int ncoa_snprintf(char* buf, size_t size, const char* format, ...) __attribute__((format(printf, 3, 4)));
size_t ncoa_strnlen(const char* s, size_t max);

inline const int& qv_ncoa_min(const int& a, const int& b) { return b < a ? b : a; }
inline const int& qv_ncoa_max(const int& a, const int& b) { return a < b ? b : a; }
inline const unsigned& qv_ncoa_min(const unsigned& a, const unsigned& b) { return b < a ? b : a; }
inline const unsigned& qv_ncoa_max(const unsigned& a, const unsigned& b) { return a < b ? b : a; }
inline const unsigned long& qv_ncoa_min(const unsigned long& a, const unsigned long& b) { return b < a ? b : a; }
inline const unsigned long& qv_ncoa_max(const unsigned long& a, const unsigned long& b) { return a < b ? b : a; }

void trimLeadingSpaces(char* s);
void trimLeadingSpacesAndZeros(char* s);
void trimSpaces(char* s);
void sntrcpy_trim(char* dst, const char* src, int n);
void nzstrcpy(char* dst, int srcLen, const char* src, int dstLen);

// Equal when the last non-blank stands at the same index and all before it
// agree; the character at that index is not compared ("AB" equals "AC"). Keep.
bool streql_itsp(const char* a, const char* b);
int strcmp_itsp(const char* a, const char* b);

int findLastNonSpace(const char* s);
int findLastNonSpaceN(const char* s, size_t n);

bool isComposedOf(const char* s, const char* set);
bool isComposedOf(const char* s, const char* set, size_t n);
bool isSpaces(const char* s);
bool isSpaces(const char* s, size_t n);
bool isNumeric(const char* s);
bool isNumeric(const char* s, size_t n);
bool isAlpha(const char* s);
bool isAlpha(const char* s, size_t n);
bool isAlphaNum(const char* s);
bool isAlphaNum(const char* s, size_t n);
bool isAlphaSpace(const char* s);
bool isAlphaSpace(const char* s, size_t n);

void replace(char* s, char from, char to, int start, int end);
void stripSpaces(char* s, int start, int end);
QvbString pad(const char* s, int width, char c);
int countLeading(char c, const char* s);
int countTrailing(char c, const char* s);
int countOccurences(const char* s, char c, size_t n);
void strInit(char* s, int n);

bool fileSize(const char* path, unsigned& size, int& error);
bool readTextLineFile(const char* path, std::vector<QvbString>& lines, int& error);

// What snprintf(out, width + 1, "%0<width>lu", v) leaves: the digits of v,
// zeros in front up to `width`, a longer number cut to its first `width`
// digits; NUL-ended. For the decode of each hit, where the print costs more
// than the rest. width 1 to 20.
void printZeroPaddedCut(unsigned long v, int width, char* out);
uint64_t atoi64(const char* s);
uint64_t atoi64(const char* s, size_t n);
int atoin(const char* s, size_t n);
void unstring(const char* s, std::vector<QvbString>& words);

// USPS check digit over the first 11 characters' digits.
char check11(const char* s);

void pstr(const char* s, int n, bool newline, bool quoted);
void dumpSha(const unsigned char* digest);

time_t YYYYMMDDToTime(const char* s);
time_t YYYYMMDDHHMMSSToTime(const char* s);

}  // namespace QV_NCOA
