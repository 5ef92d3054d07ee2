// Word tables of the business-name comparison: junk words, common firm words
// (half weight) and the abbreviation/digit replacements, with the search
// structures the data object keeps of the last two.
#pragma once

#include <cstddef>
#include <cstring>
#include <map>
#include <set>

#include "NCOA_Utils.h"
#include "fixedString.h"
#include "qvb_string.h"

namespace QV_NCOA {

enum { kJunkWordRows = 43, kFirmWordRows = 1000, kWsWordRows = 1865 };

extern const char junkWords[kJunkWordRows][22];
extern const char firmWordList[kFirmWordRows][22];
extern const char wsWordList[kWsWordRows][42];

// A common word as a set key: up to 21 bytes of text and a NUL.
struct firmWordStruct {
    char word[22];

    // From a 22-byte table row.
    explicit firmWordStruct(const char (&row)[22]) : firmWordStruct(row, 21) {}
    // From a text: at most len bytes, and never more than 21, stopping at a NUL.
    firmWordStruct(const char* text, size_t len) {
        size_t n = strnlen(text, len < 21 ? len : 21);
        std::memcpy(word, text, n);
        std::memset(word + n, ' ', 21 - n);
        word[21] = '\0';
    }

    // Reversed strcmp_itsp: words of one length that differ only in their last
    // letter are the same key. The comparison relies on that; keep it.
    bool operator<(const firmWordStruct& o) const { return strcmp_itsp(o.word, word) < 0; }
};

// Fills the replacement map (key: the 20 padded bytes of the row) and then the
// set of common words, each in table order.
void buildCompStrWWordMaps(std::set<firmWordStruct>& firmWords, std::map<QvbString, fixedString<20>>& wsWords);

}  // namespace QV_NCOA
