#pragma once
// The rollback journal `NAME-journal` beside the main file of a store: what the files were before a
// group of changes is written to them. Used by the store alone.
//
// A group goes: `Start`, `AddImage` for every range that will be overwritten, `Seal`; then the
// files are written and synced; where files become shorter, `Finish` and the cutting; then
// `Invalidate`. Found sealed, a journal takes the files back; found finished, it completes the
// cutting; found otherwise, no file was touched and it means nothing.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "storage/file.h"

namespace kelvorin::storage {

/// A file that takes part in a group. `name` has no folder: all lie in the main file's.
struct JournalEntry {
  std::string name;
  std::uint64_t old_size = 0;
  std::uint64_t new_size = 0;
  bool made = false;  // by this group: going back removes it
};

class Journal {
 public:
  /// `main_path` with links followed. Nothing is made on the disk before it is needed.
  Journal(FileSystem& fs, const std::string& main_path);

  const std::string& path() const noexcept { return path_; }
  /// Sets disk room aside for a journal of so many bytes; `kNoSpace` when there is none.
  void Reserve(std::uint64_t bytes);
  /// The main file is the first entry.
  void Start(const std::vector<JournalEntry>& entries);
  /// Copies a range as it stands in the file. `entry` counts from 0.
  void AddImage(std::uint32_t entry, File& from, std::uint64_t offset, std::uint64_t size);
  /// Returns when the journal outlives a loss of power, its name in the folder included.
  void Seal();
  void Finish();
  /// From here on the group stands. A loss of power may still take it back, whole, until `Settle`
  /// or the next `Seal`.
  void Invalidate();
  void Settle();
  /// Takes the file away; left where it is while it is needed to put the files right.
  void Remove() noexcept;

  /// Sealed and not yet invalidated.
  bool hot() const noexcept { return hot_; }
  std::uint64_t bytes() const noexcept { return kBodyAt + body_bytes_; }
  /// Says that the files were put right by `PlayBack`, which took the journal away.
  void Forget() noexcept;

  static constexpr std::uint64_t kFinishAt = 512;
  static constexpr std::uint64_t kBodyAt = 1024;

 private:
  void Open();
  std::byte* Room(std::size_t bytes);
  void WriteOut();
  void WriteHead(std::uint64_t at, std::uint32_t kind);

  FileSystem& fs_;
  std::string main_path_;
  std::string path_;
  std::unique_ptr<File> file_;
  std::vector<std::byte> buffer_;
  std::size_t filled_ = 0;
  std::uint64_t reserved_ = 0;
  std::uint64_t serial_ = 0;
  std::uint64_t body_bytes_ = 0;
  std::uint64_t sum_ = 0;
  std::uint32_t entries_ = 0;
  bool folder_synced_ = false;
  bool hot_ = false;
  bool finished_ = false;
  bool settled_ = true;
};

enum class Played : std::uint8_t { kNothing, kBack, kForward };

std::string JournalPath(const std::string& main_path);
/// Whether a journal lies there that has to be played back.
bool IsHotJournal(FileSystem& fs, const std::string& main_path);
/// Puts the files right by the journal, then takes it away. The caller holds the main file locked
/// against everybody else. Safe to repeat after a failure at any point. `kCorrupt` when the journal
/// names what cannot be there.
Played PlayBack(FileSystem& fs, const std::string& main_path);

}  // namespace kelvorin::storage
