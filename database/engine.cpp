#include "database/engine.h"

#include "base/M_STRING.h"
#include "database/boundary.h"

#include <algorithm>
#include <exception>
#include <new>

namespace kelvorin::database {

void Driver::Create(const OpenRequest& request, const ConnectString&) {
  Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
        "cannot make a database '" + request.Name + "': the driver for " + std::string(Name()) +
            " does not create databases");
}

std::vector<std::string> Driver::Recover(const OpenRequest&, const ConnectString&, std::string_view,
                                         RecoverAction) {
  Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
        "databases of the driver for " + std::string(Name()) + " keep no journal");
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
    if (base::EqualIgnoreCase(parsed.type_word(), "ODBC") &&
        parsed.Get("DSN").value_or(std::string_view()).empty() && !parsed.Get("DRIVER") &&
        !name.empty()) {
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

Result<std::vector<std::string>> DBEngine::Recover(std::string_view name, std::string_view connect,
                                                   std::string_view table,
                                                   RecoverAction action) noexcept {
  return Guarded(*this, [&] {
    const ConnectString parsed = ConnectString::Parse(connect);
    Driver* driver = FindDriver(parsed.type_word());
    if (driver == nullptr) throw Error(NoDriver(parsed.type_word()));
    const OpenRequest request{std::string(name), true, action != RecoverAction::kApply,
                              std::string(connect)};
    return driver->Recover(request, parsed, table, action);
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
    if (details.empty()) details.push_back({status.number(), {}, std::string(status.message())});
    errors_ = std::move(details);
  } catch (...) {
    errors_.clear();  // no memory for the details; the status itself still tells
  }
}

namespace {
Status Numbered(Status status) {
  if (status.number() != 0) return status;
  return Status(status.code(), std::string(status.message()), DefaultNumber(status.code()));
}
}  // namespace

Status NotedStatus(DBEngine& engine, Status status) noexcept {
  status = Numbered(std::move(status));
  engine.NoteFailure(status);
  return status;
}

Status CaughtStatus(DBEngine& engine) noexcept {
  const auto internal = [&](const char* what) {
    return NotedStatus(engine, MakeStatus(Code::kInternal, ErrorNumber::kInternal, what));
  };
  try {
    throw;
  } catch (const DriverError& error) {
    Status status = Numbered(error.status());
    engine.NoteFailure(status, error.details());
    return status;
  } catch (const Error& error) {
    return NotedStatus(engine, error.status());
  } catch (const std::bad_alloc&) {
    return internal("out of memory");
  } catch (const std::exception& error) {
    return internal(error.what());
  } catch (...) {
    return internal("unknown failure");
  }
}

void DBEngine::AddNotice(const std::string& text) noexcept {
  try {
    if (notice_listener_) return notice_listener_(text);
    if (std::find(notices_.begin(), notices_.end(), text) == notices_.end())
      notices_.push_back(text);
  } catch (const std::exception&) {
    // Nothing failed, and nobody hears of it.
  }
}

}  // namespace kelvorin::database
