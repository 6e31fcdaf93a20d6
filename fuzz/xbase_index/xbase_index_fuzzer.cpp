// An index file that nobody should trust, beside a table of 40 records: verified, walked both ways,
// searched, and written to. The first byte says of which format it is.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "database/drivers/register_drivers.h"
#include "fuzz/require.h"
#include "tests/storage/support/memory_files.h"

namespace {

using namespace kelvorin;
using namespace kelvorin::database;
using fuzz::Require;

constexpr int kRecords = 40;
constexpr int kMaxSteps = 200;
constexpr std::array<std::string_view, 4> kFormats = {"NDX", "MDX", "IDX", "CDX"};

Status Add(Recordset& set, int number) {
  KV_TRY(set.AddNew());
  KV_TRY(set.Fields(0).SetText("K" + std::to_string(number * 7 % kRecords)));
  KV_TRY(set.Fields(1).SetText(std::to_string(number * 13 % 100)));
  return set.Update();
}

/// The table without any index, made once.
const std::string& TableFile() {
  static const std::string file = [] {
    tests::MemoryFileSystem disk;
    DBEngine engine;
    RegisterDrivers(engine, disk);
    auto database = engine.OpenDatabase("/d", true, false, "dBASE III");
    TableDef def;
    def.Name = "T";
    def.Fields.resize(2);
    def.Fields[0].Name = "CODE";
    def.Fields[0].Size = 12;
    def.Fields[1].Name = "AMT";
    def.Fields[1].Type = TypeCode::kInteger;
    Require((*database)->CreateTable(def).ok(), "the table is made");
    auto set = (*database)->OpenRecordset("T", RecordsetType::kTable);
    for (int n = 0; n < kRecords; ++n) Require(Add(**set, n).ok(), "its records too");
    Require((*set)->Close().ok(), "and closed");
    return disk.Contents("/d/T.DBF");
  }();
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::string_view all(reinterpret_cast<const char*>(data), size);
  const std::string_view format = kFormats[data[0] % kFormats.size()];
  tests::MemoryFileSystem disk;
  disk.Put("/d/T.DBF", TableFile());
  const std::string index = "T." + std::string(format);
  disk.Put("/d/" + index, all.substr(1));
  disk.Put("/d/T.INF", std::string(format) + "1=" + index + "\r\n");

  DBEngine engine;
  RegisterDrivers(engine, disk);
  auto database = engine.OpenDatabase("/d", false, false, "dBASE III");
  (void)(*database)->Inspect();
  Require(disk.Contents("/d/" + index) == all.substr(1), "looking changes nothing");
  auto opened = (*database)->OpenRecordset("T", RecordsetType::kTable);
  if (!opened.ok()) return 0;
  Recordset& set = **opened;
  const std::vector<IndexDef> indexes = set.Def().Indexes;
  for (const IndexDef& def : indexes) {
    if (!set.SetIndex(def.Name).ok()) continue;
    for (int n = 0; n < kMaxSteps && !set.Eof() && set.MoveNext().ok(); ++n) continue;
    if (!set.MoveLast().ok()) continue;
    for (int n = 0; n < kMaxSteps && !set.Bof() && set.MovePrevious().ok(); ++n) continue;
    const std::string_view key[] = {"1"};
    for (const auto comparison : {SeekComparison::kEqual, SeekComparison::kLess})
      if (def.Columns.size() == 1) (void)set.SeekText(comparison, key);
  }
  (void)set.SetIndex("");
  for (int n = 0; n < 3; ++n) (void)Add(set, n);
  if (set.MoveFirst().ok() && !set.Eof() && set.Edit().ok()) {
    (void)set.Fields(0).SetText("ZZ");
    (void)set.Update();
  }
  (void)set.Close();
  opened->reset();
  (void)(*database)->RebuildIndexes("T");
  return 0;
}
