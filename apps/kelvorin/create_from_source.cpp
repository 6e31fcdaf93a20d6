#include "apps/kelvorin/create_from_source.h"

#include <algorithm>
#include <cstdio>

#include "apps/kelvorin/database_argument.h"
#include "apps/kelvorin/output.h"
#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "catalog/source.h"
#include "catalog/source_kinds.h"
#include "contract/enums.h"
#include "engine/source_reader.h"
#include "mapping/field_mapping.h"
#include "textsource/record_reader.h"

namespace kelvorin::app {
namespace {

using database::FieldDef;
using database::IndexDef;
using database::TableDef;
using database::TypeCode;

// Longest text of a Text field that every kind of target can hold.
constexpr std::size_t kMaxTextCharacters = 254;

// Names and widths of the columns of a text file, found by reading it once. A column without a name
// beside others that have one, and without any value, gets the width 0.
Status MeasureText(const ImportJob& job, std::vector<FieldDef>& fields) {
  const settings::ImportSetting& setting = job.setting;
  Result<textsource::RecordReader> reader =
      textsource::RecordReader::Open(setting.SourceDBName, engine::RecordFormatOf(setting));
  if (!reader.ok()) return reader.status();
  const textsource::SplitRules rules = engine::SplitRulesOf(setting, job.breaks);
  textsource::FieldValues values;
  std::vector<std::size_t> widths;
  std::vector<std::string> heading;
  std::int64_t taken = 0;
  const std::int32_t heading_line = settings::HeadingLineOf(setting);
  Status refused;  // the first record that cannot be cut; the run reports it with its line
  for (std::int64_t line = 1; !reader->AtEnd(); ++line) {
    std::span<char> record;
    KV_TRY(reader->ReadRecord(record));
    const bool is_heading = line == heading_line;
    if (record.empty() || (line < setting.StartingLine && !is_heading)) continue;
    if (setting.SkipBlankLines != 0 &&
        base::Trim({record.data(), record.size()}, base::kBlankOrTab).empty())
      continue;
    if (const Status split = rules.Split(record, values); !split.ok()) {
      if (refused.ok())
        refused = Status(split.code(), "line " + base::ToDecimal(line) + " of '" + reader->path() +
                                           "': " + std::string(split.message()));
      continue;
    }
    if (is_heading)
      for (std::size_t i = 0; i < values.count(); ++i) heading.emplace_back(values[i]);
    if (line < setting.StartingLine) continue;
    if (widths.size() < values.count()) widths.resize(values.count());
    for (std::size_t i = 0; i < values.count(); ++i)
      widths[i] = std::max(widths[i], base::CountCharacters(values[i]));
    if (setting.MaxLines > 0 && ++taken == setting.MaxLines) break;
  }
  const std::size_t columns = std::max(widths.size(), heading.size());
  if (columns == 0 && !refused.ok()) return refused;
  if (columns == 0)
    return Status(Code::kNoCurrentRecord,
                  "--create: '" + reader->path() + "' holds no record to take fields from");
  widths.resize(columns);
  const std::vector<std::string_view> names(heading.begin(), heading.end());
  const std::vector<std::string> headings = mapping::TextHeadings(names, columns);
  for (std::size_t i = 0; i < columns; ++i) {
    FieldDef field;
    field.Name = headings[i];
    if (widths[i] > kMaxTextCharacters) {
      field.Type = TypeCode::kMemo;
    } else {
      const bool named = i < names.size() && !base::Trim(names[i]).empty();
      const std::size_t least = named || names.empty() ? 1 : 0;
      field.Size = static_cast<std::int32_t>(std::max(widths[i], least));
    }
    fields.push_back(std::move(field));
  }
  return Status();
}

void Say(const std::string& text, std::string& said) {
  if (!said.empty()) said += "\nkelvorin: ";
  said += text;
}

constexpr std::string_view kXbaseWords = "xBase ";

bool IsXbaseKind(std::int16_t kind) {
  const catalog::SourceKind* row = catalog::FindSourceKind(kind);
  return row != nullptr && row->family == catalog::Family::kXbase;
}

// A number with so many digits, as the narrowest type that holds all of them.
void SetDigits(FieldDef& field, std::int32_t digits) {
  constexpr std::int32_t kOfInteger = 4, kOfLong = 9, kOfDouble = 15;
  const bool whole = field.Decimals == 0;
  field.Type = whole && digits <= kOfInteger ? TypeCode::kInteger
               : whole && digits <= kOfLong  ? TypeCode::kLong
               : digits <= kOfDouble         ? TypeCode::kDouble
                                             : TypeCode::kDecimal;
  const bool decimal = field.Type == TypeCode::kDecimal;
  field.Size = field.Digits = decimal ? digits : 0;
  if (!decimal) field.Decimals = 0;
}

// A decimal number in a table that counts sign and point as places; text where it has too few.
void SetPlaces(FieldDef& field, std::int32_t digits, std::int32_t most) {
  constexpr std::int32_t kMostDecimals = 15;
  const std::int32_t point = field.Decimals > 0 ? 1 : 0;
  field.Digits = std::min(digits + point + 1, most);
  if (digits + point <= most && field.Decimals <= kMostDecimals &&
      (point == 0 || field.Decimals <= field.Digits - 2))
    return;
  field.Type = TypeCode::kText;
  field.Size = digits + point + 2;
  field.Digits = field.Decimals = 0;
}

// A field of the source as the target is to make it: of its own kind just as it is, else the
// narrowest that holds every value.
void FitToTarget(std::int16_t target_kind, FieldDef& field) {
  constexpr std::int32_t kDbase3Places = 19, kPlaces = 20;
  const bool from_xbase = field.Native.starts_with(kXbaseWords);
  const bool to_xbase = IsXbaseKind(target_kind);
  const bool decimal = field.Type == TypeCode::kNumeric || field.Type == TypeCode::kDecimal;
  if (from_xbase && !to_xbase && field.Digits > 0) {
    SetDigits(field, field.Digits - (field.Decimals > 0 ? 1 : 0));
  } else if (decimal && !from_xbase) {
    const std::int32_t digits = field.Digits > 0 ? field.Digits : field.Size;
    if (to_xbase && digits > 0)
      SetPlaces(field, digits,
                target_kind == static_cast<std::int16_t>(contract::TypeConnect::DBase3)
                    ? kDbase3Places
                    : kPlaces);
    else if (!to_xbase)
      field.Size = field.Digits = digits;
  }
}

// Characters that no name of an Access field may have become `_`.
void ReplaceForAccess(std::vector<FieldDef>& fields, std::string& said) {
  for (FieldDef& field : fields) {
    const std::string name = field.Name;
    std::replace_if(
        field.Name.begin(), field.Name.end(),
        [](char c) {
          return std::string_view(".![]`").find(c) != std::string_view::npos ||
                 static_cast<unsigned char>(c) < 0x20;
        },
        '_');
    if (field.Name == name) continue;
    Say("the column '" + name + "' becomes the field '" + field.Name + "'", said);
  }
}

// Names that differ only in case, or not at all, get a number.
void MakeNamesUnique(std::vector<FieldDef>& fields) {
  for (std::size_t i = 1; i < fields.size(); ++i) {
    const std::string name = fields[i].Name;
    const auto taken = [&] {
      return std::any_of(
          fields.begin(), fields.begin() + static_cast<std::ptrdiff_t>(i),
          [&](const FieldDef& other) { return base::EqualIgnoreCase(other.Name, fields[i].Name); });
    };
    for (int number = 2; taken(); ++number) fields[i].Name = name + "_" + std::to_string(number);
  }
}

// In the engine of the open target: source and target may be one file, which only one engine
// shares.
Status ReadTableFields(const ImportJob& job, const std::string& password,
                       database::DBEngine& engine, std::vector<FieldDef>& fields,
                       std::vector<IndexDef>& indexes) {
  catalog::Source source;
  catalog::LoadSource(job.setting, source);
  source.password = password;
  Result<std::unique_ptr<database::Database>> database =
      catalog::OpenSourceDatabase(engine, job.setting.TypeFormat, source);
  if (!database.ok()) return database.status();
  Result<TableDef> table = (*database)->FindTableDef(job.setting.SourceTableName);
  if (!table.ok()) return table.status();
  fields = std::move(table->Fields);
  indexes = std::move(table->Indexes);
  return (*database)->Close();
}

// Makes the source's indexes on the new table. One that the target's format cannot hold is told of
// and left out: the records matter more.
void TakeOverIndexes(database::Database& target, const TableDef& made, const TableDef& source,
                     const std::vector<std::size_t>& source_numbers,
                     std::vector<IndexDef>& indexes) {
  if (!target.Traits().in_files) return;  // a server's are for its own people to decide
  for (IndexDef& index : indexes) {
    bool whole = !index.Columns.empty();
    for (database::IndexField& column : index.Columns) {
      const auto field = source.FindField(column.Name);
      const auto at =
          std::find(source_numbers.begin(), source_numbers.end(), static_cast<std::size_t>(field));
      whole = whole && field >= 0 && at != source_numbers.end();
      if (whole)
        column.Name = made.Fields[static_cast<std::size_t>(at - source_numbers.begin())].Name;
    }
    index.Expression.clear();
    const Status status =
        whole ? target.CreateIndex(made.Name, index)
              : Status(Code::kNotSupported, "its key is no list of fields that are imported");
    if (!status.ok())
      std::fprintf(stderr, "kelvorin: --create: index '%s' is not taken over: %s\n",
                   ToUtf8(index.Name).c_str(), ToUtf8(status.message()).c_str());
  }
}

}  // namespace

bool HasTable(const catalog::TargetAddress& target, const std::string& table) {
  const Result<OpenDatabase> open = Open(target, Access::kRead);
  return open.ok() && open->database->FindTableDef(table).ok();
}

Status MakeScratchTarget(catalog::TargetAddress& target, settings::ImportSetting& setting,
                         std::optional<base::PrivateFolder>& scratch) {
  if (target.kind == contract::kOdbc)
    return Status(Code::kNotSupported,
                  "--dry-run with --create: a table of a server cannot be made on trial; make it "
                  "first, or leave one of the two out");
  Result<base::PrivateFolder> folder = base::PrivateFolder::Make("kelvorin-trial-");
  if (!folder.ok())
    return Status(Code::kIo,
                  "no temporary folder can be made in " + std::string(folder.status().message()));
  scratch = *std::move(folder);
  const bool is_file = target.kind == contract::kAccess;
  target.DataBaseName = is_file
                            ? base::JoinPath(scratch->path(), base::NamePart(target.DataBaseName))
                            : scratch->path();
  setting.Trace = setting.DeleteImportFile = false;
  setting.RejectFile.clear();
  return Status();
}

// The files of a table of a folder: those of its name, and index files, which may have any.
static std::vector<std::string> FilesOf(const catalog::TargetAddress& target,
                                        const std::string& table, bool& journal) {
  std::vector<std::string> files;
  const std::string stem = std::string(base::BaseNamePart(table)) + ".";
  const Result<std::vector<std::string>> names = base::ListFolder(target.DataBaseName);
  if (!names.ok()) return files;
  for (const std::string& name : *names) {
    const std::string extension = base::UpperAscii(base::ExtensionPart(name));
    const bool own = base::EqualIgnoreCase(std::string_view(name).substr(0, stem.size()), stem);
    if (!own && extension != "NDX" && extension != "IDX") continue;
    journal = journal || (own && name.ends_with("-journal"));
    const std::string path = base::JoinPath(target.DataBaseName, name);
    if (base::RegularFileExists(path)) files.push_back(path);
  }
  return files;
}

Status CopyToScratchTarget(const std::string& table, catalog::TargetAddress& target,
                           settings::ImportSetting& setting,
                           std::optional<base::PrivateFolder>& scratch) {
  if (target.kind == contract::kOdbc) return Status();
  // Held open meanwhile, so that nobody writes.
  const Result<OpenDatabase> open = Open(target, Access::kRead);
  if (!open.ok()) return Status();  // said by the run
  const Result<TableDef> def = open->database->FindTableDef(table);
  if (!def.ok() || (def->Attributes & (database::kAttrLinkedJet | database::kAttrLinkedOdbc)) != 0)
    return Status();
  const bool is_file = target.kind == contract::kAccess;
  bool journal = is_file && base::FileExists(target.DataBaseName + "-journal");
  const std::vector<std::string> files =
      is_file ? std::vector<std::string>{target.DataBaseName} : FilesOf(target, table, journal);
  std::uint64_t bytes = 0;
  for (const std::string& file : files) {
    const Result<base::InputFile> opened = base::InputFile::Open(file);
    const Result<std::uint64_t> size = opened.ok() ? opened->Size() : opened.status();
    if (!size.ok()) return Status();
    bytes += *size;
  }
  if (journal || bytes > base::PrivateFolder::Room() / 4) return Status();
  KV_TRY(MakeScratchTarget(target, setting, scratch));
  for (const std::string& file : files) {
    const Status copied =
        base::CopyFile(file, base::JoinPath(scratch->path(), base::NamePart(file)));
    if (!copied.ok())
      return Status(Code::kIo, "'" + file + "' cannot be copied for the trial import: " +
                                   std::string(copied.message()));
  }
  return Status();
}

Status CreateFromSource(const catalog::TargetAddress& target, const std::string& table,
                        const std::string& source_password, ImportJob& job) {
  Result<OpenDatabase> open = Open(target, Access::kCreate);
  if (!open.ok()) return open.status();
  if (open->database->FindTableDef(table).ok()) return Status();

  std::vector<FieldDef> fields;
  std::vector<IndexDef> indexes;
  KV_TRY(contract::IsTextKind(job.setting.TypeFormat)
             ? MeasureText(job, fields)
             : ReadTableFields(job, source_password, *open->engine, fields, indexes));
  TableDef wanted;
  wanted.Name = table;
  TableDef source_fields;
  source_fields.Fields = fields;
  std::vector<std::size_t> source_numbers;
  const auto is_void = [](const FieldDef& field) {
    return field.Type == TypeCode::kText && field.Size == 0;
  };
  const bool is_text = contract::IsTextKind(job.setting.TypeFormat);
  std::size_t voids = 0;
  std::string binary;
  for (std::size_t i = 0; i < std::min(fields.size(), base::kMaxFields); ++i) {
    if (values::IsBinary(fields[i].Type)) {
      binary += (binary.empty() ? "'" : ", '") + fields[i].Name + "'";
      continue;
    }
    if (is_text && is_void(fields[i])) {
      ++voids;
      continue;
    }
    fields[i].AutoIncrement = false;
    FitToTarget(target.kind, fields[i]);
    wanted.Fields.push_back(std::move(fields[i]));
    source_numbers.push_back(i);
  }
  if (voids > 0)
    Say("columns with neither a name nor a value are left out: " + std::to_string(voids), job.said);
  if (!binary.empty())
    Say("binary values are not imported: the new table has no field for " + binary, job.said);
  if (target.kind == contract::kAccess && is_text) ReplaceForAccess(wanted.Fields, job.said);
  MakeNamesUnique(wanted.Fields);
  if (fields.size() > base::kMaxFields)
    Say("the source has " + std::to_string(fields.size()) +
            " fields, and only the first 251 can be imported: a query or a table with fewer "
            "fields brings the others",
        job.said);
  if (wanted.Fields.empty())
    return Status(Code::kInvalidArgument,
                  "--create: the source has no field that could be imported");
  KV_TRY(open->database->CreateTable(wanted));

  // The format may have changed names (length, characters), so pairs are made by position.
  Result<TableDef> made = open->database->FindTableDef(table);
  if (!made.ok()) return made.status();
  TakeOverIndexes(*open->database, *made, source_fields, source_numbers, indexes);
  if (job.map.pairs.empty()) {
    job.map.rest = mapping::MapRequest::Rest::kKeep;
    for (std::size_t i = 0; i < made->Fields.size() && i < source_numbers.size(); ++i)
      job.map.pairs.emplace_back(made->Fields[i].Name,
                                 base::ToDecimal(static_cast<std::int64_t>(source_numbers[i])));
  }
  return open->database->Close();
}

}  // namespace kelvorin::app
