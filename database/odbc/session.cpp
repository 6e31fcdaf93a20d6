#include "database/odbc/session.h"

#include <odbcinst.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

#include "base/M_STRING.h"
#include "database/engine.h"
#include "os/files.h"
#include "os/system.h"

namespace kelvorin::database::odbc {
namespace {

// As long as the drivers that know these limits by themselves are told to wait.
constexpr int kLogonSeconds = 15;
constexpr int kAnswerSeconds = 600;
constexpr std::int64_t kLockMilliseconds = 5000;
constexpr std::chrono::milliseconds kTryEvery{200};  // after a loss

Server ServerOf(std::string_view dbms_name) noexcept {
  if (base::StartsWithIgnoreCase(dbms_name, "SQLite")) return Server::kSqlite;
  if (base::StartsWithIgnoreCase(dbms_name, "PostgreSQL")) return Server::kPostgres;
  if (base::StartsWithIgnoreCase(dbms_name, "MariaDB") ||
      base::StartsWithIgnoreCase(dbms_name, "MySQL"))
    return Server::kMariaDb;
  return Server::kOther;
}

/// The one value of a query, empty when there is none.
std::string QueryText(const Connection& connection, std::string_view sql, std::string_view what) {
  const auto rows = QueryRows(connection, sql, what);
  return rows.empty() || rows.front().empty() ? std::string() : rows.front().front();
}

void Run(const Connection& connection, std::string_view sql, std::string_view what) {
  Statement(connection).Execute(sql, what);
}

// Without these a value that does not fit is cut, rounded to a limit or replaced, a 0 counts a
// number up, and a backslash ends a text.
void SetUpMariaDb(const Connection& connection, std::string_view what) {
  Run(connection,
      "SET SESSION sql_mode='STRICT_ALL_TABLES,STRICT_TRANS_TABLES,NO_ENGINE_SUBSTITUTION,"
      "ERROR_FOR_DIVISION_BY_ZERO,NO_AUTO_VALUE_ON_ZERO,NO_BACKSLASH_ESCAPES', time_zone='+00:00', "
      "group_concat_max_len=1048576, character_set_client=utf8mb4, "
      "character_set_connection=utf8mb4, character_set_results=utf8mb4",
      what);
}

/// Whether the server takes "\" in quoted text as an escape.
bool TakesBackslash(const Connection& connection, std::string_view what) {
  return QueryText(connection, R"(SELECT '\\')", what).size() == 1;
}

}  // namespace

Session::Session(database::ConnectString connect)
    : connect_(std::move(connect)), name_(DataSourceName(connect_)) {
  connection_ = LogOn();
  SetUp();
}

std::string Session::Setting(const std::string& key) const {
  for (const auto& [name, value] : connect_.pairs())
    if (!value.empty() && base::EqualIgnoreCase(name, key)) return value;
  const std::string dsn(connect_.Get("DSN").value_or(std::string_view()));
  std::array<char, 256> value{};
  if (dsn.empty() || SQLGetPrivateProfileString(dsn.c_str(), key.c_str(), "", value.data(),
                                                value.size(), "odbc.ini") <= 0)
    return {};
  return value.data();
}

int Session::Seconds(const std::string& key, int otherwise) const {
  const std::string value = Setting(key);
  if (value.empty()) return otherwise;
  return static_cast<int>(std::clamp<std::int64_t>(base::ParseInteger(value), 1, 1'000'000));
}

// What a data source or an account may have set otherwise: values would be read or stored as
// others. The server keeps a data source that is only read from being written.
void Session::SetUpPostgres(const Connection& connection, std::string_view what) const {
  for (const char* sql :
       {"SET client_encoding='UTF8'", "SET standard_conforming_strings=on",
        "SET DateStyle='ISO, YMD'", "SET IntervalStyle='postgres'", "SET TimeZone='UTC'",
        "SET bytea_output='hex'", "SET extra_float_digits=3", "SET synchronize_seqscans=off"})
    Run(connection, sql, what);
  const std::string read_only = Setting("ReadOnly");
  if (read_only.starts_with('1') || base::StartsWithIgnoreCase(read_only, "Y"))
    Run(connection, "SET default_transaction_read_only=on", what);
}

// SQLite's driver says "connect failed" and no more, the driver manager not which driver it lacks.
std::string Session::WhyNot(const database::PendingError& error) const {
  if (error.description.find("[SQLite]") != std::string::npos) {
    std::error_code ignored;
    const std::string file = os::RealPath(Setting("Database"), ignored);
    const bool there = os::Facts(file).kind != os::FileKind::kNone;
    return std::string(there ? ": the file is '" : ": there is no file '") + file + "'";
  }
  const std::string driver = Setting("Driver");
  if (error.state == "IM002" && !driver.empty())
    return ": its driver '" + driver + "' is not installed";
  return {};
}

Connection Session::LogOn() const {
  Result<std::string> text = DriverConnectText(
      connect_, [&](std::string_view key) { return !Setting(std::string(key)).empty(); });
  if (!text.ok()) throw Error(std::move(text).status());
  Connection connection = [&] {
    try {
      return Connection(environment_, *text, name_, Seconds("CONN_TIMEOUT", kLogonSeconds));
    } catch (const database::DriverError& error) {
      const Status& status = error.status();
      throw database::DriverError(
          Status(status.code(), std::string(status.message()) + WhyNot(error.details().front()),
                 status.number()),
          error.details());
    }
  }();
  const Server server = ServerOf(connection.Info(SQL_DBMS_NAME));
  // PostgreSQL's driver waits for a silent server for good.
  if (server == Server::kPostgres) connection.LimitAnswers(Seconds("READ_TIMEOUT", kAnswerSeconds));
  const std::string lock_wait = Setting("Timeout");
  connection.WaitForLocks(server != Server::kSqlite ? 0
                          : lock_wait.empty()       ? kLockMilliseconds
                                                    : base::ParseInteger(lock_wait));
  return connection;
}

// Also the first statement on the connection: some drivers log on to anything and fail only now.
void Session::SetUp() {
  const std::string what = "cannot open the data source '" + name_ + "'";
  facts_ = {};
  facts_.dbms_name = connection_.Info(SQL_DBMS_NAME);
  facts_.server = ServerOf(facts_.dbms_name);
  facts_.current_catalog = connection_.Info(SQL_DATABASE_NAME);
  facts_.dialect.identifier_quote =
      std::string(base::Trim(connection_.Info(SQL_IDENTIFIER_QUOTE_CHAR)));
  bool escapes = TakesBackslash(connection_, what);
  switch (facts_.server) {
    case Server::kSqlite:
      // The only quotes that its driver knows too: behind others it takes "?" for a parameter and
      // ";" for the end.
      facts_.dialect.identifier_quote = "\"";
      Run(connection_, "SELECT COUNT(*) FROM sqlite_master", what);
      break;
    case Server::kPostgres:
      SetUpPostgres(connection_, what);
      facts_.default_schema = QueryText(connection_, "SELECT current_schema()", what);
      break;
    case Server::kMariaDb:
      SetUpMariaDb(connection_, what);
      // as it is from now on, whatever the mode was when the driver was asked
      facts_.dialect.identifier_quote = "`";
      facts_.current_catalog = QueryText(connection_, "SELECT DATABASE()", what);
      facts_.most_packet_bytes = static_cast<std::size_t>(
          base::ParseInteger(QueryText(connection_, "SELECT @@max_allowed_packet", what)));
      break;
    case Server::kOther:
      break;
  }
  if (escapes && facts_.server != Server::kOther) escapes = TakesBackslash(connection_, what);
  facts_.dialect.backslash_escapes = escapes;
}

Connection Session::OpenStream() const {
  Connection stream = LogOn();
  stream.StopWhen(stop_);
  const std::string what = "cannot read from '" + name_ + "'";
  if (facts_.server == Server::kPostgres) SetUpPostgres(stream, what);
  if (facts_.server == Server::kMariaDb) SetUpMariaDb(stream, what);
  return stream;
}

namespace {

// The file must not be opened for this: closing it would take away the locks that SQLite holds.
std::string FileIdentity(const std::string& path) {
  std::error_code error;
  const std::string plain = os::RealPath(path, error);
  return error ? path : plain;
}

}  // namespace

void Session::StopWhen(Waiting::Stop stop) {
  stop_ = std::move(stop);
  connection_.StopWhen(stop_);
}

const std::string& Session::Identity() {
  if (identity_) return *identity_;
  identity_.emplace();
  try {
    switch (facts_.server) {
      case Server::kSqlite: {
        const std::string path = QueryText(
            connection_, "SELECT file FROM pragma_database_list WHERE name='main'", "no file");
        if (!path.empty()) identity_ = FileIdentity(path);
        break;
      }
      case Server::kPostgres:
        identity_ = QueryText(connection_,
                              "SELECT system_identifier||':'||(SELECT oid FROM pg_database WHERE "
                              "datname=current_database()) FROM pg_control_system()",
                              "no identity");
        break;
      case Server::kMariaDb:
        identity_ = QueryText(connection_,
                              "SELECT CONCAT(@@hostname,':',@@port,':',@@datadir,':',DATABASE())",
                              "no identity");
        break;
      case Server::kOther:
        break;
    }
  } catch (const Error&) {
    // a server that does not tell: nothing can be known to be the same
  }
  return *identity_;
}

void Session::Note(const Diagnosis& diagnosis) noexcept {
  if (diagnosis.ConnectionLost() || connection_.Dead()) lost_ = true;
}

bool Session::Reconnect() noexcept {
  if (!LostByNow()) return true;
  if (gave_up_) return false;
  const std::int64_t until =
      os::MonotonicMilliseconds() + std::int64_t{Seconds("CONN_TIMEOUT", kLogonSeconds)} * 1000;
  while (lost_ && !gave_up_) {
    try {
      connection_.Close();
      connection_ = LogOn();
      SetUp();
      connection_.StopWhen(stop_);
      lost_ = false;
    } catch (...) {
      // why it failed does not matter: the loss itself is what is reported
      gave_up_ = os::MonotonicMilliseconds() >= until || (stop_ && stop_());
      if (!gave_up_) std::this_thread::sleep_for(kTryEvery);
    }
  }
  return !lost_;
}

void Session::RequireConnection() {
  if (Reconnect()) return;
  ThrowDiagnosis("the data source '" + name_ + "'",
                 Diagnosis{{{0, "08S01", "the connection to the server was lost"}}});
}

void Session::Close() noexcept {
  connection_.Close();
}

}  // namespace kelvorin::database::odbc
