#pragma once
// One suite for every driver: what the database interface promises, checked on whatever a backend
// says it can do. A driver's tests describe it in a `Backend` and call `RunConformance` in a test
// case; what is peculiar to a format stays in the driver's own tests.

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "database/engine.h"

namespace kelvorin::tests {

/// One kind of field that a backend can make, with texts in neutral format.
struct TypeCase {
  database::TypeCode declared = database::TypeCode::kText;
  database::TypeCode stored = database::TypeCode::kText;  // as the made table reports it
  std::int32_t size = 0;                                  // declared; 0 where the type has none
  std::vector<std::string> texts;                         // come back letter for letter
  std::vector<std::string> refused;                       // kConversion or kTooLong
  std::string null_text = "<null>";                       // what Null comes back as
  std::int32_t decimals = 0;                              // declared
  /// Texts that are kept only in part, which the record set tells of, each with what is kept; and
  /// none that is refused since nothing would be left of it (kConversion, in `refused`).
  std::vector<std::pair<std::string, std::string>> changed;
};

/// A type in its full range, nothing changed by storing: the case of a format made for the type.
TypeCase WholeRange(database::TypeCode type);

/// What a driver is and can do. The defaults are those of a format without limits; the names used
/// for tables and indexes have at most 8 capitals, those of fields at most 10.
struct Backend {
  std::string name;     // for messages
  std::string connect;  // of every opening
  std::function<void(database::DBEngine&)> enter_driver;
  /// Makes a new and empty database and returns the name to open it by.
  std::function<std::string()> make_database;

  std::vector<TypeCase> types;
  std::int32_t text_size = 50;  // a text field of this size can be made
  bool empty_text = true;       // text of length zero is told apart from Null
  bool trailing_blanks = true;  // kept
  bool unicode = true;          // holds characters outside one code page
  std::string lost_bytes;       // of code page 1252, what a text field cannot hold
  bool required = true;         // Required, AllowZeroLength, DefaultValue are kept
  bool auto_increment = true;
  std::size_t many_records = 3000;
  /// The bookmark of a record is always the same and outlives the set. Else it tells a place, which
  /// is followed as long as the table is open.
  bool lasting_bookmarks = true;

  bool indexes = true;  // made with the table; SetIndex and Seek work
  /// Only beside a primary index, and with fields that all rise or all fall.
  bool trees_need_primary = false;
  bool indexes_of_several = true;
  bool memos = true;  // texts of any length

  /// Tables are filled by posting, as those of a server: then only snapshots are checked,
  /// how they move and what they read.
  bool snapshots_only = false;
};

/// Runs everything, one doctest subcase for each theme. To be called in a test case of its own.
void RunConformance(const Backend& backend);

}  // namespace kelvorin::tests
