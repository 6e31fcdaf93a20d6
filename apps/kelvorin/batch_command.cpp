// `kelvorin batch [SETTING] [PROPERTY=VALUE ...]`: what a host does with `BatchImport`.

#include "apps/kelvorin/command.h"
#include "apps/kelvorin/passwords.h"
#include "apps/kelvorin/progress_bar.h"
#include "apps/kelvorin/run_summary.h"
#include "base/M_Misc.h"
#include "control/kelvorin.h"

namespace kelvorin::app {
namespace {

struct BatchOptions {
  std::vector<std::string> words;
  std::string source_password;
  bool json = false;
};

int Batch(const BatchOptions& options) {
  TerminalPlatform platform(options.json);
  Kelvorin control(&platform);
  std::string setting;
  for (std::size_t i = 0; i < options.words.size(); ++i) {
    const std::string& word = options.words[i];
    const std::size_t equals = word.find('=');
    if (i == 0 && equals == std::string::npos) {
      setting = word;
      continue;
    }
    if (equals == std::string::npos)
      return Report(kWrongUsage, "'" + word + "' is not of the form PROPERTY=VALUE");
    const Status set = control.SetPropertyText(word.substr(0, equals), word.substr(equals + 1));
    if (!set.ok()) return Report(kWrongUsage, set);
  }
  if (!options.source_password.empty())
    if (const Status set = control.SetPropertyText("Password", options.source_password); !set.ok())
      return Report(kWrongUsage, set);
  const std::int64_t began = base::MonotonicMilliseconds();
  const std::int16_t result = control.BatchImport(setting);
  contract::RunResult run = control.LastRun();
  if (result != 0 && !run.fatal) run.fatal = control.LastError();
  return PrintSummary(run, base::MonotonicMilliseconds() - began, options.json);
}

}  // namespace

void AddBatchCommand(Command root, int& exit_status) {
  auto options = std::make_shared<BatchOptions>();
  Command command = root.AddCommand("batch", "Run a saved setting, as a host would");
  command.Add("WORDS", options->words, "[SETTING] [PROPERTY=VALUE ...]");
  AddPassword(command, "source-", "source", options->source_password);
  command.AddFlag("--json", options->json, "Print one JSON object");
  command.Footer(
      "The properties are the control's 22, e.g. IniFile=jobs.ini ConnectString=DBase3\n"
      "DataBaseName=folder TableName=CUST ImportTable=new.csv. Without SETTING the default\n"
      "setting is run.");
  command.OnUse([options, &exit_status] { exit_status = Batch(*options); });
}

}  // namespace kelvorin::app
