// Filings into the hash sections. Each filing's 48-byte search key (EMDP and
// name) is hashed with SHA-1; nine bits of the digest go into the filter of
// its ZIP group's letter (clk.<l>.hs0), and its eight result bytes into the
// eight stripes (hs1 to hs8), each at the first free place of its walk along
// the digest stream. A place two keys want is marked 255 and both walk on.
//
// The result: a number in base 254 made of ZIP index, flags, move date,
// middle initials, gender and the six further digits of the new address; its
// seven digits (each plus 1, so that 0 stays free for an empty place) are
// shuffled by the permutation that the key selects, and the hint index is the
// eighth byte.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "Emdp.h"
#include "Encoding.h"
#include "World.h"

namespace qvw {

// A nine-probe bit table: probe k takes the big-endian word at digest byte
// 2k, its low bits pick the byte and its top three bits the bit, from the left.
class BitTable {
public:
    explicit BitTable(std::uint32_t bytes) : bits_(bytes, 0) {}
    void add(const Sha1Digest& digest);
    bool contains(const Sha1Digest& digest) const;
    // Share of set bits; a digest that is not in the table passes all nine
    // probes with about this to the ninth power.
    double fill() const;
    const Bytes& bytes() const { return bits_; }

private:
    Bytes bits_;
};

// A name field of `width` in the form the search hashes: its letters only,
// upper case, closed up, then rewritten by `rules` (left, middle, right
// parts of each rule in turn, in list order) until a whole pass changes
// nothing; blank-padded to `width`. A field of width 1 stays as it is.
std::string ruledName(const std::string& field, std::size_t width, const std::vector<NameRuleLine>& rules);

// The 48 bytes hashed for a filing: EMDP, then first name (15), last name
// (20) and a generational suffix (5), or the firm (40) as it stands. Names go
// through `rules`, the list written to rules.lst; a blank first name stays blank.
Bytes filingSearchKey(const Filing& filing, std::uint64_t emdp, const std::vector<NameRuleLine>& rules);

// Row r of the permutations of 1..7 in lexicographic order.
std::array<unsigned char, 7> permutationRow(unsigned r);

// Where a walk along a key's digest stream stands: the offset of its next
// read and the blocks it has made so far (bit b for block b).
struct WalkCursor {
    explicit WalkCursor(int stripe) : pos(static_cast<std::uint8_t>(stripe * 4 + 2)) {}
    std::uint8_t pos;
    std::uint8_t visible = 1;
};

// The 120-byte digest stream of one key: the key, then five blocks, each the
// SHA-1 of the one before, computed once when a walk first needs it.
class DigestStream {
public:
    explicit DigestStream(const Sha1Digest& key) { std::copy(key.begin(), key.end(), bytes_.begin()); }
    // The next place of the walk at `cursor` (masked); false past the stream's end.
    bool next(WalkCursor& cursor, std::uint32_t mask, std::uint32_t& place);

private:
    const unsigned char* block(int b);
    std::array<unsigned char, 120> bytes_{};
    std::uint8_t made_ = 1;
};

// Places one key's byte visits in stripe `stripe` (0..7) of `size` bytes, in
// order, as far as the 120-byte digest stream reaches.
std::vector<std::uint32_t> stripeWalk(const Sha1Digest& key, int stripe, std::uint32_t size);

struct HashEncodeStats {
    std::size_t filings = 0;
    std::size_t takenPlaces = 0;         // places marked 255
    std::size_t stripeDoublings = 0;     // times a letter's stripes were doubled to place every key
    double worstFilterFalsePositive = 0; // estimated, over the letters with filings
};

class BucketFiles;

// The sections of one letter: its filter and its eight stripes.
struct LetterSections {
    Bytes filter;
    std::array<Bytes, 8> stripes;
};

class HashEncoder {
public:
    // zips: zip.lst without its guard line; hints: hint.lst; letters: the
    // letter of each ZIP group; currentYear: move dates must lie from five
    // years back to one ahead of it, the span the one-digit year decodes to.
    HashEncoder(const World& world, const std::vector<std::string>& zips, const std::vector<std::string>& hints,
                const std::array<char, 100>& letters, int currentYear);
    ~HashEncoder();

    // Filings go in one at a time, in the world's order, so that no more than
    // one letter is ever held: begin() opens a temporary file per letter in
    // `tempFolder`, add() files one filing's key and result bytes there and
    // returns the EMDP of its old address; finish() builds the letters one
    // after another and hands each, a to z, to `sink` (a letter without
    // filings all zero, at the minimum sizes). Throws WriterError naming the
    // filing.
    void begin(const std::string& tempFolder);
    std::uint64_t add(std::size_t index, const Filing& filing);
    void finish(const std::function<void(char letter, const LetterSections& sections)>& sink);

    // After finish().
    std::uint32_t filterBytes(char letter) const;
    std::uint32_t stripeBytes(char letter) const;
    const HashEncodeStats& stats() const { return stats_; }

    // The eight stored bytes of one filing's result under `key`.
    Bytes resultBytes(const Filing& filing, const Sha1Digest& key, const std::string& where) const;

private:
    using Result = std::array<unsigned char, 8>;
    struct Letter {
        std::vector<std::pair<Sha1Digest, Result>> keys; // search key digest, result bytes
        std::uint32_t filterSize = 0, stripeSize = 0;
        LetterSections sections;
    };
    // False when some key's walk finds no free place at the letter's size.
    bool placeStripe(Letter& letter, std::vector<DigestStream>& streams, int stripe);
    // filingSearchKey with each distinct name ruled once.
    Bytes searchKey(const Filing& filing, std::uint64_t emdp);
    const std::string& ruled(const std::string& field, std::size_t width);

    const World& world_;
    [[maybe_unused]] const std::vector<std::string>& zips_;  // not read yet, which clang warns of
    [[maybe_unused]] const std::vector<std::string>& hints_;
    std::array<char, 100> letters_;
    int currentYear_;
    LcdReplacements lcd_;
    std::vector<NameRuleLine> rules_;
    std::unique_ptr<BucketFiles> buckets_; // one a letter, a to z
    std::map<char, std::pair<std::uint32_t, std::uint32_t>> sizes_; // filter and stripe bytes of filled letters
    HashEncodeStats stats_;
    std::unordered_map<std::string, std::uint64_t> zipIndex_;
    std::unordered_map<std::string, unsigned> hintIndex_;
    std::unordered_map<std::string, std::string> ruledFirst_, ruledLast_;
};

} // namespace qvw
