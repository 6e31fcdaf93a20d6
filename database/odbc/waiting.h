#pragma once
// Waiting for a server or a lock so that a person can end it: calls that may take long run on a
// thread of their own while somebody is asked whether to go on, and a lock of SQLite is waited for
// in short steps. Included by .cpp files of this room only.

#include <sql.h>
#include <sqlext.h>

#include <cstdint>
#include <functional>
#include <optional>

#include "os/sockets.h"

namespace kelvorin::database::odbc {

/// One connection's way of waiting; shared with its statements.
class Waiting {
 public:
  using Stop = std::function<bool()>;
  /// `lock_milliseconds`: how long a lock is waited for, 0 where the driver does that itself.
  /// `socket` is the connection's to its server, where it has one.
  Waiting(std::int64_t lock_milliseconds, std::optional<os::SocketIdentity> socket)
      : lock_milliseconds_(lock_milliseconds), socket_(socket) {}

  /// Asked several times a second while there is something to wait for; true ends the waiting. May
  /// be empty.
  void StopWhen(Stop stop) {
    stop_ = std::move(stop);
    stopped_ = false;
  }

  /// Runs a call for `statement` and returns its answer. When the waiting is ended the server is
  /// asked to give the statement up; where it does not within a second, the connection ends.
  SQLRETURN Run(SQLHSTMT statement, const std::function<SQLRETURN()>& call);
  /// After a failure by a lock: sleeps a little and returns whether to try again. Failures
  /// that follow each other share one wait.
  bool TryLockAgain();
  void Succeeded() noexcept { locked_since_ = -1; }
  bool waits_for_locks() const noexcept { return lock_milliseconds_ > 0; }
  /// Whether somebody ended the waiting: nothing more is to be sent.
  bool stopped() const noexcept { return stopped_; }

 private:
  bool AskedToStop() { return stopped_ = stopped_ || (stop_ && stop_()); }

  Stop stop_;
  std::int64_t lock_milliseconds_;
  std::optional<os::SocketIdentity> socket_;
  std::int64_t locked_since_ = -1;
  std::int64_t last_locked_ = 0;
  bool stopped_ = false;
};

}  // namespace kelvorin::database::odbc
