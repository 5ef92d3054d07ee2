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
unsigned char mappedStripeByte(const MappedFile& file, const unsigned char* sha, int stripe, unsigned size) {
    DigestStream stream(sha);
    unsigned char value = 255;
    int pos = stripe * 4 + 2;
    do {
        if (pos > kLastWordPos) return 0;
        stream.extendFor(pos);
        file.byteAt(stream.wordAt(pos) & (size - 1), value);
        ++pos;
    } while (value > 254);
    return value;
}

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
        unsigned char data[8];
        for (int s = 0; s < 8; ++s) {
            data[s] = mappedStripeByte(stripes[s], sha, s, stripeSize);
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

    unsigned char data[8];
    for (unsigned char stripe = 0; stripe < 8; ++stripe) {
        unsigned char value = 0;
        init_01c0(group, sha, stripe, stripeSize, value);
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
