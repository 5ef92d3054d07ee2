// The USPS client test run: the test input file through the verifier and the
// normal record driver, and the 1000-byte answer file that certification reads.
#pragma once

#include <vector>

#include "DataTables.h"
#include "NCOA.h"
#include "fixedString.h"
#include "hx_fio.h"
#include "qvav.h"
#include "qvncoa.h"

namespace QV_NCOA {

enum {
    kClientInputLine = 300,     // the test file's lines, newline included
    kClientInputLineS1 = 1000,  // the stage-one layout
    kClientOutputRecord = 1000, // header and detail records of the answer file
    kForm3553Record = 188       // the record handed to qvav_write_3553
};

// Return codes that certification counts as a match: "A", 91, 92, 1, 2, 3, 5, 14, 19.
bool footnoteIsMatch(const char* code);

// The 20 bytes as 40 lower-case hexadecimal digits, in order.
void shaDumpToStr(const unsigned char* sha, fixedString<40>& out);
// Eight bytes as 16 lower-case hexadecimal digits.
fixedString<16> hexDump8Bytes(const unsigned char* bytes);

// One detail line of the test input file. Only columns 0 to 233 are read.
struct testClientInputDetailRecord {
    fixedString<28> leadText;
    char leadMark = 'N';
    fixedString<66> nameText;
    char nameMark = 'N';
    fixedString<28> midText;
    fixedString<67> addressText;
    char addressMark = 'N';
    fixedString<42> lastLineText;

    // Fields the line reaches are filled, blank-padded; length -1 is strlen.
    // Always true.
    bool fromCharString(const char* line, int length);
};

// One 1000-byte answer record: the test record, the address as verified, the
// new address and the keys and digests of the search.
struct testClientOutputDetail {
    fixedString<28> leadText;
    char leadMark = 'N';
    fixedString<66> nameText;
    char nameMark = 'N';
    fixedString<28> midText;
    fixedString<67> addressText;
    char addressMark = 'N';
    fixedString<42> lastLineText;

    fixedString<62> searchedName;
    // As verified.
    fixedString<28> avUrbanization;
    fixedString<10> avPrimaryNumber;
    fixedString<2> avPreDirectional;
    fixedString<28> avStreetName;
    fixedString<4> avSuffix;
    fixedString<2> avPostDirectional;
    fixedString<4> avSecondaryDesignator;
    fixedString<8> avSecondaryNumber;
    fixedString<28> avCity;
    fixedString<2> avState;
    fixedString<5> avZip;
    fixedString<4> zip4Used;
    // The new address.
    fixedString<28> urbanization;
    fixedString<10> primaryNumber;
    fixedString<2> preDirectional;
    fixedString<28> streetName;
    fixedString<4> suffix;
    fixedString<2> postDirectional;
    fixedString<4> secondaryDesignator;
    fixedString<8> secondaryNumber;
    fixedString<28> city;
    fixedString<2> state;
    fixedString<5> zip;
    fixedString<4> zip4;
    fixedString<3> deliveryPoint;  // two digits and the check digit
    fixedString<4> carrierRoute;
    char dropFlag = 'N';
    char nameFlag = 'N';
    fixedString<6> moveEffectiveDate;
    fixedString<2> middleInitials;
    char inputGender = 'U';
    fixedString<8> hint;
    fixedString<2> returnCode;
    fixedString<2> avCode1;
    fixedString<2> avCode2;
    // The search.
    fixedString<16> emdp;
    fixedString<40> emdpSha;
    fixedString<16> searchKey;
    fixedString<15> searchFirst;
    fixedString<20> searchLast;
    fixedString<5> searchSuffix;
    fixedString<40> searchSha;
    fixedString<16> rawResult;
    fixedString<17> seventeen;
    char moveType = ' ';
    fixedString<2> footnote;

    qvncoa_out_addr_t* outAddr = nullptr;  // the run's answer record; not written
    bool showLetterACE = false;
    bool showLetterCD = false;
    bool showLetterEF = false;
    bool showLetterAB = false;

    // verified: the verifier's main result record, or null. Its offsets are
    // those of qvav.h; nothing else of it is known.
    void set(const NCOAAnswer& answer, const testClientInputDetailRecord& in, const void* verified,
             const CNCOA_DataTables& tables);
    // The 1000 bytes at once; nothing without a file.
    void write(hx_file* file) const;
    // The record as write lays it out.
    void layOut(char (&record)[kClientOutputRecord]) const;
};

class CNCOA_Auditor {
public:
    CNCOA_Auditor(const CNCOA_DataTables& tables, qvav_context* av, bool debug, const qvncoa_prog_cb_t* progress);

    // The seven texts of qvncoa_runAudit in their order: the answer file's tag,
    // then the six texts of the form 3553. 1000, a failure code or the
    // verifier's status.
    int doClientTest(const char* inputPath, const char* outputPath, const char* form3553Path, const char* outputTag,
                     const char* form1, const char* form2, const char* form3, const char* form4, const char* form5,
                     const char* form6);

    int loadClientInput(const char* path);
    int loadClientInputS1(const char* path);
    bool loadHeader(const char* line, int length);
    void writeOutfileHeader(hx_file* file, const char* outputTag);
    int processRecord(const testClientInputDetailRecord& in, testClientOutputDetail& out);

    // The form record of qvav_write_3553.
    static void fillForm3553(unsigned char (&form)[kForm3553Record], const char* form1, const char* form2,
                             const char* form3, const char* form4, const char* form5, const char* form6);

    fixedString<8> header1;
    fixedString<6> header2;
    fixedString<4> header3;
    fixedString<8> header4;
    fixedString<8> header5;
    fixedString<8> header6;
    int headerCount = 0;
    char headerFlag = ' ';
    std::vector<testClientInputDetailRecord> records;
    bool stageOne = false;

private:
    int loadLines(const char* path, int lineLength, bool exactLength);

    CNCOA_Main engine;
    const CNCOA_DataTables* tables;
    qvav_context* verifier;
    bool debug;
    const qvncoa_prog_cb_t* progress;
};

}  // namespace QV_NCOA
