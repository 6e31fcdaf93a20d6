#include <doctest/doctest.h>

#include <algorithm>

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
    Execute(*source, "SET GLOBAL sql_mode=''");
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
