// One hash of every spelling the verifier knows: each word (or words joined by
// one blank) leads to its standard form in each table it belongs to. Built
// once per process from the compiled-in tables and only read afterwards.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qvav {

struct WordInfo {
    const char* suffix = nullptr;      // standard suffix abbreviation
    const char* unit = nullptr;        // standard unit designator
    const char* direction = nullptr;   // N S E W NE NW SE SW
    const char* state = nullptr;       // two-letter code
    const char* ordinal = nullptr;     // "1ST", or a tens word's "20"
    std::uint32_t keywords = 0;        // bit k: a spelling of keyword line k
    bool unitNeedsNumber = false;
    bool stateIsName = false;          // spelled as a name, not the code itself
};

// The keyword lines of keywords.txt, by their standard form.
enum Keyword : unsigned {
    KW_POBOX,
    KW_RR,
    KW_HC,
    KW_PSC,
    KW_CMR,
    KW_UNIT,
    KW_URB,
    KW_HIGHWAY,
    KW_COUNTY_ROAD,
    KW_STATE_ROAD,
    KW_STATE_ROUTE,
    KW_STATE_HIGHWAY,
    KW_US_HIGHWAY,
    KW_INTERSTATE,
    KW_ROUTE,
    KW_FARM_ROAD,
    KW_RANCH_ROAD,
    KW_GENERAL_DELIVERY,
    KW_COUNT
};

class Words {
public:
    // The process-wide table (built on first use, thread-safe).
    static const Words& get();
    // Info of a word of len characters, or null when it is in no table.
    const WordInfo* find(const char* word, std::size_t len) const;
    // Standard form of keyword k ("PO BOX", "RR", ...).
    const char* keyword(unsigned k) const { return k < KW_COUNT ? keywordNames[k] : ""; }

private:
    Words();
    struct Slot {
        const char* key = nullptr;
        std::uint32_t len = 0;
        std::uint32_t hash = 0;
        WordInfo info;
    };
    WordInfo& add(const char* word, std::size_t len);
    static std::uint32_t hashOf(const char* s, std::size_t len);

    Slot* slots = nullptr;
    std::size_t mask = 0;
    char* pool = nullptr;   // the keys and standard forms
    std::size_t poolUsed = 0, poolSize = 0;
    const char* keywordNames[KW_COUNT] = {};
    const char* store(const char* s, std::size_t len);
};

}  // namespace qvav
