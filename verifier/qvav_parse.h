// Parsing and standardisation of one address by USPS Publication 28: the
// delivery line(s) into house number, directionals, street name, suffix and
// unit, or into the PO box, rural route, highway contract and military forms;
// the last line into city, state, ZIP and ZIP+4. Works in fixed buffers only.
#pragma once

#include <cstddef>

namespace qvav {

// Why a delivery line gave no street address.
enum ParseProblem {
    PARSE_OK = 0,
    PARSE_EMPTY,       // nothing but blanks
    PARSE_UNUSABLE,    // no letter or digit
    PARSE_NO_STREET,   // a number but no street name
    PARSE_NO_PRIMARY,  // a street name but no house or box number
};

struct Parsed {
    char primary[41];
    char predir[3];
    char street[41];
    char suffix[5];
    char postdir[3];
    char designator[5];
    char secondary[41];
    char urbanization[41];
    char city[41];
    char state[3];
    char zip[6];
    char zip4[5];
    char kind;     // 'S' street, 'P' PO box, 'R' rural route or highway contract, 'M' military,
                   // 'G' general delivery
    int problem;   // ParseProblem
    bool ordinalAdded;  // "34 ST" read as "34TH ST": the bare number is tried too
};

// Reads up to this many bytes of each line; the rest is ignored.
constexpr std::size_t kMaxLine = 300;

// Any argument may be null. Never fails: what cannot be read is left blank
// and told by `problem`.
void parseAddress(const char* urbanization, const char* line1, const char* line2, const char* lastLine,
                  Parsed& out);

// The last line alone (city, state, ZIP, ZIP+4 of out).
void parseLastLine(const char* lastLine, Parsed& out);

}  // namespace qvav
