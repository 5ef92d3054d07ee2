// The labelled address corpus (tests/data/addresses, written by
// scripts/make_address_corpus.py from Publication 28's rules): every row
// through the exported verifier, parsing only, component by component.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "qvav.h"

namespace fs = std::filesystem;

namespace {

std::vector<std::string> splitTabs(const std::string& line) {
    std::vector<std::string> out;
    std::stringstream ss(line);
    std::string field;
    while (std::getline(ss, field, '\t')) out.push_back(field);
    if (!line.empty() && line.back() == '\t') out.emplace_back();
    return out;
}

const char* text(void* result, int offset) {
    const unsigned char* main = static_cast<const unsigned char*>(result);
    if (offset < 0) return reinterpret_cast<const char*>(main - offset - 1);
    const unsigned char* addr = nullptr;
    std::memcpy(&addr, main + QVAV_MAIN_ADDRESS, sizeof addr);
    return reinterpret_cast<const char*>(addr + offset);
}

}  // namespace

TEST(QvavCorpus, ParsesNinetySevenPercentOfEveryForm) {
    // Expected columns and where the result holds them (negative: main record).
    const std::pair<const char*, int> fields[] = {
        {"primary", QVAV_ADDR_PRIMARY},   {"predir", QVAV_ADDR_PREDIR},
        {"street", QVAV_ADDR_STREET},     {"suffix", QVAV_ADDR_SUFFIX},
        {"postdir", QVAV_ADDR_POSTDIR},   {"designator", QVAV_ADDR_DESIGNATOR},
        {"secondary", QVAV_ADDR_SECONDARY}, {"urbanization", QVAV_ADDR_URBANIZATION},
        {"city", QVAV_ADDR_CITY},         {"state", -QVAV_MAIN_STATE - 1},
        {"zip", QVAV_ADDR_ZIP},           {"zip4", QVAV_ADDR_ZIP4}};
    qvav_context* av = nullptr;
    char err[1024];
    ASSERT_EQ(qvav_open(&av, "", err), 0) << err;

    std::size_t total = 0, right = 0;
    std::vector<std::string> groups;
    for (const auto& entry : fs::directory_iterator(QV_SOURCE_DIR "/tests/data/addresses"))
        if (entry.path().extension() == ".tsv") groups.push_back(entry.path().string());
    std::sort(groups.begin(), groups.end());
    ASSERT_GE(groups.size(), 10u);
    for (const std::string& path : groups) {
        std::ifstream in(path);
        std::string line;
        std::getline(in, line);
        const std::vector<std::string> header = splitTabs(line);
        ASSERT_EQ(header.size(), 15u) << path;
        std::size_t rows = 0, ok = 0, shown = 0;
        while (std::getline(in, line)) {
            const std::vector<std::string> row = splitTabs(line);
            ASSERT_EQ(row.size(), 15u) << path << ": " << line;
            void* result = nullptr;
            ASSERT_EQ(qvav_verify_address(av, 0, "", "", "", row[0].c_str(), row[1].c_str(), row[2].c_str(), &result), 0);
            std::string wrong;
            for (std::size_t f = 0; f < 12; ++f) {
                const char* got = text(result, fields[f].second);
                if (row[3 + f] != got) wrong += std::string(" ") + fields[f].first + "=" + got + " (want " + row[3 + f] + ")";
            }
            ++rows;
            if (wrong.empty())
                ++ok;
            else if (shown++ < 5)
                std::printf("  miss %s | %s | %s:%s\n", row[0].c_str(), row[1].c_str(), row[2].c_str(), wrong.c_str());
        }
        std::printf("%-14s %4zu of %4zu (%.1f%%)\n", fs::path(path).stem().c_str(), ok, rows,
                    rows ? 100.0 * static_cast<double>(ok) / static_cast<double>(rows) : 0.0);
        total += rows;
        right += ok;
    }
    qvav_close(&av);
    EXPECT_EQ(av, nullptr);
    ASSERT_GE(total, 1000u);
    const double rate = static_cast<double>(right) / static_cast<double>(total);
    std::printf("all            %4zu of %4zu (%.2f%%)\n", right, total, 100.0 * rate);
    EXPECT_GE(rate, 0.97);
}

TEST(QvavCorpus, BadInputGetsAResultCodeAndNeverBreaksTheRecord) {
    qvav_context* av = nullptr;
    char err[1024];
    ASSERT_EQ(qvav_open(&av, nullptr, err), 0);
    std::string longLine(10000, 'A');
    for (std::size_t i = 0; i < longLine.size(); i += 7) longLine[i] = ' ';
    std::string binary;
    for (int i = 1; i < 256; ++i) binary += static_cast<char>(i);
    std::string numbers;
    for (int i = 0; i < 3000; ++i) numbers += "12 ";
    const std::string hashes(5000, '#');
    const std::string punctuation = ".,;:!?-/#'&()[]{}\"*";
    const char* cases[][3] = {{"", "", ""},
                              {longLine.c_str(), longLine.c_str(), longLine.c_str()},
                              {binary.c_str(), binary.c_str(), binary.c_str()},
                              {numbers.c_str(), "", numbers.c_str()},
                              {hashes.c_str(), hashes.c_str(), ""},
                              {punctuation.c_str(), "", punctuation.c_str()},
                              {"PO BOX", "", "12345-"},
                              {"RR", "APT", "NY"},
                              {"123 APT", "#", "-----"},
                              {nullptr, nullptr, nullptr}};
    const char* expected[] = {"20", "", "", "", "20", "20", "", "", "", "20"};
    for (std::size_t k = 0; k < sizeof cases / sizeof cases[0]; ++k) {
        void* result = nullptr;
        ASSERT_EQ(qvav_verify_address(av, 1, nullptr, nullptr, nullptr, cases[k][0], cases[k][1], cases[k][2], &result), 0);
        const char* r1 = text(result, QVAV_ADDR_RESULT1);
        const char* r2 = text(result, QVAV_ADDR_RESULT2);
        EXPECT_EQ(std::strlen(r1), 2u) << k;
        EXPECT_EQ(std::strlen(r2), 2u) << k;
        if (*expected[k]) {
            EXPECT_STREQ(r1, expected[k]) << k;
        }
        // Every text field stays inside its width.
        for (int off : {QVAV_ADDR_PRIMARY, QVAV_ADDR_STREET, QVAV_ADDR_SECONDARY, QVAV_ADDR_URBANIZATION})
            EXPECT_LT(std::strlen(text(result, off)), 41u) << k;
        EXPECT_LT(std::strlen(text(result, QVAV_ADDR_CITY)), 209u) << k;
    }
    void* result = nullptr;
    EXPECT_EQ(qvav_verify_address(nullptr, 1, "", "", "", "1 Main St", "", "", &result), QVAV_ERR_ARGUMENT);
    EXPECT_EQ(qvav_verify_address(av, 1, "", "", "", "1 Main St", "", "", nullptr), QVAV_ERR_ARGUMENT);
    qvav_close(&av);
    qvav_close(nullptr);
}
