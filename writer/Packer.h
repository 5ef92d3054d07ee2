// The packed form in which the USPS delivers the hash sections (".SZP"): a bit
// stream, most significant bit first, of items each made of a run of zero
// bytes in 3-bit groups (7: seven zeros and another group follows; 0 to 6:
// that many, and the run ends) and an 8-bit literal byte. A literal of 0 ends
// the stream, so zero bytes travel only in runs.
#pragma once

#include <cstddef>
#include <string>

#include "Encoding.h"

namespace qvw {

// Unpacking yields whole blocks of this size only.
inline constexpr std::size_t kPackBlock = 512;

// Packs `data`. Throws WriterError, naming `what`, unless its size is a whole
// number of blocks: the bytes behind the last whole block would not come back.
Bytes packSection(const Bytes& data, const std::string& what);

} // namespace qvw
