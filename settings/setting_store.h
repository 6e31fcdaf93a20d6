#pragma once
// Loads and saves whole import settings by name. Used by the wizard, the batch import and the
// command line; what a setting means is not its business.

#include "base/status.h"
#include "settings/import_setting.h"
#include "settings/ini_file.h"
#include "textsource/break_list.h"

namespace kelvorin::settings {

/// Fills the record and the breaks from the section `setting.SettingName`; a key that is missing
/// gives its default, so a name that is not in the file gives a plain job. The names of the target
/// fields stay: a mapping applies by position. `SourceConnectString` stays unless the source is
/// ODBC. Fails with `kOutOfRange` when a number does not fit 16 bits or a separator's code is no
/// character, naming section, key and value, and when the file cannot be read; then nothing is
/// changed.
Status ReadSetting(const IniFile& ini, ImportSetting& setting, textsource::BreakList& breaks);
Status ReadSetting(const IniDocument& document, ImportSetting& setting,
                   textsource::BreakList& breaks);

/// Stores the record under `setting.SettingName`, replacing an older one of that name, and enters
/// the name in the list of settings. Mapping entries without a field name are left out. The break
/// list is compacted.
///
/// Fails with `kOutOfRange` when a number does not fit 16 bits or a text is longer than a read
/// yields, `kInvalidArgument` for a name that
/// could not be found again, or with what the file system said; the file is then as it was. Windows
/// may ignore the result.
Status SaveSetting(IniFile& ini, const ImportSetting& setting, textsource::BreakList& breaks);
Status SaveSetting(IniDocument& document, const ImportSetting& setting,
                   textsource::BreakList& breaks);

/// Removes a setting's section and its entry in the list of settings, in one step.
Status DeleteSetting(IniFile& ini, std::string_view name);

/// Stores a setting, with all keys that its section has, under another name too, or with `rename`
/// under that name only. Fails with `kNotFound` where there is no such setting, `kAlreadyExists`
/// where the other name is taken, `kInvalidArgument` for a name that could not be found again.
Status CopySetting(IniFile& ini, std::string_view name, std::string_view other,
                   bool rename = false);

}  // namespace kelvorin::settings
