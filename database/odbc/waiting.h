#pragma once
// Waiting for a server or a lock so that a person can end it: calls that may take long run on a
// thread of their own while somebody is asked whether to go on, and a lock of SQLite is waited for
// in short steps. Included by .cpp files of this room only.

#include <sql.h>
#include <sqlext.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "os/sockets.h"

namespace kelvorin::database::odbc {

/// Runs one call after the other on a thread of its own, which begins with the first. One thread
/// for all of them: drivers allocate large buffers, which a new thread for each call would find
/// anew.
class CallThread {
 public:
  CallThread() = default;
  ~CallThread();
  CallThread(const CallThread&) = delete;
  CallThread& operator=(const CallThread&) = delete;

  /// The call before has been waited for. `call` lives until this one has.
  void Begin(const std::function<SQLRETURN()>& call);
  /// Whether the call has returned, after waiting so long for it at most.
  bool HasReturned(std::chrono::milliseconds most);
  /// What it returned, waited for without end.
  SQLRETURN Answer();

 private:
  void Work();

  std::mutex mutex_;
  std::condition_variable changed_;
  const std::function<SQLRETURN()>* call_ = nullptr;  // null: nothing to do
  SQLRETURN answer_ = SQL_SUCCESS;
  bool ended_ = false;
  std::thread thread_;  // last: it uses the others
};

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
  CallThread calls_;
};

}  // namespace kelvorin::database::odbc
