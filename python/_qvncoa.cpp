// The Python binding of libqvncoa: a data set object, one lookup (a dict in,
// a dict out) and the match of a whole table with the columns of `ncoa match`
// (the same column mapping and answer fields, compiled in from cli/). The
// table comes in as columns of strings and goes out the same way; the work
// between runs without the GIL, so threads of the caller run side by side on
// one data set.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Answer.h"
#include "AvFields.h"
#include "Columns.h"
#include "Csv.h"
#include "KnowledgeBase.h"
#include "qvav.h"
#include "qvncoa.h"

namespace py = pybind11;
using namespace ncoa_cli;

namespace {

// qvncoa.Error, whose instances carry the library's code and text.
PyObject* g_error = nullptr;

[[noreturn]] void raise(int code, const std::string& text, const std::string& what) {
    py::object type = py::reinterpret_borrow<py::object>(g_error);
    py::object e = type(what + ": " + text + " (code " + std::to_string(code) + ")");
    e.attr("code") = code;
    e.attr("text") = text;
    PyErr_SetObject(g_error, e.ptr());
    throw py::error_already_set();
}

unsigned initFlagOf(const std::string& name) {
    if (name == "in_memory" || name == "memory") return QVNCOA_INIT_IN_MEMORY;
    if (name == "flat_key_1") return QVNCOA_INIT_FLAT_KEY_1;
    if (name == "flat_key_2") return QVNCOA_INIT_FLAT_KEY_2;
    throw py::value_error("unknown init flag \"" + name + "\" (in_memory, flat_key_1, flat_key_2)");
}

// A verifier context for the rows of one call, opened only for free-form
// addresses: a context serves one thread at a time.
struct Verifier {
    qvav_context* av = nullptr;
    Verifier(const std::string& root) {
        char err[1024] = "";
        const int rc = qvav_open(&av, root.c_str(), err);
        if (rc != 0) {
            if (av != nullptr) qvav_close(&av);
            av = nullptr;
            throw std::runtime_error("the address verifier cannot open " + root + ": " + err);
        }
    }
    ~Verifier() {
        if (av != nullptr) qvav_close(&av);
    }
    Verifier(const Verifier&) = delete;
    Verifier& operator=(const Verifier&) = delete;
};

struct RowResult {
    int rc = 0;
    std::string error;
};

class DataSet {
public:
    DataSet(std::string root, std::string kb, const std::vector<std::string>& flags, bool memory, int flatIndex,
            bool check)
        : root_(std::move(root)), kb_(kb.empty() ? defaultKnowledgeBase() : std::move(kb)) {
        unsigned f = memory ? static_cast<unsigned>(QVNCOA_INIT_IN_MEMORY) : 0u;
        for (const std::string& n : flags) f |= initFlagOf(n);
        if (flatIndex < 0 || flatIndex > 3) throw py::value_error("flat_index: 0 to 3");
        f |= static_cast<unsigned>(flatIndex) << 1;
        char err[QVNCOA_ERROR_TEXT_SIZE] = "";
        int rc;
        {
            py::gil_scoped_release nogil;
            // The cheap structural check first, as ncoa does: a set with a missing,
            // short or unlisted file is refused before a lookup can meet it.
            rc = check ? qvncoa_check_data_set(root_.c_str(), 0, nullptr, nullptr, err) : QVNCOA_OK;
            if (rc == QVNCOA_OK) rc = qvncoa_init_data_obj(&obj_, root_.c_str(), kb_.c_str(), "", 2, nullptr, err, f);
        }
        if (rc != QVNCOA_OK) {
            qvncoa_destroy_data_obj(&obj_);
            raise(rc, err, "cannot open the data set at " + root_);
        }
    }
    ~DataSet() { close(); }
    void close() { qvncoa_destroy_data_obj(&obj_); }

    void* get() const {
        if (obj_ == nullptr) throw std::runtime_error("the data set is closed");
        return obj_;
    }

    py::dict releaseInfo() const {
        qvncoa_release_info_t info{};
        const int rc = qvncoa_getNCOAReleaseInfo(get(), &info);
        if (rc != QVNCOA_OK) raise(rc, "", "cannot read the release information");
        py::dict d;
        d["set_name"] = std::string(info.setName);
        d["date"] = std::string(info.date1);
        d["sequence"] = info.sequence;
        d["file_count"] = info.fileCount;
        d["set_letter"] = std::string(1, info.setLetter);
        return d;
    }

    // One row through the lookup: its answer fields appended to `out`.
    RowResult answer(const ColumnMap& map, bool freeForm, qvav_context* av, const CsvRecord& row, int mode,
                     int months, std::string* out, qvncoa_out_addr_t& o) const {
        char err[QVNCOA_ERROR_TEXT_SIZE] = "";
        RowResult r;
        if (!freeForm) {
            LookupInput in;
            buildLookupInput(map, row, in);
            const qvncoa_in_addr_t view = in.view();
            r.rc = qvncoa_lookup_without_qvav(obj_, &view, &o, mode, months, err, 0);
        } else {
            FreeFormInput in;
            buildFreeFormInput(map, row, in);
            // The lookup takes one address line: a second one is a unit.
            std::string line = in.addressLine;
            if (!in.addressLine2.empty()) line += (line.empty() ? "" : " ") + in.addressLine2;
            const char* record[3] = {in.name.empty() ? in.firm.c_str() : in.name.c_str(), line.c_str(),
                                     in.lastLine.c_str()};
            r.rc = qvncoa_lookup_with_qvav(obj_, av, record, &o, mode, months, err, 0);
        }
        if (r.rc != QVNCOA_OK && r.rc != QVNCOA_OK_MOVE_TOO_OLD) {
            r.error = err;
            return r;
        }
        if (out != nullptr) {
            std::size_t c = 0;
            if (freeForm) forEachAvField(o.avRecord, [&](const char*, std::string_view v) { out[c++].assign(v); });
            forEachAnswerField(o, [&](const char*, const char*, std::string_view v) { out[c++].assign(v); });
        }
        return r;
    }

    // Field names given as keys stand for themselves, besides the usual names.
    static std::vector<std::string> selfMaps(const std::vector<std::string>& header, std::vector<std::string> maps) {
        for (const std::string& h : header)
            for (int f = 0; f < kInputFields; ++f)
                if (h == inputFieldName(f)) maps.push_back(h + "=" + h);
        return maps;
    }

    static std::vector<std::string> answerColumns(bool freeForm) {
        std::vector<std::string> cols;
        if (freeForm) forEachAvField(nullptr, [&](const char* c, std::string_view) { cols.push_back(c); });
        qvncoa_out_addr_t blank{};
        forEachAnswerField(blank, [&](const char* c, const char*, std::string_view) { cols.push_back(c); });
        return cols;
    }

    py::dict lookup(const py::dict& record, const std::string& modeName, int months) {
        std::vector<std::string> header;
        CsvRecord row;
        for (const auto& kv : record) {
            header.push_back(py::str(kv.first));
            row.fields.push_back(kv.second.is_none() ? std::string() : std::string(py::str(kv.second)));
        }
        row.count = row.fields.size();
        const int mode = parseMode(modeName);
        const ColumnMap map = ColumnMap::resolve(header, selfMaps(header, {}));
        const bool freeForm = map.freeForm();
        const std::vector<std::string> cols = answerColumns(freeForm);
        std::vector<std::string> values(cols.size());
        qvncoa_out_addr_t o{};
        RowResult r;
        {
            py::gil_scoped_release nogil;
            std::unique_ptr<Verifier> v;
            if (freeForm) v = std::make_unique<Verifier>(root_);
            r = answer(map, freeForm, v ? v->av : nullptr, row, mode, months, values.data(), o);
        }
        if (!r.error.empty()) raise(r.rc, r.error, "lookup failed");
        py::dict d;
        d["result"] = r.rc;
        d["input_name"] = std::string(o.inputName);
        for (std::size_t i = 0; i < cols.size(); ++i) d[py::str(cols[i])] = values[i];
        return d;
    }

    // The columns of a table (strings, None for missing) to the answer
    // columns of `ncoa match` and ncoa_error, one value per row.
    py::tuple match(const std::vector<std::string>& header, const std::vector<std::vector<py::object>>& columns,
                    const std::vector<std::string>& maps, const std::string& modeName, int months) {
        const int mode = parseMode(modeName);
        const ColumnMap map = ColumnMap::resolve(header, maps);
        const bool freeForm = map.freeForm();
        const std::vector<std::string> cols = answerColumns(freeForm);
        const std::size_t rows = columns.empty() ? 0 : columns[0].size();
        std::vector<std::vector<std::string>> in(rows, std::vector<std::string>(header.size()));
        for (std::size_t c = 0; c < columns.size(); ++c) {
            if (columns[c].size() != rows) throw py::value_error("columns of different lengths");
            for (std::size_t r = 0; r < rows; ++r)
                if (!columns[c][r].is_none()) in[r][c] = py::str(columns[c][r]);
        }
        std::vector<std::vector<std::string>> out(cols.size() + 1, std::vector<std::string>(rows));
        {
            py::gil_scoped_release nogil;
            std::unique_ptr<Verifier> v;
            if (freeForm) v = std::make_unique<Verifier>(root_);
            CsvRecord row;
            std::vector<std::string> values(cols.size());
            qvncoa_out_addr_t o;
            for (std::size_t r = 0; r < rows; ++r) {
                row.fields.swap(in[r]);
                row.count = row.fields.size();
                const RowResult res = answer(map, freeForm, v ? v->av : nullptr, row, mode, months, values.data(), o);
                if (!res.error.empty()) {
                    out[cols.size()][r] = "lookup failed with code " + std::to_string(res.rc) + ": " + res.error;
                    continue;
                }
                for (std::size_t c = 0; c < cols.size(); ++c) out[c][r].swap(values[c]);
            }
        }
        std::vector<std::string> names = cols;
        names.push_back("ncoa_error");
        return py::make_tuple(names, out);
    }

    const std::string& root() const { return root_; }
    const std::string& kb() const { return kb_; }

private:
    std::string root_, kb_;
    void* obj_ = nullptr;
};

}  // namespace

PYBIND11_MODULE(_qvncoa, m) {
    m.doc() = "NCOALink move processing through libqvncoa";
    g_error = PyErr_NewExceptionWithDoc("qvncoa.Error", "A failure of the library: .code (1000 family) and .text",
                                        nullptr, nullptr);
    m.attr("Error") = py::reinterpret_borrow<py::object>(g_error);

    py::class_<DataSet>(m, "DataSet")
        .def(py::init<std::string, std::string, std::vector<std::string>, bool, int, bool>(), py::arg("root"),
             py::arg("kb") = "", py::arg("flags") = std::vector<std::string>{}, py::arg("memory") = false,
             py::arg("flat_index") = 0, py::arg("check") = true)
        .def("close", &DataSet::close)
        .def("release_info", &DataSet::releaseInfo)
        .def("lookup", &DataSet::lookup, py::arg("record"), py::arg("mode") = "all", py::arg("months") = 0)
        .def("_match", &DataSet::match)
        .def_property_readonly("root", &DataSet::root)
        .def_property_readonly("kb", &DataSet::kb);
    m.def(
        "answer_columns",
        [](const std::vector<std::string>& header, const std::vector<std::string>& maps) {
            std::vector<std::string> names =
                DataSet::answerColumns(ColumnMap::resolve(header, maps).freeForm());
            names.push_back("ncoa_error");
            return names;
        },
        py::arg("header"), py::arg("maps") = std::vector<std::string>{},
        "The columns DataSet.match adds behind those of a table with this header");
    m.def("knowledge_base_candidates", &knowledgeBaseCandidates,
          "Where the name knowledge base is looked for when kb is not given, in order");
    m.attr("OK") = static_cast<int>(QVNCOA_OK);
    m.attr("OK_MOVE_TOO_OLD") = static_cast<int>(QVNCOA_OK_MOVE_TOO_OLD);
}
