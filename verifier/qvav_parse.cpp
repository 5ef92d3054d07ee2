#include "qvav_parse.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "qvav_words.h"

namespace qvav {

namespace {

constexpr int kMaxTokens = 48;
constexpr unsigned kMaxTokenChars = 40;

struct Token {
    const char* s;
    unsigned len;
    bool commaBefore;
    const WordInfo* w;  // the word's tables, looked up once; null when in none
};

// The words of one line, upper case, NUL-ended in buf. Punctuation splits
// words or vanishes by Publication 28's rules: periods and apostrophes go,
// hyphens stay inside numbers and words, a slash inside a fraction, "#" is a
// word of its own, a comma is remembered on the word behind it.
struct Tokens {
    char buf[kMaxLine + 2 * kMaxTokens + 8];
    Token t[kMaxTokens];
    int n = 0;
};

inline bool isDigit(unsigned char c) { return c >= '0' && c <= '9'; }
inline bool isAlpha(unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
inline bool isAlnum(unsigned char c) { return isDigit(c) || isAlpha(c); }
inline char upper(unsigned char c) { return static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c); }

void tokenize(const char* line, Tokens& tk) {
    tk.n = 0;
    if (!line) return;
    const std::size_t len = strnlen(line, kMaxLine);
    std::size_t used = 0;
    int cur = -1;
    bool comma = false;
    auto close = [&] {
        if (cur >= 0) {
            tk.buf[used++] = 0;
            cur = -1;
        }
    };
    auto put = [&](char c) -> bool {
        if (cur < 0) {
            if (tk.n == kMaxTokens) return false;
            tk.t[tk.n] = Token{tk.buf + used, 0, comma, nullptr};
            comma = false;
            cur = tk.n++;
        }
        if (tk.t[cur].len < kMaxTokenChars) {
            tk.buf[used++] = c;
            ++tk.t[cur].len;
        }
        return true;
    };
    for (std::size_t i = 0; i < len; ++i) {
        const unsigned char c = static_cast<unsigned char>(line[i]);
        const unsigned char prev = i ? static_cast<unsigned char>(line[i - 1]) : 0;
        const unsigned char next = i + 1 < len ? static_cast<unsigned char>(line[i + 1]) : 0;
        bool ok = true;
        if (isAlnum(c)) {
            ok = put(upper(c));
        } else if (c == '\'' || c == '`') {
            // O'NEIL reads ONEIL
        } else if (c == '.') {
            if (isDigit(prev) && isDigit(next))
                ok = put('.');
            else if (isAlpha(prev) && isDigit(next))
                close();  // "Apt.4" is two words
        } else if (c == '-') {
            if ((isDigit(prev) && isAlnum(next)) || (isAlpha(prev) && isAlpha(next)))
                ok = put('-');
            else
                close();
        } else if (c == '/') {
            if (isDigit(prev) && isDigit(next))
                ok = put('/');
            else
                close();
        } else if (c == '#') {
            close();
            ok = put('#');
            close();
        } else if (c == ',') {
            close();
            comma = true;
        } else {
            close();
        }
        if (!ok) break;
    }
    close();
    // "RR1", "HC3", "PSC1234": a route's word run into its number is two words.
    for (int j = 0; j < tk.n && tk.n < kMaxTokens; ++j) {
        Token& t = tk.t[j];
        unsigned k = 0;
        while (k < t.len && isAlpha(static_cast<unsigned char>(t.s[k]))) ++k;
        if (k < 2 || k > 3 || k == t.len || !isDigit(static_cast<unsigned char>(t.s[k]))) continue;
        const bool route = (k == 2 && (std::memcmp(t.s, "RR", 2) == 0 || std::memcmp(t.s, "HC", 2) == 0)) ||
                           (k == 3 && (std::memcmp(t.s, "PSC", 3) == 0 || std::memcmp(t.s, "CMR", 3) == 0));
        unsigned d = k;
        while (d < t.len && isDigit(static_cast<unsigned char>(t.s[d]))) ++d;
        if (!route || d != t.len) continue;
        std::memmove(&tk.t[j + 2], &tk.t[j + 1], sizeof(Token) * static_cast<std::size_t>(tk.n - j - 1));
        tk.t[j + 1] = Token{t.s + k, t.len - k, false, nullptr};
        t.len = k;
        ++tk.n;
    }
    // No table word begins with a figure.
    const Words& words = Words::get();
    for (int j = 0; j < tk.n; ++j)
        if (!isDigit(static_cast<unsigned char>(tk.t[j].s[0]))) tk.t[j].w = words.find(tk.t[j].s, tk.t[j].len);
}

inline bool eq(const Token& t, const char* s) {
    return std::strlen(s) == t.len && std::memcmp(t.s, s, t.len) == 0;
}
inline bool allDigits(const Token& t) {
    if (!t.len) return false;
    for (unsigned i = 0; i < t.len; ++i)
        if (!isDigit(static_cast<unsigned char>(t.s[i]))) return false;
    return true;
}
inline bool hasDigit(const Token& t) {
    for (unsigned i = 0; i < t.len; ++i)
        if (isDigit(static_cast<unsigned char>(t.s[i]))) return true;
    return false;
}
inline bool startsDigit(const Token& t) { return t.len && isDigit(static_cast<unsigned char>(t.s[0])); }
inline bool isHash(const Token& t) { return t.len == 1 && t.s[0] == '#'; }
inline bool isFraction(const Token& t) {
    const char* slash = static_cast<const char*>(std::memchr(t.s, '/', t.len));
    return slash && startsDigit(t);
}
inline bool isLetter(const Token& t) { return t.len == 1 && isAlpha(static_cast<unsigned char>(t.s[0])); }

// Info of the k words from i, joined by one blank.
const WordInfo* lookup(const Token* t, int i, int k) {
    if (k == 1) return t[i].w;
    char key[4 * kMaxTokenChars + 8];
    std::size_t n = 0;
    for (int j = i; j < i + k; ++j) {
        if (j > i) key[n++] = ' ';
        std::memcpy(key + n, t[j].s, t[j].len);
        n += t[j].len;
    }
    return Words::get().find(key, n);
}

// Number of words from i that spell keyword kw, longest spelling first; 0 if none.
int matchKeyword(const Token* t, int n, int i, unsigned kw) {
    for (int k = n - i < 4 ? n - i : 4; k >= 1; --k) {
        const WordInfo* w = lookup(t, i, k);
        if (w && (w->keywords & (1u << kw))) return k;
    }
    return 0;
}

// Bounded copy into a field of cap bytes (NUL included).
void setField(char* dst, std::size_t cap, const char* s, std::size_t len) {
    if (len >= cap) len = cap - 1;
    std::memcpy(dst, s, len);
    dst[len] = 0;
}
template <std::size_t N>
void setField(char (&dst)[N], const Token& t) {
    setField(dst, N, t.s, t.len);
}
template <std::size_t N>
void setField(char (&dst)[N], const char* s) {
    setField(dst, N, s, std::strlen(s));
}

// Appends text to a field, with a blank between when it is not empty.
template <std::size_t N>
void appendWord(char (&dst)[N], const char* s, std::size_t len) {
    std::size_t used = std::strlen(dst);
    if (used && used + 1 < N) dst[used++] = ' ';
    if (used + len >= N) len = N - 1 - used;
    std::memcpy(dst + used, s, len);
    dst[used + len] = 0;
}

// A secondary or box number as it is written, without a leading "#".
template <std::size_t N>
void setNumber(char (&dst)[N], const Token& t) {
    unsigned skip = 0;
    while (skip < t.len && t.s[skip] == '#') ++skip;
    setField(dst, N, t.s + skip, t.len - skip);
}

const char* ordinalEnding(unsigned value) {
    const unsigned last = value % 10, tens = value % 100 / 10;
    if (tens == 1) return "TH";
    return last == 1 ? "ST" : last == 2 ? "ND" : last == 3 ? "RD" : "TH";
}

// Whether a highway name ("HWY", "COUNTY ROAD", "US HWY") ends with word last.
bool endsHighwayName(const Token* t, int from, int last) {
    static const unsigned kinds[] = {KW_HIGHWAY,       KW_COUNTY_ROAD, KW_STATE_ROAD, KW_STATE_ROUTE,
                                     KW_STATE_HIGHWAY, KW_US_HIGHWAY,  KW_INTERSTATE, KW_ROUTE,
                                     KW_FARM_ROAD,     KW_RANCH_ROAD};
    for (int s = last - 3 > from ? last - 3 : from; s <= last; ++s)
        for (unsigned k : kinds) {
            const WordInfo* w = lookup(t, s, last + 1 - s);
            if (w && (w->keywords & (1u << k))) return true;
        }
    return false;
}

// The street name from words [i, e): highway names in their standard form,
// ordinals written as words in figures.
void buildName(const Token* t, int i, int e, bool hasSuffix, Parsed& out) {
    out.street[0] = 0;
    const Words& words = Words::get();
    // "HWY 10", "CO RD 5", "US HWY 1": the standard highway name and its number.
    if (e - i >= 2 && hasDigit(t[e - 1])) {
        static const unsigned kinds[] = {KW_US_HIGHWAY, KW_STATE_HIGHWAY, KW_COUNTY_ROAD, KW_STATE_ROAD,
                                         KW_STATE_ROUTE, KW_FARM_ROAD,   KW_RANCH_ROAD,  KW_INTERSTATE,
                                         KW_HIGHWAY,     KW_ROUTE};
        for (unsigned kind : kinds) {
            const int k = matchKeyword(t, e, i, kind);
            if (k && i + k == e - 1) {
                const char* std = words.keyword(kind);
                appendWord(out.street, std, std::strlen(std));
                appendWord(out.street, t[e - 1].s, t[e - 1].len);
                return;
            }
        }
    }
    for (int j = i; j < e; ++j) {
        const WordInfo* w = t[j].w;
        // "TWENTY FIRST" and "TWENTY-FIRST" read 21ST.
        const char* hyphen = static_cast<const char*>(std::memchr(t[j].s, '-', t[j].len));
        if (hyphen && !hasDigit(t[j])) {
            const WordInfo* tens = words.find(t[j].s, static_cast<std::size_t>(hyphen - t[j].s));
            const WordInfo* unit = words.find(hyphen + 1, t[j].len - static_cast<std::size_t>(hyphen + 1 - t[j].s));
            if (tens && unit && tens->ordinal && unit->ordinal && std::strlen(tens->ordinal) == 2 &&
                unit->ordinal[1] > '9') {
                char buf[8] = {tens->ordinal[0], 0};
                std::strcat(buf, unit->ordinal);
                appendWord(out.street, buf, std::strlen(buf));
                continue;
            }
        }
        if (w && w->ordinal) {
            const bool tensWord = std::strlen(w->ordinal) == 2 && w->ordinal[1] == '0';
            if (tensWord && j + 1 < e) {
                const WordInfo* u = t[j + 1].w;
                if (u && u->ordinal && u->ordinal[1] > '9') {  // a single-figure ordinal
                    char buf[8] = {w->ordinal[0], 0};
                    std::strcat(buf, u->ordinal);
                    appendWord(out.street, buf, std::strlen(buf));
                    ++j;
                    continue;
                }
            }
            if (!tensWord) {
                appendWord(out.street, w->ordinal, std::strlen(w->ordinal));
                continue;
            }
        }
        appendWord(out.street, t[j].s, t[j].len);
    }
    // "34 ST" is 34TH ST; the bare number is kept for the data to decide.
    if (hasSuffix && e - i == 1 && allDigits(t[i]) && t[i].len <= 4) {
        unsigned v = 0;
        for (unsigned k = 0; k < t[i].len; ++k) v = v * 10 + static_cast<unsigned>(t[i].s[k] - '0');
        if (v > 0) {
            appendWord(out.street, "", 0);
            std::size_t len = std::strlen(out.street);
            if (len && out.street[len - 1] == ' ') out.street[--len] = 0;
            const char* end = ordinalEnding(v);
            if (len + 2 < sizeof out.street) {
                out.street[len] = end[0];
                out.street[len + 1] = end[1];
                out.street[len + 2] = 0;
                out.ordinalAdded = true;
            }
        }
    }
}

// A unit designator at word j (with its number behind), or "#".
// Returns the number of words the designator takes (1), or 0.
bool unitAt(const Token* t, int n, int j) {
    if (isHash(t[j])) return true;
    const WordInfo* w = t[j].w;
    if (!w || !w->unit) return false;
    if (w->unitNeedsNumber) {
        if (j + 1 >= n) return false;
        const Token& nx = t[j + 1];
        return hasDigit(nx) || isHash(nx) || (isLetter(nx) && j + 2 == n);
    }
    return j + 1 == n || (j + 2 == n && (hasDigit(t[j + 1]) || isLetter(t[j + 1])));
}

// "APT4B": a designator run into its number; the length of the designator or 0.
unsigned gluedUnit(const Token& t) {
    if (t.len < 2 || !isAlpha(static_cast<unsigned char>(t.s[0]))) return 0;
    unsigned k = 0;
    while (k < t.len && isAlpha(static_cast<unsigned char>(t.s[k]))) ++k;
    if (k == t.len || !isDigit(static_cast<unsigned char>(t.s[k]))) return 0;
    const WordInfo* w = Words::get().find(t.s, k);
    return w && w->unit && w->unitNeedsNumber ? k : 0;
}

// The unit from word j on: designator and number; returns true when one was read.
void readUnit(const Token* t, int n, int j, Parsed& out) {
    if (isHash(t[j])) {
        setField(out.designator, "#");
    } else {
        const WordInfo* w = t[j].w;
        setField(out.designator, w && w->unit ? w->unit : "#");
    }
    int k = j + 1;
    while (k < n && isHash(t[k])) ++k;
    if (k < n) setNumber(out.secondary, t[k]);
}

void parseStreet(const Token* t, int n, Parsed& out) {
    const Words& words = Words::get();
    int i = 0;
    // A line of its own words only: "#" alone is nothing to read. "# 4B 123
    // MAIN ST" keeps its "#" for the unit written first.
    while (i < n && isHash(t[i]) && !(i + 2 < n && !isHash(t[i + 1]) && startsDigit(t[i + 2]))) ++i;
    if (i == n) {
        out.problem = n ? PARSE_UNUSABLE : PARSE_EMPTY;
        return;
    }
    // Urbanization in front: "URB LAS GLADIOLAS 150 CALLE A".
    if (int k = startsDigit(t[i]) ? 0 : matchKeyword(t, n, i, KW_URB)) {
        int j = i + k;
        char urb[41] = {0};
        while (j < n && !startsDigit(t[j])) appendWord(urb, t[j].s, t[j].len), ++j;
        if (!out.urbanization[0]) setField(out.urbanization, urb);
        i = j;
        if (i == n) {
            out.problem = PARSE_NO_STREET;
            return;
        }
    }
    // The special forms all begin with a word; most lines begin with a house number.
    if (startsDigit(t[i])) goto street;
    if (matchKeyword(t, n, i, KW_GENERAL_DELIVERY)) {
        out.kind = 'G';
        setField(out.street, "GENERAL DELIVERY");
        return;
    }
    // PO box: a spelling and a number.
    if (int k = matchKeyword(t, n, i, KW_POBOX)) {
        int j = i + k;
        while (j < n && isHash(t[j])) ++j;
        if (j < n && hasDigit(t[j])) {
            out.kind = 'P';
            setField(out.street, "PO BOX");
            setNumber(out.primary, t[j]);
            return;
        }
    }
    // Rural route and highway contract: "RR 2 BOX 17", "HC 3 BOX 5".
    for (unsigned kind : {KW_RR, KW_HC}) {
        const int k = matchKeyword(t, n, i, kind);
        if (!k) continue;
        int j = i + k;
        while (j < n && isHash(t[j])) ++j;
        if (j >= n || !hasDigit(t[j])) continue;
        const int route = j++;
        int box = -1;
        if (j < n) {
            int b = j;
            if (int kb = matchKeyword(t, n, b, KW_POBOX)) b += kb;
            while (b < n && isHash(t[b])) ++b;
            if (b > j && b < n && hasDigit(t[b])) box = b;
        }
        // "RT 2" or "ROUTE 9" alone is a road, not a rural route.
        const bool strong = !(k == 1 && (eq(t[i], "RT") || eq(t[i], "RTE") || eq(t[i], "ROUTE") ||
                                         eq(t[i], "RURAL") || eq(t[i], "SR")));
        if (box < 0 && !strong) continue;
        out.kind = 'R';
        setField(out.street, words.keyword(kind));
        appendWord(out.street, t[route].s, t[route].len);
        if (box >= 0)
            setNumber(out.primary, t[box]);
        else
            out.problem = PARSE_NO_PRIMARY;
        return;
    }
    // Military: "PSC 1234 BOX 5678", "CMR 450 BOX 12", "UNIT 2050 BOX 4190".
    for (unsigned kind : {KW_PSC, KW_CMR, KW_UNIT}) {
        const int k = matchKeyword(t, n, i, kind);
        if (!k || i + k >= n || !hasDigit(t[i + k])) continue;
        int b = i + k + 1, box = -1;
        if (b < n) {
            if (int kb = matchKeyword(t, n, b, KW_POBOX)) b += kb;
            while (b < n && isHash(t[b])) ++b;
            if (b > i + k + 1 && b < n && hasDigit(t[b])) box = b;
        }
        if (box < 0 && kind == KW_UNIT) continue;  // "UNIT 5" alone is an apartment
        out.kind = 'M';
        setField(out.street, words.keyword(kind));
        appendWord(out.street, t[i + k].s, t[i + k].len);
        if (box >= 0)
            setNumber(out.primary, t[box]);
        else
            out.problem = PARSE_NO_PRIMARY;
        return;
    }

street:
    // A unit written first: "APT 4B 123 MAIN ST".
    if (unitAt(t, n, i) || (isHash(t[i]) && i + 1 < n)) {
        int k = i + 1;
        while (k < n && isHash(t[k])) ++k;
        if (k + 1 < n && startsDigit(t[k + 1])) {
            readUnit(t, n, i, out);
            i = k + 1;
        }
    }
    // A PO box behind a street: the box, nearest the last line, is where mail goes.
    for (int j = i + 1; j < n; ++j) {
        const int k = t[j].w && (t[j].w->keywords & (1u << KW_POBOX)) ? matchKeyword(t, n, j, KW_POBOX) : 0;
        if (!k || (k == 1 && !eq(t[j], "BOX") && !eq(t[j], "POB") && !eq(t[j], "POBOX"))) continue;
        int b = j + k;
        while (b < n && isHash(t[b])) ++b;
        if (b < n && hasDigit(t[b]) && startsDigit(t[i])) {
            out.kind = 'P';
            setField(out.street, "PO BOX");
            setNumber(out.primary, t[b]);
            out.designator[0] = out.secondary[0] = 0;
            return;
        }
    }
    out.kind = 'S';
    // A house number, also one that begins with a letter ("N123W4567", "A12").
    if (startsDigit(t[i]) || (hasDigit(t[i]) && i + 1 < n && !gluedUnit(t[i]))) {
        setField(out.primary, t[i]);
        ++i;
        if (i < n && isFraction(t[i]) && !t[i].commaBefore) {  // "12 1/2"
            appendWord(out.primary, t[i].s, t[i].len);
            ++i;
        }
    }
    // The unit: the last designator behind the street name.
    int e = n;
    for (int j = i + 1; j < n; ++j) {
        if (unitAt(t, n, j)) {
            e = j;
            readUnit(t, n, j, out);
            // "BLDG 5 APT 3": the innermost unit counts.
            for (int j2 = j + 2; j2 < n; ++j2)
                if (unitAt(t, n, j2)) {
                    out.secondary[0] = 0;
                    readUnit(t, n, j2, out);
                    break;
                }
            break;
        }
        if (const unsigned g = gluedUnit(t[j])) {
            e = j;
            const WordInfo* w = words.find(t[j].s, g);
            setField(out.designator, w->unit);
            setField(out.secondary, sizeof out.secondary, t[j].s + g, t[j].len - g);
            break;
        }
    }
    // "120 MAIN ST 4B": a number behind the suffix or directional is a unit.
    if (e == n && n - i >= 3 && hasDigit(t[n - 1])) {
        const WordInfo* w = t[n - 2].w;
        if (w && (w->suffix || w->direction) && !endsHighwayName(t, i, n - 2)) {
            e = n - 1;
            setField(out.designator, "#");
            setNumber(out.secondary, t[n - 1]);
        }
    }
    // Post-directional, suffix, pre-directional, then the name.
    if (e - i >= 2) {
        const WordInfo* w = t[e - 1].w;
        if (w && w->direction) {
            setField(out.postdir, w->direction);
            --e;
        }
    }
    bool hasSuffix = false;
    if (e - i >= 2) {
        const WordInfo* w = t[e - 1].w;
        if (w && w->suffix) {
            setField(out.suffix, w->suffix);
            hasSuffix = true;
            --e;
        }
    }
    if (e - i >= 2) {
        const WordInfo* w = t[i].w;
        if (w && w->direction) {
            // "N W MAIN": two single letters make NW.
            const WordInfo* w2 = t[i + 1].w;
            if (e - i >= 3 && t[i].len == 1 && t[i + 1].len == 1 && w2 && w2->direction &&
                (t[i].s[0] == 'N' || t[i].s[0] == 'S') && (t[i + 1].s[0] == 'E' || t[i + 1].s[0] == 'W')) {
                const char both[3] = {t[i].s[0], t[i + 1].s[0], 0};
                setField(out.predir, both);
                i += 2;
            } else {
                setField(out.predir, w->direction);
                ++i;
            }
        }
    }
    if (i < e) buildName(t, i, e, hasSuffix, out);
    if (!out.street[0])
        out.problem = PARSE_NO_STREET;
    else if (!out.primary[0])
        out.problem = PARSE_NO_PRIMARY;
}

void parseLastTokens(const Token* t, int from, int to, Parsed& out) {
    int e = to;
    if (e - from >= 2 && (eq(t[e - 1], "USA") || eq(t[e - 1], "US"))) --e;
    if (e > from) {
        const Token& z = t[e - 1];
        auto digitsAt = [&](const Token& tk, unsigned a, unsigned b) {
            for (unsigned k = a; k < b; ++k)
                if (!isDigit(static_cast<unsigned char>(tk.s[k]))) return false;
            return true;
        };
        if (z.len == 10 && z.s[5] == '-' && digitsAt(z, 0, 5) && digitsAt(z, 6, 10)) {
            setField(out.zip, sizeof out.zip, z.s, 5);
            setField(out.zip4, sizeof out.zip4, z.s + 6, 4);
            --e;
        } else if (z.len == 9 && digitsAt(z, 0, 9)) {
            setField(out.zip, sizeof out.zip, z.s, 5);
            setField(out.zip4, sizeof out.zip4, z.s + 5, 4);
            --e;
        } else if (z.len == 5 && digitsAt(z, 0, 5)) {
            setField(out.zip, sizeof out.zip, z.s, 5);
            --e;
        } else if (z.len == 4 && digitsAt(z, 0, 4) && e - 2 >= from && t[e - 2].len == 5 &&
                   digitsAt(t[e - 2], 0, 5)) {
            setField(out.zip, sizeof out.zip, t[e - 2].s, 5);
            setField(out.zip4, sizeof out.zip4, z.s, 4);
            e -= 2;
        }
    }
    // The state: the longest run of words at the end that names one. A state
    // name that would leave no city is the city ("Washington, 20001").
    for (int k = e - from < 4 ? e - from : 4; k >= 1; --k) {
        bool split = false;  // a state's words are not parted by a comma
        for (int j = e - k + 1; j < e; ++j) split |= t[j].commaBefore;
        if (split) continue;
        const WordInfo* w = lookup(t, e - k, k);
        if (!w || !w->state) continue;
        if (e - k == from && w->stateIsName) continue;
        setField(out.state, w->state);
        e -= k;
        break;
    }
    out.city[0] = 0;
    for (int j = from; j < e; ++j)
        if (!isHash(t[j])) appendWord(out.city, t[j].s, t[j].len);
}

// A last line written at the end of the address line ("..., NEW YORK, NY
// 10001"): the index of its first word, or -1.
int lastLineStart(const Tokens& tk) {
    const int n = tk.n;
    if (n < 3) return -1;
    const Token& z = tk.t[n - 1];
    const bool zipLike = z.len >= 5 && startsDigit(z) && allDigits(Token{z.s, 5, false, nullptr});
    const WordInfo* w = z.w;
    if (!zipLike && !(w && w->state)) return -1;
    // The first comma behind which no unit or directional follows.
    for (int j = 1; j < n; ++j) {
        if (!tk.t[j].commaBefore) continue;
        const WordInfo* wj = tk.t[j].w;
        if (isHash(tk.t[j]) || (wj && (wj->unit || wj->direction) && j + 2 < n && !tk.t[j + 1].commaBefore &&
                                (wj->direction || hasDigit(tk.t[j + 1]))) ||
            (wj && wj->direction && (j + 1 == n || tk.t[j + 1].commaBefore)))
            continue;
        return j;
    }
    return -1;
}

// A house number written in words ("One Main St", "Twenty-Two Oak Ave",
// "One Hundred Fifth Ave" keeps its ordinal street): the leading run of
// number words becomes figures in buf when at least two words follow it and
// the run does not run into an ordinal street name ("Twenty First St").
// Returns how many words the run took, 0 when it is not a house number.
int spelledNumber(const Token* t, int n, char (&buf)[12]) {
    static const char* const kSmall[] = {"ONE",      "TWO",      "THREE",   "FOUR",     "FIVE",
                                         "SIX",      "SEVEN",    "EIGHT",   "NINE",     "TEN",
                                         "ELEVEN",   "TWELVE",   "THIRTEEN", "FOURTEEN", "FIFTEEN",
                                         "SIXTEEN",  "SEVENTEEN", "EIGHTEEN", "NINETEEN"};
    static const char* const kTens[] = {"TWENTY", "THIRTY", "FORTY", "FIFTY", "SIXTY", "SEVENTY", "EIGHTY", "NINETY"};
    auto value = [](const char* s, unsigned len) -> int {
        auto is = [&](const char* w) { return std::strlen(w) == len && std::memcmp(s, w, len) == 0; };
        for (int v = 0; v < 19; ++v)
            if (is(kSmall[v])) return v + 1;
        for (int v = 0; v < 8; ++v)
            if (is(kTens[v])) return 20 + 10 * v;
        if (is("HUNDRED")) return 100;
        if (is("THOUSAND")) return 1000;
        return -1;
    };
    enum { START, UNIT, TENS, HUNDRED, THOUSAND };
    long total = 0, group = 0;
    int last = START, k = 0;
    for (; k < n && !(k && t[k].commaBefore); ++k) {
        const Token& w = t[k];
        unsigned from = 0;
        for (int part = 0; from <= w.len; ++part) {
            unsigned to = from;
            while (to < w.len && w.s[to] != '-') ++to;
            const int v = value(w.s + from, to - from);
            if (v < 0 && part == 0) goto end;  // the street begins here
            bool ok;
            if (v < 0) ok = false;  // half a number word ("TWENTY-FIRST")
            else if (v < 20) ok = last != UNIT && !(last == TENS && v >= 10), group += v, last = UNIT;
            else if (v < 100) ok = last != UNIT && last != TENS, group += v, last = TENS;
            else if (v == 100) ok = (last == UNIT || last == TENS) && group < 100, group *= 100, last = HUNDRED;
            else ok = last != START && last != THOUSAND && total == 0, total = group * 1000, group = 0, last = THOUSAND;
            if (!ok) return 0;  // "ONE TWO", "HUNDRED": not a number as written
            from = to + 1;
        }
    }
end:
    // Two words at least behind it, and not the start of an ordinal street name.
    if (k == 0 || n - k < 2 || (t[k].w && t[k].w->ordinal)) return 0;
    total += group;
    std::snprintf(buf, sizeof buf, "%ld", total % 100000000);  // at most 9,999,999: eight places
    return k;
}

void clear(Parsed& out) { std::memset(&out, 0, sizeof out); }

}  // namespace

void parseLastLine(const char* lastLine, Parsed& out) {
    Tokens tk;
    tokenize(lastLine, tk);
    parseLastTokens(tk.t, 0, tk.n, out);
}

void parseAddress(const char* urbanization, const char* line1, const char* line2, const char* lastLine,
                  Parsed& out) {
    clear(out);
    if (urbanization && *urbanization) {
        Tokens tu;
        tokenize(urbanization, tu);
        int i = 0;
        if (tu.n) i = matchKeyword(tu.t, tu.n, 0, KW_URB);
        for (int j = i; j < tu.n; ++j) appendWord(out.urbanization, tu.t[j].s, tu.t[j].len);
    }
    Tokens t1, t2;
    tokenize(line1, t1);
    tokenize(line2, t2);

    // The last line: its own argument, or the tail of the address line.
    Tokens tl;
    tokenize(lastLine, tl);
    int n1 = t1.n;
    if (tl.n) {
        parseLastTokens(tl.t, 0, tl.n, out);
    } else if (t2.n == 0) {
        const int at = lastLineStart(t1);
        if (at > 0) {
            parseLastTokens(t1.t, at, t1.n, out);
            n1 = at;
        }
    }

    // The second line: a unit, an urbanization, or the street itself when the
    // first holds no number (a firm, "C/O ...").
    Token words[2 * kMaxTokens];
    int n = 0;
    auto append = [&](const Tokens& tk, int count) {
        for (int j = 0; j < count && n < 2 * kMaxTokens; ++j) words[n++] = tk.t[j];
    };
    bool line1HasDigit = false, line2HasDigit = false;
    for (int j = 0; j < n1; ++j) line1HasDigit |= hasDigit(t1.t[j]);
    for (int j = 0; j < t2.n; ++j) line2HasDigit |= hasDigit(t2.t[j]);
    auto isUnitLine = [](const Tokens& tk, int count) {
        return count && (isHash(tk.t[0]) || unitAt(tk.t, count, 0) || gluedUnit(tk.t[0]));
    };
    if (isUnitLine(t2, t2.n)) {
        append(t1, n1);
        append(t2, t2.n);
    } else if (isUnitLine(t1, n1) && line2HasDigit) {  // "Apt 4B" above "123 Main St"
        append(t2, t2.n);
        append(t1, n1);
    } else if (t2.n && matchKeyword(t2.t, t2.n, 0, KW_URB) && n1) {
        const int k = matchKeyword(t2.t, t2.n, 0, KW_URB);
        if (!out.urbanization[0])
            for (int j = k; j < t2.n; ++j) appendWord(out.urbanization, t2.t[j].s, t2.t[j].len);
        append(t1, n1);
    } else if (t2.n && (!line1HasDigit || n1 == 0) && line2HasDigit) {
        if (n1 && matchKeyword(t1.t, n1, 0, KW_URB) && !out.urbanization[0]) {
            for (int j = matchKeyword(t1.t, n1, 0, KW_URB); j < n1; ++j)
                appendWord(out.urbanization, t1.t[j].s, t1.t[j].len);
        }
        append(t2, t2.n);
    } else {
        append(t1, n1);
        if (!n1) append(t2, t2.n);
    }
    char figures[12];
    if (n && !startsDigit(words[0])) {
        if (const int k = spelledNumber(words, n, figures)) {
            words[0] = Token{figures, static_cast<unsigned>(std::strlen(figures)), false, nullptr};
            std::memmove(&words[1], &words[k], sizeof(Token) * static_cast<std::size_t>(n - k));
            n -= k - 1;
        }
    }
    parseStreet(words, n, out);
    // Only punctuation, control or binary bytes: something was written, nothing can be read.
    if (out.problem == PARSE_EMPTY) {
        for (const char* line : {line1, line2})
            for (std::size_t i = 0; line && i < kMaxLine && line[i]; ++i)
                if (line[i] != ' ' && line[i] != '\t') {
                    out.problem = PARSE_UNUSABLE;
                    return;
                }
    }
}

}  // namespace qvav
