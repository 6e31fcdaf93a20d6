#pragma once
// `KIND:DATABASE` on the command line: which kind of database, where it is, and how to open it.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/status.h"
#include "catalog/connections.h"
#include "database/engine.h"

namespace kelvorin::app {

struct DatabaseArgument {
  std::int16_t kind = 0;  // a TypeConnect value
  std::string database;   // file, folder, DSN, or "DSN=...;UID=...;PWD=..."

  /// With the user and password of the command line, which win over those in an ODBC text.
  catalog::TargetAddress Address(std::string_view user, std::string_view password) const;
};

/// Whether the text begins with the name of a kind (in any case) and a colon. A text file whose
/// name does so is reached as "./NAME".
std::optional<DatabaseArgument> ParseDatabase(std::string_view text);
/// The same for arguments that must be one; fails with `kInvalidArgument` naming the text.
Result<DatabaseArgument> RequireDatabase(std::string_view text);

/// An engine with all drivers and one open database.
struct OpenDatabase {
  std::unique_ptr<database::DBEngine> engine;
  std::unique_ptr<database::Database> database;
};
enum class Access { kRead, kWrite, kCreate };
/// Opens for reading (shared) or writing (exclusive); `kCreate` makes the database when it does not
/// exist, with `for_new` ("version=97;") added to its connect string.
Result<OpenDatabase> Open(const catalog::TargetAddress& address, Access access,
                          std::string_view for_new = {});

}  // namespace kelvorin::app
