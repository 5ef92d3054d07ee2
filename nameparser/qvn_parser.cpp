// Person-name splitting for the definition "Name (Address Update)".
//
// Word frequencies come from the national statistics (surname_freq.txt,
// given_freq.txt): how many in 100,000 people carry a word as surname, and
// as given name. A word is "plainly" one of them when it is common enough to
// know and four times more often that than the other (GARCIA a surname,
// MARIA a given name; THOMAS, LEE, TAYLOR neither).
//
// Rules, in the order they apply:
//  - Text is upper-cased (ASCII); accented Latin letters fold to plain ones
//    whether written in UTF-8, in Latin-1 or UTF-8 encoded twice ("André",
//    "AndrÃ©" -> ANDRE); periods are dropped ("J." -> "J"); hyphens and
//    inner apostrophes stay in words, and a hyphen standing apart joins its
//    neighbours ("SMITH - JONES" -> "SMITH-JONES"). Text in double quotes,
//    parentheses, brackets, braces, or a quoted word ('BOB') is a nickname
//    and is dropped, except a generation in parentheses ("(IV)"), read as a
//    suffix after a comma. Words without a letter (numbers) and words of
//    ignored_words.txt (FAMILY, RESIDENT) are dropped; "C/O" ends the name.
//    Dotted abbreviations at the end of a group, or before another dotted
//    run, read as one word when that word is a suffix ("PH.D." -> "PHD",
//    "M.D. S.C."); elsewhere they are initials ("J.R. SMITH" -> J, R).
//  - People: "&", "+", "/" and the conjunction words separate people. Only
//    the first person is returned. When that person has no surname of their
//    own, being one word or ending in an initial or a plain given name
//    ("JOHN AND MARY SMITH", "JOHN A & MARY SMITH", "MARY ANN AND JOHN
//    SMITH"), the surname, and the suffix unless the first person has one,
//    come from the second. When the first part holds only titles ("MR AND
//    MRS JOHN SMITH") those titles are the prefix of the second part's name.
//  - Commas: trailing comma groups made only of suffixes and suffix phrases
//    are suffixes ("JOHN SMITH, JR", "ROBERT K, JR", "JOHN DOE, CPA, CFP").
//    Otherwise text before the first comma is the surname (with its own
//    titles and suffixes: "SMITH JR, JOHN"), and the rest is titles, first
//    name, middle names and suffixes.
//  - Titles: leading words of titles.txt; a word of title_leads.txt only
//    when a title follows ("STATE SENATOR", "VICE ADMIRAL").
//  - Suffixes: trailing words of the suffix lists and phrases of
//    suffix_phrases.txt ("ATTORNEY AT LAW"). All go to slot 4, generational
//    ones first, then professional ones, each in input order ("JR JR" is
//    passed whole for the caller to mend). A suffix is only taken when a
//    name word is left before it. A suffix that is also a surname
//    (ambiguous_suffixes.txt: DO, MA) needs evidence: written dotted
//    ("D.O."), another suffix after it, or a comma before it, and two name
//    words must stay, the last not an initial ("ANH DO", "THANH V DO"). A
//    lone V is a middle initial too: a generation only with a comma or
//    another suffix, or behind a given name and a surname ("JOHN SMITH V").
//  - Without a comma the name is in the usual order, except in list order:
//    the last word is a lone initial and the first is not a given name
//    ("SMITH JOHN A", "SMITH J"; but "KEVIN G" is a first name and middle
//    initial), or the first word (after any particles) is plainly a surname
//    and the next a given name, with that reading four times likelier than
//    the usual one ("GARCIA MARIA", "NGUYEN THANH", "DE VRIENDT JAN").
//  - In the usual order the first word is the first name, or the first two
//    when written together they are a given name the first word alone
//    hardly is ("LA SHAWN", "DE ANDRE"), or MA (for MARIA) before a given
//    name ("MA VICTORIA"). The surname is the last word with the particles
//    before it ("MARIA DE LA CRUZ"), with "O" before it when the joined
//    surname is known better ("O MEARA"), or with the word before it when
//    that word is a surname and hardly ever a given name and the first
//    word plainly a given name ("ANA GARCIA LOPEZ"). The words between are
//    middle names. A particle is never the surname when it is the first word
//    ("VAN MORRISON") nor before a surname of particle_free_surnames.txt
//    ("THANH VAN NGUYEN").
//  - A lone word is the surname, unless it is an initial or thirty times
//    more often a given name ("MRS MARY"): then it is the first name.
#include "qvn_parser.h"

#include <cstring>

#include "qv_proxy.h"

namespace qvname {

namespace {

enum Kind : uint8_t { K_WORD, K_COMMA, K_CONJ };
enum Flag : uint8_t { F_DOT_NEXT = 1, F_DOTTED = 2, F_INITIAL = 4 };
enum Role : uint8_t { R_NONE, R_PREFIX, R_FIRST, R_MIDDLE, R_LAST, R_GEN, R_PROF };

struct Tok {
  uint16_t off;
  uint16_t len;
  uint16_t cls;
  uint8_t kind;
  uint8_t flags;
  float sur;  // surname frequency, people per 100,000
  float giv;  // given-name frequency, births per 100,000
};

// All state of one parse; lives on the caller's stack.
struct Work {
  explicit Work(const KnowledgeBase& k) : kb(k) {}
  const KnowledgeBase& kb;
  int n = 0;
  Tok t[kMaxTokens];
  uint8_t role[kMaxTokens];
  char buf[2 * kMaxInputLength + 2];  // folding may write two letters for one byte (Latin-1 "ß")

  bool has(int i, uint16_t cls) const { return (t[i].cls & cls) != 0; }
  bool initial(int i) const { return (t[i].flags & F_INITIAL) != 0; }
  float sur(int i) const { return t[i].sur; }
  float giv(int i) const { return t[i].giv; }
  // More often a given name than a surname in the national statistics.
  bool givenLike(int i) const { return !initial(i) && t[i].giv > t[i].sur; }
  // Plainly a given name: common enough to know and four times more often
  // a given name than a surname (THOMAS, a surname too, is not).
  bool plainGiven(int i) const { return !initial(i) && t[i].giv >= 0.3f && t[i].giv > 4 * t[i].sur; }
  // Plainly a surname: held by one in 100,000 and four times more often a
  // surname than a given name (GARCIA; not TAYLOR or LEE).
  bool plainSurname(int i) const { return !initial(i) && t[i].sur >= 1 && t[i].sur > 4 * t[i].giv; }
  WordInfo joined(int a, int b) const;
};

inline bool isAlpha(unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
inline bool isWordChar(unsigned char c) { return isAlpha(c) || (c >= '0' && c <= '9') || c >= 0x80; }
inline bool isNameRole(uint8_t r) { return r == R_FIRST || r == R_MIDDLE || r == R_LAST; }

// Plain letters of the Latin-1 letters U+00C0-U+00FF and of Latin
// Extended-A U+0100-U+017F: list files and USPS keys know only A-Z, so
// "ANDRÉ" must meet "ANDRE". "" marks a symbol (U+00D7, U+00F7).
const char* const kFoldC0[64] = {
    "A", "A", "A", "A", "A", "A", "AE", "C", "E", "E", "E", "E", "I", "I", "I", "I",
    "D", "N", "O", "O", "O", "O", "O", "",  "O", "U", "U", "U", "U", "Y", "TH", "SS",
    "A", "A", "A", "A", "A", "A", "AE", "C", "E", "E", "E", "E", "I", "I", "I", "I",
    "D", "N", "O", "O", "O", "O", "O", "",  "O", "U", "U", "U", "U", "Y", "TH", "Y"};
// U+0100-U+017F come in upper/lower pairs mostly; runs of one base letter.
const char kFoldExtA[129] =
    "AAAAAACCCCCCCCDDDDEEEEEEEEEEGGGGGGGGHHHHIIIIIIIIII"  // 0100-0131
    "IIJJKKKLLLLLLLLLLNNNNNNNNNOOOOOOOORRRRRRSSSSSSSSTT"  // 0132-0163; IJ, OE: foldExtA
    "TTTTUUUUUUUUUUUUWWYYYZZZZZZS";                       // 0164-017F
inline const char* foldExtA(unsigned cp) {
  static const char* const kIJ = "IJ";
  static const char* const kOE = "OE";
  if (cp == 0x132 || cp == 0x133) return kIJ;
  if (cp == 0x152 || cp == 0x153) return kOE;
  return nullptr;
}

// Reads one non-ASCII character at in[0]: UTF-8 of U+0080-U+017F, the same
// encoded twice ("AndrÃ©", UTF-8 bytes read as Latin-1 and written again as
// UTF-8), or a single Latin-1 byte. Gives the bytes used, and in out the
// plain letters (NUL-terminated, empty for a symbol or blank). Returns 0 for
// bytes of other scripts, which stay in the word as they are.
size_t foldNonAscii(const unsigned char* in, char* out) {
  unsigned cp = 0;
  size_t used = 0;
  unsigned char b0 = in[0], b1 = in[1];
  if (b0 == 0xC3 && b1 >= 0x83 && b1 <= 0x85 && in[2] == 0xC2 && in[3] >= 0x80 && in[3] <= 0xBF) {
    cp = ((static_cast<unsigned>(b1 + 0x40) & 0x1F) << 6) | (in[3] & 0x3F);  // "Ã" + "©" -> U+00E9
    used = 4;
  } else if (b0 >= 0xC2 && b0 <= 0xC5 && b1 >= 0x80 && b1 <= 0xBF) {
    cp = (static_cast<unsigned>(b0 & 0x1F) << 6) | (b1 & 0x3F);
    used = 2;
  } else if (b0 >= 0xC0) {
    if (b0 >= 0xC6 && b0 <= 0xF4 && b1 >= 0x80 && b1 <= 0xBF) return 0;  // UTF-8 of another script
    cp = b0;  // Latin-1
    used = 1;
  } else {
    return 0;
  }
  out[0] = '\0';
  if (cp >= 0xC0 && cp <= 0xFF) {
    const char* f = kFoldC0[cp - 0xC0];
    out[0] = f[0];
    out[1] = f[0] ? f[1] : '\0';
    out[2] = '\0';
  } else if (cp >= 0x100 && cp <= 0x17F) {
    const char* two = foldExtA(cp);
    if (two) {
      out[0] = two[0];
      out[1] = two[1];
      out[2] = '\0';
    } else {
      out[0] = kFoldExtA[cp - 0x100];
      out[1] = '\0';
    }
  }
  return used;  // U+0080-U+00BF: blanks and signs, a separator
}

// Frequencies of a word written with an apostrophe or hyphen, looked up as
// the statistics write it: O'BRIEN as OBRIEN.
WordInfo infoOf(const KnowledgeBase& kb, const char* p, size_t len) {
  WordInfo inf = kb.info(p, len);
  if (inf.sur > 0 || inf.giv > 0 || len > KnowledgeBase::kMaxWord) return inf;
  char tmp[KnowledgeBase::kMaxWord + 1];
  size_t n = 0;
  for (size_t k = 0; k < len; ++k)
    if (p[k] != '\'') tmp[n++] = p[k];
  if (n == len) return inf;
  WordInfo bare = kb.info(tmp, n);
  inf.sur = bare.sur;
  inf.giv = bare.giv;
  return inf;
}

// Splits the input into words and separators; false when it is too long.
bool lex(Work& w, const char* in) {
  size_t o = 0;
  bool inTok = false;
  bool overflow = false;

  auto pushMarker = [&](uint8_t kind) {
    if (w.n > 0 && w.t[w.n - 1].kind == kind) return;  // ",," and "& AND" count once
    if (w.n == kMaxTokens) {
      overflow = true;
      return;
    }
    w.t[w.n++] = Tok{0, 0, 0, kind, 0, 0, 0};
  };
  auto endTok = [&]() {
    if (!inTok) return;
    inTok = false;
    Tok& t = w.t[w.n - 1];
    while (t.len > 0 && (w.buf[t.off + t.len - 1] == '-' || w.buf[t.off + t.len - 1] == '\'')) {
      --t.len;
      --o;
    }
    bool letter = false;
    for (uint16_t k = 0; k < t.len && !letter; ++k) {
      unsigned char c = static_cast<unsigned char>(w.buf[t.off + k]);
      letter = isAlpha(c) || c >= 0x80;
    }
    if (!letter) {  // numbers and stray marks are not name words
      o = t.off;
      --w.n;
      return;
    }
    WordInfo inf = infoOf(w.kb, w.buf + t.off, t.len);
    t.cls = inf.cls;
    t.sur = inf.sur;
    t.giv = inf.giv;
    if (t.cls & WC_IGNORED) {
      o = t.off;
      --w.n;
      return;
    }
    t.flags = static_cast<uint8_t>(t.flags & F_DOT_NEXT);
    if (t.len == 1) t.flags |= F_INITIAL;
    if (t.cls & WC_CONJ) {
      o = t.off;
      --w.n;
      pushMarker(K_CONJ);
    }
  };
  auto putChar = [&](char ch) -> bool {
    if (!inTok) {
      if (w.n == kMaxTokens) return false;
      w.t[w.n++] = Tok{static_cast<uint16_t>(o), 0, 0, K_WORD, 0, 0, 0};
      inTok = true;
    }
    w.buf[o++] = ch;
    ++w.t[w.n - 1].len;
    return true;
  };

  const unsigned char* u = reinterpret_cast<const unsigned char*>(in);
  for (size_t i = 0; in[i] != '\0' && !overflow; ++i) {
    unsigned char c = u[i];
    if (c >= 0x80) {
      char plain[3];
      size_t used = foldNonAscii(u + i, plain);
      if (used == 0) {
        overflow = !putChar(static_cast<char>(c));
      } else if (plain[0] == '\0') {
        endTok();
        i += used - 1;
      } else {
        overflow = !putChar(plain[0]) || (plain[1] != '\0' && !putChar(plain[1]));
        i += used - 1;
      }
      continue;
    }
    if (isWordChar(c)) {
      overflow = !putChar(static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c));
      continue;
    }
    switch (c) {
      case '-':
        if (!inTok && w.n > 0 && w.t[w.n - 1].kind == K_WORD && w.t[w.n - 1].off + w.t[w.n - 1].len == o)
          inTok = true;  // "SMITH - JONES": reopen the word before
        if (inTok) {
          if (w.buf[o - 1] != '-') {
            w.buf[o++] = '-';
            ++w.t[w.n - 1].len;
          }
          while (in[i + 1] == ' ' || in[i + 1] == '\t') ++i;
        }
        break;
      case '\'':
      case '`':
        if (inTok) {
          w.buf[o++] = '\'';
          ++w.t[w.n - 1].len;
        } else {
          // 'BOB' is a nickname when the closing quote ends a word.
          size_t j = i + 1;
          while (in[j] != '\0' && in[j] != static_cast<char>(c)) ++j;
          if (in[j] != '\0' && j > i + 1 && !isWordChar(static_cast<unsigned char>(in[j + 1]))) i = j;
        }
        break;
      case '(': {
        // "JOHN SMITH (IV)": a generation in parentheses is a suffix, read
        // as if after a comma; anything else in them is a nickname.
        endTok();
        const char* end = std::strchr(in + i + 1, ')');
        char word[KnowledgeBase::kMaxWord + 1];
        size_t n = 0;
        bool fits = end != nullptr;
        for (const char* q = in + i + 1; fits && q < end; ++q) {
          char ch = *q;
          if (ch == ' ' || ch == '.') continue;
          if (n == 8 || !isWordChar(static_cast<unsigned char>(ch))) fits = false;
          else word[n++] = static_cast<char>(ch >= 'a' && ch <= 'z' ? ch - 32 : ch);
        }
        if (fits && n > 0 && (w.kb.classOf(word, n) & WC_GEN_SUFFIX)) {
          pushMarker(K_COMMA);
          break;  // the word is read on; ")" ends it
        }
        if (end) i = static_cast<size_t>(end - in);
        break;
      }
      case '"':
      case '[':
      case '{': {
        endTok();
        char close = c == '"' ? '"' : c == '[' ? ']' : '}';
        const char* end = std::strchr(in + i + 1, close);
        if (end) i = static_cast<size_t>(end - in);
        break;
      }
      case ',':
        endTok();
        pushMarker(K_COMMA);
        break;
      case '/':
        // "JOHN SMITH C/O MARY JONES": the name ends before "in care of".
        if (inTok && w.t[w.n - 1].len == 1 && w.buf[o - 1] == 'C' && (in[i + 1] == 'O' || in[i + 1] == 'o') &&
            !isWordChar(static_cast<unsigned char>(in[i + 2]))) {
          inTok = false;
          o = w.t[w.n - 1].off;
          --w.n;
          ++i;
          bool nameBefore = false;
          for (int k = 0; k < w.n; ++k) nameBefore = nameBefore || w.t[k].kind == K_WORD;
          if (nameBefore) return true;
          break;
        }
        endTok();
        pushMarker(K_CONJ);
        break;
      case '&':
      case '+':
        endTok();
        pushMarker(K_CONJ);
        break;
      case '.':
        if (inTok && isAlpha(static_cast<unsigned char>(in[i + 1]))) w.t[w.n - 1].flags |= F_DOT_NEXT;
        endTok();
        break;
      default:
        endTok();
        break;
    }
  }
  if (overflow) return false;
  endTok();
  return true;
}

// "PH.D." -> PHD, "J.R." at the end after a name -> JR; other dotted runs stay initials.
void mergeDottedSuffixes(Work& w) {
  for (int i = 0; i < w.n; ++i) {
    if (w.t[i].kind != K_WORD || !(w.t[i].flags & F_DOT_NEXT)) continue;
    int j = i;
    while ((w.t[j].flags & F_DOT_NEXT) && j + 1 < w.n && w.t[j + 1].kind == K_WORD &&
           w.t[j + 1].off == w.t[j].off + w.t[j].len)
      ++j;
    if (j == i) continue;
    // At the end of a group, or before another dotted run ("M.D. S.C.").
    bool atEnd = j + 1 == w.n || w.t[j + 1].kind != K_WORD || (w.t[j + 1].flags & F_DOT_NEXT);
    bool afterName = i > 0 && w.t[i - 1].kind == K_WORD;
    size_t len = static_cast<size_t>(w.t[j].off + w.t[j].len - w.t[i].off);
    uint16_t cls = atEnd ? w.kb.classOf(w.buf + w.t[i].off, len) : 0;
    if ((cls & (WC_PROF_SUFFIX | WC_AMBIG_SUFFIX)) || ((cls & WC_GEN_SUFFIX) && afterName)) {
      w.t[i].len = static_cast<uint16_t>(len);
      w.t[i].cls = cls;
      w.t[i].flags = F_DOTTED;
      int gone = j - i;
      for (int k = i + 1; k + gone < w.n; ++k) w.t[k] = w.t[k + gone];
      w.n -= gone;
    } else {
      i = j;
    }
  }
}

// The word tokens of [b,e), commas skipped.
int collectWords(const Work& w, int b, int e, uint8_t* out) {
  int m = 0;
  for (int i = b; i < e; ++i)
    if (w.t[i].kind == K_WORD) out[m++] = static_cast<uint8_t>(i);
  return m;
}

WordInfo Work::joined(int a, int b) const {
  size_t la = t[a].len, lb = t[b].len;
  if (la + lb > KnowledgeBase::kMaxWord) return WordInfo{};
  char tmp[KnowledgeBase::kMaxWord];
  std::memcpy(tmp, buf + t[a].off, la);
  std::memcpy(tmp + la, buf + t[b].off, lb);
  return kb.info(tmp, la + lb);
}

// Words of a suffix phrase ("ATTORNEY AT LAW") ending at words[j-1], 0 if none.
int phraseAt(const Work& w, const uint8_t* words, int a, int j) {
  if (j <= a || !w.has(words[j - 1], WC_PHRASE_END)) return 0;
  KnowledgeBase::Span sp[4];
  int n = j - a < 4 ? j - a : 4;
  for (int k = 0; k < n; ++k) {
    const Tok& t = w.t[words[j - n + k]];
    sp[k] = KnowledgeBase::Span{w.buf + t.off, t.len};
  }
  return w.kb.phraseEndingAt(sp, n);
}

// Marks trailing suffixes of words[a,j); returns the new end.
// minAmbig: name words that must remain before an ambiguous suffix.
int stripSuffixes(Work& w, const uint8_t* words, int a, int j, bool evidence, int minAmbig) {
  bool stripped = false;
  while (j > a) {
    int x = words[j - 1];
    int remain = j - 1 - a;
    const Tok& t = w.t[x];
    // Credentials of several words: "JOHN DOE ATTORNEY AT LAW".
    int ph = phraseAt(w, words, a, j);
    if (ph > 0 && j - ph > a) {
      for (int k = j - ph; k < j; ++k) w.role[words[k]] = R_PROF;
      j -= ph;
      stripped = true;
      continue;
    }
    if ((t.cls & WC_GEN_SUFFIX) && w.initial(x)) {
      // A lone V is also a middle initial ("SMITH JOHN V"): a generation only
      // after a comma or another suffix, or behind a plain given name and
      // surname ("JOHN SMITH V").
      bool proof = evidence || stripped ||
                   (remain >= 2 && w.givenLike(words[a]) && w.sur(words[j - 2]) > w.giv(words[j - 2]));
      if (!proof || remain < 1) break;
      w.role[x] = R_GEN;
    } else if (t.cls & (WC_GEN_SUFFIX | WC_PROF_SUFFIX)) {
      if (remain < 1) break;
      w.role[x] = (t.cls & WC_GEN_SUFFIX) ? R_GEN : R_PROF;
    } else if (t.cls & WC_AMBIG_SUFFIX) {
      bool proof = evidence || stripped || (t.flags & F_DOTTED);
      if (!proof || remain < minAmbig || w.initial(words[j - 2])) break;
      w.role[x] = R_PROF;
    } else {
      break;
    }
    stripped = true;
    --j;
  }
  return j;
}

// Leading titles; a title lead ("STATE", "VICE") only before another title.
int stripTitles(Work& w, const uint8_t* words, int a, int m) {
  for (;;) {
    // JUSTICE, a title, is also a given name: before an initial and a
    // surname it is the given name ("JUSTICE P FERRARO").
    if (a < m && w.has(words[a], WC_TITLE) && w.giv(words[a]) >= 5 && a + 2 < m &&
        w.initial(words[a + 1]))
      return a;
    if (a < m && w.has(words[a], WC_TITLE)) {
      w.role[words[a++]] = R_PREFIX;
      continue;
    }
    int k = a;
    while (k < m && w.has(words[k], WC_TITLE_LEAD) && !w.has(words[k], WC_TITLE)) ++k;
    if (k == a || k == m || !w.has(words[k], WC_TITLE)) return a;
    while (a <= k) w.role[words[a++]] = R_PREFIX;
  }
}

// A lone O: O'BRIEN written apart as "O BRIEN".
bool isO(const Work& w, int i) { return w.t[i].len == 1 && w.buf[w.t[i].off] == 'O'; }

// Number of words, 1 or 2, of the given name opening words v[0..m).
// Two when the two words written as one are the more common given name
// and the first word is hardly a given name alone ("LA SHAWN" -> LASHAWN,
// "DE ANDRE"; not "JO ANNE" or "MARY ANN", whose first words are given names
// of their own: there the second is the middle name), or when MA, the written short form
// of MARIA, stands before a given name ("MA VICTORIA").
int givenWords(const Work& w, const uint8_t* v, int m) {
  if (m < 2 || w.initial(v[0]) || w.initial(v[1])) return 1;
  const Tok& a = w.t[v[0]];
  if (a.len == 2 && w.buf[a.off] == 'M' && w.buf[a.off + 1] == 'A' && w.plainGiven(v[1])) return 2;
  WordInfo j = w.joined(v[0], v[1]);
  return j.giv >= 0.3f && j.giv > 4 * j.sur && j.giv > 4 * a.giv ? 2 : 1;
}

// Name words of a text without comma.
void assignNames(Work& w, const uint8_t* v, int m) {
  if (m == 0) return;
  if (m == 1) {
    // A lone word is a surname ("MRS SMITH", "DR JAMES") unless it is an
    // initial or thirty times more often a given name ("MRS MARY").
    bool first = w.initial(v[0]) || (w.giv(v[0]) > 0.3f && w.giv(v[0]) > 30 * w.sur(v[0]) &&
                                     !w.has(v[0], WC_GEN_SUFFIX | WC_PROF_SUFFIX | WC_AMBIG_SUFFIX));
    w.role[v[0]] = first ? R_FIRST : R_LAST;
    return;
  }
  // Surname first in list order: s is the last word of the surname, after
  // any particles that open the name ("DE LA CRUZ MARIA").
  int s = 0;
  while (s < m - 2 && w.has(v[s], WC_PARTICLE)) ++s;
  if (s == 0 && m >= 3 && isO(w, v[0]) && w.joined(v[0], v[1]).sur > w.sur(v[1])) s = 1;  // "O BRIEN CASEY D"
  // A name opening with a two-word given name ("LA KEISHA YOUNG", "MA ELENA
  // E HOLDEN") is in the usual order.
  int opening = givenWords(w, v, m);
  // "LA SHAWN" alone: a given name, no surname; but "LI NA" (LINA a given
  // name) opens with a plain surname.
  if (m == 2 && opening == 2) {
    if (w.has(v[0], WC_PARTICLE) || !w.plainSurname(v[0])) {
      w.role[v[0]] = w.role[v[1]] = R_FIRST;
      return;
    }
    opening = 1;
  }
  bool listOrder = false;
  if (opening == 2) {
    // usual order
  } else if (w.initial(v[m - 1]) && (!w.initial(v[0]) || s > 0)) {
    // "SMITH JOHN A", "SMITH J": a trailing initial follows the given name
    // in list order. But a given name with an initial is a first name and
    // middle initial ("KEVIN G", "MARY ANN T"), and "JOHN SMITH A" keeps
    // its order with the initial misplaced.
    if (s > 0 || !w.givenLike(v[0])) {
      listOrder = true;
    } else if (m == 2 || w.givenLike(v[1]) || w.initial(v[1])) {
      w.role[v[0]] = R_FIRST;
      for (int k = 1; k < m; ++k) w.role[v[k]] = R_MIDDLE;
      return;
    } else {
      w.role[v[0]] = R_FIRST;
      w.role[v[1]] = R_LAST;
      for (int k = 2; k < m; ++k) w.role[v[k]] = R_MIDDLE;
      return;
    }
  } else if (m <= 4 && !w.initial(v[s + 1])) {
    // "GARCIA MARIA", "NGUYEN THANH", "DE VRIENDT JAN": without a comma,
    // a plain surname before a plain given name is list order, when the
    // surname-first reading is four times likelier than the usual one (the
    // product of the two words' frequencies in either role).
    const float eps = 0.05f;  // a word the statistics do not know
    int g = s + 1;
    bool surnameFirst = (s > 0 && !w.initial(v[s])) || w.plainSurname(v[s]) || w.has(v[s], WC_NO_PARTICLE);
    bool givenSecond = w.giv(v[g]) >= 0.3f && !w.has(v[g], WC_PARTICLE);
    float lf = (w.sur(v[s]) + eps) * w.giv(v[g]);
    float fl = (w.giv(v[0]) + eps) * (w.sur(v[m - 1]) + eps);
    bool lastIsSurname = m > g + 1 && w.plainSurname(v[m - 1]);
    listOrder = surnameFirst && givenSecond && !lastIsSurname && (s > 0 || lf > 4 * fl);
  }
  if (listOrder) {
    for (int k = 0; k <= s; ++k) w.role[v[k]] = R_LAST;
    int f = s + 1 + givenWords(w, v + s + 1, m - s - 1) - 1;
    for (int k = s + 1; k <= f && k < m; ++k) w.role[v[k]] = R_FIRST;
    for (int k = f + 1; k < m; ++k) w.role[v[k]] = R_MIDDLE;
    return;
  }
  int f = opening;
  int k = m - 1;
  if (!w.has(v[m - 1], WC_NO_PARTICLE))
    while (k - 1 >= f && w.has(v[k - 1], WC_PARTICLE)) --k;
  if (k == m - 1 && k - 1 >= f) {
    if (isO(w, v[k - 1])) {
      // "O MEARA": the apostrophe lost, O'MEARA written apart; only when the
      // statistics know the joined surname better than the bare one.
      WordInfo j = w.joined(v[k - 1], v[k]);
      if (j.sur > w.sur(v[k])) --k;
    } else if (w.plainGiven(v[0]) && w.giv(v[0]) >= 1 && !w.initial(v[k - 1]) && w.sur(v[k - 1]) >= 1 &&
               50 * w.giv(v[k - 1]) < w.sur(v[k - 1]) && !w.has(v[k - 1], WC_PARTICLE)) {
      // "ANA GARCIA LOPEZ": behind a plain given name, a word that is a
      // surname and hardly ever a given name opens a double surname.
      --k;
    }
  }
  for (int x = 0; x < f; ++x) w.role[v[x]] = R_FIRST;
  for (int x = f; x < k; ++x) w.role[v[x]] = R_MIDDLE;
  for (int x = k; x < m; ++x) w.role[v[x]] = R_LAST;
}

void forward(Work& w, int b, int e, bool evidence) {
  uint8_t v[kMaxTokens];
  int m = collectWords(w, b, e, v);
  int a = stripTitles(w, v, 0, m);
  int j = stripSuffixes(w, v, a, m, evidence, 2);
  assignNames(w, v + a, j - a);
}

// A comma group of suffixes only: "JOHN SMITH, JR", "DOE, JANE, MD",
// "JOHN DOE, ATTORNEY AT LAW".
bool suffixGroup(Work& w, int b, int e, int surnameWords) {
  uint8_t v[kMaxTokens];
  int m = collectWords(w, b, e, v);
  int j = m;
  while (j > 0) {
    int ph = phraseAt(w, v, 0, j);
    if (ph > 0) {
      j -= ph;
      continue;
    }
    const Tok& t = w.t[v[j - 1]];
    if (!(t.cls & (WC_GEN_SUFFIX | WC_PROF_SUFFIX | WC_AMBIG_SUFFIX))) return false;
    bool ambiguous = !(t.cls & (WC_GEN_SUFFIX | WC_PROF_SUFFIX)) && !(t.flags & F_DOTTED);
    if (ambiguous && surnameWords < 2) return false;  // "NGUYEN, MA": MA is the given name
    if ((t.cls & WC_TITLE) && !(t.cls & WC_GEN_SUFFIX) && m == 1 && surnameWords < 2) return false;  // "SMITH, MS"
    --j;
  }
  if (m == 0) return false;
  for (int x = 0; x < m; ++x) {
    int i = v[x];
    w.role[i] = (w.has(i, WC_GEN_SUFFIX) && !w.has(i, WC_PHRASE_END)) ? R_GEN : R_PROF;
  }
  // Words of a phrase are professional even when one of them is a
  // generation word elsewhere ("USN RET" holds none, but keep it general).
  for (int x = m; x > 0;) {
    int ph = phraseAt(w, v, 0, x);
    if (ph == 0) {
      --x;
      continue;
    }
    for (int k = x - ph; k < x; ++k) w.role[v[k]] = R_PROF;
    x -= ph;
  }
  return true;
}

// One person, no conjunction inside [b,e).
void parsePerson(Work& w, int b, int e) {
  int gb[kMaxTokens], ge[kMaxTokens];
  int k = 0;
  for (int i = b, s = b; i <= e; ++i) {
    if (i == e || w.t[i].kind == K_COMMA) {
      if (i > s) {
        gb[k] = s;
        ge[k] = i;
        ++k;
      }
      s = i + 1;
    }
  }
  if (k == 0) return;
  bool sawSuffixGroup = false;
  while (k > 1 && suffixGroup(w, gb[k - 1], ge[k - 1], ge[0] - gb[0])) {
    --k;
    sawSuffixGroup = true;
  }
  if (k == 1) {
    forward(w, gb[0], ge[0], sawSuffixGroup);
    return;
  }

  // "SMITH JR, DR JOHN A": the surname comes first.
  uint8_t v[kMaxTokens];
  int m = collectWords(w, gb[0], ge[0], v);
  int a = stripTitles(w, v, 0, m);
  int j = stripSuffixes(w, v, a, m, false, 1);
  if (a == j) {  // nothing but titles before the comma
    forward(w, gb[1], ge[k - 1], sawSuffixGroup);
    return;
  }
  for (int x = a; x < j; ++x) w.role[v[x]] = R_LAST;

  m = collectWords(w, gb[1], ge[k - 1], v);
  a = stripTitles(w, v, 0, m);
  j = stripSuffixes(w, v, a, m, false, 1);
  int f = a + (j - a >= 2 ? givenWords(w, v + a, j - a) : 1);
  for (int x = a; x < j; ++x) w.role[v[x]] = x < f ? R_FIRST : R_MIDDLE;
}

int countNames(const Work& w, int b, int e) {
  int c = 0;
  for (int i = b; i < e; ++i) c += isNameRole(w.role[i]) ? 1 : 0;
  return c;
}

bool anyRole(const Work& w, int b, int e, uint8_t r1, uint8_t r2) {
  for (int i = b; i < e; ++i)
    if (w.role[i] == r1 || w.role[i] == r2) return true;
  return false;
}

void clearRoles(Work& w, int b, int e) {
  for (int i = b; i < e; ++i) w.role[i] = R_NONE;
}

void parseAll(Work& w, int b, int e) {
  int c = b;
  while (c < e && w.t[c].kind != K_CONJ) ++c;
  if (c == e) {
    parsePerson(w, b, e);
    return;
  }
  parsePerson(w, b, c);
  parseAll(w, c + 1, e);
  int nL = countNames(w, b, c);
  int nR = countNames(w, c + 1, e);
  if (nL == 0) {
    if (nR == 0) {
      clearRoles(w, c + 1, e);
    } else {  // "MR AND MRS JOHN SMITH"
      bool lTitle = anyRole(w, b, c, R_PREFIX, R_PREFIX);
      clearRoles(w, b, c);
      for (int i = b; i < c && lTitle; ++i)
        if (w.t[i].kind == K_WORD && w.has(i, WC_TITLE)) w.role[i] = R_PREFIX;
      for (int i = c + 1; i < e && lTitle; ++i)
        if (w.role[i] == R_PREFIX) w.role[i] = R_NONE;
    }
    return;
  }
  if (nR == 0) {
    clearRoles(w, c + 1, e);
    return;
  }
  bool comma = false;
  int lastName = -1;
  for (int i = b; i < c; ++i) {
    comma = comma || w.t[i].kind == K_COMMA;
    if (isNameRole(w.role[i])) lastName = i;
  }
  if (comma && !anyRole(w, b, c, R_FIRST, R_FIRST)) {
    // "SMITH, MR AND MRS JOHN": surname on the left, given names on the right.
    bool lTitle = anyRole(w, b, c, R_PREFIX, R_PREFIX);
    bool lSuffix = anyRole(w, b, c, R_GEN, R_PROF);
    bool first = true;
    for (int i = c + 1; i < e; ++i) {
      uint8_t& r = w.role[i];
      if (isNameRole(r)) {
        r = first ? R_FIRST : R_MIDDLE;
        first = false;
      } else if ((r == R_PREFIX && lTitle) || ((r == R_GEN || r == R_PROF) && lSuffix)) {
        r = R_NONE;
      }
    }
    return;
  }
  // The first person is complete unless the left part ends in an initial or a
  // given name ("MARY ANN AND JOHN SMITH").
  if (comma || (nL >= 2 && !w.initial(lastName) && !w.plainGiven(lastName))) {
    clearRoles(w, c + 1, e);
    return;
  }
  // "JOHN AND MARY SMITH": given names from the left, surname from the right.
  bool first = true;
  for (int i = b; i < c; ++i) {
    if (!isNameRole(w.role[i])) continue;
    w.role[i] = first ? R_FIRST : R_MIDDLE;
    first = false;
  }
  bool lSuffix = anyRole(w, b, c, R_GEN, R_PROF);
  for (int i = c + 1; i < e; ++i) {
    uint8_t r = w.role[i];
    if (!(r == R_LAST || (!lSuffix && (r == R_GEN || r == R_PROF)))) w.role[i] = R_NONE;
  }
}

void emit(const Work& w, unsigned char* tokens, int32_t* count) {
  static const uint8_t kSlotRoles[5][2] = {
      {R_PREFIX, R_NONE}, {R_FIRST, R_NONE}, {R_MIDDLE, R_NONE}, {R_LAST, R_NONE}, {R_GEN, R_PROF}};
  constexpr size_t kTextMax = QV_PROXY_SLOT_SIZE - 4 - 1;
  int32_t filled = 0;
  for (int s = 0; s < 5; ++s) {
    unsigned char* slot = tokens + static_cast<size_t>(s) * QV_PROXY_SLOT_SIZE;
    char* text = reinterpret_cast<char*>(slot + 4);
    size_t len = 0;
    for (uint8_t r : kSlotRoles[s]) {
      if (r == R_NONE) continue;
      for (int i = 0; i < w.n; ++i) {
        if (w.role[i] != r) continue;
        size_t tl = w.t[i].len;
        if (len + (len ? 1 : 0) + tl > kTextMax) break;
        if (len) text[len++] = ' ';
        std::memcpy(text + len, w.buf + w.t[i].off, tl);
        len += tl;
      }
    }
    text[len] = '\0';
    int32_t v = static_cast<int32_t>(len);
    std::memcpy(slot, &v, sizeof v);
    filled += len ? 1 : 0;
  }
  if (count) *count = filled;
}

}  // namespace

void parseName(const KnowledgeBase& kb, const char* input, unsigned char* tokens, int32_t* count) {
  Work w(kb);
  bool ok = ::strnlen(input, kMaxInputLength + 1) <= kMaxInputLength && lex(w, input);
  if (!ok) w.n = 0;  // too long to be a name: leave every part empty
  mergeDottedSuffixes(w);
  std::memset(w.role, R_NONE, sizeof w.role);
  parseAll(w, 0, w.n);
  emit(w, tokens, count);
}

}  // namespace qvname
