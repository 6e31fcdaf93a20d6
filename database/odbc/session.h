#pragma once
// One logged-on data source: the connection, what its server is, and how it is found again after it
// was lost. Shared by a database's record sets, statements and bulk inserters; further connections
// for reading are made here too. Included by .cpp files of this room only.

#include <optional>
#include <string>

#include "database/connect_string.h"
#include "database/odbc/connect_text.h"
#include "database/odbc/handles.h"
#include "database/odbc/sql_text.h"
#include "database/odbc/type_map.h"

namespace kelvorin::database::odbc {

/// What is asked once after logging on.
struct ServerFacts {
  Server server = Server::kOther;
  std::string dbms_name;        // the server's own word, "PostgreSQL"
  std::string current_catalog;  // MariaDB: the database; else as the driver tells
  std::string default_schema;   // PostgreSQL; empty elsewhere
  SqlDialect dialect;
  std::size_t most_packet_bytes = 0;  // of a statement; 0: no limit is known
};

class Session {
 public:
  explicit Session(database::ConnectString connect);

  const Connection& connection() const noexcept { return connection_; }
  Connection& connection() noexcept { return connection_; }
  const ServerFacts& facts() const noexcept { return facts_; }
  const std::string& name() const noexcept { return name_; }

  /// A further connection for reading.
  Connection OpenStream() const;

  /// Asked from now on while the server or a lock is waited for, also after a loss.
  void StopWhen(Waiting::Stop stop);

  /// The server's own name for the database, the same through every connection; empty where it
  /// tells none. Of SQLite the file.
  const std::string& Identity();

  /// To be called with every diagnosis: remembers when the server is gone.
  void Note(const Diagnosis& diagnosis) noexcept;
  bool lost() const noexcept { return lost_; }
  /// The same, also of a server that went while nothing was asked of it: to be called before what
  /// must not be sent in vain.
  bool LostByNow() noexcept { return lost_ = lost_ || connection_.Dropped(); }
  /// Logs on anew after a loss, again and again for as long as a logon may take. A server that
  /// stayed away is not asked again until the database is opened anew, so that nothing waits once
  /// per record.
  bool Reconnect() noexcept;
  /// Throws when the connection is lost and does not come back.
  void RequireConnection();
  void Close() noexcept;

 private:
  /// A connection with the limits that the data source sets.
  Connection LogOn() const;
  /// What the text of a failed logon lacks, to stand behind it.
  std::string WhyNot(const database::PendingError& error) const;
  /// The value of a key of the connect string or the data source, empty when neither has it.
  std::string Setting(const std::string& key) const;
  int Seconds(const std::string& key, int otherwise) const;
  void SetUp();
  void SetUpPostgres(const Connection& connection, std::string_view what) const;

  database::ConnectString connect_;
  Waiting::Stop stop_;
  std::string name_;
  Environment environment_;
  Connection connection_;
  ServerFacts facts_;
  bool lost_ = false;
  bool gave_up_ = false;
  std::optional<std::string> identity_;
};

}  // namespace kelvorin::database::odbc
