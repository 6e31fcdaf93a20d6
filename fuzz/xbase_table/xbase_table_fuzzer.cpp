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
#include "fuzz/use_table.h"
#include "tests/storage/support/memory_files.h"

using namespace kelvorin;
using namespace kelvorin::database;
using fuzz::Require;

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
  fuzz::UseTable(**database, "T");
  (void)(*database)->Inspect();
  return 0;
}
