// Files of fixed-size records, sorted on a leading key, with no header: the
// owning buffer, the whole-file reader, the binary searches, and the layout of
// every record type of the data set.
#pragma once

#include <cstdint>
#include <cerrno>
#include <cstring>
#include <algorithm>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "NCOA_Utils.h"
#include "hx_fio.h"

namespace QV_NCOA {

// An owning block of T with its element count (bytes for unsigned char). It
// may instead hold a large mapping (allocateLarge) or a slice of another
// block that outlives it (borrow), which it never frees.
template <typename T>
struct ManagedBuf {
    uint64_t count = 0;
    T* buf = nullptr;

    ManagedBuf() = default;
    ~ManagedBuf() { release(); }
    ManagedBuf(const ManagedBuf&) = delete;
    ManagedBuf& operator=(const ManagedBuf&) = delete;
    ManagedBuf(ManagedBuf&& o) noexcept : count(o.count), buf(o.buf), mapped(o.mapped), borrowed(o.borrowed) {
        o.count = 0;
        o.buf = nullptr;
        o.mapped = 0;
        o.borrowed = false;
    }
    ManagedBuf& operator=(ManagedBuf&& o) noexcept {
        if (this != &o) {
            release();
            std::swap(count, o.count);
            std::swap(buf, o.buf);
            std::swap(mapped, o.mapped);
            std::swap(borrowed, o.borrowed);
        }
        return *this;
    }

    void release() {
        if (mapped > 0)
            hx_mem_unmap_large(buf, mapped);
        else if (!borrowed)
            delete[] buf;
        buf = nullptr;
        count = 0;
        mapped = 0;
        borrowed = false;
    }
    // Frees what is held and allocates n elements, left uninitialised (they are
    // filled from files). False, with the buffer empty, if that fails.
    bool allocate(uint64_t n) {
        release();
        if (n == 0) return false;
        buf = new (std::nothrow) T[n];
        if (buf == nullptr) return false;
        count = n;
        return true;
    }
    // The same for an image read at random: huge pages where the system has
    // them, else as allocate.
    bool allocateLarge(uint64_t n) {
        static_assert(std::is_trivial<T>::value, "a mapping is not constructed");
        release();
        if (n == 0) return false;
        uint64_t length = 0;
        void* p = n <= UINT64_MAX / sizeof(T) ? hx_mem_map_large(n * sizeof(T), &length) : nullptr;
        if (p == nullptr) return allocate(n);
        buf = static_cast<T*>(p);
        count = n;
        mapped = length;
        return true;
    }
    // n elements at p, owned elsewhere.
    void borrow(T* p, uint64_t n) {
        release();
        buf = p;
        count = n;
        borrowed = true;
    }
    bool empty() const { return buf == nullptr; }
    T& operator[](uint64_t i) { return buf[i]; }
    const T& operator[](uint64_t i) const { return buf[i]; }

private:
    uint64_t mapped = 0;    // length of a large mapping, else 0
    bool borrowed = false;  // a slice of another block
};

// A data file seen once at start-up, held mapped read-only for the life of the
// data object, so that a search reads it with no system call and no shared file
// position. It remembers how the file failed, so that a search reports what a
// search on the path would have reported: the file's state is the one it had
// when mapped. Tables put together without start-up (tests, tools) leave it
// unattached, and their searches open the path as before.
struct MappedFile {
    QvbString path;
    hx_fio_view view{nullptr, 0};
    int statErr = 0;         // the path could not be sized
    int mapErr = 0;          // sized, but could not be opened (EISDIR: a folder)
    uint64_t statSize = 0;   // the size the path gave
    bool attached = false;   // mapped by start-up; otherwise searches go by the path

    MappedFile() = default;
    ~MappedFile() { hx_fio_unmap(&view); }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    // loaded: the file is read in now (the in-memory mode), not page by page.
    void map(const QvbString& p, bool loaded = false) {
        hx_fio_unmap(&view);
        path = p;
        statErr = mapErr = 0;
        statSize = 0;
        attached = true;
        hx_fio_info info{};
        statErr = hx_fio_stat(path.asCstr(), &info);
        if (statErr != 0) return;
        statSize = info.size;
        mapErr = loaded ? hx_fio_map_loaded(path.asCstr(), &view) : hx_fio_map(path.asCstr(), &view);
    }
    void unmap() {
        hx_fio_unmap(&view);
        statErr = mapErr = 0;
        attached = false;
    }
    bool exists() const { return statErr == 0; }
    bool readable() const { return statErr == 0 && mapErr == 0; }
    // A folder opens but reads nothing.
    bool readsNothing() const { return statErr == 0 && mapErr == EISDIR; }
    // True with the byte when pos lies inside the file.
    bool byteAt(uint64_t pos, unsigned char& b) const {
        if (pos >= view.size) return false;
        b = view.data[pos];
        return true;
    }
};

// ---------------------------------------------------------------------------
// Record types. Character fields are raw bytes, blank-padded, unterminated.
// deserialize copies one file record and is true in every case; compare looks
// at the key alone, file record first, search key second.

inline uint32_t readBE32(const unsigned char* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}
inline uint16_t readBE16(const unsigned char* p) { return static_cast<uint16_t>((p[0] << 8) | p[1]); }
inline uint64_t readBE(const unsigned char* p, int n) {
    uint64_t v = 0;
    for (int i = 0; i < n; ++i) v = (v << 8) | p[i];
    return v;
}

// A record kept byte for byte as the file has it, its key the first KEY bytes.
template <typename T, int KEY>
struct byteRecord {
    static bool deserialize(const unsigned char* raw, T& r) {
        static_assert(std::is_standard_layout<T>::value && sizeof(T) == T::SIZE, "record mirrors its file layout");
        std::memcpy(static_cast<void*>(&r), raw, T::SIZE);
        return true;
    }
    static int compare(const T& a, const T& b) { return std::memcmp(&a, &b, KEY); }
};

// ZIP+4 and delivery point to its current 11-digit code. Only the key is read.
struct x11Record : byteRecord<x11Record, 11> {
    enum { SIZE = 24 };
    char zip11[11];
    char flag1;
    char zip11b[11];  // carried along; nothing reads it
    char flag2;
};

// City by ZIP.
struct czpRecord : byteRecord<czpRecord, 5> {
    enum { SIZE = 48 };
    char zip[5];
    char state[2];
    char city[28];
    char shortCity[13];
};

// City by last-line number; city and short form stand the other way round.
struct clnRecord : byteRecord<clnRecord, 6> {
    enum { SIZE = 49 };
    char lastLine[6];
    char state[2];
    char shortCity[13];
    char city[28];
};

struct leftRiteRecord : byteRecord<leftRiteRecord, 9> {
    enum { SIZE = 11 };
    char zip9[9];
    char side;  // only 'R' means anything
    char spare;
};

// The string dictionaries of rv9.esd: one packed text each (three characters
// in a big-endian 16-bit word, base 40, leftovers one byte each). Reached by
// index only, so they have no key: every entry compares equal.
template <int CHARS>
struct packedTextRecord {
    enum { TEXT_LENGTH = CHARS, SIZE = 2 * (CHARS / 3) + CHARS % 3 };
    unsigned char packed[SIZE];
    static bool deserialize(const unsigned char* raw, packedTextRecord& r) {
        std::memcpy(r.packed, raw, SIZE);
        return true;
    }
    static int compare(const packedTextRecord&, const packedTextRecord&) { return 0; }
};
using pnoRecord = packedTextRecord<10>;  // primary number, 7 bytes
using dscRecord = packedTextRecord<4>;   // secondary designator, 3 bytes
using snoRecord = packedTextRecord<8>;   // secondary number, 6 bytes
using sufRecord = packedTextRecord<4>;   // street suffix, 3 bytes
using namRecord = packedTextRecord<28>;  // street name, 19 bytes
using crdRecord = packedTextRecord<4>;   // carrier route, 3 bytes
using llnRecord = packedTextRecord<6>;   // last-line number, 4 bytes

// One range of delivery addresses under a ZIP+4. The key is held in host
// order; words A, B and C stay as they are in the file (big-endian).
struct rv9Esd {
    enum { SIZE = 26 };
    uint32_t key;
    unsigned char words[22];
    static bool deserialize(const unsigned char* raw, rv9Esd& r) {
        r.key = readBE32(raw);
        std::memcpy(r.words, raw + 4, sizeof r.words);
        return true;
    }
    static int compare(const rv9Esd& a, const rv9Esd& b) { return a.key < b.key ? -1 : (a.key > b.key ? 1 : 0); }
    uint64_t wordA() const { return readBE(words, 8); }
    uint64_t wordB() const { return readBE(words + 8, 8); }
    uint64_t wordC() const { return readBE(words + 16, 6); }
};

// One move key of a flat data set.
struct fltRecord : byteRecord<fltRecord, 9> {
    enum { SIZE = 18 };
    unsigned char key[9];  // bytes 11 to 19 of the SHA-1 key
    unsigned char data[8];
    unsigned char spare;
};

// Row of the file lcd: four-digit replacement by ZIP+4. Both numbers in host
// order. CNCOA_LCDTable names this type as its lcdEntry.
struct lcdEntry {
    enum { SIZE = 6 };
    uint32_t zip9;
    uint16_t value;
    static bool deserialize(const unsigned char* raw, lcdEntry& r) {
        r.zip9 = readBE32(raw);
        r.value = readBE16(raw + 4);
        return true;
    }
    static int compare(const lcdEntry& a, const lcdEntry& b) {
        return a.zip9 < b.zip9 ? -1 : (a.zip9 > b.zip9 ? 1 : 0);
    }
};

// Daily delete entry.
struct DDRecord {
    enum { SIZE = 12 };
    unsigned char key[8];
    int sequence;  // four decimal characters on file
    static bool deserialize(const unsigned char* raw, DDRecord& r) {
        std::memcpy(r.key, raw, 8);
        r.sequence = atoin(reinterpret_cast<const char*>(raw + 8), 4);
        return true;
    }
    static int compare(const DDRecord& a, const DDRecord& b) { return std::memcmp(a.key, b.key, 8); }
};

// Gender by first name.
struct genderStruct {
    enum { SIZE = 12 };
    char name[10];
    char gender;
    char term;  // 0 in memory, whatever the file holds
    static bool deserialize(const unsigned char* raw, genderStruct& r) {
        std::memcpy(r.name, raw, 10);
        r.gender = static_cast<char>(raw[10]);
        r.term = 0;
        return true;
    }
    static int compare(const genderStruct& a, const genderStruct& b) { return std::memcmp(a.name, b.name, 10); }
};

// Firm name by address key. The file ends with eight 0xFF and forty 'Z'.
struct BusinessLstItem : byteRecord<BusinessLstItem, 8> {
    enum { SIZE = 48 };
    unsigned char key[8];
    char name[40];
};

// Urbanization name by ZIP+4.
struct urbanizationStruct : byteRecord<urbanizationStruct, 9> {
    enum { SIZE = 38 };
    char zip9[9];
    char name[28];
    char spare;
};

static_assert(sizeof(x11Record) == 24 && sizeof(czpRecord) == 48 && sizeof(clnRecord) == 49 &&
                  sizeof(leftRiteRecord) == 11 && sizeof(fltRecord) == 18 && sizeof(BusinessLstItem) == 48 &&
                  sizeof(urbanizationStruct) == 38,
              "byte records mirror the file layout");
static_assert(sizeof(pnoRecord) == 7 && sizeof(dscRecord) == 3 && sizeof(snoRecord) == 6 &&
                  sizeof(namRecord) == 19 && sizeof(llnRecord) == 4,
              "packed text sizes");

// ---------------------------------------------------------------------------

template <typename T>
class CBinFileUtils {
public:
    using Deserialize = bool (*)(const unsigned char*, T&);
    using Compare = int (*)(const T&, const T&);

    // Reads a whole file of recSize-byte records into out. Throws 1043 when the
    // size can't be had, 1042 when it is no multiple of recSize, bad_alloc for
    // an empty file. False when the file doesn't open (out stays allocated) or
    // fewer records were read than its size promised.
    static bool readPackedFile(const char* path, ManagedBuf<T>& out, unsigned int recSize, Deserialize deserialize) {
        unsigned size = 0;
        int err = 0;
        if (!fileSize(path, size, err)) throw fio_file_error(1043, path);
        if (recSize == 0 || size % recSize != 0) throw fio_file_error(1042, path);
        uint64_t count = size / recSize;
        if (count == 0 || out.buf == nullptr || out.count != count) {
            if (!out.allocate(count)) throw std::bad_alloc();
        }
        std::unique_ptr<unsigned char[]> rec(new (std::nothrow) unsigned char[recSize]);
        if (!rec) {
            out.release();
            throw std::bad_alloc();
        }
        hx_file* f = nullptr;
        if (hx_fio_open(path, HX_FIO_READ, &f) != 0 || f == nullptr) return false;
        hx_fio_closer hold(f);
        uint64_t n = 0;
        while (hx_fio_getb(f, rec.get(), recSize) == static_cast<int64_t>(recSize)) {
            // A file that grew since it was sized is counted, not overrun.
            if (n < count) deserialize(rec.get(), out.buf[n]);
            ++n;
        }
        return n == count;
    }

    // The bisection the three searches share. probe(mid) gives record mid, or
    // null when it cannot be had, which ends the search as a miss.
    template <typename Probe>
    static bool bisect(unsigned long low, unsigned long high, unsigned long last, const T& key, Compare compare,
                       T& found, unsigned long& index, Probe probe) {
        for (;;) {
            unsigned long mid = low == high ? low : low + (high - low) / 2;
            const T* rec = probe(mid);
            if (rec == nullptr) return false;
            int c = compare(*rec, key);
            if (c == 0) {
                found = *rec;
                index = mid;
                return true;
            }
            if (low == high) return false;
            if (c > 0) {
                if (mid == 0) return false;
                high = mid - 1;
            } else {
                if (mid == last) return false;
                low = mid + 1;
            }
            if (low > high) return false;
        }
    }

    // Binary search of a sorted file between low and high (record indexes,
    // both clamped to the last record; high 0 means the last record).
    static bool binSearch(const char* path, T key, T& found, unsigned long& index, Compare compare,
                          Deserialize deserialize, unsigned int recSize, unsigned long low, unsigned long high) {
        unsigned long last;
        if (!lastIndex(path, recSize, last)) return false;
        low = low < last ? low : last;
        high = high < last ? high : last;
        if (high == 0) high = last;

        hx_file* f = nullptr;
        if (hx_fio_open(path, HX_FIO_READ, &f) != 0 || f == nullptr) return false;
        hx_fio_closer hold(f);
        if (low > high) return false;

        RecordBuf raw(recSize);
        T rec;
        return bisect(low, high, last, key, compare, found, index, [&](unsigned long mid) -> const T* {
            readAt(f, path, mid, recSize, raw.p);
            return deserialize(raw.p, rec) ? &rec : nullptr;
        });
    }

    // binSearch over an image of the file in memory.
    static bool binSearchRawMem(const unsigned char* buf, unsigned long bufSize, T key, T& found, unsigned long& index,
                                Compare compare, Deserialize deserialize, unsigned int recSize, unsigned long low,
                                unsigned long high) {
        if (buf == nullptr || bufSize == 0 || recSize == 0 || bufSize < recSize) return false;
        unsigned long last = bufSize / recSize - 1;
        low = low < last ? low : last;
        high = high < last ? high : last;
        if (high == 0) high = last;
        if (low > high) return false;

        const unsigned long maxOffset = bufSize - recSize;
        T rec;
        return bisect(low, high, last, key, compare, found, index, [&](unsigned long mid) -> const T* {
            unsigned long off = mid * recSize;
            if (off > maxOffset) return nullptr;  // past the image: a miss, not a read error
            return deserialize(buf + off, rec) ? &rec : nullptr;
        });
    }

    // binSearch over a table read whole. A table of one record never yields a
    // hit: its last index is 0, which ends the search at once. Kept so.
    static bool binSearchMem(const ManagedBuf<T>& table, T key, T& found, unsigned long& index, Compare compare) {
        if (table.buf == nullptr || table.count <= 1) return false;
        unsigned long last = static_cast<unsigned long>(table.count - 1);
        return bisect(0, last, last, key, compare, found, index,
                      [&](unsigned long mid) -> const T* { return &table.buf[mid]; });
    }

    // All records equal to key, in file order. first and last follow the walk
    // as it steps, so near the bounds they may stop one short of the records
    // returned: callers read the vector, not the indexes.
    static bool binSearchMulti(const char* path, T key, std::vector<T>& out, Compare compare, Deserialize deserialize,
                               unsigned int recSize, unsigned long& first, unsigned long& last, unsigned long low,
                               unsigned long high) {
        out.clear();
        first = last = 0;
        T hit;
        unsigned long at = 0;
        if (!binSearch(path, key, hit, at, compare, deserialize, recSize, low, high)) return false;
        first = last = at;

        unsigned long lastIdx;
        if (!lastIndex(path, recSize, lastIdx)) return true;  // binSearch found it, so never
        low = low < lastIdx ? low : lastIdx;
        high = high < lastIdx ? high : lastIdx;  // a high of 0 stays 0: no forward walk

        hx_file* f = nullptr;
        if (hx_fio_open(path, HX_FIO_READ, &f) != 0 || f == nullptr) return true;
        hx_fio_closer hold(f);

        RecordBuf raw(recSize);
        T rec;
        if (at > 0) {
            unsigned long i = at - 1;
            while (i >= low) {
                readAt(f, path, i, recSize, raw.p);
                deserialize(raw.p, rec);
                if (compare(rec, key) != 0) break;
                out.push_back(rec);
                if (i == 0 || i - 1 < low) break;  // the step back would pass low
                --i;
                --first;
            }
        }
        std::vector<T> reversed(out.rbegin(), out.rend());
        out.swap(reversed);
        out.push_back(hit);

        if (at < high) {
            unsigned long i = at + 1;
            seekTo(f, path, i, recSize);
            while (i <= high) {
                readNext(f, path, recSize, raw.p);
                deserialize(raw.p, rec);
                if (compare(rec, key) != 0) break;
                out.push_back(rec);
                ++i;
                if (i <= high) ++last;
            }
        }
        return true;
    }

    // binSearch on a mapped file: the answers and errors of binSearch on its path.
    static bool binSearch(const MappedFile& file, T key, T& found, unsigned long& index, Compare compare,
                          Deserialize deserialize, unsigned int recSize, unsigned long low, unsigned long high) {
        if (!mappedUsable(file, recSize)) return false;
        return binSearchRawMem(file.view.data, static_cast<unsigned long>(file.view.size), key, found, index, compare,
                               deserialize, recSize, low, high);
    }

    // binSearchMulti on a mapped file: the walk of the path version over memory.
    static bool binSearchMulti(const MappedFile& file, T key, std::vector<T>& out, Compare compare,
                               Deserialize deserialize, unsigned int recSize, unsigned long& first,
                               unsigned long& last, unsigned long low, unsigned long high) {
        out.clear();
        first = last = 0;
        T hit;
        unsigned long at = 0;
        if (!binSearch(file, key, hit, at, compare, deserialize, recSize, low, high)) return false;
        first = last = at;
        const unsigned char* buf = file.view.data;
        const unsigned long lastIdx = static_cast<unsigned long>(file.view.size / recSize) - 1;
        low = low < lastIdx ? low : lastIdx;
        high = high < lastIdx ? high : lastIdx;

        T rec;
        if (at > 0) {
            unsigned long i = at - 1;
            while (i >= low) {
                deserialize(buf + static_cast<uint64_t>(i) * recSize, rec);
                if (compare(rec, key) != 0) break;
                out.push_back(rec);
                if (i == 0 || i - 1 < low) break;
                --i;
                --first;
            }
        }
        std::reverse(out.begin(), out.end());
        out.push_back(hit);
        if (at < high) {
            unsigned long i = at + 1;
            while (i <= high) {
                deserialize(buf + static_cast<uint64_t>(i) * recSize, rec);
                if (compare(rec, key) != 0) break;
                out.push_back(rec);
                ++i;
                if (i <= high) ++last;
            }
        }
        return true;
    }

private:
    // What a search on the path would meet before its first record: 1043 when
    // the file could not be sized, a miss without one whole record or when it
    // does not open, the read error of a folder.
    static bool mappedUsable(const MappedFile& file, unsigned int recSize) {
        if (!file.exists()) throw fio_file_error(1043, file.path.asCstr());
        if (recSize == 0 || file.statSize < recSize) return false;
        if (file.readsNothing()) throw fio_file_error(EISDIR, file.path.asCstr());
        return file.readable();
    }

    // Probe buffer on the stack: the searches run on the lookup path, where no
    // heap is taken. Every record of the data set is far below 64 bytes.
    struct RecordBuf {
        unsigned char local[64];
        std::unique_ptr<unsigned char[]> heap;
        unsigned char* p;
        explicit RecordBuf(unsigned int size) : p(local) {
            if (size > sizeof local) {
                heap.reset(new unsigned char[size]);
                p = heap.get();
            }
        }
    };

    // Last record index of the file. Throws 1043 when the size can't be had;
    // false for a file without one whole record, where nothing can be found.
    static bool lastIndex(const char* path, unsigned int recSize, unsigned long& last) {
        unsigned size = 0;
        int err = 0;
        if (!fileSize(path, size, err)) throw fio_file_error(1043, path);
        if (recSize == 0 || size < recSize) return false;
        last = size / recSize - 1;
        return true;
    }

    // A failed seek or read carries the layer's system error; a short read at
    // a place the size promised (the file shrank) has none and reports 1040.
    [[noreturn]] static void fail(hx_file* f, const char* path) {
        int e = hx_fio_syserr(f);
        throw fio_file_error(e != 0 ? e : 1040, path);
    }
    static void seekTo(hx_file* f, const char* path, unsigned long i, unsigned int recSize) {
        if (hx_fio_seek(f, static_cast<int64_t>(i) * recSize, HX_SEEK_SET) < 0) fail(f, path);
    }
    static void readNext(hx_file* f, const char* path, unsigned int recSize, unsigned char* raw) {
        if (hx_fio_getb(f, raw, recSize) != static_cast<int64_t>(recSize)) fail(f, path);
    }
    static void readAt(hx_file* f, const char* path, unsigned long i, unsigned int recSize, unsigned char* raw) {
        seekTo(f, path, i, recSize);
        readNext(f, path, recSize, raw);
    }
};

}  // namespace QV_NCOA
