// The processing summary report: names the run's codes, adds up the counter
// groups the application kept, and prints the plain-text report.
#include <cstdio>

#include "NCOA_Utils.h"
#include "hx_fio.h"
#include "qvb_date.h"
#include "qvncoa_report.h"

namespace QV_NCOA {

CNCOA_SummaryReport::CNCOA_SummaryReport() {
    m_categories = {
        {eProcCat_EmpTrain, "EMP TRAIN"}, {eProcCat_IntDbTest, "INT DB TST"}, {eProcCat_MktgTest, "MKTG TEST"},
        {eProcCat_Normal, "NORMAL"},      {eProcCat_StageI, "STAGE I"},       {eProcCat_StageII, "STAGE II"},
        {eProcCat_SysTest, "SYS TEST"},
    };
    m_matchingLogic = {
        {eBIF_All, "Standard"},
        {eBIF_BusinessOnly, "Business Only"},
        {eBIF_IndividualOnly, "Individual Only"},
        {eBIF_BusinessIndividual, "Business And Individual Only"},
    };
    m_mailClasses = {
        {'A', "First Class Only"},
        {'B', "Periodicals Only"},
        {'C', "Standard Mail Only"},
        {'D', "Package Services Only"},
        {'E', "First Class And Periodicals"},
        {'F', "First Class And Standard Mail"},
        {'G', "First Class And Package Services"},
        {'H', "Periodicals And Standard Mail"},
        {'I', "Periodicals And Package Services"},
        {'J', "Standard Mail And Package Services"},
        {'K', "First Class, Periodicals And Standard Mail"},
        {'L', "First Class, Periodicals And Package Services"},
        {'M', "First Class, Standard Mail And Package Services"},
        {'N', "Periodicals, Standard Mail And Package Services"},
        {'O', "First Class, Periodicals, Standard Mail And Package Services"},
    };
}

int CNCOA_SummaryReport::sumMedCounts(int* counts, int first, int last) {
    int sum = 0;
    for (int i = first; i <= last; ++i) sum += counts[i];
    return sum;
}

namespace {

// One report line into the file; a failed write is the same 1041 as a failed open.
void put(hx_file* file, const char* path, const char* line) {
    if (hx_fio_puts(file, line) < 0) throw fio_file_error(1041, path);
}

}  // namespace

int CNCOA_SummaryReport::DoReport(const char* path, qvncoa_cumulativeStatsRecord_t* stats) {
    if (path == nullptr || stats == nullptr) return 1052;

    hx_file* raw = nullptr;
    if (hx_fio_open(path, HX_FIO_WRITE, &raw) != 0) throw fio_file_error(1041, path);
    hx_fio_closer file(raw);

    char buf[500];
    auto line = [&](const char* text) { put(file.get(), path, text); };

    line("NCOA-Link Processing report\n");
    std::snprintf(buf, sizeof buf, "Licensee Company Name: %s\n", stats->companyName);
    line(buf);
    std::snprintf(buf, sizeof buf, "License ID: %s\n", stats->licenseId);
    line(buf);
    std::snprintf(buf, sizeof buf, "List Name: %s\n", stats->listName);
    line(buf);

    const auto category = m_categories.find(stats->processingCategory);
    if (category != m_categories.end())
        std::snprintf(buf, sizeof buf, "Processing Category: %s\n", category->second);
    else
        std::snprintf(buf, sizeof buf, "Processing Category: %s (%d)\n", "Unknown", stats->processingCategory);
    line(buf);

    const auto logic = m_matchingLogic.find(stats->matchingLogic);
    if (logic != m_matchingLogic.end())
        std::snprintf(buf, sizeof buf, "Matching Logic Applied: %s\n", logic->second);
    else
        std::snprintf(buf, sizeof buf, "Matching Logic Applied: %s (%d)\n", "Unknown", stats->matchingLogic);
    line(buf);

    const auto mailClass = m_mailClasses.find(stats->classOfMail);
    if (mailClass != m_mailClasses.end())
        std::snprintf(buf, sizeof buf, "Class of Mail: %s\n", mailClass->second);
    else
        std::snprintf(buf, sizeof buf, "Class of Mail: %s ('%c')\n", "Unknown", stats->classOfMail);
    line(buf);

    QvbDate date;
    date.assign(stats->dateProcessed);
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    date.getElements(year, month, day, hour, minute, second);
    std::snprintf(buf, sizeof buf, "Date processed: %04d%02d%02d\n", year, month, day);
    line(buf);
    line("\n");

    std::snprintf(buf, sizeof buf, "Records processed: %d\n", stats->recordsProcessed);
    line(buf);
    std::snprintf(buf, sizeof buf, "Records matched (NCOA): %d\n", stats->recordsMatchedNCOA);
    line(buf);
    std::snprintf(buf, sizeof buf, "Records matched (ANK): %d\n", stats->recordsMatchedANK);
    line(buf);
    line("\n");

    const int* rc = stats->returnCodeCounts;
    line("Summary by Return Codes\n");
    std::snprintf(buf, sizeof buf, "\tMoved, New Address Provided: %d\n",
                  rc[QVNCOA_RC_SLOT_A] + rc[QVNCOA_RC_SLOT_91] + rc[QVNCOA_RC_SLOT_92]);
    line(buf);
    std::snprintf(buf, sizeof buf, "\tMoved, No New Address Available: %d\n", rc[1] + rc[2] + rc[3]);
    line(buf);
    std::snprintf(buf, sizeof buf, "\tMoved, Unable To Provide New Address: %d\n", rc[5] + rc[14] + rc[19]);
    line(buf);
    line("\n");

    // The first number adds the three families' period counter, the bracketed
    // one the month counters over the same months; they are not compared.
    struct Period {
        const char* format;
        int first, last;
    };
    static const Period periods[QVNCOA_MED_PERIODS] = {
        {"\tSum of months 00-03: %d (%d)\n", 0, 3},
        {"\tSum of months 04-06: %d (%d)\n", 4, 6},
        {"\tSum of months 07-12: %d (%d)\n", 7, 12},
        {"\tSum of months 13-18: %d (%d)\n", 13, 18},
        {"\tSum of months 19 and higher: %d (%d)\n", 19, 48},
    };
    line("Move Effective Date Statistics\n");
    for (int p = 0; p < QVNCOA_MED_PERIODS; ++p) {
        int families = 0;
        for (int f = 0; f < QVNCOA_MED_FAMILIES; ++f) families += stats->medPeriodCounts[f][p];
        std::snprintf(buf, sizeof buf, periods[p].format, families,
                      sumMedCounts(stats->medMonthCounts, periods[p].first, periods[p].last));
        line(buf);
    }

    raw = file.release();
    if (hx_fio_close(raw) != 0) throw fio_file_error(1041, path);
    return 1000;
}

}  // namespace QV_NCOA
