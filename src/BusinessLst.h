// business.lst: firm names by 8-byte address key, 48-byte records sorted on
// the key, closed by an optional end mark; and the pick of the listed name
// that is most like the caller's spelling of a firm.
#pragma once

#include <cstddef>
#include <vector>

#include "BinFileUtils.h"
#include "fixedString.h"

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

class CNCOA_GetBusinessName {
public:
    explicit CNCOA_GetBusinessName(const CNCOA_DataTables& tables) : tables_(&tables) {}

    // key: the 8-byte address key. out (41 bytes) gets the picked listed name
    // or 40 blanks, and a NUL. True when a name was picked.
    bool getBusinessName(const unsigned char* key, const fixedString<40>& firm, char* out);

    // The cascade over the names of one key: utas41c0 above 0.5, utqs41c0
    // above 0.6, then the best utas31c0 above 0.7; the first item keeps a tie.
    bool testBizItems(std::vector<BusinessLstItem>& items, const fixedString<40>& firm, char* out);

private:
    const CNCOA_DataTables* tables_;
};

}  // namespace QV_NCOA
