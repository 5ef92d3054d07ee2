// Filings into the three flat files of a flat data set. Each filing's search
// key is the 49 bytes of the hash kind's key behind one leading blank; its
// SHA-1 gives the record: bytes 11 to 19 of the digest as the sorting key,
// then the eight result bytes of the hash kind XOR the first eight bytes of a
// pad, the Rijndael encryption (24-byte key, 16-byte block) of the first 16
// bytes of h1 = SHA-1(digest) under the last four bytes of h1 and all of
// h2 = SHA-1(h1); then a spare byte 0.
//
// The records sorted by key are cut into three runs of about equal length:
// clk.flt.1 below the first key of clk.flt.2, clk.flt.3 above its last.
// Guard records, whose keys no search meets, keep the prefix of every search
// key inside the range of the prefix index of its file: nine 0x00 key bytes
// open clk.flt.1 and nine 0xFF close clk.flt.3; the key just below the first
// of clk.flt.2 ends clk.flt.1 and the key just above its last begins clk.flt.3.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Encoding.h"
#include "HashEncoder.h"
#include "World.h"

namespace qvw {

enum { kFlatRecordSize = 18, kFlatKeySize = 9 };

// The 49 bytes hashed for a filing of a flat data set.
Bytes flatSearchKey(const Filing& filing, std::uint64_t emdp, const std::vector<NameRuleLine>& rules);

// The 16-byte pad that opens the record of the search key digest `sha`.
std::array<unsigned char, 16> flatPad(const Sha1Digest& sha);

class BucketFiles;

class FlatEncoder {
public:
    // `results` gives each filing's eight result bytes, as for the hash kind;
    // it need not have encoded its sections.
    FlatEncoder(const World& world, const HashEncoder& results);
    ~FlatEncoder();

    // Filings go in one at a time, in the world's order: begin() opens
    // temporary files in `tempFolder` that hold the records by their first
    // key byte, add() files one filing and returns the EMDP of its old
    // address; finish() sorts them a file at a time and hands the bytes of
    // clk.flt.1, clk.flt.2 and clk.flt.3 to `out`, in that order. Throws
    // WriterError naming the filing.
    void begin(const std::string& tempFolder);
    std::uint64_t add(std::size_t index, const Filing& filing);
    void finish(const std::function<void(int file, const unsigned char* data, std::size_t size)>& out);
    std::size_t filings() const { return filings_; }

private:
    const HashEncoder& results_;
    LcdReplacements lcd_;
    std::vector<NameRuleLine> rules_;
    std::unique_ptr<BucketFiles> buckets_;
    std::size_t filings_ = 0;
};

} // namespace qvw
