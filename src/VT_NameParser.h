// Splits a person's name through the name-parsing engine and decides its gender.
#pragma once

#include "NCOA_Types.h"

namespace QV_NCOA {

class CNCOA_DataTables;

class CNCOA_Vantrel_NameParser {
public:
    explicit CNCOA_Vantrel_NameParser(const CNCOA_DataTables& t) : tables(&t) {}

    // Always true; every failure is an exception. out must be blank on entry.
    bool parseName(const char* name, nameStruct& out);
    char testGender(const fixedString<15>& first);

private:
    const CNCOA_DataTables* tables;
};

}  // namespace QV_NCOA
