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

class FlatEncoder {
public:
    // `results` gives each filing's eight result bytes, as for the hash kind;
    // it need not have encoded its sections.
    FlatEncoder(const World& world, const HashEncoder& results);

    // Builds the three files' images. Throws WriterError naming the filing.
    void encode();

    // File 0 to 2: clk.flt.1, clk.flt.2, clk.flt.3.
    const Bytes& file(int n) const { return files_[static_cast<std::size_t>(n)]; }
    std::size_t filings() const { return filings_; }
    // The EMDP of each filing's old address, by filing, after encode().
    const std::vector<std::uint64_t>& filingEmdps() const { return filingEmdps_; }
    // The SHA-1 of each filing's 49-byte key, by filing, after encode().
    const std::vector<Sha1Digest>& filingDigests() const { return digests_; }

private:
    const World& world_;
    const HashEncoder& results_;
    std::array<Bytes, 3> files_;
    std::size_t filings_ = 0;
    std::vector<std::uint64_t> filingEmdps_;
    std::vector<Sha1Digest> digests_;
};

} // namespace qvw
