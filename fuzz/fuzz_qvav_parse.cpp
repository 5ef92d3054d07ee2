// fuzz-libs: qvav_core
// fuzz-sources: verifier/qvav.cpp
// libFuzzer target: arbitrary bytes as the four lines of an address (split at
// newlines) through the exported verifier, parsing only, and through the
// parser with lines as long as it reads. Every input must give a result with
// two-digit codes; ASan and UBSan catch what goes wrong on the way.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qvav.h"
#include "qvav_parse.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static qvav_context* av = [] {
        qvav_context* c = nullptr;
        char err[1024];
        // QVAV_FUZZ_DATA: a data root, to fuzz the confirmation too.
        const char* root = std::getenv("QVAV_FUZZ_DATA");
        if (qvav_open(&c, root ? root : "", err) != 0) std::abort();
        return c;
    }();
    std::string parts[4];
    int k = 0;
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == '\n' && k < 3)
            ++k;
        else
            parts[k] += static_cast<char>(data[i]);  // NULs end a line early, as in C
    }
    void* result = nullptr;
    if (qvav_verify_address(av, QVAV_OPT_CONFIRM, "", "", parts[3].c_str(), parts[0].c_str(), parts[1].c_str(),
                            parts[2].c_str(), &result) != 0 || !result)
        std::abort();
    const unsigned char* main = static_cast<const unsigned char*>(result);
    const unsigned char* addr = nullptr;
    std::memcpy(&addr, main + QVAV_MAIN_ADDRESS, sizeof addr);
    for (int off : {QVAV_ADDR_RESULT1, QVAV_ADDR_RESULT2})
        if (addr[off] < '0' || addr[off] > '9' || addr[off + 1] < '0' || addr[off + 1] > '9' || addr[off + 2] != 0)
            std::abort();
    // The whole input as one unterminated-looking line, past the parser's limit.
    std::string one(reinterpret_cast<const char*>(data), size);
    qvav::Parsed p;
    qvav::parseAddress(nullptr, one.c_str(), nullptr, nullptr, p);
    return 0;
}
