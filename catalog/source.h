#pragma once
// The source of one form: which file or table it is, and the rules by which a file name chooses the
// kind of source. Filled by the form, read by the run.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "database/database.h"
#include "database/engine.h"
#include "settings/import_setting.h"

namespace kelvorin::catalog {

struct Source {
  /// A text file's path, or the name of the table.
  std::string file_name;
  /// Folder of a table file, an Access database file, or empty for ODBC and text.
  std::string SourceDBName;
  /// Type word of a table file or connect string of an ODBC source; empty for Access and text.
  std::string SourceConnectString;
  std::string password;
  bool exists = false;
  /// Tables of a source that is chosen from a list, in the database's order.
  std::vector<std::string> tables;
  /// The open database of an Access source, kept from its listing on.
  std::unique_ptr<database::Database> kept;
};

/// What a change of the file name box did.
enum class FileNameChange : std::uint8_t {
  kIgnored,    // the kind has no file name box
  kMissing,    // no such file; kind and database stay
  kTableFile,  // a Paradox or dBASE table: kind, database, connect string and name were set
  kTextFile,   // any other file; the kind is delimited text now, unless a setting is being applied
};

/// The rule of the file name box. A table file always switches `kind` to the newest version of its
/// family: kept as it is.
FileNameChange ApplyFileName(std::string_view text, bool applying_setting, std::int32_t& kind,
                             Source& source);

/// Whether the file is there. Table files are found in any case of their letters.
bool SourceFileExists(const std::string& path);

/// Takes the source's names from a setting. A text file's path is taken from `SourceDBName`, from
/// `SourceTableName` where that is empty, and from both where the former is a folder.
void LoadSource(const settings::ImportSetting& setting, Source& source);
/// Puts the names into a setting, as it is going to be stored.
void StoreSource(const Source& source, settings::ImportSetting& setting);

/// Path of the file behind a text source or a table file; empty for Access and ODBC.
std::string SourceFilePath(std::int32_t kind, const Source& source);

/// Opens the database of a source of kinds 3 to 14: Access by its file; the others by
/// `SourceDBName` with `SourceConnectString` (the kind's type word where that is empty) followed by
/// the password.
Result<std::unique_ptr<database::Database>> OpenSourceDatabase(database::DBEngine& engine,
                                                               std::int32_t kind,
                                                               const Source& source);

}  // namespace kelvorin::catalog
