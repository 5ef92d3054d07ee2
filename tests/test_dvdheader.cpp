// Disc headers, the age of the data, and the proof of a data set by SHA-1.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "DVDHeader.h"
#include "DataTables.h"
#include "TestSupport.h"
#include "qvs_auth.h"

using namespace QV_NCOA;

namespace {

std::string hexOf(const std::string& data, bool lower) {
    unsigned char d[20];
    qvs_auth_get_sha1(data.data(), data.size(), d);
    std::string s;
    char b[3];
    for (int i = 0; i < 20; ++i) {
        std::snprintf(b, sizeof b, lower ? "%02x" : "%02X", d[i]);
        s += b;
        if (i % 4 == 3 && i < 19) s += ' ';  // the header groups the digits
    }
    return s;
}

std::string label(const char* text) {
    std::string s(text);
    s.resize(18, ' ');
    return s;
}

std::string fileLine(const std::string& name, size_t size, const std::string& hex) {
    std::string s = name;
    s.resize(21, ' ');
    std::string n = std::to_string(size);
    s += std::string(13 - n.size(), ' ') + n + " " + hex;
    return s;
}

std::vector<QvbString> headLines(char letter, const char* date1) {
    std::string l0 = label("DATA SET") + "NCOALINK TEST SET";
    l0.resize(68, ' ');
    l0 += letter;
    l0 += '1';
    return {l0.c_str(),
            (label("TYPE") + "3    7").c_str(),
            (label("DATE 1") + date1).c_str(),
            (label("SEQUENCE") + "4711").c_str(),
            (label("DATE 2") + "20240102").c_str(),
            (label("DATE 3") + "20240103").c_str(),
            (label("FILES") + "12").c_str()};
}

int fillCode(const std::vector<QvbString>& lines) {
    DVDHeader h;
    return errCodeOf<qvncoa_exception>([&] { fillDVDHeader(h, lines); });
}

// A complete small data set on disk, of the hash or the flat kind.
class DataSet : public TempRoot {
public:
    explicit DataSet(bool hash) : hash_(hash) {
        paths.setRoot(root.c_str());
        const char* disc2Files[] = {"lcd", "zip.lst", "hint.lst", "contents.lst", "clk.hsb", "business.lst", "x11",
                                    "czp.dat", "cln.dat", "leftrite.txt", "rv9.esd", "pno.dat", "dsc.dat", "sno.dat",
                                    "suf.dat", "nam.dat", "crd.dat", "lln.dat", "dph.hsa", "normalf.lst",
                                    "normall.lst", "nick.lst", "nonof.lst", "nonol.lst", "rules.lst", "urbx.lst",
                                    "gender.txt"};
        int i = 0;
        for (const char* name : disc2Files) {
            bool rv9 = std::strstr("czp.dat cln.dat rv9.esd pno.dat dsc.dat sno.dat suf.dat nam.dat crd.dat lln.dat",
                                   name) != nullptr;
            bool top = std::strcmp(name, "clk.hsb") == 0;
            add(std::string(top ? "/DVD 2/" : rv9 ? "/DVD 2/rv9/" : "/DVD 2/clk/") + name, 1, 200 + 37 * i++);
        }
        if (hash) {
            for (char c = 'a'; c <= 'z'; ++c) {
                add(std::string("/DVD 2/clk.") + c + ".hs0", 1, 50 + c);
                for (int s = 1; s <= 9; ++s) add(std::string("/DVD 1/clk.") + c + ".hs" + std::to_string(s), 0, 20 + s);
            }
        } else {
            // Large enough for several blocks of the file layer.
            add("/DVD 1/clk.flt.1", 0, 300000);
            add("/DVD 1/clk.flt.2", 0, 150001);
            add("/DVD 2/clk.flt.3", 1, 77777);
        }
    }
    // Header lines of both discs, files listed in the order added.
    void writeHeaders() {
        for (int disc = 0; disc < 2; ++disc) {
            std::vector<QvbString> lines = headLines(hash_ ? 'A' : 'B', "20240101");
            for (const std::string& l : listed_[disc]) lines.push_back(l.c_str());
            std::vector<QvbString> all = lines;
            DVDHeader h;
            fillDVDHeader(h, all);
            headers[disc] = h;
        }
    }
    void unlist(int disc, const std::string& name) {
        for (auto it = listed_[disc].begin(); it != listed_[disc].end(); ++it)
            if (it->compare(0, name.size() + 1, name + " ") == 0) {
                listed_[disc].erase(it);
                return;
            }
    }
    void list(int disc, const std::string& name, const std::string& content) {
        listed_[disc].push_back(fileLine(name, content.size(), hexOf(content, disc == 0)));
    }
    void overwrite(const std::string& rel, const std::string& content) { write(rel, content); }
    // Paths as the file layer names them: the root and the rest, one slash apart.
    std::string path(const std::string& rel) const { return root + rel; }
    uint64_t total() const { return total_; }

    CNCOA_FileManager paths;
    DVDHeader headers[2];

private:
    void add(const std::string& rel, int disc, size_t size) {
        std::string content(size, '\0');
        for (size_t k = 0; k < size; ++k) content[k] = static_cast<char>(k * 31 + rel.size());
        overwrite(rel, content);
        list(disc, rel.substr(rel.rfind('/') + 1), content);
        total_ += size;
    }

    bool hash_;
    std::vector<std::string> listed_[2];
    uint64_t total_ = 0;
};

struct Recorder {
    std::vector<unsigned> calls;
    int answer = 1000;
    static int cb(unsigned cur, unsigned total, qvncoa_out_addr_t* rec, void* self) {
        auto* r = static_cast<Recorder*>(self);
        EXPECT_EQ(total, 100u);
        EXPECT_EQ(rec, nullptr);
        r->calls.push_back(cur);
        return r->answer;
    }
};

}  // namespace

TEST(DVDHeader, FillsFieldsFromColumns) {
    std::vector<QvbString> lines = headLines('C', "20240315");
    lines.push_back(fileLine("clk.a.hs1", 123456, hexOf("abc", true)).c_str());
    lines.push_back(fileLine("x11", 99, hexOf("x", false)).c_str());
    lines.push_back(fileLine("x11", 5, hexOf("other", false)).c_str());  // a second x11: the first stays
    DVDHeader h;
    fillDVDHeader(h, lines);
    EXPECT_EQ(std::string(h.setName.buf) + "|" + h.setLetter + h.setLetter2 + "|" + std::to_string(h.lineDigit1) +
                  std::to_string(h.lineDigit2) + "|" + h.date1.buf + "|" + std::to_string(h.sequence) + "|" +
                  h.date3.buf + "|" + std::to_string(h.fileCount),
              "NCOALINK TEST SET" + std::string(33, ' ') + "|C1|37|20240315|4711|20240103|12");
    EXPECT_EQ(h.date1Time, YYYYMMDDToTime("20240315"));
    ASSERT_EQ(h.files.size(), 2u);
    const DVDHeader::file& f = h.files.at("clk.a.hs1");
    EXPECT_EQ(f.size, 123456u);
    EXPECT_EQ(f.sha1[0], 0xa9);  // SHA-1 of "abc", lower-case digits accepted
    EXPECT_EQ(f.sha1[19], 0x9d);
    EXPECT_EQ(h.files.at("x11").size, 99u);

    // Exactly seven lines: no files. Six: malformed.
    DVDHeader empty;
    fillDVDHeader(empty, headLines('A', "20240101"));
    EXPECT_TRUE(empty.files.empty());
    std::vector<QvbString> six = headLines('A', "20240101");
    six.pop_back();
    EXPECT_EQ(fillCode(six), 1080);
    // A digit outside hexadecimal, or too few digits.
    std::vector<QvbString> bad = headLines('A', "20240101");
    bad.push_back(fileLine("lcd", 1, "G" + hexOf("abc", false).substr(1)).c_str());
    EXPECT_EQ(fillCode(bad), 1080);
    bad.back() = fileLine("lcd", 1, hexOf("abc", false).substr(0, 40)).c_str();
    EXPECT_EQ(fillCode(bad), 1080);
}

TEST(DVDHeader, AgeAndSetLetter) {
    DVDHeader h;
    time_t now = std::time(nullptr);
    h.date1Time = now;
    EXPECT_EQ(daysUntilExpiration(h, now), 45);
    h.date1Time = now - (45 * 86400 + 23 * 3600);
    EXPECT_EQ(daysUntilExpiration(h, now), 0);  // still accepted
    h.date1Time = now - 46 * 86400;
    EXPECT_EQ(daysUntilExpiration(h, now), -1);  // refused
    h.date1Time = now + 10 * 86400;
    EXPECT_EQ(daysUntilExpiration(h, now), 55);

    EXPECT_TRUE(isHashDataSetLetter('A') && isHashDataSetLetter('C') && isHashDataSetLetter('E'));
    EXPECT_FALSE(isHashDataSetLetter('B') || isHashDataSetLetter('D') || isHashDataSetLetter('F'));
    for (char c : {'G', 'a', '\0', ' '})
        EXPECT_EQ(errCodeOf<qvncoa_exception>([&] { isHashDataSetLetter(c); }), 1080) << int(c);
}

TEST(DVDHeader, ReadsBothDiscsAndDropsStaleFiles) {
    DataSet set(false);
    DVDHeader headers[2];
    // (A missing header's 1040 and path: Boundary.FailedStartUpLeavesTheObjectForTheCallerToDestroy.)
    std::string text;
    for (const QvbString& l : headLines('B', "20240101")) text += std::string(l.asCstr()) + "   \r\n";
    set.overwrite("/DVD 1/dvdhdr01.dat", text + fileLine("clk.flt.1", 1, hexOf("1", false)) + "\n");
    set.overwrite("/DVD 2/dvdhdr02.dat", text);
    headers[1].files["stale"] = DVDHeader::file();
    readDVDHeaders(set.paths, headers);
    EXPECT_EQ(headers[0].setLetter, 'B');
    EXPECT_EQ(headers[0].files.count("clk.flt.1"), 1u);
    EXPECT_TRUE(headers[1].files.empty());
}

TEST(DVDVerify, FlatSetProgressAndFailures) {
    DataSet set(false);
    set.writeHeaders();
    QvbString failed("untouched");
    Recorder rec;
    qvncoa_prog_cb_t cb = {Recorder::cb, &rec};
    ASSERT_EQ(verifyDVDFileHashes(set.paths, set.headers, false, failed, &cb), 1000);
    EXPECT_STREQ(failed.asCstr(), "untouched");
    // At most one call for each whole percentage, rising, ending at 100.
    ASSERT_FALSE(rec.calls.empty());
    EXPECT_LE(rec.calls.size(), 100u);
    for (size_t i = 1; i < rec.calls.size(); ++i) EXPECT_GT(rec.calls[i], rec.calls[i - 1]);
    EXPECT_EQ(rec.calls.back(), 100u);

    // (That the caller's answer can't stop it: DVDVerify.ExportedBoundary.)
    EXPECT_EQ(verifyDVDFileHashes(set.paths, set.headers, false, failed, nullptr), 1000);

    set.overwrite("/DVD 1/clk.flt.2", "changed");
    EXPECT_EQ(verifyDVDFileHashes(set.paths, set.headers, false, failed, nullptr), 1081);
    EXPECT_EQ(std::string(failed.asCstr()), set.path("/DVD 1/clk.flt.2"));

    set.unlist(1, "urbx.lst");
    set.writeHeaders();
    EXPECT_EQ(verifyDVDFileHashes(set.paths, set.headers, false, failed, nullptr), 1082);
    EXPECT_EQ(std::string(failed.asCstr()), set.path("/DVD 2/clk/urbx.lst"));

    failed = "untouched";
    std::remove(set.path("/DVD 2/rv9/rv9.esd").c_str());
    EXPECT_EQ(verifyDVDFileHashes(set.paths, set.headers, false, failed, &cb), 1040);
    EXPECT_STREQ(failed.asCstr(), "untouched");
}

TEST(DVDVerify, HashSetTakesEachSectionFromItsDisc) {
    DataSet set(true);
    set.writeHeaders();
    QvbString failed;
    ASSERT_EQ(verifyDVDFileHashes(set.paths, set.headers, true, failed, nullptr), 1000);
    // Listed on the wrong disc counts as not listed.
    set.unlist(1, "clk.q.hs0");
    set.list(0, "clk.q.hs0", "whatever");
    set.writeHeaders();
    EXPECT_EQ(verifyDVDFileHashes(set.paths, set.headers, true, failed, nullptr), 1082);
    EXPECT_EQ(std::string(failed.asCstr()), set.path("/DVD 2/clk.q.hs0"));
    // Read as a flat set, the flat files are missing.
    EXPECT_EQ(verifyDVDFileHashes(set.paths, set.headers, false, failed, nullptr), 1040);
}

TEST(DVDVerify, FileDigestAndProgressCallback) {
    DataSet set(false);
    std::string path = set.path("/DVD 1/clk.flt.1");
    unsigned char digest[20];
    struct Blocks {
        uint64_t sum = 0;
        unsigned size = 0;
        int calls = 0;
        int stopAfter = -1;
        static int cb(unsigned cur, unsigned total, qvncoa_out_addr_t*, void* self) {
            auto* b = static_cast<Blocks*>(self);
            b->sum += cur;
            b->size = total;
            return ++b->calls == b->stopAfter ? 0 : 1000;
        }
    } blocks;
    qvncoa_prog_cb_t cb = {Blocks::cb, &blocks};
    ASSERT_EQ(fileSHA1(path.c_str(), digest, &cb), 1000);
    EXPECT_EQ(blocks.sum, 300000u);
    EXPECT_EQ(blocks.size, 300000u);
    EXPECT_GE(blocks.calls, 2);  // the last, empty read is reported too
    unsigned char noCb[20];
    ASSERT_EQ(fileSHA1(path.c_str(), noCb, nullptr), 1000);
    EXPECT_EQ(std::memcmp(digest, noCb, 20), 0);

    Blocks cancel;
    cancel.stopAfter = 1;
    qvncoa_prog_cb_t cancelCb = {Blocks::cb, &cancel};
    EXPECT_EQ(fileSHA1(path.c_str(), digest, &cancelCb), 1053);
    EXPECT_EQ(cancel.calls, 1);
    EXPECT_EQ(fileSHA1(set.path("/nothing").c_str(), digest, nullptr), 1040);

    // The whole-set callback: every percentage once when blocks are small.
    Recorder rec;
    qvncoa_prog_cb_t user = {Recorder::cb, &rec};
    verifyProgressContext ctx;
    ctx.total = 1000;
    ctx.progress = &user;
    for (int i = 0; i < 334; ++i) EXPECT_EQ(qvncoa_file_verify_progress_callback(3, 0, nullptr, &ctx), 1000);
    ASSERT_EQ(rec.calls.size(), 100u);
    for (unsigned i = 0; i < 100; ++i) EXPECT_EQ(rec.calls[i], i + 1);
    EXPECT_EQ(qvncoa_file_verify_progress_callback(3, 0, nullptr, nullptr), 1050);
    ctx.total = 0;
    EXPECT_EQ(qvncoa_file_verify_progress_callback(3, 0, nullptr, &ctx), 1000);
    EXPECT_EQ(rec.calls.size(), 100u);
}

TEST(DVDVerify, ExportedBoundary) {
    DataSet set(false);
    set.writeHeaders();
    auto tables = std::make_unique<CNCOA_DataTables>();
    tables->setRoot(set.path("").c_str());
    tables->dvdHeader[0] = set.headers[0];
    tables->dvdHeader[1] = set.headers[1];
    tables->isHashData = false;

    char errorText[QVNCOA_ERROR_TEXT_SIZE] = "untouched";
    Recorder stop;
    stop.answer = 0;
    qvncoa_prog_cb_t cb = {Recorder::cb, &stop};
    // A cancelling callback is not heard: the whole set is proved.
    EXPECT_EQ(validateDVDFileHashSignatures(*tables, &cb, errorText), 1000);
    EXPECT_EQ(stop.calls.back(), 100u);
    EXPECT_STREQ(errorText, "untouched");

    set.overwrite("/DVD 2/clk/gender.txt", "X");
    EXPECT_EQ(validateDVDFileHashSignatures(*tables, nullptr, errorText), 1081);
    EXPECT_EQ(std::string(errorText), set.path("/DVD 2/clk/gender.txt"));
    EXPECT_EQ(validateDVDFileHashSignatures(*tables, nullptr, nullptr), 1081);

    // Other failures of the verification (1082, 1040) are not reported.
    std::strcpy(errorText, "untouched");
    set.unlist(1, "gender.txt");
    set.writeHeaders();
    tables->dvdHeader[1] = set.headers[1];
    EXPECT_EQ(validateDVDFileHashSignatures(*tables, nullptr, errorText), 1000);
    std::remove(set.path("/DVD 2/clk/lcd").c_str());
    EXPECT_EQ(validateDVDFileHashSignatures(*tables, nullptr, errorText), 1000);
    EXPECT_STREQ(errorText, "untouched");

    EXPECT_EQ(qvncoa_validateDVDFileHashSignatures(nullptr, &cb, errorText), 1051);
}
