#include "textsource/format_detection.h"

#include <algorithm>
#include <utility>

#include "base/M_STRING.h"

namespace kelvorin::textsource {
namespace {

constexpr std::int32_t kSampleBytes = 3000;

/// The character at `column` (from 1); empty beyond the line's ends.
std::string_view At(std::string_view line, std::size_t column) noexcept {
  return column >= 1 && column <= line.size() ? line.substr(column - 1, 1) : std::string_view();
}

/// The first of the longest lines, or nullptr when all are empty.
const std::string* ModelLine(const PreviewLines& preview) {
  const std::string* model = nullptr;
  for (int n = 1; n <= static_cast<int>(base::kPreviewLines); ++n) {
    const std::string& line = preview.Line(n);
    if (line.size() > (model ? model->size() : 0)) model = &line;
  }
  return model;
}

/// Whether every line longer than `column` holds there what the model line holds.
bool ColumnAgrees(const PreviewLines& preview, std::string_view model, std::size_t column) {
  for (int n = 1; n <= static_cast<int>(base::kPreviewLines); ++n) {
    const std::string& line = preview.Line(n);
    if (line.size() > column && At(line, column) != At(model, column)) return false;
  }
  return true;
}

void FindBreaks(const PreviewLines& preview, std::string_view model, BreakList& breaks) {
  for (std::size_t column = 1; column <= model.size(); ++column) {
    if (isAlphaNumDateSep(At(model, column))) continue;
    const bool behind_digit = column >= 2 && isNumeric(At(model, column - 1));
    const bool inside = column >= 2 && column < model.size();
    // A run of blanks goes on here.
    if (inside && !isAlphaNumDateSep(At(model, column + 1)) && !behind_digit) continue;
    if (!ColumnAgrees(preview, model, column)) continue;
    // A list that is full keeps what it has.
    static_cast<void>(
        breaks.AddFixedBreak(static_cast<std::uint16_t>(behind_digit ? column - 1 : column)));
  }
}

std::size_t CountOf(std::string_view text, char wanted) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), wanted));
}

}  // namespace

bool isAlphaNumDateSep(std::string_view character) noexcept {
  constexpr std::string_view kSet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ'\",/:-";
  return character.empty() || kSet.find(base::ToUpperAscii(character[0])) != kSet.npos;
}

bool isNumeric(std::string_view character) noexcept {
  return character.empty() || base::IsDigit(character[0]);
}

Status GuessRecordSeparator(const std::string& file_name, RecordFormat& format) {
  Result<RecordReader> reader =
      RecordReader::Open(file_name, {separator_code::kLength, {}, kSampleBytes},
                         {.block_bytes = std::size_t{kSampleBytes} + 1});
  if (!reader.ok()) return reader.status();
  std::span<char> record;
  KV_TRY(reader->ReadRecord(record));
  const std::string_view sample(record.data(), record.size());
  const std::size_t cr = CountOf(sample, base::kCr);
  const std::size_t lf = CountOf(sample, base::kLf);
  format.code = cr == lf  ? separator_code::kCrLf
                : lf > cr ? separator_code::kLf
                          : separator_code::kCr;
  return {};
}

FileTypeGuess GuessFileType(const PreviewLines& preview, BreakList& breaks) {
  breaks.ClearBreakList();
  FileTypeGuess guess;
  const std::string* model = ModelLine(preview);
  if (!model) return guess;
  FindBreaks(preview, *model, breaks);
  const std::size_t commas = CountOf(*model, ',');
  const std::size_t semicolons = CountOf(*model, ';');
  if (commas < breaks.count() && semicolons < breaks.count()) {
    guess.TypeFormat = 1;
    guess.SepComma = false;
  } else {
    guess.SepSemicolon = commas < semicolons;
    guess.SepComma = !guess.SepSemicolon;
  }
  return guess;
}

void LoadNewFile(const std::string& file_name, bool guess, PreviewLines& preview,
                 RecordFormat& format, FileTypeGuess& guessed, BreakList& breaks) {
  if (!preview.file_present) {
    preview.ClearLines();
    return;
  }
  if (guess) static_cast<void>(GuessRecordSeparator(file_name, format));
  static_cast<void>(preview.ReadFileRecords(file_name, format, 1));
  if (guess) guessed = GuessFileType(preview, breaks);
  preview.valid = true;
}

}  // namespace kelvorin::textsource
