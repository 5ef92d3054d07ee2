// Synthetic data sets: `ncoa dataset synth` writes a set that opens and a
// mailing list whose outcome is known, and `ncoa match` reproduces it.
//
// Found means a return code that carries a new address: "A", "91" or "92".
// Tolerance: the found share of the list may differ from the expected one by
// at most 1 percentage point, and at least 99% of the rows must get exactly
// their expected code. The filter of a hash data set answers a key that isn't
// there with a small probability, so a miss may now and then find something;
// beyond that nothing should differ.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "Synth.h"
#include "TestSupport.h"

namespace fs = std::filesystem;

namespace {

const std::string kNames = QV_SOURCE_DIR "/data/namekb";

int run(const std::string& args, std::string* out = nullptr) {
    int status = 0;
    const std::string text = runNcoa(args, &status);
    if (out) *out = text;
    return status;
}

std::vector<std::vector<std::string>> readCsv(const std::string& path) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string& line : splitLines(fileBytes(path))) rows.push_back(csvFields(line));
    return rows;
}

class SynthSet : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        dir = fs::temp_directory_path() / ("qv-synth-" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        std::string out;
        const int rc = run("dataset synth --filings 2000 --out '" + (dir / "set").string() + "' --list 1000 --list-out '" +
                               (dir / "list.csv").string() + "' --answers '" + (dir / "answers.csv").string() +
                               "' --hit-rate 0.3 --seed 7 --names '" + kNames + "'",
                           &out);
        ASSERT_EQ(rc, 0) << out;
    }
    static void TearDownTestSuite() { fs::remove_all(dir); }
    static fs::path dir;
};
fs::path SynthSet::dir;

TEST_F(SynthSet, OpensAndProves) {
    std::string out;
    ASSERT_EQ(run("info '" + (dir / "set").string() + "'", &out), 0) << out;
    EXPECT_NE(out.find("SYNTHETIC NCOALINK HASH DATA SET"), std::string::npos) << out;
    ASSERT_EQ(run("prove '" + (dir / "set").string() + "'", &out), 0) << out;
    // The writer's temporary files, which sort the filings, are gone.
    std::vector<std::string> top;
    for (const auto& e : fs::directory_iterator(dir / "set"))
        top.push_back(e.path().filename().string());
    std::sort(top.begin(), top.end());
    EXPECT_EQ(top, (std::vector<std::string>{"DVD 1", "DVD 2"}));
}

TEST_F(SynthSet, MatchReproducesTheKnownHitRate) {
    {  // (One thread or two give the same file: the match command's suite.)
        const fs::path result = dir / "result.csv";
        std::string out;
        ASSERT_EQ(run("match --data '" + (dir / "set").string() + "' --in '" + (dir / "list.csv").string() +
                          "' --out '" + result.string() + "' --no-progress --threads 2",
                      &out),
                  0)
            << out;
        const auto rows = readCsv(result.string());
        const auto answers = readCsv((dir / "answers.csv").string());
        ASSERT_EQ(rows.size(), 1001u);
        ASSERT_EQ(answers.size(), 1001u);
        const std::size_t code = columnOf(rows[0], "ncoa_return_code"), id = columnOf(rows[0], "Customer ID");

        std::size_t found = 0, expectedFound = 0, same = 0;
        std::map<std::string, std::size_t> kinds, wrongByKind;
        for (std::size_t r = 1; r < rows.size(); ++r) {
            ASSERT_EQ(rows[r][id], answers[r][0]) << "row " << r << " out of order";
            const std::string& got = rows[r][code];
            const std::string& want = answers[r][2];
            found += qvw::SynthGenerator::isFoundCode(got);
            expectedFound += qvw::SynthGenerator::isFoundCode(want);
            ++kinds[answers[r][1]];
            if (got == want)
                ++same;
            else
                ++wrongByKind[answers[r][1] + " " + want + "->" + got];
        }
        std::string wrong;
        for (const auto& [k, n] : wrongByKind)
            wrong += " " + k + ":" + std::to_string(n);
        EXPECT_NEAR(static_cast<double>(found) / 1000, static_cast<double>(expectedFound) / 1000, 0.01) << wrong;
        EXPECT_GE(same, 990u) << "rows with another code than expected:" << wrong;
        // The list is the mix it claims: hits and every kind of near miss.
        EXPECT_NEAR(static_cast<double>(expectedFound) / 1000, 0.3, 0.05);
        for (const char* k : {"hit", "variant hit", "wrong house", "other name", "middle clash", "miss"})
            EXPECT_GT(kinds[k], 0u) << k;
    }
}

// The generator alone: a seed fixes world and list; the grid keeps filers
// apart and every new address inside a range.
TEST(SynthGenerator, SeededAndConsistent) {
    qvw::SynthOptions o;
    o.filings = 3000;
    o.seed = 11;
    o.nameListDir = kNames;
    qvw::SynthGenerator a(o), b(o);
    const auto listA = a.makeList(500, 0.5, 3), listB = b.makeList(500, 0.5, 3);
    ASSERT_EQ(listA.size(), 500u);
    for (std::size_t i = 0; i < listA.size(); ++i)
        ASSERT_EQ(listA[i].name + listA[i].primary + listA[i].zip4, listB[i].name + listB[i].primary + listB[i].zip4);
    o.seed = 12;
    qvw::SynthGenerator c(o);
    EXPECT_NE(c.world().filings[0].from.zip9 + c.world().filings[0].from.primary,
              a.world().filings[0].from.zip9 + a.world().filings[0].from.primary);

    const qvw::World& w = a.world();
    ASSERT_EQ(w.filings.size(), 3000u);
    std::map<std::string, const qvw::AddressRange*> byZip9;
    for (const auto& r : w.ranges)
        byZip9[r.zip + r.addonLow] = &r;
    std::map<std::string, int> from;
    for (const auto& f : w.filings) {
        ++from[f.from.zip9 + "/" + f.from.primary + "/" + f.from.secondary];
        if (f.toZip11.compare(0, 5, "00000") == 0)
            continue;
        const auto it = byZip9.find(f.toZip11.substr(0, 9));
        ASSERT_NE(it, byZip9.end()) << f.toZip11;
        const qvw::AddressRange& r = *it->second;
        // The delivery point is a house of the range, or a unit of the building.
        const int dp = std::stoi(f.toZip11.substr(9));
        if (r.recordType == 'H')
            EXPECT_TRUE(dp >= 1 && dp <= std::stoi(r.secondaryHigh)) << f.toZip11;
        else
            EXPECT_EQ(dp % 2, std::stoi(r.primaryLow) % 2) << f.toZip11;
    }
    EXPECT_EQ(from.size(), w.filings.size()) << "two filings from one address";
    const qvw::SynthListSummary s = qvw::SynthGenerator::summarise(listA);
    EXPECT_NEAR(s.foundRate(), 0.5, 0.07);
}

} // namespace
