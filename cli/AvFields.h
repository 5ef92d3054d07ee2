// The standardised input address as the commands show it: the fields of the
// verifier's result record (qvav.h), one table for `ncoa match` and
// `ncoa verify`.
#pragma once

#include <cstring>
#include <string_view>

#include "qvav.h"

namespace ncoa_cli {

// Calls f(column, value) for each field of a verifier result, in output
// order; with a null result every value is empty.
template <typename F>
void forEachAvField(const void* result, F&& f) {
    const char* main = static_cast<const char*>(result);
    const char* addr = nullptr;
    if (main != nullptr) std::memcpy(&addr, main + QVAV_MAIN_ADDRESS, sizeof addr);
    // Every text stands in a slot of at least 41 bytes but the record type
    // (one character) and the result codes (two).
    const auto text = [&](const char* rec, int offset, std::size_t width) {
        return rec == nullptr ? std::string_view() : std::string_view(rec + offset, strnlen(rec + offset, width));
    };
    f("av_primary_number", text(addr, QVAV_ADDR_PRIMARY, 40));
    f("av_pre_directional", text(addr, QVAV_ADDR_PREDIR, 40));
    f("av_street_name", text(addr, QVAV_ADDR_STREET, 40));
    f("av_suffix", text(addr, QVAV_ADDR_SUFFIX, 40));
    f("av_post_directional", text(addr, QVAV_ADDR_POSTDIR, 40));
    f("av_secondary_designator", text(addr, QVAV_ADDR_DESIGNATOR, 40));
    f("av_secondary_number", text(addr, QVAV_ADDR_SECONDARY, 40));
    f("av_urbanization", text(addr, QVAV_ADDR_URBANIZATION, 40));
    f("av_city", text(addr, QVAV_ADDR_CITY, 40));
    f("av_state", text(main, QVAV_MAIN_STATE, 2));
    f("av_zip", text(addr, QVAV_ADDR_ZIP, 5));
    f("av_zip4", text(addr, QVAV_ADDR_ZIP4, 4));
    const char type = addr != nullptr ? addr[QVAV_ADDR_RECORD_TYPE] : '\0';
    f("av_record_type", type == ' ' ? std::string_view() : text(addr, QVAV_ADDR_RECORD_TYPE, 1));
    f("av_result_code", text(addr, QVAV_ADDR_RESULT1, 2));
    f("av_result_code_2", text(addr, QVAV_ADDR_RESULT2, 2));
}

}  // namespace ncoa_cli
