// Any text as a connect string: what reaches the driver manager names the same source, user and
// password, whatever characters they hold.

#include <cstdint>
#include <cstdlib>

#include "base/M_STRING.h"
#include "database/odbc/connect_text.h"

using kelvorin::database::ConnectString;

namespace {

std::string FirstNotEmpty(const ConnectString& connect, std::string_view key) {
  for (const auto& [name, value] : connect.pairs())
    if (!value.empty() && kelvorin::base::EqualIgnoreCase(name, key)) return value;
  return {};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ConnectString given = ConnectString::Parse("ODBC;" + std::string(text));
  const auto rebuilt = kelvorin::database::odbc::DriverConnectText(given, {});
  if (!rebuilt.ok()) return 0;
  const ConnectString read = ConnectString::Parse(";" + *rebuilt);
  for (const char* key : {"DSN", "DRIVER", "UID", "PWD", "Password", "Database"})
    if (FirstNotEmpty(read, key) != FirstNotEmpty(given, key)) std::abort();
  return 0;
}
