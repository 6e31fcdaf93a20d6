// Every operation of a scenario fails once, and once the program dies there: afterwards the table
// opens, is sound, and holds what it held at the end of some finished change.

#include "database/drivers/register_drivers.h"
#include "tests/storage/support/fault_files.h"
#include "tests/storage/support/memory_files.h"
#include "tests/xbase/xbase_support.h"

#include <doctest/doctest.h>

#include <algorithm>

namespace kelvorin::tests {
namespace {

using enum TypeCode;

enum class Play : std::uint8_t { kRecords, kIndexes, kBulk };
struct Scenario {
  const char* connect;
  bool memo;
  bool indexed = false;
  Play play = Play::kRecords;
};
const Scenario kScenarios[] = {{"dBASE III", false},
                               {"dBASE III", true, true},
                               {"dBASE IV", true},
                               {"dBASE IV", false, true},
                               {"FoxPro 2.6", true, true},
                               {"FoxPro 3.0", true},
                               {"dBASE III", false, true, Play::kIndexes},
                               {"dBASE 5.0", false, true, Play::kIndexes},
                               {"FoxPro 3.0", false, true, Play::kIndexes},
                               {"dBASE III", false, true, Play::kBulk},
                               {"FoxPro 2.6", false, true, Play::kBulk}};

constexpr std::size_t kNameBytes = 100;  // so long that few keys fill a page
constexpr char kStaleFile[] = "/d/T.CDX";

TableDef Definition(const Scenario& scenario) {
  TableDef table = MakeTable("T", {MakeField("ID", kLong), MakeField("NAME", kText, kNameBytes)});
  if (scenario.indexed) {
    for (const char* field : {"NAME", "ID"}) {
      database::IndexDef& index = table.Indexes.emplace_back();
      index.Name = std::string("BY") + field;
      index.Columns = {{field, false}};
    }
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

/// How far a run came, in finished changes.
struct Progress {
  int done = 0;
  int flushed = 0;  // of these, on the disk for good
  int stop_after = 0;
  std::int64_t* clock = nullptr;
};
struct Stopped {};

/// Makes the table, fills and changes it.
Status PlayRecords(storage::FileSystem& fs, const Scenario& scenario, Progress& progress) {
  const auto after = [&] {
    if (++progress.done == progress.stop_after) throw Stopped{};
  };
  DBEngine engine;
  database::RegisterDrivers(engine, fs);
  auto opened = engine.OpenDatabase("/d", true, false, scenario.connect);
  if (!opened.ok()) return opened.status();
  Database& database = **opened;
  KV_TRY(database.CreateTable(Definition(scenario)));
  after();
  progress.flushed = progress.done;
  auto set = database.OpenRecordset("T", RecordsetType::kTable);
  if (!set.ok()) return set.status();
  Recordset& records = **set;
  const auto store = [&](const Row& row) -> Status {
    for (std::size_t i = 0; i < row.size(); ++i) KV_TRY(records.Fields(i).SetText(row[i]));
    KV_TRY(records.Update());
    after();
    return Status();
  };
  const auto flush = [&]() -> Status {
    KV_TRY(records.Flush());
    progress.flushed = progress.done;
    return Status();
  };
  for (int id = 1; id <= 4; ++id) {
    KV_TRY(records.AddNew());
    KV_TRY(store(Record(scenario, id, static_cast<std::size_t>(id) * 300)));
    if (id == 2) KV_TRY(flush());
  }
  KV_TRY(flush());
  KV_TRY(records.MoveFirst());
  KV_TRY(records.Edit());  // the note grows and moves
  KV_TRY(store(Record(scenario, 11, 1500)));
  KV_TRY(records.MoveNext());
  KV_TRY(records.Edit());  // the note shrinks and stays
  KV_TRY(store(Record(scenario, 12, 20)));
  KV_TRY(records.MoveNext());
  KV_TRY(records.Delete());
  after();
  KV_TRY(flush());
  KV_TRY(records.AddNew());
  KV_TRY(store(Record(scenario, 5, 300)));
  KV_TRY(records.Close());
  return database.Close();
}

Row Indexed(const Scenario& scenario, int id) {
  Row row = Record(scenario, id, 0);
  row[1] = std::string(1, static_cast<char>('A' + id % 26)) + "-" + std::to_string(id * 37 % 100) +
           std::string(kNameBytes - 10, 'x');
  return row;
}

/// Splits pages of two trees, moves a key from one end to the other, empties pages, and builds the
/// trees anew.
Status PlayIndexes(storage::FileSystem& fs, const Scenario& scenario, Progress& progress) {
  const auto after = [&](const Status& status) {
    if (status.ok() && ++progress.done == progress.stop_after) throw Stopped{};
    return status;
  };
  DBEngine engine;
  database::RegisterDrivers(engine, fs);
  auto opened = engine.OpenDatabase("/d", true, false, scenario.connect);
  if (!opened.ok()) return opened.status();
  Database& database = **opened;
  KV_TRY(after(database.CreateTable(Definition(scenario))));
  progress.flushed = progress.done;
  {
    auto set = database.OpenRecordset("T", RecordsetType::kTable);
    if (!set.ok()) return set.status();
    Recordset& records = **set;
    constexpr int kRecords = 14;
    for (int id = 1; id <= kRecords; ++id) KV_TRY(after(Append(records, Indexed(scenario, id))));
    KV_TRY(records.Flush());
    progress.flushed = progress.done;
    KV_TRY(records.SetIndex("BYNAME"));
    KV_TRY(records.Edit());
    KV_TRY(records.Fields(1).SetText("ZZZ moved"));
    KV_TRY(after(records.Update()));
    for (int n = 0; n < 9; ++n) {  // the first leaves run empty
      KV_TRY(records.MoveFirst());
      KV_TRY(records.Edit());
      KV_TRY(records.Fields(1).SetText("ZZ" + std::to_string(n)));
      KV_TRY(after(records.Update()));
    }
    KV_TRY(after(records.Delete()));
    KV_TRY(records.Close());
  }
  progress.flushed = progress.done;
  const Result<std::int64_t> built = database.RebuildIndexes("T");
  if (!built.ok()) return built.status();
  return database.Close();
}

/// Appends records in no order of their keys, so many that groups of them are written on the way
/// because time goes by.
Status PlayBulk(storage::FileSystem& fs, const Scenario& scenario, Progress& progress) {
  DBEngine engine;
  database::RegisterDrivers(engine, fs);
  auto opened = engine.OpenDatabase("/d", true, false, scenario.connect);
  if (!opened.ok()) return opened.status();
  KV_TRY((*opened)->CreateTable(Definition(scenario)));
  if (++progress.done == progress.stop_after) throw Stopped{};
  progress.flushed = progress.done;
  auto set = (*opened)->OpenRecordset("T", RecordsetType::kTable);
  if (!set.ok()) return set.status();
  constexpr int kRecords = 45;  // the store looks at the clock every 16
  for (int id = 1; id <= kRecords; ++id) {
    *progress.clock += 400;
    KV_TRY(Append(**set, Indexed(scenario, id)));
    if (++progress.done == progress.stop_after) throw Stopped{};
  }
  KV_TRY((*set)->Close());
  return (*opened)->Close();
}

Status PlayScenario(storage::FileSystem& fs, const Scenario& scenario, Progress& progress) {
  if (scenario.play == Play::kBulk) return PlayBulk(fs, scenario, progress);
  return scenario.play == Play::kIndexes ? PlayIndexes(fs, scenario, progress)
                                         : PlayRecords(fs, scenario, progress);
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
  const std::string old = Contents(before, scenario.connect, stale);
  for (const FaultKind& kind : kFaultKinds) {
    CAPTURE(std::string(kind.name));
    for (int n = 1;; ++n) {
      CAPTURE(n);
      MemoryFileSystem disk;
      for (const std::string& name : before.List("/d"))
        disk.Put("/d/" + name, before.Contents("/d/" + name));
      FaultFileSystem faults(disk, kind.fault, n);
      const auto play = [&]() -> Status {
        DBEngine engine;
        database::RegisterDrivers(engine, faults);
        auto opened = engine.OpenDatabase("/d", true, false, scenario.connect);
        if (!opened.ok()) return opened.status();
        auto set = (*opened)->OpenRecordset("T", RecordsetType::kTable);
        if (!set.ok()) return set.status();
        KV_TRY(Append(**set, Indexed(scenario, 13)));
        KV_TRY((*set)->Flush());
        return (*set)->Close();
      };
      const Status played = play();
      if (kind.fault == Fault::kDie && faults.fired())
        disk.Crash(kind.tail, static_cast<std::uint32_t>(n));
      const std::string found = Contents(disk, scenario.connect, stale);
      const std::string added = old + Show(Indexed(scenario, 13));
      CHECK((found == old || found.starts_with(added)));
      if (played.ok()) CHECK(found.starts_with(added));
      if (!faults.fired()) {
        CHECK(played.ok());
        break;
      }
    }
  }
}

TEST_CASE("a failure at any step leaves the end of a finished change") {
  for (const Scenario& scenario : kScenarios) {
    CAPTURE(std::string(scenario.connect));
    std::vector<std::string> states = {"none"};
    MemoryFileSystem whole;
    Progress all{.clock = &whole.clock};
    REQUIRE(PlayScenario(whole, scenario, all).ok());
    for (int stop = 1; stop <= all.done; ++stop) {
      MemoryFileSystem part;
      Progress progress{.stop_after = stop, .clock = &part.clock};
      try {
        (void)PlayScenario(part, scenario, progress);
      } catch (const Stopped&) {
      }
      states.push_back(Contents(part, scenario.connect));
    }
    for (const FaultKind& kind : kFaultKinds) {
      CAPTURE(std::string(kind.name));
      for (int n = 1;; ++n) {
        CAPTURE(n);
        MemoryFileSystem disk;
        FaultFileSystem faults(disk, kind.fault, n);
        Progress progress{.clock = &disk.clock};
        const Status played = PlayScenario(faults, scenario, progress);
        if (!faults.fired()) {
          CHECK(played.ok());
          break;
        }
        if (kind.fault == Fault::kDie) disk.Crash(kind.tail, static_cast<std::uint32_t>(n));
        const std::string found = Contents(disk, scenario.connect);
        const auto state = std::find(states.begin(), states.end(), found);
        REQUIRE_MESSAGE(state != states.end(), found);
        CHECK(state - states.begin() >= progress.flushed);
      }
    }
  }
}

}  // namespace kelvorin::tests
