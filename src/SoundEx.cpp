#include "SoundEx.h"

#include <cstring>
#include <vector>

#include "DataTables.h"
#include "NCOA_Utils.h"

namespace QV_NCOA {

namespace {

const int kWork = 99;

// Class letter of a consonant; 0 for vowels, H, W, Y and anything not A to Z.
char consonantClass(unsigned char c) {
    switch (c) {
    case 'B': case 'F': case 'P': case 'V': return 'B';
    case 'C': case 'G': case 'J': case 'K': case 'Q': case 'S': case 'X': case 'Z': return 'C';
    case 'D': case 'T': return 'D';
    case 'L': return 'L';
    case 'M': case 'N': return 'M';
    case 'R': return 'R';
    default: return 0;
    }
}

bool isVowelLike(unsigned char c) { return std::strchr("AEHIOUWY", c) != nullptr && c != '\0'; }

bool blankFrom(const char* s, int from, int end) {
    for (int i = from; i < end; ++i)
        if (s[i] != ' ') return false;
    return true;
}

}  // namespace

void SoundEx(const char* in, char* out, int len) {
    if (len < 0) len = 0;
    if (len > kWork) len = kWork;
    char work[kWork];
    char code[kWork];
    std::memset(work, ' ', sizeof work);
    std::memset(code, ' ', sizeof code);
    std::memcpy(work, in, static_cast<size_t>(len));

    int n = 0;
    char prev = ' ';
    if (!blankFrom(work, 0, kWork)) {
        for (int i = 0; i < kWork; ++i) {
            unsigned char c = static_cast<unsigned char>(work[i]);
            if (c == ' ') {
                // A blank keeps the previous code, so a sound split by it counts once.
            } else if (char k = consonantClass(c)) {
                if (k != prev) code[n++] = k;
                prev = k;
            } else if (isVowelLike(c)) {
                // Only the field's first position codes a vowel, even if it is blank.
                if (i == 0) {
                    code[n++] = 'A';
                    prev = 'A';
                } else {
                    prev = ' ';
                }
            } else if (c >= '0' && c <= '9') {
                code[n++] = static_cast<char>(c);
                prev = ' ';
            } else {
                prev = ' ';
            }
            if (blankFrom(work, i + 1, kWork)) break;
        }
    }
    std::memset(out, ' ', static_cast<size_t>(len));
    std::memcpy(out, code, static_cast<size_t>(n < len ? n : len));
    out[len] = '\0';
}

void SoundEx2(const char* in, char* out, int len) {
    if (len < 0) len = 0;
    if (len > kWork) len = kWork;
    fixedString<kWork> work;
    work.cpyIn(in);
    work.upper();
    fixedString<kWork> code;

    unsigned char first = static_cast<unsigned char>(work.buf[0]);
    code.buf[0] = work.buf[0];
    // A first letter is itself the previous code (so "BB" gives "B"); any other
    // first byte leaves it blank. The letter, not its class, is what is kept.
    char prev = (first >= 'A' && first <= 'Z') ? static_cast<char>(first) : ' ';
    int n = 1;
    for (int i = 1; i < kWork && !blankFrom(work.buf, i, len); ++i) {
        unsigned char c = static_cast<unsigned char>(work.buf[i]);
        if (c == ' ') continue;
        if (char k = consonantClass(c)) {
            if (k != prev) code.buf[n++] = k;
            prev = k;
        } else {
            prev = ' ';
        }
    }
    if (n == 1) {
        // Nothing behind the first byte: the input comes back as it was.
        size_t m = strnlen(in, static_cast<size_t>(len));
        std::memcpy(out, in, m);
        if (m < static_cast<size_t>(len)) out[m] = '\0';
        return;
    }
    std::memcpy(out, code.buf, static_cast<size_t>(len));
}

// Three tables of name equivalents, each line a key and a value at fixed
// columns. The line buffer is reused from line to line and an empty line copies
// nothing into it, so a blank line repeats the pair before it.
namespace {

template <int W, int K>
void loadPairs(const QvbString& path, std::vector<QvbString>& lines, int valueCol,
               std::multimap<fixedString<K>, fixedString<K>>& table) {
    int err = 0;
    if (!readTextLineFile(path.asCstr(), lines, err)) throw fio_file_error(1040, path.asCstr());
    fixedString<W> line;
    for (const QvbString& text : lines) {
        line.cpyIn(text.asCstr(), text.length());
        fixedString<K> key;
        fixedString<K> value;
        key.cpyIn(line.buf, W, 0, K);
        value.cpyIn(line.buf, W, valueCol, K);
        table.emplace(key, value);
    }
}

}  // namespace

void CNCOA_DataTables::readNameNormalizationTables() {
    std::vector<QvbString> lines;
    loadPairs<32>(getNormalFPath(), lines, 16, normalFirst);
    loadPairs<42>(getNormalLPath(), lines, 21, normalLast);
    loadPairs<32>(getNickLstPath(), lines, 16, nickNames);
}

}  // namespace QV_NCOA
