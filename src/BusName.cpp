#include "BusName.h"

#include <cstdint>
#include <cstring>

#include "CompStrW.h"
#include "NCOA_Utils.h"
#include "SoundEx.h"
#include "hx_fio.h"

namespace QV_NCOA {

namespace {

// Up to 80 bytes of text (to its NUL) into a blank 80-byte field with a NUL.
void toField(const char* text, char* field) {
    std::memset(field, ' ', CNCOA_BusinessNameBase::kTextLen);
    field[CNCOA_BusinessNameBase::kTextLen] = '\0';
    std::memcpy(field, text, ncoa_strnlen(text, CNCOA_BusinessNameBase::kTextLen));
}

unsigned short symbolOf(unsigned char c) {
    unsigned char cls = hx_uchar_astype_table[c];
    if (cls & HX_CT_DIGIT) {
        if (c >= '0' && c <= '9') return static_cast<unsigned short>(c - 21);
    } else if (cls & HX_CT_ALPHA) {
        unsigned char u = (c >= 'a' && c <= 'z') ? static_cast<unsigned char>(c - 'a' + 'A') : c;
        if (u >= 'A' && u <= 'Z') return static_cast<unsigned short>(u - 64);
    }
    // Anything else, or a class-table letter outside A-Z, has no cell of its own.
    return 0;
}

void toSymbols(const char* text, unsigned short* codes) {
    for (int i = 0; i < CNCOA_BusinessNameBase::kCodedLen; ++i) codes[i] = symbolOf(static_cast<unsigned char>(text[i]));
}

}  // namespace

double roundScore4(double score) { return static_cast<int32_t>((score + 0.00005) * 10000) / 10000.0; }

// ---------------------------------------------------------------------------

CNCOA_BusinessNameBase::CNCOA_BusinessNameBase()
    : singleOne_(tableOne_ + 1),
      pairOne_(tableOne_ + kPairBase),
      singleTwo_(tableTwo_ + 1),
      pairTwo_(tableTwo_ + kPairBase) {
    // The tables are zeroed by each doString step, which always runs before
    // Kountem; only the caches must start empty, so that the first text of
    // each side is counted.
    std::memset(cachedOne_, 0, sizeof cachedOne_);
    std::memset(cachedTwo_, 0, sizeof cachedTwo_);
}

void CNCOA_BusinessNameBase::convertToBinaryOne(const char* text, unsigned short* codes) { toSymbols(text, codes); }

void CNCOA_BusinessNameBase::convertToBinaryTwo(const char* text, unsigned short* codes) { toSymbols(text, codes); }

double CNCOA_BusinessNameBase::compareStrings(const char* one, const char* two) {
    if (std::strcmp(one, two) == 0) return 1.0;
    if (isSpaces(one) || isSpaces(two)) return 0.0;

    char a[kTextLen + 1];
    char b[kTextLen + 1];
    toField(one, a);
    toField(two, b);
    // A repeated text keeps its counts from the call before.
    if (std::memcmp(a, cachedOne_, kTextLen) != 0) {
        doStringOne(a);
        std::memcpy(cachedOne_, a, sizeof a);
    }
    if (std::memcmp(b, cachedTwo_, kTextLen) != 0) {
        doStringTwo(b);
        std::memcpy(cachedTwo_, b, sizeof b);
    }
    int matches = 0;
    int total = 0;
    Kountem(matches, total);
    // Only utqs41c0 can get here with nothing counted (two texts of
    // punctuation alone): that is no likeness, not a division by zero.
    if (total == 0) return 0.0;
    return roundScore4(static_cast<double>(matches) / total);
}

void CNCOA_BusinessNameBase::countText(const char* text, unsigned short* table, bool pairs, bool first) {
    std::memset(table, 0, sizeof(unsigned short) * kCells);
    char buf[kCodedLen];
    buf[0] = ' ';
    std::memcpy(buf + 1, text, kTextLen);
    buf[kCodedLen - 1] = ' ';
    unsigned short sym[kCodedLen];
    if (first)
        convertToBinaryOne(buf, sym);
    else
        convertToBinaryTwo(buf, sym);

    // Last non-blank position of the buffer, 0 for a blank text.
    int last = 0;
    for (int i = kCodedLen - 1; i > 0; --i)
        if (buf[i] != ' ') {
            last = i;
            break;
        }
    if (last == 0) return;

    // Singles over positions 1 to the last non-blank: inner blanks count as 0.
    unsigned short* single = table + 1;
    for (int i = 1; i <= last; ++i) ++single[sym[i]];
    if (!pairs) return;

    // Pairs from the leading blank on, so the first letter pairs with 0; none
    // after the last non-blank.
    unsigned short* pair = table + kPairBase;
    for (int i = 0; i + 1 <= last; ++i) {
        unsigned a = sym[i];
        unsigned b = sym[i + 1];
        pair[b + a * kSymbols + 1] += (a == 0 || b == 0) ? 1 : 2;
        if (a != b) ++pair[a + b * kSymbols + 1];
    }
}

// ---------------------------------------------------------------------------

void CNCOA_BusinessName_utas41c0::doStringOne(char* text) { countText(text, tableOne_, true, true); }

void CNCOA_BusinessName_utas41c0::doStringTwo(char* text) { countText(text, tableTwo_, true, false); }

void CNCOA_BusinessName_utas41c0::Kountem(int& matches, int& total) {
    matches = 0;
    total = 0;
    // Singles of symbols 0 to 35; the single of "9" shares its cell with the
    // pair part's unused cell 0 and is left out.
    countCells(tableOne_, tableTwo_, 1, 36, matches, total);
    // Every pair but (36, 36), the last cell.
    countCells(pairOne_, pairTwo_, 1, 1368, matches, total);
}

void CNCOA_BusinessName_utqs41c0::doStringOne(char* text) { countText(text, tableOne_, false, true); }

void CNCOA_BusinessName_utqs41c0::doStringTwo(char* text) { countText(text, tableTwo_, false, false); }

void CNCOA_BusinessName_utqs41c0::Kountem(int& matches, int& total) {
    matches = 0;
    total = 0;
    // Singles of symbols 1 to 36: no blanks, no punctuation, "9" included.
    countCells(singleOne_, singleTwo_, 1, 36, matches, total);
}

// ---------------------------------------------------------------------------

CNCOA_BusinessName_utas31c0::CNCOA_BusinessName_utas31c0(const CNCOA_DataTables& tables)
    : lastScore_(0.0), tables_(&tables) {
    std::memset(cachedOne_, 0, sizeof cachedOne_);
    std::memset(cachedTwo_, 0, sizeof cachedTwo_);
}

double CNCOA_BusinessName_utas31c0::compareStrings(const char* one, const char* two) {
    if (std::strcmp(one, two) == 0) return 1.0;
    if (isSpaces(one) || isSpaces(two)) return 0.0;

    char a[kTextLen + 1];
    char b[kTextLen + 1];
    toField(one, a);
    toField(two, b);
    if (std::memcmp(a, cachedOne_, kTextLen) == 0 && std::memcmp(b, cachedTwo_, kTextLen) == 0) return lastScore_;

    int count1 = 0;
    int count2 = 0;
    for (int i = 0; i < kTextLen; ++i) {
        count1 += a[i] != ' ';
        count2 += b[i] != ' ';
    }
    // Both counts are above 0 for texts of at most 80 bytes; the test covers
    // a longer text whose first 80 bytes are blank.
    int longer = count1 < count2 ? count2 : count1;
    double ratio = longer == 0 ? 0.0 : static_cast<double>(count1 < count2 ? count1 : count2) / longer;

    double w = CCompStrW(*tables_).compareStrings(a, b);

    double g = 0.0;
    if (w < 1.0) {
        CNCOA_BusinessName_utas41c0 letters;
        g = letters.compareStrings(a, b);
        if (g < 0.9) {
            char codeA[kTextLen + 1];
            char codeB[kTextLen + 1];
            SoundEx(a, codeA, kTextLen);
            SoundEx(b, codeB, kTextLen);
            double h = letters.compareStrings(codeA, codeB);
            if (h > g) g = (h + g) * 0.5;
        }
    }

    double s = w;
    if (w != 1.0) s = (w * 6.0 + 4.0 * g) / 10.0;
    // A short name inside a long one: the word score is dropped outright.
    if (s > ratio && s != 1.0) s = (ratio * 1.0 + g * 9.0) / 10.0;

    std::memcpy(cachedOne_, a, sizeof a);
    std::memcpy(cachedTwo_, b, sizeof b);
    lastScore_ = s;
    return s;
}

}  // namespace QV_NCOA
