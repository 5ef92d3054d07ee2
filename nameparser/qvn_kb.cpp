// Loading of the knowledge base: one list a file, one entry a line.
#include "qvn_kb.h"

#include "qvn_status.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

namespace qvname {

namespace {

enum FileKind : uint8_t { FK_WORDS, FK_DEFINITIONS, FK_PHRASES, FK_SURNAME_FREQ, FK_GIVEN_FREQ };

struct ListFile {
  const char* name;
  uint16_t cls;
  FileKind kind = FK_WORDS;
};

// The files of a locale. Each must exist, even when it lists nothing.
const ListFile kFiles[] = {
    {"titles.txt", WC_TITLE},
    {"generational_suffixes.txt", WC_GEN_SUFFIX},
    {"professional_suffixes.txt", WC_PROF_SUFFIX},
    {"ambiguous_suffixes.txt", WC_AMBIG_SUFFIX},
    {"surname_particles.txt", WC_PARTICLE},
    {"particle_free_surnames.txt", WC_NO_PARTICLE},
    {"conjunctions.txt", WC_CONJ},
    {"ignored_words.txt", WC_IGNORED},
    {"given_names.txt", WC_GIVEN},
    {"surnames.txt", WC_SURNAME},
    {"title_leads.txt", WC_TITLE_LEAD},
    {"suffix_phrases.txt", WC_PHRASE_END, FK_PHRASES},
    {"definitions.txt", 0, FK_DEFINITIONS},
    // Generated from the national statistics by scripts/make_namekb.py.
    {"surname_freq.txt", 0, FK_SURNAME_FREQ},
    {"given_freq.txt", 0, FK_GIVEN_FREQ},
};

int32_t readWhole(const std::string& path, std::string& out, std::string& err) {
  errno = 0;
  FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) {
    int e = errno;
    if (e == ENOENT) {
      err = "knowledge base file missing: " + path;
      return QVN_E_KB_MISSING;
    }
    err = "cannot open knowledge base file " + path + ": " + std::strerror(e);
    return QVN_E_KB_UNREADABLE;
  }
  char chunk[8192];
  size_t got;
  while ((got = std::fread(chunk, 1, sizeof chunk, f)) > 0) out.append(chunk, got);
  int bad = std::ferror(f);
  int e = errno;
  std::fclose(f);
  if (bad) {
    err = "cannot read knowledge base file " + path + ": " + std::strerror(e ? e : EIO);
    return QVN_E_KB_UNREADABLE;
  }
  return QVN_OK;
}

bool validWord(const std::string& s) {
  if (s.empty() || s.size() > KnowledgeBase::kMaxWord) return false;
  bool letter = false;
  for (char c : s) {
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'))
      letter = true;
    else if (!((c >= '0' && c <= '9') || c == '\'' || c == '-'))
      return false;
  }
  return letter;
}

// "ATTORNEY AT LAW": two to four valid words, one blank apart.
bool splitPhrase(const std::string& s, std::vector<std::string>& words) {
  words.clear();
  size_t b = 0;
  while (b <= s.size()) {
    size_t e = s.find(' ', b);
    if (e == std::string::npos) e = s.size();
    std::string w = s.substr(b, e - b);
    if (!validWord(w)) return false;
    words.push_back(w);
    b = e + 1;
  }
  return words.size() >= 2 && words.size() <= 4;
}

bool validDefinition(const std::string& s) {
  if (s.empty() || s.size() > 127) return false;
  for (char c : s)
    if (c < 0x20 || c > 0x7e) return false;
  return true;
}

std::string pathOf(const std::string& dir, const char* name) {
  std::string path = dir;
  if (!path.empty() && path.back() != '/') path += '/';
  return path + name;
}

}  // namespace

int32_t KnowledgeBase::readFiles(const std::string& dir, std::vector<std::string>& texts, std::string& err) {
  texts.assign(sizeof kFiles / sizeof kFiles[0], std::string());
  for (size_t i = 0; i < texts.size(); ++i) {
    int32_t rc = readWhole(pathOf(dir, kFiles[i].name), texts[i], err);
    if (rc != QVN_OK) return rc;
  }
  return QVN_OK;
}

int32_t KnowledgeBase::load(const std::string& dir, std::string& err) {
  std::vector<std::string> texts;
  int32_t rc = readFiles(dir, texts, err);
  return rc != QVN_OK ? rc : load(dir, texts, err);
}

int32_t KnowledgeBase::load(const std::string& dir, const std::vector<std::string>& texts, std::string& err) {
  pending_.clear();
  definitions_.clear();
  phrases_.clear();
  for (size_t fileNo = 0; fileNo < texts.size() && fileNo < sizeof kFiles / sizeof kFiles[0]; ++fileNo) {
    const ListFile& lf = kFiles[fileNo];
    const std::string path = pathOf(dir, lf.name);
    if (lf.kind == FK_SURNAME_FREQ || lf.kind == FK_GIVEN_FREQ) {
      int32_t rc = loadFrequencies(path, texts[fileNo], lf.kind == FK_GIVEN_FREQ, err);
      if (rc != QVN_OK) return rc;
      continue;
    }
    std::string text = texts[fileNo];
    if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.erase(0, 3);

    std::set<std::string> seen;
    size_t pos = 0;
    for (unsigned lineNo = 1; pos < text.size(); ++lineNo) {
      size_t nl = text.find('\n', pos);
      if (nl == std::string::npos) nl = text.size();
      std::string line = text.substr(pos, nl - pos);
      pos = nl + 1;
      size_t b = line.find_first_not_of(" \t\r");
      size_t e = line.find_last_not_of(" \t\r");
      line = b == std::string::npos ? std::string() : line.substr(b, e - b + 1);
      if (line.empty() || line[0] == '#') continue;

      std::vector<std::string> words;
      bool ok = lf.kind == FK_WORDS ? validWord(line)
                : lf.kind == FK_PHRASES ? splitPhrase(line, words)
                                        : validDefinition(line);
      const char* why = lf.kind == FK_WORDS ? "expected one word of letters, digits, apostrophes or hyphens, at most 31 characters"
                        : lf.kind == FK_PHRASES ? "expected two to four words, one blank apart"
                                                : "expected a definition name of printable characters, at most 127";
      if (ok) {
        if (lf.kind != FK_DEFINITIONS)
          for (char& c : line)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
        if (!seen.insert(line).second) {
          ok = false;
          why = "duplicate entry";
        }
      }
      if (!ok) {
        std::string shown = line.size() > 60 ? line.substr(0, 60) + "..." : line;
        for (char& c : shown)
          if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7e) c = '?';
        err = path + ":" + std::to_string(lineNo) + ": bad entry \"" + shown + "\" (" + why + ")";
        return QVN_E_KB_BAD_LINE;
      }
      if (lf.kind == FK_WORDS) {
        pending_.push_back(Pending{line, lf.cls, 0, 0});
      } else if (lf.kind == FK_PHRASES) {
        for (std::string& w : words)
          for (char& c : w)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
        pending_.push_back(Pending{words.back(), lf.cls, 0, 0});
        phrases_.push_back(words);
      } else {
        definitions_.push_back(line);
      }
    }
  }
  if (definitions_.empty()) {
    err = "knowledge base " + dir + " defines no parse definition (definitions.txt is empty)";
    return QVN_E_KB_BAD_LINE;
  }
  buildTable();
  return QVN_OK;
}

// "NAME FIGURE" (surnames) or "NAME MALE FEMALE" (given names) a line, as
// scripts/make_namekb.py writes them. Tens of thousands of lines, so read
// without the per-line strings of the word lists.
int32_t KnowledgeBase::loadFrequencies(const std::string& path, const std::string& text, bool given,
                                       std::string& err) {
  const char* p = text.c_str();
  const char* end = p + text.size();
  for (unsigned lineNo = 1; p < end; ++lineNo) {
    const char* nl = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(end - p)));
    if (!nl) nl = end;
    const char* b = p;
    p = nl + 1;
    while (b < nl && (*b == ' ' || *b == '\t')) ++b;
    if (b == nl || *b == '#' || *b == '\r') continue;
    const char* w = b;
    while (b < nl && *b != ' ' && *b != '\t') ++b;
    std::string word(w, static_cast<size_t>(b - w));
    float fig[2] = {0, 0};
    int want = given ? 2 : 1;
    bool ok = validWord(word);
    for (int k = 0; k < want && ok; ++k) {
      char* after = nullptr;
      fig[k] = std::strtof(b, &after);
      ok = after != b && after <= nl && fig[k] >= 0 && fig[k] < 1e6f;
      b = after;
    }
    while (ok && b < nl && (*b == ' ' || *b == '\t' || *b == '\r')) ++b;
    if (!ok || b != nl) {
      err = path + ":" + std::to_string(lineNo) + ": bad entry (expected " +
            (given ? "NAME MALE_PER_100000 FEMALE_PER_100000)" : "NAME PER_100000)");
      return QVN_E_KB_BAD_LINE;
    }
    for (char& c : word)
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    if (given)
      pending_.push_back(Pending{word, 0, 0, (fig[0] + fig[1]) / 2});
    else
      pending_.push_back(Pending{word, 0, fig[0], 0});
  }
  return QVN_OK;
}

// Open addressing, load factor at most one half: a miss ends on an empty
// slot after a probe or two.
void KnowledgeBase::buildTable() {
  uint32_t cap = 64;
  while (cap < pending_.size() * 2) cap *= 2;
  table_.assign(cap, Slot{});
  mask_ = cap - 1;
  pool_.clear();
  pool_.reserve(pending_.size() * 8);
  words_ = 0;
  for (const Pending& p : pending_) add(p);
  pending_.clear();
  pending_.shrink_to_fit();
}

void KnowledgeBase::add(const Pending& p) {
  const std::string& word = p.word;
  uint32_t h = hash(word.data(), word.size());
  for (uint32_t i = h & mask_;; i = (i + 1) & mask_) {
    Slot& s = table_[i];
    if (s.len == 0) {
      s.hash = h;
      s.off = static_cast<uint32_t>(pool_.size());
      s.len = static_cast<uint8_t>(word.size());
      s.cls = p.cls;
      s.sur = p.sur;
      s.giv = p.giv;
      std::memcpy(s.head, word.data(), std::min(word.size(), kHead));
      pool_ += word;
      ++words_;
      return;
    }
    if (s.hash == h && s.len == word.size() && pool_.compare(s.off, s.len, word) == 0) {
      s.cls = static_cast<uint16_t>(s.cls | p.cls);  // same word in another list
      if (p.sur > 0) s.sur = p.sur;
      if (p.giv > 0) s.giv = p.giv;
      return;
    }
  }
}

int KnowledgeBase::phraseEndingAt(const Span* words, int count) const {
  int best = 0;
  for (const auto& ph : phrases_) {
    int n = static_cast<int>(ph.size());
    if (n > count || n <= best) continue;
    bool same = true;
    for (int k = 0; k < n && same; ++k) {
      const Span& w = words[count - n + k];
      same = w.len == ph[static_cast<size_t>(k)].size() && memEq(w.p, ph[static_cast<size_t>(k)].data(), w.len);
    }
    if (same) best = n;
  }
  return best;
}

bool KnowledgeBase::hasDefinition(const char* name) const {
  for (const std::string& d : definitions_)
    if (std::strcmp(d.c_str(), name) == 0) return true;
  return false;
}

}  // namespace qvname
