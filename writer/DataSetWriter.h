// Writes a complete hash data set from a World: both disc folders, every file
// a reader opens or a verification proves, and the two disc headers with each
// file's size and SHA-1. One member function per file, so that each format
// lives in one place.
//
// Not encoded yet, and reported as pending in BuildReport: filings (the hash
// sections and their filter bits), and businesses and daily deletes that are
// given by address rather than by key (their keys come from the EMDP rules).
// Until then the hash sections, clk.hsb and dph.hsa are written all-zero at
// their power-of-two sizes: valid tables in which no key is present.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "Manifest.h"
#include "Rv9Encoder.h"
#include "World.h"

namespace qvw {

struct BuildReport {
    std::string root;
    std::string releaseDate;
    int sequence = 0;
    std::size_t filesWritten = 0;
    std::uint64_t bytesWritten = 0;
    std::size_t ranges = 0;
    std::size_t lcdRows = 0, urbanizations = 0, businessesWritten = 0, dailyDeletesWritten = 0;
    // World content the writer does not encode yet.
    std::size_t pendingFilings = 0, pendingBusinesses = 0, pendingDailyDeletes = 0;
};

// Byte sizes of the hash sections of one letter; each a power of two.
struct HashSectionSizes {
    std::uint32_t filter = 0; // hs0
    std::uint32_t stripe = 0; // hs1 to hs9
};

class DataSetWriter {
public:
    DataSetWriter(const World& world, std::string root);

    // Writes everything under the root, creating folders as needed, and
    // returns what was written. Throws WriterError.
    BuildReport write();

    // ZIPs of zip.lst in order; a filing's ZIP index is its place plus 1.
    // The file carries one guard line more, since the reader refuses the
    // index of its last line.
    const std::vector<std::string>& zipList() const { return zips_; }
    // Hints of hint.lst in order; a hint's index is its place plus 1.
    const std::vector<std::string>& hintList() const { return hints_; }
    // Letter of the hash files of each ZIP group 00 to 99.
    char letterOfGroup(int group) const { return letters_[static_cast<std::size_t>(group)]; }
    HashSectionSizes sectionSizes(char letter) const;

private:
    // Disc 1.
    void writeHashStripes();
    // Disc 2, top level.
    void writeHashFilters();
    void writeClkHsb();
    void writeDailyDel();
    // DVD 2/clk.
    void writeContentsLst();
    void writeLcd();
    void writeBusinessLst();
    void writeZipLst();
    void writeHintLst();
    void writeX11();
    void writeLeftRite();
    void writeDphHsa();
    void writeNormalF();
    void writeNormalL();
    void writeNickLst();
    void writeNonoF();
    void writeNonoL();
    void writeRulesLst();
    void writeUrbxLst();
    void writeGenderTxt();
    // DVD 2/rv9.
    void writeCzp();
    void writeCln();
    void writeRv9();
    // Both headers, last, from the manifest.
    void writeHeaders();

    void prepareLists();
    // Writes one file; `listed` puts it on its disc's header.
    void emit(int disc, const std::string& relPath, const Bytes& data, bool listed = true);
    void emit(int disc, const std::string& relPath, const std::string& text, bool listed = true);

    const World& world_;
    std::string root_;
    Manifest manifest_;
    BuildReport report_;
    std::string date1_, date2_, date3_;
    std::vector<std::string> zips_, hints_;
    std::array<char, 100> letters_{};
    Rv9Data rv9_;
};

// Today's local date as YYYYMMDD, and a YYYYMMDD date moved by `days`.
std::string todayYYYYMMDD();
std::string addDays(const std::string& yyyymmdd, int days);

} // namespace qvw
