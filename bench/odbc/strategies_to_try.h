#pragma once
// The strategies that the benchmark compares: native bulk loading, and bare programs that read,
// split and send on an ODBC connection without any of the product's rooms.

#include <string>

namespace kelvorin::bench {

/// A server as the benchmark reaches it.
struct Place {
  std::string kind;     // "sqlite", "postgres", "mariadb"
  std::string connect;  // for the driver manager
  std::string folder;   // of the server or the file
  std::string port;
  std::string file;  // SQLite's database
};

// Native: sqlite3 prepared inserts in one transaction, COPY, LOAD DATA.
void LoadNatively(const Place& place, const std::string& records);
/// Bare ODBC; `strategy` is "values", "side file", "side file with texts", "unnest", "bound arrays"
/// or "array parameters". `chunk` records a statement.
void SendBarely(const Place& place, const std::string& records, const std::string& strategy,
                std::size_t chunk);
/// Reads every value of the table people as text, in blocks of rows.
void FetchBarely(const Place& place);
/// Runs one statement through a connection of its own.
void RunSql(const Place& place, const std::string& sql);
/// COUNT(*) of the table people.
long CountRows(const Place& place);

}  // namespace kelvorin::bench
