#include "LCDTable.h"

#include "DataTables.h"

namespace QV_NCOA {

bool CNCOA_LCDTable::lookup(unsigned zip9, unsigned short& value) const {
    unsigned group = zip9 >> 16;
    // Nine-digit keys have groups inside the table; one past it has no rows.
    if (group >= kLcdSegmentCount) return false;
    const lcdSegment& seg = tables.lcdSegments[group];
    lcdEntry key{};
    key.zip9 = zip9;
    lcdEntry found{};
    unsigned long index = 0;
    unsigned long low = seg.first / 6, high = seg.last / 6;
    bool hit;
    if (!tables.lcdImage.empty())
        hit = CBinFileUtils<lcdEntry>::binSearchRawMem(tables.lcdImage.buf, tables.lcdImage.count, key, found, index,
                                                      &lcdEntry::compare, &lcdEntry::deserialize, 6, low, high);
    else if (tables.lcdFile.attached)
        hit = CBinFileUtils<lcdEntry>::binSearch(tables.lcdFile, key, found, index, &lcdEntry::compare,
                                                &lcdEntry::deserialize, 6, low, high);
    else
        hit = CBinFileUtils<lcdEntry>::binSearch(tables.getLCDPath().asCstr(), key, found, index, &lcdEntry::compare,
                                                &lcdEntry::deserialize, 6, low, high);
    if (hit) value = found.value;
    return hit;
}

}  // namespace QV_NCOA
