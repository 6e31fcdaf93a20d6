#include "apps/kelvorin/command.h"
#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "contract/properties.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

namespace kelvorin::app {
namespace {

// The program with the windows lies beside this one.
int StartWizard(const std::vector<std::string>& properties) {
  const std::string program = base::JoinPath(base::LibraryFolder(), "kelvorin-wizard");
  if (!base::FileExists(program))
    return Report(kFatal, "the wizard cannot be shown: '" + program +
                              "' is missing, this build has no windows");
  std::vector<char*> arguments{const_cast<char*>(program.c_str())};
  for (const std::string& property : properties)
    arguments.push_back(const_cast<char*>(property.c_str()));
  arguments.push_back(nullptr);
  execv(program.c_str(), arguments.data());
  return Report(kFatal, "'" + program + "' cannot be started: " + std::strerror(errno));
}

// The properties in their order, with the values that each takes.
std::string PropertyList() {
  std::string list = "Properties:\n";
  for (const contract::PropertyInfo& info : contract::PropertyTable()) {
    std::string values = "text";
    if (std::holds_alternative<bool contract::Properties::*>(info.member)) values = "0 or 1";
    if (std::holds_alternative<std::int16_t contract::Properties::*>(info.member))
      values = "a number";
    if (info.key == "ConnectString" || info.key == "DefaultSourceType") {
      const auto name =
          info.key == "ConnectString" ? contract::TypeConnectName : contract::FileTypeFormatName;
      values.clear();
      int names = 0;
      for (std::int16_t kind = 0; contract::IsKnownKind(kind); ++kind) {
        if (name(kind).empty()) continue;
        if (names > 0) values += names % 8 == 0 ? ",\n" + std::string(23, ' ') : ", ";
        values += name(kind);
        ++names;
      }
    }
    list += "  " + std::string(info.key) + std::string(21 - info.key.size(), ' ') + values + '\n';
  }
  return list;
}

}  // namespace

void AddWizardCommand(Command root, int& exit_status) {
  auto properties = std::make_shared<std::vector<std::string>>();
  Command wizard = root.AddCommand("wizard", "Opens the import wizard");
  wizard
      .Add("PROPERTY=VALUE", *properties,
           "Properties of the control, e.g. DataBaseName=shop DefaultSourceType=TFOXPRO26")
      .WithoutType();
  wizard.Footer(PropertyList());
  wizard.OnUse([properties, &exit_status] { exit_status = StartWizard(*properties); });
}

}  // namespace kelvorin::app
