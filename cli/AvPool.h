// Verifier contexts for a list run: a context serves one thread at a time,
// so a batch takes one from the pool for its rows and gives it back. The
// first is opened up front, so that a data set the verifier refuses fails
// the command before anything is written; more are opened as threads need
// them, at most one per thread.
#pragma once

#include <tbb/concurrent_queue.h>

#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "qvav.h"

namespace ncoa_cli {

class AvPool {
public:
    explicit AvPool(std::string dataRoot) : root_(std::move(dataRoot)) { free_.push(open()); }
    ~AvPool() {
        for (qvav_context*& av : all_) qvav_close(&av);
    }
    AvPool(const AvPool&) = delete;
    AvPool& operator=(const AvPool&) = delete;

    class Lease {
    public:
        explicit Lease(AvPool& pool) : pool_(pool) {
            if (!pool_.free_.try_pop(av_)) av_ = pool_.open();
        }
        ~Lease() { pool_.free_.push(av_); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        qvav_context* get() const { return av_; }

    private:
        AvPool& pool_;
        qvav_context* av_ = nullptr;
    };

private:
    qvav_context* open() {
        char err[1024] = "";
        qvav_context* av = nullptr;
        const int rc = qvav_open(&av, root_.c_str(), err);
        if (rc != 0) {
            if (av != nullptr) qvav_close(&av);
            throw std::runtime_error("the address verifier cannot open " + root_ + ": " + err + " (status " +
                                     std::to_string(rc) + ")");
        }
        const std::lock_guard<std::mutex> hold(lock_);
        all_.push_back(av);
        return av;
    }

    std::string root_;
    std::mutex lock_;
    std::vector<qvav_context*> all_;
    tbb::concurrent_queue<qvav_context*> free_;
};

}  // namespace ncoa_cli
