// What is peculiar to this format: companions that are missing or out of date, passwords, what
// cannot be made, blobs that take the room of others, orders of keys.

#include "base/code_page.h"
#include "tests/paradox/paradox_support.h"
#include "tests/storage/support/memory_files.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using enum TypeCode;

constexpr const char* kConnect = "Paradox 5.x";

TableDef People() {
  TableDef def = MakeTable(
      "T", {MakeField("NAME", kText, 20), MakeField("ID", kLong), MakeField("NOTE", kMemo)});
  def.Indexes = {MakeIndex("PrimaryKey", "+ID", true, true), MakeIndex("NAME", "+NAME")};
  return def;
}

void MakePeople(MemoryFileSystem& disk) {
  Folder folder("/d", kConnect, disk);
  folder.Make(People());
  std::vector<Row> rows;
  for (int id = 0; id < 500; ++id)
    rows.push_back({std::to_string(id * 7 % 500), "n" + std::to_string(id % 9),
                    std::string(static_cast<std::size_t>(id % 90), 'x')});
  folder.Fill("T", rows);
}

struct Pages {
  Pages() {
    REQUIRE(base::SetAnsiPage(65001).ok());
    REQUIRE(base::SetOemPage(437).ok());
  }
};

}  // namespace

TEST_CASE("key fields stand first, the primary index has two names") {
  const Pages pages;
  MemoryFileSystem disk;
  MakePeople(disk);
  Folder folder("/d", kConnect, disk);
  auto set = folder.Open("T");
  CHECK(set->Fields(0).Name() == "ID");
  for (const char* name : {"primarykey", "t"}) {
    REQUIRE(set->SetIndex(name).ok());
    CHECK(set->Index() == "PrimaryKey");
  }
  // An edit that moves the record does not move the walk.
  REQUIRE(set->SetIndex("").ok());
  REQUIRE(Change(*set, 0, "1000").ok());
  REQUIRE(set->MoveNext().ok());
  std::string text;
  bool null = false;
  REQUIRE(set->Fields(0).GetText(text, null).ok());
  CHECK(text == "1");
  CHECK(Append(*set, {"1000", "twice", "<null>"}).number() == 3022);
}

TEST_CASE("companions that are missing or out of date") {
  const Pages pages;
  for (const char* gone : {"PX", "MB", "X02", "Y02"}) {
    CAPTURE(std::string(gone));
    MemoryFileSystem disk;
    MakePeople(disk);
    disk.Remove(std::string("/d/T.") + gone);
    Folder folder("/d", kConnect, disk);
    {
      auto set = folder.Open("T");
      CHECK_FALSE(set->Updatable());
      CHECK(set->Def().WhyReadOnly.find(std::string("T.") + gone) != std::string::npos);
      CHECK(set->RecordCount().value_or(0) == 500);
      const std::string_view keys[] = {"77"};
      REQUIRE(set->SetIndex("PrimaryKey").ok());
      REQUIRE(set->SeekText(database::SeekComparison::kEqual, keys).ok());
      CHECK_FALSE(set->NoMatch());
    }
    const auto rebuilt = folder->RebuildIndexes("T");
    CHECK(rebuilt.ok() == (gone == std::string_view("PX")));
    if (rebuilt.ok()) CheckSound(*folder);
  }
  // A wrong stamp: the index is not asked, and made anew by the first change.
  MemoryFileSystem disk;
  MakePeople(disk);
  std::string px = disk.Contents("/d/T.PX");
  px[0x2C] = static_cast<char>(px[0x2C] + 1);
  for (std::size_t at = 2048; at < px.size(); ++at) px[at] = '\x55';
  disk.Put("/d/T.PX", px);
  Folder folder("/d", kConnect, disk);
  CHECK_FALSE(folder->Inspect("T")->empty());
  auto set = folder.Open("T");
  REQUIRE(set->SetIndex("PrimaryKey").ok());
  const std::string_view keys[] = {"77"};
  REQUIRE(set->SeekText(database::SeekComparison::kEqual, keys).ok());
  CHECK_FALSE(set->NoMatch());
  REQUIRE(Append(*set, {"777", "new", "<null>"}).ok());
  REQUIRE(set->Close().ok());
  CheckSound(*folder);
}

TEST_CASE("an encrypted table opens with its password only") {
  const Pages pages;
  MemoryFileSystem disk;
  Folder("/d", "Paradox 5.x;pwd=secret;", disk).Make(People());
  Folder("/d", "Paradox 5.x;pwd=secret;", disk).Fill("T", {{"1", "plain words", "plain memo"}});
  for (const char* file : {"/d/T.DB", "/d/T.MB", "/d/T.X02"})
    CHECK(disk.Contents(file).find("plain") == std::string::npos);
  for (const char* connect : {"Paradox 5.x", "Paradox 5.x;pwd=Secret;"}) {
    Folder folder("/d", connect, disk);
    CHECK(folder->OpenRecordset("T", RecordsetType::kTable).status().number() == 3031);
    CHECK(folder->FindTableDef("T").status().code() == Code::kPassword);
  }
}

TEST_CASE("a blob replaced again and again takes no more room") {
  const Pages pages;
  MemoryFileSystem disk;
  MakePeople(disk);
  {
    Folder folder("/d", kConnect, disk);
    auto set = folder.Open("T");
    REQUIRE(Change(*set, 2, std::string(9000, 'b')).ok());
    REQUIRE(set->Flush().ok());
    const std::size_t before = disk.Contents("/d/T.MB").size();
    for (std::size_t i = 0; i < 10'000; ++i)
      REQUIRE(Change(*set, 2, std::string(i * 37 % 9000 + 1, 'b')).ok());
    REQUIRE(set->Close().ok());
    CHECK(disk.Contents("/d/T.MB").size() <= 2 * before);
    CheckSound(*folder);
  }
}

TEST_CASE("what a product cannot hold is refused before anything is made") {
  const Pages pages;
  struct Refused {
    const char* connect;
    FieldDef field;
    const char* index;
    const char* word;
  };
  FieldDef counter = MakeField("F", kLong);
  counter.AutoIncrement = true;
  const Refused cases[] = {
      {"Paradox 3.x", MakeField("F", kLongBinary), "", "binary"},
      {"Paradox 4.x", counter, "", "numbers no records"},
      {"Paradox 5.x", MakeField("F", kText, 256), "", "255"},
      {"Paradox 5.x", MakeField("F", kMemo), "+F", "cannot be a key"},
      {"Paradox 4.x", MakeField("F", kLong), "-F", "falling"},
      {"Paradox 3.x", MakeField("F", kLong), "+F;+ID", "one field"},
      {"Paradox 5.x", MakeField("F", kLong), "+F;-ID", "all rise or all fall"},
  };
  for (const Refused& refused : cases) {
    CAPTURE(std::string(refused.word));
    MemoryFileSystem disk;
    Folder folder("/d", refused.connect, disk);
    TableDef def = MakeTable("T", {MakeField("ID", kText, 5), refused.field});
    def.Indexes = {MakeIndex("PrimaryKey", "+ID", true, true)};
    if (*refused.index != '\0') def.Indexes.push_back(MakeIndex("OTHER", refused.index));
    const Status made = folder->CreateTable(def);
    CHECK(made.number() == 3251);
    CHECK_MESSAGE(made.message().find(refused.word) != std::string_view::npos, made.message());
    CHECK(disk.List("/d").empty());
  }
}

}  // namespace kelvorin::tests
