#include "FlatEncoder.h"

#include <algorithm>

#include "Emdp.h"
#include "NameLists.h"
#include "Rijndael.h"

namespace qvw {

Bytes flatSearchKey(const Filing& filing, std::uint64_t emdp, const std::vector<NameRuleLine>& rules) {
    Bytes key{' '};
    const Bytes rest = filingSearchKey(filing, emdp, rules);
    key.insert(key.end(), rest.begin(), rest.end());
    return key;
}

std::array<unsigned char, 16> flatPad(const Sha1Digest& sha) {
    const Sha1Digest h1 = sha1Of(sha.data(), sha.size());
    const Sha1Digest h2 = sha1Of(h1.data(), h1.size());
    char key[24];
    std::copy(h1.begin() + 16, h1.end(), key);
    std::copy(h2.begin(), h2.end(), key + 4);
    QV_NCOA::CRijndael cipher;
    cipher.MakeKey(key, QV_NCOA::CRijndael::sm_chain0, 24, 16);
    std::array<unsigned char, 16> pad{};
    cipher.EncryptBlock(reinterpret_cast<const char*>(h1.data()), reinterpret_cast<char*>(pad.data()));
    return pad;
}

FlatEncoder::FlatEncoder(const World& world, const HashEncoder& results) : world_(world), results_(results) {}

void FlatEncoder::encode() {
    const LcdReplacements lcd = lcdReplacements(world_);
    const std::vector<NameRuleLine> rules = world_.names.rules.value_or(defaultNameRules());
    const std::size_t n = world_.filings.size();
    filingEmdps_.assign(n, 0);
    digests_.assign(n, Sha1Digest{});

    using Record = std::array<unsigned char, kFlatRecordSize>;
    std::vector<std::pair<Record, std::size_t>> records;
    records.reserve(n + 3);
    for (std::size_t i = 0; i < n; ++i) {
        const Filing& f = world_.filings[i];
        const std::string where = "filings[" + std::to_string(i) + "]";
        std::uint64_t emdp = 0;
        if (!emdpOf(f.from, lcd, emdp))
            throw WriterError(where + ".from: the address has no key (its ZIP is not numeric)");
        filingEmdps_[i] = emdp;
        const Bytes key = flatSearchKey(f, emdp, rules);
        const Sha1Digest sha = sha1Of(key.data(), key.size());
        digests_[i] = sha;
        const Bytes data = results_.resultBytes(f, sha, where);
        const std::array<unsigned char, 16> pad = flatPad(sha);
        Record r{};
        std::copy(sha.begin() + 11, sha.end(), r.begin());
        for (int b = 0; b < 8; ++b)
            r[static_cast<std::size_t>(kFlatKeySize + b)] =
                static_cast<unsigned char>(data[static_cast<std::size_t>(b)] ^ pad[static_cast<std::size_t>(b)]);
        records.emplace_back(r, i);
    }
    // Two filings under one key: the later one is named.
    auto byKey = [](const std::pair<Record, std::size_t>& a, const std::pair<Record, std::size_t>& b) {
        return std::lexicographical_compare(a.first.begin(), a.first.begin() + kFlatKeySize, b.first.begin(),
                                            b.first.begin() + kFlatKeySize);
    };
    std::sort(records.begin(), records.end(), byKey);
    std::size_t repeat = n;
    for (std::size_t i = 1; i < records.size(); ++i)
        if (std::equal(records[i].first.begin(), records[i].first.begin() + kFlatKeySize, records[i - 1].first.begin()))
            repeat = std::min(repeat, std::max(records[i].second, records[i - 1].second));
    if (repeat < n)
        throw WriterError("filings[" + std::to_string(repeat) +
                          "]: another filing has the same flat key (address and name)");

    // The guard records at both ends, and one in the middle when there are
    // too few filings to give each file a record.
    Record low{}, high{};
    std::fill(high.begin(), high.begin() + kFlatKeySize, 0xFF);
    records.insert(records.begin(), {low, n});
    records.push_back({high, n});
    if (records.size() < 3) {
        Record mid{};
        mid[0] = 0x80;
        records.insert(records.begin() + 1, {mid, n});
    }

    const std::size_t total = records.size();
    const std::size_t cut1 = total / 3, cut2 = cut1 + total / 3;
    for (auto& f : files_)
        f.clear();
    for (std::size_t i = 0; i < total; ++i) {
        Bytes& out = files_[i < cut1 ? 0 : i < cut2 ? 1 : 2];
        out.insert(out.end(), records[i].first.begin(), records[i].first.end());
    }

    // A search goes to the first file when its key lies below the middle
    // file's first key, to the third above its last. The first file ends with
    // the key just below the middle file's first, the third begins with the
    // one just above its last, so that each file's keys reach the prefixes
    // of every key sent to it.
    Record below = records[cut1].first, above = records[cut2 - 1].first;
    for (int b = kFlatKeySize - 1; b >= 0 && below[static_cast<std::size_t>(b)]-- == 0; --b) {
    }
    for (int b = kFlatKeySize - 1; b >= 0 && ++above[static_cast<std::size_t>(b)] == 0; --b) {
    }
    std::fill(below.begin() + kFlatKeySize, below.end(), 0);
    std::fill(above.begin() + kFlatKeySize, above.end(), 0);
    if (!std::equal(below.begin(), below.begin() + kFlatKeySize, records[cut1 - 1].first.begin()))
        files_[0].insert(files_[0].end(), below.begin(), below.end());
    if (!std::equal(above.begin(), above.begin() + kFlatKeySize, records[cut2].first.begin()))
        files_[2].insert(files_[2].begin(), above.begin(), above.end());
    filings_ = n;
}

} // namespace qvw
