#include <doctest/doctest.h>

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
  CheckLostServer(dsn + "UID=root;", server);
}

}  // namespace kelvorin::tests
