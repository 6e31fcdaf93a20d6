#include "database/api/engine.h"

#include "base/M_STRING.h"
#include "database/api/wall.h"

#include <exception>
#include <new>

namespace kelvorin::database {

void Driver::Create(const OpenRequest& request, const ConnectString&) {
  Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
        "cannot make a database '" + request.Name + "': the driver for " + std::string(Name()) +
            " does not create databases");
}

Driver* DBEngine::FindDriver(std::string_view type_word) const noexcept {
  for (const auto& driver : drivers_)
    if (driver->Handles(type_word)) return driver.get();
  return nullptr;
}

namespace {
Status NoDriver(std::string_view type_word) {
  return MakeStatus(Code::kNotSupported, ErrorNumber::kNoDriver,
                    "there is no driver for '" +
                        std::string(type_word.empty() ? "Access" : type_word) + "' in this build");
}
}  // namespace

Result<std::unique_ptr<Database>> DBEngine::OpenDatabase(std::string_view name, bool exclusive,
                                                         bool read_only,
                                                         std::string_view connect) noexcept {
  return Guarded(*this, [&] {
    ConnectString parsed = ConnectString::Parse(connect);
    OpenRequest request{std::string(name), exclusive, read_only, std::string(connect)};
    if (base::EqualIgnoreCase(parsed.type_word(), "ODBC") && !parsed.Get("DSN") &&
        !parsed.Get("DRIVER") && !name.empty()) {
      parsed.Set("DSN", name);
      request.Connect = parsed.Text();
      request.Name.clear();
    }
    Driver* driver = FindDriver(parsed.type_word());
    if (driver == nullptr) throw Error(NoDriver(parsed.type_word()));
    return driver->Open(*this, request, parsed);
  });
}

Status DBEngine::CreateDatabase(std::string_view name, std::string_view connect) noexcept {
  return Guarded(*this, [&] {
    const ConnectString parsed = ConnectString::Parse(connect);
    Driver* driver = FindDriver(parsed.type_word());
    if (driver == nullptr) throw Error(NoDriver(parsed.type_word()));
    driver->Create({std::string(name), true, false, std::string(connect)}, parsed);
  });
}

Result<std::vector<DataSource>> DBEngine::DataSources() noexcept {
  return Guarded(*this, [&] {
    std::vector<DataSource> all;
    for (const auto& driver : drivers_)
      for (DataSource& source : driver->DataSources()) all.push_back(std::move(source));
    return all;
  });
}

void DBEngine::NoteFailure(const Status& status, std::vector<PendingError> details) noexcept {
  try {
    if (details.empty()) {
      const std::int32_t number =
          status.number() != 0 ? status.number() : DefaultNumber(status.code());
      details.push_back({number, {}, std::string(status.message())});
    }
    errors_ = std::move(details);
  } catch (...) {
    errors_.clear();  // no memory for the details; the status itself still tells
  }
}

Status CaughtStatus(DBEngine& engine) noexcept {
  const auto note = [&](Status status, std::vector<PendingError> details = {}) {
    engine.NoteFailure(status, std::move(details));
    return status;
  };
  try {
    throw;
  } catch (const DriverError& error) {
    return note(error.status(), error.details());
  } catch (const Error& error) {
    return note(error.status());
  } catch (const std::bad_alloc&) {
    return note(MakeStatus(Code::kInternal, ErrorNumber::kInternal, "out of memory"));
  } catch (const std::exception& error) {
    return note(MakeStatus(Code::kInternal, ErrorNumber::kInternal, error.what()));
  } catch (...) {
    return note(MakeStatus(Code::kInternal, ErrorNumber::kInternal, "unknown failure"));
  }
}

}  // namespace kelvorin::database
