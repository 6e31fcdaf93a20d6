#pragma once
// The fault walk of drivers of files: a scenario of changes is played on a disk on which each
// operation fails once, and once is the last.

#include <functional>
#include <string>

#include "database/engine.h"
#include "tests/storage/support/memory_files.h"

namespace kelvorin::tests {

/// What a scenario tells as it is played.
class Changes {
 public:
  struct Stopped {};
  Changes(MemoryFileSystem& disk, int stop_after) noexcept : disk_(disk), stop_after_(stop_after) {}
  /// One more change is finished; hands on its status.
  Status Done(const Status& status = {}) {
    if (status.ok() && ++done_ == stop_after_) throw Stopped{};
    return status;
  }
  /// What was finished is on the disk for good.
  void Flushed() noexcept { flushed_ = done_; }
  /// Lets time go by.
  void Pass(std::int64_t milliseconds) noexcept { disk_.clock += milliseconds; }
  int flushed() const noexcept { return flushed_; }

 private:
  MemoryFileSystem& disk_;
  int stop_after_;
  int done_ = 0;
  int flushed_ = 0;
};

struct FaultWalk {
  /// What lies on the disk before.
  const MemoryFileSystem& prepared;
  std::function<void(database::DBEngine&, storage::FileSystem&)> enter_driver;
  /// What is opened for `play`.
  const char* database;
  const char* connect;
  std::function<Status(database::Database&, Changes&)> play;
  /// What it holds, seen after opening it anew; fails the test when that is not sound.
  std::function<std::string(MemoryFileSystem&)> state;
};

/// Whatever fails and whoever dies: the state is that after some finished change, and no change
/// that was flushed is lost.
void WalkFaults(const FaultWalk& walk);

}  // namespace kelvorin::tests
