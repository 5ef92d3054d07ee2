// The plain records that carry one address through the match engine.
#pragma once

#include "NCOA_Utils.h"
#include "fixedString.h"
#include "qvncoa.h"

namespace QV_NCOA {

// What is looked for.
struct NCOAInput {
    fixedString<40> name;
    fixedString<10> pno;
    fixedString<8> sno;
    fixedString<9> zip9;
    char recordType = ' ';
    fixedString<4> desc;
};

// A parsed person name. The constructor leaves gender alone; the parser sets it.
struct nameStruct {
    fixedString<5> prefix;
    fixedString<15> first;
    fixedString<20> middle;
    fixedString<20> last;
    fixedString<5> suffix;
    char gender;
    nameStruct() {}  // NOLINT: gender deliberately not set

    // Blanks the five parts; gender stays.
    void blank() {
        prefix.spcs();
        first.spcs();
        middle.spcs();
        last.spcs();
        suffix.spcs();
    }
};

// What one search in the data set gave.
struct LookupRes {
    fixedString<11> zip11;
    fixedString<6> moveDate;
    fixedString<2> middle;
    char gender = ' ';
    char dropFlag = ' ';
    char nameFlag = ' ';
    fixedString<7> hint;
    unsigned char raw[8] = {};
    unsigned long seventeen = 0;

    // Blank text, zero binary parts: the state before each search.
    void clear() {
        zip11.spcs();
        moveDate.spcs();
        middle.spcs();
        gender = dropFlag = nameFlag = ' ';
        hint.spcs();
        std::memset(raw, 0, sizeof raw);
        seventeen = 0;
    }
};

// The name as searched: the five parts side by side.
struct nameBlockFields {
    char opPrefix[6];
    char opFirst[15];
    char opMiddle[15];
    char opLast[20];
    char opSuffix[6];
};
static_assert(sizeof(nameBlockFields) == 62, "name block is 62 bytes");

struct addressBlockFields {
    char primaryNumber[10];
    char preDirectional[2];
    char streetName[28];
    char suffix[4];
    char postDirectional[2];
    char secondaryDesignator[4];
    char secondaryNumber[8];
};
static_assert(sizeof(addressBlockFields) == 58, "address block is 58 bytes");

// resultString: zip, zip4, delivery point, check digit.
struct cityBlockFields {
    char city[28];
    char state[2];
    char zip[5];
    char zip4[4];
    char deliveryPoint[2];
    char checkDigit[1];
};
static_assert(sizeof(cityBlockFields) == 42, "city block is 42 bytes");

// What is reported for one record.
struct NCOAAnswer {
    fixedString<50> nameLine;
    fixedString<50> addressLine;
    fixedString<50> lastLine;
    fixedString<4> carrierRoute;
    fixedString<6> moveEffectiveDate;
    char moveType = ' ';
    char inputGender = ' ';
    char dropFlag = ' ';
    char nameFlag = ' ';
    fixedString<12> resultCopy;
    fixedString<28> urbanization;
    fixedString<2> returnCode;
    fixedString<4> footnote;
    int lookupCount = 0;
    union {
        char nameBlock[62];
        nameBlockFields name;
    };
    union {
        char addressBlock[58];
        addressBlockFields address;
    };
    union {
        char cityBlock[42];
        cityBlockFields city;
    };
    unsigned long seventeen = 0;
    unsigned long emdp = 0;
    unsigned char emdpSha[20] = {};
    char searchKey[49] = {};
    unsigned char searchSha[20] = {};
    unsigned char rawResult[8] = {};
    nameStruct parsedName;
    char parsedGender = ' ';
    fixedString<8> hint;
    fixedString<40> firmName;
    fixedString<4> zip4Used;

    NCOAAnswer();
    NCOAAnswer(const NCOAAnswer& o);
    NCOAAnswer& operator=(const NCOAAnswer& o);

    // The 12 characters at the end of the coded address: 11 digits and a check digit.
    char* resultString() { return cityBlock + 30; }
    const char* resultString() const { return cityBlock + 30; }

    void init(bool keepInput);
    void toOutAddr(qvncoa_out_addr_t& out) const;
    bool doMEDMonthsCalc(int medMonths, int& months) const;
    static int monthDiff(const char* yyyymm);
};

// Copies the parsed name into the answer's name block, bounded by each source's width.
void setOPName(NCOAAnswer& answer, const nameStruct& name);

}  // namespace QV_NCOA
