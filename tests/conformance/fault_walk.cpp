#include "tests/conformance/fault_walk.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <vector>

#include "tests/storage/support/fault_files.h"

namespace kelvorin::tests {
namespace {

Status Play(const FaultWalk& walk, storage::FileSystem& fs, Changes& changes) {
  database::DBEngine engine;
  walk.enter_driver(engine, fs);
  auto opened = engine.OpenDatabase(walk.database, false, false, walk.connect);
  if (!opened.ok()) return opened.status();
  KV_TRY(walk.play(**opened, changes));
  return (*opened)->Close();
}

/// What is there at first and after each change.
std::vector<std::string> StatesOf(const FaultWalk& walk) {
  MemoryFileSystem untouched;
  untouched.Take(walk.prepared);
  std::vector<std::string> states = {walk.state(untouched)};
  for (int stop = 1;; ++stop) {
    MemoryFileSystem disk;
    disk.Take(walk.prepared);
    Changes changes(disk, stop);
    try {
      const Status played = Play(walk, disk, changes);
      REQUIRE_MESSAGE(played.ok(), played.message());
      return states;
    } catch (const Changes::Stopped&) {
      states.push_back(walk.state(disk));
    }
  }
}

}  // namespace

void WalkFaults(const FaultWalk& walk) {
  const std::vector<std::string> states = StatesOf(walk);
  for (const FaultKind& kind : kFaultKinds) {
    CAPTURE(std::string(kind.name));
    for (int n = 1;; ++n) {
      CAPTURE(n);
      MemoryFileSystem disk;
      disk.Take(walk.prepared);
      FaultFileSystem faults(disk, kind.fault, n);
      Changes changes(disk, 0);
      const Status played = Play(walk, faults, changes);
      if (!faults.fired()) {
        CHECK(played.ok());
        break;
      }
      if (kind.fault == Fault::kDie) disk.Crash(kind.tail, static_cast<std::uint32_t>(n));
      const std::string found = walk.state(disk);
      const bool known =
          std::find(states.begin() + changes.flushed(), states.end(), found) != states.end();
      REQUIRE_MESSAGE(known, "after ", changes.flushed(), " flushed changes: ", played.message());
    }
  }
}

}  // namespace kelvorin::tests
