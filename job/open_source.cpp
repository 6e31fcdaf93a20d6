#include <algorithm>

#include "base/M_Const.h"
#include "base/M_FILE.h"
#include "catalog/source_kinds.h"
#include "catalog/tables.h"
#include "contract/enums.h"
#include "engine/source_reader.h"
#include "job/job.h"
#include "textsource/format_detection.h"

namespace kelvorin::job {

namespace {

catalog::Source NamesOf(const catalog::Source& source) {
  catalog::Source names;
  names.file_name = source.file_name;
  names.SourceDBName = source.SourceDBName;
  names.SourceConnectString = source.SourceConnectString;
  names.password = source.password;
  return names;
}

}  // namespace

Status Job::ConnectToSourceTable(Layout layout) {
  const contract::Properties& properties = caller_->properties();
  catalog::Source& source = state_.source;
  const std::int32_t kind = state_.setting.TypeFormat;
  if (kind == contract::kAccess || kind == contract::kOdbc) {
    const bool access = kind == contract::kAccess;
    if (access ? source.SourceDBName.empty() && properties.ImportDBName.empty()
               : source.SourceConnectString.empty())
      return Status();
    if (!properties.ImportDBName.empty()) source.SourceDBName = properties.ImportDBName;
    if (!properties.ImportTable.empty()) source.file_name = properties.ImportTable;
    return TakeDatabase(kind, NamesOf(source));
  }

  std::string name = properties.ImportTable.empty() ? source.file_name : properties.ImportTable;
  if (name.empty()) name = properties.ImportDBName;
  if (name.empty()) return Status();
  if (base::FolderPart(name).empty() && !catalog::SourceFileExists(name)) {
    // A table is named without its folder, and perhaps without its extension.
    catalog::Source candidate;
    candidate.file_name = name;
    candidate.SourceDBName =
        properties.ImportDBName.empty() ? source.SourceDBName : properties.ImportDBName;
    const std::string path = catalog::SourceFilePath(kind, candidate);
    if (catalog::SourceFileExists(path)) name = path;
  }
  TakeFile(name, layout);
  return Status();
}

void Job::TakeFile(std::string_view name, Layout layout) {
  using catalog::FileNameChange;
  settings::ImportSetting& setting = state_.setting;
  const bool guess = layout == Layout::kDetected;
  const std::int32_t kind_before = setting.TypeFormat;
  const FileNameChange change =
      catalog::ApplyFileName(name, !guess, setting.TypeFormat, state_.source);
  if (change == FileNameChange::kIgnored) return;
  textsource::PreviewLines& preview = state_.preview;
  preview.ClearLines();
  preview.valid = false;
  preview.file_present = state_.source.exists;
  if (setting.TypeFormat != kind_before) settings::RebuildDelimiter(setting);
  if (change != FileNameChange::kTextFile) return;

  textsource::RecordFormat format = engine::RecordFormatOf(setting);
  textsource::FileTypeGuess guessed;
  platform_.SetWaitCursor(true);
  textsource::LoadNewFile(state_.source.file_name, guess, preview, format, guessed, state_.breaks);
  platform_.SetWaitCursor(false);
  if (!guess) return;
  setting.RecSeparator = format.code;
  if (!preview.file_present) return;
  setting.TypeFormat = guessed.TypeFormat;
  setting.SepComma = guessed.SepComma;
  setting.SepSemicolon = guessed.SepSemicolon;
  setting.SepSpace = guessed.SepSpace;
  setting.SepTab = guessed.SepTab;
  setting.SepOther = guessed.SepOther;
  settings::RebuildSeparatorSet(setting);
  settings::RebuildDelimiter(setting);
}

Status Job::TakeDatabase(std::int32_t kind, catalog::Source candidate) {
  const bool access = kind == contract::kAccess;
  platform_.SetWaitCursor(true);
  auto opened =
      access ? catalog::OpenSourceDatabase(engine_, kind, candidate)
             : engine_.OpenDatabase(
                   {}, true, false,
                   catalog::TableConnectString(candidate.SourceConnectString, candidate.password));
  platform_.SetWaitCursor(false);
  if (!opened.ok()) return opened.status();
  Result<std::vector<std::string>> tables = catalog::ListSourceTables(**opened);
  if (!tables.ok()) return tables.status();
  if (access) {
    candidate.kept = *std::move(opened);
  } else {
    KV_TRY((*opened)->Close());
  }
  catalog::SelectSourceTable(*tables, candidate.file_name);
  candidate.exists = true;
  candidate.tables = *std::move(tables);
  static_cast<void>(CloseSource().ok());  // it was only read
  state_.source = std::move(candidate);
  return Status();
}

Status Job::CloseSource() {
  if (!state_.source.kept) return Status();
  Status closed = state_.source.kept->Close();
  state_.source.kept.reset();
  return closed;
}

const textsource::BreakList* Job::FixedBreaks() const noexcept {
  return state_.setting.TypeFormat == contract::kFixedWidthText ? &state_.breaks : nullptr;
}

// --- Names of the source's fields

namespace {

Result<std::vector<std::string>> TextFieldNames(const std::string& path,
                                                const settings::ImportSetting& setting,
                                                const textsource::BreakList& breaks,
                                                std::size_t max_records) {
  auto reader = textsource::RecordReader::Open(path, engine::RecordFormatOf(setting));
  if (!reader.ok()) return reader.status();
  const textsource::SplitRules rules = engine::SplitRulesOf(setting, breaks);
  textsource::FieldValues values;
  std::vector<std::string> heading;
  const std::int32_t heading_line = settings::HeadingLineOf(setting);
  std::size_t columns = 0;
  std::size_t taken = 0;
  for (std::int64_t line = 1; !reader->AtEnd() && taken < max_records; ++line) {
    std::span<char> record;
    KV_TRY(reader->ReadRecord(record));
    const bool is_heading = line == heading_line;
    if (record.empty() || (line < setting.StartingLine && !is_heading)) continue;
    // A record with too many fields still has its first ones; the run is going to report it.
    static_cast<void>(rules.Split(record, values).ok());
    columns = std::max(columns, values.count());
    for (std::size_t i = 0; is_heading && i < values.count(); ++i) heading.emplace_back(values[i]);
    if (line >= setting.StartingLine) ++taken;
  }
  const std::vector<std::string_view> names(heading.begin(), heading.end());
  return mapping::TextHeadings(names, columns);
}

}  // namespace

Result<std::vector<std::string>> Job::SourceFieldNames(bool whole_file) {
  const std::int32_t kind = state_.setting.TypeFormat;
  const catalog::SourceKind* row = catalog::FindSourceKind(kind);
  if (row != nullptr && row->family == catalog::Family::kText)
    return TextFieldNames(state_.source.file_name, state_.setting, state_.breaks,
                          whole_file ? SIZE_MAX : base::kPreviewLines);
  const Result<database::TableDef> table = SourceTableDef();
  if (!table.ok()) return table.status();
  std::vector<std::string> names;
  for (const database::FieldDef& field : table->Fields)
    if (names.size() < base::kMaxFields) names.push_back(field.Name);
  return names;
}

Result<database::TableDef> Job::SourceTableDef() {
  std::unique_ptr<database::Database> own;
  database::Database* database = state_.source.kept.get();
  if (state_.setting.TypeFormat != contract::kAccess || database == nullptr) {
    auto opened = catalog::OpenSourceDatabase(engine_, state_.setting.TypeFormat, state_.source);
    if (!opened.ok()) return opened.status();
    own = *std::move(opened);
    database = own.get();
  }
  Result<database::TableDef> table = database->FindTableDef(state_.source.file_name);
  if (own) KV_TRY(own->Close());
  return table;
}

std::string Job::SkippedLines() const {
  constexpr std::int32_t kMostLines = 1000;
  const settings::ImportSetting& setting = state_.setting;
  std::string lines;
  if (!contract::IsTextKind(setting.TypeFormat) || setting.StartingLine < 2 ||
      setting.StartingLine > kMostLines)
    return lines;
  auto reader =
      textsource::RecordReader::Open(state_.source.file_name, engine::RecordFormatOf(setting));
  if (!reader.ok()) return lines;
  std::span<char> record;
  for (std::int32_t line = 1; line < setting.StartingLine && !reader->AtEnd(); ++line)
    if (!reader->ReadRecord(record).ok()) return lines;
  if (!reader->ReadRaw(0, reader->position(), lines).ok()) lines.clear();
  return lines;
}

}  // namespace kelvorin::job
