#pragma once
// Guesses how a text file is built: its record separator from the raw bytes at its start, then from
// the preview lines whether fields are separated or stand in columns. The guess fills a setting
// that the user may correct; HTML is never guessed, and a report says how far the guess can be
// trusted.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "textsource/break_list.h"
#include "textsource/field_splitter.h"
#include "textsource/preview_lines.h"
#include "textsource/record_reader.h"

namespace kelvorin::textsource {

/// Whether the upper-cased character is a digit, a letter A to Z, or one of ' " , / : and -. An
/// empty text (a position beyond a line's end) counts as one.
bool isAlphaNumDateSep(std::string_view character) noexcept;
/// Whether the character is a digit; an empty text counts as one.
bool isNumeric(std::string_view character) noexcept;

/// What `GuessFileType` decides. Names are those of the setting.
struct FileTypeGuess {
  std::int32_t TypeFormat = 0;  // 0 delimited, 1 fixed width
  bool SepComma = true;
  bool SepSemicolon = false;
  bool SepSpace = false;
  bool SepTab = false;
  bool SepOther = false;

  bool operator==(const FileTypeGuess&) const = default;
};

/// Sets the format's code from the first 3000 bytes: as many CR as LF gives CR LF, else what there
/// is more of. A file that cannot be read leaves the code as it was.
Status GuessRecordSeparator(const std::string& file_name, RecordFormat& format);

/// Decides between delimited and fixed width, chooses comma or semicolon, and refills the break
/// list with the columns found (also when the file is delimited).
FileTypeGuess GuessFileType(const PreviewLines& preview, BreakList& breaks);

/// Reads a newly chosen file: guesses its record separator, reads the preview from the first record
/// and guesses its layout; without `guess` only the preview is read. Nothing but clearing the lines
/// happens when the file is not present. Failures are quiet: they show in the preview's flags.
void LoadNewFile(const std::string& file_name, bool guess, PreviewLines& preview,
                 RecordFormat& format, FileTypeGuess& guessed, BreakList& breaks);

/// How evenly a guessed or chosen layout cuts the preview lines, and what might suit better. For a
/// status line and for people who let a layout be guessed; it never changes a guess.
struct DetectionReport {
  int lines = 0;              // preview lines that are not empty
  int fields = 0;             // fields of most lines
  int lines_agreeing = 0;     // lines with exactly that many fields
  int unclosed_lines = 0;     // lines that end inside quotes
  int certainty_percent = 0;  // 0 when there is nothing to go by
  /// Separator that would cut the lines more evenly (tab, |, ...), or the character 0.
  char better_separator = 0;
  /// Record separator code that would suit better, or -1.
  std::int32_t better_record_code = -1;
  /// The lines look like rows of HTML tags.
  bool html_rows = false;
  /// The file is UTF-16.
  bool utf16 = false;
  /// What the four above say, and how many lines are not of the code page or hold stray line ends,
  /// for a person; empty when there is nothing to say.
  std::string hint;
};

/// Weighs a layout against the preview lines; lines that the preview cut off count only when there
/// are no others.
DetectionReport Weigh(const PreviewLines& preview, const RecordFormat& format,
                      const SplitRules& rules);

}  // namespace kelvorin::textsource
