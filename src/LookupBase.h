// Decoding of the eight result bytes of a hit.
#pragma once

namespace QV_NCOA {

enum { kXOStripeRowCount = 5040 };

// Fills rows[0..5039] with the permutations of 1..7 in lexicographic order:
// row 0 is 1 2 3 4 5 6 7, row 5039 is 7 6 5 4 3 2 1. rows is the buffer of
// CNCOA_DataTables::xoStripeTable, allocated by the caller.
void buildXOStripeTable(unsigned char (*rows)[7]);

}  // namespace QV_NCOA
