#include "NCOA_Lookup.h"

#include <cstring>

#include "qvs_auth.h"

namespace QV_NCOA {

CNCOA_Lookup::CNCOA_Lookup(const CNCOA_DataTables& t, bool dbg) : CNCOA_RV9(t), tables(t), debug(dbg) { reset(); }

void CNCOA_Lookup::reset() {
    answer.init(false);
    savedAnswer.init(false);
    lookupName.blank();
    parsedName.blank();
    inputName.spcs();
    hyphenScratch.spcs();
    savedFirst.spcs();
    inputMiddle.spcs();
    zip5.spcs();
    res.clear();
    lookupGender = ' ';
    parsedGender = ' ';
    firstInitialTry = 'N';
    std::memset(searchKey, 0, sizeof searchKey);
    searchKey[0] = ' ';
    searchMode = 0;
    middleAsFirst = false;
    familyTried = false;
}

bool CNCOA_Lookup::doClks05c0(const NCOAInput& input, unsigned long emdp, eQVNCOA_BIFLookupMode /*mode*/) {
    reset();
    inputName.cpyIn(input.name.buf);
    zip5.cpyIn(input.zip9.buf, 5);

    for (int i = 0; i < 8; ++i) searchKey[1 + i] = static_cast<char>((emdp >> (56 - 8 * i)) & 0xFF);
    unsigned char emdpSha[20];
    qvs_auth_get_sha1(searchKey + 1, 8, emdpSha);
    answer.emdp = __builtin_bswap64(emdp);
    std::memcpy(answer.emdpSha, emdpSha, sizeof emdpSha);
    if (debug) {
        log("SHA Of EMDP:\t");
        dumpSha(emdpSha);
        log("Daily delete\t");
    }
    // The searches of the data set hang from here: daily delete, business
    // test, the name attempts and the forward search.
    return false;
}

}  // namespace QV_NCOA
