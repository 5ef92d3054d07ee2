// SHA-1 over libcrypto's EVP digest interface.
#include "qvs_auth.h"

#include <openssl/evp.h>

#include <new>

struct qvs_sha1_ctx {
    EVP_MD_CTX* md;
};

int qvs_auth_get_sha1(const void* data, size_t length, unsigned char* digest) {
    if (digest == nullptr || (data == nullptr && length > 0)) return -1;
    unsigned int n = 0;
    static const unsigned char empty = 0;
    // Fetched once: EVP_sha1() makes libcrypto look the algorithm up under a
    // lock on every digest, which costs more than hashing the 48 bytes.
    static EVP_MD* const sha1 = EVP_MD_fetch(nullptr, "SHA1", nullptr);
    const EVP_MD* md = sha1 ? sha1 : EVP_sha1();
    return EVP_Digest(data ? data : &empty, length, digest, &n, md, nullptr) == 1 && n == QVS_SHA1_SIZE ? 0 : -1;
}

int qvs_auth_init_streaming_sha1(qvs_sha1_ctx** ctx) {
    if (ctx == nullptr) return -1;
    *ctx = nullptr;
    EVP_MD_CTX* md = EVP_MD_CTX_new();
    if (md == nullptr) return -1;
    if (EVP_DigestInit_ex(md, EVP_sha1(), nullptr) != 1) {
        EVP_MD_CTX_free(md);
        return -1;
    }
    qvs_sha1_ctx* c = new (std::nothrow) qvs_sha1_ctx{md};
    if (c == nullptr) {
        EVP_MD_CTX_free(md);
        return -1;
    }
    *ctx = c;
    return 0;
}

int qvs_auth_update_streaming_sha1(qvs_sha1_ctx* ctx, const void* data, size_t length) {
    if (ctx == nullptr) return -1;
    // A read that gave nothing (or failed) is passed through with no bytes.
    if (data == nullptr || length == 0) return 0;
    return EVP_DigestUpdate(ctx->md, data, length) == 1 ? 0 : -1;
}

int qvs_auth_finish_streaming_sha1(qvs_sha1_ctx* ctx, unsigned char* digest) {
    if (ctx == nullptr) return -1;
    int rc = -1;
    if (digest != nullptr) {
        unsigned int n = 0;
        rc = EVP_DigestFinal_ex(ctx->md, digest, &n) == 1 && n == QVS_SHA1_SIZE ? 0 : -1;
    }
    EVP_MD_CTX_free(ctx->md);
    delete ctx;
    return rc;
}
