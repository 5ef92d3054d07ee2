// fuzz-libs: qvncoa_static qvwriter
// Business-name comparison of two arbitrary texts, by all three comparators.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "BusName.h"
#include "DataTables.h"
#include "FuzzSupport.h"
#include "NCOA.h"
#include "qvncoa.h"

namespace {
const QV_NCOA::CNCOA_DataTables& tablesOnce() {
    static void* obj = nullptr;  // held for the process: not a leak
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    if (qvncoa_init_data_obj(&obj, qvfuzz::sampleSet().c_str(), QV_SOURCE_DIR "/data/namekb", "", 2, nullptr, err, 0) !=
        QVNCOA_OK)
        std::abort();
    return *QV_NCOA::tablesOf(obj);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const QV_NCOA::CNCOA_DataTables& tables = tablesOnce();
    size_t cut = 0;
    while (cut < size && data[cut] != 0) ++cut;
    std::string one(reinterpret_cast<const char*>(data), cut);
    std::string two = cut < size ? std::string(reinterpret_cast<const char*>(data) + cut + 1, size - cut - 1) : "";
    for (char& c : two)
        if (c == 0) c = ' ';
    QV_NCOA::CNCOA_BusinessName_utas41c0 a;
    QV_NCOA::CNCOA_BusinessName_utqs41c0 q;
    QV_NCOA::CNCOA_BusinessName_utas31c0 w(tables);
    double s1 = a.compareStrings(one.c_str(), two.c_str());
    double s2 = q.compareStrings(one.c_str(), two.c_str());
    double s3 = w.compareStrings(one.c_str(), two.c_str());
    if (s1 != s1 || s2 != s2 || s3 != s3) std::abort();  // NaN
    return 0;
}
