#pragma once
// What the themes of the conformance suite share: an engine with one open database, and record sets
// written to and read as texts. "<null>" stands for Null everywhere.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/engine.h"
#include "tests/conformance/conformance.h"
#include "tests/conformance/records.h"
#include "tests/support/definitions.h"

namespace kelvorin::tests {

using database::Database;
using database::ErrorNumber;
using database::FieldDef;
using database::IndexDef;
using database::Recordset;
using database::RecordsetType;
using database::SeekComparison;
using database::TableDef;
using database::TypeCode;

/// Empty when ok, else number and message: compared with "" it shows what went wrong.
std::string Fault(const Status& status);
/// 0 when ok.
inline int Number(const Status& status) {
  return status.number();
}
constexpr int Number(ErrorNumber number) {
  return static_cast<int>(number);
}

/// Every kind of writing is refused.
void CheckNotWritable(Recordset& set);

inline FieldDef TextField(std::string name, std::int32_t size) {
  return MakeField(std::move(name), TypeCode::kText, size);
}
inline FieldDef NumberField(std::string name) {  // whole numbers of up to 9 digits
  return MakeField(std::move(name), TypeCode::kLong, 4);
}
/// On ID, unique and without Null.
inline IndexDef PrimaryIndex() {
  return MakeIndex("PrimaryKey", "+ID", true, true);
}

/// One database of a backend, made and opened for writing when it is first used: a failure before
/// the innermost subcase is entered would let doctest repeat the test case for ever.
class Fixture {
 public:
  explicit Fixture(const Backend& of) : backend(of) {}
  ~Fixture();

  Database& database();
  /// Closes the database and opens it again; fails the test when either fails.
  void Reopen(bool read_only = false);

  /// Makes a table; a name of its own when it has none.
  std::string Make(TableDef table);
  /// Makes a table and stores records in it.
  std::string MakeFilled(TableDef table, const std::vector<Texts>& records);
  /// ID and NAME, rows 1 "name 1" to `count`.
  std::string MakePeople(int count);

  /// A set of the type table, or a snapshot where the backend has nothing else.
  std::unique_ptr<Recordset> Open(std::string_view table);
  std::unique_ptr<Recordset> Open(std::string_view table, RecordsetType type);

  /// Text of a field, "<null>", or the number of the error.
  std::string TextOf(Recordset& set, std::size_t field) const;
  /// Fields of the current record joined by "|".
  std::string RecordOf(Recordset& set) const;
  /// All records of a fresh set, one a line.
  std::string Dump(std::string_view table);
  /// The records from the first on, in the order of a set that may have an index.
  std::string Walk(Recordset& set) const;

  /// The format's own check of the whole database finds nothing.
  void CheckSound();

  const Backend& backend;
  database::DBEngine engine;

 private:
  void OpenDatabase(bool read_only);
  std::string name_;
  std::unique_ptr<Database> database_;
  int tables_ = 0;
};

// The themes. The first three need nothing but snapshots.
void CheckEdges(Fixture& fixture);
void CheckValues(Fixture& fixture);
void CheckNames(Fixture& fixture);
void CheckMoving(Fixture& fixture);
void CheckWriting(Fixture& fixture);
void CheckManyRecords(Fixture& fixture);
void CheckIndexes(Fixture& fixture);

}  // namespace kelvorin::tests
