#include "database/drivers/register_drivers.h"

#include "database/access/access_driver.h"
#if defined(KELVORIN_WITH_ODBC)
#include "database/odbc/odbc_driver.h"
#endif
#include "database/paradox/paradox_driver.h"
#include "database/xbase/xbase_driver.h"
#include "storage/open_files.h"

#include <memory>

namespace kelvorin::database {

void RegisterDrivers(DBEngine& engine, storage::FileSystem& fs) {
  const auto files = std::make_shared<storage::OpenFiles>();
  files->set_tell([&engine](const std::string& text) { engine.AddNotice(text); });
  engine.Register(access::MakeAccessDriver(fs, files));
  engine.Register(xbase::MakeXbaseDriver(fs, files));
  engine.Register(paradox::MakeParadoxDriver(fs, files));
#if defined(KELVORIN_WITH_ODBC)
  engine.Register(database::odbc::MakeOdbcDriver());
#endif
}

}  // namespace kelvorin::database
