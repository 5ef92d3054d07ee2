// Picking the listed name of a firm: the three-gate cascade over the names of
// one key, and the search of a writer-made business.lst.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include "BusName.h"
#include "BusinessLst.h"
#include "CompStrW_Words.h"
#include "DataSetWriter.h"
#include "DataTables.h"
#include "World.h"

namespace fs = std::filesystem;
using namespace QV_NCOA;

namespace {

fixedString<40> firmOf(const char* s) {
    fixedString<40> f;
    f.cpyIn(s);
    return f;
}

BusinessLstItem item(const char* name) {
    BusinessLstItem it;
    std::memset(it.key, 0, sizeof it.key);
    std::memset(it.name, ' ', sizeof it.name);
    std::memcpy(it.name, name, std::strlen(name));
    return it;
}

std::string trimmed(const char* s) {
    std::string t(s);
    size_t end = t.find_last_not_of(' ');
    return end == std::string::npos ? std::string() : t.substr(0, end + 1);
}

const char* kWorld = R"({
  "dataset": { "name": "BUSINESS CHECK", "set_letter": "E", "sequence": 77, "filter_bytes": 2048, "stripe_bytes": 1024 },
  "places": [ { "zip": "30301", "state": "GA", "city": "ATLANTA", "last_line": "A30301" } ],
  "ranges": [ { "zip": "30301", "addon_low": "0020", "primary_low": "1200", "primary_high": "1298", "street": "PEACHTREE" } ],
  "businesses": [
    { "key_hex": "0000000000000002", "name": "ACME PLUMBING CO" },
    { "key_hex": "0000000000000005", "name": "SMITH BROTHERS HARDWARE" },
    { "key_hex": "0000000000000002", "name": "ZENITH ROOFING SUPPLY" },
    { "key_hex": "7000000000000000", "name": "QUALITY TROPHY SHOP" } ]
})";

class GetBusinessTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        root_ = fs::temp_directory_path() / ("qvw-business-" + std::to_string(::getpid()));
        fs::remove_all(root_);
        qvw::DataSetWriter(qvw::parseWorld(kWorld), root_.string()).write();
        tables_ = new CNCOA_DataTables;
        tables_->setRoot(root_.string().c_str());
        buildCompStrWWordMaps(tables_->firmWords, tables_->wsWords);
        size_t count = 0;
        ASSERT_TRUE(CNCOA_BusinessLst(*tables_).findLastValidIndex(count));
        tables_->businessLastIndex = count;
    }
    static void TearDownTestSuite() {
        delete tables_;
        fs::remove_all(root_);
    }

    // Name picked under the key given in hex digits, "" when none.
    static std::string pick(const char* hex, const char* firm) {
        unsigned char key[8];
        for (int i = 0; i < 8; ++i) key[i] = static_cast<unsigned char>(std::stoul(std::string(hex + 2 * i, 2), nullptr, 16));
        char out[41];
        std::memset(out, 'x', sizeof out);
        bool found = CNCOA_GetBusinessName(*tables_).getBusinessName(key, firmOf(firm), out);
        EXPECT_EQ(out[40], '\0');
        EXPECT_EQ(found, !trimmed(out).empty()) << out;
        return trimmed(out);
    }
    static std::string cascade(std::vector<BusinessLstItem> items, const char* firm) {
        char out[41];
        std::memset(out, ' ', 40);
        out[40] = '\0';
        bool found = CNCOA_GetBusinessName(*tables_).testBizItems(items, firmOf(firm), out);
        EXPECT_EQ(found, !trimmed(out).empty());
        return trimmed(out);
    }

    static fs::path root_;
    static CNCOA_DataTables* tables_;
};
fs::path GetBusinessTest::root_;
CNCOA_DataTables* GetBusinessTest::tables_ = nullptr;

}  // namespace

TEST_F(GetBusinessTest, WriterMadeListFindsTheListedSpelling) {
    EXPECT_EQ(tables_->businessLastIndex, 4u);
    // Two names under one key: each spelling finds its own.
    EXPECT_EQ(pick("0000000000000002", "ACME PLUMBING INC"), "ACME PLUMBING CO");
    EXPECT_EQ(pick("0000000000000002", "ZENITH ROOFING SUPPLIES"), "ZENITH ROOFING SUPPLY");
    EXPECT_EQ(pick("0000000000000005", "SMITH BROS HARDWARE"), "SMITH BROTHERS HARDWARE");
    EXPECT_EQ(pick("7000000000000000", "QUALITY TROPHY SHOP"), "QUALITY TROPHY SHOP");
}

TEST_F(GetBusinessTest, NoPassingNameUnknownKeyAndReservedKeyGiveBlank) {
    EXPECT_EQ(pick("0000000000000005", "ACME PLUMBING INC"), "");
    EXPECT_EQ(pick("0000000000000002", ""), "");
    EXPECT_EQ(pick("0000000000000003", "ACME PLUMBING CO"), "");
    EXPECT_EQ(pick("FFFFFFFFFFFFFFFF", "ACME PLUMBING CO"), "");
}

TEST_F(GetBusinessTest, CascadeKeepsTheFirstOfEqualScoresAndTheBestOfUnequal) {
    // Both score 1.0 against the firm (CO and INC are junk).
    EXPECT_EQ(cascade({item("ACME PLUMBING CO"), item("ACME PLUMBING INC")}, "ACME PLUMBING"), "ACME PLUMBING CO");
    EXPECT_EQ(cascade({item("ACME PLUMBING INC"), item("ACME PLUMBING CO")}, "ACME PLUMBING"), "ACME PLUMBING INC");
    // A later, better item takes the place.
    EXPECT_EQ(cascade({item("ACME PLUMBING SUPPLY"), item("ACME PLUMBING")}, "ACME PLUMBING CO"), "ACME PLUMBING");
}

TEST_F(GetBusinessTest, CascadeGatesAreStrict) {
    // Clears 0.5 (0.7000) and 0.6 (0.7241), and utas31c0 gives exactly 0.7.
    const char* firm = "LAKE SHOP ZENITH";
    const char* listed = "LAKE SHOP ZEIITH BAKERY";
    char a[81] = {};
    std::memcpy(a, firmOf(firm).buf, 40);
    char b[81] = {};
    std::memcpy(b, item(listed).name, 40);
    ASSERT_GT(CNCOA_BusinessName_utas41c0().compareStrings(a, b), 0.5);
    ASSERT_GT(CNCOA_BusinessName_utqs41c0().compareStrings(a, b), 0.6);
    ASSERT_EQ(CNCOA_BusinessName_utas31c0(*tables_).compareStrings(a, b), 0.7);
    EXPECT_EQ(cascade({item(listed)}, firm), "");
    // Just above 0.7 (0.70000071) passes.
    EXPECT_EQ(cascade({item("JONES BOTDY BROS")}, "JONES BODY"), "JONES BOTDY BROS");
    // A blank firm passes nothing.
    EXPECT_EQ(cascade({item("ACME PLUMBING CO")}, ""), "");
}
