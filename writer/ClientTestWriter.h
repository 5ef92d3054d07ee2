// A client test input file for a world, in the USPS layout that certification
// runs use: one header line, then one detail line per record with a free-form
// name, address line and last line for the address verifier to read. Lines
// are 300 bytes, or 1000 in the stage-one layout, each ending in "\r\n"; the
// fields stand in the same columns in both.
//
// Records: every filing's name at its old address (a family filing under a
// stand-in first name, a business under its firm name), then one name that
// filed nowhere at each distinct old address. A filing whose old address lies
// in no range of the world has no address line and is left out.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "World.h"

namespace qvw {

// Columns of a detail line.
struct ClientTestLayout {
    static constexpr std::size_t leadCol = 0, leadWidth = 28;
    static constexpr std::size_t leadMarkCol = 28;
    static constexpr std::size_t nameCol = 29, nameWidth = 66;
    static constexpr std::size_t nameMarkCol = 95;
    static constexpr std::size_t midCol = 96, midWidth = 28;
    static constexpr std::size_t addressCol = 124, addressWidth = 67;
    static constexpr std::size_t addressMarkCol = 191;
    static constexpr std::size_t lastLineCol = 192, lastLineWidth = 42;
    static constexpr std::size_t lineBytes = 300, stageOneLineBytes = 1000;
};

struct ClientTestRecord {
    std::string lead;       // record id
    char leadMark = 'N';    // 'Y': a filing stands behind the record
    std::string name;
    char nameMark = 'N';    // the filing's kind: 'I', 'F', 'B'; 'N' for none
    std::string mid;        // what the record is, for people reading the file
    std::string address;    // address line
    char addressMark = 'S'; // record type of the address's range
    std::string lastLine;   // city, state, ZIP+4
    int filing = -1;        // index into World::filings, -1 for a name that filed nowhere
    Address at;             // the address the lines stand for
};

struct ClientTestSummary {
    std::size_t records = 0, filings = 0, misses = 0, skipped = 0;
};

// The first name under which a family filing's record is written.
inline constexpr const char* kFamilyStandInFirst = "PAT";
// The name of the records that find nothing.
inline constexpr const char* kNobodyName = "ZANE NOBODY";

// The address line of a verified address from the world's ranges: "120 W
// 34TH ST", "1100 WILSON BLVD STE 210", "PO BOX 12", "RR 2 BOX 7". Empty when
// no range holds it; `recordType` gets the range's type.
std::string clientTestAddressLine(const World& world, const Address& address, char& recordType);
// "NEW YORK NY 10001-1234"; without a place of the ZIP only the ZIP.
std::string clientTestLastLine(const World& world, const Address& address);

std::vector<ClientTestRecord> clientTestRecords(const World& world, ClientTestSummary& summary);

// The header's first 43 columns: an 8-character file mark, the data set's
// sequence (6 digits), the record count (4 digits, 9999 at most), its
// release, cut-off and expiry dates (YYYYMMDD) and a layout flag ('S' for
// stage one, 'N' otherwise).
std::string clientTestHeader(const World& world, std::size_t records, bool stageOne);
// One line of `width` bytes, "\r\n" included.
std::string clientTestLine(const ClientTestRecord& record, std::size_t width);

// Writes the file; throws WriterError when it can't be written.
ClientTestSummary writeClientTestFile(const World& world, const std::string& path, bool stageOne);

} // namespace qvw
