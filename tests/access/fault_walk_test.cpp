// Whatever operation of the disk fails or is the last one: the file holds whole records and sound
// indexes, as at the end of one of the groups that were written.

#include "tests/conformance/fault_walk.h"
#include "base/code_page.h"
#include "tests/access/access_support.h"

#include <doctest/doctest.h>

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

Status Play(Database& database, Changes& changes) {
  auto made = database.OpenRecordset("Walk", RecordsetType::kTable);
  if (!made.ok()) return made.status();
  Recordset& set = **made;
  const auto flush = [&]() -> Status {
    KV_TRY(set.Flush());
    changes.Flushed();
    return set.MoveFirst();
  };
  for (int i = 100; i < 106; ++i)  // splits a leaf
    KV_TRY(
        changes.Done(Append(set, {std::to_string(i), LongName(i - 60), std::string(5000, 'z')})));
  KV_TRY(flush());
  KV_TRY(changes.Done(Change(set, 1, std::string(119, 'w'))));  // moves a row to another page
  KV_TRY(changes.Done(Change(set, 2, std::string(60, 'v'))));
  KV_TRY(flush());
  KV_TRY(set.Move(3));
  KV_TRY(changes.Done(set.Delete()));  // frees long values
  KV_TRY(flush());
  while (!set.Eof()) {
    KV_TRY(changes.Done(set.Delete()));
    KV_TRY(set.MoveNext());
  }
  KV_TRY(set.Flush());
  changes.Flushed();
  return set.Close();
}

}  // namespace

TEST_CASE("whatever operation fails or is the last, an Access file stays sound") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  MemoryFileSystem prepared;
  Prepare(prepared);
  WalkFaults({prepared, EnterAccess, kPath, "", Play, [](MemoryFileSystem& disk) {
                AccessFile file(kPath, disk);
                CheckSound(*file);
                return Walk(*file.Open("Walk"));
              }});
}

}  // namespace kelvorin::tests
