// The data object: every table of one opened data set. Built once by
// qvncoa_init_data_obj and read-only once initialize has returned.
#pragma once

#include <map>
#include <set>
#include <vector>

#include "BinFileUtils.h"
#include "CompStrW_Words.h"
#include "DVDHeader.h"
#include "DataFileIndexer.h"
#include "FileManager.h"
#include "NameRules.h"
#include "qv_proxy.h"

namespace QV_NCOA {

// Byte offsets in `lcd` of the first and the last row of one group of the
// same high 16 key bits.
struct lcdSegment {
    unsigned long first = 0;
    unsigned long last = 0;
};

// One line of contents.lst: the two-digit ZIP group and the letter of its hash files.
struct ContentsLstItem {
    int code = 0;
    char letter = ' ';
};

enum { kLcdSegmentCount = 15258, kXOStripeRows = 5040 };

class CNCOA_DataTables : public CNCOA_FileManager {
public:
    CNCOA_DataTables() = default;
    ~CNCOA_DataTables();
    CNCOA_DataTables(const CNCOA_DataTables&) = delete;
    CNCOA_DataTables& operator=(const CNCOA_DataTables&) = delete;

    bool initialize(const char* dataPath, const char* lkmPath, const char* proxyConfig, qv_target_version version,
                    const char* definitionName, unsigned int flags);

    unsigned int getHSXSize(int section, char letter) const;
    // Identity, age and proof of the data set (implemented with DVDHeader).
    void readDVDHeaders();
    int daysUntilExpiration() const;
    bool NCOADataIsExpired() const;
    int verifyDVDFileHashes(QvbString& mismatches, qvncoa_prog_cb_t* progress);
    void clearHashTables();
    void clearFlatTables();

    // Flat data sets: start-up step that reads the first and last key of
    // clk.flt.2, the record counts and, when asked for, the three indexes.
    void getFLTInfo();

    DVDHeader dvdHeader[2];
    std::vector<CNCOA_DataFileIndexer::idxStruct> fltIndex[3];
    CNCOA_DataFileIndexer::eKeySize fltKeySize = CNCOA_DataFileIndexer::eKeyNone;
    ManagedBuf<unsigned char> fltImage[3];
    std::map<char, unsigned int> hs1Sizes;
    std::map<char, unsigned int> hs0Sizes;
    ManagedBuf<unsigned char> hashImage[26][10];  // in memory: slices of hashArena
    ManagedBuf<unsigned char> hashArena;
    std::vector<QvbString> zipLst;
    std::vector<QvbString> hintLst;
    ManagedBuf<unsigned char[7]> xoStripeTable;
    unsigned char fltFirstKey[9] = {};
    unsigned char fltLastKey[9] = {};
    unsigned long fltRecords[3] = {};
    ManagedBuf<x11Record> x11Table;
    ManagedBuf<czpRecord> czpTable;
    ManagedBuf<clnRecord> clnTable;
    ManagedBuf<leftRiteRecord> leftRiteTable;
    ManagedBuf<pnoRecord> pnoTable;
    ManagedBuf<dscRecord> dscTable;
    ManagedBuf<snoRecord> snoTable;
    ManagedBuf<sufRecord> sufTable;
    ManagedBuf<namRecord> namTable;
    ManagedBuf<crdRecord> crdTable;
    ManagedBuf<llnRecord> llnTable;
    std::multimap<fixedString<15>, fixedString<15>> normalFirst;
    std::multimap<fixedString<20>, fixedString<20>> normalLast;
    std::multimap<fixedString<15>, fixedString<15>> nickNames;
    std::set<firmWordStruct> firmWords;
    std::map<QvbString, fixedString<20>> wsWords;
    std::vector<nameRule> nameRules;
    // Set when readNameRules has read the list, unique in the process: the
    // list stays as read from then on, so a name ruled once under this id is
    // ruled the same way again. 0: rules set by hand, never remembered.
    uint64_t nameRulesId = 0;
    void* parserHandle = nullptr;
    int32_t localeCode = 0;
    QvbString parseDefinition;
    std::vector<ContentsLstItem> contentsLst;
    unsigned long rv9EsdLastIndex = 0;
    unsigned long businessLastIndex = 0;
    ManagedBuf<unsigned char> clkHsbImage;
    ManagedBuf<unsigned char> dphHsaImage;
    lcdSegment lcdSegments[kLcdSegmentCount];
    ManagedBuf<unsigned char> lcdImage;
    bool isHashData = false;
    bool inMemory = false;
    // Paths of clk.flt.1 to clk.flt.3, made once so that a search builds no text.
    QvbString fltPaths[3];

    // Every file a search reads and that is not held in memory, mapped once at
    // the end of start-up. A file missing then is reported by the search that
    // needs it, with the code a search on its path gives.
    MappedFile hashFiles[26][9];  // clk.<letter>.hs0 to hs8; on disk only
    MappedFile fltFiles[3];       // clk.flt.1 to 3; on disk only
    MappedFile clkHsbFile, dphHsaFile, lcdFile;  // on disk only
    MappedFile dailyDelFile, genderFile, urbxFile, businessFile, rv9EsdFile;
    void mapSearchFiles();

    // Start-up steps, each filling its members.
    void readNameNormalizationTables();
    void readNameRules();
    void initVantrel(const char* proxyConfig, qv_target_version version, const char* lkmPath);

private:
    void readContentsLst();
    bool findLastValidRV9ESDIndex();
    void getHashHSxSizes();
    void prefetchMemoryFiles();
    void loadHashTables();
    void loadFlatTables();
    void loadCLKHSBTable();
    void loadDPHHSATable();
    void loadLCDTable();
    void preScanLCDTable();
};

// Reads a whole file into buf: 1040 when it cannot be sized or opened, 1030
// when the memory cannot be had or the file is empty.
void loadFileToManagedBuf(ManagedBuf<unsigned char>& buf, const char* path);

}  // namespace QV_NCOA
