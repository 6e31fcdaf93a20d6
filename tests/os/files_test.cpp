#include "os/files.h"

#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ostream>
#include <string>
#include <string_view>

using namespace kelvorin;

using os::FileHandle;
using os::LockKind;
using os::OpenMode;
using tests::ReadWhole;
using tests::TempFolder;
using tests::WriteWhole;

namespace {

std::span<const std::byte> Bytes(std::string_view text) {
  return std::as_bytes(std::span<const char>(text.data(), text.size()));
}

FileHandle MustOpen(const std::string& path, OpenMode mode) {
  std::error_code error;
  FileHandle file = FileHandle::Open(path, mode, error);
  REQUIRE_MESSAGE(!error, path << ": " << error.message());
  return file;
}

}  // namespace

TEST_CASE("opening answers each mode's question") {
  const TempFolder folder;
  const std::string there = folder.File("there");
  const std::string absent = folder.File("absent");
  struct Row {
    const char* name;
    std::string path;
    OpenMode mode;
    std::error_condition expected;
    std::string contents_after;  // "-": no file
  };
  const Row rows[] = {
      {"read what is there", there, OpenMode::kRead, {}, "old"},
      {"read what is not", absent, OpenMode::kRead, std::errc::no_such_file_or_directory, "-"},
      {"change what is not", absent, OpenMode::kReadWrite, std::errc::no_such_file_or_directory,
       "-"},
      {"make what is there", there, OpenMode::kCreateNew, std::errc::file_exists, "old"},
      {"make what is not", absent, OpenMode::kCreateNew, {}, ""},
      {"empty what is there", there, OpenMode::kCreateOrTruncate, {}, ""},
      {"append to what is not", absent, OpenMode::kAppend, {}, ""},
      {"a folder", folder.path(), OpenMode::kRead, std::errc::is_a_directory, "-"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.name);
    WriteWhole(there, "old");
    ::unlink(absent.c_str());
    std::error_code error;
    const FileHandle file = FileHandle::Open(row.path, row.mode, error);
    CHECK((error.default_error_condition() == row.expected));
    CHECK(file.is_open() == !error);
    if (os::Facts(row.path).kind == os::FileKind::kRegular) {
      CHECK(ReadWhole(row.path) == row.contents_after);
    } else {
      CHECK(row.contents_after == "-");
    }
  }
}

TEST_CASE("positioned reads and writes meet the end of the file") {
  const TempFolder folder;
  FileHandle file = MustOpen(folder.File("f"), OpenMode::kCreateNew);
  std::error_code error;
  file.WriteAt(4, Bytes("tail"), error);  // leaves a hole
  REQUIRE(!error);
  std::string text(16, '?');
  const auto room = std::as_writable_bytes(std::span<char>(text));
  CHECK(file.ReadAt(0, room, error) == 8);
  CHECK(text.substr(0, 8) == std::string_view("\0\0\0\0tail", 8));
  CHECK(file.ReadAt(100, room, error) == 0);
  CHECK(!error);
  file.Reserve(1 << 20, error);
  CHECK(file.Size(error) == 8);
  file.Truncate(5, error);
  CHECK(file.Size(error) == 5);
  file.WriteAt(~std::uint64_t{0} - 1, Bytes("far"), error);
  CHECK((error == std::errc::file_too_large));
}

TEST_CASE("parts from all over are written behind each other, however many") {
  const TempFolder folder;
  std::error_code error;
  FileHandle file = MustOpen(folder.File("parts"), OpenMode::kCreateNew);
  std::string expected(5, '\0');
  std::vector<std::string> texts;
  for (int i = 0; i < 200; ++i) texts.emplace_back(i % 7, static_cast<char>('a' + i % 26));
  std::vector<std::span<const std::byte>> parts;
  for (const std::string& text : texts) {
    parts.push_back(Bytes(text));
    expected += text;
  }
  file.WriteAt(5, parts, error);
  CHECK_FALSE(error);
  CHECK(tests::ReadWhole(folder.File("parts")) == expected);
  file.WriteAt(~std::uint64_t{0} - 1, parts, error);
  CHECK((error == std::errc::file_too_large));
}

TEST_CASE("a limit of file sizes is an error, not the death of the process") {
  const TempFolder folder;
  struct rlimit old {};
  REQUIRE(::getrlimit(RLIMIT_FSIZE, &old) == 0);
  struct rlimit low = old;
  low.rlim_cur = 1000;
  REQUIRE(::setrlimit(RLIMIT_FSIZE, &low) == 0);
  FileHandle file = MustOpen(folder.File("f"), OpenMode::kCreateNew);
  FileHandle log = MustOpen(folder.File("log"), OpenMode::kAppend);
  std::error_code fine;
  file.WriteAt(990, Bytes("0123456789"), fine);
  std::error_code errors[4];
  file.WriteAt(991, Bytes("0123456789"), errors[0]);
  file.Truncate(1001, errors[1]);
  file.Reserve(1001, errors[2]);
  for (int i = 0; i < 101; ++i) log.Write(Bytes("0123456789"), errors[3]);
  REQUIRE(::setrlimit(RLIMIT_FSIZE, &old) == 0);
  CHECK(!fine);
  for (const std::error_code& error : errors) CHECK((error == std::errc::file_too_large));
  CHECK(log.Size(fine) == 1000);
}

TEST_CASE("what is no regular file is refused without waiting, where that is asked for") {
  const TempFolder folder;
  const std::string pipe = folder.File("pipe");
  REQUIRE(::mkfifo(pipe.c_str(), 0600) == 0);
  std::error_code error;
  for (const OpenMode mode : {OpenMode::kRead, OpenMode::kReadWrite}) {
    CHECK_FALSE(FileHandle::Open(pipe, mode, error, false, os::Accept::kRegular).is_open());
    CHECK((error == std::errc::operation_not_supported));
  }
  CHECK(os::Look(pipe).kind == os::FileKind::kOther);
  CHECK(os::Look(folder.File("none")).kind == os::FileKind::kNone);
}

TEST_CASE("locks hold between two openings, even in one process") {
  const TempFolder folder;
  WriteWhole(folder.File("f"), "x");
  FileHandle first = MustOpen(folder.File("f"), OpenMode::kReadWrite);
  FileHandle second = MustOpen(folder.File("f"), OpenMode::kReadWrite);
  std::error_code error;
  CHECK(first.TryLock(1000, 10, LockKind::kShared, error));
  CHECK(second.TryLock(1000, 10, LockKind::kShared, error));
  CHECK_FALSE(second.TryLock(1005, 1, LockKind::kExclusive, error));
  CHECK(!error);
  CHECK(second.TryLock(1010, 1, LockKind::kExclusive, error));
  first.Unlock(1000, 10, error);
  CHECK(second.TryLock(1005, 1, LockKind::kExclusive, error));
  second.Close(error);
  CHECK(first.TryLock(1000, 20, LockKind::kExclusive, error));
}

TEST_CASE("a path is the same whatever links lead to it, also of a file that is not there yet") {
  const TempFolder folder;
  std::error_code error;
  os::MakeFolders(folder.File("a/b"), error);
  REQUIRE(!error);
  const std::string real = os::RealPath(folder.path(), error);
  REQUIRE(::symlink("../../settings", folder.File("a/b/link").c_str()) == 0);
  CHECK(os::RealPath(folder.File("a/b/link"), error) == real + "/settings");
  CHECK(os::RealPath(folder.File("a/../none/x"), error) == real + "/none/x");
  REQUIRE(::symlink("loop", folder.File("loop").c_str()) == 0);
  CHECK(os::RealPath(folder.File("loop"), error).empty());
  CHECK((error == std::errc::too_many_symbolic_link_levels));
}
