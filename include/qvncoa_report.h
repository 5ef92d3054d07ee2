/* NCOALink processing summary report: the counts an application keeps over a
 * processing run, and the class that prints them as the plain-text report. */
#ifndef QVNCOA_REPORT_H
#define QVNCOA_REPORT_H

#include "qvncoa.h"

#ifdef __cplusplus
#include <cstddef>
#include <map>
#else
#include <stddef.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Processing category of a run. */
typedef enum eQVNCOA_ProcCat {
    eProcCat_EmpTrain = 0,
    eProcCat_IntDbTest = 1,
    eProcCat_MktgTest = 2,
    eProcCat_Normal = 3,
    eProcCat_StageI = 4,
    eProcCat_StageII = 5,
    eProcCat_SysTest = 6
} eQVNCOA_ProcCat;

/* Slots of returnCodeCounts: a numeric code "nn" from 00 to 31 counts at
 * index nn, the three codes of a provided new address after them. */
enum {
    QVNCOA_RC_SLOT_A = 32,
    QVNCOA_RC_SLOT_91 = 33,
    QVNCOA_RC_SLOT_92 = 34,
    QVNCOA_RC_SLOTS = 35
};

/* Families of the move-age counters by period (medPeriodCounts' first index),
 * after the move type of the filing. */
enum { QVNCOA_MED_BUSINESS = 0, QVNCOA_MED_INDIVIDUAL = 1, QVNCOA_MED_FAMILY = 2, QVNCOA_MED_FAMILIES = 3 };
/* Periods (second index): months 00-03, 04-06, 07-12, 13-18, 19 and higher. */
enum { QVNCOA_MED_PERIODS = 5, QVNCOA_MED_MONTHS = 49 };

/* Cumulative counts of one processing run. The report reads only the fields
 * that carry an offset in their comment; those offsets are fixed for every
 * caller. The reserved spans are the application's and are never read. */
typedef struct qvncoa_cumulativeStatsRecord_t {
    char companyName[101];        /*   0: licensee company name, NUL-terminated */
    char licenseId[19];           /* 101: list processor's license identifier */
    int processingCategory;       /* 120: eQVNCOA_ProcCat */
    int reserved124[2];
    int matchingLogic;            /* 132: eQVNCOA_BIFLookupMode */
    int reserved136;
    char classOfMail;             /* 140: 'A' to 'O' */
    char reserved141[11];
    double dateProcessed;         /* 152: seconds since the epoch, as time() gives them */
    int reserved160[6];
    int recordsProcessed;         /* 184 */
    int reserved188;
    int recordsMatchedNCOA;       /* 192 */
    int returnCodeOther;          /* records whose code has no slot below, such as "66" */
    int reserved200[30];
    /* 320: records by the return code of their answer. The report sums
     * 01-03 (324, 328, 332: moved, no new address), 05, 14, 19 (340, 376,
     * 396: moved, new address cannot be provided) and A, 91, 92 (448, 452,
     * 456: moved, new address provided). */
    int returnCodeCounts[QVNCOA_RC_SLOTS];
    int medMonthCounts[QVNCOA_MED_MONTHS];   /* 460: matches by months since the move, 0-48 */
    char reserved656[50];
    char listName[174];           /* 706: NUL-terminated */
    int recordsMatchedANK;        /* 880 */
    int reserved884;
    int medPeriodCounts[QVNCOA_MED_FAMILIES][QVNCOA_MED_PERIODS]; /* 888, 908, 928 */
    int reserved948;
} qvncoa_cumulativeStatsRecord_t;

#ifdef __cplusplus
}

#define QVNCOA_STATS_AT(field, off) \
    static_assert(offsetof(qvncoa_cumulativeStatsRecord_t, field) == (off), "stats record: " #field " moved")
QVNCOA_STATS_AT(licenseId, 101);
QVNCOA_STATS_AT(processingCategory, 120);
QVNCOA_STATS_AT(matchingLogic, 132);
QVNCOA_STATS_AT(classOfMail, 140);
QVNCOA_STATS_AT(dateProcessed, 152);
QVNCOA_STATS_AT(recordsProcessed, 184);
QVNCOA_STATS_AT(recordsMatchedNCOA, 192);
QVNCOA_STATS_AT(returnCodeCounts[1], 324);
QVNCOA_STATS_AT(returnCodeCounts[5], 340);
QVNCOA_STATS_AT(returnCodeCounts[14], 376);
QVNCOA_STATS_AT(returnCodeCounts[19], 396);
QVNCOA_STATS_AT(returnCodeCounts[QVNCOA_RC_SLOT_A], 448);
QVNCOA_STATS_AT(returnCodeCounts[QVNCOA_RC_SLOT_92], 456);
QVNCOA_STATS_AT(medMonthCounts, 460);
QVNCOA_STATS_AT(listName, 706);
QVNCOA_STATS_AT(recordsMatchedANK, 880);
QVNCOA_STATS_AT(medPeriodCounts[1], 908);
QVNCOA_STATS_AT(medPeriodCounts[2], 928);
#undef QVNCOA_STATS_AT

namespace QV_NCOA {

/* Prints a run's counts as the plain-text processing summary report. It does
 * no counting of its own: it names codes, adds up groups and prints. */
class QVNCOA_API CNCOA_SummaryReport {
public:
    CNCOA_SummaryReport();

    /* Writes the report to path, replacing the file. 1000, or 1052 when an
     * argument is null. A file that cannot be created or written throws the
     * library's file error, code 1041, with the path. */
    int DoReport(const char* path, qvncoa_cumulativeStatsRecord_t* stats);

    /* counts[first] + ... + counts[last]; 0 when first is above last. */
    static int sumMedCounts(int* counts, int first, int last);

private:
    std::map<int, const char*> m_categories;  /* by int: a record may hold any number */
    std::map<int, const char*> m_matchingLogic;
    std::map<char, const char*> m_mailClasses;
};

}  // namespace QV_NCOA
#endif

#endif
