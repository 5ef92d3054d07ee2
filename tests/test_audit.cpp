// The client test run end to end: the sample world's client test file through
// qvncoa_runAudit with the address verifier, and the answer file read here
// record by record against what the world says each record must get. Keys and
// digests are computed here from the world (the writer's EMDP and key rules,
// OpenSSL's SHA-1), never by the library.
#include <gtest/gtest.h>
#include <openssl/sha.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "ClientTestWriter.h"
#include "DataSetWriter.h"
#include "Emdp.h"
#include "HashEncoder.h"
#include "NameLists.h"
#include "TestSupport.h"
#include "qvncoa.h"

namespace fs = std::filesystem;

namespace {

std::string pad(const std::string& s, size_t w) { return (s + std::string(w, ' ')).substr(0, w); }
std::string blanks(size_t w) { return std::string(w, ' '); }

std::string sha1Hex(const std::string& bytes) {
    unsigned char d[20];
    SHA1(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), d);
    std::string out;
    char two[3];
    for (unsigned char c : d) std::snprintf(two, sizeof two, "%02x", c), out += two;
    return out;
}

// An answer file cut into its 1000-byte records, each framed "H\r\n" or "D\r\n".
std::vector<std::string> records(const std::string& path) {
    const std::string all = fileBytes(path);
    EXPECT_EQ(all.size() % 1000, 0u) << path;
    std::vector<std::string> out;
    for (size_t at = 0; at + 1000 <= all.size(); at += 1000) {
        out.push_back(all.substr(at, 1000));
        EXPECT_EQ(out.back().substr(997), at == 0 ? "H\r\n" : "D\r\n") << "record " << out.size() - 1;
    }
    return out;
}

const qvw::AddressRange* rangeAt(const qvw::World& w, const std::string& zip9) {
    for (const auto& r : w.ranges)
        if (r.zip == zip9.substr(0, 5) && r.addonLow <= zip9.substr(5, 4) && zip9.substr(5, 4) <= r.addonHigh) return &r;
    return nullptr;
}
const qvw::Place& placeOf(const qvw::World& w, const std::string& zip) {
    for (const auto& p : w.places)
        if (p.zip == zip) return p;
    throw std::runtime_error("no place " + zip);
}

// The new address of 11 digits: range, house ("" when none can be built).
// A street range's house ends in the delivery point; a high-rise is built only
// when the point names one of its numbered units.
std::string houseOf(const qvw::AddressRange& r, int dp) {
    if (r.recordType == 'H')
        return qvw::allDigits(r.secondaryLow) && !r.secondaryLow.empty() && std::stoi(r.secondaryLow) <= dp &&
                       dp <= std::stoi(r.secondaryHigh)
                   ? r.primaryLow
                   : "";
    for (int n = std::stoi(r.primaryLow); n <= std::stoi(r.primaryHigh); ++n)
        if (n % 100 == dp && !(r.primaryParity == 'E' && n % 2) && !(r.primaryParity == 'O' && !(n % 2)))
            return std::to_string(n);
    return "";
}

// What a record of the world's file must get: return code, move type, the
// 11 digits of a new address (A, 91), whether the last search is the filing's key.
struct Expected {
    std::string code = "00", to;
    char moveType = ' ';
    bool filingKey = false;
};

Expected expectedFor(const qvw::World& w, const qvw::ClientTestRecord& r) {
    Expected e;
    for (const auto& dd : w.dailyDeletes)  // a deletion newer than the set cancels all filed there
        if (dd.at.address && dd.at.address->zip9 == r.at.zip9 && dd.at.address->primary == r.at.primary &&
            dd.sequence > w.dataset.sequence)
            return e.code = "66", e;
    if (r.filing < 0) return e;
    const qvw::Filing& f = w.filings[static_cast<size_t>(r.filing)];
    using K = qvw::Filing::Kind;
    e.filingKey = true;
    e.moveType = f.kind == K::Business ? 'B' : f.kind == K::Family ? 'F' : 'I';
    const std::string to = f.toZip11.empty() ? "00000000000" : f.toZip11;
    const qvw::AddressRange* nr = rangeAt(w, to.substr(0, 9));
    if (f.dropFlag && f.kind != K::Family)
        e.code = "91", e.to = to;
    else if (to.compare(0, 5, "00000") == 0)
        e.code = to.substr(9, 2);
    else if (nr == nullptr || houseOf(*nr, std::stoi(to.substr(9, 2))).empty())
        e.code = "14";
    else
        e.code = "A ", e.to = to;
    return e;
}

class ClientTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        dir_ = fs::temp_directory_path() / ("qv-audit-" + std::to_string(::getpid()));
        world_ = qvw::loadWorld(QV_SOURCE_DIR "/data/sample/world.json");
        qvw::DataSetWriter(world_, (dir_ / "data").string()).write();
        qvw::ClientTestSummary summary;
        tests_ = qvw::clientTestRecords(world_, summary);
        qvw::writeClientTestFile(world_, path("client.txt"), false);
        qvw::writeClientTestFile(world_, path("client_s1.txt"), true);
        char err[QVNCOA_ERROR_TEXT_SIZE] = {};
        ASSERT_NE(obj_ = openDataObj((dir_ / "data").string()), nullptr);
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
    static inline fs::path dir_;
    static inline qvw::World world_;
    static inline std::vector<qvw::ClientTestRecord> tests_;
    static inline void* obj_ = nullptr;
    static inline qvav_context* av_ = nullptr;
};

}  // namespace

TEST_F(ClientTest, SampleWorldEveryRecordAgainstTheWorld) {
    ASSERT_EQ(run(path("client.txt"), path("answers.txt")), QVNCOA_OK);
    const std::vector<std::string> recs = records(path("answers.txt"));
    ASSERT_EQ(recs.size(), tests_.size() + 1);

    // The header: the input's 43 columns, today, a time, the set's cut-off
    // date (its release date: the sample names none), the verifier's dates on
    // the 15th, the tag.
    const std::string& h = recs[0];
    const std::string release = qvw::todayYYYYMMDD();
    EXPECT_EQ(h.substr(0, 43), fileBytes(path("client.txt")).substr(0, 43));
    EXPECT_EQ(h.substr(43, 255), blanks(255));
    EXPECT_EQ(h.substr(298, 8) + h.substr(312, 8) + h.substr(320, 8), release + release + release.substr(0, 6) + "15");
    EXPECT_EQ(h.substr(306, 6).find_first_not_of("0123456789"), std::string::npos);
    EXPECT_EQ(h.substr(334, 6), "15QVT1");
    EXPECT_EQ(h.substr(340, 657), blanks(657));

    const qvw::LcdReplacements lcd = qvw::lcdReplacements(world_);
    const auto rules = world_.names.rules.value_or(qvw::defaultNameRules());
    const std::set<std::string> matchCodes = {"A ", "91", "92", "01", "02", "03", "05", "14", "19"};
    std::set<std::string> codesSeen;
    for (size_t i = 0; i < tests_.size(); ++i) {
        const qvw::ClientTestRecord& t = tests_[i];
        const std::string& r = recs[i + 1];
        const Expected e = expectedFor(world_, t);
        const std::string code = r.substr(636, 2);
        codesSeen.insert(code);
        SCOPED_TRACE(t.lead + " " + t.name + " expects " + e.code);
        EXPECT_EQ(code, pad(e.code, 2));
        // The test record: the name mark at 28, no middle text.
        EXPECT_EQ(r.substr(0, 124), pad(t.lead, 28) + t.nameMark + pad(t.name, 66) + t.nameMark + blanks(28));
        EXPECT_EQ(r.substr(124, 110), pad(t.address, 67) + t.addressMark + pad(t.lastLine, 42));

        // As verified: the world's old address, hidden for 00 and 66; the
        // key's four digits are the LCD replacement where the world has one.
        const qvw::Address& from = t.at;
        const qvw::AddressRange& old = *rangeAt(world_, from.zip9);
        const auto l = lcd.find(static_cast<std::uint32_t>(std::stoul(from.zip9)));
        char used[24];
        std::snprintf(used, sizeof used, "%04lu", l == lcd.end() ? std::stoul(from.zip9.substr(5, 4)) : l->second);
        const std::string verified = blanks(28) + pad(from.primary, 10) + pad(old.preDir, 2) + pad(old.street, 28) +
                                     pad(old.suffix, 4) + pad(old.postDir, 2) + pad(from.designator, 4) +
                                     pad(from.secondary, 8) + pad(placeOf(world_, old.zip).city, 28) +
                                     placeOf(world_, old.zip).state + old.zip + used;
        EXPECT_EQ(r.substr(360, 125), e.code == "00" || e.code == "66" ? blanks(125) : verified);

        // The new address.
        if (e.to.empty()) {
            EXPECT_EQ(r.substr(513, 100), blanks(100));
        } else {
            EXPECT_EQ(r.substr(601, 11), e.to);
            if (const qvw::AddressRange* nr = rangeAt(world_, e.to.substr(0, 9))) {
                EXPECT_EQ(r.substr(513, 44), pad(houseOf(*nr, std::stoi(e.to.substr(9, 2))), 10) +
                                                 pad(nr->preDir, 2) + pad(nr->street, 28) + pad(nr->suffix, 4));
                EXPECT_EQ(r.substr(571, 30), pad(placeOf(world_, nr->zip).city, 28) + placeOf(world_, nr->zip).state);
                EXPECT_EQ(r.substr(613, 4), pad(nr->carrierRoute, 4));
            }
        }
        EXPECT_EQ(r[827], e.moveType);
        const qvw::Filing* f = t.filing < 0 ? nullptr : &world_.filings[static_cast<size_t>(t.filing)];
        EXPECT_EQ(r.substr(836, 2), f && e.code != "66" && f->toZip11.compare(0, 9, "000000077") == 0 ? "00" : "  ");

        // The keys: the EMDP of the old address and its digest; the 48 bytes of
        // the last search, whole in the dump (8 key bytes in hexadecimal, then
        // the names), and their digest.
        std::uint64_t emdp = 0;
        ASSERT_TRUE(qvw::emdpOf(from, lcd, emdp));
        std::string emdpBytes, keyHex = r.substr(698, 16), key48;
        for (int b = 7; b >= 0; --b) emdpBytes += static_cast<char>((emdp >> (8 * b)) & 0xFF);
        for (size_t k = 0; k < 16; k += 2) key48 += static_cast<char>(std::stoi(keyHex.substr(k, 2), nullptr, 16));
        key48 += r.substr(714, 40);
        char emdpHex[24];
        std::snprintf(emdpHex, sizeof emdpHex, "%016llx", static_cast<unsigned long long>(emdp));
        EXPECT_EQ(r.substr(642, 56), emdpHex + sha1Hex(emdpBytes));
        if (e.code == "66") {  // cancelled before any search
            EXPECT_EQ(r.substr(698, 112), std::string(16, '0') + blanks(40) + std::string(56, '0'));
        } else {
            EXPECT_EQ(key48.substr(0, 8), emdpBytes);
            EXPECT_EQ(r.substr(754, 40), sha1Hex(key48));
        }
        if (e.filingKey && e.code != "66") {
            const qvw::Bytes filed = qvw::filingSearchKey(*f, emdp, rules);
            EXPECT_EQ(key48, std::string(filed.begin(), filed.end()));
            EXPECT_NE(r.substr(794, 16), std::string(16, '0'));
        }
        const std::string seventeen = r.substr(810, 17);
        EXPECT_EQ(seventeen.find_first_not_of(e.code == "00" || e.code == "66" ? " " : "0123456789"),
                  std::string::npos);
        // Set letter A: no flag at 840 and 841, the match flag at 842.
        EXPECT_EQ(r.substr(840, 3), std::string("  ") + (matchCodes.count(code) ? 'Y' : 'N'));
    }
    for (const char* c : {"A ", "91", "66", "00", "14", "05", "04", "03"}) EXPECT_EQ(codesSeen.count(c), 1u) << c;
}

TEST_F(ClientTest, StageOneLayoutGivesTheSameAnswers) {
    EXPECT_EQ(fileBytes(path("client.txt")).size(), (tests_.size() + 1) * 300);
    EXPECT_EQ(fileBytes(path("client_s1.txt")).size(), (tests_.size() + 1) * 1000);
    ASSERT_EQ(run(path("client.txt"), path("a300.txt")), QVNCOA_OK);
    ASSERT_EQ(run(path("client_s1.txt"), path("a1000.txt"), QVNCOA_AUDIT_STAGE_ONE), QVNCOA_OK);
    const auto a = records(path("a300.txt")), b = records(path("a1000.txt"));
    ASSERT_EQ(a.size(), tests_.size() + 1);
    ASSERT_EQ(b.size(), a.size());
    for (size_t i = 1; i < a.size(); ++i) EXPECT_EQ(a[i], b[i]) << "record " << i;
    // Each file read in the other layout lacks the newline in its place.
    EXPECT_EQ(run(path("client_s1.txt"), path("x.txt")), 1044);
    EXPECT_EQ(run(path("client.txt"), path("x.txt"), QVNCOA_AUDIT_STAGE_ONE), 1044);
}

namespace {
std::vector<unsigned> seen;
int stopAtThird(unsigned current, unsigned total, qvncoa_out_addr_t* rec, void*) {
    seen.insert(seen.end(), {current, total, static_cast<unsigned>(rec->monthsSinceMove >= 0)});
    return current == 3 ? 0 : QVNCOA_OK;
}
}  // namespace

TEST_F(ClientTest, EdgeCasesOfTheRun) {
    const std::string all = fileBytes(path("client.txt"));
    auto file = [](const std::string& name, const std::string& bytes) {
        std::ofstream(path(name), std::ios::binary | std::ios::trunc) << bytes;
        return path(name);
    };
    ASSERT_EQ(run(file("h.txt", all.substr(0, 300)), path("h_out.txt")), QVNCOA_OK);
    EXPECT_EQ(records(path("h_out.txt")).size(), 1u);  // only the header
    ASSERT_EQ(run(file("s.txt", all.substr(0, 900) + "SHORT\r\n" + all.substr(900, 300)), path("s_out.txt")), 1000);
    EXPECT_EQ(records(path("s_out.txt")).size(), 3u);  // the short line ends the input
    EXPECT_EQ(run(file("nl.txt", all.substr(0, 900) + std::string(300, 'X')), path("nl_out.txt")), 1044);

    // Stopped by the callback after the third record: the three stay written.
    const unsigned n = static_cast<unsigned>(tests_.size());
    qvncoa_prog_cb_t progress = {stopAtThird, nullptr};
    ASSERT_EQ(run(path("client.txt"), path("stop.txt"), 0, &progress), QVNCOA_ERR_CANCELLED);
    EXPECT_EQ(records(path("stop.txt")).size(), 4u);
    EXPECT_EQ(seen, (std::vector<unsigned>{1, n, 1, 2, n, 1, 3, n, 1}));

    char err[QVNCOA_ERROR_TEXT_SIZE] = {};
    EXPECT_EQ(run(path("missing.txt"), path("m_out.txt"), 0, nullptr, "", err), QVNCOA_ERR_FILE_OPEN);
    EXPECT_EQ(std::string(err), path("missing.txt"));
    EXPECT_EQ(run(path("client.txt"), path("no/dir/out.txt"), 0, nullptr, "", err), QVNCOA_ERR_FILE_WRITE);
    EXPECT_EQ(std::string(err), path("no/dir/out.txt"));
    const char* e = "";
    EXPECT_EQ(qvncoa_runAudit(nullptr, av_, "a", "b", e, e, e, e, e, e, e, e, nullptr, err, 0), 1051);
    EXPECT_EQ(qvncoa_runAudit(obj_, nullptr, "a", "b", e, e, e, e, e, e, e, e, nullptr, err, 0), 1052);
    EXPECT_EQ(qvncoa_runAudit(obj_, av_, nullptr, "b", e, e, e, e, e, e, e, e, nullptr, err, 0), 1052);
    EXPECT_EQ(qvncoa_runAudit(obj_, av_, "a", nullptr, e, e, e, e, e, e, e, e, nullptr, err, 0), 1052);

    // The form 3553: the verifier finds the six texts and the list count
    // where the form record puts them, and counts the run's records.
    ASSERT_EQ(run(path("client.txt"), path("f_out.txt"), 0, nullptr, path("form.txt").c_str()), QVNCOA_OK);
    const std::string form = fileBytes(path("form.txt"));
    const char* texts[] = {"SAMPLE LIST", "QV PROCESSING", "1 MAIN ST", "ANYTOWN NY 10001", "SAMPLE MAILER", "LIST 7"};
    const char* labels[] = {"List name", "List processor", "Processor address", "Processor city, state, ZIP",
                            "Mailer", "List ID"};
    for (int i = 0; i < 6; ++i)
        EXPECT_NE(form.find(pad(labels[i], 28) + texts[i] + "\n"), std::string::npos) << form;
    EXPECT_NE(form.find(pad("Lists", 28) + "1\n"), std::string::npos);
    EXPECT_NE(form.find(pad("Records", 28) + std::to_string(tests_.size()) + "\n"), std::string::npos) << form;
}

TEST(ClientTestCommand, BuildTheFileThenRunIt) {
    const std::string dir = (fs::temp_directory_path() / ("qv-audit-cli-" + std::to_string(::getpid()))).string();
    int status = -1;
    std::string out =
        runNcoa("dataset build " QV_SOURCE_DIR "/data/sample/world.json " + dir + " --client-test-s1 " + dir + "/ct.txt",
                &status);
    ASSERT_EQ(status, 0) << out;
    out = runNcoa("client-test --no-progress --stage-one --data " + dir + " --in " + dir + "/ct.txt --out " + dir +
                      "/ans.txt",
                  &status);
    EXPECT_EQ(status, 0) << out;
    const size_t n = records(dir + "/ans.txt").size();
    EXPECT_EQ(n, fileBytes(dir + "/ct.txt").size() / 1000);
    EXPECT_NE(out.find(std::to_string(n - 1) + " records"), std::string::npos) << out;
    EXPECT_NE(out.find("by return code: "), std::string::npos) << out;
    out = runNcoa("client-test --data " + dir + " --in " + dir + "/none.txt --out " + dir + "/x.txt", &status);
    EXPECT_NE(status, 0);
    EXPECT_NE(out.find(dir + "/none.txt (code 1040)"), std::string::npos) << out;
    fs::remove_all(dir);
}
