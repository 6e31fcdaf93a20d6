#include <doctest/doctest.h>

#include "tests/odbc/open_source.h"
#include "tests/odbc/posting_check.h"
#include "tests/servers/test_server.h"

namespace kelvorin::tests {

TEST_CASE("PostgreSQL: grouped records tell the same story as single ones") {
  TestServer server("postgres");
  if (!server.running()) return;
  DataSourceFolder sources;
  sources.AddServer("pg", server, "postgres");
  OpenSource source("ODBC;DSN=pg;UID=kv;");
  MakePostingTables(*source, "postgres");
  const char* runs = std::getenv("KELVORIN_RANDOM_RUNS");
  CheckRandomPosting(*source, runs != nullptr ? std::atoi(runs) : 40, 1);
}

}  // namespace kelvorin::tests
