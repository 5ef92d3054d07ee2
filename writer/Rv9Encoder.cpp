#include "Rv9Encoder.h"

#include <algorithm>
#include <set>

namespace qvw {

std::uint64_t Rv9Dictionary::indexOf(const std::string& text) const {
    if (text.find_first_not_of(' ') == std::string::npos)
        return 0;
    const auto it = std::lower_bound(entries.begin(), entries.end(), text);
    if (it == entries.end() || *it != text)
        throw WriterError("rv9: \"" + text + "\" missing from its dictionary");
    return static_cast<std::uint64_t>(it - entries.begin()) + 1;
}

Bytes Rv9Dictionary::fileImage() const {
    Bytes out;
    if (entries.empty())
        return packText("", chars);
    for (const auto& e : entries) {
        const Bytes packed = packText(e, chars);
        out.insert(out.end(), packed.begin(), packed.end());
    }
    return out;
}

Bytes Rv9Data::esdImage() const {
    Bytes out(26, 0); // record 0: outside the searched range
    for (const auto& r : records) {
        putBigEndian(out, r.key, 4);
        putBigEndian(out, r.a, 8);
        putBigEndian(out, r.b, 8);
        putBigEndian(out, r.c, 6);
    }
    out.insert(out.end(), 25, 0xFF);
    out.push_back(0xFE);
    return out;
}

unsigned recordTypeDigit(char type) {
    static const std::string types = "FGHPRS";
    const auto pos = types.find(type);
    return pos == std::string::npos ? 0 : static_cast<unsigned>(pos) + 1;
}

unsigned directionDigit(const std::string& dir) {
    static const char* const dirs[] = {"E", "N", "NE", "NW", "S", "SE", "SW", "W"};
    for (unsigned i = 0; i < 8; ++i)
        if (dir == dirs[i])
            return i + 1;
    return 0;
}

unsigned parityDigit(char parity) {
    static const std::string beo = "BEO";
    const auto pos = beo.find(parity);
    return pos == std::string::npos ? 0 : static_cast<unsigned>(pos) + 1;
}

namespace {

// Dictionary entries are kept as their blank-padded text, sorted, so that the
// output doesn't depend on the order of the world's ranges.
void fill(Rv9Dictionary& dict, const std::set<std::string>& texts, const char* name) {
    dict.entries.clear();
    for (const auto& t : texts)
        if (t.find_first_not_of(' ') != std::string::npos)
            dict.entries.push_back(padRight(t, dict.chars));
    std::sort(dict.entries.begin(), dict.entries.end());
    dict.entries.erase(std::unique(dict.entries.begin(), dict.entries.end()), dict.entries.end());
    if (dict.limit && dict.entries.size() >= dict.limit)
        throw WriterError(std::string("rv9: more entries in ") + name + " than its digit can index");
}

} // namespace

Rv9Data encodeRanges(const WorldStream& ranges) {
    Rv9Data d;
    std::set<std::string> pno, dsc, sno, suf, nam, crd, lln;
    ranges.forEachRange([&](const AddressRange& r) {
        pno.insert(r.primaryLow);
        pno.insert(r.primaryHigh);
        dsc.insert(r.designator);
        sno.insert(r.secondaryLow);
        sno.insert(r.secondaryHigh);
        suf.insert(r.suffix);
        nam.insert(r.street);
        crd.insert(r.carrierRoute);
        lln.insert(r.lastLine);
    });
    fill(d.pno, pno, "pno.dat");
    fill(d.dsc, dsc, "dsc.dat");
    fill(d.sno, sno, "sno.dat");
    fill(d.suf, suf, "suf.dat");
    fill(d.nam, nam, "nam.dat");
    fill(d.crd, crd, "crd.dat");
    fill(d.lln, lln, "lln.dat");
    // Word C holds 48 bits: the street name digit is what is left above lln and crd.
    if (d.nam.entries.size() >= ((1ULL << 48) - 1) / 70000000ULL)
        throw WriterError("rv9: too many street names for word C");

    auto pad = [](const std::string& s, std::size_t n) { return padRight(s, n); };
    ranges.forEachRange([&](const AddressRange& r) {
        Rv9Record rec;
        // Filed under the low add-on of its span.
        rec.key = static_cast<std::uint32_t>(std::stoul(r.zip) * 10000UL + std::stoul(r.addonLow));
        const std::uint64_t addonLow = std::stoul(r.addonLow), addonHigh = std::stoul(r.addonHigh);
        rec.a = recordTypeDigit(r.recordType) +
                7ULL * (directionDigit(r.preDir) +
                        9ULL * (d.sno.indexOf(pad(r.secondaryLow, 8)) +
                                200000ULL * (d.dsc.indexOf(pad(r.designator, 4)) +
                                             25ULL * (parityDigit(r.primaryParity) +
                                                      4ULL * (d.pno.indexOf(pad(r.primaryLow, 10)) +
                                                              420000ULL * addonLow)))));
        rec.b = directionDigit(r.postDir) +
                9ULL * (d.suf.indexOf(pad(r.suffix, 4)) +
                        210ULL * (parityDigit(r.secondaryParity) +
                                  4ULL * (d.sno.indexOf(pad(r.secondaryHigh, 8)) +
                                          200000ULL * (d.pno.indexOf(pad(r.primaryHigh, 10)) +
                                                       420000ULL * addonHigh))));
        rec.c = d.lln.indexOf(pad(r.lastLine, 6)) +
                35000ULL * (d.crd.indexOf(pad(r.carrierRoute, 4)) + 2000ULL * d.nam.indexOf(pad(r.street, 28)));
        d.records.push_back(rec);
    });
    std::stable_sort(d.records.begin(), d.records.end(),
                     [](const Rv9Record& x, const Rv9Record& y) { return x.key < y.key; });
    return d;
}

} // namespace qvw
