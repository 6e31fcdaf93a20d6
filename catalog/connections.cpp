#include "catalog/connections.h"

#include "contract/enums.h"
#include "database/connect_string.h"

namespace kelvorin::catalog {
namespace {

void AppendPair(std::string_view key, std::string_view value, std::string& out) {
  out += key;
  out += '=';
  out += database::QuoteConnectValue(value);
  out += ';';
}

}  // namespace

TargetAddress AddressFromProperties(const contract::Properties& properties, std::int16_t kind,
                                    std::string_view kept_type_word) {
  TargetAddress address;
  address.kind = kind;
  address.type_word = contract::ConnectTypeName(kind).value_or(kept_type_word);
  address.DataBaseName = properties.DataBaseName;
  address.DSN = properties.DSN;
  address.UserName = properties.UserName;
  address.Password = properties.Password;
  return address;
}

std::string TableConnectString(std::string_view type_word, std::string_view password) {
  std::string text(type_word);
  text += ';';
  AppendPair("pwd", password, text);
  return text;
}

std::string OdbcConnectString(std::string_view dsn, std::string_view user,
                              std::string_view password, std::string_view database) {
  std::string text = "ODBC;";
  AppendPair("DSN", dsn, text);
  AppendPair("UID", user, text);
  AppendPair("PWD", password, text);
  if (!database.empty()) AppendPair("Database", database, text);
  return text;
}

std::string TargetConnectString(const TargetAddress& address) {
  if (!address.connect.empty()) return address.connect;
  if (address.kind == contract::kOdbc)
    return OdbcConnectString(address.DSN, address.UserName, address.Password, address.DataBaseName);
  return TableConnectString(address.type_word, address.Password);
}

Result<std::unique_ptr<database::Database>> OpenTargetDatabase(database::DBEngine& engine,
                                                               const TargetAddress& address) {
  const bool odbc = address.kind == contract::kOdbc;
  return engine.OpenDatabase(odbc ? std::string_view() : address.DataBaseName, !odbc, false,
                             TargetConnectString(address));
}

}  // namespace kelvorin::catalog
