// Synthetic worlds for tests and benchmarks: N filings with realistic names at
// addresses of a generated street grid, written straight into a World (no
// JSON), and a mailing list against them whose outcome is known in advance.
//
// The street grid: ZIPs spread over all hundred ZIP groups; in each ZIP a few
// streets of a few blocks, every block face one ZIP+4 range of 50 house
// numbers of one parity (1200-1298 even, 1201-1299 odd), so that the two-digit
// delivery point names one house; now and then an apartment building, one
// high-rise range whose units 1 to 48 carry the delivery point. Every filing
// moves from one address of the grid to another, so the library can rebuild
// each new address from its 11-digit code.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "World.h"

namespace qvw {

struct SynthOptions {
    std::size_t filings = 10000;
    std::uint64_t seed = 1;
    // Folder of given_names.txt and surnames.txt (and the parser's word lists,
    // whose words are kept out of names); empty: the built-in short lists.
    std::string nameListDir;
    std::string releaseDate; // YYYYMMDD; empty: today
};

// What the generator made, in numbers.
struct SynthSummary {
    std::size_t zips = 0, ranges = 0, addresses = 0;
    std::size_t individuals = 0, families = 0, businesses = 0;
    std::size_t dropped = 0, coded = 0; // drop flag set; a code instead of a new address
};

// One row of a synthetic mailing list and the answer it should get.
struct SynthListRecord {
    enum class Kind {
        Hit,          // a filing's name and old address, as filed
        VariantHit,   // the same, the first name as a nickname or the middle left out
        Coded,        // a filing without new address: its code comes back
        WrongHouse,   // a filer's name at a house of the same block with no filing
        OtherName,    // another name at a filer's old address
        MiddleClash,  // a filer's name with another middle initial: rejected ("12")
        Miss,         // a name at an address with no filing
    };
    Kind kind = Kind::Miss;
    std::string id, name, company, primary, street, designator, secondary, city, state, zip, zip4;
    char recordType = 'S';
    std::string expectedCode; // "A", "91", "00", "12", "19", ...
};

// The rows' expected outcome, and the share of found ones. A record counts as
// found when its expected code carries a new address: "A", "91" or "92".
struct SynthListSummary {
    std::size_t records = 0, found = 0;
    std::size_t byKind[7] = {};
    double foundRate() const { return records ? static_cast<double>(found) / static_cast<double>(records) : 0; }
};

class SynthGenerator {
public:
    explicit SynthGenerator(const SynthOptions& options);
    ~SynthGenerator();
    SynthGenerator(const SynthGenerator&) = delete;
    SynthGenerator& operator=(const SynthGenerator&) = delete;

    // The world: places, ranges, filings, name lists. Built on the first call.
    const World& world();
    // The same without its filings and ranges, which stream() hands out one
    // at a time from a compact form (32 bytes a filing): what writes a set of
    // national size (DataSetWriter's stream constructor). Much less memory
    // than world(), which makes them all as text.
    const World& base();
    const WorldStream& stream();
    const SynthSummary& summary();

    // `records` list rows, of which about `hitRate` are found (hits and
    // variant hits); the rest are coded filings, near misses and misses. The
    // same seed gives the same list. Needs the world.
    std::vector<SynthListRecord> makeList(std::size_t records, double hitRate, std::uint64_t seed);

    // How the list writes addresses. Split: the columns of a verified list
    // (primary number, street, unit, city, state, ZIP, ZIP4, record type).
    // Free: an address line and a last line as people type them, the same
    // address in other spellings: suffixes and directionals spelled out or
    // abbreviated, mixed case, "Apt", "#", commas, state names, mostly
    // without ZIP+4.
    enum class AddressStyle { Split, Free };

    // CSV of the list in the given style; returns the summary. The same rows
    // give the same file. Throws WriterError when the file can't be written.
    static SynthListSummary writeList(const std::vector<SynthListRecord>& rows, const std::string& path,
                                      AddressStyle style = AddressStyle::Split);
    // The free-form address line and last line of a row.
    static void freeFormAddress(const SynthListRecord& row, std::string& addressLine, std::string& lastLine);
    static SynthListSummary summarise(const std::vector<SynthListRecord>& rows);

    // True for the codes counted as found: "A", "91", "92".
    static bool isFoundCode(const std::string& code);
    static const char* kindName(SynthListRecord::Kind kind);

private:
    struct Impl;
    Impl* impl_;
};

} // namespace qvw
