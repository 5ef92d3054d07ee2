// The processing summary report: layout line by line, codes unknown to the
// maps, the counter groups read at their fixed offsets, and failures.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "NCOA_Utils.h"
#include "TestSupport.h"
#include "qvncoa_report.h"

namespace {

using QV_NCOA::CNCOA_SummaryReport;

std::vector<std::string> readLines(const std::string& path) { return splitLines(fileBytes(path)); }

// Counters go in by byte offset, as a caller laid out to the record's
// published offsets would put them.
void setInt(qvncoa_cumulativeStatsRecord_t& s, std::size_t offset, int v) {
    std::memcpy(reinterpret_cast<char*>(&s) + offset, &v, sizeof v);
}

double localNoon(int y, int m, int d) {
    std::tm t{};
    t.tm_year = y - 1900;
    t.tm_mon = m - 1;
    t.tm_mday = d;
    t.tm_hour = 12;
    t.tm_isdst = -1;
    return static_cast<double>(std::mktime(&t));
}

class SummaryReport : public ::testing::Test {
protected:
    void SetUp() override {
        path = ::testing::TempDir() + "psr-" + std::to_string(::getpid()) + ".txt";
        std::remove(path.c_str());
        std::strcpy(stats.companyName, "ACME LIST SERVICES");
        std::strcpy(stats.licenseId, "LP1234");
        std::strcpy(stats.listName, "SPRING CATALOG");
        stats.processingCategory = eProcCat_Normal;
        stats.matchingLogic = eBIF_BusinessIndividual;
        stats.classOfMail = 'F';
        stats.dateProcessed = localNoon(2026, 3, 5);
    }
    void TearDown() override { std::remove(path.c_str()); }

    std::vector<std::string> report() {
        EXPECT_EQ(CNCOA_SummaryReport().DoReport(path.c_str(), &stats), 1000);
        return readLines(path);
    }

    std::string path;
    qvncoa_cumulativeStatsRecord_t stats{};
};

TEST_F(SummaryReport, LaysOutEveryLineFromTheCountersAtTheirOffsets) {
    setInt(stats, 184, 1000);  // records processed
    setInt(stats, 192, 120);   // matched
    setInt(stats, 880, 0);     // ANK
    const int noNew[] = {324, 328, 332}, cannot[] = {340, 376, 396}, provided[] = {448, 452, 456};
    for (int i = 0; i < 3; ++i) {
        setInt(stats, static_cast<std::size_t>(noNew[i]), 1 + i);      // 6
        setInt(stats, static_cast<std::size_t>(cannot[i]), 10 * (i + 1));  // 60
        setInt(stats, static_cast<std::size_t>(provided[i]), 100 + i);  // 303
    }
    // Neighbours that belong to no group stay out of the sums.
    setInt(stats, 320, 7777);
    setInt(stats, 336, 7777);
    setInt(stats, 444, 7777);
    // Month counters 0..48 at 460; index 48 is in "19 and higher", and the
    // int just past the array is not read.
    for (int m = 0; m < 49; ++m) setInt(stats, 460 + 4 * static_cast<std::size_t>(m), 1);
    setInt(stats, 460 + 4 * 48, 5);
    setInt(stats, 460 + 4 * 49, 9999);
    // Three families of five periods at 888, 908, 928.
    for (int f = 0; f < 3; ++f)
        for (int p = 0; p < 5; ++p) setInt(stats, 888 + 20 * static_cast<std::size_t>(f) + 4 * static_cast<std::size_t>(p), (f + 1) * (p + 1));

    const std::vector<std::string> expected = {
        "NCOA-Link Processing report",
        "Licensee Company Name: ACME LIST SERVICES",
        "License ID: LP1234",
        "List Name: SPRING CATALOG",
        "Processing Category: NORMAL",
        "Matching Logic Applied: Business And Individual Only",
        "Class of Mail: First Class And Standard Mail",
        "Date processed: 20260305",
        "",
        "Records processed: 1000",
        "Records matched (NCOA): 120",
        "Records matched (ANK): 0",
        "",
        "Summary by Return Codes",
        "\tMoved, New Address Provided: 303",
        "\tMoved, No New Address Available: 6",
        "\tMoved, Unable To Provide New Address: 60",
        "",
        "Move Effective Date Statistics",
        "\tSum of months 00-03: 6 (4)",
        "\tSum of months 04-06: 12 (3)",
        "\tSum of months 07-12: 18 (6)",
        "\tSum of months 13-18: 24 (6)",
        "\tSum of months 19 and higher: 30 (34)",
    };
    EXPECT_EQ(report(), expected);
}

TEST_F(SummaryReport, CodesOutsideTheMapsPrintUnknownWithTheCode) {
    stats.classOfMail = 'P';
    stats.processingCategory = 9;
    stats.matchingLogic = eBIF_IndividualFamily;
    const auto lines = report();
    ASSERT_EQ(lines.size(), 24u);
    EXPECT_EQ(lines[4], "Processing Category: Unknown (9)");
    EXPECT_EQ(lines[5], "Matching Logic Applied: Unknown (4)");
    EXPECT_EQ(lines[6], "Class of Mail: Unknown ('P')");

    // Every known text of the three maps, ends included.
    stats.processingCategory = eProcCat_EmpTrain;
    stats.matchingLogic = eBIF_All;
    stats.classOfMail = 'O';
    auto first = report();
    EXPECT_EQ(first[4], "Processing Category: EMP TRAIN");
    EXPECT_EQ(first[5], "Matching Logic Applied: Standard");
    EXPECT_EQ(first[6], "Class of Mail: First Class, Periodicals, Standard Mail And Package Services");
    stats.processingCategory = eProcCat_SysTest;
    stats.classOfMail = 'A';
    first = report();
    EXPECT_EQ(first[4], "Processing Category: SYS TEST");
    EXPECT_EQ(first[6], "Class of Mail: First Class Only");
}

TEST_F(SummaryReport, EmptyCountersGiveACompleteReportOfZeros) {
    const auto lines = report();
    ASSERT_EQ(lines.size(), 24u);
    for (std::size_t i = 9; i < lines.size(); ++i) {
        const std::string& l = lines[i];
        if (l.empty() || l.find(':') == std::string::npos) continue;
        const std::string numbers = l.substr(l.find(':') + 1);
        EXPECT_TRUE(numbers == " 0" || numbers == " 0 (0)") << l;
    }
}

TEST_F(SummaryReport, NullArgumentsAndUnwritablePaths) {
    CNCOA_SummaryReport r;
    EXPECT_EQ(r.DoReport(nullptr, &stats), 1052);
    EXPECT_EQ(r.DoReport(path.c_str(), nullptr), 1052);
    EXPECT_TRUE(readLines(path).empty());

    const std::string bad = "/nonexistent-folder/psr.txt";
    EXPECT_EQ(thrownText<QV_NCOA::qvncoa_exception>([&] { r.DoReport(bad.c_str(), &stats); }), "1041 " + bad);
}

TEST(SummaryReportSums, MedCountsIncludeBothEndsAndEmptyRanges) {
    int counts[49];
    for (int i = 0; i < 49; ++i) counts[i] = i;
    // (Ranges with both ends: the report's layout test.)
    EXPECT_EQ(CNCOA_SummaryReport::sumMedCounts(counts, 7, 7), 7);
    EXPECT_EQ(CNCOA_SummaryReport::sumMedCounts(counts, 5, 4), 0);
}

TEST(SummaryReportExport, TheSharedLibraryExportsTheClass) {
    void* lib = ::dlopen(QV_BINARY_DIR "/libqvncoa.so", RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(lib, nullptr) << ::dlerror();
    EXPECT_NE(::dlsym(lib, "_ZN7QV_NCOA19CNCOA_SummaryReportC1Ev"), nullptr);
    EXPECT_NE(::dlsym(lib, "_ZN7QV_NCOA19CNCOA_SummaryReport8DoReportEPKcP30qvncoa_cumulativeStatsRecord_t"), nullptr);
    EXPECT_NE(::dlsym(lib, "_ZN7QV_NCOA19CNCOA_SummaryReport12sumMedCountsEPiii"), nullptr);
    ::dlclose(lib);
}

}  // namespace
