// fuzz-libs: qvncoa_static qvwriter
// The lookup entry with every input field arbitrary: the input is split at
// NUL bytes into name, primary and secondary number, ZIP+4 and designator,
// so fields come over-long and with any bytes; the type is the last byte.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "qvncoa.h"

namespace {
void* openOnce(unsigned flags) {
    void* obj = nullptr;
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    if (qvncoa_init_data_obj(&obj, qvfuzz::sampleSet().c_str(), QV_SOURCE_DIR "/data/namekb", "", 2, nullptr, err,
                             flags) != QVNCOA_OK)
        std::abort();
    return obj;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static void* disk = openOnce(0);
    static void* memory = openOnce(QVNCOA_INIT_IN_MEMORY);
    std::vector<std::string> f(5);
    size_t i = 0, k = 0;
    for (; i < size && k < 5; ++i) {
        if (data[i] == 0) ++k;
        else f[k] += static_cast<char>(data[i]);
    }
    const char type = size > 0 ? static_cast<char>(data[size - 1]) : 'S';
    qvncoa_in_addr_t in = {f[0].c_str(), f[1].c_str(), f[2].c_str(), f[3].c_str(), f[4].c_str(), type};
    for (void* obj : {disk, memory}) {
        qvncoa_out_addr_t out;
        char err[QVNCOA_ERROR_TEXT_SIZE] = "";
        int rc = qvncoa_lookup_without_qvav(obj, &in, &out, static_cast<int>(size % 6), static_cast<int>(size % 50),
                                            err, 0);
        if (rc < 1000 || rc > 1099) std::abort();
    }
    return 0;
}
