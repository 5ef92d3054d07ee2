// SHA-1 as published (FIPS 180-4), one-shot and streaming.
#pragma once

#include <cstddef>

enum { QVS_SHA1_SIZE = 20 };

struct qvs_sha1_ctx;  // opaque streaming state

// Digest of one buffer into digest[20]. 0 on success.
int qvs_auth_get_sha1(const void* data, size_t length, unsigned char* digest);

// Streaming: init allocates the state (0 on success), update adds bytes,
// finish writes the digest and frees the state in every case.
int qvs_auth_init_streaming_sha1(qvs_sha1_ctx** ctx);
int qvs_auth_update_streaming_sha1(qvs_sha1_ctx* ctx, const void* data, size_t length);
int qvs_auth_finish_streaming_sha1(qvs_sha1_ctx* ctx, unsigned char* digest);
