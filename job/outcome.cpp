#include "job/outcome.h"

#include <algorithm>
#include <cstdio>

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "base/language.h"

namespace kelvorin::job {

using base::Tr;
using base::TrCount;

namespace {

constexpr std::size_t kLongestValue = 60;  // characters of a value in a sentence

std::string Short(std::string_view value) {
  const std::string_view cut = base::CutToCharacters(value, kLongestValue);
  std::string text(cut);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
  return cut.size() == value.size() ? text : text + "...";
}

void Add(std::int64_t count, std::string_view one, std::string_view many, std::string& text) {
  if (count > 0) text += " " + TrCount(count, one, many);
}

}  // namespace

std::string OutcomeText(const contract::RunResult& result) {
  std::string text = result.read == 1
                         ? Tr("%1 of 1 record imported", {base::ToDecimal(result.imported)})
                         : Tr("%1 of %2 records imported",
                              {base::ToDecimal(result.imported), base::ToDecimal(result.read)});
  if (result.rejected > 0) text += ", " + Tr("%1 rejected", {base::ToDecimal(result.rejected)});
  if (result.skipped > 0) text += ", " + Tr("%1 skipped", {base::ToDecimal(result.skipped)});
  text += ".";
  if (result.fatal) {
    text = Tr("An error ended the import.") + " " + text;
  } else if (result.ended_early()) {
    text = Tr("The import was stopped.") + " " + text;
  }
  Add(result.truncated_values, "%1 value was cut to the size of its field.",
      "%1 values were cut to the size of their field.", text);
  Add(result.replaced_characters,
      "%1 character was replaced, because a code page does not have it.",
      "%1 characters were replaced, because a code page does not have them.", text);
  Add(result.changed_values, "%1 value is kept other than it was.",
      "%1 values are kept other than they were.", text);
  if (result.first_changed) {
    const contract::ChangedValue& first = *result.first_changed;
    text += " " + Tr("The first is in line %1, field %2: '%3' is kept as '%4'.",
                     {base::ToDecimal(first.line_number), first.field, Short(first.was),
                      Short(first.is)});
  }
  Add(result.unclosed_delimiters, "%1 record holds a text delimiter that is never closed.",
      "%1 records hold a text delimiter that is never closed.", text);
  if (result.left_out_values > 0)
    text += " " + Tr("%1 values stand in columns that are not mapped because neither the heading "
                     "nor the first record has them; the first in line %2.",
                     {base::ToDecimal(result.left_out_values),
                      base::ToDecimal(result.first_left_out_line)});
  for (const std::string& notice : result.notices) text += " " + base::TrReason(notice);
  return text;
}

std::string ReportText(const ReportFacts& facts) {
  char when[32];
  const base::LocalTime& at = facts.ended_at;
  std::snprintf(when, sizeof when, "%04d-%02d-%02d %02d:%02d:%02d", at.year, at.month, at.day,
                at.hour, at.minute, at.second);
  const std::string end(base::kCrLf);
  std::string text = Tr("Import of %1 into %2", {facts.source, facts.target}) + end;
  text += Tr("Ended at %1", {when}) + end + OutcomeText(facts.result) + end;
  if (facts.result.fatal)
    text += base::Replace(base::TrReason(*facts.result.fatal), end, " ") + end;
  if (facts.rejected.count() == 0) return text;
  text += end + Tr("Rejected records:") + end;
  for (const RejectedRecords::Record& record : facts.rejected.records()) {
    const std::string reason = base::TrReason(base::Replace(record.reason, end, " "));
    text += record.field.empty()
                ? Tr("line %1: %2", {base::ToDecimal(record.line), reason})
                : Tr("line %1, field %2, value '%3': %4",
                     {base::ToDecimal(record.line), record.field, record.value, reason});
    text += end;
  }
  const std::int64_t left =
      facts.rejected.count() - static_cast<std::int64_t>(facts.rejected.records().size());
  if (left > 0) text += Tr("and %1 more", {base::ToDecimal(left)}) + end;
  return text;
}

}  // namespace kelvorin::job
