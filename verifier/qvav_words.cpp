#include "qvav_words.h"

#include <cstring>
#include <new>

#include "qvav_tables.h"

namespace qvav {

namespace {

// Each line is "STANDARD|field|field..."; calls f(standard, field, len) for
// the fields after the first `skip` ones.
template <typename F>
void eachSpelling(const char* line, int skip, F f) {
    const char* bar = std::strchr(line, '|');
    if (!bar) return;
    const char* standard = line;
    const std::size_t standardLen = static_cast<std::size_t>(bar - line);
    const char* p = bar + 1;
    int field = 1;
    while (*p) {
        const char* end = std::strchr(p, '|');
        const std::size_t len = end ? static_cast<std::size_t>(end - p) : std::strlen(p);
        if (field >= skip && len) f(standard, standardLen, p, len, field);
        ++field;
        if (!end) break;
        p = end + 1;
    }
}

std::size_t tableChars(const char* const* t) {
    std::size_t n = 0;
    for (; *t; ++t) n += std::strlen(*t) + 1;
    return n;
}

}  // namespace

std::uint32_t Words::hashOf(const char* s, std::size_t len) {
    std::uint32_t h = 2166136261u;  // FNV-1a
    for (std::size_t i = 0; i < len; ++i) {
        h ^= static_cast<unsigned char>(s[i]);
        h *= 16777619u;
    }
    return h;
}

const char* Words::store(const char* s, std::size_t len) {
    char* out = pool + poolUsed;
    std::memcpy(out, s, len);
    out[len] = 0;
    poolUsed += len + 1;
    return out;
}

WordInfo& Words::add(const char* word, std::size_t len) {
    const std::uint32_t h = hashOf(word, len);
    for (std::size_t i = h & mask;; i = (i + 1) & mask) {
        Slot& s = slots[i];
        if (!s.key) {
            s.key = store(word, len);
            s.len = static_cast<std::uint32_t>(len);
            s.hash = h;
            return s.info;
        }
        if (s.hash == h && s.len == len && std::memcmp(s.key, word, len) == 0) return s.info;
    }
}

const WordInfo* Words::find(const char* word, std::size_t len) const {
    const std::uint32_t h = hashOf(word, len);
    for (std::size_t i = h & mask;; i = (i + 1) & mask) {
        const Slot& s = slots[i];
        if (!s.key) return nullptr;
        if (s.hash == h && s.len == len && std::memcmp(s.key, word, len) == 0) return &s.info;
    }
}

Words::Words() {
    const char* const* tables[] = {qvav_table_suffixes, qvav_table_units,    qvav_table_directionals,
                                   qvav_table_states,   qvav_table_keywords, qvav_table_ordinals};
    std::size_t chars = 0, lines = 0;
    for (const char* const* t : tables) {
        chars += tableChars(t);
        for (const char* const* l = t; *l; ++l) ++lines;
    }
    // Keys and standard forms both come out of the pool; spellings are fewer
    // than the table's characters, so that bounds the slots too.
    poolSize = 2 * chars + 64;
    pool = new char[poolSize];
    std::size_t slotCount = 1024;
    while (slotCount < 2 * chars / 3) slotCount <<= 1;
    slots = new Slot[slotCount];
    mask = slotCount - 1;

    // A spelling that is itself a standard abbreviation keeps it: standard
    // forms go in first and are never overwritten.
    auto setOnce = [](const char*& field, const char* value) {
        if (!field) field = value;
    };
    auto firstField = [](const char* line) { return static_cast<std::size_t>(std::strchr(line, '|') - line); };
    for (const char* const* l = qvav_table_suffixes; *l; ++l) {
        const std::size_t sl = firstField(*l);
        WordInfo& w = add(*l, sl);
        if (!w.suffix) w.suffix = store(*l, sl);
    }
    for (const char* const* l = qvav_table_suffixes; *l; ++l) {
        const std::size_t sl = firstField(*l);
        const char* standard = add(*l, sl).suffix;
        eachSpelling(*l, 1, [&](const char*, std::size_t, const char* sp, std::size_t len, int) {
            setOnce(add(sp, len).suffix, standard);
        });
    }
    for (const char* const* l = qvav_table_units; *l; ++l) {
        const std::size_t sl = firstField(*l);
        const char* standard = store(*l, sl);
        const bool needs = (*l)[sl + 1] == '+';
        WordInfo& self = add(*l, sl);
        if (!self.unit) {
            self.unit = standard;
            self.unitNeedsNumber = needs;
        }
        eachSpelling(*l, 2, [&](const char*, std::size_t, const char* sp, std::size_t len, int) {
            WordInfo& w = add(sp, len);
            if (!w.unit) {
                w.unit = standard;
                w.unitNeedsNumber = needs;
            }
        });
    }
    for (const char* const* l = qvav_table_directionals; *l; ++l) {
        const std::size_t sl = firstField(*l);
        const char* standard = store(*l, sl);
        setOnce(add(*l, sl).direction, standard);
        eachSpelling(*l, 1, [&](const char*, std::size_t, const char* sp, std::size_t len, int) {
            setOnce(add(sp, len).direction, standard);
        });
    }
    for (const char* const* l = qvav_table_states; *l; ++l) {
        const std::size_t sl = firstField(*l);
        const char* standard = store(*l, sl);
        setOnce(add(*l, sl).state, standard);
        eachSpelling(*l, 1, [&](const char*, std::size_t, const char* sp, std::size_t len, int) {
            WordInfo& w = add(sp, len);
            if (!w.state) {
                w.state = standard;
                w.stateIsName = !(len == sl && std::memcmp(sp, *l, len) == 0);
            }
        });
    }
    unsigned k = 0;
    for (const char* const* l = qvav_table_keywords; *l && k < KW_COUNT; ++l, ++k) {
        const std::size_t sl = firstField(*l);
        keywordNames[k] = store(*l, sl);
        eachSpelling(*l, 1, [&](const char*, std::size_t, const char* sp, std::size_t len, int) {
            add(sp, len).keywords |= 1u << k;
        });
    }
    for (const char* const* l = qvav_table_ordinals; *l; ++l) {
        const std::size_t sl = firstField(*l);
        const char* standard = store(*l, sl);
        eachSpelling(*l, 1, [&](const char*, std::size_t, const char* sp, std::size_t len, int) {
            setOnce(add(sp, len).ordinal, standard);
        });
    }
}

const Words& Words::get() {
    static const Words words;  // never freed: it lives as long as the process
    return words;
}

}  // namespace qvav
