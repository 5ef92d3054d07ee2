// Four-digit replacements of the ZIP+4 used in the key, by ZIP+9.
#pragma once

namespace QV_NCOA {

class CNCOA_DataTables;

class CNCOA_LCDTable {
public:
    explicit CNCOA_LCDTable(const CNCOA_DataTables& t) : tables(t) {}
    bool lookup(unsigned zip9, unsigned short& value) const;

private:
    const CNCOA_DataTables& tables;
};

}  // namespace QV_NCOA
