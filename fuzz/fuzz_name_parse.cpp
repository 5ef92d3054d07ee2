// fuzz-libs: qvname
// Any bytes as a person's name: the engine must neither crash nor read or
// write out of bounds, and must leave every part a NUL-terminated text of
// its slot, with slots 5-31 untouched.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "qv_proxy.h"

namespace {

void* engine() {
  static void* h = [] {
    void* handle = nullptr;
    char err[QV_PROXY_ERROR_SIZE] = {};
    int32_t code = 0;
    if (qv_proxy_init(&handle, "", 2, err) < 0 || proxy__qv_lkm_path_set(handle, QV_SOURCE_DIR "/data/namekb") < 0 ||
        proxy__qv_locale_code_get_by_iso_name(handle, "ENUSA", &code) < 0 ||
        proxy__qv_lkm_locale_load(handle, code, 7) < 0) {
      proxy__qv_error_info_get(handle, &code, err);
      std::fprintf(stderr, "name engine start-up failed: %s\n", err);
      std::abort();
    }
    return handle;
  }();
  return h;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // An exact-size copy, so that reading past the name's NUL is caught.
  std::vector<char> name(data, data + size);
  name.push_back('\0');
  std::vector<unsigned char> tokens(QV_PROXY_TOKEN_ARRAY_SIZE, 0xA5);
  int32_t count = -1;
  if (proxy__qv_parse(engine(), "Name (Address Update)", name.data(), tokens.data(), &count) < 0) std::abort();
  if (count < 0 || count > 5) std::abort();
  for (int s = 0; s < 5; ++s) {
    const unsigned char* slot = tokens.data() + static_cast<size_t>(s) * QV_PROXY_SLOT_SIZE;
    int32_t len;
    std::memcpy(&len, slot, sizeof len);
    if (len < 0 || len >= QV_PROXY_SLOT_SIZE - 4 || slot[4 + len] != 0 ||
        std::strlen(reinterpret_cast<const char*>(slot + 4)) != static_cast<size_t>(len))
      std::abort();
  }
  for (size_t i = 5 * static_cast<size_t>(QV_PROXY_SLOT_SIZE); i < tokens.size(); ++i)
    if (tokens[i] != 0xA5) std::abort();
  return 0;
}
