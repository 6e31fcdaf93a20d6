#pragma once
// The engine's connect string as the driver manager gets it: parsed and written anew, so that no
// value can end early or be taken for another key. Pure text; used by the ODBC driver, nothing here
// touches the driver manager.

#include <functional>
#include <string>
#include <string_view>

#include "base/status.h"
#include "database/connect_string.h"

namespace kelvorin::database::odbc {

/// Tells whether the data source's own entry sets a key; such keys are not added. The empty
/// function stands for an entry without keys.
using DataSourceHasKey = std::function<bool(std::string_view key)>;

/// The text for the driver manager, in UTF-8: no leading type word, each key once with its first
/// value that is not empty, a password that holds anything but letters, digits and "_.-" in braces,
/// and behind the caller's keys those that make the known drivers safe (time limits, UTF-8, no
/// files made by mistake). Fails with kInvalidArgument, before anything is tried, when neither a
/// data source nor a driver is named or when a value cannot be expressed.
Result<std::string> DriverConnectText(const database::ConnectString& connect,
                                      const DataSourceHasKey& has_key);

/// The data source's name for messages: the DSN, else the driver.
std::string DataSourceName(const database::ConnectString& connect);

}  // namespace kelvorin::database::odbc
