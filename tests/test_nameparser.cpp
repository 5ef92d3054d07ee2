// The name-parsing engine (libqvname) through its C interface: the corpus of
// name forms, concurrent use of one handle, and the start-up failures.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "../nameparser/qvn_status.h"
#include "qv_proxy.h"

namespace fs = std::filesystem;

namespace {

const char* const kDefinition = "Name (Address Update)";
const std::string kKb = QV_SOURCE_DIR "/data/namekb";

struct Parts {
  std::string slot[5];
  bool operator==(const Parts& o) const {
    for (int i = 0; i < 5; ++i)
      if (slot[i] != o.slot[i]) return false;
    return true;
  }
  std::string str() const {
    return slot[0] + " | " + slot[1] + " | " + slot[2] + " | " + slot[3] + " | " + slot[4];
  }
};

std::string lastError() {
  int32_t code = 0;
  char text[QV_PROXY_ERROR_SIZE] = {};
  proxy__qv_error_info_get(nullptr, &code, text);
  return text;
}

// Runs the whole start-up; returns the failing status and keeps the handle open.
int32_t openEngine(void** h, const std::string& kb) {
  char err[QV_PROXY_ERROR_SIZE] = {};
  int32_t rc = qv_proxy_init(h, "", 2, err);
  if (rc < 0) return rc;
  int32_t code = 0;
  if ((rc = proxy__qv_lkm_path_set(*h, kb.c_str())) < 0) return rc;
  if ((rc = proxy__qv_locale_code_get_by_iso_name(*h, "ENUSA", &code)) < 0) return rc;
  return proxy__qv_lkm_locale_load(*h, code, 7);
}

Parts parse(void* h, const std::string& input) {
  static thread_local std::vector<unsigned char> tokens(QV_PROXY_TOKEN_ARRAY_SIZE);
  std::fill(tokens.begin(), tokens.end(), 0);
  int32_t count = 0;
  int32_t rc = proxy__qv_parse(h, kDefinition, input.c_str(), tokens.data(), &count);
  EXPECT_EQ(rc, 0) << input << ": " << lastError();
  Parts p;
  for (int s = 0; s < 5; ++s) p.slot[s] = reinterpret_cast<const char*>(tokens.data() + s * QV_PROXY_SLOT_SIZE + 4);
  return p;
}

struct Case {
  std::string group, input;
  Parts want;
  int line;
};

std::string trim(const std::string& s) {
  size_t b = s.find_first_not_of(" \t");
  return b == std::string::npos ? std::string() : s.substr(b, s.find_last_not_of(" \t") - b + 1);
}

std::vector<Case> loadCorpus() {
  std::ifstream in(QV_SOURCE_DIR "/tests/data/names.txt");
  std::vector<Case> cases;
  std::string line, group;
  for (int n = 1; std::getline(in, line); ++n) {
    if (line.rfind("## ", 0) == 0) {
      group = line.substr(3);
      continue;
    }
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> f;
    std::stringstream ss(line);
    for (std::string part; std::getline(ss, part, '|');) f.push_back(part);
    if (f.size() == 5) f.push_back("");  // empty suffix
    if (f.size() != 6) {
      ADD_FAILURE() << "corpus line " << n << " malformed: " << line;
      continue;
    }
    Case c{group, f[0].substr(0, f[0].size() - (f[0].size() && f[0].back() == ' ' ? 1 : 0)), {}, n};
    for (int i = 0; i < 5; ++i) c.want.slot[i] = trim(f[i + 1]);
    cases.push_back(c);
  }
  return cases;
}

class NameParser : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(openEngine(&h_, kKb), 0) << lastError(); }
  void TearDown() override {
    if (h_) qv_proxy_close(h_);
  }
  void* h_ = nullptr;
};

TEST_F(NameParser, CorpusGroupsPass) {
  std::vector<Case> cases = loadCorpus();
  ASSERT_GE(cases.size(), 300u);
  std::string group;
  int groups = 0, failures = 0;
  for (const Case& c : cases) {
    groups += c.group != group ? 1 : 0;
    group = c.group;
    Parts got = parse(h_, c.input);
    if (!(got == c.want)) {
      ++failures;
      ADD_FAILURE() << "[" << c.group << "] line " << c.line << ": \"" << c.input << "\"\n  want " << c.want.str()
                    << "\n  got  " << got.str();
    }
  }
  EXPECT_GE(groups, 15);
  EXPECT_EQ(failures, 0);
}

// The labelled corpus of list forms (scripts/make_name_corpus.py), run as
// written and again in upper case with periods, commas, apostrophes, quotes
// and parentheses taken out, as many lists are kept.
struct TsvCase {
  std::string group, input;
  Parts want;
  bool keepPunctuation;
};

std::vector<TsvCase> loadTsvCorpus() {
  std::ifstream in(QV_SOURCE_DIR "/tests/data/names_corpus.tsv", std::ios::binary);
  std::vector<TsvCase> cases;
  std::string line, group;
  bool groupKeeps = false;
  while (std::getline(in, line)) {
    if (line.rfind("## ", 0) == 0) {
      size_t tab = line.find('\t');
      group = line.substr(3, tab == std::string::npos ? std::string::npos : tab - 3);
      groupKeeps = tab != std::string::npos && line.substr(tab + 1) == "keep-punctuation";
      continue;
    }
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> f;
    size_t b = 0;
    for (size_t e; (e = line.find('\t', b)) != std::string::npos; b = e + 1) f.push_back(line.substr(b, e - b));
    f.push_back(line.substr(b));
    if (f.size() != 6 && f.size() != 7) {
      ADD_FAILURE() << "corpus line malformed: " << line;
      continue;
    }
    TsvCase c{group, f[0], {}, groupKeeps || (f.size() == 7 && f[6] == "keep-punctuation")};
    for (int i = 0; i < 5; ++i) c.want.slot[i] = f[static_cast<size_t>(i) + 1];
    cases.push_back(c);
  }
  return cases;
}

std::string upperWithoutPunctuation(const std::string& s, bool input) {
  std::string out;
  for (char ch : s) {
    if (ch == '\'' || (input && std::strchr(".,\"()", ch))) continue;
    out += (ch >= 'a' && ch <= 'z') ? static_cast<char>(ch - 32) : ch;
  }
  return out;
}

TEST_F(NameParser, ListCorpusIsSplitRightInBothCases) {
  std::vector<TsvCase> cases = loadTsvCorpus();
  ASSERT_GE(cases.size(), 1500u);
  struct Tally {
    int n = 0, right = 0, nUpper = 0, rightUpper = 0;
  };
  std::vector<std::pair<std::string, Tally>> groups;
  Tally all;
  for (const TsvCase& c : cases) {
    if (groups.empty() || groups.back().first != c.group) groups.push_back({c.group, {}});
    Tally& t = groups.back().second;
    Parts got = parse(h_, c.input);
    bool ok = got == c.want;
    t.n++, all.n++;
    t.right += ok, all.right += ok;
    if (!ok) std::printf("  miss [%s] \"%s\": want %s, got %s\n", c.group.c_str(), c.input.c_str(), c.want.str().c_str(), got.str().c_str());
    if (c.keepPunctuation) continue;
    Parts want;
    for (int i = 0; i < 5; ++i) want.slot[i] = upperWithoutPunctuation(c.want.slot[i], false);
    std::string in = upperWithoutPunctuation(c.input, true);
    got = parse(h_, in);
    ok = got == want;
    t.nUpper++, all.nUpper++;
    t.rightUpper += ok, all.rightUpper += ok;
    if (!ok) std::printf("  miss upper [%s] \"%s\": want %s, got %s\n", c.group.c_str(), in.c_str(), want.str().c_str(), got.str().c_str());
  }
  EXPECT_GE(all.right * 100, all.n * 98);
  EXPECT_GE(all.rightUpper * 100, all.nUpper * 98);
  // Every family of hard forms has its own group.
  for (const char* family : {"given name and a lone initial", "comma before a suffix or credential",
                             "surname first without comma", "generations past III", "office and professional titles",
                             "credentials and occupations after the name", "two-word given names",
                             "double surnames and particles", "letters outside ASCII"}) {
    bool found = false;
    for (const auto& g : groups) found = found || (g.first == family && g.second.n >= 40);
    EXPECT_TRUE(found) << family;
  }
}

TEST_F(NameParser, SlotsCarryLengthAndLeaveTheRestAlone) {
  std::vector<unsigned char> tokens(QV_PROXY_TOKEN_ARRAY_SIZE, 0xAB);  // stale bytes, not zeroed
  int32_t count = -1;
  ASSERT_EQ(proxy__qv_parse(h_, kDefinition, "dr. mary ann smith-jones", tokens.data(), &count), 0);
  const char* want[5] = {"DR", "MARY", "ANN", "SMITH-JONES", ""};
  for (int s = 0; s < 5; ++s) {
    const unsigned char* slot = tokens.data() + s * QV_PROXY_SLOT_SIZE;
    int32_t len;
    std::memcpy(&len, slot, 4);
    EXPECT_STREQ(reinterpret_cast<const char*>(slot + 4), want[s]);
    EXPECT_EQ(len, static_cast<int32_t>(std::strlen(want[s])));
  }
  EXPECT_EQ(count, 4);
  for (size_t i = 5 * QV_PROXY_SLOT_SIZE; i < tokens.size(); ++i) ASSERT_EQ(tokens[i], 0xAB) << i;
}

TEST_F(NameParser, OverlongInputLeavesPartsEmpty) {
  std::string many;
  for (int i = 0; i < 70; ++i) many += "JOHN ";  // more words than a name has
  EXPECT_EQ(parse(h_, many), Parts{});
  EXPECT_EQ(parse(h_, std::string(1500, 'A')), Parts{});
  std::string longest(1023, 'A');  // the longest input that still splits
  EXPECT_EQ(parse(h_, longest).slot[3], longest);
}

TEST_F(NameParser, EightThreadsOnOneHandleMatchOneThread) {
  std::vector<Case> cases = loadCorpus();
  std::vector<Parts> single;
  for (const Case& c : cases) single.push_back(parse(h_, c.input));
  std::atomic<int> mismatches{0}, parsed{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int pass = 0; pass < 12; ++pass) {
        for (size_t i = 0; i < cases.size(); ++i) {
          size_t k = (i * 7 + static_cast<size_t>(t) * 31 + static_cast<size_t>(pass)) % cases.size();
          if (!(parse(h_, cases[k].input) == single[k])) ++mismatches;
          ++parsed;
        }
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(parsed.load(), static_cast<int>(8 * 12 * cases.size()));
  EXPECT_EQ(mismatches.load(), 0);
}

TEST_F(NameParser, LastErrorBelongsToTheCallingThread) {
  std::vector<unsigned char> tokens(QV_PROXY_TOKEN_ARRAY_SIZE);
  int32_t count;
  EXPECT_EQ(proxy__qv_parse(h_, "No Such Definition", "JOHN", tokens.data(), &count), QVN_E_UNKNOWN_DEFINITION);
  std::string other;
  int32_t otherCode = 0;
  std::thread([&] {
    int32_t c;
    EXPECT_EQ(proxy__qv_locale_code_get_by_iso_name(h_, "FRFRA", &c), QVN_E_UNKNOWN_LOCALE);
    char text[QV_PROXY_ERROR_SIZE];
    proxy__qv_error_info_get(h_, &otherCode, text);
    other = text;
  }).join();
  EXPECT_EQ(otherCode, QVN_E_UNKNOWN_LOCALE);
  EXPECT_NE(other.find("FRFRA"), std::string::npos) << other;
  int32_t code = 0;
  char text[QV_PROXY_ERROR_SIZE];
  proxy__qv_error_info_get(h_, &code, text);
  EXPECT_EQ(code, QVN_E_UNKNOWN_DEFINITION);
  EXPECT_NE(std::string(text).find("No Such Definition"), std::string::npos) << text;
}

// A copy of the shipped knowledge base that a test may spoil.
class NameParserStartup : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::path(QV_BINARY_DIR) / ("namekb_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(dir_);
    fs::copy(kKb, dir_);
  }
  void TearDown() override {
    if (h_) qv_proxy_close(h_);
    fs::remove_all(dir_);
  }
  int32_t open() { return openEngine(&h_, dir_.string()); }
  fs::path dir_;
  void* h_ = nullptr;
};

TEST_F(NameParserStartup, BadHandleAndBadVersion) {
  int32_t code;
  std::vector<unsigned char> tokens(QV_PROXY_TOKEN_ARRAY_SIZE);
  EXPECT_EQ(proxy__qv_lkm_path_set(nullptr, "x"), QVN_E_BAD_HANDLE);
  EXPECT_NE(lastError().find("bad handle"), std::string::npos);
  EXPECT_EQ(proxy__qv_locale_code_get_by_iso_name(nullptr, "ENUSA", &code), QVN_E_BAD_HANDLE);
  EXPECT_EQ(proxy__qv_lkm_locale_load(nullptr, 1, 7), QVN_E_BAD_HANDLE);
  EXPECT_EQ(proxy__qv_parse(nullptr, kDefinition, "A B", tokens.data(), &code), QVN_E_BAD_HANDLE);
  EXPECT_EQ(qv_proxy_close(nullptr), QVN_E_BAD_HANDLE);

  char err[QV_PROXY_ERROR_SIZE] = {};
  void* h = reinterpret_cast<void*>(1);
  EXPECT_EQ(qv_proxy_init(&h, nullptr, 3, err), QVN_E_BAD_VERSION);
  EXPECT_EQ(h, nullptr);
  EXPECT_NE(std::string(err).find("version 3"), std::string::npos) << err;
}

TEST_F(NameParserStartup, LocalesAndOrderOfCalls) {
  char err[QV_PROXY_ERROR_SIZE];
  ASSERT_EQ(qv_proxy_init(&h_, nullptr, 2, err), 0);
  int32_t code = 0, count;
  std::vector<unsigned char> tokens(QV_PROXY_TOKEN_ARRAY_SIZE);
  EXPECT_EQ(proxy__qv_parse(h_, kDefinition, "JOHN SMITH", tokens.data(), &count), QVN_E_LOCALE_NOT_LOADED);
  EXPECT_NE(lastError().find("no locale loaded"), std::string::npos);
  EXPECT_EQ(proxy__qv_locale_code_get_by_iso_name(h_, "XXYYZ", &code), QVN_E_UNKNOWN_LOCALE);
  EXPECT_NE(lastError().find("unknown locale \"XXYYZ\""), std::string::npos);
  ASSERT_EQ(proxy__qv_locale_code_get_by_iso_name(h_, "ENUSA", &code), 0);
  EXPECT_NE(code, 0);
  EXPECT_EQ(proxy__qv_lkm_locale_load(h_, code, 7), QVN_E_NO_KB_PATH);
  EXPECT_EQ(proxy__qv_lkm_path_set(h_, (dir_ / "nowhere").c_str()), QVN_E_KB_MISSING);
  EXPECT_NE(lastError().find("nowhere"), std::string::npos);
  ASSERT_EQ(proxy__qv_lkm_path_set(h_, dir_.c_str()), 0);
  EXPECT_EQ(proxy__qv_lkm_locale_load(h_, code + 1, 7), QVN_E_UNKNOWN_LOCALE);
  EXPECT_EQ(proxy__qv_lkm_locale_load(h_, code, 6), QVN_E_BAD_OPTIONS);
  ASSERT_EQ(proxy__qv_lkm_locale_load(h_, code, 7), 0);
  EXPECT_EQ(proxy__qv_lkm_locale_load(h_, code, 7), QVN_E_ALREADY_LOADED);
  EXPECT_EQ(proxy__qv_parse(h_, "Name", "JOHN SMITH", tokens.data(), &count), QVN_E_UNKNOWN_DEFINITION);
  EXPECT_NE(lastError().find("unknown parse definition \"Name\""), std::string::npos);
  EXPECT_EQ(proxy__qv_parse(h_, kDefinition, nullptr, tokens.data(), &count), QVN_E_BAD_ARGUMENT);
}

TEST_F(NameParserStartup, MissingOrUnreadableFileIsRefused) {
  fs::remove(dir_ / "particle_free_surnames.txt");
  EXPECT_EQ(open(), QVN_E_KB_MISSING);
  EXPECT_NE(lastError().find("particle_free_surnames.txt"), std::string::npos) << lastError();
  qv_proxy_close(h_);
  h_ = nullptr;
  fs::create_directory(dir_ / "particle_free_surnames.txt");  // exists, cannot be read as a file
  EXPECT_EQ(open(), QVN_E_KB_UNREADABLE);
  EXPECT_NE(lastError().find("particle_free_surnames.txt"), std::string::npos) << lastError();
}

TEST_F(NameParserStartup, BadLineNamesFileAndLine) {
  struct Spoil {
    const char* file;
    const char* text;
    const char* where;
  } spoils[] = {
      {"titles.txt", "MR\n\n# comment\nDR JOHN\n", "titles.txt:4: bad entry \"DR JOHN\""},
      {"conjunctions.txt", "AND\nA&B\n", "conjunctions.txt:2:"},
      {"generational_suffixes.txt", "JR\nSR\njr\n", "generational_suffixes.txt:3: bad entry \"JR\" (duplicate"},
      {"surname_particles.txt", "DE\n123\n", "surname_particles.txt:2:"},
      {"definitions.txt", "# none\n", "defines no parse definition"},
      {"surname_freq.txt", "# figures\nSMITH 919.6\nJONES many\n", "surname_freq.txt:3: bad entry"},
      {"given_freq.txt", "JAMES 2886\n", "given_freq.txt:1: bad entry"},
      {"suffix_phrases.txt", "ATTORNEY AT LAW\nREALTOR\n", "suffix_phrases.txt:2:"},
  };
  for (const Spoil& s : spoils) {
    fs::remove_all(dir_);
    fs::copy(kKb, dir_);
    std::ofstream(dir_ / s.file) << s.text;
    EXPECT_EQ(open(), QVN_E_KB_BAD_LINE) << s.file;
    EXPECT_NE(lastError().find(s.where), std::string::npos) << lastError();
    qv_proxy_close(h_);
    h_ = nullptr;
  }
}

// Built lists are shared between handles that load the same bytes, so a
// changed file must reach the next handle, and closing one handle must leave
// the others' lists whole.
TEST_F(NameParserStartup, ListsComeFromTheKnowledgeBase) {
  void* before = nullptr;
  ASSERT_EQ(openEngine(&before, dir_.string()), 0) << lastError();
  const std::string asShipped = parse(before, "DUKE JOHN SMITH").str();
  EXPECT_NE(asShipped, "DUKE | JOHN |  | SMITH | ");

  std::ofstream(dir_ / "titles.txt", std::ios::app) << "  duke \r\n";
  std::ofstream(dir_ / "definitions.txt", std::ios::app) << "Name (Test)\n";
  ASSERT_EQ(open(), 0) << lastError();
  EXPECT_EQ(parse(h_, "DUKE JOHN SMITH").str(), "DUKE | JOHN |  | SMITH | ");
  std::vector<unsigned char> tokens(QV_PROXY_TOKEN_ARRAY_SIZE);
  int32_t count;
  EXPECT_EQ(proxy__qv_parse(h_, "Name (Test)", "JOHN SMITH", tokens.data(), &count), 0);
  EXPECT_EQ(parse(before, "DUKE JOHN SMITH").str(), asShipped);

  void* again = nullptr;
  ASSERT_EQ(openEngine(&again, dir_.string()), 0) << lastError();
  qv_proxy_close(h_);
  h_ = nullptr;
  EXPECT_EQ(parse(again, "DUKE JOHN SMITH").str(), "DUKE | JOHN |  | SMITH | ");
  qv_proxy_close(again);
  qv_proxy_close(before);
}

}  // namespace
