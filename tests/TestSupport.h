// Shared pieces of the test suites.
#pragma once

#include <stdlib.h>
#include <sys/stat.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

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
    // Writes bytes to a file under the root, replacing it; returns its path.
    std::string write(const std::string& rel, const std::string& bytes) const {
        std::ofstream(path(rel), std::ios::binary | std::ios::trunc) << bytes;
        return path(rel);
    }
};

// YYYYMM of the month `months` before this one.
inline std::string monthsAgo(int months) {
    time_t now = time(nullptr);
    struct tm lt;
    localtime_r(&now, &lt);
    int total = (lt.tm_year + 1900) * 12 + lt.tm_mon - months;
    char buf[16];
    std::snprintf(buf, sizeof buf, "%04d%02d", total / 12, total % 12 + 1);
    return buf;
}

// Splits one CSV line (RFC 4180 quoting; no line breaks inside fields); a CR
// outside quotes is dropped.
inline std::vector<std::string> csvFields(const std::string& line) {
    std::vector<std::string> f(1);
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '"') {
            if (quoted && i + 1 < line.size() && line[i + 1] == '"') f.back() += c, ++i;
            else quoted = !quoted;
        } else if (c == ',' && !quoted) {
            f.emplace_back();
        } else if (c != '\r' || quoted) {
            f.back() += c;
        }
    }
    return f;
}
