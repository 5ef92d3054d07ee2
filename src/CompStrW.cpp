#include "CompStrW.h"

#include <algorithm>
#include <cstdint>

#include "BusName.h"
#include "CompStrW_Words.h"
#include "DataTables.h"
#include "NCOA_Utils.h"
#include "SoundEx.h"
#include "hx_fio.h"

namespace QV_NCOA {

namespace {

const int kText = CCompStrW::kTextLen;

bool isLetter(char c) { return hx_isalpha(static_cast<unsigned char>(c)); }
bool isDigit(char c) { return hx_isdigit(static_cast<unsigned char>(c)); }

// The work text of squeeze: a leading blank, the 80 bytes, and enough blanks
// behind them for the join tests, which look up to seven places ahead.
const int kSqueezeWork = 1 + kText + 15;

void removeAt(char* w, int at) {
    std::memmove(w + at, w + at + 1, static_cast<size_t>(kSqueezeWork - at - 1));
    w[kSqueezeWork - 1] = ' ';
}

bool singleLetterAt(const char* w, int at) { return isLetter(w[at]) && w[at + 1] == ' '; }

// Index of the first letter/digit boundary at or after 0, -1 if none. A digit
// followed by an ordinal ending ("1ST ", "2ND ", "3RD ", "4TH ") is none.
int firstBoundary(const char* text) {
    for (int i = 0; i <= kText - 4; ++i) {
        if (isDigit(text[i]) && isLetter(text[i + 1])) {
            const char* t = text + i + 1;
            if (std::memcmp(t, "ST ", 3) != 0 && std::memcmp(t, "ND ", 3) != 0 && std::memcmp(t, "RD ", 3) != 0 &&
                std::memcmp(t, "TH ", 3) != 0)
                return i;
        } else if (isLetter(text[i]) && isDigit(text[i + 1])) {
            return i;
        }
    }
    return -1;
}

// A 40-byte word into a blank 80-byte field with a NUL.
void wordToField(const unstringStuffEl& el, char* field) {
    std::memset(field, ' ', kText);
    field[kText] = '\0';
    std::memcpy(field, el.word, unstringStuffEl::kWordLen);
}

}  // namespace

bool squeeze(const char* in, char* out) {
    if (in == nullptr || ncoa_strnlen(in, kText + 1) != static_cast<size_t>(kText)) {
        if (out != nullptr) out[0] = '\0';
        return false;
    }
    char w[kSqueezeWork + 1];
    std::memset(w, ' ', kSqueezeWork);
    w[kSqueezeWork] = '\0';

    // Punctuation becomes blank and every run of blanks one blank, the leading
    // blank of the work text included, so the result starts on its first word.
    int n = 1;
    for (int i = 0; i < kText; ++i) {
        char c = hx_isalnum(static_cast<unsigned char>(in[i])) ? in[i] : ' ';
        if (c == ' ' && w[n - 1] == ' ') continue;
        w[n++] = c;
    }

    // Join single letters spelled apart. The chain ends at the first letter
    // that isn't single, and after the sixth letter: the next test looks again
    // at the place of the blank just taken out.
    bool joined = true;
    while (joined) {
        joined = false;
        int last = findLastNonSpaceN(w, kSqueezeWork);
        for (int i = 1; i <= kText - 1 && i <= last; ++i) {
            if (w[i - 1] != ' ' || !singleLetterAt(w, i) || !singleLetterAt(w, i + 2)) continue;
            removeAt(w, i + 1);
            joined = true;
            for (int k = 3; k <= 6 && singleLetterAt(w, i + k); ++k) removeAt(w, i + k - 1);
        }
    }

    std::memcpy(out, w + 1, kText);
    out[kText] = '\0';
    return true;
}

// ---------------------------------------------------------------------------

// streql_itsp against every row, with the rows' last indexes taken once:
// equal last non-blank index, and the bytes before it alike (the last one is
// not compared).
bool CCompStrW::CIsJunkWord::operator()(const unstringStuffEl& el) const {
    struct RowEnds {
        int last[kJunkWordRows];
        RowEnds() {
            for (int r = 0; r < kJunkWordRows; ++r) last[r] = findLastNonSpace(junkWords[r]);
        }
    };
    static const RowEnds rows;
    const int la = findLastNonSpaceN(el.word, unstringStuffEl::kWordLen);
    for (int r = 0; r < kJunkWordRows; ++r) {
        if (rows.last[r] != la) continue;
        if (la <= 0 || std::memcmp(el.word, junkWords[r], static_cast<size_t>(la)) == 0) return true;
    }
    return false;
}

double CCompStrW::compareStrings(const char* one, const char* two) {
    if (tables_->firmWords.empty() || tables_->wsWords.empty())
        throw qvncoa_exception(1011);

    char a[kTextLen + 1];
    char scratch[kTextLen + 1];
    char b[kTextLen + 1];
    strInit(a, kTextLen);
    strInit(scratch, kTextLen);
    strInit(b, kTextLen);

    if (!squeeze(one, a)) return 0.0;
    splitString(a, scratch);
    // The scratch goes on to the second name holding what the first left.
    if (!squeeze(two, b)) return 0.0;
    splitString(b, scratch);

    if (std::strcmp(a, b) == 0) return 1.0;
    if (isSpaces(a) || isSpaces(b)) return 0.0;

    // The thread's lists, emptied: they keep their capacity from call to call.
    thread_local unstringStuffStruct lists;
    lists.one.clear();
    lists.two.clear();
    breakoutWords(a, b, lists);
    if (lists.one.empty() || lists.two.empty()) return 0.0;

    double initials = 0.0;
    double score = doRest(lists, initials);
    return score > initials ? score : initials;
}

// The walk would start afresh after each split, but a text with a second
// boundary never gets out of it: once the scratch equals the text, every
// further split repeats one byte into the tail until the text stops changing,
// and the boundary stays. So one split is the limit. A text with one boundary
// is split exactly as the full walk would ("ABC123" -> "AB  123"), and one
// with two keeps its second ("ABC123X" -> "AB  123X").
void CCompStrW::splitString(char* text, char* scratch) {
    int i = firstBoundary(text);
    if (i < 0) return;
    // Bytes i and i + 1 of the scratch keep what they held: with a blank
    // scratch the byte at i is lost. Both names of a comparison lose alike.
    std::memcpy(scratch, text, static_cast<size_t>(i));
    std::memcpy(scratch + i + 2, text + i + 1, static_cast<size_t>(kTextLen - 2 - i));
    std::memcpy(text, scratch, kTextLen);
}

void CCompStrW::tokenizeUnstring(const char* text, std::vector<unstringStuffEl>& words) {
    enum { kBetween, kInWord, kOverlong } state = kBetween;
    int len = 0;
    for (int i = 0; i < kTextLen && text[i] != '\0'; ++i) {
        const char c = text[i];
        if (state == kBetween) {
            if (c == ' ') continue;
            words.emplace_back();
            words.back().word[0] = c;
            len = 1;
            state = kInWord;
        } else if (state == kInWord) {
            if (c == ' ') {
                // Only a word ended here counts toward the eight.
                if (words.size() == 8) return;
                state = kBetween;
            } else {
                words.back().word[len++] = c;
                if (len == 39) state = kOverlong;
            }
        } else if (c == ' ') {
            state = kBetween;
        }
    }
}

void CCompStrW::replaceWordlist(std::vector<unstringStuffEl>& words) {
    const auto& map = tables_->wsWords;
    for (auto& el : words) {
        if (findLastNonSpaceN(el.word, unstringStuffEl::kWordLen) >= 21) continue;
        char key[21];
        std::memcpy(key, el.word, 20);
        key[20] = '\0';
        // The map's key type is a free-length string: the thread's own key
        // keeps its capacity, so the search takes nothing from the heap.
        thread_local QvbString probe;
        probe.assign(key);
        auto it = map.find(probe);
        if (it != map.end()) std::memcpy(el.word, it->second.buf, 20);
    }
}

void CCompStrW::removeJunkWords(std::vector<unstringStuffEl>& words) {
    words.erase(std::remove_if(words.begin(), words.end(), CIsJunkWord()), words.end());
}

void CCompStrW::tagCommonWords(std::vector<unstringStuffEl>& words) {
    const auto& set = tables_->firmWords;
    for (auto& el : words)
        if (set.find(firmWordStruct(el.word, 21)) != set.end()) el.weight = 0;
}

void CCompStrW::breakoutWords(char* one, char* two, unstringStuffStruct& lists) {
    char* texts[2] = {one, two};
    std::vector<unstringStuffEl>* out[2] = {&lists.one, &lists.two};
    for (int k = 0; k < 2; ++k) {
        out[k]->reserve(kMaxWords + 1);
        trimLeadingSpaces(texts[k]);
        tokenizeUnstring(texts[k], *out[k]);
        replaceWordlist(*out[k]);
        removeJunkWords(*out[k]);
        tagCommonWords(*out[k]);
    }
}

int CCompStrW::countCommonWords(const std::vector<unstringStuffEl>& words) {
    int n = 0;
    for (const auto& el : words) n += el.weight == 0;
    return n;
}

// Kept as it stands: v / (n + i) is an integer division, and with lists
// padded to nine it is always 0, so the result is 0.0. Each step's value
// replaces the one before; the last is returned.
double CCompStrW::tryInitials(const std::vector<unstringStuffEl>& single, const std::vector<unstringStuffEl>& many) {
    const unsigned n = static_cast<unsigned>(many.size());
    double result = 0.0;
    const char* w = single.front().word;
    for (unsigned i = 0; i < n && i < unstringStuffEl::kWordLen && !isSpaces(w + i, unstringStuffEl::kWordLen - i);
         ++i) {
        unsigned v = w[i] == many[i].word[0] ? 2u : 0u;
        result = roundScore4(static_cast<double>(v / (n + i)));
    }
    return result;
}

double CCompStrW::doRest(unstringStuffStruct& lists, double& initials) {
    initials = 0.0;
    // Words past the ninth (possible only after overlong words) are cut, so
    // that the lists fit the 9 by 9 matrix; shorter lists are not touched.
    if (lists.one.size() > kMaxWords) lists.one.resize(kMaxWords);
    if (lists.two.size() > kMaxWords) lists.two.resize(kMaxWords);
    const int count1 = static_cast<int>(lists.one.size());
    const int count2 = static_cast<int>(lists.two.size());
    lists.one.resize(kMaxWords);
    lists.two.resize(kMaxWords);

    if (count1 == 1 && count2 > 1)
        initials = tryInitials(lists.one, lists.two);
    else if (count2 == 1 && count1 >= 2)
        initials = tryInitials(lists.two, lists.one);
    if (initials >= 1.0) return 0.0;

    double m[kMaxWords][kMaxWords] = {};
    double best1[kMaxWords] = {};
    double best2[kMaxWords] = {};
    for (int i = 0; i < count1; ++i) {
        for (int j = 0; j < count2; ++j) {
            const unstringStuffEl& w1 = lists.one[i];
            const unstringStuffEl& w2 = lists.two[j];
            if (streql_itsp(w1.word, w2.word)) {
                m[i][j] = 1.0;
                continue;
            }
            char f1[kTextLen + 1];
            char f2[kTextLen + 1];
            wordToField(w1, f1);
            wordToField(w2, f2);
            CNCOA_BusinessName_utas41c0 letters;
            double score = letters.compareStrings(f1, f2);
            if (score < 0.9) {
                char c1[kTextLen + 1];
                char c2[kTextLen + 1];
                SoundEx(f1, c1, kTextLen);
                SoundEx(f2, c2, kTextLen);
                double h = letters.compareStrings(c1, c2);
                if (h > score) score = (h + score) * 0.5;
            }
            m[i][j] = score;
        }
    }
    for (int i = 0; i < count1; ++i)
        for (int j = 0; j < count2; ++j) {
            if (m[i][j] > best1[i]) best1[i] = m[i][j];
            if (m[i][j] > best2[j]) best2[j] = m[i][j];
        }

    // A full word counts twice, a common word once, above and below the line.
    double sum = 0.0;
    for (int i = 0; i < count1; ++i) {
        sum += best1[i];
        if (lists.one[i].weight == 1) sum += best1[i];
    }
    for (int j = 0; j < count2; ++j) {
        sum += best2[j];
        if (lists.two[j].weight == 1) sum += best2[j];
    }
    const int common1 = countCommonWords(lists.one);
    const int common2 = countCommonWords(lists.two);
    double score = roundScore4(sum / (2 * (count1 + count2) - common1 - common2));
    if (count1 == count2) return score;

    // Integer quotient, kept: 0 for any two different counts, so unequal word
    // counts cost one eleventh.
    const int q = count1 < count2 ? count1 / count2 : count2 / count1;
    return roundScore4((q + score * 10.0) / 11.0);
}

}  // namespace QV_NCOA
