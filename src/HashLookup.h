// Search of a hash data set: a nine-probe filter per ZIP group, then one
// byte from each of eight stripes, at places drawn from the search key's
// SHA-1 and, past a taken place, from the digests that follow it.
#pragma once

#include "LookupBase.h"
#include "hx_fio.h"

namespace QV_NCOA {

// True when n is below 1 or p[0] is 0: a digest block not made yet. A made
// block whose first byte is 0 is simply made again, to the same value.
bool testZeros(const unsigned char* p, int n);

// On the section files: clk.<letter>.hs0 is the filter, hs1 to hs8 the stripes.
class CNCOA_HashLookup : public CNCOA_LookupBase {
public:
    explicit CNCOA_HashLookup(const CNCOA_DataTables& t) : CNCOA_LookupBase(t) {}

    // Hands over to CNCOA_HashLookupMem when the sections are held in memory.
    bool doLookup(const unsigned char* sha, const char* zip5, LookupRes& res) override;

    // The filter test; found is 'Y' or 'N'. False when the letter's filter has no size.
    bool init_10c0(const unsigned char* sha, int group, char& found);
    // One byte of stripe 0..7 (file hs1..hs8); size is the stripes' byte size.
    bool init_01c0(int group, const unsigned char* sha, unsigned char stripe, unsigned size, unsigned char& value);

private:
    char currentLetter = 0;
    hx_fio_closer stripeFiles[8];
};

// The same search on the images of the section files in CNCOA_DataTables::hashImage.
class CNCOA_HashLookupMem : public CNCOA_LookupBase {
public:
    explicit CNCOA_HashLookupMem(const CNCOA_DataTables& t) : CNCOA_LookupBase(t) {}

    bool doLookup(const unsigned char* sha, const char* zip5, LookupRes& res) override;
    bool init_10c0(const unsigned char* sha, int group, char& found);
    bool init_01c0(int group, const unsigned char* sha, unsigned char stripe, unsigned size, unsigned char& value);

private:
    char currentLetter = 0;
};

}  // namespace QV_NCOA
