// Each shared library shows only its interface's names to the dynamic linker:
// anything else (template instances, unique objects, internal classes) would
// bind callers to internals and clash with a host's own copies.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

// Names of the defined dynamic symbols, as the linker sees them (mangled).
std::vector<std::string> exportedNames(const std::string& lib) {
    std::vector<std::string> names;
    int status = 0;
    for (const std::string& l : splitLines(shellOutput("nm -D --defined-only '" + lib + "'", &status)))
        names.push_back(l.substr(l.rfind(' ') + 1));  // npos + 1: the whole line
    return names;
}

bool startsWithAny(const std::string& name, const std::vector<std::string>& prefixes) {
    for (const std::string& p : prefixes)
        if (name.compare(0, p.size(), p) == 0) return true;
    return false;
}

struct Library {
    std::string path;
    std::vector<std::string> prefixes;
    std::vector<std::string> required;  // so that an empty listing can't pass
};

}  // namespace

TEST(Exports, EachLibraryListsOnlyItsInterface) {
    const std::string bin = QV_BINARY_DIR;
    const std::vector<Library> libs = {
        {bin + "/libqvncoa.so",
         {"qvncoa_", "qvx_", "_ZN7QV_NCOA19CNCOA_SummaryReport"},
         {"qvncoa_init_data_obj", "qvncoa_check_data_set", "qvx_build_number"}},
        {bin + "/nameparser/libqvname.so", {"qv_proxy_", "proxy__qv_"}, {"qv_proxy_init"}},
        {bin + "/verifier/libqvav.so", {"qvav_"}, {"qvav_verify_address"}},
    };
    int checked = 0;
    for (const Library& lib : libs) {
        if (!std::filesystem::exists(lib.path)) continue;  // the verifier is optional
        ++checked;
        const std::vector<std::string> names = exportedNames(lib.path);
        for (const std::string& n : names) EXPECT_TRUE(startsWithAny(n, lib.prefixes)) << lib.path << ": " << n;
        for (const std::string& r : lib.required) {
            bool found = false;
            for (const std::string& n : names) found = found || n == r;
            EXPECT_TRUE(found) << lib.path << " lacks " << r;
        }
    }
    EXPECT_GE(checked, 2);
}
