#include "DataFileIndexer.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "BinFileUtils.h"
#include "DVDHeader.h"
#include "NCOA_Utils.h"

namespace QV_NCOA {

namespace {

const char kDots[] = ".............................................................................";

// A failed seek or read carries the layer's system error; a read that came up
// short at a place the size promised has none and reports 1040.
[[noreturn]] void failIo(hx_file* f, const char* path) {
    int e = hx_fio_syserr(f);
    throw fio_file_error(e != 0 ? e : 1040, path);
}

void putBE32(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v >> 24);
    p[1] = static_cast<unsigned char>(v >> 16);
    p[2] = static_cast<unsigned char>(v >> 8);
    p[3] = static_cast<unsigned char>(v);
}

hx_file* openForReading(const char* path) {
    hx_file* f = nullptr;
    hx_fio_open(path, HX_FIO_READ, &f);
    if (f == nullptr) throw fio_file_error(1040, path);
    return f;
}

}  // namespace

CNCOA_DataFileIndexer::CNCOA_DataFileIndexer(const char* path_, std::vector<idxStruct>& index_,
                                             unsigned int recordSize_, unsigned int stride_, eKeySize keySize_,
                                             qvncoa_prog_cb_t* progress_)
    : path(path_), index(&index_), recordSize(recordSize_), stride(stride_), keySize(keySize_),
      progress(progress_) {}

unsigned int CNCOA_DataFileIndexer::intKey(const unsigned char* raw) const {
    return static_cast<unsigned int>(readBE(raw, keySize));
}

void CNCOA_DataFileIndexer::getKey(hx_file* file, unsigned int record, unsigned int& key) const {
    unsigned char raw[4] = {};
    if (hx_fio_seek(file, static_cast<int64_t>(record) * recordSize, HX_SEEK_SET) < 0) failIo(file, path);
    if (hx_fio_getb(file, raw, static_cast<size_t>(keySize)) != static_cast<int64_t>(keySize)) failIo(file, path);
    key = intKey(raw);
    if (verbose) log("%.*s Read %08x at %08x\n", 0, kDots, key, record * recordSize);
}

unsigned int CNCOA_DataFileIndexer::getEntries() {
    unsigned size = 0;
    int err = 0;
    if (!fileSize(path, size, err)) throw fio_file_error(1040, path);
    return size / recordSize;
}

void CNCOA_DataFileIndexer::setIndex(unsigned int record, unsigned int key) {
    idxStruct& e = (*index)[key - firstKey];
    e.key = key;
    e.first = record;
}

void CNCOA_DataFileIndexer::init() {
    entries = getEntries();
    hx_fio_closer hold(openForReading(path));
    getKey(hold.get(), 0, firstKey);
    getKey(hold.get(), entries - 1, lastKey);
    index->assign(static_cast<size_t>(lastKey - firstKey) + 1, idxStruct{0, 0, 0});

    // The flat file takes its number from the header of its own disc.
    char folder[1024];
    char name[1024];
    hx_fio_pparse(path, folder, sizeof folder, name, sizeof name);
    for (const char* header : {"%sdvdhdr01.dat", "%sdvdhdr02.dat"}) {
        char headerPath[1100];
        std::snprintf(headerPath, sizeof headerPath, header, folder);
        hx_fio_info info;
        if (hx_fio_stat(headerPath, &info) != 0) continue;
        std::vector<QvbString> lines;
        int err = 0;
        if (!readTextLineFile(headerPath, lines, err)) throw fio_file_error(1040, headerPath);
        DVDHeader h;
        fillDVDHeader(h, lines);
        sequence = static_cast<uint16_t>(h.sequence);
        break;
    }
}

bool CNCOA_DataFileIndexer::scanSegment(hx_file* file, unsigned int fromKey, unsigned int toKey, unsigned int start,
                                        unsigned int end, unsigned int step, int depth) {
    if (verbose)
        log("%.*s Scanning %08x-%08x (%08x-%08x) by %d  %08x - %08x\n", depth, kDots, fromKey, toKey, start, end,
            static_cast<int>(step), start * recordSize, end * recordSize);
    unsigned int pos = start;
    unsigned int k = fromKey;
    for (; pos < end; pos += step) {
        getKey(file, pos, k);
        if (k != fromKey) break;
    }
    if (pos >= end) {
        getKey(file, end, k);
        if (verbose) log("%.*s Read %08x at %08x (stop)\n", depth, kDots, k, end * recordSize);
        if (k == fromKey) {
            if (verbose) log("%.*s\n", depth, kDots);
            return false;
        }
        pos = end;
    }
    if (verbose) log("%.*s Trans %08x - %08x\n", depth, kDots, fromKey, k);

    if (step != 1) {
        unsigned int sub = step / refineDivisor;
        unsigned int back = pos >= start + step ? pos - step : start;
        if (pos - back <= sub) sub = (pos - back) / 2;
        if (sub == 0) sub = 1;
        if (verbose) log("%.*s back\n", depth, kDots);
        scanSegment(file, fromKey, k, back, pos, sub, depth + 1);
        if (k != toKey) {
            if (verbose) log("%.*s fore\n", depth, kDots);
            scanSegment(file, k, toKey, pos + 1, end, sub, depth + 1);
        }
    } else {
        setIndex(pos, k);
        if (verbose) log("%.*s Found %08x at %08x (pos %08x)\n", depth, kDots, k, pos * recordSize, pos);
        if (k == toKey) {
            if (verbose) log("%.*s\n", depth, kDots);
            return true;
        }
        unsigned int rest = (end - pos - 1) / refineDivisor;
        scanSegment(file, k, toKey, pos + 1, end, rest > 1 ? rest : 1, depth + 1);
    }
    if (verbose) log("%.*s\n", depth, kDots);
    return false;
}

void CNCOA_DataFileIndexer::makeIndex() {
    if (keySize == eKeyNone) return;
    init();
    hx_fio_closer hold(openForReading(path));
    hx_file* f = hold.get();

    unsigned int current = 0;
    getKey(f, 0, current);
    setIndex(0, current);
    unsigned int lastProbe = 0;
    unsigned int mark = stride;
    const unsigned int probeStep = stride / refineDivisor > 1 ? stride / refineDivisor : 1;
    for (unsigned int pos = stride; pos < entries; pos += stride) {
        unsigned int k = 0;
        getKey(f, pos, k);
        if (k == current) {
            lastProbe = pos;
            continue;
        }
        scanSegment(f, current, k, lastProbe, pos, probeStep, 0);
        current = k;
        lastProbe = pos;
        if (progress != nullptr && progress->callback != nullptr) {
            if (progress->callback(pos - mark, entries, nullptr, progress->userData) == 0)
                throw qvncoa_exception(1053);
            mark = pos;
        }
    }
    unsigned int k = 0;
    getKey(f, entries - 1, k);
    if (k != current) {
        unsigned int rest = (entries - lastProbe - 1) / refineDivisor;
        scanSegment(f, current, k, lastProbe, entries - 1, rest > 1 ? rest : 1, 0);
    }

    std::vector<idxStruct>& idx = *index;
    idx.back().last = entries;
    // The running value starts at the last key, not a record number: every
    // search clamps its upper bound to the file's last record, so the one
    // entry it reaches only searches wider. Kept so.
    uint32_t running = lastKey;
    for (size_t i = idx.size() - 1; i-- > 1;) {
        if (idx[i].first != 0) {
            idx[i].last = running - 1;
            running = idx[i].first;
        } else {
            idx[i].last = 0;
        }
    }
}

void CNCOA_DataFileIndexer::verifyIndex() const {
    if (keySize == eKeyNone) return;
    hx_file* f = nullptr;
    hx_fio_open(path, HX_FIO_READ, &f);
    if (f == nullptr) {
        if (index->empty()) return;
        throw fio_file_error(1040, path);
    }
    hx_fio_closer hold(f);
    const std::vector<idxStruct>& idx = *index;
    if (idx.empty()) return;
    if (idx[0].first != 0) throw qvncoa_exception(1050, "Data file indexing error (0)");
    uint32_t lastFirst = 0;
    for (size_t i = 1; i < idx.size(); ++i) {
        const idxStruct& e = idx[i];
        if (e.first == 0) continue;
        if (e.first <= lastFirst) throw qvncoa_exception(1050, "Data file indexing error (2)");
        unsigned int here = 0, before = 0;
        getKey(f, e.first, here);
        getKey(f, e.first - 1, before);
        if (here == before) throw qvncoa_exception(1050, "Data file indexing error (3)");
        if (here != e.key) throw qvncoa_exception(1050, "Data file indexing error (4)");
        lastFirst = e.first;
    }
}

void CNCOA_DataFileIndexer::makeSubIndex(eKeySize newSize) {
    if (newSize >= keySize) throw qvncoa_exception(1050, "Internal error building flat index.");
    std::vector<idxStruct>& old = *index;
    if (old.empty()) return;

    std::vector<idxStruct> folded(static_cast<size_t>((lastKey >> 8) - (firstKey >> 8)) + 1, idxStruct{0, 0, 0});
    firstKey >>= 8;
    uint32_t outKey = old[0].key >> 8;
    uint32_t start = 0;
    size_t slot = 0;
    for (size_t i = 1; i < old.size(); ++i) {
        const uint32_t in = old[i].key >> 8;
        if (in == outKey) continue;
        if (in == 0) {  // an empty entry
            folded[slot] = idxStruct{0, 0, 0};
            continue;
        }
        if (in <= outKey) throw qvncoa_exception(1050, "Internal error building flat index.");
        folded[slot] = idxStruct{outKey, start, old[i].first - 1};
        slot = in - firstKey;
        start = old[i].first;
        outKey = in;
    }
    const uint32_t lastIn = old.back().key >> 8;
    if (lastIn != folded.back().key) folded[slot] = idxStruct{lastIn, start, old.back().last};

    lastKey = outKey;
    keySize = static_cast<eKeySize>(keySize - 1);
    old.swap(folded);
}

bool CNCOA_DataFileIndexer::writeIndex(const char* out) const {
    hx_file* f = nullptr;
    hx_fio_open(out, HX_FIO_WRITE, &f);
    if (f == nullptr) throw fio_file_error(1041, out);
    hx_fio_closer hold(f);
    const std::vector<idxStruct>& idx = *index;
    unsigned char head[12] = {};
    putBE32(head, static_cast<uint32_t>(keySize));
    putBE32(head + 4, static_cast<uint32_t>(idx.size()));
    head[8] = static_cast<unsigned char>(sequence >> 8);
    head[9] = static_cast<unsigned char>(sequence);
    hx_fio_putb(f, head, sizeof head);

    // The body a block at a time: key left-aligned, big-endian; first and
    // last in this machine's byte order.
    const int shift = 8 * (4 - static_cast<int>(keySize));
    const size_t kBlock = 4096;
    std::unique_ptr<unsigned char[]> buf(new unsigned char[kBlock * 12]);
    for (size_t i = 0; i < idx.size();) {
        size_t n = 0;
        for (; n < kBlock && i < idx.size(); ++n, ++i) {
            unsigned char* p = buf.get() + n * 12;
            putBE32(p, shift >= 32 ? 0 : idx[i].key << shift);
            std::memcpy(p + 4, &idx[i].first, 4);
            std::memcpy(p + 8, &idx[i].last, 4);
        }
        hx_fio_putb(f, buf.get(), n * 12);
    }
    return true;
}

bool CNCOA_DataFileIndexer::readIndex(const char* in, std::vector<idxStruct>& index, eKeySize& keySize,
                                      unsigned short& sequence) {
    hx_fio_closer hold(openForReading(in));
    hx_file* f = hold.get();
    unsigned char head[12];
    if (hx_fio_getb(f, head, sizeof head) != static_cast<int64_t>(sizeof head)) failIo(f, in);
    const uint32_t size = readBE32(head);
    const uint32_t count = readBE32(head + 4);
    sequence = readBE16(head + 8);
    keySize = static_cast<eKeySize>(size);
    if (size == 0) return false;

    index.clear();
    index.resize(count);
    const size_t kBlock = 4096;
    std::unique_ptr<unsigned char[]> buf(new unsigned char[kBlock * 12]);
    for (size_t i = 0; i < count;) {
        const size_t n = count - i < kBlock ? count - i : kBlock;
        if (hx_fio_getb(f, buf.get(), n * 12) != static_cast<int64_t>(n * 12)) failIo(f, in);
        if (size > 4) return false;
        for (size_t j = 0; j < n; ++j, ++i) {
            const unsigned char* p = buf.get() + j * 12;
            index[i].key = static_cast<uint32_t>(readBE(p, static_cast<int>(size)));
            std::memcpy(&index[i].first, p + 4, 4);
            std::memcpy(&index[i].last, p + 8, 4);
        }
    }
    return true;
}

int qvncoa_flatfile_index_progress_proxy_callback(unsigned int count, unsigned int total, qvncoa_out_addr_t* unused,
                                                  void* context) {
    // The same whole-percent reporting as the verification, over records.
    return qvncoa_file_verify_progress_callback(count, total, unused, context);
}

int buildFlatIndexFiles(const char* dataRoot, const qvncoa_prog_cb_t* progress) {
    static const char* const kFiles[3] = {"%s/DVD 1/clk.flt.1", "%s/DVD 1/clk.flt.2", "%s/DVD 2/clk.flt.3"};
    char paths[3][1024];
    verifyProgressContext ctx;
    for (int i = 0; i < 3; ++i) {
        std::snprintf(paths[i], sizeof paths[i], kFiles[i], dataRoot);
        unsigned size = 0;
        int err = 0;
        if (!fileSize(paths[i], size, err)) throw fio_file_error(1040, paths[i]);
        ctx.total += size / 18;
    }
    qvncoa_prog_cb_t caller = {nullptr, nullptr};
    if (progress != nullptr) caller = *progress;
    ctx.progress = &caller;
    qvncoa_prog_cb_t proxy = {qvncoa_flatfile_index_progress_proxy_callback, &ctx};

    for (int i = 0; i < 3; ++i) {
        std::vector<CNCOA_DataFileIndexer::idxStruct> index;
        CNCOA_DataFileIndexer indexer(paths[i], index, 18, 10, CNCOA_DataFileIndexer::eKey3, &proxy);
        char out[1100];
        indexer.makeIndex();
        indexer.verifyIndex();
        std::snprintf(out, sizeof out, "%s/flt_idx_%d_%d.dat", dataRoot, 24, i);
        indexer.writeIndex(out);
        indexer.makeSubIndex(CNCOA_DataFileIndexer::eKey2);
        indexer.verifyIndex();
        std::snprintf(out, sizeof out, "%s/flt_idx_%d_%d.dat", dataRoot, 16, i);
        indexer.writeIndex(out);
        indexer.makeSubIndex(CNCOA_DataFileIndexer::eKey1);
        indexer.verifyIndex();
        std::snprintf(out, sizeof out, "%s/flt_idx_%d_%d.dat", dataRoot, 8, i);
        indexer.writeIndex(out);
    }
    return 1000;
}

}  // namespace QV_NCOA
