#pragma once
// The commands of the command line host. Each adds itself to the parser with its options and, when
// it was the one given, leaves its exit status in `exit_status`.

#include <string_view>

#include "apps/kelvorin/command_line.h"
#include "base/status.h"

namespace kelvorin::app {

/// What the process answers its caller.
enum ExitStatus : int {
  kAllImported = 0,
  kRecordsFailed = 1,  // the run ended, but records failed or it was cancelled
  kWrongUsage = 2,
  kFatal = 3,  // the text stands on standard error
};

void AddBatchCommand(Command root, int& exit_status);
void AddImportCommand(Command root, int& exit_status);
void AddRecoverCommand(Command root, int& exit_status);
void AddSettingsCommand(Command root, int& exit_status);
void AddDetectCommand(Command root, int& exit_status);
void AddTableCommands(Command root,
                      int& exit_status);  // tables, fields, dump, check, create, sources

void AddWizardCommand(Command root, int& exit_status);

/// Writes "kelvorin: " and the text to standard error and answers the status.
int Report(ExitStatus status, std::string_view text);
int Report(ExitStatus status, const Status& failure);
/// Writes "kelvorin: note: " and the text to standard error.
void PrintNotice(std::string_view text);

}  // namespace kelvorin::app
