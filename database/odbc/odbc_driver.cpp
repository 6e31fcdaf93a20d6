#include "database/odbc/odbc_driver.h"

#include <algorithm>
#include <array>

#include "base/M_STRING.h"
#include "database/odbc/odbc_database.h"

namespace kelvorin::database::odbc {
namespace {

class OdbcDriver final : public database::Driver {
 public:
  std::string_view Name() const noexcept override { return "ODBC"; }
  bool Handles(std::string_view type_word) const noexcept override {
    return base::EqualIgnoreCase(type_word, "ODBC");
  }
  std::unique_ptr<database::Database> Open(database::DBEngine& engine,
                                           const database::OpenRequest& request,
                                           const database::ConnectString& connect) override {
    return std::make_unique<OdbcDatabase>(engine, request, connect);
  }

  // A fresh environment reads the files anew, the user's entries first.
  std::vector<database::DataSource> DataSources() override {
    const Environment environment;
    std::vector<database::DataSource> sources;
    std::array<char, 1024> name{}, description{};
    SQLUSMALLINT direction = SQL_FETCH_FIRST;
    for (;;) {
      SQLSMALLINT name_size = 0, description_size = 0;
      const SQLRETURN result =
          SQLDataSources(environment.get(), direction, reinterpret_cast<SQLCHAR*>(name.data()),
                         static_cast<SQLSMALLINT>(name.size()), &name_size,
                         reinterpret_cast<SQLCHAR*>(description.data()),
                         static_cast<SQLSMALLINT>(description.size()), &description_size);
      if (!Succeeded(result)) break;
      database::DataSource source;
      AppendAnsiText(name.data(), source.Name);
      AppendAnsiText(description.data(), source.Description);
      if (!base::Trim(source.Name).empty()) sources.push_back(std::move(source));
      direction = SQL_FETCH_NEXT;
    }
    return sources;
  }
};

}  // namespace

std::unique_ptr<database::Driver> MakeOdbcDriver() {
  return std::make_unique<OdbcDriver>();
}

}  // namespace kelvorin::database::odbc
