// Delivery point verification: is the SHA-1 of a candidate's EMDP in the
// delivery point table (dph.hsa)?
#pragma once

namespace QV_NCOA {

class CNCOA_DataTables;

class CNCOA_RV9EMDPVerify {
public:
    explicit CNCOA_RV9EMDPVerify(const CNCOA_DataTables& t) : tables(t) {}

    // sha: 20 bytes. True when all nine probes of the table are set.
    bool verifyHash(const unsigned char* sha) const;

private:
    const CNCOA_DataTables& tables;
};

}  // namespace QV_NCOA
