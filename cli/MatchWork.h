// The work `ncoa match` does on each batch of a list, and the writing of its
// summary report: shared by the command and by `ncoa serve`'s jobs, so a
// list sent to the service comes back exactly as the command writes it.
#pragma once

#include <cstddef>
#include <string>

#include "AvPool.h"
#include "Columns.h"
#include "ListRun.h"
#include "qvncoa_report.h"

namespace ncoa_cli {

// The answer columns (and the verifier's, for a free-form list) and the batch
// worker for a list whose header gave `map`. `verifiers` is needed only when
// map.freeForm(). The data object and the pool outlive the run.
ListWork matchWork(void* dataObj, AvPool* verifiers, const ColumnMap& map, std::size_t inputColumns, char delim,
                   int mode, int months);

// Writes the processing summary report of `stats` under `path`, through a
// temporary name, so that the name only ever holds a whole report.
void writeSummaryReport(const std::string& path, qvncoa_cumulativeStatsRecord_t& stats);

}  // namespace ncoa_cli
