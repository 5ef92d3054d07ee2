// `ncoa client-test --data DIR --in TESTFILE --out ANSWERS`: the USPS client
// test run through qvncoa_runAudit, with the address verifier opened on the
// same data set, a progress bar and a summary of the answers by return code.
#include <fmt/core.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>

#include "DataObject.h"
#include "commands.h"

namespace ncoa_cli {
namespace {

struct ClientTestOptions {
    OpenOptions open;
    std::string avData;
    std::string in, out;
    bool stageOne = false;
    bool debug = false;
    bool noProgress = false;
    std::string form3553;
    std::string tag;
    // The six texts of the form 3553, in the order qvncoa_runAudit takes them.
    std::string form[6];
};

// The verifier's context, closed on every path.
class Verifier {
public:
    explicit Verifier(const std::string& root) {
        char err[QVNCOA_ERROR_TEXT_SIZE] = "";
        int rc = qvav_open(&av_, root.c_str(), err);
        if (rc != 0) {
            qvav_close(&av_);
            throw LibraryError(rc, "cannot open the address verifier on " + root + ": " + err);
        }
    }
    ~Verifier() { qvav_close(&av_); }
    Verifier(const Verifier&) = delete;
    Verifier& operator=(const Verifier&) = delete;
    qvav_context* get() const { return av_; }

private:
    qvav_context* av_ = nullptr;
};

struct Bar {
    bool tty = false;
    unsigned lastDrawn = 0;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

int drawBar(unsigned current, unsigned total, qvncoa_out_addr_t*, void* user) {
    Bar* bar = static_cast<Bar*>(user);
    if (!bar->tty || total == 0) return QVNCOA_OK;
    // Redrawn once per whole percent, and at the end.
    const unsigned percent = static_cast<unsigned>(100ull * current / total);
    if (current != total && percent == bar->lastDrawn && current != 1) return QVNCOA_OK;
    bar->lastDrawn = percent;
    const int width = 40;
    const int filled = static_cast<int>(percent * width / 100);
    const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - bar->start).count();
    fmt::print(stderr, "\rclient test [{}{}] {}/{} records  {:.1f}s", std::string(static_cast<size_t>(filled), '#'),
               std::string(static_cast<size_t>(width - filled), '.'), current, total, secs);
    std::fflush(stderr);
    return QVNCOA_OK;
}

// Detail records of the answer file by their return code (columns 636-637).
std::map<std::string, std::size_t> answersByCode(const std::string& path, std::size_t& records) {
    std::map<std::string, std::size_t> codes;
    records = 0;
    std::ifstream in(path, std::ios::binary);
    std::string rec(1000, '\0');
    while (in.read(&rec[0], 1000)) {
        if (rec.compare(997, 3, "D\r\n") != 0) continue;
        ++records;
        std::string code = rec.substr(636, 2);
        while (!code.empty() && code.back() == ' ') code.pop_back();
        ++codes[code.empty() ? "(blank)" : code];
    }
    return codes;
}

void runClientTest(const ClientTestOptions& o) {
    DataObject obj(o.open);
    Verifier av(o.avData.empty() ? o.open.data : o.avData);
    Bar bar;
    bar.tty = !o.noProgress && ::isatty(STDERR_FILENO) != 0;
    qvncoa_prog_cb_t progress = {drawBar, &bar};
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    unsigned flags = 0;
    if (o.debug) flags |= QVNCOA_LOOKUP_DEBUG;
    if (o.stageOne) flags |= QVNCOA_AUDIT_STAGE_ONE;
    int rc = qvncoa_runAudit(obj.get(), av.get(), o.in.c_str(), o.out.c_str(), o.tag.c_str(), o.form[0].c_str(),
                             o.form[1].c_str(), o.form[2].c_str(), o.form[3].c_str(), o.form[4].c_str(),
                             o.form[5].c_str(), o.form3553.c_str(), &progress, err, flags);
    if (bar.tty) fmt::print(stderr, "\n");
    if (rc != QVNCOA_OK) {
        const char* what = rc == QVNCOA_ERR_FILE_OPEN    ? "cannot read the test file "
                           : rc == QVNCOA_ERR_FILE_WRITE ? "cannot write the answer file "
                           : rc == 1044                  ? "a line of the test file lacks its newline"
                                                         : "client test failed ";
        throw LibraryError(rc, std::string(what) + err);
    }
    const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - bar.start).count();
    std::size_t records = 0;
    const auto codes = answersByCode(o.out, records);
    fmt::print("Client test answers written to {}: {} records in {:.1f}s\n", o.out, records, secs);
    std::string line;
    for (const auto& [code, n] : codes) line += fmt::format("{}{} {}", line.empty() ? "" : ", ", n, code);
    if (!line.empty()) fmt::print("  by return code: {}\n", line);
    if (!o.form3553.empty()) fmt::print("Form 3553 written to {}\n", o.form3553);
}

}  // namespace

void addClientTestCommand(CLI::App& app) {
    static ClientTestOptions o;
    CLI::App* cmd = app.add_subcommand("client-test", "Run a USPS client test file and write the answer file");
    addOpenOptions(*cmd, o.open);
    cmd->add_option("--av-data", o.avData, "Data the address verifier opens (default: the data set root)");
    cmd->add_option("--in", o.in, "Client test input file")->required();
    cmd->add_option("--out", o.out, "Answer file to write (1000-byte records)")->required();
    cmd->add_flag("--stage-one", o.stageOne, "The input has the stage-one layout (1000-byte lines)");
    cmd->add_option("--form3553", o.form3553, "Also have the verifier write the form 3553 here");
    cmd->add_option("--tag", o.tag, "Tag of the answer file's header (4 characters)")
        ->check(CLI::Validator([](std::string& t) { return t.size() <= 4 ? std::string() : std::string("at most 4 characters"); },
                               "TEXT(<=4)"));
    const char* names[6][2] = {{"--list-name", "Form 3553: name of the list (25)"},
                               {"--processor", "Form 3553: list processor's name (32)"},
                               {"--processor-address", "Form 3553: list processor's street address (32)"},
                               {"--processor-city", "Form 3553: list processor's city, state and ZIP (32)"},
                               {"--mailer", "Form 3553: mailer's name (32)"},
                               {"--list-id", "Form 3553: identifier of the list (25)"}};
    for (int i = 0; i < 6; ++i) cmd->add_option(names[i][0], o.form[i], names[i][1]);
    cmd->add_flag("--debug", o.debug, "The library's debug log on standard output");
    cmd->add_flag("--no-progress", o.noProgress, "No progress bar, even on a terminal");
    cmd->callback([] { runClientTest(o); });
}

}  // namespace ncoa_cli
