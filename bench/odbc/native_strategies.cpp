#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>

#include "bench/odbc/records.h"
#include "bench/odbc/strategies_to_try.h"

namespace kelvorin::bench {
namespace {

void Require(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "native strategy: %s failed\n", what);
  std::exit(1);
}

void LoadSqlite(const std::string& file, const std::string& records) {
  sqlite3* db = nullptr;
  Require(sqlite3_open(file.c_str(), &db) == SQLITE_OK, "open");
  sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO people VALUES (?,?,?,?,?,?,?,?,?,?)", -1, &insert, nullptr);
  ForEachRecord(records, [&](const Fields& fields) {
    for (std::size_t i = 0; i < kFieldCount; ++i)
      sqlite3_bind_text(insert, static_cast<int>(i + 1), fields[i].data(),
                        static_cast<int>(fields[i].size()), SQLITE_STATIC);
    Require(sqlite3_step(insert) == SQLITE_DONE, "insert");
    sqlite3_reset(insert);
  });
  sqlite3_finalize(insert);
  Require(sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK, "commit");
  sqlite3_close(db);
}

}  // namespace

void LoadNatively(const Place& place, const std::string& records) {
  if (place.kind == "sqlite") return LoadSqlite(place.file, records);
  const std::string command =
      place.kind == "postgres" ? "psql -q -h 127.0.0.1 -U kv -p " + place.port +
                                     " imp -c \"\\copy people from '" + records + "' csv\""
                               : "mariadb --no-defaults --local-infile=1 -u root -h 127.0.0.1 -P " +
                                     place.port + " imp -e \"LOAD DATA LOCAL INFILE '" + records +
                                     "' INTO TABLE people FIELDS TERMINATED BY ','\"";
  Require(std::system(command.c_str()) == 0, "bulk load");
}

}  // namespace kelvorin::bench
