// `ncoa dataset unpack DIR [--file F]`: expands the packed hash sections
// (".SZP") of a data set in place through the library, with a progress bar.
#include <fmt/core.h>
#include <strings.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "DataObject.h"
#include "commands.h"

namespace ncoa_cli {
namespace {

namespace fs = std::filesystem;

struct UnpackOptions {
    std::string dir;
    std::string file;
};

bool isPacked(const fs::path& p) { return strcasecmp(p.extension().string().c_str(), ".SZP") == 0; }

// Packed files of a folder and their bytes once unpacked are not known
// beforehand; the bar counts files.
std::vector<fs::path> packedFiles(const fs::path& folder) {
    std::vector<fs::path> out;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(folder, ec))
        if (isPacked(e.path())) out.push_back(e.path());
    return out;
}

struct Progress {
    bool tty = false;
    unsigned before = 0;  // files of earlier folders
    unsigned total = 0;   // files of all folders
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

double secondsSince(std::chrono::steady_clock::time_point t) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
}

int drawBar(unsigned current, unsigned, qvncoa_out_addr_t*, void* user) {
    Progress* p = static_cast<Progress*>(user);
    if (!p->tty || p->total == 0) return QVNCOA_OK;
    const unsigned done = p->before + current + 1;
    const int width = 40;
    const int filled = static_cast<int>(done * width / p->total);
    fmt::print(stderr, "\runpacking [{}{}] {}/{} files  {:.1f}s", std::string(static_cast<size_t>(filled), '#'),
               std::string(static_cast<size_t>(width - filled), '.'), done, p->total, secondsSince(p->start));
    std::fflush(stderr);
    return QVNCOA_OK;
}

std::uintmax_t sizeOf(const fs::path& p) {
    std::error_code ec;
    const std::uintmax_t n = fs::file_size(p, ec);
    return ec ? 0 : n;
}

void report(std::size_t files, std::uintmax_t packed, std::uintmax_t unpacked, double secs) {
    fmt::print("Unpacked {} file{}: {:.1f} MB packed, {:.1f} MB unpacked, {:.2f} s ({:.0f} MB/s of output)\n", files,
               files == 1 ? "" : "s", packed / 1e6, unpacked / 1e6, secs, secs > 0 ? unpacked / 1e6 / secs : 0.0);
}

void unpackOne(const UnpackOptions& o) {
    fs::path from(o.file);
    if (from.is_relative() && !fs::exists(from)) from = fs::path(o.dir) / from;
    if (!isPacked(from)) throw std::runtime_error(from.string() + " is no packed file (.SZP)");
    fs::path to = from;
    to.replace_extension();
    const auto start = std::chrono::steady_clock::now();
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    const int rc = qvncoa_unpackHashFile(from.c_str(), to.c_str(), err);
    if (rc != QVNCOA_OK) throw LibraryError(rc, std::string("cannot unpack: ") + err);
    report(1, sizeOf(from), sizeOf(to), secondsSince(start));
}

void unpackSet(const UnpackOptions& o) {
    // A data-set root unpacks both discs; any other folder unpacks itself.
    std::vector<fs::path> folders;
    for (const char* disc : {"DVD 1", "DVD 2"})
        if (fs::is_directory(fs::path(o.dir) / disc)) folders.push_back(fs::path(o.dir) / disc);
    if (folders.empty()) folders.push_back(o.dir);

    Progress progress;
    progress.tty = ::isatty(STDERR_FILENO) != 0;
    std::vector<std::vector<fs::path>> lists;
    std::uintmax_t packedBytes = 0;
    for (const auto& f : folders) {
        lists.push_back(packedFiles(f));
        progress.total += static_cast<unsigned>(lists.back().size());
        for (const auto& p : lists.back()) packedBytes += sizeOf(p);
    }
    if (progress.total == 0) throw std::runtime_error("no packed files (.SZP) in " + o.dir);

    qvncoa_prog_cb_t cb = {drawBar, &progress};
    for (std::size_t i = 0; i < folders.size(); ++i) {
        char err[QVNCOA_ERROR_TEXT_SIZE] = "";
        const int rc = qvncoa_unpackHashFolder(folders[i].c_str(), folders[i].c_str(), &cb, err);
        if (rc != QVNCOA_OK) {
            if (progress.tty) fmt::print(stderr, "\n");
            throw LibraryError(rc, std::string("cannot unpack: ") + err);
        }
        progress.before += static_cast<unsigned>(lists[i].size());
    }
    const double secs = secondsSince(progress.start);
    if (progress.tty) fmt::print(stderr, "\n");
    std::uintmax_t unpackedBytes = 0;
    for (const auto& list : lists)
        for (fs::path p : list) unpackedBytes += sizeOf(p.replace_extension());
    report(progress.total, packedBytes, unpackedBytes, secs);
}

}  // namespace

void addDatasetUnpackCommand(CLI::App& dataset) {
    auto o = std::make_shared<UnpackOptions>();
    CLI::App* unpack = dataset.add_subcommand(
        "unpack", "Unpack the packed hash sections (.SZP) of a data set in place, beside the packed files");
    unpack->add_option("dir", o->dir, "Data set root (both discs are unpacked) or one folder")->required();
    unpack->add_option("--file", o->file, "Unpack this one packed file only (relative to DIR unless found as given)");
    unpack->callback([o] {
        if (o->file.empty()) unpackSet(*o);
        else unpackOne(*o);
    });
}

}  // namespace ncoa_cli
