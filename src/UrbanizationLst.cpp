#include "UrbanizationLst.h"

#include <cstring>

#include "DataTables.h"

namespace QV_NCOA {

bool CNCOA_UrbanizationLst::getUrbanizationName(const char* zip9, fixedString<28>& name) const {
    urbanizationStruct key{};
    std::memcpy(key.zip9, zip9, 9);
    urbanizationStruct found{};
    unsigned long index = 0;
    bool hit = tables.urbxFile.attached
                   ? CBinFileUtils<urbanizationStruct>::binSearch(tables.urbxFile, key, found, index,
                                                                  &urbanizationStruct::compare,
                                                                  &urbanizationStruct::deserialize, 38, 0, 0)
                   : CBinFileUtils<urbanizationStruct>::binSearch(tables.getUrbxLstPath().asCstr(), key, found,
                                                                  index, &urbanizationStruct::compare,
                                                                  &urbanizationStruct::deserialize, 38, 0, 0);
    name.spcs();
    if (hit) name.cpyIn(found.name, 28);
    return hit;
}

}  // namespace QV_NCOA
