// Shared pieces of the test suites.
#pragma once

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

// A data-set root in a fresh temporary folder, with the disc folders made;
// removed with everything in it at the end of the test.
struct TempRoot {
    std::string root;
    TempRoot() {
        char tmpl[] = "/tmp/qvtest_XXXXXX";
        root = mkdtemp(tmpl);
        for (const char* d : {"/DVD 1", "/DVD 2", "/DVD 2/clk", "/DVD 2/rv9"}) mkdir((root + d).c_str(), 0700);
    }
    ~TempRoot() { std::filesystem::remove_all(root); }
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    std::string path(const std::string& rel) const { return root + "/" + rel; }
    // Writes bytes to a file under the root, replacing it.
    void write(const std::string& rel, const std::string& bytes) const {
        std::ofstream(path(rel), std::ios::binary | std::ios::trunc) << bytes;
    }
};
