// The match flow end to end: records through qvncoa_lookup_without_qvav
// against a writer-made data set, one group of behaviours per test. Every
// record is looked up on disk (flags 0) and in memory (flags 8), and the two
// answers must agree byte for byte.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include "DataSetWriter.h"
#include "MatchflowWorld.h"
#include "TestSupport.h"
#include "World.h"
#include "qvncoa.h"

namespace fs = std::filesystem;

namespace matchflow {

// Old addresses are house numbers on W 34TH ST, NEW YORK 10001-1234; new ones
// odd numbers 1001-1099 of WILSON BLVD, ARLINGTON 22201-4101 (delivery point =
// the last two digits).
std::string worldJson() {
    std::string filings;
    auto filing = [&](const std::string& kind, const std::string& name, int primary, const std::string& to,
                      int monthsBack, const std::string& extra = "") {
        filings += std::string(filings.empty() ? "" : ",\n") + "{ \"kind\": \"" + kind + "\", " + name +
                   ", \"from\": { \"zip9\": \"100011234\", \"primary\": \"" + std::to_string(primary) +
                   "\" }, \"to_zip11\": \"" + to + "\", \"move_date\": \"" + monthsAgo(monthsBack) + "\"" + extra +
                   " }";
    };
    auto person = [](const char* first, const char* middle, const char* last, const char* gender) {
        return std::string("\"name\": { \"first\": \"") + first + "\", \"middle\": \"" + middle + "\", \"last\": \"" +
               last + "\", \"gender\": \"" + gender + "\" }";
    };
    auto family = [](const char* last) { return std::string("\"name\": { \"last\": \"") + last + "\" }"; };
    const char* I = "individual";
    const char* F = "family";
    filing(I, person("JOHN", "A", "SMITH", "M"), 100, "22201410115", 3);
    filing(F, family("GARCIA"), 102, "22201410121", 4);
    filing("business", "\"business\": \"ACME WIDGETS INC\"", 104, "22201410133", 5);
    filing(I, person("WILLIAM", "", "JONES", "M"), 106, "22201410137", 3);
    filing(I, person("BILL", "", "BROWN", "M"), 108, "22201410139", 3);
    filing(I, person("BOB", "", "BROWN", "M"), 110, "22201410141", 3);
    filing(I, person("JANE", "", "SMITH", "F"), 112, "22201410143", 3);
    filing(I, person("ANNA", "", "SMITH-JONES", "F"), 114, "22201410145", 3);
    filing(I, person("MARY", "", "ANN-SMITH", "F"), 116, "22201410147", 3);
    filing(I, person("J", "QUINCY", "DOE", "U"), 118, "22201410149", 3, ", \"name_flag\": true");
    filing(I, person("J", "QUINCY", "DOE", "U"), 120, "22201410149", 3);
    filing(I, person("ROBERT", "JAMES", "KING", "M"), 122, "22201410151", 3);
    filing(I, person("PAUL", "X", "WALKER", "M"), 124, "22201410153", 3);
    filing(F, family("WALKER"), 124, "22201410155", 3);
    filing(I, person("PAUL", "QUENTIN", "WALKER", "M"), 126, "22201410157", 3);
    filing(I, person("K", "L", "ADAMS", "U"), 128, "22201410103", 3);
    filing(I, person("NINA", "B", "COLE", "F"), 130, "22201410105", 3, ", \"name_flag\": true");
    filing(I, person("JORDAN", "", "BAKER", "M"), 132, "22201410107", 3);
    filing(F, family("BAKER"), 132, "22201410159", 3);
    filing(I, person("JORDAN", "", "BAKER", "M"), 134, "22201410109", 3);
    filing(I, person("JOHN", "", "ROE", "M"), 136, "22201410111", 3);
    filing(I, person("JOHN", "", "ROE", "M"), 142, "22201410113", 3);
    filing(I, person("LENA", "", "PARK", "F"), 138, "22201410161", 3, ", \"drop\": true");
    filing(F, family("PARK"), 140, "22201410163", 3, ", \"drop\": true");
    filing(I, person("OMAR", "", "HAYES", "M"), 150, "22201410165", 3);
    filing(I, person("RITA", "", "MOSS", "F"), 152, "22201410167", 3, ", \"drop\": true");
    filing(F, family("MOSS"), 154, "22201410169", 3);
    filing(I, person("IVAN", "", "PETROV", "M"), 156, "22201499901", 3);  // no range at 4999
    filing(I, person("ALICE", "", "GRANT", "F"), 158, "00000000005", 10);
    filing(I, person("ALICE", "", "GRANT", "F"), 160, "00000000004", 10);
    filing(I, person("ALICE", "", "GRANT", "F"), 162, "00000007703", 3);
    filing(I, person("T", "Z", "NOLAN", "U"), 164, "00000007711", 3);
    filing(I, person("DORA", "", "LANE", "F"), 166, "22201410171", 10);
    filing(I, "\"name\": { \"first\": \"CARL\", \"last\": \"WEBB\", \"suffix\": \"JR\" }", 172, "22201410175", 3);
    filing(I, person("JOHN", "", "DEERE", "M"), 170, "22201410173", 3);  // a firm of that name is listed here
    return R"({ "format": 1,
  "places": [ { "zip": "10001", "state": "NY", "city": "NEW YORK", "last_line": "C10001" },
              { "zip": "22201", "state": "VA", "city": "ARLINGTON", "last_line": "C22201" } ],
  "ranges": [
    { "zip": "10001", "addon_low": "1234", "primary_low": "100", "primary_high": "998", "primary_parity": "B",
      "predir": "W", "street": "34TH", "suffix": "ST", "carrier_route": "C012", "last_line": "C10001" },
    { "zip": "22201", "addon_low": "4101", "primary_low": "1001", "primary_high": "1099", "primary_parity": "O",
      "street": "WILSON", "suffix": "BLVD", "carrier_route": "C004", "last_line": "C22201" } ],
  "businesses": [ { "at": { "zip9": "100011234", "primary": "170" }, "name": "JOHN DEERE" } ],
  "daily_deletes": [ { "at": { "zip9": "100011234", "primary": "136" }, "sequence": 2 },
                     { "at": { "zip9": "100011234", "primary": "142" }, "sequence": 1 } ],
  "filings": [ )" +
           filings + " ] }";
}

// One input record of qvncoa_lookup_without_qvav; the ZIP+9 is 10001-1234
// unless given.

// The records the thread test repeats, with and without a move.
std::vector<Rec> sampleRecords() {
    return {{"JOHN A SMITH", "100"},      {"MARIA GARCIA", "102"},      {"ACME WIDGET INC", "104"},
            {"BILL JONES", "106"},        {"WILLIAM BROWN", "108"},     {"JANE SMYTHE", "112"},
            {"MARY ANN SMITH", "116"},    {"JAMES ROBERT KING", "122"}, {"PAUL Q WALKER", "124"},
            {"K ADAMS", "128"},           {"NINA COLE", "130"},         {"MRS JORDAN BAKER", "132"},
            {"JOHN ROE", "136"},          {"LENA PARK", "138"},         {"OMAR HAYES", "150", "4", "APT"},
            {"RITA MOSS", "152", "4"},    {"IVAN PETROV", "156"},       {"T NOLAN", "164"},
            {"NOBODY HERE", "998"},       {"", "", "", "", ' ', ""}};
}

}  // namespace matchflow

using namespace matchflow;

namespace {

// Nothing of an address may be left in an answer that has none.
void expectNoAddress(const qvncoa_out_addr_t& o) {
    for (const char* f : {o.addressLine, o.primaryNumber, o.streetName, o.suffix, o.lastLine, o.city, o.state, o.zip,
                          o.zip4, o.deliveryPoint, o.carrierRoute})
        EXPECT_STREQ(f, "");
}

class MatchFlow : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        root_ = fs::temp_directory_path() / ("qv-matchflow-" + std::to_string(::getpid()));
        world_ = qvw::parseWorld(worldJson());
        qvw::DataSetWriter(world_, root_.string()).write();
        disk_ = openDataObj(root_.string());
        memory_ = openDataObj(root_.string(), QVNCOA_INIT_IN_MEMORY);
    }
    static void TearDownTestSuite() {
        qvncoa_destroy_data_obj(&disk_);
        qvncoa_destroy_data_obj(&memory_);
        fs::remove_all(root_);
    }

    // One record on disk and in memory; both answers and results must agree.
    static qvncoa_out_addr_t look(const Rec& r, int mode = 0, int medMonths = 0, int* rc = nullptr) {
        qvncoa_in_addr_t in = {r.name, r.pno, r.sno, r.zip9, r.desc, r.type};
        qvncoa_out_addr_t out[2];
        int result[2];
        void* objs[2] = {disk_, memory_};
        for (int i = 0; i < 2; ++i) {
            std::memset(&out[i], 0, sizeof out[i]);
            char err[QVNCOA_ERROR_TEXT_SIZE] = {};
            result[i] = qvncoa_lookup_without_qvav(objs[i], &in, &out[i], mode, medMonths, err, 0);
            EXPECT_TRUE(result[i] == QVNCOA_OK || result[i] == QVNCOA_OK_MOVE_TOO_OLD) << result[i] << " " << err;
        }
        EXPECT_EQ(result[0], result[1]) << r.name;
        EXPECT_EQ(std::memcmp(&out[0], &out[1], sizeof out[0]), 0) << "disk and memory differ for " << r.name;
        if (rc != nullptr) *rc = result[0];
        return out[0];
    }

    // One expected answer; fields left at their defaults are not checked.
    struct Want {
        Rec r;
        const char* code;
        int count = -1;
        const char* name = nullptr;
        char type = 0;
        const char* primary = nullptr;
        int date = -2;  // months back; -1: no date
        bool noAddress = false;
        int mode = 0;
    };
    static void expectAll(std::initializer_list<Want> wants) {
        for (const Want& w : wants) {
            SCOPED_TRACE(std::string(w.r.name) + " " + w.r.pno);
            const qvncoa_out_addr_t o = look(w.r, w.mode);
            EXPECT_STREQ(o.returnCode, w.code);
            if (w.count >= 0) { EXPECT_EQ(o.lookupCount, w.count); }
            if (w.name) { EXPECT_STREQ(o.name, w.name); }
            if (w.type) { EXPECT_EQ(o.moveType, w.type); }
            if (w.primary) { EXPECT_STREQ(o.primaryNumber, w.primary); }
            if (w.date >= 0) { EXPECT_STREQ(o.moveEffectiveDate, monthsAgo(w.date).c_str()); }
            if (w.date == -1) { EXPECT_STREQ(o.moveEffectiveDate, ""); }
            if (w.noAddress) { expectNoAddress(o); }
        }
    }

    static fs::path root_;
    static qvw::World world_;
    static void* disk_;
    static void* memory_;
};

fs::path MatchFlow::root_;
qvw::World MatchFlow::world_;
void* MatchFlow::disk_ = nullptr;
void* MatchFlow::memory_ = nullptr;

}  // namespace

TEST_F(MatchFlow, IndividualHitBringsTheNewAddress) {
    qvncoa_out_addr_t o = look({"JOHN A SMITH", "100"});
    EXPECT_STREQ(o.returnCode, "A");
    EXPECT_EQ(o.moveType, 'I');
    EXPECT_STREQ(o.inputName, "JOHN A SMITH");
    EXPECT_STREQ(o.name, "JOHN           SMITH");  // first name in 15, last behind it
    // The range walk prints the number left-justified, so it keeps its
    // full width of 11 in the line.
    EXPECT_EQ(std::string(o.primaryNumber) + "|" + o.streetName + "|" + o.suffix + "|" + o.addressLine + "|" +
                  o.city + "|" + o.state + "|" + o.zip + "-" + o.zip4 + "|" + o.deliveryPoint + "|" + o.carrierRoute +
                  "|" + o.footnote + "|" + o.moveEffectiveDate,
              "1015|WILSON|BLVD|1015       WILSON BLVD|ARLINGTON|VA|22201-4101|15|C004||" + monthsAgo(3));
    EXPECT_STRNE(o.lastLine, "");
    EXPECT_EQ(std::vector<int>({o.monthsSinceMove, o.moveTooOld, o.lookupCount}), std::vector<int>({3, 0, 1}));
    // The same filing in individual-only mode.
    EXPECT_STREQ(look({"JOHN A SMITH", "100"}, 2).returnCode, "A");
    // A generational suffix is part of the key; other suffixes are not.
    EXPECT_STREQ(look({"CARL WEBB JR", "172"}).returnCode, "A");
    EXPECT_STREQ(look({"CARL WEBB", "172"}).returnCode, "00");
    EXPECT_STREQ(look({"CARL WEBB ESQ", "172"}).returnCode, "00");
}

TEST_F(MatchFlow, FamilyHitAfterTheIndividualMisses) {
    qvncoa_out_addr_t o = look({"MARIA GARCIA", "102"});
    EXPECT_STREQ(o.returnCode, "A");
    EXPECT_EQ(o.moveType, 'F');
    EXPECT_STREQ(o.name, "GARCIA");  // a blank first name, trimmed away
    EXPECT_STREQ(o.primaryNumber, "1021");
    EXPECT_STREQ(o.moveEffectiveDate, monthsAgo(4).c_str());
    EXPECT_EQ(o.lookupCount, 2);  // the name as it stands, then the family
    // Modes without family searches never find it.
    for (int mode : {1, 2, 3}) {
        o = look({"MARIA GARCIA", "102"}, mode);
        EXPECT_STREQ(o.returnCode, "00") << mode;
        EXPECT_STREQ(o.name, "") << mode;
    }
    EXPECT_STREQ(look({"MARIA GARCIA", "102"}, 4).returnCode, "A");
}

TEST_F(MatchFlow, BusinessFoundUnderItsListedName) {
    for (const char* spelling : {"ACME WIDGET INC", "ACME WIDGETS INCORPORATED", "ACME WIDGETS INC"}) {
        for (int mode : {0, 1, 3}) {
            qvncoa_out_addr_t o = look({spelling, "104"}, mode);
            EXPECT_STREQ(o.returnCode, "A") << spelling << " " << mode;
            EXPECT_EQ(o.moveType, 'B');
            EXPECT_STREQ(o.name, "ACME WIDGETS INC");  // the firm as listed, not as given
            EXPECT_STREQ(o.inputName, spelling);
            EXPECT_STREQ(o.primaryNumber, "1033");
            EXPECT_EQ(o.lookupCount, 1);
        }
    }
    // Without a business search the firm is a person's name that nobody filed.
    EXPECT_STREQ(look({"ACME WIDGET INC", "104"}, 4).returnCode, "00");
    // A listed firm whose search misses passes over the parse: the person of
    // the same name is never searched, only the family with a blank name.
    qvncoa_out_addr_t deere = look({"JOHN DEERE", "170"});
    EXPECT_STREQ(deere.returnCode, "00");
    EXPECT_EQ(deere.lookupCount, 2);
    deere = look({"JOHN DEERE", "170"}, 4);  // no business test: parsed and found
    EXPECT_STREQ(deere.returnCode, "A");
    EXPECT_EQ(deere.moveType, 'I');
    EXPECT_EQ(deere.lookupCount, 1);
    // Business only, at an address without a firm: no parse, no search, empty answer.
    qvncoa_out_addr_t o = look({"JOHN A SMITH", "100"}, 1);
    EXPECT_STREQ(o.returnCode, "00");
    EXPECT_STREQ(o.name, "");
    EXPECT_EQ(o.moveType, ' ');
    EXPECT_EQ(o.lookupCount, 0);
    expectNoAddress(o);
}

TEST_F(MatchFlow, NameVariantsFromTheNormalisationLists) {
    expectAll({
        // BILL is a key of the first-name forms: WILLIAM is tried after the
        // name as it stands. The name line shows the names as hashed: LL is L.
        {{"BILL JONES", "106"}, "A", 2, "WILIAM         JONES"},
        // WILLIAM sorts behind every key of the first-name forms: its nicknames are tried.
        {{"WILLIAM BROWN", "108"}, "A", 2, "BIL            BROWN"},
        // ROBERT is no key and sorts before the last one: no nickname search,
        // so the filing under BOB is not found (the name, then the family).
        {{"ROBERT BROWN", "110"}, "00", 2},
        // Last-name forms: SMYTHE is searched as SMITH.
        {{"JANE SMYTHE", "112"}, "A", 2, "JANE           SMITH"},
    });
}

TEST_F(MatchFlow, HyphenatedLastNames) {
    expectAll({
        // The hyphen and the blank close up in the key: SMITHJONES; NN is N by the name rules.
        {{"ANNA SMITH-JONES", "114"}, "A", 1, "ANA            SMITHJONES"},
        // Middle and last joined: MARY ANN SMITH finds the filing of MARY
        // ANN-SMITH after the name, the first initial, the middle name and the family.
        {{"MARY ANN SMITH", "116"}, "A", 5, "MARY           ANSMITH", 'I', "1047"},
    });
}

TEST_F(MatchFlow, FirstInitialAndMiddleNameAttempts) {
    expectAll({
        // J QUINCY DOE filed under the initial: found by the first-initial attempt.
        {{"JOHN QUINCY DOE", "120"}, "A", 2, "J              DOE"},
        // The same filing with the name flag cannot be matched by an initial:
        // every attempt runs and none finds it (name, initial, middle, family,
        // hyphenated, family hyphenated).
        {{"JOHN QUINCY DOE", "118"}, "00", 6, ""},
        // ROBERT KING, middle JAMES: the input's middle name is the filing's first.
        {{"JAMES ROBERT KING", "122"}, "A", 3, "ROBERT         KING"},
        // A filing's middle that does not start like the input's first name
        // undoes the middle-name hit.
        {{"JAMES PAUL WALKER", "126"}, "00"},
    });
}

TEST_F(MatchFlow, NameChecksTurnHitsIntoRejections) {
    expectAll({
        // Middles X and Q differ in their first letter: "12", and no family
        // fall-back although a WALKER family filed here.
        {{"PAUL Q WALKER", "124"}, "12", 1, nullptr, 'I', nullptr, -1, true},
        // Q against QU: same first letter and a blank second letter: no code.
        {{"PAUL Q WALKER", "126"}, "A"},
        // One-letter first name and a different middle: "15". The family
        // fall-back searches and finds nothing; restoring the saved answer
        // brings back its count as well, so the fall-back's search is not counted.
        {{"K ADAMS", "128"}, "15", 1, nullptr, 0, nullptr, -1, true},
        // The name flag and a different middle: "17".
        {{"NINA COLE", "130"}, "17", 1, nullptr, 0, nullptr, -1},
        // Gender: a man's filing and MRS: "13", where a family filed too the
        // fall-back finds it.
        {{"MRS JORDAN BAKER", "132"}, "A", 2, nullptr, 'F', "1059"},
        {{"MRS JORDAN BAKER", "134"}, "13", 1, nullptr, 'I', nullptr, -1, true},
        // JORDAN alone is of unknown gender: no check.
        {{"JORDAN BAKER", "134"}, "A", -1, nullptr, 0, "1009"},
    });
}

TEST_F(MatchFlow, DailyDeleteAnswers66WithoutNameOrAddress) {
    expectAll({
        // Cancelled before any search.
        {{"JOHN ROE", "136"}, "66", 0, "", ' ', nullptr, -1, true},
        // A deletion that the data set already holds (sequence not above the
        // set's) does not count.
        {{"JOHN ROE", "142"}, "A", -1, nullptr, 0, "1013"},
    });
    EXPECT_STREQ(look({"JOHN ROE", "136"}).inputName, "JOHN ROE");
}

TEST_F(MatchFlow, DropFlagAnswers91ButNotForFamilies) {
    expectAll({
        {{"LENA PARK", "138"}, "91", 1, nullptr, 0, "1061", 3},  // 91 keeps all
        {{"LENA PARK", "140"}, "A", -1, nullptr, 'F', "1063"},
    });
}

TEST_F(MatchFlow, RetryWithoutTheSecondary) {
    expectAll({
        // Found only without the unit: "92", with the whole answer. Only the
        // retry's searches are counted.
        {{"OMAR HAYES", "150", "4", "APT"}, "92", 1, nullptr, 0, "1065", 3},
        // Only an upper-case S retries.
        {{"OMAR HAYES", "150", "4", "APT", 's'}, "00", 2},
        {{"OMAR HAYES", "150", "4", "APT", 'H'}, "00", 2},
        {{"OMAR HAYES", "150", "4", "APT", ' '}, "00", 2},
        // With the drop flag: "16", the name stays (as hashed: SS is S),
        // address and date go.
        {{"RITA MOSS", "152", "4"}, "16", 1, "RITA           MOS", 0, nullptr, -1, true},
        // A family filing, reached by dropping the trailing letter of 154A: "16".
        {{"RITA MOSS", "154A"}, "16", 2, nullptr, 'F', nullptr, -2, true},
        // A miss without any secondary is searched once: the key does not change.
        {{"NOBODY HERE", "998"}, "00", 2},
    });
}

TEST_F(MatchFlow, CodedResultsKeepOrLoseTheDate) {
    expectAll({
        {{"ALICE GRANT", "158"}, "05", 1, nullptr, 0, nullptr, 10, true},
        {{"ALICE GRANT", "160"}, "04", -1, nullptr, 0, nullptr, -1},
        // A new address that cannot be built is "14", keeping the date.
        {{"IVAN PETROV", "156"}, "14", 1, nullptr, 'I', nullptr, 3, true},
    });
    EXPECT_EQ(look({"ALICE GRANT", "160"}).monthsSinceMove, 0);
    EXPECT_STREQ(look({"ALICE GRANT", "158"}).footnote, "");
    // The "000000077" form carries the footnote.
    qvncoa_out_addr_t o = look({"ALICE GRANT", "162"});
    EXPECT_STREQ(o.returnCode, "03");
    EXPECT_STREQ(o.footnote, "0077");
    EXPECT_STREQ(o.moveEffectiveDate, monthsAgo(3).c_str());
    // One-letter first name and another middle keep a coded "11", and its
    // prefix; the family fall-back finds nothing.
    o = look({"T NOLAN", "164"});
    EXPECT_STREQ(o.returnCode, "11");
    EXPECT_STREQ(o.footnote, "0077");
    EXPECT_STREQ(o.moveEffectiveDate, "");
    EXPECT_EQ(o.lookupCount, 1);
}

TEST_F(MatchFlow, MonthLimitAnswers1001ForDatedCodes) {
    struct Case {
        int medMonths;
        int rc;
    } const cases[] = {{9, QVNCOA_OK_MOVE_TOO_OLD}, {10, QVNCOA_OK}, {5, QVNCOA_OK}};  // (clamping: Boundary)
    for (const Case& c : cases) {
        for (const Rec& r : {Rec{"DORA LANE", "166"}, Rec{"ALICE GRANT", "158"}}) {  // an address, a coded "05"
            int rc = 0;
            qvncoa_out_addr_t o = look(r, 0, c.medMonths, &rc);
            EXPECT_EQ(rc, c.rc) << c.medMonths << " " << r.name;
            EXPECT_EQ(o.moveTooOld, c.rc == QVNCOA_OK_MOVE_TOO_OLD ? 1 : 0);
            EXPECT_EQ(o.monthsSinceMove, 10);
            EXPECT_STRNE(o.returnCode, "00");
        }
    }
    // "04" has no date to be too old.
    int rc = 0;
    look({"ALICE GRANT", "160"}, 0, 6, &rc);
    EXPECT_EQ(rc, QVNCOA_OK);
}

TEST_F(MatchFlow, BlankAndBadKeyRecordsAnswer00) {
    const Rec records[] = {
        {"", "", "", "", ' ', ""},
        {"", "000", "00", "", 'S', "    "},            // zeros strip away: still blank
        {"JOHN A SMITH", "100", "", "", 'S', "ABCDE1234"},  // no key from letters
    };
    for (const Rec& r : records) {
        qvncoa_out_addr_t o = look(r);
        EXPECT_STREQ(o.returnCode, "00") << r.name;
        EXPECT_STREQ(o.name, "");
        EXPECT_EQ(o.moveType, ' ');
        EXPECT_EQ(o.lookupCount, 0);
        EXPECT_STREQ(o.moveEffectiveDate, "");
        expectNoAddress(o);
    }
    // Every field but avRecord is written, whatever the caller's record held.
    qvncoa_out_addr_t o;
    std::memset(&o, 0x7F, sizeof o);
    void* const untouched = o.avRecord;
    qvncoa_in_addr_t in = {"NOBODY HERE", "998", "", "100011234", "", 'S'};
    ASSERT_EQ(qvncoa_lookup_without_qvav(disk_, &in, &o, 0, 0, nullptr, 0), QVNCOA_OK);
    for (const char* f : {o.inputName, o.name, o.addressLine, o.primaryNumber, o.preDirectional, o.streetName,
                          o.suffix, o.postDirectional, o.secondaryDesignator, o.secondaryNumber, o.lastLine, o.city,
                          o.state, o.zip, o.zip4, o.carrierRoute, o.moveEffectiveDate, o.deliveryPoint,
                          o.urbanization, o.returnCode, o.footnote})
        EXPECT_EQ(std::strchr(f, 0x7F), nullptr) << f;
    EXPECT_EQ(std::string(o.returnCode) + "|" + o.inputName + "|" + o.moveType, "00|NOBODY HERE| ");
    EXPECT_EQ(std::vector<int>({o.lookupCount, o.monthsSinceMove, o.moveTooOld}), std::vector<int>({2, 0, 0}));
    EXPECT_EQ(o.avRecord, untouched);
}
