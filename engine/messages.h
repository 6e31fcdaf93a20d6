#pragma once
// The texts of the run, letter for letter, and the steps that select them. Used by the run and its
// error policy only.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/language.h"
#include "base/status.h"
#include "contract/run_result.h"
#include "database/engine.h"
#include "values/field_types.h"

namespace kelvorin::engine {

/// The phase a run has reached; selects the message of a failure.
enum class Step : std::int16_t {
  kEstimate = 0,
  kOpenFile = 1,  // the log and the import file
  kOpenDatabase = 2,
  kOpenTable = 3,
  kFirstRecord = 4,
  kStartingLine = 5,
  kReadFields = 6,
  kSplit = 7,
  kPosition = 8,
  kAssign = 9,
  kPost = 10,
  kClose = 11,
};

/// Names that messages mention.
struct SourceNames {
  bool is_table = false;
  std::string_view import_file;  // text file, or the table of a database source
  std::string_view database;
};

using base::Message;

inline constexpr std::string_view kTitleError = "Error";
inline constexpr std::string_view kTitleInformation = "Information";

inline constexpr std::string_view kContinue = "Continue the import ?";
inline constexpr std::string_view kContinueSilently =
    "Continue the import without displaying errors ? (i.e import as much as possible ?)";
inline constexpr std::string_view kSummary = "End of import\r\nNumber of imported records : %1";
// In the log.
inline constexpr std::string_view kEndOfImport = "End of import";
inline constexpr std::string_view kImportedRecords = "Number of imported records : ";

/// Message of a failure that ends the run. Empty for the steps without one. The unbalanced quote of
/// kOpenDatabase and the spelling of kOpenTable are kept as they are.
Message FatalMessage(Step step, const SourceNames& names);
/// Message of a value that a field does not take.
Message AssignMessage(std::int64_t line_number, std::string_view value, std::string_view field,
                      values::TypeCode type);
/// Message of a record that the target does not take, with the engine's error details.
Message PostMessage(const database::DBEngine& engine, const Status& why);
Message LimitMessage(std::int32_t nErrorStop);
Message MissingKeyMessage(std::string_view field);

/// What became of values that were not kept as they were, one sentence for each kind of loss that a
/// run met; for the log and the summary.
std::vector<std::string> LossMessages(const contract::RunResult& result);

/// The engine's pending errors, one line each: the description and the number in parentheses.
/// Without any, the status's own text.
std::string PendingErrors(const database::DBEngine& engine, const Status& why);
/// The same in the language that people see.
std::string ShownErrors(const database::DBEngine& engine, const Status& why);

}  // namespace kelvorin::engine
