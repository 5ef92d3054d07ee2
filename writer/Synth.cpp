#include "Synth.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <set>
#include <unordered_set>

#include "HashEncoder.h"
#include "NameLists.h"

namespace qvw {

namespace {

// SplitMix64: small, fast, and the same numbers on every platform, which the
// standard distributions do not promise.
class Rng {
public:
    // The seed is mixed first: plain successive seeds would give the same
    // stream shifted by one draw.
    explicit Rng(std::uint64_t seed) : s_(mix(seed ^ 0x2545F4914F6CDD1DULL)) {}
    std::uint64_t next() { return mix(s_ += 0x9E3779B97F4A7C15ULL); }
    // 0 to n - 1; n above 0.
    std::size_t below(std::size_t n) {
        return static_cast<std::size_t>((static_cast<unsigned __int128>(next()) * n) >> 64);
    }
    bool chance(double p) { return static_cast<double>(next() >> 11) * 0x1.0p-53 < p; }
    template <class T>
    const T& pick(const std::vector<T>& v) {
        return v[below(v.size())];
    }

private:
    static std::uint64_t mix(std::uint64_t z) {
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    std::uint64_t s_;
};

const std::vector<std::string> kBuiltInGiven = {
    "JAMES", "JOHN",  "ROBERT",  "MICHAEL", "WILLIAM", "DAVID", "RICHARD", "JOSEPH", "THOMAS",  "CHARLES",
    "MARY",  "PATRICIA", "JENNIFER", "LINDA", "ELIZABETH", "BARBARA", "SUSAN", "JESSICA", "SARAH", "KAREN"};
const std::vector<std::string> kBuiltInSurnames = {
    "SMITH",  "JOHNSON", "WILLIAMS", "BROWN", "JONES",  "GARCIA", "MILLER", "DAVIS",  "RODRIGUEZ", "MARTINEZ",
    "HERNANDEZ", "LOPEZ", "GONZALEZ", "WILSON", "ANDERSON", "THOMAS", "TAYLOR", "MOORE", "JACKSON", "MARTIN"};

// Gender of common given names, for gender.txt: a filing carries the gender
// that the search gives its first name, so that exact hits pass the check.
const std::vector<std::pair<std::string, char>> kGenders = {
    {"ANDREW", 'M'},   {"ANTHONY", 'M'},  {"BRIAN", 'M'},     {"CHARLES", 'M'},   {"CHRISTOPHER", 'M'},
    {"DANIEL", 'M'},   {"DAVID", 'M'},    {"DONALD", 'M'},    {"EDWARD", 'M'},    {"GARY", 'M'},
    {"GEORGE", 'M'},   {"JAMES", 'M'},    {"JASON", 'M'},     {"JEFFREY", 'M'},   {"JOHN", 'M'},
    {"JOSEPH", 'M'},   {"JOSHUA", 'M'},   {"KENNETH", 'M'},   {"KEVIN", 'M'},     {"MARK", 'M'},
    {"MATTHEW", 'M'},  {"MICHAEL", 'M'},  {"PAUL", 'M'},      {"RICHARD", 'M'},   {"ROBERT", 'M'},
    {"RONALD", 'M'},   {"RYAN", 'M'},     {"STEVEN", 'M'},    {"THOMAS", 'M'},    {"TIMOTHY", 'M'},
    {"WILLIAM", 'M'},  {"AMANDA", 'F'},   {"ANNA", 'F'},      {"BARBARA", 'F'},   {"BETTY", 'F'},
    {"CAROL", 'F'},    {"DEBORAH", 'F'},  {"DONNA", 'F'},     {"DOROTHY", 'F'},   {"ELIZABETH", 'F'},
    {"EMILY", 'F'},    {"HELEN", 'F'},    {"JENNIFER", 'F'},  {"JESSICA", 'F'},   {"KAREN", 'F'},
    {"KIMBERLY", 'F'}, {"LAURA", 'F'},    {"LINDA", 'F'},     {"LISA", 'F'},      {"MARGARET", 'F'},
    {"MARIA", 'F'},    {"MARY", 'F'},     {"MELISSA", 'F'},   {"MICHELLE", 'F'},  {"NANCY", 'F'},
    {"PATRICIA", 'F'}, {"REBECCA", 'F'},  {"SANDRA", 'F'},    {"SARAH", 'F'},     {"SHARON", 'F'},
    {"STEPHANIE", 'F'}, {"SUSAN", 'F'},   {"JORDAN", 'U'},    {"TAYLOR", 'U'},    {"CASEY", 'U'}};

const std::vector<std::string> kStreetWords = {
    "OAK",    "MAPLE",   "CEDAR",    "PINE",     "ELM",     "WALNUT",   "CHESTNUT", "HICKORY", "WILLOW",  "BIRCH",
    "SPRUCE", "ASPEN",   "MAGNOLIA", "DOGWOOD",  "SYCAMORE", "POPLAR",  "LAUREL",   "HOLLY",   "CHERRY",  "PEACH",
    "MAIN",   "CHURCH",  "MARKET",   "BROAD",    "HIGH",    "MILL",     "SPRING",   "LAKE",    "RIVER",   "HILL",
    "PARK",   "VALLEY",  "MEADOW",   "FOREST",   "RIDGE",   "SUNSET",   "SUNRISE",  "HIGHLAND", "GROVE",  "ORCHARD",
    "COLLEGE", "UNION",  "LIBERTY",  "FRANKLIN", "JEFFERSON", "MADISON", "MONROE",  "JACKSON", "LINCOLN", "GRANT"};
const std::vector<std::string> kSuffixes = {"ST", "AVE", "RD", "DR", "LN", "CT", "BLVD", "WAY", "PL", "TER", "CIR"};
const std::vector<std::string> kPreDirs = {"N", "S", "E", "W"};
const std::vector<std::string> kCityStems = {
    "OAK",  "MAPLE", "CEDAR", "PINE",   "SPRING", "LAKE",  "RIVER", "HILL",  "FAIR",  "GREEN", "BROOK", "MILL",
    "STONE", "ASH",  "ELM",   "WILLOW", "GLEN",   "RED",   "WHITE", "CLEAR", "SUMMER", "WINTER", "HAYES", "BELL"};
const std::vector<std::string> kCityEnds = {"VILLE", " CITY", "TON", "FIELD", " PARK", "WOOD", "DALE",
                                            " HEIGHTS", "BURG", "PORT", " SPRINGS", " FALLS", " CREEK", " GROVE"};
// States by the first ZIP digit, roughly as the USPS numbers them.
const char* const kStates[10][6] = {{"MA", "CT", "NJ", "ME", "NH", "RI"}, {"NY", "PA", "DE", "NY", "PA", "NY"},
                                    {"VA", "MD", "NC", "SC", "WV", "DC"}, {"FL", "GA", "AL", "TN", "MS", "FL"},
                                    {"OH", "MI", "IN", "KY", "OH", "MI"}, {"MN", "WI", "IA", "MT", "ND", "SD"},
                                    {"IL", "MO", "KS", "NE", "IL", "MO"}, {"TX", "LA", "AR", "OK", "TX", "TX"},
                                    {"CO", "AZ", "UT", "NV", "NM", "ID"}, {"CA", "WA", "OR", "CA", "AK", "HI"}};
const std::vector<std::string> kTrades = {
    "PLUMBING", "ELECTRIC", "DENTAL",   "BAKERY",  "AUTO REPAIR", "INSURANCE", "REALTY", "CONSULTING",
    "LANDSCAPING", "HARDWARE", "PRINTING", "FLOORING", "ROOFING", "PHARMACY",  "TRAVEL", "ACCOUNTING"};
const std::vector<std::string> kFirmEnds = {"INC", "LLC", "CO", "CORP", "GROUP", "AND SONS"};

constexpr unsigned kHousesPerRange = 50;  // one block face: 50 numbers of one parity
constexpr unsigned kUnitsPerBuilding = 48; // units 1-48 of a high-rise range
constexpr unsigned kSlotBits = 6;          // an address is range << 6 | slot

bool onlyLetters(const std::string& s) {
    return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

// Words of a name list: the first word of each line that isn't a comment.
std::vector<std::string> readWords(const std::string& path) {
    std::vector<std::string> out;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        const std::size_t end = line.find_first_of(" \t\r");
        out.push_back(line.substr(0, end));
    }
    return out;
}

// `value` zero-filled to `width` digits, or more when it needs them.
std::string digits(unsigned value, int width) {
    char buf[16];
    char* p = buf + sizeof buf;
    do {
        *--p = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0 || buf + sizeof buf - p < width);
    return std::string(p, buf + sizeof buf);
}

} // namespace

// A filing as the generator drew it: 32 bytes instead of the kilobyte of its
// text, so that a national-scale world fits in memory; the text is made
// again whenever the filing is read.
struct CompactFiling {
    std::uint64_t from = 0, to = 0; // addresses; `to` unused without new address
    std::uint32_t first = 0, last = 0; // given name and surname; a firm: surname, trade << 8 | ending
    std::uint32_t middle = 0;          // 0 none, 1 to 26 an initial, 27 on a given name
    std::uint16_t month = 0;           // move date as year * 12 + month - 1
    std::uint8_t kind = 0;             // Filing::Kind
    std::uint8_t flags = 0;            // kDrop, kAbroad, suffix << 2
};
constexpr std::uint8_t kDrop = 1, kAbroad = 2;
const char* const kNameSuffixes[] = {"", "JR", "SR", "III"};

struct SynthGenerator::Impl : WorldStream {
    SynthOptions opt;
    bool built = false, whole = false; // compact form made; world's filings and ranges filled too
    World world;
    SynthSummary summary;

    std::vector<std::string> given, surnames;

    struct Zip {
        unsigned code = 0;
        std::string city, state;
        std::size_t firstRange = 0, rangeCount = 0; // its ranges stand together
    };
    struct Range {
        std::uint32_t zip = 0;     // index into zips
        std::uint16_t addon = 0;
        bool highRise = false;
        unsigned low = 0;          // first house; the building's number for a high-rise
        std::uint32_t street = 0;  // index into streetNames
    };
    struct Street {
        std::string pre, base, suffix, route;
    };
    std::vector<Zip> zips;
    std::vector<Range> ranges;
    std::vector<std::string> streetNames; // "N OAK ST" as a list writes it
    std::vector<Street> streets;
    std::vector<std::uint8_t> taken;      // by address: 1 when a filing moved from it
    std::vector<CompactFiling> filings;
    std::vector<std::pair<std::string, char>> genders; // sorted

    explicit Impl(const SynthOptions& o) : opt(o) {}

    std::uint64_t addressCount() const { return static_cast<std::uint64_t>(ranges.size()) << kSlotBits; }
    unsigned slots(const Range& r) const { return r.highRise ? kUnitsPerBuilding : kHousesPerRange; }
    std::uint64_t randomAddress(Rng& rng) const {
        const std::size_t r = rng.below(ranges.size());
        return (static_cast<std::uint64_t>(r) << kSlotBits) | rng.below(slots(ranges[r]));
    }
    const Range& rangeOf(std::uint64_t a) const { return ranges[a >> kSlotBits]; }
    unsigned slotOf(std::uint64_t a) const { return static_cast<unsigned>(a & ((1u << kSlotBits) - 1)); }
    unsigned house(std::uint64_t a) const {
        const Range& r = rangeOf(a);
        return r.highRise ? r.low : r.low + 2 * slotOf(a);
    }
    unsigned unit(std::uint64_t a) const { return rangeOf(a).highRise ? slotOf(a) + 1 : 0; }
    std::string zip9(std::uint64_t a) const {
        const Range& r = rangeOf(a);
        return digits(zips[r.zip].code, 5) + digits(r.addon, 4);
    }
    Address address(std::uint64_t a) const {
        Address out;
        out.zip9 = zip9(a);
        out.primary = std::to_string(house(a));
        if (rangeOf(a).highRise) {
            out.designator = "APT";
            out.secondary = std::to_string(unit(a));
        }
        return out;
    }
    // ZIP, add-on and the delivery point: the last two digits of the house, or
    // of the unit in a high-rise.
    std::string zip11(std::uint64_t a) const {
        const Range& r = rangeOf(a);
        return zip9(a) + digits((r.highRise ? unit(a) : house(a)) % 100, 2);
    }

    void loadNames();
    void buildGrid(Rng& rng);
    void buildFilings(Rng& rng);
    void build();
    void buildWhole();

    AddressRange addressRange(std::size_t r) const;
    Filing filing(std::size_t i) const;
    std::size_t filingCount() const override { return filings.size(); }
    void forEachFiling(const std::function<void(std::size_t, const Filing&)>& visit) const override {
        for (std::size_t i = 0; i < filings.size(); ++i)
            visit(i, filing(i));
    }
    void forEachRange(const std::function<void(const AddressRange&)>& visit) const override {
        for (std::size_t r = 0; r < ranges.size(); ++r)
            visit(addressRange(r));
    }

    std::string personName(Rng& rng, PersonName& n) const;
    SynthListRecord listRow(std::uint64_t a) const;
};

void SynthGenerator::Impl::loadNames() {
    given.clear();
    surnames.clear();
    if (!opt.nameListDir.empty()) {
        std::set<std::string> reserved;
        for (const char* f : {"titles", "professional_suffixes", "generational_suffixes", "ambiguous_suffixes",
                              "conjunctions", "ignored_words", "surname_particles"})
            for (auto& w : readWords(opt.nameListDir + "/" + f + ".txt"))
                reserved.insert(w);
        for (auto& w : defaultNoFirst())
            reserved.insert(w);
        for (auto& w : defaultNoLast())
            reserved.insert(w);
        // Letters only, two at least, and never a word the parser reads as
        // something else than a name.
        auto usable = [&](const std::string& w, std::size_t width) {
            return onlyLetters(w) && w.size() >= 2 && w.size() <= width && !reserved.count(w);
        };
        for (auto& w : readWords(opt.nameListDir + "/given_names.txt"))
            if (usable(w, 15))
                given.push_back(w);
        for (auto& w : readWords(opt.nameListDir + "/surnames.txt"))
            if (usable(w, 20))
                surnames.push_back(w);
    }
    if (given.size() < 10 || surnames.size() < 10) {
        given = kBuiltInGiven;
        surnames = kBuiltInSurnames;
    }
}

void SynthGenerator::Impl::buildGrid(Rng& rng) {
    // About four addresses for every filing, so that filers are a quarter of
    // the houses and there is room for near misses and misses. A ZIP holds
    // about 4,000 addresses (2,000 for small worlds), and there are no more
    // ZIPs than the last-line dictionary can index.
    const std::uint64_t wanted = std::max<std::uint64_t>(4000, 4 * static_cast<std::uint64_t>(opt.filings));
    const std::size_t zipCount =
        static_cast<std::size_t>(std::clamp<std::uint64_t>(wanted / 4000, 10, 30000));
    const std::size_t rangesPerZip = static_cast<std::size_t>(wanted / zipCount / kHousesPerRange + 1);

    // Street names: words, numbered streets and surnames, with a suffix and
    // now and then a directional before.
    std::vector<std::string> bases = kStreetWords;
    for (int n = 1; n <= 99; ++n) {
        const int last = n % 10, tens = n % 100 / 10;
        const char* th = (tens == 1 || last == 0 || last > 3) ? "TH" : last == 1 ? "ST" : last == 2 ? "ND" : "RD";
        bases.push_back(std::to_string(n) + th);
    }
    for (std::size_t i = 0; i < surnames.size(); i += 3)
        bases.push_back(surnames[i]);

    zips.clear();
    ranges.clear();
    streetNames.clear();
    streets.clear();
    world.places.clear();
    world.ranges.clear();
    // ZIPs spread evenly over 01000 to 99999, so that every ZIP group and
    // hash letter gets its share.
    const double step = 98999.0 / static_cast<double>(zipCount);
    for (std::size_t z = 0; z < zipCount; ++z) {
        Zip zip;
        zip.code = 1000 + static_cast<unsigned>(static_cast<double>(z) * step) +
                   static_cast<unsigned>(rng.below(std::max<std::size_t>(1, static_cast<std::size_t>(step))));
        zip.state = kStates[zip.code / 10000][rng.below(6)];
        zip.city = rng.pick(kCityStems) + rng.pick(kCityEnds);
        Place p;
        p.zip = digits(zip.code, 5);
        p.state = zip.state;
        p.city = zip.city;
        p.cityShort = zip.city.substr(0, 13);
        p.lastLine = "C" + p.zip;
        world.places.push_back(p);
        zips.push_back(zip);

        // Streets of 2 to 8 blocks, two faces each; one range in twenty a
        // high-rise building.
        zips.back().firstRange = ranges.size();
        unsigned addon = 1;
        for (std::size_t made = 0; made < rangesPerZip;) {
            const std::string pre = rng.chance(0.2) ? rng.pick(kPreDirs) : std::string();
            const std::string base = rng.pick(bases), suffix = rng.pick(kSuffixes);
            const std::string route = "C" + digits(static_cast<unsigned>(1 + rng.below(60)), 3);
            const std::uint32_t street = static_cast<std::uint32_t>(streetNames.size());
            streets.push_back({pre, base, suffix, route});
            streetNames.push_back((pre.empty() ? "" : pre + " ") + base + " " + suffix);
            const unsigned firstBlock = static_cast<unsigned>(1 + rng.below(40));
            const unsigned blocks = static_cast<unsigned>(2 + rng.below(7));
            for (unsigned b = 0; b < blocks && made < rangesPerZip; ++b) {
                const bool highRise = rng.chance(0.05);
                for (int side = 0; side < (highRise ? 1 : 2); ++side, ++made) {
                    Range r;
                    r.zip = static_cast<std::uint32_t>(z);
                    r.addon = static_cast<std::uint16_t>(addon++);
                    r.highRise = highRise;
                    r.street = street;
                    r.low = (firstBlock + b) * 100 + static_cast<unsigned>(side);
                    if (highRise)
                        r.low += static_cast<unsigned>(2 * rng.below(50));
                    ranges.push_back(r);
                }
            }
            if (addon > 9000)
                break;
        }
        zips.back().rangeCount = ranges.size() - zips.back().firstRange;
    }
    summary.zips = zips.size();
    summary.ranges = ranges.size();
    summary.addresses = 0;
    for (const Range& r : ranges)
        summary.addresses += slots(r);
}

std::string SynthGenerator::Impl::personName(Rng& rng, PersonName& n) const {
    n = PersonName{};
    n.first = rng.pick(given);
    n.last = rng.pick(surnames);
    const double m = static_cast<double>(rng.below(100)) / 100.0;
    if (m < 0.5)
        n.middle = std::string(1, static_cast<char>('A' + rng.below(26)));
    else if (m < 0.7)
        n.middle = rng.pick(given);
    if (rng.chance(0.02))
        n.suffix = rng.chance(0.7) ? "JR" : rng.chance(0.5) ? "SR" : "III";
    std::string text = n.first;
    if (!n.middle.empty())
        text += " " + n.middle;
    text += " " + n.last;
    if (!n.suffix.empty())
        text += " " + n.suffix;
    return text;
}

AddressRange SynthGenerator::Impl::addressRange(std::size_t index) const {
    const Range& r = ranges[index];
    const Street& street = streets[r.street];
    AddressRange ar;
    ar.zip = digits(zips[r.zip].code, 5);
    ar.addonLow = ar.addonHigh = digits(r.addon, 4);
    ar.preDir = street.pre;
    ar.street = street.base;
    ar.suffix = street.suffix;
    ar.carrierRoute = street.route;
    ar.lastLine = "C" + ar.zip;
    // Digit-only numbers stand right-justified and zero-filled.
    if (r.highRise) {
        ar.recordType = 'H';
        ar.primaryLow = ar.primaryHigh = padLeft(std::to_string(r.low), 10, '0');
        ar.designator = "APT";
        ar.secondaryLow = padLeft("1", 8, '0');
        ar.secondaryHigh = padLeft(std::to_string(kUnitsPerBuilding), 8, '0');
        ar.secondaryParity = 'B';
    } else {
        ar.recordType = 'S';
        ar.primaryLow = padLeft(std::to_string(r.low), 10, '0');
        ar.primaryHigh = padLeft(std::to_string(r.low + 2 * (kHousesPerRange - 1)), 10, '0');
        ar.primaryParity = r.low % 2 == 0 ? 'E' : 'O'; // the even face first
    }
    return ar;
}

void SynthGenerator::Impl::buildFilings(Rng& rng) {
    genders = kGenders;
    std::sort(genders.begin(), genders.end());
    world.names.genders = genders;

    // Move dates: the last 47 months, all inside the span a one-digit year tells.
    std::time_t now = std::time(nullptr);
    std::tm tm{};
    localtime_r(&now, &tm);
    const int nowMonths = (tm.tm_year + 1900) * 12 + tm.tm_mon;

    // Picks that keep the index of what they picked.
    auto pick = [&rng](const std::vector<std::string>& v, std::uint32_t& index) -> const std::string& {
        index = static_cast<std::uint32_t>(rng.below(v.size()));
        return v[index];
    };

    filings.clear();
    filings.reserve(opt.filings);
    taken.assign(static_cast<std::size_t>(addressCount()), 0);
    for (std::size_t i = 0; i < opt.filings; ++i) {
        std::uint64_t from = randomAddress(rng);
        while (taken[from])
            from = randomAddress(rng);
        taken[from] = 1;

        CompactFiling f;
        f.from = from;
        const std::size_t kind = rng.below(100);
        if (kind < 70) {
            // As personName() draws.
            f.kind = static_cast<std::uint8_t>(Filing::Kind::Individual);
            pick(given, f.first);
            pick(surnames, f.last);
            const double m = static_cast<double>(rng.below(100)) / 100.0;
            if (m < 0.5)
                f.middle = 1 + static_cast<std::uint32_t>(rng.below(26));
            else if (m < 0.7)
                f.middle = 27 + static_cast<std::uint32_t>(rng.below(given.size()));
            if (rng.chance(0.02))
                f.flags |= static_cast<std::uint8_t>((rng.chance(0.7) ? 1 : rng.chance(0.5) ? 2 : 3) << 2);
            ++summary.individuals;
        } else if (kind < 95) {
            f.kind = static_cast<std::uint8_t>(Filing::Kind::Family);
            pick(surnames, f.last);
            ++summary.families;
        } else {
            f.kind = static_cast<std::uint8_t>(Filing::Kind::Business);
            // Drawn in the order of the text they make.
            std::uint32_t trade = 0, end = 0;
            const std::string name = pick(surnames, f.first) + " " + pick(kTrades, trade) + " " + pick(kFirmEnds, end);
            f.last = trade << 8 | end;
            ++summary.businesses;
        }
        if (rng.chance(0.02)) {
            f.flags |= kAbroad; // moved abroad: a code, no new address
            ++summary.coded;
        } else {
            // Half move within their ZIP, the others anywhere.
            std::uint64_t to = randomAddress(rng);
            if (rng.chance(0.5)) {
                const Zip& zip = zips[rangeOf(from).zip];
                const std::size_t r = zip.firstRange + rng.below(zip.rangeCount);
                to = (static_cast<std::uint64_t>(r) << kSlotBits) | rng.below(slots(ranges[r]));
            }
            f.to = to;
        }
        // The drop flag turns any answer for a person or firm into "91", a
        // name check's rejection too; it is set on moves with an address only.
        if (f.kind != static_cast<std::uint8_t>(Filing::Kind::Family) && !(f.flags & kAbroad) && rng.chance(0.03)) {
            f.flags |= kDrop;
            ++summary.dropped;
        }
        f.month = static_cast<std::uint16_t>(nowMonths - 1 - static_cast<int>(rng.below(47)));
        filings.push_back(f);
    }
}

Filing SynthGenerator::Impl::filing(std::size_t i) const {
    const CompactFiling& c = filings[i];
    Filing f;
    f.kind = static_cast<Filing::Kind>(c.kind);
    switch (f.kind) {
    case Filing::Kind::Individual: {
        f.name.first = given[c.first];
        f.name.last = surnames[c.last];
        if (c.middle >= 27)
            f.name.middle = given[c.middle - 27];
        else if (c.middle > 0)
            f.name.middle = std::string(1, static_cast<char>('A' + c.middle - 1));
        f.name.suffix = kNameSuffixes[c.flags >> 2];
        const auto it = std::lower_bound(genders.begin(), genders.end(), std::make_pair(f.name.first, '\0'));
        f.name.gender = it != genders.end() && it->first == f.name.first ? it->second : 'U';
        break;
    }
    case Filing::Kind::Family:
        f.name.last = surnames[c.last];
        break;
    case Filing::Kind::Business:
        f.business = surnames[c.first] + " " + kTrades[c.last >> 8] + " " + kFirmEnds[c.last & 0xFF];
        break;
    }
    f.from = address(c.from);
    f.toZip11 = (c.flags & kAbroad) ? "00000000019" : zip11(c.to);
    f.dropFlag = (c.flags & kDrop) != 0;
    f.moveDate = digits(c.month / 12u, 4) + digits(c.month % 12u + 1, 2);
    return f;
}

void SynthGenerator::Impl::build() {
    Rng rng(opt.seed);
    loadNames();
    world = World{};
    summary = SynthSummary{};
    world.dataset.name = "SYNTHETIC NCOALINK HASH DATA SET";
    world.dataset.sequence = 1;
    world.dataset.releaseDate = opt.releaseDate;
    buildGrid(rng);
    buildFilings(rng);
    built = true;
}

void SynthGenerator::Impl::buildWhole() {
    world.ranges.reserve(ranges.size());
    forEachRange([&](const AddressRange& r) { world.ranges.push_back(r); });
    world.filings.reserve(filings.size());
    forEachFiling([&](std::size_t, const Filing& f) { world.filings.push_back(f); });
    whole = true;
}

SynthListRecord SynthGenerator::Impl::listRow(std::uint64_t a) const {
    SynthListRecord row;
    const Range& r = rangeOf(a);
    const Zip& z = zips[r.zip];
    row.primary = std::to_string(house(a));
    row.street = streetNames[r.street];
    if (r.highRise) {
        row.designator = "APT";
        row.secondary = std::to_string(unit(a));
        row.recordType = 'H';
    }
    row.city = z.city;
    row.state = z.state;
    row.zip = digits(z.code, 5);
    row.zip4 = digits(r.addon, 4);
    return row;
}

SynthGenerator::SynthGenerator(const SynthOptions& options) : impl_(new Impl(options)) {}
SynthGenerator::~SynthGenerator() { delete impl_; }

const World& SynthGenerator::base() {
    if (!impl_->built)
        impl_->build();
    return impl_->world;
}

const WorldStream& SynthGenerator::stream() {
    base();
    return *impl_;
}

const World& SynthGenerator::world() {
    base();
    if (!impl_->whole)
        impl_->buildWhole();
    return impl_->world;
}

const SynthSummary& SynthGenerator::summary() {
    base();
    return impl_->summary;
}

bool SynthGenerator::isFoundCode(const std::string& code) { return code == "A" || code == "91" || code == "92"; }

const char* SynthGenerator::kindName(SynthListRecord::Kind kind) {
    static const char* const names[] = {"hit", "variant hit", "coded", "wrong house", "other name", "middle clash",
                                        "miss"};
    return names[static_cast<int>(kind)];
}

std::vector<SynthListRecord> SynthGenerator::makeList(std::size_t records, double hitRate, std::uint64_t seed) {
    using Kind = SynthListRecord::Kind;
    base();
    Impl& m = *impl_;
    const std::vector<CompactFiling>& filings = m.filings;
    if (filings.empty())
        throw WriterError("synthetic list: the world has no filing");
    Rng rng(seed ^ 0x5EED5EED5EEDULL);
    hitRate = std::clamp(hitRate, 0.0, 1.0);

    // Nicknames the search turns back into the filed first name.
    std::vector<std::pair<std::string, std::string>> nick; // filed name, nickname
    for (const auto& [nickname, full] : defaultNormalFirst())
        nick.emplace_back(full, nickname);
    std::sort(nick.begin(), nick.end());

    const std::vector<NameRuleLine> rules = defaultNameRules();
    const auto normalLast = defaultNormalLast();
    auto sameSurname = [&](const std::string& a, const std::string& b) {
        if (ruledName(a, 20, rules) == ruledName(b, 20, rules))
            return true;
        for (const auto& [from, to] : normalLast)
            if ((a == from && ruledName(to, 20, rules) == ruledName(b, 20, rules)) ||
                (b == from && ruledName(to, 20, rules) == ruledName(a, 20, rules)))
                return true;
        return false;
    };
    auto filedName = [](const Filing& f, bool withMiddle) {
        std::string text = f.name.first;
        if (withMiddle && !f.name.middle.empty())
            text += " " + f.name.middle;
        text += " " + f.name.last;
        if (!f.name.suffix.empty())
            text += " " + f.name.suffix;
        return text;
    };
    auto pickFiling = [&](auto&& wanted) -> std::size_t {
        for (int tries = 0; tries < 1000; ++tries) {
            const std::size_t i = rng.below(filings.size());
            if (wanted(m.filing(i)))
                return i;
        }
        return filings.size();
    };
    auto hasAddress = [](const Filing& f) { return f.toZip11.compare(0, 5, "00000") != 0; };
    auto freeAddress = [&](std::uint64_t near, bool sameRange) {
        for (int tries = 0; tries < 64; ++tries) {
            std::uint64_t a = sameRange ? ((near >> kSlotBits) << kSlotBits) | rng.below(m.slots(m.rangeOf(near)))
                                        : m.randomAddress(rng);
            if (!m.taken[a])
                return a;
        }
        return m.addressCount();
    };

    std::vector<SynthListRecord> rows;
    rows.reserve(records);
    for (std::size_t n = 0; n < records; ++n) {
        SynthListRecord row;
        Kind kind;
        if (rng.chance(hitRate)) {
            kind = rng.chance(0.15) ? Kind::VariantHit : Kind::Hit;
        } else {
            const std::size_t k = rng.below(100);
            kind = k < 5 ? Kind::Coded : k < 20 ? Kind::WrongHouse : k < 35 ? Kind::OtherName
                 : k < 45 ? Kind::MiddleClash : Kind::Miss;
        }
        // Kinds that find no suitable filing or address become plain misses.
        std::size_t fi = filings.size();
        std::uint64_t at = m.addressCount();
        switch (kind) {
        case Kind::Hit:
        case Kind::VariantHit:
            fi = pickFiling(hasAddress);
            break;
        case Kind::Coded:
            fi = pickFiling([&](const Filing& f) { return !hasAddress(f); });
            break;
        case Kind::WrongHouse:
            fi = pickFiling([](const Filing& f) { return f.kind != Filing::Kind::Business; });
            if (fi < filings.size())
                at = freeAddress(filings[fi].from, true);
            break;
        case Kind::OtherName:
            fi = pickFiling([](const Filing& f) { return f.kind != Filing::Kind::Business; });
            break;
        case Kind::MiddleClash:
            fi = pickFiling([&](const Filing& f) {
                return f.kind == Filing::Kind::Individual && hasAddress(f) && !f.dropFlag && f.name.middle.size() == 1;
            });
            break;
        case Kind::Miss:
            break;
        }
        if (kind != Kind::Miss && (fi == filings.size() || (kind == Kind::WrongHouse && at == m.addressCount())))
            kind = Kind::Miss;
        if (kind == Kind::Miss) {
            at = freeAddress(0, false);
            if (at == m.addressCount())
                throw WriterError("synthetic list: no address without a filing found");
        } else if (kind != Kind::WrongHouse) {
            at = filings[fi].from;
        }

        row = m.listRow(at);
        row.kind = kind;
        const Filing filed = fi < filings.size() ? m.filing(fi) : Filing{};
        const Filing* f = fi < filings.size() ? &filed : nullptr;
        PersonName other;
        switch (kind) {
        case Kind::Hit:
        case Kind::VariantHit:
        case Kind::Coded:
            if (f->kind == Filing::Kind::Business) {
                row.company = f->business;
            } else if (f->kind == Filing::Kind::Family) {
                // Any member of the family: the search falls back to the surname.
                row.name = rng.pick(m.given) + " " + f->name.last;
            } else if (kind == Kind::VariantHit) {
                const auto it = std::lower_bound(nick.begin(), nick.end(), std::make_pair(f->name.first, std::string()));
                if (it != nick.end() && it->first == f->name.first) {
                    Filing called = *f;
                    called.name.first = it->second;
                    row.name = filedName(called, true);
                } else {
                    row.name = filedName(*f, false);
                }
            } else {
                row.name = filedName(*f, true);
            }
            if (kind == Kind::Coded)
                row.expectedCode = f->toZip11.substr(9, 2);
            else
                row.expectedCode = f->dropFlag && f->kind != Filing::Kind::Family ? "91" : "A";
            break;
        case Kind::WrongHouse:
            row.name = f->kind == Filing::Kind::Family ? rng.pick(m.given) + " " + f->name.last : filedName(*f, true);
            row.expectedCode = "00";
            break;
        case Kind::OtherName: {
            // A surname the search could take for the filer's is no other name.
            do
                row.name = m.personName(rng, other);
            while (sameSurname(other.last, f->name.last));
            row.expectedCode = "00";
            break;
        }
        case Kind::MiddleClash: {
            Filing clash = *f;
            const char filed = f->name.middle[0];
            clash.name.middle = std::string(1, static_cast<char>('A' + (filed - 'A' + 1 + rng.below(25)) % 26));
            row.name = filedName(clash, true);
            row.expectedCode = "12";
            break;
        }
        case Kind::Miss:
            row.name = m.personName(rng, other);
            row.expectedCode = "00";
            break;
        }
        row.id = "S" + digits(static_cast<unsigned>(n + 1), 8);
        rows.push_back(std::move(row));
    }
    return rows;
}

SynthListSummary SynthGenerator::summarise(const std::vector<SynthListRecord>& rows) {
    SynthListSummary s;
    for (const auto& r : rows) {
        ++s.records;
        ++s.byKind[static_cast<int>(r.kind)];
        if (isFoundCode(r.expectedCode))
            ++s.found;
    }
    return s;
}

namespace {

// Spellings of the grid's suffixes and directionals that USPS Publication 28
// lists as common: the abbreviation first, then the full word, then others.
const std::vector<std::pair<std::string, std::vector<std::string>>> kSuffixSpellings = {
    {"ST", {"ST", "STREET", "STR", "STRT"}},       {"AVE", {"AVE", "AVENUE", "AV", "AVEN"}},
    {"RD", {"RD", "ROAD"}},                         {"DR", {"DR", "DRIVE", "DRV"}},
    {"LN", {"LN", "LANE"}},                         {"CT", {"CT", "COURT"}},
    {"BLVD", {"BLVD", "BOULEVARD", "BOUL"}},        {"WAY", {"WAY"}},
    {"PL", {"PL", "PLACE"}},                        {"TER", {"TER", "TERRACE", "TERR"}},
    {"CIR", {"CIR", "CIRCLE", "CIRC", "CRCL"}}};
const std::vector<std::pair<std::string, std::string>> kDirectionWords = {
    {"N", "NORTH"}, {"S", "SOUTH"}, {"E", "EAST"}, {"W", "WEST"}};
const std::vector<std::pair<std::string, std::string>> kStateNames = {
    {"AK", "ALASKA"},       {"AL", "ALABAMA"},        {"AR", "ARKANSAS"},     {"AZ", "ARIZONA"},
    {"CA", "CALIFORNIA"},   {"CO", "COLORADO"},       {"CT", "CONNECTICUT"},  {"DC", "DISTRICT OF COLUMBIA"},
    {"DE", "DELAWARE"},     {"FL", "FLORIDA"},        {"GA", "GEORGIA"},      {"HI", "HAWAII"},
    {"IA", "IOWA"},         {"ID", "IDAHO"},          {"IL", "ILLINOIS"},     {"IN", "INDIANA"},
    {"KS", "KANSAS"},       {"KY", "KENTUCKY"},       {"LA", "LOUISIANA"},    {"MA", "MASSACHUSETTS"},
    {"MD", "MARYLAND"},     {"ME", "MAINE"},          {"MI", "MICHIGAN"},     {"MN", "MINNESOTA"},
    {"MO", "MISSOURI"},     {"MS", "MISSISSIPPI"},    {"MT", "MONTANA"},      {"NC", "NORTH CAROLINA"},
    {"ND", "NORTH DAKOTA"}, {"NE", "NEBRASKA"},       {"NH", "NEW HAMPSHIRE"}, {"NJ", "NEW JERSEY"},
    {"NM", "NEW MEXICO"},   {"NV", "NEVADA"},         {"NY", "NEW YORK"},     {"OH", "OHIO"},
    {"OK", "OKLAHOMA"},     {"OR", "OREGON"},         {"PA", "PENNSYLVANIA"}, {"PR", "PUERTO RICO"},
    {"RI", "RHODE ISLAND"}, {"SC", "SOUTH CAROLINA"}, {"SD", "SOUTH DAKOTA"}, {"TN", "TENNESSEE"},
    {"TX", "TEXAS"},        {"UT", "UTAH"},           {"VA", "VIRGINIA"},     {"VT", "VERMONT"},
    {"WA", "WASHINGTON"},   {"WI", "WISCONSIN"},      {"WV", "WEST VIRGINIA"}, {"WY", "WYOMING"}};

template <class Table>
const auto* lookUp(const Table& table, const std::string& key) {
    for (const auto& row : table)
        if (row.first == key)
            return &row.second;
    return static_cast<decltype(&table.front().second)>(nullptr);
}

// Upper, lower or title case of an upper-case text.
std::string inCase(const std::string& s, int style) {
    std::string out = s;
    bool start = true;
    for (char& c : out) {
        const bool letter = c >= 'A' && c <= 'Z';
        if (letter && (style == 1 || (style == 2 && !start)))
            c = static_cast<char>(c - 'A' + 'a');
        start = !(letter || (c >= '0' && c <= '9'));
    }
    return out;
}

// The row's own numbers: the same row is always written the same way.
std::uint64_t rowSeed(const SynthListRecord& row) {
    std::uint64_t h = 0xCBF29CE484222325ULL;
    for (char c : row.id + row.primary + row.street + row.secondary)
        h = (h ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
    return h;
}

} // namespace

void SynthGenerator::freeFormAddress(const SynthListRecord& row, std::string& addressLine, std::string& lastLine) {
    Rng rng(rowSeed(row));
    // The grid's street is "[DIR] NAME SUFFIX", the name one word.
    std::vector<std::string> words;
    for (std::size_t i = 0; i < row.street.size();) {
        const std::size_t end = std::min(row.street.find(' ', i), row.street.size());
        words.push_back(row.street.substr(i, end - i));
        i = end + 1;
    }
    std::string line = row.primary;
    for (std::size_t w = 0; w < words.size(); ++w) {
        std::string word = words[w];
        if (w == 0 && words.size() == 3) {
            if (const auto* full = lookUp(kDirectionWords, word); full && rng.chance(0.5))
                word = *full;
            else if (rng.chance(0.3))
                word += '.';
        } else if (w + 1 == words.size()) {
            if (const auto* spellings = lookUp(kSuffixSpellings, word)) {
                // Mostly spelled out, as people write them.
                const std::size_t k = rng.chance(0.6) ? std::min<std::size_t>(1, spellings->size() - 1)
                                                      : rng.below(spellings->size());
                word = (*spellings)[k];
            }
        }
        line += ' ' + word;
    }
    if (!row.secondary.empty()) {
        switch (rng.below(5)) {
        case 0: line += ", APT " + row.secondary; break;
        case 1: line += " APT " + row.secondary; break;
        case 2: line += " #" + row.secondary; break;
        case 3: line += " # " + row.secondary; break;
        default: line += " APARTMENT " + row.secondary; break;
        }
    }
    const int style = static_cast<int>(rng.below(3)); // upper, lower, title
    addressLine = inCase(line, style);

    std::string state = row.state;
    if (const auto* name = lookUp(kStateNames, state); name && rng.chance(0.25))
        state = *name;
    std::string zip = row.zip;
    if (rng.chance(0.1))
        zip += '-' + row.zip4; // now and then a ZIP+4, as a list may have kept it
    lastLine = inCase(row.city, style) + (rng.chance(0.7) ? ", " : " ") + inCase(state, style) + ' ' + zip;
}

SynthListSummary SynthGenerator::writeList(const std::vector<SynthListRecord>& rows, const std::string& path,
                                           AddressStyle style) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out)
        throw WriterError("can't write " + path);
    const bool free = style == AddressStyle::Free;
    // No field holds a quote, and only the free style's address and last
    // lines hold commas: names, streets and firms are letters, digits and blanks.
    std::string text = free ? "Customer ID,Name,Company,Address Line,Last Line\n"
                            : "Customer ID,Name,Company,Primary Number,Street,Secondary Designator,Secondary Number,"
                              "City,State,ZIP,ZIP4,Record Type\n";
    std::string line, last;
    for (const auto& r : rows) {
        if (free) {
            freeFormAddress(r, line, last);
            const auto quoted = [](const std::string& s) {
                return s.find(',') == std::string::npos ? s : '"' + s + '"';
            };
            text += r.id + ',' + r.name + ',' + r.company + ',' + quoted(line) + ',' + quoted(last) + '\n';
        } else {
            text += r.id + ',' + r.name + ',' + r.company + ',' + r.primary + ',' + r.street + ',' + r.designator +
                    ',' + r.secondary + ',' + r.city + ',' + r.state + ',' + r.zip + ',' + r.zip4 + ',' +
                    r.recordType + '\n';
        }
        if (text.size() > (1u << 20)) {
            out.write(text.data(), static_cast<std::streamsize>(text.size()));
            text.clear();
        }
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    if (!out)
        throw WriterError("can't write " + path);
    return summarise(rows);
}

} // namespace qvw
