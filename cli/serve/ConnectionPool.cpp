#include "ConnectionPool.h"

namespace ncoa_cli {

namespace {
thread_local bool t_refusing = false;
// Refusing is quick unless a client is slow to send its headers: two threads
// keep one slow client from holding up every refusal.
constexpr std::size_t kRefusalThreads = 2;
constexpr std::size_t kRefusalQueue = 1024;
}  // namespace

bool ConnectionPool::refusing() { return t_refusing; }

ConnectionPool::ConnectionPool(std::size_t threads, std::size_t waiting) {
    work_.limit = threads + waiting;
    refusal_.limit = kRefusalThreads + kRefusalQueue;
    for (std::size_t i = 0; i < threads; ++i) threads_.emplace_back([this] { serve(work_, false); });
    for (std::size_t i = 0; i < kRefusalThreads; ++i) threads_.emplace_back([this] { serve(refusal_, true); });
}

ConnectionPool::~ConnectionPool() { shutdown(); }

void ConnectionPool::enqueue(std::function<void()> fn) {
    std::unique_lock<std::mutex> lock(mu_);
    Lane* lane = &work_;
    if (work_.admitted >= work_.limit) {
        // Every connection must be run to be closed, so the accept loop
        // waits here rather than drop one.
        room_.wait(lock, [this] { return refusal_.admitted < refusal_.limit || shutdown_; });
        lane = &refusal_;
    }
    ++lane->admitted;
    lane->queue.push_back(std::move(fn));
    lane->ready.notify_one();
}

void ConnectionPool::serve(Lane& lane, bool refusal) {
    t_refusing = refusal;
    for (;;) {
        std::function<void()> fn;
        {
            std::unique_lock<std::mutex> lock(mu_);
            lane.ready.wait(lock, [&] { return !lane.queue.empty() || shutdown_; });
            if (lane.queue.empty()) return;  // shut down, and nothing left
            fn = std::move(lane.queue.front());
            lane.queue.pop_front();
        }
        fn();
        std::lock_guard<std::mutex> lock(mu_);
        --lane.admitted;
        if (refusal) room_.notify_one();
    }
}

void ConnectionPool::shutdown() {
    {
        std::lock_guard<std::mutex> lock(mu_);
        shutdown_ = true;
        work_.ready.notify_all();
        refusal_.ready.notify_all();
        room_.notify_all();
    }
    for (std::thread& t : threads_)
        if (t.joinable()) t.join();
}

}  // namespace ncoa_cli
