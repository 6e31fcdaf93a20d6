#include "base/status.h"
#include "storage/journal_view.h"
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
using State = storage::FoundJournal::State;

namespace {

void Fill(MemoryFileSystem& disk) {
  disk.Put("/t/A", std::string(9000, 'a'));
  disk.Put("/t/B", std::string(3000, 'b'));
}

std::string Show(const MemoryFileSystem& disk) {
  std::string all;
  for (const char* path : {"/t/A", "/t/B", "/t/C"})
    all += (disk.Has(path) ? disk.Contents(path) : "absent") + "|";
  return all;
}

/// How far a run came.
struct Way {
  std::vector<std::string> groups;    // what the disk held after each flush
  std::vector<std::string> brackets;  // what the store held after each bracket, where `look` is set
  std::size_t finished = 0;           // brackets
  bool look = false;
};

/// Five groups over three files; returns normally or with the first failure.
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
      const bool there = no <= memo || (disk.Has("/t/C") && store->Size(no) > 0);
      std::vector<std::byte> bytes(there ? store->Size(no) : 0);
      if (there) store->Read(no, 0, bytes);
      all += (there ? std::string(base::AsText(bytes)) : "absent") + "|";
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

  {
    const Bracket undone = store->Begin();
    store->Remove(index);
  }
  change([&] {
    store->Remove(index);
    write(kMainFile, 20, "no index");
  });
  end_group();
}

State LeftJournal(MemoryFileSystem& disk) {
  return storage::JournalView::Find(disk, "/t/A", *disk.Open("/t/A", os::OpenMode::kRead)).state;
}

/// Opens the table the way its driver does: companions that are there and not empty are its own.
std::unique_ptr<Store> OpenTable(storage::FileSystem& disk, bool read_only) {
  auto store = Store::Open(disk, "/t/A", {.read_only = read_only});
  store->Opening([&] {
    for (const char* path : {"/t/B", "/t/C"})
      if (disk.Exists(path)) (void)store->Attach(path, {});
    return 0;
  });
  return store;
}

/// The whole table as a store sees it.
std::string ShowThrough(Store& store, MemoryFileSystem& disk) {
  std::string all;
  const std::vector<const char*> paths{"/t/A", "/t/B", "/t/C"};
  for (std::size_t i = 0; i < paths.size(); ++i) {
    // A file that the change had made has no bytes when it is seen as before.
    const bool there = disk.Has(paths[i]) && store.Size(FileNo(i)) > 0;
    std::vector<std::byte> bytes(there ? store.Size(FileNo(i)) : 0);
    if (there) store.Read(FileNo(i), 0, bytes);
    all += (there ? std::string(base::AsText(bytes)) : "absent") + "|";
  }
  return all;
}

/// Opens the table as the next programs would, one that reads and one that writes: one of the
/// `allowed` states, which reading does not touch, no journal in the end, and usable.
void CheckReopened(MemoryFileSystem& disk, const std::vector<std::string>& allowed) {
  const std::string before = Show(disk);
  const bool sealed = LeftJournal(disk) == State::kSealed;
  const std::string read = ShowThrough(*OpenTable(disk, true), disk);
  REQUIRE(Show(disk) == before);
  (void)OpenTable(disk, false);
  std::string found = Show(disk);
  // What was made for a group that was never sealed is left without a byte.
  if (!sealed && found.ends_with("||")) found.insert(found.size() - 1, "absent");
  CHECK((read == found));
  CHECK_FALSE(disk.Has("/t/A-journal"));
  CHECK_FALSE(disk.Has("/t/A-journal.kept"));  // no crash makes one that looks damaged
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
  REQUIRE(full.groups.size() == 6);
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
          CHECK(way.groups.size() == 5);
        } catch (const Error& error) {
          REQUIRE(faults.fired());

          CHECK(std::string_view(error.what()).find("/t") != std::string_view::npos);
        }
        fired = faults.fired();
        // A program that lives on puts the files right at once.
        if (row.fault != Fault::kDie) CHECK(LeftJournal(disk) != State::kSealed);
        if (row.fault == Fault::kDie) {
          disk.Crash(row.tail, seed);
          // Putting things right may be cut short as well.
          FaultFileSystem again(disk, Fault::kDie, 1 + (n * 7 + static_cast<int>(seed)) % 23);
          try {
            (void)OpenTable(again, false);
          } catch (const Error&) {
            CHECK(again.fired());
          }
          disk.Crash(row.tail, seed + 100);
        }
        // What was flushed is there; the group after it is, or is not. A program that lives on has
        // also written the brackets that were finished when it gave up.
        std::vector<std::string> allowed{full.groups[way.groups.size()]};
        if (way.groups.size() < 5) allowed.push_back(full.groups[way.groups.size() + 1]);
        if (row.fault != Fault::kDie) allowed.push_back(full.brackets[way.finished]);
        CheckReopened(disk, allowed);
      }
    }
    CHECK(n > 60);
  }
}
