#include "HashUnpacker.h"

#include <strings.h>

#include <cstring>
#include <memory>
#include <vector>

#include "NCOA_Utils.h"

namespace QV_NCOA {

namespace {

void copyPath(char (&dst)[1024], const char* src) {
    const size_t n = src ? ncoa_strnlen(src, sizeof dst - 1) : 0;
    if (n) std::memcpy(dst, src, n);
    dst[n] = '\0';
}

struct DirCloser {
    void operator()(hx_dir* d) const { hx_dir_close(d); }
};

}  // namespace

filePair::filePair(const char* source, const char* destination) {
    copyPath(from, source);
    copyPath(to, destination);
}

CNCOA_HashUnpacker::CNCOA_HashUnpacker() { InitUnpackingState(); }

void CNCOA_HashUnpacker::InitUnpackingState() {
    bitPos = 8;
    inPos = kBlockSize;
    outPos = 0;
    std::memset(inBuf, 0, sizeof inBuf);
    std::memset(outBuf, 0, sizeof outBuf);
    std::memset(bits8, 0, sizeof bits8);
    std::memset(bits3, 0, sizeof bits3);
    outByte = 0;
    scratch = 0;
    std::memset(bitArray, 0, sizeof bitArray);
    inFile = nullptr;
    outFile = nullptr;
    outPath = nullptr;
    inPath = nullptr;
    readsPastEnd = 0;
}

bool CNCOA_HashUnpacker::UnpackFolder(const char* from, const char* to, const qvncoa_prog_cb_t* progress) {
    hx_dir* opened = nullptr;
    if (hx_dir_open(from, HX_DIR_WITH_FOLDER, &opened) != 0) {
        hx_dir_close(opened);
        throw fio_file_error(QVNCOA_ERR_FILE_OPEN, from);
    }
    std::unique_ptr<hx_dir, DirCloser> dir(opened);

    // The whole list first: files written into the folder being walked must not
    // turn up in the walk.
    std::vector<filePair> pairs;
    char entry[1024];
    int status;
    while ((status = hx_dir_next(dir.get(), entry, sizeof entry)) == HX_DIR_OK) {
        char folder[1024], name[1024];
        hx_fio_pparse(entry, folder, sizeof folder, name, sizeof name);
        char* dot = std::strrchr(name, '.');
        if (dot == nullptr || strcasecmp(dot, ".SZP") != 0) continue;
        *dot = '\0';
        char destination[1024];
        hx_fio_pcat(to, name, destination, sizeof destination);
        pairs.emplace_back(entry, destination);
    }
    dir.reset();
    if (status != HX_DIR_END) throw fio_file_error(QVNCOA_ERR_FILE_OPEN, from);

    const unsigned total = static_cast<unsigned>(pairs.size());
    for (unsigned i = 0; i < total; ++i) {
        InitUnpackingState();
        UnpackFile(pairs[i].from, pairs[i].to);
        if (progress != nullptr && progress->callback != nullptr &&
            progress->callback(i, total, nullptr, progress->userData) != QVNCOA_OK)
            return false;
    }
    return true;
}

bool CNCOA_HashUnpacker::UnpackFile(const char* from, const char* to) {
    // The members point at files only while this call has them open.
    struct Forget {
        CNCOA_HashUnpacker& u;
        ~Forget() { u.inFile = u.outFile = nullptr; }
    } forget{*this};

    hx_file* f = nullptr;
    if (hx_fio_open(from, HX_FIO_READ, &f) != 0) throw fio_file_error(QVNCOA_ERR_FILE_OPEN, from);
    hx_fio_closer in(f);
    inFile = f;
    inPath = from;
    if (hx_fio_open(to, HX_FIO_WRITE_NEW, &f) != 0) throw fio_file_error(QVNCOA_ERR_FILE_WRITE, to);
    hx_fio_closer out(f);
    outFile = f;
    outPath = to;

    do1000ProcessLowValues();
    do4000Get8Bits();
    while (std::memcmp(bits8, "\0\0\0\0\0\0\0\0", 8) != 0) {
        do6000PutData();
        if (unpackInBlock()) break;
        do1000ProcessLowValues();
        do4000Get8Bits();
    }
    // What the write layer still holds goes out at the close: a failure there
    // is a block not written whole.
    hx_fio_close(in.release());
    if (hx_fio_close(out.release()) != 0) throw fio_file_error(QVNCOA_ERR_FILE_WRITE, to);
    return true;
}

// The bit-at-a-time steps cost a few calls for each bit. Where the input
// block holds the next 64 bits, the same codes are read off a big-endian
// window instead. No file read is due inside the block, so what is read is
// the same; the window stops at an item's start or between two groups of 7,
// where the steps take over as they would have.

uint32_t CNCOA_HashUnpacker::bitCursor() const {
    return bitPos == 8 ? static_cast<uint32_t>(inPos) * 8 : static_cast<uint32_t>(inPos - 1) * 8 + bitPos;
}

void CNCOA_HashUnpacker::setBitCursor(uint32_t cursor) {
    if ((cursor & 7) == 0) {
        inPos = static_cast<int32_t>(cursor >> 3);
        bitPos = 8;
    } else {
        inPos = static_cast<int32_t>(cursor >> 3) + 1;
        unPackByte(inBuf[inPos - 1], bitArray);
        bitPos = static_cast<int32_t>(cursor & 7);
    }
}

uint64_t CNCOA_HashUnpacker::windowAt(uint32_t cursor) const {
    const unsigned char* p = inBuf + (cursor >> 3);
    uint64_t w = 0;
    for (int i = 0; i < 8; ++i) w = (w << 8) | p[i];
    return w << (cursor & 7);  // at least 57 bits of the stream on top
}

uint32_t CNCOA_HashUnpacker::runGroups(uint64_t window) {
    const int ones = window == ~uint64_t{0} ? 64 : __builtin_clzll(~window);
    return static_cast<uint32_t>(ones < 54 ? ones : 54) / 3;
}

void CNCOA_HashUnpacker::skipRunInBlock() {
    uint32_t cursor = bitCursor();
    const uint32_t start = cursor;
    while (cursor <= kWindowLimit) {
        const uint32_t groups = runGroups(windowAt(cursor));
        if (groups == 0) break;
        putZeros(7 * groups);
        cursor += 3 * groups;
    }
    if (cursor != start) setBitCursor(cursor);
}

bool CNCOA_HashUnpacker::unpackInBlock() {
    uint32_t cursor = bitCursor();
    bool ended = false;
    while (cursor <= kWindowLimit) {
        const uint64_t w = windowAt(cursor);
        const uint32_t groups = runGroups(w);
        if (groups > 0) {
            putZeros(7 * groups);
            cursor += 3 * groups;
            continue;
        }
        // A last group and its literal.
        const uint32_t run = static_cast<uint32_t>(w >> 61);
        const unsigned char value = static_cast<unsigned char>(w >> 53);
        if (outPos + 8 <= kBlockSize) {
            // Room for any last group: one fixed store, the surplus is overwritten later.
            std::memset(outBuf + outPos, 0, 8);
            outPos += static_cast<int32_t>(run);
        } else if (run > 0) {
            putZeros(run);
        }
        cursor += 11;
        if (value == 0) {
            ended = true;
            break;
        }
        outByte = value;
        do8000PutOneByte();
    }
    setBitCursor(cursor);
    if (ended) std::memset(bits8, 0, sizeof bits8);
    return ended;
}

void CNCOA_HashUnpacker::do1000ProcessLowValues() {
    do2000Get3Bits();
    while (bits3[0] && bits3[1] && bits3[2]) {
        do3000PutLowValues();
        skipRunInBlock();
        do2000Get3Bits();
    }
    do3000PutLowValues();
}

void CNCOA_HashUnpacker::do2000Get3Bits() {
    for (int i = 0; i < 3; ++i) {
        do5000Get1Bit();
        bits3[i] = scratch;
    }
}

void CNCOA_HashUnpacker::do3000PutLowValues() {
    std::memset(bits8, 0, sizeof bits8);
    bits8[5] = bits3[0];
    bits8[6] = bits3[1];
    bits8[7] = bits3[2];
    packByte(scratch, bits8);
    outByte = 0;
    if (scratch > 0) putZeros(scratch);
    scratch = 0;
}

void CNCOA_HashUnpacker::putZeros(uint32_t count) {
    // count times do8000PutOneByte with outByte 0, a block piece at a time.
    while (count > 0) {
        const uint32_t room = static_cast<uint32_t>(kBlockSize - outPos);
        const uint32_t n = count < room ? count : room;
        std::memset(outBuf + outPos, 0, n);
        outPos += static_cast<int32_t>(n);
        count -= n;
        if (outPos == kBlockSize) {
            if (hx_fio_putb(outFile, outBuf, kBlockSize) != kBlockSize) throw fio_file_error(QVNCOA_ERR_FILE_WRITE, outPath);
            outPos = 0;
        }
    }
}

void CNCOA_HashUnpacker::do4000Get8Bits() {
    for (int i = 0; i < 8; ++i) {
        do5000Get1Bit();
        bits8[i] = scratch;
    }
}

void CNCOA_HashUnpacker::do5000Get1Bit() {
    if (bitPos == 8) {
        do7000GetOneByte();
        unPackByte(scratch, bitArray);
        bitPos = 0;
    }
    scratch = bitArray[bitPos++];
}

void CNCOA_HashUnpacker::do6000PutData() {
    packByte(outByte, bits8);
    do8000PutOneByte();
}

void CNCOA_HashUnpacker::do7000GetOneByte() {
    // The count is not examined: past the end the last block is read again,
    // until a zero literal comes up. A damaged source in which none ever
    // comes up would write zeros until the disk is full; it is refused.
    if (inPos == kBlockSize) {
        if (hx_fio_getb(inFile, inBuf, kBlockSize) > 0)
            readsPastEnd = 0;
        else if (++readsPastEnd > kMaxReadsPastEnd)
            throw fio_file_error(QVNCOA_ERR_FILE_OPEN, inPath);
        inPos = 0;
    }
    scratch = inBuf[inPos++];
}

void CNCOA_HashUnpacker::do8000PutOneByte() {
    outBuf[outPos++] = outByte;
    if (outPos == kBlockSize) {
        if (hx_fio_putb(outFile, outBuf, kBlockSize) != kBlockSize) throw fio_file_error(QVNCOA_ERR_FILE_WRITE, outPath);
        outPos = 0;
    }
}

void CNCOA_HashUnpacker::packByte(unsigned char& out, const unsigned char* bits) {
    unsigned v = 0;
    for (int i = 0; i < 8; ++i) v = (v << 1) | (bits[i] & 1u);
    out = static_cast<unsigned char>(v);
}

void CNCOA_HashUnpacker::unPackByte(unsigned char value, unsigned char* bits) {
    for (int i = 0; i < 8; ++i) bits[i] = static_cast<unsigned char>((value >> (7 - i)) & 1u);
}

}  // namespace QV_NCOA
