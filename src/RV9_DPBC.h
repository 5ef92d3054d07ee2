// Delivery point of a street, firm or other record from its primary number,
// and the 12-character code (ZIP+4, delivery point, check digit).
#pragma once

#include "RV9_ParseNum.h"
#include "fixedString.h"

namespace QV_NCOA {

class CNCOA_RV9DPBC {
public:
    // result: 9 digits of ZIP+4, 2 of delivery point, 1 check digit; all
    // "0" when the ZIP+4 is not numeric.
    void makeDPBC(int primaryLen, const char* primary, const char* zip4, fixedString<12>& result);

    // Prints zip9 and the delivery point with their check digit into code;
    // returns the check digit. Shared with the high-rise computation.
    static int do1005MoveToOutstuff(const char* zip9, int deliveryPoint, fixedString<12>& code);

private:
    parseRes parsed;
    int deliveryPoint = 99;
};

}  // namespace QV_NCOA
