#pragma once
// Where the run's records come from: a text file cut by one of three rules, or the rows of a table.
// Which of the two is decided once; the run then only sees texts numbered by source field.

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/status.h"
#include "database/database.h"
#include "settings/import_setting.h"
#include "textsource/break_list.h"
#include "textsource/field_splitter.h"
#include "textsource/record_reader.h"
#include "values/value_format.h"

namespace kelvorin::engine {

/// Whether a text source of another code page is converted while it is read, because the ANSI page
/// holds every character. Else the setting's page becomes the ANSI page for as long as it runs.
bool ReadsByConversion(const settings::ImportSetting& setting);
/// How a setting's text file is cut into records.
textsource::RecordFormat RecordFormatOf(const settings::ImportSetting& setting);
/// How its records are cut into fields. TypeFormat is 0, 1 or 2.
textsource::SplitRules SplitRulesOf(const settings::ImportSetting& setting,
                                    const textsource::BreakList& breaks);

/// Where a record stands in its source, to show it later: a place in a text file, or its text.
struct RecordMark {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
  std::string text;
};

/// A value of a source record that its table cannot make sense of. It costs the record only when
/// the field is mapped.
struct DamagedValue {
  std::size_t field_no = 0;  // of the source record
  std::string text;          // its bytes, where the table could show them
  Status why;
};

/// A value of a source record that is not what its table holds: the ANSI page lacks characters of
/// it, or its line ends became blanks.
struct AlteredValue {
  std::size_t field_no = 0;  // of the source record
  std::int64_t lost_characters = 0;
};

class SourceReader {
 public:
  virtual ~SourceReader() = default;

  /// Whether there is nothing left to read. A text file knows only after a read met its end.
  virtual bool AtEnd() const noexcept = 0;
  /// Reads a record. `taken` is false for one that does not count: an empty line, a blank one where
  /// the setting skips these, or a line before the first to import.
  virtual Status Read(bool& taken) = 0;
  /// The fields of the record read. The views live until the next `Read`.
  virtual Status Split(textsource::FieldValues& fields) = 0;
  /// Goes to the next record of a table; nothing for text.
  virtual Status Advance() = 0;
  /// Remembers the record read.
  virtual void Mark(RecordMark& mark) = 0;
  /// A remembered record, as a reject file takes it.
  virtual Status Raw(const RecordMark& mark, std::string& out) = 0;
  /// Bytes of a text file before its first line to import; known once that line was read.
  virtual std::uint64_t preface_bytes() const noexcept { return 0; }
  /// Columns of the source: of a table its fields; of a text those of its heading, the line before
  /// the first one to import, or of its first record, whichever has more. Nothing where that cannot
  /// be told without reading what can only be read once.
  virtual Result<std::optional<std::size_t>> Columns() = 0;
  /// Records that a whole run reads, as far as can be told now.
  virtual Result<std::int64_t> Estimate() = 0;
  /// Goes to the first record to import; nothing for text.
  virtual Status GoToStart() { return Status(); }
  /// `stop` is asked while rows are waited for; nothing where nobody has to wait.
  // NOLINTNEXTLINE(performance-unnecessary-value-param): those that stop keep it
  virtual void StopWhen(std::function<bool()>) {}
  virtual Status Close() = 0;

  /// Characters of the source that the ANSI page does not have, and records whose text delimiter
  /// was never closed; of what has been read so far.
  virtual std::int64_t replaced_characters() const noexcept { return 0; }
  virtual std::int64_t unclosed_delimiters() const noexcept { return 0; }

  /// Damaged values of the record read; their texts among the fields are empty.
  const std::vector<DamagedValue>& damaged() const noexcept { return damaged_; }

  /// Altered values of the record read; empty for nearly every record.
  const std::vector<AlteredValue>& altered() const noexcept { return altered_; }
  bool Altered(std::size_t field_no) const noexcept {
    return std::any_of(altered_.begin(), altered_.end(),
                       [&](const AlteredValue& value) { return value.field_no == field_no; });
  }
  /// Whether the value read is Null, where the source tells that from an empty text.
  virtual bool IsNull(std::size_t /*field_no*/) const noexcept { return false; }
  /// An altered value of the record read, with its line ends.
  virtual Status Original(std::size_t field_no, std::string& out) = 0;

  /// Lines read so far, or the current row, from 1.
  std::int64_t line_number() const noexcept { return line_number_; }

 protected:
  std::int64_t line_number_ = 0;
  std::vector<DamagedValue> damaged_;
  std::vector<AlteredValue> altered_;
};

class TextSource final : public SourceReader {
 public:
  /// Reads the first record for the estimate, then begins again.
  static Result<std::unique_ptr<SourceReader>> Open(const std::string& path,
                                                    const settings::ImportSetting& setting,
                                                    const textsource::BreakList& breaks);

  bool AtEnd() const noexcept override { return reader_->AtEnd(); }
  Status Read(bool& taken) override;
  Status Split(textsource::FieldValues& fields) override;
  Status Advance() override { return Status(); }
  void Mark(RecordMark& mark) override;
  Status Raw(const RecordMark& mark, std::string& out) override;
  std::uint64_t preface_bytes() const noexcept override { return preface_bytes_; }
  Result<std::optional<std::size_t>> Columns() override;
  Result<std::int64_t> Estimate() override;
  std::int64_t replaced_characters() const noexcept override {
    return reader_ ? reader_->replaced_characters() : replaced_characters_;
  }
  std::int64_t unclosed_delimiters() const noexcept override { return unclosed_delimiters_; }
  Status Original(std::size_t, std::string&) override { return Status(); }
  Status Close() override;

 private:
  TextSource(textsource::RecordReader reader, textsource::SplitRules rules);

  std::optional<textsource::RecordReader> reader_;
  textsource::RecordFormat format_;
  textsource::SplitRules rules_;
  std::span<char> record_;
  std::int64_t starting_line_ = 1;
  std::int64_t heading_line_ = 0;  // 0: the one before the first
  bool skip_blank_lines_ = false;
  std::int64_t first_record_bytes_ = 0;
  std::uint64_t preface_bytes_ = 0;
  std::int64_t replaced_characters_ = 0;  // once the reader is gone
  std::int64_t unclosed_delimiters_ = 0;
};

/// Whether a text file has no record but blank ones.
Result<bool> IsBlankText(const std::string& path, const settings::ImportSetting& setting);

/// The rows of a table. Binary fields stay empty; line ends inside texts become blanks.
class TableSource final : public SourceReader {
 public:
  /// `database` is null when somebody else keeps it open. Only the fields marked in `wanted` are
  /// read; those behind its end are not.
  TableSource(std::unique_ptr<database::Database> database,
              std::unique_ptr<database::Recordset> rows, const values::ValueFormat& format,
              std::int32_t starting_line, std::vector<bool> wanted);

  bool AtEnd() const noexcept override { return ends_early_.ok() && rows_->Eof(); }
  Status Read(bool& taken) override;
  Status Split(textsource::FieldValues& fields) override;
  Status Advance() override;
  void Mark(RecordMark& mark) override;
  Status Raw(const RecordMark& mark, std::string& out) override;
  Result<std::optional<std::size_t>> Columns() override { return std::optional(ends_.size()); }
  Result<std::int64_t> Estimate() override;
  bool IsNull(std::size_t field_no) const noexcept override {
    return field_no < nulls_.size() && nulls_[field_no];
  }
  Status Original(std::size_t field_no, std::string& out) override;
  Status GoToStart() override;
  void StopWhen(std::function<bool()> stop) override;
  Status Close() override;

 private:
  Status ReadValue(std::size_t field_no);

  std::unique_ptr<database::Database> database_;
  std::unique_ptr<database::Recordset> rows_;
  const values::ValueFormat& format_;
  std::int64_t starting_line_;
  std::vector<bool> wanted_;
  Status ends_early_;              // why there are no rows where some were promised
  std::string arena_;              // texts of the current row, one behind the other
  std::vector<std::size_t> ends_;  // end of each field's text in arena_
  std::vector<bool> nulls_;        // fields of the current row that are Null
};

}  // namespace kelvorin::engine
