// Is a firm at this address? A nine-probe bit table over the SHA-1 of the
// EMDP: clk.hsb, or dph.hsa on request.
#pragma once

namespace QV_NCOA {

class CNCOA_DataTables;

class CNCOA_CLKHSBTest {
public:
    explicit CNCOA_CLKHSBTest(const CNCOA_DataTables& t) : tables(t) {}

    // sha: 20 bytes. True when all nine bits are set.
    bool testEMDPHash(const unsigned char* sha, bool useDph) const;

private:
    const CNCOA_DataTables& tables;
};

}  // namespace QV_NCOA
