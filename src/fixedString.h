// Blank-filled text field of fixed width, as the USPS records have them.
// The copy rules are deliberate: a short copy leaves the old tail standing.
#pragma once

#include <cctype>
#include <cstring>

#include "hx_fio.h"

namespace QV_NCOA {

template <int N>
struct fixedString {
    char buf[N + 1];
    int size;

    fixedString() : size(N) {
        std::memset(buf, ' ', N);
        buf[N] = '\0';
    }

    // General copy. A null source blanks the field. -1 means the default for
    // each argument; only a defaulted dstCount (-1 or -2) blanks the tail
    // behind the copied text.
    void cpyIn(const char* src, int srcLen = -1, int srcOff = -1, int srcCount = -1,
               int dstOff = -1, int dstCount = -1) {
        if (src == nullptr) {
            spcs();
            return;
        }
        int so = srcOff == -1 ? 0 : srcOff;
        int dOff = dstOff == -1 ? 0 : dstOff;
        if (dOff >= N || dOff < 0 || so < 0) return;
        // An explicit source length bounds the offset; the default is the text's own length.
        if (srcLen != -1 && so >= srcLen) return;
        int actualLen = srcLen == -1 ? static_cast<int>(std::strlen(src))
                                     : static_cast<int>(strnlen(src, srcLen < 0 ? 0 : static_cast<size_t>(srcLen)));
        int sCount = srcCount == -1 ? actualLen : srcCount;
        bool fillTail = dstCount == -1 || dstCount == -2;
        int dCount = fillTail ? N : dstCount;
        int room = N - dOff;
        if (dCount < room) room = dCount;
        int left = actualLen - so;
        if (sCount < left) left = sCount;
        int n = room < left ? room : left;
        if (n < 0) n = 0;
        std::memcpy(buf + dOff, src + so, static_cast<size_t>(n));
        if (fillTail) {
            for (int i = dOff + n; i < N; ++i) buf[i] = ' ';
        }
    }

    // Copies the source's text (up to its NUL) over the start of this field; an
    // empty source changes nothing and a shorter one leaves the old tail.
    fixedString& operator=(const fixedString& o) {
        if (this == &o) return *this;
        size_t len = strnlen(o.buf, N + 1);
        if (len > 0) std::memcpy(buf, o.buf, len < static_cast<size_t>(N) ? len : static_cast<size_t>(N));
        return *this;
    }
    fixedString(const fixedString& o) : size(N) {
        std::memcpy(buf, o.buf, N + 1);
    }

    bool isSpaces(int from = 0, int len = -1) const {
        if (from < 0) from = 0;
        if (from > N) from = N;
        int end = len == -1 ? N : from + len;
        if (end > N) end = N;
        for (int i = from; i < end; ++i)
            if (buf[i] != ' ') return false;
        return true;
    }

    bool isNumeric(int from = 0, int len = -1) const {
        if (len == 0) return false;
        if (from < 0) from = 0;
        if (from > N) from = N;
        int end = len == -1 ? N : from + len;
        if (end > N) end = N;
        for (int i = from; i < end; ++i)
            if (!hx_isdigit(static_cast<unsigned char>(buf[i]))) return false;
        return true;
    }

    // From the end of the text (a copied-in NUL ends it early, as a number
    // printed short into the field leaves one), skip blanks, then all digits.
    bool isNumericToLastNonSpace() const {
        int i = static_cast<int>(strnlen(buf, N)) - 1;
        while (i >= 0 && buf[i] == ' ') --i;
        for (; i >= 0; --i)
            if (!hx_isdigit(static_cast<unsigned char>(buf[i]))) return false;
        return true;
    }

    int find(char c, int from = 0) const {
        if (from < 0 || from >= N) return -1;
        for (int i = from; i < N; ++i)
            if (buf[i] == c) return i;
        return -1;
    }

    int firstNonMatch(const fixedString& o) const {
        for (int i = 0; i < N; ++i)
            if (buf[i] != o.buf[i]) return i;
        return -1;
    }

    void spcs() {
        std::memset(buf, ' ', N);
        buf[N] = '\0';
    }

    void upper() {
        for (int i = 0; i < N; ++i) buf[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(buf[i])));
    }

    void sanityCheck() const {}

    // Byte order of the text up to its NUL: the key order of the name tables.
    bool operator<(const fixedString& o) const { return std::strcmp(buf, o.buf) < 0; }
    bool operator==(const fixedString& o) const { return std::strcmp(buf, o.buf) == 0; }

    void leftShiftRemove(char c) {
        for (int k = 0; k < N && buf[0] == c; ++k) {
            std::memmove(buf, buf + 1, N - 1);
            buf[N - 1] = ' ';
        }
    }

    void stripChar(char c) {
        int w = 0;
        for (int r = 0; r < N; ++r)
            if (buf[r] != c) buf[w++] = buf[r];
        for (; w < N; ++w) buf[w] = ' ';
    }

    void stripAllButChars(const char* keep) {
        int w = 0;
        for (int r = 0; r < N; ++r)
            if (buf[r] != '\0' && std::strchr(keep, buf[r]) != nullptr) buf[w++] = buf[r];
        for (; w < N; ++w) buf[w] = ' ';
    }
};

}  // namespace QV_NCOA
