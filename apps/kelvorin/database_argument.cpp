#include "apps/kelvorin/database_argument.h"

#include "apps/kelvorin/command.h"

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "contract/enums.h"
#include "database/connect_string.h"
#include "database/drivers/register_drivers.h"
#include "values/value_format.h"

namespace kelvorin::app {

std::optional<DatabaseArgument> ParseDatabase(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos || colon == 0 || base::IsDigit(text.front())) return {};
  const std::optional<std::int16_t> kind = contract::ParseTypeConnect(text.substr(0, colon));
  if (!kind) return {};
  return DatabaseArgument{*kind, std::string(text.substr(colon + 1))};
}

Result<DatabaseArgument> RequireDatabase(std::string_view text) {
  const std::optional<DatabaseArgument> argument = ParseDatabase(text);
  if (argument && !argument->database.empty()) return *argument;
  std::string kinds;
  for (std::int16_t kind = contract::kAccess; kind <= contract::kOdbc; ++kind)
    kinds += (kinds.empty() ? "" : ", ") + std::string(contract::TypeConnectName(kind));
  return Status(
      Code::kInvalidArgument,
      "'" + std::string(text) + "' is not of the form KIND:DATABASE (kinds: " + kinds + ")");
}

catalog::TargetAddress DatabaseArgument::Address(std::string_view user,
                                                 std::string_view password) const {
  catalog::TargetAddress address;
  address.kind = kind;
  address.type_word = contract::ConnectTypeName(kind).value_or(std::string_view());
  address.UserName = user;
  address.Password = password;
  if (kind != contract::kOdbc) {
    address.DataBaseName = database;
  } else if (database.find('=') == std::string::npos) {
    address.DSN = database;
  } else {
    database::ConnectString connect = database::ConnectString::Parse("ODBC;" + database);
    if (!user.empty()) connect.Set("UID", user);
    if (!password.empty()) connect.Set("PWD", password);
    address.connect = connect.Text();
  }
  return address;
}

Result<OpenDatabase> Open(const catalog::TargetAddress& address, Access access,
                          std::string_view for_new) {
  OpenDatabase open;
  open.engine = std::make_unique<database::DBEngine>(values::ValueFormat::FromLocale());
  database::RegisterDrivers(*open.engine);
  open.engine->set_notice_listener(PrintNotice);
  const std::string connect = catalog::TargetConnectString(address);
  const bool reads = access == Access::kRead;
  const auto try_open = [&] {
    return open.engine->OpenDatabase(address.DataBaseName, !reads, reads, connect);
  };
  Result<std::unique_ptr<database::Database>> database = try_open();
  // A file without a byte is as good as none.
  const auto is_missing = [&] {
    return database.status().code() == Code::kNotFound ||
           (base::RegularFileExists(address.DataBaseName) &&
            base::ReadWholeFile(address.DataBaseName, 0).ok());
  };
  if (!database.ok() && access == Access::kCreate && is_missing()) {
    KV_TRY(open.engine->CreateDatabase(address.DataBaseName, connect + std::string(for_new)));
    database = try_open();
  }
  if (!database.ok()) return database.status();
  open.database = *std::move(database);
  return open;
}

}  // namespace kelvorin::app
