#include "textsource/record_reader.h"

#include <doctest/doctest.h>

#include "base/code_page.h"
#include "tests/support/temp_folder.h"
#include "tests/textsource/slow_twin.h"
#include "textsource/preview_lines.h"

using namespace kelvorin;
using namespace kelvorin::tests;
using textsource::ReaderLimits;
using textsource::RecordFormat;
using textsource::RecordReader;

namespace {

// All records until the end of the file; "!" for a read that failed. Stops after three failures.
Fields ReadAll(const std::string& path, const RecordFormat& format, ReaderLimits limits = {}) {
  auto reader = RecordReader::Open(path, format, limits);
  REQUIRE(reader.ok());
  Fields records;
  for (int failures = 0; !reader->AtEnd() && failures < 3;) {
    std::span<char> slice;
    if (!reader->ReadRecord(slice).ok()) {
      ++failures;
      records.emplace_back("!");
      continue;
    }
    records.emplace_back(slice.data(), slice.size());
    // What was read can be read once more, raw, and begins with the record.
    std::string raw;
    REQUIRE(reader->ReadRaw(reader->record_offset(), reader->record_raw_bytes(), raw).ok());
    CHECK(raw.starts_with(records.back()));
    for (char& c : slice) c = '?';  // a caller may write into its slice
  }
  return records;
}

}  // namespace

TEST_CASE("records of every separator code") {
  struct Row {
    std::string name;
    std::string file;
    RecordFormat format;
    Fields records;
  };
  const Row kRows[] = {
      {"CR LF", "A;B\r\nC", {0, "", 0}, {"A;B", "C"}},
      {"CR LF read by CR", "A;B\r\nC", {1, "", 0}, {"A;B", "\nC"}},
      {"CR LF read by LF", "A;B\r\nC", {2, "", 0}, {"A;B\r", "C"}},
      {"single CR and LF are data", "a\rb\nc\r\rd\r\n\n", {0, "", 0}, {"a\rb\nc\r\rd", "\n"}},
      {"two CR before LF lose one", "a\r\r\nb", {0, "", 0}, {"a\r", "b"}},
      {"a LF at a record's start sees no CR before it", "a\r\n\nb", {0, "", 0}, {"a", "\nb"}},
      {"a last separator yields a last empty record", "a\r\n", {0, "", 0}, {"a", ""}},
      {"an empty file is one empty record", "", {2, "", 0}, {""}},
      {"two characters", "a##b#c##", {3, "##", 0}, {"a", "b#c", ""}},
      {"three of two characters leave one", "a###b", {3, "##", 0}, {"a", "!", "b"}},
      {"record that begins with the separator's end", "#a##b", {3, "##", 0}, {"!", "a", "b"}},
      {"record that is a part of the separator", "bcx", {3, "abc", 0}, {"!", "x"}},
      {"CR LF as a text", "a\r\n\r\nb", {3, "\r\n", 0}, {"a", "", "b"}},
      {"an empty text fails at once", "abc", {3, "", 0}, {"!", "!", "!"}},
      {"fixed length passes over a byte", "abcXdefY", {4, "", 3}, {"abc", "def", ""}},
      {"fixed length, last one short", "abcXde", {4, "", 3}, {"abc", "de"}},
      {"fixed length 0", "ab", {4, "", 0}, {"", "", ""}},
      {"unknown code takes all", "a\r\nb\rc\n", {7, "", 0}, {"a\r\nb\rc\n"}},
      {"unknown code, cut", "a\r\nb\rc\n", {-1, "", 4}, {"a\r\nb"}},
      {"cut-off", "123456789012\n1234\n12345", {2, "", 5}, {"12345", "1234", "12345"}},
      {"cut-off before the look back", "abcdef\r\ngh\r\n", {0, "", 2}, {"ab", "gh", ""}},
      {"negative length", "abc", {2, "", -1}, {"!", "!", "!"}},
      {"line ends in quotes",
       "a,\"b\nc\"\"\nd\"\ne",
       {2, "", 0, '"', ","},
       {"a,\"b\nc\"\"\nd\"", "e"}},
      {"a delimiter inside a field", "a,b\"\nc\"\nd", {2, "", 0, '"', ","}, {"a,b\"", "c\"", "d"}},
      {"a wide separator",
       "a\xC2\xA7\"b\nc\"\xC2\"\nd",
       {2, "", 0, '"', "\xC2\xA7"},
       {"a\xC2\xA7\"b\nc\"\xC2\"", "d"}},
      {"one that never closes, one behind it that does",
       "\"a,\"b\nc\"\"d\"\ne",
       {2, "", 0, '"', ","},
       {"\"a,\"b", "c\"\"d\"", "e"}},
      {"any line end", "a\nb\r\nc\rd\r", {2, "", 0, '"', "", 1, true}, {"a", "b", "c", "d", ""}},
      {"any line end but in quotes",
       "\"a\r\nb\"\r\nc\r",
       {2, "", 0, '"', "", 1, true},
       {"\"a\r\nb\"", "c", ""}},
      {"fixed length with nothing behind it", "abcdefg", {4, "", 3, 0, "", 0}, {"abc", "def", "g"}},
      {"a DOS end is no record", "a\nb\x1A\n\x1A", {2, "", 0}, {"a", "b\x1A", ""}},
      {"a DOS end behind text", "a\r\nb\x1A", {0, "", 0}, {"a", "b"}},
      {"a delimiter that never closes", "a\"\nb\nc", {2, "", 0, '"'}, {"a\"", "b", "c"}},
      {"separators in quotes, cut", "'a##b'c##d", {3, "##", 4, '\''}, {"'a##", "d"}},
      {"HTML rows",
       "x<TR><td>a\n</td></tr >\n<tr\na><td>b<TR>c</table>d<trx>",
       {2, "", 0, 0, "", 1, false, true},
       {"<TR><td>a\n</td></tr >", "<tr\na><td>b", "<TR>c", ""}},
      {"fixed length knows no quotes", "\"abX\"deY", {4, "", 3, '"'}, {"\"ab", "\"de", ""}},
      {"NUL is data", {"a\0b\n\0", 5}, {2, "", 0}, {{"a\0b", 3}, {"\0", 1}}},
  };
  TempFolder folder;
  const std::string path = folder.File("records.txt");
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    WriteWhole(path, row.file);
    for (const std::size_t block : {1, 2, 3, 5, 4096}) {
      CAPTURE(block);
      CHECK(Show(ReadAll(path, row.format, {.block_bytes = block})) == Show(row.records));
    }
  }
}

TEST_CASE("long records") {
  TempFolder folder;
  const std::string path = folder.File("long.txt");
  WriteWhole(path, std::string(5000, 'x') + "\nshort\n");
  const ReaderLimits limits{.block_bytes = 64, .max_record_bytes = 1000};

  SUBCASE("beyond the limit is refused, naming the file, and nothing is skipped") {
    auto reader = RecordReader::Open(path, {2, "", 0}, limits);
    std::span<char> record;
    for (int i = 0; i < 2; ++i) {
      const Status status = reader->ReadRecord(record);
      CHECK(status.code() == Code::kOutOfRange);
      CHECK(status.message().find(path) != std::string_view::npos);
      CHECK_FALSE(reader->AtEnd());
    }
  }
  SUBCASE("a record that is cut anyway needs no room") {
    auto reader = RecordReader::Open(path, {2, "", 10}, limits);
    std::span<char> record;
    REQUIRE(reader->ReadRecord(record).ok());
    CHECK(std::string(record.data(), record.size()) == "xxxxxxxxxx");
    CHECK(reader->record_raw_bytes() == 5001);
    REQUIRE(reader->ReadRecord(record).ok());
    CHECK(std::string(record.data(), record.size()) == "short");
    CHECK(reader->record_offset() == 5001);
  }
  SUBCASE("a delimiter that closes too far away opens nothing") {
    WriteWhole(path, "\"a\n" + std::string(500, 'x') + "\"\nb");
    const Fields plain = ReadAll(path, {2, "", 0}, limits);
    CHECK(Show(ReadAll(path, {2, "", 0, '"'}, {.block_bytes = 64, .max_quoted_bytes = 100})) ==
          Show(plain));
  }
}

TEST_CASE("a byte-order mark is passed over only under UTF-8 and only at the start") {
  TempFolder folder;
  const std::string path = folder.File("bom.txt");
  const std::string mark = "\xEF\xBB\xBF";
  WriteWhole(path, mark + "a\n" + mark + "b");
  REQUIRE(base::SetAnsiPage(1252).ok());
  CHECK(Show(ReadAll(path, {2, "", 0})) == Show({mark + "a", mark + "b"}));
  REQUIRE(base::SetAnsiPage(65001).ok());
  CHECK(Show(ReadAll(path, {2, "", 0})) == Show({"a", mark + "b"}));
}

TEST_CASE("preview lines") {
  TempFolder folder;
  const std::string path = folder.File("preview.txt");
  const auto write = [&](int records) {
    std::string file;
    for (int n = 1; n <= records; ++n)
      file += (n > 1 ? "\nrecord " : "record ") + std::to_string(n);
    WriteWhole(path, file);
  };
  textsource::PreviewLines preview;
  preview.file_present = true;
  preview.Line(2) = "old";

  SUBCASE("20 records from the fifth; a start behind the end leaves the last record read") {
    write(30);
    REQUIRE(preview.ReadFileRecords(path, {2, "", 3}, 5).ok());
    CHECK(preview.Line(1) == "record 5");
    CHECK(preview.Line(20) == "record 24");
    write(3);
    REQUIRE(preview.ReadFileRecords(path, {2, "", 0}, 5).ok());
    CHECK(preview.Line(1) == "record 3");
    CHECK(preview.Line(2).empty());
  }
  SUBCASE("fixed length shows 1024 characters") {
    WriteWhole(path, std::string(1025, 'a') + std::string(10, 'b'));
    REQUIRE(preview.ReadFileRecords(path, {4, "", 3}, 1).ok());
    CHECK(preview.Line(1) == std::string(1024, 'a'));
    CHECK(preview.Line(2) == std::string(10, 'b'));
  }
  SUBCASE("a failure says that the file is not there") {
    CHECK(preview.ReadFileRecords(folder.File("missing"), {2, "", 0}, 1).code() == Code::kNotFound);
    CHECK_FALSE(preview.file_present);
    CHECK(preview.Line(2) == "old");
    preview.file_present = true;
    write(3);
    CHECK(preview.ReadFileRecords(path, {3, "", 0}, 1).code() == Code::kInvalidArgument);
    CHECK_FALSE(preview.file_present);
  }
}
