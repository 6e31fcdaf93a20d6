#include "database/drivers/register_drivers.h"

#include "database/storage/open_files.h"
#include "database/xbase/xbase_driver.h"

#include <memory>

namespace kelvorin::database {

void RegisterDrivers(DBEngine& engine, storage::FileSystem& fs) {
  const auto files = std::make_shared<storage::OpenFiles>();
  engine.Register(xbase::MakeXbaseDriver(fs, files));
}

}  // namespace kelvorin::database
