// `ncoa verify`: standardises the addresses of a list with the address
// verifier, without move lookups. Every input column is written back,
// followed by the standardised address; rows, threads, progress and errors go
// as in `ncoa match`.
#include <fmt/core.h>

#include <memory>
#include <string>
#include <vector>

#include "AvFields.h"
#include "AvPool.h"
#include "Columns.h"
#include "ListRun.h"
#include "commands.h"

namespace ncoa_cli {
namespace {

struct VerifyOptions {
    std::string data;
    ListOptions list;
    std::vector<std::string> maps;
};

void runVerify(const VerifyOptions& o) {
    std::unique_ptr<AvPool> verifiers;
    const auto start = [&](const std::vector<std::string>& names, char delim) {
        const ColumnMap map = ColumnMap::find(names, o.maps);
        map.requireFreeForm(names);
        verifiers = std::make_unique<AvPool>(o.data);
        ListWork work;
        forEachAvField(nullptr, [&](const char* column, std::string_view) { work.columns.push_back(column); });
        const std::size_t inputColumns = names.size(), columns = work.columns.size();
        AvPool* const pool = verifiers.get();
        work.process = [=](Batch& b) {
            const AvPool::Lease av(*pool);
            FreeFormInput in;
            forEachRow(b, inputColumns, columns, delim, [&](const CsvRecord& row, std::string& error) {
                buildFreeFormInput(map, row, in);
                void* result = nullptr;
                // The options the move lookup verifies with, so both standardise alike.
                const int rc = qvav_verify_address(av.get(), 1, in.name.c_str(), in.firm.c_str(),
                                                   in.urbanization.c_str(), in.addressLine.c_str(),
                                                   in.addressLine2.c_str(), in.lastLine.c_str(), &result);
                if (rc != 0 || result == nullptr) {
                    error = fmt::format("address verification failed with status {}", rc);
                    return false;
                }
                bool coded = false;
                forEachAvField(result, [&](const char* column, std::string_view v) {
                    b.text += delim;
                    csvAppendField(b.text, v, delim);
                    if (std::string_view(column) == "av_zip4") coded = !v.empty();
                });
                b.tally += coded;
                return true;
            });
        };
        return work;
    };

    const ListTotals t = runList(o.list, "ncoa verify", "verifying", start);
    fmt::print(stderr,
               "ncoa verify: {} records in {:.2f} s ({} records/s, {} thread{}): {} with a ZIP+4; {} malformed, {} "
               "failed{}\n",
               groupDigits(t.records), t.seconds,
               groupDigits(t.seconds > 0 ? static_cast<std::uint64_t>(static_cast<double>(t.records) / t.seconds) : 0),
               t.threads, t.threads == 1 ? "" : "s", groupDigits(t.tally), t.malformed, t.failed,
               t.blankLines ? fmt::format("; {} blank lines skipped", t.blankLines) : "");
    if (t.failed > 0) {
        fmt::print(stderr, "ncoa verify: {} records could not be verified; see their ncoa_error column\n", t.failed);
        throw ExitStatus{2};
    }
}

}  // namespace

void addVerifyCommand(CLI::App& app) {
    static VerifyOptions o;
    CLI::App* cmd =
        app.add_subcommand("verify", "Standardise the addresses of a mailing list (CSV with a header row)");
    cmd->footer(
        "The list needs an address line column (Address, Address Line 1, Street, ...) and a last line: a\n"
        "Last Line column, or City and State, or ZIP columns; Primary Number, Designator, Secondary Number\n"
        "and Address Line 2 columns join the address line. --map FIELD=COLUMN names a column (fields:\n"
        "address, address2, pno, sno, desc, lastline, city, state, zip, urbanization, name, firm). Every\n"
        "input column is written back, in input order, followed by the standardised address\n"
        "(av_primary_number ... av_result_code_2) and ncoa_error.\n"
        "Exit status: 0 done, 1 failure (nothing written under the output name), 2 done but some records\n"
        "could not be verified.");
    cmd->add_option("--data", o.data, "Data set root (the folder holding \"DVD 1\" and \"DVD 2\")")->required();
    addListOptions(*cmd, o.list, "verifying");
    cmd->add_option("--map", o.maps, "FIELD=COLUMN: the column that holds a field (repeatable)");
    cmd->callback([] { runVerify(o); });
}

}  // namespace ncoa_cli
