// Character classes of the hx_ layer: plain ASCII, independent of any locale,
// so that key building gives the same result on every machine.
#include "hx_fio.h"

namespace {

struct CtypeTable {
    unsigned char t[256];
    constexpr CtypeTable() : t() {
        for (int c = '0'; c <= '9'; ++c) t[c] = HX_CT_DIGIT;
        for (int c = 'A'; c <= 'Z'; ++c) t[c] = HX_CT_ALPHA;
        for (int c = 'a'; c <= 'z'; ++c) t[c] = HX_CT_ALPHA;
    }
};

constexpr CtypeTable kTable;

}  // namespace

extern const unsigned char hx_uchar_astype_table[256] = {
#define HX_ROW(b) kTable.t[b], kTable.t[b + 1], kTable.t[b + 2], kTable.t[b + 3], \
                  kTable.t[b + 4], kTable.t[b + 5], kTable.t[b + 6], kTable.t[b + 7]
#define HX_ROW64(b) HX_ROW(b), HX_ROW(b + 8), HX_ROW(b + 16), HX_ROW(b + 24), \
                    HX_ROW(b + 32), HX_ROW(b + 40), HX_ROW(b + 48), HX_ROW(b + 56)
    HX_ROW64(0), HX_ROW64(64), HX_ROW64(128), HX_ROW64(192)
#undef HX_ROW64
#undef HX_ROW
};
