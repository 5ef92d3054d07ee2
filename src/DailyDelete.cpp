#include "DailyDelete.h"

#include <cstring>

#include "DataTables.h"

namespace QV_NCOA {

bool CNCOA_DailyDeleteLookup::isInDailyDelete(const unsigned char* emdpSha, const DVDHeader& header,
                                              DDRecord& record) const {
    const MappedFile& file = tables.dailyDelFile;
    DDRecord key{};
    std::memcpy(key.key, emdpSha, sizeof key.key);
    DDRecord found{};
    unsigned long index = 0;
    if (file.attached) {
        // The file is optional: one absent at start-up is never searched.
        if (!file.exists()) return false;
        if (!CBinFileUtils<DDRecord>::binSearch(file, key, found, index, &DDRecord::compare, &DDRecord::deserialize,
                                                DDRecord::SIZE, 0, 0))
            return false;
    } else {
        QvbString path = tables.getDailyDelDatPath();
        if (hx_fio_stat(path.asCstr(), nullptr) != 0) return false;
        if (!CBinFileUtils<DDRecord>::binSearch(path.asCstr(), key, found, index, &DDRecord::compare,
                                                &DDRecord::deserialize, DDRecord::SIZE, 0, 0))
            return false;
    }
    // A deletion the data set already contains (same or older sequence) does not count.
    if (static_cast<unsigned>(found.sequence) <= static_cast<unsigned>(header.sequence)) return false;
    record = found;
    return true;
}

}  // namespace QV_NCOA
