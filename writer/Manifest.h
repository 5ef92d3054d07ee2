// The list of files each disc header proves, and the header text itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Encoding.h"

namespace qvw {

struct ManifestEntry {
    std::string name; // bare file name, as the header lists it
    std::string path; // where it was written
    std::uint64_t size = 0;
    Sha1Digest sha1{};
    bool digested = false; // size and sha1 known already (a file written packed)
};

// The fields of lines 0 to 6 of a disc header.
struct HeaderFields {
    std::string setName;
    char setLetter = 'A';
    char typeMark = 'N';
    int disc = 1;      // line 1: "<disc> OF <discs>"
    int discs = 2;
    std::string date1; // release date: the age of the data counts from it
    int sequence = 0;
    std::string date2; // cut-off date of the filings
    std::string date3; // expiry date
};

class Manifest {
public:
    // Registers a written file for the header of `disc` (1 or 2).
    void add(int disc, const std::string& name, const std::string& path);
    // Registers a file whose listed content is not what lies at `path`: a
    // packed file, listed by the name, size and SHA-1 it unpacks to.
    void addDigested(int disc, const std::string& name, const std::string& path, std::uint64_t size,
                     const Sha1Digest& sha1);
    // Reads every registered file back and records its size and SHA-1.
    void computeDigests();
    const std::vector<ManifestEntry>& entries(int disc) const { return discs_[disc - 1]; }

private:
    std::vector<ManifestEntry> discs_[2];
};

// Header text, columns counted from 0:
//   lines 0-6: a label in columns 0-17, the value from column 18; line 0 has
//   the set name in 18-67, the set letter in 68 and the type mark in 69;
//   line 1 reads "<disc> OF <discs>", the two digits in columns 18 and 23.
//   lines 7 on, one a file: name in 0-20, size right-aligned in 21-33, a
//   blank, then the 40 hexadecimal digits of the SHA-1 with one blank between
//   each two, which fills columns 35-113 exactly.
std::string formatHeader(const HeaderFields& fields, const std::vector<ManifestEntry>& files);

} // namespace qvw
