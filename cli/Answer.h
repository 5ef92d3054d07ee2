// The fields of a lookup's answer as the commands show them: one table, so
// `ncoa match` columns and `ncoa lookup` lines stay the same list.
#pragma once

#include <cstdio>
#include <string_view>

#include "qvncoa.h"
#include "qvncoa_report.h"

namespace ncoa_cli {

// `text` with runs of spaces made one and no spaces at either end, into
// `out` (at least as large as `text`): the address as people read it.
std::string_view collapseSpaces(std::string_view text, char* out);

// Calls f(column, label, value) for each answer field, in output order.
// Months since the move is empty when the answer has no move date. The
// library's fields keep their exact bytes; the display columns beside the
// address and last line are for people.
template <typename F>
void forEachAnswerField(const qvncoa_out_addr_t& o, F&& f) {
    char months[16], lookups[16];
    char addressDisplay[sizeof o.addressLine], lastLineDisplay[sizeof o.lastLine];
    std::snprintf(months, sizeof months, "%d", o.monthsSinceMove);
    std::snprintf(lookups, sizeof lookups, "%d", o.lookupCount);
    const char moveType[2] = {o.moveType == ' ' ? '\0' : o.moveType, '\0'};
    const char checkDigit[2] = {o.checkDigit == ' ' ? '\0' : o.checkDigit, '\0'};

    f("ncoa_return_code", "Return code", std::string_view(o.returnCode));
    f("ncoa_footnote", "Footnote", std::string_view(o.footnote));
    f("ncoa_name", "Name", std::string_view(o.name));
    f("ncoa_primary_number", "Primary number", std::string_view(o.primaryNumber));
    f("ncoa_pre_directional", "Pre-directional", std::string_view(o.preDirectional));
    f("ncoa_street_name", "Street name", std::string_view(o.streetName));
    f("ncoa_suffix", "Suffix", std::string_view(o.suffix));
    f("ncoa_post_directional", "Post-directional", std::string_view(o.postDirectional));
    f("ncoa_secondary_designator", "Secondary designator", std::string_view(o.secondaryDesignator));
    f("ncoa_secondary_number", "Secondary number", std::string_view(o.secondaryNumber));
    f("ncoa_address_line", "Address line", std::string_view(o.addressLine));
    f("ncoa_last_line", "Last line", std::string_view(o.lastLine));
    f("ncoa_address_display", "Address (display)", collapseSpaces(o.addressLine, addressDisplay));
    f("ncoa_last_line_display", "Last line (display)", collapseSpaces(o.lastLine, lastLineDisplay));
    f("ncoa_city", "City", std::string_view(o.city));
    f("ncoa_state", "State", std::string_view(o.state));
    f("ncoa_zip", "ZIP", std::string_view(o.zip));
    f("ncoa_zip4", "ZIP+4 add-on", std::string_view(o.zip4));
    f("ncoa_delivery_point", "Delivery point", std::string_view(o.deliveryPoint));
    f("ncoa_check_digit", "Check digit", std::string_view(checkDigit));
    f("ncoa_carrier_route", "Carrier route", std::string_view(o.carrierRoute));
    f("ncoa_urbanization", "Urbanization", std::string_view(o.urbanization));
    f("ncoa_move_date", "Move date", std::string_view(o.moveEffectiveDate));
    f("ncoa_move_type", "Move type", std::string_view(moveType));
    f("ncoa_months_since_move", "Months since move",
      o.moveEffectiveDate[0] != '\0' ? std::string_view(months) : std::string_view());
    f("ncoa_too_old", "Too old", std::string_view(o.moveTooOld ? "1" : "0"));
    f("ncoa_lookups", "Searches", std::string_view(lookups));
}

// Counts one answer into a run's cumulative record.
//  - Every answered record is processed. Matched (NCOA) are those whose code
//    tells of a filing: anything but "00", "66" (cancelled by the daily
//    delete) and an empty code.
//  - A code "nn" from 00 to 31 counts in returnCodeCounts[nn], "A", "91" and
//    "92" in their slots; others (such as "66") in returnCodeOther, which
//    the report does not read.
//  - The move age counts for the nine codes that carry a date, when the date
//    is six digits: months below 0 as 0, above 48 as 48 in the month counters,
//    and by period in the family of the move type (B, I, F).
//  - ANK matching does not exist here: recordsMatchedANK stays 0.
void countAnswer(qvncoa_cumulativeStatsRecord_t& stats, const qvncoa_out_addr_t& out);

// Adds every counter of `from` into `to`; the texts of `to` stay.
void addCounts(qvncoa_cumulativeStatsRecord_t& to, const qvncoa_cumulativeStatsRecord_t& from);

}  // namespace ncoa_cli
