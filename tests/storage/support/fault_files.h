#pragma once
// A disk that fails on purpose, around any other. Operations count from 1: opening, reading,
// writing, cutting, reserving, syncing, closing, renaming and removing each count as one.
//
//   for (int n = 1;; ++n) {
//     FaultFileSystem faults(disk, Fault::kIoError, n);
//     ... the scenario, which must report the failure ...
//     if (!faults.fired()) break;   // the whole road was walked
//   }

#include <memory>
#include <string>
#include <vector>

#include "storage/file.h"
#include "tests/storage/support/memory_files.h"

namespace kelvorin::tests {

enum class Fault : std::uint8_t {
  kNone,
  kIoError,    // operation n fails; a write leaves half of its bytes
  kNoSpace,    // the same, as a full disk
  kShortRead,  // operation n, if it reads, delivers half
  kDie,        // operation n and all that follow fail: the program is gone
};

/// The ways in which a program meets the end of an operation, and how many different outcomes a
/// loss of power is worth.
struct FaultKind {
  const char* name;
  Fault fault;
  Tail tail = Tail::kAll;
  std::uint32_t seeds = 1;
};
inline constexpr FaultKind kFaultKinds[] = {
    {"I/O error", Fault::kIoError},           {"full", Fault::kNoSpace},
    {"short read", Fault::kShortRead},        {"killed", Fault::kDie},
    {"power lost", Fault::kDie, Tail::kNone}, {"power lost midway", Fault::kDie, Tail::kSome, 6}};

class FaultFileSystem final : public storage::FileSystem {
 public:
  FaultFileSystem(storage::FileSystem& disk, Fault fault, int at) noexcept
      : disk_(disk), fault_(fault), at_(at) {}

  std::unique_ptr<storage::File> Open(const std::string& path, os::OpenMode mode,
                                      os::Accept accept = os::Accept::kRegular) override;
  os::FileFacts Facts(const std::string& path) override { return disk_.Facts(path); }
  std::string RealPath(const std::string& path) override { return disk_.RealPath(path); }
  void Remove(const std::string& path) override;
  void Rename(const std::string& from, const std::string& to) override;
  void CopyAccess(const std::string& from, const std::string& to) override;
  void MakeFolders(const std::string& path) override;
  os::FileFacts Look(const std::string& path) override { return disk_.Look(path); }
  bool IsWritable(const std::string& path) override { return disk_.IsWritable(path); }
  std::uint64_t User() override { return disk_.User(); }
  std::vector<std::string> List(const std::string& folder) override { return disk_.List(folder); }
  void SyncFolder(const std::string& folder) override;
  std::int64_t Milliseconds() noexcept override { return disk_.Milliseconds(); }

  bool fired() const noexcept { return fired_; }
  int operations() const noexcept { return count_; }

 private:
  friend class FaultFile;
  /// Counts one operation; throws when it is to fail.
  void Step(const std::string& path, const char* doing);
  bool Fires() noexcept;
  storage::FileSystem& disk_;
  const Fault fault_;
  const int at_;
  int count_ = 0;
  bool fired_ = false;
};

}  // namespace kelvorin::tests
