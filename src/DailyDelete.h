// Filings that the USPS has cancelled since the data set was made.
#pragma once

#include "BinFileUtils.h"
#include "DVDHeader.h"

namespace QV_NCOA {

class CNCOA_DataTables;

class CNCOA_DailyDeleteLookup {
public:
    explicit CNCOA_DailyDeleteLookup(const CNCOA_DataTables& t) : tables(t) {}

    // True when dailydel.dat holds the first 8 bytes of emdpSha under a
    // sequence newer than the header's; record then holds that row. A missing
    // file deletes nothing.
    bool isInDailyDelete(const unsigned char* emdpSha, const DVDHeader& header, DDRecord& record) const;

private:
    const CNCOA_DataTables& tables;
};

}  // namespace QV_NCOA
