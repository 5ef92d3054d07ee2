// Compiled word tables and their maps, the stripe table, and the count of
// business.lst records at start-up.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "BusinessLst.h"
#include "CompStrW_Words.h"
#include "TestSupport.h"
#include "DataTables.h"
#include "LookupBase.h"

using namespace QV_NCOA;

namespace {

std::string padded(const char* w, size_t width) {
    std::string s(w);
    s.resize(width, ' ');
    return s;
}


}  // namespace

// Every row: text without inner blanks, blank padding, the NULs in place.
TEST(WordTables, RowLayout) {
    auto wellFormed = [](const char* row, int width) {
        int len = static_cast<int>(strnlen(row, static_cast<size_t>(width)));
        if (len != width) return false;
        int last = findLastNonSpaceN(row, static_cast<size_t>(width));
        if (last < 0) return false;
        for (int i = 0; i <= last; ++i)
            if (row[i] == ' ' || std::islower(static_cast<unsigned char>(row[i]))) return false;
        return true;
    };
    for (int i = 0; i + 1 < kJunkWordRows; ++i) {
        EXPECT_TRUE(wellFormed(junkWords[i], 21)) << "junk row " << i;
        EXPECT_EQ('\0', junkWords[i][21]);
    }
    for (int i = 0; i < kFirmWordRows; ++i) {
        EXPECT_TRUE(wellFormed(firmWordList[i], 20)) << "firm row " << i;
        EXPECT_EQ('\0', firmWordList[i][21]);
    }
    for (int i = 0; i < kWsWordRows; ++i) {
        EXPECT_TRUE(wellFormed(wsWordList[i], 20)) << "ws key row " << i;
        EXPECT_TRUE(wellFormed(wsWordList[i] + 21, 20)) << "ws value row " << i;
        EXPECT_EQ('\0', wsWordList[i][41]);
    }
}

TEST(WordTables, ReplacementMapKeysKeepTheirBlanks) {
    std::set<firmWordStruct> firm;
    std::map<QvbString, fixedString<20>> ws;
    buildCompStrWWordMaps(firm, ws);
    ASSERT_EQ(1865u, ws.size()) << "no key repeats";

    auto lookup = [&](const char* word) -> std::string {
        auto it = ws.find(QvbString(padded(word, 20).c_str()));
        return it == ws.end() ? std::string("<none>") : std::string(it->second.buf);
    };
    EXPECT_EQ(padded("TENTH", 20), lookup("10TH"));
    EXPECT_EQ(padded("ONE", 20), lookup("1"));
    EXPECT_EQ(padded("CENTE", 20), lookup("CENTRE")) << "rows are kept exactly as listed";
    EXPECT_EQ(padded("YOUTH", 20), lookup("YTH"));
    EXPECT_EQ(ws.end(), ws.find(QvbString("1"))) << "a key without its padding is another key";
    EXPECT_EQ("<none>", lookup("ACCESS"));

    // A replaced word that is a common word is found among the common words.
    std::string repl = lookup("ACCSS");
    EXPECT_EQ(1u, firm.count(firmWordStruct(repl.c_str(), repl.size())));
}

// The set's order passes over the last letter of words of one length.
TEST(WordTables, CommonWordsOrderedByItspReversed) {
    std::set<firmWordStruct> firm;
    std::map<QvbString, fixedString<20>> ws;
    buildCompStrWWordMaps(firm, ws);

    // MARINA/MARINE, STEVEN/STEVES and ASSOCIATED/ASSOCIATES collapse.
    EXPECT_EQ(997u, firm.size());
    auto has = [&](const char* w) { return firm.count(firmWordStruct(w, std::strlen(w))) == 1; };
    EXPECT_TRUE(has("ACCESS"));
    EXPECT_TRUE(has("ACCESSORIES"));
    EXPECT_FALSE(has("ACCES"));
    EXPECT_FALSE(has("ACCESSORY"));
    EXPECT_TRUE(has("ACCESZ")) << "same length, other last letter";
    EXPECT_TRUE(has("MARINE"));
    EXPECT_EQ(0, std::strncmp("MARINA", firm.find(firmWordStruct("MARINE", 6))->word, 6))
        << "the earlier row stands for both";

    EXPECT_EQ(padded("YOGURT", 21), firm.begin()->word);
    EXPECT_EQ(padded("ABSTRACT", 21), firm.rbegin()->word);

    // Built from a longer text, at most 21 bytes count.
    const char* longWord = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    firmWordStruct cut(longWord, std::strlen(longWord));
    EXPECT_EQ(std::string(longWord, 21), cut.word);
    firmWordStruct row(firmWordList[2]);
    EXPECT_EQ(padded("ACCESS", 20), std::string(row.word, 20));
}

TEST(StripeTable, PermutationsInLexicographicOrder) {
    std::unique_ptr<unsigned char[][7]> rows(new unsigned char[kXOStripeRowCount + 1][7]);
    std::memset(rows[kXOStripeRowCount], 0xEE, 7);
    buildXOStripeTable(rows.get());

    const unsigned char r0[7] = {1, 2, 3, 4, 5, 6, 7};
    for (int b = 0; b < 7; ++b) EXPECT_EQ(0xEE, rows[kXOStripeRowCount][b]) << "nothing written past row 5039";

    // Strictly rising rows of 1..7 each once: 5040 of them are all 7! orders,
    // so every row is where lexicographic order puts it.
    for (int i = 0; i < kXOStripeRowCount; ++i) {
        unsigned char sorted[7];
        std::memcpy(sorted, rows[i], 7);
        std::sort(sorted, sorted + 7);
        ASSERT_EQ(0, std::memcmp(r0, sorted, 7)) << "row " << i;
        if (i > 0) {
            ASSERT_LT(std::memcmp(rows[i - 1], rows[i], 7), 0) << "row " << i;
        }
    }
}

namespace {


std::string businessRecord(unsigned char keyByte, const char* name) {
    std::string r(8, static_cast<char>(keyByte));
    r += padded(name, 40);
    return r;
}
const std::string kEndMark = std::string(8, '\xFF') + std::string(40, 'Z');

}  // namespace

TEST(BusinessLst, CountsRecordsBeforeTheEndMark) {
    TempRoot tmp;
    auto tables = std::make_unique<CNCOA_DataTables>();
    tables->setRoot(tmp.root.c_str());
    CNCOA_BusinessLst lst(*tables);
    const char* rel = "DVD 2/clk/business.lst";
    size_t count = 99;

    EXPECT_FALSE(lst.findLastValidIndex(count)) << "no file";
    EXPECT_EQ(0u, count);

    tmp.write(rel, businessRecord(1, "ACME") + businessRecord(2, "BETA") +
                       businessRecord(0xFF, "ZZZZ NOT THE MARK") + kEndMark + businessRecord(3, "AFTER"));
    EXPECT_TRUE(lst.findLastValidIndex(count));
    EXPECT_EQ(3u, count) << "a 0xFF key alone is no end mark; nothing after the mark counts";

    tmp.write(rel, businessRecord(1, "ACME") + businessRecord(2, "BETA") + std::string(20, 'x'));
    EXPECT_TRUE(lst.findLastValidIndex(count));
    EXPECT_EQ(2u, count) << "no end mark: every whole record counts";

    tmp.write(rel, kEndMark);
    EXPECT_FALSE(lst.findLastValidIndex(count));
    EXPECT_EQ(0u, count);

    tmp.write(rel, "");
    count = 7;
    EXPECT_FALSE(lst.findLastValidIndex(count));
    EXPECT_EQ(0u, count);
}
