// The jobs of `ncoa serve`: uploaded lists run one after the other through
// the `ncoa match` pipeline on the server's one data object.
//
// Left to the implementer: the upload is spooled to a file in the job's own
// folder before the run (the list pipeline reads a file; a stalled upload
// then never holds the worker), and one job runs at a time, with every
// thread, so a job's progress and memory stay those of `ncoa match`.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "qvncoa_report.h"

namespace ncoa_cli {

struct JobSettings {
    int mode = 0, months = 0;
    std::vector<std::string> maps;
    std::string listName;
};

struct Job {
    enum State { kReceiving, kQueued, kRunning, kDone, kFailed };
    std::string id, owner, dir;
    JobSettings settings;
    std::atomic<int> state{kReceiving};
    std::atomic<std::uint64_t> records{0};
    std::uint64_t estimate = 0;  // rows of the upload, counted by its line breaks
    std::uint64_t bytes = 0;
    std::string error;           // set before state becomes kFailed
    qvncoa_cumulativeStatsRecord_t stats{};  // whole once state is kDone
    std::uint64_t malformed = 0, failed = 0;
    std::chrono::steady_clock::time_point started{}, finished{};

    std::string spoolPath() const { return dir + "/upload.csv"; }
    std::string resultPath() const { return dir + "/result.csv"; }
    std::string reportPath() const { return dir + "/report.txt"; }
};

const char* stateName(int state);

class JobQueue {
public:
    // Jobs live under `root`; at most `capacity` wait or arrive at once;
    // finished jobs go, files and all, `ttlSeconds` after they end.
    JobQueue(void* dataObj, std::string dataRoot, std::string root, std::size_t capacity, unsigned threads,
             long ttlSeconds);
    ~JobQueue();

    // A new job receiving its upload, or null when the queue is full.
    std::shared_ptr<Job> open(const std::string& owner, JobSettings settings);
    // The upload is whole: the job waits its turn.
    void submit(const std::shared_ptr<Job>& job);
    // The upload failed: the job and its files go.
    void drop(const std::shared_ptr<Job>& job);
    // The job of that owner, or null (another owner's job is not found).
    std::shared_ptr<Job> find(const std::string& id, const std::string& owner);

    // Stops taking jobs: the running one finishes, waiting ones fail.
    void stop();

private:
    void work();
    void run(Job& job);
    void expire();

    void* obj_;
    std::string dataRoot_, root_;
    std::size_t capacity_;
    unsigned threads_;
    std::chrono::seconds ttl_;
    std::mutex mu_;
    std::condition_variable cv_;
    std::map<std::string, std::shared_ptr<Job>> jobs_;
    std::deque<std::shared_ptr<Job>> waiting_;
    std::size_t pending_ = 0;  // receiving or waiting
    bool stopping_ = false;
    std::thread worker_;
};

}  // namespace ncoa_cli
