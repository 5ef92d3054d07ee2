// Turns a coded move result (ZIP, add-on, delivery point, and a hint) into a
// complete new address: the ranges of the ZIP+4 are read from rv9.esd and
// unfolded, exploded into delivery points, narrowed to one candidate and
// formatted into an address line and a last line.
#pragma once

#include <cstdint>
#include <vector>

#include "BinFileUtils.h"
#include "fixedString.h"

namespace QV_NCOA {

class CNCOA_DataTables;

// A candidate new address and, at the end of getNewAddress, its result.
struct RV9AnswerRecord {
    char resultCode;  // 'u' unresolved, '+' complete, 'a' ambiguous
    char spare;
    fixedString<10> primaryNumber;
    fixedString<2> preDirectional;
    fixedString<28> streetName;
    fixedString<4> suffix;
    fixedString<2> postDirectional;
    fixedString<4> secondaryDesignator;  // unit word of the range, or "#"
    fixedString<8> secondaryNumber;      // unit number, or a designator word
    fixedString<50> addressLine;
    fixedString<28> city;
    fixedString<2> state;
    fixedString<12> zip;  // 11 digits and a check character
    fixedString<13> spareText;
    fixedString<50> lastLine;
    fixedString<4> carrierRoute;

    RV9AnswerRecord() : resultCode('u'), spare(' ') {}
    // Whole-field copies: unlike fixedString's own assignment, no tail survives.
    RV9AnswerRecord(const RV9AnswerRecord& o) { copyFrom(o); }
    RV9AnswerRecord& operator=(const RV9AnswerRecord& o) {
        if (this != &o) copyFrom(o);
        return *this;
    }

    void init();
    // spare and the 14 texts; resultCode takes no part.
    bool operator==(const RV9AnswerRecord& o) const;
    // Equal to a fresh record, whatever resultCode holds.
    bool isSpaces() const;

private:
    void copyFrom(const RV9AnswerRecord& o);
};

// One address of an exploded range.
struct deliveryPoint {
    fixedString<10> primaryNumber;
    fixedString<8> secondaryNumber;
};

// One rv9.esd record unfolded into its texts.
struct exp97 {
    uint32_t addonLow = 0;
    uint32_t addonHigh = 0;
    fixedString<10> primaryLow;
    fixedString<10> primaryHigh;
    char primaryParity = 0;
    fixedString<4> secondaryDesignator;
    fixedString<8> secondaryLow;
    fixedString<8> secondaryHigh;
    char secondaryParity = 0;
    fixedString<2> preDirectional;
    fixedString<28> streetName;
    fixedString<4> suffix;
    fixedString<2> postDirectional;
    fixedString<4> carrierRoute;
    fixedString<6> lastLineNumber;
    char recordType = 0;  // F G H P R S or blank
};

// Parity of a range (both, even, odd), record types, directionals; digit k of
// a record names entry k - 1, and 0 is blank.
extern const char beoLst[4];
extern const char rtyLst[7];
extern const char dirLst[8][3];

// The words that stand in a secondary number field and never take a number,
// tested in this order as a prefix of the field.
bool beginsWithDesignatorWord(const char* field);

// The working lists of one address build. Their storage outlives the engine
// that uses it, one set per thread, so that a lookup grows no list once the
// thread has seen its largest ZIP+4.
struct RV9Lists {
    std::vector<RV9AnswerRecord> filtered;
    std::vector<RV9AnswerRecord> candidates;
    std::vector<deliveryPoint> exploded;
    std::vector<exp97> expanded;
    std::vector<rv9Esd> esdHits;
    void clear() {
        filtered.clear();
        candidates.clear();
        exploded.clear();
        expanded.clear();
        esdHits.clear();
    }
};

class CNCOA_RV9 {
public:
    explicit CNCOA_RV9(const CNCOA_DataTables& t);
    virtual ~CNCOA_RV9();
    CNCOA_RV9(const CNCOA_RV9&) = delete;
    CNCOA_RV9& operator=(const CNCOA_RV9&) = delete;

    // code: 11 digits (ZIP, add-on, delivery point); hint: up to 8 characters,
    // blank or null when the result carries none. True when rec is complete.
    bool getNewAddress(const char* code, const char* hintIn, RV9AnswerRecord& rec);

    void reset();
    void do1000Process(RV9AnswerRecord& rec);
    void do1000FilterSec(RV9AnswerRecord& rec);

    // ZIP+9 expansion: all ranges of the code's ZIP+4, appended in file order.
    bool findAndExpandZip9Matches(const char* code, std::vector<exp97>& out);
    void expandZip9(const rv9Esd& rec, std::vector<exp97>& out);
    // count characters of base-40 packed text into dst; nothing terminated.
    static void decodeCompressedRecord(int count, const unsigned char* src, char* dst);

    // The delivery points of one range that carry the code.
    bool getExplodedRange(const char* code, exp97 rec, std::vector<deliveryPoint>& out);

    // Output formatting: delivery point verification without and with the
    // hint, the hint applied to one candidate, the winner formatted.
    void do2000FormatOutput(RV9AnswerRecord& rec);
    void do3000DPVNoHint(RV9AnswerRecord& rec);
    void do4000DPVHint(RV9AnswerRecord& rec);
    void do5000AddHint(RV9AnswerRecord& rec);

    // The working lists of the last lookup, for inspection.
    const std::vector<RV9AnswerRecord>& candidates() const { return candidateLst; }
    const std::vector<exp97>& expanded() const { return expandedLst; }

protected:
    const CNCOA_DataTables& tables;

private:
    void verifyCandidate(RV9AnswerRecord& rec);

    // The thread's lists when no other engine of the thread holds them (the
    // common case: one lookup at a time), else lists of this engine's own.
    RV9Lists ownLists;
    RV9Lists* lists;
    bool borrowed;
    std::vector<RV9AnswerRecord>& filteredLst;
    std::vector<RV9AnswerRecord>& candidateLst;
    std::vector<deliveryPoint>& explodedLst;
    std::vector<exp97>& expandedLst;
    std::vector<rv9Esd>& esdHits;  // scratch of findAndExpandZip9Matches
    fixedString<10> allZeros;
    fixedString<8> hint;
    fixedString<11> zip11;
    uint64_t candidateIndex = 0;
    bool hintVerified = false;
};

}  // namespace QV_NCOA
