// The record driver's number cleaning and the answer record's rules. (Blank
// records and bad keys answering "00": MatchFlow.BlankAndBadKeyRecordsAnswer00.)
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>

#include "DataTables.h"
#include "NCOA.h"
#include "TestSupport.h"

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

}  // namespace

// An unopened data object: these records must end before any table is asked.
class DriverEarlyExit : public ::testing::Test {
protected:
    CNCOA_DataTables tables;
    NCOAAnswer answer;
};

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

// (Name line, trimmed numbers, ZIP, ZIP+4, delivery point and the firm's
// name through the exported lookup: test_matchflow.cpp.)
TEST(Answer, LeadingBlanksAndCheckDigitCrossTheBoundary) {
    NCOAAnswer a;
    std::memcpy(a.address.primaryNumber, "    123456", 10);
    a.city.checkDigit[0] = '7';
    qvncoa_out_addr_t out;
    a.toOutAddr(out);
    EXPECT_STREQ(out.primaryNumber, "123456");
    EXPECT_EQ(out.checkDigit, '7');
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
    // The limits themselves, end to end: MatchFlow.MonthLimitAnswers1001ForDatedCodes.
    int months = -1;
    for (const char* code : {"A", "91", "92", "01", "02", "03", "05", "14", "19"}) {
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
