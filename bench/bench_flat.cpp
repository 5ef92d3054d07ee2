// bench-libs: qvwriter qvncoa_static
// Flat against hash on one synthetic world of 50,000 filings written as both
// kinds, the flat set indexed. Two figures for each way of opening a set:
//   Search: one key search (the lookup object alone), half of them keys of
//           filings and half keys that are in no set;
//   Record: records of a mailing list through qvncoa_lookup_without_qvav,
//           about 10 in 100 of them movers.
// On disk and in memory; the flat set without an index and with each size.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "DataSetWriter.h"
#include "DataTables.h"
#include "Emdp.h"
#include "FlatEncoder.h"
#include "FlatLookup.h"
#include "HashLookup.h"
#include "NCOA.h"
#include "NameLists.h"
#include "Synth.h"
#include "qvncoa.h"
#include "qvs_auth.h"

namespace fs = std::filesystem;

namespace {

const int kFilings = 50000;
const int kRecords = 4000;

struct Key {
    unsigned char sha48[20], sha49[20];
    char zip5[6];
};

struct Input {
    std::string name, pno, sno, desc, zip9;
    char type;
};

struct Fixture {
    fs::path root;
    std::vector<Key> keys;
    std::vector<Input> list;
};

Fixture& fixture() {
    static Fixture f = [] {
        Fixture fx;
        fx.root = fs::temp_directory_path() / ("qv-bench-flat-" + std::to_string(::getpid()));
        fs::remove_all(fx.root);
        qvw::SynthOptions so;
        so.filings = kFilings;
        so.seed = 3;
        so.nameListDir = QV_SOURCE_DIR "/data/namekb";
        qvw::SynthGenerator gen(so);
        const qvw::World& world = gen.world();
        qvw::DataSetWriter(world, (fx.root / "hash").string(), qvw::DataSetKind::Hash).write();
        qvw::DataSetWriter(world, (fx.root / "flat").string(), qvw::DataSetKind::Flat).write();
        char err[QVNCOA_ERROR_TEXT_SIZE] = {};
        if (qvncoa_buildFlatIndexFiles((fx.root / "flat").string().c_str(), nullptr, err) != QVNCOA_OK) {
            std::fprintf(stderr, "indexing failed: %s\n", err);
            std::exit(1);
        }

        // Search keys: every other one a filing's, the rest random.
        const qvw::LcdReplacements lcd = qvw::lcdReplacements(world);
        const std::vector<qvw::NameRuleLine> rules = world.names.rules.value_or(qvw::defaultNameRules());
        std::mt19937 rng(9);
        for (size_t i = 0; i < world.filings.size() && fx.keys.size() < 20000; i += 2) {
            const qvw::Filing& filing = world.filings[i];
            std::uint64_t emdp = 0;
            if (!qvw::emdpOf(filing.from, lcd, emdp)) continue;
            const qvw::Bytes key = qvw::flatSearchKey(filing, emdp, rules);
            Key k;
            qvs_auth_get_sha1(key.data(), 49, k.sha49);
            qvs_auth_get_sha1(key.data() + 1, 48, k.sha48);
            std::snprintf(k.zip5, sizeof k.zip5, "%.5s", filing.from.zip9.c_str());
            fx.keys.push_back(k);
            for (int b = 0; b < 20; ++b) {
                k.sha48[b] = static_cast<unsigned char>(rng());
                k.sha49[b] = static_cast<unsigned char>(rng());
            }
            fx.keys.push_back(k);
        }
        for (const qvw::SynthListRecord& r : gen.makeList(kRecords, 0.1, 4))
            fx.list.push_back({r.name.empty() ? r.company : r.name, r.primary, r.secondary, r.designator,
                               r.zip + r.zip4, r.recordType});
        return fx;
    }();
    // Made after the fixture, so gone before it: the sets leave with the process.
    static struct Remover {
        fs::path root;
        ~Remover() {
            std::error_code ec;
            fs::remove_all(root, ec);
        }
    } remover{f.root};
    return f;
}

// One data object for each kind and flags value, opened on first use.
void* dataObject(bool flat, unsigned flags) {
    static std::mutex lock;
    std::lock_guard<std::mutex> hold(lock);
    static void* objs[2][16] = {};
    void*& obj = objs[flat][flags & 15];
    if (obj == nullptr) {
        char err[QVNCOA_ERROR_TEXT_SIZE] = {};
        const fs::path root = fixture().root / (flat ? "flat" : "hash");
        if (qvncoa_init_data_obj(&obj, root.string().c_str(), QV_SOURCE_DIR "/data/namekb", "", 2, nullptr, err,
                                 flags) != QVNCOA_OK) {
            std::fprintf(stderr, "data set open failed: %s\n", err);
            std::exit(1);
        }
    }
    return obj;
}

// range(0): 0 hash, 1 flat; range(1): flags (8 in memory, 2/4/6 the index).
void BM_Search(benchmark::State& state) {
    const bool flat = state.range(0) != 0;
    const unsigned flags = static_cast<unsigned>(state.range(1));
    const QV_NCOA::CNCOA_DataTables& tables = *QV_NCOA::tablesOf(dataObject(flat, flags));
    const std::vector<Key>& keys = fixture().keys;
    size_t i = 0;
    long hits = 0;
    for (auto _ : state) {
        const Key& k = keys[i];
        QV_NCOA::LookupRes res;
        bool found = flat ? QV_NCOA::CNCOA_FlatLookup(tables).doLookup(k.sha49, k.zip5, res)
                          : QV_NCOA::CNCOA_HashLookup(tables).doLookup(k.sha48, k.zip5, res);
        hits += found;
        benchmark::DoNotOptimize(res);
        if (++i == keys.size()) i = 0;
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["hit%"] = 100.0 * static_cast<double>(hits) / static_cast<double>(state.iterations());
}

void BM_Record(benchmark::State& state) {
    const bool flat = state.range(0) != 0;
    const unsigned flags = static_cast<unsigned>(state.range(1));
    void* obj = dataObject(flat, flags);
    const std::vector<Input>& list = fixture().list;
    size_t i = 0;
    long searches = 0;
    char err[QVNCOA_ERROR_TEXT_SIZE];
    qvncoa_out_addr_t out;
    for (auto _ : state) {
        const Input& r = list[i];
        qvncoa_in_addr_t in = {r.name.c_str(), r.pno.c_str(), r.sno.c_str(), r.zip9.c_str(), r.desc.c_str(), r.type};
        qvncoa_lookup_without_qvav(obj, &in, &out, 0, 0, err, 0);
        searches += out.lookupCount;
        if (++i == list.size()) i = 0;
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["searches/rec"] = static_cast<double>(searches) / static_cast<double>(state.iterations());
}

void kinds(benchmark::internal::Benchmark* b) {
    b->ArgNames({"flat", "flags"});
    for (long flags : {0, 8}) b->Args({0, flags});
    for (long flags : {0, 2, 4, 6, 8, 10, 12, 14}) b->Args({1, flags});
}

BENCHMARK(BM_Search)->Apply(kinds);
BENCHMARK(BM_Record)->Apply(kinds);

}  // namespace
