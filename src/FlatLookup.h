// Search of a flat data set: three files of 18-byte records sorted by nine
// bytes of the search key's SHA-1, bisected on disk or in memory, narrowed by
// the prefix index when one is in force. A record's eight data bytes open
// with one Rijndael block whose key comes from the search key itself.
#pragma once

#include "BinFileUtils.h"
#include "LookupBase.h"

namespace QV_NCOA {

class CNCOA_FlatLookup : public CNCOA_LookupBase {
public:
    explicit CNCOA_FlatLookup(const CNCOA_DataTables& t) : CNCOA_LookupBase(t) {}

    // sha: the SHA-1 of the 49-byte key. zip5 is not used.
    bool doLookup(const unsigned char* sha, const char* zip5, LookupRes& res) override;
    // The record of key (nine bytes) in flat file 0, 1 or 2.
    bool getFLTRecord(const unsigned char* key, fltRecord& record, int file);
};

// The 16 bytes that open a record found under sha: the Rijndael encryption
// (24-byte key, 16-byte block) of the first 16 bytes of h1 = SHA-1(sha),
// under the last four bytes of h1 followed by h2 = SHA-1(h1). Throws what
// the cipher throws.
void flatRecordPad(const unsigned char* sha, unsigned char* pad);

}  // namespace QV_NCOA
