#include "Packer.h"

#include <cstdint>
#include <cstring>

namespace qvw {
namespace {

// Bits into bytes, most significant first, through a 64-bit accumulator.
class BitWriter {
public:
    explicit BitWriter(Bytes& out) : out_(out) {}

    // The low `count` bits of `value`, count at most 32.
    void put(std::uint32_t value, int count) {
        acc_ = (acc_ << count) | (value & ((std::uint64_t{1} << count) - 1));
        used_ += count;
        while (used_ >= 8) {
            used_ -= 8;
            out_.push_back(static_cast<unsigned char>(acc_ >> used_));
        }
    }

    // Pads the last byte with zero bits.
    void finish() {
        if (used_ > 0)
            out_.push_back(static_cast<unsigned char>(acc_ << (8 - used_)));
        used_ = 0;
    }

private:
    Bytes& out_;
    std::uint64_t acc_ = 0;
    int used_ = 0;
};

// A run of n zero bytes: n / 7 groups of 7, then n mod 7 (0 for an empty run).
void putRun(BitWriter& bits, std::size_t n) {
    // Eight groups of 7 at once: 24 one bits, 56 zero bytes.
    for (; n >= 56; n -= 56)
        bits.put(0xFFFFFF, 24);
    for (; n >= 7; n -= 7)
        bits.put(7, 3);
    bits.put(static_cast<std::uint32_t>(n), 3);
}

} // namespace

Bytes packSection(const Bytes& data, const std::string& what) {
    if (data.size() % kPackBlock != 0)
        throw WriterError(what + ": " + std::to_string(data.size()) + " bytes can't be packed, only whole blocks of " +
                          std::to_string(kPackBlock));
    Bytes out;
    out.reserve(data.size() / 16 + 16);
    BitWriter bits(out);
    const unsigned char* p = data.data();
    const unsigned char* end = p + data.size();
    while (p < end) {
        const unsigned char* nz = p;
        // Skip zeros a word at a time: sections are mostly zero.
        while (end - nz >= 8) {
            std::uint64_t w;
            std::memcpy(&w, nz, 8);
            if (w != 0)
                break;
            nz += 8;
        }
        while (nz < end && *nz == 0)
            ++nz;
        if (nz == end) {
            putRun(bits, static_cast<std::size_t>(end - p));
            break;
        }
        putRun(bits, static_cast<std::size_t>(nz - p));
        bits.put(*nz, 8);
        p = nz + 1;
        if (p == end)
            putRun(bits, 0);
    }
    if (data.empty())
        putRun(bits, 0);
    bits.put(0, 8); // the end
    bits.finish();
    return out;
}

} // namespace qvw
