// Range explosion into delivery points, and the unfolding of rv9.esd records
// and their packed dictionaries.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "DataTables.h"
#include "NCOA_Utils.h"
#include "RV9.h"
#include "RV9_DeliveryPoint.h"
#include "RV9_ExplodeRange.h"

using namespace QV_NCOA;

namespace {

i58Struct range(const char* zip, char type, const char* pLow, const char* pHigh, char pParity, const char* sLow,
                const char* sHigh, char sParity) {
    i58Struct in;
    in.zip.cpyIn(zip);
    in.recordType = type;
    in.addonLow.cpyIn(zip, -1, 5, 4);
    in.addonHigh.cpyIn(zip, -1, 5, 4);
    in.primaryLow.cpyIn(pLow);
    in.primaryHigh.cpyIn(pHigh);
    in.primaryParity = pParity;
    in.secondaryLow.cpyIn(sLow);
    in.secondaryHigh.cpyIn(sHigh);
    in.secondaryParity = sParity;
    return in;
}

// "primary/secondary" of each point, trailing blanks cut.
std::vector<std::string> explode(const i58Struct& in) {
    std::vector<deliveryPoint> out;
    EXPECT_TRUE(CNCOA_RV9ExplodeRange().getExploded(in, out));
    std::vector<std::string> s;
    auto cut = [](const char* t) {
        std::string x(t);
        return x.substr(0, x.find_last_not_of(' ') + 1);
    };
    for (const deliveryPoint& p : out) s.push_back(cut(p.primaryNumber.buf) + "/" + cut(p.secondaryNumber.buf));
    return s;
}

using V = std::vector<std::string>;

// Independent packer: three characters per big-endian word, base 40, the
// characters left over one byte each.
std::vector<unsigned char> pack(const std::string& t) {
    const std::string alphabet = " -./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::vector<unsigned char> b;
    size_t i = 0;
    for (; i + 3 <= t.size(); i += 3) {
        const size_t w = alphabet.find(t[i]) * 1600 + alphabet.find(t[i + 1]) * 40 + alphabet.find(t[i + 2]);
        b.push_back(static_cast<unsigned char>(w >> 8));
        b.push_back(static_cast<unsigned char>(w));
    }
    for (; i < t.size(); ++i) b.push_back(static_cast<unsigned char>(alphabet.find(t[i])));
    return b;
}

}  // namespace

TEST(ExplodeRange, SingleAddresses) {
    EXPECT_EQ(explode(range("12345678923", 'S', "0000000123", "0000000123", ' ', "", "", ' ')), V{"0000000123/"});
    EXPECT_EQ(explode(range("12345678924", 'S', "0000000123", "0000000123", ' ', "", "", ' ')), V{});
    // A word unit of a high-rise carries delivery point 99 only.
    EXPECT_EQ(explode(range("12345678999", 'H', "500", "500", ' ', "BSMT", "BSMT", ' ')), V{"500/BSMT"});
    EXPECT_EQ(explode(range("12345678905", 'H', "500", "500", ' ', "BSMT", "BSMT", ' ')), V{});
    // All nines: never exploded.
    EXPECT_EQ(explode(range("12345678999", 'S', "9999999999", "9999999999", ' ', "", "", ' ')), V{});
    EXPECT_EQ(explode(range("12345678999", 'S', "1", "9999999999", 'B', "", "", ' ')), V{});
}

TEST(ExplodeRange, NumericWalks) {
    // Street records take the delivery point from the house number, so every
    // unit of one house shares the code.
    EXPECT_EQ(explode(range("12345678900", 'S', "0000000100", "0000000100", ' ', "1", "5", 'O')),
              (V{"0000000100/1", "0000000100/3", "0000000100/5"}));
    EXPECT_EQ(explode(range("12345678900", 'S', "0000000100", "0000000100", ' ', "1", "5", ' ')),
              (V{"0000000100/1", "0000000100/3", "0000000100/5"}));
    EXPECT_EQ(explode(range("12345678900", 'S', "0000000100", "0000000100", ' ', "1", "5", 'B')).size(), 5u);
    // Walked numbers are printed without their zeros.
    EXPECT_EQ(explode(range("12345678905", 'S', "00100", "00110", 'B', "", "", ' ')), V{"105/"});
    // A difference of 31999 walks; 32000 goes to the expansion, which stops at
    // its limit and so drops the range.
    EXPECT_EQ(explode(range("12345678900", 'S', "100", "100", ' ', "1", "32000", 'B')).size(), 32000u);
    EXPECT_EQ(explode(range("12345678900", 'S', "100", "100", ' ', "1", "32001", 'B')), V{});

    i58Struct reversed = range("12345678900", 'S', "100", "100", ' ', "5", "1", 'B');
    std::vector<deliveryPoint> out;
    CNCOA_RV9ExplodeRange().do7000PermuteSecondary(reversed, out);
    EXPECT_TRUE(out.empty());

    EXPECT_THROW(explode(range("12345678900", 'S', "1", "9", 'B', "1", "5", 'B')), qvncoa_exception);
}

// The walks decide most codes without the delivery point rules; they must
// keep exactly the points, and the 1024, that the rules give value by value.
TEST(ExplodeRange, WalksAgreeWithTheRulesValueByValue) {
    auto reference = [](const i58Struct& in, bool primarySide, std::vector<std::string>& points) {
        const uint64_t low = primarySide ? atoi64(in.primaryLow.buf) : atoi64(in.secondaryLow.buf);
        const uint64_t high = primarySide ? atoi64(in.primaryHigh.buf) : atoi64(in.secondaryHigh.buf);
        const uint64_t step = (primarySide ? in.primaryParity : in.secondaryParity) == 'B' ? 1 : 2;
        for (uint64_t v = low; v <= high; v += step) {
            std::string value = std::to_string(v).substr(0, primarySide ? 10 : 8);
            const std::string other = primarySide ? std::string(in.secondaryLow.buf) : std::string(in.primaryLow.buf);
            const std::string p = primarySide ? value : other, s = primarySide ? other : value;
            const int pl = static_cast<int>(p.find_last_not_of(' ') + 1), sl = static_cast<int>(s.find_last_not_of(' ') + 1);
            const fixedString<12> code =
                CNCOA_DeliveryPoints().calcDeliveryPoints(pl, p.c_str(), sl, s.c_str(), in.zip.buf, in.recordType, "    ");
            if (std::string(code.buf, 11) == std::string(in.zip.buf, 11)) points.push_back(value);
        }
    };
    auto walked = [](i58Struct in, bool primarySide, std::vector<std::string>& points) {
        std::vector<deliveryPoint> out;
        if (primarySide)
            CNCOA_RV9ExplodeRange().do8000PermutePrimary(in, out);
        else
            CNCOA_RV9ExplodeRange().do7000PermuteSecondary(in, out);
        for (const deliveryPoint& p : out) {
            const std::string t = primarySide ? p.primaryNumber.buf : p.secondaryNumber.buf;
            points.push_back(t.substr(0, t.find_last_not_of(' ') + 1));
        }
    };
    struct Bounds { const char *low, *high; };
    const Bounds bounds[] = {{"0", "250"},         {"1", "1"},           {"95", "10420"},
                             {"9999900", "10000150"}, {"4294967200", "4294967400"}, {"9999999900", "9999999998"}};
    const char* zips[] = {"12345678905", "12345678999", "12345678900", "1234567890 ", "1234567A905"};
    int cases = 0, found = 0;
    for (const Bounds& b : bounds)
        for (const char* zip : zips)
            for (char type : std::string("SHFRPG X"))
                for (char parity : std::string("BEO"))
                    for (bool primarySide : {true, false}) {
                        const char* other = primarySide ? "" : "12";
                        i58Struct in = primarySide ? range(zip, type, b.low, b.high, parity, "7", "7", ' ')
                                                   : range(zip, type, other, other, ' ', b.low, b.high, parity);
                        if (!primarySide && std::strlen(b.high) > 8) continue;
                        std::vector<std::string> want, got;
                        bool wantThrow = false, gotThrow = false;
                        try { reference(in, primarySide, want); } catch (const qvncoa_exception&) { wantThrow = true; }
                        try { walked(in, primarySide, got); } catch (const qvncoa_exception&) { gotThrow = true; }
                        SCOPED_TRACE(std::string(zip) + " " + type + parity + " " + b.low + "-" + b.high +
                                     (primarySide ? " primary" : " secondary"));
                        EXPECT_EQ(gotThrow, wantThrow);
                        if (!wantThrow) {
                            EXPECT_EQ(got, want);
                        }
                        ++cases;
                        found += static_cast<int>(want.size());
                    }
    EXPECT_GT(found, 1000);
    EXPECT_GT(cases, 500);
}

TEST(ExplodeRange, GeneralExpansionAndPadding) {
    EXPECT_EQ(explode(range("12345678901", 'S', "1A", "1F", 'B', "", "", ' ')),
              (V{"1A/", "1B/", "1C/", "1D/", "1E/", "1F/"}));
    // A short primary is zero-filled where it leaves the low bound.
    EXPECT_EQ(explode(range("12345678901", 'S', "A01", "A12", 'B', "", "", ' ')), V{"A01/"});
    EXPECT_EQ(explode(range("12345678912", 'S', "A01", "A12", 'B', "", "", ' ')), V{"A12/"});
    // The secondary rule works one place further left and so keeps A1; from
    // the tenth member on the value stays that of the one before (A10).
    EXPECT_EQ(explode(range("12345678902", 'H', "500", "500", ' ', "A01", "A12", 'B')), V{"500/A1"});
    EXPECT_EQ(explode(range("12345678901", 'H', "500", "500", ' ', "A01", "A12", 'B')),
              (V{"500/A10", "500/A10", "500/A10"}));
}

TEST(ExplodeRange, RangeOverSeveralAddons) {
    i58Struct in = range("12345100302", 'S', "0000000100", "0000000104", 'B', "", "", ' ');
    in.addonLow.cpyIn("1001");
    in.addonHigh.cpyIn("1005");
    EXPECT_EQ(explode(in), V{"0102/"});  // the third number on the third add-on
    in.zip.cpyIn("12345100303");
    EXPECT_EQ(explode(in), V{});
}

TEST(Zip9Expansion, PackedText) {
    for (std::string t : {"0000000123", "APT ", "12B-1/2.", "SW", "MARTIN LUTHER KING JR       ", "ZZZ", "   "}) {
        std::vector<unsigned char> packed = pack(t);
        EXPECT_EQ(packed.size(), 2 * (t.size() / 3) + t.size() % 3);
        std::string out(t.size(), '?');
        CNCOA_RV9::decodeCompressedRecord(static_cast<int>(t.size()), packed.data(), &out[0]);
        EXPECT_EQ(out, t);
    }
    const unsigned char top[2] = {0xF9, 0xFF};  // 63999
    char zzz[4] = "...";
    CNCOA_RV9::decodeCompressedRecord(3, top, zzz);
    EXPECT_STREQ(zzz, "ZZZ");
}

TEST(Zip9Expansion, RecordDigits) {
    CNCOA_DataTables t;
    auto fill = [](auto& table, std::initializer_list<const char*> entries) {
        table.allocate(entries.size());
        size_t k = 0;
        for (const char* e : entries) {
            const std::vector<unsigned char> p = pack(e);
            ASSERT_EQ(p.size(), sizeof table.buf[k].packed) << e;
            std::copy(p.begin(), p.end(), table.buf[k++].packed);
        }
    };
    fill(t.pnoTable, {"0000000001", "0000000123"});
    fill(t.dscTable, {"APT "});
    fill(t.snoTable, {"00000012"});
    fill(t.sufTable, {"ST  "});
    fill(t.namTable, {"MAIN                        "});
    fill(t.crdTable, {"C001"});
    fill(t.llnTable, {"L00001"});

    // Digits, least significant first, as the record format lays them out.
    const uint64_t a = 3 + 7ULL * (4 + 9ULL * (1 + 200000ULL * (1 + 25ULL * (2 + 4ULL * (2 + 420000ULL * 6789)))));
    const uint64_t b = 8 + 9ULL * (1 + 210ULL * (3 + 4ULL * (0 + 200000ULL * (2 + 420000ULL * 6790))));
    const uint64_t c = 1 + 35000ULL * (1 + 2000ULL * 1);
    unsigned char raw[26];
    const uint64_t key = 123456789;
    for (int i = 0; i < 4; ++i) raw[i] = static_cast<unsigned char>(key >> (24 - 8 * i));
    for (int i = 0; i < 8; ++i) raw[4 + i] = static_cast<unsigned char>(a >> (56 - 8 * i));
    for (int i = 0; i < 8; ++i) raw[12 + i] = static_cast<unsigned char>(b >> (56 - 8 * i));
    for (int i = 0; i < 6; ++i) raw[20 + i] = static_cast<unsigned char>(c >> (40 - 8 * i));
    rv9Esd rec;
    ASSERT_TRUE(rv9Esd::deserialize(raw, rec));
    EXPECT_EQ(rec.key, 123456789u);

    CNCOA_RV9 rv9(t);
    std::vector<exp97> out;
    rv9.expandZip9(rec, out);
    ASSERT_EQ(out.size(), 1u);
    const exp97& e = out[0];
    EXPECT_EQ(std::to_string(e.addonLow) + "-" + std::to_string(e.addonHigh) + "|" + e.primaryLow.buf + "-" +
                  e.primaryHigh.buf + e.primaryParity + "|" + e.secondaryDesignator.buf + e.secondaryLow.buf + "-" +
                  e.secondaryHigh.buf + e.secondaryParity + "|" + e.preDirectional.buf + e.streetName.buf +
                  e.suffix.buf + e.postDirectional.buf + "|" + e.carrierRoute.buf + e.lastLineNumber.buf + e.recordType,
              "6789-6790|0000000123-0000000123E|APT 00000012-        O|NWMAIN                        ST  W |C001L00001H");
}
