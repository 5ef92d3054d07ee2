#include "ListRun.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tbb/concurrent_queue.h>
#include <tbb/global_control.h>
#include <tbb/parallel_pipeline.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>

#include "Answer.h"

namespace ncoa_cli {

std::string groupDigits(std::uint64_t n) {
    std::string s = std::to_string(n);
    for (int i = static_cast<int>(s.size()) - 3; i > 0; i -= 3) s.insert(static_cast<std::size_t>(i), ",");
    return s;
}

namespace {

using Clock = std::chrono::steady_clock;

// ---------------------------------------------------------------------------
// The temporary output file: removed on failure and on SIGINT/SIGTERM, so the
// final name only ever holds a finished file.

char g_tmpPath[4096];
volatile std::sig_atomic_t g_haveTmp = 0;

extern "C" void removeTmpAndDie(int sig) {
    if (g_haveTmp) ::unlink(g_tmpPath);
    std::signal(sig, SIG_DFL);
    std::raise(sig);
}

class Output {
public:
    explicit Output(const std::string& path) : path_(path) {
        if (path == "-") {
            file_ = stdout;
            return;
        }
        const std::string tmp = path + ".partial." + std::to_string(::getpid());
        if (tmp.size() >= sizeof g_tmpPath) throw std::runtime_error("output path too long: " + path);
        // The handlers come first: a signal just after the file appears still removes it.
        std::memcpy(g_tmpPath, tmp.c_str(), tmp.size() + 1);
        g_haveTmp = 1;
        std::signal(SIGINT, removeTmpAndDie);
        std::signal(SIGTERM, removeTmpAndDie);
        std::signal(SIGHUP, removeTmpAndDie);
        file_ = std::fopen(tmp.c_str(), "w");
        if (file_ == nullptr) throw std::runtime_error("cannot write " + tmp + ": " + std::strerror(errno));
    }
    ~Output() {
        if (file_ != nullptr && file_ != stdout) std::fclose(file_);
        if (g_haveTmp) ::unlink(g_tmpPath);
        g_haveTmp = 0;
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void write(const std::string& text) {
        if (!text.empty() && std::fwrite(text.data(), 1, text.size(), file_) != text.size())
            throw std::runtime_error("cannot write " + shown() + ": " + std::strerror(errno));
    }

    // Flushes, closes and gives the file its final name.
    void commit() {
        if (std::fflush(file_) != 0)
            throw std::runtime_error("cannot write " + shown() + ": " + std::strerror(errno));
        if (file_ == stdout) return;
        FILE* f = file_;
        file_ = nullptr;
        if (std::fclose(f) != 0) throw std::runtime_error("cannot write " + shown() + ": " + std::strerror(errno));
        if (std::rename(g_tmpPath, path_.c_str()) != 0)
            throw std::runtime_error("cannot rename " + std::string(g_tmpPath) + " to " + path_ + ": " +
                                     std::strerror(errno));
        g_haveTmp = 0;
        std::signal(SIGINT, SIG_DFL);
        std::signal(SIGTERM, SIG_DFL);
        std::signal(SIGHUP, SIG_DFL);
    }

private:
    std::string shown() const { return path_ == "-" ? std::string("standard output") : path_; }
    std::string path_;
    FILE* file_ = nullptr;
};

// ---------------------------------------------------------------------------
// Progress on standard error when it is a terminal.

class Progress {
public:
    Progress(const char* verb, std::uint64_t totalBytes, bool enabled)
        : verb_(verb), tty_(enabled && ::isatty(STDERR_FILENO) != 0), total_(totalBytes) {}

    void update(std::size_t records, std::uint64_t bytes, bool force = false) {
        if (!tty_) return;
        const auto now = Clock::now();
        if (!force && now - last_ < std::chrono::milliseconds(200)) return;
        last_ = now;
        const double secs = std::chrono::duration<double>(now - start_).count();
        const double rate = secs > 0 ? static_cast<double>(records) / secs : 0;
        std::string line = fmt::format("\r{} {:>12} records {:>9}/s  {}", verb_, group(records),
                                       group(static_cast<std::uint64_t>(rate)), clock(secs));
        if (total_ > 0 && bytes > 0) {
            const double done = static_cast<double>(bytes) / static_cast<double>(total_);
            const double left = done > 0 ? secs * (1 - done) / done : 0;
            line += fmt::format("  {:3.0f}%  {} left", done * 100, clock(left));
        }
        fmt::print(stderr, "{}   ", line);
        std::fflush(stderr);
        drawn_ = true;
    }
    // Takes the bar off the line before other text goes to standard error.
    void clear() {
        if (!drawn_) return;
        fmt::print(stderr, "\r{:79}\r", "");
        drawn_ = false;
    }

private:
    static std::string clock(double secs) {
        const long s = static_cast<long>(secs + 0.5);
        return fmt::format("{}:{:02}:{:02}", s / 3600, s / 60 % 60, s % 60);
    }
    static std::string group(std::uint64_t n) { return groupDigits(n); }
    const char* verb_;
    bool tty_;
    std::uint64_t total_;
    bool drawn_ = false;
    Clock::time_point start_ = Clock::now(), last_{};
};

}  // namespace

namespace detail {

std::string rowProblem(const CsvRecord& row, std::size_t columns) {
    std::string problem = row.problem;
    if (problem.empty() && row.count != columns) {
        problem = fmt::format("{} fields where the header has {}", row.count, columns);
        if (row.count > columns) {
            problem += "; extra:";
            for (std::size_t i = columns; i < row.count; ++i) problem += fmt::format(" \"{}\"", row.field(i));
        }
    }
    return problem;
}

}  // namespace detail

char delimiterOf(const std::string& s) {
    if (s == "tab" || s == "\\t" || s == "\t") return '\t';
    if (s.size() != 1 || s[0] == '"' || s[0] == '\n' || s[0] == '\r')
        throw std::runtime_error("--delimiter takes one character (or \"tab\")");
    return s[0];
}

void addListOptions(CLI::App& cmd, ListOptions& o, const char* work) {
    cmd.add_option("--in", o.in, "Mailing list, CSV with a header row; - for standard input")->required();
    cmd.add_option("--out", o.out, "Result CSV; - for standard output")->required();
    cmd.add_option("--threads", o.threads, std::string("Threads ") + work + " (default: one per core)")
        ->check(CLI::PositiveNumber);
    cmd.add_option("--batch", o.batch, "Records handed to a thread at a time")->capture_default_str()->check(
        CLI::PositiveNumber);
    cmd.add_option("--delimiter", o.delimiter, "Field delimiter of input and output (one character or \"tab\")")
        ->capture_default_str();
    cmd.add_flag("--no-progress", o.noProgress, "No progress bar, even on a terminal");
}

ListTotals runList(const ListOptions& o, const char* command, const char* verb,
                   const std::function<ListWork(const std::vector<std::string>& header, char delim)>& start,
                   const std::function<void(const ListTotals&)>& beforeCommit) {
    const char delim = delimiterOf(o.delimiter);
    ListTotals totals;
    totals.threads = o.threads > 0 ? o.threads : std::max(1u, std::thread::hardware_concurrency());
    const std::size_t batchSize = std::max<std::size_t>(1, o.batch);

    int fd = o.inFd >= 0 ? o.inFd : STDIN_FILENO;
    if (o.inFd < 0 && o.in != "-") {
        fd = ::open(o.in.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) throw std::runtime_error("cannot read " + o.in + ": " + std::strerror(errno));
    }
    struct FdCloser {
        int fd;
        bool own;
        ~FdCloser() {
            if (own) ::close(fd);
        }
    } closer{fd, o.inFd < 0 && fd != STDIN_FILENO};
    struct stat st {};
    const std::uint64_t totalBytes =
        (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) ? static_cast<std::uint64_t>(st.st_size) : 0;

    CsvReader reader(fd, delim);
    CsvRecord header;
    if (!reader.next(header)) throw std::runtime_error(o.in + " is empty: a header row is needed");
    if (!header.problem.empty())
        throw std::runtime_error(fmt::format("{}: the header row is malformed: {}", o.in, header.problem));
    std::vector<std::string> names(header.fields.begin(), header.fields.begin() + static_cast<long>(header.count));
    const ListWork work = start(names, delim);

    Output output(o.out);
    std::string head;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i > 0) head += delim;
        csvAppendField(head, names[i], delim);
    }
    for (const std::string& c : work.columns) {
        head += delim;
        head += c;
    }
    head += delim;
    head += "ncoa_error\n";
    output.write(head);

    tbb::global_control parallelism(tbb::global_control::max_allowed_parallelism, totals.threads);
    tbb::concurrent_queue<Batch*> pool;
    std::vector<std::unique_ptr<Batch>> batches;
    const std::size_t tokens = totals.threads * 4;
    for (std::size_t i = 0; i < tokens; ++i) {
        batches.push_back(std::make_unique<Batch>());
        pool.push(batches.back().get());
    }

    Progress progress(verb, totalBytes, !o.noProgress);
    const auto begun = Clock::now();
    std::size_t told = 0;
    bool atEnd = false;

    tbb::parallel_pipeline(
        tokens,
        tbb::make_filter<void, Batch*>(tbb::filter_mode::serial_in_order,
                                       [&](tbb::flow_control& fc) -> Batch* {
                                           if (atEnd) {
                                               fc.stop();
                                               return nullptr;
                                           }
                                           Batch* b = nullptr;
                                           if (!pool.try_pop(b)) {  // not expected: one batch per token
                                               batches.push_back(std::make_unique<Batch>());
                                               b = batches.back().get();
                                           }
                                           b->count = 0;
                                           while (b->count < batchSize) {
                                               if (b->rows.size() == b->count) b->rows.emplace_back();
                                               if (!reader.next(b->rows[b->count])) {
                                                   atEnd = true;
                                                   break;
                                               }
                                               ++b->count;
                                           }
                                           if (b->count == 0) {
                                               pool.push(b);
                                               fc.stop();
                                               return nullptr;
                                           }
                                           b->bytesRead = reader.bytesConsumed();
                                           return b;
                                       }) &
            tbb::make_filter<Batch*, Batch*>(tbb::filter_mode::parallel,
                                             [&](Batch* b) {
                                                 work.process(*b);
                                                 return b;
                                             }) &
            tbb::make_filter<Batch*, void>(tbb::filter_mode::serial_in_order, [&](Batch* b) {
                for (const std::string& m : b->messages) {
                    progress.clear();
                    if (told++ < kMaxMessages) fmt::print(stderr, "{}: {}\n", command, m);
                    if (told == kMaxMessages)
                        fmt::print(stderr, "{}: further problems are only in the ncoa_error column\n", command);
                }
                output.write(b->text);
                addCounts(totals.stats, b->counts);
                totals.records += b->count;
                totals.malformed += b->malformed;
                totals.failed += b->failed;
                totals.tally += b->tally;
                progress.update(totals.records, b->bytesRead);
                pool.push(b);
            }));

    if (beforeCommit) {
        progress.clear();
        beforeCommit(totals);
    }
    output.commit();
    progress.update(totals.records, reader.bytesConsumed(), true);
    progress.clear();
    totals.seconds = std::chrono::duration<double>(Clock::now() - begun).count();
    totals.blankLines = reader.blankLinesSkipped();
    return totals;
}

}  // namespace ncoa_cli
