// What is peculiar to writing Access files: refusals that leave no trace, locks, passwords, big
// page sets, indexes made later.

#include "base/code_page.h"
#include "database/access/sort_keys.h"
#include "tests/access/access_support.h"
#include "tests/conformance/fixture.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/temp_folder.h"
#include "values/value_format.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

TableDef People() {
  TableDef def;
  def.Name = "People";
  def.Fields = {MakeField("Id", TypeCode::kLong), MakeField("Name", TypeCode::kText, 50),
                MakeField("Note", TypeCode::kMemo)};
  def.Fields[1].AllowZeroLength = false;
  def.Indexes = {MakeIndex("PrimaryKey", "+Id", true, true), MakeIndex("Names", "-Name")};
  return def;
}

/// Runs something that must be refused, and sees that the file's bytes are what they were.
template <typename F>
void Refused(MemoryFileSystem& disk, const std::string& path, Recordset& set, ErrorNumber number,
             F&& attempt) {
  REQUIRE(set.Flush().ok());
  const std::string before = disk.Contents(path);
  const Status status = attempt();
  CHECK_MESSAGE(Number(status) == Number(number), status.message());
  REQUIRE(set.Flush().ok());
  CHECK((disk.Contents(path) == before));
}

}  // namespace

TEST_CASE("a record that is refused leaves the file byte for byte") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  MemoryFileSystem disk;
  SUBCASE("own table") {
    MakeDatabase("/a.mdb", "", disk);
    AccessFile file("/a.mdb", disk);
    REQUIRE(file->CreateTable(People()).ok());
    auto set = file.Open("People");
    const std::string memo(9000, 'm');
    for (const char* id : {"1", "2", "3"}) REQUIRE(Append(*set, {id, "Ann", memo}).ok());
    using enum ErrorNumber;
    Refused(disk, "/a.mdb", *set, kDuplicateKey, [&] { return Append(*set, {"2", "Bob", memo}); });
    Refused(disk, "/a.mdb", *set, kRequired, [&] { return Append(*set, {"<null>", "Bob", memo}); });
    Refused(disk, "/a.mdb", *set, kFieldTooSmall, [&] {
      return Append(*set, {"4", std::string(51, 'x'), memo});
    });
    REQUIRE(set->MoveFirst().ok());
    Refused(disk, "/a.mdb", *set, kDuplicateKey, [&] { return Change(*set, 0, "3"); });
    CheckSound(*file);
  }
  SUBCASE("relations") {
    const std::string samples = SampleFolder("access");
    if (samples.empty()) return;
    disk.Put("/r.mdb", ReadWhole(samples + "/j4-relations.mdb"));
    disk.Put("/l.mdb", ReadWhole(samples + "/ace12-linked.accdb"));  // its relation is not enforced
    CHECK(AccessFile("/r.mdb", disk)->DeleteTable("Table2").code() == Code::kIntegrity);
    CHECK(AccessFile("/l.mdb", disk)->DeleteTable("Table1").code() == Code::kIntegrity);
    AccessFile file("/r.mdb", disk);
    auto child = file.Open("Table1");
    auto parent = file.Open("Table2");
    using enum ErrorNumber;
    Refused(disk, "/r.mdb", *child, kRelated, [&] {
      return Append(*child, {"9", "77", "10", "no parent", "0"});
    });
    Refused(disk, "/r.mdb", *child, kRelated, [&] { return Change(*child, 1, "77"); });
    Refused(disk, "/r.mdb", *parent, kRelated, [&] { return parent->Delete(); });
    Refused(disk, "/r.mdb", *parent, kRelated, [&] { return Change(*parent, 0, "5"); });
    CHECK(Append(*child, {"9", "2", "10", "has both", "0"}).ok());
    REQUIRE(child->AddNew().ok());
    REQUIRE(child->Fields(0).SetText("10").ok());
    for (std::size_t parents : {1, 2})  // Null refers to nothing
      REQUIRE(child->Fields(parents).SetValue(values::Value::Null()).ok());
    CHECK(child->Update().ok());
    CheckSound(*file);
  }
}

TEST_CASE("passwords, locks and files that are something else are told apart") {
  const std::string samples = SampleFolder("access");
  MemoryFileSystem disk;
  DBEngine engine;
  EnterAccess(engine, disk);
  const auto open = [&](const char* path, const char* connect) {
    auto opened = engine.OpenDatabase(path, false, false, connect);
    const Status status = opened.ok() ? Status() : opened.status();
    return Number(status);
  };
  using enum ErrorNumber;
  if (!samples.empty()) {
    disk.Put("/p.mdb", ReadWhole(samples + "/j4-password.mdb"));
    CHECK(open("/p.mdb", ";pwd=password;") == 0);
    CHECK(open("/p.mdb", ";pwd=Password;") == Number(kWrongPassword));
    CHECK(open("/p.mdb", "") == Number(kWrongPassword));
  }
  MakeDatabase("/a.mdb", "", disk);
  const std::string whole = disk.Contents("/a.mdb");
  disk.Put("/text.mdb", "id,name\n1,Ann\n");
  CHECK(open("/text.mdb", "") == Number(kUnrecognizedFormat));
  disk.Put("/half.mdb", whole.substr(0, 9000));
  CHECK(open("/half.mdb", "") != 0);
  CHECK(open("/none.mdb", "") != 0);
  disk.Put("/a.ldb", std::string(64, '\0'));
  CHECK(open("/a.mdb", "") == 0);
  {
    const AccessFile elsewhere("/a.mdb", disk, true);  // shared with readers, who are not alone
    CHECK(open("/a.mdb", "") == Number(kSharingViolation));
    CHECK(engine.OpenDatabase("/a.mdb", false, true, "").ok());
    CHECK(engine.OpenDatabase("/a.mdb", true, true, "").status().code() == Code::kLocked);
  }
  const auto lock = disk.Open("/a.ldb", os::OpenMode::kReadWrite);
  REQUIRE(lock->TryLock(0x10000003, 1, os::LockKind::kExclusive));
  CHECK(open("/a.mdb", "") == Number(kSharingViolation));
}

TEST_CASE("a table with something that is not understood is read only, and says what") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  MemoryFileSystem disk;
  MakeDatabase("/a.mdb", "", disk);
  {
    AccessFile file("/a.mdb", disk);
    REQUIRE(file->CreateTable(People()).ok());
    REQUIRE(Append(*file.Open("People"), {"1", "Ann", "note"}).ok());
  }
  const std::string sound = disk.Contents("/a.mdb");
  // What is changed in the definition's entry of the column of names: type, 1625, number, slot,
  // position, order (u16) and its version, flags, extended flags.
  const std::string entry("\x0A\x59\x06\0\0\1\0\0\0\1\0\x09\x04", 13);
  const std::size_t column = sound.find(entry);
  REQUIRE(column != std::string::npos);
  struct Case {
    const char* name;
    std::size_t at;
    char value;
    const char* why;
    bool sorted;  // the index can still be walked
  };
  const Case cases[] = {
      {"German order", column + 11, '\x07', "index 'Names' sorts field 'Name' in the order", true},
      {"later General", column + 14, '\x02', "(version 2), which is not known", true},
      {"calculated", column + 16, '\xC0', "field 'Name' is calculated", false},
      {"several values", column, '\x12', "field 'Name' holds several values or attachments", false},
      {"newer type", column, '\x14', "field 'Name' is of type 20", false},
      {"newer file", 0x14, '\x05', "the file's version is newer", true},
  };
  for (const Case& c : cases) {
    CAPTURE(std::string(c.name));
    std::string bytes = sound;
    bytes[c.at] = c.value;
    disk.Put("/b.mdb", bytes);
    AccessFile file("/b.mdb", disk);
    auto set = file.Open("People");
    CHECK(!set->Updatable());
    CHECK_MESSAGE(set->Def().WhyReadOnly.find(c.why) != std::string::npos, set->Def().WhyReadOnly);
    CHECK(set->AddNew().code() == Code::kReadOnly);
    if (!c.sorted) continue;
    CHECK(TextOf(*set) == "1|Ann|note");
    REQUIRE(set->SetIndex("Names").ok());
    CHECK(TextOf(*set) == "1|Ann|note");
    const std::string_view key[] = {"Ann"};
    if (c.at > column)
      CHECK(set->SeekText(SeekComparison::kEqual, key).code() == Code::kNotSupported);
  }
}

TEST_CASE("page sets outgrow their rows, and what is given up is used again") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  for (const char* connect : {"", ";version=97;"}) {
    CAPTURE(std::string(connect));
    MemoryFileSystem disk;
    MakeDatabase("/a.mdb", connect, disk);
    {
      AccessFile file("/a.mdb", disk);
      REQUIRE(file->CreateTable(People()).ok());
      auto set = file.Open("People");
      const auto fill = [&](int from) {
        for (int i = from; i < from + 40; ++i)
          REQUIRE(Append(*set, {std::to_string(i), "name " + std::to_string(i),
                                std::string(70000, static_cast<char>('a' + i % 26))})
                      .ok());
      };
      fill(0);
      REQUIRE(set->Flush().ok());
      const std::size_t full = disk.Contents("/a.mdb").size();
      for ((void)set->MoveFirst(); !set->Eof(); (void)set->MoveNext()) REQUIRE(set->Delete().ok());
      CHECK(set->RecordCount().value_or(-1) == 0);
      CheckSound(*file);
      fill(100);
      REQUIRE(set->Flush().ok());
      CHECK(disk.Contents("/a.mdb").size() <= full + 16 * 4096);
      CheckSound(*file);
      REQUIRE(set->Close().ok());
      set.reset();
      // Dropped and made again, a table takes the room of the old one.
      const std::size_t before = disk.Contents("/a.mdb").size();
      REQUIRE(file->DeleteTable("People").ok());
      CHECK(file->FindTableDef("People").status().code() == Code::kNotFound);
      REQUIRE(file->CreateTable(People()).ok());
      set = file.Open("People");
      fill(0);
      REQUIRE(set->Flush().ok());
      CHECK(disk.Contents("/a.mdb").size() <= before);
    }
    const TempFolder folder;
    WriteWhole(folder.File("a.mdb"), disk.Contents("/a.mdb"));
    CheckSoundFile(folder.File("a.mdb"));
  }
}

TEST_CASE("an index made on a filled table holds its rows, or is not made at all") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  MemoryFileSystem disk;
  MakeDatabase("/a.mdb", "", disk);
  AccessFile file("/a.mdb", disk);
  TableDef def = People();
  def.Indexes.clear();
  REQUIRE(file->CreateTable(def).ok());
  {
    auto set = file.Open("People");
    for (int i = 0; i < 500; ++i)
      REQUIRE(Append(*set, {std::to_string(i % 250), "name " + std::to_string(i), "<null>"}).ok());
    CHECK(file->CreateIndex("People", MakeIndex("Late", "+Id")).code() == Code::kLocked);
  }
  const std::string before = disk.Contents("/a.mdb");
  CHECK(file->CreateIndex("People", MakeIndex("Twice", "+Id", true)).code() == Code::kDuplicateKey);
  CHECK((disk.Contents("/a.mdb") == before));
  CHECK(file->CreateIndex("People", MakeIndex("Ole", "+Nobody")).code() == Code::kNotFound);
  REQUIRE(file->CreateIndex("People", MakeIndex("Late", "-Id;+Name")).ok());
  REQUIRE(file->CreateIndex("People", MakeIndex("Names", "+Name", true)).ok());
  CheckSound(*file);
  auto set = file.Open("People");
  REQUIRE(Finds(*set, "Late", {"7", "name 257"}));
  CHECK(TextOf(*set) == "7|name 257|<null>");
}

TEST_CASE("texts have the keys that the format's own engine gives them") {
  using database::access::AppendTextKey;
  using database::access::TextOrder;
  struct Case {
    const char16_t* text;
    const char* old_key;     // General 97
    const char* legacy_key;  // General legacy
    const char* key;         // General
  };
  const Case cases[] = {
      {u"A", "7F6000", "7F4A0100", "7F0E020100"},
      {u"abc 1", "7F606162115700", "7F4A4C4D07380100", "7F0E020E090E0A07020D190100"},
      {u"Zoë", "7F7E72660260", "7F7864510102021300", "7F0EA90E7C0E210102021300"},
      {u"co-op", "7F62721E727300", "7F4D64646601010101800F068200",
       "7F0E0A0E7C0E7C0E7E01010101800F068200"},
      {u"résumé", "7F756676786F66042240", "7F69516B6F605101020E0202020E00",
       "7F0E8A0E210E910E9F0E510E2101020E0202020E00"},
      {u"x  ", "7F7C00", "7F750100", "7F0EA60100"},
      {u"ツール", "", "7F7F1C4A7F44010101FF0280FF8000", "7F7F1C0E027F44010101FF0280FF8000"},
      {u"\U0001F600", "", "7FB03FB6FC013F3F00", "7FB03FB6FC013F3F00"}};
  const auto hex = [](TextOrder order, bool ascending, std::u16string_view text) {
    std::string key, out;
    AppendTextKey(order, ascending, text, key);
    values::ValueFormat::Neutral().Append(values::Value::Bytes(key), out);
    return out;
  };
  for (const Case& c : cases) {
    CAPTURE(std::string(c.key));
    if (*c.old_key != '\0') CHECK(hex(TextOrder::kGeneral97, true, c.text) == c.old_key);
    CHECK(hex(TextOrder::kGeneralLegacy, true, c.text) == c.legacy_key);
    CHECK(hex(TextOrder::kGeneral, true, c.text) == c.key);
  }
  CHECK(hex(TextOrder::kGeneralLegacy, false, u"A") == "80B5FEFF00");
}

}  // namespace kelvorin::tests
