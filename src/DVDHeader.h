// Identity and proof of a data set: the text header of each disc, the age of
// the data, and the SHA-1 of every file against its disc's header.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <vector>

#include "FileManager.h"
#include "NCOA_Utils.h"
#include "fixedString.h"
#include "qvb_string.h"
#include "qvncoa.h"

namespace QV_NCOA {

class CNCOA_DataTables;

struct DVDHeader {
    // One line of the file list: name (columns 0-20), stated size and SHA-1.
    struct file {
        fixedString<21> name;
        uint64_t size = 0;  // as stated; never compared with the real size
        unsigned char sha1[20] = {};
    };

    fixedString<50> setName;
    char setLetter = 0;   // A, C, E: hash data set; B, D, F: flat
    char setLetter2 = 0;
    uint8_t lineDigit1 = 0;
    uint8_t lineDigit2 = 0;
    fixedString<8> date1;  // YYYYMMDD; the age of the data counts from it
    time_t date1Time = 0;
    int32_t sequence = 0;  // number of the data set
    fixedString<8> date2;
    time_t date2Time = 0;
    fixedString<8> date3;
    time_t date3Time = 0;
    int32_t fileCount = 0;  // as stated; never compared with anything
    // By file name without its padding blanks; the first of two equal names stays.
    std::map<QvbString, file> files;
};

// Days a data set may be used after its first date.
enum { kDataSetMaxAgeDays = 45 };

// Fills header from the lines of a header file. Fewer than 7 lines, or a bad
// hexadecimal digit in a file's SHA-1, throw qvncoa_exception 1080.
void fillDVDHeader(DVDHeader& header, const std::vector<QvbString>& lines);

// Reads both discs' headers; a header that can't be read throws
// fio_file_error 1040 with its path.
void readDVDHeaders(const CNCOA_FileManager& paths, DVDHeader (&headers)[2]);

// 45 less the days since date1 of the first disc, cut toward zero: 45 days
// and a fraction still give 0. Below 0 the data is expired.
int daysUntilExpiration(const DVDHeader& firstDisc, time_t now);

// Whether a set letter names a hash data set; a letter outside "ABCDEF"
// throws qvncoa_exception 1080.
bool isHashDataSetLetter(char letter);

// Proves every file of the data set against its disc's header, in a fixed
// order: 1000, or the code of the first failure with failedFile set to its
// path. A size that can't be read gives 1040 before any hashing, with
// failedFile left as it was.
int verifyDVDFileHashes(const CNCOA_FileManager& paths, const DVDHeader (&headers)[2], bool isHashData,
                        QvbString& failedFile, qvncoa_prog_cb_t* progress);

// 1082 when the file's name is not in header, 1081 when its digest differs,
// else the result of fileSHA1.
int testFileSHA(const char* path, const DVDHeader& header, qvncoa_prog_cb_t* progress);

// SHA-1 of a file, a file-layer buffer at a time. progress, when it has a
// function, hears of every block (bytes of the block, size of the file) and
// stops the work with 1053 by returning anything but 1000. 1040 when the file
// can't be sized or opened.
int fileSHA1(const char* path, unsigned char* digest, qvncoa_prog_cb_t* progress);

// State of a whole verification, handed to qvncoa_file_verify_progress_callback.
struct verifyProgressContext {
    uint64_t total = 0;  // bytes of all files on the list
    uint64_t done = 0;
    qvncoa_prog_cb_t* progress = nullptr;  // the caller's, may be null
};

// Sums the blocks of all files and tells the caller each new whole
// percentage, (percent, 100, null, userData). The caller's result is ignored,
// so a verification can't be stopped. 1050 without a context.
int qvncoa_file_verify_progress_callback(unsigned int count, unsigned int total, qvncoa_out_addr_t* unused,
                                         void* context);

// Body of qvncoa_validateDVDFileHashSignatures below its object test: 1081
// with the failed path copied into errorText, 1000 for every other outcome.
int validateDVDFileHashSignatures(CNCOA_DataTables& tables, const qvncoa_prog_cb_t* progress, char* errorText);

}  // namespace QV_NCOA
