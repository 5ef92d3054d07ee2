#include "DVDHeader.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "DataTables.h"
#include "hx_fio.h"
#include "qvs_auth.h"

namespace QV_NCOA {

namespace {

// Columns 0-17 of the first seven lines are labels.
constexpr int kValueColumn = 18;

int numberAt(const QvbString& line, int column) {
    return std::atoi(line.mid(column).asCstr());
}

char charAt(const QvbString& line, int column) {
    return column < line.length() ? line.asCstr()[column] : '\0';
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

DVDHeader::file parseFileLine(const QvbString& line) {
    DVDHeader::file f;
    f.name.cpyIn(line.mid(0, 21).asCstr());

    QvbString size = line.mid(21, 13);
    size.trim(true, true);
    f.size = atoi64(size.asCstr());

    QvbString hex = line.mid(35, 79);
    hex.trim(true, true);
    char digits[41] = {};
    int n = 0;
    for (const char* p = hex.asCstr(); *p != '\0' && n < 40; ++p) {
        if (*p != ' ') digits[n++] = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
    }
    // Fewer than 40 digits leave the terminating NUL to be read as a digit: invalid.
    digits[n] = '\0';
    for (int i = 0; i < 20; ++i) {
        int hi = hexValue(digits[2 * i]);
        int lo = hi < 0 ? -1 : hexValue(digits[2 * i + 1]);
        if (hi < 0 || lo < 0) throw qvncoa_exception(1080);
        f.sha1[i] = static_cast<unsigned char>(hi * 16 + lo);
    }
    return f;
}

void copyText(char* errorText, const char* text) {
    if (errorText == nullptr) return;
    size_t n = ncoa_strnlen(text, QVNCOA_ERROR_TEXT_SIZE - 1);
    std::memcpy(errorText, text, n);
    errorText[n] = '\0';
}

// The bare name of a header line: the field without its padding.
QvbString keyOf(const DVDHeader::file& f) {
    QvbString k(f.name.buf);
    k.trim(true, true);
    return k;
}

}  // namespace

void fillDVDHeader(DVDHeader& header, const std::vector<QvbString>& lines) {
    if (lines.size() < 7) throw qvncoa_exception(1080);

    header.setName.cpyIn(lines[0].mid(kValueColumn).asCstr());
    header.setLetter = charAt(lines[0], 68);
    header.setLetter2 = charAt(lines[0], 69);
    header.lineDigit1 = static_cast<uint8_t>(std::atoi(lines[1].mid(kValueColumn, 1).asCstr()));
    header.lineDigit2 = static_cast<uint8_t>(std::atoi(lines[1].mid(23, 1).asCstr()));
    header.date1.cpyIn(lines[2].mid(kValueColumn).asCstr());
    header.date1Time = YYYYMMDDToTime(header.date1.buf);
    header.sequence = numberAt(lines[3], kValueColumn);
    header.date2.cpyIn(lines[4].mid(kValueColumn).asCstr());
    header.date2Time = YYYYMMDDToTime(header.date2.buf);
    header.date3.cpyIn(lines[5].mid(kValueColumn).asCstr());
    header.date3Time = YYYYMMDDToTime(header.date3.buf);
    header.fileCount = numberAt(lines[6], kValueColumn);

    for (size_t i = 7; i < lines.size(); ++i) {
        DVDHeader::file f = parseFileLine(lines[i]);
        header.files.emplace(keyOf(f), f);  // an earlier line of the same name stays
    }
}

void readDVDHeaders(const CNCOA_FileManager& paths, DVDHeader (&headers)[2]) {
    headers[0].files.clear();
    headers[1].files.clear();
    for (int disc = 0; disc < 2; ++disc) {
        QvbString path = paths.getDVDHeaderPath(disc);
        std::vector<QvbString> lines;
        int err = 0;
        if (!readTextLineFile(path.asCstr(), lines, err)) throw fio_file_error(1040, path.asCstr());
        fillDVDHeader(headers[disc], lines);
    }
}

int daysUntilExpiration(const DVDHeader& firstDisc, time_t now) {
    double days = std::difftime(now, firstDisc.date1Time) / 86400.0;
    return static_cast<int>(kDataSetMaxAgeDays - days);
}

bool isHashDataSetLetter(char letter) {
    if (letter == '\0' || std::strchr("ABCDEF", letter) == nullptr) throw qvncoa_exception(1080);
    return letter == 'A' || letter == 'C' || letter == 'E';
}

int qvncoa_file_verify_progress_callback(unsigned int count, unsigned int /*total*/, qvncoa_out_addr_t* /*unused*/,
                                         void* context) {
    if (context == nullptr) return 1050;
    auto* ctx = static_cast<verifyProgressContext*>(context);
    if (ctx->total == 0) return 1000;
    uint64_t before = ctx->done * 100 / ctx->total;
    ctx->done += count;
    uint64_t after = ctx->done * 100 / ctx->total;
    if (ctx->progress != nullptr && ctx->progress->callback != nullptr && after != before) {
        ctx->progress->callback(static_cast<unsigned>(after), 100, nullptr, ctx->progress->userData);
    }
    return 1000;
}

int fileSHA1(const char* path, unsigned char* digest, qvncoa_prog_cb_t* progress) {
    unsigned size = 0;
    int err = 0;
    if (!fileSize(path, size, err)) return 1040;
    hx_file* f = nullptr;
    if (hx_fio_open(path, HX_FIO_READ, &f) != 0 || f == nullptr) return 1040;
    hx_fio_closer hold(f);

    long bufSize = hx_fio_bufsize(f, -1);
    if (bufSize <= 0) bufSize = 64 * 1024;
    std::unique_ptr<unsigned char[]> buf(new unsigned char[static_cast<size_t>(bufSize)]);

    qvs_sha1_ctx* sha = nullptr;
    if (qvs_auth_init_streaming_sha1(&sha) != 0) throw std::bad_alloc();
    int64_t got;
    do {
        got = hx_fio_getb(f, buf.get(), static_cast<size_t>(bufSize));
        // A failed read adds nothing; the digest then differs from the header's.
        size_t used = got > 0 ? static_cast<size_t>(got) : 0;
        qvs_auth_update_streaming_sha1(sha, buf.get(), used);
        if (progress != nullptr && progress->callback != nullptr &&
            progress->callback(static_cast<unsigned>(used), size, nullptr, progress->userData) != 1000) {
            unsigned char discard[QVS_SHA1_SIZE];
            qvs_auth_finish_streaming_sha1(sha, discard);
            return 1053;
        }
    } while (got > 0);
    qvs_auth_finish_streaming_sha1(sha, digest);
    return 1000;
}

int testFileSHA(const char* path, const DVDHeader& header, qvncoa_prog_cb_t* progress) {
    char folder[1024];
    char name[1024];
    hx_fio_pparse(path, folder, sizeof folder, name, sizeof name);
    auto it = header.files.find(QvbString(name));
    if (it == header.files.end()) return 1082;
    unsigned char digest[QVS_SHA1_SIZE];
    int rc = fileSHA1(path, digest, progress);
    if (rc != 1000) return rc;
    return std::memcmp(digest, it->second.sha1, QVS_SHA1_SIZE) != 0 ? 1081 : 1000;
}

int verifyDVDFileHashes(const CNCOA_FileManager& paths, const DVDHeader (&headers)[2], bool isHashData,
                        QvbString& failedFile, qvncoa_prog_cb_t* progress) {
    const DVDHeader& disc1 = headers[0];
    const DVDHeader& disc2 = headers[1];
    std::vector<std::pair<QvbString, const DVDHeader*>> list = {
        {paths.getLCDPath(), &disc2},         {paths.getZIPLstPath(), &disc2},      {paths.getHintLstPath(), &disc2},
        {paths.getContentsLstPath(), &disc2}, {paths.getClkHsbPath(), &disc2},      {paths.getBusinessLstPath(), &disc2},
        {paths.getX11Path(), &disc2},         {paths.getCzpDatPath(), &disc2},      {paths.getClnDatPath(), &disc2},
        {paths.getLeftRitePath(), &disc2},    {paths.getRv9EsdPath(), &disc2},      {paths.getPnoDatPath(), &disc2},
        {paths.getDscDatPath(), &disc2},      {paths.getSnoDatPath(), &disc2},      {paths.getSufDatPath(), &disc2},
        {paths.getNamDatPath(), &disc2},      {paths.getCrdDatPath(), &disc2},      {paths.getLlnDatPath(), &disc2},
        {paths.getDphHsaPath(), &disc2},      {paths.getNormalFPath(), &disc2},     {paths.getNormalLPath(), &disc2},
        {paths.getNickLstPath(), &disc2},     {paths.getNonofLstPath(), &disc2},    {paths.getNonolLstPath(), &disc2},
        {paths.getRulesLstPath(), &disc2},    {paths.getUrbxLstPath(), &disc2},     {paths.getGenderTxtPath(), &disc2},
    };
    if (isHashData) {
        for (char letter = 'a'; letter <= 'z'; ++letter) {
            list.emplace_back(paths.getClkXHsYPath(letter, 0), &disc2);
            for (int section = 1; section <= 9; ++section) list.emplace_back(paths.getClkXHsYPath(letter, section), &disc1);
        }
    } else {
        list.emplace_back(paths.getCLKFLTPath(0), &disc1);
        list.emplace_back(paths.getCLKFLTPath(1), &disc1);
        list.emplace_back(paths.getCLKFLTPath(2), &disc2);
    }

    verifyProgressContext ctx;
    for (const auto& item : list) {
        unsigned size = 0;
        int err = 0;
        if (!fileSize(item.first.asCstr(), size, err)) return 1040;
        ctx.total += size;
    }
    ctx.progress = progress;
    qvncoa_prog_cb_t perFile = {qvncoa_file_verify_progress_callback, &ctx};

    for (const auto& item : list) {
        int rc = testFileSHA(item.first.asCstr(), *item.second, &perFile);
        if (rc != 1000) {
            failedFile = item.first;
            return rc;
        }
    }
    return 1000;
}

int validateDVDFileHashSignatures(CNCOA_DataTables& tables, const qvncoa_prog_cb_t* progress, char* errorText) {
    qvncoa_prog_cb_t caller = {nullptr, nullptr};
    if (progress != nullptr) caller = *progress;
    QvbString failed;
    int rc = tables.verifyDVDFileHashes(failed, progress != nullptr ? &caller : nullptr);
    if (rc != 1081) return 1000;
    // The failing path is the whole mismatch list: verification stops at the first.
    // errorText is tested for null here too, as everywhere at the boundary.
    copyText(errorText, failed.asCstr());
    return 1081;
}

}  // namespace QV_NCOA
