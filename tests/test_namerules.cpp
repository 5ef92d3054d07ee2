// rules.lst loading and the rewriting of a name by the rule table.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "DataTables.h"
#include "NameRules.h"
#include "TestSupport.h"

using namespace QV_NCOA;

namespace {


// Data object whose rule table is read from the given rules.lst text.
std::unique_ptr<CNCOA_DataTables> withRules(const std::string& text) {
    TempRoot tmp;
    tmp.write("DVD 2/clk/rules.lst", text);
    auto tables = std::make_unique<CNCOA_DataTables>();
    tables->setRoot(tmp.root.c_str());
    tables->readNameRules();
    return tables;
}

// flags, digits, from, to as they stand in the columns of rules.lst.
std::string ruleLine(const char* flags, const char* lens, const char* from, const char* to) {
    std::string from8(from);
    from8.resize(8, ' ');
    return std::string(flags) + lens + from8 + to + "\n";
}

// "LMR from/to lengths from|to" of a loaded rule, flags as Y or N.
std::string shown(const nameRule& r) {
    return std::string(r.left ? "Y" : "N") + (r.middle ? "Y" : "N") + (r.right ? "Y" : "N") + " " +
           std::to_string(r.fromLen) + "/" + std::to_string(r.toLen) + " " + r.from.buf + "|" + r.to.buf;
}

std::string apply(const CNCOA_DataTables& tables, const char* name, int len = 20) {
    std::string field(name);
    field.resize(static_cast<size_t>(len), ' ');
    field += '#';
    CNCOA_NameRules rules(tables);
    rules.applyRules(field.c_str(), &field[0], len);
    EXPECT_EQ('#', field[static_cast<size_t>(len)]) << "nothing written past len";
    field.resize(static_cast<size_t>(len));
    size_t end = field.find_last_not_of(' ');
    return end == std::string::npos ? std::string() : field.substr(0, end + 1);
}

}  // namespace

TEST(NameRulesLoad, ColumnsFlagsAndShortLines) {
    auto t = withRules(ruleLine("YNY", "21", "PH", "F") +
                       "YNN21PH\n" +                       // shorter than 14: dropped
                       ruleLine("yYN", "12", "X", "KS") +
                       ruleLine("NNY", "10", "S", "X") +
                       ruleLine("YYY", "88", "ABCDEFGH", "IJKLMNOPQRST") +  // past column 20 ignored
                       ruleLine("NNYA", "1", "B", "C") +   // length column not a digit: dropped
                       "YYY21" + std::string(8, 'Q') + "      \n");  // all-blank to: dropped
    ASSERT_EQ(4u, t->nameRules.size());
    EXPECT_EQ(shown(t->nameRules[0]), "YNY 2/1 PH      |F       ");
    EXPECT_EQ(shown(t->nameRules[1]), "NYN 1/2 X       |KS      ") << "only an upper-case Y sets a flag";
    EXPECT_EQ(0, t->nameRules[2].toLen);
    EXPECT_EQ(shown(t->nameRules[3]), "YYY 8/8 ABCDEFGH|IJKLMNOP");
}

TEST(NameRulesLoad, NoUsableRuleFailsAtFirstUse) {
    auto t = withRules("YNN21PH\n\n");
    EXPECT_TRUE(t->nameRules.empty());
    auto missing = std::make_unique<CNCOA_DataTables>();
    missing->setRoot("/nonexistent/qv");
    missing->readNameRules();
    EXPECT_TRUE(missing->nameRules.empty()) << "a missing file is no start-up failure";
    EXPECT_EQ(errCodeOf<qvncoa_exception>([&] { apply(*missing, "SMITH"); }), 1014);
}

TEST(NameRulesApply, DeblankAndFieldEdges) {
    auto t = withRules(ruleLine("YNN", "11", "Q", "K"));
    EXPECT_EQ("MCDONALD", apply(*t, "Mc Donald"));
    EXPECT_EQ("OREILLYRD", apply(*t, "O'REILLY 3RD"));
    EXPECT_EQ("", apply(*t, ""));
    EXPECT_EQ("ABCDEFGHIJKLMNOPRSTU", apply(*t, "ABCDEFGHIJKLMNOPRSTU")) << "20 letters stay 20";
    EXPECT_EQ("KUINN", apply(*t, "QUINN", 15));
    EXPECT_EQ("q", apply(*t, "q", 1)) << "a one-byte field is copied as it stands";
    EXPECT_EQ("", apply(*t, " ", 1));
}

// Left, middle and right, each on its own: the middle never touches the
// first or last letter.
TEST(NameRulesApply, PlacesOfARule) {
    auto left = withRules(ruleLine("YNN", "21", "PH", "F"));
    EXPECT_EQ("FELPS", apply(*left, "PHELPS"));
    EXPECT_EQ("ALPHA", apply(*left, "ALPHA"));
    EXPECT_EQ("F", apply(*left, "PH")) << "a left rule may eat the whole word";

    auto middle = withRules(ruleLine("NYN", "21", "PH", "F"));
    EXPECT_EQ("ALFA", apply(*middle, "ALPHA"));
    EXPECT_EQ("PHIL", apply(*middle, "PHIL"));
    EXPECT_EQ("RALPH", apply(*middle, "RALPH"));
    auto vowels = withRules(ruleLine("NYN", "11", "A", "O"));
    EXPECT_EQ("BONONA", apply(*vowels, "BANANA")) << "fires more than once in one call";

    auto right = withRules(ruleLine("NNY", "21", "PH", "F") + ruleLine("NNY", "10", "S", "X"));
    EXPECT_EQ("RALF", apply(*right, "RALPH"));
    EXPECT_EQ("PHIL", apply(*right, "PHIL"));
    EXPECT_EQ("JONE", apply(*right, "JONES")) << "toLen 0 deletes; the end is found by the length";
    EXPECT_EQ("", apply(*right, "S")) << "a right rule may eat the whole word";
}

TEST(NameRulesApply, PassesAndOrder) {
    // All three places of one rule, left first, each seeing the one before.
    auto all = withRules(ruleLine("YYY", "21", "AA", "B"));
    EXPECT_EQ("BB", apply(*all, "AAAA"));

    // A change by the last rule of a pass starts a new pass from the first.
    auto chain = withRules(ruleLine("NNY", "11", "Z", "S") + ruleLine("NNY", "11", "X", "Z"));
    EXPECT_EQ("MAS", apply(*chain, "MAX"));

    auto grow = withRules(ruleLine("NNY", "12", "X", "KS"));
    EXPECT_EQ("MAKS", apply(*grow, "MAX"));
    EXPECT_EQ("ABCDEFGHIJKLMNOPQRSK", apply(*grow, "ABCDEFGHIJKLMNOPQRSX")) << "output stays len bytes";
}
