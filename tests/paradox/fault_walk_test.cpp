// Whatever operation of the disk fails or is the last one: the table holds what it held at the end
// of some finished change, with sound indexes and the right stamps.

#include "base/code_page.h"
#include "database/drivers/register_drivers.h"
#include "tests/paradox/paradox_support.h"
#include "tests/storage/support/fault_files.h"
#include "tests/storage/support/memory_files.h"

#include <doctest/doctest.h>

#include <algorithm>

namespace kelvorin::tests {
namespace {

using enum TypeCode;

constexpr const char* kConnect = "Paradox 5.x";
constexpr const char* kFiles[] = {"DB", "PX", "MB", "X02", "Y02", "XG0", "YG0"};

Row Record(int id, std::size_t note) {
  std::string key = std::to_string(1000 + id);
  key.resize(200, 'k');
  return {key, "kind" + std::to_string(id % 3), std::to_string(id % 5), std::string(note, 'n')};
}

/// A table of full blocks: 4 records each, 4 entries in each block of the primary index.
void Prepare(MemoryFileSystem& disk) {
  TableDef def = MakeTable("T", {MakeField("KEY", kText, 200), MakeField("KIND", kText, 8),
                                 MakeField("NUM", kInteger), MakeField("NOTE", kMemo)});
  def.Indexes = {MakeIndex("PrimaryKey", "+KEY", true, true), MakeIndex("KIND", "+KIND"),
                 MakeIndex("Numbers", "+NUM;+KIND")};
  {
    Folder folder("/d", kConnect, disk);
    folder.Make(def);
  }
  for (const char* extension : kFiles) {
    const std::string path = std::string("/d/T.") + extension;
    std::string bytes = disk.Contents(path);
    if (std::string_view(extension) != "MB") bytes[5] = 1;
    disk.Put(path, bytes);
  }
  Folder folder("/d", kConnect, disk);
  std::vector<Row> rows;
  for (int id = 0; id < 32; id += 2) rows.push_back(Record(id, id % 4 == 0 ? 3000 : 30));
  folder.Fill("T", rows);
}

/// What the table holds after each change.
struct Way {
  std::vector<std::string> states;
  int flushed = 0;  // changes that are on the disk for good
};

std::string StateOf(storage::FileSystem& fs) {
  Folder folder("/d", kConnect, fs, true);
  CheckSound(*folder);
  return Show(folder.ReadAll("T"));
}

Status Play(storage::FileSystem& fs, Way& way, bool note) {
  DBEngine engine;
  database::RegisterDrivers(engine, fs);
  auto opened = engine.OpenDatabase("/d", false, false, kConnect);
  if (!opened.ok()) return opened.status();
  auto made = (*opened)->OpenRecordset("T", RecordsetType::kTable);
  if (!made.ok()) return made.status();
  Recordset& set = **made;
  int changes = 0;
  const auto after = [&](bool flush) -> Status {
    ++changes;
    if (note) {  // a second set on the same table sees it as it is
      auto other = (*opened)->OpenRecordset("T", RecordsetType::kTable);
      REQUIRE(other.ok());
      std::string text, all;
      Recordset& seen = **other;
      while (!seen.Eof()) {
        for (std::size_t i = 0; i < seen.FieldCount(); ++i) {
          bool null = false;
          REQUIRE(seen.Fields(i).GetText(text, null).ok());
          all += (null ? "<null>" : text) + "|";
        }
        all += '\n';
        REQUIRE(seen.MoveNext().ok());
      }
      way.states.push_back(all);
    }
    if (!flush) return Status();
    KV_TRY(set.Flush());
    way.flushed = changes;
    return Status();
  };
  // Splits a block, and a block of the index above it.
  for (const int id : {7, 9, 11}) {
    KV_TRY(Append(set, Record(id, 2500)));
    KV_TRY(after(id == 9));
  }
  // A key moves, and with it entries of both other indexes.
  KV_TRY(set.MoveFirst());
  KV_TRY(set.Edit());
  for (std::size_t i = 0; i < 3; ++i) KV_TRY(set.Fields(i).SetText(Record(25, 1)[i]));
  KV_TRY(set.Update());
  KV_TRY(after(true));
  // A blob is replaced.
  KV_TRY(set.MoveLast());
  KV_TRY(Change(set, 3, std::string(5000, 'r')));
  KV_TRY(after(true));
  // Blocks are let go, the first one among them, and then all.
  KV_TRY(set.MoveFirst());
  for (int i = 0; i < 6; ++i) {
    KV_TRY(set.Delete());
    KV_TRY(after(i == 3));
    KV_TRY(set.MoveNext());
  }
  KV_TRY(set.Flush());
  while (!set.Eof()) {
    KV_TRY(set.Delete());
    KV_TRY(after(false));
    KV_TRY(set.MoveNext());
  }
  KV_TRY(set.Close());
  way.flushed = changes;
  return (*opened)->Close();
}

}  // namespace

TEST_CASE("whatever operation fails or is the last, tables and indexes stay sound") {
  REQUIRE(base::SetAnsiPage(65001).ok());
  REQUIRE(base::SetOemPage(437).ok());
  MemoryFileSystem prepared;
  Prepare(prepared);
  Way way;
  way.states.push_back(StateOf(prepared));
  {
    MemoryFileSystem calm;
    Prepare(calm);
    REQUIRE(Play(calm, way, true).ok());
  }
  for (const FaultKind& kind : kFaultKinds) {
    CAPTURE(std::string(kind.name));
    for (int n = 1;; ++n) {
      CAPTURE(n);
      MemoryFileSystem disk;
      for (const char* extension : kFiles) {
        const std::string path = std::string("/d/T.") + extension;
        disk.Put(path, prepared.Contents(path));
      }
      FaultFileSystem faults(disk, kind.fault, n);
      Way unseen;
      const Status played = Play(faults, unseen, false);
      if (!faults.fired()) {
        CHECK(played.ok());
        break;
      }
      if (kind.fault == Fault::kDie) disk.Crash(kind.tail, static_cast<std::uint32_t>(n));
      const std::string now = StateOf(disk);
      const auto state = std::find(way.states.begin() + unseen.flushed, way.states.end(), now);
      CHECK_MESSAGE(state != way.states.end(), "after ", unseen.flushed,
                    " flushed changes: ", std::string(played.message()));
    }
  }
}

}  // namespace kelvorin::tests
