#include "NCOA_Utils.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "hx_fio.h"

namespace QV_NCOA {

qvncoa_exception::qvncoa_exception(int code) : code_(code) { text_.assign(code); }

qvncoa_exception::qvncoa_exception(int code, const char* text) : code_(code), text_(text) {}

void log(const char* format, ...) {
    char line[512];
    va_list ap;
    va_start(ap, format);
    vsnprintf(line, sizeof line, format, ap);
    va_end(ap);
    // The formatted text goes out as a format of its own, so "%%" in it comes
    // out as one '%'. Any other conversion is written as it stands rather than
    // read from arguments that are not there.
    char out[512];
    size_t w = 0;
    for (size_t r = 0; line[r] != '\0' && w < sizeof out - 1; ++r) {
        if (line[r] == '%' && line[r + 1] == '%') ++r;
        out[w++] = line[r];
    }
    out[w] = '\0';
    fputs(out, stdout);
}

int ncoa_snprintf(char* buf, size_t size, const char* format, ...) {
    if (buf == nullptr || size == 0) return 0;
    va_list ap;
    va_start(ap, format);
    int n = vsnprintf(buf, size - 1, format, ap);
    va_end(ap);
    buf[size - 1] = '\0';
    return n;
}

size_t ncoa_strnlen(const char* s, size_t max) {
    size_t n = 0;
    while (n < max && s[n] != '\0') ++n;
    return n;
}

// Shifts the text left over its leading characters of the given set, keeping
// its length by blanking the places freed at the end.
static void shiftLeftOver(char* s, bool zerosToo) {
    size_t len = strlen(s);
    size_t k = 0;
    while (k < len && (s[k] == ' ' || (zerosToo && s[k] == '0'))) ++k;
    if (k == 0 || k == len) return;
    memmove(s, s + k, len - k);
    memset(s + len - k, ' ', k);
}

void trimLeadingSpaces(char* s) {
    if (s == nullptr) return;
    size_t len = strlen(s);
    size_t k = 0;
    while (k < len && s[k] == ' ') ++k;
    if (k == 0) return;
    memmove(s, s + k, len - k);
    memset(s + len - k, ' ', k);
}

void trimLeadingSpacesAndZeros(char* s) {
    if (s == nullptr) return;
    // An all-blank or all-zero text stays as it stands.
    shiftLeftOver(s, true);
}

namespace {

// trimSpaces on a text of known length len, in one pass each way. Leaves
// exactly the bytes the three steps leave: the text without its blanks at
// both ends and a NUL behind it; when there were leading blanks, the shift's
// blanks behind that NUL up to the end of the unshifted text, which has a
// NUL again; the trailing blanks of the input after that, as they were.
void trimKnown(char* s, size_t len) {
    size_t end = len;
    while (end > 0 && s[end - 1] == ' ') --end;
    if (end == 0) {
        s[0] = '\0';
        return;
    }
    size_t k = 0;
    while (s[k] == ' ') ++k;  // stops inside the text: s[end - 1] is no blank
    if (k > 0) {
        std::memmove(s, s + k, end - k);
        std::memset(s + end - k, ' ', k);
    }
    s[end - k] = '\0';
    s[end] = '\0';
}

}  // namespace

void trimSpaces(char* s) {
    if (s == nullptr) return;
    trimKnown(s, strlen(s));
}

// strncpy, a NUL in the last place and trimSpaces, without the repeated
// scans: this runs for every field of every answer.
void sntrcpy_trim(char* dst, const char* src, int n) {
    if (n <= 0) return;
    const size_t len = strnlen(src, static_cast<size_t>(n) - 1);
    memcpy(dst, src, len);
    memset(dst + len, 0, static_cast<size_t>(n) - len);
    trimKnown(dst, len);
}

void nzstrcpy(char* dst, int srcLen, const char* src, int dstLen) {
    int n = srcLen < dstLen ? srcLen : dstLen;
    if (n < 0) n = 0;
    memcpy(dst, src, static_cast<size_t>(n));
    dst[n] = '\0';
    trimKnown(dst, strnlen(dst, static_cast<size_t>(n)));
}

int findLastNonSpace(const char* s) {
    if (s == nullptr) return -1;
    int last = -1;
    for (int i = 0; s[i] != '\0'; ++i)
        if (s[i] != ' ') last = i;
    return last;
}

int findLastNonSpaceN(const char* s, size_t n) {
    if (s == nullptr) return -1;
    int last = -1;
    for (size_t i = 0; i < n && s[i] != '\0'; ++i)
        if (s[i] != ' ') last = static_cast<int>(i);
    return last;
}

bool streql_itsp(const char* a, const char* b) {
    int la = findLastNonSpace(a);
    int lb = findLastNonSpace(b);
    if (la != lb) return false;
    // The character at the last index is not compared: kept as it always was.
    for (int i = 0; i < la; ++i)
        if (a[i] != b[i]) return false;
    return true;
}

int strcmp_itsp(const char* a, const char* b) {
    int la = findLastNonSpace(a);
    int lb = findLastNonSpace(b);
    if (la == -1 && lb == -1) return 0;
    int n = la < lb ? la : lb;
    int r = n > 0 ? strncmp(a, b, static_cast<size_t>(n)) : 0;
    if (r == 0 && la != lb) return la > lb ? 1 : -1;
    return r;
}

bool isComposedOf(const char* s, const char* set) {
    if (set == nullptr || *set == '\0') return false;
    for (; *s; ++s)
        if (strchr(set, *s) == nullptr) return false;
    return true;
}

bool isComposedOf(const char* s, const char* set, size_t n) {
    if (set == nullptr || *set == '\0') return false;
    for (size_t i = 0; i < n && s[i]; ++i)
        if (strchr(set, s[i]) == nullptr) return false;
    return true;
}

template <typename Pred>
static bool allOf(const char* s, size_t n, Pred pred) {
    for (size_t i = 0; i < n && s[i] != '\0'; ++i)
        if (!pred(static_cast<unsigned char>(s[i]))) return false;
    return true;
}

static const size_t kNoLimit = static_cast<size_t>(-1);

static bool isBlank(unsigned char c) { return c == ' '; }
static bool isDigitC(unsigned char c) { return hx_isdigit(c); }
static bool isAlphaC(unsigned char c) { return hx_isalpha(c); }
static bool isAlnumC(unsigned char c) { return hx_isalnum(c); }
static bool isAlphaSpaceC(unsigned char c) { return hx_isalpha(c) || c == ' '; }

bool isSpaces(const char* s) { return allOf(s, kNoLimit, isBlank); }
bool isSpaces(const char* s, size_t n) { return allOf(s, n, isBlank); }
bool isNumeric(const char* s) { return allOf(s, kNoLimit, isDigitC); }
bool isNumeric(const char* s, size_t n) { return allOf(s, n, isDigitC); }
bool isAlpha(const char* s) { return allOf(s, kNoLimit, isAlphaC); }
bool isAlpha(const char* s, size_t n) { return allOf(s, n, isAlphaC); }
bool isAlphaNum(const char* s) { return allOf(s, kNoLimit, isAlnumC); }
bool isAlphaNum(const char* s, size_t n) { return allOf(s, n, isAlnumC); }
bool isAlphaSpace(const char* s) { return allOf(s, kNoLimit, isAlphaSpaceC); }
bool isAlphaSpace(const char* s, size_t n) { return allOf(s, n, isAlphaSpaceC); }

void replace(char* s, char from, char to, int start, int end) {
    // end sets no limit; -1 only lets a start below -1 through. Kept as it is.
    if (end == -1 && start >= -1) return;
    if (start < 0) start = 0;
    for (char* p = s + start; *p; ++p)
        if (*p == from) *p = to;
}

void stripSpaces(char* s, int start, int end) {
    if (end == -1) end = static_cast<int>(strlen(s));
    if (start < 0) start = 0;
    // The other bytes of the range close up in their order and the blanks go
    // to its end; bytes outside it stay.
    int to = start;
    for (int i = start; i < end; ++i)
        if (s[i] != ' ') s[to++] = s[i];
    for (; to < end; ++to) s[to] = ' ';
}

QvbString pad(const char* s, int width, char c) {
    QvbString out(s);
    for (int n = out.length(); n < width; ++n) out.append(c);
    return out;
}

int countLeading(char c, const char* s) {
    int n = 0;
    while (s[n] != '\0' && s[n] == c) ++n;
    return n;
}

int countTrailing(char c, const char* s) {
    int len = static_cast<int>(strlen(s));
    int n = 0;
    while (n < len && s[len - 1 - n] == c) ++n;
    return n;
}

int countOccurences(const char* s, char c, size_t n) {
    int k = 0;
    for (size_t i = 0; i < n && s[i] != '\0'; ++i)
        if (s[i] == c) ++k;
    return k;
}

void strInit(char* s, int n) {
    if (n < 0) n = 0;
    memset(s, ' ', static_cast<size_t>(n));
    s[n] = '\0';
}

bool fileSize(const char* path, unsigned& size, int& error) {
    hx_fio_info info{};
    int rc = hx_fio_stat(path, &info);
    if (rc != 0) {
        error = rc;
        return false;
    }
    size = static_cast<unsigned>(info.size);  // data files stay below 4 GiB
    return true;
}

bool readTextLineFile(const char* path, std::vector<QvbString>& lines, int& error) {
    lines.clear();
    hx_file* f = nullptr;
    error = hx_fio_open(path, HX_FIO_READ, &f);
    if (f == nullptr) return false;
    hx_fio_closer closer(f);
    if (error != 0) return false;
    char buf[1024];
    while (hx_fio_gets(f, buf, sizeof buf) > 0) {
        QvbString line(buf);
        line.trim(false, true);
        lines.push_back(line);
    }
    return true;
}

void printZeroPaddedCut(unsigned long v, int width, char* out) {
    char digits[20];
    int n = 0;
    do {
        digits[19 - n++] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v != 0);
    if (n <= width) {
        std::memset(out, '0', static_cast<size_t>(width - n));
        std::memcpy(out + width - n, digits + 20 - n, static_cast<size_t>(n));
    } else {
        std::memcpy(out, digits + 20 - n, static_cast<size_t>(width));
    }
    out[width] = '\0';
}

uint64_t atoi64(const char* s) { return atoi64(s, kNoLimit); }

uint64_t atoi64(const char* s, size_t n) {
    uint64_t v = 0;
    for (size_t i = 0; i < n && hx_isdigit(static_cast<unsigned char>(s[i])); ++i)
        v = v * 10 + static_cast<uint64_t>(s[i] - '0');
    return v;
}

int atoin(const char* s, size_t n) {
    int v = 0;
    for (size_t i = 0; i < n; ++i) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        if (c == ' ') continue;
        if (!hx_isdigit(c)) break;
        v = v * 10 + (c - '0');
    }
    return v;
}

void unstring(const char* s, std::vector<QvbString>& words) {
    words.clear();
    const char* p = s;
    while (*p) {
        while (*p == ' ') ++p;
        if (!*p) break;
        const char* b = p;
        while (*p && *p != ' ') ++p;
        std::string w(b, static_cast<size_t>(p - b));
        words.emplace_back(w.c_str());
    }
}

char check11(const char* s) {
    int sum = 0;
    for (int i = 0; i < 11 && s[i] != '\0'; ++i)
        if (hx_isdigit(static_cast<unsigned char>(s[i]))) sum += s[i] - '0';
    return static_cast<char>('0' + (100 - sum) % 10);
}

void pstr(const char* s, int n, bool newline, bool quoted) {
    int last = findLastNonSpaceN(s, static_cast<size_t>(n));
    if (last >= 0) {
        if (quoted) fputc('\'', stdout);
        fwrite(s, 1, static_cast<size_t>(last + 1), stdout);
        if (quoted) fputc('\'', stdout);
    }
    if (newline) fputc('\n', stdout);
}

void dumpSha(const unsigned char* d) {
    unsigned w[5];
    for (int i = 0; i < 5; ++i)
        w[i] = (unsigned(d[4 * i]) << 24) | (unsigned(d[4 * i + 1]) << 16) | (unsigned(d[4 * i + 2]) << 8) | d[4 * i + 3];
    fprintf(stdout, "%08x-%08x-%08x-%08x-%08x\n", w[0], w[1], w[2], w[3], w[4]);
}

static time_t makeLocal(int year, int month, int day, int hour, int minute, int second) {
    struct tm t;
    memset(&t, 0, sizeof t);
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    t.tm_isdst = -1;
    return mktime(&t);
}

time_t YYYYMMDDToTime(const char* s) {
    long v = static_cast<long>(atoi64(s, 8));
    return makeLocal(static_cast<int>(v / 10000), static_cast<int>((v % 10000) / 100), static_cast<int>(v % 100), 0, 0, 0);
}

time_t YYYYMMDDHHMMSSToTime(const char* s) {
    long v = static_cast<long>(atoi64(s, 8));
    int hh = static_cast<int>(atoi64(s + 8, 2));
    int mi = static_cast<int>(atoi64(s + 10, 2));
    int ss = static_cast<int>(atoi64(s + 12, 2));
    return makeLocal(static_cast<int>(v / 10000), static_cast<int>((v % 10000) / 100), static_cast<int>(v % 100), hh, mi, ss);
}

}  // namespace QV_NCOA
