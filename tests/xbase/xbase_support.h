#pragma once
// What the tests of this room share: an engine with the driver in it, folders opened as databases,
// and tables as lists of texts. Everything fails the test case when it cannot be done.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/engine.h"
#include "storage/file.h"
#include "tests/conformance/records.h"
#include "tests/support/definitions.h"

namespace kelvorin::tests {

using database::Database;
using database::DBEngine;
using database::FieldDef;
using database::Recordset;
using database::RecordsetType;
using database::TableDef;
using database::TypeCode;
using Row = Texts;

/// A database opened through an engine of its own; closed when it goes.
class Folder {
 public:
  explicit Folder(const std::string& name, std::string_view connect = "dBASE III",
                  storage::FileSystem& fs = storage::RealFileSystem(), bool read_only = false);
  ~Folder();
  Database& operator*() { return *database_; }
  Database* operator->() { return database_.get(); }
  DBEngine& engine() { return engine_; }

  std::unique_ptr<Recordset> Open(std::string_view table,
                                  RecordsetType type = RecordsetType::kTable);
  void Make(const TableDef& table);
  /// Appends these records and closes the table.
  void Fill(std::string_view table, const std::vector<Row>& rows);
  /// Every record as texts; Null is "<null>", what cannot be read "<error>".
  std::vector<Row> ReadAll(std::string_view table);

 private:
  DBEngine engine_;
  std::unique_ptr<Database> database_;
};

TableDef MakeTable(std::string name, std::vector<FieldDef> fields);

/// Joined by "|", for comparisons that show both sides.
std::string Show(const Row& row);
std::string Show(const std::vector<Row>& rows);

}  // namespace kelvorin::tests
