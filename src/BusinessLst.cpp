#include "BusinessLst.h"

#include <cstring>

#include "DataTables.h"
#include "hx_fio.h"

namespace QV_NCOA {

namespace {
// The end mark: eight bytes 0xFF and forty 'Z'.
struct businessEndMark {
    unsigned char bytes[BusinessLstItem::SIZE];
    businessEndMark() {
        std::memset(bytes, 0xFF, 8);
        std::memset(bytes + 8, 'Z', BusinessLstItem::SIZE - 8);
    }
};
}  // namespace

bool CNCOA_BusinessLst::findLastValidIndex(size_t& count) {
    count = 0;
    QvbString path = tables_->getBusinessLstPath();
    hx_file* f = nullptr;
    hx_fio_open(path.asCstr(), HX_FIO_READ, &f);
    if (f == nullptr) return false;
    hx_fio_closer hold(f);
    static const businessEndMark endMark;
    unsigned char rec[BusinessLstItem::SIZE];
    while (hx_fio_getb(f, rec, sizeof rec) == static_cast<int64_t>(sizeof rec)) {
        if (std::memcmp(rec, endMark.bytes, sizeof rec) == 0) break;
        ++count;
    }
    return count != 0;
}

}  // namespace QV_NCOA
