// Byte-level building blocks of the data-set files: big-endian numbers,
// blank-padded fields, the base-40 packed text and SHA-1. The writer has its
// own copy of these on purpose, so that what it writes cross-checks the
// library's readers instead of agreeing with them by construction.
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qvw {

using Bytes = std::vector<unsigned char>;
using Sha1Digest = std::array<unsigned char, 20>;

// Any failure to build a data set: bad world content or a file that can't be written.
class WriterError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Appends `value` as `width` big-endian bytes (width 1 to 8).
void putBigEndian(Bytes& out, std::uint64_t value, int width);

// Appends `text` cut or blank-padded to exactly `width` bytes.
void putField(Bytes& out, std::string_view text, std::size_t width, char pad = ' ');

// `text` cut or blank-padded to `width` characters.
std::string padRight(std::string_view text, std::size_t width, char pad = ' ');
std::string padLeft(std::string_view text, std::size_t width, char pad = ' ');

// The 40-character alphabet of packed text; blank is value 0.
inline constexpr std::string_view kPackedAlphabet = " -./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// Bytes that `chars` characters take packed: two per whole group of three,
// one per character left over.
std::size_t packedSize(std::size_t chars);

// Packs `text`, blank-padded or cut to `chars` characters. Throws WriterError
// for a character outside the alphabet (lower case included).
Bytes packText(std::string_view text, std::size_t chars);

// True when every character of `text` is in the packed alphabet.
bool isPackable(std::string_view text);

Sha1Digest sha1Of(const void* data, std::size_t size);
// Streams the file through SHA-1; also returns its size. Throws WriterError.
Sha1Digest sha1OfFile(const std::string& path, std::uint64_t& size);
std::string toHex(const Sha1Digest& digest);

// Smallest power of two that is at least `n` (and at least 1).
std::uint64_t nextPowerOfTwo(std::uint64_t n);

bool allDigits(std::string_view text);

} // namespace qvw
