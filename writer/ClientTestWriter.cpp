#include "ClientTestWriter.h"

#include <cstdio>
#include <fstream>
#include <set>
#include <tuple>
#include <unordered_map>

#include "DataSetWriter.h"

namespace qvw {
namespace {

std::string join(std::initializer_list<std::string_view> parts) {
    std::string out;
    for (std::string_view p : parts) {
        if (p.empty())
            continue;
        if (!out.empty())
            out += ' ';
        out += p;
    }
    return out;
}

bool startsWith(const std::string& s, std::string_view prefix) { return s.compare(0, prefix.size(), prefix) == 0; }

// Is `number` within the range's low and high, of its parity? Numbers of
// digits compare as numbers, others as texts of the same length.
bool inRange(const std::string& number, const std::string& low, const std::string& high, char parity) {
    if (number.empty())
        return false;
    if (allDigits(number) && allDigits(low) && allDigits(high) && number.size() <= 18 && low.size() <= 18 &&
        high.size() <= 18) {
        const unsigned long long n = std::stoull(number), lo = std::stoull(low), hi = std::stoull(high);
        if (n < lo || n > hi)
            return false;
        return parity == 'E' ? n % 2 == 0 : parity == 'O' ? n % 2 == 1 : true;
    }
    return number.size() == low.size() && number.size() == high.size() && low <= number && number <= high;
}

// The world's ranges by ZIP, so that a large world is not walked once per address.
class RangeIndex {
public:
    explicit RangeIndex(const World& world) {
        for (const AddressRange& r : world.ranges)
            byZip_[r.zip].push_back(&r);
    }
    const AddressRange* find(const Address& a) const {
        auto it = byZip_.find(a.zip9.substr(0, 5));
        if (it == byZip_.end())
            return nullptr;
        const std::string addon = a.zip9.size() >= 9 ? a.zip9.substr(5, 4) : std::string();
        const bool withAddon = allDigits(addon) && addon.size() == 4;
        for (const AddressRange* r : it->second) {
            if (withAddon && (addon < r->addonLow || addon > r->addonHigh))
                continue;
            if (inRange(a.primary, r->primaryLow, r->primaryHigh, r->primaryParity))
                return r;
        }
        return nullptr;
    }

private:
    std::unordered_map<std::string, std::vector<const AddressRange*>> byZip_;
};

std::string addressLine(const AddressRange* r, const Address& address, char& recordType) {
    if (r == nullptr)
        return std::string();
    recordType = r->recordType == ' ' ? 'S' : r->recordType;
    if (startsWith(r->street, "PO BOX"))
        return "PO BOX " + address.primary;
    if (startsWith(r->street, "RR ") || startsWith(r->street, "HC "))
        return r->street + " BOX " + address.primary;
    std::string unit;
    if (!address.secondary.empty())
        unit = join({address.designator.empty() ? std::string_view("#") : std::string_view(address.designator),
                     address.secondary});
    else
        unit = address.designator;
    return join({address.primary, r->preDir, r->street, r->suffix, r->postDir, unit});
}

std::string personName(const PersonName& n) { return join({n.prefix, n.first, n.middle, n.last, n.suffix}); }

void put(std::string& line, std::size_t col, std::string_view text, std::size_t width) {
    line.replace(col, width, padRight(text, width));
}

std::string lastLineOf(const Place* place, const Address& address) {
    std::string zip = address.zip9.substr(0, 5);
    const std::string addon = address.zip9.size() >= 9 ? address.zip9.substr(5, 4) : std::string();
    if (addon.size() == 4 && allDigits(addon))
        zip += "-" + addon;
    return place == nullptr ? zip : join({place->city, place->state, zip});
}

} // namespace

std::string clientTestAddressLine(const World& world, const Address& address, char& recordType) {
    return addressLine(RangeIndex(world).find(address), address, recordType);
}

std::string clientTestLastLine(const World& world, const Address& address) {
    for (const Place& p : world.places)
        if (p.zip == address.zip9.substr(0, 5))
            return lastLineOf(&p, address);
    return lastLineOf(nullptr, address);
}

std::vector<ClientTestRecord> clientTestRecords(const World& world, ClientTestSummary& summary) {
    summary = ClientTestSummary();
    const RangeIndex ranges(world);
    std::unordered_map<std::string, const Place*> places;
    for (const Place& p : world.places)
        places.emplace(p.zip, &p);
    auto lastLine = [&places](const Address& a) {
        auto it = places.find(a.zip9.substr(0, 5));
        return lastLineOf(it == places.end() ? nullptr : it->second, a);
    };
    std::vector<ClientTestRecord> out;
    auto lead = [&out] {
        char id[16];
        std::snprintf(id, sizeof id, "CT%06zu", out.size() + 1);
        return std::string(id);
    };
    // Old addresses in the order they first appear, for the records that find nobody.
    std::vector<std::pair<Address, char>> addresses;
    std::set<std::tuple<std::string, std::string, std::string, std::string>> seen;
    for (std::size_t i = 0; i < world.filings.size(); ++i) {
        const Filing& f = world.filings[i];
        ClientTestRecord r;
        r.address = addressLine(ranges.find(f.from), f.from, r.addressMark);
        if (r.address.empty()) {
            ++summary.skipped;
            continue;
        }
        r.lead = lead();
        r.leadMark = 'Y';
        r.filing = static_cast<int>(i);
        r.mid = "FILING " + std::to_string(i + 1);
        switch (f.kind) {
        case Filing::Kind::Individual:
            r.name = personName(f.name);
            r.nameMark = 'I';
            break;
        case Filing::Kind::Family:
            r.name = join({kFamilyStandInFirst, f.name.last});
            r.nameMark = 'F';
            break;
        case Filing::Kind::Business:
            r.name = f.business;
            r.nameMark = 'B';
            break;
        }
        r.lastLine = lastLine(f.from);
        r.at = f.from;
        if (seen.insert({f.from.zip9, f.from.primary, f.from.designator, f.from.secondary}).second)
            addresses.emplace_back(f.from, r.addressMark);
        out.push_back(std::move(r));
        ++summary.filings;
    }
    for (const auto& [address, type] : addresses) {
        ClientTestRecord r;
        r.lead = lead();
        r.name = kNobodyName;
        r.mid = "NO FILING";
        r.address = addressLine(ranges.find(address), address, r.addressMark);
        r.lastLine = lastLine(address);
        r.at = address;
        out.push_back(std::move(r));
        ++summary.misses;
    }
    summary.records = out.size();
    return out;
}

std::string clientTestHeader(const World& world, std::size_t records, bool stageOne) {
    const DataSetInfo& ds = world.dataset;
    const std::string release = ds.releaseDate.empty() ? todayYYYYMMDD() : ds.releaseDate;
    const std::string cutoff = ds.cutoffDate.empty() ? release : ds.cutoffDate;
    const std::string expiry = ds.expiryDate.empty() ? addDays(release, 45) : ds.expiryDate;
    char numbers[16];
    std::snprintf(numbers, sizeof numbers, "%06d%04zu", ds.sequence % 1000000, records > 9999 ? 9999 : records);
    return std::string("QVNCOACT") + numbers + release + cutoff + expiry + (stageOne ? 'S' : 'N');
}

std::string clientTestLine(const ClientTestRecord& r, std::size_t width) {
    using L = ClientTestLayout;
    std::string line(width, ' ');
    put(line, L::leadCol, r.lead, L::leadWidth);
    line[L::leadMarkCol] = r.leadMark;
    put(line, L::nameCol, r.name, L::nameWidth);
    line[L::nameMarkCol] = r.nameMark;
    put(line, L::midCol, r.mid, L::midWidth);
    put(line, L::addressCol, r.address, L::addressWidth);
    line[L::addressMarkCol] = r.addressMark;
    put(line, L::lastLineCol, r.lastLine, L::lastLineWidth);
    line.replace(width - 2, 2, "\r\n");
    return line;
}

ClientTestSummary writeClientTestFile(const World& world, const std::string& path, bool stageOne) {
    ClientTestSummary summary;
    const std::vector<ClientTestRecord> records = clientTestRecords(world, summary);
    const std::size_t width = stageOne ? ClientTestLayout::stageOneLineBytes : ClientTestLayout::lineBytes;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    std::string header(width, ' ');
    const std::string fields = clientTestHeader(world, records.size(), stageOne);
    header.replace(0, fields.size(), fields);
    header.replace(width - 2, 2, "\r\n");
    out << header;
    for (const ClientTestRecord& r : records)
        out << clientTestLine(r, width);
    if (!out.flush())
        throw WriterError("cannot write the client test file " + path);
    return summary;
}

} // namespace qvw
