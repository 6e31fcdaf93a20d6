// Indexes of all formats: random work against a model, tables of other programs, and
// files that nobody should trust.

#include "base/M_STRING.h"
#include "database/drivers/register_drivers.h"
#include "database/xbase/index_build.h"
#include "database/xbase/new_index.h"
#include "database/xbase/new_table.h"
#include "database/xbase/table.h"
#include "tests/conformance/random_walk.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/places.h"
#include "tests/support/temp_folder.h"
#include "tests/xbase/xbase_support.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>

namespace kelvorin::tests {
namespace {

using namespace database::xbase;
using database::IndexDef;
using database::SeekComparison;
using enum TypeCode;

void Must(const Status& status) {
  REQUIRE_MESSAGE(status.ok(), std::string(status.message()));
}

// --- Random work

struct Kind {
  const char* name;
  const char* connect;
  bool descending;  // such indexes can be made
  /// Each index in a file of its own, which the driver keeps and its databases do not make.
  std::optional<IndexKind> single = {};
};
const Kind kKinds[] = {{"dBASE III", "dBASE III", false},
                       {"dBASE IV", "dBASE IV", true},
                       {"FoxPro 2.6", "FoxPro 2.6", true},
                       {"FoxPro 3.0", "FoxPro 3.0", true},
                       {"IDX", "FoxPro 2.6", false, IndexKind::kIdx},
                       {"compact IDX", "FoxPro 2.6", true, IndexKind::kCompactIdx}};

void MakeIdxFiles(storage::FileSystem& fs, const std::string& folder, IndexKind kind,
                  const TableDef& def) {
  OpenTables tables(fs, std::make_shared<storage::OpenFiles>());
  const auto table = tables.Open(folder + "/T.DBF", false, false);
  std::string inf;
  for (const IndexDef& index : def.Indexes) {
    std::vector<std::size_t> columns;
    for (const database::IndexField& field : index.Columns)
      columns.push_back(static_cast<std::size_t>(def.FindField(field.Name)));
    const NewTag tag = PlanTag(index, columns, kind, table->layout());
    const std::string file = index.Name + ".IDX";
    BuildIndexFile(fs, *table, {kind, folder + "/" + file}, kind, {tag.definition}, false);
    inf = AddInfLine(inf, "FoxPro 2.6", "IDX", file, false);
  }
  fs.Open(folder + "/T.INF", os::OpenMode::kCreateNew)->Write(0, base::AsBytes(inf));
}

/// A table T without records, with all its indexes.
void MakeIndexed(const Kind& kind, storage::FileSystem& fs, const std::string& folder) {
  TableDef def = MakeTable("T", {MakeField("CODE", kText, 30), MakeField("AMT", kNumeric, 9, 2),
                                 MakeField("D", kDate), MakeField("ID", kLong)});
  const std::string way = kind.descending ? "-" : "+";
  def.Indexes = {MakeIndex("BYCODE", "+CODE"), MakeIndex("BYAMT", way + "AMT"),
                 MakeIndex("BYDATE", way + "D"), MakeIndex("BYBOTH", "+CODE;+ID"),
                 MakeIndex("BYID", "+ID", true)};
  TableDef bare = def;
  if (kind.single) bare.Indexes.clear();
  Folder(folder, kind.connect, fs).Make(bare);
  if (kind.single) MakeIdxFiles(fs, folder, *kind.single, def);
}

Row RecordOf(std::minstd_rand& random, int id) {
  const auto below = [&](unsigned end) { return static_cast<unsigned>(random() % end); };
  const std::string code = "K" + std::to_string(below(60)) + std::string(below(3) * 9, 'x') +
                           std::to_string(below(1000));
  const int amount = static_cast<int>(below(4000)) - 2000;
  char date[16];
  std::snprintf(date, sizeof date, "20%02u-%02u-%02u", below(3), 1 + below(12), 1 + below(28));
  return {code, std::to_string(amount) + (amount % 3 == 0 ? ".5" : ".25"), date,
          std::to_string(id)};
}

std::vector<Row> Records(int first, int last) {
  std::minstd_rand random(static_cast<unsigned>(first));
  std::vector<Row> rows;
  for (int id = first; id <= last; ++id) rows.push_back(RecordOf(random, id));
  return rows;
}

int StepsToTake() {
  const char* asked = std::getenv("KELVORIN_INDEX_STEPS");
  return asked != nullptr ? std::atoi(asked) : 1000;
}

/// Verdict of the independent checker on the indexes of a folder's table, or nothing when it is not
/// there.
std::string ForeignVerdict(const std::string& folder, const std::string& table = "T") {
  const std::string checker = SamplesRoot() + "/../tools/xbcheck.py";
  if (SamplesRoot().empty() || !std::filesystem::exists(checker)) return {};
  std::string dbf, files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string extension = base::UpperAscii(entry.path().extension().string());
    const std::string quoted = " '" + entry.path().string() + "'";
    if (extension == ".DBF" && entry.path().stem() == table) dbf = quoted;
    if (extension == ".NDX" || extension == ".MDX" || extension == ".IDX" || extension == ".CDX")
      files += quoted;
  }
  const std::string out = folder + "/verdict";
  const std::string command =
      "python3 '" + checker + "' index" + dbf + files + " >'" + out + "' 2>&1";
  const bool sound = std::system(command.c_str()) == 0;
  std::ifstream text(out);
  return sound ? std::string() : std::string(std::istreambuf_iterator<char>(text), {});
}

/// The same of files on a disk in memory.
std::string ForeignVerdict(MemoryFileSystem& disk, const std::string& table) {
  if (SamplesRoot().empty()) return {};
  const TempFolder temp;
  for (const std::string& name : disk.List("/d"))
    std::ofstream(temp.File(name), std::ios::binary) << disk.Contents("/d/" + name);
  return ForeignVerdict(temp.path(), table);
}

/// Levels of the deepest index of table T.
std::size_t DeepestTree(const std::string& folder) {
  std::size_t deepest = 0;
  OpenTables tables(storage::RealFileSystem(), std::make_shared<storage::OpenFiles>());
  const auto table = tables.Open(folder + "/T.DBF", false, false);
  for (const auto& tag : table->indexes().tags()) {
    IndexPages& pages = tag->tree().pages();
    IndexNode node;
    std::size_t levels = 1;
    for (pages.Read(pages.Root(), node); !node.leaf; ++levels) {
      const std::uint32_t below = node.children.front();
      pages.Read(below, node);
    }
    deepest = std::max(deepest, levels);
  }
  return deepest;
}

}  // namespace

TEST_CASE("random work keeps every index right") {
  const int steps = StepsToTake();
  for (const Kind& kind : kKinds) {
    const char* only = std::getenv("KELVORIN_INDEX_KIND");
    if (only != nullptr && only != std::string(kind.name)) continue;
    CAPTURE(std::string(kind.name));
    const TempFolder temp;
    MakeIndexed(kind, storage::RealFileSystem(), temp.path());
    Folder folder(temp.path(), kind.connect);
    std::size_t deepest = 0;
    const std::string connect = kind.connect;
    const bool down = kind.descending;
    RandomWalk({.open = [&] { return folder.Open("T"); },
                .record = RecordOf,
                .look =
                    [&] {
                      CheckSound(*folder);
                      CHECK(ForeignVerdict(temp.path()) == "");
                      deepest = std::max(deepest, DeepestTree(temp.path()));
                    },
                .key_field = 3,
                .indexes = {{"BYCODE", {{0}}, true},
                            {"BYAMT", {{1, true, down}}},
                            {"BYDATE", {{2, false, down}}},
                            {"BYBOTH", {{0}, {3, true}}},
                            {"BYID", {{3, true}}, true}},
                .key_index = "BYID",
                .refuses_twins = connect == "dBASE III" || connect == "FoxPro 3.0"})
        .Play(steps);
    CHECK(deepest >= 3);
  }
}

namespace {

/// Copies a sample table's files to a disk in memory; false when there are no samples.
bool LoadSample(const std::string& name, MemoryFileSystem& disk) {
  const std::string folder = SampleFolder("xbase");
  if (folder.empty()) return false;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string file = entry.path().filename().string();
    if (file.rfind(name, 0) != 0) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    disk.Put("/d/" + file, std::string(std::istreambuf_iterator<char>(in), {}));
  }
  return true;
}

int CountInOrder(Recordset& set, const std::string& index) {
  REQUIRE(set.SetIndex(index).ok());
  int count = 0;
  for (; !set.Eof(); ++count) REQUIRE(set.MoveNext().ok());
  return count;
}

}  // namespace

TEST_CASE("tables of other programs keep their indexes right under our changes") {
  for (const std::string name :
       {"db3", "db4", "mdxnum", "fox25", "vfp30", "vfpgen", "calls", "stale_index"}) {
    CAPTURE(name);
    MemoryFileSystem disk;
    if (!LoadSample(name, disk)) {
      MESSAGE("skipped: no samples");
      return;
    }
    Folder folder("/d", "FoxPro 2.6", disk);
    const auto sound = [&](const char* when) {
      CAPTURE(std::string(when));
      CheckSound(*folder, name);
      CHECK(ForeignVerdict(disk, name) == "");
    };
    auto set = folder.Open(name);
    REQUIRE_MESSAGE(set->Updatable(), set->Def().WhyReadOnly);
    const auto live = static_cast<int>(set->RecordCount().value_or(-1));
    for (const IndexDef& index : set->Def().Indexes) {
      CAPTURE(index.Name);
      const int count = CountInOrder(*set, index.Name);
      CHECK(count > 0);
      CHECK(count <= live);
      if (index.Columns.size() != 1) continue;
      // Every tenth record is found by its own key.
      REQUIRE(set->SetIndex("").ok());
      const int field = set->Def().FindField(index.Columns[0].Name);
      for (int at = 0; !set->Eof() && at < live; ++at, Must(set->Move(10))) {
        values::Value value;
        REQUIRE(set->Fields(static_cast<std::size_t>(field)).GetValue(value).ok());
        const std::string text(value.text);
        if (value.kind == values::Kind::kText) value.text = text;
        database::Bookmark here;
        REQUIRE(set->GetBookmark(here).ok());
        REQUIRE(set->SetIndex(index.Name).ok());
        REQUIRE(set->Seek(SeekComparison::kEqual, std::span<const values::Value>(&value, 1)).ok());
        const bool filtered = name == "vfp30" || name == "vfpgen" || name == "stale_index";
        if (!filtered) CHECK_FALSE(set->NoMatch());
        REQUIRE(set->SetIndex("").ok());
        REQUIRE(set->SetBookmark(here).ok());
      }
    }
    // Each third record is edited, each fifth deleted, some are added.
    REQUIRE(set->SetIndex("").ok());
    std::vector<std::string> first(set->FieldCount());
    bool null = false;
    for (std::size_t i = 0; i < first.size(); ++i) (void)set->Fields(i).GetText(first[i], null);
    for (int at = 0; !set->Eof(); ++at, Must(set->MoveNext())) {
      if (at % 3 == 1) {
        REQUIRE(set->Edit().ok());
        for (std::size_t i = 1; i < std::min<std::size_t>(first.size(), 3); ++i)
          (void)set->Fields(i).SetText(first[i]);
        const Status updated = set->Update();
        CHECK_MESSAGE((updated.ok() || updated.code() == Code::kDuplicateKey), updated.message());
      } else if (at % 5 == 0) {
        REQUIRE(set->Delete().ok());
      }
    }
    sound("changed");
    for (int n = 0; n < 40; ++n) {
      REQUIRE(set->AddNew().ok());
      for (std::size_t i = 0; i < std::min<std::size_t>(first.size(), 3); ++i)
        (void)set->Fields(i).SetText(i == 0 ? std::to_string(900000 - n) : first[i]);
      const Status added = set->Update();
      CHECK_MESSAGE((added.ok() || added.code() == Code::kDuplicateKey), added.message());
    }
    sound("appended");
    for (Must(set->MoveFirst()); !set->Eof(); Must(set->MoveNext())) REQUIRE(set->Delete().ok());
    sound("emptied");
    CHECK(set->Close().ok());
    CHECK(folder->RebuildIndexes(name).ok());
    sound("rebuilt");
  }
}

TEST_CASE("an index that is out of date is rebuilt before it matters, and not before") {
  for (const Kind& kind : kKinds) {
    CAPTURE(std::string(kind.name));
    MemoryFileSystem disk;
    std::map<std::string, std::string> old;
    std::string old_table;
    {
      MakeIndexed(kind, disk, "/d");
      Folder folder("/d", kind.connect, disk);
      folder.Fill("T", Records(1, 60));
      for (const std::string& name : disk.List("/d"))
        if (name.find("DX") != std::string::npos) old[name] = disk.Contents("/d/" + name);
      old_table = disk.Contents("/d/T.DBF");
      folder.Fill("T", Records(61, 120));
    }
    {
      // A table put back: its indexes know records that the next ones would be taken for.
      MemoryFileSystem put_back;
      put_back.Take(disk);
      put_back.Put("/d/T.DBF", old_table);
      Folder folder("/d", kind.connect, put_back);
      folder.Fill("T", {{"fresh", "1.5", "2001-01-01", "900"}});
      const auto rebuilt = [&] {
        const auto told = folder.engine().TakeNotices();
        return std::any_of(told.begin(), told.end(), [](const std::string& notice) {
          return notice.find("were rebuilt") != std::string::npos;
        });
      };
      CHECK(rebuilt());
      CheckSound(*folder);
      // Where keys ascend with the records, the last page alone knows those behind the end.
      TableDef def = MakeTable("ORDERED", {MakeField("ID", kLong)});
      def.Indexes = {MakeIndex("BYID", "+ID")};
      folder.Make(def);
      std::vector<Row> rows;
      for (int id = 1000; id < 1200; ++id) rows.push_back({std::to_string(id)});
      folder.Fill("ORDERED", rows);
      old_table = put_back.Contents("/d/ORDERED.DBF");
      for (Row& row : rows) row[0] = "2" + row[0];
      folder.Fill("ORDERED", rows);
      put_back.Put("/d/ORDERED.DBF", old_table);
      CHECK_FALSE(rebuilt());
      folder.Fill("ORDERED", {{"1"}});
      CHECK(rebuilt());
    }
    for (const bool look_up : {false, true}) {
      for (const auto& [name, contents] : old) disk.Put("/d/" + name, contents);
      Folder folder("/d", kind.connect, disk);
      auto set = folder.Open("T");
      (void)folder.engine().TakeNotices();
      Recordset& records = *set;
      // Reading, trying and giving up leave every byte.
      REQUIRE(records.AddNew().ok());
      REQUIRE(records.CancelUpdate().ok());
      records.SetTrial();
      REQUIRE(records.SetIndex("BYCODE").ok());
      for (const auto& [name, contents] : old) CHECK(disk.Contents("/d/" + name) == contents);
      CHECK(folder.engine().TakeNotices().at(0).find("lacks records") != std::string::npos);
      REQUIRE(set->Close().ok());
      set = folder.Open("T");
      (void)folder.engine().TakeNotices();
      const std::string_view last[] = {"100"};
      if (look_up) {
        REQUIRE(set->SetIndex("BYID").ok());
        REQUIRE(set->SeekText(SeekComparison::kEqual, last).ok());
        CHECK_FALSE(set->NoMatch());
      }
      const Row row = {"fresh", "1.5", "2001-01-01", look_up ? "901" : "900"};
      for (int twice = 0; twice < 2; ++twice) {
        const Status added = Append(*set, row);
        if (twice == 0) CHECK_MESSAGE(added.ok(), added.message());
      }
      const auto told = folder.engine().TakeNotices();
      REQUIRE(told.size() == 1);
      CHECK(told[0].find("were rebuilt") != std::string::npos);
      CHECK(CountInOrder(*set, "BYCODE") == set->RecordCount().value_or(-1));
      REQUIRE(set->Close().ok());
      CheckSound(*folder);
    }
  }
}

TEST_CASE("a record without a date has its product's place, and a deleted one gives its key up") {
  for (const char* connect : {"dBASE III", "dBASE IV", "FoxPro 2.6"}) {
    CAPTURE(std::string(connect));
    const TempFolder temp;
    TableDef def = MakeTable("T", {MakeField("NAME", kText, 4), MakeField("D", kDate)});
    def.Indexes = {MakeIndex("BYNAME", "+NAME", true), MakeIndex("BYD", "+D")};
    Folder folder(temp.path(), connect);
    folder.Make(def);
    folder.Fill("T", {{"a", "2004-02-29"}, {"b", "<null>"}, {"c", "1999-12-31"}});
    auto set = folder.Open("T");
    const auto walk = [&](const char* index) {
      Must(set->SetIndex(index));
      std::string names, text;
      bool null = false;
      for (; !set->Eof(); Must(set->MoveNext())) {
        Must(set->Fields(0).GetText(text, null));
        names += text;
      }
      return names;
    };
    CHECK(walk("BYD") == (connect[0] == 'F' ? "bca" : "cab"));
    Must(set->MoveFirst());
    Must(set->Delete());
    for (const char* name : {"a", "d", "b", "c"}) {
      const Status added = Append(*set, {name, "2001-01-01"});
      CHECK_MESSAGE((added.ok() || added.code() == Code::kDuplicateKey), added.message());
    }
    CHECK(walk("BYNAME") == "abcd");
    CheckSound(*folder);
  }
}

TEST_CASE("pages of an index that run empty are used again, and its tree becomes lower") {
  // Keys go by becoming those of another record or, in a candidate tag, by deleting.
  for (const char* connect : {"dBASE IV", "FoxPro 2.6", "FoxPro 3.0"}) {
    CAPTURE(std::string(connect));
    const bool candidate = connect == std::string("FoxPro 3.0");
    const TempFolder temp;
    const std::string file = temp.File(connect == std::string("dBASE IV") ? "T.MDX" : "T.CDX");
    TableDef def = MakeTable("T", {MakeField("NAME", kText, 100)});
    def.Indexes = {MakeIndex("BYNAME", "+NAME", true)};
    const auto name = [](int n) { return std::to_string(100 + n) + std::string(80, 'x') + "-"; };
    Folder folder(temp.path(), connect);
    folder.Make(def);
    const auto fill = [&](int first) {
      std::vector<Row> rows;
      for (int n = first; n < 60; ++n) rows.push_back({name(n)});
      folder.Fill("T", rows);
    };
    fill(0);
    CHECK(DeepestTree(temp.path()) >= 2);
    const auto full_bytes = std::filesystem::file_size(file);
    auto set = folder.Open("T");
    for (const int from : {20, 1}) {  // first where pages have a neighbour on their left
      Must(set->MoveFirst());
      for (Must(set->Move(from)); !set->Eof(); Must(set->MoveNext())) {
        if (candidate) {
          Must(set->Delete());
          continue;
        }
        Must(set->Edit());
        Must(set->Fields(0).SetText(name(0)));
        Must(set->Update());
      }
      Must(set->Flush());
      CheckSound(*folder);
    }
    Must(set->Close());
    CHECK(DeepestTree(temp.path()) == 1);
    CheckSound(*folder);
    if (const std::string bytes = ReadWhole(file); file.ends_with("CDX"))
      CHECK((bytes[base::LoadLE32(base::AsBytes(bytes), 0)] & 1) == 1);  // it is the root
    fill(1);
    CHECK(std::filesystem::file_size(file) <= full_bytes);
    CheckSound(*folder);
    // Of an entry there is one, however often it is entered.
    const auto files = std::make_shared<storage::OpenFiles>();
    OpenTables tables(storage::RealFileSystem(), files);
    {
      const auto table = tables.Open(temp.File("T.DBF"), true, false);
      const auto store = files->Open(storage::RealFileSystem(), temp.File("T.DBF"), {});
      IndexTree& tree = table->indexes().tags().at(0)->tree();
      IndexTree::Place place;
      REQUIRE(tree.First(place));
      const std::vector<std::byte> entry(place.entry().begin(), place.entry().end());
      storage::Bracket bracket = store->Begin();
      tree.Insert(entry);
      // A record number that needs more room than those of its page.
      std::vector<std::byte> far = entry;
      base::StoreBE32(far, far.size() - kRecordNumberBytes, 0x7FFFFFFF);
      tree.Insert(far);
      CHECK(tree.Contains(far, place));
      CHECK(tree.Erase(far));
      bracket.Commit();
    }
    CheckSound(*folder);
  }
}

}  // namespace kelvorin::tests
