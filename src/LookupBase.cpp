#include "LookupBase.h"

#include <algorithm>
#include <cstring>

namespace QV_NCOA {

void buildXOStripeTable(unsigned char (*rows)[7]) {
    unsigned char perm[7] = {1, 2, 3, 4, 5, 6, 7};
    for (int row = 0; row < kXOStripeRowCount; ++row) {
        std::memcpy(rows[row], perm, sizeof perm);
        std::next_permutation(perm, perm + 7);
    }
}

}  // namespace QV_NCOA
