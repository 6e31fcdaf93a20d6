#include "database/odbc/answer_watch.h"

#include <algorithm>
#include <chrono>

#include "os/system.h"

namespace kelvorin::database::odbc {

AnswerWatch::AnswerWatch(const os::SocketIdentity& socket, std::int64_t limit_milliseconds)
    : socket_(socket), limit_(limit_milliseconds), thread_([this] { Watch(); }) {}

AnswerWatch::~AnswerWatch() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  ended_changed_.notify_one();
  thread_.join();
}

// Looks seldom, so that a call costs no more than noting its time: an answer may come an eighth
// later than allowed before anybody notices.
void AnswerWatch::Watch() {
  std::unique_lock lock(mutex_);
  while (!ended_) {
    const std::int64_t since = waiting_since_.load();
    std::int64_t wait = limit_ / 8;
    if (since >= 0) {
      const std::int64_t left = since + limit_ - os::MonotonicMilliseconds();
      if (left <= 0) os::ShutDown(socket_);
      if (left > 0) wait = std::min(wait, left);
    }
    ended_changed_.wait_for(lock, std::chrono::milliseconds(std::max<std::int64_t>(wait, 1)));
  }
}

AnswerWatch::Call::Call(AnswerWatch* watch) noexcept
    : watch_(watch != nullptr && watch->waiting_since_.load() < 0 ? watch : nullptr) {
  if (watch_ != nullptr) watch_->waiting_since_.store(os::MonotonicMilliseconds());
}

AnswerWatch::Call::~Call() {
  if (watch_ != nullptr) watch_->waiting_since_.store(-1);
}

}  // namespace kelvorin::database::odbc
