#pragma once
// How an import run ended, in numbers. Made by the run, shown by the command line, handed to hosts
// by the control.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelvorin::contract {

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
  bool stopped = false;                  // by the user, the host or the error limit
  bool cancelled = false;                // by the progress dialog
  /// What a person should know although nothing failed, e.g. that an interrupted change of the
  /// table was undone before.
  std::vector<std::string> notices;
  std::optional<std::string> fatal;  // what `LastError` says of the error that ended the run

  bool ended_early() const noexcept { return stopped || cancelled || fatal.has_value(); }
};

}  // namespace kelvorin::contract
