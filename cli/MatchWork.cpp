#include "MatchWork.h"

#include <fmt/core.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "Answer.h"
#include "AvFields.h"
#include "Csv.h"
#include "DataObject.h"

namespace ncoa_cli {

ListWork matchWork(void* dataObj, AvPool* verifiers, const ColumnMap& map, std::size_t inputColumns, char delim,
                   int mode, int months) {
    ListWork work;
    if (map.freeForm()) forEachAvField(nullptr, [&](const char* column, std::string_view) { work.columns.push_back(column); });
    qvncoa_out_addr_t blank{};
    forEachAnswerField(blank, [&](const char* column, const char*, std::string_view) { work.columns.push_back(column); });
    const std::size_t columns = work.columns.size();
    void* const obj = dataObj;
    AvPool* const pool = verifiers;
    const auto append = [delim](Batch& b) {
        return [&b, delim](std::string_view v) {
            b.text += delim;
            csvAppendField(b.text, v, delim);
        };
    };

    if (!map.freeForm()) {
        work.process = [=](Batch& b) {
            qvncoa_out_addr_t out;
            char err[QVNCOA_ERROR_TEXT_SIZE];
            LookupInput in;
            const auto put = append(b);
            forEachRow(b, inputColumns, columns, delim, [&](const CsvRecord& row, std::string& error) {
                buildLookupInput(map, row, in);
                const qvncoa_in_addr_t view = in.view();
                err[0] = '\0';
                const int rc = qvncoa_lookup_without_qvav(obj, &view, &out, mode, months, err, 0);
                if (rc != QVNCOA_OK && rc != QVNCOA_OK_MOVE_TOO_OLD) {
                    error = fmt::format("lookup failed with code {}: {}", rc, err);
                    return false;
                }
                forEachAnswerField(out, [&](const char*, const char*, std::string_view v) { put(v); });
                countAnswer(b.counts, out);
                return true;
            });
        };
        return work;
    }

    // Free-form addresses: the verifier parses and codes each one, then
    // the lookup runs on what it made of it.
    work.process = [=](Batch& b) {
        const AvPool::Lease av(*pool);
        qvncoa_out_addr_t out;
        char err[QVNCOA_ERROR_TEXT_SIZE];
        FreeFormInput in;
        std::string line;
        const auto put = append(b);
        forEachRow(b, inputColumns, columns, delim, [&](const CsvRecord& row, std::string& error) {
            buildFreeFormInput(map, row, in);
            // The lookup takes one address line: a second one is a unit.
            line = in.addressLine;
            if (!in.addressLine2.empty()) line += (line.empty() ? "" : " ") + in.addressLine2;
            const char* record[3] = {in.name.empty() ? in.firm.c_str() : in.name.c_str(), line.c_str(),
                                     in.lastLine.c_str()};
            err[0] = '\0';
            const int rc = qvncoa_lookup_with_qvav(obj, av.get(), record, &out, mode, months, err, 0);
            if (rc != QVNCOA_OK && rc != QVNCOA_OK_MOVE_TOO_OLD) {
                error = fmt::format("lookup failed with code {}: {}", rc, err);
                return false;
            }
            forEachAvField(out.avRecord, [&](const char*, std::string_view v) { put(v); });
            forEachAnswerField(out, [&](const char*, const char*, std::string_view v) { put(v); });
            countAnswer(b.counts, out);
            return true;
        });
    };
    return work;
}

void writeSummaryReport(const std::string& path, qvncoa_cumulativeStatsRecord_t& stats) {
    const std::string tmp = path + ".partial." + std::to_string(::getpid());
    QV_NCOA::CNCOA_SummaryReport report;
    int rc = 0;
    try {
        rc = report.DoReport(tmp.c_str(), &stats);
    } catch (...) {  // the library's file error (1041); its type is not exported
        ::unlink(tmp.c_str());
        throw std::runtime_error("cannot write the report to " + path + " (code 1041)");
    }
    if (rc != QVNCOA_OK) throw LibraryError(rc, "cannot write the report to " + path);
    if (std::rename(tmp.c_str(), path.c_str()) != 0) {
        ::unlink(tmp.c_str());
        throw std::runtime_error("cannot write the report to " + path + ": " + std::strerror(errno));
    }
}

}  // namespace ncoa_cli
