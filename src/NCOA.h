// The driver of one record: clean-up, key, search, and the arbitration of
// what the caller finally sees.
#pragma once

#include "NCOA_Lookup.h"

namespace QV_NCOA {

class CNCOA_Main : public CNCOA_Lookup {
public:
    CNCOA_Main(const CNCOA_DataTables& tables, bool debug);

    bool doNCOA(NCOAInput& input, NCOAAnswer& answer, eQVNCOA_BIFLookupMode mode);

private:
    bool debug;
    const CNCOA_DataTables& tables;
};

// The record driver entry shared by both lookups: search, months since the
// move, and the boundary record.
int doIt(NCOAInput& in, void* dataObj, qvncoa_out_addr_t* out, int mode, int medMonths, unsigned flags);

// The caller's month limit: below 6 means none (0), above 48 is 48.
int clampMedMonths(int medMonths);

}  // namespace QV_NCOA
