// Access files that nobody should trust: a sound one made by our own writer, with some of its bytes
// changed, opened, listed, inspected, read in every order, then written to.
//
// The first byte chooses the version and how many kilobytes are cut off; then every four bytes are
// a change: page, offset in the page (little-endian), new byte.

#include "base/bytes.h"
#include "database/access/access_driver.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/definitions.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace kelvorin;
using namespace kelvorin::database;
using tests::MakeField;

constexpr int kMaxRecords = 200;
constexpr const char* kPath = "/d/fuzz.mdb";

void Check(bool holds) {
  if (!holds) std::abort();
}

void Enter(DBEngine& engine, storage::FileSystem& disk) {
  engine.Register(access::MakeAccessDriver(disk, std::make_shared<storage::OpenFiles>()));
}

/// A table with every kind of page: several leaves below a node, moved rows, chained memos.
std::string MakeFile(const char* connect) {
  tests::MemoryFileSystem disk;
  DBEngine engine;
  Enter(engine, disk);
  Check(engine.CreateDatabase(kPath, connect).ok());
  {
    auto opened = engine.OpenDatabase(kPath, false, false, "");
    Check(opened.ok());
    TableDef def;
    def.Name = "T";
    def.Fields = {MakeField("Id", TypeCode::kLong), MakeField("Name", TypeCode::kText, 120),
                  MakeField("When", TypeCode::kDate), MakeField("Memo", TypeCode::kMemo),
                  MakeField("Ole", TypeCode::kLongBinary)};
    IndexDef key;
    key.Name = "PrimaryKey";
    key.Columns = ParseIndexFields("+Id");
    key.Unique = key.Primary = key.Required = true;
    IndexDef names;
    names.Name = "Names";
    names.Columns = ParseIndexFields("-Name;+Id");
    def.Indexes = {key, names};
    Check((*opened)->CreateTable(def).ok());
    auto set = (*opened)->OpenRecordset("T", RecordsetType::kTable);
    Check(set.ok());
    for (int i = 0; i < 60; ++i) {
      Check((*set)->AddNew().ok());
      Check((*set)->Fields(0).SetText(std::to_string(i)).ok());
      Check((*set)->Fields(1).SetText(std::string(60, static_cast<char>('a' + i % 26))).ok());
      Check((*set)->Fields(2).SetText("2001-02-03 04:05:06").ok());
      Check((*set)->Fields(3).SetText(std::string(i % 20 == 0 ? 9000 : 90, 'm')).ok());
      Check((*set)->Update().ok());
    }
    Check((*set)->MoveFirst().ok() && (*set)->Edit().ok());
    Check((*set)->Fields(1).SetText(std::string(120, 'z')).ok());
    Check((*set)->Update().ok() && (*set)->Close().ok());
    Check((*opened)->Close().ok());
  }
  return disk.Contents(kPath);
}

void ReadFields(Recordset& set) {
  std::string text;
  bool null = false;
  for (std::size_t i = 0; i < set.FieldCount(); ++i) (void)set.Fields(i).GetText(text, null);
}

void ReadAll(Recordset& set) {
  int steps = 0;
  for (; !set.Eof() && steps < kMaxRecords; ++steps) {
    ReadFields(set);
    if (!set.MoveNext().ok()) return;
  }
  if (!set.MoveLast().ok()) return;
  for (; !set.Bof() && steps > 0; --steps)
    if (!set.MovePrevious().ok()) return;
}

void Write(Recordset& set) {
  for (const char* id : {"1000", "7", "-5"}) {
    if (!set.AddNew().ok()) return;
    (void)set.Fields(0).SetText(id);
    for (std::size_t i = 1; i < set.FieldCount(); ++i) (void)set.Fields(i).SetText("2002-03-04");
    (void)set.Update();
  }
  if (set.MoveFirst().ok() && set.Edit().ok()) {
    (void)set.Fields(1).SetText(std::string(110, 'q'));
    if (set.FieldCount() > 3) (void)set.Fields(3).SetText(std::string(5000, 'n'));
    if (set.Update().ok()) ReadFields(set);
  }
  for (int i = 0; i < 5 && set.MoveLast().ok(); ++i) (void)set.Delete();
  (void)set.Close();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string kNew = MakeFile("");
  static const std::string kOld = MakeFile(";version=97;");
  if (size < 1) return 0;
  const bool old = (data[0] & 1) != 0;
  std::string bytes = old ? kOld : kNew;
  const std::size_t page_bytes = old ? 2048 : 4096;
  const std::size_t pages = bytes.size() / page_bytes;
  for (std::size_t at = 1; at + 4 <= size; at += 4) {
    const std::size_t offset = (data[at + 1] + 256u * data[at + 2]) % page_bytes;
    bytes[(data[at] % pages) * page_bytes + offset] = static_cast<char>(data[at + 3]);
  }
  bytes.resize(bytes.size() -
               std::min<std::size_t>(bytes.size(), (data[0] >> 1u) * std::size_t{1024}));

  tests::MemoryFileSystem disk;
  disk.Put(kPath, bytes);
  DBEngine engine;
  Enter(engine, disk);
  auto database = engine.OpenDatabase(kPath, false, false, "");
  if (!database.ok()) return 0;
  const auto tables = (*database)->TableDefs();
  (void)(*database)->Inspect();
  if (!tables.ok()) return 0;
  for (const TableInfo& table : *tables) {
    auto opened = (*database)->OpenRecordset(table.Name, RecordsetType::kTable);
    if (!opened.ok()) continue;
    Recordset& set = **opened;
    ReadAll(set);
    for (const IndexDef& index : set.Def().Indexes) {
      if (!set.SetIndex(index.Name).ok()) continue;
      ReadAll(set);
      const std::string_view key[] = {"7"};
      (void)set.SeekText(SeekComparison::kGreaterEqual, key);
    }
    (void)set.SetIndex("");
    Write(set);
  }
  (void)(*database)->DeleteTable("T");
  return 0;
}
