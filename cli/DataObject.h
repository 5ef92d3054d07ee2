// An opened data set for the commands: the library's data object, destroyed
// on every path, and the options every command that opens one shares.
#pragma once

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>
#include <vector>

#include "KnowledgeBase.h"
#include "qvncoa.h"

namespace ncoa_cli {

struct OpenOptions {
    std::string data;
    std::string kb = defaultKnowledgeBase();
    bool memory = false;
    int flatIndex = 0;  // key bytes of the flat index to use, 0 for none
    bool noCheck = false;  // skip the structural check before opening
};

// With `positional`, the data set root may also stand alone: `ncoa info DIR`.
inline void addOpenOptions(CLI::App& cmd, OpenOptions& o, bool positional = false) {
    CLI::Option* data =
        cmd.add_option("--data", o.data, "Data set root (the folder holding \"DVD 1\" and \"DVD 2\")");
    if (positional) {
        CLI::Option* dir = cmd.add_option("dir", o.data, "Data set root, as --data");
        data->excludes(dir);
    } else {
        data->required();
    }
    cmd.add_option("--kb", o.kb, "Name-parser knowledge base folder")->capture_default_str();
    cmd.add_flag("--memory", o.memory, "Hold the hash or flat files, bit tables and LCD table in memory");
    cmd.add_option("--flat-index", o.flatIndex,
                   "Flat data sets: search through the index of this many key bytes (1 to 3; 0 none)")
        ->check(CLI::Range(0, 3));
    cmd.add_flag("--no-check", o.noCheck,
                 "Open the data set without first checking that its files are whole and listed");
}

// For commands that take the root either way: one of the two is needed.
inline void requireData(const OpenOptions& o) {
    if (o.data.empty()) throw CLI::RequiredError("the data set root (DIR or --data DIR)");
}

// A failure of the library: its code and its text.
class LibraryError : public std::runtime_error {
public:
    LibraryError(int code, const std::string& what)
        : std::runtime_error(what + " (code " + std::to_string(code) + ")"), code_(code) {}
    int code() const { return code_; }

private:
    int code_;
};

// One failure of the data-set check.
struct CheckFailure {
    int code;
    std::string path;
    std::string what;
};

// Every failure of qvncoa_check_data_set on root, in the order found; empty
// when the set is whole. full adds the SHA-1 of every listed file.
inline std::vector<CheckFailure> checkDataSet(const std::string& root, bool full,
                                              const qvncoa_prog_cb_t* progress = nullptr) {
    std::vector<CheckFailure> failures;
    qvncoa_check_cb_t each = {[](int code, const char* path, const char* what, void* user) {
                                  static_cast<std::vector<CheckFailure>*>(user)->push_back({code, path, what});
                              },
                              &failures};
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    int rc = qvncoa_check_data_set(root.c_str(), full ? 1 : 0, progress, &each, err);
    if (rc != QVNCOA_OK && failures.empty()) failures.push_back({rc, err, "cannot be checked"});
    return failures;
}

class DataObject {
public:
    explicit DataObject(const OpenOptions& o) {
        if (!o.noCheck) {
            // A damaged set may open and then answer wrongly or throw mid-run: refuse it here.
            std::vector<CheckFailure> f = checkDataSet(o.data, false);
            if (!f.empty()) {
                std::string more = f.size() > 1 ? " (and " + std::to_string(f.size() - 1) + " more; `ncoa prove` lists them)" : "";
                throw LibraryError(f[0].code, "the data set at " + o.data + " is damaged: " + f[0].path + ": " +
                                                  f[0].what + more);
            }
        }
        char err[QVNCOA_ERROR_TEXT_SIZE] = "";
        // Key bytes 1, 2, 3 are the flag bits 2, 4, 2 and 4.
        unsigned flags = o.memory ? static_cast<unsigned>(QVNCOA_INIT_IN_MEMORY) : 0u;
        flags |= static_cast<unsigned>(o.flatIndex & 3) << 1;
        int rc = qvncoa_init_data_obj(&obj_, o.data.c_str(), o.kb.c_str(), "", 2, nullptr, err, flags);
        if (rc != QVNCOA_OK) {
            qvncoa_destroy_data_obj(&obj_);
            throw LibraryError(rc, std::string("cannot open the data set at ") + o.data + ": " + err);
        }
    }
    ~DataObject() { qvncoa_destroy_data_obj(&obj_); }
    DataObject(const DataObject&) = delete;
    DataObject& operator=(const DataObject&) = delete;
    void* get() const { return obj_; }

private:
    void* obj_ = nullptr;
};

}  // namespace ncoa_cli
