#include "database/odbc/waiting.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include "os/system.h"

namespace kelvorin::database::odbc {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kAskEvery{50};
// Failures that follow each other faster are those of one flush, and wait once.
constexpr milliseconds kSameWait{300};
constexpr milliseconds kGiveUpAfter{1000};  // for the server to give up a cancelled statement

void EndNewSockets(const std::vector<os::SocketIdentity>& before) {
  for (const os::SocketIdentity& socket : os::ConnectedSockets())
    if (std::find(before.begin(), before.end(), socket) == before.end()) os::ShutDown(socket);
}

}  // namespace

SQLRETURN Waiting::Run(SQLHSTMT statement, const std::function<SQLRETURN()>& call) {
  if (!stop_ || !socket_) return call();
  std::future<SQLRETURN> answer = std::async(std::launch::async, call);
  while (answer.wait_for(kAskEvery) != std::future_status::ready) {
    if (!AskedToStop()) continue;
    // Drivers ask the server over a connection of its own, which a server that stands still would
    // keep waiting as well.
    const std::vector<os::SocketIdentity> before = os::ConnectedSockets();
    std::thread asking([statement] { SQLCancel(statement); });
    if (answer.wait_for(kGiveUpAfter) != std::future_status::ready) {
      os::ShutDown(*socket_);
      EndNewSockets(before);
    }
    answer.wait();
    EndNewSockets(before);
    asking.join();
    break;
  }
  return answer.get();
}

bool Waiting::TryLockAgain() {
  const std::int64_t now = os::MonotonicMilliseconds();
  if (locked_since_ < 0 || now - last_locked_ > kSameWait.count()) locked_since_ = now;
  last_locked_ = now;
  if (AskedToStop() || now - locked_since_ >= lock_milliseconds_) return false;
  std::this_thread::sleep_for(kAskEvery / 5);
  return true;
}

}  // namespace kelvorin::database::odbc
