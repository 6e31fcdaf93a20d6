#pragma once
// Cuts one record into fields: delimited text, fixed columns, or the cells of an HTML row. The rule
// is prepared once as a table; a field is a slice of the record, and only quoted fields are
// changed, in place. Used by the run for every record and by the preview.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "base/M_Const.h"
#include "base/status.h"
#include "textsource/break_list.h"

namespace kelvorin::textsource {

/// The texts of one source record, numbered 0 to 250. Made once and refilled for every record. The
/// views belong to whoever filled it: the record's block, or the arena of a table source.
class FieldValues {
 public:
  void Clear() noexcept {
    count_ = 0;
    left_open_ = loose_ = false;
  }
  std::size_t count() const noexcept { return count_; }
  /// Text of field `field_no`; empty for a field that the record does not have.
  std::string_view operator[](std::size_t field_no) const noexcept {
    return field_no < count_ ? values_[field_no] : std::string_view();
  }
  /// Appends the next field; false when 251 are there already.
  bool Add(std::string_view value) noexcept {
    if (count_ == base::kMaxFields) return false;
    values_[count_++] = value;
    return true;
  }
  /// Replaces the text of a field that is there.
  void Set(std::size_t field_no, std::string_view value) noexcept { values_[field_no] = value; }
  /// Whether a text delimiter of the record was opened and never closed.
  bool left_open() const noexcept { return left_open_; }
  void set_left_open() noexcept { left_open_ = true; }
  /// Whether text follows a closing delimiter before the next separator.
  bool loose() const noexcept { return loose_; }
  void set_loose() noexcept { loose_ = true; }

 private:
  std::array<std::string_view, base::kMaxFields> values_;
  std::size_t count_ = 0;
  bool left_open_ = false;
  bool loose_ = false;
};

/// How a record is cut; the numbers are those of the source kind.
enum class CutRule : std::uint8_t { kDelimited = 0, kFixed = 1, kHtmlTags = 2 };

/// What delimited text may have besides separators and a text delimiter.
struct DelimitedOptions {
  /// A text delimiter opens quotes only as a field's first character, and only when the record
  /// holds another one that closes them; elsewhere it is an ordinary character. Without this it
  /// opens them wherever it stands.
  bool quotes_at_start = false;
  /// Runs of separators count as one, and those at the record's ends end no field. Quotes are then
  /// those at a field's start.
  bool merge_separators = false;
};

/// One rule, ready for a million records. Built by the factories below.
class SplitRules {
 public:
  /// Every character of `separators` ends a field outside quotes. `delimiter` is the text
  /// delimiter, or the character 0 for none; a character that is both is a separator outside
  /// quotes. One of the separators may be a character of several bytes of UTF-8.
  static SplitRules Delimited(std::string_view separators, char delimiter,
                              DelimitedOptions options = {});
  /// Fields end at the breaks. The list is taken compacted and sorted; the text behind the last
  /// break is no field. Positions count characters of the ANSI page, or bytes when `in_bytes`.
  static SplitRules Fixed(BreakList breaks, bool in_bytes = false);
  /// Every closing tag ends a field.
  static SplitRules HtmlTags();
  /// The fields are the cells (`td`, `th`) of a table's row as a browser shows them: without tags,
  /// entities decoded, white space run together.
  static SplitRules HtmlCells();

  /// Takes the blanks at both ends of every field away.
  void set_trim(bool trim) noexcept { trim_ = trim; }

  /// Leaves fields behind the 251st out instead of failing.
  void set_ignore_extra(bool ignore) noexcept { ignore_extra_ = ignore; }

  CutRule rule() const noexcept { return rule_; }
  /// The text delimiter of the delimited rule; the character 0 for none.
  char delimiter() const noexcept { return delimiter_; }

  /// Cuts `record` into `fields`, which are cleared first.
  ///
  /// `record` is changed: quoted fields lose their delimiters in place. The views point into it.
  /// Fails with `kOutOfRange` at the 252nd field unless it is to be ignored; the first 251 are
  /// filled in either case.
  Status Split(std::span<char> record, FieldValues& fields) const;

  /// Whether a delimited record ends inside quotes, so that its rest became one field. Looks at the
  /// record as it was read, before `Split`.
  bool LeavesDelimiterOpen(std::string_view record) const;

 private:
  enum class Kind : std::uint8_t { kPlain, kDelimiter, kSeparator, kWideSeparator };

  SplitRules() = default;
  std::size_t NextMark(char*& p, char* end) const noexcept;
  void NoteMarks() noexcept;
  char* PassPlain(char* at, char* end) const noexcept;
  bool SplitDelimited(char* p, char* end, FieldValues& fields) const;
  bool SplitQuotedAtStart(char* p, char* end, FieldValues& fields) const;
  char* TakeQuoted(char* p, char* end, char*& start, char*& field_end, FieldValues& fields) const;
  bool TakeQuotedStart(char*& p, char* end, char*& start, char*& field_end) const;
  void SplitFixed(std::string_view record, FieldValues& fields) const;
  static bool SplitHtmlTags(const char* p, const char* end, FieldValues& fields);

  CutRule rule_ = CutRule::kDelimited;
  char delimiter_ = 0;
  DelimitedOptions options_;
  bool in_bytes_ = false;
  bool html_cells_ = false;
  bool trim_ = false;
  bool ignore_extra_ = false;
  std::array<Kind, 256> kinds_{};  // what a byte is outside quotes
  /// The bytes that are not plain, each eight times over, where there are few; else none.
  std::array<std::uint64_t, 2> marks_{};
  bool few_marks_ = false;
  std::string wide_separator_;  // of several bytes; its first one is a kWideSeparator
  std::size_t break_count_ = 0;
  std::array<std::uint16_t, base::kMaxFields> breaks_{};
};

}  // namespace kelvorin::textsource
