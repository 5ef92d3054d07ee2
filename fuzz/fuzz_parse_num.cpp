// fuzz-libs: qvncoa_static qvwriter
// The USPS house and unit number parser over arbitrary text, given as its
// callers give it: a 10-character field with a NUL behind it (the parser
// copies the field whole) and any length from 0 to 10.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "RV9_ParseNum.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    // An exact-size heap copy, so a read past the field shows.
    std::vector<char> field(11, ' ');
    field[10] = '\0';
    const size_t n = size - 1 < 10 ? size - 1 : 10;
    std::memcpy(field.data(), data + 1, n);
    QV_NCOA::parseRes res;
    QV_NCOA::parsenum(field.data(), static_cast<int>(data[0] % 11), res);
    return 0;
}
