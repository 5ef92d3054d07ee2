// The C interface of the engine. The handle holds the knowledge base; after
// proxy__qv_lkm_locale_load nothing in it changes, so proxy__qv_parse needs
// no lock. Failures are kept per thread, not per handle, because one handle
// serves many threads at once.
//
// Building the lists is most of the cost of opening a data set, and a
// process often opens the same one again (a service reopening a set, a
// fuzzer trying file after file). So the last few knowledge bases built stay
// in a process-wide cache and are shared, read-only, by every handle that
// loads the same bytes from the same folder; the files are read every time,
// so a changed file is never answered from the cache.
#include "qv_proxy.h"

#include "qvn_kb.h"
#include "qvn_parser.h"
#include "qvn_status.h"

#include <sys/stat.h>

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

namespace {

constexpr uint32_t kMagic = 0x51564e4du;  // marks a live handle

struct Engine {
  uint32_t magic = kMagic;
  std::string path;
  bool pathSet = false;
  std::atomic<bool> loaded{false};
  std::shared_ptr<const qvname::KnowledgeBase> kb;
};

class KbCache {
 public:
  std::shared_ptr<const qvname::KnowledgeBase> find(const std::string& dir, const std::vector<std::string>& texts) {
    std::lock_guard<std::mutex> lock(mu_);
    for (const Entry& e : entries_)
      if (e.dir == dir && e.texts == texts) return e.kb;
    return nullptr;
  }
  void keep(const std::string& dir, std::vector<std::string> texts, std::shared_ptr<const qvname::KnowledgeBase> kb) {
    std::lock_guard<std::mutex> lock(mu_);
    for (auto it = entries_.begin(); it != entries_.end(); ++it)
      if (it->dir == dir) {
        entries_.erase(it);
        break;
      }
    entries_.push_front(Entry{dir, std::move(texts), std::move(kb)});
    if (entries_.size() > kEntries) entries_.pop_back();
  }
  // Never destroyed: a handle may be closed by another library's exit code.
  static KbCache& get() {
    static KbCache* cache = new KbCache;
    return *cache;
  }

 private:
  static constexpr size_t kEntries = 4;
  struct Entry {
    std::string dir;
    std::vector<std::string> texts;
    std::shared_ptr<const qvname::KnowledgeBase> kb;
  };
  std::mutex mu_;
  std::deque<Entry> entries_;
};

struct LastError {
  int32_t code;
  char text[QV_PROXY_ERROR_SIZE];
};
thread_local LastError tlsError = {0, {0}};

int32_t fail(int32_t code, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
int32_t fail(int32_t code, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  std::vsnprintf(tlsError.text, sizeof tlsError.text, fmt, ap);
  va_end(ap);
  tlsError.code = code;
  return code;
}

// A caller's text shown in a message, cut so that the message fits.
std::string shown(const char* s) {
  std::string out;
  for (size_t i = 0; s[i] != '\0' && i < 200; ++i) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    out += (c < 0x20 || c == 0x7f) ? '?' : static_cast<char>(c);
  }
  return out;
}

Engine* engineOf(void* handle, const char* op) {
  Engine* e = static_cast<Engine*>(handle);
  if (e == nullptr || e->magic != kMagic) {
    fail(QVN_E_BAD_HANDLE, "%s: bad handle (null or closed)", op);
    return nullptr;
  }
  return e;
}

}  // namespace

extern "C" {

// config is reserved and ignored; version must be 2.
QV_PROXY_API int32_t qv_proxy_init(void** handle, const char* config, qv_target_version version, char* errorText) {
  (void)config;
  if (handle == nullptr) {
    int32_t rc = fail(QVN_E_BAD_ARGUMENT, "qv_proxy_init: handle pointer is null");
    if (errorText) std::snprintf(errorText, QV_PROXY_ERROR_SIZE, "%s", tlsError.text);
    return rc;
  }
  *handle = nullptr;
  int32_t rc = QVN_OK;
  if (version != QVN_INTERFACE_VERSION) {
    rc = fail(QVN_E_BAD_VERSION, "qv_proxy_init: unsupported interface version %d (expected %d)", version,
              QVN_INTERFACE_VERSION);
  } else {
    Engine* e = new (std::nothrow) Engine;
    if (e == nullptr)
      rc = fail(QVN_E_NO_MEMORY, "qv_proxy_init: out of memory");
    else
      *handle = e;
  }
  if (rc != QVN_OK && errorText) std::snprintf(errorText, QV_PROXY_ERROR_SIZE, "%s", tlsError.text);
  return rc;
}

QV_PROXY_API int32_t qv_proxy_close(void* handle) {
  Engine* e = engineOf(handle, "qv_proxy_close");
  if (!e) return QVN_E_BAD_HANDLE;
  e->magic = 0;
  delete e;
  return QVN_OK;
}

QV_PROXY_API int32_t proxy__qv_lkm_path_set(void* handle, const char* path) {
  Engine* e = engineOf(handle, "proxy__qv_lkm_path_set");
  if (!e) return QVN_E_BAD_HANDLE;
  if (path == nullptr || path[0] == '\0')
    return fail(QVN_E_BAD_ARGUMENT, "proxy__qv_lkm_path_set: knowledge base path is null or empty");
  if (e->loaded.load(std::memory_order_acquire))
    return fail(QVN_E_ALREADY_LOADED, "proxy__qv_lkm_path_set: a locale is already loaded; open a new handle");
  struct stat st;
  if (::stat(path, &st) != 0)
    return fail(QVN_E_KB_MISSING, "knowledge base folder not found: %s", shown(path).c_str());
  if (!S_ISDIR(st.st_mode))
    return fail(QVN_E_KB_MISSING, "knowledge base path is not a folder: %s", shown(path).c_str());
  try {
    e->path = path;
  } catch (const std::bad_alloc&) {
    return fail(QVN_E_NO_MEMORY, "proxy__qv_lkm_path_set: out of memory");
  }
  e->pathSet = true;
  return QVN_OK;
}

QV_PROXY_API int32_t proxy__qv_locale_code_get_by_iso_name(void* handle, const char* isoName, int32_t* code) {
  Engine* e = engineOf(handle, "proxy__qv_locale_code_get_by_iso_name");
  if (!e) return QVN_E_BAD_HANDLE;
  if (isoName == nullptr || code == nullptr)
    return fail(QVN_E_BAD_ARGUMENT, "proxy__qv_locale_code_get_by_iso_name: null argument");
  if (::strcasecmp(isoName, "ENUSA") == 0) {
    *code = QVN_LOCALE_ENUSA;
    return QVN_OK;
  }
  return fail(QVN_E_UNKNOWN_LOCALE, "unknown locale \"%s\" (known: ENUSA)", shown(isoName).c_str());
}

QV_PROXY_API int32_t proxy__qv_lkm_locale_load(void* handle, int32_t code, int32_t options) {
  Engine* e = engineOf(handle, "proxy__qv_lkm_locale_load");
  if (!e) return QVN_E_BAD_HANDLE;
  if (code != QVN_LOCALE_ENUSA) return fail(QVN_E_UNKNOWN_LOCALE, "unknown locale code %d", code);
  if (options != QVN_LOAD_ALL)
    return fail(QVN_E_BAD_OPTIONS, "proxy__qv_lkm_locale_load: unsupported options %d (expected %d)", options,
                QVN_LOAD_ALL);
  if (e->loaded.load(std::memory_order_acquire))
    return fail(QVN_E_ALREADY_LOADED, "proxy__qv_lkm_locale_load: the locale is already loaded");
  if (!e->pathSet)
    return fail(QVN_E_NO_KB_PATH, "proxy__qv_lkm_locale_load: knowledge base path not set");
  try {
    std::string err;
    std::vector<std::string> texts;
    int32_t rc = qvname::KnowledgeBase::readFiles(e->path, texts, err);
    if (rc != QVN_OK) return fail(rc, "%s", err.substr(0, QV_PROXY_ERROR_SIZE - 1).c_str());
    e->kb = KbCache::get().find(e->path, texts);
    if (!e->kb) {
      auto kb = std::make_shared<qvname::KnowledgeBase>();
      rc = kb->load(e->path, texts, err);
      if (rc != QVN_OK) return fail(rc, "%s", err.substr(0, QV_PROXY_ERROR_SIZE - 1).c_str());
      KbCache::get().keep(e->path, std::move(texts), kb);
      e->kb = std::move(kb);
    }
  } catch (const std::bad_alloc&) {
    return fail(QVN_E_NO_MEMORY, "proxy__qv_lkm_locale_load: out of memory");
  }
  e->loaded.store(true, std::memory_order_release);
  return QVN_OK;
}

QV_PROXY_API int32_t proxy__qv_parse(void* handle, const char* definition, const char* input, void* tokens,
                                     int32_t* count) {
  Engine* e = engineOf(handle, "proxy__qv_parse");
  if (!e) return QVN_E_BAD_HANDLE;
  if (!e->loaded.load(std::memory_order_acquire))
    return fail(QVN_E_LOCALE_NOT_LOADED, "proxy__qv_parse: no locale loaded");
  if (input == nullptr || tokens == nullptr)
    return fail(QVN_E_BAD_ARGUMENT, "proxy__qv_parse: input or token array is null");
  if (definition == nullptr || !e->kb->hasDefinition(definition))
    return fail(QVN_E_UNKNOWN_DEFINITION, "unknown parse definition \"%s\"",
                definition ? shown(definition).c_str() : "(null)");
  qvname::parseName(*e->kb, input, static_cast<unsigned char*>(tokens), count);
  return QVN_OK;
}

// Works with any handle, even a null one, since failures are the thread's.
QV_PROXY_API int32_t proxy__qv_error_info_get(void* handle, int32_t* code, char* text) {
  (void)handle;
  if (code) *code = tlsError.code;
  if (text) std::snprintf(text, QV_PROXY_ERROR_SIZE, "%s", tlsError.text);
  return QVN_OK;
}

}  // extern "C"
