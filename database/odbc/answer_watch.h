#pragma once
// A limit for waiting on a server whose driver knows none: a thread that ends the connection when a
// call on it has taken too long, so that the driver reports a lost server. Included by .cpp files
// of this room only.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "os/sockets.h"

namespace kelvorin::database::odbc {

class AnswerWatch {
 public:
  AnswerWatch(const os::SocketIdentity& socket, std::int64_t limit_milliseconds);
  ~AnswerWatch();
  AnswerWatch(const AnswerWatch&) = delete;
  AnswerWatch& operator=(const AnswerWatch&) = delete;

  /// A call that waits for the server, from its making to its end. One inside another changes
  /// nothing. `watch` may be null.
  class Call {
   public:
    explicit Call(AnswerWatch* watch) noexcept;
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

   private:
    AnswerWatch* watch_;
  };

 private:
  void Watch();

  os::SocketIdentity socket_;
  std::int64_t limit_;
  std::atomic<std::int64_t> waiting_since_{-1};  // milliseconds; -1 while nobody waits
  std::mutex mutex_;
  std::condition_variable ended_changed_;
  bool ended_ = false;
  std::thread thread_;  // last: it uses the others
};

}  // namespace kelvorin::database::odbc
