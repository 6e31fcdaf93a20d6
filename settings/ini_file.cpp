#include "settings/ini_file.h"

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

std::string Upper(std::string_view text) {
  std::string upper;
  base::AppendUpper(text, upper);
  return upper;
}

}  // namespace

std::string DefaultIniFile() {
  const std::string folder = base::LibraryFolder();
  std::string beside = base::JoinPath(folder, kFileName);
  if (base::FileExists(beside) || base::IsWritable(folder)) return beside;
  std::optional<std::string> config = base::Environment("XDG_CONFIG_HOME");
  if (!config || config->empty()) {
    const std::optional<std::string> home = base::Environment("HOME");
    if (!home || home->empty()) return beside;
    config = base::JoinPath(*home, ".config");
  }
  return base::JoinPath(base::JoinPath(*config, "Kelvorin"), kFileName);
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

IniDocument IniFile::Load() const {
  Result<IniDocument> document = LoadForChange();
  return document.ok() ? *std::move(document) : IniDocument();
}

Result<IniDocument> IniFile::LoadForChange() const {
  if (path_.empty()) return Status(Code::kInvalidArgument, "No settings file is named");
  const Result<std::string> text = base::ReadWholeFile(path_, kMaxFileBytes);
  if (text.ok()) return IniDocument(*text);
  if (text.status().code() == Code::kNotFound) return IniDocument();
  return text.status();
}

Status IniFile::Save(const IniDocument& document) const {
  if (path_.empty()) return Status(Code::kInvalidArgument, "No settings file is named");
  const std::string folder(base::FolderPart(path_));
  if (!folder.empty() && !base::FolderExists(folder)) KV_TRY(base::MakeFolders(folder));
  return base::WriteFileAtomically(path_, document.Text());
}

Status IniFile::Change(const std::function<Status(IniDocument&)>& change) {
  Result<IniDocument> document = LoadForChange();
  if (!document.ok()) return document.status();
  KV_TRY(change(*document));
  return Save(*document);
}

}  // namespace kelvorin::settings
