// The world a data set is written from: places, address ranges, filings and
// the side tables, read from a JSON description. Everything is kept as the
// text the USPS files use (upper case, digits as characters); the parser checks
// widths and alphabets so the encoders can rely on them.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Encoding.h"

namespace qvw {

// What goes into the two disc headers and how big the bit tables are.
struct DataSetInfo {
    std::string name = "NCOALINK HASH DATA SET"; // up to 50 characters
    char setLetter = 'A';                        // A, C or E: the hash kinds
    char typeMark = 'N';                         // second type character, carried for information
    int sequence = 1;
    std::string releaseDate;                     // YYYYMMDD; empty means today
    std::string cutoffDate;                      // YYYYMMDD; empty means the release date
    std::string expiryDate;                      // YYYYMMDD; empty means release date + 45 days
    std::uint32_t filterBytes = 4096;            // minimum size of clk.<l>.hs0, a power of two
    std::uint32_t stripeBytes = 4096;            // minimum size of clk.<l>.hs1 to hs9
    std::uint32_t bitTableBytes = 4096;          // size of clk.hsb and dph.hsa
    std::string contentsLetters;                 // 100 letters, one per ZIP group; empty: spread evenly
};

// A ZIP and a last-line number with their city (czp.dat, cln.dat).
struct Place {
    std::string zip;       // 5 digits
    std::string state;     // 2 letters
    std::string city;      // up to 28
    std::string cityShort; // up to 13; empty means the city cut to 13
    std::string lastLine;  // 6 characters; empty: the place has no cln.dat row
};

// One ZIP+4 range of delivery addresses (one rv9.esd record).
struct AddressRange {
    std::string zip;                 // 5 digits
    std::string addonLow, addonHigh; // 4 digits each
    char recordType = 'S';           // F G H P R S or blank
    std::string primaryLow, primaryHigh;
    char primaryParity = ' ';        // B E O or blank
    std::string preDir, postDir;     // E N NE NW S SE SW W or empty
    std::string street;              // up to 28
    std::string suffix;              // up to 4
    std::string designator;          // up to 4
    std::string secondaryLow, secondaryHigh;
    char secondaryParity = ' ';
    std::string carrierRoute;        // up to 4
    std::string lastLine;            // up to 6
};

// A verified delivery address, as the library receives it.
struct Address {
    std::string zip9;       // 9 digits, or 5 digits and 4 blanks
    std::string primary;    // up to 10
    std::string designator; // up to 4
    std::string secondary;  // up to 8
};

struct PersonName {
    std::string prefix, first, middle, last, suffix;
    char gender = 'U'; // M F U
};

// One change-of-address filing.
struct Filing {
    enum class Kind { Individual, Family, Business };
    Kind kind = Kind::Individual;
    PersonName name;          // individual and family (family: last name only)
    std::string business;     // business filings: the firm name, up to 40
    Address from;             // old address
    std::string toZip11;      // new ZIP, add-on, delivery point; empty: no new address
    std::string hint;         // entry of hint.lst, up to 7; empty: none
    std::string moveDate;     // YYYYMM
    bool dropFlag = false;
    bool nameFlag = false;
};

// An address key is given either as an address (encoded with the EMDP rules)
// or, for tests of the side tables, directly as hexadecimal bytes.
struct KeySource {
    std::optional<Address> address;
    Bytes rawKey; // exact bytes when given
};

struct BusinessEntry {
    KeySource at;
    std::string name; // up to 40, upper case
};

struct DailyDelete {
    KeySource at;
    int sequence = 0; // 0 to 9999
};

struct LcdReplacement {
    std::string zip9;     // 9 digits
    unsigned value = 0;   // 0 to 9999
};

struct Urbanization {
    std::string zip9;
    std::string name;     // up to 28
};

struct LeftRight {
    std::string zip9;
    char side = 'R';
};

struct X11Entry {
    std::string code; // 11 digits
    std::string alt;  // 11 characters, carried along
};

struct NameRuleLine {
    bool left = false, middle = false, right = false;
    std::string from, to; // up to 8 each, upper case; `to` not blank
};

// Name lists; an absent list takes the writer's built-in one.
struct NameLists {
    std::optional<std::vector<NameRuleLine>> rules;
    std::optional<std::vector<std::pair<std::string, std::string>>> normalFirst, normalLast, nicknames;
    std::optional<std::vector<std::pair<std::string, char>>> genders;
    std::optional<std::vector<std::string>> noFirst, noLast;
};

struct World {
    DataSetInfo dataset;
    std::vector<Place> places;
    std::vector<AddressRange> ranges;
    std::vector<Filing> filings;
    std::vector<BusinessEntry> businesses;
    std::vector<DailyDelete> dailyDeletes;
    std::vector<LcdReplacement> lcd;
    std::vector<Urbanization> urbanizations;
    std::vector<std::string> hints;
    std::vector<LeftRight> leftRight;
    std::vector<X11Entry> x11;
    NameLists names;
};

// The filings and address ranges of a world handed out one at a time, for
// worlds too big to hold as text (national scale). Every walk visits all of
// them, in the same order each time.
class WorldStream {
public:
    virtual ~WorldStream() = default;
    virtual std::size_t filingCount() const = 0;
    virtual void forEachFiling(const std::function<void(std::size_t, const Filing&)>& visit) const = 0;
    virtual void forEachRange(const std::function<void(const AddressRange&)>& visit) const = 0;
};

// The stream of a world's own vectors.
class WorldVectors : public WorldStream {
public:
    explicit WorldVectors(const World& world) : world_(world) {}
    std::size_t filingCount() const override { return world_.filings.size(); }
    void forEachFiling(const std::function<void(std::size_t, const Filing&)>& visit) const override {
        for (std::size_t i = 0; i < world_.filings.size(); ++i)
            visit(i, world_.filings[i]);
    }
    void forEachRange(const std::function<void(const AddressRange&)>& visit) const override {
        for (const AddressRange& r : world_.ranges)
            visit(r);
    }

private:
    const World& world_;
};

// A date as YYYYMMDD (withDay) or YYYYMM, with a month 1-12 and a day 1-31.
bool validDate(const std::string& date, bool withDay);

// Parses and checks a world. Errors name the JSON path, e.g. "ranges[2].zip".
World parseWorld(const std::string& jsonText);
World loadWorld(const std::string& path);

} // namespace qvw
