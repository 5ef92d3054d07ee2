#include "FlatLookup.h"

#include <cstring>
#include <exception>

#include "DataTables.h"
#include "NCOA_Utils.h"
#include "Rijndael.h"
#include "qvs_auth.h"

namespace QV_NCOA {

void flatRecordPad(const unsigned char* sha, unsigned char* pad) {
    // h1 and h2 side by side; the key is the 24 bytes from offset 16.
    unsigned char stream[40];
    qvs_auth_get_sha1(sha, 20, stream);
    qvs_auth_get_sha1(stream, 20, stream + 20);
    CRijndael cipher;
    cipher.MakeKey(reinterpret_cast<const char*>(stream + 16), CRijndael::sm_chain0, 24, 16);
    cipher.EncryptBlock(reinterpret_cast<const char*>(stream), reinterpret_cast<char*>(pad));
}

bool CNCOA_FlatLookup::doLookup(const unsigned char* sha, const char* /*zip5*/, LookupRes& res) {
    res.clear();
    if (tables.isHashData) throw qvncoa_exception(1012);

    const unsigned char* key = sha + 11;
    int file = 1;
    if (std::memcmp(key, tables.fltFirstKey, 9) < 0)
        file = 0;
    else if (std::memcmp(key, tables.fltLastKey, 9) > 0)
        file = 2;

    fltRecord record;
    if (!getFLTRecord(key, record, file)) return false;
    std::memcpy(res.raw, record.data, 8);

    unsigned char pad[16];
    try {
        flatRecordPad(sha, pad);
    } catch (const std::exception&) {
        throw qvncoa_exception(1050, "Flat Lookup Internal Failure");
    }
    unsigned char data[8];
    for (int i = 0; i < 8; ++i) data[i] = record.data[i] ^ pad[i];
    return calcResults(sha, data, res);
}

bool CNCOA_FlatLookup::getFLTRecord(const unsigned char* key, fltRecord& record, int file) {
    fltRecord wanted{};
    std::memcpy(wanted.key, key, 9);

    // The whole file, unless the index gives the range of the key's prefix.
    // An index has an entry for every prefix from its first, so it is reached
    // by subtraction; a prefix outside it throws std::out_of_range.
    unsigned long first = 0, last = 0;
    if (tables.fltKeySize != CNCOA_DataFileIndexer::eKeyNone && file >= 0 && file < 3 &&
        !tables.fltIndex[file].empty()) {
        const std::vector<CNCOA_DataFileIndexer::idxStruct>& idx = tables.fltIndex[file];
        const uint32_t prefix = static_cast<uint32_t>(readBE(key, tables.fltKeySize));
        const CNCOA_DataFileIndexer::idxStruct& e = idx.at(static_cast<uint32_t>(prefix - idx[0].key));
        first = e.first;
        last = e.last;
    }

    unsigned long at = 0;
    if (tables.fltImage[0].empty() && file >= 0 && file < 3 && tables.fltFiles[file].attached)
        return CBinFileUtils<fltRecord>::binSearch(tables.fltFiles[file], wanted, record, at, &fltRecord::compare,
                                                   &fltRecord::deserialize, fltRecord::SIZE, first, last);
    if (tables.fltImage[0].empty()) {
        const char* path = file >= 0 && file < 3 ? tables.fltPaths[file].asCstr() : tables.getRoot().asCstr();
        return CBinFileUtils<fltRecord>::binSearch(path, wanted, record, at, &fltRecord::compare,
                                                   &fltRecord::deserialize, fltRecord::SIZE, first, last);
    }
    if (file >= 3 || file < 0) throw qvncoa_exception(1050, "Flat Lookup Internal Failure (2)");
    const ManagedBuf<unsigned char>& image = tables.fltImage[file];
    return CBinFileUtils<fltRecord>::binSearchRawMem(image.buf, static_cast<unsigned long>(image.count), wanted,
                                                     record, at, &fltRecord::compare, &fltRecord::deserialize,
                                                     fltRecord::SIZE, first, last);
}

}  // namespace QV_NCOA
