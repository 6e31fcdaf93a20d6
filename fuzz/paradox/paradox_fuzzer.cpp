// A Paradox table with all its companions that nobody should trust: opened, inspected, read by
// every index and sought in, then written to. Four lengths of two bytes (little-endian) cut the
// input into table, primary index, blob file and the two files of a secondary index.

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/bytes.h"
#include "database/drivers/register_drivers.h"
#include "fuzz/require.h"
#include "fuzz/use_table.h"
#include "tests/storage/support/memory_files.h"

namespace {

using namespace kelvorin;
using namespace kelvorin::database;
using fuzz::Require;

constexpr const char* kFiles[] = {"/d/T.DB", "/d/T.PX", "/d/T.MB", "/d/T.X02", "/d/T.Y02"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLengths = 4;
  if (size < 2 * kLengths) return 0;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const base::ByteSpan lengths = base::AsBytes(rest);
  rest.remove_prefix(2 * kLengths);
  tests::MemoryFileSystem disk;
  disk.room = std::uint64_t{64} << 20;
  for (std::size_t i = 0; i <= kLengths; ++i) {
    const std::size_t length =
        i == kLengths ? rest.size()
                      : std::min<std::size_t>(rest.size(), base::LoadLE16(lengths, 2 * i));
    if (length > 0) disk.Put(kFiles[i], rest.substr(0, length));
    rest.remove_prefix(length);
  }
  DBEngine engine;
  RegisterDrivers(engine, disk);
  auto database = engine.OpenDatabase("/d", false, false, "Paradox 5.x");
  Require(database.ok(), "a folder opens");
  (void)(*database)->Inspect();
  fuzz::UseTable(**database, "T");
  (void)(*database)->Inspect();
  return 0;
}
