#pragma once
// Builds the connect strings of targets and sources and opens their databases. The forms and the
// command line say which database they mean; no value of theirs can add a key to a connect string.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/status.h"
#include "contract/properties.h"
#include "database/database.h"
#include "database/engine.h"

namespace kelvorin::catalog {

/// Where a target database is and how it is opened.
struct TargetAddress {
  std::int16_t kind = 3;  // a TypeConnect value; 14 builds an ODBC connect string
  std::string type_word;  // in front of the connect string of every other kind
  std::string DataBaseName;
  std::string DSN;
  std::string UserName;
  std::string Password;
  std::string connect;  // when not empty: the connect string itself, taken as it is
};

/// The address that the control's properties give for a kind. A kind outside 3 to 14 keeps
/// `kept_type_word`.
TargetAddress AddressFromProperties(const contract::Properties& properties, std::int16_t kind,
                                    std::string_view kept_type_word = {});

/// "dBASE III;pwd=x;"; Access, whose type word is empty, gives ";pwd=x;".
std::string TableConnectString(std::string_view type_word, std::string_view password);
/// "ODBC;DSN=Sales;UID=ann;PWD=pw;" and "Database=stock;" when a database is named.
std::string OdbcConnectString(std::string_view dsn, std::string_view user,
                              std::string_view password, std::string_view database = {});
std::string TargetConnectString(const TargetAddress& address);

/// Opens a target for writing: ODBC without a name, everything else by its name and exclusively.
Result<std::unique_ptr<database::Database>> OpenTargetDatabase(database::DBEngine& engine,
                                                               const TargetAddress& address);

}  // namespace kelvorin::catalog
