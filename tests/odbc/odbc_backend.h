#pragma once
// A data source as a backend of the conformance suite: snapshots of tables that statements fill.

#include <string>
#include <string_view>

#include "tests/conformance/conformance.h"

namespace kelvorin::tests {

/// `server` is "sqlite", "postgres" or "mariadb". Each new database empties the one of `connect`.
Backend OdbcBackend(std::string_view server, const std::string& connect);

}  // namespace kelvorin::tests
