// fuzz-libs: qvncoa_static qvwriter
// The packed hash file (.SZP) unpacker over arbitrary bytes: a code, never a crash.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "FuzzSupport.h"
#include "qvncoa.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string dir = [] {
        std::string d = (std::filesystem::temp_directory_path() / ("qv-fuzz-szp-" + std::to_string(::getpid()))).string();
        std::filesystem::create_directories(d);
        qvfuzz::rootSlot() = d;  // removed at exit with the rest
        std::atexit([] { std::filesystem::remove_all(qvfuzz::rootSlot()); });
        return d;
    }();
    const std::string from = dir + "/clk.a.hs1.SZP", to = dir + "/clk.a.hs1";
    qvfuzz::writeFile(from, data, size);
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    int rc = qvncoa_unpackHashFile(from.c_str(), to.c_str(), err);
    if (rc < 1000 || rc > 1099) std::abort();
    std::remove(to.c_str());
    return 0;
}
