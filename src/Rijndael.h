// Rijndael block cipher: AES for 16-byte blocks, and the 24- and 32-byte
// blocks of the original proposal, with 16, 24 or 32-byte keys in any
// combination. Single blocks, and runs of blocks in ECB, CBC or CFB.
#pragma once

#include <cstdint>

namespace QV_NCOA {

class CRijndael {
public:
    enum { ECB = 0, CBC = 1, CFB = 2 };
    enum { DEFAULT_BLOCK_SIZE = 16, MAX_BLOCK_SIZE = 32, MAX_ROUNDS = 14, MAX_KC = 8, MAX_BC = 8 };

    // Not keyed yet: every operation refuses until MakeKey succeeds.
    CRijndael();
    virtual ~CRijndael();

    // keyLength and blockSize are 16, 24 or 32 bytes; chain is read for
    // blockSize bytes. Throws std::invalid_argument, leaving any earlier key.
    void MakeKey(const char* key, const char* chain, int keyLength = DEFAULT_BLOCK_SIZE,
                 int blockSize = DEFAULT_BLOCK_SIZE);

    // One block of blockSize bytes, no chaining.
    void EncryptBlock(const char* in, char* out);
    void DecryptBlock(const char* in, char* out);
    // The 16-byte block, through the 32-bit round tables.
    void DefEncryptBlock(const char* in, char* out);
    void DefDecryptBlock(const char* in, char* out);

    // length is a non-zero multiple of blockSize. mode: CBC (1), CFB (2),
    // anything else ECB. The running chain carries over between calls.
    void Encrypt(const char* in, char* out, unsigned long length, int mode = ECB);
    void Decrypt(const char* in, char* out, unsigned long length, int mode = ECB);

    // buffer ^= other over blockSize bytes.
    void Xor(char* buffer, const char* other);

    int GetKeyLength() const { return keyLength; }
    int GetBlockSize() const { return blockSize; }
    int GetRounds() const { return rounds; }

    static const unsigned char sm_S[256];
    static const unsigned char sm_Si[256];
    static const uint32_t sm_T1[256];
    static const uint32_t sm_T2[256];
    static const uint32_t sm_T3[256];
    static const uint32_t sm_T4[256];
    static const uint32_t sm_T5[256];
    static const uint32_t sm_T6[256];
    static const uint32_t sm_T7[256];
    static const uint32_t sm_T8[256];
    static const uint32_t sm_U1[256];
    static const uint32_t sm_U2[256];
    static const uint32_t sm_U3[256];
    static const uint32_t sm_U4[256];
    static const unsigned char sm_log[256];
    static const unsigned char sm_alog[256];
    static const unsigned char sm_rcon[30];
    // [block size 16/24/32][row][0 encrypt, 1 decrypt]
    static const int sm_shifts[3][4][2];
    // 32 zero bytes: the default chain block.
    static const char* sm_chain0;

private:
    void requireKey() const;

    bool keyInit = false;
    uint32_t Ke[MAX_ROUNDS + 1][MAX_BC];
    uint32_t Kd[MAX_ROUNDS + 1][MAX_BC];
    int32_t keyLength = 0;
    int32_t blockSize = 0;
    int32_t rounds = 0;
    char chain0[MAX_BLOCK_SIZE];
    char chain[MAX_BLOCK_SIZE];
    uint32_t tk[MAX_KC];
    uint32_t a[MAX_BC];
    uint32_t t[MAX_BC];
};

}  // namespace QV_NCOA
