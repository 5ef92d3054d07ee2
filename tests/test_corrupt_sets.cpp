// Every file of the sample data set, hash and flat, damaged in each of the
// ways a hand-unpacked set gets damaged: the check must name the file with
// its code, and a set the check lets through must give, to a C caller, the
// undamaged set's answers or a code, never a crash.
#include <cctype>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "DataSetWriter.h"
#include "TestSupport.h"
#include "World.h"
#include "qvncoa.h"

namespace fs = std::filesystem;

namespace {

enum class Damage { ToZero, ToHalf, OneShort, Zeroed, BitsFlipped, Enlarged, OneAdded, Deleted };
const Damage kDamages[] = {Damage::ToZero,      Damage::ToHalf,   Damage::OneShort, Damage::Zeroed,
                           Damage::BitsFlipped, Damage::Enlarged, Damage::OneAdded, Damage::Deleted};
const char* nameOf(Damage d) {
    static const char* names[] = {"truncated to 0", "truncated to half", "one byte short", "zeroed",
                                  "bits flipped",   "enlarged",          "one byte added", "deleted"};
    return names[static_cast<int>(d)];
}
bool changesSize(Damage d) { return d != Damage::Zeroed && d != Damage::BitsFlipped; }

void writeAll(const fs::path& p, const std::string& bytes) {
    std::ofstream(p, std::ios::binary | std::ios::trunc) << bytes;
}

void apply(const fs::path& p, const std::string& good, Damage d) {
    std::string b = good;
    switch (d) {
        case Damage::ToZero: b.clear(); break;
        case Damage::ToHalf: b.resize(b.size() / 2); break;
        case Damage::OneShort: b.resize(b.size() - 1); break;
        case Damage::Zeroed: b.assign(b.size(), '\0'); break;
        case Damage::BitsFlipped:
            for (size_t at : {b.size() / 3, b.size() / 2, b.size() * 2 / 3}) b[at] = static_cast<char>(b[at] ^ 0x04);
            break;
        case Damage::Enlarged: b += good; break;
        case Damage::OneAdded: b += 'X'; break;
        case Damage::Deleted: fs::remove(p); return;
    }
    writeAll(p, b);
}

struct Failure {
    int code;
    std::string path;
};

struct CheckResult {
    int rc;
    std::string text;
    std::vector<Failure> failures;
    bool has(int code, const std::string& path) const {
        for (const Failure& f : failures)
            if (f.code == code && f.path == path) return true;
        return false;
    }
};

CheckResult check(const std::string& root, bool full) {
    CheckResult r;
    qvncoa_check_cb_t each = {[](int code, const char* path, const char*, void* user) {
                                  static_cast<std::vector<Failure>*>(user)->push_back({code, path});
                              },
                              &r.failures};
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    r.rc = qvncoa_check_data_set(root.c_str(), full ? 1 : 0, nullptr, &each, err);
    r.text = err;
    return r;
}

// Runs the C caller; its exit status and what it printed.
std::pair<int, std::string> runCaller(const std::string& root, const std::string& records, unsigned flags) {
    const std::string cmd = "'" QV_BINARY_DIR "/tests/qv_c_caller' '" + root + "' '" QV_SOURCE_DIR
                            "/data/namekb' " + std::to_string(flags) + " < '" + records + "' 2>&1";
    int status = 0;
    std::string out = shellOutput(cmd, &status);
    return {status, out};
}

// The sample list as the C caller's tab-separated records.
std::string callerRecords() {
    std::ifstream in(QV_SOURCE_DIR "/data/sample/list.csv");
    std::string line, out;
    std::getline(in, line);  // heading
    while (std::getline(in, line)) {
        const std::vector<std::string> f = csvFields(line);
        if (f.size() < 12) continue;
        const std::string& name = f[1].empty() ? f[2] : f[1];
        out += name + "\t" + f[3] + "\t" + f[6] + "\t" + f[9] + f[10] + "\t" + f[5] + "\t" + f[11] + "\n";
    }
    return out;
}

class CorruptSet : public ::testing::TestWithParam<qvw::DataSetKind> {
protected:
    void SetUp() override {
        const bool hash = GetParam() == qvw::DataSetKind::Hash;
        root_ = fs::temp_directory_path() / ("qv-corrupt-" + std::string(hash ? "hash-" : "flat-") +
                                             std::to_string(::getpid()));
        fs::remove_all(root_);
        qvw::DataSetWriter(qvw::loadWorld(QV_SOURCE_DIR "/data/sample/world.json"), root_.string(), GetParam())
            .write();
        records_ = (root_ / "records.txt").string();
        writeAll(records_, callerRecords());
        auto base = runCaller(root_.string(), records_, 0);
        ASSERT_EQ(base.first, 0) << base.second;
        baseline_ = splitLines(base.second);
        int moves = 0;
        for (const std::string& l : baseline_) moves += l.compare(0, 7, "1000|A|") == 0;
        ASSERT_GT(moves, 3);  // the list finds moves: a wrong answer would show
    }
    void TearDown() override { fs::remove_all(root_); }

    std::string path(const std::string& rel) const { return (root_ / rel).string(); }
    std::vector<std::string> filesUnder(const std::string& pattern) const {
        std::vector<std::string> v;
        for (const auto& e : fs::recursive_directory_iterator(root_)) {
            if (!e.is_regular_file()) continue;
            std::string rel = fs::relative(e.path(), root_).string();
            if (rel != "records.txt" && rel.find(pattern) != std::string::npos) v.push_back(rel);
        }
        std::sort(v.begin(), v.end());
        return v;
    }

    // A set the check passed answers as the undamaged one did, or with a code.
    void expectSafeAnswers(const std::string& what, bool answersMayDiffer = false) {
        auto got = runCaller(root_.string(), records_, 0);
        ASSERT_EQ(got.first, 0) << what << " passed the check but the C caller ended: " << got.second;
        std::vector<std::string> l = splitLines(got.second);
        ASSERT_EQ(l.size(), baseline_.size()) << what;
        for (size_t i = 0; i < l.size(); ++i) {
            const bool code = l[i].find('|') == std::string::npos;
            if (!code && !answersMayDiffer) {
                EXPECT_EQ(l[i], baseline_[i]) << what << ", record " << i + 1;
            }
        }
    }

    // Each damage of the file: expect(damage, result) asserts what the check said;
    // when the check passes, the answers must be safe.
    template <typename Expect>
    void damageEach(const std::string& rel, Expect expect, bool answersMayDiffer = false) {
        const fs::path p = root_ / rel;
        const std::string good = fileBytes(p);
        for (Damage d : kDamages) {
            const std::string what = rel + " " + nameOf(d);
            apply(p, good, d);
            if (d == Damage::Zeroed && good.find_first_not_of('\0') == std::string::npos) {
                // Zeroing an all-zero file (an unused stripe group) changes nothing.
                EXPECT_EQ(check(root_.string(), true).rc, QVNCOA_OK) << what;
                continue;
            }
            // The structural part sees every change of size; SHA-1 the rest.
            CheckResult r = check(root_.string(), !changesSize(d));
            if (r.rc == QVNCOA_OK) {
                expectSafeAnswers(what, answersMayDiffer);
            } else {
                ASSERT_FALSE(r.failures.empty()) << what;
                EXPECT_EQ(r.rc, r.failures[0].code) << what;
                EXPECT_EQ(r.text, r.failures[0].path) << what;
            }
            expect(d, r, what);
            writeAll(p, good);
        }
        ASSERT_EQ(check(root_.string(), true).rc, QVNCOA_OK) << rel << " restored";
    }

    // A file both a header lists and start-up or a lookup reads.
    void listedFile(const std::string& rel) {
        const std::string full = path(rel);
        damageEach(rel, [&](Damage d, const CheckResult& r, const std::string& what) {
            const int code = d == Damage::Deleted ? QVNCOA_ERR_FILE_OPEN
                             : changesSize(d)     ? QVNCOA_ERR_FILE_PACKED_SIZE
                                                  : QVNCOA_ERR_SHA1_MISMATCH;
            EXPECT_TRUE(r.has(code, full)) << what << ": expected " << code << " " << full << ", first " << r.rc
                                           << " " << r.text;
        });
    }

    fs::path root_;
    std::string records_;
    std::vector<std::string> baseline_;
};

TEST_P(CorruptSet, DiscHeaders) {
    for (const char* rel : {"DVD 1/dvdhdr01.dat", "DVD 2/dvdhdr02.dat"}) {
        const std::string disc = std::string(rel).substr(0, 5);
        damageEach(rel, [&](Damage d, const CheckResult& r, const std::string& what) {
            if (d == Damage::Deleted) {
                EXPECT_TRUE(r.has(QVNCOA_ERR_FILE_OPEN, path(rel))) << what;
                return;
            }
            if (r.rc == QVNCOA_OK) {
                // Only a flip inside a label or the set's name, or the last line end
                // cut, may pass, and the answers showed them harmless.
                EXPECT_TRUE(d == Damage::BitsFlipped || d == Damage::OneShort) << what;
                return;
            }
            // The header itself, or a file its damaged list no longer describes.
            bool named = r.has(QVNCOA_ERR_HEADER_INVALID, path(rel));
            for (const Failure& f : r.failures) named = named || f.path.find(root_.string() + "/" + disc) == 0;
            EXPECT_TRUE(named) << what << ": first " << r.rc << " " << r.text;
        });
    }
}

TEST_P(CorruptSet, RecordFilesAndTextListsOfTheSecondDisc) {
    std::vector<std::string> files = filesUnder("DVD 2/clk/");
    for (const std::string& f : filesUnder("DVD 2/rv9/")) files.push_back(f);
    files.push_back("DVD 2/clk.hsb");
    ASSERT_GE(files.size(), 27u);
    for (const std::string& rel : files) listedFile(rel);
}

TEST_P(CorruptSet, HashSectionsOrFlatFiles) {
    std::vector<std::string> files;
    for (const std::string& f : filesUnder("clk.")) {
        const std::string name = fs::path(f).filename().string();
        if ((name.size() == 9 && name.compare(5, 3, ".hs") == 0) || name.compare(0, 8, "clk.flt.") == 0)
            files.push_back(f);
    }
    ASSERT_EQ(files.size(), GetParam() == qvw::DataSetKind::Hash ? 260u : 3u);
    for (const std::string& rel : files) listedFile(rel);
}

// Updated daily apart from the discs and on no header: its layout is checked,
// its content can't be, so a damage that keeps the layout may change answers.
TEST_P(CorruptSet, DailyDelete) {
    const std::string rel = "DVD 2/dailydel.dat";
    damageEach(
        rel,
        [&](Damage d, const CheckResult& r, const std::string& what) {
            if (d == Damage::OneShort || d == Damage::OneAdded || d == Damage::Enlarged) {
                EXPECT_TRUE(r.has(QVNCOA_ERR_FILE_PACKED_SIZE, path(rel))) << what;
            }
        },
        true);
}

INSTANTIATE_TEST_SUITE_P(Kinds, CorruptSet, ::testing::Values(qvw::DataSetKind::Hash, qvw::DataSetKind::Flat),
                         [](const ::testing::TestParamInfo<qvw::DataSetKind>& i) {
                             return i.param == qvw::DataSetKind::Hash ? std::string("Hash") : std::string("Flat");
                         });

// The first finding: a short contents list opens, then a lookup in a group
// beyond it throws through the boundary. The check refuses such a set.
TEST(CorruptSetCheck, AShortContentsListIsRefusedBeforeAnyLookup) {
    const fs::path root = fs::temp_directory_path() / ("qv-corrupt-contents-" + std::to_string(::getpid()));
    fs::remove_all(root);
    qvw::DataSetWriter(qvw::loadWorld(QV_SOURCE_DIR "/data/sample/world.json"), root.string()).write();
    const fs::path contents = root / "DVD 2/clk/contents.lst";
    std::string text = fileBytes(contents);
    text.resize(text.size() / 2);  // groups 00 to 49
    writeAll(contents, text);
    CheckResult r = check(root.string(), false);
    EXPECT_TRUE(r.has(QVNCOA_ERR_FILE_PACKED_SIZE, contents.string()));
    const std::string records = (root / "records.txt").string();
    writeAll(records, "MARY SMITH\t1\t\t941103301\t\tS\n");
    auto got = runCaller(root.string(), records, 0);
    EXPECT_EQ(got.first, 3) << got.second;  // refused, not aborted
    fs::remove_all(root);
}

// A rule that replaces nothing would hang the rule walk of a lookup: the
// structural check refuses it, though the file's size and listing fit.
TEST(CorruptSetCheck, RulesThatWouldHangALookupAreRefused) {
    const fs::path root = fs::temp_directory_path() / ("qv-corrupt-rules-" + std::to_string(::getpid()));
    fs::remove_all(root);
    qvw::DataSetWriter(qvw::loadWorld(QV_SOURCE_DIR "/data/sample/world.json"), root.string()).write();
    const fs::path rules = root / "DVD 2/clk/rules.lst";
    const std::string good = fileBytes(rules);
    EXPECT_EQ(check(root.string(), false).rc, QVNCOA_OK);
    // The first rule's from-length made 0, size unchanged: the fuzzer's hang.
    std::string bad = good;
    ASSERT_TRUE(std::isdigit(static_cast<unsigned char>(bad[3])));
    bad[3] = '0';
    writeAll(rules, bad);
    CheckResult r = check(root.string(), false);
    EXPECT_EQ(r.rc, QVNCOA_ERR_FILE_PACKED_SIZE);
    EXPECT_TRUE(r.has(QVNCOA_ERR_FILE_PACKED_SIZE, rules.string()));
    EXPECT_EQ(r.failures.size(), 1u);
    fs::remove_all(root);
}

}  // namespace
