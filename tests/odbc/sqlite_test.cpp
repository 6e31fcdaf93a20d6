#include <doctest/doctest.h>

#include "tests/odbc/open_source.h"
#include "tests/odbc/posting_check.h"
#include "tests/servers/test_server.h"

namespace kelvorin::tests {

TEST_CASE("SQLite: grouped records tell the same story as single ones") {
  DataSourceFolder sources;
  WriteWhole(sources.File("t.sqlite"), "");
  sources.Add("files", "SQLite3", "Database=" + sources.File("t.sqlite"));
  OpenSource source("ODBC;DSN=files;FKSupport=1;SyncPragma=OFF;JournalMode=MEMORY;");
  MakePostingTables(*source, "sqlite");
  const char* runs = std::getenv("KELVORIN_RANDOM_RUNS");
  CheckRandomPosting(*source, runs != nullptr ? std::atoi(runs) : 40, 1);
}

}  // namespace kelvorin::tests
