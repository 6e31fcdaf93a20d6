#include "database/odbc/handles.h"

#include <algorithm>
#include <array>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "database/engine.h"

namespace kelvorin::database::odbc {
namespace {

using database::PendingError;

constexpr SQLINTEGER kSqliteBusy = 5;
constexpr SQLINTEGER kSqliteLocked = 6;

SQLPOINTER Number(SQLULEN value) noexcept {
  return reinterpret_cast<SQLPOINTER>(value);  // how attributes carry numbers
}

/// The driver's text in the ANSI page, with the line ends of the product's log. Without what
/// drivers say behind every text of the server: that there was an error, and its number once more.
std::string Shown(std::string_view text, SQLINTEGER number) {
  constexpr std::string_view kEnds = "\r\n ;";
  const auto cut = [&](std::string_view tail, std::string_view ends) {
    if (!text.ends_with(tail)) return;
    text.remove_suffix(tail.size());
    while (!text.empty() && ends.find(text.back()) != std::string_view::npos) text.remove_suffix(1);
  };
  cut("Error while executing the query", kEnds);
  cut("Error while preparing parameters", kEnds);
  cut("", "\r\n ");
  cut(" (" + base::ToDecimal(number) + ")", " ");
  std::string ansi;
  AppendAnsiText(text, ansi);
  std::string out;
  for (char c : ansi) {
    if (c == '\r') continue;
    if (c == '\n') out += '\r';
    out += c;
  }
  return out;
}

/// Whether SQLite's file or table is locked by another connection.
bool IsLocked(SQLSMALLINT handle_type, SQLHANDLE handle) noexcept {
  SQLINTEGER number = 0;
  SQLSMALLINT length = 0;
  std::array<SQLCHAR, 6> state{};
  return Succeeded(
             SQLGetDiagRec(handle_type, handle, 1, state.data(), &number, nullptr, 0, &length)) &&
         (number == kSqliteBusy || number == kSqliteLocked);
}

bool Contains(std::string_view text, std::string_view part) noexcept {
  return text.find(part) != std::string_view::npos;
}

}  // namespace

const std::string& Diagnosis::State() const noexcept {
  return errors.front().state;
}

bool Diagnosis::ConnectionLost() const noexcept {
  return std::any_of(errors.begin(), errors.end(), [](const PendingError& error) {
    return error.state.starts_with("08") || error.state.starts_with("57P0") ||
           // MariaDB: server gone, lost in the middle of a query
           (error.state == "HY000" && (error.number == 2006 || error.number == 2013));
  });
}

bool Diagnosis::Rollback() const noexcept {
  return State().starts_with("40");
}

Diagnosis Diagnose(SQLSMALLINT handle_type, SQLHANDLE handle) {
  Diagnosis result;
  std::string text(1024, '\0');
  for (SQLSMALLINT record = 1; handle != nullptr && record <= 16; ++record) {
    std::array<SQLCHAR, 6> state{};
    SQLINTEGER number = 0;
    SQLSMALLINT length = 0;
    SQLRETURN got = SQLGetDiagRec(handle_type, handle, record, state.data(), &number, Chars(text),
                                  static_cast<SQLSMALLINT>(text.size()), &length);
    if (!Succeeded(got)) break;
    if (static_cast<std::size_t>(length) >= text.size()) {  // longer than the buffer: once more
      text.resize(std::min<std::size_t>(static_cast<std::size_t>(length) + 1, 32000));
      got = SQLGetDiagRec(handle_type, handle, record, state.data(), &number, Chars(text),
                          static_cast<SQLSMALLINT>(text.size()), &length);
      if (!Succeeded(got)) break;
    }
    const std::size_t size =
        std::min<std::size_t>(static_cast<std::size_t>(length), text.size() - 1);
    result.errors.push_back({number, reinterpret_cast<const char*>(state.data()),
                             Shown(std::string_view(text).substr(0, size), number)});
  }
  if (result.errors.empty())
    result.errors.push_back({static_cast<std::int32_t>(database::ErrorNumber::kOdbcCallFailed),
                             "HY000", "the driver gave no reason"});
  return result;
}

Code CodeOf(const PendingError& error) noexcept {
  const std::string_view state = error.state;
  const std::string_view text = error.description;
  if (state == "HY000" && Contains(text, "[SQLite]")) {  // one state for everything
    if (error.number == 19)
      return Contains(text, "UNIQUE") || Contains(text, "PRIMARY KEY") ? Code::kDuplicateKey
             : Contains(text, "NOT NULL")                              ? Code::kRequired
                                                                       : Code::kIntegrity;
    if (error.number == 5 || error.number == 6) return Code::kLocked;
    if (error.number == 8) return Code::kReadOnly;
    if (error.number == 13) return Code::kNoSpace;
    if (error.number == 14) return Code::kNotFound;
    if (error.number == 11 || error.number == 26) return Code::kCorrupt;
    return Code::kIo;
  }
  if (state == "23505" || error.number == 1062) return Code::kDuplicateKey;
  if (state == "23502" || error.number == 1048) return Code::kRequired;
  if (state.starts_with("23")) return Code::kIntegrity;
  if (state == "22001" || error.number == 1406) return Code::kTooLong;
  if (state.starts_with("22")) return Code::kConversion;
  if (state.starts_with("28")) return Code::kPassword;
  if (state == "08001" && Contains(text, "password")) return Code::kPassword;
  if (state.starts_with("08") || state.starts_with("57P0")) return Code::kIo;
  if (state.starts_with("40") || state == "55P03" || error.number == 1205) return Code::kLocked;
  if (state == "42501") return Code::kReadOnly;
  if (state == "42S02" || state == "42P01" || state == "IM002") return Code::kNotFound;
  if (state.starts_with("53")) return Code::kNoSpace;
  return Code::kIo;
}

void ThrowDiagnosis(std::string_view what, Diagnosis diagnosis) {
  const PendingError& first = diagnosis.errors.front();
  Status status = database::MakeStatus(CodeOf(first), database::ErrorNumber::kOdbcCallFailed,
                                       std::string(what) + ": " + first.description);
  throw database::DriverError(std::move(status), std::move(diagnosis.errors));
}

void Check(SQLRETURN result, SQLSMALLINT handle_type, SQLHANDLE handle, std::string_view what) {
  if (!Succeeded(result)) ThrowDiagnosis(what, Diagnose(handle_type, handle));
}

Environment::Environment()
    : handle_(nullptr, SQL_HANDLE_ENV, "the ODBC driver manager cannot be reached") {
  Check(SQLSetEnvAttr(get(), SQL_ATTR_ODBC_VERSION, Number(SQL_OV_ODBC3), 0), SQL_HANDLE_ENV, get(),
        "the ODBC driver manager is too old");
}

Connection::Connection(const Environment& environment, const std::string& text,
                       const std::string& shown, int logon_seconds)
    : handle_(environment.get(), SQL_HANDLE_ENV, "no ODBC connection can be made") {
  // A driver without this attribute refuses it, which costs nothing.
  SQLSetConnectAttr(get(), SQL_ATTR_LOGIN_TIMEOUT, Number(static_cast<SQLULEN>(logon_seconds)), 0);
  const std::vector<os::SocketIdentity> others = os::ConnectedSockets();
  std::array<SQLCHAR, 1024> completed{};
  SQLSMALLINT length = 0;
  const SQLRETURN result =
      SQLDriverConnect(get(), nullptr, Chars(text), static_cast<SQLSMALLINT>(text.size()),
                       completed.data(), completed.size(), &length, SQL_DRIVER_NOPROMPT);
  if (!Succeeded(result)) {
    Diagnosis diagnosis = Diagnose(SQL_HANDLE_DBC, get());
    handle_.Reset();
    ThrowDiagnosis("cannot open the data source '" + shown + "'", std::move(diagnosis));
  }
  // Another thread may have made a connection in the meantime; then nobody knows whose is which.
  std::vector<os::SocketIdentity> sockets = os::ConnectedSockets();
  std::erase_if(sockets, [&](const os::SocketIdentity& socket) {
    return std::find(others.begin(), others.end(), socket) != others.end();
  });
  if (sockets.size() == 1) socket_ = sockets.front();
}

void Connection::LimitAnswers(int seconds) {
  if (socket_) watch_ = std::make_shared<AnswerWatch>(*socket_, std::int64_t{seconds} * 1000);
}

void Connection::WaitForLocks(std::int64_t milliseconds) {
  waiting_ = std::make_shared<Waiting>(milliseconds, socket_);
}

Connection& Connection::operator=(Connection&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = std::move(other.handle_);
    socket_ = other.socket_;
    watch_ = std::move(other.watch_);
    waiting_ = std::move(other.waiting_);
  }
  return *this;
}

void Connection::Close() noexcept {
  if (!handle_) return;
  {
    const AnswerWatch::Call waiting(watch_.get());
    if (SQLDisconnect(get()) != SQL_SUCCESS) {  // refused while a transaction is open
      Rollback();
      SQLDisconnect(get());
    }
    handle_.Reset();
  }
  watch_.reset();
  socket_.reset();
}

std::string Connection::Info(SQLUSMALLINT what) const {
  std::array<char, 512> text{};
  SQLSMALLINT length = 0;
  if (!Succeeded(SQLGetInfo(get(), what, text.data(), text.size(), &length)) || length < 0)
    return {};
  return {text.data(), std::min<std::size_t>(static_cast<std::size_t>(length), text.size() - 1)};
}

bool Connection::Dead() const noexcept {
  SQLUINTEGER dead = SQL_CD_FALSE;
  return handle_ &&
         Succeeded(SQLGetConnectAttr(get(), SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr)) &&
         dead == SQL_CD_TRUE;
}

void Connection::SetAutocommit(bool on) {
  Check(SQLSetConnectAttr(get(), SQL_ATTR_AUTOCOMMIT,
                          Number(on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF), 0),
        SQL_HANDLE_DBC, get(), "the data source does not change its commit mode");
}

void Connection::Commit() {
  const AnswerWatch::Call waiting(watch_.get());
  SQLRETURN result = SQLEndTran(SQL_HANDLE_DBC, get(), SQL_COMMIT);
  while (!Succeeded(result) && waiting_ && waiting_->waits_for_locks() &&
         IsLocked(SQL_HANDLE_DBC, get()) && waiting_->TryLockAgain())
    result = SQLEndTran(SQL_HANDLE_DBC, get(), SQL_COMMIT);
  if (Succeeded(result) && waiting_) waiting_->Succeeded();
  Check(result, SQL_HANDLE_DBC, get(), "the records cannot be committed");
  if (Dead())
    ThrowDiagnosis("the records cannot be committed",
                   Diagnosis{{{0, "08S01", "the connection to the server was lost"}}});
}

void Connection::Rollback() noexcept {
  const AnswerWatch::Call waiting(watch_.get());
  if (handle_) SQLEndTran(SQL_HANDLE_DBC, get(), SQL_ROLLBACK);
}

Statement::Statement(const Connection& connection)
    : watch_(connection.watch_),
      waiting_(connection.waiting_),
      handle_(connection.get(), SQL_HANDLE_DBC, "no further statement can be made") {
  SQLSetStmtAttr(get(), SQL_ATTR_NOSCAN, Number(SQL_NOSCAN_ON), 0);
}

Statement& Statement::operator=(Statement&& other) noexcept {
  if (this != &other) {
    {
      const auto waiting = Waits();  // for the end of what it has open
      handle_ = std::move(other.handle_);
    }
    watch_ = std::move(other.watch_);
    waiting_ = std::move(other.waiting_);
  }
  return *this;
}

Statement::~Statement() {
  const auto waiting = Waits();
  handle_.Reset();
}

SQLRETURN Statement::Send(std::string_view sql) {
  CloseCursor();
  return WaitFor(
      [&] { return SQLExecDirect(get(), Chars(sql), static_cast<SQLINTEGER>(sql.size())); });
}

SQLRETURN Statement::ExecutePrepared() {
  return WaitFor([&] { return SQLExecute(get()); });
}

SQLRETURN Statement::WaitFor(const std::function<SQLRETURN()>& call) {
  const auto watched = Waits();
  if (!waiting_) return call();
  SQLRETURN result = waiting_->Run(get(), call);
  if (!waiting_->waits_for_locks()) return result;
  const auto locked = [&] {
    return result != SQL_NO_DATA && !Succeeded(result) && IsLocked(SQL_HANDLE_STMT, get());
  };
  while (locked() && waiting_->TryLockAgain()) {
    CloseCursor();
    result = call();
  }
  if (Succeeded(result)) waiting_->Succeeded();
  return result;
}

void Statement::Execute(std::string_view sql, std::string_view what) {
  std::string utf8;
  const Status status = AppendUtf8Text(sql, utf8);
  if (!status.ok()) throw Error(status);
  const SQLRETURN result = Send(utf8);
  if (result != SQL_NO_DATA) Check(result, what);
}

void Statement::CloseCursor() noexcept {
  const auto waiting = Waits();
  SQLFreeStmt(get(), SQL_CLOSE);
}

bool Statement::Fetch(std::string_view what) {
  const auto waiting = Waits();
  const SQLRETURN result = SQLFetch(get());
  if (result == SQL_NO_DATA) return false;
  Check(result, what);
  return true;
}

bool Statement::GetUtf8(SQLUSMALLINT column, std::string& out, std::string_view what) {
  out.clear();
  // Not cleared: it is filled before it is read, and often.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  std::array<char, 65536> piece;
  // Little at first: SQLite's driver clears all that it is given room for.
  std::size_t room = 512;
  bool any = false;
  for (;; room = piece.size()) {
    SQLLEN indicator = 0;
    const SQLRETURN result =
        SQLGetData(get(), column, SQL_C_CHAR, piece.data(), static_cast<SQLLEN>(room), &indicator);
    if (result == SQL_NO_DATA) break;
    Check(result, what);
    if (indicator == SQL_NULL_DATA) return false;
    any = true;
    const bool more = indicator == SQL_NO_TOTAL || indicator >= static_cast<SQLLEN>(room);
    const std::size_t size = more ? room - 1 : static_cast<std::size_t>(indicator);
    out.append(piece.data(), size);
    if (!more || result == SQL_SUCCESS) break;
  }
  return any;
}

bool Statement::GetText(SQLUSMALLINT column, std::string& out, std::string_view what) {
  const bool any = GetUtf8(column, out, what);
  if (base::AnsiPage().is_utf8() || base::AsciiPrefix(out) == out.size()) return any;
  const std::string utf8 = std::move(out);
  out.clear();
  AppendAnsiText(utf8, out);
  return any;
}

std::int64_t Statement::RowCount() const noexcept {
  SQLLEN count = -1;
  if (!Succeeded(SQLRowCount(get(), &count))) return -1;
  return count;
}

void AppendName(std::string_view name, const SqlDialect& dialect, std::string& out) {
  const Status status = AppendIdentifier(name, dialect, out);
  if (!status.ok()) throw Error(status);
}

std::vector<std::vector<std::string>> QueryRows(const Connection& connection, std::string_view sql,
                                                std::string_view what) {
  Statement statement(connection);
  statement.Execute(sql, what);
  SQLSMALLINT columns = 0;
  statement.Check(SQLNumResultCols(statement.get(), &columns), what);
  std::vector<std::vector<std::string>> rows;
  while (statement.Fetch(what)) {
    auto& row = rows.emplace_back(static_cast<std::size_t>(columns));
    for (std::size_t i = 0; i < row.size(); ++i)
      statement.GetText(static_cast<SQLUSMALLINT>(i + 1), row[i], what);
  }
  return rows;
}

}  // namespace kelvorin::database::odbc
