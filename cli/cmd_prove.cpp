// `ncoa info` tells what data set a folder holds; `ncoa prove` checks every
// file of it against the SHA-1 list of its disc header; `ncoa dataset index`
// builds the prefix index files of a flat one.
#include <fmt/core.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "DataObject.h"
#include "commands.h"

namespace ncoa_cli {
namespace {

// Which of the nine flat index files lie under the root, by key size.
void printFlatIndexFiles(const std::string& root) {
    std::string line;
    for (int bytes = 3; bytes >= 1; --bytes) {
        int present = 0;
        for (int file = 0; file < 3; ++file)
            present += std::filesystem::exists(fmt::format("{}/flt_idx_{}_{}.dat", root, bytes * 8, file));
        line += fmt::format("{}{} bytes {}/3", line.empty() ? "" : ", ", bytes, present);
    }
    fmt::print("Flat index   {}\n", line);
}

void printRelease(void* obj, const std::string& root) {
    qvncoa_release_info_t info;
    qvncoa_getNCOAReleaseInfo(obj, &info);
    std::string name(info.setName);
    while (!name.empty() && name.back() == ' ') name.pop_back();
    fmt::print("Data set     {}\n", name);
    fmt::print("Kind         {} (set letter {})\n",
               (info.setLetter == 'A' || info.setLetter == 'C' || info.setLetter == 'E') ? "hash" : "flat",
               info.setLetter);
    fmt::print("Release date {}\n", info.date1);
    fmt::print("Sequence     {}\n", info.sequence);
    fmt::print("Dates        {} {}\n", info.date2, info.date3);
    fmt::print("Files listed {}\n", info.fileCount);
    if (!(info.setLetter == 'A' || info.setLetter == 'C' || info.setLetter == 'E')) printFlatIndexFiles(root);
}

struct Bar {
    const char* label = "proving";
    bool tty = false;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

int drawBar(unsigned percent, unsigned total, qvncoa_out_addr_t*, void* user) {
    Bar* bar = static_cast<Bar*>(user);
    if (!bar->tty || total == 0) return QVNCOA_OK;
    const int width = 40;
    int filled = static_cast<int>(percent * width / total);
    double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - bar->start).count();
    fmt::print(stderr, "\r{} [{}{}] {:3}%  {:.1f}s", bar->label, std::string(static_cast<size_t>(filled), '#'),
               std::string(static_cast<size_t>(width - filled), '.'), percent, secs);
    std::fflush(stderr);
    return QVNCOA_OK;
}

// Every failure is told, not only the first; any failure is exit status 1.
void runProve(OpenOptions o) {
    Bar bar;
    bar.tty = ::isatty(STDERR_FILENO) != 0;
    qvncoa_prog_cb_t progress = {drawBar, &bar};
    std::vector<CheckFailure> failures = checkDataSet(o.data, true, &progress);
    if (bar.tty) fmt::print(stderr, "\n");
    if (!failures.empty()) {
        for (const CheckFailure& f : failures) fmt::print("FAILED {}: {} (code {})\n", f.path, f.what, f.code);
        fmt::print("Not proved: {} failure{}\n", failures.size(), failures.size() == 1 ? "" : "s");
        throw ExitStatus{1};
    }
    o.noCheck = true;  // just done, in full
    DataObject obj(o);
    printRelease(obj.get(), o.data);
    double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - bar.start).count();
    fmt::print("Proved: every file is listed in its disc header with its size and SHA-1 ({:.1f}s)\n", secs);
}

void runIndex(const std::string& root) {
    Bar bar;
    bar.label = "indexing";
    bar.tty = ::isatty(STDERR_FILENO) != 0;
    qvncoa_prog_cb_t progress = {drawBar, &bar};
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    int rc = qvncoa_buildFlatIndexFiles(root.c_str(), &progress, err);
    if (bar.tty) {
        drawBar(100, 100, nullptr, &bar);  // the build reports key changes only, so may stop short of 100
        fmt::print(stderr, "\n");
    }
    if (rc != QVNCOA_OK) throw LibraryError(rc, std::string("cannot index the flat files: ") + err);
    double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - bar.start).count();
    fmt::print("Indexed: flt_idx_24, _16 and _8 of each flat file written under {} ({:.1f}s)\n", root, secs);
}

}  // namespace

void addIndexCommand(CLI::App& dataset) {
    static std::string root;
    CLI::App* index = dataset.add_subcommand("index", "Build the prefix index files of a flat data set");
    index->add_option("dir", root, "Data set root (the folder holding \"DVD 1\" and \"DVD 2\")")->required();
    index->callback([] { runIndex(root); });
}

void addProveCommands(CLI::App& app) {
    static OpenOptions infoOpts, proveOpts;
    CLI::App* info = app.add_subcommand("info", "Open a data set and tell its release");
    addOpenOptions(*info, infoOpts, true);
    info->callback([] {
        requireData(infoOpts);
        DataObject obj(infoOpts);
        printRelease(obj.get(), infoOpts.data);
    });
    CLI::App* prove = app.add_subcommand("prove", "Prove every file of a data set against its disc headers");
    addOpenOptions(*prove, proveOpts, true);
    prove->callback([] {
        requireData(proveOpts);
        runProve(proveOpts);
    });
}

}  // namespace ncoa_cli
