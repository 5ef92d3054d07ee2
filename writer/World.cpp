#include "World.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <sstream>

namespace qvw {
namespace {

using json = nlohmann::json;

[[noreturn]] void fail(const std::string& path, const std::string& message) {
    throw WriterError("world: " + path + ": " + message);
}

std::string at(const std::string& path, const char* key) { return path.empty() ? key : path + "." + key; }
std::string at(const std::string& path, std::size_t i) { return path + "[" + std::to_string(i) + "]"; }

// Unknown keys are refused so that a misspelt field doesn't pass unnoticed.
void onlyKeys(const json& j, const std::string& path, std::initializer_list<const char*> keys) {
    if (!j.is_object())
        fail(path, "expected an object");
    for (auto it = j.begin(); it != j.end(); ++it) {
        if (std::none_of(keys.begin(), keys.end(), [&](const char* k) { return it.key() == k; }))
            fail(at(path, it.key().c_str()), "unknown field");
    }
}

enum class Chars { Any, Digits, Packable, Upper };

void checkChars(const std::string& value, const std::string& path, Chars chars) {
    switch (chars) {
    case Chars::Any:
        break;
    case Chars::Digits:
        if (!value.empty() && !allDigits(value))
            fail(path, "digits only, got \"" + value + "\"");
        break;
    case Chars::Packable:
        if (!isPackable(value))
            fail(path, "only blank, '-', '.', '/', digits and upper-case letters, got \"" + value + "\"");
        break;
    case Chars::Upper:
        for (char c : value)
            if (c >= 'a' && c <= 'z')
                fail(path, "upper case expected, got \"" + value + "\"");
        break;
    }
}

// A text field: `exact` non-zero demands that width, `maxLen` bounds it.
std::string text(const json& j, const std::string& path, const char* key, std::size_t maxLen,
                 bool required, Chars chars = Chars::Upper, std::size_t exact = 0) {
    const std::string p = at(path, key);
    if (!j.contains(key)) {
        if (required)
            fail(p, "missing");
        return {};
    }
    if (!j[key].is_string())
        fail(p, "expected a string");
    std::string v = j[key].get<std::string>();
    if (exact && v.size() != exact)
        fail(p, "must be " + std::to_string(exact) + " characters, got \"" + v + "\"");
    if (v.size() > maxLen)
        fail(p, "longer than " + std::to_string(maxLen) + " characters: \"" + v + "\"");
    checkChars(v, p, chars);
    return v;
}

char oneOf(const json& j, const std::string& path, const char* key, const std::string& allowed, char dflt) {
    const std::string v = text(j, path, key, 1, false, Chars::Any);
    if (v.empty())
        return dflt;
    if (allowed.find(v[0]) == std::string::npos)
        fail(at(path, key), "one of \"" + allowed + "\" expected, got \"" + v + "\"");
    return v[0];
}

long long number(const json& j, const std::string& path, const char* key, long long lo, long long hi, long long dflt) {
    if (!j.contains(key))
        return dflt;
    const std::string p = at(path, key);
    if (!j[key].is_number_integer())
        fail(p, "expected an integer");
    const long long v = j[key].get<long long>();
    if (v < lo || v > hi)
        fail(p, "must lie between " + std::to_string(lo) + " and " + std::to_string(hi));
    return v;
}

bool flag(const json& j, const std::string& path, const char* key) {
    if (!j.contains(key))
        return false;
    if (!j[key].is_boolean())
        fail(at(path, key), "expected true or false");
    return j[key].get<bool>();
}

const json& array(const json& j, const char* key, const std::string& path) {
    static const json empty = json::array();
    if (!j.contains(key))
        return empty;
    if (!j[key].is_array())
        fail(at(path, key), "expected an array");
    return j[key];
}

} // namespace

bool validDate(const std::string& d, bool withDay) {
    if (!allDigits(d) || d.size() != (withDay ? 8u : 6u))
        return false;
    const int month = std::stoi(d.substr(4, 2));
    if (month < 1 || month > 12)
        return false;
    if (withDay) {
        const int day = std::stoi(d.substr(6, 2));
        if (day < 1 || day > 31)
            return false;
    }
    return true;
}

namespace {

std::string date(const json& j, const std::string& path, const char* key, bool withDay) {
    const std::string v = text(j, path, key, 8, false, Chars::Digits);
    if (!v.empty() && !validDate(v, withDay))
        fail(at(path, key), std::string("a date as ") + (withDay ? "YYYYMMDD" : "YYYYMM") + " expected, got \"" + v + "\"");
    return v;
}

std::string zip9(const json& j, const std::string& path, const char* key) {
    return text(j, path, key, 9, true, Chars::Digits, 9);
}

std::uint32_t powerOfTwo(const json& j, const std::string& path, const char* key, std::uint32_t dflt) {
    const long long v = number(j, path, key, 1, 1LL << 30, dflt);
    if ((v & (v - 1)) != 0)
        fail(at(path, key), "must be a power of two");
    return static_cast<std::uint32_t>(v);
}

DataSetInfo parseDataSet(const json& j) {
    const std::string p = "dataset";
    onlyKeys(j, p, {"name", "set_letter", "type_mark", "sequence", "release_date", "cutoff_date", "expiry_date",
                    "filter_bytes", "stripe_bytes", "bit_table_bytes", "contents_letters"});
    DataSetInfo d;
    if (j.contains("name"))
        d.name = text(j, p, "name", 50, true, Chars::Any);
    // Only the hash kinds are written; B, D and F would announce flat files.
    d.setLetter = oneOf(j, p, "set_letter", "ACE", 'A');
    const std::string mark = text(j, p, "type_mark", 1, false, Chars::Any);
    if (!mark.empty())
        d.typeMark = mark[0];
    d.sequence = static_cast<int>(number(j, p, "sequence", 0, 99999999, 1));
    d.releaseDate = date(j, p, "release_date", true);
    d.cutoffDate = date(j, p, "cutoff_date", true);
    d.expiryDate = date(j, p, "expiry_date", true);
    d.filterBytes = powerOfTwo(j, p, "filter_bytes", d.filterBytes);
    d.stripeBytes = powerOfTwo(j, p, "stripe_bytes", d.stripeBytes);
    d.bitTableBytes = powerOfTwo(j, p, "bit_table_bytes", d.bitTableBytes);
    d.contentsLetters = text(j, p, "contents_letters", 100, false, Chars::Any);
    if (!d.contentsLetters.empty()) {
        if (d.contentsLetters.size() != 100)
            fail(at(p, "contents_letters"), "100 letters expected, one per ZIP group");
        for (char c : d.contentsLetters)
            if (c < 'a' || c > 'z')
                fail(at(p, "contents_letters"), "lower-case letters a to z only");
    }
    return d;
}

Place parsePlace(const json& j, const std::string& p) {
    onlyKeys(j, p, {"zip", "state", "city", "city_short", "last_line"});
    Place pl;
    pl.zip = text(j, p, "zip", 5, true, Chars::Digits, 5);
    pl.state = text(j, p, "state", 2, true, Chars::Upper, 2);
    pl.city = text(j, p, "city", 28, true);
    pl.cityShort = text(j, p, "city_short", 13, false);
    if (pl.cityShort.empty())
        pl.cityShort = pl.city.substr(0, 13);
    pl.lastLine = text(j, p, "last_line", 6, false, Chars::Packable);
    return pl;
}

const char* const kDirections[] = {"E", "N", "NE", "NW", "S", "SE", "SW", "W"};

std::string direction(const json& j, const std::string& p, const char* key) {
    const std::string v = text(j, p, key, 2, false);
    if (!v.empty() && std::none_of(std::begin(kDirections), std::end(kDirections), [&](const char* d) { return v == d; }))
        fail(at(p, key), "a directional E N NE NW S SE SW W expected, got \"" + v + "\"");
    return v;
}

// House and unit numbers of all digits stand right-justified and zero-filled,
// as the USPS files hold them; the address line builder relies on that form.
std::string uspsNumber(const std::string& v, std::size_t width) {
    return !v.empty() && allDigits(v) ? padLeft(v, width, '0') : v;
}

AddressRange parseRange(const json& j, const std::string& p) {
    onlyKeys(j, p, {"zip", "addon_low", "addon_high", "type", "primary_low", "primary_high", "primary_parity",
                    "predir", "street", "suffix", "postdir", "designator", "secondary_low", "secondary_high",
                    "secondary_parity", "carrier_route", "last_line"});
    AddressRange r;
    r.zip = text(j, p, "zip", 5, true, Chars::Digits, 5);
    r.addonLow = text(j, p, "addon_low", 4, true, Chars::Digits, 4);
    r.addonHigh = text(j, p, "addon_high", 4, false, Chars::Digits, 4);
    if (r.addonHigh.empty())
        r.addonHigh = r.addonLow;
    if (r.addonHigh < r.addonLow)
        fail(at(p, "addon_high"), "below addon_low");
    r.recordType = oneOf(j, p, "type", "FGHPRS", 'S');
    r.primaryLow = text(j, p, "primary_low", 10, false, Chars::Packable);
    r.primaryHigh = text(j, p, "primary_high", 10, false, Chars::Packable);
    if (r.primaryHigh.empty())
        r.primaryHigh = r.primaryLow;
    r.primaryParity = oneOf(j, p, "primary_parity", "BEO", ' ');
    r.preDir = direction(j, p, "predir");
    r.street = text(j, p, "street", 28, false, Chars::Packable);
    r.suffix = text(j, p, "suffix", 4, false, Chars::Packable);
    r.postDir = direction(j, p, "postdir");
    r.designator = text(j, p, "designator", 4, false, Chars::Packable);
    r.secondaryLow = text(j, p, "secondary_low", 8, false, Chars::Packable);
    r.secondaryHigh = text(j, p, "secondary_high", 8, false, Chars::Packable);
    if (r.secondaryHigh.empty())
        r.secondaryHigh = r.secondaryLow;
    r.secondaryParity = oneOf(j, p, "secondary_parity", "BEO", ' ');
    r.primaryLow = uspsNumber(r.primaryLow, 10);
    r.primaryHigh = uspsNumber(r.primaryHigh, 10);
    r.secondaryLow = uspsNumber(r.secondaryLow, 8);
    r.secondaryHigh = uspsNumber(r.secondaryHigh, 8);
    r.carrierRoute = text(j, p, "carrier_route", 4, false, Chars::Packable);
    r.lastLine = text(j, p, "last_line", 6, false, Chars::Packable);
    return r;
}

Address parseAddress(const json& j, const std::string& p) {
    onlyKeys(j, p, {"zip9", "primary", "designator", "secondary"});
    Address a;
    a.zip9 = text(j, p, "zip9", 9, true, Chars::Any);
    if (!(allDigits(a.zip9) && a.zip9.size() == 9) &&
        !(a.zip9.size() >= 5 && allDigits(a.zip9.substr(0, 5)) && a.zip9.find_first_not_of(' ', 5) == std::string::npos))
        fail(at(p, "zip9"), "nine digits, or five digits alone, expected, got \"" + a.zip9 + "\"");
    a.zip9 = padRight(a.zip9, 9);
    a.primary = text(j, p, "primary", 10, false);
    a.designator = text(j, p, "designator", 4, false);
    a.secondary = text(j, p, "secondary", 8, false);
    return a;
}

Bytes hexBytes(const std::string& hex, std::size_t n, const std::string& p) {
    if (hex.size() != 2 * n)
        fail(p, std::to_string(2 * n) + " hexadecimal digits expected");
    Bytes out;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const std::string pair = hex.substr(i, 2);
        if (pair.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
            fail(p, "hexadecimal digits expected, got \"" + hex + "\"");
        out.push_back(static_cast<unsigned char>(std::stoi(pair, nullptr, 16)));
    }
    return out;
}

// "at" (an address) or "key_hex" (8 bytes, exactly as stored), one of the two.
KeySource parseKeySource(const json& j, const std::string& p) {
    KeySource k;
    const bool hasAddress = j.contains("at"), hasKey = j.contains("key_hex");
    if (hasAddress == hasKey)
        fail(p, "give either \"at\" (an address) or \"key_hex\" (8 bytes)");
    if (hasAddress)
        k.address = parseAddress(j["at"], at(p, "at"));
    else
        k.rawKey = hexBytes(text(j, p, "key_hex", 16, true, Chars::Any), 8, at(p, "key_hex"));
    return k;
}

PersonName parseName(const json& j, const std::string& p) {
    onlyKeys(j, p, {"prefix", "first", "middle", "last", "suffix", "gender"});
    PersonName n;
    n.prefix = text(j, p, "prefix", 5, false);
    n.first = text(j, p, "first", 15, false);
    n.middle = text(j, p, "middle", 20, false);
    n.last = text(j, p, "last", 20, true);
    n.suffix = text(j, p, "suffix", 5, false);
    n.gender = oneOf(j, p, "gender", "MFU", 'U');
    return n;
}

Filing parseFiling(const json& j, const std::string& p) {
    onlyKeys(j, p, {"kind", "name", "business", "from", "to_zip11", "hint", "move_date", "drop", "name_flag"});
    Filing f;
    const std::string kind = text(j, p, "kind", 20, true, Chars::Any);
    if (kind == "individual")
        f.kind = Filing::Kind::Individual;
    else if (kind == "family")
        f.kind = Filing::Kind::Family;
    else if (kind == "business")
        f.kind = Filing::Kind::Business;
    else
        fail(at(p, "kind"), "individual, family or business expected, got \"" + kind + "\"");
    if (f.kind == Filing::Kind::Business) {
        f.business = text(j, p, "business", 40, true);
        if (j.contains("name"))
            fail(at(p, "name"), "a business filing has no person's name");
    } else {
        if (!j.contains("name"))
            fail(at(p, "name"), "missing");
        f.name = parseName(j["name"], at(p, "name"));
        if (j.contains("business"))
            fail(at(p, "business"), "only business filings carry a firm name");
    }
    if (!j.contains("from"))
        fail(at(p, "from"), "missing");
    f.from = parseAddress(j["from"], at(p, "from"));
    f.toZip11 = text(j, p, "to_zip11", 11, false, Chars::Digits, 11);
    f.hint = text(j, p, "hint", 7, false);
    f.moveDate = date(j, p, "move_date", false);
    if (f.moveDate.empty())
        fail(at(p, "move_date"), "missing");
    f.dropFlag = flag(j, p, "drop");
    f.nameFlag = flag(j, p, "name_flag");
    return f;
}

std::vector<std::pair<std::string, std::string>> parsePairs(const json& a, const std::string& p, std::size_t width) {
    std::vector<std::pair<std::string, std::string>> out;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const std::string pi = at(p, i);
        if (!a[i].is_array() || a[i].size() != 2 || !a[i][0].is_string() || !a[i][1].is_string())
            fail(pi, "a pair [name, equivalent] expected");
        std::string k = a[i][0].get<std::string>(), v = a[i][1].get<std::string>();
        // A blank key or value would read back as the previous line's entry.
        if (k.empty() || v.empty() || k.size() > width || v.size() > width)
            fail(pi, "names of 1 to " + std::to_string(width) + " characters expected");
        checkChars(k, pi, Chars::Upper);
        checkChars(v, pi, Chars::Upper);
        out.emplace_back(k, v);
    }
    return out;
}

std::vector<std::string> parseWords(const json& a, const std::string& p, std::size_t width) {
    std::vector<std::string> out;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!a[i].is_string() || a[i].get<std::string>().empty() || a[i].get<std::string>().size() > width)
            fail(at(p, i), "a text of 1 to " + std::to_string(width) + " characters expected");
        checkChars(a[i].get<std::string>(), at(p, i), Chars::Upper);
        out.push_back(a[i].get<std::string>());
    }
    return out;
}

NameLists parseNames(const json& j) {
    const std::string p = "names";
    onlyKeys(j, p, {"rules", "normal_first", "normal_last", "nicknames", "genders", "no_first", "no_last"});
    NameLists n;
    if (j.contains("rules")) {
        const json& a = array(j, "rules", p);
        std::vector<NameRuleLine> rules;
        for (std::size_t i = 0; i < a.size(); ++i) {
            const std::string pi = at(at(p, "rules"), i);
            onlyKeys(a[i], pi, {"left", "middle", "right", "from", "to"});
            NameRuleLine r;
            r.left = flag(a[i], pi, "left");
            r.middle = flag(a[i], pi, "middle");
            r.right = flag(a[i], pi, "right");
            r.from = text(a[i], pi, "from", 8, true);
            r.to = text(a[i], pi, "to", 8, true);
            // The reader drops a line whose `to` is blank, so a deleting rule can't be written.
            if (r.from.empty() || r.to.empty() || r.to.find_first_not_of(' ') == std::string::npos)
                fail(pi, "from and to must not be blank");
            if (!r.left && !r.middle && !r.right)
                fail(pi, "a rule needs at least one of left, middle, right");
            rules.push_back(r);
        }
        if (rules.size() > 255)
            fail(at(p, "rules"), "at most 255 rules");
        n.rules = rules;
    }
    if (j.contains("normal_first"))
        n.normalFirst = parsePairs(array(j, "normal_first", p), at(p, "normal_first"), 15);
    if (j.contains("normal_last"))
        n.normalLast = parsePairs(array(j, "normal_last", p), at(p, "normal_last"), 20);
    if (j.contains("nicknames"))
        n.nicknames = parsePairs(array(j, "nicknames", p), at(p, "nicknames"), 15);
    if (j.contains("genders")) {
        std::vector<std::pair<std::string, char>> g;
        for (const auto& [name, code] : parsePairs(array(j, "genders", p), at(p, "genders"), 15)) {
            if (code != "M" && code != "F" && code != "U")
                fail(at(p, "genders"), "gender of \"" + name + "\" must be M, F or U");
            g.emplace_back(name, code[0]);
        }
        n.genders = g;
    }
    if (j.contains("no_first"))
        n.noFirst = parseWords(array(j, "no_first", p), at(p, "no_first"), 15);
    if (j.contains("no_last"))
        n.noLast = parseWords(array(j, "no_last", p), at(p, "no_last"), 20);
    return n;
}

} // namespace

World parseWorld(const std::string& jsonText) {
    json j;
    try {
        j = json::parse(jsonText);
    } catch (const json::parse_error& e) {
        throw WriterError(std::string("world: not valid JSON: ") + e.what());
    }
    onlyKeys(j, "", {"format", "dataset", "places", "ranges", "filings", "businesses", "daily_deletes", "lcd",
                     "urbanizations", "hints", "left_right", "x11", "names"});
    if (number(j, "", "format", 1, 1, 1) != 1)
        fail("format", "only format 1 is known");

    World w;
    if (j.contains("dataset"))
        w.dataset = parseDataSet(j["dataset"]);

    const json& places = array(j, "places", "");
    for (std::size_t i = 0; i < places.size(); ++i)
        w.places.push_back(parsePlace(places[i], at("places", i)));

    const json& ranges = array(j, "ranges", "");
    for (std::size_t i = 0; i < ranges.size(); ++i)
        w.ranges.push_back(parseRange(ranges[i], at("ranges", i)));

    const json& filings = array(j, "filings", "");
    for (std::size_t i = 0; i < filings.size(); ++i)
        w.filings.push_back(parseFiling(filings[i], at("filings", i)));

    const json& biz = array(j, "businesses", "");
    for (std::size_t i = 0; i < biz.size(); ++i) {
        const std::string p = at("businesses", i);
        onlyKeys(biz[i], p, {"at", "key_hex", "name"});
        BusinessEntry b;
        b.at = parseKeySource(biz[i], p);
        b.name = text(biz[i], p, "name", 40, true);
        if (b.at.rawKey == Bytes(8, 0xFF))
            fail(p, "eight bytes FF are the reserved key");
        w.businesses.push_back(b);
    }

    const json& dd = array(j, "daily_deletes", "");
    for (std::size_t i = 0; i < dd.size(); ++i) {
        const std::string p = at("daily_deletes", i);
        onlyKeys(dd[i], p, {"at", "key_hex", "sequence"});
        DailyDelete d;
        d.at = parseKeySource(dd[i], p);
        d.sequence = static_cast<int>(number(dd[i], p, "sequence", 0, 9999, -1));
        if (d.sequence < 0)
            fail(at(p, "sequence"), "missing");
        w.dailyDeletes.push_back(d);
    }

    const json& lcd = array(j, "lcd", "");
    for (std::size_t i = 0; i < lcd.size(); ++i) {
        const std::string p = at("lcd", i);
        onlyKeys(lcd[i], p, {"zip9", "value"});
        LcdReplacement l;
        l.zip9 = zip9(lcd[i], p, "zip9");
        if (!lcd[i].contains("value"))
            fail(at(p, "value"), "missing");
        l.value = static_cast<unsigned>(number(lcd[i], p, "value", 0, 9999, 0));
        // The reader groups the table by the key's high 16 bits into 15258 slots.
        if ((std::stoul(l.zip9) >> 16) >= 15258)
            fail(at(p, "zip9"), "ZIP+4 beyond 99994-8287 can't be grouped by the reader");
        w.lcd.push_back(l);
    }

    const json& urb = array(j, "urbanizations", "");
    for (std::size_t i = 0; i < urb.size(); ++i) {
        const std::string p = at("urbanizations", i);
        onlyKeys(urb[i], p, {"zip9", "name"});
        w.urbanizations.push_back({zip9(urb[i], p, "zip9"), text(urb[i], p, "name", 28, true)});
    }

    const json& hints = array(j, "hints", "");
    // Hint indexes are one byte, 254 meaning none: 253 entries at most.
    if (hints.size() > 253)
        fail("hints", "at most 253 hints");
    w.hints = parseWords(hints, "hints", 7);

    const json& lr = array(j, "left_right", "");
    for (std::size_t i = 0; i < lr.size(); ++i) {
        const std::string p = at("left_right", i);
        onlyKeys(lr[i], p, {"zip9", "side"});
        w.leftRight.push_back({zip9(lr[i], p, "zip9"), oneOf(lr[i], p, "side", "LR", 'R')});
    }

    const json& x11 = array(j, "x11", "");
    for (std::size_t i = 0; i < x11.size(); ++i) {
        const std::string p = at("x11", i);
        onlyKeys(x11[i], p, {"code", "alt"});
        X11Entry e;
        e.code = text(x11[i], p, "code", 11, true, Chars::Digits, 11);
        e.alt = text(x11[i], p, "alt", 11, false, Chars::Digits, 11);
        if (e.alt.empty())
            e.alt = e.code;
        w.x11.push_back(e);
    }

    if (j.contains("names"))
        w.names = parseNames(j["names"]);
    return w;
}

World loadWorld(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw WriterError("can't open world file " + path);
    std::ostringstream ss;
    ss << in.rdbuf();
    return parseWorld(ss.str());
}

} // namespace qvw
