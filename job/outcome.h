#pragma once
// What a person is told about a run after it: how many records it took and which values did not
// arrive as they were. Shown on the form and above the rejected records.

#include <string>

#include "base/M_Misc.h"
#include "contract/run_result.h"
#include "job/rejected_records.h"

namespace kelvorin::job {

/// "500 of 502 records imported, 2 rejected. 3 values were cut to the size of their field." An
/// import that ended early says so first.
std::string OutcomeText(const contract::RunResult& result);

struct ReportFacts {
  std::string source;  // file or table
  std::string target;  // table
  base::LocalTime ended_at;
  const contract::RunResult& result;
  const RejectedRecords& rejected;
};

/// A run for a person who was not there: what went where, when, the outcome, and the rejected
/// records with their reasons, one a line. Lines end in CR LF.
std::string ReportText(const ReportFacts& facts);

}  // namespace kelvorin::job
