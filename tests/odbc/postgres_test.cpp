#include <doctest/doctest.h>

#include "tests/odbc/driver_checks.h"
#include "tests/odbc/odbc_backend.h"
#include "tests/odbc/open_source.h"
#include "tests/odbc/posting_check.h"
#include "tests/servers/test_server.h"

namespace kelvorin::tests {

TEST_CASE("PostgreSQL: what every driver promises about snapshots") {
  TestServer& server = SharedServer("postgres");
  if (!server.running()) return;
  DataSourceFolder sources;
  RunConformance(OdbcBackend("postgres", "ODBC;DSN=" + sources.AddServer(server) + ";UID=kv;"));
}

TEST_CASE("PostgreSQL") {
  TestServer& server = SharedServer("postgres");
  if (!server.running()) return;
  DataSourceFolder sources;
  const std::string connect = "ODBC;DSN=" + sources.AddServer(server) + ";UID=kv;";
  OpenSource source(connect);

  // one server for all: each part has tables of its own
  CheckLiterals(*source, "TEXT");
  CheckStatements(*source);

  Execute(*source, "CREATE SCHEMA other");
  Execute(*source, "CREATE TABLE other.t (id INTEGER)");
  Execute(
      *source,
      "CREATE TABLE types (i SERIAL PRIMARY KEY, b BOOLEAN, s SMALLINT, l BIGINT, r REAL, d "
      "DOUBLE PRECISION, n NUMERIC(10,2), m MONEY, c CHAR(5), v VARCHAR(40), w VARCHAR, t TEXT, "
      "u UUID, da DATE, ti TIME, ts TIMESTAMP, by BYTEA, j JSON, \"Odd Name\" INTEGER)");
  Execute(*source, "CREATE UNIQUE INDEX two ON types (v DESC, c)");
  Execute(*source, "CREATE INDEX expression ON types (lower(v))");
  Execute(*source, "CREATE UNIQUE INDEX part ON types (s) WHERE s > 5");
  CHECK(ShowTable(*source, "types") ==
        "i:Long:4*\nb:Text:5\ns:Integer:2\nl:BigInt:8\nr:Single:4\nd:Double:8\nn:Numeric:10\n"
        "m:Currency:8\nc:Text:5\nv:Text:40\nw:Memo:0\nt:Memo:0\nu:GUID:16\nda:Date:8\nti:Time:8\n"
        "ts:Date:8\nby:LongBinary:0\nj:Memo:0\nOdd Name:Long:4\ntypes_pkey(+i)!#\n"
        "two(-v;+c)!\n");
  Execute(*source, "CREATE MATERIALIZED VIEW frozen AS SELECT 1 AS one");
  std::string marked;
  for (const auto& table : *source->TableDefs())
    if (table.Name == "other.t" || table.Attributes != 0)
      marked += table.Name + (table.Attributes == 0 ? " " : "! ");
  CHECK(marked == "other.t frozen! ");
  CHECK(PostGrouped(*source, "other.t", {"id"}, {{"1"}, {"2"}}) == "+1\n+2\n");
  CHECK(DumpTable(*source, "OTHER.T") == "1\n2\n");

  // Every kind of value as it stands in arrays, and one record of each kind that is refused.
  const std::vector<std::string> fields = {"b", "l", "d",  "n", "m",       "c",
                                           "v", "u", "ts", "j", "Odd Name"};
  std::vector<std::vector<std::string>> records;
  for (int i = 0; i < 80; ++i)
    records.push_back({i % 2 == 0 ? "'1'" : "'0'", std::to_string(i * 1000000007LL), "1e-7", "12.5",
                       "12.5", i % 3 == 0 ? "NULL" : "'a\"b\\c'", "'v" + std::to_string(i) + "'",
                       "'123e4567-e89b-12d3-a456-426614174000'", "'2024-02-29 12:30:00'",
                       "'{\"a\": \"''\\\\\"}'", "NULL"});
  records[7][0] = "'maybe'";
  records[20][5] = "'longer'";
  records[21][3] = "123456789012";
  records[50][9] = "'{'";
  // all but the automatic number, which failed chunks use up
  Execute(*source, "CREATE VIEW shown AS SELECT b,l,d,n,m,c,v,u,ts,j,\"Odd Name\" FROM types");
  const std::string single = PostSingly(*source, "types", fields, records);
  const std::string rows = DumpTable(*source, "shown");
  Execute(*source, "DELETE FROM types");
  CHECK(PostGrouped(*source, "types", fields, records) == single);
  CHECK(DumpTable(*source, "shown") == rows);

  // What can be told from chunks goes record by record.
  Execute(*source, "CREATE TABLE tree (id INTEGER PRIMARY KEY, up INTEGER REFERENCES tree (id))");
  CHECK(PostGrouped(*source, "tree", {"id", "up"}, {{"1", "2"}, {"2", "NULL"}, {"3", "2"}})
            .starts_with("-1["));
  CHECK(DumpTable(*source, "tree") == "2|<null>\n3|2\n");
  Execute(*source, "CREATE TABLE log (n INTEGER)");
  Execute(*source, "CREATE TABLE watched (id INTEGER)");
  Execute(*source,
          "CREATE FUNCTION note() RETURNS trigger LANGUAGE plpgsql AS 'BEGIN INSERT INTO "
          "log SELECT COUNT(*) FROM watched; RETURN NULL; END'");
  Execute(*source, "CREATE TRIGGER t AFTER INSERT ON watched EXECUTE FUNCTION note()");
  CHECK(PostGrouped(*source, "watched", {"id"}, {{"7"}, {"8"}, {"9"}}) == "+1\n+2\n+3\n");
  CHECK(DumpTable(*source, "log") == "1\n2\n3\n");

  Execute(*source,
          "CREATE TABLE big AS SELECT i AS id, 'some text '||i AS a, repeat('x', 60)||i AS "
          "b FROM generate_series(1,100000) i");
  CHECK(GrowthWhileReading(*source, "big", 100000) < 10);

  CheckRandomPosting(*source, "postgres");
}

TEST_CASE("PostgreSQL: passwords of any kind, and a server that ends in the middle") {
  TestServer& server = SharedServer("postgres");
  if (!server.running()) return;
  DataSourceFolder sources;
  const std::string dsn = "ODBC;DSN=" + sources.AddServer(server) + ";";
  {
    OpenSource source(dsn + "UID=kv;");
    Execute(*source, "CREATE USER odd PASSWORD 'k;el}v %41=b'");
    OpenSource odd(dsn + "UID=odd;PWD={k;el}}v %41=b};pwd=;");
  }
  CheckLostServer(dsn + "UID=kv;", server);
}

}  // namespace kelvorin::tests
