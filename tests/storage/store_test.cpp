#include "database/storage/store.h"

#include "base/status.h"
#include "database/storage/open_files.h"
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

TEST_CASE("random changes, undone or not, leave what a plain text would hold") {
  // Page sizes with and without a power of two, page 0 at the start or behind a header, a cache
  // that holds everything or next to nothing.
  struct Row {
    std::uint32_t page_bytes;
    std::uint64_t first_page_at;
    std::size_t cache_bytes;
  };
  const Row rows[] = {{512, 0, 1 << 20}, {512, 0, 4096}, {3072, 359, 32768}, {1000, 2048, 16384}};
  for (std::uint32_t seed = 0; seed < 24; ++seed) {
    const Row& row = rows[seed % std::size(rows)];
    CAPTURE(seed);
    std::mt19937 random(seed);
    const auto below = [&](std::size_t limit) { return std::size_t{random() % limit}; };
    MemoryFileSystem disk;
    disk.Put("/t/A.DBF", std::string(below(9000), 'a'));
    disk.Put("/t/A.DBT", std::string(below(9000), 'b'));
    std::string model[] = {disk.Contents("/t/A.DBF"), disk.Contents("/t/A.DBT")};
    for (int opening = 0; opening < 3; ++opening) {
      const auto store = Store::Open(disk, "/t/A.DBF", {.cache_bytes = row.cache_bytes});
      REQUIRE(store->Attach("/t/A.DBT", {}) == FileNo{1});
      store->SetPages(FileNo{0}, row.page_bytes, row.first_page_at);
      store->SetPages(FileNo{1}, row.page_bytes);
      std::vector<std::byte> scratch;
      for (int step = 0; step < 120; ++step) {
        std::string after[] = {model[0], model[1]};
        Bracket bracket = store->Begin();
        for (std::size_t change = below(5); change > 0; --change) {
          const FileNo no{static_cast<std::uint16_t>(below(2))};
          std::string& text = after[static_cast<std::size_t>(no)];
          const std::size_t at = below(text.size() + 1);
          const std::uint64_t first = no == FileNo{0} ? row.first_page_at : 0;
          switch (below(6)) {
            case 0: {  // overwrite, perhaps across the end
              const std::string in(below(3000), static_cast<char>('c' + below(20)));
              store->Write(no, at, AsBytes(in));
              text.resize(std::max(text.size(), at + in.size()));
              text.replace(at, in.size(), in);
              break;
            }
            case 1: {  // append, perhaps with a gap
              const std::size_t gap = below(3) == 0 ? below(5000) : 0;
              const std::string in(1 + below(200), static_cast<char>('C' + below(20)));
              store->Write(no, text.size() + gap, AsBytes(in));
              text += std::string(gap, '\0') + in;
              break;
            }
            case 2:
              if (below(3) == 0) {
                store->Truncate(no, at);
                text.resize(at);
              }
              break;
            case 3: {  // part of a page
              if (text.size() <= first) break;
              const std::size_t page_no = below((text.size() - first - 1) / row.page_bytes + 1);
              const std::size_t in_page = below(row.page_bytes);
              const std::size_t count = below(row.page_bytes - in_page);
              PageRef page = store->Pin(no, page_no);
              const std::size_t begin = first + page_no * row.page_bytes + in_page;
              if (count > 0) text.resize(std::max(text.size(), begin + count));
              text.replace(std::min(begin, text.size()), count, std::string(count, '+'));
              for (std::byte& b : page.Change(in_page, count)) b = std::byte{'+'};
              break;
            }
            case 4: {  // a new page
              std::uint64_t page_no = 0;
              PageRef page = store->AddPage(no, page_no);
              text.resize(first + (page_no + 1) * row.page_bytes);
              std::fill_n(text.end() - row.page_bytes, 7, '*');
              for (std::byte& b : page.Change().first(7)) b = std::byte{'*'};
              break;
            }
            case 5: {
              const std::size_t count = below(text.size() - at + 1);
              CHECK(AsText(store->View(no, at, count, scratch)) == text.substr(at, count));
              break;
            }
          }
        }
        if (below(3) != 0) {
          bracket.Commit();
          model[0] = after[0];
          model[1] = after[1];
        } else {
          const Bracket undone = std::move(bracket);
        }
        if (below(8) == 0) store->Flush();
        if (below(4) == 0) {
          for (const FileNo no : {FileNo{0}, FileNo{1}}) {
            const std::string& text = model[static_cast<std::size_t>(no)];
            const std::string whole = Whole(*store, no);
            CAPTURE(step);
            CAPTURE(whole.size());
            CAPTURE(text.size());
            CAPTURE(std::mismatch(whole.begin(), whole.end(), text.begin(), text.end()).first -
                    whole.begin());
            REQUIRE((whole == text));
          }
        }
      }
    }
    CHECK(disk.Contents("/t/A.DBF") == model[0]);
    CHECK(disk.Contents("/t/A.DBT") == model[1]);
    CHECK(disk.List("/t").size() == 2);
  }
}

TEST_CASE("what a driver must not do is refused with its code") {
  MemoryFileSystem disk;
  disk.Put("/t/A", std::string(1000, 'a'));
  disk.Put("/u/B", "b");
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
    CAPTURE(row.name);
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
  CHECK(expected.size() > 120'000);
  CHECK(disk.Contents("/t/A") == expected);
}
