// Linked tables: what another Access file or an ODBC data source holds, opened through the link.

#include "base/code_page.h"
#include "database/access/catalog.h"
#include "database/access/new_table.h"
#include "database/access/table.h"
#include "storage/open_files.h"
#include "tests/access/access_support.h"
#include "tests/storage/support/memory_files.h"

#ifdef KELVORIN_ODBC_LINKS
#include "database/odbc/odbc_driver.h"
#include "tests/servers/test_server.h"
#endif

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using namespace database::access;

struct Link {
  const char* name;
  std::int16_t kind;
  std::string database;
  std::string connect;
  const char* foreign_name;
};

/// Enters links into the table of objects, as Access does.
void AddLinks(storage::FileSystem& fs, const std::string& path, const std::vector<Link>& links) {
  storage::OpenFiles files;
  const std::shared_ptr<storage::Store> store = files.Open(fs, path, {});
  const Header header = ReadHeader(*store);
  store->SetPages(storage::kMainFile, LayoutOf(header.version).page_bytes);
  DatabaseFile file(store, header);
  std::int32_t id = -100;
  for (const Link& link : links) {
    Catalog catalog(file);
    std::vector<ColumnValue> row(catalog.objects().definition().columns.size());
    const auto set = [&](const char* column, ColumnValue value) {
      row[catalog.ColumnOf(column)] = std::move(value);
    };
    set("Id", StoredNumber(--id, 4));
    set("ParentId", StoredNumber(kTablesContainer, 4));
    set("Name", StoredText(file.text(), link.name));
    set("Type", StoredNumber(link.kind, 2));
    set("DateCreate", StoredNumber(0, 8));
    set("DateUpdate", StoredNumber(0, 8));
    set("Flags", StoredNumber(link.kind == kOdbcLink ? 0x20100000 : 0x00200000, 4));
    set("ForeignName", StoredText(file.text(), link.foreign_name));
    if (!link.database.empty()) set("Database", StoredText(file.text(), link.database));
    if (!link.connect.empty()) set("Connect", StoredText(file.text(), link.connect));
    database::access::Bracket bracket(file.channel());
    PutRecord(catalog.objects(), row);
    bracket.Commit();
  }
  store->Flush();
}

TableDef Things() {
  TableDef def;
  def.Name = "Things";
  def.Fields = {MakeField("Id", TypeCode::kLong), MakeField("Name", TypeCode::kText, 30)};
  def.Indexes = {MakeIndex("PrimaryKey", "+Id", true, true)};
  return def;
}

}  // namespace

TEST_CASE("a linked Access table is read and written where it lives") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  for (const char* connect : {"", ";version=97;"}) {
    CAPTURE(std::string(connect));
    MemoryFileSystem disk;
    MakeDatabase("/d/main.mdb", connect, disk);
    MakeDatabase("/d/Other.mdb", "", disk);
    MakeDatabase("/e/there.mdb", "", disk);
    AddLinks(disk, "/d/main.mdb",
             {{"Beside", kFileLink, "Z:\\gone\\other.MDB", "", "Things"},
              {"There", kFileLink, "/e/there.mdb", "", "Things"},
              {"Lost", kFileLink, "Z:\\gone\\none.mdb", "", "Things"},
              {"Twice", kFileLink, "/e/there.mdb", "", "Back"}});
    AddLinks(disk, "/e/there.mdb", {{"Back", kFileLink, "/d/main.mdb", "", "There"}});
    for (const char* path : {"/d/Other.mdb", "/e/there.mdb"}) {
      AccessFile other(path, disk);
      REQUIRE(other->CreateTable(Things()).ok());
      REQUIRE(Append(*other.Open("Things"), {"1", path}).ok());
    }
    AccessFile file("/d/main.mdb", disk);
    CheckSound(*file);
    const auto def = file->FindTableDef("beside");
    REQUIRE_MESSAGE(def.ok(), def.status().message());
    CHECK(def->Attributes == database::kAttrLinkedJet);
    CHECK(def->SourceTableName == "Things");
    CHECK(def->Connect == ";DATABASE=Z:\\gone\\other.MDB");
    CHECK(Walk(*file.Open("Beside", RecordsetType::kDynaset)) == "1|/d/Other.mdb\n");
    auto there = file.Open("There", RecordsetType::kDynaset);
    REQUIRE(Append(*there, {"2", "new"}).ok());
    CHECK(Walk(*there) == "1|/e/there.mdb\n2|new\n");
    const auto lost = file->OpenRecordset("Lost", RecordsetType::kDynaset);
    CHECK(lost.status().code() == Code::kNotFound);
    CHECK(lost.status().message().find("none.mdb") != std::string::npos);
    const auto twice = file->OpenRecordset("Twice", RecordsetType::kDynaset);
    CHECK(twice.status().code() == Code::kNotSupported);
  }
}

#ifdef KELVORIN_ODBC_LINKS
TEST_CASE("a linked ODBC table is a snapshot of what the data source holds") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  DataSourceFolder sources;
  int made = 0;
  RunCommand("sqlite3 '" + sources.File("t.sqlite") +
                 "' \"create table things(id integer primary key, name varchar(30));"
                 "insert into things values(1,'one'),(2,'zwei')\" 2>&1",
             made);
  if (made != 0) {
    MESSAGE("skipped: sqlite3 (Debian: sqlite3) is not installed");
    return;
  }
  const std::string dsn = sources.Add("linked", "SQLite3", "Database=" + sources.File("t.sqlite"));
  const std::string path = sources.File("main.mdb");
  MakeDatabase(path, "");
  AddLinks(storage::RealFileSystem(), path,
           {{"Remote", kOdbcLink, "", "DSN=" + dsn + ";", "things"},
            {"Nowhere", kOdbcLink, "", "DSN=no such source;", "things"}});
  AccessFile file(path);
  file.engine().Register(database::odbc::MakeOdbcDriver());
  const auto def = file->FindTableDef("Remote");
  REQUIRE_MESSAGE(def.ok(), def.status().message());
  CHECK(def->Attributes == database::kAttrLinkedOdbc);
  CHECK(def->Connect == "ODBC;DSN=" + dsn + ";");
  for (const RecordsetType type : {RecordsetType::kDynaset, RecordsetType::kTable}) {
    auto set = file.Open("Remote", type);
    CHECK(!set->Updatable());
    CHECK(Walk(*set) == "1|one\n2|zwei\n");
  }
  const auto nowhere = file->OpenRecordset("Nowhere", RecordsetType::kDynaset);
  REQUIRE(!nowhere.ok());
  CHECK(nowhere.status().message().find("'Nowhere' is linked to another database") !=
        std::string::npos);
  CheckSound(*file);
  CheckSoundFile(path);
}
#endif

}  // namespace kelvorin::tests
