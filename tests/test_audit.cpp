// The client test run end to end: the sample world's client test file through
// qvncoa_runAudit with the address verifier, and an answer file read here
// record by record against what the world says each record must get. Keys and
// digests are computed here from the world (the writer's EMDP and key rules,
// OpenSSL's SHA-1), never by the library.
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "ClientTestWriter.h"
#include "DataSetWriter.h"
#include "Emdp.h"
#include "HashEncoder.h"
#include "NameLists.h"
#include "World.h"
#include "qvncoa.h"

namespace fs = std::filesystem;

namespace {

std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string field(const std::string& rec, size_t pos, size_t width) { return rec.substr(pos, width); }
std::string padded(const std::string& s, size_t width) { return (s + std::string(width, ' ')).substr(0, width); }

std::string hex(const unsigned char* bytes, size_t n) {
    std::string out;
    char two[3];
    for (size_t i = 0; i < n; ++i) {
        std::snprintf(two, sizeof two, "%02x", bytes[i]);
        out += two;
    }
    return out;
}

std::string unhex(const std::string& text) {
    std::string out;
    for (size_t i = 0; i + 1 < text.size(); i += 2) out += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return out;
}

std::string sha1Hex(const std::string& bytes) {
    unsigned char d[20];
    SHA1(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), d);
    return hex(d, 20);
}

// An answer file cut into its 1000-byte records; framing failures are test failures.
std::vector<std::string> records(const std::string& path) {
    const std::string all = readAll(path);
    EXPECT_EQ(all.size() % 1000, 0u) << path;
    std::vector<std::string> out;
    for (size_t at = 0; at + 1000 <= all.size(); at += 1000) {
        out.push_back(all.substr(at, 1000));
        EXPECT_EQ(out.back().substr(997), at == 0 ? "H\r\n" : "D\r\n") << "record " << out.size() - 1;
    }
    return out;
}

bool sameAddress(const qvw::Address& a, const qvw::Address& b) {
    return a.zip9 == b.zip9 && a.primary == b.primary && a.designator == b.designator && a.secondary == b.secondary;
}

const qvw::AddressRange* rangeAt(const qvw::World& w, const std::string& zip, const std::string& addon) {
    for (const auto& r : w.ranges)
        if (r.zip == zip && r.addonLow <= addon && addon <= r.addonHigh) return &r;
    return nullptr;
}

const qvw::Place* placeOf(const qvw::World& w, const std::string& zip) {
    for (const auto& p : w.places)
        if (p.zip == zip) return &p;
    return nullptr;
}

// The house of a range whose delivery point is `dp`: the range's only number,
// or the one of its parity that ends in the two digits.
std::string houseOf(const qvw::AddressRange& r, const std::string& dp) {
    if (r.primaryLow == r.primaryHigh) return r.primaryLow;
    for (int n = std::stoi(r.primaryLow); n <= std::stoi(r.primaryHigh); ++n)
        if ((r.primaryParity != 'E' || n % 2 == 0) && (r.primaryParity != 'O' || n % 2 == 1) &&
            n % 100 == std::stoi(dp))
            return std::to_string(n);
    return "";
}

// Can the 11 digits be turned into an address? A street range needs a house
// that ends in the delivery point; a high-rise's delivery point names one of
// its numbered units.
bool buildable(const qvw::World& w, const std::string& to) {
    const qvw::AddressRange* r = rangeAt(w, to.substr(0, 5), to.substr(5, 4));
    if (r == nullptr) return false;
    const int dp = std::stoi(to.substr(9, 2));
    if (r->recordType == 'H') {
        const bool numbered = qvw::allDigits(r->secondaryLow) && qvw::allDigits(r->secondaryHigh) &&
                              !r->secondaryLow.empty() && !r->secondaryHigh.empty();
        return numbered && std::stoi(r->secondaryLow) <= dp && dp <= std::stoi(r->secondaryHigh);
    }
    return !houseOf(*r, to.substr(9, 2)).empty();
}

// What a record of the world's client test file must get.
struct Expected {
    std::string code;
    char moveType = ' ';
    std::string to;  // the 11 digits of the new address, for A and 91
    bool keyOfFiling = false;
    std::string footnote = "  ";
};

Expected expectedFor(const qvw::World& w, const qvw::ClientTestRecord& r) {
    Expected e;
    // A deletion newer than the data set cancels whatever is filed at the address.
    for (const auto& dd : w.dailyDeletes)
        if (dd.at.address && sameAddress(*dd.at.address, r.at) && dd.sequence > w.dataset.sequence) {
            e.code = "66";
            return e;
        }
    if (r.filing < 0) {
        e.code = "00";
        return e;
    }
    const qvw::Filing& f = w.filings[static_cast<size_t>(r.filing)];
    e.keyOfFiling = true;
    e.moveType = f.kind == qvw::Filing::Kind::Business ? 'B' : f.kind == qvw::Filing::Kind::Family ? 'F' : 'I';
    const std::string to = f.toZip11.empty() ? "00000000000" : f.toZip11;
    if (to.compare(0, 9, "000000077") == 0) e.footnote = "00";
    if (f.dropFlag && f.kind != qvw::Filing::Kind::Family) {
        e.code = "91";
        e.to = to;
    } else if (to.compare(0, 5, "00000") == 0) {
        e.code = to.substr(9, 2);
    } else if (!buildable(w, to)) {
        e.code = "14";
    } else {
        e.code = "A ";
        e.to = to;
    }
    return e;
}

bool isMatchCode(const std::string& code) {
    static const std::set<std::string> yes = {"A ", "91", "92", "01", "02", "03", "05", "14", "19"};
    return yes.count(code) != 0;
}

class ClientTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        dir_ = fs::temp_directory_path() / ("qv-audit-" + std::to_string(::getpid()));
        fs::create_directories(dir_);
        world_ = qvw::loadWorld(QV_SOURCE_DIR "/data/sample/world.json");
        qvw::DataSetWriter(world_, (dir_ / "data").string()).write();
        qvw::ClientTestSummary summary;
        testRecords_ = qvw::clientTestRecords(world_, summary);
        qvw::writeClientTestFile(world_, path("client.txt"), false);
        qvw::writeClientTestFile(world_, path("client_s1.txt"), true);
        char err[QVNCOA_ERROR_TEXT_SIZE] = {};
        ASSERT_EQ(qvncoa_init_data_obj(&obj_, (dir_ / "data").string().c_str(), QV_SOURCE_DIR "/data/namekb", "", 2,
                                       nullptr, err, 0),
                  QVNCOA_OK)
            << err;
        ASSERT_EQ(qvav_open(&av_, (dir_ / "data").string().c_str(), err), 0) << err;
    }
    static void TearDownTestSuite() {
        qvav_close(&av_);
        qvncoa_destroy_data_obj(&obj_);
        fs::remove_all(dir_);
    }
    static std::string path(const std::string& name) { return (dir_ / name).string(); }

    static int run(const std::string& in, const std::string& out, unsigned flags = 0,
                   const qvncoa_prog_cb_t* progress = nullptr, const char* form = "", char* err = nullptr) {
        char local[QVNCOA_ERROR_TEXT_SIZE] = {};
        return qvncoa_runAudit(obj_, av_, in.c_str(), out.c_str(), "QVT1", "SAMPLE LIST", "QV PROCESSING",
                               "1 MAIN ST", "ANYTOWN NY 10001", "SAMPLE MAILER", "LIST 7", form, progress,
                               err ? err : local, flags);
    }

    static fs::path dir_;
    static qvw::World world_;
    static std::vector<qvw::ClientTestRecord> testRecords_;
    static void* obj_;
    static qvav_context* av_;
};

fs::path ClientTest::dir_;
qvw::World ClientTest::world_;
std::vector<qvw::ClientTestRecord> ClientTest::testRecords_;
void* ClientTest::obj_ = nullptr;
qvav_context* ClientTest::av_ = nullptr;

}  // namespace

TEST_F(ClientTest, SampleWorldEveryRecordAgainstTheWorld) {
    ASSERT_EQ(run(path("client.txt"), path("answers.txt")), QVNCOA_OK);
    const std::vector<std::string> recs = records(path("answers.txt"));
    ASSERT_EQ(recs.size(), testRecords_.size() + 1);

    // The header: the input's first 43 columns, the run's date and time, the
    // data set's cut-off date, the verifier's dates on the 15th, the tag.
    const std::string& h = recs[0];
    const std::string inHeader = readAll(path("client.txt")).substr(0, 43);
    EXPECT_EQ(field(h, 0, 43), inHeader);
    EXPECT_EQ(field(h, 43, 255), std::string(255, ' '));
    time_t now = time(nullptr);
    struct tm lt;
    localtime_r(&now, &lt);
    char today[48];
    std::snprintf(today, sizeof today, "%04d%02d%02d", lt.tm_year + 1900, lt.tm_mon + 1, lt.tm_mday);
    EXPECT_EQ(field(h, 298, 8), today);
    EXPECT_EQ(field(h, 306, 6).find_first_not_of("0123456789"), std::string::npos);
    const std::string release = qvw::todayYYYYMMDD();  // the sample world names no dates
    EXPECT_EQ(field(h, 312, 8), release);               // cut-off date = release date
    EXPECT_EQ(field(h, 320, 8), release.substr(0, 6) + "15");
    EXPECT_EQ(field(h, 326, 2), "15");
    EXPECT_EQ(field(h, 334, 2), "15");
    EXPECT_EQ(field(h, 328, 8).find_first_not_of("0123456789"), std::string::npos);
    EXPECT_EQ(field(h, 336, 4), "QVT1");
    EXPECT_EQ(field(h, 340, 657), std::string(657, ' '));

    const qvw::LcdReplacements lcd = qvw::lcdReplacements(world_);
    const auto rules = world_.names.rules.value_or(qvw::defaultNameRules());
    std::set<std::string> codesSeen;
    for (size_t i = 0; i < testRecords_.size(); ++i) {
        const qvw::ClientTestRecord& t = testRecords_[i];
        const std::string& r = recs[i + 1];
        const Expected e = expectedFor(world_, t);
        const std::string code = field(r, 636, 2);
        codesSeen.insert(code);
        SCOPED_TRACE("record " + t.lead + " " + t.name + " expects " + e.code);
        EXPECT_EQ(code, padded(e.code, 2));

        // The test record as it came, the name mark at 28 and no middle text.
        EXPECT_EQ(field(r, 0, 28), padded(t.lead, 28));
        EXPECT_EQ(r[28], t.nameMark);
        EXPECT_EQ(field(r, 29, 66), padded(t.name, 66));
        EXPECT_EQ(field(r, 96, 28), std::string(28, ' '));
        EXPECT_EQ(field(r, 124, 67), padded(t.address, 67));
        EXPECT_EQ(r[191], t.addressMark);
        EXPECT_EQ(field(r, 192, 42), padded(t.lastLine, 42));

        // The address as verified: the old address of the world, hidden for 00 and 66.
        const qvw::Address& from = t.at;
        if (e.code == "00" || e.code == "66") {
            EXPECT_EQ(field(r, 360, 125), std::string(125, ' '));
        } else {
            const qvw::AddressRange* old = rangeAt(world_, from.zip9.substr(0, 5), from.zip9.substr(5, 4));
            ASSERT_NE(old, nullptr);
            EXPECT_EQ(field(r, 388, 10), padded(from.primary, 10));
            EXPECT_EQ(field(r, 398, 2), padded(old->preDir, 2));
            EXPECT_EQ(field(r, 400, 28), padded(old->street, 28));
            EXPECT_EQ(field(r, 428, 4), padded(old->suffix, 4));
            EXPECT_EQ(field(r, 434, 4), padded(from.designator, 4));
            EXPECT_EQ(field(r, 438, 8), padded(from.secondary, 8));
            EXPECT_EQ(field(r, 446, 28), padded(placeOf(world_, old->zip)->city, 28));
            EXPECT_EQ(field(r, 474, 2), placeOf(world_, old->zip)->state);
            EXPECT_EQ(field(r, 476, 5), old->zip);
            // The key's four digits: the LCD replacement where the world has one.
            auto l = lcd.find(static_cast<std::uint32_t>(std::stoul(from.zip9)));
            char used[24];
            std::snprintf(used, sizeof used, "%04lu",
                          l != lcd.end() ? static_cast<unsigned long>(l->second) : std::stoul(from.zip9.substr(5, 4)));
            EXPECT_EQ(field(r, 481, 4), used);
        }

        // The new address.
        if (!e.to.empty()) {
            EXPECT_EQ(field(r, 601, 5), e.to.substr(0, 5));
            EXPECT_EQ(field(r, 606, 4), e.to.substr(5, 4));
            EXPECT_EQ(field(r, 610, 2), e.to.substr(9, 2));
            const qvw::AddressRange* nr = rangeAt(world_, e.to.substr(0, 5), e.to.substr(5, 4));
            if (nr != nullptr) {
                EXPECT_EQ(field(r, 513, 10), padded(houseOf(*nr, e.to.substr(9, 2)), 10));
                EXPECT_EQ(field(r, 523, 2), padded(nr->preDir, 2));
                EXPECT_EQ(field(r, 525, 28), padded(nr->street, 28));
                EXPECT_EQ(field(r, 553, 4), padded(nr->suffix, 4));
                EXPECT_EQ(field(r, 571, 28), padded(placeOf(world_, nr->zip)->city, 28));
                EXPECT_EQ(field(r, 599, 2), placeOf(world_, nr->zip)->state);
                EXPECT_EQ(field(r, 613, 4), padded(nr->carrierRoute, 4));
            }
        } else {
            EXPECT_EQ(field(r, 513, 100), std::string(100, ' '));
        }
        EXPECT_EQ(r[827], e.moveType);
        EXPECT_EQ(field(r, 836, 2), e.footnote);

        // The keys: the EMDP of the old address and its digest, then the 48
        // bytes of the last search, which the dump holds whole (8 key bytes
        // in hexadecimal, then the names), and their digest.
        std::uint64_t emdp = 0;
        ASSERT_TRUE(qvw::emdpOf(from, lcd, emdp));
        char emdpHex[24];
        std::snprintf(emdpHex, sizeof emdpHex, "%016llx", static_cast<unsigned long long>(emdp));
        EXPECT_EQ(field(r, 642, 16), emdpHex);
        std::string emdpBytes;
        for (int b = 7; b >= 0; --b) emdpBytes += static_cast<char>((emdp >> (8 * b)) & 0xFF);
        EXPECT_EQ(field(r, 658, 40), sha1Hex(emdpBytes));
        if (e.code == "66") {  // cancelled before any search
            EXPECT_EQ(field(r, 698, 16), std::string(16, '0'));
            EXPECT_EQ(field(r, 714, 40), std::string(40, ' '));
            EXPECT_EQ(field(r, 754, 40), std::string(40, '0'));
            EXPECT_EQ(field(r, 794, 16), std::string(16, '0'));
        } else {
            const std::string key48 = unhex(field(r, 698, 16)) + field(r, 714, 40);
            EXPECT_EQ(key48.substr(0, 8), emdpBytes);
            EXPECT_EQ(field(r, 754, 40), sha1Hex(key48));
            if (e.keyOfFiling) {
                const qvw::Bytes filed =
                    qvw::filingSearchKey(world_.filings[static_cast<size_t>(t.filing)], emdp, rules);
                EXPECT_EQ(key48, std::string(filed.begin(), filed.end()));
                EXPECT_NE(field(r, 794, 16), std::string(16, '0'));
            }
        }
        const std::string seventeen = field(r, 810, 17);
        if (e.code == "00" || e.code == "66")
            EXPECT_EQ(seventeen, std::string(17, ' '));
        else
            EXPECT_EQ(seventeen.find_first_not_of("0123456789"), std::string::npos) << seventeen;
        // Set letter A: no flag at 840 and 841, the match flag at 842.
        EXPECT_EQ(field(r, 840, 2), "  ");
        EXPECT_EQ(r[842], isMatchCode(code) ? 'Y' : 'N');
    }
    // The sample world reaches these codes.
    for (const char* c : {"A ", "91", "66", "00", "14", "05", "04", "03"}) EXPECT_EQ(codesSeen.count(c), 1u) << c;
}

TEST_F(ClientTest, StageOneLayoutGivesTheSameAnswers) {
    ASSERT_EQ(run(path("client.txt"), path("a300.txt")), QVNCOA_OK);
    ASSERT_EQ(run(path("client_s1.txt"), path("a1000.txt"), QVNCOA_AUDIT_STAGE_ONE), QVNCOA_OK);
    // The two input files hold the same lines at their two widths.
    EXPECT_EQ(readAll(path("client.txt")).size(), (testRecords_.size() + 1) * 300);
    EXPECT_EQ(readAll(path("client_s1.txt")).size(), (testRecords_.size() + 1) * 1000);
    const auto a = records(path("a300.txt")), b = records(path("a1000.txt"));
    ASSERT_EQ(a.size(), b.size());
    ASSERT_GT(a.size(), 1u);
    for (size_t i = 1; i < a.size(); ++i) EXPECT_EQ(a[i], b[i]) << "record " << i;
    // Read in the other layout, each file lacks the newline in its place.
    EXPECT_EQ(run(path("client_s1.txt"), path("x.txt")), 1044);
    EXPECT_EQ(run(path("client.txt"), path("x.txt"), QVNCOA_AUDIT_STAGE_ONE), 1044);
}

namespace {
struct StopAfter {
    unsigned n = 0;
    std::vector<unsigned> current, total;
    std::vector<int> months;
};
int stopAfter(unsigned current, unsigned total, qvncoa_out_addr_t* rec, void* user) {
    auto* s = static_cast<StopAfter*>(user);
    s->current.push_back(current);
    s->total.push_back(total);
    s->months.push_back(rec != nullptr ? rec->monthsSinceMove : -999);
    return current == s->n ? 0 : QVNCOA_OK;
}
}  // namespace

TEST_F(ClientTest, EdgeCasesOfTheRun) {
    const std::string all = readAll(path("client.txt"));
    auto file = [](const std::string& name, const std::string& bytes) {
        std::ofstream(path(name), std::ios::binary | std::ios::trunc) << bytes;
        return path(name);
    };
    // Only the header: only the header comes back.
    ASSERT_EQ(run(file("h.txt", all.substr(0, 300)), path("h_out.txt")), QVNCOA_OK);
    EXPECT_EQ(records(path("h_out.txt")).size(), 1u);
    // A short last line ends the input; the records before it are answered.
    ASSERT_EQ(run(file("short.txt", all.substr(0, 900) + "SHORT\r\n" + all.substr(900, 300)), path("s_out.txt")),
              QVNCOA_OK);
    EXPECT_EQ(records(path("s_out.txt")).size(), 3u);
    // A last line of full length without its newline.
    EXPECT_EQ(run(file("nl.txt", all.substr(0, 900) + std::string(300, 'X')), path("nl_out.txt")), 1044);

    // The callback stops the run after the third record: 1053, and the three
    // records written stay in the closed file.
    StopAfter stop;
    stop.n = 3;
    qvncoa_prog_cb_t progress = {stopAfter, &stop};
    ASSERT_EQ(run(path("client.txt"), path("stop.txt"), 0, &progress), QVNCOA_ERR_CANCELLED);
    EXPECT_EQ(records(path("stop.txt")).size(), 4u);
    EXPECT_EQ(stop.current, (std::vector<unsigned>{1, 2, 3}));
    for (unsigned t : stop.total) EXPECT_EQ(t, testRecords_.size());
    EXPECT_GE(stop.months[0], 0);  // the first record is a hit: its months since the move

    // Missing input, unwritable output: codes and paths.
    char err[QVNCOA_ERROR_TEXT_SIZE] = {};
    EXPECT_EQ(run(path("missing.txt"), path("m_out.txt"), 0, nullptr, "", err), QVNCOA_ERR_FILE_OPEN);
    EXPECT_EQ(std::string(err), path("missing.txt"));
    const std::string noDir = path("no/such/dir/out.txt");
    EXPECT_EQ(run(path("client.txt"), noDir, 0, nullptr, "", err), QVNCOA_ERR_FILE_WRITE);
    EXPECT_EQ(std::string(err), noDir);

    // Arguments.
    EXPECT_EQ(qvncoa_runAudit(nullptr, av_, "a", "b", "", "", "", "", "", "", "", "", nullptr, err, 0),
              QVNCOA_ERR_NULL_OBJECT);
    EXPECT_EQ(qvncoa_runAudit(obj_, nullptr, "a", "b", "", "", "", "", "", "", "", "", nullptr, err, 0),
              QVNCOA_ERR_ARGUMENT);
    EXPECT_EQ(qvncoa_runAudit(obj_, av_, nullptr, "b", "", "", "", "", "", "", "", "", nullptr, err, 0),
              QVNCOA_ERR_ARGUMENT);
    EXPECT_EQ(qvncoa_runAudit(obj_, av_, "a", nullptr, "", "", "", "", "", "", "", "", nullptr, err, 0),
              QVNCOA_ERR_ARGUMENT);

    // The form 3553 only when a path is given.
    ASSERT_EQ(run(path("client.txt"), path("f_out.txt"), 0, nullptr, path("form.txt").c_str()), QVNCOA_OK);
    const std::string form = readAll(path("form.txt"));
    EXPECT_NE(form.find("QV PROCESSING"), std::string::npos);
    EXPECT_NE(form.find("SAMPLE LIST"), std::string::npos);
}

namespace {
// Runs a shell command; its standard output and error, and its exit status.
std::string shell(const std::string& cmd, int& status) {
    std::string out;
    FILE* p = popen((cmd + " 2>&1").c_str(), "r");
    if (p == nullptr) return out;
    char buf[512];
    while (std::fgets(buf, sizeof buf, p) != nullptr) out += buf;
    int rc = pclose(p);
    status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    return out;
}
}  // namespace

TEST(ClientTestCommand, BuildTheFileThenRunIt) {
    const fs::path dir = fs::temp_directory_path() / ("qv-audit-cli-" + std::to_string(::getpid()));
    const std::string ncoa = QV_BINARY_DIR "/cli/ncoa";
    int status = -1;
    std::string out = shell(ncoa + " dataset build " QV_SOURCE_DIR "/data/sample/world.json " + (dir / "data").string() +
                                " --client-test " + (dir / "ct.txt").string() + " --client-test-s1 " +
                                (dir / "ct1.txt").string(),
                            status);
    ASSERT_EQ(status, 0) << out;
    out = shell(ncoa + " client-test --no-progress --data " + (dir / "data").string() + " --in " +
                    (dir / "ct1.txt").string() + " --stage-one --out " + (dir / "ans.txt").string() + " --tag CT01",
                status);
    EXPECT_EQ(status, 0) << out;
    const size_t n = records((dir / "ans.txt").string()).size();
    EXPECT_EQ(n, readAll((dir / "ct.txt").string()).size() / 300);
    EXPECT_NE(out.find(std::to_string(n - 1) + " records"), std::string::npos) << out;
    EXPECT_NE(out.find("by return code: "), std::string::npos) << out;
    // A failure names its code and path and ends with a non-zero status.
    out = shell(ncoa + " client-test --data " + (dir / "data").string() + " --in " + (dir / "none.txt").string() +
                    " --out " + (dir / "x.txt").string(),
                status);
    EXPECT_NE(status, 0);
    EXPECT_NE(out.find("code 1040"), std::string::npos) << out;
    EXPECT_NE(out.find((dir / "none.txt").string()), std::string::npos) << out;
    fs::remove_all(dir);
}
