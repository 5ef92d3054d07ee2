// Decoding of the eight result bytes of a hit, shared by the hash and flat
// lookups.
#pragma once

#include "NCOA_Types.h"

namespace QV_NCOA {

class CNCOA_DataTables;

enum { kXOStripeRowCount = 5040 };

// Fills rows[0..5039] with the permutations of 1..7 in lexicographic order:
// row 0 is 1 2 3 4 5 6 7, row 5039 is 7 6 5 4 3 2 1. rows is the buffer of
// CNCOA_DataTables::xoStripeTable, allocated by the caller.
void buildXOStripeTable(unsigned char (*rows)[7]);

// The decade of a one-digit move year, seen from currentYear: at most one year
// ahead and five back. False for the digits 2 to 4 years ahead or 6 to 8
// years back, and for distances of 10 or more, which no filing may carry.
bool decadeOfYearDigit(unsigned yearDigit, int currentYear, unsigned long& decade);

class CNCOA_LookupBase {
public:
    explicit CNCOA_LookupBase(const CNCOA_DataTables& t) : tables(t) {}
    virtual ~CNCOA_LookupBase() = default;
    CNCOA_LookupBase(const CNCOA_LookupBase&) = delete;
    CNCOA_LookupBase& operator=(const CNCOA_LookupBase&) = delete;

    // sha is the 20-byte search key, zip5 the input's ZIP. True for a hit
    // that decoded into res.
    virtual bool doLookup(const unsigned char* sha, const char* zip5, LookupRes& res) = 0;

    // data: the 8 bytes found. The first seven are base-254 digits (each
    // stored plus 1) shuffled by the permutation that the key selects; the
    // eighth is the hint index.
    bool calcResults(const unsigned char* sha, const unsigned char* data, LookupRes& res) const;
    bool calcResults_int(const unsigned long* values, unsigned char hintIndex, LookupRes& res) const;
    int getCurrentYear() const;

protected:
    const CNCOA_DataTables& tables;
};

}  // namespace QV_NCOA
