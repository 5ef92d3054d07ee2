#include "qvav_data.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <new>

#include "hx_fio.h"

namespace qvav {

namespace {

const char kAlphabet[] = " -./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

void readWhole(const std::string& path, std::vector<unsigned char>& out) {
    hx_fio_info info{};
    if (hx_fio_stat(path.c_str(), &info) != 0) throw DataError(1043, path);
    hx_file* f = nullptr;
    if (hx_fio_open(path.c_str(), HX_FIO_READ, &f) != 0 || !f) throw DataError(1040, path);
    out.resize(static_cast<std::size_t>(info.size));
    std::size_t got = 0;
    while (got < out.size()) {
        const int64_t r = hx_fio_getb(f, out.data() + got, out.size() - got);
        if (r <= 0) break;
        got += static_cast<std::size_t>(r);
    }
    hx_fio_close(f);
    if (got != out.size()) throw DataError(1040, path);
}

// Base-40 packed text: three characters in each big-endian 16-bit word, one
// in each byte of the rest.
void unpack(unsigned count, const unsigned char* src, char* dst) {
    auto at = [](unsigned v) { return v < 40 ? kAlphabet[v] : ' '; };
    for (unsigned g = 0; g < count / 3; ++g, src += 2) {
        const unsigned w = (static_cast<unsigned>(src[0]) << 8) | src[1];
        *dst++ = at(w / 1600);
        *dst++ = at((w / 40) % 40);
        *dst++ = at(w % 40);
    }
    for (unsigned i = 0; i < count % 3; ++i) *dst++ = at(*src++);
}

std::uint64_t bigEndian(const unsigned char* p, int bytes) {
    std::uint64_t v = 0;
    for (int i = 0; i < bytes; ++i) v = (v << 8) | p[i];
    return v;
}

void trimCopy(char* dst, std::size_t cap, const char* src, std::size_t len) {
    while (len && src[len - 1] == ' ') --len;
    std::size_t start = 0;
    while (start < len && src[start] == ' ') ++start;
    len -= start;
    if (len >= cap) len = cap - 1;
    std::memcpy(dst, src + start, len);
    dst[len] = 0;
}

inline bool parityHolds(unsigned parity, const HouseKey& k) {
    if (!k.digits) return true;
    if (parity == 2) return k.value % 2 == 0;  // E
    if (parity == 3) return k.value % 2 == 1;  // O
    return true;
}

}  // namespace

void makeHouseKey(const char* s, std::size_t len, HouseKey& out) {
    out = HouseKey{};
    while (len && s[len - 1] == ' ') --len;
    while (len && *s == ' ') ++s, --len;
    if (!len) return;
    out.blank = false;
    std::size_t i = 0, p = 0;
    while (i < len && !(s[i] >= '0' && s[i] <= '9')) {
        if (p < sizeof out.pre - 1) out.pre[p++] = s[i];
        ++i;
    }
    while (i < len && s[i] >= '0' && s[i] <= '9') {
        out.digits = true;
        if (out.value < 100000000u) out.value = out.value * 10 + static_cast<unsigned>(s[i] - '0');
        ++i;
    }
    p = 0;
    for (; i < len && p < sizeof out.post - 1; ++i)
        if (s[i] != ' ' && s[i] != '-') out.post[p++] = s[i];
}

int compareHouse(const HouseKey& a, const HouseKey& b) {
    if (int c = std::strcmp(a.pre, b.pre)) return c;
    if (a.digits != b.digits) return a.digits ? 1 : -1;
    if (a.value != b.value) return a.value < b.value ? -1 : 1;
    return std::strcmp(a.post, b.post);
}

const char* AddressData::dirText(unsigned d) {
    static const char* const dirs[] = {"", "E", "N", "NE", "NW", "S", "SE", "SW", "W"};
    return d < 9 ? dirs[d] : "";
}

void AddressData::readDict(const std::string& path, unsigned width, Dict& d) {
    std::vector<unsigned char> raw;
    readWhole(path, raw);
    const unsigned packed = 2 * (width / 3) + width % 3;
    if (raw.size() % packed) throw DataError(1042, path);
    d.width = width;
    d.count = raw.size() / packed;
    d.text.assign(d.count * (width + 1), 0);
    char buf[64];
    for (std::size_t k = 0; k < d.count; ++k) {
        unpack(width, raw.data() + k * packed, buf);
        trimCopy(&d.text[k * (width + 1)], width + 1, buf, width);
    }
}

void AddressData::readRanges(const std::string& path) {
    std::vector<unsigned char> raw;
    readWhole(path, raw);
    if (raw.size() % 26) throw DataError(1042, path);
    const std::size_t count = raw.size() / 26;
    ranges.reserve(count);
    // Record 0 lies outside the searched part; the end mark has the key 0xFFFFFFFF.
    for (std::size_t i = 1; i < count; ++i) {
        const unsigned char* p = raw.data() + i * 26;
        const std::uint32_t key = static_cast<std::uint32_t>(bigEndian(p, 4));
        if (key == 0xFFFFFFFFu) break;
        std::uint64_t a = bigEndian(p + 4, 8), b = bigEndian(p + 12, 8), c = bigEndian(p + 20, 6);
        Range r;
        r.zip5 = key / 10000;
        r.type = static_cast<std::uint8_t>(a % 7), a /= 7;
        r.pre = static_cast<std::uint8_t>(a % 9), a /= 9;
        r.snoLo = static_cast<std::uint32_t>(a % 200000), a /= 200000;
        r.dsc = static_cast<std::uint8_t>(a % 25), a /= 25;
        r.pparity = static_cast<std::uint8_t>(a % 4 & 3), a /= 4;
        r.pnoLo = static_cast<std::uint32_t>(a % 420000), a /= 420000;
        r.addonLow = static_cast<std::uint16_t>(a);
        r.post = static_cast<std::uint8_t>(b % 9), b /= 9;
        r.suf = static_cast<std::uint16_t>(b % 210), b /= 210;
        r.sparity = static_cast<std::uint8_t>(b % 4 & 3), b /= 4;
        r.snoHi = static_cast<std::uint32_t>(b % 200000), b /= 200000;
        r.pnoHi = static_cast<std::uint32_t>(b % 420000), b /= 420000;
        r.addonHigh = static_cast<std::uint16_t>(b);
        r.lln = static_cast<std::uint16_t>(c % 35000), c /= 35000;
        r.crd = static_cast<std::uint16_t>(c % 2000), c /= 2000;
        r.name = static_cast<std::uint32_t>(c);
        // Digits past their dictionaries do not occur in a proven set; such a range is dropped.
        if (r.name > nam.count || r.pnoLo > pno.count || r.pnoHi > pno.count || r.snoLo > sno.count ||
            r.snoHi > sno.count || r.suf > suf.count || r.dsc > dsc.count || r.lln > lln.count)
            continue;
        ranges.push_back(r);
    }
    std::stable_sort(ranges.begin(), ranges.end(), [](const Range& x, const Range& y) {
        return x.zip5 != y.zip5 ? x.zip5 < y.zip5 : x.name < y.name;
    });
    ranges.shrink_to_fit();
    zipStart.assign(100001, 0);
    std::size_t at = 0;
    for (std::uint32_t z = 0; z <= 100000; ++z) {
        while (at < ranges.size() && ranges[at].zip5 < z) ++at;
        zipStart[z] = static_cast<std::uint32_t>(at);
    }
}

void AddressData::readPlaces(const std::string& root) {
    std::vector<unsigned char> raw;
    readWhole(root + "/DVD 2/rv9/czp.dat", raw);
    for (std::size_t off = 0; off + 48 <= raw.size(); off += 48) {
        const unsigned char* p = raw.data() + off;
        std::uint32_t zip = 0;
        bool ok = true;
        for (int i = 0; i < 5; ++i) {
            ok &= p[i] >= '0' && p[i] <= '9';
            zip = zip * 10 + static_cast<std::uint32_t>(p[i] - '0');
        }
        if (!ok) continue;  // reserved rows
        Place pl;
        pl.key = zip;
        trimCopy(pl.state, sizeof pl.state, reinterpret_cast<const char*>(p + 5), 2);
        trimCopy(pl.city, sizeof pl.city, reinterpret_cast<const char*>(p + 7), 28);
        zipPlaces.push_back(pl);
    }
    std::stable_sort(zipPlaces.begin(), zipPlaces.end(), [](const Place& a, const Place& b) { return a.key < b.key; });
    zipPlaces.erase(std::unique(zipPlaces.begin(), zipPlaces.end(),
                                [](const Place& a, const Place& b) { return a.key == b.key; }),
                    zipPlaces.end());

    readWhole(root + "/DVD 2/rv9/cln.dat", raw);
    std::map<std::string, Place> byLastLine;
    for (std::size_t off = 0; off + 49 <= raw.size(); off += 49) {
        const char* p = reinterpret_cast<const char*>(raw.data() + off);
        if (static_cast<unsigned char>(p[0]) == 0xFF) continue;
        char key[7];
        trimCopy(key, sizeof key, p, 6);
        Place pl;
        trimCopy(pl.state, sizeof pl.state, p + 6, 2);
        trimCopy(pl.city, sizeof pl.city, p + 21, 28);
        byLastLine.emplace(key, pl);
    }
    llnPlaces.assign(lln.count + 1, Place{});
    for (std::size_t k = 1; k <= lln.count; ++k) {
        const auto it = byLastLine.find(lln.at(static_cast<std::uint32_t>(k)));
        if (it != byLastLine.end()) llnPlaces[k] = it->second;
    }
    for (std::uint32_t i = 0; i < zipPlaces.size(); ++i) cityZips.emplace(zipPlaces[i].city, i);
}

void AddressData::readHeaders(const std::string& root) {
    for (int disc = 0; disc < 2; ++disc) {
        const std::string path = root + (disc ? "/DVD 2/dvdhdr02.dat" : "/DVD 1/dvdhdr01.dat");
        hx_file* f = nullptr;
        if (hx_fio_open(path.c_str(), HX_FIO_READ, &f) != 0 || !f) throw DataError(1040, path);
        char line[1024];
        int no = 0;
        while (no < 6 && hx_fio_gets(f, line, sizeof line) > 0) {
            const int which = no == 2 ? 0 : no == 4 ? 1 : no == 5 ? 2 : -1;
            if (which >= 0 && std::strlen(line) >= 26) {
                std::uint32_t v = 0;
                bool ok = true;
                for (int i = 18; i < 26; ++i) {
                    ok &= line[i] >= '0' && line[i] <= '9';
                    v = v * 10 + static_cast<std::uint32_t>(line[i] - '0');
                }
                dates[disc][which] = ok ? v : 0;
            }
            ++no;
        }
        hx_fio_close(f);
        if (no < 6) throw DataError(1080, path);
    }
}

AddressData::AddressData(const std::string& root) {
    const std::string rv9 = root + "/DVD 2/rv9/";
    readHeaders(root);
    readDict(rv9 + "pno.dat", 10, pno);
    readDict(rv9 + "dsc.dat", 4, dsc);
    readDict(rv9 + "sno.dat", 8, sno);
    readDict(rv9 + "suf.dat", 4, suf);
    readDict(rv9 + "nam.dat", 28, nam);
    readDict(rv9 + "crd.dat", 4, crd);
    readDict(rv9 + "lln.dat", 6, lln);
    pnoKeys.resize(pno.count + 1);
    for (std::uint32_t k = 1; k <= pno.count; ++k) makeHouseKey(pno.at(k), std::strlen(pno.at(k)), pnoKeys[k]);
    snoKeys.resize(sno.count + 1);
    for (std::uint32_t k = 1; k <= sno.count; ++k) makeHouseKey(sno.at(k), std::strlen(sno.at(k)), snoKeys[k]);
    nameIndex.reserve(nam.count);
    for (std::uint32_t k = 1; k <= nam.count; ++k) nameIndex.emplace(nam.at(k), k);
    readRanges(rv9 + "rv9.esd");
    readPlaces(root);
}

std::size_t AddressData::memoryBytes() const {
    std::size_t n = sizeof *this;
    for (const Dict* d : {&pno, &dsc, &sno, &suf, &nam, &crd, &lln}) n += d->text.capacity();
    n += (pnoKeys.capacity() + snoKeys.capacity()) * sizeof(HouseKey);
    n += ranges.capacity() * sizeof(Range) + zipStart.capacity() * sizeof(std::uint32_t);
    n += nameIndex.size() * (sizeof(std::string_view) + sizeof(std::uint32_t) + 2 * sizeof(void*)) +
         nameIndex.bucket_count() * sizeof(void*);
    n += (zipPlaces.capacity() + llnPlaces.capacity()) * sizeof(Place);
    n += cityZips.size() * (sizeof(std::string_view) + sizeof(std::uint32_t) + 2 * sizeof(void*)) +
         cityZips.bucket_count() * sizeof(void*);
    return n;
}

bool AddressData::placeOfZip(std::uint32_t zip5, const char*& city, const char*& state) const {
    const auto it = std::lower_bound(zipPlaces.begin(), zipPlaces.end(), zip5,
                                     [](const Place& p, std::uint32_t z) { return p.key < z; });
    if (it == zipPlaces.end() || it->key != zip5) return false;
    city = it->city;
    state = it->state;
    return true;
}

bool AddressData::place(const Range& r, const char*& city, const char*& state) const {
    if (r.lln && r.lln < llnPlaces.size() && llnPlaces[r.lln].city[0]) {
        city = llnPlaces[r.lln].city;
        state = llnPlaces[r.lln].state;
        return true;
    }
    return placeOfZip(r.zip5, city, state);
}

namespace {

// How far a range's directionals and suffix are from what was written: 0 the
// same, small when the data fills a blank, large when they disagree.
int distance(const char* written, const char* data) {
    if (!*written) return *data ? 1 : 0;
    if (!*data) return 2;
    return std::strcmp(written, data) == 0 ? 0 : 10;
}

}  // namespace

// The ranges of one street name in one ZIP that hold the address. Returns the
// number of streets (distinct directionals and suffix) that tie for the best.
int AddressData::matchStreet(const Parsed& p, std::uint32_t zip5, const char* name, Outcome& out,
                             int& bestReason) const {
    const auto nameIt = nameIndex.find(std::string_view(name));
    if (nameIt == nameIndex.end()) return 0;
    const std::uint32_t nameIdx = nameIt->second;
    if (zip5 >= 100000) return 0;
    // The ZIP's ranges first, then the street's among them.
    const auto zipEnd = ranges.begin() + zipStart[zip5 + 1];
    const auto lo = std::lower_bound(ranges.begin() + zipStart[zip5], zipEnd, nameIdx,
                                     [](const Range& r, std::uint32_t name) { return r.name < name; });
    if (lo == zipEnd || lo->name != nameIdx) return 0;
    auto hi = lo;
    while (hi != zipEnd && hi->name == nameIdx) ++hi;
    if (p.kind == 'G') {  // general delivery: the ZIP's G range, without numbers
        for (auto it = lo; it != hi; ++it)
            if (it->type == 2) {
                out.range = &*it;
                out.addon = it->addonLow;
                out.reason = R_EXACT;
                return 1;
            }
        return 0;
    }
    // The street is there: from now on the reason is about the number or unit.
    if (bestReason <= R_STREET_NOT_FOUND) bestReason = R_NUMBER_OUT_OF_RANGE;
    if (!p.primary[0]) {
        bestReason = R_NUMBER_MISSING;
        return 0;
    }
    HouseKey house, unit;
    makeHouseKey(p.primary, std::strlen(p.primary), house);
    makeHouseKey(p.secondary, std::strlen(p.secondary), unit);

    // Best street first: the ranges holding the number, scored by their
    // directionals and suffix.
    int best = 1 << 30;
    for (auto it = lo; it != hi; ++it) {
        const Range& r = *it;
        if (!r.pnoLo || compareHouse(house, pnoKeys[r.pnoLo]) < 0) continue;
        if (compareHouse(house, pnoKeys[r.pnoHi ? r.pnoHi : r.pnoLo]) > 0) continue;
        if (!parityHolds(r.pparity, house)) continue;
        const int d = distance(p.predir, dirText(r.pre)) + distance(p.suffix, suf.at(r.suf)) +
                      distance(p.postdir, dirText(r.post));
        if (d < best) best = d;
    }
    if (best >= 10) return 0;  // none, or only streets that disagree
    // Streets that tie, and of the first such street the range for the unit.
    const Range* street = nullptr;
    int streets = 0;
    const Range *unitRange = nullptr, *plainRange = nullptr;
    bool anyUnitRanges = false, plainClash = false, unitClash = false, unitSame = false;
    for (auto it = lo; it != hi; ++it) {
        const Range& r = *it;
        if (!r.pnoLo || compareHouse(house, pnoKeys[r.pnoLo]) < 0) continue;
        if (compareHouse(house, pnoKeys[r.pnoHi ? r.pnoHi : r.pnoLo]) > 0) continue;
        if (!parityHolds(r.pparity, house)) continue;
        const int d = distance(p.predir, dirText(r.pre)) + distance(p.suffix, suf.at(r.suf)) +
                      distance(p.postdir, dirText(r.post));
        if (d != best) continue;
        if (!street) {
            street = &r;
            streets = 1;
        } else if (street->pre != r.pre || street->suf != r.suf || street->post != r.post) {
            if (streets == 1) ++streets;
            continue;
        }
        const bool hasUnits = r.snoLo != 0;
        anyUnitRanges |= hasUnits;
        // Two ranges that hold the same address under different ZIP+4s
        // leave it undecided, as overlapping ranges do.
        if (!hasUnits) {
            if (!plainRange)
                plainRange = &r;
            else if (r.addonLow != plainRange->addonLow)
                plainClash = true;
            continue;
        }
        if (unit.blank) continue;
        if (compareHouse(unit, snoKeys[r.snoLo]) < 0) continue;
        if (compareHouse(unit, snoKeys[r.snoHi ? r.snoHi : r.snoLo]) > 0) continue;
        if (!parityHolds(r.sparity, unit)) continue;
        // A range whose designator is the written one comes first.
        const bool same = *p.designator && r.dsc && std::strcmp(p.designator, dsc.at(r.dsc)) == 0;
        if (!unitRange || (same && !unitSame)) {
            unitRange = &r;
            unitSame = same;
            unitClash = false;
        } else if (same == unitSame && r.addonLow != unitRange->addonLow) {
            unitClash = true;
        }
    }
    if (streets > 1) {
        bestReason = R_AMBIGUOUS;
        return streets;
    }
    if ((unitRange && !unit.blank) ? unitClash : plainClash) {
        bestReason = R_AMBIGUOUS;
        return 2;
    }
    const int corrected = best ? R_CORRECTED : R_EXACT;
    if (!unit.blank) {
        if (unitRange) {
            out.range = unitRange;
            out.reason = corrected;
        } else if (plainRange) {
            out.range = plainRange;
            // A high-rise's default range: the unit is not one of its ranges.
            out.buildingDefault = anyUnitRanges || plainRange->type == 3;
            out.reason = out.buildingDefault ? R_UNIT_NOT_FOUND : corrected;
        } else {
            bestReason = R_UNIT_NOT_FOUND;
            return 0;
        }
    } else if (plainRange) {
        out.range = plainRange;
        out.buildingDefault = anyUnitRanges;
        out.reason = anyUnitRanges ? R_UNIT_MISSING : corrected;
    } else {
        bestReason = R_UNIT_MISSING;
        return 0;
    }
    // The add-on: the low one, or walked in step with the number when the
    // range spans several.
    const Range& r = *out.range;
    out.addon = r.addonLow;
    if (r.addonHigh > r.addonLow) {
        const bool byUnit = r.snoLo && !unit.blank && unit.digits && snoKeys[r.snoLo].digits;
        const HouseKey& k = byUnit ? unit : house;
        const HouseKey& low = byUnit ? snoKeys[r.snoLo] : pnoKeys[r.pnoLo];
        const unsigned parity = byUnit ? r.sparity : r.pparity;
        if (k.digits && low.digits && k.value >= low.value) {
            unsigned step = k.value - low.value;
            if (parity == 2 || parity == 3) step /= 2;
            out.addon = std::min<unsigned>(r.addonLow + step, r.addonHigh);
        }
    }
    return 1;
}

Outcome AddressData::confirm(const Parsed& p) const {
    Outcome out;
    int reason = R_STREET_NOT_FOUND;
    // The ZIPs to look in: the written one, then those of the written city.
    std::uint32_t zips[16];
    int zipCount = 0;
    std::uint32_t written = 0;
    bool writtenKnown = false;
    if (p.zip[0]) {
        for (const char* c = p.zip; *c; ++c) written = written * 10 + static_cast<std::uint32_t>(*c - '0');
        const char *city, *state;
        writtenKnown = placeOfZip(written, city, state);
        if (writtenKnown) zips[zipCount++] = written;
    }
    if (p.city[0]) {
        const auto span = cityZips.equal_range(std::string_view(p.city));
        for (auto it = span.first; it != span.second && zipCount < 16; ++it) {
            const Place& pl = zipPlaces[it->second];
            if (pl.key == written && writtenKnown) continue;
            if (p.state[0] && std::strcmp(p.state, pl.state) != 0) continue;
            zips[zipCount++] = pl.key;
        }
    }
    if (!zipCount) {
        out.reason = p.zip[0] ? R_ZIP_UNKNOWN : R_ZIP_MISSING;
        return out;
    }
    // The written ZIP alone first; the city's other ZIPs only when it fails.
    for (int z = 0; z < zipCount; ++z) {
        Outcome o;
        int n = matchStreet(p, zips[z], p.street, o, reason);
        if (!n && p.ordinalAdded) {
            // "34 ST" may be the street "34" after all.
            char bare[41];
            std::strncpy(bare, p.street, sizeof bare - 1);
            bare[sizeof bare - 1] = 0;
            std::size_t len = std::strlen(bare);
            if (len > 2) bare[len - 2] = 0;
            n = matchStreet(p, zips[z], bare, o, reason);
        }
        if (n == 1) {
            if (zips[z] != written && o.reason <= R_CORRECTED) o.reason = R_ZIP_CORRECTED;
            return o;
        }
        if (n > 1) break;
        if (z == 0 && writtenKnown && reason != R_STREET_NOT_FOUND) break;  // the street is there
    }
    out.reason = reason;
    return out;
}

std::shared_ptr<const AddressData> AddressData::open(const std::string& root) {
    // One instance per data root in the process; the mutex guards only this map.
    static std::mutex lock;
    static std::map<std::string, std::weak_ptr<const AddressData>> cache;
    std::lock_guard<std::mutex> guard(lock);
    auto& slot = cache[root];
    if (auto shared = slot.lock()) return shared;
    auto made = std::make_shared<const AddressData>(root);
    slot = made;
    return made;
}

}  // namespace qvav
