// The check of a data set before it is opened: the opening itself trusts the
// files (a short contents list ends in std::out_of_range at the boundary, a
// file dropped from a header is never proved), so everything start-up and the
// lookups rely on is tested here first, by the same readers and paths.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "DVDHeader.h"
#include "FileManager.h"
#include "NCOA.h"
#include "NCOA_Utils.h"
#include "hx_fio.h"
#include "qvncoa.h"

using namespace QV_NCOA;

namespace {

// One file a start-up or a lookup reads. recSize 0: a text list, any size (a
// list may be empty); otherwise a run of records of that size, at least one
// (the bit tables count as records of one byte: an empty one can't be held).
struct Needed {
    QvbString path;
    int disc;  // index of the header that lists it
    unsigned recSize;
};

class Checker {
public:
    Checker(const char* root, const qvncoa_check_cb_t* each) : each_(each) { paths_.setRoot(root); }

    int run(bool full, const qvncoa_prog_cb_t* progress);
    const std::string& firstPath() const { return firstPath_; }

private:
    void fail(int code, const QvbString& path, const std::string& what) {
        if (firstCode_ == QVNCOA_OK) {
            firstCode_ = code;
            firstPath_ = path.asCstr();
        }
        if (each_ != nullptr && each_->failure != nullptr) each_->failure(code, path.asCstr(), what.c_str(), each_->userData);
    }
    bool readHeader(int disc);
    std::vector<Needed> neededFiles() const;
    // Size of a regular file; reports 1040 and gives false when there is none.
    bool sizeOf(const QvbString& path, uint64_t& size, const char* whatIfMissing);
    void checkContentsLst();
    void checkSections();
    void checkDailyDel();
    void checkRulesLst();

    CNCOA_FileManager paths_;
    const qvncoa_check_cb_t* each_;
    DVDHeader headers_[2];
    bool headerOk_[2] = {false, false};
    bool isHash_ = true;
    int firstCode_ = QVNCOA_OK;
    std::string firstPath_;
};

bool allDigits(const QvbString& line, int from, int count) {
    if (line.length() < from + count) return false;
    for (int i = 0; i < count; ++i)
        if (!std::isdigit(static_cast<unsigned char>(line.asCstr()[from + i]))) return false;
    return true;
}

// A file line: a name in columns 0-20, a decimal size in 21-33, and 40
// hexadecimal digits (blanks between them allowed) from column 35 on.
bool fileLineComplete(const QvbString& line) {
    QvbString name = line.mid(0, 21);
    name.trim(true, true);
    if (name.length() == 0) return false;
    QvbString size = line.mid(21, 13);
    size.trim(true, true);
    if (size.length() == 0) return false;
    for (const char* p = size.asCstr(); *p != '\0'; ++p)
        if (!std::isdigit(static_cast<unsigned char>(*p))) return false;
    int digits = 0;
    const QvbString hex = line.mid(35);
    for (const char* p = hex.asCstr(); *p != '\0'; ++p) {
        if (*p == ' ') continue;
        if (!std::isxdigit(static_cast<unsigned char>(*p))) return false;
        ++digits;
    }
    return digits == 40;
}

bool Checker::readHeader(int disc) {
    QvbString path = paths_.getDVDHeaderPath(disc);
    uint64_t size = 0;
    if (!sizeOf(path, size, "disc header missing")) return false;
    std::vector<QvbString> lines;
    int err = 0;
    if (!readTextLineFile(path.asCstr(), lines, err)) {
        fail(QVNCOA_ERR_FILE_OPEN, path, "disc header cannot be read");
        return false;
    }
    if (lines.size() < 8) {
        fail(QVNCOA_ERR_HEADER_INVALID, path, "disc header has no file list");
        return false;
    }
    // The dates and numbers the library reads from lines 0 to 6.
    const char letter = lines[0].length() > 68 ? lines[0].asCstr()[68] : '\0';
    if (letter == '\0' || std::strchr("ABCDEF", letter) == nullptr) {
        fail(QVNCOA_ERR_HEADER_INVALID, path, "disc header: no data-set letter A to F in column 69");
        return false;
    }
    for (int i : {2, 4, 5})
        if (!allDigits(lines[static_cast<size_t>(i)], 18, 8)) {
            fail(QVNCOA_ERR_HEADER_INVALID, path, "disc header: line " + std::to_string(i + 1) + " has no YYYYMMDD date");
            return false;
        }
    for (int i : {3, 6})
        if (!allDigits(lines[static_cast<size_t>(i)], 18, 1)) {
            fail(QVNCOA_ERR_HEADER_INVALID, path, "disc header: line " + std::to_string(i + 1) + " has no number");
            return false;
        }
    for (size_t i = 7; i < lines.size(); ++i)
        if (!fileLineComplete(lines[i])) {
            fail(QVNCOA_ERR_HEADER_INVALID, path, "disc header: line " + std::to_string(i + 1) + " is not a file line");
            return false;
        }
    try {
        fillDVDHeader(headers_[disc], lines);
    } catch (const qvncoa_exception&) {
        fail(QVNCOA_ERR_HEADER_INVALID, path, "disc header cannot be parsed");
        return false;
    }
    return true;
}

bool Checker::sizeOf(const QvbString& path, uint64_t& size, const char* whatIfMissing) {
    hx_fio_info info{};
    if (hx_fio_stat(path.asCstr(), &info) != 0 || info.isDir) {
        fail(QVNCOA_ERR_FILE_OPEN, path, whatIfMissing);
        return false;
    }
    size = info.size;
    return true;
}

std::vector<Needed> Checker::neededFiles() const {
    const CNCOA_FileManager& p = paths_;
    // The verification's order, then the files of the kind.
    std::vector<Needed> n = {
        {p.getLCDPath(), 1, 6},           {p.getZIPLstPath(), 1, 0},       {p.getHintLstPath(), 1, 0},
        {p.getContentsLstPath(), 1, 0},   {p.getClkHsbPath(), 1, 1},       {p.getBusinessLstPath(), 1, 48},
        {p.getX11Path(), 1, 24},          {p.getCzpDatPath(), 1, 48},      {p.getClnDatPath(), 1, 49},
        {p.getLeftRitePath(), 1, 11},     {p.getRv9EsdPath(), 1, 26},      {p.getPnoDatPath(), 1, 7},
        {p.getDscDatPath(), 1, 3},        {p.getSnoDatPath(), 1, 6},       {p.getSufDatPath(), 1, 3},
        {p.getNamDatPath(), 1, 19},       {p.getCrdDatPath(), 1, 3},       {p.getLlnDatPath(), 1, 4},
        {p.getDphHsaPath(), 1, 1},        {p.getNormalFPath(), 1, 0},      {p.getNormalLPath(), 1, 0},
        {p.getNickLstPath(), 1, 0},       {p.getNonofLstPath(), 1, 0},     {p.getNonolLstPath(), 1, 0},
        {p.getRulesLstPath(), 1, 0},      {p.getUrbxLstPath(), 1, 38},     {p.getGenderTxtPath(), 1, 12},
    };
    if (isHash_) {
        for (char letter = 'a'; letter <= 'z'; ++letter)
            for (int section = 0; section <= 9; ++section)
                n.push_back({p.getClkXHsYPath(letter, section), section == 0 ? 1 : 0, 0});
    } else {
        for (int file = 0; file < 3; ++file) n.push_back({p.getCLKFLTPath(file), file == 2 ? 1 : 0, 18});
    }
    return n;
}

QvbString bareName(const QvbString& path) {
    char folder[1024], name[1024];
    if (hx_fio_pparse(path.asCstr(), folder, sizeof folder, name, sizeof name) != 0) return QvbString();
    return QvbString(name);
}

// A hash set: every one of the 100 ZIP groups needs its letter, read as
// readContentsLst reads it (a group beyond the list throws at the boundary).
void Checker::checkContentsLst() {
    QvbString path = paths_.getContentsLstPath();
    std::vector<QvbString> lines;
    int err = 0;
    if (!readTextLineFile(path.asCstr(), lines, err)) return;  // reported as missing already
    size_t groups = 0;
    for (; groups < lines.size() && groups < 100; ++groups) {
        const QvbString& l = lines[groups];
        if (l.length() < 3) break;
        const char* t = l.asCstr();
        if (t[0] - '0' != static_cast<int>(groups / 10) || t[1] - '0' != static_cast<int>(groups % 10)) break;
        if (t[2] < 'a' || t[2] > 'z') break;
    }
    if (groups < 100)
        fail(QVNCOA_ERR_FILE_PACKED_SIZE, path,
             "contents list: ZIP group " + std::to_string(groups) + " has no line \"" +
                 (groups < 10 ? "0" : "") + std::to_string(groups) + "<letter>\"");
}

// Name rules as readNameRules takes them. A rule that replaces nothing would
// match at the same place forever, and the rule walk counts in eight bits, so
// both would hang a lookup rather than fail it.
void Checker::checkRulesLst() {
    QvbString path = paths_.getRulesLstPath();
    std::vector<QvbString> lines;
    int err = 0;
    if (!readTextLineFile(path.asCstr(), lines, err)) return;  // reported as missing already
    size_t rules = 0;
    for (size_t i = 0; i < lines.size(); ++i) {
        const char* t = lines[i].asCstr();
        if (lines[i].length() < 14 || !std::isdigit(static_cast<unsigned char>(t[3])) ||
            !std::isdigit(static_cast<unsigned char>(t[4])))
            continue;
        ++rules;
        if (t[3] == '0' || t[3] > '8' || t[4] > '8')
            fail(QVNCOA_ERR_FILE_PACKED_SIZE, path,
                 "line " + std::to_string(i + 1) + ": a rule replaces 1 to 8 letters by 0 to 8");
    }
    if (rules > 255)
        fail(QVNCOA_ERR_FILE_PACKED_SIZE, path, std::to_string(rules) + " rules, at most 255");
}

bool powerOfTwo(uint64_t v) { return v != 0 && (v & (v - 1)) == 0; }

// The filter and stripes are probed with size - 1 as a mask, and the eight
// stripes of a letter share the size of the first.
void Checker::checkSections() {
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        uint64_t stripe = 0;
        for (int section = 0; section <= 8; ++section) {
            QvbString path = paths_.getClkXHsYPath(letter, section);
            hx_fio_info info{};
            if (hx_fio_stat(path.asCstr(), &info) != 0 || info.isDir) continue;  // reported already
            if (!powerOfTwo(info.size)) {
                fail(QVNCOA_ERR_FILE_PACKED_SIZE, path,
                     "size " + std::to_string(info.size) + " is not a power of two");
            } else if (section == 1) {
                stripe = info.size;
            } else if (section > 1 && stripe != 0 && info.size != stripe) {
                fail(QVNCOA_ERR_FILE_PACKED_SIZE, path,
                     "size " + std::to_string(info.size) + " differs from its first stripe's " + std::to_string(stripe));
            }
        }
    }
}

// Updated daily apart from the discs, so on no header: optional, but when
// present a sorted run of whole 12-byte records, since it is binary-searched.
void Checker::checkDailyDel() {
    QvbString path = paths_.getDailyDelDatPath();
    hx_fio_info info{};
    if (hx_fio_stat(path.asCstr(), &info) != 0) return;
    if (info.isDir || info.size % 12 != 0) {
        fail(QVNCOA_ERR_FILE_PACKED_SIZE, path, "not a whole number of 12-byte records");
        return;
    }
    hx_file* f = nullptr;
    if (hx_fio_open(path.asCstr(), HX_FIO_READ, &f) != 0 || f == nullptr) {
        fail(QVNCOA_ERR_FILE_OPEN, path, "cannot be read");
        return;
    }
    hx_fio_closer closer(f);
    unsigned char prev[12] = {}, rec[12];
    for (uint64_t i = 0; i < info.size / 12; ++i) {
        if (hx_fio_getb(f, rec, sizeof rec) != 12) {
            fail(QVNCOA_ERR_FILE_OPEN, path, "cannot be read");
            return;
        }
        if (i > 0 && std::memcmp(prev, rec, 8) > 0) {
            fail(QVNCOA_ERR_FILE_PACKED_SIZE, path, "records not sorted by key at record " + std::to_string(i + 1));
            return;
        }
        std::memcpy(prev, rec, sizeof prev);
    }
}

int Checker::run(bool full, const qvncoa_prog_cb_t* progress) {
    headerOk_[0] = readHeader(0);
    headerOk_[1] = readHeader(1);
    if (headerOk_[0]) isHash_ = isHashDataSetLetter(headers_[0].setLetter);

    std::vector<Needed> needed = neededFiles();
    std::vector<char> present(needed.size(), 0);
    uint64_t totalBytes = 0;
    for (size_t i = 0; i < needed.size(); ++i) {
        const Needed& n = needed[i];
        uint64_t size = 0;
        if (!sizeOf(n.path, size, "missing, or not a file")) continue;
        present[i] = 1;
        if (n.recSize != 0 && (size == 0 || size % n.recSize != 0))
            fail(QVNCOA_ERR_FILE_PACKED_SIZE, n.path,
                 "size " + std::to_string(size) + " is not a whole number of " + std::to_string(n.recSize) +
                     "-byte records, at least one");
        if (!headerOk_[n.disc]) continue;
        auto it = headers_[n.disc].files.find(bareName(n.path));
        if (it == headers_[n.disc].files.end()) {
            fail(QVNCOA_ERR_FILE_NOT_IN_HEADER, n.path, "not listed in its disc header");
            present[i] = 0;
            continue;
        }
        if (it->second.size != size) {
            fail(QVNCOA_ERR_FILE_PACKED_SIZE, n.path,
                 "size " + std::to_string(size) + ", its disc header says " + std::to_string(it->second.size));
            present[i] = 0;
            continue;
        }
        totalBytes += size;
    }
    if (isHash_) {
        checkContentsLst();
        checkSections();
    }
    checkDailyDel();
    checkRulesLst();

    // Files a header lists besides these must be there too, wherever on the disc.
    for (int disc = 0; disc < 2; ++disc) {
        if (!headerOk_[disc]) continue;
        for (const auto& entry : headers_[disc].files) {
            bool known = false;
            for (const Needed& n : needed) known = known || (n.disc == disc && bareName(n.path) == entry.first);
            if (known) continue;
            QvbString folder(paths_.getRoot());
            folder.append(disc == 0 ? "/DVD 1/" : "/DVD 2/");
            bool found = false;
            for (const char* sub : {"", "clk/", "rv9/"}) {
                QvbString p(folder);
                p.append(sub);
                p.append(entry.first.asCstr());
                hx_fio_info info{};
                if (hx_fio_stat(p.asCstr(), &info) == 0 && !info.isDir) {
                    found = true;
                    if (info.size != entry.second.size)
                        fail(QVNCOA_ERR_FILE_PACKED_SIZE, p,
                             "size " + std::to_string(info.size) + ", its disc header says " +
                                 std::to_string(entry.second.size));
                    break;
                }
            }
            QvbString p(folder);
            p.append(entry.first.asCstr());
            if (!found) fail(QVNCOA_ERR_FILE_OPEN, p, "listed in its disc header but missing");
        }
    }

    if (full) {
        verifyProgressContext ctx;
        ctx.total = totalBytes;
        ctx.progress = const_cast<qvncoa_prog_cb_t*>(progress);
        qvncoa_prog_cb_t perFile = {qvncoa_file_verify_progress_callback, &ctx};
        for (size_t i = 0; i < needed.size(); ++i) {
            if (!present[i] || !headerOk_[needed[i].disc]) continue;
            int rc = testFileSHA(needed[i].path.asCstr(), headers_[needed[i].disc], &perFile);
            if (rc == QVNCOA_ERR_SHA1_MISMATCH)
                fail(rc, needed[i].path, "SHA-1 differs from its disc header");
            else if (rc != QVNCOA_OK)
                fail(rc, needed[i].path, "cannot be read");
        }
    }
    return firstCode_;
}

}  // namespace

extern "C" {

QVNCOA_API int qvncoa_check_data_set(const char* dataRoot, int full, const qvncoa_prog_cb_t* progress,
                                     const qvncoa_check_cb_t* each, char* errorText) {
    return atBoundary(errorText, [&]() -> int {
        if (dataRoot == nullptr || *dataRoot == '\0') return QVNCOA_ERR_ARGUMENT;
        Checker checker(dataRoot, each);
        int rc = checker.run(full != 0, progress);
        if (rc != QVNCOA_OK && errorText != nullptr) {
            size_t n = ncoa_strnlen(checker.firstPath().c_str(), QVNCOA_ERROR_TEXT_SIZE - 1);
            std::memcpy(errorText, checker.firstPath().c_str(), n);
            errorText[n] = '\0';
        }
        return rc;
    });
}

}  // extern "C"
