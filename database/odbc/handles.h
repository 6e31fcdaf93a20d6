#pragma once
// The room's own view of the ODBC driver manager: owning handles, and one function through which
// every call's outcome goes, so that a failure always carries the driver's diagnostics. Included by
// .cpp files of this room only, since it brings in the driver manager's headers.

#include <sql.h>
#include <sqlext.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "database/errors.h"
#include "database/odbc/answer_watch.h"
#include "database/odbc/sql_text.h"
#include "database/odbc/utf8.h"
#include "database/odbc/waiting.h"

namespace kelvorin::database::odbc {

/// What a driver said about a failure: its diagnostic records, texts in the ANSI page.
struct Diagnosis {
  std::vector<database::PendingError> errors;

  const std::string& State() const noexcept;
  /// State class 08, a PostgreSQL server that is shutting down, or a driver that has lost its
  /// server.
  bool ConnectionLost() const noexcept;
  /// State class 40: the server undid the transaction and asks for another try.
  bool Rollback() const noexcept;
};

/// Reads all diagnostic records of a handle; at least one entry comes back.
Diagnosis Diagnose(SQLSMALLINT handle_type, SQLHANDLE handle);
/// The kind of failure that a state, and for drivers with one state for everything the number and
/// text, stand for.
Code CodeOf(const database::PendingError& error) noexcept;
/// Throws a DriverError whose text is `what`, ": " and the first diagnostic text.
[[noreturn]] void ThrowDiagnosis(std::string_view what, Diagnosis diagnosis);

constexpr bool Succeeded(SQLRETURN result) noexcept {
  return result == SQL_SUCCESS || result == SQL_SUCCESS_WITH_INFO;
}
/// Throws unless the call succeeded. `what` names the failed intention ("cannot read table 'x'").
void Check(SQLRETURN result, SQLSMALLINT handle_type, SQLHANDLE handle, std::string_view what);

inline SQLCHAR* Chars(std::string_view text) noexcept {
  // The driver manager's prototypes take plain pointers for texts that they only read.
  return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.data()));
}

/// Owns one handle of any kind.
template <SQLSMALLINT kType>
class Handle {
 public:
  Handle() = default;
  Handle(SQLHANDLE parent, SQLSMALLINT parent_type, std::string_view what) {
    Check(SQLAllocHandle(kType, parent, &handle_), parent_type, parent, what);
  }
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    if (this != &other) {
      Reset();
      handle_ = std::exchange(other.handle_, nullptr);
    }
    return *this;
  }
  ~Handle() { Reset(); }

  SQLHANDLE get() const noexcept { return handle_; }
  explicit operator bool() const noexcept { return handle_ != nullptr; }
  void Reset() noexcept {
    if (handle_ != nullptr) SQLFreeHandle(kType, std::exchange(handle_, nullptr));
  }

 private:
  SQLHANDLE handle_ = nullptr;
};

/// An environment for ODBC 3.
class Environment {
 public:
  Environment();
  SQLHENV get() const noexcept { return handle_.get(); }

 private:
  Handle<SQL_HANDLE_ENV> handle_;
};

/// A connection that is open from its making until it is closed or goes.
class Connection {
 public:
  Connection() = default;
  /// `text` is a complete connect string without the leading type word; `shown` names the data
  /// source in messages. A server that does not answer the logon is given up after so many seconds
  /// where the driver knows such a limit.
  Connection(const Environment& environment, const std::string& text, const std::string& shown,
             int logon_seconds);
  Connection(Connection&&) noexcept = default;
  Connection& operator=(Connection&& other) noexcept;
  ~Connection() { Close(); }

  SQLHDBC get() const noexcept { return handle_.get(); }
  bool open() const noexcept { return static_cast<bool>(handle_); }
  void Close() noexcept;
  /// From now on a server that owes an answer for longer counts as lost.
  void LimitAnswers(int seconds);
  /// How long this connection and its statements wait for a lock of SQLite; 0 where the driver does
  /// so by itself.
  void WaitForLocks(std::int64_t milliseconds);
  /// Asked from now on while there is something to wait for.
  void StopWhen(Waiting::Stop stop) {
    if (waiting_) waiting_->StopWhen(std::move(stop));
  }
  /// Whether somebody ended the waiting.
  bool stopped() const noexcept { return waiting_ && waiting_->stopped(); }

  std::string Info(SQLUSMALLINT what) const;
  /// Whether the driver itself knows that the server is gone.
  bool Dead() const noexcept;
  /// Whether the server has ended the connection while nothing was asked of it.
  bool Dropped() const noexcept { return handle_ && socket_ && os::PeerClosed(*socket_); }
  void SetAutocommit(bool on);
  /// Ends the open transaction. A driver may call a commit well done whose server has died, so a
  /// dead connection is a failure here whatever the call answered.
  void Commit();
  void Rollback() noexcept;

 private:
  friend class Statement;
  Handle<SQL_HANDLE_DBC> handle_;
  std::optional<os::SocketIdentity> socket_;  // the driver's, when it can be told
  // Shared with the statements, some of which outlive a connection that was lost.
  std::shared_ptr<AnswerWatch> watch_;
  std::shared_ptr<Waiting> waiting_;
};

/// A statement handle on an open connection.
class Statement {
 public:
  Statement() = default;
  explicit Statement(const Connection& connection);
  Statement(Statement&&) noexcept = default;
  Statement& operator=(Statement&& other) noexcept;
  ~Statement();

  /// To be held during every call that may wait for the server.
  AnswerWatch::Call Waits() const noexcept { return AnswerWatch::Call(watch_.get()); }
  SQLHSTMT get() const noexcept { return handle_.get(); }
  explicit operator bool() const noexcept { return static_cast<bool>(handle_); }
  void Check(SQLRETURN result, std::string_view what) const {
    database::odbc::Check(result, SQL_HANDLE_STMT, handle_.get(), what);
  }
  /// Sends one statement that is in UTF-8 already; drops the results of the one before. The answer
  /// is the driver's: SQL_NO_DATA for a change that met no row. Statements reach the server as they
  /// are: the driver does not look for escape clauses in them.
  SQLRETURN Send(std::string_view sql);
  /// Runs the prepared statement.
  SQLRETURN ExecutePrepared();
  /// The same for a statement in the ANSI page, checked.
  void Execute(std::string_view sql, std::string_view what);
  /// Lets go of an open result; harmless when there is none.
  void CloseCursor() noexcept;
  /// The next row; false behind the last one.
  bool Fetch(std::string_view what);
  /// A column of the current row, from 1, in UTF-8; false for Null. `out` is cleared.
  bool GetUtf8(SQLUSMALLINT column, std::string& out, std::string_view what);
  /// The same as text of the ANSI page.
  bool GetText(SQLUSMALLINT column, std::string& out, std::string_view what);
  std::int64_t RowCount() const noexcept;

 private:
  SQLRETURN WaitFor(const std::function<SQLRETURN()>& call);

  std::shared_ptr<AnswerWatch> watch_;
  std::shared_ptr<Waiting> waiting_;
  Handle<SQL_HANDLE_STMT> handle_;
};

/// Appends a name in the dialect's quotes; throws for one that no quotes can make safe.
void AppendName(std::string_view name, const SqlDialect& dialect, std::string& out);

/// All rows of a small query as texts, Null as empty text.
std::vector<std::vector<std::string>> QueryRows(const Connection& connection, std::string_view sql,
                                                std::string_view what);

}  // namespace kelvorin::database::odbc
