#include "Answer.h"

#include <cstring>

namespace ncoa_cli {
namespace {

// The slot of a return code in returnCodeCounts, -1 when it has none.
int slotOf(const char* rc) {
    if (std::strcmp(rc, "A") == 0) return QVNCOA_RC_SLOT_A;
    if (std::strcmp(rc, "91") == 0) return QVNCOA_RC_SLOT_91;
    if (std::strcmp(rc, "92") == 0) return QVNCOA_RC_SLOT_92;
    if (rc[0] >= '0' && rc[0] <= '9' && rc[1] >= '0' && rc[1] <= '9' && rc[2] == '\0') {
        const int n = (rc[0] - '0') * 10 + (rc[1] - '0');
        if (n < QVNCOA_RC_SLOT_A) return n;
    }
    return -1;
}

bool carriesDate(const char* rc) {
    static const char* const codes[] = {"A", "91", "92", "01", "02", "03", "05", "14", "19"};
    for (const char* c : codes)
        if (std::strcmp(rc, c) == 0) return true;
    return false;
}

bool sixDigits(const char* s) {
    for (int i = 0; i < 6; ++i)
        if (s[i] < '0' || s[i] > '9') return false;
    return s[6] == '\0';
}

int periodOf(int months) {
    if (months <= 3) return 0;
    if (months <= 6) return 1;
    if (months <= 12) return 2;
    if (months <= 18) return 3;
    return 4;
}

}  // namespace

void countAnswer(qvncoa_cumulativeStatsRecord_t& stats, const qvncoa_out_addr_t& out) {
    const char* rc = out.returnCode;
    ++stats.recordsProcessed;
    if (rc[0] != '\0' && std::strcmp(rc, "00") != 0 && std::strcmp(rc, "66") != 0) ++stats.recordsMatchedNCOA;

    const int slot = slotOf(rc);
    if (slot >= 0)
        ++stats.returnCodeCounts[slot];
    else
        ++stats.returnCodeOther;

    if (!carriesDate(rc) || !sixDigits(out.moveEffectiveDate)) return;
    int months = out.monthsSinceMove;
    if (months < 0) months = 0;
    ++stats.medMonthCounts[months < QVNCOA_MED_MONTHS ? months : QVNCOA_MED_MONTHS - 1];
    int family = -1;
    switch (out.moveType) {
        case 'B': family = QVNCOA_MED_BUSINESS; break;
        case 'I': family = QVNCOA_MED_INDIVIDUAL; break;
        case 'F': family = QVNCOA_MED_FAMILY; break;
        default: break;
    }
    if (family >= 0) ++stats.medPeriodCounts[family][periodOf(months)];
}

void addCounts(qvncoa_cumulativeStatsRecord_t& to, const qvncoa_cumulativeStatsRecord_t& from) {
    to.recordsProcessed += from.recordsProcessed;
    to.recordsMatchedNCOA += from.recordsMatchedNCOA;
    to.recordsMatchedANK += from.recordsMatchedANK;
    to.returnCodeOther += from.returnCodeOther;
    for (int i = 0; i < QVNCOA_RC_SLOTS; ++i) to.returnCodeCounts[i] += from.returnCodeCounts[i];
    for (int i = 0; i < QVNCOA_MED_MONTHS; ++i) to.medMonthCounts[i] += from.medMonthCounts[i];
    for (int f = 0; f < QVNCOA_MED_FAMILIES; ++f)
        for (int p = 0; p < QVNCOA_MED_PERIODS; ++p) to.medPeriodCounts[f][p] += from.medPeriodCounts[f][p];
}

std::string_view collapseSpaces(std::string_view text, char* out) {
    std::size_t n = 0;
    for (const char c : text) {
        if (c == ' ' && (n == 0 || out[n - 1] == ' ')) continue;
        out[n++] = c;
    }
    if (n > 0 && out[n - 1] == ' ') --n;
    return std::string_view(out, n);
}

}  // namespace ncoa_cli
