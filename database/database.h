#pragma once
// An open database: its tables, record sets on them, statements and new tables. Made by
// `DBEngine::OpenDatabase`; drivers derive from it. Outlives its record sets; nothing throws out of
// a public method.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "database/recordset.h"
#include "database/table_def.h"

namespace kelvorin::database {

class DBEngine;

/// Option of `Execute`: the statement goes to the server as it is.
inline constexpr std::int32_t kSqlPassThrough = 64;

/// How a database was asked for.
struct OpenRequest {
  std::string Name;  // file, folder, or empty for a data source
  bool Exclusive = false;
  bool ReadOnly = false;
  std::string Connect;  // connect string, e.g. "dBASE III;pwd=;"
};

/// What the rooms above drivers must know of a kind of database to work with its tables.
struct DatabaseTraits {
  /// How one of its tables is opened: as a table, which is walked and written through the set, or
  /// as a snapshot where records are posted instead (`RowDatabase`).
  RecordsetType table_type = RecordsetType::kTable;
  /// A Null text stays apart from an empty one in every field that takes Null.
  bool keeps_null_text = false;
  /// `Name` is a file or folder, which holds the tables.
  bool in_files = true;
};

class Database {
 public:
  virtual ~Database() = default;
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  const std::string& Name() const noexcept { return request_.Name; }
  const std::string& Connect() const noexcept { return request_.Connect; }
  bool Updatable() const noexcept { return !request_.ReadOnly; }
  /// The same for as long as the database is open.
  virtual DatabaseTraits Traits() const noexcept { return {}; }
  DBEngine& engine() const noexcept { return *engine_; }

  /// Names and attributes of all tables in the database's own order, system tables included.
  Result<std::vector<TableInfo>> TableDefs() noexcept;
  /// Fields and indexes of one table, by name without regard to case, with or without a table
  /// file's extension. kNotFound names the table and the database.
  Result<TableDef> FindTableDef(std::string_view name) noexcept;
  /// Opens a table. A table that cannot be written opens all the same; `Updatable` is then false.
  /// A snapshot on a server fetches its fields and at most one row; the rest as the set moves on.
  Result<std::unique_ptr<Recordset>> OpenRecordset(std::string_view table,
                                                   RecordsetType type) noexcept;

  /// Runs a statement and returns the number of records it changed, -1 when unknown. A database
  /// that takes no SQL answers kNotSupported.
  Result<std::int64_t> Execute(std::string_view sql, std::int32_t options) noexcept;

  /// Makes a table with its fields and indexes. Refuses, before anything is made, what the format
  /// cannot hold. Fields a format would change (a text of 255 where 254 is the limit) are made as
  /// the format allows and can be read back with `FindTableDef`. This and the next three fail with
  /// kReadOnly in a database that is not `Updatable`.
  Status CreateTable(const TableDef& table) noexcept;
  Status CreateIndex(std::string_view table, const IndexDef& index) noexcept;
  Status DeleteTable(std::string_view name) noexcept;
  /// Builds the indexes of a table anew from its records and returns how many there are. Nobody may
  /// have the table open (kLocked). kNotSupported where indexes are no files of their own.
  Result<std::int64_t> RebuildIndexes(std::string_view table) noexcept;

  /// Verifies the format's invariants and lists what is wrong, one sentence each; an empty list is
  /// a sound database. An empty `table` means all.
  Result<std::vector<std::string>> Inspect(std::string_view table = {}) noexcept;

  /// Lets go of everything. Harmless when already closed. Record sets must be closed before.
  Status Close() noexcept;

 protected:
  Database(DBEngine& engine, OpenRequest request);
  const OpenRequest& request() const noexcept { return request_; }

 private:
  void CheckOpen() const;
  void CheckUpdatable(const char* what) const;

  virtual std::vector<TableInfo> DoTableDefs() = 0;
  virtual TableDef DoFindTableDef(std::string_view name) = 0;
  /// The new set need not stand anywhere yet.
  virtual std::unique_ptr<Recordset> DoOpenRecordset(std::string_view table,
                                                     RecordsetType type) = 0;
  virtual std::int64_t DoExecute(std::string_view sql, std::int32_t options);
  virtual void DoCreateTable(const TableDef& table);
  virtual void DoCreateIndex(std::string_view table, const IndexDef& index);
  virtual void DoDeleteTable(std::string_view name);
  virtual std::int64_t DoRebuildIndexes(std::string_view table);
  virtual std::vector<std::string> DoInspect(std::string_view table);
  virtual void DoClose() = 0;

  DBEngine* engine_;
  OpenRequest request_;
  bool open_ = true;
};

}  // namespace kelvorin::database
