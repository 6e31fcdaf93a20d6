#pragma once
// The files of one table or database that change together: pages in one cache, brackets that
// succeed whole or leave no trace, groups of brackets that reach the files as one transaction.
// Used by the file drivers. Knows no formats; all numbers of pages and offsets come from them.
//
//   auto store = open_files.Open(fs, "/data/CUST.DBF", {});
//   storage::FileNo memo = store->Attach("/data/CUST.DBT", {.page_bytes = 512,
//                                                           .role = storage::Role::kMemo});
//   base::ByteSpan row = store->View(storage::kMainFile, offset, record_bytes, scratch);
//   {
//     storage::Bracket bracket = store->Begin();
//     store->Write(memo, memo_offset, text);
//     store->Write(storage::kMainFile, store->Size(storage::kMainFile), record);
//     bracket.Commit();          // without this line all of it is undone
//   }
//   store->Flush();              // on the disk, for good
//
// Everything throws `base::Error`: `kIo` and `kNoSpace` from below, `kCorrupt` for a range behind
// the end of a file, `kLocked` when another opening holds it, `kReadOnly`, `kInternal` for a change
// outside a bracket. Once a group could not be written, every later call fails with that reason.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/status.h"
#include "storage/file.h"
#include "storage/role.h"

namespace kelvorin::storage {

class Store;

/// A file of a store, in the order of attaching.
enum class FileNo : std::uint16_t {};
inline constexpr FileNo kMainFile{0};

struct StoreOptions {
  bool read_only = false;
  /// Shuts out other readers too. A store that writes always does; one that only reads does so
  /// where the file can be opened for writing, and else keeps writers out.
  bool exclusive = false;
  /// Makes the main file. One that exists already must be empty (`kAlreadyExists` otherwise).
  bool create = false;
  std::uint32_t page_bytes = 4096;
  std::size_t cache_bytes = std::size_t{8} << 20;
  /// How far the cache may grow while pages it had to let go keep being fetched again.
  std::size_t cache_ceiling_bytes = std::size_t{64} << 20;
  /// Age at which a group is written.
  std::int64_t group_milliseconds = 1000;
  /// Hears of journals that a crash left and what became of them, one sentence each.
  std::function<void(const std::string&)> tell = {};
  /// Hears what a journal would do to each file; only `RecoverJournal` asks for it.
  std::function<void(const std::string&)> explain = {};
  /// The caller knows that the files may be others than the journal was written for (a copied
  /// folder) and wants it all the same, as far as their contents fit.
  bool any_identity = false;
};

struct AttachOptions {
  bool create = false;  // as in StoreOptions
  std::uint32_t page_bytes = 4096;
  /// What the file is to the table; it is how a journal finds it again. One file per role.
  Role role = Role::kByOrder;
};

/// What a store has done so far; for benchmarks and tests.
struct StoreCounts {
  std::size_t cached_bytes = 0;
  std::size_t peak_cached_bytes = 0;
  std::size_t cache_limit_bytes = 0;  // between cache_bytes and cache_ceiling_bytes
  std::uint64_t groups = 0;           // written
  std::uint64_t pages_read = 0;
  std::uint64_t pages_written = 0;
  std::uint64_t journal_bytes = 0;
};

/// Holds one page in the cache; move-only, lets go when destroyed. Must not outlive its store.
class PageRef {
 public:
  PageRef() noexcept = default;
  PageRef(PageRef&& other) noexcept;
  PageRef& operator=(PageRef&& other) noexcept;
  PageRef(const PageRef&) = delete;
  PageRef& operator=(const PageRef&) = delete;
  ~PageRef();

  explicit operator bool() const noexcept { return store_ != nullptr; }
  /// The whole page, zeros behind the end of the file. Valid while this reference holds the page.
  base::ByteSpan bytes() const noexcept { return {data_, size_}; }
  /// The page for changing, inside a bracket; the span must not be written through after the
  /// bracket. A file that ended within the page then ends with it.
  base::MutableByteSpan Change() { return Change(0, size_); }
  /// The same for a part of the page: only these bytes are noted for undoing, and the file is made
  /// longer only as far as they reach.
  base::MutableByteSpan Change(std::size_t at, std::size_t count);

 private:
  friend class Store;
  PageRef(Store& store, std::uint32_t frame, std::byte* data, std::size_t size) noexcept
      : store_(&store), data_(data), size_(size), frame_(frame) {}
  Store* store_ = nullptr;
  std::byte* data_ = nullptr;
  std::size_t size_ = 0;
  std::uint32_t frame_ = 0;
};

/// One change of one record, over as many pages and files as it takes. Destroyed without `Commit`,
/// every byte and every size is as it was at `Begin`. Move-only; must not outlive its store.
class Bracket {
 public:
  Bracket(Bracket&& other) noexcept : store_(other.store_) { other.store_ = nullptr; }
  Bracket& operator=(Bracket&&) = delete;
  ~Bracket();

  void Commit() noexcept;

 private:
  friend class Store;
  explicit Bracket(Store& store) noexcept : store_(&store) {}
  Store* store_;
};

/// What a driver keeps in memory per record and on disk per group (a count in a header) is put in
/// place by such a hook, once per group instead of once per record.
class GroupHook {
 public:
  /// Called right before changes are written, inside a bracket of its own (so it writes, and does
  /// not begin or flush). Only called when something changed since the last group.
  virtual void BeforeGroup(Store& store) = 0;

 protected:
  ~GroupHook() = default;
};

class Store {
 public:
  /// Opens the main file and locks it. Where a crash left a journal beside it, the file and its
  /// companions are seen through it, as at the end of the last group that was written whole; see
  /// `Opening`. `kReadOnly` also when the journal stands in the way of writing, or no journal could
  /// be made in the folder. `fs` must outlive the store.
  static std::unique_ptr<Store> Open(FileSystem& fs, const std::string& path,
                                     const StoreOptions& options);
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  /// Writes what finished brackets changed; a failure stays unheard here, so `Flush` comes first.
  /// A file that this store made and that is still empty is removed.
  ~Store();

  /// Calls `build`, which reads what it needs of the files, attaches all companions and returns the
  /// driver's object; then decides what becomes of a journal. One that fits all files is played
  /// back when the store writes, else it stays and is looked through. One that does not fit (other
  /// programs went on, a file was exchanged) fails here with `kReadOnly` when the store writes;
  /// else `build` is called once more and sees the files as they stand. Without this call the first
  /// bracket decides.
  template <typename Build>
  auto Opening(Build build) -> decltype(build()) {
    if (HasJournal()) {
      try {
        auto made = build();
        if (SettleJournal()) return made;
      } catch (const base::Error&) {
        if (!JournalRefused()) throw;
      }
      ForgetJournal();
    }
    return build();
  }

  /// Adds a file that changes together with the main one; in a store that writes it must lie in the
  /// same folder. A file that is attached already keeps its number. Inside a bracket only with
  /// `create`; if the bracket is undone, the file is empty and goes when the store closes.
  FileNo Attach(const std::string& path, const AttachOptions& options);
  /// The size of a file's pages (512 to 65536 bytes, not only powers of two) and where page 0
  /// begins, for formats that tell it in their header. Allowed while nothing of the file is changed
  /// or pinned; what was viewed of it before is no longer valid.
  void SetPages(FileNo file, std::uint32_t page_bytes, std::uint64_t first_page_at = 0);
  /// Opens a file anew that was built beside it and renamed to its name. What waits to be written
  /// is written first; locks on the old file are gone. Not inside a bracket.
  void Reopen(FileNo file);
  /// Locks a further range of bytes, the way the format's other programs do, until the store is
  /// closed: exclusively when the store writes. `kLocked` when somebody holds any of it.
  void Lock(FileNo file, std::uint64_t offset, std::uint64_t length);

  bool read_only() const noexcept;
  FileSystem& file_system() const noexcept;
  const std::string& Path(FileNo file) const noexcept;
  /// Length in bytes, with everything that is not written yet.
  std::uint64_t Size(FileNo file) const noexcept;

  /// Fills `out` from a range inside the file.
  void Read(FileNo file, std::uint64_t offset, base::MutableByteSpan out);
  /// The same without copying where the range lies in one page; else it is put together in
  /// `scratch`, which the caller reuses. Valid until the next call on this store.
  base::ByteSpan View(FileNo file, std::uint64_t offset, std::size_t size,
                      std::vector<std::byte>& scratch) {
    const Window& window = windows_[static_cast<std::size_t>(file)];
    const std::uint64_t at = offset - window.start;  // huge when before it
    if (at < window.size && size <= window.size - at) return {window.data + at, size};
    return ViewElsewhere(file, offset, size, scratch);
  }
  /// Page `page_no`, counted from where page 0 begins; at least one byte of it must be in the file.
  PageRef Pin(FileNo file, std::uint64_t page_no);

  /// Starts a bracket; there is one at a time. May write the group of the brackets before it first
  /// (when it is old or large), and then throws if that fails.
  Bracket Begin();
  /// Changes bytes, inside a bracket; makes the file longer where the range reaches behind its end
  /// (a gap is filled with zeros). `kNoSpace` here means the disk is full, and nothing is lost.
  void Write(FileNo file, std::uint64_t offset, base::ByteSpan in);
  /// Adds a page of zeros at the end of the file, inside a bracket, and holds it. A last page that
  /// is not whole is made whole first.
  PageRef AddPage(FileNo file, std::uint64_t& page_no);
  /// Makes the file shorter or longer (with zeros), inside a bracket. Nothing cut off may be
  /// pinned.
  void Truncate(FileNo file, std::uint64_t size);

  /// Takes a companion away, inside a bracket: it is empty from now on, and gone from the folder
  /// when the group is written.
  void Remove(FileNo file);

  /// Writes all finished brackets and returns when they outlive a loss of power. Not inside one.
  void Flush();
  /// The hook is called in the order of adding. Removing it with changes waiting writes them first
  /// (a failure shows in the next call), so that none of them misses what the hook would add.
  void AddGroupHook(GroupHook& hook);
  void RemoveGroupHook(GroupHook& hook) noexcept;

  StoreCounts Counts() const noexcept;

 private:
  friend class PageRef;
  friend class Bracket;
  struct State;
  /// The cached page of a file that was used last, as far as it lies inside the file.
  struct Window {
    const std::byte* data = nullptr;
    std::uint64_t start = 0;
    std::uint64_t size = 0;
  };

  Store(FileSystem& fs, const std::string& path, const StoreOptions& options);
  /// A journal is looked through whose end is not decided.
  bool HasJournal() const noexcept;
  /// False when what was read through the journal must be read again from the files.
  bool SettleJournal();
  bool JournalRefused() const noexcept;
  void ForgetJournal();
  base::ByteSpan ViewElsewhere(FileNo file, std::uint64_t offset, std::size_t size,
                               std::vector<std::byte>& scratch);

  std::unique_ptr<State> state_;
  std::vector<Window> windows_;
};

}  // namespace kelvorin::storage
