#pragma once
// The commands of the command line host. Each adds itself to the parser with its options and, when
// it was the one given, leaves its exit status in `exit_status`.

#include <string_view>

#include "base/status.h"

namespace CLI {
class App;
}

namespace kelvorin::app {

/// What the process answers its caller.
enum ExitStatus : int {
  kAllImported = 0,
  kRecordsFailed = 1,  // the run ended, but records failed or it was cancelled
  kWrongUsage = 2,
  kFatal = 3,  // the text stands on standard error
};

void AddBatchCommand(CLI::App& app, int& exit_status);
void AddImportCommand(CLI::App& app, int& exit_status);
void AddRecoverCommand(CLI::App& app, int& exit_status);
void AddSettingsCommand(CLI::App& app, int& exit_status);
void AddDetectCommand(CLI::App& app, int& exit_status);
void AddTableCommands(CLI::App& app,
                      int& exit_status);  // tables, fields, dump, check, create, sources

void AddWizardCommand(CLI::App& app, int& exit_status);

/// Writes "kelvorin: " and the text to standard error and answers the status.
int Report(ExitStatus status, std::string_view text);
int Report(ExitStatus status, const Status& failure);
/// Writes "kelvorin: note: " and the text to standard error.
void PrintNotice(std::string_view text);

}  // namespace kelvorin::app
