#pragma once
// What the tests of this room share: an engine with the driver in it, files opened as databases,
// and tables as lists of texts. Everything fails the test case when it cannot be done.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/engine.h"
#include "storage/file.h"
#include "tests/conformance/records.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/definitions.h"

namespace kelvorin::tests {

using database::Database;
using database::DBEngine;
using database::FieldDef;
using database::IndexDef;
using database::Recordset;
using database::RecordsetType;
using database::SeekComparison;
using database::TableDef;
using database::TypeCode;

/// An engine with only the Access driver.
void EnterAccess(DBEngine& engine, storage::FileSystem& fs = storage::RealFileSystem());

/// A database opened through an engine of its own; closed when it goes.
class AccessFile {
 public:
  explicit AccessFile(const std::string& path, storage::FileSystem& fs = storage::RealFileSystem(),
                      bool read_only = false, std::string_view connect = ";pwd=;");
  ~AccessFile();
  Database& operator*() { return *database_; }
  Database* operator->() { return database_.get(); }
  DBEngine& engine() { return engine_; }

  std::unique_ptr<Recordset> Open(std::string_view table,
                                  RecordsetType type = RecordsetType::kTable);

 private:
  DBEngine engine_;
  std::unique_ptr<Database> database_;
};

/// The current record as neutral texts, Null as "<null>", joined by "|".
std::string TextOf(Recordset& set);
/// All records from the first on, one a line.
std::string Walk(Recordset& set);

/// Makes an empty database; `connect` chooses the version.
void MakeDatabase(const std::string& path, std::string_view connect,
                  storage::FileSystem& fs = storage::RealFileSystem());

/// An empty database on a disk in memory, the process working in UTF-8.
class NewDatabase {
 public:
  explicit NewDatabase(std::string_view connect = "");
  /// Makes a table and opens it.
  std::unique_ptr<Recordset> Make(std::string name, std::vector<FieldDef> fields,
                                  std::vector<IndexDef> indexes = {});
  std::string Bytes() const { return disk.Contents(kPath); }

  static constexpr const char* kPath = "/a.mdb";
  MemoryFileSystem disk;
  AccessFile file;
};

/// Where Python and the independent checker are at hand, it finds nothing. `pattern` as the shell
/// takes it, for one file or several.
void CheckSoundFile(const std::string& pattern);
/// Path of the independent checker, or empty (it is then said once that it is left out).
const std::string& Checker();

}  // namespace kelvorin::tests
