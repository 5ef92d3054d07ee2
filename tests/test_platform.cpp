// The hx_ file and folder layer, path helpers, SHA-1 and the class table.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "hx_fio.h"
#include "qvb_date.h"
#include "qvb_string.h"
#include "qvs_auth.h"
#include "TestSupport.h"

namespace {

std::string hex(const unsigned char* d) {
    char s[41];
    for (int i = 0; i < 20; ++i) std::snprintf(s + 2 * i, 3, "%02x", d[i]);
    return s;
}

void writeFile(const std::string& path, const std::string& data) {
    hx_file* f = nullptr;
    ASSERT_EQ(hx_fio_open(path.c_str(), HX_FIO_WRITE, &f), 0);
    ASSERT_EQ(hx_fio_putb(f, data.data(), data.size()), static_cast<int64_t>(data.size()));
    ASSERT_EQ(hx_fio_close(f), 0);
}

}  // namespace

TEST(HxFio, WriteReadSeekAndStat) {
    TempRoot dir;
    std::string path = dir.path("data.bin");
    // Larger than the layer's buffer so that flushing and refills are exercised.
    std::string data;
    for (int i = 0; i < 200000; ++i) data.push_back(static_cast<char>(i * 7 + i / 256));
    writeFile(path, data);

    hx_fio_info info{};
    ASSERT_EQ(hx_fio_stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.size, data.size());
    EXPECT_FALSE(info.isDir);
    EXPECT_EQ(hx_fio_stat(path.c_str(), nullptr), 0);
    EXPECT_EQ(hx_fio_stat(dir.path("missing").c_str(), nullptr), ENOENT);
    ASSERT_EQ(hx_fio_stat(dir.root.c_str(), &info), 0);
    EXPECT_TRUE(info.isDir);

    for (int mode : {HX_FIO_READ, HX_FIO_READ_PROBE}) {
        hx_file* f = nullptr;
        ASSERT_EQ(hx_fio_open(path.c_str(), mode, &f), 0);
        hx_fio_closer hold(f);
        EXPECT_GT(hx_fio_bufsize(f, -1), 0);
        std::string back(data.size() + 10, '\0');
        // Uneven pieces cross buffer boundaries.
        size_t got = 0;
        for (size_t piece = 1; got < data.size(); piece = piece * 3 + 1) {
            int64_t n = hx_fio_getb(f, &back[got], std::min(piece, back.size() - got));
            ASSERT_GT(n, 0);
            got += static_cast<size_t>(n);
        }
        EXPECT_EQ(got, data.size());
        EXPECT_EQ(back.substr(0, got), data);
        char c;
        EXPECT_EQ(hx_fio_getb(f, &c, 1), 0);

        EXPECT_EQ(hx_fio_seek(f, -10, HX_SEEK_END), static_cast<int64_t>(data.size() - 10));
        char tail[20];
        EXPECT_EQ(hx_fio_getb(f, tail, sizeof tail), 10);
        EXPECT_EQ(std::string(tail, 10), data.substr(data.size() - 10));
        // Scattered single-byte probes, back and forth.
        for (size_t at : {size_t(5), size_t(150000), size_t(4), size_t(70000), size_t(70001)}) {
            ASSERT_EQ(hx_fio_seek(f, static_cast<int64_t>(at), HX_SEEK_SET), static_cast<int64_t>(at));
            ASSERT_EQ(hx_fio_getb(f, &c, 1), 1);
            EXPECT_EQ(c, data[at]) << at;
        }
        EXPECT_EQ(hx_fio_seek(f, -1, HX_SEEK_SET), -1);
        EXPECT_EQ(hx_fio_seek(f, 0, 1), -1);
        EXPECT_EQ(hx_fio_syserr(f), EINVAL);
    }
}

TEST(HxFio, LinesAndTextWrites) {
    TempRoot dir;
    std::string path = dir.path("lines.txt");
    hx_file* f = nullptr;
    ASSERT_EQ(hx_fio_open(path.c_str(), HX_FIO_WRITE_NEW, &f), 0);
    EXPECT_EQ(hx_fio_puts(f, "first\n"), 6);
    EXPECT_EQ(hx_fio_puts(f, "0123456789"), 10);
    EXPECT_EQ(hx_fio_puts(f, "ABC\n\nlast"), 9);
    ASSERT_EQ(hx_fio_close(f), 0);

    ASSERT_EQ(hx_fio_open(path.c_str(), HX_FIO_READ, &f), 0);
    hx_fio_closer hold(f);
    char buf[8];
    std::vector<std::string> pieces;
    int n;
    while ((n = hx_fio_gets(f, buf, sizeof buf)) > 0) {
        EXPECT_EQ(static_cast<size_t>(n), std::strlen(buf));
        pieces.emplace_back(buf);
    }
    EXPECT_EQ(n, 0);
    // The 14-character line comes in pieces of at most size - 1.
    std::vector<std::string> want = {"first\n", "0123456", "789ABC\n", "\n", "last"};
    EXPECT_EQ(pieces, want);

    // Writing replaces the file.
    writeFile(path, "x");
    hx_fio_info info{};
    ASSERT_EQ(hx_fio_stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.size, 1u);
}

TEST(HxFio, FailuresAndNullHandles) {
    TempRoot dir;
    hx_file* f = reinterpret_cast<hx_file*>(&dir);
    EXPECT_EQ(hx_fio_open(dir.path("nope").c_str(), HX_FIO_READ, &f), ENOENT);
    EXPECT_EQ(f, nullptr);
    EXPECT_EQ(hx_fio_open(dir.root.c_str(), HX_FIO_READ, &f), EISDIR);
    EXPECT_EQ(hx_fio_open(dir.path("x").c_str(), 99, &f), EINVAL);
    EXPECT_NE(hx_fio_open(dir.path("no/such/dir").c_str(), HX_FIO_WRITE, &f), 0);
    EXPECT_EQ(f, nullptr);

    // A failed read reports its system error on the handle.
    writeFile(dir.path("w"), "abc");
    ASSERT_EQ(hx_fio_open(dir.path("w").c_str(), HX_FIO_WRITE, &f), 0);
    char c;
    EXPECT_EQ(hx_fio_syserr(f), 0);
    EXPECT_EQ(hx_fio_getb(f, &c, 1), -1);
    EXPECT_EQ(hx_fio_syserr(f), EBADF);
    EXPECT_EQ(hx_fio_close(f), 0);

    EXPECT_EQ(hx_fio_close(nullptr), 0);
    EXPECT_EQ(std::vector<int64_t>({hx_fio_seek(nullptr, 0, HX_SEEK_SET), hx_fio_getb(nullptr, &c, 1),
                                    hx_fio_putb(nullptr, &c, 1), hx_fio_gets(nullptr, &c, 1), hx_fio_puts(nullptr, "x"),
                                    hx_fio_bufsize(nullptr, -1)}),
              std::vector<int64_t>(6, -1));
    EXPECT_NE(hx_fio_syserr(nullptr), 0);
    EXPECT_NE(hx_dir_next(nullptr, &c, 1), HX_DIR_OK);
    hx_dir_close(nullptr);
}

TEST(HxDir, WalkWithFolder) {
    TempRoot dir;
    writeFile(dir.path("a.SZP"), "1");
    writeFile(dir.path("b.txt"), "2");
    ASSERT_EQ(mkdir(dir.path("sub").c_str(), 0755), 0);

    for (std::string root : {dir.root, dir.root + "/"}) {
        hx_dir* d = nullptr;
        ASSERT_EQ(hx_dir_open(root.c_str(), HX_DIR_WITH_FOLDER, &d), 0);
        char buf[1024];
        std::set<std::string> seen;
        int rc;
        while ((rc = hx_dir_next(d, buf, sizeof buf)) == HX_DIR_OK) seen.insert(buf);
        EXPECT_EQ(rc, HX_DIR_END);
        hx_dir_close(d);
        std::set<std::string> want = {dir.path("a.SZP"), dir.path("b.txt"), dir.path("sub"), dir.path("DVD 1"),
                                      dir.path("DVD 2")};
        EXPECT_EQ(seen, want);
    }

    hx_dir* d = nullptr;
    ASSERT_EQ(hx_dir_open(dir.root.c_str(), HX_DIR_WITH_FOLDER, &d), 0);
    char tiny[4];
    EXPECT_EQ(hx_dir_next(d, tiny, sizeof tiny), ENAMETOOLONG);
    hx_dir_close(d);
    EXPECT_EQ(hx_dir_open(dir.path("none").c_str(), HX_DIR_WITH_FOLDER, &d), ENOENT);
    EXPECT_EQ(d, nullptr);
}

TEST(HxPath, SplitAndJoin) {
    char folder[64], name[64];
    ASSERT_EQ(hx_fio_pparse("/data/DVD 1/clk.a.hs1", folder, sizeof folder, name, sizeof name), 0);
    EXPECT_STREQ(folder, "/data/DVD 1/");
    EXPECT_STREQ(name, "clk.a.hs1");
    ASSERT_EQ(hx_fio_pparse("bare.dat", folder, sizeof folder, name, sizeof name), 0);
    EXPECT_STREQ(folder, "");
    EXPECT_STREQ(name, "bare.dat");
    ASSERT_EQ(hx_fio_pparse("/data/", folder, sizeof folder, name, sizeof name), 0);
    EXPECT_STREQ(folder, "/data/");
    EXPECT_STREQ(name, "");
    // Exactly fitting, then one too small: both parts come back empty.
    ASSERT_EQ(hx_fio_pparse("/ab/cd", folder, 5, name, 3), 0);
    EXPECT_STREQ(folder, "/ab/");
    EXPECT_EQ(hx_fio_pparse("/ab/cd", folder, 4, name, 3), -1);
    EXPECT_STREQ(folder, "");
    EXPECT_STREQ(name, "");
    EXPECT_EQ(hx_fio_pparse("/ab/cd", folder, 5, name, 2), -1);
    EXPECT_STREQ(folder, "");
    EXPECT_EQ(hx_fio_pparse(nullptr, folder, 5, name, 5), -1);

    char out[16];
    ASSERT_EQ(hx_fio_pcat("/to", "clk.a.hs1", out, sizeof out), 0);
    EXPECT_STREQ(out, "/to/clk.a.hs1");
    ASSERT_EQ(hx_fio_pcat("/to/", "/x", out, sizeof out), 0);
    EXPECT_STREQ(out, "/to/x");
    ASSERT_EQ(hx_fio_pcat("", "x", out, sizeof out), 0);
    EXPECT_STREQ(out, "x");
    ASSERT_EQ(hx_fio_pcat("/t", "0123456789ab", out, sizeof out), 0);  // 15 characters
    EXPECT_EQ(hx_fio_pcat("/t", "0123456789abc", out, sizeof out), -1);
    EXPECT_STREQ(out, "");
}

TEST(QvsAuth, Fips180Vectors) {
    unsigned char d[20];
    ASSERT_EQ(qvs_auth_get_sha1("abc", 3, d), 0);
    EXPECT_EQ(hex(d), "a9993e364706816aba3e25717850c26c9cd0d89d");
    ASSERT_EQ(qvs_auth_get_sha1(nullptr, 0, d), 0);
    EXPECT_EQ(hex(d), "da39a3ee5e6b4b0d3255bfef95601890afd80709");

    std::string million(1000000, 'a');
    ASSERT_EQ(qvs_auth_get_sha1(million.data(), million.size(), d), 0);
    EXPECT_EQ(hex(d), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");

    // Streaming in uneven chunks, empty updates included, equals the one-shot.
    qvs_sha1_ctx* ctx = nullptr;
    ASSERT_EQ(qvs_auth_init_streaming_sha1(&ctx), 0);
    size_t at = 0;
    for (size_t chunk = 0; at < million.size(); chunk = (chunk * 7 + 13) % 4099) {
        size_t n = std::min(chunk, million.size() - at);
        ASSERT_EQ(qvs_auth_update_streaming_sha1(ctx, million.data() + at, n), 0);
        at += n;
    }
    unsigned char s[20];
    ASSERT_EQ(qvs_auth_finish_streaming_sha1(ctx, s), 0);
    EXPECT_EQ(hex(s), hex(d));
    EXPECT_NE(qvs_auth_update_streaming_sha1(nullptr, "a", 1), 0);
    EXPECT_NE(qvs_auth_finish_streaming_sha1(nullptr, s), 0);
}

TEST(HxCtype, DigitsAndLettersOnly) {
    for (int c = 0; c < 256; ++c) {
        unsigned char want = 0;
        if (c >= '0' && c <= '9') want = HX_CT_DIGIT;
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) want = HX_CT_ALPHA;
        EXPECT_EQ(hx_uchar_astype_table[c], want) << c;
    }
    EXPECT_TRUE(hx_isalnum('7'));
    EXPECT_FALSE(hx_isalpha(0xC9));  // no letters beyond ASCII
}

TEST(QvbString, MidTrimAndDate) {
    QvbString s("  ab cd \t\r\n");
    EXPECT_STREQ(s.mid(2, 2).asCstr(), "ab");
    EXPECT_STREQ(s.mid(5).asCstr(), "cd \t\r\n");
    EXPECT_STREQ(s.mid(5, 100).asCstr(), "cd \t\r\n");
    EXPECT_STREQ(s.mid(11).asCstr(), "");
    EXPECT_STREQ(s.mid(-1, 2).asCstr(), "");
    QvbString r = s;
    EXPECT_STREQ(r.trim(false, true).asCstr(), "  ab cd");
    EXPECT_STREQ(s.trim(true, true).asCstr(), "ab cd");
    QvbString blank("   ");
    EXPECT_EQ(blank.trim(true, false).length(), 0);

    std::tm t{};  // 2024-02-29 13:05:09, local
    t.tm_year = 124, t.tm_mon = 1, t.tm_mday = 29, t.tm_hour = 13, t.tm_min = 5, t.tm_sec = 9, t.tm_isdst = -1;
    QvbDate d;
    d.assign(static_cast<double>(mktime(&t)));
    int y, mo, da, h, mi, se;
    d.getElements(y, mo, da, h, mi, se);
    EXPECT_EQ((std::vector<int>{y, mo, da, h, mi, se}), (std::vector<int>{2024, 2, 29, 13, 5, 9}));
}
