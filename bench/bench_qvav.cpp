// bench-libs: qvwriter qvav
// Addresses per second through qvav_verify_address: parsing and
// standardisation alone (options 0), and with confirmation in the address
// ranges (options 1); one and two threads, a context each. Also the time and
// memory that opening a data set takes. The data set and list are a synthetic
// set of 100,000 filings written here, or QVAV_BENCH_DATA (a data root) with
// QVAV_BENCH_LIST (the CSV list `ncoa dataset synth --list-out` writes).
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "DataSetWriter.h"
#include "Synth.h"
#include "qvav.h"

namespace fs = std::filesystem;

namespace {

struct Line {
    std::string address, last;
};

std::string root;
std::vector<Line> lines;
std::once_flag once;

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// A row as people write it: mixed case, "Apt" or "#", commas, no ZIP+4.
void addLine(std::size_t i, const std::string& primary, const std::string& street, const std::string& desig,
             const std::string& sec, const std::string& city, const std::string& state, const std::string& zip) {
    std::string a = primary + " " + street;
    if (!sec.empty()) a += (i % 3 == 0 ? std::string(" #") : " " + desig + " ") + sec;
    std::string l = city + ", " + state + " " + zip;
    if (i % 2) a = lower(a), l = lower(l);
    lines.push_back({a, l});
}

void loadCsv(const std::string& path) {
    std::ifstream in(path);
    std::string row;
    std::getline(in, row);  // header
    for (std::size_t i = 0; std::getline(in, row) && lines.size() < 200000; ++i) {
        std::vector<std::string> f;
        std::stringstream ss(row);
        std::string cell;
        while (std::getline(ss, cell, ',')) f.push_back(cell);
        if (f.size() < 11) continue;  // quoted names with commas are left out
        addLine(i, f[3], f[4], f[5], f[6], f[7], f[8], f[9]);
    }
}

void setUp() {
    std::call_once(once, [] {
        if (const char* data = std::getenv("QVAV_BENCH_DATA")) {
            root = data;
            if (const char* list = std::getenv("QVAV_BENCH_LIST")) loadCsv(list);
            if (!lines.empty()) return;
        }
        root = (fs::temp_directory_path() / ("qvav-bench-" + std::to_string(::getpid()))).string();
        qvw::SynthOptions opt;
        opt.filings = 100000;
        qvw::SynthGenerator gen(opt);
        qvw::DataSetWriter(gen.world(), root).write();
        const auto rows = gen.makeList(100000, 0.05, 7);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const auto& r = rows[i];
            addLine(i, r.primary, r.street, r.designator, r.secondary, r.city, r.state, r.zip);
        }
        std::atexit([] { fs::remove_all(root); });
    });
}

long rssKb() {
    std::ifstream in("/proc/self/statm");
    long size = 0, resident = 0;
    in >> size >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void verify(benchmark::State& state, int options) {
    setUp();
    qvav_context* av = nullptr;
    char err[1024];
    if (qvav_open(&av, root.c_str(), err) != 0) {
        state.SkipWithError(err);
        return;
    }
    std::size_t i = static_cast<std::size_t>(state.thread_index()) * 7919, confirmed = 0, done = 0;
    for (auto _ : state) {
        const Line& l = lines[i++ % lines.size()];
        void* result = nullptr;
        qvav_verify_address(av, options, "", "", "", l.address.c_str(), "", l.last.c_str(), &result);
        const unsigned char* m = static_cast<const unsigned char*>(result);
        const unsigned char* a = nullptr;
        std::memcpy(&a, m + QVAV_MAIN_ADDRESS, sizeof a);
        confirmed += a[QVAV_ADDR_RESULT1] == '0';
        ++done;
        benchmark::DoNotOptimize(result);
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["confirmed%"] = benchmark::Counter(done ? 100.0 * static_cast<double>(confirmed) / static_cast<double>(done) : 0,
                                                       benchmark::Counter::kAvgThreads);
    qvav_close(&av);
}

void BM_Parse(benchmark::State& state) { verify(state, 0); }
void BM_ParseAndConfirm(benchmark::State& state) { verify(state, QVAV_OPT_CONFIRM); }

// Opening the data set with no other context on it: everything is read and indexed.
void BM_Open(benchmark::State& state) {
    setUp();
    double seconds = 0;
    long grown = 0;
    for (auto _ : state) {
        const long before = rssKb();
        const auto t0 = std::chrono::steady_clock::now();
        qvav_context* av = nullptr;
        char err[1024];
        if (qvav_open(&av, root.c_str(), err) != 0) {
            state.SkipWithError(err);
            return;
        }
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        grown = std::max(grown, rssKb() - before);
        qvav_close(&av);
    }
    state.counters["open_s"] = seconds / static_cast<double>(state.iterations());
    state.counters["rss_MB"] = static_cast<double>(grown) / 1024.0;
}

}  // namespace

BENCHMARK(BM_Parse)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_ParseAndConfirm)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_Open)->Iterations(3)->Unit(benchmark::kMillisecond);
