#include "engine/source_reader.h"

#include <algorithm>

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "contract/enums.h"
#include "database/stoppable.h"
#include "engine/csv_line.h"
#include "values/field_types.h"

namespace kelvorin::engine {

using textsource::FieldValues;
using textsource::RecordReader;
using textsource::SplitRules;

bool ReadsByConversion(const settings::ImportSetting& setting) {
  return contract::IsTextKind(setting.TypeFormat) && !setting.OemConvert &&
         base::AnsiPage().is_utf8();
}

textsource::RecordFormat RecordFormatOf(const settings::ImportSetting& setting) {
  textsource::RecordFormat format;
  format.code = setting.RecSeparator;
  format.other = setting.RecSepOther;
  format.length = setting.RecLength;
  format.gap = setting.RecGap;
  format.any_line_end = setting.AnyLineEnd != 0 && format.code == textsource::separator_code::kLf;
  format.html_rows = setting.TypeFormat == contract::kHtmlTags && setting.HtmlCells != 0;
  // Bytes of the OEM page stay as they are until each value is converted.
  if (!setting.OemConvert) format.page = setting.AnsiPage;
  if (setting.TypeFormat == contract::kDelimitedText) {
    format.separators = setting.SeparatorSet;
    if (setting.QuotedLineEnds != 0) format.quote = setting.DelimiterChar;
  }
  return format;
}

SplitRules SplitRulesOf(const settings::ImportSetting& setting,
                        const textsource::BreakList& breaks) {
  SplitRules rules = [&] {
    switch (setting.TypeFormat) {
      case contract::kFixedWidthText:
        return SplitRules::Fixed(breaks, setting.OemConvert);
      case contract::kHtmlTags:
        return setting.HtmlCells != 0 ? SplitRules::HtmlCells() : SplitRules::HtmlTags();
      default:
        return SplitRules::Delimited(setting.SeparatorSet, setting.DelimiterChar,
                                     {.quotes_at_start = setting.QuotesAtStart != 0,
                                      .merge_separators = setting.MergeSeparators != 0});
    }
  }();
  rules.set_trim(setting.Trim != 0);
  rules.set_ignore_extra(setting.IgnoreExtraFields != 0);
  return rules;
}

// --- Text

TextSource::TextSource(RecordReader reader, SplitRules rules)
    : reader_(std::move(reader)), rules_(std::move(rules)) {}

Result<std::unique_ptr<SourceReader>> TextSource::Open(const std::string& path,
                                                       const settings::ImportSetting& setting,
                                                       const textsource::BreakList& breaks) {
  std::int64_t first_record_bytes = 0;
  {
    Result<RecordReader> first = RecordReader::Open(path, RecordFormatOf(setting));
    if (!first.ok()) return first.status();
    std::span<char> record;
    KV_TRY(first->ReadRecord(record));
    first_record_bytes = static_cast<std::int64_t>(record.size());
  }
  Result<RecordReader> reader = RecordReader::Open(path, RecordFormatOf(setting));
  if (!reader.ok()) return reader.status();
  std::unique_ptr<TextSource> source(
      new TextSource(*std::move(reader), SplitRulesOf(setting, breaks)));
  source->format_ = RecordFormatOf(setting);
  source->starting_line_ = setting.StartingLine;
  source->heading_line_ = setting.HeadingLine;
  source->skip_blank_lines_ = setting.SkipBlankLines != 0;
  source->first_record_bytes_ = first_record_bytes;
  return std::unique_ptr<SourceReader>(std::move(source));
}

Status TextSource::Read(bool& taken) {
  taken = false;
  Status status = reader_->ReadRecord(record_);
  ++line_number_;
  if (line_number_ == starting_line_ && starting_line_ > 1)
    preface_bytes_ = reader_->record_offset();
  taken = status.ok() && !record_.empty() && line_number_ >= starting_line_;
  if (taken && skip_blank_lines_)
    taken = !base::Trim({record_.data(), record_.size()}, base::kBlankOrTab).empty();
  if (status.ok()) return status;
  return Status(status.code(),
                "line " + std::to_string(line_number_) + ": " + std::string(status.message()),
                status.number());
}

Status TextSource::Split(FieldValues& fields) {
  Status status = rules_.Split(record_, fields);
  if (fields.left_open()) ++unclosed_delimiters_;
  if (status.ok()) return status;
  return Status(status.code(),
                "line " + std::to_string(line_number_) + ": " + std::string(status.message()),
                status.number());
}

void TextSource::Mark(RecordMark& mark) {
  mark.offset = reader_->record_offset();
  mark.size = reader_->record_raw_bytes();
}

Status TextSource::Raw(const RecordMark& mark, std::string& out) {
  return reader_->ReadRaw(mark.offset, mark.size, out);
}

// Read from the file's start once more, since the columns are wanted before the first record.
Result<std::optional<std::size_t>> TextSource::Columns() {
  std::optional<std::size_t> columns;
  Result<RecordReader> reader = RecordReader::Open(reader_->path(), format_);
  if (!reader.ok()) return reader.status();
  FieldValues fields;
  for (std::int64_t line = 1; !reader->AtEnd(); ++line) {
    std::span<char> record;
    // What is wrong with a record is said when its turn comes.
    if (!reader->ReadRecord(record).ok()) return std::optional<std::size_t>();
    const bool heading =
        line == heading_line_ || (heading_line_ == 0 && line + 1 == starting_line_);
    if (record.empty() || (line < starting_line_ && !heading)) continue;
    if (!rules_.Split(record, fields).ok()) return std::optional<std::size_t>();
    columns = std::max(columns.value_or(0), fields.count());
    if (line >= starting_line_) break;
  }
  return columns;
}

Result<std::int64_t> TextSource::Estimate() {
  const Result<std::uint64_t> size = reader_->FileSize();
  if (!size.ok()) return size.status();
  const auto bytes = static_cast<std::int64_t>(*size);
  return std::max<std::int64_t>(0, bytes / (first_record_bytes_ + 2) - (starting_line_ - 1));
}

Status TextSource::Close() {
  replaced_characters_ = replaced_characters();
  reader_.reset();
  return Status();
}

Result<bool> IsBlankText(const std::string& path, const settings::ImportSetting& setting) {
  Result<RecordReader> reader = RecordReader::Open(path, RecordFormatOf(setting));
  if (!reader.ok()) return reader.status();
  while (!reader->AtEnd()) {
    std::span<char> record;
    KV_TRY(reader->ReadRecord(record));
    if (!base::Trim({record.data(), record.size()}, " \t\r\n").empty()) return false;
  }
  return true;
}

// --- Table

TableSource::TableSource(std::unique_ptr<database::Database> database,
                         std::unique_ptr<database::Recordset> rows,
                         const values::ValueFormat& format, std::int32_t starting_line,
                         std::vector<bool> wanted)
    : database_(std::move(database)),
      rows_(std::move(rows)),
      format_(format),
      starting_line_(starting_line),
      wanted_(std::move(wanted)) {
  line_number_ = std::max<std::int64_t>(starting_line_, 1);
  wanted_.resize(std::min(rows_->FieldCount(), base::kMaxFields));
  ends_.resize(wanted_.size());
  nulls_.resize(wanted_.size());
  for (std::size_t i = 0; i < wanted_.size(); ++i)
    if (values::IsBinary(rows_->Fields(i).Type())) wanted_[i] = false;
}

void TableSource::StopWhen(std::function<bool()> stop) {
  if (auto* rows = dynamic_cast<database::Stoppable*>(rows_.get())) rows->StopWhen(std::move(stop));
}

Status TableSource::GoToStart() {
  return starting_line_ >= 2 && !rows_->Eof() ? rows_->Move(starting_line_ - 1) : Status();
}

Status TableSource::Read(bool& taken) {
  KV_TRY(ends_early_);
  arena_.clear();
  damaged_.clear();
  altered_.clear();
  for (std::size_t i = 0; i < wanted_.size(); ++i) {
    if (wanted_[i]) KV_TRY(ReadValue(i));
    ends_[i] = arena_.size();
  }
  taken = true;
  return Status();
}

Status TableSource::ReadValue(std::size_t field_no) {
  database::Field field = rows_->Fields(field_no);
  database::Value value;
  const std::size_t begin = arena_.size();
  const std::int64_t unreadable_before = rows_->UnreadableCharacters();
  if (Status read = field.GetValue(value); !read.ok()) {
    if (read.code() != Code::kCorrupt && read.code() != Code::kConversion) return read;
    const bool shown = value.kind == values::Kind::kText;
    damaged_.push_back({field_no, std::string(shown ? value.text : std::string_view()), read});
    nulls_[field_no] = false;
  } else if (nulls_[field_no] = value.IsNull(); value.kind == values::Kind::kText) {
    arena_ += value.text;
  } else {
    format_.Append(value, arena_);
  }
  const std::int64_t lost = rows_->UnreadableCharacters() - unreadable_before;
  bool lines = false;
  if (field.Type() == values::TypeCode::kText || field.Type() == values::TypeCode::kMemo) {
    for (std::size_t i = begin; (i = arena_.find_first_of("\r\n", i)) != std::string::npos;) {
      arena_[i] = ' ';
      lines = true;
    }
  }
  if (lost != 0 || lines) altered_.push_back({field_no, lost});
  return Status();
}

Status TableSource::Original(std::size_t field_no, std::string& out) {
  bool is_null = false;
  return rows_->Fields(field_no).GetText(out, is_null);
}

Status TableSource::Split(FieldValues& fields) {
  fields.Clear();
  std::size_t begin = 0;
  for (const std::size_t end : ends_) {
    fields.Add(std::string_view(arena_).substr(begin, end - begin));
    begin = end;
  }
  return Status();
}

// A table that breaks off behind the row that was read costs the rows that are missing, not this
// one. Any other failure (a server that goes away) is this record's, and then ends the run with the
// same reason.
Status TableSource::Advance() {
  ends_early_ = rows_->MoveNext();
  if (ends_early_.ok()) ++line_number_;
  return ends_early_.code() == Code::kNoCurrentRecord ? Status() : ends_early_;
}

void TableSource::Mark(RecordMark& mark) {
  std::string& out = mark.text;
  out.clear();
  std::size_t begin = 0;
  for (std::size_t i = 0; i < ends_.size(); ++i) {
    if (i > 0) out += ',';
    AppendCsvValue(std::string_view(arena_).substr(begin, ends_[i] - begin), out);
    begin = ends_[i];
  }
  out += base::kCrLf;
}

Status TableSource::Raw(const RecordMark& mark, std::string& out) {
  out = mark.text;
  return Status();
}

Result<std::int64_t> TableSource::Estimate() {
  if (!rows_->Eof()) {
    KV_TRY(rows_->MoveLast());
    KV_TRY(rows_->MoveFirst());
  }
  return rows_->RecordCount();
}

Status TableSource::Close() {
  Status rows = rows_->Close();
  Status database = database_ ? database_->Close() : Status();
  return rows.ok() ? std::move(database) : std::move(rows);
}

}  // namespace kelvorin::engine
