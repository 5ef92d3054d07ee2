// SHA-1 digests per second of one 64-byte block through the library's own
// digest call: the yardstick bench_match.sh holds the lookup rate against.
#include <benchmark/benchmark.h>

#include <cstring>

#include "qvs_auth.h"

namespace {

void BM_Sha1Of64Bytes(benchmark::State& state) {
    unsigned char block[64];
    for (int i = 0; i < 64; ++i) block[i] = static_cast<unsigned char>(i * 7 + 1);
    unsigned char digest[20];
    for (auto _ : state) {
        qvs_auth_get_sha1(block, sizeof block, digest);
        std::memcpy(block, digest, sizeof digest);  // each digest feeds the next: no work hoisted
        benchmark::DoNotOptimize(block);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Sha1Of64Bytes);

}  // namespace
