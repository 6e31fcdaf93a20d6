#include <doctest/doctest.h>

#include <limits>

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "tests/support/temp_folder.h"

using namespace kelvorin;
using namespace kelvorin::base;

TEST_CASE("numbers in text") {
  struct Row {
    std::string text;
    std::int64_t front;
    std::optional<std::int64_t> whole;
  };
  const Row kRows[] = {
      {"42", 42, 42},
      {"-7", -7, -7},
      {"+7", 7, 7},
      {" \t12x", 12, {}},
      {"1.5", 1, {}},
      {"", 0, {}},
      {"x", 0, {}},
      {"-", 0, {}},
      {"+-5", 0, {}},
      {"--5", 0, {}},
      {"0x10", 0, {}},
      {"99999999999999999999", std::numeric_limits<std::int64_t>::max(), {}},
      {"-99999999999999999999", std::numeric_limits<std::int64_t>::min(), {}},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.text);
    CHECK(ParseInteger(row.text) == row.front);
    CHECK((ParseWholeInteger(row.text) == row.whole));
  }
  CHECK(ToDecimal(std::numeric_limits<std::int64_t>::min()) == "-9223372036854775808");
}

TEST_CASE("texts are trimmed, compared, replaced and split") {
  CHECK(Trim("   ").empty());
  CHECK(Trim("\t a ", kBlankOrTab) == "a");
  CHECK_FALSE(EqualIgnoreCase("[", "{"));
  CHECK_FALSE(EqualIgnoreCase("ab", "abc"));
  CHECK(Replace("a'b''", "'", "''") == "a''b''''");
  CHECK(Replace("abc", "", "x") == "abc");
  CHECK((SplitAt("a,,b,", ',') == std::vector<std::string_view>{"a", "", "b", ""}));
  const std::string list[] = {"Table", "table", "table"};
  CHECK(FindListItem(list, "table") == 1);
  CHECK(FindListItem(list, "TABLE") == -1);
}

TEST_CASE("file names are taken apart at both separators") {
  struct Row {
    std::string path;
    std::string folder, name, base, extension;
  };
  const Row kRows[] = {
      {"/a/b.c.txt", "/a", "b.c.txt", "b.c", "txt"},
      {"C:\\data\\CUST.DBF", "C:\\data", "CUST.DBF", "CUST", "DBF"},
      {"/x.y", "/", "x.y", "x", "y"},
      {"a.b/c", "a.b", "c", "c", ""},
      {"/home/.rc", "/home", ".rc", ".rc", ""},
      {"dir/", "dir", "", "", ""},
      {"point.", "", "point.", "point", ""},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.path);
    CHECK(FolderPart(row.path) == row.folder);
    CHECK(NamePart(row.path) == row.name);
    CHECK(BaseNamePart(row.path) == row.base);
    CHECK(ExtensionPart(row.path) == row.extension);
  }
  CHECK(JoinPath("/a", "b") == "/a/b");
  CHECK(JoinPath("/a/", "b") == "/a/b");
  CHECK(JoinPath("", "b") == "b");
}

TEST_CASE("whole files, and files that cannot be had") {
  tests::TempFolder folder;
  const std::string path = folder.File("Whole.TXT");
  const std::string bytes("a\0\r\n\xFF", 5);
  REQUIRE(WriteFileAtomically(path, bytes).ok());
  CHECK(*ReadWholeFile(path) == bytes);
  CHECK(*ReadWholeFile(path, 5) == bytes);
  CHECK(ReadWholeFile(path, 4).status().code() == Code::kOutOfRange);
  CHECK(ReadWholeFile("/proc/self/status")->size() > 100);  // tells no size

  const Status missing = InputFile::Open(folder.File("none")).status();
  CHECK(missing.code() == Code::kNotFound);
  CHECK(missing.message().find(folder.File("none")) != std::string_view::npos);
  CHECK_FALSE(InputFile::Open(folder.path()).ok());
  CHECK_FALSE(FileExists(folder.path()));

  REQUIRE(SetAnsiPage(kUtf8Page).ok());
  CHECK(FindIgnoringCase(folder.path(), "whole.txt") == path);
  REQUIRE(WriteFileAtomically(folder.File("whole.txt"), "").ok());
  CHECK(FindIgnoringCase(folder.path(), "whole.txt") == folder.File("whole.txt"));
  CHECK(FindIgnoringCase(folder.path(), "WHOLE.TXT") == path);
  CHECK_FALSE(FindIgnoringCase(folder.path(), "other.txt").has_value());
  REQUIRE(DeleteFile(path).ok());
  CHECK(DeleteFile(path).code() == Code::kNotFound);
}

TEST_CASE("an output file is replaced or continued") {
  tests::TempFolder folder;
  const std::string path = folder.File("log");
  const std::string large(40000, 'x');
  for (const auto mode : {OutputFile::Mode::kReplace, OutputFile::Mode::kAppend}) {
    auto file = OutputFile::Open(path, mode);
    REQUIRE(file.ok());
    REQUIRE(file->Write("start").ok());
    REQUIRE(file->Write(large).ok());
    REQUIRE(file->Write("end").ok());
    REQUIRE(file->Close().ok());
  }
  const std::string once = "start" + large + "end";
  CHECK((tests::ReadWhole(path) == once + once));
  static_cast<void>(OutputFile::Open(path, OutputFile::Mode::kReplace)->Write("x"));
  CHECK(tests::ReadWhole(path) == "x");  // the destructor writes what is pending

  auto full = OutputFile::Open("/dev/full", OutputFile::Mode::kAppend);
  if (full.ok()) {
    CHECK(full->Write("a").ok());
    CHECK(full->Close().code() == Code::kNoSpace);
  }
}
