// Confirmation against a writer-made data set: the sample world and a few
// ranges more, so that every result code is reached; the form 3553, the
// data's dates, and contexts on many threads.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "DataSetWriter.h"
#include "Synth.h"
#include "TestSupport.h"
#include "World.h"
#include "qvav.h"

namespace fs = std::filesystem;

namespace {

qvw::AddressRange range(const char* zip, const char* addonLow, const char* addonHigh, char type, unsigned low,
                        unsigned high, char parity, const char* pre, const char* street, const char* suffix,
                        const char* designator = "", const char* secLow = "", const char* secHigh = "") {
    auto pad = [](unsigned v) {
        if (!v) return std::string();
        std::string s = std::to_string(v);
        return std::string(10 - s.size(), '0') + s;
    };
    qvw::AddressRange r;
    r.zip = zip;
    r.addonLow = addonLow;
    r.addonHigh = addonHigh;
    r.recordType = type;
    r.primaryLow = pad(low);
    r.primaryHigh = pad(high);
    r.primaryParity = parity;
    r.preDir = pre;
    r.street = street;
    r.suffix = suffix;
    r.designator = designator;
    r.secondaryLow = secLow;
    r.secondaryHigh = secHigh;
    r.secondaryParity = *secLow ? 'B' : ' ';
    r.carrierRoute = "C001";
    r.lastLine = std::string("C") + zip;
    return r;
}

struct Answer {
    std::string zip, zip4, primary, predir, street, suffix, postdir, designator, secondary, city, state, codes;
    char type;
};

Answer answerOf(void* result) {
    const unsigned char* m = static_cast<const unsigned char*>(result);
    const char* a = nullptr;
    std::memcpy(&a, m + QVAV_MAIN_ADDRESS, sizeof a);
    return Answer{a + QVAV_ADDR_ZIP,       a + QVAV_ADDR_ZIP4,      a + QVAV_ADDR_PRIMARY,
                  a + QVAV_ADDR_PREDIR,    a + QVAV_ADDR_STREET,    a + QVAV_ADDR_SUFFIX,
                  a + QVAV_ADDR_POSTDIR,   a + QVAV_ADDR_DESIGNATOR, a + QVAV_ADDR_SECONDARY,
                  a + QVAV_ADDR_CITY,      reinterpret_cast<const char*>(m + QVAV_MAIN_STATE),
                  std::string(a + QVAV_ADDR_RESULT1) + "/" + (a + QVAV_ADDR_RESULT2), a[QVAV_ADDR_RECORD_TYPE]};
}

class QvavConfirm : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        root_ = (fs::temp_directory_path() / ("qv-qvav-" + std::to_string(::getpid()))).string();
        qvw::World world = qvw::loadWorld(QV_SOURCE_DIR "/data/sample/world.json");
        world.dataset.releaseDate = qvw::todayYYYYMMDD();
        // 350 5TH AVE gets a building default; MAIN ST runs both north and
        // south; a rural route; a range whose add-on walks with the number.
        world.ranges.push_back(range("10001", "1236", "1236", 'H', 350, 350, 'E', "", "5TH", "AVE"));
        world.ranges.push_back(range("60614", "2300", "2300", 'S', 100, 198, 'E', "N", "MAIN", "ST"));
        world.ranges.push_back(range("60614", "2301", "2301", 'S', 100, 198, 'E', "S", "MAIN", "ST"));
        world.ranges.push_back(range("60614", "5000", "5009", 'S', 200, 218, 'E', "", "WEBSTER", "AVE"));
        world.ranges.push_back(range("22201", "4200", "4200", 'R', 1, 99, 'B', "", "RR 2", ""));
        world.ranges.push_back(range("94110", "9998", "9998", 'G', 0, 0, ' ', "", "GENERAL DELIVERY", ""));
        // Two ranges of one street that overlap under different add-ons.
        world.ranges.push_back(range("60614", "6000", "6000", 'S', 300, 398, 'E', "", "ARMITAGE", "AVE"));
        world.ranges.push_back(range("60614", "6001", "6001", 'S', 350, 398, 'E', "", "ARMITAGE", "AVE"));
        qvw::DataSetWriter(world, root_).write();
        char err[1024] = {};
        ASSERT_EQ(qvav_open(&av_, root_.c_str(), err), 0) << err;
    }
    static void TearDownTestSuite() {
        qvav_close(&av_);
        fs::remove_all(root_);
    }
    static Answer verify(const char* line, const char* last, const char* line2 = "", int options = QVAV_OPT_CONFIRM,
                         qvav_context* av = nullptr) {
        void* result = nullptr;
        EXPECT_EQ(qvav_verify_address(av ? av : av_, options, "", "", "", line, line2, last, &result), 0);
        return answerOf(result);
    }
    static std::string root_;
    static qvav_context* av_;
};

std::string QvavConfirm::root_;
qvav_context* QvavConfirm::av_ = nullptr;

TEST_F(QvavConfirm, ConfirmedAddressesTakeTheirRangesData) {
    Answer a = verify("120 West 34th Street Apt 4B", "new york ny 10001");
    EXPECT_EQ(a.codes, "00/00");
    EXPECT_EQ(a.zip + a.zip4, "100011234");
    EXPECT_EQ(a.predir + "|" + a.street + "|" + a.suffix, "W|34TH|ST");
    EXPECT_EQ(a.designator + a.secondary, "APT4B");
    EXPECT_EQ(a.type, 'S');
    // The data's city and state replace what was written.
    a = verify("3205 Mission St", "SF CA 94110");
    EXPECT_EQ(a.codes, "00/00");
    EXPECT_EQ(a.city + "|" + a.state + "|" + a.zip4, "SAN FRANCISCO|CA|3301");
    // Directional and suffix filled in from the data.
    a = verify("2150 Clark", "Chicago IL 60614");
    EXPECT_EQ(a.codes, "00/01");
    EXPECT_EQ(a.predir + "|" + a.suffix + "|" + a.zip4, "N|ST|2210");
    // A firm range, a PO box, a rural route, an urbanization's street.
    a = verify("1100 Wilson Blvd # 210", "Arlington VA 22201");
    EXPECT_EQ(a.codes + a.type + a.zip4 + a.designator, "00/00F4102STE");
    a = verify("P.O. Box 50", "San Francisco, CA 94110");
    EXPECT_EQ(a.codes + a.type + a.zip4 + a.street, "00/00P3302PO BOX");
    a = verify("Rural Route 2 Box 17", "Arlington, Virginia 22201");
    EXPECT_EQ(a.codes + a.type + a.zip4 + a.street + "|" + a.primary, "00/00R4200RR 2|17");
    a = verify("Gen. Delivery", "San Francisco CA 94110");
    EXPECT_EQ(a.codes + a.type + a.zip4 + a.street, "00/00G9998GENERAL DELIVERY");
    a = verify("URB LAS GLADIOLAS 15 CALLE 5", "San Juan PR 00926");
    EXPECT_EQ(a.codes + a.zip4, "00/001520");
    // The add-on walks with the number: 204 is the third even house from 200.
    a = verify("204 Webster Avenue", "Chicago, IL 60614");
    EXPECT_EQ(a.codes + a.zip4, "00/005002");
}

TEST_F(QvavConfirm, HighRisesCodeTheUnitsRangeOrTheBuildingDefault) {
    Answer a = verify("350 Fifth Ave Apt 4B", "New York NY 10001");
    EXPECT_EQ(a.codes + a.type + a.zip4, "00/00H1235");
    a = verify("350 5th Ave", "New York NY 10001", "#4B");
    EXPECT_EQ(a.codes + a.zip4 + a.designator, "00/001235APT");
    a = verify("350 5th Ave", "New York NY 10001");
    EXPECT_EQ(a.codes + a.zip4, "01/161236");
    a = verify("350 5th Ave Apt 12Z", "New York NY 10001");
    EXPECT_EQ(a.codes + a.zip4 + a.secondary, "01/17123612Z");
}

TEST_F(QvavConfirm, AddressesNotFoundKeepTheirComponentsAndSayWhy) {
    // ZIP from the city when it is missing or wrong.
    Answer a = verify("2150 N Clark St", "Chicago IL");
    EXPECT_EQ(a.codes + a.zip + a.zip4, "00/02606142210");
    a = verify("2150 N Clark St", "Chicago IL 60699");
    EXPECT_EQ(a.codes + a.zip, "00/0260614");
    a = verify("2150 N Clark St", "Nowhere XX");
    EXPECT_EQ(a.codes, "10/11");
    a = verify("2150 N Clark St Apt 3", "Springfield IL 99999-1234");
    EXPECT_EQ(a.codes, "10/12");
    EXPECT_EQ(a.zip + a.zip4 + a.predir + a.street + a.suffix + a.designator + a.secondary, "999991234NCLARKSTAPT3");
    a = verify("5 Nowhere St", "Chicago IL 60614");
    EXPECT_EQ(a.codes + a.zip + a.street + a.city, "10/1360614NOWHERECHICAGO");
    a = verify("2151 N Clark St", "Chicago IL 60614-2210");  // odd on an even range
    EXPECT_EQ(a.codes + a.zip4 + a.primary, "10/1422102151");
    a = verify("N Clark St", "Chicago IL 60614");
    EXPECT_EQ(a.codes, "10/15");
    a = verify("150 Main St", "Chicago IL 60614");
    EXPECT_EQ(a.codes, "10/18");
    EXPECT_EQ(verify("350 Armitage Ave", "Chicago IL 60614").codes, "10/18");
    EXPECT_EQ(verify("310 Armitage Ave", "Chicago IL 60614").zip4, "6000");
    a = verify("150 S Main St", "Chicago IL 60614");
    EXPECT_EQ(a.codes + a.zip4, "00/002301");
    a = verify("PO Box 150", "San Francisco CA 94110");
    EXPECT_EQ(a.codes + a.type, "10/14P");
    // Parsing only: by option, or with no data open.
    a = verify("2150 N Clark St", "Chicago IL 60614", "", 0);
    EXPECT_EQ(a.codes + a.zip4, "10/19");
    qvav_context* bare = nullptr;
    char err[1024];
    ASSERT_EQ(qvav_open(&bare, nullptr, err), 0);
    EXPECT_EQ(verify("2150 N Clark St", "Chicago IL 60614", "", 1, bare).codes, "10/19");
    int y, m, d;
    EXPECT_EQ(qvav_get_usps_date(bare, &y, &m, &d), QVAV_ERR_NO_DATA);
    qvav_close(&bare);
    EXPECT_EQ(bare, nullptr);
    // Nothing to look up.
    EXPECT_EQ(verify("", "").codes, "20/21");
    EXPECT_EQ(verify("?!,.;", "").codes, "20/22");
    EXPECT_EQ(verify("123", "Chicago IL 60614").codes, "20/23");
}

TEST_F(QvavConfirm, FormAndDatesComeFromTheContextAndTheData) {
    int y = 0, m = 0, d = 0, y9 = 0, m9 = 0, d9 = 0;
    ASSERT_EQ(qvav_get_usps_date(av_, &y, &m, &d), 0);
    EXPECT_EQ(std::to_string(y * 10000 + m * 100 + d), qvw::todayYYYYMMDD());
    ASSERT_EQ(qvav_get_usps_component_date(av_, 9, &y9, &m9, &d9), 0);
    EXPECT_EQ(y9 * 10000 + m9 * 100 + d9, y * 10000 + m * 100 + d);
    EXPECT_EQ(qvav_get_usps_component_date(av_, 7, &y, &m, &d), QVAV_ERR_ARGUMENT);

    ASSERT_EQ(qvav_start_3553(av_), 0);
    verify("120 W 34th St", "New York NY 10001");
    verify("350 5th Ave", "New York NY 10001");
    verify("5 Nowhere St", "Chicago IL 60614");
    char form[188] = {};
    std::strncpy(form, "ACME LISTS", 25);
    std::strncpy(form + 26, "TEXT SIX", 25);
    const int one = 1;
    std::memcpy(form + 52, &one, sizeof one);
    std::memcpy(form + 56, "LIST NAME THAT FILLS ALL 32 CHRS", 32);  // no NUL of its own
    const std::string path = root_ + "/form3553.txt";
    ASSERT_EQ(qvav_write_3553(av_, form, path.c_str()), 0);
    const std::string s = fileBytes(path);
    EXPECT_NE(s.find("ACME LISTS"), std::string::npos);
    EXPECT_NE(s.find("TEXT SIX"), std::string::npos);
    EXPECT_NE(s.find("LIST NAME THAT FILLS ALL 32 CHRS\n"), std::string::npos);
    EXPECT_NE(s.find("Records                     3\n"), std::string::npos);
    EXPECT_NE(s.find("Coded to ZIP+4              2\n"), std::string::npos);
    EXPECT_NE(s.find("Confirmed in ranges         1\n"), std::string::npos);
    EXPECT_NE(s.find("10 13                       1\n"), std::string::npos);
    EXPECT_EQ(qvav_write_3553(av_, form, (root_ + "/no/such/folder/f.txt").c_str()), QVAV_ERR_WRITE);
}

TEST_F(QvavConfirm, OpenFailsWithTheMissingPathAndThreadsAgree) {
    qvav_context* av = nullptr;
    char err[1024] = {};
    EXPECT_EQ(qvav_open(&av, (root_ + "/nothing").c_str(), err), QVAV_ERR_OPEN);
    EXPECT_NE(std::string(err).find("dvdhdr01.dat"), std::string::npos);
    EXPECT_EQ(av, nullptr);
    EXPECT_EQ(qvav_open(nullptr, root_.c_str(), err), QVAV_ERR_ARGUMENT);

    const char* lines[][2] = {{"120 W 34th St", "New York NY 10001"}, {"350 5th Ave Apt 2C", "New York NY 10001"},
                              {"2150 Clark", "Chicago IL"},           {"150 Main St", "Chicago IL 60614"},
                              {"PO Box 7", "San Francisco CA 94110"}};
    std::vector<std::string> single;
    for (auto& l : lines) {
        const Answer a = verify(l[0], l[1]);
        single.push_back(a.codes + a.zip + a.zip4 + a.street);
    }
    std::vector<std::thread> threads;
    std::vector<int> mismatches(4, 0);
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            qvav_context* mine = nullptr;
            char e[1024];
            if (qvav_open(&mine, root_.c_str(), e) != 0) {
                mismatches[t] = -1;
                return;
            }
            for (int round = 0; round < 200; ++round)
                for (std::size_t i = 0; i < single.size(); ++i) {
                    void* result = nullptr;
                    qvav_verify_address(mine, 1, "", "", "", lines[i][0], "", lines[i][1], &result);
                    const Answer a = answerOf(result);
                    mismatches[t] += a.codes + a.zip + a.zip4 + a.street != single[i];
                }
            qvav_close(&mine);
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(mismatches, std::vector<int>(4, 0));
}

// A synthetic list written free-form, as people keep it (words spelled out,
// any case, "Apt" or "#", commas, mostly no ZIP+4), comes back with the ZIP+4,
// numbers and record type of its split, coded columns, row for row.
TEST(QvavSynth, FreeFormRowsCodeToTheSplitColumns) {
    const std::string root = (fs::temp_directory_path() / ("qv-qvav-synth-" + std::to_string(::getpid()))).string();
    qvw::SynthOptions opt;
    opt.filings = 3000;
    qvw::SynthGenerator gen(opt);
    qvw::DataSetWriter(gen.world(), root).write();
    const auto rows = gen.makeList(3000, 0.1, 11);
    qvav_context* av = nullptr;
    char err[1024];
    ASSERT_EQ(qvav_open(&av, root.c_str(), err), 0) << err;
    std::size_t same = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& r = rows[i];
        std::string line, last;
        qvw::SynthGenerator::freeFormAddress(r, line, last);
        void* result = nullptr;
        ASSERT_EQ(qvav_verify_address(av, 1, r.name.c_str(), "", "", line.c_str(), "", last.c_str(), &result), 0);
        const Answer a = answerOf(result);
        const bool ok = a.codes == "00/00" && a.zip == r.zip && a.zip4 == r.zip4 && a.primary == r.primary &&
                        a.secondary == r.secondary && a.designator == r.designator && a.type == r.recordType;
        same += ok;
        if (!ok) ADD_FAILURE() << line << " | " << last << ": " << a.codes << " " << a.zip << "-" << a.zip4 << " "
                               << a.designator << " " << a.secondary << " " << a.type << " want " << r.zip4;
        if (!ok && i > 20) break;
    }
    EXPECT_EQ(same, rows.size());
    qvav_close(&av);
    fs::remove_all(root);
}

}  // namespace
