// Opening, identifying and proving a data set from end to end, as a caller
// does: the writer makes the set, the exported functions open it.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "DataSetWriter.h"
#include "DataTables.h"
#include "NCOA.h"
#include "TestSupport.h"
#include "World.h"
#include "qvncoa.h"

namespace fs = std::filesystem;

namespace {

const std::string kKb = QV_SOURCE_DIR "/data/namekb";

qvw::World smallWorld() {
    return qvw::parseWorld(R"({
      "dataset": { "name": "OPEN CHECK SET", "set_letter": "C", "sequence": 2417,
                   "filter_bytes": 1024, "stripe_bytes": 1024, "bit_table_bytes": 1024 },
      "places": [ { "zip": "02110", "state": "MA", "city": "BOSTON", "last_line": "B02110" } ],
      "ranges": [ { "zip": "02110", "addon_low": "1001", "primary_low": "1", "primary_high": "99",
                    "street": "STATE", "suffix": "ST" } ],
      "lcd": [ { "zip9": "021101001", "value": 21 } ]
    })");
}

// A fresh set under a temp folder for each test, and a data object opened on it.
class DataSetOpen : public ::testing::Test {
protected:
    void SetUp() override {
        root = fs::temp_directory_path() / ("qv-open-" + std::to_string(::getpid()) + "-" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(root);
    }
    void TearDown() override {
        qvncoa_destroy_data_obj(&obj);
        fs::remove_all(root);
    }

    void build(qvw::World world = smallWorld()) { qvw::DataSetWriter(world, root.string()).write(); }
    void build(const std::string& releaseDate) {
        qvw::World w = smallWorld();
        w.dataset.releaseDate = releaseDate;
        build(w);
    }

    int open(unsigned flags = 0) {
        qvncoa_destroy_data_obj(&obj);
        err[0] = '\0';
        return qvncoa_init_data_obj(&obj, root.string().c_str(), kKb.c_str(), "", 2, nullptr, err, flags);
    }

    std::string file(const std::string& rel) const { return (root / rel).string(); }

    void writeBytes(const std::string& rel, const std::string& bytes) {
        std::ofstream(file(rel), std::ios::binary | std::ios::trunc) << bytes;
    }

    // Rewrites a header's lines through an edit.
    template <typename Edit>
    void editHeader(const std::string& rel, Edit edit) {
        std::vector<std::string> lines = splitLines(fileBytes(file(rel)));
        edit(lines);
        std::ofstream out(file(rel), std::ios::trunc);
        for (const auto& l : lines) out << l << "\n";
    }

    fs::path root;
    void* obj = nullptr;
    char err[QVNCOA_ERROR_TEXT_SIZE];
};

}  // namespace

TEST_F(DataSetOpen, OpensOnDiskAndInMemoryAndTellsItsRelease) {
    qvw::World w = smallWorld();
    w.dataset.releaseDate = qvw::addDays(qvw::todayYYYYMMDD(), -3);
    build(w);
    for (unsigned flags : {0u, 8u}) {
        ASSERT_EQ(open(flags), 1000) << err;
        qvncoa_release_info_t info;
        ASSERT_EQ(qvncoa_getNCOAReleaseInfo(obj, &info), 1000);
        EXPECT_EQ(std::string(info.setName).substr(0, 14), "OPEN CHECK SET");
        EXPECT_EQ(std::string(info.date1), w.dataset.releaseDate);
        EXPECT_EQ(std::string(info.date3), qvw::addDays(w.dataset.releaseDate, 45));
        EXPECT_EQ(info.sequence, 2417);
        EXPECT_EQ(info.setLetter, 'C');
        const QV_NCOA::CNCOA_DataTables& t = *QV_NCOA::tablesOf(obj);
        EXPECT_TRUE(t.isHashData);
        EXPECT_EQ(t.hashImage[0][0].empty(), flags == 0);
        EXPECT_EQ(t.lcdImage.empty(), flags == 0);
        EXPECT_EQ(t.contentsLst.size(), 100u);
        EXPECT_GT(t.rv9EsdLastIndex, 0u);
        EXPECT_EQ(t.getHSXSize(0, 'a'), 1024u);
    }
}

TEST_F(DataSetOpen, DataOlderThan45WholeDaysIsRefused) {
    build(qvw::addDays(qvw::todayYYYYMMDD(), -45));  // 45 days and today's hours: still 0 days left
    EXPECT_EQ(open(), 1000) << err;
    build(qvw::addDays(qvw::todayYYYYMMDD(), -46));
    EXPECT_EQ(open(), 1060);
    EXPECT_STREQ(err, "1060");
}

TEST_F(DataSetOpen, MalformedHeadersAreRefusedBeforeAnyListIsRead) {
    build();
    fs::remove(file("DVD 2/clk/zip.lst"));
    editHeader("DVD 1/dvdhdr01.dat", [](std::vector<std::string>& lines) { lines[0][68] = 'G'; });
    EXPECT_EQ(open(), 1080);
}

TEST_F(DataSetOpen, RecordFilesMustHoldWholeRecords) {
    build();
    const std::string rec = "021101001R ";  // one 11-byte row
    writeBytes("DVD 2/clk/leftrite.txt", rec + rec);
    ASSERT_EQ(open(), 1000) << err;
    EXPECT_EQ(QV_NCOA::tablesOf(obj)->leftRiteTable.count, 2u);
    writeBytes("DVD 2/clk/leftrite.txt", rec + rec + "X");
    EXPECT_EQ(open(), 1042);
    EXPECT_EQ(std::string(err), file("DVD 2/clk/leftrite.txt"));
    writeBytes("DVD 2/clk/leftrite.txt", "");  // no record at all: the file's fault, not memory's
    EXPECT_EQ(open(), 1042);
    EXPECT_EQ(std::string(err), file("DVD 2/clk/leftrite.txt"));
}

TEST_F(DataSetOpen, DamagedSetsFailWithTheirCodeAndCleanUp) {
    struct Damage {
        const char* rel;
        const char* bytes;  // nullptr: remove the file
        int code;
    } cases[] = {
        {"DVD 2/clk/zip.lst", nullptr, 1040},      {"DVD 2/clk/hint.lst", nullptr, 1040},
        {"DVD 2/rv9/czp.dat", nullptr, 1043},      {"DVD 2/rv9/nam.dat", "12345", 1042},
        {"DVD 1/clk.q.hs1", nullptr, 1040},        {"DVD 2/clk/contents.lst", nullptr, 1040},
        {"DVD 2/clk/lcd", "12345", 1040},          {"DVD 2/clk/business.lst", nullptr, 1040},
        {"DVD 2/dvdhdr02.dat", nullptr, 1040},
    };
    for (const Damage& d : cases) {
        build();
        if (d.bytes == nullptr)
            fs::remove(file(d.rel));
        else
            writeBytes(d.rel, d.bytes);
        EXPECT_EQ(open(), d.code) << d.rel;
        EXPECT_NE(std::string(err).find(d.rel), std::string::npos) << d.rel << ": " << err;
        EXPECT_NE(obj, nullptr);  // left for the caller to destroy
    }
    build();
    fs::remove(file("DVD 1/clk.q.hs3"));  // only the in-memory mode reads sections 2 to 9
    EXPECT_EQ(open(0), 1000) << err;
    EXPECT_EQ(open(8), 1040);
    build();
    fs::remove(file("DVD 2/rv9/rv9.esd"));  // start-up does not need it
    ASSERT_EQ(open(), 1000) << err;
    EXPECT_EQ(QV_NCOA::tablesOf(obj)->rv9EsdLastIndex, 0u);
}

TEST_F(DataSetOpen, LookupsOnAnOpenedSetFindNothingYetAndNeverCrash) {
    build();
    ASSERT_EQ(open(), 1000) << err;
    qvncoa_in_addr_t in = {"JOHN A SMITH", "12", "", "021101001", "", 'S'};
    qvncoa_out_addr_t out;
    EXPECT_EQ(qvncoa_lookup_without_qvav(obj, &in, &out, eBIF_All, 0, err, 0), 1000);
    EXPECT_STREQ(out.returnCode, "00");
    EXPECT_STREQ(out.inputName, "JOHN A SMITH");
    EXPECT_STREQ(out.name, "");
    EXPECT_EQ(out.moveTooOld, 0);
}
