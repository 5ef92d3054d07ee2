// Writes a complete hash data set from a World: both disc folders, every file
// a reader opens or a verification proves, and the two disc headers with each
// file's size and SHA-1. One member function per file, so that each format
// lives in one place.
//
// Filings go into the hash sections through HashEncoder; addresses become
// keys through the writer's own EMDP rules (Emdp.h).
#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "FlatEncoder.h"
#include "HashEncoder.h"
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
    // Filings in the hash sections, stripe places marked taken, times a
    // letter's stripes were doubled so that every key found a place, and the
    // filter's estimated false-positive rate on its fullest letter.
    std::size_t filingsEncoded = 0, stripeTakenPlaces = 0, stripesDoubled = 0;
    double filterFalsePositiveRate = 0;
};

// Byte sizes of the hash sections of one letter; each a power of two.
struct HashSectionSizes {
    std::uint32_t filter = 0; // hs0
    std::uint32_t stripe = 0; // hs1 to hs9
};

// Hash: the filings in bit-filtered stripes. Flat: in three sorted files of
// enciphered records, under the set letter after the world's (B, D or F).
enum class DataSetKind { Hash, Flat };

class DataSetWriter {
public:
    DataSetWriter(const World& world, std::string root);
    DataSetWriter(const World& world, std::string root, DataSetKind kind);
    // Filings and ranges from `stream` instead of the world's vectors, which
    // are then not read: a set of any size is written with one letter (hash)
    // or one 256th of the filings (flat) in memory at a time.
    DataSetWriter(const World& world, const WorldStream& stream, std::string root, DataSetKind kind);
    ~DataSetWriter();

    // Writes everything under the root, creating folders as needed, and
    // returns what was written. Throws WriterError.
    BuildReport write();

    // Writes the hash sections packed, as "<name>.SZP", as the USPS delivers
    // them; the headers still list the unpacked files. Each section must be a
    // whole number of 512-byte blocks.
    void setPacked(bool packed) { packed_ = packed; }
    // Folder of the temporary files that sort the filings (unnamed, gone
    // when the writer is); empty, the default: the root.
    void setTempFolder(std::string folder) { tempFolder_ = std::move(folder); }

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
    // One walk over the filings through the encoder of the kind; the keys of
    // dph.hsa, clk.hsb and business.lst are gathered on the way.
    void encodeFilings();
    // Hash: sections 1 to 9 of each letter on disc 1, its filter (0) on disc 2.
    void writeHashSections();
    // clk.flt.1 and clk.flt.2 on disc 1, clk.flt.3 on disc 2.
    void writeFlatFiles();
    // Disc 2, top level.
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
    // First 8 bytes of the SHA-1 of an address's EMDP: the business and daily delete key.
    Bytes addressKey(const Address& address, const std::string& where) const;
    // Nine-probe table of the digests of these EMDPs, at least bitTableBytes and 2 bytes each.
    Bytes addressBitTable(const std::vector<std::uint64_t>& emdps) const;
    // Appends the address's EMDP; an address without one is left out.
    void addKeys(std::vector<std::uint64_t>& emdps, const Address& address) const;
    // Writes one file; `listed` puts it on its disc's header.
    void emit(int disc, const std::string& relPath, const Bytes& data, bool listed = true);
    void emit(int disc, const std::string& relPath, const std::string& text, bool listed = true);
    // One hash section, packed or not.
    void emitSection(int disc, const std::string& name, const Bytes& data);
    // Opens a file for writing in pieces, creating its folder.
    std::ofstream openFile(int disc, const std::string& relPath, std::string& path);
    // Closes it and counts it, as emit() does.
    void closeFile(int disc, std::ofstream& out, const std::string& path, std::uint64_t size, bool listed = true);

    const World& world_;
    std::unique_ptr<WorldStream> ownStream_;
    const WorldStream& stream_;
    std::string root_, tempFolder_;
    Manifest manifest_;
    BuildReport report_;
    std::string date1_, date2_, date3_;
    std::vector<std::string> zips_, hints_;
    std::array<char, 100> letters_{};
    Rv9Data rv9_;
    LcdReplacements lcd_;
    std::unique_ptr<HashEncoder> hash_;
    DataSetKind kind_ = DataSetKind::Hash;
    std::unique_ptr<FlatEncoder> flat_;
    bool packed_ = false;
    // Gathered by encodeFilings: dph.hsa with the filings' keys, and the
    // EMDPs and business.lst rows of the business filings, in filing order.
    std::unique_ptr<BitTable> dph_;
    std::vector<std::uint64_t> businessEmdps_;
    std::vector<std::array<unsigned char, 48>> businessRows_;
};

// Today's local date as YYYYMMDD, and a YYYYMMDD date moved by `days`.
std::string todayYYYYMMDD();
std::string addDays(const std::string& yyyymmdd, int days);

} // namespace qvw
