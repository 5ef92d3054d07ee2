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
        do1000ProcessLowValues();
        do4000Get8Bits();
    }
    // What the write layer still holds goes out at the close: a failure there
    // is a block not written whole.
    hx_fio_close(in.release());
    if (hx_fio_close(out.release()) != 0) throw fio_file_error(QVNCOA_ERR_FILE_WRITE, to);
    return true;
}

void CNCOA_HashUnpacker::do1000ProcessLowValues() {
    do2000Get3Bits();
    while (bits3[0] && bits3[1] && bits3[2]) {
        do3000PutLowValues();
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
    for (; scratch > 0; --scratch) do8000PutOneByte();
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
