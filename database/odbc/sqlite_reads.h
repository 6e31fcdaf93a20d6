#pragma once
// SQLite lets nobody commit to a file while a read transaction on it is open. Readers of this room
// keep one, so that a table is read as it was at one moment; a writer of the same process would
// wait for it in vain, so writers end the reading transactions of their file. Included by .cpp
// files of this room only.

#include <string>

#include "database/odbc/handles.h"

namespace kelvorin::database::odbc {

/// A reading transaction on a connection of its own, from its making until it goes or a writer of
/// the same file ends it. `connection` outlives it. Safe to use from several threads.
class SqliteReads {
 public:
  /// `file` identifies the database file; with an empty one, or while this process writes to the
  /// file, no transaction is begun.
  SqliteReads(Connection& connection, std::string file);
  ~SqliteReads();
  SqliteReads(const SqliteReads&) = delete;
  SqliteReads& operator=(const SqliteReads&) = delete;

 private:
  friend class SqliteWriter;
  void End() noexcept;

  Connection& connection_;
  std::string file_;
  bool open_ = false;
};

/// Somebody who writes to a file of SQLite, for as long as it lives.
class SqliteWriter {
 public:
  explicit SqliteWriter(std::string file);
  ~SqliteWriter();
  SqliteWriter(const SqliteWriter&) = delete;
  SqliteWriter& operator=(const SqliteWriter&) = delete;

 private:
  std::string file_;
};

}  // namespace kelvorin::database::odbc
