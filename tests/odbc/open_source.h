#pragma once
// An engine with the ODBC driver and one open data source.

#include <doctest/doctest.h>

#include <memory>
#include <string>

#include "database/odbc/odbc_driver.h"

namespace kelvorin::tests {

class OpenSource {
 public:
  explicit OpenSource(const std::string& connect, bool read_only = false) {
    engine.Register(database::odbc::MakeOdbcDriver());
    auto opened = engine.OpenDatabase("", false, read_only, connect);
    REQUIRE_MESSAGE(opened.ok(), std::string(opened.status().message()));
    database_ = *std::move(opened);
  }
  database::Database& operator*() { return *database_; }
  database::Database* operator->() { return database_.get(); }

  database::DBEngine engine;

 private:
  std::unique_ptr<database::Database> database_;
};

}  // namespace kelvorin::tests
