#include "catalog/source.h"

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "catalog/connections.h"
#include "catalog/source_kinds.h"
#include "contract/enums.h"

namespace kelvorin::catalog {
namespace {

bool IsTableFile(std::string_view path) noexcept {
  return FamilyOfFile(path) != Family::kText;
}

}  // namespace

bool SourceFileExists(const std::string& path) {
  if (path.empty()) return false;
  // A device or a pipe may have no end, and a look at it may wait for ever.
  if (base::RegularFileExists(path)) return true;
  return IsTableFile(path) &&
         base::FindIgnoringCase(std::string(base::FolderPart(path)), base::NamePart(path))
             .has_value();
}

FileNameChange ApplyFileName(std::string_view text, bool applying_setting, std::int32_t& kind,
                             Source& source) {
  if (kind == contract::kAccess || kind == contract::kOdbc) return FileNameChange::kIgnored;
  source.file_name = text;
  source.exists = SourceFileExists(source.file_name);
  if (!source.exists) return FileNameChange::kMissing;
  if (!IsTableFile(text)) {
    if (!applying_setting) kind = 0;
    return FileNameChange::kTextFile;
  }
  kind = NewestKind(FamilyOfFile(text));
  if (const std::string_view folder = base::FolderPart(text); !folder.empty())
    source.SourceDBName = folder;
  source.SourceConnectString = FindSourceKind(kind)->type_word();
  source.file_name = base::NamePart(text);
  return FileNameChange::kTableFile;
}

void LoadSource(const settings::ImportSetting& setting, Source& source) {
  source.SourceDBName = setting.SourceDBName;
  source.SourceConnectString.clear();  // of a table file: from its kind
  if (setting.TypeFormat == contract::kOdbc)
    source.SourceConnectString = setting.SourceConnectString;
  source.file_name = setting.SourceTableName;
  if (!contract::IsTextKind(setting.TypeFormat)) return;
  if (!setting.SourceDBName.empty())
    source.file_name = base::FolderExists(setting.SourceDBName)
                           ? base::JoinPath(setting.SourceDBName, setting.SourceTableName)
                           : setting.SourceDBName;
  source.SourceDBName.clear();
}

void StoreSource(const Source& source, settings::ImportSetting& setting) {
  const bool text = contract::IsTextKind(setting.TypeFormat);
  setting.SourceDBName = text ? source.file_name : source.SourceDBName;
  setting.SourceTableName = text ? std::string() : source.file_name;
  setting.SourceConnectString = source.SourceConnectString;
}

std::string SourceFilePath(std::int32_t kind, const Source& source) {
  const SourceKind* row = FindSourceKind(kind);
  if (row == nullptr || row->named_by_list) return {};
  if (row->family == Family::kText) return source.file_name;
  const std::string_view extension = ExtensionOf(row->family);
  const bool has_extension =
      base::EqualIgnoreCase(base::ExtensionPart(source.file_name), extension);
  const std::string name =
      has_extension ? source.file_name : source.file_name + "." + std::string(extension);
  return base::FindIgnoringCase(source.SourceDBName, name)
      .value_or(base::JoinPath(source.SourceDBName, name));
}

Result<std::unique_ptr<database::Database>> OpenSourceDatabase(database::DBEngine& engine,
                                                               std::int32_t kind,
                                                               const Source& source) {
  const SourceKind* row = FindSourceKind(kind);
  if (row == nullptr || row->family == Family::kText)
    return Status(Code::kInvalidArgument,
                  "a source of kind " + std::to_string(kind) + " is no database");
  // A source is only read, and shares its files with everybody else who reads.
  const bool is_server = row->family == Family::kOdbc;
  const auto open = [&](std::string_view name, const std::string& connect) {
    return engine.OpenDatabase(name, is_server, !is_server, connect);
  };
  if (row->family == Family::kAccess)
    return open(source.SourceDBName, TableConnectString({}, source.password));
  const bool has_own = !source.SourceConnectString.empty();
  const bool here = row->family != Family::kOdbc && source.SourceDBName.empty();
  const std::string_view name = here ? std::string_view(".") : source.SourceDBName;
  return open(name, TableConnectString(has_own ? source.SourceConnectString : row->type_word(),
                                       source.password));
}

}  // namespace kelvorin::catalog
