#pragma once
// Reads the journal that a crash left beside a table: whether it can be believed, what it would do,
// and the old state of the files seen through it. Used by the store alone. A journal comes from
// outside: no number of it is used before it is checked, and it names no file.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "storage/file.h"
#include "storage/journal_format.h"

namespace kelvorin::storage {

class JournalView;

/// What lies where a table's journal would be.
struct FoundJournal {
  enum class State : std::uint8_t {
    kNone,
    kUnsealed,  // ours, and nothing was changed under it
    kSealed,    // `view` tells what it would do
    kDamaged,   // ours or nobody's, and not whole
    kUnusable,  // somebody else's, a link, no file: `why`
  };
  State state = State::kNone;
  std::string why;
  std::unique_ptr<JournalView> view;  // when sealed
};

/// How a file compares with what the journal knows of it, in pieces.
struct FileFindings {
  std::uint64_t pieces = 0;
  std::uint64_t old_pieces = 0;    // as they were
  std::uint64_t new_pieces = 0;    // as they would have become
  std::uint64_t empty_pieces = 0;  // added, and not or only with zeros there
  std::uint64_t other_pieces = 0;  // neither: somebody changed them since
  std::uint64_t first_other = 0;   // offset
  std::uint64_t size = 0;          // of the file
  bool size_fits = true;
  bool same_file = true;    // it is the one that the journal was written for
  std::uint64_t names = 1;  // hard links

  /// Every piece is the old or the new one.
  bool sound() const noexcept { return other_pieces == 0 && size_fits; }
};

class JournalView {
 public:
  /// Looks at the journal of a table that is open as `main` (links of `main_path` followed) and
  /// locked. Throws only when the disk does.
  static FoundJournal Find(FileSystem& fs, const std::string& main_path, File& main);
  /// The journal that this process has just written itself; nothing when it is not whole.
  static std::unique_ptr<JournalView> OpenOwn(FileSystem& fs, const std::string& journal_path);

  const std::vector<JournalEntry>& entries() const noexcept { return entries_; }
  /// The entry of a role; nothing when the journal has none.
  std::optional<std::size_t> FindEntry(Role role) const noexcept;
  /// Whether the files are taken back; else what was begun is finished.
  bool goes_back() const noexcept { return !forward_; }
  /// Length of the entry's file in the state that counts.
  std::uint64_t SizeOf(std::size_t entry) const noexcept {
    return forward_ ? entries_[entry].new_size : entries_[entry].old_size;
  }

  /// Compares a file with its entry, all pieces.
  FileFindings Check(std::size_t entry, File& file);
  /// Whether the findings are those of a file as the group left it, or as it found it: then nothing
  /// is torn.
  bool IsNew(std::size_t entry, const FileFindings& found) const noexcept;
  bool IsOld(std::size_t entry, const FileFindings& found) const noexcept;
  /// Puts old bytes over what was read from the file at `offset`.
  void Patch(std::size_t entry, std::uint64_t offset, base::MutableByteSpan bytes);
  /// Puts the file right and syncs it; only what differs is written.
  void Apply(std::size_t entry, File& file);

 private:
  struct Record {
    std::uint64_t offset;  // in the file
    std::uint64_t size;
    std::uint64_t at;  // of the record in the journal
    RecordKind kind;
  };
  explicit JournalView(std::unique_ptr<File> file) : file_(std::move(file)) {}
  /// Reads heads and body; anything but `kSealed` leaves the view useless.
  FoundJournal::State Read(std::string& why);
  bool ReadHeads(FoundJournal::State& state, std::string& why);
  bool ReadBody(std::string& why);
  bool TakeEntry(base::ByteSpan bytes, std::string& why);
  bool TakeRecord(const RecordHead& head, std::uint64_t at, std::string& why);
  void CheckRecord(const Record& record, std::size_t entry, File& file, FileFindings& found);
  void CheckZeros(File& file, std::uint64_t from, std::uint64_t to, FileFindings& found);
  base::ByteSpan Load(File& file, std::uint64_t offset, std::uint64_t size,
                      std::vector<std::byte>& buffer);

  std::unique_ptr<File> file_;
  JournalHead head_;
  bool forward_ = false;
  std::vector<JournalEntry> entries_;
  std::vector<std::vector<Record>> records_;  // by entry, by offset
  std::size_t record_count_ = 0;
  std::size_t last_entry_ = 0;
  std::vector<std::byte> record_bytes_;
  std::vector<std::byte> file_bytes_;
};

}  // namespace kelvorin::storage
