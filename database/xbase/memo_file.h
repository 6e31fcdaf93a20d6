#pragma once
// The file that holds a table's long texts and binary values in numbered blocks: reading one,
// storing one (in place where it fits, else in fresh or freed blocks), and the header of a new
// file. Works on a storage store, of which it is one file; used by the open table alone.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "database/xbase/version.h"
#include "storage/store.h"

namespace kelvorin::database::xbase {

/// Room for the header at the front of a memo file; texts begin behind it.
inline constexpr std::uint32_t kMemoHeaderBytes = 512;

/// The dBASE IV chain of free runs: the header names the first free block; a free block names the
/// next one and the length of its run; the last link names the block behind the file's end.
struct FreeChain {
  bool sound = true;
  std::uint32_t tail = 0;  // block that holds the last link, 0: the header
  std::uint32_t runs = 0;
};

class MemoFile {
 public:
  /// Reads the header of a file attached to `store`, which must outlive this object. Throws
  /// `kCorrupt` when the file is no memo file.
  MemoFile(storage::Store& store, storage::FileNo file, MemoKind kind);

  MemoKind kind() const noexcept { return kind_; }
  std::uint32_t block_bytes() const noexcept { return block_bytes_; }

  /// Reads the value that begins at `block` (not 0) into `out`, raw. The answer is empty, or says
  /// why there is none ("block 77 lies behind the end ...").
  std::string Read(std::uint32_t block, std::string& out);

  /// What stands in the way of storing this value, or nothing: dBASE III ends a text at character
  /// 26, so none can hold one.
  static std::string_view Obstacle(MemoKind kind, std::string_view value) noexcept;
  /// Stores a value, inside a bracket, and returns its block. `old_block` is where the field's
  /// previous value stands (0: nowhere); its blocks are used again where the value fits in, else
  /// let go. `letter` is the field's type. Throws `kNoSpace` at the format's limit.
  std::uint32_t Write(std::uint32_t old_block, std::string_view value, char letter);
  /// Lets go of a value that its field no longer names, inside a bracket. Only dBASE IV keeps
  /// freed blocks for later; elsewhere nothing happens.
  void Free(std::uint32_t block);
  /// To be called when a bracket with `Write` or `Free` in it was given up.
  void Forget() noexcept { chain_.reset(); }

  /// A run of blocks, in use or free.
  struct Run {
    std::uint32_t block = 0;
    std::uint32_t next = 0;  // of a free one: the next in the chain
    std::uint32_t blocks = 0;
  };
  /// Number of blocks the value at `block` stands in; 0 when there is no whole value.
  std::uint64_t Occupied(std::uint32_t block);
  /// The chain of free blocks, empty when it is broken.
  std::vector<Run> FreeRuns();
  /// Lists what is wrong with the header and the chain of free blocks.
  void Inspect(std::vector<std::string>& problems);

  /// Bytes of an empty memo file. `base_name` is the table's, without extension.
  static std::string NewFile(MemoKind kind, std::string_view base_name);

 private:
  std::uint64_t Offset(std::uint32_t block) const noexcept {
    return std::uint64_t{block} * block_bytes_;
  }
  std::uint32_t HeaderBlocks() const noexcept;
  std::uint64_t EndBlock() const noexcept;
  std::uint64_t BlocksFor(std::uint64_t bytes) const noexcept {
    return (bytes + block_bytes_ - 1) / block_bytes_;
  }
  std::uint32_t NextFree();
  void SetNextFree(std::uint32_t block);
  /// Length of the value at `block` with its head, or nothing when there is no whole value with a
  /// head.
  std::optional<std::uint64_t> HeadedBytes(std::uint32_t block);
  std::string ReadToMark(std::uint32_t block, std::string& out);

  FreeChain& WalkChain();
  std::optional<Run> ReadRun(std::uint32_t block);
  void SetLink(std::uint32_t holder, std::uint32_t to);
  std::uint32_t Allocate(std::uint64_t blocks);
  std::uint32_t AllocateAtEnd(std::uint64_t blocks);
  std::uint32_t CheckedEnd(std::uint64_t next_free, std::uint64_t blocks);

  storage::Store* store_;
  storage::FileNo file_;
  MemoKind kind_;
  std::uint32_t block_bytes_ = 512;
  std::optional<FreeChain> chain_;
  std::vector<std::byte> scratch_;
  std::string image_;  // head, value and padding of the value being stored
};

}  // namespace kelvorin::database::xbase
