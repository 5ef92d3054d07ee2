#include "HashLookup.h"

#include <cstring>

#include "DataTables.h"
#include "qvs_auth.h"

namespace QV_NCOA {

bool testZeros(const unsigned char* p, int n) { return n < 1 || p[0] == 0; }

namespace {

enum {
    kDigestSize = 20,
    kStreamSize = 120,  // six digests: the key's own and five made on demand
    kLastWordPos = kStreamSize - 4,
};

// The digest stream of one stripe search. Block 0 is the key; block k is the
// SHA-1 of block k - 1, made when the search reaches past pos 17, 37, 57, 77
// or 97, at most one block per step. A word read at pos 17 thus still sees
// the first byte of an unmade block 1 as 0: that is how the data set was
// made, so it stays.
struct DigestStream {
    // Three spare zero bytes: a word read at the stream's end stays in bounds.
    unsigned char bytes[kStreamSize + 3];

    explicit DigestStream(const unsigned char* sha) {
        std::memset(bytes, 0, sizeof bytes);
        std::memcpy(bytes, sha, kDigestSize);
    }
    void extendFor(int pos) {
        for (int block = 1; block <= 5; ++block) {
            if (pos <= 20 * block - 3) return;
            unsigned char* p = bytes + 20 * block;
            if (testZeros(p, kDigestSize)) {
                qvs_auth_get_sha1(p - kDigestSize, kDigestSize, p);
                return;
            }
        }
    }
    uint32_t wordAt(int pos) const { return readBE32(bytes + pos); }
};

// The digest stream as every stripe's search sees it, made once for all
// eight. Block k (1..5) is the SHA-1 of block k - 1; a stripe's stream holds
// it once its search has passed pos 20k - 3, and never holds a block behind
// one whose first byte is 0 (that block is made again at every step instead).
// Each stripe starts its search at pos 30 or below, one step at a time, so
// what a word shows depends on its pos alone.
class DigestChain {
public:
    explicit DigestChain(const unsigned char* sha) { std::memcpy(bytes, sha, kDigestSize); }

    uint32_t wordAt(int pos) {
        const int lastBlock = (pos + 3) / 20;
        if (lastBlock == 0) return readBE32(bytes + pos);
        unsigned char w[4];
        for (int j = 0; j < 4; ++j) {
            const int i = pos + j;
            const int k = i / 20;
            w[j] = k == 0 || (pos > 20 * k - 3 && has(k)) ? bytes[i] : 0;
        }
        return readBE32(w);
    }

private:
    // Makes blocks up to k while none made has a first byte of 0.
    bool has(int k) {
        while (made < k && !stopped) {
            unsigned char* p = bytes + 20 * (made + 1);
            qvs_auth_get_sha1(p - kDigestSize, kDigestSize, p);
            ++made;
            stopped = p[0] == 0;
        }
        return k <= made;
    }
    unsigned char bytes[kStreamSize];
    int made = 0;
    bool stopped = false;
};

// Probe k of the filter: the word at sha[2k]; low bits the byte, high three
// bits the bit from the left.
inline uint32_t filterWord(const unsigned char* sha, int k) { return readBE32(sha + 2 * k); }
inline unsigned char filterBit(const unsigned char* sha, int k) {
    return static_cast<unsigned char>(1u << (7 - (sha[2 * k] >> 5)));
}

// The ZIP group of a numeric zip5: its first two digits.
inline int groupOf(const char* zip5) { return (zip5[0] - '0') * 10 + (zip5[1] - '0'); }

// One stripe's byte from its mapped file: a place past the file's end reads
// nothing and leaves the byte as it was, as a read of the file does.
unsigned char mappedStripeByte(const MappedFile& file, DigestChain& chain, int stripe, unsigned size) {
    unsigned char value = 255;
    int pos = stripe * 4 + 2;
    do {
        if (pos > kLastWordPos) return 0;
        file.byteAt(chain.wordAt(pos) & (size - 1), value);
        ++pos;
    } while (value > 254);
    return value;
}

// The first place of each stripe is asked for before any is read, so that
// their cache misses overlap.
template <typename Image>
void prefetchStripes(DigestChain& chain, const Image* stripes, unsigned size) {
    for (int s = 0; s < 8; ++s) {
        const uint64_t at = chain.wordAt(s * 4 + 2) & (size - 1);
        if (stripes[s].data() != nullptr && at < stripes[s].bytes()) __builtin_prefetch(stripes[s].data() + at);
    }
}

// The two kinds of stripe image, as prefetchStripes sees them.
struct MappedStripe {
    const MappedFile& f;
    const unsigned char* data() const { return f.view.data; }
    uint64_t bytes() const { return f.view.size; }
};
struct HeldStripe {
    const ManagedBuf<unsigned char>& b;
    const unsigned char* data() const { return b.buf; }
    uint64_t bytes() const { return b.count; }
};

}  // namespace

// ---- On the files -------------------------------------------------------

bool CNCOA_HashLookup::doLookup(const unsigned char* sha, const char* zip5, LookupRes& res) {
    if (tables.hashImage[0][0].count != 0) {
        CNCOA_HashLookupMem mem(tables);
        return mem.doLookup(sha, zip5, res);
    }
    res.clear();
    if (!tables.isHashData) throw qvncoa_exception(1013);
    if (!isNumeric(zip5)) return false;
    const int group = groupOf(zip5);
    if (group > 99) throw qvncoa_exception(1050, "Hash Lookup Internal Error 1");
    if (static_cast<long>(tables.contentsLst.size()) < group)
        throw qvncoa_exception(1050, "Hash Lookup Internal Error 2");
    const char letter = tables.contentsLst.at(static_cast<size_t>(group)).letter;
    const unsigned stripeSize = tables.getHSXSize(1, letter);

    char found = 'N';
    if (!init_10c0(sha, group, found) || found != 'Y') return false;

    if (tables.hashFiles[0][0].attached) {
        // init_10c0 found a size for the letter, so it is one of a..z.
        const MappedFile* stripes = tables.hashFiles[letter - 'a'] + 1;
        for (int s = 0; s < 8; ++s)
            if (!stripes[s].readable() && !stripes[s].readsNothing())
                throw fio_file_error(1040, stripes[s].path.asCstr());
        DigestChain chain(sha);
        const MappedStripe views[8] = {{stripes[0]}, {stripes[1]}, {stripes[2]}, {stripes[3]},
                                       {stripes[4]}, {stripes[5]}, {stripes[6]}, {stripes[7]}};
        prefetchStripes(chain, views, stripeSize);
        unsigned char data[8];
        for (int s = 0; s < 8; ++s) {
            data[s] = mappedStripeByte(stripes[s], chain, s, stripeSize);
            if (data[s] == 0) return false;
        }
        std::memcpy(res.raw, data, sizeof data);
        return calcResults(sha, data, res);
    }

    if (letter != currentLetter) {
        currentLetter = letter;
        for (int s = 0; s < 8; ++s) {
            stripeFiles[s].reset();
            QvbString path = tables.getClkXHsYPath(letter, s + 1);
            hx_file* f = nullptr;
            hx_fio_open(path.asCstr(), HX_FIO_READ, &f);
            if (f == nullptr) throw fio_file_error(1040, path.asCstr());
            stripeFiles[s].reset(f);
        }
    }

    unsigned char data[8];
    for (unsigned char stripe = 0; stripe < 8; ++stripe) {
        unsigned char value = 0;
        init_01c0(group, sha, stripe, stripeSize, value);
        data[stripe] = value;
        if (value == 0) return false;  // an empty place: the filter's yes was false
    }
    std::memcpy(res.raw, data, sizeof data);
    return calcResults(sha, data, res);
}

bool CNCOA_HashLookup::init_10c0(const unsigned char* sha, int group, char& found) {
    const char letter = tables.contentsLst.at(static_cast<size_t>(group)).letter;
    const unsigned size = tables.getHSXSize(0, letter);
    if (size == 0) return false;
    const uint32_t mask = size - 1;
    if (tables.hashFiles[0][0].attached) {
        const MappedFile& filter = tables.hashFiles[letter - 'a'][0];
        if (!filter.readable() && !filter.readsNothing()) throw fio_file_error(1040, filter.path.asCstr());
        for (int k = 0; k < 9; ++k) {  // the nine misses overlap
            const uint32_t pos = filterWord(sha, k) & mask;
            if (pos < filter.view.size) __builtin_prefetch(filter.view.data + pos);
        }
        found = 'Y';
        for (int k = 0; k < 9; ++k) {
            unsigned char byte = 0;  // past the end: no byte read
            filter.byteAt(filterWord(sha, k) & mask, byte);
            if ((byte & filterBit(sha, k)) == 0) {
                found = 'N';
                break;
            }
        }
        return true;
    }
    QvbString path = tables.getClkXHsYPath(letter, 0);
    hx_file* f = nullptr;
    hx_fio_open(path.asCstr(), HX_FIO_READ_PROBE, &f);
    if (f == nullptr) throw fio_file_error(1040, path.asCstr());
    hx_fio_closer closer(f);
    found = 'Y';
    for (int k = 0; k < 9; ++k) {
        unsigned char byte = 0;
        hx_fio_seek(f, filterWord(sha, k) & mask, HX_SEEK_SET);
        hx_fio_getb(f, &byte, 1);
        if ((byte & filterBit(sha, k)) == 0) {
            found = 'N';
            break;
        }
    }
    return true;
}

bool CNCOA_HashLookup::init_01c0(int /*group*/, const unsigned char* sha, unsigned char stripe, unsigned size,
                                 unsigned char& value) {
    DigestStream stream(sha);
    hx_file* f = stripeFiles[stripe].get();  // opened by doLookup; a null handle reads nothing
    value = 255;
    int pos = stripe * 4 + 2;
    do {
        // The stream ends after six digests; a run of taken places that long
        // is not in any data set, and reads as an empty place.
        if (pos > kLastWordPos) {
            value = 0;
            break;
        }
        stream.extendFor(pos);
        hx_fio_seek(f, stream.wordAt(pos) & (size - 1), HX_SEEK_SET);
        hx_fio_getb(f, &value, 1);
        ++pos;
    } while (value > 254);
    return true;
}

// ---- In memory ------------------------------------------------------------

bool CNCOA_HashLookupMem::doLookup(const unsigned char* sha, const char* zip5, LookupRes& res) {
    res.clear();
    if (!tables.isHashData) throw qvncoa_exception(1013);
    if (!isNumeric(zip5)) return false;
    const int group = groupOf(zip5);
    if (group < 0 || group > 99) throw qvncoa_exception(1050, "Hash Lookup Internal Error 1");
    if (static_cast<long>(tables.contentsLst.size()) < group)
        throw qvncoa_exception(1050, "Hash Lookup Internal Error 2");
    const char letter = tables.contentsLst.at(static_cast<size_t>(group)).letter;
    const unsigned stripeSize = tables.getHSXSize(1, letter);

    char found = 'N';
    if (!init_10c0(sha, group, found) || found != 'Y') return false;
    currentLetter = letter;

    // init_01c0's search for each stripe, on one digest chain for all eight.
    DigestChain chain(sha);
    const bool lettered = letter >= 'a' && letter <= 'z';
    if (lettered) {
        const ManagedBuf<unsigned char>* im = tables.hashImage[letter - 'a'] + 1;
        const HeldStripe views[8] = {{im[0]}, {im[1]}, {im[2]}, {im[3]}, {im[4]}, {im[5]}, {im[6]}, {im[7]}};
        prefetchStripes(chain, views, stripeSize);
    }
    unsigned char data[8];
    for (unsigned char stripe = 0; stripe < 8; ++stripe) {
        if (!lettered) throw qvncoa_exception(1013);  // no image for it
        const ManagedBuf<unsigned char>& image = tables.hashImage[letter - 'a'][stripe + 1];
        if (image.empty()) throw qvncoa_exception(1013);
        unsigned char value = 255;
        int pos = stripe * 4 + 2;
        do {
            if (pos > kLastWordPos) {
                value = 0;
                break;
            }
            const uint32_t at = chain.wordAt(pos) & (stripeSize - 1);
            value = at < image.count ? image.buf[at] : 0;
            ++pos;
        } while (value > 254);
        data[stripe] = value;
        if (value == 0) return false;
    }
    std::memcpy(res.raw, data, sizeof data);
    return calcResults(sha, data, res);
}

bool CNCOA_HashLookupMem::init_10c0(const unsigned char* sha, int group, char& found) {
    const char letter = tables.contentsLst.at(static_cast<size_t>(group)).letter;
    const unsigned size = tables.getHSXSize(0, letter);
    if (size == 0) return false;  // also every letter outside a..z
    const ManagedBuf<unsigned char>& filter = tables.hashImage[letter - 'a'][0];
    if (filter.empty()) throw qvncoa_exception(1013);
    const uint32_t mask = size - 1;
    // The nine places are known before the first is read: asked for at once,
    // their cache misses overlap instead of following one another.
    for (int k = 0; k < 9; ++k) {
        const uint32_t pos = filterWord(sha, k) & mask;
        if (pos < filter.count) __builtin_prefetch(filter.buf + pos);
    }
    found = 'Y';
    for (int k = 0; k < 9; ++k) {
        uint32_t pos = filterWord(sha, k) & mask;
        // The image is the file the size was taken from; past its end reads as a clear bit.
        unsigned char byte = pos < filter.count ? filter.buf[pos] : 0;
        if ((byte & filterBit(sha, k)) == 0) {
            found = 'N';
            break;
        }
    }
    return true;
}

bool CNCOA_HashLookupMem::init_01c0(int group, const unsigned char* sha, unsigned char stripe, unsigned size,
                                    unsigned char& value) {
    const char letter = tables.contentsLst.at(static_cast<size_t>(group)).letter;
    if (letter < 'a' || letter > 'z') throw qvncoa_exception(1013);  // no image for it
    const ManagedBuf<unsigned char>& image = tables.hashImage[letter - 'a'][stripe + 1];
    if (image.empty()) throw qvncoa_exception(1013);
    DigestStream stream(sha);
    value = 255;
    int pos = stripe * 4 + 2;
    do {
        if (pos > kLastWordPos) {
            value = 0;
            break;
        }
        stream.extendFor(pos);
        uint32_t at = stream.wordAt(pos) & (size - 1);
        value = at < image.count ? image.buf[at] : 0;
        ++pos;
    } while (value > 254);
    return true;
}

}  // namespace QV_NCOA
