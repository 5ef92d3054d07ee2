// business.lst: firm names by 8-byte address key, 48-byte records sorted on
// the key, closed by an optional end mark.
#pragma once

#include <cstddef>

namespace QV_NCOA {

class CNCOA_DataTables;

class CNCOA_BusinessLst {
public:
    explicit CNCOA_BusinessLst(const CNCOA_DataTables& tables) : tables_(&tables) {}

    // count := the records in front of the end mark (all whole records when
    // there is none), so one past the last valid index in spite of the name.
    // False when the file doesn't open or holds no real record.
    bool findLastValidIndex(size_t& count);

private:
    const CNCOA_DataTables* tables_;
};

}  // namespace QV_NCOA
