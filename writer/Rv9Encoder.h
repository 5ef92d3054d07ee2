// The RV9 address data: each address range becomes one 26-byte rv9.esd record
// whose three packed words are mixed-radix numbers of indexes into seven
// dictionaries of packed text (pno, dsc, sno, suf, nam, crd, lln).
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "World.h"

namespace qvw {

// One dictionary: its entry width in characters and its entries; a range's
// digit k names entry k - 1, and 0 stands for blank.
struct Rv9Dictionary {
    std::size_t chars = 0;
    std::size_t limit = 0; // the radix of its digit: at most limit - 1 entries
    std::vector<std::string> entries;

    // Index of `text` (1-based), or 0 for a blank text.
    std::uint64_t indexOf(const std::string& text) const;
    // File image; an empty dictionary still gets one blank entry, as the
    // reader refuses an empty file.
    Bytes fileImage() const;
};

struct Rv9Record {
    std::uint32_t key = 0; // ZIP+4 as a number
    std::uint64_t a = 0, b = 0, c = 0;
};

struct Rv9Data {
    Rv9Dictionary pno{10, 420000, {}}, dsc{4, 25, {}}, sno{8, 200000, {}}, suf{4, 210, {}},
        nam{28, 0, {}}, crd{4, 2000, {}}, lln{6, 35000, {}};
    std::vector<Rv9Record> records; // sorted by key, equal keys in world order

    // File image of rv9.esd: the unsearched record 0, the records, the end mark.
    Bytes esdImage() const;
};

// Builds dictionaries and records from the world's ranges, walked twice.
// Throws WriterError when a dictionary outgrows its digit.
Rv9Data encodeRanges(const WorldStream& ranges);

// Values of the small fixed lists, 0 for blank: "FGHPRS", the directionals
// E N NE NW S SE SW W, and "BEO".
unsigned recordTypeDigit(char type);
unsigned directionDigit(const std::string& dir);
unsigned parityDigit(char parity);

} // namespace qvw
