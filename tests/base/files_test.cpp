// Files that are replaced whole: through links and rights, and under a disk that fails.

#include <doctest/doctest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "base/M_FILE.h"
#include "tests/storage/support/fault_files.h"
#include "tests/support/temp_folder.h"

namespace kelvorin::tests {
namespace {

unsigned ModeOf(const std::string& path) {
  struct stat facts {};
  REQUIRE(::lstat(path.c_str(), &facts) == 0);
  return facts.st_mode;
}

}  // namespace

TEST_CASE("a file is replaced whole, through links, and keeps its mode") {
  const TempFolder folder;
  const std::string path = folder.File("settings");
  const auto write = [&](const std::string& name, std::string_view text) {
    return base::WriteFileAtomically(folder.File(name), text);
  };
  REQUIRE(write("settings", "one").ok());
  CHECK(ReadWhole(path) == "one");
  CHECK(ModeOf(path) == (S_IFREG | 0600u));

  REQUIRE(::chmod(path.c_str(), 0644) == 0);
  REQUIRE(base::MakeFolders(folder.File("a/b")).ok());
  REQUIRE(base::MakeFolders(folder.File("a/b")).ok());
  REQUIRE(::symlink("../../settings", folder.File("a/b/link").c_str()) == 0);
  REQUIRE(write("a/b/link", "two").ok());
  CHECK(ReadWhole(path) == "two");
  CHECK(ModeOf(path) == (S_IFREG | 0644u));
  CHECK(S_ISLNK(ModeOf(folder.File("a/b/link"))));
  CHECK(base::IsSameFile(folder.File("a/b/link"), path));
  REQUIRE(::symlink("made-by-link", folder.File("dangling").c_str()) == 0);
  CHECK(base::IsSameFile(folder.File("dangling"), folder.File("made-by-link")));
  CHECK_FALSE(base::IsSameFile(folder.File("dangling"), path));
  REQUIRE(write("dangling", "three").ok());
  CHECK(ReadWhole(folder.File("made-by-link")) == "three");

  REQUIRE(::symlink("loop", folder.File("loop").c_str()) == 0);
  REQUIRE(::mkfifo(folder.File("pipe").c_str(), 0600) == 0);
  for (const char* name : {"a", "no-such-folder/x", "loop", "pipe"}) {
    CAPTURE(name);
    CHECK_FALSE(write(name, "no").ok());
  }
  CHECK(S_ISFIFO(ModeOf(folder.File("pipe"))));

  // What cannot be written to its end, or is somebody else's to write, stays as it is.
  struct rlimit limit {};
  REQUIRE(::getrlimit(RLIMIT_FSIZE, &limit) == 0);
  const struct rlimit small { 2, limit.rlim_max };
  const auto handler = ::signal(SIGXFSZ, SIG_IGN);
  REQUIRE(::setrlimit(RLIMIT_FSIZE, &small) == 0);
  const Status full = write("settings", "longer than that");
  REQUIRE(::setrlimit(RLIMIT_FSIZE, &limit) == 0);
  ::signal(SIGXFSZ, handler);
  CHECK(full.code() == Code::kNoSpace);
  CHECK(full.message() == "Cannot write " + path + ": File too large");
  REQUIRE(::chmod(path.c_str(), 0444) == 0);
  REQUIRE(::chmod(folder.path().c_str(), 0777) == 0);
  const uid_t user = ::geteuid();
  if (user == 0) REQUIRE(::seteuid(65534) == 0);  // root may write everything
  const Status refused = write("settings", "no");
  if (user == 0) REQUIRE(::seteuid(user) == 0);
  CHECK(refused.code() == Code::kReadOnly);
  CHECK(refused.message() == "Cannot write " + path + ": Permission denied");
  CHECK(ReadWhole(path) == "two");
  CHECK(base::ListFolder(folder.path()).value_or({}) ==
        std::vector<std::string>{"a", "dangling", "loop", "made-by-link", "pipe", "settings"});
}

TEST_CASE(
    "a replaced file under a failing disk is the old one or the new one, and no other is left") {
  const std::string old_text(1000, 'o'), new_text(3000, 'n');
  for (const FaultKind& kind : kFaultKinds) {
    if (kind.fault == Fault::kShortRead) continue;  // nothing is read
    for (std::uint32_t seed = 0; seed < kind.seeds; ++seed) {
      bool fired = true;
      for (int at = 1; fired; ++at) {
        CAPTURE(kind.name);
        CAPTURE(at);
        MemoryFileSystem disk;
        disk.Put("/d/f", old_text);
        disk.SetOwner("/d/f", 7);
        FaultFileSystem faults(disk, kind.fault, at);
        const Status told = base::WriteFileAtomically("/d/f", new_text, faults);
        fired = faults.fired();
        const bool died = kind.fault == Fault::kDie && fired;
        if (!died) CHECK(disk.List("/d").size() == 1);
        CHECK(told.ok() != fired);
        disk.Crash(kind.tail, seed);
        const std::string now = disk.Contents("/d/f");
        CHECK((now == new_text || (fired && now == old_text)));
        CHECK(disk.Owner("/d/f") == 7);
      }
    }
  }
}

}  // namespace kelvorin::tests
