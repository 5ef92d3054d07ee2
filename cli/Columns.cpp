#include "Columns.h"

#include <cctype>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace ncoa_cli {
namespace {

const char* const kFieldNames[kInputFields] = {"name",  "firm",     "pno",  "sno",   "desc",
                                               "zip",   "addon",    "type", "address", "address2",
                                               "city",  "state",    "lastline", "urbanization"};

// Header names recognised for each field, most specific first, in the form
// normalise() gives them.
const std::vector<std::vector<std::string>>& aliases() {
    static const std::vector<std::vector<std::string>> a = {
        /* name */ {"name", "fullname", "contactname", "personname", "individualname", "customername", "addressee",
                    "recipient", "contact", "customer"},
        /* firm */ {"firm", "firmname", "company", "companyname", "business", "businessname", "organization",
                    "organisation"},
        /* pno */ {"primarynumber", "pno", "primaryno", "housenumber", "houseno", "streetnumber", "addressnumber",
                   "number", "primary", "hno"},
        /* sno */ {"secondarynumber", "sno", "secondaryno", "unitnumber", "aptnumber", "apartmentnumber",
                   "suitenumber", "unit", "apt", "apartment", "suite", "secondary"},
        /* desc */ {"secondarydesignator", "designator", "desc", "secondarytype", "unittype", "apttype",
                    "secondarydesig"},
        /* zip */ {"zip9", "zip+4", "zipplus4", "fullzip", "zip", "zipcode", "zip5", "postalcode", "postcode"},
        /* addon */ {"addon", "zip4", "plus4", "zipaddon", "zip4addon", "addoncode", "zip4code", "zipext",
                     "zipextension"},
        /* type */ {"recordtype", "rectype", "addresstype", "addrtype", "dpvrecordtype"},
        /* address */ {"addressline", "addressline1", "address", "address1", "deliveryaddress", "deliveryline",
                       "streetaddress", "street", "addr", "addr1", "line1"},
        /* address2 */ {"addressline2", "address2", "addr2", "line2", "deliveryaddress2", "secondaryaddress"},
        /* city */ {"city", "cityname", "town"},
        /* state */ {"state", "st", "statecode", "stateabbr", "stateabbreviation"},
        /* lastline */ {"lastline", "cityline", "citystatezip", "csz"},
        /* urbanization */ {"urbanization", "urb", "urbanizacion"},
    };
    return a;
}

// Lower case, letters, digits and '+' only: "ZIP+4" -> "zip+4", "House No." -> "houseno".
std::string normalise(std::string_view s) {
    std::string out;
    for (unsigned char c : s)
        if (std::isalnum(c) || c == '+') out += static_cast<char>(std::tolower(c));
    return out;
}

std::string columnList(const std::vector<std::string>& header) {
    std::string s;
    for (const auto& h : header) {
        if (!s.empty()) s += ", ";
        s += '"' + h + '"';
    }
    return s;
}

int fieldByName(const std::string& name) {
    const std::string n = normalise(name);
    for (int f = 0; f < kInputFields; ++f)
        if (n == kFieldNames[f]) return f;
    if (n == "primary" || n == "primarynumber") return kPno;
    if (n == "secondary" || n == "secondarynumber") return kSno;
    if (n == "designator" || n == "secondarydesignator") return kDesc;
    if (n == "zip4" || n == "plus4") return kAddon;
    if (n == "recordtype") return kType;
    return -1;
}

std::string_view trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
    return s;
}

template <std::size_t N>
void copyText(char (&dst)[N], std::string_view s) {
    s = trim(s);
    const std::size_t n = s.size() < N - 1 ? s.size() : N - 1;
    if (n > 0) std::memcpy(dst, s.data(), n);
    dst[n] = '\0';
}

// Digits of s, at most max, into dst; their count.
std::size_t digitsOf(std::string_view s, char* dst, std::size_t max) {
    std::size_t n = 0;
    for (char c : s)
        if (c >= '0' && c <= '9' && n < max) dst[n++] = c;
    return n;
}

// Unit designators as lists write them, and the USPS abbreviation.
const char* designatorOf(std::string_view word) {
    static const char* const table[][2] = {
        {"APT", "APT"},   {"APARTMENT", "APT"}, {"STE", "STE"},   {"SUITE", "STE"}, {"UNIT", "UNIT"},
        {"RM", "RM"},     {"ROOM", "RM"},       {"FL", "FL"},     {"FLOOR", "FL"},  {"BLDG", "BLDG"},
        {"BUILDING", "BLDG"}, {"DEPT", "DEPT"}, {"LOT", "LOT"},   {"SPC", "SPC"},   {"SPACE", "SPC"},
        {"TRLR", "TRLR"}, {"PH", "PH"},         {"BSMT", "BSMT"}, {"OFC", "OFC"},   {"OFFICE", "OFC"},
    };
    char up[16];
    if (word.empty() || word.size() >= sizeof up) return nullptr;
    for (std::size_t i = 0; i < word.size(); ++i)
        up[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(word[i])));
    const std::string_view u(up, word.size());
    for (const auto& row : table)
        if (u == row[0]) return row[1];
    return nullptr;
}

// The number and unit of an address line: "120 W 34TH ST APT 4B".
void splitAddressLine(std::string_view line, LookupInput& in, bool wantPno, bool wantUnit) {
    std::string_view tok[64];
    std::size_t n = 0;
    std::size_t i = 0;
    while (i < line.size() && n < 64) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == ',')) ++i;
        std::size_t s = i;
        while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != ',') ++i;
        if (i > s) tok[n++] = line.substr(s, i - s);
    }
    if (n == 0) return;
    if (wantPno && tok[0][0] >= '0' && tok[0][0] <= '9') copyText(in.pno, tok[0]);
    if (!wantUnit || n < 2) return;
    const std::string_view last = tok[n - 1];
    if (last[0] == '#' && last.size() > 1) {
        copyText(in.desc, "#");
        copyText(in.sno, last.substr(1));
    } else if (n >= 3) {
        if (const char* d = designatorOf(tok[n - 2])) {
            copyText(in.desc, d);
            copyText(in.sno, last);
        } else if (tok[n - 2] == "#") {
            copyText(in.desc, "#");
            copyText(in.sno, last);
        }
    }
}

}  // namespace

const char* inputFieldName(int field) { return kFieldNames[field]; }

ColumnMap ColumnMap::find(const std::vector<std::string>& header, const std::vector<std::string>& maps) {
    ColumnMap m;
    for (int& c : m.col) c = -1;
    std::vector<bool> used(header.size(), false);

    for (const std::string& entry : maps) {
        const std::size_t eq = entry.find('=');
        if (eq == std::string::npos)
            throw std::runtime_error("--map " + entry + ": FIELD=COLUMN expected");
        const int field = fieldByName(entry.substr(0, eq));
        if (field < 0)
            throw std::runtime_error("--map " + entry +
                                     ": unknown field (name, firm, pno, sno, desc, zip, addon, type, address, "
                                     "address2, city, state, lastline, urbanization)");
        const std::string column = entry.substr(eq + 1);
        int found = -1;
        for (std::size_t i = 0; i < header.size() && found < 0; ++i)
            if (header[i] == column) found = static_cast<int>(i);
        for (std::size_t i = 0; i < header.size() && found < 0; ++i)
            if (normalise(header[i]) == normalise(column)) found = static_cast<int>(i);
        if (found < 0)
            throw std::runtime_error("--map " + entry + ": the list has no column \"" + column +
                                     "\" (columns: " + columnList(header) + ")");
        m.col[field] = found;
        used[static_cast<std::size_t>(found)] = true;
    }

    std::vector<std::string> norm;
    for (const auto& h : header) norm.push_back(normalise(h));
    for (int f = 0; f < kInputFields; ++f) {
        if (m.col[f] >= 0) continue;
        for (const std::string& alias : aliases()[static_cast<std::size_t>(f)]) {
            for (std::size_t i = 0; i < header.size() && m.col[f] < 0; ++i)
                if (!used[i] && norm[i] == alias) {
                    m.col[f] = static_cast<int>(i);
                    used[i] = true;
                }
            if (m.col[f] >= 0) break;
        }
    }

    if (m.col[kZip] >= 0) {
        const std::string zip = normalise(header[static_cast<std::size_t>(m.col[kZip])]);
        for (const char* nine : {"zip9", "zip+4", "zipplus4", "fullzip"}) m.zipIsNine |= zip == nine;
    }
    return m;
}

namespace {

std::runtime_error missingColumn(const std::vector<std::string>& header, const char* what, const char* field) {
    return std::runtime_error(std::string("the list has no ") + what + " column; name it with --map " + field +
                              "=COLUMN (columns: " + columnList(header) + ")");
}

}  // namespace

ColumnMap ColumnMap::resolve(const std::vector<std::string>& header, const std::vector<std::string>& maps) {
    const ColumnMap m = find(header, maps);
    if (!m.freeForm() && m.col[kZip] < 0 && m.col[kAddon] < 0) throw missingColumn(header, "ZIP", "zip");
    if (m.col[kName] < 0 && m.col[kFirm] < 0) throw missingColumn(header, "name", "name");
    if (m.freeForm()) return m;
    if (m.col[kPno] < 0 && m.col[kAddress] < 0) throw missingColumn(header, "primary number or address line", "pno");
    return m;
}

bool ColumnMap::freeForm() const {
    return col[kAddress] >= 0 && col[kAddon] < 0 && !zipIsNine &&
           (col[kLastLine] >= 0 || col[kZip] >= 0 || (col[kCity] >= 0 && col[kState] >= 0));
}

void ColumnMap::requireFreeForm(const std::vector<std::string>& header) const {
    if (col[kAddress] < 0) throw missingColumn(header, "address line", "address");
    if (col[kLastLine] < 0 && col[kZip] < 0 && (col[kCity] < 0 || col[kState] < 0))
        throw missingColumn(header, "last line (or city and state, or ZIP)", "lastline");
}

std::string ColumnMap::describe(const std::vector<std::string>& header) const {
    std::string s;
    for (int f = 0; f < kInputFields; ++f) {
        if (col[f] < 0) continue;
        if (!s.empty()) s += ", ";
        s += std::string(kFieldNames[f]) + "=" + header[static_cast<std::size_t>(col[f])];
    }
    return s;
}

void buildLookupInput(const ColumnMap& map, const CsvRecord& row, LookupInput& in) {
    const auto get = [&](int f) { return map.col[f] >= 0 ? row.field(static_cast<std::size_t>(map.col[f])) : std::string_view(); };

    copyText(in.name, get(kName));
    if (in.name[0] == '\0') copyText(in.name, get(kFirm));
    copyText(in.pno, get(kPno));
    copyText(in.sno, get(kSno));
    copyText(in.desc, get(kDesc));
    if (map.col[kAddress] >= 0 && (map.col[kPno] < 0 || map.col[kSno] < 0))
        splitAddressLine(get(kAddress), in, map.col[kPno] < 0, map.col[kSno] < 0);

    char zip[9];
    std::size_t n = digitsOf(get(kZip), zip, 9);
    if (n == 3 || n == 4) {  // a ZIP stored as a number loses its leading zeros
        std::memmove(zip + 5 - n, zip, n);
        std::memset(zip, '0', 5 - n);
        n = 5;
    }
    if (n == 5 || n == 0) {
        char addon[9];
        std::size_t a = digitsOf(get(kAddon), addon, 9);
        if (n == 0 && a == 9) {
            std::memcpy(zip, addon, 9);
            n = 9;
        } else if (n == 5 && a >= 1 && a <= 4) {
            std::memset(zip + 5, '0', 4 - a);
            std::memcpy(zip + 9 - a, addon, a);
            n = 9;
        }
    }
    std::memcpy(in.zip9, zip, n);
    in.zip9[n] = '\0';

    const std::string_view type = trim(get(kType));
    in.recordType = type.empty() ? ' ' : type.front();
}

void buildFreeFormInput(const ColumnMap& map, const CsvRecord& row, FreeFormInput& in) {
    const auto get = [&](int f) {
        return trim(map.col[f] >= 0 ? row.field(static_cast<std::size_t>(map.col[f])) : std::string_view());
    };
    const auto join = [](std::string& to, std::string_view part, const char* glue) {
        if (part.empty()) return;
        if (!to.empty()) to += glue;
        to += part;
    };
    in.name.assign(get(kName));
    in.firm.assign(get(kFirm));
    in.urbanization.assign(get(kUrbanization));
    in.addressLine.clear();
    for (int f : {kPno, kAddress, kDesc, kSno}) join(in.addressLine, get(f), " ");
    in.addressLine2.assign(get(kAddress2));
    in.lastLine.assign(get(kLastLine));
    if (in.lastLine.empty()) {
        join(in.lastLine, get(kCity), "");
        join(in.lastLine, get(kState), ", ");
        join(in.lastLine, get(kZip), " ");
    }
}

int parseMode(const std::string& text) {
    const std::string n = normalise(text);
    if (n == "0" || n == "all" || n == "standard") return eBIF_All;
    if (n == "1" || n == "business") return eBIF_BusinessOnly;
    if (n == "2" || n == "individual") return eBIF_IndividualOnly;
    if (n == "3" || n == "businessindividual") return eBIF_BusinessIndividual;
    if (n == "4" || n == "individualfamily" || n == "family") return eBIF_IndividualFamily;
    throw std::invalid_argument("unknown mode \"" + text +
                                "\" (all, business, individual, business-individual, individual-family)");
}

}  // namespace ncoa_cli
