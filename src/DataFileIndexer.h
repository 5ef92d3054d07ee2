// Prefix index of a flat file: for each value of the leading key bytes, the
// first and last record of that key's group, so that a lookup bisects a few
// records instead of the whole file. Built once when a data set is prepared
// (qvncoa_buildFlatIndexFiles) and read back at start-up.
#pragma once

#include <cstdint>
#include <vector>

#include "hx_fio.h"
#include "qvncoa.h"

namespace QV_NCOA {

class CNCOA_DataFileIndexer {
public:
    // 12 bytes in memory and in the file's body.
    struct idxStruct {
        uint32_t key;
        uint32_t first;
        uint32_t last;
    };
    // Leading key bytes the index uses; 0 is no index.
    enum eKeySize : int32_t { eKeyNone = 0, eKey1 = 1, eKey2 = 2, eKey3 = 3, eKey4 = 4 };

    CNCOA_DataFileIndexer(const char* path, std::vector<idxStruct>& index, unsigned int recordSize,
                          unsigned int stride, eKeySize keySize, qvncoa_prog_cb_t* progress);

    // Builds the index of the constructor's key size.
    void makeIndex();
    // Folds the present index down by one key byte (newSize must be smaller).
    void makeSubIndex(eKeySize newSize);
    // Proves the present index against the file; a fault throws 1050.
    void verifyIndex() const;
    bool writeIndex(const char* path) const;
    static bool readIndex(const char* path, std::vector<idxStruct>& index, eKeySize& keySize,
                          unsigned short& sequence);

    unsigned int intKey(const unsigned char* raw) const;
    void getKey(hx_file* file, unsigned int record, unsigned int& key) const;
    unsigned int getEntries();
    void setIndex(unsigned int record, unsigned int key);
    void init();
    bool scanSegment(hx_file* file, unsigned int fromKey, unsigned int toKey, unsigned int start, unsigned int end,
                     unsigned int step, int depth);

    eKeySize getKeySize() const { return keySize; }
    unsigned short getSequence() const { return sequence; }

private:
    const char* path;
    std::vector<idxStruct>* index;
    uint32_t recordSize;
    uint32_t stride;
    eKeySize keySize;
    qvncoa_prog_cb_t* progress;
    uint32_t entries = 0;
    uint32_t firstKey = 0;
    uint32_t lastKey = 0;
    uint16_t sequence = 0;
    uint32_t refineDivisor = 3;
    bool verbose = false;
};

// Progress of the whole build, in records over the three files: the caller
// hears each new whole percentage.
int qvncoa_flatfile_index_progress_proxy_callback(unsigned int count, unsigned int total,
                                                  qvncoa_out_addr_t* unused, void* context);

// The driver behind the export: nine index files under dataRoot. Throws.
int buildFlatIndexFiles(const char* dataRoot, const qvncoa_prog_cb_t* progress);

}  // namespace QV_NCOA
