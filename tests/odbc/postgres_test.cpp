#include <doctest/doctest.h>

#include <algorithm>

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

  // A trigger that mends what an earlier record of its statement broke.
  Execute(*source, "CREATE TABLE up (id INTEGER PRIMARY KEY)");
  for (const char* rule : {"REFERENCES up (id)", "UNIQUE DEFERRABLE"}) {
    Execute(*source, "CREATE TABLE mended (id INTEGER, n INTEGER " + std::string(rule) + ")");
    Execute(*source,
            "CREATE OR REPLACE FUNCTION mend() RETURNS trigger LANGUAGE plpgsql AS 'BEGIN DELETE "
            "FROM mended WHERE id=new.id-9; RETURN new; END'");
    Execute(*source,
            "CREATE TRIGGER m BEFORE INSERT ON mended FOR EACH ROW EXECUTE FUNCTION mend()");
    std::vector<std::vector<std::string>> some;
    for (int i = 1; i <= 90; ++i)
      some.push_back({std::to_string(i), i == 50 || i == 51 || i == 85 ? "7" : "NULL"});
    const std::string mended = PostSingly(*source, "mended", {"id", "n"}, some);
    CHECK(mended.find('-') != std::string::npos);
    Execute(*source, "DELETE FROM mended");
    CHECK(PostGrouped(*source, "mended", {"id", "n"}, some) == mended);
    Execute(*source, "DROP TABLE mended");
  }

  Execute(*source,
          "CREATE TABLE big AS SELECT i AS id, 'some text '||i AS a, repeat('x', 60)||i AS "
          "b FROM generate_series(1,100000) i");
  CHECK(GrowthWhileReading(*source, "big", 100000) < 10);

  // A value wider than any plan costs no row and brings none twice.
  Execute(*source,
          "CREATE TABLE wide AS SELECT i AS id, CASE WHEN i%1700=0 THEN "
          "repeat('9',300)::numeric ELSE i/3.0 END AS n FROM generate_series(1,4000) i");
  const std::string wide = DumpTable(*source, "wide");
  CHECK(std::count(wide.begin(), wide.end(), '\n') == 4000);
  CHECK(wide.find("1700|" + std::string(300, '9') + "\n") != std::string::npos);
  CHECK(ShowTable(*source, "wide").find("n:Numeric:0") != std::string::npos);

  CheckRandomPosting(*source, "postgres");
}

TEST_CASE("PostgreSQL: functions and policies that look at the table see single records") {
  TestServer& server = SharedServer("postgres");
  if (!server.running()) return;
  DataSourceFolder sources;
  const std::string dsn = "ODBC;DSN=" + sources.AddServer(server) + ";";
  OpenSource owner(dsn + "UID=kv;");
  Execute(*owner, "CREATE TABLE looks_a (id INTEGER)");
  for (const char* volatility : {"STABLE", "VOLATILE"}) {
    const std::string name = std::string("looks_") + volatility;
    Execute(*owner, "CREATE OR REPLACE FUNCTION " + name + "_count() RETURNS bigint LANGUAGE sql " +
                        volatility + " AS 'SELECT count(*) FROM looks_a'");
  }
  Execute(*owner,
          "CREATE FUNCTION looks_under(integer, bigint) RETURNS boolean LANGUAGE sql STABLE "
          "AS 'SELECT looks_stable_count() < $2'");
  Execute(*owner, "CREATE OPERATOR <<< (LEFTARG=integer, RIGHTARG=bigint, FUNCTION=looks_under)");
  Execute(*owner, "CREATE DOMAIN looks_few AS integer CHECK (looks_stable_count() < 5)");
  Execute(*owner, "CREATE DOMAIN looks_fewer AS looks_few");
  Execute(*owner, "CREATE DOMAIN looks_fewest AS looks_fewer");
  const char* kTables[] = {
      "CREATE TABLE looks_a (id INTEGER CHECK (looks_stable_count() < 5), n INTEGER)",
      "CREATE TABLE looks_a (id INTEGER CHECK (id OPERATOR(public.<<<) 5), n INTEGER)",
      "CREATE TABLE looks_a (id looks_few, n INTEGER)",
      "CREATE TABLE looks_a (id looks_fewest, n INTEGER)",
      "CREATE TABLE looks_a (id INTEGER, n INTEGER, c looks_few[] DEFAULT '{1}')",
      "CREATE TABLE looks_a (id INTEGER, n INTEGER, c BIGINT DEFAULT looks_volatile_count())",
      "CREATE TABLE looks_a (id INTEGER, n INTEGER) PARTITION BY RANGE (id)"};
  std::vector<std::vector<std::string>> records;
  for (int i = 1; i <= 90; ++i) records.push_back({std::to_string(i), "1"});
  for (const std::string table : kTables) {
    CAPTURE(table);
    std::string story[2], rows[2];
    for (const bool grouped : {false, true}) {
      Execute(*owner, "DROP TABLE looks_a");
      Execute(*owner, table);
      if (table.find("PARTITION") != std::string::npos)
        Execute(*owner,
                "CREATE TABLE looks_part PARTITION OF looks_a (CHECK (looks_stable_count() "
                "< 9)) FOR VALUES FROM (0) TO (1000)");
      story[grouped] = grouped ? PostGrouped(*owner, "looks_a", {"id", "n"}, records)
                               : PostSingly(*owner, "looks_a", {"id", "n"}, records);
      rows[grouped] = DumpTable(*owner, "looks_a");
    }
    CHECK(story[true] == story[false]);
    CHECK(rows[true] == rows[false]);
  }
  // What others' tables call is nothing to this one.
  Execute(*owner, "CREATE TABLE looks_not (id INTEGER CHECK (id > 0))");
  CHECK(GroupsRecords(*owner, "looks_not", {"id"}));
  Execute(*owner, "GRANT USAGE ON SCHEMA public TO PUBLIC");
  Execute(*owner, "CREATE TABLE guarded (id INTEGER, n INTEGER)");
  Execute(*owner, "ALTER TABLE guarded ENABLE ROW LEVEL SECURITY");
  Execute(*owner,
          "CREATE POLICY p ON guarded FOR INSERT WITH CHECK ((SELECT count(*) FROM "
          "guarded) < 3)");
  Execute(*owner, "CREATE POLICY q ON guarded FOR SELECT USING (true)");
  Execute(*owner, "CREATE USER guest");
  Execute(*owner, "GRANT ALL ON guarded TO guest");
  OpenSource guest(dsn + "UID=guest;");
  CHECK(PostGrouped(*guest, "guarded", {"id", "n"}, records).starts_with("+1\n+2\n+3\n-4["));
}

TEST_CASE("PostgreSQL: values come and go as they are whatever the account sets") {
  TestServer& server = SharedServer("postgres");
  if (!server.running()) return;
  DataSourceFolder sources;
  const std::string dsn = "ODBC;DSN=" + sources.AddServer(server) + ";";
  {
    OpenSource owner(dsn + "UID=kv;");
    Execute(*owner, "CREATE USER abroad SUPERUSER");
    for (const char* setting :
         {"TimeZone='America/New_York'", "DateStyle='SQL, DMY'", "client_encoding='LATIN1'",
          "extra_float_digits=-3", "standard_conforming_strings=off"})
      Execute(*owner, std::string("ALTER ROLE abroad SET ") + setting);
    Execute(*owner, "CREATE TYPE mood AS ENUM ('sad', 'fine')");
    Execute(*owner, "CREATE DOMAIN short AS numeric CHECK (value < 1e9)");
  }
  OpenSource source(dsn + "UID=abroad;LFConversion=1;BoolsAsChar=0;MaxVarcharSize=10;BI=4;");
  Execute(
      *source,
      "CREATE TABLE kept (id BIGINT, z TIMESTAMPTZ, t TIMESTAMP, d DATE, n NUMERIC, f FLOAT8, v "
      "VARBIT, b BIT(3), i INTERVAL, tz TIMETZ, a INTEGER[], j JSON, e mood, s short, x TEXT, o "
      "BOOLEAN, m MONEY)");
  const std::vector<std::string> fields = {"id", "z", "t", "d", "n", "f", "v", "b", "i",
                                           "tz", "a", "j", "e", "s", "x", "o", "m"};
  const std::vector<std::vector<std::string>> kRecords = {
      {"1", "'2024-11-03 05:30:00.123456'", "'2024-11-03 01:30:00.5'", "'2024-02-03'", "0.1", "0.1",
       "'10101'", "'101'", "'1 mon 2 days'", "'12:00:00+02'", "'{1,2}'", "'{\"a\": 1}'", "'sad'",
       "1.25", "'line\nline \\ \u00e4\u20ac'", "'1'", "12.5"},
      {"9007199254740993", "'infinity'", "'-infinity'", "'0044-03-15 BC'", "'NaN'", "'Infinity'",
       "''", "NULL", "NULL", "NULL", "NULL", "NULL", "NULL", "NULL", "''", "NULL", "NULL"}};
  const std::string kExpected =
      "1|2024-11-03 05:30:00.123456|2024-11-03 01:30:00.500|2024-02-03|0.1|0.1|10101|101|1 mon 2 "
      "days|12:00:00+02|{1,2}|{\"a\": 1}|sad|1.25|line\nline \\ \u00e4\u20ac|1|12.5\n"
      "9007199254740993|infinity|-infinity|0044-03-15 "
      "BC|NaN|Infinity||<null>|<null>|<null>|<null>|<null>|<null>|"
      "<null>||<null>|<null>\n";
  CHECK(PostGrouped(*source, "kept", fields, kRecords) == "+1\n+2\n");
  CHECK(DumpTable(*source, "kept") == kExpected);
  CHECK(ShowTable(*source, "kept").starts_with("id:BigInt:8\n"));
  const auto def = source->FindTableDef("kept");
  std::string without_empty;
  for (const auto& field : def->Fields)
    if (values::IsText(field.Type) && !field.AllowZeroLength) without_empty += field.Name + " ";
  CHECK(without_empty == "b i tz a j e o ");
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
  {
    OpenSource source(dsn + "UID=kv;"), other(dsn + "UID=kv;");
    Execute(*source, "CREATE TABLE waits (id INTEGER, t VARCHAR(20))");
    Execute(*other, "BEGIN");
    CheckGivingUp(*source, "waits", true,
                  [&] { Execute(*other, "LOCK TABLE waits IN SHARE MODE"); });
    Execute(*other, "ROLLBACK");
    CHECK(DumpTable(*other, "waits").empty());
    CheckGivingUp(*source, "waits", false, [&] { server.Freeze(true); });
    server.Freeze(false);
  }
  CheckLostServer(dsn + "UID=kv;", server);
}

}  // namespace kelvorin::tests
