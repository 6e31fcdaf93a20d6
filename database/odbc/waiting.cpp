#include "database/odbc/waiting.h"

#include <algorithm>
#include <chrono>
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

CallThread::~CallThread() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void CallThread::Begin(const std::function<SQLRETURN()>& call) {
  {
    const std::lock_guard lock(mutex_);
    call_ = &call;
  }
  if (thread_.joinable()) {
    changed_.notify_all();
  } else {
    thread_ = std::thread([this] { Work(); });
  }
}

void CallThread::Work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ended_ || call_ != nullptr; });
    if (call_ == nullptr) return;
    const std::function<SQLRETURN()>& call = *call_;
    lock.unlock();
    const SQLRETURN answer = call();
    lock.lock();
    answer_ = answer;
    call_ = nullptr;
    changed_.notify_all();
  }
}

bool CallThread::HasReturned(milliseconds most) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, most, [this] { return call_ == nullptr; });
}

SQLRETURN CallThread::Answer() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return call_ == nullptr; });
  return answer_;
}

SQLRETURN Waiting::Run(SQLHSTMT statement, const std::function<SQLRETURN()>& call) {
  if (!stop_ || !socket_) return call();
  calls_.Begin(call);
  while (!calls_.HasReturned(kAskEvery)) {
    if (!AskedToStop()) continue;
    // Drivers ask the server over a connection of its own, which a server that stands still would
    // keep waiting as well.
    const std::vector<os::SocketIdentity> before = os::ConnectedSockets();
    std::thread asking([statement] { SQLCancel(statement); });
    if (!calls_.HasReturned(kGiveUpAfter)) {
      os::ShutDown(*socket_);
      EndNewSockets(before);
    }
    calls_.Answer();
    EndNewSockets(before);
    asking.join();
    break;
  }
  return calls_.Answer();
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
