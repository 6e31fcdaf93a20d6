#pragma once
// Writes the rollback journal beside the main file of a store: what the files were before a group
// of changes is written to them, and sums of what they will be. Used by the store alone;
// `JournalView` reads what a crash left.
//
// A group goes: `Start`, then for each range in order of file and place `AddImage` where bytes are
// overwritten and `AddNew` where the file grows, `Seal`; then the files are written and synced;
// where files become shorter or go, `Finish` and the cutting; then `Invalidate`.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "storage/file.h"
#include "storage/journal_format.h"

namespace kelvorin::storage {

class Journal {
 public:
  /// `main` is the file at `main_path` (links followed) and outlives the journal. Nothing is made
  /// on the disk before it is needed.
  Journal(FileSystem& fs, const std::string& main_path, File& main);

  const std::string& path() const noexcept { return path_; }
  /// Sets disk room aside for a journal of so many bytes; `kNoSpace` when there is none.
  void Reserve(std::uint64_t bytes);
  /// The main file is the first entry.
  void Start(std::span<const JournalEntry> entries);
  /// Copies a range as it stands in the file. `entry` counts from 0; `new_sums` has one sum for
  /// each piece of the range as it will be.
  void AddImage(std::uint32_t entry, File& from, std::uint64_t offset, std::uint64_t size,
                std::span<const std::uint64_t> new_sums);
  /// The same for a range behind the old end, which has no old bytes.
  void AddNew(std::uint32_t entry, std::uint64_t offset, std::uint64_t size,
              std::span<const std::uint64_t> new_sums);
  /// Returns when the journal outlives a loss of power, its name in the folder included.
  void Seal();
  void Finish();
  /// From here on the group stands. A loss of power may still take it back, whole, until `Settle`
  /// or the next `Start`.
  void Invalidate();
  void Settle();
  /// Takes the file away; left where it is while it is needed to put the files right.
  void Remove() noexcept;

  /// Sealed and not yet invalidated.
  bool hot() const noexcept { return hot_; }
  std::uint64_t bytes() const noexcept { return kBodyAt + body_bytes_; }
  /// Says that the files were put right by what is in the journal, and takes it away.
  void PlayedBack();

  /// Most bytes that a page of changes can need in the journal.
  static constexpr std::uint64_t RoomFor(std::uint64_t page_bytes, bool with_image) noexcept {
    return (with_image ? page_bytes : 0) + (page_bytes / kPieceBytes + 2) * kSumBytes +
           2 * (kRecordHeadBytes + StripeSum::kStripeBytes);
  }

 private:
  void Open();
  base::MutableByteSpan Room(std::uint64_t bytes);
  std::uint64_t FitSize(RecordKind kind, std::uint64_t offset, std::uint64_t size);
  base::MutableByteSpan StartRecord(const RecordHead& head,
                                    std::span<const std::uint64_t>& new_sums);
  void WriteOut();
  void WriteHead(std::uint64_t at, HeadKind kind);

  FileSystem& fs_;
  File& main_;
  std::string path_;
  std::unique_ptr<File> file_;
  std::vector<std::byte> buffer_;
  std::size_t filled_ = 0;
  std::uint64_t reserved_ = 0;
  JournalHead head_;
  StripeSum sum_;
  std::uint64_t body_bytes_ = 0;
  bool folder_synced_ = false;
  bool hot_ = false;
  bool finished_ = false;
  bool settled_ = true;
};

}  // namespace kelvorin::storage
