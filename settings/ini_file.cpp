#include "settings/ini_file.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "base/M_STRING.h"
#include "base/case_map.h"

namespace kelvorin::settings {
namespace {

constexpr std::string_view kFileName = "Kelvorin.Ini";
constexpr std::uint64_t kMaxFileBytes = std::uint64_t{64} << 20;

// The list of names is what fits this buffer, each name with a character 0 behind it and one more
// behind the last. A section without keys reads as the word below instead.
constexpr std::size_t kListBufferBytes = 4096;
constexpr std::string_view kNoKeys = "Default";

std::vector<std::string> KeyNames(const IniDocument& document, std::string_view section) {
  std::string buffer;
  for (const IniEntry& entry : document.Entries(section)) {
    if (buffer.size() + entry.key.size() + 2 > kListBufferBytes) break;
    buffer += entry.key;
    buffer += '\0';
  }
  if (buffer.empty()) buffer = kNoKeys;
  // Also hides every name behind a first one that begins so: kept as it is.
  if (buffer.starts_with(kNoKeys)) return {};
  std::vector<std::string> names;
  for (const std::string_view name : base::SplitAt(buffer, '\0')) {
    if (name.empty()) break;
    names.emplace_back(name);
  }
  return names;
}

std::string IniBesideLibrary() {
  return base::JoinPath(base::LibraryFolder(), kFileName);
}

/// Empty when the user has no folder of their own.
std::string IniOfUser() {
  std::optional<std::string> config = base::Environment("XDG_CONFIG_HOME");
  if (!config || config->empty()) {
    const std::optional<std::string> home = base::Environment("HOME");
    if (!home || home->empty()) return {};
    config = base::JoinPath(*home, ".config");
  }
  return base::JoinPath(base::JoinPath(*config, "Kelvorin"), kFileName);
}

Result<IniDocument> LoadFile(const std::string& path, base::FileSystem& files) {
  const Result<std::string> text = base::ReadWholeFile(path, kMaxFileBytes, files);
  if (!text.ok()) return text.status();
  if (text->starts_with("\xFF\xFE") || text->starts_with("\xFE\xFF"))
    return Status(
        Code::kNotSupported,
        "The settings file '" + path + "' is UTF-16 text; save it as UTF-8 or in the ANSI page");
  return IniDocument(*text);
}

std::string Upper(std::string_view text) {
  std::string upper;
  base::AppendUpper(text, upper);
  return upper;
}

}  // namespace

std::string DefaultIniFile() {
  std::string beside = IniBesideLibrary();
  std::string own = IniOfUser();
  if (own.empty()) return beside;
  if (base::FileExists(own)) return own;
  const bool writable = base::IsWritable(base::LibraryFolder()) &&
                        (!base::FileExists(beside) || base::IsWritable(beside));
  return writable ? beside : own;
}

Status CheckSettingName(std::string_view name) {
  const std::string_view plain = base::Trim(name, base::kBlankOrTab);
  std::string why;
  if (plain.empty()) {
    why = "a setting needs a name to be saved";
  } else if (base::EqualIgnoreCase(plain, kIndexSection)) {
    why = "the settings file keeps its list of names under it";
  } else if (plain.front() == ';' || plain.front() == '[') {
    why = std::string("it begins with '") + plain.front() + "'";
  } else if (const std::size_t at = name.find_first_of(std::string_view("=]\r\n\0", 5));
             at != name.npos) {
    why = name[at] == '=' || name[at] == ']' ? std::string("it holds '") + name[at] + "'"
                                             : std::string("it holds a line end");
  } else {
    return Status();
  }
  return Status(Code::kInvalidArgument,
                "'" + std::string(name) + "' cannot be a setting's name: " + why);
}

Result<std::int16_t> NarrowValue(std::int64_t value, std::string_view section,
                                 std::string_view key) {
  if (std::in_range<std::int16_t>(value)) return static_cast<std::int16_t>(value);
  return Status(Code::kOutOfRange, "Setting '" + std::string(section) + "': the value " +
                                       base::ToDecimal(value) + " of " + std::string(key) +
                                       " lies outside -32768 to 32767");
}

std::string IniFile::GetIniString(std::string_view section, std::string_view key,
                                  std::string_view otherwise) const {
  const IniDocument document = Load();
  return std::string(document.Value(section, key).value_or(otherwise).substr(0, kMaxValueBytes));
}

Result<std::int16_t> IniFile::GetIniInt(std::string_view section, std::string_view key,
                                        std::int16_t otherwise) const {
  const IniDocument document = Load();
  const std::optional<std::string_view> value = document.Value(section, key);
  if (!value) return otherwise;
  return NarrowValue(base::ParseInteger(*value), section, key);
}

Result<bool> IniFile::GetIniBool(std::string_view section, std::string_view key,
                                 std::int16_t otherwise) const {
  const Result<std::int16_t> number = GetIniInt(section, key, otherwise);
  if (!number.ok()) return number.status();
  return *number != 0;
}

Status IniFile::WriteIniString(std::string_view section, std::string_view key,
                               std::string_view text) {
  return Change([&](IniDocument& document) {
    document.SetValue(section, key, text);
    return Status();
  });
}

Status IniFile::WriteIniInt(std::string_view section, std::string_view key, std::int16_t value) {
  return WriteIniString(section, key, base::ToDecimal(value));
}

Status IniFile::WriteIniBool(std::string_view section, std::string_view key, bool value) {
  return WriteIniString(section, key, value ? "1" : "0");
}

Status IniFile::DeleteIniKey(std::string_view section, std::string_view key) {
  return Change([&](IniDocument& document) {
    document.DeleteKey(section, key);
    return Status();
  });
}

Status IniFile::DeleteIniSection(std::string_view section) {
  return Change([&](IniDocument& document) {
    document.DeleteSection(section);
    return Status();
  });
}

std::vector<std::string> IniFile::FillSettingsList(std::string_view section) const {
  std::vector<std::string> names = KeyNames(Load(), section);
  std::erase(names, kLastSetting);
  return names;
}

bool IniFile::SettingExists(std::string_view section, std::string_view name) const {
  const std::string wanted = Upper(name);
  for (const std::string& listed : KeyNames(Load(), section)) {
    if (Upper(listed) == wanted) return true;
  }
  return false;
}

std::size_t IniFile::HiddenNames() const {
  const IniDocument document = Load();
  const std::size_t all = document.Entries(kIndexSection).size();
  return all - std::min(all, KeyNames(document, kIndexSection).size());
}

IniDocument IniFile::Load() const {
  Result<IniDocument> document = TryLoad();
  return document.ok() ? *std::move(document) : IniDocument();
}

Result<IniDocument> IniFile::TryLoad() const {
  if (path_.empty()) return Status(Code::kInvalidArgument, "No settings file is named");
  Result<IniDocument> document = LoadFile(path_, *files_);
  if (document.ok() || document.status().code() != Code::kNotFound) return document;
  if (path_ != IniOfUser()) return IniDocument();
  // What somebody else put beside the library, as far as this user may read it.
  Result<IniDocument> beside = LoadFile(IniBesideLibrary(), *files_);
  return beside.ok() ? *std::move(beside) : IniDocument();
}

Status IniFile::Change(const std::function<Status(IniDocument&)>& change) {
  if (path_.empty()) return Status(Code::kInvalidArgument, "No settings file is named");
  // Replacing would get past the file's own permissions.
  if (base::FileExists(path_, *files_) && !base::IsWritable(path_, *files_))
    return Status(Code::kReadOnly,
                  "The settings file '" + path_ + "' may be read only; nothing was changed");
  const std::string folder(base::FolderPart(path_));
  if (!folder.empty() && !base::FolderExists(folder, *files_))
    KV_TRY(base::MakeFolders(folder, *files_));
  // The file itself is replaced, so the lock is on another one beside it.
  constexpr int kWaitMs = 10'000;
  const std::string lock_name = '.' + std::string(base::NamePart(path_)) + ".lock";
  const Result<base::FileLock> lock =
      base::FileLock::Acquire(base::JoinPath(folder, lock_name), kWaitMs, *files_);
  if (!lock.ok()) return lock.status();
  Result<IniDocument> document = TryLoad();
  if (!document.ok()) return document.status();
  KV_TRY(change(*document));
  return base::WriteFileAtomically(path_, document->Text(), *files_);
}

}  // namespace kelvorin::settings
