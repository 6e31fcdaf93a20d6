#pragma once
// The ODBC driver for the engine: opens data sources known to the system's driver manager and lists
// them. Registered by whoever makes an engine; the room's other headers are its own business.

#include <memory>

#include "database/engine.h"

namespace kelvorin::database::odbc {

std::unique_ptr<database::Driver> MakeOdbcDriver();

}  // namespace kelvorin::database::odbc
