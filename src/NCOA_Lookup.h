// The search for one EMDP: which names to try, and in what order.
#pragma once

#include "NCOA_Types.h"
#include "RV9.h"

namespace QV_NCOA {

class CNCOA_Lookup : public CNCOA_RV9 {
public:
    CNCOA_Lookup(const CNCOA_DataTables& tables, bool debug);

    void reset();
    bool doClks05c0(const NCOAInput& input, unsigned long emdp, eQVNCOA_BIFLookupMode mode);

    // The working answer, read by the record driver after each search.
    const NCOAAnswer& workingAnswer() const { return answer; }

protected:
    // One search for the key laid out in searchKey, and what is decided from it.
    bool do1000Forward();
    // The search widened to the name's variants: first-name normal forms and
    // nicknames, then last-name normal forms.
    bool do0999Forward();
    bool do0999ForwardNickn();
    bool do0999ForwardNormalL();

    // The places of the search key.
    char* firstPlace() { return searchKey + 9; }
    char* lastPlace() { return searchKey + 24; }
    char* suffixPlace() { return searchKey + 44; }
    char* firmPlace() { return searchKey + 9; }
    // Last name, and a generational suffix, into their places.
    void setLastAndSuffix();

    const CNCOA_DataTables& tables;
    bool debug;
    nameStruct lookupName;
    char lookupGender;
    nameStruct parsedName;
    char parsedGender;
    char searchKey[49];
    fixedString<60> inputName;
    fixedString<20> hyphenScratch;
    fixedString<15> savedFirst;
    fixedString<2> inputMiddle;
    fixedString<5> zip5;
    LookupRes res;
    bool middleAsFirst;
    bool familyTried;
    char firstInitialTry;
    NCOAAnswer savedAnswer;
    NCOAAnswer answer;
    int searchMode;

private:
    // The name rules are a function of the text alone, and the attempts of
    // one record shape the same last name again and again: the last text
    // shaped for each width is kept, with what the rules made of it.
    struct ShapedName {
        int len = 0;  // 0: nothing kept
        char in[20];
        char out[20];
    };
    ShapedName shaped[2];
    void applyNameRules(char* text, int len);
};

}  // namespace QV_NCOA
