// Every operation of a scenario fails once, and once the program dies there: afterwards the table
// opens, is sound, and holds what it held at the end of some finished change.

#include "tests/conformance/fault_walk.h"
#include "database/drivers/register_drivers.h"
#include "tests/xbase/xbase_support.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using enum TypeCode;

struct Scenario {
  const char* connect;
  bool memo;
  bool indexed = false;
};
constexpr std::size_t kNameBytes = 100;  // so long that few keys fill a page
constexpr char kStaleFile[] = "/d/T.CDX";

TableDef Definition(const Scenario& scenario) {
  TableDef table = MakeTable("T", {MakeField("ID", kLong), MakeField("NAME", kText, kNameBytes)});
  if (scenario.indexed) {
    for (const char* field : {"NAME", "ID"})
      table.Indexes.push_back(MakeIndex(std::string("BY") + field, std::string("+") + field));
  }
  if (scenario.memo) table.Fields.push_back(MakeField("NOTE", kMemo));
  return table;
}

Row Record(const Scenario& scenario, int id, std::size_t note) {
  Row row = {std::to_string(id), std::string(kNameBytes, static_cast<char>('A' + id * 7 % 26))};
  if (scenario.memo) row.push_back(std::string(note, static_cast<char>('a' + id % 26)));
  return row;
}

/// Everything in the table, or "none" where there is no table. An index that is out of date may
/// stand there `stale` as it was found, and no other one.
std::string Contents(MemoryFileSystem& fs, const char* connect, const std::string& stale = {}) {
  Folder folder("/d", connect, fs, true);
  if (folder->TableDefs()->empty()) return "none";
  const auto problems = folder->Inspect();
  REQUIRE(problems.ok());
  const bool as_found = !stale.empty() && fs.Has(kStaleFile) && fs.Contents(kStaleFile) == stale;
  CHECK_MESSAGE(problems->empty() != as_found, Show(*problems));
  return Show(folder.ReadAll("T"));
}

/// Makes the table, fills and changes it.
Status PlayRecords(const Scenario& scenario, Database& database, Changes& changes) {
  KV_TRY(changes.Done(database.CreateTable(Definition(scenario))));
  changes.Flushed();
  auto set = database.OpenRecordset("T", RecordsetType::kTable);
  if (!set.ok()) return set.status();
  Recordset& records = **set;
  const auto store = [&](int id, std::size_t note) -> Status {
    const Row row = Record(scenario, id, note);
    for (std::size_t i = 0; i < row.size(); ++i) KV_TRY(records.Fields(i).SetText(row[i]));
    return changes.Done(records.Update());
  };
  const auto flush = [&]() -> Status {
    KV_TRY(records.Flush());
    changes.Flushed();
    return Status();
  };
  for (int id = 1; id <= 4; ++id) {
    KV_TRY(records.AddNew());
    KV_TRY(store(id, static_cast<std::size_t>(id) * 300));
    if (id == 2) KV_TRY(flush());
  }
  KV_TRY(flush());
  KV_TRY(records.MoveFirst());
  KV_TRY(records.Edit());  // the note grows and moves
  KV_TRY(store(11, 1500));
  KV_TRY(records.MoveNext());
  KV_TRY(records.Edit());  // the note shrinks and stays
  KV_TRY(store(12, 20));
  KV_TRY(records.MoveNext());
  KV_TRY(changes.Done(records.Delete()));
  KV_TRY(flush());
  KV_TRY(records.AddNew());
  KV_TRY(store(5, 300));
  return records.Close();
}

Row Indexed(const Scenario& scenario, int id) {
  Row row = Record(scenario, id, 0);
  row[1] = std::string(1, static_cast<char>('A' + id % 26)) + "-" + std::to_string(id * 37 % 100) +
           std::string(kNameBytes - 10, 'x');
  return row;
}

/// Splits pages of two trees, moves a key from one end to the other, empties pages, and builds the
/// trees anew.
Status PlayIndexes(const Scenario& scenario, Database& database, Changes& changes) {
  KV_TRY(changes.Done(database.CreateTable(Definition(scenario))));
  changes.Flushed();
  {
    auto set = database.OpenRecordset("T", RecordsetType::kTable);
    if (!set.ok()) return set.status();
    Recordset& records = **set;
    constexpr int kRecords = 14;
    for (int id = 1; id <= kRecords; ++id)
      KV_TRY(changes.Done(Append(records, Indexed(scenario, id))));
    KV_TRY(records.Flush());
    changes.Flushed();
    KV_TRY(records.SetIndex("BYNAME"));
    KV_TRY(changes.Done(Change(records, 1, "ZZZ moved")));
    for (int n = 0; n < 9; ++n) {  // the first leaves run empty
      KV_TRY(records.MoveFirst());
      KV_TRY(changes.Done(Change(records, 1, "ZZ" + std::to_string(n))));
    }
    KV_TRY(changes.Done(records.Delete()));
    KV_TRY(records.Close());
  }
  changes.Flushed();
  return database.RebuildIndexes("T").status();
}

/// Appends records in no order of their keys, so many that groups of them are written on the way
/// because time goes by.
Status PlayBulk(const Scenario& scenario, Database& database, Changes& changes) {
  KV_TRY(changes.Done(database.CreateTable(Definition(scenario))));
  changes.Flushed();
  auto set = database.OpenRecordset("T", RecordsetType::kTable);
  if (!set.ok()) return set.status();
  constexpr int kRecords = 45;  // the store looks at the clock every 16
  for (int id = 1; id <= kRecords; ++id) {
    changes.Pass(400);
    KV_TRY(changes.Done(Append(**set, Indexed(scenario, id))));
  }
  return (*set)->Close();
}

using Play = Status (*)(const Scenario&, Database&, Changes&);
void Walk(const MemoryFileSystem& before, const Scenario& scenario, Play play,
          const std::string& stale = {}) {
  WalkFaults(
      {before, database::RegisterDrivers, "/d", scenario.connect,
       [&](Database& database, Changes& changes) { return play(scenario, database, changes); },
       [&](MemoryFileSystem& disk) { return Contents(disk, scenario.connect, stale); }});
}

}  // namespace

TEST_CASE("a failure while an index out of date is rebuilt leaves it, or the new one") {
  const Scenario scenario = {"FoxPro 2.6", false, true};
  MemoryFileSystem before;
  std::string stale;
  {
    Folder folder("/d", scenario.connect, before);
    folder.Make(Definition(scenario));
    folder.Fill("T", {Indexed(scenario, 1)});
    stale = before.Contents(kStaleFile);
    std::vector<Row> more;
    for (int id = 2; id <= 12; ++id) more.push_back(Indexed(scenario, id));
    folder.Fill("T", more);
  }
  before.Put(kStaleFile, stale);
  const auto append = [](const Scenario& s, Database& database, Changes& changes) -> Status {
    auto set = database.OpenRecordset("T", RecordsetType::kTable);
    if (!set.ok()) return set.status();
    KV_TRY(changes.Done(Append(**set, Indexed(s, 13))));
    KV_TRY((*set)->Flush());
    changes.Flushed();
    return (*set)->Close();
  };
  Walk(before, scenario, append, stale);
}

TEST_CASE("a failure at any step leaves the end of a finished change") {
  const std::pair<Scenario, Play> kScenarios[] = {
      {{"dBASE III", false}, PlayRecords},        {{"dBASE III", true, true}, PlayRecords},
      {{"dBASE IV", true}, PlayRecords},          {{"dBASE IV", false, true}, PlayRecords},
      {{"FoxPro 2.6", true, true}, PlayRecords},  {{"FoxPro 3.0", true}, PlayRecords},
      {{"dBASE III", false, true}, PlayIndexes},  {{"dBASE 5.0", false, true}, PlayIndexes},
      {{"FoxPro 3.0", false, true}, PlayIndexes}, {{"dBASE III", false, true}, PlayBulk},
      {{"FoxPro 2.6", false, true}, PlayBulk}};
  for (const auto& [scenario, play] : kScenarios) {
    CAPTURE(std::string(scenario.connect));
    Walk({}, scenario, play);
  }
}

}  // namespace kelvorin::tests
