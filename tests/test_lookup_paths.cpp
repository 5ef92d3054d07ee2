// The search files are opened once at start-up: a file missing then still
// fails the search that needs it with the code a search by path gave, the
// name engine is handed a token array cleared only where it is read, and a
// lookup takes nothing from the heap once its thread has warmed up.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <vector>

#include "DataSetWriter.h"
#include "MatchflowWorld.h"
#include "TestSupport.h"
#include "World.h"
#include "qv_proxy.h"
#include "qvncoa.h"

namespace fs = std::filesystem;

// Every allocation of this program, counted (the library is linked in).
static std::atomic<unsigned long> g_allocations{0};
void* operator new(std::size_t n) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
    throw std::bad_alloc();
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(n == 0 ? 1 : n);
}
// The replacements pair with each other; the compiler cannot see that.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
#pragma GCC diagnostic pop


namespace {

const std::string kKb = QV_SOURCE_DIR "/data/namekb";

class MissingSearchFile : public ::testing::TestWithParam<unsigned> {
protected:
    static void SetUpTestSuite() {
        master_ = fs::temp_directory_path() / ("qv-lookup-paths-" + std::to_string(::getpid()));
        qvw::DataSetWriter(qvw::parseWorld(matchflow::worldJson()), master_.string()).write();
    }
    static void TearDownTestSuite() { fs::remove_all(master_); }

    // A copy of the set without some files, opened; the codes of the sample's
    // lookups, and each failure names a file called `shown`.
    std::vector<int> codesWithout(const std::vector<std::string>& rels, const std::string& shown) {
        const fs::path root = master_.string() + "-copy";
        fs::remove_all(root);
        fs::copy(master_, root, fs::copy_options::recursive);
        for (const std::string& rel : rels) fs::remove(root / rel);
        void* obj = nullptr;
        char err[QVNCOA_ERROR_TEXT_SIZE] = {};
        std::vector<int> codes;
        const int rc = qvncoa_init_data_obj(&obj, root.string().c_str(), kKb.c_str(), "", 2, nullptr, err, GetParam());
        EXPECT_EQ(rc, QVNCOA_OK) << shown << ": " << err;
        if (rc == QVNCOA_OK) {
            for (const matchflow::Rec& r : matchflow::sampleRecords()) {
                qvncoa_in_addr_t in = {r.name, r.pno, r.sno, r.zip9, r.desc, r.type};
                qvncoa_out_addr_t out;
                codes.push_back(qvncoa_lookup_without_qvav(obj, &in, &out, 0, 6, err, 0));
                if (codes.back() != QVNCOA_OK && codes.back() != QVNCOA_OK_MOVE_TOO_OLD) {
                    EXPECT_NE(std::string(err).find(shown), std::string::npos) << err;
                }
            }
        }
        qvncoa_destroy_data_obj(&obj);
        fs::remove_all(root);
        return codes;
    }
    std::vector<int> codesWithout(const std::string& rel) {
        return codesWithout({rel}, fs::path(rel).filename().string());
    }
    static int count(const std::vector<int>& codes, int code) {
        int n = 0;
        for (int c : codes) n += c == code;
        return n;
    }
    static fs::path master_;
};
fs::path MissingSearchFile::master_;

// Start-up refuses none of these; the searches that reach them fail as before.
TEST_P(MissingSearchFile, FailsTheSearchThatNeedsItWithTheCodeOfASearchByPath) {
    const std::vector<int> gender = codesWithout("DVD 2/clk/gender.txt");
    ASSERT_FALSE(gender.empty());
    EXPECT_GT(count(gender, 1043), static_cast<int>(gender.size()) / 2);  // every search of a person's name
    EXPECT_EQ(count(gender, 1043) + count(gender, QVNCOA_OK), static_cast<int>(gender.size()));

    const std::vector<int> esd = codesWithout("DVD 2/rv9/rv9.esd");
    EXPECT_GT(count(esd, 1043), 0);  // only moves with a new address rebuild one
    EXPECT_GT(count(esd, QVNCOA_OK), 0);

    // On disk, a stripe file is opened once a search passes its letter's
    // filter: 1040. (In memory, start-up reads it and refuses.)
    if (GetParam() == 0) {
        std::vector<std::string> stripes;
        for (char c = 'a'; c <= 'z'; ++c) stripes.push_back(std::string("DVD 1/clk.") + c + ".hs4");
        EXPECT_GT(count(codesWithout(stripes, ".hs4"), 1040), 0);
    }

    // The daily delete file is optional.
    const std::vector<int> daily = codesWithout("DVD 2/dailydel.dat");
    EXPECT_EQ(count(daily, 1043) + count(daily, 1040), 0);
}

// The second pass over the sample, new addresses included, allocates nothing.
TEST_P(MissingSearchFile, ALookupTakesNothingFromTheHeapOnceWarm) {
    void* obj = openDataObj(master_.string(), GetParam());
    ASSERT_NE(obj, nullptr);
    const std::vector<matchflow::Rec> recs = matchflow::sampleRecords();
    std::vector<qvncoa_out_addr_t> outs(recs.size());
    char err[QVNCOA_ERROR_TEXT_SIZE] = {};
    unsigned long during = 0;
    for (int pass = 0; pass < 2; ++pass) {
        const unsigned long before = g_allocations.load();
        for (size_t i = 0; i < recs.size(); ++i) {
            const matchflow::Rec& r = recs[i];
            qvncoa_in_addr_t in = {r.name, r.pno, r.sno, r.zip9, r.desc, r.type};
            qvncoa_lookup_without_qvav(obj, &in, &outs[i], 0, 6, err, 0);
        }
        during = g_allocations.load() - before;
    }
    int withAddress = 0;
    for (const qvncoa_out_addr_t& o : outs) withAddress += std::strcmp(o.returnCode, "A") == 0;
    EXPECT_GT(withAddress, 0);
    EXPECT_EQ(during, 0u);
    qvncoa_destroy_data_obj(&obj);
}

INSTANTIATE_TEST_SUITE_P(DiskAndMemory, MissingSearchFile, ::testing::Values(0u, 8u));

// The engine writes slots 0 to 4 and neither reads nor writes the others: a
// parse into an array whose other slots hold stale bytes gives the five slots
// of a parse into a wholly cleared array, byte for byte.
TEST(TokenArray, FiveClearedSlotsParseAsAWhollyClearedArray) {
    void* h = nullptr;
    char text[QV_PROXY_ERROR_SIZE] = {};
    ASSERT_GE(qv_proxy_init(&h, "", 2, text), 0) << text;
    int32_t locale = 0;
    ASSERT_GE(proxy__qv_lkm_path_set(h, kKb.c_str()), 0);
    ASSERT_GE(proxy__qv_locale_code_get_by_iso_name(h, "ENUSA", &locale), 0);
    ASSERT_GE(proxy__qv_lkm_locale_load(h, locale, 7), 0);

    std::vector<std::string> names;
    std::ifstream corpus(QV_SOURCE_DIR "/tests/data/names.txt");
    for (std::string line; std::getline(corpus, line);)
        if (!line.empty() && line[0] != '#') names.push_back(line.substr(0, line.find('|')));
    for (const matchflow::Rec& r : matchflow::sampleRecords()) names.push_back(r.name);
    names.push_back(std::string(1500, 'A'));  // too long: every slot left empty
    names.push_back("");
    ASSERT_GT(names.size(), 50u);

    const size_t five = 5 * QV_PROXY_SLOT_SIZE;
    std::vector<unsigned char> cleared(QV_PROXY_TOKEN_ARRAY_SIZE), stale(QV_PROXY_TOKEN_ARRAY_SIZE);
    int differ = 0;
    for (const std::string& name : names) {
        std::fill(cleared.begin(), cleared.end(), 0);
        std::fill(stale.begin(), stale.end(), 0xA5);
        std::fill(stale.begin(), stale.begin() + static_cast<std::ptrdiff_t>(five), 0);
        int32_t n1 = 0, n2 = 0;
        ASSERT_EQ(proxy__qv_parse(h, "Name (Address Update)", name.c_str(), cleared.data(), &n1), 0);
        ASSERT_EQ(proxy__qv_parse(h, "Name (Address Update)", name.c_str(), stale.data(), &n2), 0);
        if (n1 != n2 || std::memcmp(cleared.data(), stale.data(), five) != 0) ++differ;
    }
    EXPECT_EQ(differ, 0);
    qv_proxy_close(h);
}

}  // namespace
