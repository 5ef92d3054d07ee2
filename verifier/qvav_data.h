// The address ranges of an NCOALink data set, read once and indexed by ZIP and
// street for confirming parsed addresses. Immutable once built: contexts on
// the same data root share one instance, and lookups lock nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "qvav_parse.h"

namespace qvav {

// Open failures: a status of the 1000 family and the text for errorText.
struct DataError : std::runtime_error {
    DataError(int c, const std::string& text) : std::runtime_error(text), code(c) {}
    int code;
};

// A house or unit number in the pieces ranges are compared on: letters in
// front, the figures, what follows ("A12", "12B", "0000001234").
struct HouseKey {
    std::uint32_t value = 0;
    char pre[4] = {};
    char post[8] = {};
    bool digits = false;
    bool blank = true;
};
void makeHouseKey(const char* s, std::size_t len, HouseKey& out);
int compareHouse(const HouseKey& a, const HouseKey& b);

// One rv9.esd record unfolded into its dictionary indexes (0 blank).
struct Range {
    std::uint32_t zip5 = 0;
    std::uint32_t name = 0;
    std::uint32_t pnoLo = 0, pnoHi = 0, snoLo = 0, snoHi = 0;
    std::uint16_t addonLow = 0, addonHigh = 0;
    std::uint16_t suf = 0, crd = 0, lln = 0;
    std::uint8_t dsc = 0, pre = 0, post = 0, type = 0, pparity = 0, sparity = 0;
};

// Why an address was not confirmed, or how it was.
enum Reason {
    R_EXACT = 0,
    R_CORRECTED = 1,
    R_ZIP_CORRECTED = 2,
    R_ZIP_MISSING = 11,
    R_ZIP_UNKNOWN = 12,
    R_STREET_NOT_FOUND = 13,
    R_NUMBER_OUT_OF_RANGE = 14,
    R_NUMBER_MISSING = 15,
    R_UNIT_MISSING = 16,
    R_UNIT_NOT_FOUND = 17,
    R_AMBIGUOUS = 18,
    R_NO_DATA = 19,
    R_EMPTY = 21,
    R_UNUSABLE = 22,
    R_NO_STREET = 23,
};

struct Outcome {
    const Range* range = nullptr;  // the range that holds the address; null: not confirmed
    unsigned addon = 0;            // its ZIP+4 add-on
    bool buildingDefault = false;  // a high-rise's default range, not the unit's
    int reason = R_EXACT;
};

class AddressData {
public:
    // The data of root, shared with other contexts already open on it.
    static std::shared_ptr<const AddressData> open(const std::string& root);
    explicit AddressData(const std::string& root);  // throws DataError

    Outcome confirm(const Parsed& p) const;

    // Texts of a range, blank-trimmed.
    const char* predir(const Range& r) const { return dirText(r.pre); }
    const char* postdir(const Range& r) const { return dirText(r.post); }
    const char* street(const Range& r) const { return nam.at(r.name); }
    const char* suffix(const Range& r) const { return suf.at(r.suf); }
    const char* designator(const Range& r) const { return dsc.at(r.dsc); }
    const char* carrierRoute(const Range& r) const { return crd.at(r.crd); }
    char recordType(const Range& r) const { return r.type ? "FGHPRS"[r.type - 1] : ' '; }
    // City and state of a range (by its last-line number, else its ZIP); false if unknown.
    bool place(const Range& r, const char*& city, const char*& state) const;
    bool placeOfZip(std::uint32_t zip5, const char*& city, const char*& state) const;

    std::size_t rangeCount() const { return ranges.size(); }
    std::size_t memoryBytes() const;
    // Dates of the two disc headers: [disc][0 release, 1 cutoff, 2 expiry] as YYYYMMDD, 0 unknown.
    std::uint32_t headerDate(int disc, int which) const { return dates[disc][which]; }

private:
    struct Dict {
        unsigned width = 0;
        std::vector<char> text;  // entries of width + 1 bytes, trimmed and NUL-ended
        std::size_t count = 0;
        const char* at(std::uint32_t k) const { return k && k <= count ? &text[(k - 1) * (width + 1)] : ""; }
    };
    struct Place {
        std::uint32_t key = 0;  // ZIP, or the row of a last-line number
        char state[3] = {};
        char city[29] = {};
    };
    static const char* dirText(unsigned d);
    void readDict(const std::string& path, unsigned width, Dict& d);
    void readRanges(const std::string& path);
    void readPlaces(const std::string& root);
    void readHeaders(const std::string& root);
    int matchStreet(const Parsed& p, std::uint32_t zip5, const char* name, Outcome& out, int& bestReason) const;

    Dict pno, dsc, sno, suf, nam, crd, lln;
    std::vector<HouseKey> pnoKeys, snoKeys;
    std::vector<Range> ranges;  // by ZIP, then street name
    std::vector<std::uint32_t> zipStart;  // ZIP -> its first range; ZIP + 1 ends it
    std::unordered_map<std::string_view, std::uint32_t> nameIndex;
    std::vector<Place> zipPlaces;  // by ZIP
    std::vector<Place> llnPlaces;  // by lln dictionary index
    std::unordered_multimap<std::string_view, std::uint32_t> cityZips;  // city -> ZIP (zipPlaces row)
    std::uint32_t dates[2][3] = {};
};

}  // namespace qvav
