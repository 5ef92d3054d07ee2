// SHA-1 over libcrypto's plain digest functions. The state lives on the
// caller's stack: no allocation and no algorithm look-up (with its lock) for
// each of the many small digests of a lookup.
#define OPENSSL_SUPPRESS_DEPRECATED
#include "qvs_auth.h"

#include <openssl/sha.h>

#include <new>

struct qvs_sha1_ctx {
    SHA_CTX sha;
};

int qvs_auth_get_sha1(const void* data, size_t length, unsigned char* digest) {
    if (digest == nullptr || (data == nullptr && length > 0)) return -1;
    // SHA1() itself goes through the algorithm look-up; the three steps do not.
    SHA_CTX sha;
    if (SHA1_Init(&sha) != 1) return -1;
    if (length > 0 && SHA1_Update(&sha, data, length) != 1) return -1;
    return SHA1_Final(digest, &sha) == 1 ? 0 : -1;
}

int qvs_auth_init_streaming_sha1(qvs_sha1_ctx** ctx) {
    if (ctx == nullptr) return -1;
    *ctx = new (std::nothrow) qvs_sha1_ctx;
    if (*ctx == nullptr) return -1;
    if (SHA1_Init(&(*ctx)->sha) != 1) {
        delete *ctx;
        *ctx = nullptr;
        return -1;
    }
    return 0;
}

int qvs_auth_update_streaming_sha1(qvs_sha1_ctx* ctx, const void* data, size_t length) {
    if (ctx == nullptr) return -1;
    // A read that gave nothing (or failed) is passed through with no bytes.
    if (data == nullptr || length == 0) return 0;
    return SHA1_Update(&ctx->sha, data, length) == 1 ? 0 : -1;
}

int qvs_auth_finish_streaming_sha1(qvs_sha1_ctx* ctx, unsigned char* digest) {
    if (ctx == nullptr) return -1;
    int rc = -1;
    if (digest != nullptr) rc = SHA1_Final(digest, &ctx->sha) == 1 ? 0 : -1;
    delete ctx;
    return rc;
}
