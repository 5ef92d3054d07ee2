// Phonetic coders and the loader of the three name-equivalent tables.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "DataTables.h"
#include "SoundEx.h"
#include "TestSupport.h"

using namespace QV_NCOA;

namespace {

// SoundEx of a text in a field of its own length (or of `len`), cut at the NUL.
std::string code(const char* text, int len = -1) {
    if (len < 0) len = static_cast<int>(std::strlen(text));
    std::string field(text);
    field.resize(static_cast<size_t>(len), ' ');
    char out[100];
    std::memset(out, 'x', sizeof out);
    SoundEx(field.c_str(), out, len);
    EXPECT_EQ('\0', out[len]);
    return std::string(out, static_cast<size_t>(len));
}

std::string padded(const char* w, size_t width) {
    std::string s(w);
    s.resize(width, ' ');
    return s;
}

}  // namespace

TEST(SoundEx, WorkedExamples) {
    EXPECT_EQ("CMD  ", code("SMITH"));
    EXPECT_EQ("ARM  ", code("AARON"));
    EXPECT_EQ("BB   ", code("BOBBY"));
    EXPECT_EQ("12MM   ", code("12 MAIN"));
    EXPECT_EQ(code("JONES"), code("JANIS"));
    EXPECT_EQ("CMC  ", code("JONES"));
    EXPECT_EQ(" ", code("a")) << "lower case codes nothing";
}

TEST(SoundEx, SeparatorsAndPositions) {
    EXPECT_EQ("C  ", code("S S")) << "a blank keeps the previous code";
    EXPECT_EQ("CC ", code("S-S")) << "punctuation separates like a vowel";
    EXPECT_EQ("CC ", code("SaS"));
    EXPECT_EQ("C  ", code("SCK"));
    EXPECT_EQ("1122", code("1122")) << "digits always pass";
    EXPECT_EQ("DM   ", code(" ADAM")) << "a vowel codes only at position 0 of the field";
    EXPECT_EQ("ABL ", code("ABLE"));
    EXPECT_EQ(std::string(10, ' '), code("", 10));
    EXPECT_EQ("BCDLMR  ", code("PGTLNRHW", 8)) << "one class letter each, H and W silent";
    // The code is cut to the field; bytes past len are not read.
    EXPECT_EQ("BC", code("BCD", 2));
}

TEST(SoundEx2, FirstByteKeptAndFallbacks) {
    auto code2 = [](const char* in, int len) {
        char out[100];
        std::memset(out, 'x', sizeof out);
        SoundEx2(in, out, len);
        return std::string(out, static_cast<size_t>(len) + 1);
    };
    EXPECT_EQ("SMD  x", code2("SMITH", 5)) << "output is not terminated or blanked past len";
    EXPECT_EQ("SMD  x", code2("smith", 5)) << "lower case is upper-cased first";
    EXPECT_EQ("BD x", code2("BBD", 3)) << "a first letter is the previous code";
    EXPECT_EQ("BB x", code2("BB ", 3)) << "code B alone: the input comes back";
    EXPECT_EQ("1BC x", code2("1BC ", 4)) << "a first non-letter is kept as it is";
    EXPECT_EQ("AB x", code2("A1B", 3)) << "later digits write nothing";
    EXPECT_EQ(std::string("A") + '\0' + "xxx", code2("A", 4)) << "nothing after the first byte: input back";
    EXPECT_EQ("CD x", code2("CAT", 3));
    EXPECT_EQ("CAx", code2("CAT", 2)) << "the walk ends at len";
}

namespace {


// "|value" for each entry filed under `key`, in order, blanks behind cut;
// keys and values must fill their width.
template <typename Map>
std::string values(const Map& m, const char* key, size_t width) {
    typename Map::key_type k;
    k.cpyIn(key);
    std::string out;
    for (auto [it, end] = m.equal_range(k); it != end; ++it) {
        const std::string v = it->second.buf;
        EXPECT_EQ(width, std::strlen(it->first.buf));
        EXPECT_EQ(width, v.size());
        out += "|" + v.substr(0, v.find_last_not_of(' ') + 1);
    }
    return out;
}

}  // namespace

TEST(NameNormalization, ColumnsRepeatsAndFileOrder) {
    TempRoot tmp;
    tmp.write("DVD 2/clk/normalf.lst",
              padded("BOB", 15) + " ROBERT\n" +
              padded("BOB", 15) + "#BOBBY\n" +           // whatever stands between is skipped
              "\n" +                                    // repeats the line before
              padded("BOB", 15) + " ROBIN\n" +
              "AL\n" +                                  // short line: blank value
              padded("LONG", 15) + " ABCDEFGHIJKLMNOPQRSTUVWXYZ\n");  // value cut at column 30
    tmp.write("DVD 2/clk/normall.lst", padded("MACDONALD", 20) + " MCDONALD\n" + padded("OBRIEN", 20) + "XOBRYAN   \t\n");
    tmp.write("DVD 2/clk/nick.lst", padded("WILLIAM", 15) + " BILL\n" + padded("WILLIAM", 15) + " WILL");

    auto tables = std::make_unique<CNCOA_DataTables>();
    tables->setRoot(tmp.root.c_str());
    tables->readNameNormalizationTables();

    EXPECT_EQ(values(tables->normalFirst, "BOB", 15), "|ROBERT|BOBBY|BOBBY|ROBIN");
    EXPECT_EQ(values(tables->normalFirst, "AL", 15), "|");
    EXPECT_EQ(values(tables->normalFirst, "LONG", 15), "|ABCDEFGHIJKLMNO");
    EXPECT_EQ(6u, tables->normalFirst.size());
    EXPECT_EQ(values(tables->normalLast, "MACDONALD", 20), "|MCDONALD");
    EXPECT_EQ(values(tables->normalLast, "OBRIEN", 20), "|OBRYAN");
    // A last line without its end of line counts.
    EXPECT_EQ(values(tables->nickNames, "WILLIAM", 15), "|BILL|WILL");
}

TEST(NameNormalization, MissingFileNamesItsPath) {
    TempRoot tmp;
    tmp.write("DVD 2/clk/normalf.lst", padded("BOB", 15) + " ROBERT\n");
    tmp.write("DVD 2/clk/normall.lst", "");
    auto tables = std::make_unique<CNCOA_DataTables>();
    tables->setRoot(tmp.root.c_str());
    EXPECT_EQ(thrownText<qvncoa_exception>([&] { tables->readNameNormalizationTables(); }),
              std::string("1040 ") + tables->getNickLstPath().asCstr());
    EXPECT_EQ(1u, tables->normalFirst.size());
    EXPECT_TRUE(tables->normalLast.empty()) << "an empty file is no failure";
}
