// The jobs of `ncoa serve`: uploaded lists run one after the other through
// the `ncoa match` pipeline on the server's one data object.
//
// A job's list is not kept: the request's body goes into a pipe as it
// arrives and the run reads the pipe, so the upload is matched while it
// comes in and the pipe's buffer is all that waits between the two; when the
// run is slower, the writer blocks and the connection stops being read. One
// job runs at a time, with every thread, so a job's progress and memory stay
// those of `ncoa match`; a job waiting its turn holds its connection unread.
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
    // Rows of the list: while it arrives, its line breaks so far scaled up to
    // the Content-Length; once whole, its line breaks less the header.
    std::atomic<std::uint64_t> estimate{0};
    std::atomic<std::uint64_t> bytes{0};  // of the list, received so far
    std::uint64_t length = 0;    // Content-Length; 0 when sent in chunks
    // The upload ended before the list did: the run fails instead of taking
    // what came as the whole list. uploadError is written before.
    std::atomic<bool> uploadBroken{false};
    std::string uploadError;
    int inFd = -1;               // the pipe's read end, owned by the queue
    std::string error;           // set before state becomes kFailed
    qvncoa_cumulativeStatsRecord_t stats{};  // whole once state is kDone
    std::uint64_t malformed = 0, failed = 0;
    std::chrono::steady_clock::time_point started{}, finished{};

    std::string resultPath() const { return dir + "/result.csv"; }
    std::string reportPath() const { return dir + "/report.txt"; }
};

const char* stateName(int state);

class JobQueue {
public:
    // Jobs live under `root`; at most `capacity` run or wait at once;
    // finished jobs go, files and all, `ttlSeconds` after they end.
    JobQueue(void* dataObj, std::string dataRoot, std::string root, std::size_t capacity, unsigned threads,
             long ttlSeconds);
    ~JobQueue();

    // A new job, or null when the queue is full.
    std::shared_ptr<Job> open(const std::string& owner, JobSettings settings);
    // The job waits its turn, then runs on what arrives on `readFd` (which
    // the queue closes once the run has ended, failed or not).
    void submit(const std::shared_ptr<Job>& job, int readFd);
    // A job that never got submitted: it and its files go.
    void drop(const std::shared_ptr<Job>& job);
    // The job of that owner, or null (another owner's job is not found).
    std::shared_ptr<Job> find(const std::string& id, const std::string& owner);

    // Takes no more jobs and fails the waiting ones (their uploads' writers
    // see the pipe closed); the running one goes on.
    void refuse();
    // refuse(), then waits for the running job to end.
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
    std::size_t pending_ = 0;  // opened and not yet ended
    bool stopping_ = false;
    std::thread worker_;
};

}  // namespace ncoa_cli
