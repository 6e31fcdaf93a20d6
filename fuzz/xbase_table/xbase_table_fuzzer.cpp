// A table file and its memo file that nobody should trust: opened, inspected, read to the end and
// from it, then written to. Two bytes (little-endian) say how long the table file is; the rest is
// the memo file, offered under both names that one can have.

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/bytes.h"
#include "database/drivers/register_drivers.h"
#include "fuzz/require.h"
#include "tests/storage/support/memory_files.h"

namespace {

using namespace kelvorin;
using namespace kelvorin::database;
using fuzz::Require;

constexpr int kMaxRecords = 300;

void ReadFields(Recordset& set) {
  std::string text;
  bool null = false;
  for (std::size_t i = 0; i < set.FieldCount(); ++i) (void)set.Fields(i).GetText(text, null);
}

void Write(Recordset& set) {
  const std::int64_t before = set.RecordCount().value_or(0);
  if (set.AddNew().ok()) {
    for (std::size_t i = 0; i < set.FieldCount(); ++i) (void)set.Fields(i).SetText("12");
    const bool stored = set.Update().ok();
    Require(set.RecordCount().value_or(0) == before + (stored ? 1 : 0), "records count");
  }
  if (set.MoveFirst().ok() && set.Edit().ok()) {
    for (std::size_t i = 0; i < set.FieldCount(); ++i) (void)set.Fields(i).SetText("1");
    if (set.Update().ok()) ReadFields(set);
  }
  if (set.MoveLast().ok()) (void)set.Delete();
  (void)set.Close();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string_view all(reinterpret_cast<const char*>(data), size);
  const std::size_t table_bytes =
      std::min<std::size_t>(size - 2, base::LoadLE16(base::AsBytes(all), 0));
  tests::MemoryFileSystem disk;
  disk.Put("/d/T.DBF", all.substr(2, table_bytes));
  for (const char* memo : {"/d/T.DBT", "/d/T.FPT"}) disk.Put(memo, all.substr(2 + table_bytes));

  DBEngine engine;
  RegisterDrivers(engine, disk);
  auto database = engine.OpenDatabase("/d", false, false, "FoxPro 3.0");
  Require(database.ok(), "a folder opens");
  (void)(*database)->Inspect();
  {
    auto opened = (*database)->OpenRecordset("T", RecordsetType::kTable);
    if (!opened.ok()) return 0;
    Recordset& set = **opened;
    int steps = 0;
    for (; !set.Eof() && steps < kMaxRecords; ++steps) {
      ReadFields(set);
      const Status moved = set.MoveNext();
      // A file that is shorter than its header claims says so at its end.
      if (!moved.ok())
        Require(moved.message().find(" are missing") != std::string_view::npos, "why");
      if (!moved.ok()) break;
    }
    (void)set.Move(-3);
    ReadFields(set);
    Write(set);
  }
  (void)(*database)->Inspect();
  return 0;
}
