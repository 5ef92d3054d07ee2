// What the writer produces must open with the library's own readers: the
// disc headers parse and prove every file, the whole-file tables load with
// their full counts, and the searched files find what the world put in them.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "BinFileUtils.h"
#include "DVDHeader.h"
#include "DataSetWriter.h"
#include "FileManager.h"
#include "NCOA_Utils.h"
#include "World.h"
#include "qvncoa.h"

namespace fs = std::filesystem;
using namespace QV_NCOA;

namespace {

const char* kWorld = R"({
  "dataset": { "name": "READER CHECK", "set_letter": "E", "sequence": 4321, "filter_bytes": 2048, "stripe_bytes": 1024 },
  "places": [ { "zip": "30301", "state": "GA", "city": "ATLANTA", "last_line": "A30301" },
              { "zip": "02110", "state": "MA", "city": "BOSTON", "last_line": "B02110" } ],
  "ranges": [
    { "zip": "02110", "addon_low": "1001", "primary_low": "1", "primary_high": "99", "street": "STATE", "suffix": "ST" },
    { "zip": "02110", "addon_low": "1001", "type": "F", "primary_low": "53", "street": "STATE", "suffix": "ST" },
    { "zip": "02110", "addon_low": "1002", "primary_low": "100", "street": "STATE", "suffix": "ST" },
    { "zip": "30301", "addon_low": "0020", "primary_low": "1200", "primary_high": "1298", "street": "PEACHTREE" } ],
  "businesses": [ { "key_hex": "0000000000000002", "name": "ALPHA INC" } ],
  "daily_deletes": [ { "key_hex": "0100000000000000", "sequence": 4322 } ],
  "lcd": [ { "zip9": "303010020", "value": 21 } ],
  "urbanizations": [ { "zip9": "009261520", "name": "URB EL VEDADO" } ],
  "x11": [ { "code": "30301002099" } ]
})";

class WriterReadersTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        root_ = fs::temp_directory_path() / ("qvw-readers-" + std::to_string(::getpid()));
        fs::remove_all(root_);
        qvw::DataSetWriter(qvw::parseWorld(kWorld), root_.string()).write();
    }
    static void TearDownTestSuite() { fs::remove_all(root_); }

    static std::string path(const std::string& rel) { return (root_ / rel).string(); }
    static fs::path root_;
};
fs::path WriterReadersTest::root_;

template <typename T>
uint64_t loadCount(const std::string& p) {
    ManagedBuf<T> buf;
    EXPECT_TRUE(CBinFileUtils<T>::readPackedFile(p.c_str(), buf, T::SIZE, &T::deserialize)) << p;
    return buf.count;
}

} // namespace

TEST_F(WriterReadersTest, HeadersParseAndProveTheWholeSet) {
    CNCOA_FileManager paths;
    paths.setRoot(root_.string().c_str());
    DVDHeader headers[2];
    readDVDHeaders(paths, headers);
    for (const DVDHeader& h : headers) {
        EXPECT_EQ(h.setLetter, 'E');
        EXPECT_EQ(h.sequence, 4321);
        EXPECT_EQ(std::string(h.date1.buf, 8), qvw::todayYYYYMMDD());
        EXPECT_EQ(static_cast<size_t>(h.fileCount), h.files.size());
    }
    EXPECT_EQ(headers[0].lineDigit1, 1);
    EXPECT_EQ(headers[1].lineDigit1, 2);
    EXPECT_EQ(headers[0].files.size(), 26u * 9);
    // Dated today at midnight: part of a day is gone, and the cut goes toward zero.
    const int left = daysUntilExpiration(headers[0], time(nullptr));
    EXPECT_TRUE(left == 44 || left == 45) << left;
    EXPECT_TRUE(isHashDataSetLetter(headers[0].setLetter));

    QvbString failed;
    EXPECT_EQ(verifyDVDFileHashes(paths, headers, true, failed, nullptr), 1000) << failed.asCstr();

    // One byte changed in a proved file is caught and named.
    const std::string victim = path("DVD 2/rv9/nam.dat");
    {
        std::fstream f(victim, std::ios::in | std::ios::out | std::ios::binary);
        f.seekp(0);
        f.put('\x7F');
    }
    EXPECT_EQ(verifyDVDFileHashes(paths, headers, true, failed, nullptr), 1081);
    EXPECT_EQ(std::string(failed.asCstr()), victim);
    qvw::DataSetWriter(qvw::parseWorld(kWorld), root_.string()).write();
}

TEST_F(WriterReadersTest, WholeFileTablesLoadWithTheirCounts) {
    // Seven dictionaries, from the four ranges: primaries 1 99 53 100 1200 1298.
    EXPECT_EQ(loadCount<pnoRecord>(path("DVD 2/rv9/pno.dat")), 6u);
    EXPECT_EQ(loadCount<namRecord>(path("DVD 2/rv9/nam.dat")), 2u);
    EXPECT_EQ(loadCount<sufRecord>(path("DVD 2/rv9/suf.dat")), 1u);
    EXPECT_EQ(loadCount<dscRecord>(path("DVD 2/rv9/dsc.dat")), 1u); // none used: one blank entry
    EXPECT_EQ(loadCount<snoRecord>(path("DVD 2/rv9/sno.dat")), 1u);
    EXPECT_EQ(loadCount<crdRecord>(path("DVD 2/rv9/crd.dat")), 1u);
    EXPECT_EQ(loadCount<llnRecord>(path("DVD 2/rv9/lln.dat")), 1u);
    EXPECT_EQ(loadCount<czpRecord>(path("DVD 2/rv9/czp.dat")), 2u);
    EXPECT_EQ(loadCount<clnRecord>(path("DVD 2/rv9/cln.dat")), 2u);
    EXPECT_EQ(loadCount<x11Record>(path("DVD 2/clk/x11")), 2u); // one real, one reserved
    EXPECT_EQ(loadCount<leftRiteRecord>(path("DVD 2/clk/leftrite.txt")), 2u);

    // The only real x11 row is found in memory, thanks to the reserved row.
    ManagedBuf<x11Record> x11;
    ASSERT_TRUE(CBinFileUtils<x11Record>::readPackedFile(path("DVD 2/clk/x11").c_str(), x11, 24, &x11Record::deserialize));
    x11Record key{}, hit{};
    std::memcpy(key.zip11, "30301002099", 11);
    unsigned long index = 99;
    EXPECT_TRUE(CBinFileUtils<x11Record>::binSearchMem(x11, key, hit, index, &x11Record::compare));
    EXPECT_EQ(index, 0u);
}

TEST_F(WriterReadersTest, SearchedFilesFindTheWorldsRows) {
    unsigned long index = 0, first = 0, last = 0;

    rv9Esd rkey{}, rhit{};
    rkey.key = 21101001;
    std::vector<rv9Esd> runs;
    EXPECT_TRUE(CBinFileUtils<rv9Esd>::binSearchMulti(path("DVD 2/rv9/rv9.esd").c_str(), rkey, runs, &rv9Esd::compare,
                                                      &rv9Esd::deserialize, 26, first, last, 1, 5));
    EXPECT_EQ(runs.size(), 2u);
    rkey.key = 303010020;
    EXPECT_TRUE(CBinFileUtils<rv9Esd>::binSearch(path("DVD 2/rv9/rv9.esd").c_str(), rkey, rhit, index,
                                                 &rv9Esd::compare, &rv9Esd::deserialize, 26, 1, 5));
    EXPECT_EQ(index, 4u); // behind record 0 and the three rows of 02110

    lcdEntry lkey{}, lhit{};
    lkey.zip9 = 303010020;
    EXPECT_TRUE(CBinFileUtils<lcdEntry>::binSearch(path("DVD 2/clk/lcd").c_str(), lkey, lhit, index,
                                                   &lcdEntry::compare, &lcdEntry::deserialize, 6, 0, 0));
    EXPECT_EQ(lhit.value, 21);

    urbanizationStruct ukey{}, uhit{};
    std::memcpy(ukey.zip9, "009261520", 9);
    EXPECT_TRUE(CBinFileUtils<urbanizationStruct>::binSearch(path("DVD 2/clk/urbx.lst").c_str(), ukey, uhit, index,
                                                             &urbanizationStruct::compare,
                                                             &urbanizationStruct::deserialize, 38, 0, 0));
    EXPECT_EQ(std::string(uhit.name, 13), "URB EL VEDADO");

    genderStruct gkey{}, ghit{};
    std::memcpy(gkey.name, "MARY      ", 10);
    EXPECT_TRUE(CBinFileUtils<genderStruct>::binSearch(path("DVD 2/clk/gender.txt").c_str(), gkey, ghit, index,
                                                       &genderStruct::compare, &genderStruct::deserialize, 12, 0, 0));
    EXPECT_EQ(ghit.gender, 'F');

    DDRecord dkey{}, dhit{};
    dkey.key[0] = 0x01;
    EXPECT_TRUE(CBinFileUtils<DDRecord>::binSearch(path("DVD 2/dailydel.dat").c_str(), dkey, dhit, index,
                                                   &DDRecord::compare, &DDRecord::deserialize, 12, 0, 0));
    EXPECT_EQ(dhit.sequence, 4322);

    BusinessLstItem bkey{};
    bkey.key[7] = 0x02;
    std::vector<BusinessLstItem> firms;
    EXPECT_TRUE(CBinFileUtils<BusinessLstItem>::binSearchMulti(path("DVD 2/clk/business.lst").c_str(), bkey, firms,
                                                               &BusinessLstItem::compare,
                                                               &BusinessLstItem::deserialize, 48, first, last, 0, 1));
    ASSERT_EQ(firms.size(), 1u);
    EXPECT_EQ(std::string(firms[0].name, 9), "ALPHA INC");
}
