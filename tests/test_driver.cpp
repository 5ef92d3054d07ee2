// The record driver's early exits and the answer record's rules.
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>

#include "DataTables.h"
#include "NCOA.h"

using namespace QV_NCOA;

namespace {

template <int N>
std::string S(const fixedString<N>& f) { return std::string(f.buf); }

NCOAInput input(const char* name, const char* pno, const char* sno, const char* zip9, char type = ' ') {
    NCOAInput in;
    in.name.cpyIn(name);
    in.pno.cpyIn(pno);
    in.sno.cpyIn(sno);
    in.zip9.cpyIn(zip9);
    in.recordType = type;
    return in;
}

std::string monthsAgo(int months) {
    time_t now = time(nullptr);
    struct tm lt;
    localtime_r(&now, &lt);
    int total = (lt.tm_year + 1900) * 12 + lt.tm_mon - months;
    char buf[16];
    snprintf(buf, sizeof buf, "%04d%02d", total / 12, total % 12 + 1);
    return buf;
}

}  // namespace

// An unopened data object: these records must end before any table is asked.
class DriverEarlyExit : public ::testing::Test {
protected:
    CNCOA_DataTables tables;
    NCOAAnswer answer;
};

TEST_F(DriverEarlyExit, BlankRecordAnswers00WithoutSearching) {
    CNCOA_Main m(tables, false);
    NCOAInput in = input("", "", "", "");
    in.desc.cpyIn("APT");  // neither desc nor type counts
    in.recordType = 'S';
    EXPECT_FALSE(m.doNCOA(in, answer, eBIF_All));
    EXPECT_EQ(S(answer.returnCode), "00");
    EXPECT_TRUE(answer.zip4Used.isSpaces());
    EXPECT_EQ(answer.lookupCount, 0);
}

TEST_F(DriverEarlyExit, ZerosAloneMakeABlankRecord) {
    CNCOA_Main m(tables, false);
    NCOAInput in = input("", "000", "00", "");
    EXPECT_FALSE(m.doNCOA(in, answer, eBIF_All));
    EXPECT_EQ(S(answer.returnCode), "00");
}

TEST_F(DriverEarlyExit, LettersInTheZipFailTheKey) {
    CNCOA_Main m(tables, false);
    NCOAInput in = input("JOHN SMITH", "123", "", "ABCDE1234");
    EXPECT_FALSE(m.doNCOA(in, answer, eBIF_All));
    EXPECT_EQ(S(answer.returnCode), "00");
}

TEST_F(DriverEarlyExit, NumbersAreCleanedOnePassEach) {
    struct Case {
        const char* pno;
        const char* sno;
        const char* pnoAfter;
        const char* snoAfter;
    } cases[] = {
        {"0 12", "0004", "12        ", "4       "},
        {" 012", " 04", "012       ", "04      "},  // the blank pass runs after the zero pass
        {"00000000", "0", "          ", "        "},
    };
    for (const Case& c : cases) {
        CNCOA_Main m(tables, false);
        NCOAInput in = input("JOHN SMITH", c.pno, c.sno, "ABCDE");  // letters: ends at the key
        m.doNCOA(in, answer, eBIF_All);
        EXPECT_EQ(S(in.pno), c.pnoAfter) << c.pno;
        EXPECT_EQ(S(in.sno), c.snoAfter) << c.sno;
    }
}

TEST(Answer, InitKeepsNameLineResultCopyAndUrbanization) {
    NCOAAnswer a;
    a.nameLine.cpyIn("JOHN SMITH");
    a.resultCopy.cpyIn("123456789012");
    a.urbanization.cpyIn("URB X");
    a.addressLine.cpyIn("1 MAIN ST");
    a.zip4Used.cpyIn("1234");
    a.lookupCount = 3;
    a.init(true);
    EXPECT_EQ(S(a.nameLine).substr(0, 10), "JOHN SMITH");
    EXPECT_EQ(S(a.resultCopy), "123456789012");
    EXPECT_EQ(S(a.urbanization).substr(0, 5), "URB X");
    EXPECT_TRUE(a.addressLine.isSpaces());
    EXPECT_EQ(S(a.zip4Used), "1234");  // full clear only
    EXPECT_EQ(a.lookupCount, 3);
    a.init(false);
    EXPECT_TRUE(a.zip4Used.isSpaces());
    EXPECT_EQ(a.lookupCount, 0);
    EXPECT_EQ(S(a.resultCopy), "123456789012");
}

TEST(Answer, CopyFollowsTheFieldRule) {
    NCOAAnswer from, to;
    from.addressLine.cpyIn("9 ELM");
    from.addressLine.buf[5] = '\0';  // a source that ends early
    to.addressLine.cpyIn("12345 OAK AVE");
    std::memcpy(from.cityBlock, "CITY", 4);
    to = from;
    EXPECT_EQ(S(to.addressLine).substr(0, 13), "9 ELM OAK AVE");
    EXPECT_EQ(std::string(to.cityBlock, 4), "CITY");
}

TEST(Answer, ClearedAnswerCrossesTheBoundaryEmpty) {
    NCOAAnswer a;
    qvncoa_out_addr_t out;
    std::memset(&out, 'x', sizeof out);
    a.toOutAddr(out);
    for (const char* f : {out.name, out.addressLine, out.primaryNumber, out.streetName, out.lastLine, out.city,
                          out.zip, out.zip4, out.deliveryPoint, out.returnCode, out.footnote, out.moveEffectiveDate,
                          out.urbanization, out.carrierRoute, out.secondaryNumber})
        EXPECT_STREQ(f, "");
    EXPECT_EQ(out.moveType, ' ');
    EXPECT_EQ(out.lookupCount, 0);
}

TEST(Answer, FieldsAreCutAndTrimmedAndFirmsReportTheirName) {
    NCOAAnswer a;
    a.nameLine.cpyIn("JOHN           SMITH");
    a.firmName.cpyIn("ACME PLUMBING");
    std::memcpy(a.address.primaryNumber, "    123456", 10);
    std::memcpy(a.address.streetName, "MAIN", 4);
    std::memcpy(a.resultString(), "12345678901", 11);
    a.city.checkDigit[0] = '7';
    a.returnCode.cpyIn("A");
    qvncoa_out_addr_t out;
    a.toOutAddr(out);
    EXPECT_STREQ(out.name, "JOHN           SMITH");
    EXPECT_STREQ(out.primaryNumber, "123456");
    EXPECT_STREQ(out.streetName, "MAIN");
    EXPECT_STREQ(out.zip, "12345");
    EXPECT_STREQ(out.zip4, "6789");
    EXPECT_STREQ(out.deliveryPoint, "01");
    EXPECT_EQ(out.checkDigit, '7');
    EXPECT_STREQ(out.returnCode, "A");
    a.moveType = 'B';
    a.toOutAddr(out);
    EXPECT_STREQ(out.name, "ACME PLUMBING");
}

TEST(Answer, MonthDiffReadsSixDigitsOnly) {
    EXPECT_EQ(NCOAAnswer::monthDiff(nullptr), 0);
    EXPECT_EQ(NCOAAnswer::monthDiff("      "), 0);
    EXPECT_EQ(NCOAAnswer::monthDiff("2026011"), 0);
    EXPECT_EQ(NCOAAnswer::monthDiff("20261A"), 0);
    EXPECT_EQ(NCOAAnswer::monthDiff(monthsAgo(7).c_str()), 7);
    EXPECT_EQ(NCOAAnswer::monthDiff(monthsAgo(-3).c_str()), -3);  // a future date
    // Month 13 is digits and counts as 13: one month before month 1 of the next year.
    time_t now = time(nullptr);
    struct tm lt;
    localtime_r(&now, &lt);
    int y = lt.tm_year + 1900;
    char buf[24];
    snprintf(buf, sizeof buf, "%04d13", y - 1);
    EXPECT_EQ(NCOAAnswer::monthDiff(buf), 12 + (lt.tm_mon + 1 - 13));
}

TEST(Answer, MovesOlderThanTheLimitAreFlaggedForDatedCodesOnly) {
    NCOAAnswer a;
    a.moveEffectiveDate.cpyIn(monthsAgo(10).c_str());
    int months = -1;
    a.returnCode.cpyIn("A");
    EXPECT_TRUE(a.doMEDMonthsCalc(6, months));
    EXPECT_EQ(months, 10);
    EXPECT_FALSE(a.doMEDMonthsCalc(10, months));  // exactly the limit is still in time
    EXPECT_FALSE(a.doMEDMonthsCalc(5, months));   // below 6: no limit
    EXPECT_EQ(months, 10);
    for (const char* code : {"91", "92", "01", "02", "03", "05", "14", "19"}) {
        a.returnCode.cpyIn(code);
        EXPECT_TRUE(a.doMEDMonthsCalc(6, months)) << code;
    }
    for (const char* code : {"00", "66", "04", "16"}) {
        a.returnCode.cpyIn(code);
        EXPECT_FALSE(a.doMEDMonthsCalc(6, months)) << code;
    }
}

TEST(Answer, SetOPNameBoundsEachPartAndLeavesTheRest) {
    NCOAAnswer a;
    std::memset(a.nameBlock, '#', sizeof a.nameBlock);
    nameStruct n;
    n.prefix.cpyIn("DR");
    n.first.cpyIn("JOHN");
    n.middle.cpyIn("ABCDEFGHIJKLMNOPQRST");
    n.last.cpyIn("SMITH");
    n.suffix.cpyIn("JR");
    setOPName(a, n);
    EXPECT_EQ(std::string(a.name.opPrefix, 6), "DR   #");  // five characters of a 6-place field
    EXPECT_EQ(std::string(a.name.opFirst, 15), "JOHN           ");
    EXPECT_EQ(std::string(a.name.opMiddle, 15), "ABCDEFGHIJKLMNO");  // cut at 15
    EXPECT_EQ(std::string(a.name.opSuffix, 6), "JR   #");
}
