// What is peculiar to this format: companions that are missing or out of date, passwords, what
// cannot be made, blobs that take the room of others, orders of keys.

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "base/bytes.h"
#include "base/code_page.h"
#include "tests/paradox/paradox_support.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/places.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>

#include <algorithm>

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

TEST_CASE("key fields stand first, the primary index has three names") {
  const Pages pages;
  MemoryFileSystem disk;
  MakePeople(disk);
  Folder folder("/d", kConnect, disk);
  auto set = folder.Open("T");
  CHECK(set->Fields(0).Name() == "ID");
  for (const char* name : {"primarykey", "t", "primary"}) {
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
      CHECK(Finds(*set, "PrimaryKey", {"77"}));
    }
    const auto rebuilt = folder->RebuildIndexes("T");
    CHECK(rebuilt.ok() == (gone == std::string_view("PX")));
    if (rebuilt.ok()) CheckSound(*folder);
  }
  {  // Another file in an index's place.
    MemoryFileSystem disk;
    MakePeople(disk);
    disk.Put("/d/T.X02", disk.Contents("/d/T.PX"));
    auto set = Folder("/d", kConnect, disk).Open("T");
    CHECK(set->Def().WhyReadOnly.find("T.X02' is no secondary index") != std::string::npos);
  }
  {  // An index that bears the right stamp and lies: records stay in order.
    MemoryFileSystem disk;
    MakePeople(disk);
    std::string px = disk.Contents("/d/T.PX");
    // The block numbers in the first and the last entry.
    const std::size_t first = 2048 + 6 + 4;
    const std::size_t last = first + base::LoadLE16(base::AsBytes(px), 2048 + 4);
    std::swap(px[first + 1], px[last + 1]);
    disk.Put("/d/T.PX", px);
    Folder folder("/d", kConnect, disk);
    auto set = folder.Open("T");
    for (const char* id : {"-5", "1000"}) {
      const Status refused = Append(*set, {id, "new", "<null>"});
      CHECK(refused.code() == Code::kCorrupt);
      CHECK(refused.message().find("T.PX' leads elsewhere") != std::string_view::npos);
    }
    REQUIRE(set->Close().ok());
    REQUIRE(folder->RebuildIndexes("T").ok());
    CHECK(Append(*folder.Open("T"), {"1000", "new", "<null>"}).ok());
    CHECK(folder.ReadAll("T").size() == 501);
    CheckSound(*folder);
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
  CHECK(Finds(*set, "PrimaryKey", {"77"}));
  REQUIRE(Append(*set, {"777", "new", "<null>"}).ok());
  REQUIRE(set->Close().ok());
  CheckSound(*folder);
}

TEST_CASE("what was not closed properly is put right by the first change") {
  const Pages pages;
  for (const char* file : {"DB", "PX", "X02", "Y02"}) {
    CAPTURE(std::string(file));
    const std::string path = std::string("/d/T.") + file;
    MemoryFileSystem disk;
    MakePeople(disk);
    std::string bytes = disk.Contents(path);
    bytes[0x14] = 1;
    if (path == "/d/T.PX" || path == "/d/T.Y02")  // a tree is not asked then
      std::fill(bytes.begin() + 2048, bytes.end(), '\x55');
    disk.Put(path, bytes);
    Folder folder("/d", kConnect, disk);
    const auto told = folder->Inspect("T");
    REQUIRE(told.ok());
    REQUIRE(told->size() == 1);
    CHECK(told->front().find(path + "': its header says that it was not closed") !=
          std::string::npos);
    auto set = folder.Open("T");
    REQUIRE(Append(*set, {"777", "new", "<null>"}).ok());
    REQUIRE(set->Close().ok());
    CheckSound(*folder);
    CHECK(disk.Contents(path)[0x14] == 0);
  }
  // Without a key nothing but the count of records can be wrong.
  MemoryFileSystem disk;
  Folder folder("/d", kConnect, disk);
  folder.Make(MakeTable("U", {MakeField("A", kText, 3)}));
  folder.Fill("U", {{"a"}, {"b"}});
  std::string bytes = disk.Contents("/d/U.DB");
  bytes[0x06] = 9;
  bytes[0x2A] = 1;
  disk.Put("/d/U.DB", bytes);
  CHECK(folder->Inspect("U")->size() == 2);
  REQUIRE(folder->RebuildIndexes("U").ok());
  CHECK(folder->Inspect("U")->empty());
}

TEST_CASE("files that are another's stay another's") {
  const Pages pages;
  MemoryFileSystem disk;
  // A name that leads elsewhere, where a table is being made.
  disk.Put("/d/mine", "precious");
  disk.Link("/d/mine", "/d/T.DB-new");
  MakePeople(disk);
  CHECK(disk.Contents("/d/mine") == "precious");
  // Two tables whose names differ in the case of a letter.
  Folder folder("/d", kConnect, disk);
  for (const char* extension : {"DB", "PX", "X02", "Y02"})
    disk.Put(std::string("/d/t.") + base::LowerAscii(extension),
             disk.Contents(std::string("/d/T.") + extension));
  CHECK(folder->FindTableDef("t")->WhyReadOnly.find("t.mb' is missing") != std::string::npos);
  REQUIRE(folder->DeleteTable("t").ok());
  CHECK(folder.ReadAll("T").size() == 500);
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
    for (std::size_t i = 0; i < 2'000; ++i)
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

TEST_CASE("a table made like another has its types, where its fields alone would give others") {
  const Pages pages;
  MemoryFileSystem disk;
  Folder folder("/d", kConnect, disk);
  folder.Make(MakeTable("A", {MakeField("MONEY", kCurrency), MakeField("TIME", kTime)}));
  TableDef def = *folder->FindTableDef("A");
  CHECK(def.Fields[0].Type == kDouble);
  CHECK(def.Fields[1].Type == kDate);
  def.Name = "B";
  folder.Make(def);
  CHECK(folder->FindTableDef("B")->Fields == def.Fields);
}

TEST_CASE("validity checks of this structure say which fields must be filled") {
  const Pages pages;
  for (const bool stale : {false, true}) {
    CAPTURE(stale);
    MemoryFileSystem disk;
    MakePeople(disk);
    std::string rules(0x35 + 28, '\0');
    rules[0] = static_cast<char>(disk.Contents("/d/T.DB")[0x2E] + (stale ? 1 : 0));
    rules[2] = 1;
    rules[0x35] = 1;  // NAME
    rules[0x37] = 1;
    disk.Put("/d/T.VAL", rules);
    Folder folder("/d", kConnect, disk);
    auto set = folder.Open("T");
    CHECK(set->Def().Fields[1].Required != stale);
    CHECK(Append(*set, {"900", "<null>", "<null>"}).code() ==
          (stale ? Code::kOk : Code::kRequired));
    CHECK(Append(*set, {"901", "n", "<null>"}).ok());
    CHECK(set->RecordCount().value_or(0) == (stale ? 502 : 501));
    REQUIRE(set->Close().ok());
    CHECK(disk.Contents("/d/T.VAL") == rules);
  }
}

TEST_CASE("indexes are made on records that are there, unique ones keep their promise") {
  const Pages pages;
  MemoryFileSystem disk;
  MakePeople(disk);
  Folder folder("/d", kConnect, disk);
  REQUIRE(folder->CreateIndex("T", MakeIndex("Both", "+NAME;+ID")).ok());
  CHECK(folder->CreateIndex("T", MakeIndex("both", "+NAME")).code() == Code::kAlreadyExists);
  const std::vector<std::string> before = disk.List("/d");
  // Nine names for five hundred records; the table is of version 5, unique indexes came with 7.
  CHECK(folder->CreateIndex("T", MakeIndex("One", "+NAME", true)).number() == 3251);
  CHECK(folder->CreateIndex("T", MakeIndex("Again", "+NAME", true, true)).number() == 3251);
  CHECK(disk.List("/d") == before);
  {
    auto set = folder.Open("T");
    REQUIRE(set->SetIndex("Both").ok());
    const std::string_view keys[] = {"n3", "21"};
    REQUIRE(set->SeekText(database::SeekComparison::kGreaterEqual, keys).ok());
    CHECK_FALSE(set->NoMatch());
  }
  CheckSound(*folder);

  TableDef def = MakeTable("U", {MakeField("ID", kLong), MakeField("MAIL", kText, 20)});
  def.Indexes = {MakeIndex("PrimaryKey", "+ID", true, true), MakeIndex("Mail", "+MAIL", true)};
  folder.Make(def);
  auto set = folder.Open("U");
  CHECK(set->Def().Indexes[1].Unique);
  REQUIRE(Append(*set, {"1", "a"}).ok());
  REQUIRE(Append(*set, {"2", "b"}).ok());
  CHECK(Append(*set, {"3", "a"}).number() == 3022);
  REQUIRE(set->MoveFirst().ok());
  CHECK(Change(*set, 1, "b").number() == 3022);
  CHECK(Change(*set, 0, "7").ok());  // its own name does not stand in its way
  REQUIRE(set->Close().ok());
  CHECK(Show(folder.ReadAll("U")) == "2|b|\n7|a|\n");
  CheckSound(*folder);

  // A table gets its primary key before its first record only; the key fields move to the front.
  folder.Make(
      MakeTable("L", {MakeField("A", kText, 3), MakeField("B", kDate), MakeField("C", kMemo)}));
  REQUIRE(folder->CreateIndex("L", MakeIndex("PrimaryKey", "+B;+A", true, true)).ok());
  folder.Fill("L", {{"2001-02-03", "x", "m"}, {"2001-02-03", "w", "<null>"}});
  CHECK(Show(folder.ReadAll("L")) == "2001-02-03|w|<null>|\n2001-02-03|x|m|\n");
  CHECK(folder->CreateIndex("L", MakeIndex("P", "+A", true, true)).number() == 3251);
  CheckSound(*folder);
}

TEST_CASE("keys in an order that is not known") {
  const Pages pages;
  constexpr std::size_t kSortOrderAt = 0x29;
  MemoryFileSystem disk;
  TableDef def = MakeTable("S", {MakeField("KEY", kText, 5), MakeField("N", kInteger)});
  def.Indexes = {MakeIndex("PrimaryKey", "+KEY", true, true)};
  {
    Folder folder("/d", kConnect, disk);
    folder.Make(def);
    folder.Fill("S", {{"ABD", "1"}, {"XYZ", "2"}});
  }
  std::string bytes = disk.Contents("/d/S.DB");
  bytes[kSortOrderAt] = static_cast<char>(183);
  disk.Put("/d/S.DB", bytes);
  {
    Folder folder("/d", kConnect, disk);
    auto set = folder.Open("S");
    CHECK(Append(*set, {"MNO 1", "3"}).ok());
    const Status refused = Append(*set, {"mno", "4"});
    CHECK(refused.code() == Code::kNotSupported);
    CHECK(refused.message().find("number 183") != std::string_view::npos);
    REQUIRE(set->MoveFirst().ok());
    CHECK(Change(*set, 1, "9").ok());  // its key stays
    REQUIRE(set->Close().ok());
    CheckSound(*folder);
  }
  // Keys that do not come in the order of bytes: read, found by asking every record, not written.
  bytes = disk.Contents("/d/S.DB");
  bytes.replace(bytes.find("MNO 1"), 5,
                "\x8E"
                "NO 1");
  disk.Put("/d/S.DB", bytes);
  Folder folder("/d", kConnect, disk);
  auto set = folder.Open("S");
  CHECK_FALSE(set->Updatable());
  CHECK(set->Def().WhyReadOnly.find("number 183") != std::string::npos);
  CHECK(folder.ReadAll("S").size() == 3);
  for (const char* key : {"ABD", "\xC3\x84NO 1", "XYZ"}) CHECK(Finds(*set, "PrimaryKey", {key}));
}

TEST_CASE("who writes a table shuts out everybody else, left-over lock files nobody") {
  const Pages pages;
  const TempFolder temp;
  WriteWhole(temp.File("PARADOX.LCK"), std::string(110, '\x23'));
  WriteWhole(temp.File("PDOXUSRS.LCK"), std::string(1024, '\x23'));
  Folder here(temp.path(), kConnect);
  here.Make(People());
  auto set = here.Open("T");
  REQUIRE(Append(*set, {"1", "a", "<null>"}).ok());
  Folder elsewhere(temp.path(), kConnect);
  CHECK(elsewhere->OpenRecordset("T", RecordsetType::kTable).status().code() == Code::kLocked);
  CHECK(elsewhere->CreateIndex("T", MakeIndex("I", "+NAME;+ID")).code() == Code::kLocked);
  CHECK(elsewhere->RebuildIndexes("T").status().code() == Code::kLocked);
  CHECK(elsewhere->DeleteTable("T").code() == Code::kLocked);
  REQUIRE(set->Close().ok());
  CHECK(elsewhere.ReadAll("T").size() == 1);
  CHECK(ReadWhole(temp.File("PARADOX.LCK")).size() == 110);
  // Validity checks that cannot be read may forbid something.
  REQUIRE(base::MakeFolders(temp.File("T.VAL")).ok());
  CHECK(here.ReadAll("T").size() == 1);
  CHECK(here->FindTableDef("T")->WhyReadOnly.find("checks cannot be read") != std::string::npos);
}

TEST_CASE("characters of a table that the host's page lacks are replaced and counted") {
  const Pages pages;
  MemoryFileSystem disk;
  Folder folder("/d", kConnect, disk);
  folder.Make(People());
  folder.Fill("T", {{"1", "\xCE\xB1\xCE\xB2", "\xCE\xB1"}});  // Greek, of the table's page 437
  auto set = folder.Open("T");
  CHECK(set->UnreadableCharacters() == 0);
  REQUIRE(base::SetAnsiPage(1252).ok());
  Folder western("/d", kConnect, disk);
  REQUIRE(set->Close().ok());
  set = western.Open("T");
  for (std::size_t field = 0; field < 3; ++field) {
    values::Value value;
    REQUIRE(set->Fields(field).GetValue(value).ok());
  }
  CHECK(set->UnreadableCharacters() == 2);  // page 437 has alpha, its beta is the sharp s
}

}  // namespace kelvorin::tests
