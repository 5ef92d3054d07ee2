#include "Jobs.h"

#include <fmt/core.h>

#include <unistd.h>

#include <filesystem>
#include <random>
#include <stdexcept>

#include "../Columns.h"
#include "../ListRun.h"
#include "../MatchWork.h"

namespace ncoa_cli {

namespace fs = std::filesystem;

const char* stateName(int state) {
    static const char* const names[] = {"receiving", "queued", "running", "done", "failed"};
    return state >= 0 && state <= Job::kFailed ? names[state] : "unknown";
}

namespace {

// Fails a job that will not run (again): its state first, so that the
// upload's writer, seeing the pipe closed, finds the job failed.
void fail(Job& job, const std::string& why) {
    job.error = why;
    job.finished = std::chrono::steady_clock::now();
    job.state = Job::kFailed;
    if (job.inFd >= 0) ::close(job.inFd);
    job.inFd = -1;
}

// 128 random bits: a job's id is its only name, so it must not be guessed.
std::string newId() {
    std::random_device rd;
    std::string id;
    for (int i = 0; i < 4; ++i) id += fmt::format("{:08x}", static_cast<std::uint32_t>(rd()));
    return id;
}

}  // namespace

JobQueue::JobQueue(void* dataObj, std::string dataRoot, std::string root, std::size_t capacity, unsigned threads,
                   long ttlSeconds)
    : obj_(dataObj),
      dataRoot_(std::move(dataRoot)),
      root_(std::move(root)),
      capacity_(capacity),
      threads_(threads),
      ttl_(ttlSeconds) {
    worker_ = std::thread([this] { work(); });
}

JobQueue::~JobQueue() {
    stop();
    std::error_code ec;
    fs::remove_all(root_, ec);
}

std::shared_ptr<Job> JobQueue::open(const std::string& owner, JobSettings settings) {
    auto job = std::make_shared<Job>();
    job->owner = owner;
    job->settings = std::move(settings);
    {
        std::lock_guard<std::mutex> lock(mu_);
        if (stopping_ || pending_ >= capacity_) return nullptr;
        do job->id = newId();
        while (jobs_.count(job->id) != 0);
        ++pending_;
        jobs_[job->id] = job;
    }
    job->dir = root_ + "/" + job->id;
    fs::create_directory(job->dir);
    return job;
}

void JobQueue::submit(const std::shared_ptr<Job>& job, int readFd) {
    std::lock_guard<std::mutex> lock(mu_);
    job->inFd = readFd;
    if (stopping_) {
        fail(*job, "the server stopped before the job ran");
        --pending_;
        return;
    }
    job->state = Job::kQueued;
    waiting_.push_back(job);
    cv_.notify_all();
}

void JobQueue::drop(const std::shared_ptr<Job>& job) {
    {
        std::lock_guard<std::mutex> lock(mu_);
        jobs_.erase(job->id);
        --pending_;
    }
    std::error_code ec;
    fs::remove_all(job->dir, ec);
}

std::shared_ptr<Job> JobQueue::find(const std::string& id, const std::string& owner) {
    std::lock_guard<std::mutex> lock(mu_);
    const auto it = jobs_.find(id);
    if (it == jobs_.end() || it->second->owner != owner) return nullptr;
    return it->second;
}

void JobQueue::refuse() {
    std::lock_guard<std::mutex> lock(mu_);
    stopping_ = true;
    for (const auto& job : waiting_) {
        fail(*job, "the server stopped before the job ran");
        --pending_;
    }
    waiting_.clear();
    cv_.notify_all();
}

void JobQueue::stop() {
    refuse();
    if (worker_.joinable()) worker_.join();
}

void JobQueue::work() {
    for (;;) {
        std::shared_ptr<Job> job;
        {
            std::unique_lock<std::mutex> lock(mu_);
            cv_.wait_for(lock, std::chrono::seconds(1), [this] { return stopping_ || !waiting_.empty(); });
            if (waiting_.empty()) {
                if (stopping_) return;
                lock.unlock();
                expire();
                continue;
            }
            job = waiting_.front();
            waiting_.pop_front();
        }
        run(*job);
        expire();
    }
}

void JobQueue::run(Job& job) {
    job.started = std::chrono::steady_clock::now();
    job.state = Job::kRunning;
    try {
        ListOptions lo;
        lo.in = "the list";
        lo.inFd = job.inFd;
        lo.out = job.resultPath();
        lo.threads = threads_;
        lo.noProgress = true;
        std::unique_ptr<AvPool> verifiers;
        const auto start = [&](const std::vector<std::string>& names, char delim) {
            const ColumnMap map = ColumnMap::resolve(names, job.settings.maps);
            if (map.freeForm()) verifiers = std::make_unique<AvPool>(dataRoot_);
            ListWork w = matchWork(obj_, verifiers.get(), map, names.size(), delim, job.settings.mode,
                                   job.settings.months);
            std::atomic<std::uint64_t>* const done = &job.records;
            w.process = [inner = std::move(w.process), done](Batch& b) {
                inner(b);
                done->fetch_add(b.count);
            };
            return w;
        };
        // The result takes its name only after the report, and only when
        // the list came whole: a broken upload leaves neither.
        qvncoa_cumulativeStatsRecord_t stats{};
        const ListTotals t = runList(lo, "ncoa serve", "matching", start, [&](const ListTotals& totals) {
            if (job.uploadBroken) throw std::runtime_error(job.uploadError);
            stats = totals.stats;
            const std::string& name = job.settings.listName.empty() ? job.id : job.settings.listName;
            std::snprintf(stats.listName, sizeof stats.listName, "%s", name.c_str());
            stats.processingCategory = 3;  // NORMAL
            stats.matchingLogic = job.settings.mode;
            stats.classOfMail = 'A';
            stats.dateProcessed = static_cast<double>(std::time(nullptr));
            writeSummaryReport(job.reportPath(), stats);
        });
        job.malformed = t.malformed;
        job.failed = t.failed;
        job.stats = stats;
        job.finished = std::chrono::steady_clock::now();
        std::lock_guard<std::mutex> lock(mu_);
        --pending_;  // before the state: whoever sees the job ended finds its place free
        job.state = Job::kDone;
        ::close(job.inFd);
        job.inFd = -1;
    } catch (const std::exception& e) {
        std::error_code ec;
        fs::remove(job.reportPath(), ec);
        std::lock_guard<std::mutex> lock(mu_);
        --pending_;
        fail(job, e.what());
    }
}

void JobQueue::expire() {
    const auto now = std::chrono::steady_clock::now();
    std::vector<std::string> gone;
    {
        std::lock_guard<std::mutex> lock(mu_);
        for (auto it = jobs_.begin(); it != jobs_.end();) {
            const int s = it->second->state;
            if ((s == Job::kDone || s == Job::kFailed) && now - it->second->finished >= ttl_) {
                gone.push_back(it->second->dir);
                it = jobs_.erase(it);
            } else {
                ++it;
            }
        }
    }
    std::error_code ec;
    for (const std::string& dir : gone) fs::remove_all(dir, ec);
}

}  // namespace ncoa_cli
