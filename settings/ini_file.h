#pragma once
// The settings file on disk with the operations of profile files: every call reads the file anew,
// every change replaces it in one step. A missing file, section or key is no error: reading yields
// the given default. Used by the setting store, the settings dialog and the command line.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/M_FILE.h"
#include "base/status.h"
#include "settings/ini_document.h"

namespace kelvorin::settings {

/// Section that lists the saved settings, one key each.
inline constexpr std::string_view kIndexSection = "settings";
/// Setting that holds the job run last; never shown in a list.
inline constexpr std::string_view kLastSetting = "__LastSetting__";

/// Longest text that a read yields; the rest of a longer value is cut off.
inline constexpr std::size_t kMaxValueBytes = 4095;

/// Where settings are kept when nobody names a file: `Kelvorin/Kelvorin.Ini` in the user's
/// configuration folder (`$XDG_CONFIG_HOME`, else `~/.config`) when it is there, else
/// `Kelvorin.Ini` in the library's folder where that can be written, else the user's again. One
/// beside the library that the user may only read is read until the user has a file.
std::string DefaultIniFile();

/// Whether a setting of this name could be found again. Refused (`kInvalidArgument`): the section
/// that lists the names, blanks only, `=`, `]` or a line end within, `;` or `[` at the front.
Status CheckSettingName(std::string_view name);

/// `value` as a 16-bit number; `kOutOfRange` naming section, key and value when it does not fit.
Result<std::int16_t> NarrowValue(std::int64_t value, std::string_view section,
                                 std::string_view key);

class IniFile {
 public:
  IniFile() = default;
  /// `files` is where the file lies, and outlives the object.
  explicit IniFile(std::string path, base::FileSystem& files = base::RealFileSystem())
      : path_(std::move(path)), files_(&files) {}

  /// Makes `path` the file of all following operations.
  void SetIniFile(std::string path) { path_ = std::move(path); }
  const std::string& path() const noexcept { return path_; }

  std::string GetIniString(std::string_view section, std::string_view key,
                           std::string_view otherwise = {}) const;
  /// The value's leading digits, 0 when it has none. Fails with `kOutOfRange` outside 16 bits.
  Result<std::int16_t> GetIniInt(std::string_view section, std::string_view key,
                                 std::int16_t otherwise) const;
  /// Whether the number is not 0.
  Result<bool> GetIniBool(std::string_view section, std::string_view key,
                          std::int16_t otherwise) const;

  // Changes. The result may be ignored: a file that cannot be written keeps its old contents.
  Status WriteIniString(std::string_view section, std::string_view key, std::string_view text);
  Status WriteIniInt(std::string_view section, std::string_view key, std::int16_t value);
  Status WriteIniBool(std::string_view section, std::string_view key, bool value);
  Status DeleteIniKey(std::string_view section, std::string_view key);
  Status DeleteIniSection(std::string_view section);

  /// Key names of the section in file order without the reserved one. Names behind the first 4096
  /// characters are lost, and the list is empty when its first name begins with "Default": kept as
  /// it is.
  std::vector<std::string> FillSettingsList(std::string_view section = kIndexSection) const;
  /// Whether the list of names, taken in the same way but with the reserved one, holds `name` in
  /// any case.
  bool SettingExists(std::string_view section, std::string_view name) const;

  /// Names in the list's section that the list does not show, because it is full or hidden.
  std::size_t HiddenNames() const;

  /// The file's contents; an empty document when it is missing. Fails when it is there but cannot
  /// be read: no permission, a folder, UTF-16, more than 64 MiB.
  Result<IniDocument> TryLoad() const;
  /// The same where a failure counts as an empty document.
  IniDocument Load() const;
  /// Loads, changes and saves in one step, in which no other process saves. Fails when the file is
  /// there but cannot be read, so that no change is ever based on less than the whole file, when it
  /// cannot be written, and when `change` fails; the file is then as it was.
  Status Change(const std::function<Status(IniDocument&)>& change);

 private:
  std::string path_;
  base::FileSystem* files_ = &base::RealFileSystem();
};

}  // namespace kelvorin::settings
