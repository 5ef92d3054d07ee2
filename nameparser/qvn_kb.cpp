// Loading of the knowledge base: one list a file, one entry a line.
#include "qvn_kb.h"

#include "qvn_status.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>

namespace qvname {

namespace {

struct ListFile {
  const char* name;
  uint16_t cls;  // 0: the definitions file
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
    {"definitions.txt", 0},
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

bool validDefinition(const std::string& s) {
  if (s.empty() || s.size() > 127) return false;
  for (char c : s)
    if (c < 0x20 || c > 0x7e) return false;
  return true;
}

}  // namespace

int32_t KnowledgeBase::load(const std::string& dir, std::string& err) {
  pending_.clear();
  definitions_.clear();
  for (const ListFile& lf : kFiles) {
    std::string path = dir;
    if (!path.empty() && path.back() != '/') path += '/';
    path += lf.name;
    std::string text;
    int32_t rc = readWhole(path, text, err);
    if (rc != QVN_OK) return rc;
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

      bool ok = lf.cls ? validWord(line) : validDefinition(line);
      const char* why = lf.cls ? "expected one word of letters, digits, apostrophes or hyphens, at most 31 characters"
                               : "expected a definition name of printable characters, at most 127";
      if (ok) {
        if (lf.cls)
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
      if (lf.cls)
        pending_.emplace_back(line, lf.cls);
      else
        definitions_.push_back(line);
    }
  }
  if (definitions_.empty()) {
    err = "knowledge base " + dir + " defines no parse definition (definitions.txt is empty)";
    return QVN_E_KB_BAD_LINE;
  }
  buildTable();
  return QVN_OK;
}

// Open addressing, load factor at most one quarter: a miss ends on an empty
// slot after one or two probes.
void KnowledgeBase::buildTable() {
  uint32_t cap = 64;
  while (cap < pending_.size() * 4) cap *= 2;
  table_.assign(cap, Slot{0, 0, 0, 0});
  mask_ = cap - 1;
  pool_.clear();
  words_ = 0;
  for (const auto& pw : pending_) add(pw.first, pw.second);
  pending_.clear();
  pending_.shrink_to_fit();
}

void KnowledgeBase::add(const std::string& word, uint16_t cls) {
  uint32_t h = hash(word.data(), word.size());
  for (uint32_t i = h & mask_;; i = (i + 1) & mask_) {
    Slot& s = table_[i];
    if (s.len == 0) {
      s.hash = h;
      s.off = static_cast<uint32_t>(pool_.size());
      s.len = static_cast<uint8_t>(word.size());
      s.cls = cls;
      pool_ += word;
      ++words_;
      return;
    }
    if (s.hash == h && s.len == word.size() && pool_.compare(s.off, s.len, word) == 0) {
      s.cls = static_cast<uint16_t>(s.cls | cls);  // same word in another list
      return;
    }
  }
}

bool KnowledgeBase::hasDefinition(const char* name) const {
  for (const std::string& d : definitions_)
    if (std::strcmp(d.c_str(), name) == 0) return true;
  return false;
}

}  // namespace qvname
