// Expands the packed hash sections (".SZP") into the plain section files.
//
// The packed form is a bit stream, most significant bit of each byte first,
// without a header: items of a zero run in 3-bit groups (7 means seven zero
// bytes and another group; below 7, that many and the run ends) followed by
// an 8-bit literal. A literal of 0 ends the stream. Runs before a data object
// exists, as a step of preparing a data set.
#pragma once

#include <cstdint>

#include "hx_fio.h"
#include "qvncoa.h"

namespace QV_NCOA {

// One file of a folder to unpack: where it is and where it goes, each cut to
// 1,023 characters.
struct filePair {
    char from[1024];
    char to[1024];
    filePair(const char* source, const char* destination);
};

class CNCOA_HashUnpacker {
public:
    enum { kBlockSize = 512 };
    // Reads past the end of the source after which the stream can't end any
    // more: the block read again is the same each time, so the parse enters
    // each new pass in one of 11 code positions (3 of a run group, 8 of a
    // literal), and one that has not met a zero literal within 12 passes
    // repeats itself for ever. The bound leaves every ending input as it is.
    enum { kMaxReadsPastEnd = 32 };

    CNCOA_HashUnpacker();

    void InitUnpackingState();

    // Unpacks every ".SZP" file of `from` (any case) into `to`, the name cut at
    // that dot. False when the progress function stopped it. Throws
    // fio_file_error 1040 (folder or source) or 1041 (destination).
    bool UnpackFolder(const char* from, const char* to, const qvncoa_prog_cb_t* progress);

    // Unpacks one file on a fresh state; true unless it throws. Only whole
    // 512-byte blocks reach the output; a failure leaves what was written.
    // A source whose stream would never end throws fio_file_error 1040.
    bool UnpackFile(const char* from, const char* to);

private:
    void do1000ProcessLowValues();
    void do2000Get3Bits();
    void do3000PutLowValues();
    void do4000Get8Bits();
    void do5000Get1Bit();
    void do6000PutData();
    void do7000GetOneByte();
    void do8000PutOneByte();
    // Read many bits at a time where the input block holds them: whole items
    // (true when it met the end of the stream), or the groups of 7 of a run.
    bool unpackInBlock();
    void skipRunInBlock();
    // Bit place in inBuf of the next bit, and back.
    uint32_t bitCursor() const;
    void setBitCursor(uint32_t cursor);
    // 64 bits of inBuf from a bit place; the window must lie in the block.
    uint64_t windowAt(uint32_t cursor) const;
    // Groups of 7 on top of a window, at most 18 (54 of its 57 sure bits).
    static uint32_t runGroups(uint64_t window);
    // Last bit place from which a window lies wholly inside the block.
    enum : uint32_t { kWindowLimit = (kBlockSize - 8) * 8 };
    // do8000PutOneByte of a zero byte, count times over.
    void putZeros(uint32_t count);
    static void packByte(unsigned char& out, const unsigned char* bits);
    static void unPackByte(unsigned char value, unsigned char* bits);

    int32_t bitPos;
    int32_t inPos;
    int32_t outPos;
    unsigned char inBuf[kBlockSize];
    unsigned char outBuf[kBlockSize];
    unsigned char bits8[8];
    unsigned char bits3[3];
    unsigned char outByte;
    unsigned char scratch;
    unsigned char bitArray[8];
    hx_file* inFile;
    hx_file* outFile;
    const char* outPath;
    // Not of the packed format: the guard against a source that never ends.
    const char* inPath;
    int32_t readsPastEnd;
};

}  // namespace QV_NCOA
