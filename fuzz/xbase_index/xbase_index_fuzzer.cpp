// An index file that nobody should trust, beside a table of 40 records: verified, walked both ways,
// searched, and written to. The first byte says of which format it is.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "database/drivers/register_drivers.h"
#include "fuzz/require.h"
#include "fuzz/use_table.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/definitions.h"

namespace {

using namespace kelvorin;
using namespace kelvorin::database;
using fuzz::Require;

constexpr int kRecords = 40;
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
    def.Fields = {tests::MakeField("CODE", TypeCode::kText, 12),
                  tests::MakeField("AMT", TypeCode::kInteger)};
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
  fuzz::UseTable(**database, "T");
  (void)(*database)->RebuildIndexes("T");
  return 0;
}
