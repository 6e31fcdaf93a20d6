#pragma once
// A disk in memory for tests of storage and drivers: files with locks, a limit of room, and a loss
// of power after which only what was synced is sure to be there.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "storage/file.h"

namespace kelvorin::tests {

/// What a loss of power leaves of writes that were not synced.
enum class Tail : std::uint8_t { kAll, kNone, kSome };

class MemoryFileSystem final : public storage::FileSystem {
 public:
  std::unique_ptr<storage::File> Open(const std::string& path, os::OpenMode mode,
                                      os::Accept accept = os::Accept::kRegular) override;
  os::FileFacts Facts(const std::string& path) override { return Look(path); }
  std::string RealPath(const std::string& path) override { return path; }
  void Remove(const std::string& path) override;
  void Rename(const std::string& from, const std::string& to) override;
  void CopyAccess(const std::string& from, const std::string& to) override;
  void MakeFolders(const std::string&) override {}  // every folder is there
  os::FileFacts Look(const std::string& path) override;
  bool IsWritable(const std::string& path) override { return Has(path) || folder_writable; }
  std::uint64_t User() override { return user; }
  std::vector<std::string> List(const std::string& folder) override;
  void SyncFolder(const std::string& folder) override;
  std::int64_t Milliseconds() noexcept override { return clock; }

  /// Loses the power: `kSome` keeps each unsynced 512 bytes, cut and name by the toss of a coin.
  /// Files still open afterwards belong to the dead program and must not be used.
  void Crash(Tail tail, std::uint32_t seed = 0);
  bool Has(const std::string& path) const { return now_.contains(path); }
  /// A file's bytes as programs see them now.
  std::string Contents(const std::string& path) const;
  /// Makes a file that is on the disk for good.
  void Put(const std::string& path, std::string_view contents);
  /// The same with every file of another disk.
  void Take(const MemoryFileSystem& other);

  /// Makes a second name of a file.
  void Link(const std::string& path, const std::string& name) { now_[name] = now_.at(path); }
  /// Gives a file to another user.
  void SetOwner(const std::string& path, std::uint64_t owner);
  std::uint64_t Owner(const std::string& path) const;

  std::int64_t clock = 0;
  std::uint64_t user = 1000;
  bool folder_writable = true;
  std::uint64_t room = ~std::uint64_t{0};  // bytes that all files may take

  struct Node;

 private:
  using Folder = std::map<std::string, std::shared_ptr<Node>>;
  friend class MemoryFile;
  std::uint64_t Taken() const;
  os::FileFacts FactsOf(const std::shared_ptr<Node>& node) const;
  Folder now_;
  Folder durable_;
  std::uint64_t next_inode_ = 1;
};

}  // namespace kelvorin::tests
