// What a journal that lies beside a table may do, and what it may not: everything but restoring
// what nobody changed since.
#include "base/bytes.h"
#include "base/status.h"
#include "storage/journal_format.h"
#include "storage/recover.h"
#include "tests/storage/support/fault_files.h"
#include "tests/storage/support/torn_table.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

using namespace kelvorin;
using base::AsBytes;
using storage::kMainFile;
using storage::Store;
using storage::StoreOptions;
using tests::kBystander;
using tests::kTornJournal;
using tests::kTornMain;
using tests::kTornMemo;
using tests::MemoryFileSystem;
using tests::OpenTorn;
using tests::TableTexts;
using tests::TextsOn;
using tests::TheTornTable;

namespace {

/// The whole disk by name, for comparing.
std::string ShowDisk(MemoryFileSystem& disk) {
  std::vector<std::string> names = disk.List("/t");
  std::sort(names.begin(), names.end());
  std::string all;
  for (const std::string& name : names) all += name + "=" + disk.Contents("/t/" + name) + "\n";
  return all;
}

struct Outcome {
  Code code = Code::kOk;
  std::string text;
};

Outcome Try(const std::function<void()>& call) {
  try {
    call();
  } catch (const Error& error) {
    return {error.status().code(), std::string(error.status().message())};
  }
  return {};
}

std::string WholeOf(Store& store, storage::FileNo no) {
  std::vector<std::byte> bytes(store.Size(no));
  store.Read(no, 0, bytes);
  return std::string(base::AsText(bytes));
}

void Append(MemoryFileSystem& disk, const std::string& path, const std::string& text) {
  const auto file = disk.Open(path, os::OpenMode::kReadWrite);
  file->Write(file->Size(), AsBytes(text));
}

void Overwrite(MemoryFileSystem& disk, const std::string& path, std::uint64_t at,
               const std::string& text) {
  disk.Open(path, os::OpenMode::kReadWrite)->Write(at, AsBytes(text));
}

}  // namespace

TEST_CASE("a journal restores what nobody changed since, and nothing else") {
  enum class End { kBack, kAsItIs, kAside, kGone };
  struct Row {
    const char* name;
    std::function<void(MemoryFileSystem&)> change;
    End end;
    const char* text = "";  // in the refusal or the notice
    bool with_memo = true;
  };
  const std::string& journal = TheTornTable().journal;
  const std::size_t memo_at = storage::kBodyAt + storage::kEntryBytes;
  std::string twice = journal;
  twice.insert(memo_at, journal.substr(memo_at, storage::kEntryBytes));
  twice[12] = 3;
  twice = tests::Resealed(twice);
  std::string behind_end = journal;
  behind_end.replace(storage::kBodyAt + 8, 2, "\xF8\x11");  // an old size of 4600
  behind_end = tests::Resealed(behind_end);
  const Row rows[] = {
      {"nothing happened", [](auto&) {}, End::kBack, "is undone"},
      {"edit outside the group", [](auto& disk) { Overwrite(disk, kTornMain, 7000, "!"); },
       End::kBack, "is undone"},
      {"append", [](auto& disk) { Append(disk, kTornMain, std::string(9000, 'n')); }, End::kAsItIs,
       "table A has"},
      {"edit of a page of the group", [](auto& disk) { Overwrite(disk, kTornMain, 5, "!"); },
       End::kAsItIs, "the first at offset 0"},
      {"edit of a page of the group in the memo",
       [](auto& disk) { Overwrite(disk, kTornMemo, 120, "!"); }, End::kAsItIs, "memo file B"},
      {"edit behind the old end", [](auto& disk) { Overwrite(disk, kTornMain, 9400, "!"); },
       End::kAsItIs, "changed since"},
      {"truncation",
       [](auto& disk) { disk.Open(kTornMain, os::OpenMode::kReadWrite)->Truncate(8000); },
       End::kAsItIs, "8000 bytes"},
      {"an older copy put back over it",
       [](auto& disk) { disk.Put(kTornMain, std::string(8000, 'o')); }, End::kAsItIs, "8000 bytes"},
      {"a copy of the table in another file",
       [](auto& disk) {
         disk.Remove(kTornMain);
         disk.Put(kTornMain, TheTornTable().torn.main);
       },
       End::kAsItIs, "another file"},
      {"a second name", [](auto& disk) { disk.Link(kTornMemo, "/t/other"); }, End::kAsItIs,
       "hard links"},
      {"the memo is gone for the driver", [](auto&) {}, End::kAsItIs, "memo file", false},
      {"everything was written after all",
       [](auto& disk) {
         Overwrite(disk, kTornMain, 0, TheTornTable().after.main);
         Overwrite(disk, kTornMemo, 0, TheTornTable().after.memo);
       },
       End::kGone, "complete"},
      {"somebody else's journal", [](auto& disk) { disk.SetOwner(kTornJournal, 7); }, End::kAsItIs,
       "user 7"},
      {"two names of the journal", [](auto& disk) { disk.Link(kTornJournal, "/t/j"); },
       End::kAsItIs, "2 names"},
      {"no journal at all", [](auto& disk) { disk.Put(kTornJournal, "Dear Sir or Madam"); },
       End::kAsItIs, "no journal of this program"},
      {"made and never written", [](auto& disk) { disk.Put(kTornJournal, ""); }, End::kGone},
      {"unsealed",
       [](auto& disk) {
         disk.Put(kTornJournal, base::AsText(storage::EncodeHead({.entries = 2, .serial = 5})));
       },
       End::kGone},
      {"its head lost",
       [&](auto& disk) { Overwrite(disk, kTornJournal, 0, std::string(64, '\0')); }, End::kAside,
       "damaged"},
      {"a bit of the head", [&](auto& disk) { Overwrite(disk, kTornJournal, 12, "\x03"); },
       End::kAside, "damaged"},
      {"a bit of the body", [&](auto& disk) { Overwrite(disk, kTornJournal, 1500, "\x03"); },
       End::kAside, "damaged"},
      {"its end lost",
       [&](auto& disk) { disk.Put(kTornJournal, journal.substr(0, journal.size() - 64)); },
       End::kAside, "damaged"},
      {"the memo stands in it twice", [&](auto& disk) { disk.Put(kTornJournal, twice); },
       End::kAside, "entry 3 makes no sense"},
      {"an image reaches behind the old end",
       [&](auto& disk) { disk.Put(kTornJournal, behind_end); }, End::kAside,
       "offset 3584 of file 1 makes no sense"},
  };
  for (const Row& row : rows) {
    INFO("row: ", std::string(row.name));
    MemoryFileSystem disk;
    tests::PutTornTable(disk, journal);
    row.change(disk);
    const std::string left = ShowDisk(disk);
    const TableTexts texts = TextsOn(disk);
    std::string told;
    const StoreOptions writing{.tell = [&](const std::string& text) { told += text + "\n"; }};
    StoreOptions reading = writing;
    reading.read_only = true;
    reading.page_bytes = 1000;  // pages that begin in the middle of an image
    // Reading sees the old state through the journal, or the files as they stand, and says so.
    {
      const auto store = OpenTorn(disk, reading, row.with_memo);
      std::vector<std::byte> middle(100);
      store->Read(kMainFile, 4500, middle);
      TableTexts expected = texts;
      if (row.end == End::kBack) {
        expected = TheTornTable().before;
        if (texts.main[7000] == '!') expected.main[7000] = '!';
        CHECK(WholeOf(*store, storage::FileNo{1}) == expected.memo);
      }
      CHECK(WholeOf(*store, kMainFile) == expected.main);
      CHECK(told.empty() == (row.end == End::kGone));
    }
    CHECK(ShowDisk(disk) == left);
    told.clear();
    const Outcome outcome = Try([&] { (void)OpenTorn(disk, writing, row.with_memo); });
    CAPTURE(outcome.text);
    CHECK(outcome.code == (row.end == End::kAsItIs ? Code::kReadOnly : Code::kOk));
    CHECK((outcome.text + told).find(row.text) != std::string::npos);
    CHECK(disk.Contents(kBystander) == "precious");
    if (row.end == End::kAsItIs) CHECK(ShowDisk(disk) == left);
    if (row.end != End::kAsItIs) CHECK_FALSE(disk.Has(kTornJournal));
    if (row.end != End::kBack) CHECK(TextsOn(disk) == texts);
    CHECK(disk.Has("/t/A-journal.kept") == (row.end == End::kAside));
    if (row.end == End::kBack) {
      TableTexts expected = TheTornTable().before;
      if (texts.main[7000] == '!') expected.main[7000] = '!';
      CHECK(TextsOn(disk) == expected);
    }
  }
}

TEST_CASE("what others put where a group left zeros stays") {
  const auto change = [](storage::FileSystem& files) {
    const auto store = Store::Open(files, kTornMain, {.page_bytes = 512});
    storage::Bracket bracket = store->Begin();
    store->Write(kMainFile, 0, AsBytes("count"));
    store->Truncate(kMainFile, 40'000);
    bracket.Commit();
    store->Flush();
  };
  int sealed = 0;
  for (int n = 1;; ++n) {
    MemoryFileSystem disk;
    disk.Put(kTornMain, std::string(9000, 'a'));
    tests::FaultFileSystem faults(disk, tests::Fault::kDie, n);
    if (Try([&] { change(faults); }).code == Code::kOk) break;
    disk.Crash(tests::Tail::kAll);
    const std::string torn = disk.Contents(kTornMain);
    if (torn.size() != 40'000 || torn.starts_with("count")) continue;
    ++sealed;
    Overwrite(disk, kTornMain, 20'000, "theirs");
    const std::string left = ShowDisk(disk);
    CHECK(Try([&] { (void)Store::Open(disk, kTornMain, {}); }).code == Code::kReadOnly);
    CHECK(ShowDisk(disk) == left);
  }
  CHECK(sealed > 0);
}

TEST_CASE("groups that close by size overwrite no body whose seal may come back") {
  const auto change = [](storage::FileSystem& files) {
    const auto store = Store::Open(files, kTornMain, {.page_bytes = 512, .cache_bytes = 8192});
    for (std::uint64_t page = 0; page < 50; ++page) {
      storage::Bracket bracket = store->Begin();
      store->Write(kMainFile, page * 512, AsBytes(std::string(500, static_cast<char>('A' + page))));
      bracket.Commit();
    }
    store->Flush();
  };
  bool died = true;
  for (int n = 1; died; ++n) {
    CAPTURE(n);
    MemoryFileSystem disk;
    disk.Put(kTornMain, std::string(40'000, 'a'));
    tests::FaultFileSystem faults(disk, tests::Fault::kDie, n);
    died = Try([&] { change(faults); }).code != Code::kOk;
    disk.Crash(tests::Tail::kSome, static_cast<std::uint32_t>(n));
    { const auto store = Store::Open(disk, kTornMain, {}); }
    CHECK_FALSE(disk.Has("/t/A-journal.kept"));
  }
}

TEST_CASE("recover shows, applies also to a copy, and sets aside") {
  using storage::JournalAction;
  const auto recover = [](MemoryFileSystem& disk, JournalAction action) {
    std::string all;
    for (const std::string& line :
         storage::RecoverJournal(disk, kTornMain, action, [](const auto& store) {
           (void)store->Attach(kTornMemo, {.role = storage::Role::kMemo});
           return nullptr;
         }))
      all += line + "\n";
    return all;
  };
  MemoryFileSystem disk;
  tests::PutTornTable(disk, TheTornTable().journal);
  disk.Remove(kTornMain);
  disk.Put(kTornMain, TheTornTable().torn.main);  // another file now
  const std::string left = ShowDisk(disk);
  const std::string shown = recover(disk, JournalAction::kShow);
  CAPTURE(shown);
  CHECK(shown.find("table A: ") != std::string::npos);
  CHECK(shown.find("memo file B: ") != std::string::npos);
  CHECK(ShowDisk(disk) == left);
  CHECK(Try([&] { (void)OpenTorn(disk, {}); }).code == Code::kReadOnly);
  CHECK(recover(disk, JournalAction::kApply).find("is undone") != std::string::npos);
  CHECK(TextsOn(disk) == TheTornTable().before);
  CHECK(recover(disk, JournalAction::kShow).empty());

  // Another table that was alike before, with room behind its end.
  MemoryFileSystem other;
  other.Put("/t/first", "");
  other.Put(kTornMain, TheTornTable().before.main + std::string(700, '\0'));
  other.Put(kTornMemo, TheTornTable().before.memo);
  other.Put(kTornJournal, TheTornTable().journal);
  const std::string alike = ShowDisk(other);
  const Outcome refused = Try([&] { recover(other, JournalAction::kApply); });
  CHECK(refused.code == Code::kReadOnly);
  CHECK(refused.text.find("another table") != std::string::npos);
  CHECK(ShowDisk(other) == alike);

  tests::PutTornTable(disk, TheTornTable().journal);
  const auto lines = storage::RecoverJournal(
      disk, kTornMain, JournalAction::kShow,
      [](const auto&) -> std::shared_ptr<void> { throw Error(Code::kNotFound, "no memo"); });
  REQUIRE(lines.size() == 2);
  CHECK(lines[0].find("cannot be compared") != std::string::npos);

  tests::PutTornTable(disk, TheTornTable().journal);
  Overwrite(disk, kTornMain, 5, "!");
  const TableTexts theirs = TextsOn(disk);
  CHECK(Try([&] { recover(disk, JournalAction::kApply); }).code == Code::kReadOnly);
  disk.Put("/t/A-journal.kept", "older");
  CHECK(recover(disk, JournalAction::kSetAside).find("A-journal.kept2") != std::string::npos);
  CHECK(disk.Contents("/t/A-journal.kept2") == TheTornTable().journal);
  CHECK(TextsOn(disk) == theirs);
  CHECK(Try([&] { (void)OpenTorn(disk, {}); }).code == Code::kOk);
}

TEST_CASE("a journal of a removed table does not reach the new one of its name") {
  MemoryFileSystem disk;
  disk.Put(kTornJournal, TheTornTable().journal);
  { const auto store = Store::Open(disk, kTornMain, {.create = true}); }
  CHECK(disk.Contents("/t/A-journal.kept") == TheTornTable().journal);
  CHECK_FALSE(disk.Has(kTornMain));  // made, and nothing came of it
}

TEST_CASE("a folder where no journal can be made costs one refusal at the opening") {
  MemoryFileSystem disk;
  disk.Put("/t/A", "text");
  disk.folder_writable = false;
  CHECK(Try([&] { (void)Store::Open(disk, "/t/A", {}); }).code == Code::kReadOnly);
  CHECK(Try([&] { (void)Store::Open(disk, "/t/A", {.read_only = true}); }).code == Code::kOk);
}

TEST_CASE("real files: pipes never wait, journals take the table's rights and fit long names") {
  const tests::TempFolder folder;
  storage::FileSystem& disk = storage::RealFileSystem();
  const std::string table = folder.File("A");
  tests::WriteWhole(table, "text");
  REQUIRE(::mkfifo(folder.File("pipe").c_str(), 0600) == 0);
  for (const bool read_only : {true, false}) {
    CHECK(Try([&] {
            (void)Store::Open(disk, folder.File("pipe"), {.read_only = read_only});
          }).text.find("pipe") != std::string::npos);
    CHECK(Try([&] { (void)Store::Open(disk, "/dev/full", {.read_only = read_only}); }).code ==
          Code::kIo);
    CHECK(
        Try([&] {
          (void)Store::Open(disk, table, {.read_only = read_only})->Attach(folder.File("pipe"), {});
        }).code == Code::kIo);
  }
  struct Row {
    const char* name;
    std::function<void(const std::string&)> make;
  };
  const Row rows[] = {
      {"a pipe", [](const std::string& path) { REQUIRE(::mkfifo(path.c_str(), 0600) == 0); }},
      {"a dangling link",
       [](const std::string& path) { std::filesystem::create_symlink("nowhere", path); }},
      {"a link to a file",
       [&](const std::string& path) { std::filesystem::create_symlink(table, path); }},
      {"a folder", [](const std::string& path) { std::filesystem::create_directory(path); }},
  };
  for (const Row& row : rows) {
    INFO("row: ", std::string(row.name));
    row.make(table + "-journal");
    CHECK(Try([&] { (void)Store::Open(disk, table, {}); }).code == Code::kReadOnly);
    CHECK(Try([&] { (void)Store::Open(disk, table, {.read_only = true}); }).code == Code::kOk);
    CHECK(std::filesystem::remove(table + "-journal"));
    CHECK(tests::ReadWhole(table) == "text");
  }

  const std::string long_path = folder.File(std::string(247, 'n') + ".DBF");
  const std::string long_twin = folder.File(std::string(247, 'n') + ".DBG");
  CHECK(storage::JournalPath(long_path) != storage::JournalPath(long_twin));
  tests::WriteWhole(long_path, "text");
  REQUIRE(::chmod(long_path.c_str(), 0640) == 0);
  {
    const auto store = Store::Open(disk, long_path, {});
    storage::Bracket bracket = store->Begin();
    store->Write(kMainFile, 0, AsBytes("next"));
    bracket.Commit();
    store->Flush();
    struct stat facts {};
    REQUIRE(::stat(storage::JournalPath(long_path).c_str(), &facts) == 0);
    CHECK((facts.st_mode & 0777) == 0640);
  }
  CHECK(tests::ReadWhole(long_path) == "next");
  CHECK_FALSE(std::filesystem::exists(storage::JournalPath(long_path)));

  // A journal that was set aside again and again needs a longer name still.
  for (const std::size_t length : {237u, 238u, 239u, 246u, 255u}) {
    const std::string path = folder.File(std::string(length, 'm'));
    tests::WriteWhole(path, "text");
    tests::WriteWhole(storage::JournalPath(path),
                      "KvJrnal2 and then nothing more: 64 bytes or less");
    for (int kept = 1; kept < 999; ++kept)
      CHECK_NOTHROW(tests::WriteWhole(
          storage::JournalPath(path) + ".kept" + (kept == 1 ? "" : std::to_string(kept)), ""));
    CHECK(storage::SetJournalAside(disk, path) == storage::JournalPath(path) + ".kept999");
  }
}

TEST_CASE("a journal of any length is refused after a few bytes of it") {
  const auto bytes_read = [] {
    std::uint64_t count = 0;
    std::string word;
    std::ifstream io("/proc/self/io");
    io >> word >> count;
    return count;
  };
  storage::FileSystem& disk = storage::RealFileSystem();
  constexpr std::uint64_t kHuge = std::uint64_t{64} << 30;
  storage::JournalHead seal{.kind = storage::HeadKind::kSeal, .entries = 3, .serial = 1};
  for (const std::uint64_t body : {std::uint64_t{0}, storage::kMaxFileBytes, kHuge - 1024}) {
    CAPTURE(body);
    const tests::TempFolder folder;
    const std::string table = folder.File("A");
    tests::WriteWhole(table, "text");
    seal.body_bytes = body;
    if (body != 0)
      tests::WriteWhole(table + "-journal", base::AsText(storage::EncodeHead(seal)));
    else
      tests::WriteWhole(table + "-journal", "");
    std::filesystem::resize_file(table + "-journal", kHuge);
    const std::uint64_t before = bytes_read();
    CHECK(Try([&] { (void)Store::Open(disk, table, {.read_only = true}); }).code == Code::kOk);
    CHECK(Try([&] { (void)Store::Open(disk, table, {}); }).code == Code::kOk);
    CHECK(bytes_read() - before < 100'000);
    CHECK(std::filesystem::file_size(table + "-journal.kept") == kHuge);
    CHECK(tests::ReadWhole(table) == "text");
  }
}
