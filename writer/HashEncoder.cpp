#include "HashEncoder.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <set>
#include <unordered_map>

#include "Buckets.h"
#include "NameLists.h"

namespace qvw {

namespace {

std::uint32_t wordAt(const unsigned char* p) {
    return (std::uint32_t(p[0]) << 24) | (std::uint32_t(p[1]) << 16) | (std::uint32_t(p[2]) << 8) | p[3];
}

// Minimum bytes per filing: 16 to 32 filter bits a key keeps nine probes
// at a false-positive rate of at most about 5 in 10,000; four stripe places a
// key keep the walks past taken places short.
constexpr std::uint64_t kFilterBytesPerKey = 2;
constexpr std::uint64_t kStripeBytesPerKey = 4;
// The reader masks 32-bit words of the digest stream.
constexpr std::uint32_t kMaxStripeBytes = 1u << 31;

constexpr std::uint8_t kTaken = 255;
constexpr unsigned kNoHint = 254;

bool generational(const std::string& suffix) {
    for (const char* g : {"JR", "SR", "II", "III", "IV"})
        if (suffix.rfind(g, 0) == 0)
            return true;
    return false;
}


unsigned initialCode(char c, const std::string& where) {
    if (c == ' ')
        return 0;
    if (c < 'A' || c > 'Z')
        throw WriterError(where + ": middle initials must be letters A-Z");
    return static_cast<unsigned>(c - 'A' + 1);
}

} // namespace

// ---- Bit tables -----------------------------------------------------------

void BitTable::add(const Sha1Digest& d) {
    for (int k = 0; k < 9; ++k) {
        const std::uint32_t w = wordAt(d.data() + 2 * k);
        bits_[w % bits_.size()] |= static_cast<unsigned char>(0x80u >> (w >> 29));
    }
}

bool BitTable::contains(const Sha1Digest& d) const {
    for (int k = 0; k < 9; ++k) {
        const std::uint32_t w = wordAt(d.data() + 2 * k);
        if ((bits_[w % bits_.size()] & (0x80u >> (w >> 29))) == 0)
            return false;
    }
    return true;
}

double BitTable::fill() const {
    std::size_t set = 0;
    for (unsigned char b : bits_)
        set += static_cast<std::size_t>(__builtin_popcount(b));
    return static_cast<double>(set) / (8.0 * static_cast<double>(bits_.size()));
}

// ---- Keys, permutation, walks -----------------------------------------------

std::string ruledName(const std::string& field, std::size_t width, const std::vector<NameRuleLine>& rules) {
    if (width == 1)
        return padRight(field, 1);
    // The word lives in 40 places; n counts its letters.
    constexpr std::size_t kRoom = 40;
    std::string word;
    for (char c : padRight(field, width))
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'))
            word += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    int n = static_cast<int>(word.size());
    word = padRight(word, kRoom);
    auto rewrite = [&](std::size_t at, const NameRuleLine& r) {
        word = padRight(word.substr(0, at) + r.to + word.substr(at + r.from.size()), kRoom);
        n += static_cast<int>(r.to.size()) - static_cast<int>(r.from.size());
        return true;
    };
    for (bool changed = true; changed;) {
        changed = false;
        for (const NameRuleLine& r : rules) {
            const int from = static_cast<int>(r.from.size());
            if (r.left && word.compare(0, r.from.size(), r.from) == 0)
                changed = rewrite(0, r);
            // Inside only: never the first letter, and never reaching the last.
            if (r.middle && n - from >= 2)
                for (int p = 1; p + 1 <= n - from; ++p)
                    if (word.compare(static_cast<std::size_t>(p), r.from.size(), r.from) == 0)
                        changed = rewrite(static_cast<std::size_t>(p), r);
            if (r.right && n - from >= 0 && word.compare(static_cast<std::size_t>(n - from), r.from.size(), r.from) == 0)
                changed = rewrite(static_cast<std::size_t>(n - from), r);
        }
    }
    return word.substr(0, width);
}

Bytes filingSearchKey(const Filing& f, std::uint64_t emdp, const std::vector<NameRuleLine>& rules) {
    Bytes key;
    putBigEndian(key, emdp, 8);
    if (f.kind == Filing::Kind::Business) {
        putField(key, f.business, 40);
        return key;
    }
    const bool firstBlank = f.kind != Filing::Kind::Individual || f.name.first.find_first_not_of(' ') == std::string::npos;
    putField(key, firstBlank ? std::string() : ruledName(f.name.first, 15, rules), 15);
    putField(key, ruledName(f.name.last, 20, rules), 20);
    putField(key, generational(f.name.suffix) ? f.name.suffix : std::string(), 5);
    return key;
}

std::array<unsigned char, 7> permutationRow(unsigned r) {
    // Lexicographic rank in the factorial number system: 6! rows share each
    // first number, 5! each second, and so on.
    std::vector<unsigned char> left = {1, 2, 3, 4, 5, 6, 7};
    std::array<unsigned char, 7> row{};
    unsigned block = 720;
    for (int i = 0; i < 7; ++i) {
        const unsigned pick = r / block;
        r %= block;
        row[static_cast<std::size_t>(i)] = left[pick];
        left.erase(left.begin() + pick);
        if (i < 6)
            block /= static_cast<unsigned>(6 - i);
    }
    return row;
}

const unsigned char* DigestStream::block(int b) {
    if ((made_ & (1u << b)) == 0) {
        const Sha1Digest next = sha1Of(block(b - 1), 20);
        std::copy(next.begin(), next.end(), bytes_.begin() + 20 * b);
        made_ |= static_cast<std::uint8_t>(1u << b);
    }
    return bytes_.data() + 20 * b;
}

bool DigestStream::next(WalkCursor& c, std::uint32_t mask, std::uint32_t& place) {
    // The stream: the key, then each block the SHA-1 of the one before, made
    // only as the walk reaches it. Before each read at most one block is
    // made: the first one due (the read's start past 20b - 3) that still
    // looks unmade (its first byte 0). A read at 17 therefore still sees the
    // unmade first byte of block 1 as 0; the reader does the same. A block
    // counts as made for this walk once the walk has made it; its bytes are
    // the same for every walk of the key, so they are computed once.
    if (c.pos + 4 > 120)
        return false;
    for (int b = 1; b <= 5 && c.pos > 20 * b - 3; ++b) {
        const bool visible = (c.visible & (1u << b)) != 0;
        if (!visible || block(b)[0] == 0) {
            c.visible |= static_cast<std::uint8_t>(1u << b);
            break;
        }
    }
    std::uint32_t w = 0;
    for (int i = c.pos; i < c.pos + 4; ++i) {
        const int b = i / 20;
        w = (w << 8) | ((c.visible & (1u << b)) ? block(b)[i % 20] : 0u);
    }
    ++c.pos;
    place = w & mask;
    return true;
}

std::vector<std::uint32_t> stripeWalk(const Sha1Digest& key, int stripe, std::uint32_t size) {
    DigestStream stream(key);
    WalkCursor cursor(stripe);
    std::vector<std::uint32_t> places;
    for (std::uint32_t place = 0; stream.next(cursor, size - 1, place);)
        places.push_back(place);
    return places;
}

// ---- The encoder ------------------------------------------------------------

HashEncoder::HashEncoder(const World& world, const std::vector<std::string>& zips,
                         const std::vector<std::string>& hints, const std::array<char, 100>& letters, int currentYear)
    : world_(world), zips_(zips), hints_(hints), letters_(letters), currentYear_(currentYear),
      lcd_(lcdReplacements(world)), rules_(world.names.rules.value_or(defaultNameRules())) {
    // Indexes are the 1-based places; the first of two equal entries counts.
    for (std::size_t i = zips.size(); i-- > 0;)
        zipIndex_[zips[i]] = static_cast<std::uint64_t>(i) + 1;
    for (std::size_t i = hints.size(); i-- > 0;)
        hintIndex_[hints[i]] = static_cast<unsigned>(i) + 1;
}

const std::string& HashEncoder::ruled(const std::string& field, std::size_t width) {
    // Worlds repeat names a great deal: each distinct one is ruled once.
    auto& cache = width == 15 ? ruledFirst_ : ruledLast_;
    auto it = cache.find(field);
    if (it == cache.end())
        it = cache.emplace(field, ruledName(field, width, rules_)).first;
    return it->second;
}

Bytes HashEncoder::searchKey(const Filing& f, std::uint64_t emdp) {
    Bytes key;
    key.reserve(48);
    putBigEndian(key, emdp, 8);
    if (f.kind == Filing::Kind::Business) {
        putField(key, f.business, 40);
        return key;
    }
    const bool firstBlank = f.kind != Filing::Kind::Individual || f.name.first.find_first_not_of(' ') == std::string::npos;
    putField(key, firstBlank ? std::string() : ruled(f.name.first, 15), 15);
    putField(key, ruled(f.name.last, 20), 20);
    putField(key, generational(f.name.suffix) ? f.name.suffix : std::string(), 5);
    return key;
}

Bytes HashEncoder::resultBytes(const Filing& f, const Sha1Digest& key, const std::string& where) const {
    std::uint64_t zipIndex = 0;
    std::string six = "000000";
    if (!f.toZip11.empty()) {
        six = f.toZip11.substr(5, 6);
        const std::string zip = f.toZip11.substr(0, 5);
        if (zip != "00000") { // "00000": the six digits carry a result code
            const auto it = zipIndex_.find(zip);
            if (it == zipIndex_.end())
                throw WriterError(where + ".to_zip11: ZIP " + zip + " is not in zip.lst");
            zipIndex = it->second;
        }
    }

    const int year = std::stoi(f.moveDate.substr(0, 4));
    const int month = std::stoi(f.moveDate.substr(4, 2));
    if (year < currentYear_ - 5 || year > currentYear_ + 1)
        throw WriterError(where + ".move_date: " + f.moveDate + " is outside " + std::to_string(currentYear_ - 5) +
                          " to " + std::to_string(currentYear_ + 1) + ", which a one-digit year can't tell");

    const std::string middle = f.kind == Filing::Kind::Business ? "  " : padRight(f.name.middle, 2);
    const unsigned gender = f.kind == Filing::Kind::Business ? 0u : std::string("UMF").find(f.name.gender);
    const std::uint64_t nameCode =
        initialCode(middle[0], where + ".name.middle") * 81u + initialCode(middle[1], where + ".name.middle") * 3u +
        gender;
    const std::uint64_t dateCode = static_cast<std::uint64_t>(year % 10) * 12u + static_cast<std::uint64_t>(month - 1);
    const std::uint64_t rest =
        (f.nameFlag ? 524880u : 0u) + (f.dropFlag ? 262440u : 0u) + dateCode * 2187u + nameCode;
    std::uint64_t number = (zipIndex + 64000u * rest) * 1000000u + std::stoull(six);

    unsigned hint = kNoHint;
    if (!f.hint.empty()) {
        const auto it = hintIndex_.find(f.hint);
        if (it == hintIndex_.end())
            throw WriterError(where + ".hint: not in hint.lst");
        hint = it->second;
    }

    std::uint64_t n = 0;
    for (int i = 0; i < 8; ++i)
        n = (n << 8) | key[static_cast<std::size_t>(i)];
    const auto row = permutationRow(static_cast<unsigned>(n % 5040));
    Bytes data(8, 0);
    for (int i = 0; i < 7; ++i) {
        data[row[static_cast<std::size_t>(i)] - 1u] = static_cast<unsigned char>(number % 254 + 1);
        number /= 254;
    }
    if (number != 0)
        throw WriterError(where + ": result does not fit seven base-254 digits");
    data[7] = static_cast<unsigned char>(hint);
    return data;
}

bool HashEncoder::placeStripe(Letter& letter, std::vector<DigestStream>& streams, int stripe) {
    Bytes& bytes = letter.sections.stripes[static_cast<std::size_t>(stripe)];
    bytes.assign(letter.stripeSize, 0);
    const std::uint32_t mask = letter.stripeSize - 1;
    const std::size_t n = letter.keys.size();
    std::vector<WalkCursor> cursor(n, WalkCursor(stripe));
    std::vector<std::uint32_t> want(n);
    // How many keys want each place, up to 2; only places not taken count.
    std::vector<std::uint8_t> wanted(letter.stripeSize, 0);
    std::vector<std::uint32_t> twice;

    // Each key wants the first place of its walk not yet marked taken. A
    // place two keys want is marked, and every key there walks on; until no
    // place is wanted twice. Marks only grow, so this ends, and only the keys
    // whose place was marked need to move. The outcome doesn't depend on the
    // order of the keys.
    //
    // Every mark made here is forced: any marking under which each key ends
    // at a place of its own contains these marks. So a key whose walk runs
    // out has no place under any marking at this size.
    bool placed = true;
    auto walkOn = [&](std::size_t i) {
        std::uint32_t place = 0;
        do {
            if (!streams[i].next(cursor[i], mask, place)) {
                placed = false;
                return;
            }
        } while (bytes[place] == kTaken);
        want[i] = place;
        if (wanted[place] < 2 && ++wanted[place] == 2)
            twice.push_back(place);
    };
    for (std::size_t i = 0; i < n && placed; ++i)
        walkOn(i);
    while (placed && !twice.empty()) {
        for (std::uint32_t place : twice)
            bytes[place] = kTaken;
        twice.clear();
        for (std::size_t i = 0; i < n && placed; ++i)
            if (bytes[want[i]] == kTaken)
                walkOn(i);
    }
    if (!placed)
        return false;
    for (std::size_t i = 0; i < n; ++i)
        bytes[want[i]] = letter.keys[i].second[static_cast<std::size_t>(stripe)];
    return true;
}

namespace {

// A filing in its letter's temporary file: search key digest, result bytes,
// the filing's index.
constexpr std::size_t kBucketRecord = 20 + 8 + 8;

} // namespace

HashEncoder::~HashEncoder() = default;

void HashEncoder::begin(const std::string& tempFolder) {
    sizes_.clear();
    stats_ = HashEncodeStats{};
    buckets_ = std::make_unique<BucketFiles>(tempFolder, 26, kBucketRecord);
}

std::uint64_t HashEncoder::add(std::size_t index, const Filing& f) {
    const std::string where = "filings[" + std::to_string(index) + "]";
    std::uint64_t emdp = 0;
    if (!emdpOf(f.from, lcd_, emdp))
        throw WriterError(where + ".from: the address has no key (its ZIP is not numeric)");
    const Bytes key = searchKey(f, emdp);
    const Sha1Digest sha = sha1Of(key.data(), key.size());
    const Bytes result = resultBytes(f, sha, where);
    const int group = (f.from.zip9[0] - '0') * 10 + (f.from.zip9[1] - '0');
    unsigned char record[kBucketRecord];
    std::copy(sha.begin(), sha.end(), record);
    std::copy(result.begin(), result.end(), record + 20);
    const std::uint64_t i = index;
    std::memcpy(record + 28, &i, 8);
    buckets_->append(static_cast<std::size_t>(letters_[static_cast<std::size_t>(group)] - 'a'), record);
    return emdp;
}

void HashEncoder::finish(const std::function<void(char letter, const LetterSections& sections)>& sink) {
    buckets_->flush();
    // Two filings with one search key: the first filing that repeats an
    // earlier one's key is named. Equal keys share the address, hence the letter.
    std::uint64_t repeat = UINT64_MAX;
    for (std::size_t b = 0; b < 26; ++b) {
        if (buckets_->records(b) == 0)
            continue;
        const Bytes rows = buckets_->read(b);
        std::vector<std::pair<Sha1Digest, std::uint64_t>> digests(rows.size() / kBucketRecord);
        for (std::size_t k = 0; k < digests.size(); ++k) {
            const unsigned char* r = rows.data() + k * kBucketRecord;
            std::copy(r, r + 20, digests[k].first.begin());
            std::memcpy(&digests[k].second, r + 28, 8);
        }
        std::sort(digests.begin(), digests.end());
        for (std::size_t k = 1; k < digests.size(); ++k)
            if (digests[k].first == digests[k - 1].first)
                repeat = std::min(repeat, digests[k].second);
    }
    if (repeat != UINT64_MAX)
        throw WriterError("filings[" + std::to_string(repeat) +
                          "]: another filing has the same search key (address and name)");

    for (char c = 'a'; c <= 'z'; ++c) {
        const std::size_t b = static_cast<std::size_t>(c - 'a');
        Letter l;
        if (buckets_->records(b) == 0) {
            l.sections.filter.assign(world_.dataset.filterBytes, 0);
            for (Bytes& stripe : l.sections.stripes)
                stripe.assign(world_.dataset.stripeBytes, 0);
            sink(c, l.sections);
            continue;
        }
        {
            const Bytes rows = buckets_->read(b);
            l.keys.resize(rows.size() / kBucketRecord);
            for (std::size_t k = 0; k < l.keys.size(); ++k) {
                const unsigned char* r = rows.data() + k * kBucketRecord;
                std::copy(r, r + 20, l.keys[k].first.begin());
                std::copy(r + 20, r + 28, l.keys[k].second.begin());
            }
        }
        const std::uint64_t n = l.keys.size();
        l.filterSize = static_cast<std::uint32_t>(
            nextPowerOfTwo(std::max<std::uint64_t>(world_.dataset.filterBytes, kFilterBytesPerKey * n)));
        l.stripeSize = static_cast<std::uint32_t>(
            nextPowerOfTwo(std::max<std::uint64_t>(world_.dataset.stripeBytes, kStripeBytesPerKey * n)));
        BitTable filter(l.filterSize);
        for (const auto& k : l.keys)
            filter.add(k.first);
        l.sections.filter = filter.bytes();
        stats_.worstFilterFalsePositive = std::max(stats_.worstFilterFalsePositive, std::pow(filter.fill(), 9));
        std::vector<DigestStream> streams;
        streams.reserve(l.keys.size());
        for (const auto& k : l.keys)
            streams.emplace_back(k.first);
        // A key whose second digest block begins with a zero byte never sees
        // blocks 2 to 5, so its walk in the last stripes has about ten places;
        // in a letter of millions of keys a few such walks can find every one
        // taken. The eight stripes share one size, so the letter is placed
        // again with stripes twice as large until every key has its place.
        for (int s = 0; s < 8;) {
            if (placeStripe(l, streams, s)) {
                ++s;
                continue;
            }
            if (l.stripeSize >= kMaxStripeBytes)
                throw WriterError(std::string("letter ") + c + ": " + std::to_string(n) +
                                  " keys do not all find a place in stripes of " + std::to_string(l.stripeSize) +
                                  " bytes");
            l.stripeSize *= 2;
            ++stats_.stripeDoublings;
            s = 0;
        }
        sizes_[c] = {l.filterSize, l.stripeSize};
        for (const Bytes& stripe : l.sections.stripes)
            stats_.takenPlaces += static_cast<std::size_t>(std::count(stripe.begin(), stripe.end(), kTaken));
        stats_.filings += l.keys.size();
        streams = {};
        l.keys = {};
        sink(c, l.sections);
    }
    buckets_.reset();
}

std::uint32_t HashEncoder::filterBytes(char letter) const {
    const auto it = sizes_.find(letter);
    return it != sizes_.end() ? it->second.first : world_.dataset.filterBytes;
}

std::uint32_t HashEncoder::stripeBytes(char letter) const {
    const auto it = sizes_.find(letter);
    return it != sizes_.end() ? it->second.second : world_.dataset.stripeBytes;
}

} // namespace qvw
