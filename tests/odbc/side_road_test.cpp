#include <doctest/doctest.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "base/os/system.h"
#include "database/odbc/side_table.h"
#include "tests/odbc/open_source.h"
#include "tests/odbc/posting_check.h"
#include "tests/servers/test_server.h"

namespace kelvorin::tests {
namespace {

using Records = std::vector<std::vector<std::string>>;

/// Sets where temporary files go, while it lives.
struct TemporaryFolder {
  explicit TemporaryFolder(const std::string& path) { setenv("TMPDIR", path.c_str(), 1); }
  ~TemporaryFolder() { unsetenv("TMPDIR"); }
};

std::size_t FilesBelow(const std::string& folder) {
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
    files += entry.is_regular_file() ? 1 : 0;
  return files;
}

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

/// Counts records, and sees that none waits in a file that a crash would leave behind.
class NamelessFiles final : public database::BulkReceiver {
 public:
  explicit NamelessFiles(std::string folder) : folder_(std::move(folder)) {}
  void Stored(std::int64_t record_no) override {
    ++stored;
    if (record_no % 5000 == 1 && std::filesystem::exists(folder_)) CHECK(FilesBelow(folder_) == 0);
  }
  bool Refused(std::int64_t, const Status&) override { return true; }
  int stored = 0;

 private:
  std::string folder_;
};

// Rows for a side file and, for each that fits, what SQLite's quote() makes of its values.
class Rows {
 public:
  Rows(database_odbc::SideTable& side, std::size_t columns) : side_(side), columns_(columns) {}
  void Add(std::size_t bytes_of_first, std::mt19937& random) {
    std::string line;
    for (std::size_t i = 0; i < columns_; ++i) {
      line += i == 0 ? "" : "|";
      const std::size_t size = i == 0 ? bytes_of_first : random() % 9 == 0 ? random() % 300 : 3;
      const std::string text(size, static_cast<char>('a' + random() % 26));
      const std::size_t kind = i == 0 ? 0 : random() % 4;
      if (kind == 0) {
        side_.AddQuotedText(text + "''");
        line += "'" + text + "'''";
      } else if (kind == 1) {
        // near the borders of every width
        const std::int64_t number =
            (std::int64_t{1} << random() % 63) * (random() % 2 == 0 ? 1 : -1) + random() % 5 - 2;
        side_.AddInteger(number);
        line += std::to_string(number);
      } else if (kind == 2) {
        side_.AddNull();
        line += "NULL";
      } else {
        side_.AddBytes("A1");
        line += "X'4131'";
      }
    }
    ++count;
    if (side_.EndRow()) {
      expected.push_back(std::to_string(count) + "|" + line + "\n");
    } else {
      ++unfit;
    }
  }
  std::vector<std::string> expected;
  std::size_t count = 0, unfit = 0;

 private:
  database_odbc::SideTable& side_;
  std::size_t columns_;
};

}  // namespace

TEST_CASE("a side file is a sound database with every row that it took") {
  DataSourceFolder sources;
  OpenSource source(Connect(sources));
  std::mt19937 random(7);
  for (const std::size_t columns : {1, 2, 125, 126, 127, 128, 251}) {
    CAPTURE(columns);
    database_odbc::SideTable side(columns);
    Execute(*source, "ATTACH DATABASE '" + side.path() + "' AS side");
    std::string quoted = "quote(c0)";
    for (std::size_t i = 1; i < columns; ++i) quoted += "||'|'||quote(c" + std::to_string(i) + ")";
    // One leaf, none, many below an inner page, and then fewer again in a file that stays long.
    struct Round {
      std::size_t rows, shortest, longest;
    };
    const Round kRounds[] = {{1, 0, 0},         {0, 0, 0},           {40, 65000, 65536},
                             {3000, 0, 80},     {120, 32700, 32770}, {60, 8180, 8200},
                             {200, 100, 70000}, {30, 50, 60}};
    for (const Round& round : kRounds) {
      CAPTURE(round.longest);
      const std::size_t wanted = std::min(round.rows, 20000 / columns);
      side.Clear();
      Rows rows(side, columns);
      for (std::size_t i = 0; i < wanted; ++i)
        rows.Add(round.shortest + random() % (round.longest - round.shortest + 1), random);
      side.Write();
      if (columns == 1 && round.shortest == 65000) CHECK((rows.unfit > 0 && rows.unfit < 20));
      if (round.longest < 32800) CHECK(rows.unfit == 0);
      CHECK(side.rows() == wanted);
      CHECK(Verdict(*source) == "ok\n");
      Execute(*source, "CREATE TABLE got AS SELECT rowid||'|'||" + quoted + " AS v FROM side.r");
      std::string expected;
      std::sort(rows.expected.begin(), rows.expected.end());
      for (const std::string& line : rows.expected) expected += line;
      Execute(*source,
              "DELETE FROM got WHERE v LIKE '%|NULL' AND replace(v,'|NULL','') NOT LIKE "
              "'%|%'");  // rows that no page could hold
      CHECK((DumpTable(*source, "got") == expected));
      Execute(*source, "DROP TABLE got");
    }
    Execute(*source, "DETACH DATABASE side");
  }
}

TEST_CASE("SQLite: every kind of table stores from a file what single statements store") {
  struct Row {
    const char* name;
    const char* sql;      // makes the table t (id, a, b, c, d) and what belongs to it
    const char* options;  // of the connect string
  };
  const char* const kPlain = "CREATE TABLE t (id INTEGER PRIMARY KEY, a TEXT, b DOUBLE, c, d DATE)";
  const Row kRows[] = {
      {"plain", kPlain, ""},
      {"write-ahead log", kPlain, "JournalMode=WAL;"},
      {"UTF-16", "PRAGMA encoding='UTF-16le';CREATE TABLE t (id INTEGER PRIMARY KEY, a, b, c, d)",
       ""},
      {"numbers of every kind",
       "CREATE TABLE t (id INTEGER PRIMARY KEY, a NUMERIC, b DECIMAL(10,2), c REAL, d FLOAT)", ""},
      {"types that SQLite reads its own way",
       "CREATE TABLE t (id INT PRIMARY KEY, a INTEGER, b \"DOUBLE TEXT\", c \"FLOATING POINT\", d "
       "MONEY)",
       ""},
      {"without row numbers",
       "CREATE TABLE t (id INTEGER, a TEXT, b DOUBLE, c, d DATE, PRIMARY KEY (a, id)) WITHOUT "
       "ROWID",
       ""},
      {"generated columns and checks",
       "CREATE TABLE t (id INTEGER PRIMARY KEY AUTOINCREMENT, a TEXT CHECK (a <> 'v17'), b DOUBLE, "
       "c, "
       "d DATE DEFAULT 'x', e AS (a||b) STORED UNIQUE, f AS (id*2))",
       ""},
      {"indexes",
       "CREATE TABLE t (id INTEGER UNIQUE, a TEXT COLLATE NOCASE, b DOUBLE, c, d DATE);"
       "CREATE UNIQUE INDEX i ON t (a, b) WHERE c IS NOT NULL;CREATE UNIQUE INDEX j ON t "
       "(lower(d)||id)",
       ""},
      {"a trigger before, which looks and refuses",
       "CREATE TABLE t (id INTEGER PRIMARY KEY, a TEXT, b DOUBLE, c, d DATE);"
       "CREATE TRIGGER g BEFORE INSERT ON t WHEN (SELECT COUNT(*) FROM t)>150 BEGIN SELECT "
       "RAISE(ABORT, 'full'); END",
       ""},
      {"triggers that pass over records and note others",
       "CREATE TABLE t (id INTEGER PRIMARY KEY, a TEXT, b DOUBLE, c, d DATE);CREATE TABLE r (n, m);"
       "CREATE TRIGGER g BEFORE INSERT ON t WHEN NEW.id%7=0 BEGIN SELECT RAISE(IGNORE); END;"
       "CREATE TRIGGER h AFTER INSERT ON t BEGIN INSERT INTO r SELECT NEW.id, COUNT(*) FROM t; END",
       ""},
      {"foreign keys, one looked at when committed",
       "CREATE TABLE up (id INTEGER PRIMARY KEY);INSERT INTO up VALUES (1),(2),(3);"
       "CREATE TABLE t (id INTEGER PRIMARY KEY, a TEXT, b DOUBLE, c INTEGER REFERENCES up "
       "DEFERRABLE INITIALLY DEFERRED, d DATE)",
       "FKSupport=1;"},
      {"its own parent",
       "CREATE TABLE t (id INTEGER PRIMARY KEY, a TEXT, b DOUBLE, c INTEGER REFERENCES t, d DATE)",
       "FKSupport=1;"},
  };
  Records records;
  for (int i = 1; i <= 200; ++i) {
    const std::string n = std::to_string(i);
    const std::string numbers[] = {"-0.0",
                                   "12.50",
                                   "1e5",
                                   "-9223372036854775808",
                                   "0.1",
                                   "123456789012345678901234567890",
                                   "1.7976931348623157e308",
                                   "007"};
    const std::string others[] = {"'2024-02-29'", "NULL", "''", "'12'", "'1e3'", "' 5'"};
    records.push_back({i == 90   ? "3"
                       : i == 91 ? "'no number'"
                                 : n,
                       "'v" + n + "'", i % 5 == 0 ? "NULL" : numbers[i % 8],
                       i % 40 == 0 ? "9" : std::to_string(i % 3 + 1), others[i % 6]});
  }
  records[0][3] = "1";
  records[100] = records[99];
  records[30][1] = "'" + std::string(65600, 'x') + "'";
  records[31][1] = "'" + std::string(1'200'000, 'y') + "'";
  records[60][4] = "'" + std::string(30000, '\'') + "'";
  records[61][1] = "'\xc3\xa4\xe2\x82\xac \xf0\x9f\x98\x80'";
  for (const Row& row : kRows) {
    CAPTURE(std::string(row.name));
    std::string story, stored;
    for (const bool grouped : {false, true}) {
      DataSourceFolder sources;
      OpenSource source(Connect(sources, row.options));
      std::string sql;
      for (const char* at = row.sql;; ++at) {  // one statement a call; a trigger's own stay with it
        if (*at != '\0' && (*at != ';' || at[1] == ' ')) {
          sql += *at;
          continue;
        }
        Execute(*source, sql);
        sql.clear();
        if (*at == '\0') break;
      }
      const std::vector<std::string> fields = {"id", "a", "b", "c", "d"};
      const std::string heard = grouped ? PostGrouped(*source, "t", fields, records)
                                        : PostSingly(*source, "t", fields, records);
      Execute(*source, "CREATE TABLE shown (v TEXT)");
      Execute(*source,
              "INSERT INTO shown SELECT quote(id)||quote(a)||quote(b)||quote(c)||quote(d) FROM t");
      Execute(
          *source,
          "INSERT INTO shown SELECT 'type '||typeof(a)||typeof(b)||typeof(c)||typeof(d) FROM t");
      if (std::string_view(row.sql).find("TABLE r ") != std::string_view::npos)
        Execute(*source, "INSERT INTO shown SELECT 'noted '||n||' '||m FROM r");
      const std::string rows = DumpTable(*source, "shown");
      CHECK(Verdict(*source) == "ok\n");
      if (!grouped) {
        story = heard;
        stored = rows;
      } else {
        CHECK((heard == story));
        CHECK((rows == stored));
      }
    }
    CHECK(story.find('-') != std::string::npos);
    CHECK(std::count(story.begin(), story.end(), '+') > 50);
  }
}

TEST_CASE("SQLite: records of a read-only file and of one in memory") {
  Records records;
  for (int i = 0; i < 100; ++i) records.push_back({std::to_string(i == 50 ? 3 : i), "'text'"});
  DataSourceFolder sources;
  {
    OpenSource memory("ODBC;DSN=" + sources.Add("memory", "SQLite3", "Database=:memory:") + ";");
    Execute(*memory, "CREATE TABLE t (id INTEGER PRIMARY KEY, v TEXT)");
    CHECK(PostGrouped(*memory, "t", {"id", "v"}, records).find("-51[") != std::string::npos);
    Execute(*memory, "DELETE FROM t WHERE v='text'");
  }
  OpenSource source(Connect(sources));
  Execute(*source, "CREATE TABLE t (id INTEGER PRIMARY KEY, v TEXT)");
  Execute(*source, "PRAGMA query_only=1");
  const std::string story = PostGrouped(*source, "t", {"id", "v"}, records);
  CHECK(std::count(story.begin(), story.end(), '+') == 0);
  CHECK(story == PostSingly(*source, "t", {"id", "v"}, records));
}

TEST_CASE("SQLite: the temporary file has no name while it is used") {
  DataSourceFolder sources;
  OpenSource source("ODBC;DSN=" + sources.Add("memory", "SQLite3", "Database=:memory:") + ";");
  Execute(*source, "CREATE TABLE t (id INTEGER PRIMARY KEY, v TEXT)");
  const auto post = [&](const std::string& folder) {
    const TemporaryFolder here(folder);
    Execute(*source, "DELETE FROM t WHERE id>0");
    NamelessFiles receiver(folder);
    auto inserter =
        database::AsBulkDatabase(*source)->MakeBulkInserter("t", {"id", "v"}, receiver, {});
    REQUIRE(inserter.ok());
    database::LiteralRow row;
    for (int i = 1; i <= 20000; ++i) {
      row.Clear();
      row.AppendWritten(std::to_string(i));
      row.AppendWritten("'a text of some length, so that its file grows'");
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
  rlimit little = before;
  little.rlim_cur = 300'000;
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
  OpenSource source(connect);
  CHECK(DumpTable(*source, "t") == "7|stays\n");
}

}  // namespace kelvorin::tests
