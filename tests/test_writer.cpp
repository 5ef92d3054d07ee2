// The data-set writer, checked against the file formats from the outside:
// record sizes and order, end marks, header columns with sizes
// and SHA-1 recomputed here. (Packed text and RV9 words are decoded by the
// library on a writer-made set in test_rv9.cpp.)
#include <gtest/gtest.h>

#include <openssl/sha.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

#include "DataSetWriter.h"
#include "NameLists.h"
#include "TestSupport.h"
#include "World.h"

namespace fs = std::filesystem;
using qvw::Bytes;

namespace {

const char* kWorld = R"({
  "dataset": { "name": "TEST SET", "set_letter": "C", "type_mark": "T", "sequence": 77,
               "release_date": "20260110", "filter_bytes": 1024, "stripe_bytes": 512, "bit_table_bytes": 256 },
  "places": [ { "zip": "30301", "state": "GA", "city": "ATLANTA", "last_line": "A30301" },
              { "zip": "02110", "state": "MA", "city": "BOSTON", "city_short": "BSTN", "last_line": "B02110" } ],
  "ranges": [
    { "zip": "30301", "addon_low": "0020", "addon_high": "0029", "type": "H", "primary_low": "1200", "primary_high": "1298",
      "primary_parity": "E", "predir": "NW", "street": "PEACHTREE", "suffix": "ST", "postdir": "SE", "designator": "APT",
      "secondary_low": "1", "secondary_high": "40", "secondary_parity": "B", "carrier_route": "C001", "last_line": "A30301" },
    { "zip": "02110", "addon_low": "1001", "primary_low": "1", "primary_high": "99", "primary_parity": "O",
      "street": "STATE", "suffix": "ST", "carrier_route": "C002", "last_line": "B02110" },
    { "zip": "02110", "addon_low": "1001", "type": "F", "primary_low": "53", "street": "STATE", "suffix": "ST",
      "designator": "STE", "secondary_low": "100", "carrier_route": "C002", "last_line": "B02110" } ],
  "businesses": [ { "key_hex": "FFEE000000000001", "name": "ZETA LLC" }, { "key_hex": "0000000000000002", "name": "ALPHA INC" } ],
  "daily_deletes": [ { "key_hex": "9900000000000000", "sequence": 78 }, { "key_hex": "0100000000000000", "sequence": 5 } ],
  "lcd": [ { "zip9": "303010029", "value": 21 }, { "zip9": "021101001", "value": 1000 } ],
  "urbanizations": [ { "zip9": "009261520", "name": "URB EL VEDADO" } ],
  "hints": [ "1/2", "REAR" ],
  "left_right": [ { "zip9": "303010020", "side": "R" } ],
  "names": { "genders": [ ["MARY", "F"], ["CHRISTOPHER", "M"], ["ALEX", "U"], ["CHRISTOPHE", "F"] ] }
})";

Bytes readAll(const fs::path& p) {
    const std::string b = fileBytes(p.string());
    return Bytes(b.begin(), b.end());
}
std::vector<std::string> lines(const fs::path& p) { return splitLines(fileBytes(p.string())); }

std::string trim(const std::string& s) {
    const auto b = s.find_first_not_of(' '), e = s.find_last_not_of(' ');
    return b == std::string::npos ? "" : s.substr(b, e - b + 1);
}

std::uint64_t be(const unsigned char* p, int n) {
    std::uint64_t v = 0;
    for (int i = 0; i < n; ++i)
        v = v << 8 | p[i];
    return v;
}

class WriterTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        root_ = fs::temp_directory_path() / ("qvw-test-" + std::to_string(::getpid()));
        fs::remove_all(root_);
        world_ = qvw::parseWorld(kWorld);
        qvw::DataSetWriter writer(world_, root_.string());
        report_ = writer.write();
        zips_ = writer.zipList();
    }
    static void TearDownTestSuite() { fs::remove_all(root_); }

    static fs::path d1(const std::string& f) { return root_ / "DVD 1" / f; }
    static fs::path d2(const std::string& f) { return root_ / "DVD 2" / f; }

    static fs::path root_;
    static qvw::World world_;
    static qvw::BuildReport report_;
    static std::vector<std::string> zips_;
};
fs::path WriterTest::root_;
qvw::World WriterTest::world_;
qvw::BuildReport WriterTest::report_;
std::vector<std::string> WriterTest::zips_;

std::set<std::string> filesUnder(const fs::path& dir) {
    std::set<std::string> out;
    for (const auto& e : fs::recursive_directory_iterator(dir))
        if (e.is_regular_file())
            out.insert(fs::relative(e.path(), dir).generic_string());
    return out;
}

} // namespace

TEST_F(WriterTest, RecordFilesAreWholeSortedAndClosedByTheirEndMarks) {
    struct RecordFile {
        fs::path path;
        std::size_t size, keyOff, keyLen;
    };
    const std::vector<RecordFile> files = {
        {d2("clk/x11"), 24, 0, 11},        {d2("rv9/czp.dat"), 48, 0, 5},   {d2("rv9/cln.dat"), 49, 0, 6},
        {d2("clk/leftrite.txt"), 11, 0, 9}, {d2("rv9/rv9.esd"), 26, 0, 4},   {d2("clk/lcd"), 6, 0, 4},
        {d2("dailydel.dat"), 12, 0, 8},     {d2("clk/gender.txt"), 12, 0, 10}, {d2("clk/business.lst"), 48, 0, 8},
        {d2("clk/urbx.lst"), 38, 0, 9},     {d2("rv9/pno.dat"), 7, 0, 0},    {d2("rv9/dsc.dat"), 3, 0, 0},
        {d2("rv9/sno.dat"), 6, 0, 0},       {d2("rv9/suf.dat"), 3, 0, 0},    {d2("rv9/nam.dat"), 19, 0, 0},
        {d2("rv9/crd.dat"), 3, 0, 0},       {d2("rv9/lln.dat"), 4, 0, 0}};
    for (const auto& s : files) {
        SCOPED_TRACE(s.path.string());
        const Bytes b = readAll(s.path);
        ASSERT_FALSE(b.empty());
        EXPECT_EQ(b.size() % s.size, 0u);
        // Big-endian numbers and byte texts alike sort by unsigned bytes.
        for (std::size_t off = s.size; off + s.size <= b.size(); off += s.size)
            EXPECT_LE(std::memcmp(&b[off - s.size + s.keyOff], &b[off + s.keyOff], s.keyLen), 0) << "at " << off;
    }
    // Tables read whole must hold two rows or a search never hits.
    EXPECT_GE(readAll(d2("clk/x11")).size(), 48u);

    const Bytes esd = readAll(d2("rv9/rv9.esd"));
    ASSERT_EQ(esd.size(), 26u * (1 + 3 + 1));
    EXPECT_EQ(Bytes(esd.begin(), esd.begin() + 26), Bytes(26, 0));
    Bytes esdMark(25, 0xFF);
    esdMark.push_back(0xFE);
    EXPECT_EQ(Bytes(esd.end() - 26, esd.end()), esdMark);

    // (business.lst's end mark and names, the daily delete's sequences and
    // the LCD rows are read by the library: test_getbusiness.cpp and
    // test_roundtrip.cpp.)
}

// The files themselves are named by the library's paths: every test that
// opens a writer-made set finds them there.
TEST_F(WriterTest, HeadersCarryFieldsInTheirColumnsAndProveEveryFile) {
    std::size_t filesOnDisc = 0;
    for (int disc = 1; disc <= 2; ++disc) {
        SCOPED_TRACE(disc);
        const fs::path folder = root_ / (disc == 1 ? "DVD 1" : "DVD 2");
        const auto hl = lines(folder / (disc == 1 ? "dvdhdr01.dat" : "dvdhdr02.dat"));
        ASSERT_GE(hl.size(), 7u);
        ASSERT_GE(hl[0].size(), 70u);
        // Name, set letter and type mark, disc and line digits, the dates (the
        // third 45 days on), sequence, file count.
        EXPECT_EQ(trim(hl[0].substr(18, 50)) + "|" + hl[0].substr(68, 2) + "|" + hl[1][18] + hl[1][23] + "|" +
                      hl[2].substr(18, 8) + hl[4].substr(18, 8) + hl[5].substr(18, 8),
                  "TEST SET|CT|" + std::to_string(disc) + "2|" + "202601102026011020260224");
        EXPECT_EQ(std::atoi(hl[3].c_str() + 18), 77);
        EXPECT_EQ(std::atoi(hl[6].c_str() + 18), static_cast<int>(hl.size() - 7));

        std::set<std::string> listed;
        for (std::size_t i = 7; i < hl.size(); ++i) {
            const std::string& l = hl[i];
            ASSERT_EQ(l.size(), 114u) << l;
            const std::string name = trim(l.substr(0, 21));
            EXPECT_EQ(l[34], ' ');
            std::string hex;
            for (char c : l.substr(35))
                if (c != ' ')
                    hex += c;
            ASSERT_EQ(hex.size(), 40u);
            fs::path file = folder / name;
            if (!fs::exists(file))
                file = folder / "clk" / name;
            if (!fs::exists(file))
                file = folder / "rv9" / name;
            ASSERT_TRUE(fs::exists(file)) << name;
            const Bytes content = readAll(file);
            EXPECT_EQ(std::stoull(trim(l.substr(21, 13))), content.size()) << name;
            unsigned char d[SHA_DIGEST_LENGTH];
            SHA1(content.data(), content.size(), d);
            char want[41];
            for (int k = 0; k < 20; ++k)
                std::snprintf(want + 2 * k, 3, "%02X", d[k]);
            EXPECT_EQ(hex, want) << name;
            EXPECT_TRUE(listed.insert(name).second) << name;
        }
        // Everything but the header itself and the daily delete is proved.
        std::set<std::string> onDisc;
        for (const auto& f : filesUnder(folder))
            onDisc.insert(fs::path(f).filename().string());
        onDisc.erase(disc == 1 ? "dvdhdr01.dat" : "dvdhdr02.dat");
        onDisc.erase("dailydel.dat");
        EXPECT_EQ(listed, onDisc);
        filesOnDisc += onDisc.size() + 1 + (disc == 2);
    }
    EXPECT_EQ(report_.filesWritten, filesOnDisc);
}

TEST_F(WriterTest, HashSectionsAndContentsList) {
    for (char l = 'a'; l <= 'z'; ++l) {
        EXPECT_EQ(fs::file_size(d2(std::string("clk.") + l + ".hs0")), 1024u);
        for (int s = 1; s <= 9; ++s)
            EXPECT_EQ(fs::file_size(d1(std::string("clk.") + l + ".hs" + std::to_string(s))), 512u);
    }
    EXPECT_EQ(fs::file_size(d2("clk.hsb")), 256u);
    EXPECT_EQ(fs::file_size(d2("clk/dph.hsa")), 256u);
    // No filing is encoded yet: an empty filter admits no key.
    const Bytes filter = readAll(d2("clk.a.hs0"));
    EXPECT_TRUE(std::all_of(filter.begin(), filter.end(), [](unsigned char c) { return c == 0; }));

    const auto cl = lines(d2("clk/contents.lst"));
    ASSERT_EQ(cl.size(), 100u);
    std::set<char> letters;
    for (int g = 0; g < 100; ++g) {
        ASSERT_EQ(cl[g].size(), 3u);
        EXPECT_EQ(std::stoi(cl[g].substr(0, 2)), g);
        EXPECT_TRUE(cl[g][2] >= 'a' && cl[g][2] <= 'z');
        if (g) {
            EXPECT_GE(cl[g][2], cl[g - 1][2]);
        }
        letters.insert(cl[g][2]);
    }
    EXPECT_EQ(letters.size(), 26u);
}

// Packed text written here is decoded by the library on writer-made sets
// (test_rv9.cpp); its decoder is checked against an independent packer in
// test_rv9_explode.cpp.
TEST(WriterPackedText, FullWordsAndRefusals) {
    EXPECT_EQ(be(qvw::packText("ZZZ", 3).data(), 2), 63999u);
    EXPECT_EQ(qvw::packText("", 3), Bytes(2, 0));
    EXPECT_THROW(qvw::packText("main", 4), qvw::WriterError);
}

TEST_F(WriterTest, TextListsKeepTheirColumns) {
    // zip.lst: every ZIP of the world once, sorted, and a guard line.
    EXPECT_EQ(lines(d2("clk/zip.lst")), (std::vector<std::string>{"02110", "30301", "00000"}));
    EXPECT_EQ(zips_, (std::vector<std::string>{"02110", "30301"}));
    EXPECT_EQ(lines(d2("clk/hint.lst")), (std::vector<std::string>{"1/2", "REAR"}));

    for (const auto& l : lines(d2("clk/rules.lst"))) {
        ASSERT_GE(l.size(), 14u) << l; // shorter lines are dropped by the reader
        EXPECT_EQ(l.find_first_not_of("YN"), 3u) << l;
        const int fromLen = l[3] - '0', toLen = l[4] - '0';
        EXPECT_EQ(trim(l.substr(5, 8)).size(), static_cast<std::size_t>(fromLen)) << l;
        EXPECT_EQ(l.substr(13).size(), static_cast<std::size_t>(toLen)) << l;
    }
    // (normalf.lst and normall.lst are read by the match flow: BILL, SMYTHE.)

    // gender.txt: ten characters of name, so CHRISTOPHER and CHRISTOPHE are one key; the first given stays.
    const Bytes g = readAll(d2("clk/gender.txt"));
    EXPECT_EQ(std::string(g.begin(), g.end()), "ALEX      U\nCHRISTOPHEM\nMARY      F\n");

    const Bytes czp = readAll(d2("rv9/czp.dat"));
    ASSERT_EQ(czp.size(), 96u);
    EXPECT_EQ(std::string(czp.begin(), czp.begin() + 48),
              "02110MA" + qvw::padRight("BOSTON", 28) + qvw::padRight("BSTN", 13));
    const Bytes cln = readAll(d2("rv9/cln.dat"));
    ASSERT_EQ(cln.size(), 98u);
    EXPECT_EQ(std::string(cln.begin() + 49, cln.end()),
              "B02110MA" + qvw::padRight("BSTN", 13) + qvw::padRight("BOSTON", 28));
}

// The rule set must converge: the library applies it until nothing fires.
// A plain reading of the left, middle and right rules, bounded in passes.
TEST(WriterNameRules, DefaultSetConverges) {
    const auto rules = qvw::defaultNameRules();
    for (std::string w : {"MCDONALD", "PHILLIPPS", "KNIGHTSBRIDGE", "XAVIER", "SCHMIDT", "HUGHIE", "JIMMIE", "X",
                          "PPHHPHPH", "SSSSSSSS", "MCMCMC", "ZZZZ", "ABCDEFGHIJKLMNOPQRST"}) {
        int passes = 0;
        for (bool changed = true; changed; ++passes) {
            ASSERT_LT(passes, 50) << w;
            changed = false;
            for (const auto& r : rules) {
                const std::size_t n = r.from.size();
                if (r.left && w.compare(0, n, r.from) == 0) {
                    w = r.to + w.substr(n);
                    changed = true;
                }
                for (std::size_t p = 1; r.middle && w.size() >= n + 2 && p + n < w.size(); ++p)
                    if (w.compare(p, n, r.from) == 0) {
                        w = w.substr(0, p) + r.to + w.substr(p + n);
                        changed = true;
                    }
                if (r.right && w.size() >= n && w.compare(w.size() - n, n, r.from) == 0) {
                    w = w.substr(0, w.size() - n) + r.to;
                    changed = true;
                }
            }
        }
    }
}

TEST(WriterWorld, RefusesWhatTheFormatsCannotHold) {
    auto error = [](const std::string& json) {
        try {
            qvw::parseWorld(json);
        } catch (const qvw::WriterError& e) {
            return std::string(e.what());
        }
        return std::string("accepted");
    };
    EXPECT_NE(error(R"({"placse": []})").find("placse: unknown field"), std::string::npos);
    EXPECT_NE(error(R"({"dataset": {"set_letter": "B"}})").find("dataset.set_letter"), std::string::npos);
    EXPECT_NE(error(R"({"dataset": {"stripe_bytes": 1000}})").find("power of two"), std::string::npos);
    EXPECT_NE(error(R"({"ranges": [{"zip": "1234", "addon_low": "0001"}]})").find("ranges[0].zip"), std::string::npos);
    EXPECT_NE(error(R"({"ranges": [{"zip": "12345", "addon_low": "0001", "street": "Main"}]})").find("ranges[0].street"),
              std::string::npos);
    EXPECT_NE(error(R"({"lcd": [{"zip9": "999999999", "value": 1}]})").find("lcd[0].zip9"), std::string::npos);
    EXPECT_NE(error(R"({"businesses": [{"key_hex": "FFFFFFFFFFFFFFFF", "name": "X"}]})").find("reserved"),
              std::string::npos);
    EXPECT_NE(error(R"({"names": {"rules": [{"left": true, "from": "PH", "to": " "}]}})").find("names.rules[0]"),
              std::string::npos);
    EXPECT_NE(error(R"({"filings": [{"kind": "individual", "from": {"zip9": "123456789"}, "move_date": "202601"}]})")
                  .find("filings[0].name"),
              std::string::npos);
    EXPECT_EQ(error(R"({"filings": [{"kind": "family", "name": {"last": "DOE"}, "from": {"zip9": "12345"},
                        "move_date": "202601"}]})"),
              "accepted");
}

TEST(WriterSample, SampleWorldBuildsWithEveryFilingEncoded) {
    const qvw::World w = qvw::loadWorld(QV_SOURCE_DIR "/data/sample/world.json");
    const fs::path out = fs::temp_directory_path() / ("qvw-sample-" + std::to_string(::getpid()));
    const qvw::BuildReport r = qvw::DataSetWriter(w, out.string()).write();
    fs::remove_all(out);
    EXPECT_EQ(r.ranges, w.ranges.size());
    EXPECT_EQ(r.filingsEncoded, w.filings.size());
    EXPECT_GT(r.filingsEncoded, 0u);
    // The business filing's firm is listed at its address already: no second row.
    EXPECT_EQ(r.businessesWritten, w.businesses.size());
    EXPECT_LT(r.filterFalsePositiveRate, 1e-3);
    EXPECT_EQ(r.releaseDate, qvw::todayYYYYMMDD());
}
