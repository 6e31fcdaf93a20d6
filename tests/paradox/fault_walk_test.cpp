// Whatever operation of the disk fails or is the last one: the table holds what it held at the end
// of some finished change, with sound indexes and the right stamps.

#include "tests/conformance/fault_walk.h"
#include "base/code_page.h"
#include "database/drivers/register_drivers.h"
#include "tests/paradox/paradox_support.h"

#include <doctest/doctest.h>

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

std::string StateOf(storage::FileSystem& fs) {
  Folder folder("/d", kConnect, fs, true);
  CheckSound(*folder);
  return Show(folder.ReadAll("T"));
}

Status Play(Database& database, Changes& changes) {
  auto made = database.OpenRecordset("T", RecordsetType::kTable);
  if (!made.ok()) return made.status();
  Recordset& set = **made;
  const auto after = [&](const Status& status, bool flush) -> Status {
    KV_TRY(changes.Done(status));
    if (flush) KV_TRY(set.Flush());
    if (flush) changes.Flushed();
    return Status();
  };
  // Splits a block, and a block of the index above it.
  for (const int id : {7, 9, 11}) {
    KV_TRY(after(Append(set, Record(id, 2500)), id == 9));
  }
  // A key moves, and with it entries of both other indexes.
  KV_TRY(set.MoveFirst());
  KV_TRY(set.Edit());
  for (std::size_t i = 0; i < 3; ++i) KV_TRY(set.Fields(i).SetText(Record(25, 1)[i]));
  KV_TRY(after(set.Update(), true));
  // A blob is replaced.
  KV_TRY(set.MoveLast());
  KV_TRY(after(Change(set, 3, std::string(5000, 'r')), true));
  // Blocks are let go, the first one among them, and then all.
  KV_TRY(set.MoveFirst());
  for (int i = 0; i < 6; ++i) {
    KV_TRY(after(set.Delete(), i == 3));
    KV_TRY(set.MoveNext());
  }
  KV_TRY(set.Flush());
  while (!set.Eof()) {
    KV_TRY(after(set.Delete(), false));
    KV_TRY(set.MoveNext());
  }
  return set.Close();
}

}  // namespace

TEST_CASE("whatever operation fails or is the last, tables and indexes stay sound") {
  REQUIRE(base::SetAnsiPage(65001).ok());
  REQUIRE(base::SetOemPage(437).ok());
  MemoryFileSystem prepared;
  Prepare(prepared);
  WalkFaults({prepared, database::RegisterDrivers, "/d", kConnect, Play, StateOf});
}

}  // namespace kelvorin::tests
