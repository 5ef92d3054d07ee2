// `ncoa lookup`: one record against a data set, every field of the answer
// shown, for a person trying the data set out.
#include <fmt/core.h>

#include <string>

#include "Answer.h"
#include "Columns.h"
#include "DataObject.h"
#include "commands.h"

namespace ncoa_cli {
namespace {

struct LookupOptions {
    OpenOptions open;
    std::string name, pno, sno, desc, zip9, type, mode = "all";
    int months = 0;
};

void runLookup(const LookupOptions& o) {
    const int mode = parseMode(o.mode);
    DataObject data(o.open);
    const qvncoa_in_addr_t in = {o.name.c_str(), o.pno.c_str(), o.sno.c_str(), o.zip9.c_str(), o.desc.c_str(),
                                 o.type.empty() ? ' ' : o.type[0]};
    qvncoa_out_addr_t out{};
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    const int rc = qvncoa_lookup_without_qvav(data.get(), &in, &out, mode, o.months, err, 0);
    if (rc != QVNCOA_OK && rc != QVNCOA_OK_MOVE_TOO_OLD) throw LibraryError(rc, std::string("lookup failed: ") + err);

    // The new address as people read it first, then every field as it stands.
    char display[sizeof out.addressLine];
    if (out.addressLine[0] != '\0') {
        fmt::print("{}\n", collapseSpaces(out.addressLine, display));
        fmt::print("{}\n\n", collapseSpaces(out.lastLine, display));
    }
    fmt::print("{:<22}{}\n", "Input name", out.inputName);
    fmt::print("{:<22}{}{}\n", "Result", rc,
               rc == QVNCOA_OK_MOVE_TOO_OLD ? " (the move is older than --months)" : "");
    forEachAnswerField(out, [](const char*, const char* label, std::string_view v) {
        fmt::print("{:<22}{}\n", label, v);
    });
}

}  // namespace

void addLookupCommand(CLI::App& app) {
    static LookupOptions o;
    CLI::App* cmd = app.add_subcommand("lookup", "Look one name and address up and show the whole answer");
    addOpenOptions(*cmd, o.open);
    cmd->add_option("--name", o.name, "Name of the person or firm, free form");
    cmd->add_option("--pno", o.pno, "Primary (house) number");
    cmd->add_option("--sno", o.sno, "Secondary (unit) number");
    cmd->add_option("--desc", o.desc, "Secondary designator (APT, STE, ...)");
    cmd->add_option("--zip9", o.zip9, "ZIP and ZIP+4 add-on, nine digits (or five)")->required();
    cmd->add_option("--type", o.type, "Record type of the verified address (S: street)");
    cmd->add_option("--mode", o.mode,
                    "Searches to run: all (standard), business, individual, business-individual, individual-family")
        ->capture_default_str();
    cmd->add_option("--months", o.months, "Move age limit in months (below 6: no limit)")->capture_default_str();
    cmd->callback([] { runLookup(o); });
}

}  // namespace ncoa_cli
