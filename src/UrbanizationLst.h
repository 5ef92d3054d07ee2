// Urbanization name of an answer's ZIP+4.
#pragma once

#include "fixedString.h"

namespace QV_NCOA {

class CNCOA_DataTables;

class CNCOA_UrbanizationLst {
public:
    explicit CNCOA_UrbanizationLst(const CNCOA_DataTables& t) : tables(t) {}
    bool getUrbanizationName(const char* zip9, fixedString<28>& name) const;

private:
    const CNCOA_DataTables& tables;
};

}  // namespace QV_NCOA
