// bench-libs: qvwriter qvncoa_static
// Records per second through qvncoa_lookup_without_qvav for a realistic mix:
// a data set of 4000 filings (individuals, families, firms) over five ZIPs,
// and a list in which about 3 in 100 records have moved and the rest miss,
// some of them at a filing's or a firm's address. On disk and in memory,
// on one and two threads sharing one data object.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "DataSetWriter.h"
#include "World.h"
#include "qvncoa.h"

namespace fs = std::filesystem;

namespace {

const char* const kFirst[] = {"JAMES",  "MARY",    "ROBERT", "PATRICIA", "JOHN",    "JENNIFER", "MICHAEL", "LINDA",
                              "DAVID",  "ELIZABETH", "WILLIAM", "BARBARA", "RICHARD", "SUSAN",  "JOSEPH",  "JESSICA",
                              "THOMAS", "SARAH",   "CHARLES", "KAREN",   "DANIEL",  "NANCY",    "MATTHEW", "LISA",
                              "ANTHONY", "BETTY",  "MARK",   "MARGARET", "DONALD", "SANDRA",   "STEVEN",  "ASHLEY"};
const char* const kLast[] = {"SMITH",  "JOHNSON",  "WILLIAMS", "BROWN",  "JONES",    "GARCIA", "MILLER",   "DAVIS",
                             "RODRIGUEZ", "MARTINEZ", "HERNANDEZ", "LOPEZ", "GONZALEZ", "WILSON", "ANDERSON", "THOMAS",
                             "TAYLOR", "MOORE",    "JACKSON",  "MARTIN", "LEE",      "PEREZ",  "THOMPSON", "WHITE",
                             "HARRIS", "SANCHEZ",  "CLARK",    "RAMIREZ", "LEWIS",   "ROBINSON", "WALKER", "YOUNG"};
// Surnames that no filing carries: a neighbour under one of them misses.
const char* const kOtherLast[] = {"ALLEN", "KING",  "WRIGHT", "SCOTT", "TORRES", "NGUYEN", "HILL",   "FLORES",
                                  "GREEN", "ADAMS", "NELSON", "BAKER", "HALL",   "RIVERA", "CAMPBELL", "MITCHELL"};
const char* const kFirmWords[] = {"ACME",   "SUMMIT", "HARBOR",  "PIONEER", "METRO", "BLUE",  "RIVER", "NORTH",
                                  "GLOBAL", "UNITED", "PREMIER", "EAGLE",   "OAK",   "CEDAR", "STONE", "BRIGHT"};
const char* const kZips[] = {"10001", "22201", "60614", "94110", "30301"};
const int kAddons = 20;       // add-ons 1101 to 1120 in each ZIP
const int kFilings = 4000;
const int kRecords = 4000;
const int kHitsPerHundred = 3;

std::string monthsAgo(int months) {
    time_t now = time(nullptr);
    struct tm lt;
    localtime_r(&now, &lt);
    int total = (lt.tm_year + 1900) * 12 + lt.tm_mon - months;
    char buf[16];
    std::snprintf(buf, sizeof buf, "%04d%02d", total / 12, total % 12 + 1);
    return buf;
}

// An address of a range: ZIP, add-on 1101 + a, even house number.
struct Addr {
    int zip, addon, house;
    std::string zip9() const { return std::string(kZips[zip]) + std::to_string(1101 + addon); }
    std::string primary() const { return std::to_string(house); }
    // The code of this address as a new address: ZIP, add-on, delivery point.
    std::string zip11() const {
        char dp[12];
        std::snprintf(dp, sizeof dp, "%02d", house % 100);
        return zip9() + dp;
    }
};

// Add-on a holds the even numbers (a + 1) * 100 to (a + 1) * 100 + 98.
Addr randomAddr(std::mt19937& rng) {
    Addr a{static_cast<int>(rng() % 5), static_cast<int>(rng() % kAddons), 0};
    a.house = (a.addon + 1) * 100 + 2 * static_cast<int>(rng() % 50);
    return a;
}

template <size_t N>
const char* pick(const char* const (&list)[N], std::mt19937& rng) { return list[rng() % N]; }

struct Filed {
    char kind;  // I F B
    std::string first, middle, last, firm;
    Addr from;
};

struct Record {
    std::string name, pno, zip9;
};

struct Fixture {
    fs::path root;
    std::vector<Record> records;
    int hits = 0;
    long searches = 0;
};

Fixture& fixture() {
    static Fixture f = [] {
        Fixture fx;
        std::mt19937 rng(20261122);
        std::string places, ranges, filings;
        for (int z = 0; z < 5; ++z) {
            places += std::string(z ? ",\n" : "") + "{ \"zip\": \"" + kZips[z] + "\", \"state\": \"ST\", \"city\": \"CITY " +
                      std::to_string(z) + "\", \"last_line\": \"L" + kZips[z] + "\" }";
            for (int a = 0; a < kAddons; ++a) {
                ranges += std::string(ranges.empty() ? "" : ",\n") + "{ \"zip\": \"" + kZips[z] +
                          "\", \"addon_low\": \"" + std::to_string(1101 + a) + "\", \"primary_low\": \"" +
                          std::to_string((a + 1) * 100) + "\", \"primary_high\": \"" + std::to_string((a + 1) * 100 + 98) +
                          "\", \"primary_parity\": \"E\", \"street\": \"STREET " + std::to_string(a) +
                          "\", \"suffix\": \"ST\", \"carrier_route\": \"C001\", \"last_line\": \"L" + kZips[z] + "\" }";
            }
        }
        std::vector<Filed> filed;
        std::set<std::string> keys;
        for (int i = 0; i < kFilings; ++i) {
            Filed f;
            unsigned k = rng() % 20;
            f.kind = k < 15 ? 'I' : k < 18 ? 'F' : 'B';
            f.first = pick(kFirst, rng);
            f.middle = rng() % 2 ? std::string(1, static_cast<char>('A' + rng() % 26)) : "";
            f.last = pick(kLast, rng);
            f.firm = std::string(pick(kFirmWords, rng)) + " " + pick(kFirmWords, rng) + " INC";
            f.from = randomAddr(rng);
            // One filing per search key.
            const std::string key = f.from.zip11() + f.kind +
                                    (f.kind == 'B' ? f.firm : f.kind == 'F' ? f.last : f.first + " " + f.last);
            if (!keys.insert(key).second) continue;
            const std::string from = "\"from\": { \"zip9\": \"" + f.from.zip9() + "\", \"primary\": \"" +
                                     f.from.primary() + "\" }, \"to_zip11\": \"" + randomAddr(rng).zip11() +
                                     "\", \"move_date\": \"" + monthsAgo(1 + static_cast<int>(rng() % 40)) + "\"";
            std::string who;
            if (f.kind == 'B')
                who = "\"kind\": \"business\", \"business\": \"" + f.firm + "\"";
            else if (f.kind == 'F')
                who = "\"kind\": \"family\", \"name\": { \"last\": \"" + f.last + "\" }";
            else
                who = "\"kind\": \"individual\", \"name\": { \"first\": \"" + f.first + "\", \"middle\": \"" +
                      f.middle + "\", \"last\": \"" + f.last + "\", \"gender\": \"U\" }";
            filings += std::string(filings.empty() ? "" : ",\n") + "{ " + who + ", " + from + " }";
            filed.push_back(f);
        }
        const std::string world = "{ \"format\": 1, \"places\": [" + places + "], \"ranges\": [" + ranges +
                                  "], \"filings\": [" + filings + "] }";
        fx.root = fs::temp_directory_path() / ("qv-bench-matchflow-" + std::to_string(::getpid()));
        fs::remove_all(fx.root);
        qvw::DataSetWriter(qvw::parseWorld(world), fx.root.string()).write();
        std::atexit([] { fs::remove_all(fixture().root); });

        // The list: a few movers as filed, many neighbours of filings and
        // firms under other names, and the rest anywhere.
        for (int i = 0; i < kRecords; ++i) {
            Record r;
            const unsigned roll = rng() % 100;
            const Filed& f = filed[rng() % filed.size()];
            if (roll < kHitsPerHundred) {
                r.name = f.kind == 'B'   ? f.firm
                         : f.kind == 'F' ? std::string(pick(kFirst, rng)) + " " + f.last
                                         : f.first + (f.middle.empty() ? "" : " " + f.middle) + " " + f.last;
                r.pno = f.from.primary();
                r.zip9 = f.from.zip9();
            } else {
                Addr a = roll < 30 ? f.from : randomAddr(rng);
                // A third with a middle name, which adds the initial, middle and hyphenated attempts.
                r.name = std::string(pick(kFirst, rng)) + (rng() % 3 ? "" : std::string(" ") + pick(kFirst, rng)) +
                         " " + pick(kOtherLast, rng);
                r.pno = a.primary();
                r.zip9 = a.zip9();
            }
            fx.records.push_back(r);
        }
        return fx;
    }();
    return f;
}

// Opened once for each flags value, by whichever thread comes first.
void* dataObject(unsigned flags) {
    static std::mutex lock;
    std::lock_guard<std::mutex> hold(lock);
    static void* objs[16] = {};
    void*& obj = objs[flags & 15];
    if (obj == nullptr) {
        char err[QVNCOA_ERROR_TEXT_SIZE] = {};
        if (qvncoa_init_data_obj(&obj, fixture().root.string().c_str(), QV_SOURCE_DIR "/data/namekb", "", 2, nullptr,
                                 err, flags) != QVNCOA_OK) {
            std::fprintf(stderr, "data set open failed: %s\n", err);
            std::exit(1);
        }
        // Count the movers and the searches once, so the mix is known.
        int moved = 0;
        long searches = 0;
        for (const Record& r : fixture().records) {
            qvncoa_in_addr_t in = {r.name.c_str(), r.pno.c_str(), "", r.zip9.c_str(), "", 'S'};
            qvncoa_out_addr_t out;
            qvncoa_lookup_without_qvav(obj, &in, &out, 0, 0, err, 0);
            moved += out.returnCode[0] == 'A' || (out.returnCode[0] == '9' && out.returnCode[1] != '\0');
            searches += out.lookupCount;
        }
        fixture().hits = moved;
        fixture().searches = searches;
    }
    return obj;
}

// Arg: the flags of qvncoa_init_data_obj, 0 on disk, 8 in memory.
void BM_MatchList(benchmark::State& state) {
    const unsigned flags = static_cast<unsigned>(state.range(0));
    void* obj = dataObject(flags);
    const std::vector<Record>& records = fixture().records;
    size_t i = static_cast<size_t>(state.thread_index()) * records.size() / 2;
    qvncoa_out_addr_t out;
    char err[QVNCOA_ERROR_TEXT_SIZE];
    for (auto _ : state) {
        const Record& r = records[i];
        if (++i == records.size()) i = 0;
        qvncoa_in_addr_t in = {r.name.c_str(), r.pno.c_str(), "", r.zip9.c_str(), "", 'S'};
        int rc = qvncoa_lookup_without_qvav(obj, &in, &out, 0, 0, err, 0);
        if (rc != QVNCOA_OK) {
            state.SkipWithError(err);
            break;
        }
        benchmark::DoNotOptimize(out.returnCode[0]);
    }
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0) {
        state.counters["moved_pct"] = 100.0 * fixture().hits / static_cast<double>(records.size());
        state.counters["searches"] = static_cast<double>(fixture().searches) / static_cast<double>(records.size());
    }
}

}  // namespace

BENCHMARK(BM_MatchList)->Arg(0)->Arg(8)->Threads(1)->Threads(2)->UseRealTime();
