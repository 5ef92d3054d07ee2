// The `ncoa` command as a user runs it: a list in, results out in input
// order on any number of threads, malformed rows kept, failures told, and the
// report counted from whatever codes the library answers.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace fs = std::filesystem;

namespace {

const std::string kNcoa = QV_BINARY_DIR "/cli/ncoa";
const std::string kList = QV_SOURCE_DIR "/data/sample/list.csv";

struct Result {
    int status;
    std::string out, err;
};

class NcoaCommand : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        dir = fs::temp_directory_path() / ("qv-cli-" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        data = (dir / "set").string();
        const Result r = run("dataset build '" QV_SOURCE_DIR "/data/sample/world.json' '" + data + "' --quiet");
        ASSERT_EQ(r.status, 0) << r.err;
    }
    static void TearDownTestSuite() { fs::remove_all(dir); }

    static Result run(const std::string& args, const std::string& stdinFile = "") {
        const std::string o = (dir / "stdout").string(), e = (dir / "stderr").string();
        std::string cmd = "'" + kNcoa + "' " + args + " >'" + o + "' 2>'" + e + "'";
        if (!stdinFile.empty()) cmd += " <'" + stdinFile + "'";
        const int rc = std::system(cmd.c_str());
        return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, fileBytes(o), fileBytes(e)};
    }

    static std::string path(const std::string& name) { return (dir / name).string(); }
    static void write(const std::string& name, const std::string& text) { std::ofstream(path(name)) << text; }

    static Result match(const std::string& in, const std::string& out, const std::string& extra = "") {
        return run("match --data '" + data + "' --in '" + in + "' --out '" + out + "' " + extra);
    }

    static inline fs::path dir;
    static inline std::string data;
};

TEST_F(NcoaCommand, KeepsEveryRowInOrderWithOneOrTwoThreads) {
    const std::vector<std::string> input = splitLines(fileBytes(kList));
    std::string previous;
    for (const char* opts : {"--threads 1", "--threads 2 --batch 1", "--threads 2 --batch 7", "--threads 2"}) {
        const Result r = match(kList, path("out.csv"), opts);
        ASSERT_EQ(r.status, 0) << opts << ": " << r.err;
        const std::string text = fileBytes(path("out.csv"));
        const std::vector<std::string> out = splitLines(text);
        ASSERT_EQ(out.size(), input.size()) << opts;

        const std::vector<std::string> head = csvFields(out[0]);
        const std::size_t inCols = csvFields(input[0]).size();
        ASSERT_EQ(head.size(), inCols + 28);
        EXPECT_EQ(head[inCols], "ncoa_return_code");
        EXPECT_EQ(head.back(), "ncoa_error");
        for (std::size_t i = 1; i < out.size(); ++i) {
            const std::vector<std::string> in = csvFields(input[i]), got = csvFields(out[i]);
            ASSERT_EQ(got.size(), head.size()) << "line " << i + 1;
            EXPECT_EQ(std::vector<std::string>(got.begin(), got.begin() + static_cast<long>(inCols)), in)
                << opts << " line " << i + 1;
            EXPECT_FALSE(got[inCols].empty()) << "no return code on line " << i + 1;
            EXPECT_TRUE(got.back().empty()) << got.back();
        }
        if (!previous.empty()) {
            EXPECT_EQ(text, previous) << opts;
        }
        previous = text;
        EXPECT_NE(r.err.find(std::to_string(input.size() - 1) + " records"), std::string::npos) << r.err;
    }
    for (const auto& entry : fs::directory_iterator(dir))
        EXPECT_EQ(entry.path().filename().string().find(".partial."), std::string::npos) << entry.path();
}

TEST_F(NcoaCommand, ReportCountsTheCodesThatCameBack) {
    const Result r = match(kList, path("out.csv"),
                           "--threads 2 --batch 5 --report '" + path("psr.txt") +
                               "' --company 'ACME LISTS' --license-id LP99 --list-name SPRING --mode business "
                               "--category 'stage ii' --mail-class C");
    ASSERT_EQ(r.status, 0) << r.err;
    std::map<std::string, int> codes;
    const std::vector<std::string> out = splitLines(fileBytes(path("out.csv")));
    const std::size_t rcCol = csvFields(out[0]).size() - 28;
    for (std::size_t i = 1; i < out.size(); ++i) ++codes[csvFields(out[i])[rcCol]];
    const int rows = static_cast<int>(out.size()) - 1;
    const int provided = codes["A"] + codes["91"] + codes["92"];
    const int matched = rows - codes["00"] - codes["66"];

    const std::vector<std::string> rep = splitLines(fileBytes(path("psr.txt")));
    ASSERT_EQ(rep.size(), 24u);
    EXPECT_EQ(std::vector<std::string>(rep.begin() + 1, rep.begin() + 7),
              (std::vector<std::string>{"Licensee Company Name: ACME LISTS", "License ID: LP99", "List Name: SPRING",
                                        "Processing Category: STAGE II", "Matching Logic Applied: Business Only",
                                        "Class of Mail: Standard Mail Only"}));
    EXPECT_EQ(rep[9], "Records processed: " + std::to_string(rows));
    EXPECT_EQ(rep[10], "Records matched (NCOA): " + std::to_string(matched));
    EXPECT_EQ(rep[11], "Records matched (ANK): 0");
    EXPECT_EQ(rep[14], "\tMoved, New Address Provided: " + std::to_string(provided));
    EXPECT_EQ(rep[15], "\tMoved, No New Address Available: " + std::to_string(codes["01"] + codes["02"] + codes["03"]));
    EXPECT_EQ(rep[16],
              "\tMoved, Unable To Provide New Address: " + std::to_string(codes["05"] + codes["14"] + codes["19"]));
    EXPECT_EQ(rep[19].rfind("\tSum of months 00-03: ", 0), 0u);

    // Codes the report's maps do not know are printed with the code.
    ASSERT_EQ(match(kList, path("out.csv"), "--report '" + path("psr.txt") + "' --category 9 --mail-class P").status, 0);
    const std::vector<std::string> odd = splitLines(fileBytes(path("psr.txt")));
    ASSERT_EQ(odd.size(), 24u);
    EXPECT_EQ(odd[4], "Processing Category: Unknown (9)");
    EXPECT_EQ(odd[6], "Class of Mail: Unknown ('P')");
}

TEST_F(NcoaCommand, MalformedRowsAreWrittenWithTheirErrorAndReadingGoesOn) {
    write("bad.csv",
          "Name,Primary Number,ZIP\r\n"
          "JOHN SMITH,120,100011234\r\n"
          "ONLY TWO,5\r\n"
          "\"MULTI\nLINE NAME\",7,10001\r\n"
          "TOO,MANY,FIELDS,HERE\r\n"
          "PAT \"THE CAT\" JONES,9,10001\r\n"
          "\"OPEN QUOTE,11,10001\r\n"
          "AFTER,13,10001\r\n"
          "LAST,15,10001");
    const Result r = match(path("bad.csv"), path("out.csv"), "--threads 2 --batch 2");
    ASSERT_EQ(r.status, 2) << r.err;  // done, but not every row could be looked up
    const std::vector<std::string> out = splitLines(fileBytes(path("out.csv")));
    // The quoted line break is one record spanning two output lines.
    ASSERT_EQ(out.size(), 10u);
    const auto error = [&](std::size_t i) { return csvFields(out[i]).back(); };
    EXPECT_EQ(csvFields(out[1])[0], "JOHN SMITH");
    EXPECT_EQ(error(1), "");
    EXPECT_EQ(csvFields(out[2])[0], "ONLY TWO");
    EXPECT_EQ(error(2), "line 3: 2 fields where the header has 3");
    const std::vector<std::string> multi = csvFields(out[3] + "\n" + out[4]);
    EXPECT_EQ(multi[0], "MULTI\nLINE NAME");
    EXPECT_EQ(multi.back(), "");
    EXPECT_EQ(error(5), "line 6: 4 fields where the header has 3; extra: \"HERE\"");
    EXPECT_EQ(error(6), "line 7: quote inside an unquoted field");
    EXPECT_EQ(csvFields(out[7])[0], "OPEN QUOTE");
    EXPECT_EQ(error(7), "line 8: unterminated quoted field");
    EXPECT_EQ(csvFields(out[8])[0], "AFTER");
    EXPECT_EQ(error(8), "");
    EXPECT_EQ(csvFields(out[9])[0], "LAST");
    EXPECT_FALSE(csvFields(out[9])[3].empty());  // looked up: it has a return code
    for (const char* told : {"line 3:", "line 6:", "line 7:", "line 8:"})
        EXPECT_NE(r.err.find(std::string("ncoa match: ") + told), std::string::npos) << told << "\n" << r.err;
    EXPECT_NE(r.err.find("4 malformed"), std::string::npos) << r.err;
}

TEST_F(NcoaCommand, AnOverLongLineIsOneMalformedRowAndAFailedReportLeavesNoResult) {
    write("long.csv", "Name,Primary Number,ZIP\nJOHN SMITH,120,100011234\n" + std::string(3u << 20, 'X') +
                          "\nMARY JONES,3205,94110\n");
    const Result r = match(path("long.csv"), path("long-out.csv"));
    ASSERT_EQ(r.status, 2) << r.err;
    const std::vector<std::string> out = splitLines(fileBytes(path("long-out.csv")));
    ASSERT_EQ(out.size(), 4u);  // the 3 MiB line is one row, not three
    EXPECT_NE(csvFields(out[2]).back().find("line 3: record longer than 1 MiB"), std::string::npos);
    EXPECT_EQ(csvFields(out[3])[0], "MARY JONES");
    EXPECT_EQ(csvFields(out[3]).back(), "");
    EXPECT_NE(r.err.find("1 malformed"), std::string::npos) << r.err;

    fs::remove(path("never.csv"));
    const Result noReport = match(kList, path("never.csv"), "--report '" + path("no-such-dir/psr.txt") + "'");
    EXPECT_EQ(noReport.status, 1) << noReport.err;
    EXPECT_FALSE(fs::exists(path("never.csv")));
}

TEST_F(NcoaCommand, ADamagedSetIsRefusedUnlessToldNotToCheck) {
    const std::string copy = path("damaged-set");
    fs::remove_all(copy);
    fs::copy(data, copy, fs::copy_options::recursive);
    fs::resize_file(copy + "/DVD 2/rv9/lln.dat", 6);
    const Result r = run("match --data '" + copy + "' --in '" + kList + "' --out '" + path("never.csv") + "'");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find(copy + "/DVD 2/rv9/lln.dat"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("code 1042"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(path("never.csv")));
    const Result prove = run("prove '" + copy + "'");
    EXPECT_EQ(prove.status, 1);
    EXPECT_NE(prove.out.find("FAILED " + copy + "/DVD 2/rv9/lln.dat"), std::string::npos) << prove.out;
    // Unchecked, start-up meets the same file and fails with the library's own code.
    const Result unchecked = run("info --no-check '" + copy + "'");
    EXPECT_EQ(unchecked.status, 1);
    EXPECT_NE(unchecked.err.find("code 1042"), std::string::npos) << unchecked.err;
    fs::remove_all(copy);
}

TEST_F(NcoaCommand, RunsInAPipeAndTakesColumnNamesFromMap) {
    write("odd.csv", "Who,House,Postcode,Plus\nJOHN SMITH,120,10001,1234\nMARY JONES,3205,94110,3301\n");
    const Result refused = match(path("odd.csv"), path("odd-out.csv"));
    EXPECT_NE(refused.status, 0);
    EXPECT_NE(refused.err.find("--map name=COLUMN"), std::string::npos) << refused.err;
    EXPECT_NE(refused.err.find("\"Who\", \"House\""), std::string::npos) << refused.err;
    EXPECT_FALSE(fs::exists(path("odd-out.csv")));

    const Result piped = run("match --data '" + data + "' --in - --out - --map name=Who --map pno=House --map addon=Plus",
                             path("odd.csv"));
    ASSERT_EQ(piped.status, 0) << piped.err;
    const std::vector<std::string> out = splitLines(piped.out);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[1].rfind("JOHN SMITH,120,10001,1234,", 0), 0u);
    EXPECT_EQ(out[2].rfind("MARY JONES,3205,94110,3301,", 0), 0u);

    // The same list from a file, through --out: the same bytes.
    ASSERT_EQ(match(path("odd.csv"), path("odd-out.csv"), "--map name=Who --map pno=House --map addon=Plus").status, 0);
    EXPECT_EQ(fileBytes(path("odd-out.csv")), piped.out);
}

TEST_F(NcoaCommand, AMissingDataSetFailsWithTheLibrarysCodeAndWritesNothing) {
    const Result r = run("match --data /nonexistent/ncoa-set --in '" + kList + "' --out '" + path("never.csv") + "'");
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.err.find("/nonexistent/ncoa-set"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("code 1040"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(path("never.csv")));

    const Result missingList = match(path("no-such-list.csv"), path("never.csv"));
    EXPECT_NE(missingList.status, 0);
    EXPECT_NE(missingList.err.find("cannot read"), std::string::npos) << missingList.err;
    EXPECT_FALSE(fs::exists(path("never.csv")));
}

TEST_F(NcoaCommand, AnInterruptedRunLeavesNoFileUnderTheFinalName) {
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    const std::string out = path("interrupted.csv");
    // Watched before the run starts, so the partial file's creation can't be missed.
    const int watch = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    ASSERT_GE(watch, 0);
    ASSERT_GE(::inotify_add_watch(watch, fs::path(out).parent_path().c_str(), IN_CREATE | IN_MOVED_TO), 0);
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        ::dup2(fds[0], 0);
        ::close(fds[1]);
        const int devnull = ::open("/dev/null", O_WRONLY);
        ::dup2(devnull, 2);
        ::execl(kNcoa.c_str(), "ncoa", "match", "--data", data.c_str(), "--in", "-", "--out", out.c_str(),
                static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(fds[0]);
    const std::string rows = "Name,Primary Number,ZIP\nJOHN SMITH,120,100011234\n";
    ASSERT_EQ(::write(fds[1], rows.data(), rows.size()), static_cast<ssize_t>(rows.size()));
    // The input stays open: the run waits for more rows with its partial file made.
    const std::string partial = out + ".partial." + std::to_string(pid);
    // Wait for the event, not a time: a loaded machine may take long to open the set.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (!fs::exists(partial) && std::chrono::steady_clock::now() < deadline) {
        int st = 0;
        if (::waitpid(pid, &st, WNOHANG) == pid) break;  // ended early: the checks below fail
        pollfd pfd = {watch, POLLIN, 0};
        if (::poll(&pfd, 1, 1000) > 0) {
            char events[4096];
            while (::read(watch, events, sizeof events) > 0) {
            }
        }
    }
    ::close(watch);
    EXPECT_TRUE(fs::exists(partial));
    ::kill(pid, SIGTERM);
    int status = 0;
    ::waitpid(pid, &status, 0);
    ::close(fds[1]);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_FALSE(fs::exists(out));
    EXPECT_FALSE(fs::exists(partial));
}

TEST_F(NcoaCommand, LookupInfoAndHelp) {
    const Result one = run("lookup --data '" + data + "' --name 'JOHN A SMITH' --pno 120 --zip9 100011234 --type S");
    ASSERT_EQ(one.status, 0) << one.err;
    EXPECT_NE(one.out.find("Input name            JOHN A SMITH\n"), std::string::npos) << one.out;
    EXPECT_NE(one.out.find("Result                100"), std::string::npos) << one.out;
    for (const char* label : {"Return code", "Address line", "ZIP+4 add-on", "Move date", "Months since move", "Too old"})
        EXPECT_NE(one.out.find(std::string("\n") + label), std::string::npos) << label;

    const Result info = run("info '" + data + "'");
    ASSERT_EQ(info.status, 0) << info.err;
    EXPECT_NE(info.out.find("SAMPLE NCOALINK HASH DATA SET"), std::string::npos);
    EXPECT_EQ(run("info --data '" + data + "'").out, info.out);
    EXPECT_NE(run("info").status, 0);

    const Result help = run("--help");
    EXPECT_EQ(help.status, 0);
    for (const char* cmd : {"match", "lookup", "info", "prove", "dataset"})
        EXPECT_NE(help.out.find(std::string("  ") + cmd + " "), std::string::npos) << cmd;
    const Result matchHelp = run("match --help");
    EXPECT_NE(matchHelp.out.find("--map"), std::string::npos);
    EXPECT_NE(matchHelp.out.find("--report"), std::string::npos);
}

}  // namespace

// ---------------------------------------------------------------------------
// Lists of free-form addresses: the verifier standardises each address, and
// `ncoa verify` does that alone.
namespace {

class FreeFormList : public NcoaCommand {
protected:
    // One synthetic list written twice from the same seed: split and ZIP+4
    // coded, and as people type addresses.
    static void SetUpTestSuite() {
        NcoaCommand::SetUpTestSuite();
        for (const std::string style : {"split", "free"}) {
            const Result r = run("dataset synth --filings 3000 --seed 17 --list 3000 --hit-rate 0.3 --quiet --names '" QV_SOURCE_DIR
                                 "/data/namekb' --out '" + path("synth-" + style) + "' --list-out '" +
                                 path(style + ".csv") + "' --address-style " + style);
            ASSERT_EQ(r.status, 0) << r.err;
        }
    }
};

TEST_F(FreeFormList, FindsTheMovesOfTheSameListSplitAndCoded) {
    const std::string set = "--data '" + path("synth-split") + "' --no-progress ";
    const Result split = run("match " + set + "--threads 2 --in '" + path("split.csv") + "' --out '" + path("split-out.csv") + "'");
    ASSERT_EQ(split.status, 0) << split.err;
    const Result free = run("match " + set + "--threads 2 --batch 7 --in '" + path("free.csv") + "' --out '" + path("free-out.csv") + "'");
    ASSERT_EQ(free.status, 0) << free.err;

    const std::vector<std::string> a = splitLines(fileBytes(path("split-out.csv"))), b = splitLines(fileBytes(path("free-out.csv")));
    ASSERT_EQ(a.size(), 3001u);
    ASSERT_EQ(b.size(), a.size());
    const std::vector<std::string> headA = csvFields(a[0]), headB = csvFields(b[0]);
    // The free list's five columns, then the standardised address, then the answer.
    ASSERT_EQ(headB[5], "av_primary_number");
    EXPECT_EQ(std::count(headA.begin(), headA.end(), "av_zip4"), 0) << "a coded list is not verified";
    const std::size_t zip4 = columnOf(headA, "ZIP4"), avZip4 = columnOf(headB, "av_zip4");
    std::vector<std::pair<std::size_t, std::size_t>> answer;  // the ncoa_* columns in both
    for (std::size_t i = 0; i < headA.size(); ++i)
        if (headA[i].rfind("ncoa_", 0) == 0) answer.emplace_back(i, columnOf(headB, headA[i]));

    std::size_t coded = 0, differ = 0, moves = 0;
    std::string shown;
    for (std::size_t r = 1; r < a.size(); ++r) {
        const std::vector<std::string> x = csvFields(a[r]), y = csvFields(b[r]);
        ASSERT_EQ(x[0], y[0]) << "row " << r << " out of order";
        coded += x[zip4] == y[avZip4];
        moves += x[answer[0].first] == "A";
        for (const auto& [i, j] : answer)
            if (x[i] != y[j]) {
                if (++differ <= 5) shown += "\n" + a[r] + "\n" + b[r];
                break;
            }
    }
    EXPECT_EQ(differ, 0u) << "rows answered otherwise:" << shown;
    EXPECT_EQ(coded, 3000u);
    EXPECT_GT(moves, 500u);
}

TEST_F(NcoaCommand, VerifyKeepsEveryInputColumnAndAddsTheStandardisedAddress) {
    write("people.csv",
          "Id,Address,Note,City,State,ZIP,Extra\n"
          "1,118 West 34th Street,\"rear door, ring twice\",New York,NY,10001,x\n"
          "2,,,,,,\n"
          "3,too,few\n"
          "4,3205 mission st,,san francisco,california,94110,\n");
    const Result r = run("verify --data '" + data + "' --threads 2 --batch 1 --in '" + path("people.csv") +
                         "' --out '" + path("people-out.csv") + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::vector<std::string> in = splitLines(fileBytes(path("people.csv"))), out = splitLines(fileBytes(path("people-out.csv")));
    ASSERT_EQ(out.size(), in.size());
    const std::vector<std::string> head = csvFields(out[0]);
    ASSERT_EQ(head.size(), 7u + 15 + 1);
    EXPECT_EQ(std::vector<std::string>(head.begin(), head.begin() + 7), csvFields(in[0]));
    EXPECT_EQ(head[7], "av_primary_number");
    EXPECT_EQ(head.back(), "ncoa_error");
    for (std::size_t i = 1; i < out.size(); ++i) {
        const std::vector<std::string> got = csvFields(out[i]), want = csvFields(in[i]);
        ASSERT_EQ(got.size(), head.size()) << out[i];
        EXPECT_EQ(std::vector<std::string>(got.begin(), got.begin() + static_cast<long>(want.size())), want) << out[i];
    }
    const auto at = [&](std::size_t row, const char* column) { return csvFields(out[row])[columnOf(head, column)]; };
    EXPECT_EQ(at(1, "av_primary_number"), "118");
    EXPECT_EQ(at(1, "av_pre_directional"), "W");
    EXPECT_EQ(at(1, "av_street_name"), "34TH");
    EXPECT_EQ(at(1, "av_suffix"), "ST");
    EXPECT_EQ(at(1, "av_zip4"), "1234");
    EXPECT_EQ(at(1, "ncoa_error"), "");
    EXPECT_EQ(at(3, "ncoa_error"), "line 4: 3 fields where the header has 7");
    EXPECT_EQ(at(4, "av_state"), "CA");
    EXPECT_EQ(at(4, "av_zip4"), "3301");
    EXPECT_NE(r.err.find("ncoa verify: 4 records"), std::string::npos) << r.err;
}

TEST_F(NcoaCommand, VerifyWritesNothingUnderTheFinalNameOnFailure) {
    const Result noData = run("verify --data /nonexistent/ncoa-set --in '" + kList + "' --out '" + path("v.csv") + "'");
    EXPECT_NE(noData.status, 0);
    EXPECT_NE(noData.err.find("/nonexistent/ncoa-set"), std::string::npos) << noData.err;
    write("nolast.csv", "Name,Address\nJOHN SMITH,118 W 34TH ST\n");
    const Result noLastLine = run("verify --data '" + data + "' --in '" + path("nolast.csv") + "' --out '" + path("v.csv") + "'");
    EXPECT_NE(noLastLine.status, 0);
    EXPECT_NE(noLastLine.err.find("--map lastline=COLUMN"), std::string::npos) << noLastLine.err;
    EXPECT_FALSE(fs::exists(path("v.csv")));
    for (const auto& entry : fs::directory_iterator(dir))
        EXPECT_EQ(entry.path().filename().string().find(".partial."), std::string::npos) << entry.path();
}

}  // namespace
