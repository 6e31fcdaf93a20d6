// `kelvorin recover`: what an interrupted change left beside a table, and what becomes of it.

#include "apps/kelvorin/command.h"
#include "apps/kelvorin/database_argument.h"
#include "apps/kelvorin/output.h"
#include "database/drivers/register_drivers.h"

namespace kelvorin::app {
namespace {

struct RecoverOptions {
  std::string database;
  std::string table;
  bool apply = false;
  bool set_aside = false;
};

int Recover(const RecoverOptions& options) {
  const Result<DatabaseArgument> argument = RequireDatabase(options.database);
  if (!argument.ok()) return Report(kWrongUsage, argument.status());
  const catalog::TargetAddress address = argument->Address({}, {});
  database::DBEngine engine;
  database::RegisterDrivers(engine);
  using database::RecoverAction;
  const RecoverAction action = options.apply       ? RecoverAction::kApply
                               : options.set_aside ? RecoverAction::kSetAside
                                                   : RecoverAction::kShow;
  const Result<std::vector<std::string>> lines = engine.Recover(
      address.DataBaseName, catalog::TargetConnectString(address), options.table, action);
  if (!lines.ok()) return Report(kFatal, lines.status());
  for (const std::string& line : *lines) std::printf("%s\n", ToUtf8(line).c_str());
  if (lines->empty()) std::printf("no journal was found\n");
  return kAllImported;
}

}  // namespace

void AddRecoverCommand(Command root, int& exit_status) {
  auto options = std::make_shared<RecoverOptions>();
  Command command = root.AddCommand(
      "recover", "Show, apply or set aside the journal that an interrupted change left");
  command.Add("DATABASE", options->database, "KIND:DATABASE, e.g. DBase3:folder").Required();
  command.Add("TABLE", options->table, "One table only");
  const Option apply =
      command.AddFlag("--apply", options->apply,
                      "Take the change back, or finish it, where nobody changed the files");
  command
      .AddFlag("--set-aside", options->set_aside,
               "Keep the journal as NAME-journal.kept and leave the files as they are")
      .Excludes(apply);
  command.OnUse([options, &exit_status] { exit_status = Recover(*options); });
}

}  // namespace kelvorin::app
