#include "FlatEncoder.h"

#include <algorithm>
#include <cstring>

#include "Buckets.h"
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

namespace {

using Record = std::array<unsigned char, kFlatRecordSize>;
// A record in its temporary file: the record, then the filing's index.
constexpr std::size_t kBucketRecord = kFlatRecordSize + 8;

bool sameKey(const Record& a, const Record& b) { return std::equal(a.begin(), a.begin() + kFlatKeySize, b.begin()); }

} // namespace

FlatEncoder::FlatEncoder(const World& world, const HashEncoder& results)
    : results_(results), lcd_(lcdReplacements(world)),
      rules_(world.names.rules.value_or(defaultNameRules())) {}

FlatEncoder::~FlatEncoder() = default;

void FlatEncoder::begin(const std::string& tempFolder) {
    filings_ = 0;
    buckets_ = std::make_unique<BucketFiles>(tempFolder, 256, kBucketRecord);
}

std::uint64_t FlatEncoder::add(std::size_t index, const Filing& f) {
    const std::string where = "filings[" + std::to_string(index) + "]";
    std::uint64_t emdp = 0;
    if (!emdpOf(f.from, lcd_, emdp))
        throw WriterError(where + ".from: the address has no key (its ZIP is not numeric)");
    const Bytes key = flatSearchKey(f, emdp, rules_);
    const Sha1Digest sha = sha1Of(key.data(), key.size());
    const Bytes data = results_.resultBytes(f, sha, where);
    const std::array<unsigned char, 16> pad = flatPad(sha);
    unsigned char r[kBucketRecord] = {};
    std::copy(sha.begin() + 11, sha.end(), r);
    for (int b = 0; b < 8; ++b)
        r[kFlatKeySize + b] =
            static_cast<unsigned char>(data[static_cast<std::size_t>(b)] ^ pad[static_cast<std::size_t>(b)]);
    const std::uint64_t i = index;
    std::memcpy(r + kFlatRecordSize, &i, 8);
    buckets_->append(r[0], r);
    ++filings_;
    return emdp;
}

void FlatEncoder::finish(const std::function<void(int file, const unsigned char* data, std::size_t size)>& out) {
    buckets_->flush();
    // Each temporary file sorted by key in place. Two filings under one key:
    // the later one is named, the earliest such over all keys.
    const std::size_t n = filings_;
    std::size_t repeat = n;
    for (std::size_t b = 0; b < 256; ++b) {
        if (buckets_->records(b) == 0)
            continue;
        Bytes rows = buckets_->read(b);
        std::vector<std::pair<Record, std::uint64_t>> records(rows.size() / kBucketRecord);
        for (std::size_t k = 0; k < records.size(); ++k) {
            const unsigned char* r = rows.data() + k * kBucketRecord;
            std::copy(r, r + kFlatRecordSize, records[k].first.begin());
            std::memcpy(&records[k].second, r + kFlatRecordSize, 8);
        }
        std::sort(records.begin(), records.end(), [](const auto& a, const auto& b) {
            const int c = std::memcmp(a.first.data(), b.first.data(), kFlatKeySize);
            return c < 0 || (c == 0 && a.second < b.second);
        });
        for (std::size_t k = 1; k < records.size(); ++k)
            if (sameKey(records[k].first, records[k - 1].first))
                repeat = std::min<std::size_t>(repeat, records[k].second);
        for (std::size_t k = 0; k < records.size(); ++k) {
            unsigned char* r = rows.data() + k * kBucketRecord;
            std::copy(records[k].first.begin(), records[k].first.end(), r);
            std::memcpy(r + kFlatRecordSize, &records[k].second, 8);
        }
        buckets_->rewrite(b, rows);
    }
    if (repeat < n)
        throw WriterError("filings[" + std::to_string(repeat) +
                          "]: another filing has the same flat key (address and name)");

    // The guard records at both ends, and one in the middle when there are
    // too few filings to give each file a record.
    const std::size_t total = n + 2 + (n == 0 ? 1 : 0);
    const std::size_t cut1 = total / 3, cut2 = cut1 + total / 3;

    Bytes buffer;
    int bufferFile = 0;
    auto emit = [&](int file, const Record& r) {
        if (file != bufferFile || buffer.size() >= (1u << 20)) {
            out(bufferFile, buffer.data(), buffer.size());
            buffer.clear();
            bufferFile = file;
        }
        buffer.insert(buffer.end(), r.begin(), r.end());
    };
    // A search goes to the first file when its key lies below the middle
    // file's first key, to the third above its last. The first file ends with
    // the key just below the middle file's first, the third begins with the
    // one just above its last, so that each file's keys reach the prefixes
    // of every key sent to it.
    std::size_t at = 0;
    Record previous{};
    auto put = [&](const Record& r) {
        if (at == cut1) {
            Record below = r;
            for (int b = kFlatKeySize - 1; b >= 0 && below[static_cast<std::size_t>(b)]-- == 0; --b) {
            }
            std::fill(below.begin() + kFlatKeySize, below.end(), 0);
            if (!sameKey(below, previous))
                emit(0, below);
        }
        if (at == cut2) {
            Record above = previous;
            for (int b = kFlatKeySize - 1; b >= 0 && ++above[static_cast<std::size_t>(b)] == 0; --b) {
            }
            std::fill(above.begin() + kFlatKeySize, above.end(), 0);
            if (!sameKey(above, r))
                emit(2, above);
        }
        emit(at < cut1 ? 0 : at < cut2 ? 1 : 2, r);
        previous = r;
        ++at;
    };

    Record low{}, high{};
    std::fill(high.begin(), high.begin() + kFlatKeySize, 0xFF);
    put(low);
    if (n == 0) {
        Record mid{};
        mid[0] = 0x80;
        put(mid);
    }
    for (std::size_t b = 0; b < 256; ++b) {
        if (buckets_->records(b) == 0)
            continue;
        const Bytes rows = buckets_->read(b);
        for (std::size_t k = 0; k < rows.size(); k += kBucketRecord) {
            Record r;
            std::copy(rows.data() + k, rows.data() + k + kFlatRecordSize, r.begin());
            put(r);
        }
    }
    put(high);
    out(bufferFile, buffer.data(), buffer.size());
    buckets_.reset();
}

} // namespace qvw
