// Business-name comparators: the counting rules that pin each score to the
// fourth decimal, and the blend of utas31c0 with its length ratio.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "BusName.h"
#include "CompStrW_Words.h"
#include "DataTables.h"
#include "NCOA_Utils.h"
#include "TestSupport.h"

using namespace QV_NCOA;

namespace {

double as41(const std::string& a, const std::string& b) {
    return CNCOA_BusinessName_utas41c0().compareStrings(a.c_str(), b.c_str());
}
double qs41(const std::string& a, const std::string& b) {
    return CNCOA_BusinessName_utqs41c0().compareStrings(a.c_str(), b.c_str());
}

class BusNameTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        tables_ = new CNCOA_DataTables;
        buildCompStrWWordMaps(tables_->firmWords, tables_->wsWords);
    }
    static void TearDownTestSuite() { delete tables_; }
    static double as31(const std::string& a, const std::string& b) {
        return CNCOA_BusinessName_utas31c0(*tables_).compareStrings(a.c_str(), b.c_str());
    }
    static CNCOA_DataTables* tables_;
};
CNCOA_DataTables* BusNameTest::tables_ = nullptr;

}  // namespace

TEST_F(BusNameTest, EqualTextsScoreOneAndBlankTextsZeroInEveryComparator) {
    const std::string blank(80, ' ');
    for (auto cmp : {as41, qs41, as31}) {
        EXPECT_EQ(cmp("ACME", "ACME"), 1.0);
        EXPECT_EQ(cmp("ACME", blank), 0.0);
        EXPECT_EQ(cmp(blank, "ACME"), 0.0);
        EXPECT_EQ(cmp("", "ACME"), 0.0);
    }
}

TEST(BusNameCounts, PairsTellOrderAndEqualCellsWeighDouble) {
    // Four equal singles (8 of 8) and ten pair cells of which none is equal:
    // 14 of 24.
    EXPECT_EQ(as41("ACME", "EMCA"), 0.5833);
    EXPECT_EQ(qs41("ACME", "EMCA"), 1.0);
    // Blanks and punctuation: counted by the pairs, not by utqs41c0.
    EXPECT_EQ(qs41("ACME CO", "ACMECO"), 1.0);
    EXPECT_EQ(qs41("A.C.M.E", "ACME"), 1.0);
    EXPECT_LT(as41("ACME CO", "ACMECO"), 1.0);
    // Lower case counts as its capital.
    EXPECT_EQ(as41("acme", "ACMF"), as41("ACME", "ACMF"));
}

TEST(BusNameCounts, DigitNineHasNoSingleAndNoDoublePairInUtas41c0) {
    EXPECT_EQ(as41("99", "9"), 1.0);
    EXPECT_EQ(as41("88", "8"), 0.625);
    EXPECT_EQ(qs41("99", "9"), 0.5);
    EXPECT_EQ(as41("A9", "A8"), 0.4615);
    EXPECT_EQ(qs41("A9", "A8"), 0.5);
    // Nothing to count in utqs41c0 is no likeness.
    EXPECT_EQ(qs41("&&&", "---"), 0.0);
}

TEST(BusNameCounts, SymbolCodes) {
    CNCOA_BusinessName_utas41c0 c;
    const char text[83] = " 09AaZz& -                                                                        ";
    unsigned short codes[82];
    c.convertToBinaryOne(text, codes);
    const unsigned short want[] = {0, 27, 36, 1, 1, 26, 26, 0, 0, 0};
    for (int i = 0; i < 10; ++i) EXPECT_EQ(codes[i], want[i]) << i;
    unsigned short two[82];
    c.convertToBinaryTwo(text, two);
    EXPECT_EQ(0, std::memcmp(codes, two, sizeof two));
}

TEST(BusNameCounts, CachedFirstTextGivesTheSameScoreAsAFreshComparator) {
    CNCOA_BusinessName_utas41c0 reused;
    CNCOA_BusinessName_utqs41c0 reusedQ;
    const char* others[] = {"ACME PLUMBING", "ACNE", "EMCA", "ACME", "ACME PLUMBING"};
    for (const char* o : others) {
        EXPECT_EQ(reused.compareStrings("ACME PLUMBING CO", o), as41("ACME PLUMBING CO", o)) << o;
        EXPECT_EQ(reusedQ.compareStrings(o, "ACME PLUMBING CO"), qs41(o, "ACME PLUMBING CO")) << o;
    }
}

TEST_F(BusNameTest, PerfectWordScoreStaysOne) {
    // INC and CO are junk: the word lists are equal, w is 1.0 and no blend runs.
    EXPECT_EQ(as31("ACME PLUMBING INC", "ACME PLUMBING CO"), 1.0);
    EXPECT_EQ(as31("A B C COMPANY", "ABC COMPANY"), 1.0);
}

TEST_F(BusNameTest, BlendOfWordAndLetterScores) {
    // Letters alone give 0.6316; both Soundex codes are CMD, so g becomes
    // (1.0 + 0.6316) / 2. The word score is the same 0.8158, and so the blend.
    EXPECT_EQ(as41("SMITH", "SMYTH"), 0.6316);
    EXPECT_DOUBLE_EQ(as31("SMITH", "SMYTH"), (0.8158 * 6.0 + 4.0 * ((1.0 + 0.6316) * 0.5)) / 10.0);
    // Cached pair: the second call returns the stored score.
    CNCOA_BusinessName_utas31c0 c(*tables_);
    double first = c.compareStrings("LAKE SHOP ZENITH", "LAKE SHOP ZEIITH BAKERY");
    EXPECT_EQ(c.compareStrings("LAKE SHOP ZENITH", "LAKE SHOP ZEIITH BAKERY"), first);
    EXPECT_EQ(first, 0.7);
}

TEST_F(BusNameTest, ShortNameInsideLongNameFallsToTheLengthRatio) {
    // 4 letters against 40: ratio 0.1, so the score is (0.1 + 9 g) / 10 with
    // g the Soundex-blended letter score 0.17355, whatever w was.
    const std::string longName = "ACME INTERNATIONAL PLUMBING SUPPLY WHOLESALE";
    double s = as31("ACME", longName);
    EXPECT_DOUBLE_EQ(s, 0.166195);
    EXPECT_LT(s, 0.2);
}

TEST(BusNameMaps, UnbuiltWordMapsThrow1011) {
    CNCOA_DataTables empty;
    CNCOA_BusinessName_utas31c0 c(empty);
    EXPECT_EQ(errCodeOf<qvncoa_exception>([&] { c.compareStrings("ACME", "ACNE"); }), 1011);
    // Equal and blank texts answer before the word maps are needed.
    EXPECT_EQ(c.compareStrings("ACME", "ACME"), 1.0);
}
