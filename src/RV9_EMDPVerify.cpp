#include "RV9_EMDPVerify.h"

#include "ClkHsb_Test.h"

namespace QV_NCOA {

bool CNCOA_RV9EMDPVerify::verifyHash(const unsigned char* sha) const {
    CNCOA_CLKHSBTest test(tables);
    return test.testEMDPHash(sha, true);
}

}  // namespace QV_NCOA
