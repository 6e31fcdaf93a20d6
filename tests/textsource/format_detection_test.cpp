#include "textsource/format_detection.h"

#include <doctest/doctest.h>

#include <filesystem>

#include "tests/support/temp_folder.h"
#include "tests/textsource/slow_twin.h"
#include "textsource/field_splitter.h"

using namespace kelvorin;
using namespace kelvorin::tests;
using namespace kelvorin::textsource;

namespace {

std::string Times(int count, const std::string& text) {
  std::string result;
  while (count-- > 0) result += text;
  return result;
}

PreviewLines Preview(const Fields& lines) {
  PreviewLines preview;
  for (std::size_t i = 0; i < lines.size(); ++i) preview.Line(static_cast<int>(i + 1)) = lines[i];
  return preview;
}

// "fixed 4 9", "delimited ," or "delimited ; 4": format, separators set, breaks found.
std::string Guessed(const Fields& lines) {
  BreakList breaks;
  REQUIRE(breaks.AddFixedBreak(77).ok());  // what stood there before is gone
  const FileTypeGuess guess = GuessFileType(Preview(lines), breaks);
  std::string text = guess.TypeFormat == 1 ? "fixed" : "delimited";
  if (guess.SepComma) text += " ,";
  if (guess.SepSemicolon) text += " ;";
  if (guess.SepSpace || guess.SepTab || guess.SepOther) text += " other";
  for (std::size_t i = 0; i < breaks.count(); ++i) text += " " + std::to_string(breaks[i]);
  return text;
}

}  // namespace

TEST_CASE("record separators are guessed from the first 3000 bytes") {
  struct Row {
    std::string name;
    std::string file;
    std::int32_t code;
  };
  const Row kRows[] = {
      {"CR LF", Times(50, "abc\r\n"), 0},
      {"LF", Times(50, "abc\n"), 2},
      {"CR", Times(50, "abc\r"), 1},
      {"none", "abc", 0},
      {"empty", "", 0},
      {"5 LF and 4 CR", Times(4, "a\r\n") + "a\n", 2},
      {"line ends behind the sample do not count", std::string(3000, 'a') + "\n\n", 0},
      {"the last of 3000 counts", std::string(2999, 'a') + "\n\n", 2},
      {"kept as it is: a sample that ends between CR and LF", "x" + Times(1000, "a\r\n"), 1},
  };
  TempFolder folder;
  const std::string path = folder.File("sample.txt");
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    WriteWhole(path, row.file);
    RecordFormat format{9, "", 0};
    REQUIRE(GuessRecordSeparator(path, format).ok());
    CHECK(format.code == row.code);
  }
  RecordFormat format{9, "", 0};
  CHECK_FALSE(GuessRecordSeparator(folder.File("missing"), format).ok());
  CHECK(format.code == 9);
}

TEST_CASE("layouts are guessed from the preview lines") {
  struct Row {
    std::string name;
    Fields lines;
    const char* guess;
  };
  const Row kRows[] = {
      {"semicolons", Fields(20, "name;city;zip"), "delimited ; 5 10"},
      {"a tie gives comma", {"a,b,c;d;e"}, "delimited , 6 8"},
      {"commas are no breaks", {"a,b c,d"}, "delimited , 4"},
      {"a digit before the blanks", Fields(20, "12  AB"), "fixed 2 4"},
      {"lower case counts as letters", Fields(20, "ab  cd"), "fixed 4"},
      {"an accented letter is like a blank", Fields(20, "UV\xE9WX"), "fixed 3"},
      {"columns that disagree", {"AB  CD", "ABCDEF"}, "delimited ,"},
      {"a line that ends at the column is not asked", {"AB CD", "ABC"}, "fixed 3"},
      {"the first of the longest lines is the model", {"", "a;b", "c,d", "x"}, "delimited ;"},
      {"blank at the start and at the end", {" AB "}, "fixed 1 4"},
      {"point at the end behind a digit", {"AB 12."}, "fixed 3 5"},
      {"one break and one comma", {"A,B C"}, "delimited , 4"},
      {"nothing to go by", {}, "delimited ,"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    CHECK(Guessed(row.lines) == row.guess);
  }
  // More columns than breaks fit: the list keeps its first 251.
  CHECK(Guessed({Times(400, "A ")}).starts_with("fixed 2 4 6"));
}

TEST_CASE("the character classes pass what stands beyond a line") {
  for (const char in : std::string("09azAZ'\",/:-")) CHECK(isAlphaNumDateSep({&in, 1}));
  for (const char out : std::string(" .;\t\xE9[")) CHECK_FALSE(isAlphaNumDateSep({&out, 1}));
  CHECK((isNumeric("7") && isNumeric("") && !isNumeric("-") && isAlphaNumDateSep("")));
}

TEST_CASE("a new file is read with or without guessing") {
  TempFolder folder;
  const std::string path = folder.File("new.txt");
  WriteWhole(path, Times(5, "name;city\n"));
  PreviewLines preview;
  RecordFormat format;
  FileTypeGuess guess;
  BreakList breaks;
  preview.Line(3) = "old";

  LoadNewFile(path, true, preview, format, guess, breaks);
  CHECK((!preview.valid && preview.Line(3).empty() && format.code == 0));

  preview.file_present = true;
  LoadNewFile(path, false, preview, format, guess, breaks);
  CHECK((preview.valid && format.code == 0 && guess == FileTypeGuess()));
  CHECK(preview.Line(1).size() == 50);

  LoadNewFile(path, true, preview, format, guess, breaks);
  CHECK((format.code == 2 && guess.SepSemicolon && preview.Line(5) == "name;city"));
  // An image of a disk holds no line end: it is not read to its end for one.
  std::filesystem::resize_file(path, std::uint64_t{200} << 30);
  LoadNewFile(path, true, preview, format, guess, breaks);
  CHECK(preview.valid);
}

TEST_CASE("a layout is weighed, and what would suit better is told") {
  struct Row {
    Fields lines;
    std::int32_t code;
    SplitRules rules;
    int certainty;
    const char* hint;
  };
  BreakList two;
  REQUIRE(two.AddFixedBreak(3).ok());
  REQUIRE(two.AddFixedBreak(5).ok());
  const auto comma = SplitRules::Delimited(",", '"');
  const char* const kBars = "With \"|\" as separator 4 of 4 lines have 2 fields.";
  const char* const kTabs = "With tab as separator 10 of 10 lines have 3 fields.";
  const char* const kNoUtf8 = "1 of 3 lines are not UTF-8: choose the code page of the file.";
  const char* const kMixed = "1 of 3 lines hold a CR or LF that ends no record.";
  const Row kRows[] = {
      {Fields(10, "a,\"b,c\",d"), 0, comma, 100, ""},
      {{"a,b", "a,b", "a,b,c", "a,\"b"}, 0, comma, 50, ""},  // one ragged, one open
      {Fields(10, "a\tb\tc"), 0, comma, 25, kTabs},
      {{"a|1,5", "b|2", "c|3", "d|4"}, 0, comma, 25, kBars},  // bars cut more evenly
      {Fields(10, "AB\t12\tC"), 0, SplitRules::Fixed(two), 100, kTabs},
      {Fields(5, "<td>a</td>"), 0, comma, 25, "The lines look like HTML tags."},
      {{"a,b", "\na,b", "\na,b"}, 1, comma, 100, "The records seem to end with CR LF."},
      {{"a,b\nc,d\n"}, 0, comma, 50, "The records seem to end with LF."},
      {{"a,\xC3\xA9", "b,\xE9", "c,d"}, 2, comma, 100, kNoUtf8},
      {{"a,b", "c,d\r", "e,f"}, 2, comma, 100, kMixed},
      {{}, 0, comma, 0, ""},
  };
  for (const Row& row : kRows) {
    CAPTURE(Show(row.lines));
    const DetectionReport report = Weigh(Preview(row.lines), {row.code, "", 0}, row.rules);
    CHECK(report.certainty_percent == row.certainty);
    CHECK(report.hint == row.hint);
  }
}
