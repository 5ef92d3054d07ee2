// bench-libs: qvwriter qvncoa_static
// Unpacking speed of a packed hash section, in bytes of output per second:
// a 64 MiB section packed by the writer and unpacked by the library through
// qvncoa_unpackHashFile. The first argument is the share of non-zero bytes in
// thousandths: 0 (an empty stripe such as hs9), 10 (a lightly loaded stripe),
// 160 (a stripe at the writer's full load). The second is 1 to write a file,
// 0 to write to /dev/null: the decoding alone, without the page cache's cost.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "Packer.h"
#include "qvncoa.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kSectionBytes = 64u << 20;

void BM_UnpackSection(benchmark::State& state) {
    const int perMille = static_cast<int>(state.range(0));
    const bool toFile = state.range(1) != 0;
    qvw::Bytes section(kSectionBytes, 0);
    std::mt19937_64 rng(15);
    for (auto& b : section)
        if (static_cast<int>(rng() % 1000) < perMille) b = static_cast<unsigned char>(1 + rng() % 255);
    const qvw::Bytes packed = qvw::packSection(section, "bench");

    const fs::path dir = fs::temp_directory_path() / ("qv-bench-unpack-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    const std::string from = (dir / "clk.a.hs1.SZP").string();
    const std::string to = toFile ? (dir / "clk.a.hs1").string() : std::string("/dev/null");
    std::ofstream(from, std::ios::binary).write(reinterpret_cast<const char*>(packed.data()),
                                                 static_cast<std::streamsize>(packed.size()));
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    for (auto _ : state) {
        if (qvncoa_unpackHashFile(from.c_str(), to.c_str(), err) != QVNCOA_OK) {
            state.SkipWithError(err);
            break;
        }
    }
    // The result must be the section, byte for byte.
    if (toFile) {
        std::ifstream in(to, std::ios::binary);
        std::stringstream got;
        got << in.rdbuf();
        if (got.str() != std::string(section.begin(), section.end()))
            state.SkipWithError("unpacked section differs");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kSectionBytes));
    state.counters["packed_MB"] = static_cast<double>(packed.size()) / 1e6;
    fs::remove_all(dir);
}
BENCHMARK(BM_UnpackSection)
    ->ArgsProduct({{0, 10, 160}, {1, 0}})
    ->ArgNames({"permille", "file"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
