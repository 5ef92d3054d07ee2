// Address line builder: column widths, street, PO box and rural styles, the
// record's normalisation and the shrinking of the street name.
#include <gtest/gtest.h>

#include <string>

#include "RV9.h"
#include "RV9_AddrLine.h"

using namespace QV_NCOA;

namespace {

struct Parts {
    const char* primary;
    const char* pre;
    const char* name;
    const char* suffix;
    const char* post;
    const char* designator;
    const char* secondary;
};

RV9AnswerRecord record(const Parts& p) {
    RV9AnswerRecord r;
    r.primaryNumber.cpyIn(p.primary);
    r.preDirectional.cpyIn(p.pre);
    r.streetName.cpyIn(p.name);
    r.suffix.cpyIn(p.suffix);
    r.postDirectional.cpyIn(p.post);
    r.secondaryDesignator.cpyIn(p.designator);
    r.secondaryNumber.cpyIn(p.secondary);
    return r;
}

// The line with its trailing blanks cut; rc receives addrline's result.
std::string build(RV9AnswerRecord& r, int limit, int* rc = nullptr) {
    fixedString<99> out;
    CNCOA_RV9AddrLine builder;
    const int result = builder.addrline(r, limit, out);
    if (rc) *rc = result;
    std::string s(out.buf);
    return s.substr(0, s.find_last_not_of(' ') + 1);
}

}  // namespace

TEST(AddrLine, StylesAndWidths) {
    struct Case {
        Parts in;
        const char* line;
    } cases[] = {
        {{"0000000123", "", "MAIN", "ST", "", "", ""}, "123 MAIN ST"},
        {{"123", "", "MAIN", "ST", "", "", ""}, "123        MAIN ST"},  // left-justified: width 11
        {{"12A", "N", "MAIN", "ST", "SW", "", ""}, "12A N MAIN ST SW"},
        {{"0000000123", "", "MAIN", "ST", "", "", "00000005"}, "123 MAIN ST # 5"},
        {{"0000000123", "", "MAIN", "ST", "", "APT", ""}, "123 MAIN ST"},
        {{"0000000123", "", "MAIN", "ST", "", "BSMT", ""}, "123 MAIN ST BSMT"},
        {{"0000000123", "", "MAIN", "ST", "", "STE", "12B"}, "123 MAIN ST STE 12B"},
        {{"-5", "", "MAIN", "ST", "", "", ""}, "05 MAIN ST"},
        {{"0000000045", "", "PO BOX", "", "", "", ""}, "PO BOX 45"},
        {{"", "", "PO BOX", "", "", "", ""}, "PO BOX"},
        {{"0000000015", "", "RR 2", "", "", "", ""}, "RR 2 BOX 15"},
        {{"", "", "RR 2", "", "", "", ""}, "RR 2"},
        {{"0000000015", "", "RR 2", "RD", "", "", ""}, "15 RR 2 RD"},  // not plain: street style
        {{"0000000007", "", "HC 3", "", "", "", ""}, "HC 3 BOX 7"},
        {{"0000000007", "", "HC 3A", "", "", "", ""}, "7 HC 3A"},
        {{"0000000012", "", "CMR 450", "", "", "", ""}, "CMR 450 BOX 12"},
        {{"0000000001", "", "UNIT 2050", "", "", "", ""}, "UNIT 2050 BOX 1"},
        {{"0000000123", "", " MAIN", "ST", "", "", ""}, "123 MAIN ST"},  // leading blank: left-justified
    };
    for (const Case& c : cases) {
        RV9AnswerRecord r = record(c.in);
        int rc = -1;
        EXPECT_EQ(build(r, 99, &rc), c.line) << c.in.primary << "|" << c.in.name;
        EXPECT_EQ(rc, 0);
    }
}

TEST(AddrLine, NormalisesTheRecord) {
    RV9AnswerRecord r = record({"-0000123", "", "MAIN", "", "", "", "00000012"});
    build(r, 99);
    EXPECT_EQ(std::string(r.primaryNumber.buf), "00000123  ");  // dash to zero, width by trailing blanks
    EXPECT_EQ(std::string(r.secondaryDesignator.buf), "#   ");
    EXPECT_EQ(std::string(r.secondaryNumber.buf), "12      ");

    RV9AnswerRecord apt = record({"0000000123", "", "MAIN", "", "", "APT", ""});
    build(apt, 99);
    EXPECT_TRUE(apt.secondaryDesignator.isSpaces());
    EXPECT_EQ(std::string(apt.primaryNumber.buf), "123       ");
}

TEST(AddrLine, ShrinksTheNameToTheLimit) {
    int rc = -1;
    // A name shorter than its field loses only the blank behind it.
    RV9AnswerRecord r = record({"0000000123", "", "MAIN", "ST", "", "", ""});
    EXPECT_EQ(build(r, 10, &rc), "123 MAINST");
    EXPECT_EQ(rc, 4);
    r = record({"0000000123", "", "MAIN", "ST", "", "", ""});
    EXPECT_EQ(build(r, 11, &rc), "123 MAIN ST");
    EXPECT_EQ(rc, 0);

    // A full name loses its last consonant, then the blank that leaves.
    r = record({"0000000001", "", "ABCDEFGHIJKLMNOPQRSTUVWXYZAB", "", "", "", ""});
    EXPECT_EQ(build(r, 28, &rc), "1 ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_EQ(std::string(r.streetName.buf), "ABCDEFGHIJKLMNOPQRSTUVWXYZA ");
    EXPECT_EQ(rc, 4);

    // Only vowels: nothing can go, 16 and a blank line up to the limit.
    fixedString<99> out;
    out.cpyIn("XXXXXXXXXXXXXXXXXXXXXXXX");
    r = record({"0000000001", "", "AAAAAAAAAAAAAAAAAAAAAAAAAAAA", "", "", "", ""});
    EXPECT_EQ(CNCOA_RV9AddrLine().addrline(r, 20, out), 16);
    EXPECT_EQ(std::string(out.buf, 24), std::string(20, ' ') + "XXXX");
}
