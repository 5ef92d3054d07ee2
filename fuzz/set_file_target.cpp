// One file of an otherwise valid sample set replaced by the input, built once
// for each file (QV_FUZZ_FILE, relative to the set's root), and the set opened
// anew for each input: a data object maps the files its lookups read when it
// opens, and a mapped file must not be rewritten under it. Every call returns
// a code of the 1000 family or an answer, and nothing crashes.
// The contents list and the name rules go through the check first, as a caller
// must: a list too short for a ZIP group throws through the boundary, and a
// rule that replaces nothing makes the rule walk loop, both by design.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "qvncoa.h"

#ifndef QV_FUZZ_FILE
#error QV_FUZZ_FILE names the file under the set's root
#endif
#ifndef QV_FUZZ_KIND
#define QV_FUZZ_KIND Hash
#endif

namespace {

struct Rec {
    std::string name, pno, sno, zip9, desc;
};

std::vector<Rec> sampleRecords() {
    std::vector<Rec> v;
    std::ifstream in(QV_SOURCE_DIR "/data/sample/list.csv");
    std::string line;
    std::getline(in, line);
    while (v.size() < 24 && std::getline(in, line)) {
        std::vector<std::string> f(1);
        for (char c : line) {
            if (c == ',') f.emplace_back();
            else if (c != '"') f.back() += c;
        }
        if (f.size() < 12) continue;
        v.push_back({f[1].empty() ? f[2] : f[1], f[3], f[6], f[9] + f[10], f[5]});
    }
    return v;
}

void lookAll(void* obj, const std::vector<Rec>& recs) {
    for (const Rec& r : recs) {
        qvncoa_in_addr_t in = {r.name.c_str(), r.pno.c_str(), r.sno.c_str(), r.zip9.c_str(), r.desc.c_str(), 'S'};
        qvncoa_out_addr_t out;
        char err[QVNCOA_ERROR_TEXT_SIZE] = "";
        int rc = qvncoa_lookup_without_qvav(obj, &in, &out, 0, 0, err, 0);
        if (rc < 1000 || rc > 1099) std::abort();
    }
}

void* open(unsigned flags, int& rc) {
    void* obj = nullptr;
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    rc = qvncoa_init_data_obj(&obj, qvfuzz::sampleSet(qvw::DataSetKind::QV_FUZZ_KIND).c_str(),
                              QV_SOURCE_DIR "/data/namekb", "", 2, nullptr, err, flags);
    if (rc < 1000 || rc > 1099) std::abort();
    return obj;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::vector<Rec> recs = sampleRecords();
    const std::string& root = qvfuzz::sampleSet(qvw::DataSetKind::QV_FUZZ_KIND);
    const std::string path = root + "/" QV_FUZZ_FILE;
    qvfuzz::writeFile(path, data, size);
    const std::string file = QV_FUZZ_FILE;
    if (file.find("contents.lst") != std::string::npos || file.find("rules.lst") != std::string::npos) {
        char err[QVNCOA_ERROR_TEXT_SIZE] = "";
        if (qvncoa_check_data_set(root.c_str(), 0, nullptr, nullptr, err) != QVNCOA_OK) return 0;
    }
    int rc = 0;
    void* obj = open(size % 2 ? QVNCOA_INIT_IN_MEMORY : 0, rc);
    if (rc == QVNCOA_OK) lookAll(obj, recs);
    qvncoa_destroy_data_obj(&obj);
    return 0;
}
