#include <doctest/doctest.h>

#include "tests/odbc/open_source.h"
#include "tests/odbc/posting_check.h"
#include "tests/servers/test_server.h"

namespace kelvorin::tests {

TEST_CASE("MariaDB: grouped records tell the same story as single ones") {
  TestServer server("mariadb");
  if (!server.running()) return;
  DataSourceFolder sources;
  sources.AddServer("my", server, "mariadb");
  OpenSource source("ODBC;DSN=my;UID=root;");
  MakePostingTables(*source, "mariadb");
  const char* runs = std::getenv("KELVORIN_RANDOM_RUNS");
  CheckRandomPosting(*source, runs != nullptr ? std::atoi(runs) : 40, 1);
}

}  // namespace kelvorin::tests
