// Shared pieces of the test suites.
#pragma once

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvncoa.h"

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

// A whole file's bytes; empty when it can't be read.
inline std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// A text cut at its line ends (a last line without one counts too).
inline std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> v;
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);) v.push_back(l);
    return v;
}

// Runs a shell command; what it printed on stdout, and its exit status in
// *status (128 + the signal when one ended it).
inline std::string shellOutput(const std::string& cmd, int* status) {
    std::string out;
    FILE* p = ::popen(cmd.c_str(), "r");
    char buf[4096];
    size_t n;
    while (p && (n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    const int rc = p ? ::pclose(p) : -1;
    *status = rc == -1 ? -1 : WIFEXITED(rc) ? WEXITSTATUS(rc) : 128 + WTERMSIG(rc);
    return out;
}

// The ncoa command with shell-quoted arguments; both its streams.
inline std::string runNcoa(const std::string& args, int* status) {
    return shellOutput("'" QV_BINARY_DIR "/cli/ncoa' " + args + " 2>&1", status);
}

// The code of the exception of type E that f throws; 0 when f returns.
template <class E, class F>
int errCodeOf(F f) {
    try {
        f();
    } catch (const E& e) {
        return e.errCode();
    }
    return 0;
}

// "code text" of the exception of type E that f throws; "none" when f returns.
template <class E, class F>
std::string thrownText(F f) {
    try {
        f();
    } catch (const E& e) {
        return std::to_string(e.errCode()) + " " + e.what().asCstr();
    }
    return "none";
}

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

// The index of the column called `name` in a heading; a test failure when
// there is none.
inline std::size_t columnOf(const std::vector<std::string>& head, const std::string& name) {
    for (std::size_t i = 0; i < head.size(); ++i)
        if (head[i] == name) return i;
    ADD_FAILURE() << "no column " << name;
    return 0;
}

// A data object opened on `root` with the shipped name lists (flags 0: on
// disk, QVNCOA_INIT_IN_MEMORY: in memory); null, and a test failure, when it
// can't be opened.
inline void* openDataObj(const std::string& root, unsigned flags = 0) {
    void* obj = nullptr;
    char err[QVNCOA_ERROR_TEXT_SIZE] = {};
    const int rc = qvncoa_init_data_obj(&obj, root.c_str(), QV_SOURCE_DIR "/data/namekb", "", 2, nullptr, err, flags);
    EXPECT_EQ(rc, QVNCOA_OK) << root << ": " << err;
    if (rc != QVNCOA_OK) qvncoa_destroy_data_obj(&obj);
    return obj;
}
