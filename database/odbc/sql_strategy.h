#pragma once
// The strategy that writes records as SQL text, one INSERT with a list of VALUES, and what all
// strategies over a session share. Included by .cpp files of this room only.

#include <string>
#include <vector>

#include "database/odbc/catalog.h"
#include "database/odbc/chunk_poster.h"

namespace kelvorin::database::odbc {

/// "INSERT INTO t (a,b) ", in the ANSI page.
std::string InsertText(const Session& session, const TableEntry& table,
                       const std::vector<std::string>& fields);

class SqlStrategy : public PostStrategy {
 public:
  SqlStrategy(Session& session, const std::string& into, bool refuses_doubles, Limits limits);
  ~SqlStrategy() override;

  Limits limits() const noexcept override { return limits_; }
  PostFailure Send(const RecordBatch& batch, BatchRange range) override;
  PostFailure Begin() override;
  PostFailure Commit() override;
  bool Reconnect() override;
  bool RefusesDoubles() const noexcept override { return refuses_doubles_; }
  /// Sends a statement in UTF-8. `changed` receives the number of records that it changed.
  PostFailure SendText(std::string_view sql, std::int64_t* changed = nullptr);
  /// After a failed statement of one record: notes when it fails without a record just as well.
  void AskForTable(std::size_t fields, PostFailure& failure);

 protected:
  /// What the statement's diagnostics say, and what that means for the session.
  PostFailure FailureOf(const Statement& statement);
  /// After a failed statement: whether the transaction around it is still open. SQLite drops it at
  /// some failures, as of a full disk; its driver does not notice.
  bool TransactionLives() noexcept;
  /// Right after a failed statement of several records: notes which one the server stopped at.
  void AskWhere(BatchRange range, PostFailure& failure);
  static PostFailure FailureOf(const Error& error);
  /// Takes back what was sent and not committed; the session is as it was before the strategy.
  void EndTransaction() noexcept;
  Session& session() noexcept { return session_; }
  const std::string& into() const noexcept { return into_; }
  /// Throws when the server went while nothing was asked of it, so that nothing is sent in vain.
  void RequireServer();
  /// Of a connection that is gone.
  virtual void ForgetStatements() { statement_ = Statement(); }

 private:
  void WriteValues(const RecordBatch& batch, BatchRange range);

  Session& session_;
  std::string into_;  // in UTF-8
  bool refuses_doubles_;
  Limits limits_;
  Statement statement_;
  std::string sql_;
  bool in_transaction_ = false;
  bool tells_where_;  // the server numbers the rows of a failed statement
};

}  // namespace kelvorin::database::odbc
