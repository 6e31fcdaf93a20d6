// `kelvorin settings list | show NAME | delete NAME`: the saved jobs of a settings file.

#include <nlohmann/json.hpp>

#include "apps/kelvorin/command.h"
#include "apps/kelvorin/output.h"
#include "apps/kelvorin/passwords.h"
#include "settings/ini_file.h"
#include "settings/setting_store.h"

namespace kelvorin::app {
namespace {

struct SettingsOptions {
  std::string ini;
  std::string name;
  bool json = false;
};

settings::IniFile OpenIni(const SettingsOptions& options) {
  return settings::IniFile(options.ini.empty() ? settings::DefaultIniFile() : options.ini);
}

int List(const SettingsOptions& options) {
  const settings::IniFile ini = OpenIni(options);
  if (const auto loaded = ini.TryLoad(); !loaded.ok()) return Report(kFatal, loaded.status());
  const std::vector<std::string> names = ini.FillSettingsList();
  if (options.json) {
    nlohmann::json array = nlohmann::json::array();
    for (const std::string& name : names) array.push_back(ToUtf8(name));
    std::printf("%s\n", array.dump().c_str());
  } else {
    for (const std::string& name : names) std::printf("%s\n", ToUtf8(name).c_str());
  }
  const std::size_t hidden = ini.HiddenNames();
  if (hidden > 0 && names.empty()) {
    std::fputs("kelvorin: the first saved name begins with \"Default\", which hides the list\n",
               stderr);
  } else if (hidden > 0) {
    std::fprintf(stderr,
                 "kelvorin: %zu more names lie behind the list's first 4,096 bytes and are not "
                 "shown; each can still be run by its name\n",
                 hidden);
  }
  return kAllImported;
}

int Show(const SettingsOptions& options) {
  const settings::IniFile ini = OpenIni(options);
  const Result<settings::IniDocument> loaded = ini.TryLoad();
  if (!loaded.ok()) return Report(kFatal, loaded.status());
  const settings::IniDocument& document = *loaded;
  const std::vector<settings::IniEntry> entries = document.Entries(options.name);
  if (entries.empty())
    return Report(kFatal, "there is no setting '" + options.name + "' in '" + ini.path() + "'");
  nlohmann::ordered_json object = nlohmann::ordered_json::object();
  for (const settings::IniEntry& entry : entries) {
    const std::string key = ToUtf8(entry.key);
    const std::string value = ToUtf8(
        WithoutPasswords(document.Value(options.name, entry.key).value_or(std::string_view())));
    if (options.json) {
      object[key] = value;
    } else {
      std::printf("%s=%s\n", key.c_str(), value.c_str());
    }
  }
  if (options.json) std::printf("%s\n", object.dump(2).c_str());
  return kAllImported;
}

int Delete(const SettingsOptions& options) {
  settings::IniFile ini = OpenIni(options);
  const Result<settings::IniDocument> loaded = ini.TryLoad();
  if (!loaded.ok()) return Report(kFatal, loaded.status());
  if (loaded->Entries(options.name).empty() &&
      !ini.SettingExists(settings::kIndexSection, options.name))
    return Report(kFatal, "there is no setting '" + options.name + "' in '" + ini.path() + "'");
  const Status deleted = settings::DeleteSetting(ini, options.name);
  return deleted.ok() ? kAllImported : Report(kFatal, deleted);
}

}  // namespace

void AddSettingsCommand(Command root, int& exit_status) {
  auto options = std::make_shared<SettingsOptions>();
  Command group = root.AddCommand("settings", "List, show or delete saved settings");
  group.RequireCommand();
  const auto add = [&](const char* name, const char* help, bool takes_name,
                       int (*action)(const SettingsOptions&)) {
    Command command = group.AddCommand(name, help);
    if (takes_name) command.Add("NAME", options->name, "Name of the setting").Required();
    command.Add("--ini", options->ini, "Settings file (default: Kelvorin.Ini)");
    if (action != Delete) command.AddFlag("--json", options->json, "Print JSON");
    command.OnUse([options, action, &exit_status] { exit_status = action(*options); });
  };
  add("list", "Names of the saved settings", false, List);
  add("show", "Stored keys of one setting, in file order", true, Show);
  add("delete", "Remove one setting", true, Delete);
}

}  // namespace kelvorin::app
