// Whatever operation of the disk fails or is the last one: the file holds whole records and sound
// indexes, as at the end of one of the groups that were written.

#include "base/code_page.h"
#include "tests/access/access_support.h"
#include "tests/storage/support/fault_files.h"
#include "tests/storage/support/memory_files.h"

#include <doctest/doctest.h>

#include <algorithm>

namespace kelvorin::tests {
namespace {

constexpr const char* kPath = "/walk.mdb";  // right under the root, which ends its path itself

std::string LongName(int i) {
  return "name " + std::to_string(i * 37 % 100) + std::string(90, 'n');
}

/// As many records as fill a leaf of the index on names.
void Prepare(MemoryFileSystem& disk) {
  MakeDatabase(kPath, "", disk);
  AccessFile file(kPath, disk);
  TableDef def;
  def.Name = "Walk";
  def.Fields = {MakeField("Id", TypeCode::kLong), MakeField("Name", TypeCode::kText, 120),
                MakeField("Note", TypeCode::kMemo)};
  def.Indexes = {MakeIndex("PrimaryKey", "+Id", true, true), MakeIndex("Names", "+Name")};
  REQUIRE(file->CreateTable(def).ok());
  auto set = file.Open("Walk");
  for (int i = 0; i < 36; ++i)
    REQUIRE(Append(*set, {std::to_string(i), LongName(i), std::string(i % 3 == 0 ? 6000 : 20, 'm')})
                .ok());
}

/// What the table holds after each change, and how many changes each group holds with those before.
struct Way {
  std::vector<std::string> states;
  std::vector<std::size_t> groups;
  Database* database = nullptr;

  void Note() {
    if (database == nullptr) return;
    auto set = database->OpenRecordset("Walk", RecordsetType::kTable);
    REQUIRE(set.ok());
    states.push_back(Walk(**set));
  }
};

/// A few changes, and the group that takes them to the disk.
Status Step(Recordset& set, int step, Way& way) {
  switch (step) {
    case 0:  // splits a leaf
      for (int i = 100; i < 106; ++i) {
        KV_TRY(Append(set, {std::to_string(i), LongName(i - 60), std::string(5000, 'z')}));
        way.Note();
      }
      break;
    case 1:  // moves a row to another page
      KV_TRY(set.MoveFirst());
      KV_TRY(Change(set, 1, std::string(119, 'w')));
      way.Note();
      KV_TRY(Change(set, 2, std::string(60, 'v')));
      way.Note();
      break;
    case 2:  // frees long values
      KV_TRY(set.MoveFirst());
      KV_TRY(set.Move(3));
      KV_TRY(set.Delete());
      way.Note();
      break;
    default:
      KV_TRY(set.MoveFirst());
      while (!set.Eof()) {
        KV_TRY(set.Delete());
        way.Note();
        KV_TRY(set.MoveNext());
      }
  }
  KV_TRY(set.Flush());
  way.groups.push_back(way.states.size() - 1);
  return Status();
}

constexpr int kSteps = 4;

/// Plays all steps, as far as they go; `done` counts the groups that were written.
Status Play(storage::FileSystem& fs, int& done, Way& way, bool note) {
  DBEngine engine;
  EnterAccess(engine, fs);
  auto opened = engine.OpenDatabase(kPath, false, false, "");
  if (!opened.ok()) return opened.status();
  auto set = (*opened)->OpenRecordset("Walk", RecordsetType::kTable);
  if (!set.ok()) return set.status();
  if (note) way.database = opened->get();
  way.Note();
  way.groups.push_back(way.states.size() - 1);
  for (done = 0; done < kSteps; ++done) KV_TRY(Step(**set, done, way));
  KV_TRY((*set)->Close());
  return (*opened)->Close();
}

}  // namespace

TEST_CASE("whatever operation fails or is the last, an Access file stays sound") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  Way way;
  {
    MemoryFileSystem calm;
    Prepare(calm);
    int done = 0;
    REQUIRE(Play(calm, done, way, true).ok());
  }
  MemoryFileSystem prepared;
  Prepare(prepared);
  const std::string start = prepared.Contents(kPath);
  for (const FaultKind& kind : kFaultKinds) {
    CAPTURE(std::string(kind.name));
    for (int n = 1;; ++n) {
      CAPTURE(n);
      MemoryFileSystem disk;
      disk.Put(kPath, start);
      FaultFileSystem faults(disk, kind.fault, n);
      int done = 0;
      Way unseen;
      const Status played = Play(faults, done, unseen, false);
      if (!faults.fired()) break;
      if (kind.fault == Fault::kDie) disk.Crash(kind.tail, static_cast<std::uint32_t>(n));
      AccessFile file(kPath, disk);
      const std::string now = Walk(*file.Open("Walk"));
      // Nothing that was flushed is lost; a program that lives on keeps what it had finished.
      const auto from = way.states.begin() +
                        static_cast<std::ptrdiff_t>(way.groups[static_cast<std::size_t>(done)]);
      const bool known = std::find(from, way.states.end(), now) != way.states.end();
      CHECK_MESSAGE(known, "after ", done, " groups: ", std::string(played.message()));
      CheckSound(*file);
    }
  }
}

}  // namespace kelvorin::tests
