#include "storage/store.h"

#include "base/status.h"
#include "storage/open_files.h"
#include "tests/storage/support/fault_files.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>

using namespace kelvorin;
using base::AsBytes;
using base::AsText;
using storage::Bracket;
using storage::FileNo;
using storage::kMainFile;
using storage::PageRef;
using storage::Store;
using storage::StoreOptions;
using tests::MemoryFileSystem;

namespace {

std::string Whole(Store& store, FileNo file) {
  std::vector<std::byte> bytes(store.Size(file));
  store.Read(file, 0, bytes);
  return std::string(AsText(bytes));
}

Code CodeOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Error& error) {
    CAPTURE(error.what());
    return error.status().code();
  }
  return Code::kOk;
}

}  // namespace

TEST_CASE("what a driver must not do is refused with its code") {
  MemoryFileSystem disk;
  disk.Put("/t/A", std::string(1000, 'a'));
  disk.Put("/u/B", "b");
  (void)Store::Open(disk, "/t/N", {.create = true});
  CHECK_FALSE(disk.Has("/t/N"));  // nothing came of it
  const auto store = Store::Open(disk, "/t/A", {.page_bytes = 512});
  std::vector<std::byte> scratch(600);
  const auto write = [&] { store->Write(kMainFile, 0, scratch); };
  struct Row {
    const char* name;
    std::function<void()> call;
    Code code;
  };
  const Row rows[] = {
      {"read behind the end", [&] { store->View(kMainFile, 900, 101, scratch); }, Code::kCorrupt},
      {"read far behind", [&] { store->Read(kMainFile, ~0ull - 5, scratch); }, Code::kCorrupt},
      {"pin behind the end", [&] { (void)store->Pin(kMainFile, 2); }, Code::kCorrupt},
      {"pin far behind", [&] { (void)store->Pin(kMainFile, ~0ull); }, Code::kCorrupt},
      {"write outside a bracket", write, Code::kInternal},
      {"pages of no size", [&] { store->SetPages(kMainFile, 0); }, Code::kCorrupt},
      {"bracket in bracket",
       [&] {
         const Bracket one = store->Begin();
         const Bracket two = store->Begin();
       },
       Code::kInternal},
      {"cut off a page in use",
       [&] {
         const PageRef held = store->Pin(kMainFile, 1);
         const Bracket bracket = store->Begin();
         store->Truncate(kMainFile, 10);
       },
       Code::kInternal},
      {"too long",
       [&] {
         const Bracket bracket = store->Begin();
         store->Write(kMainFile, ~0ull - 5, scratch);
       },
       Code::kNoSpace},
      {"companion elsewhere", [&] { (void)store->Attach("/u/B", {}); }, Code::kNotSupported},
      {"companion missing", [&] { (void)store->Attach("/t/B", {}); }, Code::kNotFound},
      {"make what is there", [&] { (void)Store::Open(disk, "/u/B", {.create = true}); },
       Code::kAlreadyExists},
      {"second opening", [&] { (void)Store::Open(disk, "/t/A", {.read_only = true}); },
       Code::kLocked},
  };
  for (const Row& row : rows) {
    INFO("row: ", std::string(row.name));
    CHECK(CodeOf(row.call) == row.code);
    CHECK(Whole(*store, kMainFile) == std::string(1000, 'a'));
  }
}

TEST_CASE("readers share a file, writers do not, one process shares its store") {
  const tests::TempFolder folder;
  const std::string path = folder.File("A.DBF");
  tests::WriteWhole(path, "0123456789");
  storage::FileSystem& disk = storage::RealFileSystem();
  storage::OpenFiles here;
  storage::OpenFiles elsewhere;
  const auto open = [&](storage::OpenFiles& files, StoreOptions options) {
    return CodeOf([&] { (void)files.Open(disk, path, options); });
  };
  {
    const auto reader = here.Open(disk, path, {.read_only = true});
    CHECK(open(elsewhere, {.read_only = true}) == Code::kOk);
    CHECK(open(elsewhere, {.read_only = true, .exclusive = true}) == Code::kLocked);
    CHECK(open(elsewhere, {}) == Code::kLocked);
    CHECK(open(here, {}) == Code::kLocked);
    CHECK(here.Open(disk, folder.path() + "/./A.DBF", {.read_only = true}) == reader);
    CHECK(CodeOf([&] { (void)reader->Begin(); }) == Code::kReadOnly);
  }
  const auto writer = here.Open(disk, path, {});
  CHECK(open(elsewhere, {.read_only = true}) == Code::kLocked);
  CHECK(here.Open(disk, path, {.read_only = true}) == writer);
  writer->Lock(kMainFile, 1'000'000'001, 1'000'000'000);
  const auto other_program = disk.Open(path, os::OpenMode::kReadWrite);
  CHECK_FALSE(other_program->TryLock(1'000'000'005, 1, os::LockKind::kShared));
}

TEST_CASE("a group closes by age and by size, and its hook speaks once") {
  struct CountHook : storage::GroupHook {
    void BeforeGroup(Store& store) override {
      ++calls;
      store.Write(kMainFile, 0, AsBytes(std::to_string(1000 + rows)));
    }
    int calls = 0;
    int rows = 0;
  } hook;
  MemoryFileSystem disk;
  disk.Put("/t/A", "1000");
  const auto store = Store::Open(disk, "/t/A", {.cache_bytes = 64 << 10, .cache_ceiling_bytes = 0});
  store->AddGroupHook(hook);
  const auto append = [&](int rows, std::size_t bytes) {
    for (; rows > 0; --rows, ++hook.rows) {
      Bracket bracket = store->Begin();
      store->Write(kMainFile, store->Size(kMainFile), AsBytes(std::string(bytes, 'r')));
      bracket.Commit();
    }
  };
  append(100, 10);
  CHECK(store->Counts().groups == 0);
  disk.clock = 1000;
  append(40, 10);
  CHECK(store->Counts().groups == 1);
  append(100, 1000);
  CHECK(store->Counts().groups == 2);
  CHECK(store->Counts().peak_cached_bytes <= 68 << 10);
  store->Flush();
  store->Flush();
  CHECK(hook.calls == 3);
  CHECK(disk.Contents("/t/A").substr(0, 4) == "1240");
  append(1, 10);
  store->RemoveGroupHook(hook);
  CHECK(disk.Contents("/t/A").substr(0, 4) == "1241");
}

TEST_CASE(
    "the cache keeps its limit, spares a scan's pages, and grows only for pages that return") {
  MemoryFileSystem disk;
  disk.Put("/t/A", std::string(4 << 20, 'a'));
  const auto open = [&] {
    return Store::Open(disk, "/t/A", {.cache_bytes = 1 << 20, .cache_ceiling_bytes = 3 << 20});
  };
  std::vector<std::byte> scratch;
  auto store = open();
  for (int pass = 0; pass < 3; ++pass) {
    for (std::uint64_t at = 0; at + 100 <= (4 << 20); at += 100)
      store->View(kMainFile, at, 100, scratch);
  }
  CHECK(store->Counts().peak_cached_bytes <= 256 << 10);
  CHECK(store->Counts().pages_read <= 3 * 1024);

  store.reset();
  store = open();
  std::minstd_rand random(7);
  for (int i = 0; i < 20000; ++i) store->View(kMainFile, random() % 600 * 4096, 100, scratch);
  CHECK(store->Counts().cache_limit_bytes == 3 << 20);
  CHECK(store->Counts().pages_read < 5000);
}

TEST_CASE("a full disk fails the record that needed the room and no other") {
  MemoryFileSystem disk;
  disk.Put("/t/A", "head");
  disk.room = 200'000;
  std::string expected = "head";
  int failed = 0;
  {
    const auto store = Store::Open(disk, "/t/A", {});
    for (int i = 0; i < 3000; ++i) {
      const Code code = CodeOf([&] {
        Bracket bracket = store->Begin();
        store->Write(kMainFile, store->Size(kMainFile), AsBytes(std::string(100, 'r')));
        bracket.Commit();
        expected += std::string(100, 'r');
      });
      if (code != Code::kOk) ++failed;
      REQUIRE((code == Code::kOk || code == Code::kNoSpace));
      if (i == 2000) store->Flush();
    }
  }
  CHECK(failed > 1000);
  CHECK(expected.size() > 134'000);  // all but the journal's 64 KiB
  CHECK(disk.Contents("/t/A") == expected);
}

TEST_CASE("what a hook changes has its room though the disk is full") {
  struct HeadHook : storage::GroupHook {
    void BeforeGroup(Store& store) override { store.Write(kMainFile, 0, AsBytes("H")); }
  } hook;
  for (std::uint64_t room = 900'000; room < 1'000'000; room += 3'000) {
    CAPTURE(room);
    MemoryFileSystem disk;
    std::string expected(800'000, 'a');
    disk.Put("/t/A", expected);
    disk.room = room;
    {
      const auto store = Store::Open(disk, "/t/A", {});
      store->AddGroupHook(hook);
      bool full = false;
      for (std::size_t at = 10'000; at < expected.size(); at += 5'000) {
        const Code code = CodeOf([&] {
          Bracket bracket = store->Begin();
          store->Write(kMainFile, at, AsBytes("b"));
          bracket.Commit();
          expected[at] = 'b';
        });
        full = full || code == Code::kNoSpace;
      }
      CHECK(full);
      CHECK(CodeOf([&] { store->Flush(); }) == Code::kOk);
      store->RemoveGroupHook(hook);
    }
    expected[0] = 'H';
    CHECK((disk.Contents("/t/A") == expected));
  }
}
