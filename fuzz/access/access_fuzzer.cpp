// Access files that nobody should trust: a sound one made by our own writer, with some of its bytes
// changed, opened, listed, inspected, read in every order, then written to.
//
// The first byte chooses the version and how many kilobytes are cut off; then every four bytes are
// a change: page, offset in the page (little-endian), new byte.

#include "base/bytes.h"
#include "database/access/access_driver.h"
#include "fuzz/require.h"
#include "fuzz/use_table.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/definitions.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

using namespace kelvorin;
using namespace kelvorin::database;
using fuzz::Require;
using tests::MakeField;

constexpr const char* kPath = "/d/fuzz.mdb";

void Enter(DBEngine& engine, storage::FileSystem& disk) {
  engine.Register(access::MakeAccessDriver(disk, std::make_shared<storage::OpenFiles>()));
}

/// A table with every kind of page: several leaves below a node, moved rows, chained memos.
std::string MakeFile(const char* connect) {
  tests::MemoryFileSystem disk;
  DBEngine engine;
  Enter(engine, disk);
  Require(engine.CreateDatabase(kPath, connect).ok(), "the file is made");
  {
    auto opened = engine.OpenDatabase(kPath, false, false, "");
    Require(opened.ok(), "the file is made");
    TableDef def;
    def.Name = "T";
    def.Fields = {MakeField("Id", TypeCode::kLong), MakeField("Name", TypeCode::kText, 120),
                  MakeField("When", TypeCode::kDate), MakeField("Memo", TypeCode::kMemo),
                  MakeField("Ole", TypeCode::kLongBinary)};
    def.Indexes = {tests::MakeIndex("PrimaryKey", "+Id", true, true),
                   tests::MakeIndex("Names", "-Name;+Id")};
    Require((*opened)->CreateTable(def).ok(), "the file is made");
    auto set = (*opened)->OpenRecordset("T", RecordsetType::kTable);
    Require(set.ok(), "the file is made");
    for (int i = 0; i < 60; ++i) {
      Require((*set)->AddNew().ok(), "the file is made");
      Require((*set)->Fields(0).SetText(std::to_string(i)).ok(), "the file is made");
      Require((*set)->Fields(1).SetText(std::string(60, static_cast<char>('a' + i % 26))).ok(),
              "the file is made");
      Require((*set)->Fields(2).SetText("2001-02-03 04:05:06").ok(), "the file is made");
      Require((*set)->Fields(3).SetText(std::string(i % 20 == 0 ? 9000 : 90, 'm')).ok(),
              "the file is made");
      Require((*set)->Update().ok(), "the file is made");
    }
    Require((*set)->MoveFirst().ok() && (*set)->Edit().ok(), "the file is made");
    Require((*set)->Fields(1).SetText(std::string(120, 'z')).ok(), "the file is made");
    Require((*set)->Update().ok() && (*set)->Close().ok(), "the file is made");
    Require((*opened)->Close().ok(), "the file is made");
  }
  return disk.Contents(kPath);
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
  for (const TableInfo& table : *tables) fuzz::UseTable(**database, table.Name);
  (void)(*database)->DeleteTable("T");
  return 0;
}
