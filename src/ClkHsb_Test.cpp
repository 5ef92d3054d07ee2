#include "ClkHsb_Test.h"

#include "BinFileUtils.h"
#include "DataTables.h"

namespace QV_NCOA {

namespace {

// Probe k (k = 0..8) takes the big-endian word at sha[2k]: its low bits are
// the byte, its three high bits number the bit from the left.
inline uint32_t probeWord(const unsigned char* sha, int k) { return readBE32(sha + 2 * k); }
inline unsigned char probeBit(uint32_t word) { return static_cast<unsigned char>(1u << (7 - (word >> 29))); }

}  // namespace

bool CNCOA_CLKHSBTest::testEMDPHash(const unsigned char* sha, bool useDph) const {
    if (tables.inMemory) {
        const ManagedBuf<unsigned char>& table = useDph ? tables.dphHsaImage : tables.clkHsbImage;
        if (table.empty() || table.count == 0) throw qvncoa_exception(1050, "Invalid data in CLKHSB test");
        const uint64_t size = table.count;
        for (int k = 0; k < 9; ++k)  // asked for at once, the nine misses overlap
            __builtin_prefetch(table.buf + (probeWord(sha, k) & (size - 1)));
        for (int k = 0; k < 9; ++k) {
            uint32_t word = probeWord(sha, k);
            uint64_t pos = word & (size - 1);
            if (pos >= size) throw qvncoa_exception(1020);
            if ((table.buf[pos] & probeBit(word)) == 0) return false;
        }
        return true;
    }

    const MappedFile& mapped = useDph ? tables.dphHsaFile : tables.clkHsbFile;
    if (mapped.attached) {
        if (!mapped.exists()) throw fio_file_error(1043, mapped.path.asCstr());
        const unsigned size = static_cast<unsigned>(mapped.statSize);
        if (!mapped.readable() && !mapped.readsNothing()) throw fio_file_error(1040, mapped.path.asCstr());
        for (int k = 0; k < 9; ++k) {
            const uint32_t pos = probeWord(sha, k) & (size - 1);
            if (pos < mapped.view.size) __builtin_prefetch(mapped.view.data + pos);
        }
        for (int k = 0; k < 9; ++k) {
            uint32_t word = probeWord(sha, k);
            uint32_t pos = word & (size - 1);
            if (pos >= size) throw qvncoa_exception(1020);
            unsigned char byte = 0;
            if (!mapped.byteAt(pos, byte)) throw fio_file_error(1040, "CLK.HSB");
            if ((byte & probeBit(word)) == 0) return false;
        }
        return true;
    }

    QvbString path = useDph ? tables.getDphHsaPath() : tables.getClkHsbPath();
    unsigned size = 0;
    int err = 0;
    if (!fileSize(path.asCstr(), size, err)) throw fio_file_error(1043, path.asCstr());
    hx_file* f = nullptr;
    hx_fio_open(path.asCstr(), HX_FIO_READ_PROBE, &f);
    if (f == nullptr) throw fio_file_error(1040, path.asCstr());
    hx_fio_closer closer(f);
    for (int k = 0; k < 9; ++k) {
        uint32_t word = probeWord(sha, k);
        uint32_t pos = word & (size - 1);
        if (pos >= size) throw qvncoa_exception(1020);
        unsigned char byte = 0;
        if (hx_fio_seek(f, pos, HX_SEEK_SET) < 0 || hx_fio_getb(f, &byte, 1) != 1)
            throw fio_file_error(1040, "CLK.HSB");
        if ((byte & probeBit(word)) == 0) return false;
    }
    return true;
}

}  // namespace QV_NCOA
