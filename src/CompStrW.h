// Word-wise comparison of two business names, 0.0 to 1.0: both names are
// cleaned, split into at most eight or nine words, abbreviations replaced,
// junk words dropped and common words given half weight; then every word of
// one name is matched against every word of the other.
#pragma once

#include <cstring>
#include <vector>

namespace QV_NCOA {

class CNCOA_DataTables;

// Word normaliser of the comparison. in must be exactly 80 bytes; out (81
// bytes) receives 80 bytes and a NUL: letters and digits only, one blank
// between words, single letters spelled apart joined ("A B C CO" -> "ABC CO",
// at most six in one place). False, with out[0] NUL, for any other length.
bool squeeze(const char* in, char* out);

// One word: 40 bytes blank-padded, a NUL, and the weight flag (1 full, 0 for
// a common word).
struct unstringStuffEl {
    enum { kWordLen = 40 };
    char word[kWordLen];
    char nul;
    unsigned char weight;
    unstringStuffEl() : nul('\0'), weight(1) { std::memset(word, ' ', sizeof word); }
};

class CCompStrW {
public:
    enum { kTextLen = 80, kMaxWords = 9 };

    struct unstringStuffStruct {
        std::vector<unstringStuffEl> one;
        std::vector<unstringStuffEl> two;
    };

    // True for a word equal (trailing blanks and the last letter aside) to a
    // row of junkWords: so every one-letter word is junk, and "ANY" with "AND".
    class CIsJunkWord {
    public:
        bool operator()(const unstringStuffEl& el) const;
    };

    explicit CCompStrW(const CNCOA_DataTables& tables) : tables_(&tables) {}

    // Both texts exactly 80 bytes, blank-padded, NUL-terminated. Throws
    // qvncoa_exception 1011 when the word maps were never built.
    double compareStrings(const char* one, const char* two);

    // Opens fused words at the first letter/digit boundary (ordinals stay
    // whole). text and scratch are 80-byte fields.
    void splitString(char* text, char* scratch);
    void tokenizeUnstring(const char* text, std::vector<unstringStuffEl>& words);
    void replaceWordlist(std::vector<unstringStuffEl>& words);
    void removeJunkWords(std::vector<unstringStuffEl>& words);
    void tagCommonWords(std::vector<unstringStuffEl>& words);
    void breakoutWords(char* one, char* two, unstringStuffStruct& lists);
    int countCommonWords(const std::vector<unstringStuffEl>& words);
    double tryInitials(const std::vector<unstringStuffEl>& single, const std::vector<unstringStuffEl>& many);
    double doRest(unstringStuffStruct& lists, double& initials);

private:
    const CNCOA_DataTables* tables_;
};

}  // namespace QV_NCOA
