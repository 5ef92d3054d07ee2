// The driver of one record: clean-up, key, search, and the arbitration of
// what the caller finally sees.
#pragma once

#include <cstring>
#include <new>

#include "NCOA_Lookup.h"

namespace QV_NCOA {

class CNCOA_Main : public CNCOA_Lookup {
public:
    CNCOA_Main(const CNCOA_DataTables& tables, bool debug);

    bool doNCOA(NCOAInput& input, NCOAAnswer& answer, eQVNCOA_BIFLookupMode mode);

private:
    bool debug;
    const CNCOA_DataTables& tables;
};

// The record driver entry shared by both lookups: search, months since the
// move, and the boundary record.
int doIt(NCOAInput& in, void* dataObj, qvncoa_out_addr_t* out, int mode, int medMonths, unsigned flags);

// The tables behind a caller's data object (qvncoa_init_data_obj's holder).
CNCOA_DataTables* tablesOf(void* dataObj);

// Runs an exported function's body under the boundary rules: memory
// exhaustion is 1030 with an empty text, the library's exceptions become
// their code and text (at most 1023 characters). Nothing else is caught.
template <typename Body>
int atBoundary(char* errorText, Body&& body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        if (errorText != nullptr) errorText[0] = '\0';
        return 1030;
    } catch (const qvncoa_exception& e) {
        if (errorText != nullptr) {
            QvbString text = e.what();
            size_t n = ncoa_strnlen(text.asCstr(), 1023);
            std::memcpy(errorText, text.asCstr(), n);
            errorText[n] = '\0';
        }
        return e.errCode();
    }
}

// The caller's month limit: below 6 means none (0), above 48 is 48.
int clampMedMonths(int medMonths);

// The verifier's address sub-record behind its result (null for no result),
// and the engine's input built from it: ZIP, the add-on over positions 5 to 8,
// numbers, designator and record type. The lookup with the verifier and the
// client test build the input the same way.
const char* verifiedAddressOf(const void* verified);
void inputFromVerifier(NCOAInput& input, const char* addr);

}  // namespace QV_NCOA
