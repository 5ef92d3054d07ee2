// New address from an 11-digit code and a hint, through getNewAddress on a
// data set written by the writer. Each ZIP+4 of the world is one case. The
// writer marks the old addresses of filings deliverable in dph.hsa, so the
// filings here stand for the delivery points that verify.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <string>

#include "DataSetWriter.h"
#include "DataTables.h"
#include "NCOA.h"
#include "NCOA_Utils.h"
#include "RV9.h"
#include "World.h"
#include "TestSupport.h"
#include "qvncoa.h"

namespace fs = std::filesystem;
using namespace QV_NCOA;

namespace {


std::string designatorRanges() {
    static const char* words[] = {"BSMT", "FRNT", "LBBY", "LOWR", "OFC", "PH", "REAR", "SIDE", "UPPR"};
    std::string s;
    for (int i = 0; i < 9; ++i)
        s += R"(, { "zip": "12345", "addon_low": "010)" + std::to_string(i) +
             R"(", "type": "H", "primary_low": "0000000500", "street": "ELM", "suffix": "ST", "secondary_low": ")" +
             words[i] + R"(", "last_line": "L00001" })";
    return s;
}

std::string world() {
    return R"({
  "dataset": { "name": "RV9 CHECK" },
  "places": [ { "zip": "12345", "state": "NY", "city": "SPRINGFIELD", "last_line": "L00001" },
              { "zip": "12345", "state": "NY", "city": "SHELBYVILLE", "last_line": "L00002" },
              { "zip": "99998", "state": "NY", "city": "OGDENVILLE", "last_line": "L99999" } ],
  "left_right": [ { "zip9": "123450011", "side": "R" } ],
  "x11": [ { "code": "99999000123" } ],
  "filings": [
    { "kind": "individual", "name": { "first": "ANN", "last": "LEE" }, "from": { "zip9": "123450013", "primary": "12" }, "move_date": "202401" },
    { "kind": "individual", "name": { "first": "BOB", "last": "LEE" }, "from": { "zip9": "123450013", "primary": "112" }, "move_date": "202401" },
    { "kind": "individual", "name": { "first": "CY", "last": "LEE" }, "from": { "zip9": "123450014", "primary": "12B" }, "move_date": "202401" } ],
  "ranges": [
    { "zip": "12345", "addon_low": "0001", "primary_low": "123", "street": "MAIN", "suffix": "ST", "last_line": "L00001", "carrier_route": "C001" },
    { "zip": "12345", "addon_low": "0002", "primary_low": "0000000101", "primary_high": "0000000199", "primary_parity": "O", "street": "OAK", "suffix": "AVE", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0003", "primary_low": "0000000200", "primary_high": "0000000210", "primary_parity": "B", "street": "OAK", "suffix": "AVE", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0004", "primary_low": "0000000300", "primary_high": "0000000310", "primary_parity": "E", "street": "OAK", "suffix": "AVE", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0005", "type": "H", "primary_low": "0000000500", "street": "ELM", "suffix": "ST", "designator": "APT",
      "secondary_low": "1", "secondary_high": "430", "secondary_parity": "B", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0006", "primary_low": "1A", "primary_high": "1F", "primary_parity": "B", "street": "PINE", "suffix": "ST", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0007", "type": "H", "primary_low": "0000000000", "secondary_low": "00000001", "street": "PO BOX", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0007", "type": "H", "primary_low": "0000000123", "secondary_low": "00000001", "street": "PO BOX", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0008", "type": "H", "primary_low": "0000000012", "secondary_low": "00000001", "street": "PO BOX", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0008", "type": "H", "primary_low": "0000000123", "secondary_low": "00000001", "street": "PO BOX", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0009", "type": "R", "primary_low": "15", "street": "RR 2", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0010", "primary_low": "0000000012", "street": "BIRCH", "suffix": "ST", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0011", "primary_low": "0000000012", "street": "BIRCH", "suffix": "ST", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0013", "primary_low": "0000000012", "street": "OAK", "suffix": "ST", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0013", "primary_low": "0000000112", "street": "ASH", "suffix": "ST", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0014", "primary_low": "0000000012", "street": "OAK", "suffix": "ST", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0014", "primary_low": "0000000112", "street": "ASH", "suffix": "ST", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0015", "primary_low": "0000000123", "street": "MAIN", "suffix": "ST" },
    { "zip": "12345", "addon_low": "0016", "primary_low": "0000000123", "street": "MAIN", "suffix": "ST", "last_line": "L00002" },
    { "zip": "12345", "addon_low": "0017", "primary_low": "-0012", "street": "MAIN", "suffix": "ST", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0018", "primary_low": "0000000123", "street": "MAIN", "suffix": "ST", "carrier_route": "C001", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0018", "primary_low": "0000000123", "street": "ELM", "suffix": "ST", "carrier_route": "C002", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0019", "primary_low": "0000000040", "predir": "NW", "street": "ELM", "suffix": "ST", "postdir": "SE", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0020", "addon_high": "0022", "primary_low": "0000000700", "primary_high": "0000000702", "primary_parity": "B", "street": "CEDAR", "suffix": "ST", "last_line": "L00001" },
    { "zip": "12345", "addon_low": "0109", "type": "H", "primary_low": "0000000500", "street": "ELM", "suffix": "ST", "designator": "APT",
      "secondary_low": "BSMT", "last_line": "L00001" },
    { "zip": "99999", "addon_low": "0001", "primary_low": "0000000123", "street": "MAIN", "suffix": "ST", "last_line": "L99999" },
    { "zip": "99999", "addon_low": "0001", "primary_low": "0000000223", "street": "MAIN", "suffix": "ST" })" +
           designatorRanges() + "]}";
}

class RV9Test : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        root_ = fs::temp_directory_path() / ("qv-rv9-" + std::to_string(::getpid()));
        fs::remove_all(root_);
        qvw::DataSetWriter(qvw::parseWorld(world()), root_.string()).write();
        ASSERT_NE(obj_ = openDataObj(root_.string()), nullptr);
    }
    static void TearDownTestSuite() {
        qvncoa_destroy_data_obj(&obj_);
        fs::remove_all(root_);
    }

    // Runs one lookup; the record and the lookup object stay for inspection.
    bool lookup(const char* code, const char* hint = "") {
        rec = RV9AnswerRecord();
        return rv9.getNewAddress(code, hint, rec);
    }
    std::string line() const { return std::string(rec.addressLine.buf, 50); }
    static std::string pad50(const std::string& s) { return s + std::string(50 - s.size(), ' '); }

    static fs::path root_;
    static void* obj_;
    CNCOA_RV9 rv9{*tablesOf(obj_)};
    RV9AnswerRecord rec;
};
fs::path RV9Test::root_;
void* RV9Test::obj_ = nullptr;

}  // namespace

TEST_F(RV9Test, SingleStreetAddress) {
    // The world gives 123; the writer stores it zero-filled, as the USPS does.
    ASSERT_TRUE(lookup("12345000123"));
    EXPECT_EQ(rec.resultCode, '+');
    EXPECT_EQ(line(), pad50("123 MAIN ST"));
    EXPECT_EQ(std::string(rec.lastLine.buf), pad50("SPRINGFIELD, NY 12345-0001"));
    EXPECT_EQ(std::string(rec.zip.buf, 11), "12345000123");
    // The check digit character plus 48: the caller writes its own over it.
    EXPECT_EQ(rec.zip.buf[11], check11("12345000123") + 48);
    EXPECT_EQ(std::string(rec.carrierRoute.buf), "C001");
    EXPECT_EQ(std::string(rec.primaryNumber.buf), "123       ");
}

TEST_F(RV9Test, RangeOverSeveralShortAddOns) {
    // Add-ons print short ("20") into their four places; the span is still numeric.
    ASSERT_TRUE(lookup("12345002000"));
    EXPECT_EQ(std::string(rec.primaryNumber.buf), "700       ");
    EXPECT_EQ(std::string(rec.streetName.buf, 5), "CEDAR");
    EXPECT_FALSE(lookup("12345002001"));  // 701 walks onto add-on 0021
}

// One row per rule of the walk: the code, the hint, the line it must give.
TEST_F(RV9Test, AddressLinesFromCodeAndHint) {
    const struct {
        const char *code, *hint, *line;
    } rows[] = {
        // Walked numbers are printed left-justified and keep width 11 in the
        // line; odd, both and even ranges.
        {"12345000203", "", "103        OAK AVE"},
        {"12345000305", "", "205        OAK AVE"},
        {"12345000406", "", "306        OAK AVE"},
        // Units 3, 403 and 428 all carry delivery point 03: the hint narrows.
        {"12345000503", "28", "500 ELM ST APT 428"},
        // 1A to 1F share delivery point 01: the hint's letter decides.
        {"12345000601", "C", "1C PINE ST"},
        // PO boxes 0000000000 and 0000000123: the second wins.
        {"12345000701", "", "PO BOX 123"},
        {"12345000915", "", "RR 2 BOX 15"},
        {"12345000123", "1/2", "123 1/2 MAIN ST"},
        {"12345000123", "UPPR", "123 MAIN ST UPPR"},
        {"12345000123", "12", "123 MAIN ST # 12"},
        // 12 and 112 both verify; with the hint 12 becomes 12B, which does not.
        {"12345001312", "B", "112 ASH ST"},
        // Here only 12B is deliverable: the hint applied makes the one match.
        {"12345001412", "B", "12B OAK ST"},
        // Both directionals, each in its own digit of the record.
        {"12345001940", "", "40 NW ELM ST SE"},
        // A dash-zero primary.
        {"12345001712", "", "012 MAIN ST"},
        // Two ranges give the same point: the first is kept (its route below).
        {"12345001823", "", "123 MAIN ST"},
    };
    for (const auto& r : rows) {
        ASSERT_TRUE(lookup(r.code, r.hint)) << r.code << " " << r.hint;
        EXPECT_EQ(line(), pad50(r.line)) << r.code << " " << r.hint;
    }
    EXPECT_EQ(std::string(rec.carrierRoute.buf), "C001");
    ASSERT_TRUE(lookup("12345001712"));
    EXPECT_EQ(std::string(rec.primaryNumber.buf), "012       ");
}

TEST_F(RV9Test, CodesLeftUnresolvedOrAmbiguous) {
    const struct {
        const char *code, *hint;
        char result;
    } rows[] = {
        {"12345000204", "", 'u'},  // an even number in an odd range
        {"12345000407", "", 'u'},
        {"12345000503", "", 'a'},   // units 3, 403 and 428
        {"12345000503", "3", 'a'},  // 3 and 403 both end in the hint
        {"12345000601", "", 'a'},   // 1A to 1F
        {"12345000801", "", 'a'},   // PO boxes 0000000012 and 0000000123 both stay
    };
    for (const auto& r : rows) {
        EXPECT_FALSE(lookup(r.code, r.hint)) << r.code << " " << r.hint;
        EXPECT_EQ(rec.resultCode, r.result) << r.code << " " << r.hint;
    }
}

TEST_F(RV9Test, HintLetterBehindTheNumberOrAsUnit) {
    ASSERT_TRUE(lookup("12345001012", "B"));
    EXPECT_EQ(line(), pad50("12B BIRCH ST"));
    ASSERT_TRUE(lookup("12345001112", "B"));  // leftrite.txt side "R"
    EXPECT_EQ(std::string(rec.secondaryDesignator.buf), "#   ");
    EXPECT_EQ(std::string(rec.secondaryNumber.buf), "B       ");
    EXPECT_EQ(line(), pad50("12         BIRCH ST # B"));
}

TEST_F(RV9Test, InMemoryTablesVerifyTheSame) {
    void* mem = openDataObj(root_.string(), QVNCOA_INIT_IN_MEMORY);
    ASSERT_NE(mem, nullptr);
    ASSERT_FALSE(tablesOf(mem)->dphHsaImage.empty());
    CNCOA_RV9 inMemory(*tablesOf(mem));
    EXPECT_TRUE(inMemory.getNewAddress("12345001312", "B", rec));
    EXPECT_EQ(line(), pad50("112 ASH ST"));
    qvncoa_destroy_data_obj(&mem);
}

TEST_F(RV9Test, CityFromLastLineOrZip) {
    ASSERT_TRUE(lookup("12345001523"));  // no last-line number: czp.dat
    EXPECT_EQ(std::string(rec.lastLine.buf), pad50("SPRINGFIELD, NY 12345-0015"));
    ASSERT_TRUE(lookup("12345001623"));  // cln.dat
    EXPECT_EQ(std::string(rec.lastLine.buf), pad50("SHELBYVILLE, NY 12345-0016"));
}

TEST_F(RV9Test, CityNowhereEndsUnresolved) {
    // The first range is complete, the second has no city: "u". The code is
    // in x11, so a second pass runs on the same code and the ranges repeat.
    EXPECT_FALSE(lookup("99999000123"));
    EXPECT_EQ(rec.resultCode, 'u');
    EXPECT_EQ(rv9.candidates().size(), 1u);
    EXPECT_EQ(rv9.expanded().size(), 4u);
}

TEST_F(RV9Test, CodeAbsentFromRanges) {
    EXPECT_FALSE(lookup("12345999901"));
    EXPECT_EQ(rec.resultCode, 'u');
    EXPECT_TRUE(rv9.expanded().empty());
    EXPECT_TRUE(rv9.candidates().empty());
}

TEST_F(RV9Test, DesignatorWords) {
    static const char* words[] = {"BSMT", "FRNT", "LBBY", "LOWR", "OFC", "PH", "REAR", "SIDE", "UPPR"};
    for (int i = 0; i < 9; ++i) {
        const std::string code = "123450" + std::to_string(100 + i) + "99";
        ASSERT_TRUE(lookup(code.c_str())) << code;
        EXPECT_EQ(line(), pad50(std::string("500 ELM ST ") + words[i])) << code;
        EXPECT_TRUE(rec.secondaryNumber.isSpaces());
    }
    ASSERT_TRUE(lookup("12345010999"));  // with a designator the word stays the number
    EXPECT_EQ(line(), pad50("500 ELM ST APT BSMT"));
    EXPECT_FALSE(lookup("12345010012"));  // a word unit carries delivery point 99 only
}
