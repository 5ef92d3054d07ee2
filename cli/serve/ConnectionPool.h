// The threads that serve `ncoa serve`'s connections, with a bounded queue.
//
// The HTTP library hands every accepted connection to a task queue and its
// own pool queues them without limit. This one admits at most `threads +
// waiting` connections at once; one more goes to a small refusal lane, whose
// thread reads the request and answers 503 with Retry-After (the server's
// pre-routing handler asks refusing()). The lane's queue is bounded as well:
// when even that is full the accept loop waits, and the kernel's listen
// backlog holds what arrives meanwhile.
#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace ncoa_cli {

class ConnectionPool : public httplib::TaskQueue {
public:
    ConnectionPool(std::size_t threads, std::size_t waiting);
    ~ConnectionPool() override;

    void enqueue(std::function<void()> fn) override;
    void shutdown() override;

    // True on a refusal lane's thread: the request is to be answered 503.
    static bool refusing();

private:
    struct Lane {
        std::deque<std::function<void()>> queue;
        std::size_t limit = 0;  // admitted at once, running or queued
        std::size_t admitted = 0;
        std::condition_variable ready;
    };
    void serve(Lane& lane, bool refusal);

    std::mutex mu_;
    std::condition_variable room_;  // the refusal lane has room again
    Lane work_, refusal_;
    bool shutdown_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace ncoa_cli
