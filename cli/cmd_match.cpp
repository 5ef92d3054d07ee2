// `ncoa match`: runs a whole mailing list against a data set. Rows are read
// in batches, looked up on every thread against the one data object, and
// written back in input order; counters for the summary report are kept as
// the answers come in.
#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tbb/concurrent_queue.h>
#include <tbb/global_control.h>
#include <tbb/parallel_pipeline.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Answer.h"
#include "Columns.h"
#include "Csv.h"
#include "DataObject.h"
#include "commands.h"
#include "qvncoa_report.h"

namespace ncoa_cli {
namespace {

struct MatchOptions {
    OpenOptions open;
    std::string in, out, report;
    std::string mode = "all";
    int months = 0;
    unsigned threads = 0;
    std::size_t batch = 512;
    std::string delimiter = ",";
    std::vector<std::string> maps;
    bool noProgress = false;
    bool codes = false;
    std::string listName, company, licenseId;
    std::string category = "NORMAL";
    std::string mailClass = "A";
};

using Clock = std::chrono::steady_clock;

// How many records came back with each return code, on standard output.
void printCodeTable(const qvncoa_cumulativeStatsRecord_t& stats) {
    fmt::print("Return code  Records\n");
    auto row = [](const std::string& code, int n) {
        if (n > 0) fmt::print("{:<11}  {:>7}\n", code, n);
    };
    row("A", stats.returnCodeCounts[QVNCOA_RC_SLOT_A]);
    row("91", stats.returnCodeCounts[QVNCOA_RC_SLOT_91]);
    row("92", stats.returnCodeCounts[QVNCOA_RC_SLOT_92]);
    for (int nn = 1; nn < 32; ++nn) row(fmt::format("{:02}", nn), stats.returnCodeCounts[nn]);
    row("66 / other", stats.returnCodeOther);
    row("00", stats.returnCodeCounts[0]);
}

// Malformed and failed rows are told on standard error up to this many; the
// output's ncoa_error column has every one.
constexpr std::size_t kMaxMessages = 100;

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
        file_ = std::fopen(tmp.c_str(), "w");
        if (file_ == nullptr) throw std::runtime_error("cannot write " + tmp + ": " + std::strerror(errno));
        std::memcpy(g_tmpPath, tmp.c_str(), tmp.size() + 1);
        g_haveTmp = 1;
        std::signal(SIGINT, removeTmpAndDie);
        std::signal(SIGTERM, removeTmpAndDie);
        std::signal(SIGHUP, removeTmpAndDie);
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
    explicit Progress(std::uint64_t totalBytes, bool enabled)
        : tty_(enabled && ::isatty(STDERR_FILENO) != 0), total_(totalBytes) {}

    void update(std::size_t records, std::uint64_t bytes, bool force = false) {
        if (!tty_) return;
        const auto now = Clock::now();
        if (!force && now - last_ < std::chrono::milliseconds(200)) return;
        last_ = now;
        const double secs = std::chrono::duration<double>(now - start_).count();
        const double rate = secs > 0 ? static_cast<double>(records) / secs : 0;
        std::string line = fmt::format("\rmatching {:>12} records {:>9}/s  {}", group(records),
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

    static std::string group(std::uint64_t n) {
        std::string s = std::to_string(n);
        for (int i = static_cast<int>(s.size()) - 3; i > 0; i -= 3) s.insert(static_cast<std::size_t>(i), ",");
        return s;
    }

private:
    static std::string clock(double secs) {
        const long s = static_cast<long>(secs + 0.5);
        return fmt::format("{}:{:02}:{:02}", s / 3600, s / 60 % 60, s % 60);
    }
    bool tty_;
    std::uint64_t total_;
    bool drawn_ = false;
    Clock::time_point start_ = Clock::now(), last_{};
};

// ---------------------------------------------------------------------------
// The pipeline's unit: a batch of rows, their output text and their counts.

struct Batch {
    std::vector<CsvRecord> rows;
    std::size_t count = 0;
    std::uint64_t bytesRead = 0;
    std::string text;
    qvncoa_cumulativeStatsRecord_t counts{};
    std::vector<std::string> messages;
    std::size_t malformed = 0, failed = 0;
};

struct Run {
    const MatchOptions& o;
    void* data;
    int mode;
    char delim;
    std::size_t columns;
    ColumnMap map;
    std::size_t answerColumns;

    // Looks up every row of the batch and formats its output lines.
    void process(Batch& b) const {
        b.text.clear();
        b.messages.clear();
        b.counts = qvncoa_cumulativeStatsRecord_t{};
        b.malformed = b.failed = 0;
        qvncoa_out_addr_t out;
        char err[QVNCOA_ERROR_TEXT_SIZE];
        LookupInput in;
        std::string problem;
        for (std::size_t r = 0; r < b.count; ++r) {
            const CsvRecord& row = b.rows[r];
            for (std::size_t i = 0; i < columns; ++i) {
                if (i > 0) b.text += delim;
                csvAppendField(b.text, row.field(i), delim);
            }
            problem = row.problem;
            if (problem.empty() && row.count != columns) {
                problem = fmt::format("{} fields where the header has {}", row.count, columns);
                if (row.count > columns) {
                    problem += "; extra:";
                    for (std::size_t i = columns; i < row.count; ++i) problem += fmt::format(" \"{}\"", row.field(i));
                }
            }
            std::string error;
            if (!problem.empty()) {
                error = fmt::format("line {}: {}", row.line, problem);
                if (++b.malformed <= kMaxMessages) b.messages.push_back(error);
            } else {
                buildLookupInput(map, row, in);
                const qvncoa_in_addr_t view = in.view();
                err[0] = '\0';
                const int rc = qvncoa_lookup_without_qvav(data, &view, &out, mode, o.months, err, 0);
                if (rc == QVNCOA_OK || rc == QVNCOA_OK_MOVE_TOO_OLD) {
                    forEachAnswerField(out, [&](const char*, const char*, std::string_view v) {
                        b.text += delim;
                        csvAppendField(b.text, v, delim);
                    });
                    countAnswer(b.counts, out);
                } else {
                    error = fmt::format("line {}: lookup failed with code {}: {}", row.line, rc, err);
                    if (++b.failed <= kMaxMessages) b.messages.push_back(error);
                }
            }
            if (!error.empty()) {
                b.text.append(answerColumns, delim);
                b.text += delim;
                csvAppendField(b.text, error, delim);
            } else {
                b.text += delim;
            }
            b.text += '\n';
        }
    }
};

char delimiterOf(const std::string& s) {
    if (s == "tab" || s == "\\t" || s == "\t") return '\t';
    if (s.size() != 1 || s[0] == '"' || s[0] == '\n' || s[0] == '\r')
        throw std::runtime_error("--delimiter takes one character (or \"tab\")");
    return s[0];
}

int categoryOf(const std::string& text) {
    static const char* const names[] = {"EMP TRAIN", "INT DB TST", "MKTG TEST", "NORMAL",
                                        "STAGE I",   "STAGE II",   "SYS TEST"};
    std::string up;
    for (char c : text) up += (c == '-' || c == '_') ? ' ' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (int i = 0; i < 7; ++i)
        if (up == names[i]) return i;
    try {
        std::size_t used = 0;
        const int n = std::stoi(text, &used);
        if (used == text.size()) return n;  // unknown numbers are the report's "Unknown (n)"
    } catch (const std::exception&) {
    }
    throw std::runtime_error("--category: a category name (NORMAL, STAGE I, ...) or number expected, not \"" + text +
                             "\"");
}

template <std::size_t N>
void copyCut(char (&dst)[N], const std::string& s) {
    const std::size_t n = std::min(s.size(), N - 1);
    std::memcpy(dst, s.data(), n);
    dst[n] = '\0';
}

void writeReport(const MatchOptions& o, int mode, qvncoa_cumulativeStatsRecord_t& stats) {
    copyCut(stats.companyName, o.company);
    copyCut(stats.licenseId, o.licenseId);
    std::string list = o.listName;
    if (list.empty()) list = o.in == "-" ? std::string("standard input") : o.in.substr(o.in.find_last_of('/') + 1);
    copyCut(stats.listName, list);
    stats.processingCategory = categoryOf(o.category);
    stats.matchingLogic = mode;
    stats.classOfMail = o.mailClass[0];
    stats.dateProcessed = static_cast<double>(std::time(nullptr));

    const std::string tmp = o.report + ".partial." + std::to_string(::getpid());
    QV_NCOA::CNCOA_SummaryReport report;
    int rc = 0;
    try {
        rc = report.DoReport(tmp.c_str(), &stats);
    } catch (...) {  // the library's file error (1041); its type is not exported
        ::unlink(tmp.c_str());
        throw std::runtime_error("cannot write the report to " + o.report + " (code 1041)");
    }
    if (rc != QVNCOA_OK) throw LibraryError(rc, "cannot write the report to " + o.report);
    if (std::rename(tmp.c_str(), o.report.c_str()) != 0) {
        ::unlink(tmp.c_str());
        throw std::runtime_error("cannot write the report to " + o.report + ": " + std::strerror(errno));
    }
}

void runMatch(const MatchOptions& o) {
    const int mode = parseMode(o.mode);
    const char delim = delimiterOf(o.delimiter);
    if (o.mailClass.size() != 1) throw std::runtime_error("--mail-class takes one letter (A to O)");
    if (!o.report.empty()) categoryOf(o.category);  // refuse a bad category before the long run
    const unsigned threads = o.threads > 0 ? o.threads : std::max(1u, std::thread::hardware_concurrency());
    const std::size_t batchSize = std::max<std::size_t>(1, o.batch);

    int fd = STDIN_FILENO;
    if (o.in != "-") {
        fd = ::open(o.in.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) throw std::runtime_error("cannot read " + o.in + ": " + std::strerror(errno));
    }
    struct FdCloser {
        int fd;
        ~FdCloser() {
            if (fd != STDIN_FILENO) ::close(fd);
        }
    } closer{fd};
    struct stat st {};
    const std::uint64_t totalBytes =
        (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) ? static_cast<std::uint64_t>(st.st_size) : 0;

    CsvReader reader(fd, delim);
    CsvRecord header;
    if (!reader.next(header)) throw std::runtime_error(o.in + " is empty: a header row is needed");
    if (!header.problem.empty())
        throw std::runtime_error(fmt::format("{}: the header row is malformed: {}", o.in, header.problem));
    std::vector<std::string> names(header.fields.begin(), header.fields.begin() + static_cast<long>(header.count));
    const ColumnMap map = ColumnMap::resolve(names, o.maps);

    DataObject data(o.open);
    Output output(o.out);

    std::size_t answerColumns = 0;
    std::string head;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i > 0) head += delim;
        csvAppendField(head, names[i], delim);
    }
    qvncoa_out_addr_t blank{};
    forEachAnswerField(blank, [&](const char* column, const char*, std::string_view) {
        head += delim;
        head += column;
        ++answerColumns;
    });
    head += delim;
    head += "ncoa_error\n";
    output.write(head);

    const Run run{o, data.get(), mode, delim, names.size(), map, answerColumns};
    tbb::global_control parallelism(tbb::global_control::max_allowed_parallelism, threads);
    tbb::concurrent_queue<Batch*> pool;
    std::vector<std::unique_ptr<Batch>> batches;
    const std::size_t tokens = threads * 4;
    for (std::size_t i = 0; i < tokens; ++i) {
        batches.push_back(std::make_unique<Batch>());
        pool.push(batches.back().get());
    }

    Progress progress(totalBytes, !o.noProgress);
    const auto start = Clock::now();
    qvncoa_cumulativeStatsRecord_t stats{};
    std::size_t records = 0, malformed = 0, failed = 0, told = 0;
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
                                                 run.process(*b);
                                                 return b;
                                             }) &
            tbb::make_filter<Batch*, void>(tbb::filter_mode::serial_in_order, [&](Batch* b) {
                for (const std::string& m : b->messages) {
                    progress.clear();
                    if (told++ < kMaxMessages) fmt::print(stderr, "ncoa match: {}\n", m);
                    if (told == kMaxMessages)
                        fmt::print(stderr, "ncoa match: further problems are only in the ncoa_error column\n");
                }
                output.write(b->text);
                addCounts(stats, b->counts);
                records += b->count;
                malformed += b->malformed;
                failed += b->failed;
                progress.update(records, b->bytesRead);
                pool.push(b);
            }));

    output.commit();
    progress.update(records, reader.bytesConsumed(), true);
    progress.clear();
    const double secs = std::chrono::duration<double>(Clock::now() - start).count();

    if (!o.report.empty()) writeReport(o, mode, stats);

    const int* rc = stats.returnCodeCounts;
    const int withAddress = rc[QVNCOA_RC_SLOT_A] + rc[QVNCOA_RC_SLOT_91] + rc[QVNCOA_RC_SLOT_92];
    fmt::print(stderr,
               "ncoa match: {} records in {:.2f} s ({} records/s, {} thread{}): {} moved with a new address, {} "
               "other matches, {} not matched; {} malformed, {} failed{}{}\n",
               Progress::group(records), secs,
               Progress::group(secs > 0 ? static_cast<std::uint64_t>(static_cast<double>(records) / secs) : 0), threads,
               threads == 1 ? "" : "s", withAddress, stats.recordsMatchedNCOA - withAddress,
               stats.recordsProcessed - stats.recordsMatchedNCOA, malformed, failed,
               reader.blankLinesSkipped() ? fmt::format("; {} blank lines skipped", reader.blankLinesSkipped()) : "",
               o.report.empty() ? "" : "; report in " + o.report + " (ANK matching is not done: its count is 0)");
    if (o.codes) printCodeTable(stats);
    if (failed > 0) {
        fmt::print(stderr, "ncoa match: {} records could not be looked up; see their ncoa_error column\n", failed);
        throw ExitStatus{2};
    }
}

}  // namespace

void addMatchCommand(CLI::App& app) {
    static MatchOptions o;
    CLI::App* cmd = app.add_subcommand("match", "Run a mailing list (CSV with a header row) against a data set");
    cmd->footer(
        "Input columns are recognised by their usual names (Name, Company, Primary Number / House Number,\n"
        "Secondary Number / Unit, Designator, ZIP, ZIP4 / Plus4, Record Type, Address); --map FIELD=COLUMN\n"
        "names one (fields: name, firm, pno, sno, desc, zip, addon, type, address). Every input column is\n"
        "written back, followed by the answer (ncoa_return_code ... ncoa_lookups) and ncoa_error, in input\n"
        "order. A malformed row is reported on standard error and written with its ncoa_error.\n"
        "Exit status: 0 done, 1 failure (nothing written under the output name), 2 done but some records\n"
        "could not be looked up.");
    cmd->add_option("--data", o.open.data, "Data set root (the folder holding \"DVD 1\" and \"DVD 2\")")->required();
    cmd->add_option("--kb", o.open.kb, "Name-parser knowledge base folder")->capture_default_str();
    cmd->add_flag("--memory", o.open.memory, "Hold the hash or flat files, bit tables and LCD table in memory");
    cmd->add_option("--flat-index", o.open.flatIndex,
                    "Flat data sets: search through the index of this many key bytes (1 to 3; 0 none)")
        ->check(CLI::Range(0, 3));
    cmd->add_option("--in", o.in, "Mailing list, CSV with a header row; - for standard input")->required();
    cmd->add_option("--out", o.out, "Result CSV; - for standard output")->required();
    cmd->add_option("--mode", o.mode,
                    "Searches to run: all (standard), business, individual, business-individual, individual-family")
        ->capture_default_str()
        ->check([](const std::string& s) {
            try {
                parseMode(s);
                return std::string();
            } catch (const std::exception& e) {
                return std::string(e.what());
            }
        });
    cmd->add_option("--months", o.months,
                    "Move age limit in months: older moves are marked ncoa_too_old (below 6: no limit, above 48: 48)")
        ->capture_default_str();
    cmd->add_option("--threads", o.threads, "Threads looking up (default: one per core)")->check(CLI::PositiveNumber);
    cmd->add_option("--batch", o.batch, "Records handed to a thread at a time")->capture_default_str()->check(
        CLI::PositiveNumber);
    cmd->add_option("--map", o.maps, "FIELD=COLUMN: the column that holds a field (repeatable)");
    cmd->add_option("--delimiter", o.delimiter, "Field delimiter of input and output (one character or \"tab\")")
        ->capture_default_str();
    cmd->add_flag("--no-progress", o.noProgress, "No progress bar, even on a terminal");
    cmd->add_flag("--codes", o.codes, "Print a table of the return codes that came back");
    cmd->add_option("--report", o.report, "Write the processing summary report to this file");
    cmd->add_option("--list-name", o.listName, "Report: list name (default: the input file's name)");
    cmd->add_option("--company", o.company, "Report: licensee company name");
    cmd->add_option("--license-id", o.licenseId, "Report: license ID of the list processor");
    cmd->add_option("--category", o.category,
                    "Report: processing category (EMP TRAIN, INT DB TST, MKTG TEST, NORMAL, STAGE I, STAGE II, "
                    "SYS TEST, or its number)")
        ->capture_default_str();
    cmd->add_option("--mail-class", o.mailClass, "Report: class of mail, a letter A to O")->capture_default_str();
    cmd->callback([] { runMatch(o); });
}

}  // namespace ncoa_cli
