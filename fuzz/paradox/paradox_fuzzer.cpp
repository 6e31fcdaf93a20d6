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
#include "tests/storage/support/memory_files.h"

namespace {

using namespace kelvorin;
using namespace kelvorin::database;
using fuzz::Require;

constexpr int kMaxRecords = 300;
constexpr const char* kFiles[] = {"/d/T.DB", "/d/T.PX", "/d/T.MB", "/d/T.X02", "/d/T.Y02"};

void ReadFields(Recordset& set) {
  std::string text;
  bool null = false;
  for (std::size_t i = 0; i < set.FieldCount(); ++i) (void)set.Fields(i).GetText(text, null);
}

void Read(Recordset& set) {
  for (int steps = 0; !set.Eof() && steps < kMaxRecords; ++steps) {
    ReadFields(set);
    if (!set.MoveNext().ok()) return;
  }
  if (!set.MoveLast().ok()) return;
  Bookmark last;
  (void)set.GetBookmark(last);
  for (int steps = 0; !set.Bof() && steps < kMaxRecords; ++steps)
    if (!set.MovePrevious().ok()) break;
  (void)set.SetBookmark(last);
}

void Write(Recordset& set) {
  for (const char* text : {"12", "7", "12", "zebra"}) {
    if (!set.AddNew().ok()) return;
    for (std::size_t i = 0; i < set.FieldCount(); ++i) (void)set.Fields(i).SetText(text);
    (void)set.Update();
  }
  for (int i = 0; i < 3; ++i) {
    if (set.MoveFirst().ok() && set.Edit().ok()) {
      for (std::size_t j = 0; j < set.FieldCount(); ++j)
        (void)set.Fields(j).SetText(std::to_string(i));
      (void)set.Update();
    }
    if (set.MoveLast().ok()) (void)set.Delete();
    (void)set.MoveNext();
  }
  (void)set.Close();
}

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
  {
    auto opened = (*database)->OpenRecordset("T", RecordsetType::kTable);
    if (!opened.ok()) return 0;
    Recordset& set = **opened;
    Read(set);
    for (std::size_t i = 0; i < set.Def().Indexes.size(); ++i) {
      if (!set.SetIndex(set.Def().Indexes[i].Name).ok()) continue;
      Read(set);
      const std::string_view keys[] = {"7"};
      (void)set.SeekText(SeekComparison::kEqual, keys);
      (void)set.SeekText(SeekComparison::kLessEqual, keys);
      ReadFields(set);
    }
    (void)set.SetIndex("");
    Write(set);
  }
  (void)(*database)->Inspect();
  return 0;
}
