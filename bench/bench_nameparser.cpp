// bench-libs: qvname
// Names split per second by libqvname on one thread.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "qv_proxy.h"

namespace {

const char* const kDefinition = "Name (Address Update)";

void* openEngine() {
  static void* h = [] {
    void* handle = nullptr;
    char err[QV_PROXY_ERROR_SIZE] = {};
    int32_t code = 0;
    if (qv_proxy_init(&handle, "", 2, err) < 0 || proxy__qv_lkm_path_set(handle, QV_SOURCE_DIR "/data/namekb") < 0 ||
        proxy__qv_locale_code_get_by_iso_name(handle, "ENUSA", &code) < 0 ||
        proxy__qv_lkm_locale_load(handle, code, 7) < 0) {
      proxy__qv_error_info_get(handle, &code, err);
      std::fprintf(stderr, "name engine start-up failed: %s\n", err);
      std::exit(1);
    }
    return handle;
  }();
  return h;
}

// Names as a mailing list holds them: mostly FIRST [MI] LAST, some titles,
// suffixes, list order and couples.
std::vector<std::string> listNames() {
  const char* firsts[] = {"JOHN", "MARY", "ROBERT", "PATRICIA", "MICHAEL", "LINDA", "WILLIAM", "ELIZABETH",
                          "DAVID", "JENNIFER", "JOSE", "MARIA", "THANH", "WEI", "MOHAMMED", "SUSAN"};
  const char* lasts[] = {"SMITH", "JOHNSON", "WILLIAMS", "BROWN", "JONES", "GARCIA", "MILLER", "DAVIS",
                         "RODRIGUEZ", "MARTINEZ", "NGUYEN", "SMITH-JONES", "O'BRIEN", "DE LA CRUZ", "VAN DYKE", "ANDERSON"};
  std::vector<std::string> out;
  char buf[128];
  for (int i = 0; i < 4096; ++i) {
    const char* f = firsts[(i * 7) % 16];
    const char* l = lasts[(i * 11 + i / 16) % 16];
    char mi = static_cast<char>('A' + i % 26);
    switch (i % 10) {
      case 0: std::snprintf(buf, sizeof buf, "MR %s %c %s JR", f, mi, l); break;
      case 1: std::snprintf(buf, sizeof buf, "%s, %s %c", l, f, mi); break;
      case 2: std::snprintf(buf, sizeof buf, "%s AND MARY %s", f, l); break;
      case 3: std::snprintf(buf, sizeof buf, "Dr. %s %s, M.D.", f, l); break;
      case 4: case 5: case 6: std::snprintf(buf, sizeof buf, "%s %c %s", f, mi, l); break;
      default: std::snprintf(buf, sizeof buf, "%s %s", f, l); break;
    }
    out.push_back(buf);
  }
  return out;
}

// The corpus of the tests: the harder forms.
std::vector<std::string> corpusNames() {
  std::ifstream in(QV_SOURCE_DIR "/tests/data/names.txt");
  std::vector<std::string> out;
  for (std::string line; std::getline(in, line);)
    if (!line.empty() && line[0] != '#') out.push_back(line.substr(0, line.find('|')));
  return out;
}

void run(benchmark::State& state, const std::vector<std::string>& names, bool zeroEachCall) {
  void* h = openEngine();
  std::vector<unsigned char> tokens(QV_PROXY_TOKEN_ARRAY_SIZE);
  size_t i = 0;
  for (auto _ : state) {
    if (zeroEachCall) std::memset(tokens.data(), 0, tokens.size());
    int32_t count = 0;
    if (proxy__qv_parse(h, kDefinition, names[i].c_str(), tokens.data(), &count) < 0) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(tokens.data());
    benchmark::ClobberMemory();
    if (++i == names.size()) i = 0;
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void BM_ParseListNames(benchmark::State& state) {
  static const std::vector<std::string> names = listNames();
  run(state, names, false);
}
// As the library calls it: the token array is zeroed before every parse.
void BM_ParseListNamesZeroedArray(benchmark::State& state) {
  static const std::vector<std::string> names = listNames();
  run(state, names, true);
}
void BM_ParseCorpusForms(benchmark::State& state) {
  static const std::vector<std::string> names = corpusNames();
  run(state, names, false);
}

// Start-up: the whole knowledge base, frequency tables included, read and
// indexed once; must stay well under 0.2 s.
void BM_LoadKnowledgeBase(benchmark::State& state) {
  for (auto _ : state) {
    void* h = nullptr;
    char err[QV_PROXY_ERROR_SIZE] = {};
    int32_t code = 0;
    if (qv_proxy_init(&h, "", 2, err) < 0 || proxy__qv_lkm_path_set(h, QV_SOURCE_DIR "/data/namekb") < 0 ||
        proxy__qv_locale_code_get_by_iso_name(h, "ENUSA", &code) < 0 || proxy__qv_lkm_locale_load(h, code, 7) < 0)
      state.SkipWithError("start-up failed");
    qv_proxy_close(h);
  }
}

BENCHMARK(BM_LoadKnowledgeBase)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ParseListNames);
BENCHMARK(BM_ParseListNamesZeroedArray);
BENCHMARK(BM_ParseCorpusForms);

}  // namespace
