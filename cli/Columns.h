// Which columns of a mailing list hold the parts of a lookup's input, and
// the input record built from one row of it.
#pragma once

#include <string>
#include <vector>

#include "Csv.h"
#include "qvncoa.h"

namespace ncoa_cli {

enum InputField {
    kName, kFirm, kPno, kSno, kDesc, kZip, kAddon, kType, kAddress,
    kAddress2, kCity, kState, kLastLine, kUrbanization,
    kInputFields
};

// Field names as --map takes them: name, firm, pno, sno, desc, zip, addon, type,
// address, address2, city, state, lastline, urbanization.
const char* inputFieldName(int field);

struct ColumnMap {
    int col[kInputFields];  // column index, -1 when the list has none
    bool zipIsNine = false; // the ZIP column's name says ZIP+4 ("ZIP9", "ZIP+4", "Full ZIP")

    // Recognises the usual column names of the header; `maps` are --map
    // entries FIELD=COLUMN, which win. Throws std::runtime_error with a
    // message naming the header when the list lacks what a lookup needs.
    static ColumnMap resolve(const std::vector<std::string>& header, const std::vector<std::string>& maps);
    // The columns only, without asking for those of a lookup.
    static ColumnMap find(const std::vector<std::string>& header, const std::vector<std::string>& maps);

    // An address as people keep it: an address line and a last line (or its
    // city, state or ZIP), and no ZIP+4 (no add-on column, no ZIP column
    // named for nine digits). Such a list is verified.
    bool freeForm() const;
    // Throws, naming the header, when there is no address line or last line.
    void requireFreeForm(const std::vector<std::string>& header) const;

    // "name=Full Name, pno=House, zip=ZIP" for the user.
    std::string describe(const std::vector<std::string>& header) const;
};

// The texts of one lookup, in fixed arrays sized as the library reads them.
struct LookupInput {
    char name[41];
    char pno[11];
    char sno[9];
    char zip9[10];
    char desc[5];
    char recordType;

    qvncoa_in_addr_t view() const { return {name, pno, sno, zip9, desc, recordType}; }
};

// Fills `in` from a row. Texts are trimmed and cut to the library's widths.
// A name column left blank takes the firm column. Without primary or
// secondary number columns, they come from an address line column: its
// leading number and a trailing unit ("APT 4", "STE 210", "#5"). The ZIP is
// the ZIP column's digits (a 9-digit ZIP+4 as it stands, three or four digits
// as a ZIP whose leading zeros were lost) followed by the add-on column's four.
void buildLookupInput(const ColumnMap& map, const CsvRecord& row, LookupInput& in);

// The texts of a free-form address for the verifier. The address line is
// the primary number, address, designator and secondary number columns, and
// the second address line, as far as the list has them; the last line is its
// own column or "CITY, ST ZIP".
struct FreeFormInput {
    std::string name, firm, urbanization, addressLine, addressLine2, lastLine;
};
void buildFreeFormInput(const ColumnMap& map, const CsvRecord& row, FreeFormInput& in);

// A mode name or number: all|standard (0), business (1), individual (2),
// business-individual (3), individual-family|family (4).
int parseMode(const std::string& text);

}  // namespace ncoa_cli
