// Business-name picks per second: the cascade over the five names of one key,
// in memory and through the search of business.lst on disk.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include "BusName.h"
#include "BusinessLst.h"
#include "CompStrW_Words.h"
#include "DataTables.h"

using namespace QV_NCOA;

namespace {

BusinessLstItem item(unsigned char lastKeyByte, const char* name) {
    BusinessLstItem it;
    std::memset(it.key, 0, sizeof it.key);
    it.key[7] = lastKeyByte;
    std::memset(it.name, ' ', sizeof it.name);
    std::memcpy(it.name, name, std::strlen(name));
    return it;
}

// Five names that all pass the two counting gates, so every item pays for
// the word-wise comparison: the dearest key there is.
std::vector<BusinessLstItem> closeNames() {
    return {item(2, "ACME PLUMBING CO"), item(2, "ACME PLUMBING SUPPLY"), item(2, "ACME PLUMBERS"),
            item(2, "ACME PLUMBING AND HEATING"), item(2, "ACME PLUMBING INC")};
}

// Five names of which most fail a cheap gate.
std::vector<BusinessLstItem> mixedNames() {
    return {item(2, "ZENITH ROOFING SUPPLY"), item(2, "SMITH BROTHERS HARDWARE"), item(2, "ACME PLUMBING CO"),
            item(2, "QUALITY TROPHY SHOP"), item(2, "LAKE SHOP BAKERY")};
}

struct Fixture {
    CNCOA_DataTables tables;
    std::string root;
    Fixture() {
        buildCompStrWWordMaps(tables.firmWords, tables.wsWords);
        root = "/tmp/qv-bench-business-" + std::to_string(::getpid());
        std::string clk = root + "/DVD 2/clk";
        std::string cmd = "mkdir -p '" + clk + "'";
        if (std::system(cmd.c_str()) != 0) std::abort();
        FILE* f = std::fopen((clk + "/business.lst").c_str(), "wb");
        if (f == nullptr) std::abort();
        // Keys 1 and 3 around the five names of key 2, then the end mark.
        std::vector<BusinessLstItem> rows = {item(1, "ALPHA INC")};
        for (const auto& it : closeNames()) rows.push_back(it);
        rows.push_back(item(3, "OMEGA LLC"));
        BusinessLstItem end;
        std::memset(end.key, 0xFF, sizeof end.key);
        std::memset(end.name, 'Z', sizeof end.name);
        rows.push_back(end);
        std::fwrite(rows.data(), sizeof(BusinessLstItem), rows.size(), f);
        std::fclose(f);
        tables.setRoot(root.c_str());
        size_t count = 0;
        if (!CNCOA_BusinessLst(tables).findLastValidIndex(count)) std::abort();
        tables.businessLastIndex = count;
    }
    ~Fixture() {
        std::string cmd = "rm -rf '" + root + "'";
        if (std::system(cmd.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", root.c_str());
    }
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

fixedString<40> firm() {
    fixedString<40> f;
    f.cpyIn("ACME PLUMBING INCORPORATED");
    return f;
}

void runCascade(benchmark::State& state, std::vector<BusinessLstItem> items) {
    Fixture& fx = fixture();
    CNCOA_GetBusinessName pick(fx.tables);
    const fixedString<40> name = firm();
    char out[41];
    for (auto _ : state) {
        bool found = pick.testBizItems(items, name, out);
        benchmark::DoNotOptimize(found);
        benchmark::DoNotOptimize(out);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_testBizItems_FiveCloseNames(benchmark::State& state) { runCascade(state, closeNames()); }
void BM_testBizItems_FiveMixedNames(benchmark::State& state) { runCascade(state, mixedNames()); }

void BM_getBusinessName_FiveNamesOnDisk(benchmark::State& state) {
    Fixture& fx = fixture();
    CNCOA_GetBusinessName pick(fx.tables);
    const fixedString<40> name = firm();
    const unsigned char key[8] = {0, 0, 0, 0, 0, 0, 0, 2};
    char out[41];
    for (auto _ : state) {
        bool found = pick.getBusinessName(key, name, out);
        if (!found) state.SkipWithError("no name picked");
        benchmark::DoNotOptimize(out);
    }
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_testBizItems_FiveCloseNames);
BENCHMARK(BM_testBizItems_FiveMixedNames);
BENCHMARK(BM_getBusinessName_FiveNamesOnDisk);
