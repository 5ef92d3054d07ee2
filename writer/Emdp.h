// The EMDP of an address: the 64-bit key under which the data set files every
// filing, business and daily delete of that address. Written from the USPS
// rules, independently of the library, so that a set made here cross-checks
// the library's key.
#pragma once

#include <cstdint>
#include <map>

#include "Encoding.h"
#include "World.h"

namespace qvw {

// Four-digit replacements of a ZIP+4 in the key, by ZIP+9 as a number (lcd).
using LcdReplacements = std::map<std::uint32_t, unsigned>;

// The key of `address`. False when its ZIP's first five characters are not
// digits; such an address has no key.
bool emdpOf(const Address& address, const LcdReplacements& lcd, std::uint64_t& emdp);

LcdReplacements lcdReplacements(const World& world);

// SHA-1 of the key's eight bytes, most significant first: the digest the
// business tables and the daily delete are addressed by.
Sha1Digest emdpDigest(std::uint64_t emdp);

} // namespace qvw
