// fuzz-libs: qvncoa_static qvwriter
// The USPS house and unit number parser over arbitrary text of any length.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "RV9_ParseNum.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Exactly the input's bytes, unterminated, so a read past the length shows.
    std::vector<char> text(data, data + size);
    QV_NCOA::parseRes res;
    QV_NCOA::parsenum(text.data(), static_cast<int>(text.size()), res);
    return 0;
}
