// The client test's record formats without a data set: the input line's
// columns, the answer record laid out from a hand-made answer and verifier
// record, the match codes and the stage-one loader.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "Audit.h"
#include "TestSupport.h"

using namespace QV_NCOA;

namespace {

std::string pad(const std::string& s, size_t w) { return (s + std::string(w, ' ')).substr(0, w); }

// A detail line with every field distinct: lead mark '1', name mark '2', address mark '3'.
std::string inputLine(size_t width = 300) {
    std::string l = pad("LEAD000000000000000000000L", 28) + "1" + pad("JOHN A SMITH", 66) + "2" +
                    pad("MIDDLE TEXT", 28) + pad("120 W 34TH ST", 67) + "3" + pad("NEW YORK NY 10001-1234", 42);
    return l + pad("IGNORED", width - 2 - l.size()) + "\r\n";
}

// The verifier's result as qvav.h lays it out: the main record points at 600
// to the address record.
struct VerifiedRecord {
    char main[1024] = {};
    char addr[1024] = {};
    VerifiedRecord() {
        char* p = addr;
        std::memcpy(main + QVAV_MAIN_ADDRESS, &p, sizeof p);
        std::strcpy(main + QVAV_MAIN_STATE, "NY");
        const std::pair<int, const char*> texts[] = {
            {QVAV_ADDR_ZIP, "10001"},     {QVAV_ADDR_URBANIZATION, "URB TEST"}, {QVAV_ADDR_PRIMARY, "120"},
            {QVAV_ADDR_PREDIR, "W"},      {QVAV_ADDR_STREET, "34TH"},           {QVAV_ADDR_SUFFIX, "ST"},
            {QVAV_ADDR_POSTDIR, "NE"},    {QVAV_ADDR_DESIGNATOR, "APT"},        {QVAV_ADDR_SECONDARY, "4B"},
            {QVAV_ADDR_CITY, "NEW YORK"}, {QVAV_ADDR_RESULT1, "AS"},            {QVAV_ADDR_RESULT2, "Z1"}};
        for (const auto& [off, text] : texts) std::strcpy(addr + off, text);
    }
};

// A hit as the engine leaves it, filled by hand.
NCOAAnswer handAnswer() {
    NCOAAnswer a;
    auto put = [](char* dst, const char* text) { std::memcpy(dst, text, std::strlen(text)); };
    a.returnCode.cpyIn("A");
    a.moveType = 'I', a.dropFlag = 'N', a.nameFlag = 'Y', a.inputGender = 'M';
    a.moveEffectiveDate.cpyIn("202601");
    a.carrierRoute.cpyIn("C004");
    a.hint.cpyIn("REAR");
    a.zip4Used.cpyIn("1200");
    a.urbanization.cpyIn("URB NEW");
    put(a.name.opPrefix, "DR"), put(a.name.opFirst, "JOHN"), put(a.name.opMiddle, "ALBERT");
    put(a.name.opLast, "SMITH"), put(a.name.opSuffix, "JR");
    put(a.address.primaryNumber, "1015"), put(a.address.streetName, "WILSON"), put(a.address.suffix, "BLVD");
    put(a.address.secondaryDesignator, "APT"), put(a.address.secondaryNumber, "00012");
    put(a.city.city, "ARLINGTON"), put(a.city.state, "VA"), put(a.city.deliveryPoint, "15");
    put(a.city.checkDigit, "7");
    a.resultCopy.cpyIn("222014101157");
    a.emdp = __builtin_bswap64(0x0102030405060708UL);
    a.searchKey[0] = ' ';
    for (int i = 1; i <= 8; ++i) a.searchKey[i] = static_cast<char>(0x10 + i);
    std::memcpy(a.searchKey + 9, (pad("JOHN", 15) + pad("SMITH", 20) + pad("JR", 5)).c_str(), 40);
    for (int i = 0; i < 20; ++i) a.emdpSha[i] = static_cast<unsigned char>(0xA0 + i), a.searchSha[i] = i;
    for (int i = 0; i < 8; ++i) a.rawResult[i] = static_cast<unsigned char>(0xF0 + i);
    a.seventeen = 1234567;
    return a;
}

// The 1000 bytes that set and write make of an answer, for a data set of `letter`.
std::string answerRecord(const NCOAAnswer& a, char letter, const void* verified) {
    CNCOA_DataTables tables;
    tables.dvdHeader[0].setLetter = letter;
    testClientInputDetailRecord in;
    in.fromCharString(inputLine().c_str(), 300);
    testClientOutputDetail out;
    out.set(a, in, verified, tables);
    char rec[kClientOutputRecord];
    out.layOut(rec);
    return std::string(rec, sizeof rec);
}

}  // namespace

TEST(ClientRecords, InputLineColumnsAndShortLines) {
    const std::string line = inputLine();
    testClientInputDetailRecord r, s, t;
    ASSERT_TRUE(r.fromCharString(line.c_str(), 300));
    EXPECT_EQ(std::string(r.leadText.buf) + r.leadMark + r.nameText.buf + r.nameMark + r.midText.buf +
                  r.addressText.buf + r.addressMark + r.lastLineText.buf,
              line.substr(0, 234));
    // A line that ends inside the name: the rest stays blank, the marks "N".
    s.fromCharString(line.c_str(), 33);
    EXPECT_EQ(std::string(s.nameText.buf), pad("JOHN", 66));
    EXPECT_TRUE(s.addressText.isSpaces());
    EXPECT_EQ(std::string() + s.nameMark + s.addressMark, "NN");
    // -1 measures the text up to its NUL.
    t.fromCharString(line.substr(0, 130).c_str(), -1);
    EXPECT_EQ(std::string(t.addressText.buf), pad("120 W", 67));
}

TEST(ClientRecords, AnswerRecordLayout) {
    VerifiedRecord v;
    const std::string r = answerRecord(handAnswer(), 'A', v.main);
    ASSERT_EQ(r.size(), 1000u);
    // Position and text of every field; the name mark stands at 28 too, the
    // middle text stays blank, the new unit number loses its leading zeros.
    const std::pair<int, std::string> fields[] = {
        {0, pad("LEAD000000000000000000000L", 28) + "2" + pad("JOHN A SMITH", 66) + "2" + std::string(28, ' ')},
        {124, pad("120 W 34TH ST", 67) + "3" + pad("NEW YORK NY 10001-1234", 42) + std::string(64, ' ')},
        {298, pad("DR   JOHN           ALBERT         SMITH               JR", 62)},
        {360, pad("URB TEST", 28) + pad("120", 10) + "W " + pad("34TH", 28) + "ST  NEAPT " + pad("4B", 8)},
        {446, pad("NEW YORK", 28) + "NY100011200"},
        {485, pad("URB NEW", 28) + pad("1015", 10) + "  " + pad("WILSON", 28) + "BLVD  APT 12      "},
        {571, pad("ARLINGTON", 28) + "VA222014101157C004NY202601ALMREAR    A ASZ1"},
        {642, "0102030405060708a0a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2b31112131415161718"},
        {714, pad("JOHN", 15) + pad("SMITH", 20) + "JR   000102030405060708090a0b0c0d0e0f10111213"},
        {794, "f0f1f2f3f4f5f6f700000000001234567I" + std::string(12, ' ') + "  Y" + std::string(154, ' ') + "D\r\n"}};
    for (const auto& [pos, text] : fields) EXPECT_EQ(r.substr(static_cast<size_t>(pos), text.size()), text) << pos;

    NCOAAnswer firm = handAnswer();
    firm.firmName.cpyIn("ACME WIDGETS INC");
    EXPECT_EQ(answerRecord(firm, 'A', v.main).substr(298, 62), pad("ACME WIDGETS INC", 62));
    // No match or a deletion: nothing of the verified address, blank zero number.
    for (const char* code : {"00", "66"}) {
        NCOAAnswer a = handAnswer();
        a.returnCode.cpyIn(code);
        a.seventeen = 0;
        const std::string n = answerRecord(a, 'A', v.main);
        EXPECT_EQ(n.substr(360, 125), std::string(125, ' ')) << code;
        EXPECT_EQ(n.substr(638, 4), "ASZ1") << code;
        EXPECT_EQ(n.substr(810, 17), std::string(17, ' ')) << code;
    }
    EXPECT_EQ(answerRecord(handAnswer(), 'A', nullptr).substr(360, 121), std::string(121, ' '));
}

TEST(ClientRecords, SetLetterDecidesTheFlagColumnsAndTheKeyDump) {
    VerifiedRecord v;
    NCOAAnswer a = handAnswer();
    a.footnote.cpyIn("0077");  // shows as "00": no "77" flag
    const char* flags[] = {"  Y", "  Y", "Y  ", "Y  ", " N ", " N "};  // 840-842 for A to F
    for (int i = 0; i < 6; ++i) {
        const char letter = static_cast<char>('A' + i);
        const std::string r = answerRecord(a, letter, v.main);
        EXPECT_EQ(r.substr(840, 3), flags[i]) << letter;
        EXPECT_EQ(r.substr(836, 2), "00") << letter;
        // Hash kinds (A, C, E) dump the key from byte 1, flat kinds from byte 0.
        EXPECT_EQ(r.substr(698, 16), i % 2 == 0 ? "1112131415161718" : "2011121314151617") << letter;
    }
    a.returnCode.cpyIn("12");
    a.footnote.cpyIn("77");
    EXPECT_EQ(answerRecord(a, 'C', v.main).substr(840, 3), "N  ");
    EXPECT_EQ(answerRecord(a, 'E', v.main).substr(840, 3), " Y ");
    EXPECT_EQ(answerRecord(a, 'B', v.main).substr(840, 3), "  N");
}

// The digest dumps are read back by the client test's own reader (test_audit.cpp).
TEST(ClientRecords, MatchCodes) {
    for (const char* yes : {"A", "A ", "91", "92", "1", "01", "02", "03", "05", "14", "19"})
        EXPECT_TRUE(footnoteIsMatch(yes)) << yes;
    for (const char* no : {"4", "00", "66", "12", "16", "AB", " A", ""}) EXPECT_FALSE(footnoteIsMatch(no)) << no;
}

TEST(ClientRecords, StageOneLoader) {
    TempRoot tmp;
    auto load = [&](const std::string& bytes, CNCOA_Auditor& au) {
        return au.loadClientInputS1(tmp.write("in.txt", bytes).c_str());
    };
    CNCOA_DataTables tables;
    CNCOA_Auditor au(tables, nullptr, false, nullptr);
    const std::string header = pad("HEAD0001SEQ001CNT1202601012026010220260215X", 998) + "\r\n";
    ASSERT_EQ(load(header + inputLine(1000) + inputLine(1000), au), 1000);
    ASSERT_EQ(au.records.size(), 2u);
    EXPECT_STREQ(au.header6.buf, "20260215");
    EXPECT_EQ(au.headerFlag, 'X');
    EXPECT_EQ(au.records[1].addressMark, '3');
    // Lines are not measured, only the newline at 999 is looked for: a short
    // line, a 300-byte line or a last line cut short all lack it.
    EXPECT_EQ(load(header + inputLine(300), au), 1044);
    EXPECT_EQ(load(header + inputLine(1000).substr(0, 999) + "X", au), 1044);
}
