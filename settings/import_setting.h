#pragma once
// One import job as plain data: the source's layout, the mapping, the write mode, the error policy
// and the log. The wizard and the command line fill it, the settings file stores it by name, the
// run reads it. The record opens nothing and checks nothing.
//
// Members bear the names of their keys in the settings file. The fixed-width breaks are kept beside
// the record in a `textsource::BreakList`, since the break editor owns them.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/M_Const.h"
#include "textsource/break_list.h"

namespace kelvorin::settings {

/// What feeds one target field. The defaults are the state after the target table was opened.
struct FieldMapEntry {
  std::string Name;             // of the target field; empty past the table's last field
  std::int16_t Offset = 0;      // fixed-width sources: start of the text in the record
  std::int16_t Length = 0;      // fixed-width sources: length of the text
  std::int16_t FieldInfo = -1;  // kept with the entry; -1 none
  bool Mapped = false;
  std::int16_t Field = -1;  // source field, from 0; -1 none

  /// Takes the source field away; the name stays.
  void Unmap() noexcept;
  bool operator==(const FieldMapEntry&) const = default;
};

/// One entry per target field in table order, numbered 0 to 250.
using FieldMap = std::array<FieldMapEntry, base::kMaxFields>;

/// Whether any target field has a source field.
bool HasMapping(const FieldMap& map) noexcept;

struct ImportSetting {
  std::int32_t TypeFormat = 0;  // a FileTypeFormat value
  std::int32_t Delimiter = 0;   // 0 double quote, 1 single quote, 2 none
  std::int16_t nbSeparators = 1;
  std::int32_t RecSeparator = 0;  // 0 CR LF, 1 CR, 2 LF, 3 `RecSepOther`, 4 fixed length
  std::string RecSepOther = " ";
  std::int32_t RecLength = 0;  // characters; 0 no limit
  bool OemConvert = false;
  bool Upper = false;
  bool Lower = false;
  std::int32_t StartingLine = 1;  // from 1
  std::int32_t MaxLines = 0;      // 0 all
  bool AppendRecords = true;
  bool UpdateIndex = false;
  std::string IndexName;
  bool KeyLookUp = false;
  bool AppendFields = false;
  bool AppendIfEof = false;
  bool ShowErrors = true;
  bool LimitErrors = false;
  std::int32_t nErrorStop = 0;
  bool Trace = false;
  std::string LogFileName;
  bool LogAppend = false;
  bool EmptyTarget = false;
  bool DeleteImportFile = false;
  std::int16_t nbFields = 0;  // as loaded; informative
  settings::FieldMap FieldMap;
  std::string SourceDBName;  // text file or database
  std::string SourceTableName;
  std::string SourceConnectString;

  // Derived: never stored, rebuilt on loading and by the dialogs.
  bool SepComma = true;
  bool SepSemicolon = false;
  bool SepSpace = false;
  bool SepTab = false;
  bool SepOther = false;
  char SepOtherChar = ' ';
  /// Text of the other-separator box. Its first character, which may be of several bytes, is what
  /// gets stored, not `SepOtherChar`.
  std::string SepOtherText;
  std::string SeparatorSet = ",";
  char DelimiterChar = '"';  // the character 0 for none
  bool UseDelimiter = true;
  bool AllLines = true;
  std::string SettingName;  // section of the settings file; empty for an unnamed job

  // Additional keys, written behind the others and only when they differ from what stands here.
  std::int32_t AnsiPage = 0;  // code page numbers; of text: of the file
  std::int32_t OemPage = 0;
  std::int32_t QuotedLineEnds = 0;   // 1: line ends between text delimiters are data
  std::int32_t QuotesAtStart = 0;    // 1: text delimiters count at a field's start only
  std::int32_t MergeSeparators = 0;  // 1: runs of separators count as one
  std::int32_t AnyLineEnd = 0;       // 1: CR LF, LF and CR all end a record (RecSeparator 2)
  std::int32_t HtmlCells = 0;        // 1: records are rows of HTML tables, fields their cells
  std::int32_t Trim = 0;             // 1: blanks around values are padding
  std::int32_t SkipBlankLines = 0;   // 1: lines of blanks only are no records
  std::int32_t HeadingLine =
      0;  // record that names the columns; 0 the one before the first, -1 none
  std::int32_t IgnoreExtraFields = 0;  // 1: fields behind the 251st are left out
  std::int32_t RecGap = 1;             // bytes behind each record of RecSeparator 4
  std::int32_t ExactValues = 0;        // 1: a value that would be kept other than it is, fails
  std::string DateOrder;               // "dmy", "mdy" or "ymd"
  std::string Decimal;                 // the decimal sign
  std::string NullText;                // text that stands for Null
  std::string RejectFile;              // file that takes the rejected records

  bool operator==(const ImportSetting&) const = default;
};

/// Resets the job. `nbFields`, the mapping, `RecLength`, `nErrorStop`, `EmptyTarget`,
/// `DeleteImportFile`, `SourceConnectString`, `SepOther` and its text keep their values: kept as it
/// is. `default_source_type` is a FileTypeFormat value.
void SetDefaultSetting(ImportSetting& setting, textsource::BreakList& breaks,
                       std::int16_t default_source_type);

/// `SeparatorSet` from the five flags: comma, blank, Tab, semicolon and the other character (the
/// first of `SepOtherText` where that begins with `SepOtherChar`), one character per flag even when
/// two are equal (the number of characters is stored as the number of keys).
void RebuildSeparatorSet(ImportSetting& setting);

/// Sets flags, `SepOtherChar` and `SepOtherText` from a set of characters, and the set from them.
/// Only the last character that has no flag of its own is kept. For callers that know separators
/// as characters.
void SetSeparators(ImportSetting& setting, std::string_view characters);

/// Says which line names the columns, 0 for none; `StartingLine` is set already.
void SetHeadingLine(ImportSetting& setting, std::int32_t line) noexcept;

/// Line of a text source (record, from 1) that names its columns; 0 when none does.
std::int32_t HeadingLineOf(const ImportSetting& setting) noexcept;

/// `DelimiterChar` and `UseDelimiter` from `Delimiter` and `TypeFormat`.
void RebuildDelimiter(ImportSetting& setting) noexcept;

}  // namespace kelvorin::settings
