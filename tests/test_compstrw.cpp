// Word-wise comparison: cleaning, splitting, word lists and the weighted
// matrix, plus a property run over generated firm-name pairs.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "BusName.h"
#include "CompStrW.h"
#include "CompStrW_Words.h"
#include "DataTables.h"
#include "NCOA_Utils.h"
#include "TestSupport.h"

using namespace QV_NCOA;

namespace {

std::string field80(const std::string& s) { return (s + std::string(80, ' ')).substr(0, 80); }

std::string trimmed(const char* s) {
    std::string t(s);
    return t.substr(0, t.find_last_not_of(' ') + 1);
}

std::string squeezed(const std::string& s) {
    char out[81];
    EXPECT_TRUE(squeeze(field80(s).c_str(), out));
    return trimmed(out);
}

std::string wordOf(const unstringStuffEl& el) { return trimmed(std::string(el.word, sizeof el.word).c_str()); }

std::vector<std::string> wordsOf(const std::vector<unstringStuffEl>& v) {
    std::vector<std::string> out;
    for (const auto& el : v) out.push_back(wordOf(el));
    return out;
}

double as41Score(const std::string& a, const std::string& b) {
    return CNCOA_BusinessName_utas41c0().compareStrings(a.c_str(), b.c_str());
}

class CompStrWTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        tables_ = new CNCOA_DataTables;
        buildCompStrWWordMaps(tables_->firmWords, tables_->wsWords);
    }
    static void TearDownTestSuite() { delete tables_; }

    static double cmp(const std::string& a, const std::string& b) {
        return CCompStrW(*tables_).compareStrings(field80(a).c_str(), field80(b).c_str());
    }
    // Splits a then b with one scratch, as compareStrings does.
    static std::pair<std::string, std::string> split2(const std::string& a, const std::string& b) {
        std::string x = field80(a), y = field80(b), scratch(80, ' ');
        CCompStrW c(*tables_);
        c.splitString(&x[0], &scratch[0]);
        c.splitString(&y[0], &scratch[0]);
        return {trimmed(x.c_str()), trimmed(y.c_str())};
    }
    static std::vector<unstringStuffEl> words(const std::string& text) {
        std::string t = field80(text);
        std::vector<unstringStuffEl> v;
        CCompStrW c(*tables_);
        c.tokenizeUnstring(t.c_str(), v);
        c.replaceWordlist(v);
        c.removeJunkWords(v);
        c.tagCommonWords(v);
        return v;
    }
    static CNCOA_DataTables* tables_;
};
CNCOA_DataTables* CompStrWTest::tables_ = nullptr;

}  // namespace

TEST(Squeeze, CleansCollapsesAndJoinsSingleLetters) {
    EXPECT_EQ(squeezed("A B C CO"), "ABC CO");
    EXPECT_EQ(squeezed("  A.B.C.  COMPANY, INC."), "ABC COMPANY INC");
    EXPECT_EQ(squeezed("A B C D E F G"), "ABCDEF G");
    EXPECT_EQ(squeezed("A B C D E F G H"), "ABCDEF GH");
    EXPECT_EQ(squeezed("AB C D"), "AB CD");
    EXPECT_EQ(squeezed("A 1 B"), "A 1 B");
    EXPECT_EQ(squeezed("A B CO"), "AB CO");
    char out[81] = "x";
    EXPECT_FALSE(squeeze("ACME", out));
    EXPECT_EQ(out[0], '\0');
    EXPECT_FALSE(squeeze((field80("ACME") + "X").c_str(), out));
}

TEST_F(CompStrWTest, SplitOpensTheFirstBoundaryAndKeepsOrdinals) {
    EXPECT_EQ(split2("ABC123", "").first, "AB  123");
    EXPECT_EQ(split2("3M COMPANY", "").first, "  M COMPANY");
    EXPECT_EQ(split2("1ST NATIONAL 2ND 3RD 4TH", "").first, "1ST NATIONAL 2ND 3RD 4TH");
    // A second boundary is left as it stands: one split, no endless walk.
    EXPECT_EQ(split2("ABC123X", "").first, "AB  123X");
    EXPECT_EQ(split2("B2B", "").first, "  2B");
    EXPECT_EQ(split2("A1 B2", "").first, "  1 B2");
    // The scratch carries the first name's bytes into the second's gap.
    auto both = split2("ABC123", "X9");
    EXPECT_EQ(both.second, "AB9");
}

TEST_F(CompStrWTest, TokenizerCutsLongWordsAndStopsAfterTheEighth) {
    std::string longWord(45, 'Q');
    auto v = words(longWord + " ACME");
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(wordOf(v[0]), std::string(39, 'Q'));
    EXPECT_EQ(wordOf(v[1]), "ACME");

    auto nine = words("RED BLUE GREEN BROWN BLACK WHITE PINK GOLD SILVER");
    EXPECT_EQ(nine.size(), 8u);
    // An overlong eighth word doesn't stop the scan: only a word ended in the
    // normal way counts toward the eight.
    auto past = words("RED OAK ELM FIR YEW GUM FIG " + longWord.substr(0, 40) + " SILVER");
    ASSERT_EQ(past.size(), 9u);
    EXPECT_EQ(wordOf(past[8]), "SILVER");
}

TEST_F(CompStrWTest, ReplacementJunkAndCommonWords) {
    // X is replaced (TENTH) before the junk test, which one letter would fail.
    auto v = words("THE 10TH 1 ANY X ACAD INC PLUMBING");
    EXPECT_EQ(wordsOf(v), (std::vector<std::string>{"TENTH", "ONE", "TENTH", "ACADEMY", "PLUMBING"}));
    // ACAD becomes ACADEMY and takes its half weight; ONE and TENTH are full.
    const unsigned char weights[] = {1, 1, 1, 0, 0};
    for (size_t i = 0; i < v.size(); ++i) EXPECT_EQ(v[i].weight, weights[i]) << wordOf(v[i]);
    EXPECT_EQ(CCompStrW(*tables_).countCommonWords(v), 2);
    // Junk by the reach of the comparison: one letter, or a junk word's
    // length and letters but the last.
    auto junk = [](const char* w) {
        unstringStuffEl el;
        std::memcpy(el.word, w, std::strlen(w));
        return CCompStrW::CIsJunkWord()(el);
    };
    EXPECT_TRUE(junk("ANY"));
    EXPECT_TRUE(junk("Q"));
    EXPECT_TRUE(junk("AB"));
    EXPECT_TRUE(junk("INCA"));
    EXPECT_FALSE(junk("ACME"));
    EXPECT_FALSE(junk("INCAS"));
}

TEST_F(CompStrWTest, EdgeScores) {
    EXPECT_EQ(cmp("A B C COMPANY", "ABC COMPANY"), 1.0);
    // Same length, different last letter: equal outright.
    EXPECT_EQ(cmp("SMITH", "SMITT"), 1.0);
    EXPECT_EQ(cmp("SMITH", "SMYTH"), 0.8158);
    EXPECT_EQ(cmp("JONES INC", "JONES"), 1.0);
    // Three words against two: 8 of 10, scaled by 10/11.
    EXPECT_EQ(cmp("ALPHA BETA QUICK", "ALPHA BETA"), 0.7273);
    // Each loses its C: AB (ARCHBISHOP) matches, 123 against 123X is 22/26.
    EXPECT_EQ(cmp("ABC123", "ABC123X"), 0.9231);
    // Words past the eighth carry no weight.
    EXPECT_EQ(cmp("RED BLUE GREEN BROWN BLACK WHITE PINK GOLD SILVER",
                  "RED BLUE GREEN BROWN BLACK WHITE PINK GOLD COPPER"),
              1.0);
    EXPECT_EQ(cmp("RED BLUE GREEN BROWN BLACK WHITE PINK SILVER", "RED BLUE GREEN BROWN BLACK WHITE PINK COPPER"),
              0.9438);
    // Cleaning to blank on one side only.
    EXPECT_EQ(cmp("ACME", "&&"), 0.0);
    EXPECT_EQ(cmp("ACME", "THE INC"), 0.0);
}

TEST_F(CompStrWTest, CommonWordCountsHalf) {
    // TROPHY and TRUPHY have no letter or code in common with ACME. As a
    // common word TROPHY weighs 1 below the line: 4 / 5; as a full word 4 / 6.
    EXPECT_EQ(cmp("ACME TROPHY", "ACME"), 0.7273);
    EXPECT_EQ(cmp("ACME TRUPHY", "ACME"), 0.6061);
    // Matched common words count once above the line too: (2 + 1 + 2 + 1) / 8.
    EXPECT_EQ(cmp("ZENITH TROPHY", "ZENITH TROPHY UUU"), 0.6818);
}

TEST_F(CompStrWTest, InitialsTestNeverScoresAndLongListsAreCut) {
    CCompStrW c(*tables_);
    CCompStrW::unstringStuffStruct lists;
    lists.one = words("ABC");
    lists.two = words("ALPHA BETA CHARLIE");
    double initials = -1.0;
    double score = c.doRest(lists, initials);
    EXPECT_EQ(initials, 0.0);
    EXPECT_GE(score, 0.0);
    EXPECT_EQ(lists.one.size(), 9u);

    // Overlong words let a list pass nine; it is cut to its first nine.
    std::string w39(39, 'W');
    std::string many = "RED OAK ELM FIR YEW GUM FIG " + w39 + " EGG KEY";
    CCompStrW::unstringStuffStruct big;
    big.one = words(many);
    ASSERT_GT(big.one.size(), 9u);
    big.two = words("RED BLUE");
    CCompStrW::unstringStuffStruct cut;
    cut.one.assign(big.one.begin(), big.one.begin() + 9);
    cut.two = big.two;
    double a = c.doRest(big, initials);
    double b = c.doRest(cut, initials);
    EXPECT_EQ(a, b);
    EXPECT_GT(a, 0.0);
}

TEST(CompStrWMaps, UnbuiltWordMapsThrow1011) {
    CNCOA_DataTables empty;
    EXPECT_EQ(errCodeOf<qvncoa_exception>(
                  [&] { CCompStrW(empty).compareStrings(field80("ACME").c_str(), field80("ACME").c_str()); }),
              1011);
}

// Generated firm names, from table words, abbreviations, junk, single letters,
// fused letter-digit tokens, punctuation and overlong words, with typos.
TEST_F(CompStrWTest, PropertyScoresStayInRangeAndSelfIsOne) {
    std::mt19937 rng(20240611);
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    const char* extra[] = {"ACME", "SMITH", "ABC123", "3M", "B2B", "1ST", "O'BRIEN", "A&B", "24HR", "X", "9"};
    auto word = [&]() -> std::string {
        switch (pick(8)) {
        case 0: return trimmed(firmWordList[pick(kFirmWordRows)]);
        case 1: return trimmed(std::string(wsWordList[pick(kWsWordRows)], 20).c_str());
        case 2: return trimmed(junkWords[pick(kJunkWordRows - 1)]);
        case 3: return std::string(1, "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"[pick(36)]);
        case 4: return extra[pick(11)];
        case 5: return std::string(30 + pick(20), static_cast<char>('A' + pick(26)));
        default: {
            std::string w;
            for (int i = 0, n = 2 + pick(8); i < n; ++i) w += "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-"[pick(38)];
            return w;
        }
        }
    };
    auto name = [&]() {
        std::string s;
        for (int i = 0, n = 1 + pick(12); i < n; ++i) s += (i ? " " : "") + word();
        return s.substr(0, pick(2) ? 40 : 80);
    };
    auto typo = [&](std::string s) {
        for (int k = 0, n = pick(4); k < n && !s.empty(); ++k) {
            size_t at = static_cast<size_t>(pick(static_cast<int>(s.size())));
            switch (pick(3)) {
            case 0: s[at] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ "[pick(27)]; break;
            case 1: s.erase(at, 1); break;
            default: s.insert(at, 1, "ABCXYZ .&"[pick(9)]);
            }
        }
        return s.substr(0, 80);
    };
    for (int n = 0; n < 2000; ++n) {
        std::string a = name();
        std::string b = pick(3) ? typo(a) : name();
        std::string pa = field80(a), pb = field80(b);
        const double scores[] = {
            as41Score(a, b),
            CNCOA_BusinessName_utqs41c0().compareStrings(a.c_str(), b.c_str()),
            CCompStrW(*tables_).compareStrings(pa.c_str(), pb.c_str()),
            CNCOA_BusinessName_utas31c0(*tables_).compareStrings(a.c_str(), b.c_str()),
        };
        for (double s : scores) {
            ASSERT_GE(s, 0.0) << a << " | " << b;
            ASSERT_LE(s, 1.0) << a << " | " << b;
        }
        // The same name, once bare and once padded to 80: every step counts it.
        if (isSpaces(a.c_str())) continue;
        ASSERT_EQ(as41Score(a, pa), 1.0) << a;
        ASSERT_EQ(CCompStrW(*tables_).compareStrings(pa.c_str(), pa.c_str()), 1.0) << a;
        ASSERT_EQ(CNCOA_BusinessName_utas31c0(*tables_).compareStrings(a.c_str(), pa.c_str()), 1.0) << a;
        if (!isComposedOf(a.c_str(), " .-&'")) {
            ASSERT_EQ(CNCOA_BusinessName_utqs41c0().compareStrings(a.c_str(), pa.c_str()), 1.0) << a;
        }
    }
}
