// Knowledge base of the name-parsing engine: word lists read once from plain
// text files, then never written again, so any number of threads may read it.
#ifndef QVN_KB_H
#define QVN_KB_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qvname {

// Classes a word may belong to; one word may hold several (SR is a title
// before the name and a generational suffix after it).
enum WordClass : uint16_t {
  WC_TITLE = 1,
  WC_GEN_SUFFIX = 2,
  WC_PROF_SUFFIX = 4,
  WC_AMBIG_SUFFIX = 8,   // professional suffix that is also a common surname (DO, MA)
  WC_PARTICLE = 16,      // joins the following word into the surname (DE, VAN)
  WC_CONJ = 32,          // separates two people (AND)
  WC_NO_PARTICLE = 64,   // surname that never takes a particle before it (NGUYEN)
  WC_IGNORED = 128,      // never part of a name on a list (FAMILY, RESIDENT)
  WC_GIVEN = 256,        // in given_names.txt (kept for the data generator; the parser uses frequencies)
  WC_SURNAME = 512,      // in surnames.txt; likewise
  WC_TITLE_LEAD = 1024,  // a title only before another title (STATE SENATOR, VICE ADMIRAL)
  WC_PHRASE_END = 2048   // last word of a suffix phrase (ATTORNEY AT LAW)
};

// What the knowledge base knows of one word: its lists, and how often it is
// a surname (people per 100,000) or a given name (births per 100,000, the
// mean of both sexes) in the national statistics; 0 when unknown.
struct WordInfo {
  uint16_t cls = 0;
  float sur = 0;
  float giv = 0;
};

class KnowledgeBase {
 public:
  // Longest word the lists may hold; longer tokens are never list words.
  static constexpr size_t kMaxWord = 31;
  static constexpr size_t kHead = 8;

  // Reads every list file of folder dir. Returns 0, or a negative QVN_E_*
  // status with err saying which file and line.
  int32_t load(const std::string& dir, std::string& err);

  // The same in two steps: the bytes of every list file of dir, in a fixed
  // order, then the lists built from those bytes (dir only names them in err).
  static int32_t readFiles(const std::string& dir, std::vector<std::string>& texts, std::string& err);
  int32_t load(const std::string& dir, const std::vector<std::string>& texts, std::string& err);

  // Classes and frequencies of an upper-case word; all 0 when it is unknown.
  WordInfo info(const char* w, size_t len) const {
    WordInfo out;
    if (len == 0 || len > kMaxWord) return out;
    uint32_t h = hash(w, len);
    for (uint32_t i = h & mask_;; i = (i + 1) & mask_) {
      const Slot& s = table_[i];
      if (s.len == 0) return out;
      if (s.hash == h && s.len == len && sameWord(s, w, len)) {
        out.cls = s.cls;
        out.sur = s.sur;
        out.giv = s.giv;
        return out;
      }
    }
  }
  uint16_t classOf(const char* w, size_t len) const { return info(w, len).cls; }

  // Words of a phrase test: upper-case text and length.
  struct Span {
    const char* p;
    size_t len;
  };
  // Number of words of the longest suffix phrase that words[0..count) ends
  // with ("... ATTORNEY AT LAW" -> 3); 0 when none does.
  int phraseEndingAt(const Span* words, int count) const;

  // True when name is one of the parse definitions of the locale.
  bool hasDefinition(const char* name) const;

  size_t wordCount() const { return words_; }

 private:
  struct Slot {
    uint32_t hash;
    uint32_t off;
    float sur;
    float giv;
    uint16_t cls;
    uint8_t len;  // 0: empty slot
    // The first bytes of the word, NUL-padded: most words end within them,
    // and a found word then costs no second cache miss in the pool.
    char head[kHead];
  };
  struct Pending {
    std::string word;
    uint16_t cls;
    float sur, giv;
  };
  static uint32_t hash(const char* w, size_t len) {
    uint32_t h = 2166136261u;  // FNV-1a
    for (size_t i = 0; i < len; ++i) h = (h ^ static_cast<unsigned char>(w[i])) * 16777619u;
    return h;
  }
  bool sameWord(const Slot& s, const char* w, size_t len) const {
    const size_t inHead = len < kHead ? len : kHead;
    for (size_t i = 0; i < inHead; ++i)
      if (s.head[i] != w[i]) return false;
    return len <= kHead || memEq(pool_.data() + s.off + kHead, w + kHead, len - kHead);
  }
  static bool memEq(const char* a, const char* b, size_t n) {
    for (size_t i = 0; i < n; ++i)
      if (a[i] != b[i]) return false;
    return true;
  }
  void add(const Pending& p);
  void buildTable();
  int32_t loadFrequencies(const std::string& path, const std::string& text, bool given, std::string& err);

  std::vector<Pending> pending_;
  std::vector<std::vector<std::string>> phrases_;  // suffix phrases, word by word
  std::vector<Slot> table_;
  std::string pool_;
  uint32_t mask_ = 0;
  size_t words_ = 0;
  std::vector<std::string> definitions_;
};

}  // namespace qvname

#endif
