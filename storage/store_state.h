#pragma once
// What a store is made of; shared by the files that implement it and included by nobody else.
//
// Invariants of a store:
//  1. Bytes of a cached page behind the logical end of its file are zero.
//  2. A changed page is not let go before its group is written; undoing needs no reading.
//  3. What the file on the disk holds behind `disk_valid` is never read: it was cut off, or was
//     never part of the file. Between `disk_valid` and the smaller of the logical size and the size
//     on the disk every page is a changed one, so that a group overwrites all of it.
//  4. Files change on the disk only while the journal is sealed (see journal.cpp).
//  5. Every change belongs to the one open bracket; `undo` and `touched` are empty between
//  brackets.
//  6. While a journal of an earlier program is looked through, sizes and pages are those of the
//     state it keeps, and nothing is changed; the first bracket begins when it is played back.
//  7. Room on the disk is reserved for every byte below a file's logical size, where the file
//     system can do that.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "storage/file.h"
#include "storage/journal.h"
#include "storage/journal_view.h"
#include "storage/page_cache.h"
#include "storage/store.h"
#include "storage/undo_log.h"

namespace kelvorin::storage {

struct Store::State {
  using FrameNo = PageCache::FrameNo;
  static constexpr FrameNo kNoFrame = PageCache::kNoFrame;
  static constexpr std::uint64_t kNotCut = ~std::uint64_t{0};

  struct StoredFile {
    std::unique_ptr<File> file;
    os::FileIdentity identity;
    std::uint64_t size = 0;        // logical
    std::uint64_t disk_size = 0;   // on the disk, as of the last group
    std::uint64_t disk_valid = 0;  // of which so much still counts (invariant 3)
    std::uint64_t reserved = 0;    // invariant 7
    // Pages lie on a grid: byte `offset` is on page `(offset + shift) / page_bytes`. The shift puts
    // the start of the driver's page 0 on the grid; `pages_before` are those in front of it.
    std::uint32_t page_bytes = 0;
    std::uint32_t shift = 0;
    std::uint64_t pages_before = 0;
    // State at the start of the bracket that is in `touched_in`.
    std::uint64_t touched_in = 0;
    std::uint64_t bracket_size = 0;
    std::uint64_t bracket_valid = 0;
    std::uint64_t cut_to = kNotCut;  // the shortest it was in the bracket, if it became shorter
    Role role = Role::kMain;
    bool made = false;  // by this store, in no group yet
    bool gone = false;  // taken away; `bracket_gone` as with the sizes
    bool bracket_gone = false;
    bool unlinked = false;  // gone from the folder too
    bool changed = false;   // since the last group
    // The page written last and the range of the file it holds.
    FrameNo write_frame = kNoFrame;
    std::uint64_t write_start = 0;
    std::uint64_t write_end = 0;
    std::byte* write_data = nullptr;
    // The page that the reading window holds pinned.
    FrameNo window_frame = kNoFrame;
    // Reading ahead: the page whose fetch would make this a scan, and how many come then.
    std::uint64_t next_fetch = 0;
    std::uint32_t run_pages = 1;
  };

  State(Store& owner, FileSystem& fs, const std::string& path, const StoreOptions& options);

  // store.cpp
  void OpenMain();
  FileNo AddFile(std::unique_ptr<File> file, std::uint32_t page_bytes, Role role, bool made);
  StoredFile& At(FileNo file);
  [[noreturn]] void FailBehindEnd(const StoredFile& f, std::uint64_t offset,
                                  std::uint64_t size) const;
  void CheckRange(const StoredFile& f, std::uint64_t offset, std::uint64_t size) const {
    if (offset > f.size || size > f.size - offset) FailBehindEnd(f, offset, size);
  }
  /// Where page `page` of the grid begins in the file (0 for the page that the shift cuts).
  static std::uint64_t PageStart(const StoredFile& f, std::uint64_t page) noexcept {
    const std::uint64_t at = page * f.page_bytes;
    return at > f.shift ? at - f.shift : 0;
  }
  static std::uint64_t PageEnd(const StoredFile& f, std::uint64_t page) noexcept {
    return (page + 1) * f.page_bytes - f.shift;
  }
  static std::uint64_t PageOf(const StoredFile& f, std::uint64_t offset) noexcept {
    return (offset + f.shift) / f.page_bytes;
  }
  /// The page's place in the cache, read from the disk when it is not there.
  FrameNo Fetch(FileNo no, std::uint64_t page);
  FrameNo Load(FileNo no, StoredFile& f, std::uint64_t page);
  void SetWindow(FileNo no, FrameNo frame, std::uint64_t page) noexcept;
  void ResetWindow(FileNo no) noexcept;

  // store_journal.cpp: the journal that a crash left
  void FindJournal(bool is_new);
  void Tell(const std::string& what) const;
  void Explain() const;
  /// Notes that the journal is not used; throws when the store writes.
  void RefuseJournal(const std::string& why);
  std::string RefusalText(const std::string& why) const;
  /// Sees an attached file through the journal, when it has a part in it.
  void Adopt(FileNo no);
  void PatchOld(FileNo no, std::uint64_t offset, base::MutableByteSpan bytes);
  /// Why the journal cannot be played back, all files known; empty when it can.
  std::string WhyNot() const;
  bool NothingTorn() const;
  bool SettleJournal(bool may_build_again);
  void PlayBack();
  void RemoveJournal();
  void ForgetJournal();
  /// Puts the files right by the journal that this store wrote.
  void TakeBack();

  // store_change.cpp
  void BeginBracket();
  void RequireBracket() const;
  void Touch(FileNo no);
  void Extend(FileNo no, std::uint64_t end);
  void FillGap(FileNo no, std::uint64_t from, std::uint64_t to);
  std::uint64_t RoomForHooks() const noexcept;
  void MakeChanged(StoredFile& f, FrameNo frame, std::uint64_t page);
  void CutCached(FileNo no, std::uint64_t size);
  void Undo() noexcept;
  void DropNewBehind(FileNo no, std::uint64_t offset) noexcept;
  void ZeroCached(FileNo no, std::uint64_t from, std::uint64_t to) noexcept;
  void EndBracket() noexcept;
  void SetWritePage(StoredFile& f, FrameNo frame, std::uint64_t page) noexcept;
  static void ResetWritePage(StoredFile& f) noexcept {
    f.write_frame = kNoFrame;
    f.write_start = f.write_end = 0;
  }

  // store_group.cpp
  void RequireUsable() const {
    if (!failed.ok()) throw Error(failed);
  }
  /// Lets the hooks finish the group and writes it. After a failure the store is failed.
  void CloseGroup();
  void WriteGroup();
  void CollectChanged();
  void WriteJournal();
  void JournalRun(std::uint32_t entry, const StoredFile& f, std::size_t first, std::size_t behind);
  void SumPieces(const StoredFile& f, std::size_t first, std::uint64_t from, std::uint64_t to);
  void WritePages();
  void WriteRun(StoredFile& f, std::size_t first, std::size_t behind);
  void CutFiles();
  void GroupWritten() noexcept;
  void GroupFailed(const Status& reason) noexcept;
  void Close() noexcept;

  Store& store;
  FileSystem& fs;
  const StoreOptions options;
  std::string path;  // as given
  std::string real_path;
  std::vector<StoredFile> files;
  PageCache cache;
  UndoLog undo;
  std::unique_ptr<Journal> journal;  // of a store that writes
  /// The journal that a crash left, and for each of its entries the file that plays the role.
  struct Part {
    bool attached = false;
    FileNo file{};
    FileFindings found;
  };
  std::unique_ptr<JournalView> leftover;
  std::vector<Part> parts;
  std::string refused;  // why the journal is not used
  bool settled = false;
  std::vector<GroupHook*> hooks;
  std::vector<FileNo> touched;
  std::vector<FrameNo> order;       // changed pages by file and place, while a group is written
  std::vector<std::byte> transfer;  // from files to pages
  std::vector<base::ByteSpan> write_parts;  // the pages of a run
  std::vector<std::uint64_t> sums;          // of pieces, for the journal
  std::uint64_t bracket = 0;                // number of the open or last bracket
  bool in_bracket = false;
  bool closing_group = false;  // the hooks are at work
  bool group_changed = false;
  bool folder_changed = false;         // a file was made
  std::int64_t group_since = 0;        // milliseconds; of the first change in the group
  std::uint32_t brackets_to_look = 0;  // until the clock is asked again
  std::uint64_t journal_need = 0;      // bytes of old images that the group will want
  Status failed;
  StoreCounts counts;
};

}  // namespace kelvorin::storage
