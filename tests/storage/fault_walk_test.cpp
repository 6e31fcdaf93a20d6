#include "base/status.h"
#include "storage/journal.h"
#include "storage/store.h"
#include "tests/storage/support/fault_files.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>

using namespace kelvorin;
using base::AsBytes;
using storage::Bracket;
using storage::FileNo;
using storage::kMainFile;
using storage::Store;
using tests::Fault;
using tests::FaultFileSystem;
using tests::MemoryFileSystem;

namespace {

void Fill(MemoryFileSystem& disk) {
  disk.Put("/t/A", std::string(9000, 'a'));
  disk.Put("/t/B", std::string(3000, 'b'));
}

std::string Show(const MemoryFileSystem& disk) {
  std::string all;
  for (const char* path : {"/t/A", "/t/B", "/t/C"})
    all += (disk.Has(path) ? disk.Contents(path) : std::string()) + "|";
  return all;
}

/// How far a run came.
struct Way {
  std::vector<std::string> groups;    // what the disk held after each flush
  std::vector<std::string> brackets;  // what the store held after each bracket, where `look` is set
  std::size_t finished = 0;           // brackets
  bool look = false;
};

/// Four groups over three files; returns normally or with the first failure.
void Run(storage::FileSystem& files, const MemoryFileSystem& disk, Way& way) {
  const auto store = Store::Open(files, "/t/A", {.page_bytes = 512});
  const FileNo memo = store->Attach("/t/B", {.page_bytes = 1000});
  const auto change = [&](auto what) {
    Bracket bracket = store->Begin();
    what();
    bracket.Commit();
    ++way.finished;
    if (!way.look) return;
    std::string all;
    for (const FileNo no : {kMainFile, memo, FileNo{2}}) {
      std::vector<std::byte> bytes(no <= memo || disk.Has("/t/C") ? store->Size(no) : 0);
      if (!bytes.empty()) store->Read(no, 0, bytes);
      all += std::string(base::AsText(bytes)) + "|";
    }
    way.brackets.push_back(all);
  };
  const auto write = [&](FileNo no, std::uint64_t at, std::string_view text) {
    store->Write(no, at, AsBytes(text));
  };
  const auto append = [&](FileNo no, std::string_view text) { write(no, store->Size(no), text); };
  const auto end_group = [&] {
    store->Flush();
    way.groups.push_back(Show(disk));
  };

  for (int i = 0; i < 3; ++i)
    change([&] {
      append(kMainFile, std::string(300, 'A'));
      append(memo, std::string(1500, 'B'));
    });
  change([&] { write(kMainFile, 0, "count 3"); });
  end_group();

  change([&] { write(kMainFile, 4000, std::string(1200, 'x')); });
  change([&] { store->Truncate(memo, 700); });
  end_group();

  const FileNo index = store->Attach("/t/C", {.create = true});
  change([&] {
    store->Truncate(kMainFile, 600);
    append(kMainFile, std::string(3000, 'n'));
    append(index, std::string(5000, 'i'));
  });
  end_group();

  {
    const Bracket undone = store->Begin();
    store->Truncate(index, 10);
    append(kMainFile, std::string(2000, 'u'));
  }
  change([&] { store->Truncate(kMainFile, 100); });
  change([&] { store->Truncate(index, 6000); });
  end_group();
}

/// Opens the table as the next program would: one of the `allowed` states, no journal, and usable.
void CheckReopened(MemoryFileSystem& disk, const std::vector<std::string>& allowed) {
  { const auto store = Store::Open(disk, "/t/A", {}); }
  const std::string found = Show(disk);
  CHECK_FALSE(disk.Has("/t/A-journal"));
  REQUIRE(std::count(allowed.begin(), allowed.end(), found) > 0);
  const auto store = Store::Open(disk, "/t/A", {});
  Bracket bracket = store->Begin();
  store->Write(kMainFile, 50, AsBytes("next"));
  bracket.Commit();
  store->Flush();
  CHECK(disk.Contents("/t/A").substr(50, 4) == "next");
}

}  // namespace

TEST_CASE("whatever operation fails or is the last, the files hold whole groups") {
  MemoryFileSystem calm;
  Fill(calm);
  Way full;
  full.look = true;
  full.groups.push_back(Show(calm));
  full.brackets.push_back(Show(calm));
  Run(calm, calm, full);
  REQUIRE(full.groups.size() == 5);
  CHECK(full.groups.back() == full.brackets.back());
  CHECK(Show(calm) == full.groups.back());

  for (const tests::FaultKind& row : tests::kFaultKinds) {
    INFO("row: ", std::string(row.name));
    int n = 1;
    for (bool fired = true; fired; ++n) {
      for (std::uint32_t seed = 0; seed < row.seeds; ++seed) {
        CAPTURE(n);
        CAPTURE(seed);
        MemoryFileSystem disk;
        Fill(disk);
        FaultFileSystem faults(disk, row.fault, n);
        Way way;
        try {
          Run(faults, disk, way);
          CHECK(way.groups.size() == 4);
        } catch (const Error& error) {
          REQUIRE(faults.fired());

          CHECK(std::string_view(error.what()).find("/t") != std::string_view::npos);
        }
        fired = faults.fired();
        // A program that lives on puts the files right at once.
        if (row.fault != Fault::kDie) CHECK_FALSE(storage::IsHotJournal(disk, "/t/A"));
        if (row.fault == Fault::kDie) {
          disk.Crash(row.tail, seed);
          // Putting things right may be cut short as well.
          FaultFileSystem again(disk, Fault::kDie, 1 + (n * 7 + static_cast<int>(seed)) % 23);
          try {
            (void)Store::Open(again, "/t/A", {});
          } catch (const Error&) {
            CHECK(again.fired());
          }
          disk.Crash(row.tail, seed + 100);
        }
        // What was flushed is there; the group after it is, or is not. A program that lives on has
        // also written the brackets that were finished when it gave up.
        std::vector<std::string> allowed{full.groups[way.groups.size()]};
        if (way.groups.size() < 4) allowed.push_back(full.groups[way.groups.size() + 1]);
        if (row.fault != Fault::kDie) allowed.push_back(full.brackets[way.finished]);
        CheckReopened(disk, allowed);
      }
    }
    CHECK(n > 60);
  }
}

TEST_CASE("a journal is believed only when it is whole and names its own files") {
  struct Row {
    const char* name;
    const char* main_name;
    const char* companion;
    std::uint64_t old_size;
    Code code;
    const char* after;
  };
  const Row rows[] = {
      {"as it should be", "A", "B", 4, Code::kOk, "oldA|oldB|"},
      {"of another table", "X", "B", 4, Code::kCorrupt, "newA++|newB|"},
      {"out of the folder", "A", "../u/B", 4, Code::kCorrupt, "newA++|newB|"},
      {"the folder itself", "A", "..", 4, Code::kCorrupt, "newA++|newB|"},
      {"a file that is gone", "A", "D", 4, Code::kCorrupt, "newA++|newB|"},
      {"an image behind the old end", "A", "B", 3, Code::kCorrupt, ""},
  };
  for (const Row& row : rows) {
    INFO("row: ", std::string(row.name));
    MemoryFileSystem disk;
    disk.Put("/t/A", "oldA");
    disk.Put("/t/B", "oldB");
    disk.Put("/u/B", "other");
    storage::Journal journal(disk, "/t/A");
    journal.Start({{.name = row.main_name, .old_size = 4, .new_size = 6},
                   {.name = row.companion, .old_size = row.old_size, .new_size = 4}});
    journal.AddImage(0, *disk.Open("/t/A", os::OpenMode::kRead), 0, 4);
    journal.AddImage(1, *disk.Open("/t/B", os::OpenMode::kRead), 0, 4);
    journal.Seal();
    disk.Put("/t/A", "newA++");
    disk.Put("/t/B", "newB");
    Code code = Code::kOk;
    try {
      const auto store = Store::Open(disk, "/t/A", {.read_only = true});
      CHECK(store->Size(kMainFile) == 4);
    } catch (const Error& error) {
      code = error.status().code();
    }
    CHECK(code == row.code);
    if (row.after[0] != '\0')
      CHECK(disk.Contents("/t/A") + "|" + disk.Contents("/t/B") + "|" == row.after);
    CHECK(disk.Contents("/u/B") == "other");
    if (code != Code::kOk) continue;

    // No byte of it can be wrong or missing without the whole journal meaning nothing.
    journal.Forget();
    journal.Start({{.name = "A", .old_size = 4, .new_size = 6}});
    journal.AddImage(0, *disk.Open("/t/A", os::OpenMode::kRead), 0, 4);
    journal.Seal();
    const std::string whole = disk.Contents("/t/A-journal");
    int believed = 0;
    for (std::size_t at = 0; at < whole.size(); ++at) {
      disk.Put("/t/A", "newA++");
      std::string damaged = whole;
      if (at % 3 == 0) damaged.resize(at);
      if (at % 3 != 0) damaged[at] = static_cast<char>(damaged[at] ^ 0x10);
      disk.Put("/t/A-journal", damaged);
      { const auto store = Store::Open(disk, "/t/A", {}); }
      if (disk.Contents("/t/A") == "oldA") {
        ++believed;
        CHECK((at >= 48 && at < 1024));  // between head and body nothing is kept
        CHECK(at % 3 != 0);
      } else {
        CHECK(disk.Contents("/t/A") == "newA++");
      }
    }
    CHECK(believed > 0);
  }
}

TEST_CASE("a journal does not follow a link out of its folder") {
  const tests::TempFolder folder;
  const std::string outside = folder.File("precious");
  tests::WriteWhole(outside, "precious");
  std::filesystem::create_directory(folder.File("t"));
  tests::WriteWhole(folder.File("t/A"), "A");
  std::filesystem::create_symlink(outside, folder.File("t/B"));
  storage::FileSystem& disk = storage::RealFileSystem();
  storage::Journal journal(disk, disk.RealPath(folder.File("t/A")));
  journal.Start({{.name = "A", .old_size = 1, .new_size = 1}, {.name = "B", .old_size = 0}});
  journal.Seal();
  CHECK_THROWS_AS((void)Store::Open(disk, folder.File("t/A"), {}), Error);
  CHECK(tests::ReadWhole(outside) == "precious");
}
