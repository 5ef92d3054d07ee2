// The EMDP: the 64-bit key of an old address, built exactly as the USPS built
// the data set, so that differently written forms of one address agree.
#pragma once

#include "fixedString.h"

namespace QV_NCOA {

class CNCOA_DataTables;

class CNCOA_EMDP {
public:
    explicit CNCOA_EMDP(const CNCOA_DataTables& t) : tables(t) {}

    bool getEMDP(const fixedString<9>& zip9, const fixedString<10>& pno, const fixedString<4>& desc,
                 const fixedString<8>& sno, unsigned long& emdp, fixedString<4>& zip4Used);

private:
    static void replacePrimaryNumLeadingSequences(char* pno);
    static void replaceHalfsInPrimaryNum(char* pno);
    static void replaceHalfsInSecondaryNum(char* sno);
    static void truncateSecondaryDirectionals(char* sno);
    static bool isHalf(const char* s, int i);
    static void fillDigitAlBufs(const char* combined, fixedString<7>& digitBuf, fixedString<2>& alphaBuf);

    const CNCOA_DataTables& tables;
};

}  // namespace QV_NCOA
