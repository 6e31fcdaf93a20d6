#include "job/outcome.h"

#include <cstdio>

#include "base/M_Const.h"
#include "base/M_STRING.h"

namespace kelvorin::job {
namespace {

void Add(std::int64_t count, const char* one, const char* many, std::string& text) {
  if (count == 0) return;
  text += " " + base::ToDecimal(count) + (count == 1 ? one : many);
}

}  // namespace

std::string OutcomeText(const contract::RunResult& result) {
  std::string text = base::ToDecimal(result.imported) + " of " + base::ToDecimal(result.read) +
                     (result.read == 1 ? " record imported" : " records imported");
  if (result.rejected > 0) text += ", " + base::ToDecimal(result.rejected) + " rejected";
  if (result.skipped > 0) text += ", " + base::ToDecimal(result.skipped) + " skipped";
  text += ".";
  if (result.fatal) {
    text = "An error ended the import. " + text;
  } else if (result.ended_early()) {
    text = "The import was stopped. " + text;
  }
  Add(result.truncated_values, " value was cut to the size of its field.",
      " values were cut to the size of their field.", text);
  Add(result.replaced_characters, " character was replaced, because a code page does not have it.",
      " characters were replaced, because a code page does not have them.", text);
  return text;
}

std::string ReportText(const ReportFacts& facts) {
  char when[32];
  const base::LocalTime& at = facts.ended_at;
  std::snprintf(when, sizeof when, "%04d-%02d-%02d %02d:%02d:%02d", at.year, at.month, at.day,
                at.hour, at.minute, at.second);
  const std::string end(base::kCrLf);
  std::string text = "Import of " + facts.source + " into " + facts.target + end;
  text += "Ended at " + std::string(when) + end + OutcomeText(facts.result) + end;
  if (facts.result.fatal) text += base::Replace(*facts.result.fatal, end, " ") + end;
  if (facts.rejected.count() == 0) return text;
  text += end + "Rejected records:" + end;
  for (const RejectedRecords::Record& record : facts.rejected.records()) {
    text += "line " + base::ToDecimal(record.line);
    if (!record.field.empty()) text += ", field " + record.field + ", value '" + record.value + "'";
    text += ": " + base::Replace(record.reason, end, " ") + end;
  }
  const std::int64_t left =
      facts.rejected.count() - static_cast<std::int64_t>(facts.rejected.records().size());
  if (left > 0) text += "and " + base::ToDecimal(left) + " more" + end;
  return text;
}

}  // namespace kelvorin::job
