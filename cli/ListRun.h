// The run of a whole list through a command (`ncoa match`, `ncoa verify`):
// rows read in batches, worked on every thread, written back in input order
// behind every input column, malformed rows kept with their problem, progress
// on a terminal, and the output under its final name only when complete.
#pragma once

#include <CLI/CLI.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Csv.h"
#include "qvncoa_report.h"

namespace ncoa_cli {

struct ListOptions {
    std::string in, out;
    int inFd = -1;  // when set, the list is read from this descriptor (the caller's); `in` only names it
    unsigned threads = 0;
    std::size_t batch = 512;
    std::string delimiter = ",";
    bool noProgress = false;
};

// --in, --out, --threads, --batch, --delimiter, --no-progress.
void addListOptions(CLI::App& cmd, ListOptions& o, const char* work);

char delimiterOf(const std::string& s);

// The pipeline's unit: a batch of rows, their output text and their counts.
struct Batch {
    std::vector<CsvRecord> rows;
    std::size_t count = 0;
    std::uint64_t bytesRead = 0;
    std::string text;
    qvncoa_cumulativeStatsRecord_t counts{};
    std::vector<std::string> messages;
    std::size_t malformed = 0, failed = 0;
    std::size_t tally = 0;  // rows the command counts for its summary
};

// What a command makes of the list, once its header has been read.
struct ListWork {
    std::vector<std::string> columns;  // written after the input's and before ncoa_error
    // Works a batch through forEachRow; runs on many threads at once.
    std::function<void(Batch&)> process;
};

// Totals of a finished run.
struct ListTotals {
    std::size_t records = 0, malformed = 0, failed = 0, blankLines = 0, tally = 0;
    unsigned threads = 1;
    double seconds = 0;
    qvncoa_cumulativeStatsRecord_t stats{};
};

// Runs the list: reads its header, hands it to `start` (which may refuse the
// list by throwing, before anything is written), then works every row and
// commits the output. `command` prefixes messages ("ncoa match"); `verb`
// names the work on the progress line ("matching").
// `beforeCommit`, when given, runs on the totals after the last row and
// before the output takes its final name: a failure there leaves none.
ListTotals runList(const ListOptions& o, const char* command, const char* verb,
                   const std::function<ListWork(const std::vector<std::string>& header, char delim)>& start,
                   const std::function<void(const ListTotals&)>& beforeCommit = {});

// Every row of a batch: the input fields are written back, a malformed row
// gets its problem, a well-formed one goes to `row(record, error)`, which
// appends its `columns` values, each behind the delimiter, or returns false
// with the error text. Failed rows get empty columns and the error.
template <typename Row>
void forEachRow(Batch& b, std::size_t inputColumns, std::size_t columns, char delim, Row&& row);

// Digit groups: 1234567 -> "1,234,567".
std::string groupDigits(std::uint64_t n);

// Malformed and failed rows are told on standard error up to this many; the
// output's ncoa_error column has every one.
constexpr std::size_t kMaxMessages = 100;

// ---------------------------------------------------------------------------

namespace detail {
// The row's problem, or empty.
std::string rowProblem(const CsvRecord& row, std::size_t inputColumns);
}

template <typename Row>
void forEachRow(Batch& b, std::size_t inputColumns, std::size_t columns, char delim, Row&& row) {
    b.text.clear();
    b.messages.clear();
    b.counts = qvncoa_cumulativeStatsRecord_t{};
    b.malformed = b.failed = b.tally = 0;
    std::string error;
    for (std::size_t r = 0; r < b.count; ++r) {
        const CsvRecord& rec = b.rows[r];
        for (std::size_t i = 0; i < inputColumns; ++i) {
            if (i > 0) b.text += delim;
            csvAppendField(b.text, rec.field(i), delim);
        }
        error = detail::rowProblem(rec, inputColumns);
        if (!error.empty()) {
            error = "line " + std::to_string(rec.line) + ": " + error;
            if (++b.malformed <= kMaxMessages) b.messages.push_back(error);
        } else {
            const std::size_t mark = b.text.size();
            if (!row(rec, error)) {
                b.text.resize(mark);
                error = "line " + std::to_string(rec.line) + ": " + error;
                if (++b.failed <= kMaxMessages) b.messages.push_back(error);
            }
        }
        if (!error.empty()) {
            b.text.append(columns, delim);
            b.text += delim;
            csvAppendField(b.text, error, delim);
            error.clear();
        } else {
            b.text += delim;
        }
        b.text += '\n';
    }
}

}  // namespace ncoa_cli
