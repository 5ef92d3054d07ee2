// The client test's record formats without a data set: the input line's
// columns, the 1000-byte answer record laid out from a hand-made answer and
// verifier record, the digest dumps, the loaders and the form 3553 record.
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Audit.h"
#include "TestSupport.h"

using namespace QV_NCOA;

namespace {

std::string cols(const char* rec, int pos, int width) { return std::string(rec + pos, static_cast<size_t>(width)); }
std::string padded(const std::string& s, size_t width) { return (s + std::string(width, ' ')).substr(0, width); }

// A detail line of `width` bytes with every field distinct: the lead text
// ends in 'L' at 27, the lead mark is '1', the name mark '2', the address mark '3'.
std::string inputLine(size_t width = 300) {
    std::string line(width, ' ');
    line.replace(0, 28, padded("LEAD000000000000000000000L", 28));
    line[28] = '1';
    line.replace(29, 66, padded("JOHN A SMITH", 66));
    line[95] = '2';
    line.replace(96, 28, padded("MIDDLE TEXT", 28));
    line.replace(124, 67, padded("120 W 34TH ST", 67));
    line[191] = '3';
    line.replace(192, 42, padded("NEW YORK NY 10001-1234", 42));
    line.replace(234, 10, "IGNOREDXXX");
    line.replace(width - 2, 2, "\r\n");
    return line;
}

// The verifier's result as its offsets lay it out: a main record with the
// state and the pointer at 600, and the address record it points at.
struct VerifiedRecord {
    char main[1024] = {};
    char addr[1024] = {};
    VerifiedRecord() {
        char* p = addr;
        std::memcpy(main + QVAV_MAIN_ADDRESS, &p, sizeof p);
        std::strcpy(main + QVAV_MAIN_STATE, "NY");
        std::strcpy(addr + QVAV_ADDR_ZIP, "10001");
        std::strcpy(addr + QVAV_ADDR_ZIP4, "1234");
        std::strcpy(addr + QVAV_ADDR_URBANIZATION, "URB TEST");
        std::strcpy(addr + QVAV_ADDR_PRIMARY, "120");
        std::strcpy(addr + QVAV_ADDR_PREDIR, "W");
        std::strcpy(addr + QVAV_ADDR_STREET, "34TH");
        std::strcpy(addr + QVAV_ADDR_SUFFIX, "ST");
        std::strcpy(addr + QVAV_ADDR_POSTDIR, "NE");
        std::strcpy(addr + QVAV_ADDR_DESIGNATOR, "APT");
        std::strcpy(addr + QVAV_ADDR_SECONDARY, "4B");
        std::strcpy(addr + QVAV_ADDR_CITY, "NEW YORK");
        std::strcpy(addr + QVAV_ADDR_RESULT1, "AS");
        std::strcpy(addr + QVAV_ADDR_RESULT2, "Z1");
    }
};

void blockField(char* dst, const char* text) { std::memcpy(dst, text, std::strlen(text)); }

// A hit as the engine leaves it, filled by hand.
NCOAAnswer handAnswer() {
    NCOAAnswer a;
    a.returnCode.cpyIn("A");
    a.moveType = 'I';
    a.dropFlag = 'N';
    a.nameFlag = 'Y';
    a.inputGender = 'M';
    a.moveEffectiveDate.cpyIn("202601");
    a.carrierRoute.cpyIn("C004");
    a.hint.cpyIn("REAR");
    a.zip4Used.cpyIn("1200");
    a.urbanization.cpyIn("URB NEW");
    blockField(a.name.opPrefix, "DR");
    blockField(a.name.opFirst, "JOHN");
    blockField(a.name.opMiddle, "ALBERT");
    blockField(a.name.opLast, "SMITH");
    blockField(a.name.opSuffix, "JR");
    blockField(a.address.primaryNumber, "1015");
    blockField(a.address.streetName, "WILSON");
    blockField(a.address.suffix, "BLVD");
    blockField(a.address.secondaryDesignator, "APT");
    blockField(a.address.secondaryNumber, "00012");
    blockField(a.city.city, "ARLINGTON");
    blockField(a.city.state, "VA");
    blockField(a.city.deliveryPoint, "15");
    blockField(a.city.checkDigit, "7");
    a.resultCopy.cpyIn("222014101157");
    a.emdp = __builtin_bswap64(0x0102030405060708UL);
    for (int i = 0; i < 20; ++i) a.emdpSha[i] = static_cast<unsigned char>(0xA0 + i);
    a.searchKey[0] = ' ';
    for (int i = 1; i <= 8; ++i) a.searchKey[i] = static_cast<char>(0x10 + i);
    std::memcpy(a.searchKey + 9, padded("JOHN", 15).c_str(), 15);
    std::memcpy(a.searchKey + 24, padded("SMITH", 20).c_str(), 20);
    std::memcpy(a.searchKey + 44, padded("JR", 5).c_str(), 5);
    for (int i = 0; i < 20; ++i) a.searchSha[i] = static_cast<unsigned char>(i);
    for (int i = 0; i < 8; ++i) a.rawResult[i] = static_cast<unsigned char>(0xF0 + i);
    a.seventeen = 1234567;
    return a;
}

// The record `set` and `write` make of an answer, for a data set of `letter`.
std::string answerRecord(const NCOAAnswer& a, char letter, const void* verified) {
    CNCOA_DataTables tables;
    tables.dvdHeader[0].setLetter = letter;
    testClientInputDetailRecord in;
    std::string line = inputLine();
    in.fromCharString(line.c_str(), static_cast<int>(line.size()));
    testClientOutputDetail out;
    out.set(a, in, verified, tables);
    char rec[kClientOutputRecord];
    out.layOut(rec);
    return std::string(rec, sizeof rec);
}

struct TempFile {
    std::string path;
    explicit TempFile(const std::string& bytes) {
        char tmpl[] = "/tmp/qvclient_XXXXXX";
        int fd = mkstemp(tmpl);
        path = tmpl;
        if (fd >= 0) {
            (void)!::write(fd, bytes.data(), bytes.size());
            ::close(fd);
        }
    }
    ~TempFile() { std::remove(path.c_str()); }
};

}  // namespace

TEST(ClientRecords, InputLineColumnsAndShortLines) {
    std::string line = inputLine();
    testClientInputDetailRecord r;
    ASSERT_TRUE(r.fromCharString(line.c_str(), 300));
    EXPECT_EQ(std::string(r.leadText.buf), padded("LEAD000000000000000000000L", 28));
    EXPECT_EQ(r.leadMark, '1');
    EXPECT_EQ(std::string(r.nameText.buf), padded("JOHN A SMITH", 66));
    EXPECT_EQ(r.nameMark, '2');
    EXPECT_EQ(std::string(r.midText.buf), padded("MIDDLE TEXT", 28));
    EXPECT_EQ(std::string(r.addressText.buf), padded("120 W 34TH ST", 67));
    EXPECT_EQ(r.addressMark, '3');
    EXPECT_EQ(std::string(r.lastLineText.buf), padded("NEW YORK NY 10001-1234", 42));

    // A line that ends inside the name: the name is cut, what lies behind stays
    // blank and the marks keep their "N".
    testClientInputDetailRecord s;
    ASSERT_TRUE(s.fromCharString(line.c_str(), 33));
    EXPECT_EQ(std::string(s.nameText.buf), padded("JOHN", 66));
    EXPECT_EQ(s.nameMark, 'N');
    EXPECT_TRUE(s.addressText.isSpaces());
    EXPECT_EQ(s.addressMark, 'N');
    // -1 measures the text: a NUL inside the address ends the line there.
    std::string cut = line.substr(0, 130);
    testClientInputDetailRecord t;
    t.fromCharString(cut.c_str(), -1);
    EXPECT_EQ(std::string(t.addressText.buf), padded("120 W", 67));
    EXPECT_TRUE(t.lastLineText.isSpaces());
}

TEST(ClientRecords, AnswerRecordLayout) {
    VerifiedRecord v;
    const std::string r = answerRecord(handAnswer(), 'A', v.main);
    ASSERT_EQ(r.size(), 1000u);
    EXPECT_EQ(cols(r.data(), 997, 3), "D\r\n");
    EXPECT_EQ(cols(r.data(), 0, 28), padded("LEAD000000000000000000000L", 28));
    EXPECT_EQ(r[28], '2');  // the name mark, not the lead mark
    EXPECT_EQ(cols(r.data(), 29, 66), padded("JOHN A SMITH", 66));
    EXPECT_EQ(r[95], '2');
    EXPECT_EQ(cols(r.data(), 96, 28), std::string(28, ' '));  // the middle text is never carried
    EXPECT_EQ(cols(r.data(), 124, 67), padded("120 W 34TH ST", 67));
    EXPECT_EQ(r[191], '3');
    EXPECT_EQ(cols(r.data(), 234, 64), std::string(64, ' '));
    // The searched name: prefix in 5, first and middle in 15, last in 20, then the suffix.
    EXPECT_EQ(cols(r.data(), 298, 62), padded("DR   JOHN           ALBERT         SMITH               JR", 62));
    // As verified.
    EXPECT_EQ(cols(r.data(), 360, 28), padded("URB TEST", 28));
    EXPECT_EQ(cols(r.data(), 388, 10), padded("120", 10));
    EXPECT_EQ(cols(r.data(), 398, 2), "W ");
    EXPECT_EQ(cols(r.data(), 400, 28), padded("34TH", 28));
    EXPECT_EQ(cols(r.data(), 428, 4), "ST  ");
    EXPECT_EQ(cols(r.data(), 432, 2), "NE");
    EXPECT_EQ(cols(r.data(), 434, 4), "APT ");
    EXPECT_EQ(cols(r.data(), 438, 8), padded("4B", 8));
    EXPECT_EQ(cols(r.data(), 446, 28), padded("NEW YORK", 28));
    EXPECT_EQ(cols(r.data(), 474, 2), "NY");
    EXPECT_EQ(cols(r.data(), 476, 5), "10001");
    EXPECT_EQ(cols(r.data(), 481, 4), "1200");
    // The new address; the secondary number loses its leading zeros.
    EXPECT_EQ(cols(r.data(), 485, 28), padded("URB NEW", 28));
    EXPECT_EQ(cols(r.data(), 513, 10), padded("1015", 10));
    EXPECT_EQ(cols(r.data(), 525, 28), padded("WILSON", 28));
    EXPECT_EQ(cols(r.data(), 553, 4), "BLVD");
    EXPECT_EQ(cols(r.data(), 559, 4), "APT ");
    EXPECT_EQ(cols(r.data(), 563, 8), "12      ");
    EXPECT_EQ(cols(r.data(), 571, 28), padded("ARLINGTON", 28));
    EXPECT_EQ(cols(r.data(), 599, 2), "VA");
    EXPECT_EQ(cols(r.data(), 601, 5), "22201");
    EXPECT_EQ(cols(r.data(), 606, 4), "4101");
    EXPECT_EQ(cols(r.data(), 610, 3), "157");
    EXPECT_EQ(cols(r.data(), 613, 4), "C004");
    EXPECT_EQ(cols(r.data(), 617, 2), "NY");
    EXPECT_EQ(cols(r.data(), 619, 6), "202601");
    EXPECT_EQ(cols(r.data(), 625, 2), "AL");
    EXPECT_EQ(r[627], 'M');
    EXPECT_EQ(cols(r.data(), 628, 8), "REAR    ");
    EXPECT_EQ(cols(r.data(), 636, 2), "A ");
    EXPECT_EQ(cols(r.data(), 638, 4), "ASZ1");
    // The search, in the order it was hashed.
    EXPECT_EQ(cols(r.data(), 642, 16), "0102030405060708");
    EXPECT_EQ(cols(r.data(), 658, 40), "a0a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2b3");
    EXPECT_EQ(cols(r.data(), 698, 16), "1112131415161718");  // hash kind: from byte 1
    EXPECT_EQ(cols(r.data(), 714, 15), padded("JOHN", 15));
    EXPECT_EQ(cols(r.data(), 729, 20), padded("SMITH", 20));
    EXPECT_EQ(cols(r.data(), 749, 5), "JR   ");
    EXPECT_EQ(cols(r.data(), 754, 40), "000102030405060708090a0b0c0d0e0f10111213");
    EXPECT_EQ(cols(r.data(), 794, 16), "f0f1f2f3f4f5f6f7");
    EXPECT_EQ(cols(r.data(), 810, 17), "00000000001234567");
    EXPECT_EQ(r[827], 'I');
    EXPECT_EQ(cols(r.data(), 828, 8), std::string(8, ' '));
    EXPECT_EQ(cols(r.data(), 836, 4), "    ");
    EXPECT_EQ(cols(r.data(), 843, 154), std::string(154, ' '));

    // A firm's answer shows the firm as searched name.
    NCOAAnswer firm = handAnswer();
    firm.firmName.cpyIn("ACME WIDGETS INC");
    EXPECT_EQ(cols(answerRecord(firm, 'A', v.main).data(), 298, 62), padded("ACME WIDGETS INC", 62));
}

TEST(ClientRecords, NoMatchHidesTheVerifiedAddressAndZeroNumbersAreBlank) {
    VerifiedRecord v;
    for (const char* code : {"00", "66"}) {
        NCOAAnswer a = handAnswer();
        a.returnCode.cpyIn(code);
        a.seventeen = 0;
        const std::string r = answerRecord(a, 'A', v.main);
        EXPECT_EQ(cols(r.data(), 360, 125), std::string(125, ' ')) << code;
        EXPECT_EQ(cols(r.data(), 638, 4), "ASZ1") << code;  // the verifier's codes stay
        EXPECT_EQ(cols(r.data(), 810, 17), std::string(17, ' ')) << code;
    }
    // Without a verifier record nothing of it is shown.
    EXPECT_EQ(cols(answerRecord(handAnswer(), 'A', nullptr).data(), 360, 121), std::string(121, ' '));
}

TEST(ClientRecords, SetLetterDecidesTheFlagColumnsAndTheKeyDump) {
    VerifiedRecord v;
    NCOAAnswer a = handAnswer();
    a.footnote.cpyIn("0077");
    struct Case {
        char letter;
        const char* flags;  // 840, 841, 842
        const char* key;
    };
    const Case cases[] = {{'A', "  Y", "1112131415161718"}, {'B', "  Y", "2011121314151617"},
                          {'C', "Y  ", "1112131415161718"}, {'D', "Y  ", "2011121314151617"},
                          {'E', " N ", "1112131415161718"}, {'F', " N ", "2011121314151617"}};
    for (const Case& c : cases) {
        const std::string r = answerRecord(a, c.letter, v.main);
        EXPECT_EQ(cols(r.data(), 840, 3), c.flags) << c.letter;
        EXPECT_EQ(cols(r.data(), 698, 16), c.key) << c.letter;  // flat kinds dump from byte 0
        EXPECT_EQ(cols(r.data(), 836, 2), "00") << c.letter;    // "0077" shows as "00"
    }
    // A code that is no match, and a footnote that begins with "77".
    a.returnCode.cpyIn("12");
    a.footnote.cpyIn("77");
    EXPECT_EQ(cols(answerRecord(a, 'C', v.main).data(), 840, 3), "N  ");
    EXPECT_EQ(cols(answerRecord(a, 'E', v.main).data(), 840, 3), " Y ");
    EXPECT_EQ(cols(answerRecord(a, 'B', v.main).data(), 840, 3), "  N");
}

TEST(ClientRecords, DigestDumpsAndMatchCodes) {
    unsigned char sha[20];
    SHA1(reinterpret_cast<const unsigned char*>("abc"), 3, sha);
    fixedString<40> text;
    shaDumpToStr(sha, text);
    EXPECT_STREQ(text.buf, "a9993e364706816aba3e25717850c26c9cd0d89d");  // FIPS 180 example
    const unsigned char bytes[8] = {0x00, 0x01, 0x7f, 0x80, 0xab, 0xcd, 0xef, 0xff};
    EXPECT_STREQ(hexDump8Bytes(bytes).buf, "00017f80abcdefff");

    for (const char* yes : {"A", "A ", "91", "92", "1", "01", "02", "03", "05", "14", "19"}) EXPECT_TRUE(footnoteIsMatch(yes)) << yes;
    for (const char* no : {"4", "00", "66", "12", "16", "AB", " A", ""}) EXPECT_FALSE(footnoteIsMatch(no)) << no;
}

TEST(ClientRecords, LoadersStopAtShortLinesAndRefuseMissingNewlines) {
    CNCOA_DataTables tables;
    CNCOA_Auditor au(tables, nullptr, false, nullptr);
    std::string header(300, ' ');
    header.replace(0, 43, "HEAD0001SEQ001CNT1202601012026010220260215X");
    header.replace(298, 2, "\r\n");
    const std::string d = inputLine();

    TempFile onlyHeader(header);
    ASSERT_EQ(au.loadClientInput(onlyHeader.path.c_str()), 1000);
    EXPECT_TRUE(au.records.empty());
    EXPECT_STREQ(au.header1.buf, "HEAD0001");
    EXPECT_STREQ(au.header2.buf, "SEQ001");
    EXPECT_STREQ(au.header3.buf, "CNT1");
    EXPECT_STREQ(au.header4.buf, "20260101");
    EXPECT_STREQ(au.header5.buf, "20260102");
    EXPECT_STREQ(au.header6.buf, "20260215");
    EXPECT_EQ(au.headerFlag, 'X');

    // A short last line ends the load; the records before it are kept.
    TempFile shortLast(header + d + d + "SHORT LINE\r\n");
    ASSERT_EQ(au.loadClientInput(shortLast.path.c_str()), 1000);
    EXPECT_EQ(au.records.size(), 2u);
    // 300 bytes without the newline in its place.
    TempFile noNewline(header + d + std::string(300, 'X'));
    EXPECT_EQ(au.loadClientInput(noNewline.path.c_str()), 1044);
    TempFile tooLong(header + d.substr(0, 298) + "XX" + "\r\n");
    EXPECT_EQ(au.loadClientInput(tooLong.path.c_str()), 1044);

    try {
        au.loadClientInput("/nonexistent/client.txt");
        ADD_FAILURE() << "no exception";
    } catch (const fio_file_error& e) {
        EXPECT_EQ(e.errCode(), 1040);
        EXPECT_STREQ(e.what().asCstr(), "/nonexistent/client.txt");
    }

    // Stage one: 1000-byte lines with the same columns.
    std::string header1000 = header.substr(0, 298) + std::string(700, ' ') + "\r\n";
    const std::string d1000 = inputLine(1000);
    TempFile s1(header1000 + d1000 + d1000 + d1000);
    ASSERT_EQ(au.loadClientInputS1(s1.path.c_str()), 1000);
    ASSERT_EQ(au.records.size(), 3u);
    EXPECT_STREQ(au.records[2].nameText.buf, padded("JOHN A SMITH", 66).c_str());
    EXPECT_EQ(au.records[2].addressMark, '3');
    // A 300-byte file read as stage one: its lines lack the newline at 999.
    EXPECT_EQ(au.loadClientInputS1(shortLast.path.c_str()), 1044);
    TempFile s1NoNewline(header1000 + d1000.substr(0, 999) + "X");
    EXPECT_EQ(au.loadClientInputS1(s1NoNewline.path.c_str()), 1044);
}

TEST(ClientRecords, Form3553Record) {
    unsigned char form[kForm3553Record];
    std::memset(form, 0x55, sizeof form);
    CNCOA_Auditor::fillForm3553(form, "LIST NAME THAT IS LONGER THAN 25", "PROCESSOR", "1 MAIN ST", "TOWN ST 12345",
                                "MAILER", nullptr);
    const char* f = reinterpret_cast<const char*>(form);
    EXPECT_EQ(std::string(f, 25), "LIST NAME THAT IS LONGER ");
    EXPECT_EQ(f[25], '\0');
    EXPECT_EQ(f[26], '\0');  // a null text leaves zeros
    int one = 0;
    std::memcpy(&one, f + 52, sizeof one);
    EXPECT_EQ(one, 1);
    EXPECT_STREQ(f + 56, "PROCESSOR");
    EXPECT_STREQ(f + 89, "1 MAIN ST");
    EXPECT_STREQ(f + 122, "TOWN ST 12345");
    EXPECT_STREQ(f + 155, "MAILER");
    EXPECT_EQ(f[187], '\0');
}
