#include <doctest/doctest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "base/code_page.h"
#include "tests/odbc/driver_checks.h"
#include "tests/odbc/odbc_backend.h"
#include "tests/odbc/open_source.h"
#include "tests/odbc/posting_check.h"
#include "tests/servers/test_server.h"

namespace kelvorin::tests {
namespace {

struct SqliteFile {
  SqliteFile() {
    WriteWhole(sources.File("t.sqlite"), "");
    connect =
        "ODBC;DSN=" + sources.Add("files", "SQLite3", "Database=" + sources.File("t.sqlite")) +
        ";SyncPragma=OFF;JournalMode=MEMORY;";
  }
  DataSourceFolder sources;
  std::string connect;
};

}  // namespace

TEST_CASE("SQLite: what every driver promises about snapshots") {
  SqliteFile file;
  RunConformance(OdbcBackend("sqlite", file.connect));
}

TEST_CASE("data sources are the user's and the system's, each name once") {
  DataSourceFolder sources;
  database::DBEngine engine;
  engine.Register(database::odbc::MakeOdbcDriver());
  const std::string shared = sources.Add("shared", "SQLite3", "Database=/system");
  const std::string broken = sources.Add("broken", "NoSuchDriver", "");
  sources.AddForUser("own", "PGW");
  sources.AddForUser(shared, "Maria");
  std::string names;
  for (const auto& source : *engine.DataSources())
    if (source.Name == "own" || source.Name == shared || source.Name == broken)
      names += source.Name + "=" + source.Description + " ";
  CHECK(names == "own=PGW " + shared + "=Maria " + broken + "=NoSuchDriver ");
}

TEST_CASE("what cannot be opened fails at the opening and leaves no file") {
  DataSourceFolder sources;
  const std::string missing =
      sources.Add("missing", "SQLite3", "Database=" + sources.File("missing.sqlite"));
  const std::string text =
      sources.Add("text", "SQLite3", "Database=" + sources.File("text.sqlite"));
  WriteWhole(sources.File("text.sqlite"), std::string(4096, 'x'));
  database::DBEngine engine;
  engine.Register(database::odbc::MakeOdbcDriver());
  const std::string broken = sources.Add("broken", "NoSuchDriver", "");
  // and what the text names
  const std::pair<std::string, std::string> kConnects[] = {
      {"ODBC;DSN=" + missing + ";", "there is no file '" + sources.File("missing.sqlite") + "'"},
      {"ODBC;DSN=" + text + ";", text},
      {"ODBC;DSN=" + broken + ";", "its driver 'NoSuchDriver' is not installed"},
      {"ODBC;DRIVER=NoSuchDriver;", "NoSuchDriver"},
      {"ODBC;DSN=unknown;", "'unknown'"},
      {"ODBC;DSN=;UID=;PWD=;", ""},
      {"ODBC;", ""}};
  for (const auto& [connect, words] : kConnects) {
    CAPTURE(connect);
    const auto opened = engine.OpenDatabase("", true, false, connect);
    CHECK_FALSE(opened.ok());
    CHECK_FALSE(engine.Errors().empty());
    CAPTURE(opened.status().message());
    CHECK(opened.status().message().find(words) != std::string::npos);
  }
  CHECK_FALSE(std::filesystem::exists(sources.File("missing.sqlite")));
}

TEST_CASE("SQLite: fields take their declared types, system tables are marked") {
  SqliteFile file;
  OpenSource source(file.connect);
  Execute(*source,
          "CREATE TABLE types (i INTEGER PRIMARY KEY, b BOOLEAN, s SMALLINT, l BIGINT, d DOUBLE, "
          "dec DECIMAL(10,2), m MONEY, c CHAR(5), v VARCHAR(300), w VARCHAR(20), n, u UUID, "
          "da DATE, ti TIMESTAMP, bl BLOB, x \"unsigned int\", e DECIMAL, f DECIMAL(9))");
  Execute(*source, "CREATE UNIQUE INDEX \"by two\" ON types (w, c)");
  Execute(*source, "CREATE INDEX expression ON types (lower(w))");
  CHECK(ShowTable(*source, "types") ==
        "i:BigInt:8\nb:Boolean:1\ns:Integer:2\nl:BigInt:8\nd:Double:8\ndec:Decimal:10\n"
        "m:Currency:8\nc:Text:5\nv:Memo:0\nw:Text:20\nn:Memo:0\nu:GUID:16\nda:Date:8\nti:Date:8\n"
        "bl:LongBinary:0\nx:Memo:0\ne:Double:8\nf:Double:8\nsqlite_autoindex_0(+i)!#\nby "
        "two(+w;+c)!\n");
  CHECK(source->FindTableDef("types")->Fields[5].Decimals == 2);
  Execute(*source, "CREATE VIRTUAL TABLE search USING fts5(word)");
  Execute(*source, "CREATE VIEW seen AS SELECT i FROM types");
  std::string tables;
  for (const auto& table : *source->TableDefs())
    tables += table.Name + (table.Attributes == 0 ? " " : "(system) ");
  CHECK(tables.find("types ") != std::string::npos);
  CHECK(tables.find("seen ") != std::string::npos);
  CHECK(tables.find("search ") != std::string::npos);
  CHECK(tables.find("search_data(system)") != std::string::npos);
}

TEST_CASE("SQLite: values, statements, names") {
  SqliteFile file;
  OpenSource source(file.connect);
  CheckLiterals(*source, "TEXT");
  CheckStatements(*source);
}

TEST_CASE("SQLite: what is longer than declared or of another type still reads whole") {
  SqliteFile file;
  OpenSource source(file.connect);
  Execute(*source, "CREATE TABLE loose (n INTEGER, v VARCHAR(3), d DATE)");
  Execute(*source, "INSERT INTO loose VALUES (1,'abc','2024-01-31'),(2,'" + std::string(5000, 'y') +
                       "','not a date'),('x','z',NULL)");
  CHECK(DumpTable(*source, "loose") ==
        "1|abc|2024-01-31\n2|" + std::string(5000, 'y') + "|not a date\nx|z|<null>\n");
}

TEST_CASE("SQLite: names with a point, and names that are none") {
  SqliteFile file;
  OpenSource source(file.connect);
  Execute(*source,
          "CREATE TABLE iris (id INTEGER PRIMARY KEY, \"Sepal.Length\" DOUBLE, Length TEXT)");
  CHECK(PostGrouped(*source, "iris", {"id", "Sepal.Length", "Length"},
                    {{"1", "5.5", "'x'"}, {"2", "6.5", "'y'"}}) == "+1\n+2\n");
  CHECK(DumpTable(*source, "iris") == "1|5.5|x\n2|6.5|y\n");
  CHECK(ShowTable(*source, "iris").find("Sepal.Length:Double") != std::string::npos);
  // A column that went away meanwhile is an error, not a text of its name.
  auto set = *source->OpenRecordset("iris", database::RecordsetType::kSnapshot);
  Execute(*source, "ALTER TABLE iris DROP COLUMN `Sepal.Length`");
  std::string text;
  bool is_null = false;
  CHECK_FALSE(set->Fields(1).GetText(text, is_null).ok());
}

TEST_CASE("SQLite: texts keep what stands behind a NUL, and rows are those of one moment") {
  SqliteFile file;
  OpenSource source(file.connect);
  Execute(*source, "CREATE TABLE t (id INTEGER PRIMARY KEY, a TEXT, b VARCHAR(20))");
  Execute(
      *source,
      "INSERT INTO t VALUES (1,'a'||char(0)||'b','x'||char(0)||'y'),(2,char(64976)||'z','plain')");
  CHECK(DumpTable(*source, "t") == std::string("1|a\0b|x\0y\n2|\xEF\xB7\x90z|plain\n", 23));
  Execute(*source,
          "WITH RECURSIVE c(v) AS (SELECT 3 UNION ALL SELECT v+1 FROM c WHERE v<5000) "
          "INSERT INTO t SELECT v,'old','old' FROM c");
  auto set = *source->OpenRecordset("t", database::RecordsetType::kSnapshot);
  REQUIRE(set->Move(10).ok());
  // Another process: it may not change what is being read.
  const std::string change = "sqlite3 " + file.sources.File("t.sqlite") +
                             " \"UPDATE t SET a='new' WHERE id>3000\" 2>/dev/null";
  CHECK(std::system(change.c_str()) != 0);
  std::string text;
  bool is_null = false;
  for (; !set->Eof(); Advance(*set)) {
    REQUIRE(set->Fields(1).GetText(text, is_null).ok());
    if (text == "new") break;
  }
  CHECK(set->Eof());
}

TEST_CASE("SQLite: a lock is waited for once a flush, and nobody has to") {
  SqliteFile file;
  OpenSource other(file.connect);
  Execute(*other, "CREATE TABLE t (id INTEGER PRIMARY KEY, t TEXT)");
  OpenSource source(file.connect + "Timeout=700;");
  CheckGivingUp(*source, "t", true, [&] { Execute(*other, "BEGIN IMMEDIATE"); });
  std::vector<std::vector<std::string>> records;
  for (int i = 1; i <= 50; ++i) records.push_back({std::to_string(i), "'x'"});
  const auto before = std::chrono::steady_clock::now();
  const std::string story = PostGrouped(*source, "t", {"id", "t"}, records);
  CHECK(std::count(story.begin(), story.end(), '-') == 50);
  CHECK(std::chrono::steady_clock::now() - before < std::chrono::seconds(5));
  Execute(*other, "COMMIT");
  CHECK(PostGrouped(*source, "t", {"id", "t"}, {{"1", "'x'"}}) == "+1\n");
}

TEST_CASE("SQLite: a reader of the target's own file does not stand in its way") {
  SqliteFile file;
  OpenSource source(file.connect), target(file.connect);
  Execute(*source, "CREATE TABLE a (id INTEGER PRIMARY KEY, t TEXT)");
  Execute(*source,
          "INSERT INTO a SELECT value, 'x' FROM (WITH RECURSIVE c(value) AS (SELECT 1 "
          "UNION ALL SELECT value+1 FROM c WHERE value<3000) SELECT value FROM c)");
  auto set = *source->OpenRecordset("a", database::RecordsetType::kSnapshot);
  int read = 0;
  for (; !set->Eof(); Advance(*set))
    if (++read % 500 == 0)
      Execute(*target, "INSERT INTO a VALUES (" + std::to_string(100000 + read) + ",'new')");
  CHECK(read == 3000);  // what was added meanwhile is not part of the set
}

TEST_CASE("SQLite: text of an 8-bit page is stored as UTF-8 and comes back") {
  SqliteFile file;
  const std::string table = "Stra\337e", field = "Gr\374\337e";
  const int page = base::AnsiPage().number();
  REQUIRE(base::SetAnsiPage(1252).ok());
  {
    OpenSource source(file.connect);
    Execute(*source, "CREATE TABLE " + table + " (id INTEGER PRIMARY KEY, " + field +
                         " TEXT, w VARCHAR(9))");
    CHECK(PostGrouped(*source, table, {"id", field, "w"},
                      {{"1", "'\x80 \xe4'", "'\xd6l'"}, {"2", "'b'", "'c'"}}) == "+1\n+2\n");
    CHECK(DumpTable(*source, table) == "1|\x80 \xe4|\xd6l\n2|b|c\n");
  }
  REQUIRE(base::SetAnsiPage(65001).ok());
  CHECK(DumpTable(*OpenSource(file.connect), "Straße") == "1|€ ä|Öl\n2|b|c\n");
  REQUIRE(base::SetAnsiPage(page).ok());
}

TEST_CASE("SQLite: a long table is read in little memory") {
  SqliteFile file;
  OpenSource source(file.connect);
  Execute(*source, "CREATE TABLE big (id INTEGER PRIMARY KEY, a VARCHAR(100), b TEXT)");
  Execute(*source,
          "INSERT INTO big SELECT value, 'some text '||value, 'a longer remark of sixty "
          "characters '||value FROM (WITH RECURSIVE c(value) AS (SELECT 1 UNION ALL SELECT value+1 "
          "FROM c WHERE value<100000) SELECT value FROM c)");
  CHECK(GrowthWhileReading(*source, "big", 100000) < 10);
}

TEST_CASE("SQLite: grouped records tell the same story as single ones") {
  SqliteFile file;
  OpenSource source(file.connect + "FKSupport=1;");
  // A trigger that mends what an earlier record of its statement broke.
  Execute(*source, "CREATE TABLE up (id INTEGER PRIMARY KEY)");
  Execute(*source, "CREATE TABLE mended (id INTEGER, up INTEGER REFERENCES up (id))");
  Execute(*source,
          "CREATE TRIGGER mend AFTER INSERT ON mended BEGIN DELETE FROM mended WHERE "
          "id=new.id-9; END");
  std::vector<std::vector<std::string>> records;
  for (int i = 1; i <= 90; ++i)
    records.push_back({std::to_string(i), i == 50 || i == 85 ? "7" : "NULL"});
  const std::string story = PostGrouped(*source, "mended", {"id", "up"}, records);
  CHECK(std::count(story.begin(), story.end(), '-') == 2);
  CheckRandomPosting(*source, "sqlite");
}

}  // namespace kelvorin::tests
