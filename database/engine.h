#pragma once
// The database engine: the drivers it knows, how values become text, and the pending errors of the
// last failed operation. One object per form; it outlives the databases it opened.

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/status.h"
#include "database/connect_string.h"
#include "database/database.h"
#include "database/errors.h"
#include "values/value_format.h"

namespace kelvorin::database {

/// A data source that a driver can list by name.
struct DataSource {
  std::string Name;
  std::string Description;
};

/// What is done with the journal that an interrupted change left beside a table.
enum class RecoverAction : std::uint8_t {
  kShow,
  kApply,     // takes the change back or finishes it; refused where others changed the files since
  kSetAside,  // keeps it under another name; the files stay as they are
};

/// One family of formats. Entered once in an engine; holds what its databases share. What its
/// functions throw becomes a status at the boundary: base::Error for what they expect,
/// `DriverError` with the details of a server.
class Driver {
 public:
  virtual ~Driver() = default;
  /// For messages and lists, e.g. "dBASE and FoxPro".
  virtual std::string_view Name() const noexcept = 0;
  /// Whether a connect string's type word belongs to this driver (without regard to case).
  virtual bool Handles(std::string_view type_word) const noexcept = 0;
  /// Opens or throws base::Error.
  virtual std::unique_ptr<Database> Open(DBEngine& engine, const OpenRequest& request,
                                         const ConnectString& connect) = 0;
  /// Makes an empty database (a file, or a folder of table files) or throws base::Error.
  virtual void Create(const OpenRequest& request, const ConnectString& connect);
  virtual std::vector<DataSource> DataSources() { return {}; }
  /// See `DBEngine::Recover`.
  virtual std::vector<std::string> Recover(const OpenRequest& request, const ConnectString& connect,
                                           std::string_view table, RecoverAction action);
};

class DBEngine {
 public:
  explicit DBEngine(values::ValueFormat format = {}) : format_(std::move(format)) {}
  DBEngine(const DBEngine&) = delete;
  DBEngine& operator=(const DBEngine&) = delete;

  void Register(std::unique_ptr<Driver> driver) { drivers_.push_back(std::move(driver)); }
  /// Whether this build can open connect strings with the type word.
  bool HasDriver(std::string_view type_word) const noexcept {
    return FindDriver(type_word) != nullptr;
  }

  /// Opens a database. `name` is a file or folder, or empty for an ODBC source; the connect
  /// string's type word chooses the driver (an empty word is Access). An ODBC connect string
  /// without DSN, or with an empty one, takes `name` as the DSN.
  Result<std::unique_ptr<Database>> OpenDatabase(std::string_view name, bool exclusive,
                                                 bool read_only, std::string_view connect) noexcept;
  Status CreateDatabase(std::string_view name, std::string_view connect) noexcept;
  /// Deals with the journals of a database, of one table or (empty name) of all, and tells about
  /// each in sentences; none when there is no journal. Opens nothing for good. `kNotSupported` for
  /// kinds that keep no journal.
  Result<std::vector<std::string>> Recover(std::string_view name, std::string_view connect,
                                           std::string_view table, RecoverAction action) noexcept;
  /// Of all drivers.
  Result<std::vector<DataSource>> DataSources() noexcept;

  const values::ValueFormat& Format() const noexcept { return format_; }
  void set_format(values::ValueFormat format) { format_ = std::move(format); }

  /// Errors of the last operation that failed, the most specific first. Kept until the next
  /// failure.
  const std::vector<PendingError>& Errors() const noexcept { return errors_; }
  void ClearErrors() noexcept { errors_.clear(); }
  /// What a person should know although nothing failed: that a change which a crash interrupted was
  /// undone, that a file is read as it stands. Drivers leave one sentence each; who runs the engine
  /// takes them and shows them. The same sentence waits once.
  void AddNotice(const std::string& text) noexcept;
  /// Who hears notices at once; they are not kept then.
  void set_notice_listener(std::function<void(std::string_view)> listener) {
    notice_listener_ = std::move(listener);
  }
  std::vector<std::string> TakeNotices() noexcept { return std::exchange(notices_, {}); }
  /// Replaces the pending errors by those of a failed operation: `details` where a driver knew
  /// them, else the status itself. Called by the boundary.
  void NoteFailure(const Status& status, std::vector<PendingError> details = {}) noexcept;

 private:
  Driver* FindDriver(std::string_view type_word) const noexcept;

  std::vector<std::unique_ptr<Driver>> drivers_;
  values::ValueFormat format_;
  std::vector<PendingError> errors_;
  std::vector<std::string> notices_;
  std::function<void(std::string_view)> notice_listener_;
};

/// Thrown by a driver that knows several errors of one failure; the boundary makes them the pending
/// ones.
class DriverError : public Error {
 public:
  DriverError(Status status, std::vector<PendingError> details)
      : Error(std::move(status)), details_(std::move(details)) {}
  const std::vector<PendingError>& details() const noexcept { return details_; }

 private:
  std::vector<PendingError> details_;
};

}  // namespace kelvorin::database
