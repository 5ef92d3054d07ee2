#include "BusinessLst.h"

#include <cstring>

#include "BusName.h"
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

bool CNCOA_GetBusinessName::getBusinessName(const unsigned char* key, const fixedString<40>& firm, char* out) {
    std::memset(out, ' ', 40);
    out[40] = '\0';
    BusinessLstItem probe;
    std::memcpy(probe.key, key, sizeof probe.key);
    std::memset(probe.name, 0, sizeof probe.name);
    // Eight 0xFF bytes are the end mark's key, never an address.
    static const unsigned char reserved[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    if (std::memcmp(probe.key, reserved, sizeof reserved) == 0) return false;

    // The thread's list, kept for its capacity: no allocation once grown.
    thread_local std::vector<BusinessLstItem> items;
    unsigned long first = 0;
    unsigned long last = 0;
    if (tables_->businessFile.attached) {
        CBinFileUtils<BusinessLstItem>::binSearchMulti(tables_->businessFile, probe, items, &BusinessLstItem::compare,
                                                       &BusinessLstItem::deserialize, BusinessLstItem::SIZE, first,
                                                       last, 0, tables_->businessLastIndex);
    } else {
        QvbString path = tables_->getBusinessLstPath();
        CBinFileUtils<BusinessLstItem>::binSearchMulti(path.asCstr(), probe, items, &BusinessLstItem::compare,
                                                       &BusinessLstItem::deserialize, BusinessLstItem::SIZE, first,
                                                       last, 0, tables_->businessLastIndex);
    }
    if (items.empty()) return false;
    return testBizItems(items, firm, out);
}

bool CNCOA_GetBusinessName::testBizItems(std::vector<BusinessLstItem>& items, const fixedString<40>& firm,
                                         char* out) {
    char firmText[81] = {};
    char itemText[81];
    // The firm name with its trailing blanks.
    std::memcpy(firmText, firm.buf, static_cast<size_t>(firm.size < 40 ? firm.size : 40));

    double best = 0.0;
    bool found = false;
    for (const BusinessLstItem& item : items) {
        std::memset(itemText, 0, sizeof itemText);
        std::memcpy(itemText, item.name, sizeof item.name);
        // Cheapest first; each gate is strict, so a score of exactly 0.5,
        // 0.6 or 0.7 fails. Fresh comparators for every item.
        if (!(CNCOA_BusinessName_utas41c0().compareStrings(firmText, itemText) > 0.5)) continue;
        if (!(CNCOA_BusinessName_utqs41c0().compareStrings(firmText, itemText) > 0.6)) continue;
        double score = CNCOA_BusinessName_utas31c0(*tables_).compareStrings(firmText, itemText);
        if (score > 0.7 && score > best) {
            best = score;
            std::memcpy(out, item.name, sizeof item.name);
            found = true;
        }
    }
    return found;
}

}  // namespace QV_NCOA
