// `ncoa match`: runs a whole mailing list against a data set. Rows are read
// in batches, looked up on every thread against the one data object, and
// written back in input order; counters for the summary report are kept as
// the answers come in.
//
// A list of free-form addresses (an address line and a last line, no ZIP+4)
// goes through the address verifier first, one context per thread, and its
// output gains the standardised address (av_* columns).
#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Answer.h"
#include "AvFields.h"
#include "AvPool.h"
#include "Columns.h"
#include "Csv.h"
#include "DataObject.h"
#include "ListRun.h"
#include "MatchWork.h"
#include "commands.h"
#include "qvncoa_report.h"

namespace ncoa_cli {
namespace {

struct MatchOptions {
    OpenOptions open;
    ListOptions list;
    std::string report;
    std::string mode = "all";
    int months = 0;
    std::vector<std::string> maps;
    bool codes = false;
    std::string listName, company, licenseId;
    std::string category = "NORMAL";
    std::string mailClass = "A";
};

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
    if (list.empty())
        list = o.list.in == "-" ? std::string("standard input") : o.list.in.substr(o.list.in.find_last_of('/') + 1);
    copyCut(stats.listName, list);
    stats.processingCategory = categoryOf(o.category);
    stats.matchingLogic = mode;
    stats.classOfMail = o.mailClass[0];
    stats.dateProcessed = static_cast<double>(std::time(nullptr));

    writeSummaryReport(o.report, stats);
}

void runMatch(const MatchOptions& o) {
    const int mode = parseMode(o.mode);
    if (o.mailClass.size() != 1) throw std::runtime_error("--mail-class takes one letter (A to O)");
    if (!o.report.empty()) categoryOf(o.category);  // refuse a bad category before the long run

    std::unique_ptr<DataObject> data;
    std::unique_ptr<AvPool> verifiers;
    bool freeForm = false;
    const auto start = [&](const std::vector<std::string>& names, char delim) {
        const ColumnMap map = ColumnMap::resolve(names, o.maps);
        freeForm = map.freeForm();
        data = std::make_unique<DataObject>(o.open);
        if (freeForm) verifiers = std::make_unique<AvPool>(o.open.data);

        return matchWork(data->get(), verifiers.get(), map, names.size(), delim, mode, o.months);
    };

    // The report is written before the result takes its name: exit 1 leaves neither.
    const ListTotals t = runList(o.list, "ncoa match", "matching", start, [&](const ListTotals& done) {
        qvncoa_cumulativeStatsRecord_t counted = done.stats;
        if (!o.report.empty()) writeReport(o, mode, counted);
    });
    qvncoa_cumulativeStatsRecord_t stats = t.stats;

    const int* rc = stats.returnCodeCounts;
    const int withAddress = rc[QVNCOA_RC_SLOT_A] + rc[QVNCOA_RC_SLOT_91] + rc[QVNCOA_RC_SLOT_92];
    fmt::print(stderr,
               "ncoa match: {} records in {:.2f} s ({} records/s, {} thread{}): {} moved with a new address, {} "
               "other matches, {} not matched; {} malformed, {} failed{}{}{}\n",
               groupDigits(t.records), t.seconds,
               groupDigits(t.seconds > 0 ? static_cast<std::uint64_t>(static_cast<double>(t.records) / t.seconds) : 0),
               t.threads, t.threads == 1 ? "" : "s", withAddress, stats.recordsMatchedNCOA - withAddress,
               stats.recordsProcessed - stats.recordsMatchedNCOA, t.malformed, t.failed,
               t.blankLines ? fmt::format("; {} blank lines skipped", t.blankLines) : "",
               freeForm ? "; addresses verified first" : "",
               o.report.empty() ? "" : "; report in " + o.report + " (ANK matching is not done: its count is 0)");
    if (o.codes) printCodeTable(stats);
    if (t.failed > 0 || t.malformed > 0) {
        fmt::print(stderr, "ncoa match: {} records could not be looked up; see their ncoa_error column\n",
                   t.failed + t.malformed);
        throw ExitStatus{2};
    }
}

}  // namespace

void addMatchCommand(CLI::App& app) {
    static MatchOptions o;
    CLI::App* cmd = app.add_subcommand("match", "Run a mailing list (CSV with a header row) against a data set");
    cmd->footer(
        "Input columns are recognised by their usual names (Name, Company, Primary Number / House Number,\n"
        "Secondary Number / Unit, Designator, ZIP, ZIP4 / Plus4, Record Type, Address, Address Line 2, City,\n"
        "State, Last Line, Urbanization); --map FIELD=COLUMN names one (fields: name, firm, pno, sno, desc,\n"
        "zip, addon, type, address, address2, city, state, lastline, urbanization). A list with an address\n"
        "line and a last line (or city and state, or ZIP) but no ZIP4 column is verified first: its output\n"
        "gains the standardised address (av_primary_number ... av_result_code_2). Every input column is\n"
        "written back, followed by the answer (ncoa_return_code ... ncoa_lookups) and ncoa_error, in input\n"
        "order. A malformed row is reported on standard error and written with its ncoa_error.\n"
        "Exit status: 0 done, 1 failure (nothing written under the output name), 2 done but some records\n"
        "were malformed or could not be looked up.");
    cmd->add_option("--data", o.open.data, "Data set root (the folder holding \"DVD 1\" and \"DVD 2\")")->required();
    cmd->add_option("--kb", o.open.kb, "Name-parser knowledge base folder")->capture_default_str();
    cmd->add_flag("--memory", o.open.memory, "Hold the hash or flat files, bit tables and LCD table in memory");
    cmd->add_flag("--no-check", o.open.noCheck,
                  "Open the data set without first checking that its files are whole and listed");
    cmd->add_option("--flat-index", o.open.flatIndex,
                    "Flat data sets: search through the index of this many key bytes (1 to 3; 0 none)")
        ->check(CLI::Range(0, 3));
    addListOptions(*cmd, o.list, "looking up");
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
    cmd->add_option("--map", o.maps, "FIELD=COLUMN: the column that holds a field (repeatable)");
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
