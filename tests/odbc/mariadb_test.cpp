#include <doctest/doctest.h>

#include <algorithm>
#include <array>

#include "tests/odbc/driver_checks.h"
#include "tests/odbc/odbc_backend.h"
#include "tests/odbc/open_source.h"
#include "tests/odbc/posting_check.h"
#include "tests/servers/test_server.h"

namespace kelvorin::tests {

TEST_CASE("MariaDB: what every driver promises about snapshots") {
  TestServer& server = SharedServer("mariadb");
  if (!server.running()) return;
  DataSourceFolder sources;
  RunConformance(OdbcBackend("mariadb", "ODBC;DSN=" + sources.AddServer(server) + ";UID=root;"));
}

TEST_CASE("MariaDB") {
  TestServer& server = SharedServer("mariadb");
  if (!server.running()) return;
  DataSourceFolder sources;
  const std::string connect = "ODBC;DSN=" + sources.AddServer(server) + ";UID=root;";
  OpenSource source(connect);

  // one server for all: each part has tables of its own
  CheckLiterals(*source, "MEDIUMTEXT");
  CheckStatements(*source);

  Execute(*source,
          "CREATE TABLE types (a INT, i INT AUTO_INCREMENT, b BOOLEAN, t TINYINT UNSIGNED, s "
          "SMALLINT, su SMALLINT UNSIGNED, l BIGINT, lu BIGINT UNSIGNED, d DOUBLE, f FLOAT, n "
          "DECIMAL(10,2), c CHAR(5), v VARCHAR(40), w VARCHAR(300), m TEXT, da DATE, ti TIME, ts "
          "DATETIME, bl BLOB, bi BIT(1), y YEAR, PRIMARY KEY (i, a), UNIQUE two (v, s))");
  CHECK(ShowTable(*source, "types") ==
        "a:Long:4\ni:Long:4*\nb:Integer:2\nt:Byte:1\ns:Integer:2\nsu:Long:4\nl:BigInt:8\n"
        "lu:Decimal:20\nd:Double:8\nf:Single:4\nn:Decimal:10\nc:Text:5\nv:Text:40\nw:Memo:0\n"
        "m:Memo:0\nda:Date:8\nti:Time:8\nts:Date:8\nbl:LongBinary:0\nbi:Boolean:1\ny:Long:4\n"
        "PRIMARY(+i;+a)!#\ntwo(+v;+s)!\n");

  // Columns that tell numbers from texts, and an engine that keeps a statement's first records.
  const std::pair<const char*, const char*> kTables[] = {
      {"years", "(id INT PRIMARY KEY, y YEAR, b BIT(1)) ENGINE=InnoDB"},
      {"aria", "(id INT PRIMARY KEY, y TINYINT, b INT) ENGINE=Aria"},
      {"plain", "(id INT PRIMARY KEY, y TINYINT, b INT) ENGINE=InnoDB"}};
  std::vector<std::vector<std::string>> records;
  for (int i = 1; i <= 150; ++i)
    records.push_back(
        {std::to_string(i == 90 ? 3 : i), std::to_string(i % 60), i % 2 == 0 ? "1" : "0"});
  records[70][1] = "1000";
  for (const auto& entry : kTables) {
    const std::string table = entry.first;
    CAPTURE(table);
    const std::string make = "CREATE TABLE " + table + " " + entry.second;
    Execute(*source, make);
    const std::string single = PostSingly(*source, table, {"id", "y", "b"}, records);
    const std::string rows = DumpTable(*source, table);
    Execute(*source, "DROP TABLE " + table);
    Execute(*source, make);
    CHECK(PostGrouped(*source, table, {"id", "y", "b"}, records) == single);
    CHECK(DumpTable(*source, table) == rows);
  }

  CheckRandomPosting(*source, "mariadb");
}

TEST_CASE("MariaDB: values come and go as they are whatever the server and the source set") {
  TestServer& server = SharedServer("mariadb");
  if (!server.running()) return;
  DataSourceFolder sources;
  const std::string connect = "ODBC;DSN=" + sources.AddServer(server) + ";UID=root;";
  {
    OpenSource source(connect);
    Execute(*source, "SET GLOBAL sql_mode='ANSI_QUOTES,PIPES_AS_CONCAT'");
    Execute(*source, "SET GLOBAL time_zone='+05:00'");
    Execute(*source, "SET GLOBAL max_allowed_packet=1048576");
  }
  OpenSource source(connect + "CHARSET=latin1;");
  Execute(
      *source,
      "CREATE TABLE kept (id INT AUTO_INCREMENT PRIMARY KEY, t TINYINT NOT NULL, v VARCHAR(10), "
      "s TIMESTAMP(6) NULL) CHARSET=utf8mb4");
  const std::string story =
      PostGrouped(*source, "kept", {"id", "t", "v", "s"},
                  {{"0", "1", "'\u00e4\u20ac\\'", "'2024-07-01 12:00:00.123456'"},
                   {"2", "300", "'x'", "NULL"},
                   {"3", "NULL", "'x'", "NULL"},
                   {"4", "1", "'12345678901'", "NULL"},
                   {"5", "1", "'y'", "NULL"}});
  std::string signs;
  for (std::size_t at = 0; at < story.size(); at = story.find('\n', at) + 1) signs += story[at];
  CHECK(signs == "+---+");
  CHECK(DumpTable(*source, "kept") ==
        "0|1|\u00e4\u20ac\\|2024-07-01 12:00:00.123456\n5|1|y|<null>\n");
  // What is longer than a statement may be costs its own record only, and chunks keep below it.
  Execute(*source, "CREATE TABLE packets (id INT PRIMARY KEY, v LONGTEXT)");
  std::vector<std::vector<std::string>> records;
  for (int i = 1; i <= 4000; ++i)
    records.push_back({std::to_string(i), "'" + std::string(i == 70 ? 1'200'000 : 900, 'x') + "'"});
  const std::string packets = PostGrouped(*source, "packets", {"id", "v"}, records);
  CHECK(std::count(packets.begin(), packets.end(), '-') == 1);
  CHECK(packets.find("\n-70[") != std::string::npos);
  CHECK(packets.find("max_allowed_packet") != std::string::npos);
}

TEST_CASE("MariaDB: pages along a key bring every row once, whatever the key is made of") {
  TestServer& server = SharedServer("mariadb");
  if (!server.running()) return;
  DataSourceFolder sources;
  OpenSource source("ODBC;DSN=" + sources.AddServer(server) + ";UID=root;");
  const std::string letter =
      "CONCAT(ELT(1+seq MOD 7,'a','B','\u00e4','\u00df','\u00d1','z''',' \\\\'),seq)";
  // columns of the key, their values, what follows them
  const std::array<std::string, 3> kKeys[] = {
      {"k INT", "2*CAST(seq AS SIGNED)-3000", ", PRIMARY KEY (k))"},
      {"k BIGINT UNSIGNED ZEROFILL", "18446744073709551615-seq", ", PRIMARY KEY (k))"},
      {"k DECIMAL(20,5)", "(CAST(seq AS SIGNED)-1500)/7", ", PRIMARY KEY (k))"},
      {"k DATETIME(6)", "'2024-01-01'+INTERVAL seq*7919 MICROSECOND", ", PRIMARY KEY (k DESC))"},
      {"k TIMESTAMP(3)", "'2024-01-01'+INTERVAL seq*7 HOUR", ", PRIMARY KEY (k))"},
      {"k UUID", "CONCAT(LPAD(HEX(seq),8,'0'),'-1111-1111-1111-',LPAD(HEX(9000-seq),12,'0'))",
       ", PRIMARY KEY (k))"},
      {"k VARCHAR(20) COLLATE utf8mb4_general_ci", letter, ", PRIMARY KEY (k))"},
      {"k VARCHAR(20) COLLATE utf8mb4_unicode_nopad_ci", letter, ", PRIMARY KEY (k))"},
      {"k CHAR(20) CHARACTER SET latin1 COLLATE latin1_german2_ci", letter, ", PRIMARY KEY (k))"},
      {"k VARCHAR(20) CHARACTER SET ucs2", letter, ", PRIMARY KEY (k))"},
      {"k VARBINARY(8)", "UNHEX(RIGHT(HEX(seq*7919*65536),8))", ", PRIMARY KEY (k))"},
      {"k DATE, k2 VARCHAR(9)", "'2024-01-01'+INTERVAL seq MOD 20 DAY, CONCAT('x',seq)",
       ", PRIMARY KEY (k2, k))"},
      {"k INT, k2 INT, k3 INT", "seq MOD 3, seq MOD 7, seq",
       ", PRIMARY KEY (k,k2,k3)) PARTITION BY HASH (k3) PARTITIONS 3"},
      {"k INT NOT NULL", "seq", ", UNIQUE (k))"},
      {"k INT", "IF(seq MOD 5=0,NULL,seq)", ", UNIQUE (k))"},
      {"k VARCHAR(20) NOT NULL", letter, ", UNIQUE (k(9)))"},
      {"k INT", "seq", ", PRIMARY KEY (k)) ENGINE=Aria"}};
  for (const auto& [columns, values, key] : kKeys) {
    CAPTURE(columns);
    CAPTURE(key);
    Execute(*source, "CREATE OR REPLACE TABLE paged (n INT," + columns + ", t TEXT" + key);
    Execute(*source, "INSERT INTO paged SELECT seq," + values +
                         ",REPEAT('t',seq MOD 50) FROM seq_1_to_3000");
    Execute(*source, "CREATE OR REPLACE TABLE whole AS SELECT * FROM paged");
    const std::string rows = DumpTable(*source, "paged");
    CHECK(std::count(rows.begin(), rows.end(), '\n') == 3000);
    CHECK(rows == DumpTable(*source, "whole"));  // which has no key
  }

  Execute(*source,
          "CREATE TABLE big (PRIMARY KEY (id)) AS SELECT seq AS id, CONCAT('some text ',seq) AS a, "
          "CONCAT(REPEAT('x',60),seq) AS b FROM seq_1_to_200000");
  CHECK(GrowthWhileReading(*source, "big", 200000) < 10);
  // All pages are of one moment.
  OpenSource other("ODBC;DSN=" + sources.AddServer(server) + ";UID=root;");
  const auto set = *source->OpenRecordset("big", database::RecordsetType::kSnapshot);
  REQUIRE(set->Move(10).ok());
  Execute(*other, "UPDATE big SET id=id+400000 WHERE id MOD 3=0");
  Execute(*other, "DELETE FROM big WHERE id MOD 3=1");
  std::int64_t sum = 0, count = 10;
  std::string id;
  bool is_null = false;
  for (; !set->Eof(); Advance(*set), ++count) {
    REQUIRE(set->Fields(0).GetText(id, is_null).ok());
    sum += std::stoll(id);
  }
  CHECK(count == 200000);
  CHECK(sum == std::int64_t{200000} * 200001 / 2 - 55);
}

TEST_CASE("MariaDB: passwords of any kind, and a server that ends in the middle") {
  TestServer& server = SharedServer("mariadb");
  if (!server.running()) return;
  DataSourceFolder sources;
  const std::string dsn = "ODBC;DSN=" + sources.AddServer(server) + ";";
  {
    OpenSource source(dsn + "UID=root;");
    Execute(*source, "CREATE USER odd@'%' IDENTIFIED BY 'k;el}v %41=b'");
    Execute(*source, "GRANT ALL ON imp.* TO odd@'%'");
    OpenSource odd(dsn + "UID=odd;PWD={k;el}}v %41=b};pwd=;");
  }
  {
    OpenSource source(dsn + "UID=root;"), other(dsn + "UID=root;");
    Execute(*source, "CREATE TABLE waits (id INTEGER, t VARCHAR(20))");
    CheckGivingUp(*source, "waits", true, [&] { Execute(*other, "LOCK TABLES waits READ"); });
    Execute(*other, "UNLOCK TABLES");
    CHECK(DumpTable(*other, "waits").empty());
    CheckGivingUp(*source, "waits", false, [&] { server.Freeze(true); });
    server.Freeze(false);
  }
  CheckLostServer(dsn + "UID=root;", server);
}

}  // namespace kelvorin::tests
