// Turns a coded move result into a complete new address.
#pragma once

namespace QV_NCOA {

class CNCOA_DataTables;

class CNCOA_RV9 {
public:
    explicit CNCOA_RV9(const CNCOA_DataTables& t) : tables(t) {}
    virtual ~CNCOA_RV9() = default;

protected:
    const CNCOA_DataTables& tables;
};

}  // namespace QV_NCOA
