#include "KnowledgeBase.h"

#include <dlfcn.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#ifndef QV_KB_RELATIVE
#define QV_KB_RELATIVE "../share/qvncoa/namekb"
#endif

namespace ncoa_cli {
namespace {

// The folder of the file this code was loaded from: the executable itself,
// or the shared object (the Python module) that carries this code.
std::string ownFolder() {
    std::string path;
    Dl_info info{};
    char buf[PATH_MAX];
    if (dladdr(reinterpret_cast<void*>(&ownFolder), &info) != 0 && info.dli_fname != nullptr &&
        info.dli_fname[0] == '/' && realpath(info.dli_fname, buf) != nullptr) {
        path = buf;
    } else {
        // The main program: dladdr gives argv[0] there, which may be relative.
        const ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
        if (n <= 0) return std::string();
        path.assign(buf, static_cast<std::size_t>(n));
    }
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

bool isFolder(const std::string& p) {
    struct stat st {};
    return ::stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::vector<std::string> relatives() {
    std::vector<std::string> out;
    const std::string all = QV_KB_RELATIVE;
    std::size_t from = 0;
    while (from <= all.size()) {
        const std::size_t end = all.find(':', from);
        const std::string one = all.substr(from, end == std::string::npos ? std::string::npos : end - from);
        if (!one.empty()) out.push_back(one);
        if (end == std::string::npos) break;
        from = end + 1;
    }
    return out;
}

}  // namespace

std::vector<std::string> knowledgeBaseCandidates() {
    std::vector<std::string> out;
    if (const char* env = std::getenv(kKbEnvironment); env != nullptr && env[0] != '\0') out.emplace_back(env);
    const std::string dir = ownFolder();
    if (!dir.empty())
        for (const std::string& rel : relatives()) out.push_back(dir + "/" + rel);
    return out;
}

std::string defaultKnowledgeBase() {
    const std::vector<std::string> c = knowledgeBaseCandidates();
    char buf[PATH_MAX];
    for (const std::string& p : c)
        if (isFolder(p)) return realpath(p.c_str(), buf) != nullptr ? std::string(buf) : p;
    return c.empty() ? std::string() : c.front();
}

std::string knowledgeBaseSearchText() {
    std::string s = std::string("$") + kKbEnvironment;
    for (const std::string& rel : relatives()) s += ", then <program folder>/" + rel;
    return s;
}

}  // namespace ncoa_cli
