#pragma once
// The file that holds a table's long values (`.MB`): reading one by its reference, storing one in
// fresh or freed room, letting one go. A value is never changed in place. Works on a file of the
// table's storage store; changes happen inside a bracket.

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "database/paradox/cipher.h"
#include "storage/store.h"

namespace kelvorin::database::paradox {

/// The ten bytes behind a field's leader.
struct BlobReference {
  std::uint32_t location = 0;  // offset of the block, its low byte which value of the block
  std::uint32_t bytes = 0;     // 0: Null
  std::uint16_t modification = 0;

  bool in_leader() const noexcept { return (location & 0xFFFFFF00) == 0; }
  bool operator==(const BlobReference&) const = default;
};
BlobReference LoadReference(base::ByteSpan ten) noexcept;
void StoreReference(const BlobReference& reference, base::MutableByteSpan ten) noexcept;

class BlobFile {
 public:
  /// `key` is the table's. Throws `kCorrupt` when the file is no blob file. `store` outlives this.
  BlobFile(storage::Store& store, storage::FileNo file, std::uint32_t key);

  const std::string& path() const noexcept { return store_->Path(file_); }

  /// Reads a value that is not in the leader. The answer is empty, or says why there is none.
  std::string Read(const BlobReference& reference, std::string& out);
  /// Stores a value of at least one byte. Throws `kNoSpace` at the format's limits.
  BlobReference Write(std::string_view value);
  /// Lets go of a value; a reference to none is passed over.
  void Free(const BlobReference& reference);
  /// To be called when a bracket was given up.
  void Forget() noexcept { mapped_ = false; }

  /// Lists what is wrong with the blocks and with the references of the table's records (sorted
  /// and unique where all is well).
  void Inspect(std::vector<BlobReference> references, std::vector<std::string>& problems);

  /// Bytes of an empty blob file of a table with this key.
  static std::string NewFile(std::uint32_t key);

 private:
  using Unit = std::uint32_t;  // of 4096 bytes, from the front of the file
  static constexpr std::size_t kEntries = 64;
  struct Entry {
    std::uint8_t offset = 0;  // in chunks of 16
    std::uint8_t chunks = 0;
    std::uint16_t modification = 0;
    std::uint8_t last = 0;  // bytes used of the last chunk; 0: free
    bool used() const noexcept { return offset != 0 && last != 0; }
    std::uint32_t bytes() const noexcept { return (chunks - 1u) * 16u + last; }
  };
  using Entries = std::array<Entry, kEntries>;
  struct Gap {
    std::uint8_t offset = 0;
    std::uint8_t chunks = 0;
  };

  std::string Locate(const BlobReference& reference, std::uint64_t& from);
  void Get(std::uint64_t offset, base::MutableByteSpan out);
  void Put(std::uint64_t offset, base::ByteSpan bytes);
  std::uint64_t Size() const noexcept { return store_->Size(file_); }
  Unit EndUnit() const noexcept;
  void ReadBlockHead(Unit unit, std::uint8_t& type, std::uint32_t& units);
  void PutBlockHead(Unit unit, std::uint8_t type, std::uint32_t units);
  Entries ReadEntries(Unit unit);
  static Entry EntryOf(base::ByteSpan bytes) noexcept;
  void PutEntry(Unit unit, std::size_t index, const Entry& entry);
  static Gap WidestGap(const Entries& entries);
  void NoteSmallBlock(Unit unit, const Entries& entries);

  void MapRoom();
  Unit TakeUnits(std::uint32_t units);
  void GiveUnits(Unit unit, std::uint32_t units);
  void PutFreeRun(Unit unit, std::uint32_t units);
  BlobReference WriteSmall(std::string_view value);
  BlobReference WriteLarge(std::string_view value);
  std::uint16_t NextModification();

  storage::Store* store_;
  storage::FileNo file_;
  Cipher cipher_;
  // Room that can be used again; filled by the first change.
  bool mapped_ = false;
  std::map<Unit, std::uint32_t> free_;                     // runs, by where they begin
  std::set<std::pair<std::uint32_t, Unit>> free_by_size_;  // the same
  std::set<std::pair<std::uint8_t, Unit>> gaps_;           // widest gap of blocks of small values
  std::map<Unit, std::uint8_t> gap_of_;
  std::vector<std::byte> scratch_;
  std::string image_;
};

}  // namespace kelvorin::database::paradox
