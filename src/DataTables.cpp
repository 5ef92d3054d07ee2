#include "DataTables.h"

#include <cstring>
#include <new>

#include "BusinessLst.h"
#include "LookupBase.h"
#include "NCOA_Utils.h"
#include "hx_fio.h"

namespace QV_NCOA {

static const char kSetLetters[] = "ABCDEF";

CNCOA_DataTables::~CNCOA_DataTables() {
    if (parserHandle != nullptr) {
        qv_proxy_close(parserHandle);
        parserHandle = nullptr;
    }
    clearHashTables();
}

unsigned int CNCOA_DataTables::getHSXSize(int section, char letter) const {
    const std::map<char, unsigned int>* sizes = section == 0 ? &hs0Sizes : section == 1 ? &hs1Sizes : nullptr;
    if (sizes == nullptr) return 0;
    auto it = sizes->find(letter);
    return it == sizes->end() ? 0 : it->second;
}

void CNCOA_DataTables::clearHashTables() {
    for (auto& letter : hashImage)
        for (auto& section : letter) section.release();
    hashArena.release();
}

void CNCOA_DataTables::clearFlatTables() {
    for (auto& f : fltImage) f.release();
}

template <typename T>
static bool readTable(const QvbString& path, ManagedBuf<T>& table, unsigned recSize) {
    // A table of no records would fail as a zero-size allocation (1030, no
    // text); it is the file that is wrong, so say so with its path.
    unsigned size = 0;
    int err = 0;
    if (fileSize(path.asCstr(), size, err) && size == 0) throw fio_file_error(1042, path.asCstr());
    return CBinFileUtils<T>::readPackedFile(path.asCstr(), table, recSize, &T::deserialize);
}

bool CNCOA_DataTables::initialize(const char* dataPath, const char* lkmPath, const char* proxyConfig,
                                  qv_target_version version, const char* definitionName, unsigned int flags) {
    // 1. Flat index key size and the in-memory mode.
    switch (flags & 0x06) {
        case 0x06: fltKeySize = CNCOA_DataFileIndexer::eKey3; break;
        case 0x04: fltKeySize = CNCOA_DataFileIndexer::eKey2; break;
        case 0x02: fltKeySize = CNCOA_DataFileIndexer::eKey1; break;
        default: fltKeySize = CNCOA_DataFileIndexer::eKeyNone; break;
    }
    inMemory = (flags & 0x08) != 0;

    // 2. Root and parse definition.
    setRoot(dataPath);
    parseDefinition.assign("Name (Address Update)");
    if (definitionName != nullptr && *definitionName != '\0') parseDefinition.assign(definitionName);

    // 3-5. Identity and age, then the kind, before any list is opened.
    readDVDHeaders();
    if (NCOADataIsExpired()) throw qvncoa_exception(1060);
    char letter = dvdHeader[0].setLetter;
    if (letter == '\0' || std::strchr(kSetLetters, letter) == nullptr) throw qvncoa_exception(1080);
    isHashData = letter == 'A' || letter == 'C' || letter == 'E';

    // 6. Text lists.
    int err = 0;
    if (!readTextLineFile(getZIPLstPath().asCstr(), zipLst, err)) throw fio_file_error(1040, getZIPLstPath().asCstr());
    if (!readTextLineFile(getHintLstPath().asCstr(), hintLst, err))
        throw fio_file_error(1040, getHintLstPath().asCstr());

    // 7. The record files read whole, in this order; the first short one ends start-up.
    if (!readTable(getX11Path(), x11Table, 24)) return false;
    if (!readTable(getCzpDatPath(), czpTable, 48)) return false;
    if (!readTable(getClnDatPath(), clnTable, 49)) return false;
    if (!readTable(getPnoDatPath(), pnoTable, 7)) return false;
    if (!readTable(getDscDatPath(), dscTable, 3)) return false;
    if (!readTable(getSnoDatPath(), snoTable, 6)) return false;
    if (!readTable(getSufDatPath(), sufTable, 3)) return false;
    if (!readTable(getNamDatPath(), namTable, 19)) return false;
    if (!readTable(getCrdDatPath(), crdTable, 3)) return false;
    if (!readTable(getLlnDatPath(), llnTable, 4)) return false;
    if (!readTable(getLeftRitePath(), leftRiteTable, 11)) return false;

    // 8. Stripe permutations.
    if (!xoStripeTable.allocate(kXOStripeRows)) throw qvncoa_exception(1030);
    buildXOStripeTable(xoStripeTable.buf);

    // 9. The kind's own tables.
    if (inMemory) prefetchMemoryFiles();
    if (isHashData) {
        if (inMemory) loadHashTables();
        getHashHSxSizes();
    } else {
        if (inMemory) loadFlatTables();
        getFLTInfo();
    }

    // 10. Names.
    readNameNormalizationTables();
    buildCompStrWWordMaps(firmWords, wsWords);
    readNameRules();
    initVantrel(proxyConfig, version, lkmPath);

    // 11-13.
    readContentsLst();
    if (inMemory) {
        loadCLKHSBTable();
        loadDPHHSATable();
        loadLCDTable();
    }
    preScanLCDTable();

    // 14. Business record count.
    {
        CNCOA_BusinessLst biz(*this);
        size_t count = 0;
        if (!biz.findLastValidIndex(count)) throw fio_file_error(1040, getBusinessLstPath().asCstr());
        businessLastIndex = count;
    }

    // 15.
    findLastValidRV9ESDIndex();

    // 16. Maps only: refuses nothing.
    mapSearchFiles();
    return true;
}

// Asks the kernel to read every file the in-memory mode reads whole, all at
// once, before the reads start: what is not in the page cache then comes in
// large requests in parallel instead of one file's read-ahead at a time. A
// national set holds gigabytes. A file that doesn't open is left to the
// reader that fails on it, with its code.
void CNCOA_DataTables::prefetchMemoryFiles() {
    auto prefetch = [](const QvbString& path) { hx_fio_prefetch(path.asCstr()); };
    if (isHashData) {
        for (char c = 'a'; c <= 'z'; ++c)
            for (int s = 0; s < 10; ++s) prefetch(getClkXHsYPath(c, s));
    } else {
        for (int i = 0; i < 3; ++i) prefetch(getCLKFLTPath(i));
    }
    for (const QvbString& path : {getClkHsbPath(), getDphHsaPath(), getLCDPath(), getDailyDelDatPath(),
                                  getBusinessLstPath(), getRv9EsdPath()})
        prefetch(path);
}

void CNCOA_DataTables::mapSearchFiles() {
    const bool hashOnDisk = isHashData && hashImage[0][0].count == 0;
    for (char c = 'a'; c <= 'z'; ++c)
        for (int s = 0; s < 9; ++s) {
            if (hashOnDisk)
                hashFiles[c - 'a'][s].map(getClkXHsYPath(c, s));
            else
                hashFiles[c - 'a'][s].unmap();
        }
    for (int i = 0; i < 3; ++i) {
        if (!isHashData && fltImage[0].empty())
            fltFiles[i].map(fltPaths[i]);
        else
            fltFiles[i].unmap();
    }
    if (inMemory) {
        clkHsbFile.unmap();
        dphHsaFile.unmap();
    } else {
        clkHsbFile.map(getClkHsbPath());
        dphHsaFile.map(getDphHsaPath());
    }
    if (lcdImage.empty())
        lcdFile.map(getLCDPath());
    else
        lcdFile.unmap();
    // In memory these are read in now, so that no search waits on the disc.
    dailyDelFile.map(getDailyDelDatPath(), inMemory);
    genderFile.map(getGenderTxtPath(), inMemory);
    urbxFile.map(getUrbxLstPath(), inMemory);
    businessFile.map(getBusinessLstPath(), inMemory);
    rv9EsdFile.map(getRv9EsdPath(), inMemory);
}

void loadFileToManagedBuf(ManagedBuf<unsigned char>& buf, const char* path) {
    buf.release();
    unsigned size = 0;
    int err = 0;
    if (!fileSize(path, size, err)) throw fio_file_error(1040, path);
    if (size == 0 || !buf.allocateLarge(size)) throw qvncoa_exception(1030);
    hx_file* f = nullptr;
    hx_fio_open(path, HX_FIO_READ, &f);
    if (f == nullptr) {
        buf.release();
        throw fio_file_error(1040, path);
    }
    hx_fio_closer closer(f);
    hx_fio_getb(f, buf.buf, size);  // one read; its result is not examined
}

void CNCOA_DataTables::getHashHSxSizes() {
    for (int section : {0, 1}) {
        for (char c = 'a'; c <= 'z'; ++c) {
            QvbString path = getClkXHsYPath(c, section);
            unsigned size = 0;
            int err = 0;
            if (!fileSize(path.asCstr(), size, err)) throw fio_file_error(1040, path.asCstr());
            (section == 0 ? hs0Sizes : hs1Sizes)[c] = size;
        }
    }
}

// The sections are small and read at random: one block holds them all, so
// that it can be backed by huge pages. Each file is checked and read in the
// same order, with the same failures, as one block per file would give; a
// file the sizing pass cannot take is left to that path.
void CNCOA_DataTables::loadHashTables() {
    hashArena.release();
    unsigned sizes[26][10] = {};
    uint64_t total = 0;
    int sized = 0;  // files sized, in order, before the first that is missing or empty
    for (char c = 'a'; c <= 'z' && sized == (c - 'a') * 10; ++c)
        for (int s = 0; s < 10; ++s) {
            int err = 0;
            if (!fileSize(getClkXHsYPath(c, s).asCstr(), sizes[c - 'a'][s], err) || sizes[c - 'a'][s] == 0) break;
            total += sizes[c - 'a'][s];
            ++sized;
        }
    if (total > 0) hashArena.allocateLarge(total);
    uint64_t at = 0;
    for (char c = 'a'; c <= 'z'; ++c)
        for (int s = 0; s < 10; ++s) {
            const QvbString path = getClkXHsYPath(c, s);
            const int n = (c - 'a') * 10 + s;
            if (n >= sized || hashArena.empty()) {
                loadFileToManagedBuf(hashImage[c - 'a'][s], path.asCstr());
                continue;
            }
            ManagedBuf<unsigned char>& image = hashImage[c - 'a'][s];
            const unsigned size = sizes[c - 'a'][s];
            image.borrow(hashArena.buf + at, size);
            at += size;
            hx_file* f = nullptr;
            hx_fio_open(path.asCstr(), HX_FIO_READ, &f);
            if (f == nullptr) {
                image.release();
                throw fio_file_error(1040, path.asCstr());
            }
            hx_fio_closer closer(f);
            hx_fio_getb(f, image.buf, size);  // one read; its result is not examined
        }
}

void CNCOA_DataTables::loadFlatTables() {
    for (int i = 0; i < 3; ++i) loadFileToManagedBuf(fltImage[i], getCLKFLTPath(i).asCstr());
}

void CNCOA_DataTables::getFLTInfo() {
    for (int i = 0; i < 3; ++i) fltPaths[i] = getCLKFLTPath(i);

    // 1. First and last key of the middle file; one that doesn't open leaves
    // them zero, and its size below then fails.
    {
        const char* path = fltPaths[1].asCstr();
        hx_file* f = nullptr;
        hx_fio_open(path, HX_FIO_READ, &f);
        if (f != nullptr) {
            hx_fio_closer hold(f);
            if (hx_fio_getb(f, fltFirstKey, 9) < 0) throw fio_file_error(1040, path);
            hx_fio_seek(f, -18, HX_SEEK_END);
            if (hx_fio_getb(f, fltLastKey, 9) < 0) throw fio_file_error(1040, path);
        }
    }
    // 2. Record counts.
    for (int i = 0; i < 3; ++i) {
        unsigned size = 0;
        int err = 0;
        if (!fileSize(fltPaths[i].asCstr(), size, err)) throw fio_file_error(1040, fltPaths[i].asCstr());
        fltRecords[i] = size / 18;
    }
    // 3-4. The indexes asked for, each of this data set and this key size;
    // any one that doesn't fit, or is missing, drops all three.
    if (fltKeySize == CNCOA_DataFileIndexer::eKeyNone) return;
    for (int i = 0; i < 3; ++i) {
        CNCOA_DataFileIndexer::eKeySize size = CNCOA_DataFileIndexer::eKeyNone;
        unsigned short sequence = 0;
        try {
            CNCOA_DataFileIndexer::readIndex(getFLTIdxPath(i, fltKeySize).asCstr(), fltIndex[i], size, sequence);
        } catch (...) {
        }
        if (size != fltKeySize || sequence != static_cast<unsigned short>(dvdHeader[0].sequence & 0xFFFF)) {
            fltKeySize = CNCOA_DataFileIndexer::eKeyNone;
            for (auto& idx : fltIndex) std::vector<CNCOA_DataFileIndexer::idxStruct>().swap(idx);
            return;
        }
    }
}

void CNCOA_DataTables::loadCLKHSBTable() { loadFileToManagedBuf(clkHsbImage, getClkHsbPath().asCstr()); }
void CNCOA_DataTables::loadDPHHSATable() { loadFileToManagedBuf(dphHsaImage, getDphHsaPath().asCstr()); }
void CNCOA_DataTables::loadLCDTable() { loadFileToManagedBuf(lcdImage, getLCDPath().asCstr()); }

void CNCOA_DataTables::readContentsLst() {
    contentsLst.clear();
    QvbString path = getContentsLstPath();
    hx_file* f = nullptr;
    hx_fio_open(path.asCstr(), HX_FIO_READ, &f);
    if (f == nullptr) throw fio_file_error(1040, path.asCstr());
    hx_fio_closer closer(f);
    char line[5] = {};
    // Exactly 100 attempts: a longer file is read up to its hundredth line.
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (hx_fio_gets(f, line, sizeof line) > 0) {
            ContentsLstItem item;
            item.code = line[0] * 10 + line[1] - 528;
            item.letter = line[2];
            contentsLst.push_back(item);
        }
        std::memset(line, 0, 4);
    }
}

bool CNCOA_DataTables::findLastValidRV9ESDIndex() {
    rv9EsdLastIndex = 0;
    QvbString path = getRv9EsdPath();
    hx_file* f = nullptr;
    hx_fio_open(path.asCstr(), HX_FIO_READ, &f);
    if (f == nullptr) return false;
    hx_fio_closer closer(f);
    unsigned char endMark[26];
    std::memset(endMark, 0xFF, 25);
    endMark[25] = 0xFE;
    unsigned char rec[26];
    unsigned long count = 0;
    while (hx_fio_getb(f, rec, sizeof rec) == static_cast<int64_t>(sizeof rec) &&
           std::memcmp(rec, endMark, sizeof rec) != 0)
        ++count;
    if (count != 0) rv9EsdLastIndex = count;
    return count != 0;
}

static unsigned groupOf(const unsigned char* rec) { return (unsigned(rec[0]) << 8) | rec[1]; }

void CNCOA_DataTables::preScanLCDTable() {
    QvbString path = getLCDPath();
    hx_file* f = nullptr;
    hx_fio_open(path.asCstr(), HX_FIO_READ, &f);
    if (f == nullptr) throw fio_file_error(1040, path.asCstr());
    hx_fio_closer closer(f);
    unsigned char rec[6];
    unsigned current = 0;
    if (hx_fio_getb(f, rec, sizeof rec) == 6) current = groupOf(rec);
    hx_fio_seek(f, 0, HX_SEEK_SET);

    auto store = [&](unsigned group, unsigned long begin, unsigned long offset) {
        if (offset < 6) throw fio_file_error(1040, path.asCstr());  // no whole record
        // Nine-digit keys keep groups below the table's end; anything above
        // cannot be looked up and is not stored.
        if (group < kLcdSegmentCount) {
            lcdSegments[group].first = begin;
            lcdSegments[group].last = offset - 6;
        }
    };

    unsigned long offset = 0, begin = 0;
    while (hx_fio_getb(f, rec, sizeof rec) == 6) {
        unsigned g = groupOf(rec);
        if (g != current) {
            store(current, begin, offset);
            current = g;
            begin = offset;
        }
        offset += 6;
    }
    store(current, begin, offset);
}

}  // namespace QV_NCOA

namespace QV_NCOA {

void CNCOA_DataTables::readDVDHeaders() { QV_NCOA::readDVDHeaders(*this, dvdHeader); }

int CNCOA_DataTables::daysUntilExpiration() const { return QV_NCOA::daysUntilExpiration(dvdHeader[0], time(nullptr)); }

bool CNCOA_DataTables::NCOADataIsExpired() const { return daysUntilExpiration() < 0; }

int CNCOA_DataTables::verifyDVDFileHashes(QvbString& failedFile, qvncoa_prog_cb_t* progress) {
    return QV_NCOA::verifyDVDFileHashes(*this, dvdHeader, isHashData, failedFile, progress);
}

}  // namespace QV_NCOA
