// The command line host: everything the component does without windows, one command each.

#include <functional>
#include <set>
#include <string>

#include "apps/kelvorin/command.h"
#include "apps/kelvorin/output.h"
#include "base/M_Const.h"
#include "base/M_Misc.h"
#include "base/M_STRING.h"

namespace kelvorin::app {

int Report(ExitStatus status, std::string_view text) {
  std::fflush(stdout);
  // A failure without a message of its own begins with the line end before its description.
  std::fprintf(stderr, "kelvorin: %s\n", ToUtf8(base::TrimLeft(text, base::kCrLf)).c_str());
  return status;
}

int Report(ExitStatus status, const Status& failure) {
  return Report(status, failure.message());
}

void PrintNotice(std::string_view text) {
  // Opening, making and filling a table each find the same thing worth telling.
  static std::set<std::string, std::less<>> told;
  if (!told.emplace(text).second) return;
  std::fflush(stdout);
  std::fprintf(stderr, "kelvorin: note: %s\n", ToUtf8(text).c_str());
}

}  // namespace kelvorin::app

int main(int argc, char** argv) {
  using namespace kelvorin::app;
  kelvorin::base::KeepStandardStreams();
  CommandLine line("kelvorin", "kelvorin " KELVORIN_VERSION,
                   "Copies text files and tables into a table of another database.");
  Command root = line.root();
  root.RequireCommand();
  root.Footer(
      "kelvorin COMMAND --help tells the options of a command.\n"
      "Exit status: 0 all records imported, 1 the run ended but records failed or it was stopped,\n"
      "2 wrong usage, 3 fatal error.");
  int exit_status = kAllImported;
  AddImportCommand(root, exit_status);
  AddBatchCommand(root, exit_status);
  AddDetectCommand(root, exit_status);
  AddSettingsCommand(root, exit_status);
  AddTableCommands(root, exit_status);
  AddRecoverCommand(root, exit_status);
  AddWizardCommand(root, exit_status);
  return line.Parse(argc, argv).value_or(exit_status);
}
