#pragma once
// How an import run ended, in numbers. Made by the run, shown by the command line, handed to hosts
// by the control.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelvorin::contract {

/// A value that its field keeps other than it was given.
struct ChangedValue {
  std::int64_t line_number = 0;  // source line, or row of a source table, from 1
  std::string field;             // of the target
  std::string was, is;           // texts in the format of the run
  bool operator==(const ChangedValue&) const = default;
};

/// The counts of values and characters are those of imported records.
///
/// `read` = `imported` + `rejected` + `skipped` unless the run was ended early.
struct RunResult {
  std::int64_t read = 0;      // records taken; empty lines and those before StartingLine are none
  std::int64_t imported = 0;  // posted
  std::int64_t rejected = 0;  // dropped because of an error
  std::int64_t skipped = 0;   // dropped by the host, or their key was not found
  std::int64_t errors = 0;    // record errors; a record may have several
  std::int64_t truncated_values = 0;     // texts cut to the size of their field
  std::int64_t replaced_characters = 0;  // characters that a code page could not hold
  std::int64_t unclosed_delimiters = 0;  // records with a text delimiter that was never closed
  /// Values kept other than they were, those cut or with replaced characters among them: rounded, a
  /// time of day or digits lost, Null kept as False, line ends of a table's text made blanks.
  std::int64_t changed_values = 0;
  std::optional<ChangedValue> first_changed;
  /// Values of a text that stand in columns which neither its heading nor its first record has, and
  /// which no field takes; with the line of the first.
  std::int64_t left_out_values = 0;
  std::int64_t first_left_out_line = 0;
  bool stopped = false;    // by the user, the host or the error limit
  bool cancelled = false;  // by the progress dialog
  /// What a person should know although nothing failed, e.g. that an interrupted change of the
  /// table was undone before, or that a mapped column is not there.
  std::vector<std::string> notices;
  std::optional<std::string> fatal;  // what `LastError` says of the error that ended the run

  bool ended_early() const noexcept { return stopped || cancelled || fatal.has_value(); }
};

}  // namespace kelvorin::contract
