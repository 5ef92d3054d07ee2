// The block cipher: published AES vectors, agreement with OpenSSL's AES-192,
// the wider Rijndael blocks, the three chaining modes and the refusals.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include "Rijndael.h"

using QV_NCOA::CRijndael;

namespace {

std::string unhex(const char* hex) {
    std::string out;
    for (size_t i = 0; hex[i] && hex[i + 1]; i += 2) out.push_back(char(std::stoi(std::string(hex + i, 2), nullptr, 16)));
    return out;
}

std::string counting(size_t n) {
    std::string s(n, '\0');
    for (size_t i = 0; i < n; ++i) s[i] = char(i);
    return s;
}

std::string randomBytes(std::mt19937& rng, size_t n) {
    std::string s(n, '\0');
    for (auto& c : s) c = char(rng() & 0xFF);
    return s;
}

// Runs f and returns the exception it threw, by exact type name and text.
template <class F>
std::pair<std::string, std::string> thrown(F f) {
    try {
        f();
    } catch (const std::exception& e) {
        return {typeid(e).name(), e.what()};
    }
    return {"", ""};
}

const std::string kInvalid = typeid(std::invalid_argument).name();
const std::string kLogic = typeid(std::logic_error).name();

}  // namespace

// Key 00 01 02 ... of each length. The 16-byte block 00 11 22 ... ff gives the
// FIPS-197 appendix C vectors; the wider blocks, 00 11 22 ... again, the
// result of a plain textbook implementation of the proposal (state bytes,
// ShiftRow offsets 1-2-3 or 1-3-4, MixColumn by field products).
TEST(Rijndael, KnownAnswersForEveryKeyAndBlockSize) {
    const struct {
        int keyLength, blockSize;
        const char* cipher;
    } cases[] = {
        {16, 16, "69c4e0d86a7b0430d8cdb78070b4c55a"},
        {24, 16, "dda97ca4864cdfe06eaf70a0ec0d7191"},
        {32, 16, "8ea2b7ca516745bfeafc49904b496089"},
        {16, 24, "e64018d211d8349b350f38893d7d23899fece7a9aca7c6ba"},
        {16, 32, "98c6f98ba9631b91c34f431e0887c561b6ac44c985cecd38dbc4cb30b9170d2f"},
        {24, 24, "78be2d48f76d71da6966f3a175fb71ad66b70b2076c3cf1d"},
        {24, 32, "3c386395e910345a59a7dd165dcbda604bf072f0a03a6b0055a79b734e668868"},
        {32, 24, "65d851df8d04b5cbb510935fdd1eb17b33efb8cb255ee712"},
        {32, 32, "288fa9d23d00d9dc0a39b33fa92867c6488b5e0f18a6f74c072078ec815462e6"},
    };
    for (const auto& c : cases) {
        std::string block(size_t(c.blockSize), '\0');
        for (size_t i = 0; i < block.size(); ++i) block[i] = char(0x11 * i);
        CRijndael r;
        r.MakeKey(counting(size_t(c.keyLength)).data(), CRijndael::sm_chain0, c.keyLength, c.blockSize);
        const int larger = std::max(c.keyLength, c.blockSize);
        EXPECT_EQ(r.GetRounds(), larger == 16 ? 10 : larger == 24 ? 12 : 14);
        char out[32], back[32];
        r.EncryptBlock(block.data(), out);
        EXPECT_EQ(std::string(out, size_t(c.blockSize)), unhex(c.cipher)) << c.keyLength << "/" << c.blockSize;
        r.DecryptBlock(out, back);
        EXPECT_EQ(std::string(back, size_t(c.blockSize)), block) << c.keyLength << "/" << c.blockSize;
    }
}

TEST(Rijndael, Aes192AgreesWithOpenSslOnRandomKeysAndBlocks) {
    std::mt19937 rng(1974);
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    ASSERT_NE(ctx, nullptr);
    for (int i = 0; i < 4000; ++i) {
        const std::string key = randomBytes(rng, 24), block = randomBytes(rng, 16);
        CRijndael r;
        r.MakeKey(key.data(), CRijndael::sm_chain0, 24, 16);
        char ours[16], back[16];
        r.EncryptBlock(block.data(), ours);

        unsigned char theirs[32];
        int n = 0;
        ASSERT_EQ(EVP_EncryptInit_ex(ctx, EVP_aes_192_ecb(), nullptr,
                                     reinterpret_cast<const unsigned char*>(key.data()), nullptr), 1);
        EVP_CIPHER_CTX_set_padding(ctx, 0);
        ASSERT_EQ(EVP_EncryptUpdate(ctx, theirs, &n, reinterpret_cast<const unsigned char*>(block.data()), 16), 1);
        ASSERT_EQ(n, 16);
        ASSERT_EQ(std::memcmp(ours, theirs, 16), 0) << "block " << i;
        r.DecryptBlock(ours, back);
        ASSERT_EQ(std::string(back, 16), block) << "block " << i;
    }
    EVP_CIPHER_CTX_free(ctx);
}

TEST(Rijndael, ChainingModesRoundTripAndCarryTheChain) {
    std::mt19937 rng(99);
    for (int blockSize : {16, 24, 32})
        for (int mode : {CRijndael::ECB, CRijndael::CBC, CRijndael::CFB}) {
            const std::string key = randomBytes(rng, 24), iv = randomBytes(rng, size_t(blockSize));
            const std::string data = randomBytes(rng, size_t(blockSize) * 37);
            std::vector<char> enc(data.size()), dec(data.size());
            CRijndael e, d;
            e.MakeKey(key.data(), iv.data(), 24, blockSize);
            d.MakeKey(key.data(), iv.data(), 24, blockSize);
            e.Encrypt(data.data(), enc.data(), data.size(), mode);
            d.Decrypt(enc.data(), dec.data(), enc.size(), mode);
            EXPECT_EQ(std::string(dec.data(), dec.size()), data) << blockSize << " mode " << mode;

            // Block-wise calls equal one call over all blocks: the chain carries over.
            std::vector<char> piecewise(data.size());
            CRijndael p;
            p.MakeKey(key.data(), iv.data(), 24, blockSize);
            for (size_t off = 0; off < data.size(); off += size_t(blockSize))
                p.Encrypt(data.data() + off, piecewise.data() + off, unsigned(blockSize), mode);
            EXPECT_EQ(piecewise, enc) << blockSize << " mode " << mode;
            // A new key starts the chain again.
            p.MakeKey(key.data(), iv.data(), 24, blockSize);
            std::vector<char> again(data.size());
            p.Encrypt(data.data(), again.data(), data.size(), mode);
            EXPECT_EQ(again, enc);
        }

    // The modes are what they say: CBC's first block is the cipher of data ^ iv,
    // CFB's is data ^ the cipher of iv; an unknown mode is ECB.
    const std::string key = randomBytes(rng, 16), iv = randomBytes(rng, 16), data = randomBytes(rng, 16);
    CRijndael r;
    r.MakeKey(key.data(), iv.data(), 16, 16);
    char x[16], expect[16], got[16];
    for (int i = 0; i < 16; ++i) x[i] = char(data[size_t(i)] ^ iv[size_t(i)]);
    r.EncryptBlock(x, expect);
    r.Encrypt(data.data(), got, 16, CRijndael::CBC);
    EXPECT_EQ(std::memcmp(got, expect, 16), 0);
    r.MakeKey(key.data(), iv.data(), 16, 16);
    r.EncryptBlock(iv.data(), expect);
    for (int i = 0; i < 16; ++i) expect[i] ^= data[size_t(i)];
    r.Encrypt(data.data(), got, 16, CRijndael::CFB);
    EXPECT_EQ(std::memcmp(got, expect, 16), 0);
    r.EncryptBlock(data.data(), expect);
    r.Encrypt(data.data(), got, 16, 7);
    EXPECT_EQ(std::memcmp(got, expect, 16), 0);
}

TEST(Rijndael, RefusalsThrowTheirTypeAndText) {
    const std::string key = counting(32);
    char buf[32] = {}, out[32];
    CRijndael fresh;
    using P = std::pair<std::string, std::string>;
    EXPECT_EQ(thrown([&] { fresh.MakeKey(nullptr, CRijndael::sm_chain0, 16, 16); }), P(kInvalid, "Empty key"));
    // The key length is looked at before the block size.
    EXPECT_EQ(thrown([&] { fresh.MakeKey(key.data(), CRijndael::sm_chain0, 20, 20); }),
              P(kInvalid, "Incorrect key length"));
    EXPECT_EQ(thrown([&] { fresh.MakeKey(key.data(), CRijndael::sm_chain0, 16, 20); }),
              P(kInvalid, "Incorrect block length"));

    const P notInit(kLogic, "Object not Initialized");
    EXPECT_EQ(thrown([&] { fresh.Encrypt(buf, out, 0, CRijndael::CBC); }), notInit);
    EXPECT_EQ(thrown([&] { fresh.Decrypt(buf, out, 16, CRijndael::ECB); }), notInit);
    EXPECT_EQ(thrown([&] { fresh.EncryptBlock(buf, out); }), notInit);
    EXPECT_EQ(thrown([&] { fresh.DecryptBlock(buf, out); }), notInit);
    EXPECT_EQ(thrown([&] { fresh.DefEncryptBlock(buf, out); }), notInit);
    EXPECT_EQ(thrown([&] { fresh.DefDecryptBlock(buf, out); }), notInit);
    EXPECT_EQ(thrown([&] { fresh.Xor(buf, out); }), P(kInvalid, "Object not Initialized"));

    CRijndael keyed;
    keyed.MakeKey(key.data(), CRijndael::sm_chain0, 16, 16);
    const P notMultiple(kLogic, "Data not multiple of Block Size");
    EXPECT_EQ(thrown([&] { keyed.Encrypt(buf, out, 15, CRijndael::ECB); }), notMultiple);
    EXPECT_EQ(thrown([&] { keyed.Decrypt(buf, out, 0, CRijndael::CBC); }), notMultiple);

    // A refused key leaves the earlier one in force.
    char before[16], after[16];
    keyed.EncryptBlock(buf, before);
    EXPECT_THROW(keyed.MakeKey(key.data(), CRijndael::sm_chain0, 24, 64), std::invalid_argument);
    EXPECT_EQ(keyed.GetBlockSize(), 16);
    keyed.EncryptBlock(buf, after);
    EXPECT_EQ(std::memcmp(before, after, 16), 0);
}
