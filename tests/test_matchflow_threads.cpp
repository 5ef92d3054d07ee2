// Four threads look records up at once on one data object, on disk and in
// memory, and every answer must equal the one a single thread got.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "DataSetWriter.h"
#include "MatchflowWorld.h"
#include "World.h"
#include "TestSupport.h"
#include "qvncoa.h"

namespace fs = std::filesystem;


namespace {

const int kThreads = 4;
const int kRounds = 40;

struct Answer {
    int rc;
    qvncoa_out_addr_t out;
};

Answer lookOnce(void* obj, const matchflow::Rec& r) {
    Answer a;
    std::memset(&a.out, 0, sizeof a.out);
    qvncoa_in_addr_t in = {r.name, r.pno, r.sno, r.zip9, r.desc, r.type};
    char err[QVNCOA_ERROR_TEXT_SIZE] = {};
    a.rc = qvncoa_lookup_without_qvav(obj, &in, &a.out, 0, 6, err, 0);
    return a;
}

class MatchFlowThreads : public ::testing::TestWithParam<unsigned> {
protected:
    static void SetUpTestSuite() {
        root_ = fs::temp_directory_path() / ("qv-matchflow-threads-" + std::to_string(::getpid()));
        qvw::DataSetWriter(qvw::parseWorld(matchflow::worldJson()), root_.string()).write();
    }
    static void TearDownTestSuite() { fs::remove_all(root_); }
    static fs::path root_;
};
fs::path MatchFlowThreads::root_;

TEST_P(MatchFlowThreads, FourThreadsGetTheSingleThreadAnswers) {
    void* obj = openDataObj(root_.string(), GetParam());
    ASSERT_NE(obj, nullptr);
    const std::vector<matchflow::Rec> records = matchflow::sampleRecords();
    std::vector<Answer> expected;
    int found = 0;
    for (const matchflow::Rec& r : records) {
        expected.push_back(lookOnce(obj, r));
        ASSERT_TRUE(expected.back().rc == QVNCOA_OK || expected.back().rc == QVNCOA_OK_MOVE_TOO_OLD);
        found += expected.back().out.returnCode[0] == 'A';
    }
    ASSERT_GT(found, 5);  // the mix holds moves, not only misses

    std::atomic<int> ready{0};
    std::atomic<int> mismatches{0};
    std::atomic<int> lookups{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t]() {
            ++ready;
            while (ready.load() < kThreads) std::this_thread::yield();
            for (int round = 0; round < kRounds; ++round) {
                // Each thread walks the records from its own starting place.
                for (size_t k = 0; k < records.size(); ++k) {
                    size_t i = (k + static_cast<size_t>(t) * 5) % records.size();
                    Answer a = lookOnce(obj, records[i]);
                    if (a.rc != expected[i].rc || std::memcmp(&a.out, &expected[i].out, sizeof a.out) != 0)
                        ++mismatches;
                    ++lookups;
                }
            }
        });
    }
    for (std::thread& th : threads) th.join();
    qvncoa_destroy_data_obj(&obj);
    EXPECT_EQ(lookups.load(), kThreads * kRounds * static_cast<int>(records.size()));
    EXPECT_EQ(mismatches.load(), 0);
}

INSTANTIATE_TEST_SUITE_P(DiskAndMemory, MatchFlowThreads, ::testing::Values(0u, 8u));

}  // namespace
