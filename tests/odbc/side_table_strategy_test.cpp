#include <doctest/doctest.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <random>

#include "database/odbc/side_table.h"
#include "os/system.h"
#include "tests/odbc/open_source.h"
#include "tests/odbc/posting_check.h"
#include "tests/servers/test_server.h"

namespace kelvorin::tests {
namespace {

using Records = std::vector<std::vector<std::string>>;

std::string Connect(DataSourceFolder& sources, std::string_view options = "") {
  WriteWhole(sources.File("t.sqlite"), "");
  return "ODBC;DSN=" + sources.Add("side", "SQLite3", "Database=" + sources.File("t.sqlite")) +
         ";SyncPragma=OFF;" + std::string(options);
}

/// What SQLite itself finds wrong in its files, those attached included; "ok" when nothing.
std::string Verdict(database::Database& database) {
  Execute(database, "CREATE TABLE verdict (v TEXT)");
  Execute(database, "INSERT INTO verdict SELECT integrity_check FROM pragma_integrity_check");
  const std::string verdict = DumpTable(database, "verdict");
  Execute(database, "DROP TABLE verdict");
  return verdict;
}

/// Puts a value into the file, whose text `texts` keeps; returns what SQLite's quote() makes of it.
std::string AddValue(database::odbc::SideTable& side, std::size_t kind, std::size_t size,
                     std::mt19937& random, std::deque<std::string>& texts) {
  if (kind == 0) {
    const std::string text(size, static_cast<char>('a' + random() % 26));
    side.AddText(texts.emplace_back(text + "'"));
    return "'" + text + "'''";
  }
  if (kind == 1) {  // near the borders of every width
    const std::int64_t power = std::int64_t{1} << random() % 63;
    const std::int64_t number =
        (random() % 2 == 0 ? power : -power) + static_cast<std::int64_t>(random() % 5) - 2;
    side.AddInteger(number);
    return std::to_string(number);
  }
  if (kind == 2) {
    side.AddNull();
    return "NULL";
  }
  side.AddBytes("A1");
  return "X'4131'";
}

/// Counts records, and sees that none waits in a file that a crash would leave behind.
class NamelessFiles final : public database::RowReceiver {
 public:
  explicit NamelessFiles(std::string folder) : folder_(std::move(folder)) {}
  void Stored(std::int64_t record_no) override {
    ++stored;
    if (record_no % 5000 != 1 || !std::filesystem::exists(folder_)) return;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_))
      CHECK_FALSE(entry.is_regular_file());
  }
  bool Refused(std::int64_t, const Status&) override { return true; }
  int stored = 0;

 private:
  std::string folder_;
};

}  // namespace

TEST_CASE("a side file is a sound database with every row that it took") {
  DataSourceFolder sources;
  OpenSource source(Connect(sources));
  std::mt19937 random(7);
  for (const std::size_t columns : {1u, 2u, 125u, 126u, 127u, 128u, 251u}) {
    CAPTURE(columns);
    database::odbc::SideTable side(columns);
    Execute(*source, "ATTACH DATABASE '" + side.path() + "' AS side");
    std::string quoted = "quote(c0)";
    for (std::size_t i = 1; i < columns; ++i) quoted += "||'|'||quote(c" + std::to_string(i) + ")";
    // One leaf, none, many below an inner page, and then fewer again in a file that stays long.
    struct Round {
      std::size_t rows, shortest, longest;  // bytes of the first value
    };
    const Round kRounds[] = {{1, 0, 0},         {0, 0, 0},           {40, 65000, 65536},
                             {3000, 0, 80},     {120, 32700, 32770}, {60, 8180, 8200},
                             {200, 100, 70000}, {30, 50, 60}};
    for (const Round& round : kRounds) {
      CAPTURE(round.longest);
      const std::size_t count = std::min(round.rows, 20000 / columns);
      std::vector<std::string> lines;
      side.Clear();
      for (std::size_t row = 1; row <= count; ++row) {
        const std::size_t spread = random() % (round.longest - round.shortest + 1);
        std::deque<std::string> texts;
        std::string line = AddValue(side, 0, round.shortest + spread, random, texts);
        std::string empty = "NULL";  // what a row too long for a page leaves
        for (std::size_t i = 1; i < columns; ++i) {
          line += "|" + AddValue(side, random() % 4, random() % 9 == 0 ? random() % 300 : 3, random,
                                 texts);
          empty += "|NULL";
        }
        const bool fits = side.EndRow();
        CHECK((fits || round.longest > 65000));
        lines.push_back(std::to_string(row) + "|" + (fits ? line : empty) + "\n");
      }
      side.Write();
      CHECK(Verdict(*source) == "ok\n");
      Execute(*source, "CREATE TABLE got AS SELECT rowid||'|'||" + quoted + " AS v FROM side.r");
      std::sort(lines.begin(), lines.end());
      std::string expected;
      for (const std::string& line : lines) expected += line;
      CHECK((DumpTable(*source, "got") == expected));
      Execute(*source, "DROP TABLE got");
    }
    Execute(*source, "DETACH DATABASE side");
  }
}

TEST_CASE("SQLite: every kind of table stores in groups what single statements store") {
  const std::string kPlain = "CREATE TABLE t (id INTEGER PRIMARY KEY, a TEXT, b DOUBLE, c, d DATE)";
  struct Row {
    const char* name;
    std::vector<std::string> sql;  // makes the table t and what belongs to it
    const char* options = "";      // of the connect string
  };
  const Row kRows[] = {
      {"plain", {kPlain}},
      {"write-ahead log", {kPlain}, "JournalMode=WAL;"},
      {"UTF-16", {"PRAGMA encoding='UTF-16le'", kPlain}},
      {"only read", {kPlain, "PRAGMA query_only=1"}},
      {"numbers of every kind",
       {"CREATE TABLE t (id INTEGER PRIMARY KEY, a NUMERIC, b DECIMAL(10,2), c REAL, d FLOAT)"}},
      {"types that SQLite reads its own way",
       {"CREATE TABLE t (id INT PRIMARY KEY, a INTEGER, b \"DOUBLE TEXT\", c \"FLOATING POINT\", d "
        "MONEY)"}},
      {"without row numbers",
       {"CREATE TABLE t (id INTEGER, a TEXT, b DOUBLE, c, d DATE, PRIMARY KEY (a, id)) WITHOUT "
        "ROWID"}},
      {"generated columns and checks",
       {"CREATE TABLE t (id INTEGER PRIMARY KEY AUTOINCREMENT, a TEXT CHECK (a <> 'v17'), b "
        "DOUBLE, c, "
        "d DATE DEFAULT 'x', e AS (a||b) STORED UNIQUE, f AS (id*2))"}},
      {"indexes",
       {"CREATE TABLE t (id INTEGER UNIQUE, a TEXT COLLATE NOCASE, b DOUBLE, c, d DATE)",
        "CREATE UNIQUE INDEX i ON t (a, b) WHERE c IS NOT NULL",
        "CREATE UNIQUE INDEX j ON t (lower(d)||id)"}},
      {"a trigger before, which looks and refuses",
       {kPlain,
        "CREATE TRIGGER g BEFORE INSERT ON t WHEN (SELECT COUNT(*) FROM t)>150 BEGIN SELECT "
        "RAISE(ABORT, 'full'); END"}},
      {"triggers that pass over records and change others",
       {kPlain,
        "CREATE TRIGGER g BEFORE INSERT ON t WHEN NEW.id%7=0 BEGIN SELECT RAISE(IGNORE); END",
        "CREATE TRIGGER h AFTER INSERT ON t BEGIN UPDATE t SET d=(SELECT COUNT(*) FROM t) WHERE "
        "id=NEW.id-1; END"}},
      {"a trigger that rolls back",
       {kPlain,
        "CREATE TRIGGER g BEFORE INSERT ON t WHEN NEW.id=70 BEGIN SELECT RAISE(ROLLBACK, 'no'); "
        "END"}},
      {"a conflict that rolls back",
       {"CREATE TABLE t (id INTEGER UNIQUE ON CONFLICT ROLLBACK, a, b, c, d)"}},
      {"a conflict that keeps what came before it",
       {"CREATE TABLE t (id INTEGER UNIQUE ON CONFLICT FAIL, a, b, c, d)"}},
      {"foreign keys, looked at when committed",
       {"CREATE TABLE up (id INTEGER PRIMARY KEY)", "INSERT INTO up VALUES (1),(2),(3)",
        "CREATE TABLE t (id INTEGER PRIMARY KEY, a TEXT, b DOUBLE, c INTEGER REFERENCES up "
        "DEFERRABLE "
        "INITIALLY DEFERRED, d DATE)"},
       "FKSupport=1;"},
      {"a conflict that rolls back, reached through a trigger",
       {kPlain, "CREATE TABLE seen (n UNIQUE ON CONFLICT ROLLBACK)",
        "CREATE TRIGGER g AFTER INSERT ON t BEGIN INSERT INTO seen VALUES (NEW.id/50); END"}},
      {"a full disk, with a cache that has to spill",
       {"PRAGMA page_size=512", "PRAGMA cache_size=2", kPlain, "PRAGMA max_page_count=60"}},
      {"its own parent",
       {"CREATE TABLE t (id INTEGER PRIMARY KEY, a TEXT, b DOUBLE, c INTEGER REFERENCES t, d "
        "DATE)"},
       "FKSupport=1;"},
  };
  const std::string kNumbers[] = {"-0.25",
                                  "12.5",
                                  "1e-7",
                                  "-9223372036854775808",
                                  "0.1",
                                  "123456789012345678901234567890",
                                  "1.7976931348623157e308",
                                  "7"};
  const std::string kTexts[] = {"'2024-02-29'", "NULL", "''", "'12'", "'1e3'", "' 5'"};
  Records records;
  for (std::size_t i = 1; i <= 200; ++i)
    records.push_back({std::to_string(i), "'v" + std::to_string(i) + "'",
                       i % 5 == 0 ? "NULL" : kNumbers[i % 8],
                       i % 40 == 0 ? "9" : std::to_string(i % 3 + 1), kTexts[i % 6]});
  records[0][3] = "1";
  records[30][1] = "'" + std::string(65600, 'x') + "'";
  records[31][1] = "'" + std::string(1'200'000, 'y') + "'";
  records[60][4] = "'" + std::string(30000, '\'') + "'";
  records[61][1] = "'\xc3\xa4\xe2\x82\xac \xf0\x9f\x98\x80'";
  records[89][0] = "3";
  records[90][0] = "'no number'";
  records[100] = records[99];
  const std::vector<std::string> fields = {"id", "a", "b", "c", "d"};
  for (const Row& row : kRows) {
    CAPTURE(std::string(row.name));
    std::string story[2], stored[2];
    for (const bool grouped : {false, true}) {
      DataSourceFolder sources;
      OpenSource source(Connect(sources, row.options));
      for (const std::string& sql : row.sql) Execute(*source, sql);
      story[grouped] = grouped ? PostGrouped(*source, "t", fields, records)
                               : PostSingly(*source, "t", fields, records);
      Execute(*source, "PRAGMA query_only=0");
      Execute(*source, "PRAGMA max_page_count=1000000");
      Execute(*source,
              "CREATE TABLE shown AS SELECT quote(id)||quote(a)||quote(b)||quote(c)||quote(d)||"
              "typeof(a)||typeof(b)||typeof(c)||typeof(d) AS v FROM t");
      stored[grouped] = DumpTable(*source, "shown");
      CHECK(Verdict(*source) == "ok\n");
    }
    CHECK((story[true] == story[false]));
    CHECK((stored[true] == stored[false]));
    CHECK(story[true].find('-') != std::string::npos);
  }
}

TEST_CASE("SQLite: the temporary file has no name while it is used") {
  DataSourceFolder sources;
  OpenSource source("ODBC;DSN=" + sources.Add("memory", "SQLite3", "Database=:memory:") + ";");
  Execute(*source, "CREATE TABLE t (id INTEGER PRIMARY KEY, v TEXT)");
  const auto post = [&](const std::string& folder) {
    setenv("TMPDIR", folder.c_str(), 1);
    Execute(*source, "DELETE FROM t WHERE id>0");
    NamelessFiles receiver(folder);
    auto inserter = database::AsRowDatabase(*source)->MakeRowPoster("t", {"id", "v"}, receiver, {});
    unsetenv("TMPDIR");
    REQUIRE(inserter.ok());
    for (int i = 1; i <= 20000; ++i) {
      const values::Value row[] = {
          values::Value::Integer(i),
          values::Value::Text("a text of some length, so that its file grows")};
      REQUIRE((*inserter)->Add(i, row).ok());
    }
    REQUIRE((*inserter)->Flush().ok());
    CHECK(receiver.stored == 20000);
  };
  TempFolder temporary;
  post(temporary.path());
  CHECK(std::filesystem::is_empty(temporary.path()));
  post(temporary.File("missing"));
  CHECK_FALSE(std::filesystem::exists(temporary.File("missing")));

  // A folder that is full: files of this process may not grow beyond a few pages.
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit little{300'000, before.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &little);
  const std::int64_t started = os::CpuNanoseconds();
  post(temporary.path());
  CHECK(os::CpuNanoseconds() - started < 5'000'000'000);  // and is not tried for each half
  setrlimit(RLIMIT_FSIZE, &before);
  CHECK(std::filesystem::is_empty(temporary.path()));
}

TEST_CASE("SQLite: a posting that is ended leaves no transaction open") {
  DataSourceFolder sources;
  const std::string connect = Connect(sources);
  {
    OpenSource source(connect);
    Execute(*source, "CREATE TABLE t (id INTEGER PRIMARY KEY, v TEXT)");
    CHECK(PostGrouped(*source, "t", {"id"}, {{"'x'"}}, 1).starts_with("-1["));
    Execute(*source, "INSERT INTO t VALUES (7,'stays')");
  }
  CHECK(DumpTable(*OpenSource(connect), "t") == "7|stays\n");
}

}  // namespace kelvorin::tests
