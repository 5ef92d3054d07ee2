// bench-libs: qvwriter qvncoa_static
// getNewAddress calls per second on a ZIP+4 of 36 ranges: a high-rise of 30
// floors of 20 units, its word units and two street addresses. Units on every
// fourth floor share delivery points, so each code explodes all ranges and
// leaves several candidates for the hint or the delivery point table.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "DataSetWriter.h"
#include "DataTables.h"
#include "NCOA.h"
#include "RV9.h"
#include "World.h"
#include "qvncoa.h"

namespace fs = std::filesystem;

namespace {

std::string buildingWorld() {
    std::string ranges;
    auto add = [&](const std::string& r) { ranges += (ranges.empty() ? "" : ",\n") + r; };
    const std::string common = R"("zip": "30301", "addon_low": "1234", "primary_low": ")";
    for (int floor = 1; floor <= 30; ++floor) {
        char low[16], high[16];
        std::snprintf(low, sizeof low, "%08d", floor * 100 + 1);
        std::snprintf(high, sizeof high, "%08d", floor * 100 + 20);
        add("{" + common + R"(0000000500", "type": "H", "street": "PEACHTREE", "suffix": "ST", "designator": "APT", )" +
            R"("secondary_low": ")" + low + R"(", "secondary_high": ")" + high +
            R"(", "secondary_parity": "B", "carrier_route": "C012", "last_line": "A30301" })");
    }
    for (const char* word : {"BSMT", "LBBY", "FRNT", "REAR"})
        add("{" + common + R"(0000000500", "type": "H", "street": "PEACHTREE", "suffix": "ST", "secondary_low": ")" +
            word + R"(", "last_line": "A30301" })");
    for (const char* primary : {"0000000502", "0000000504"})
        add("{" + common + primary + R"(", "street": "PEACHTREE", "suffix": "ST", "last_line": "A30301" })");
    return R"({ "places": [ { "zip": "30301", "state": "GA", "city": "ATLANTA", "last_line": "A30301" } ],
      "filings": [ { "kind": "individual", "name": { "first": "ANN", "last": "LEE" },
                     "from": { "zip9": "303011234", "primary": "502" }, "move_date": "202401" } ],
      "ranges": [ )" +
           ranges + "]}";
}

// One data set for the run, opened on disk (flags 0) or in memory (flags 8).
const QV_NCOA::CNCOA_DataTables& tables(unsigned flags) {
    static const fs::path root = [] {
        fs::path r = fs::temp_directory_path() / ("qv-bench-rv9-" + std::to_string(::getpid()));
        fs::remove_all(r);
        qvw::DataSetWriter(qvw::parseWorld(buildingWorld()), r.string()).write();
        std::atexit([] { fs::remove_all(fs::temp_directory_path() / ("qv-bench-rv9-" + std::to_string(::getpid()))); });
        return r;
    }();
    static void* objs[16] = {};
    void*& obj = objs[flags & 15];
    if (obj == nullptr) {
        char err[QVNCOA_ERROR_TEXT_SIZE] = {};
        if (qvncoa_init_data_obj(&obj, root.string().c_str(), QV_SOURCE_DIR "/data/namekb", "", 2, nullptr, err,
                                 flags) != 1000) {
            std::fprintf(stderr, "data set open failed: %s\n", err);
            std::exit(1);
        }
    }
    return *QV_NCOA::tablesOf(obj);
}

void run(benchmark::State& state, const char* code, const char* hint, const char* expected) {
    QV_NCOA::CNCOA_RV9 rv9(tables(static_cast<unsigned>(state.range(0))));
    QV_NCOA::RV9AnswerRecord rec;
    if (!rv9.getNewAddress(code, hint, rec) || std::string(rec.addressLine.buf).rfind(expected, 0) != 0) {
        state.SkipWithError("unexpected address");
        return;
    }
    for (auto _ : state) {
        rec.init();
        benchmark::DoNotOptimize(rv9.getNewAddress(code, hint, rec));
    }
    state.SetItemsProcessed(state.iterations());
}

// Eight units carry delivery point 31; the hint picks one.
void BM_UnitByHint(benchmark::State& state) { run(state, "30301123431", "1706", "500 PEACHTREE ST APT 1706"); }
// Eight units and a house share delivery point 02; the house verifies.
void BM_HouseByDeliveryPoint(benchmark::State& state) { run(state, "30301123402", "", "502 PEACHTREE ST"); }

}  // namespace

BENCHMARK(BM_UnitByHint)->Arg(0)->Arg(8);
BENCHMARK(BM_HouseByDeliveryPoint)->Arg(0)->Arg(8);
