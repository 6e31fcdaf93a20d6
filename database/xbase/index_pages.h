#pragma once
// The pages of one index tree, whatever its format: read into one form, and written from it. The
// tree above knows entries in their order and numbers of pages, nothing of their bytes. There is
// one implementation for each format; all work on a file of the table's store.
//
// An entry is its key in sorting form and its record number, big-endian: entries compare as plain
// bytes. What a format sorts otherwise (doubles of the processor, decimal numbers, descending keys)
// is turned into that form by `KeyForm` when a page is read, and back when it is written.

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "storage/store.h"

namespace kelvorin::database::xbase {

enum class IndexKind : std::uint8_t { kNdx, kMdx, kIdx, kCompactIdx, kCdx };

inline constexpr std::size_t kRecordNumberBytes = 4;
inline constexpr std::uint32_t kNoPage = 0xFFFFFFFF;
inline constexpr std::size_t kMaxKeyBytes = 512;

/// What an index or a tag says about itself.
struct TagDefinition {
  std::string name;
  std::string expression;  // in the table's code page, as the next one
  std::string filter;      // FOR condition, empty for none
  std::string collation;   // empty for the order of bytes
  bool unique = false;     // a key stands in it once, with the first record that has it
  bool candidate = false;  // no two records may have the same key
  bool descending = false;
  bool nullable = false;  // keys begin with a byte that says whether they are Null
  bool numeric = false;   // keys are numbers or dates (formats that say so)
  bool date = false;
  std::size_t key_bytes = 0;
};

/// How the key bytes of a page sort.
enum class KeyCoding : std::uint8_t {
  kPlain,    // as bytes
  kDouble,   // double of the processor
  kDecimal,  // the twelve bytes of an MDX number
};

/// The way between the key bytes of a page and their sorting form.
class KeyForm {
 public:
  KeyForm() = default;
  KeyForm(KeyCoding coding, bool inverted) noexcept : coding_(coding), inverted_(inverted) {}
  bool plain() const noexcept { return coding_ == KeyCoding::kPlain && !inverted_; }
  void ToSorting(base::ByteSpan stored, std::byte* out) const noexcept;
  void ToStored(base::ByteSpan sorting, std::byte* out) const noexcept;

 private:
  KeyCoding coding_ = KeyCoding::kPlain;
  bool inverted_ = false;
};

/// Eight bytes that sort as the numbers do.
void StoreSortedDouble(double number, std::byte* out) noexcept;
/// Twelve bytes that sort as the numbers do, from their plain decimal text.
void StoreSortedDecimal(std::string_view plain, std::byte* out) noexcept;

/// A page in memory. In a branch, entry i is the last one below child i; formats that do not keep
/// the record number there, or no entry for the last child, have bytes of all ones instead.
struct IndexNode {
  std::uint32_t page = kNoPage;
  bool leaf = true;
  std::uint32_t left = kNoPage;
  std::uint32_t right = kNoPage;
  std::size_t entry_bytes = 0;
  std::vector<std::byte> entries;
  std::vector<std::uint32_t> children;  // of a branch, one an entry

  std::size_t count() const noexcept { return entry_bytes == 0 ? 0 : entries.size() / entry_bytes; }
  base::ByteSpan operator[](std::size_t i) const noexcept {
    return base::ByteSpan(entries).subspan(i * entry_bytes, entry_bytes);
  }
  base::ByteSpan KeyAt(std::size_t i) const noexcept {
    return base::ByteSpan(entries).subspan(i * entry_bytes, entry_bytes - kRecordNumberBytes);
  }
  std::uint32_t RecordAt(std::size_t i) const noexcept {
    return base::LoadBE32(entries, (i + 1) * entry_bytes - kRecordNumberBytes);
  }
  /// The first entry that is not less than `target`, which may be the front of an entry.
  std::size_t LowerBound(base::ByteSpan target) const noexcept;
  void Insert(std::size_t at, base::ByteSpan entry);
  void Erase(std::size_t at);
};

/// Where a page goes and what it says about its neighbours.
struct PagePlace {
  std::uint32_t page = kNoPage;
  std::uint32_t left = kNoPage;
  std::uint32_t right = kNoPage;
  bool root = false;
};

/// What the tree must know about a format.
struct TreeTraits {
  bool exact_branches = false;  // branch entries have the record number of the last one below
  bool open_end = false;        // a branch has no entry for its last child
  bool left_links = false;      // leaves know their left neighbour
  bool all_links = false;       // all pages know both neighbours
};

class IndexPages {
 public:
  virtual ~IndexPages() = default;
  IndexPages(const IndexPages&) = delete;
  IndexPages& operator=(const IndexPages&) = delete;

  const TreeTraits& traits() const noexcept { return traits_; }
  std::size_t key_bytes() const noexcept { return key_bytes_; }
  std::size_t entry_bytes() const noexcept { return key_bytes_ + kRecordNumberBytes; }
  /// Pages the file can hold at most as it is; no walk over a sound tree takes more steps.
  virtual std::uint64_t PageCount() const noexcept = 0;

  /// Throws `kCorrupt` naming file and page when it is no page of this tree.
  virtual void Read(std::uint32_t page, IndexNode& out) = 0;

  /// What `Search` found in a page.
  struct Found {
    bool leaf = false;
    std::size_t at = 0;             // of the first entry not less, in a branch at most the last
    std::size_t count = 0;          // of entries
    std::uint32_t child = kNoPage;  // of a branch, at that entry
  };
  /// Looks for the first entry that is not less than `target` in a page that is not read whole for
  /// it. In a leaf it is put into `entry` (entry_bytes long) where there is one; without `entry`
  /// leaves are not looked through. False where the format or the page demands reading.
  virtual bool Search(std::uint32_t page, base::ByteSpan target, Found& found, std::byte* entry);
  enum class Entered : std::uint8_t { kNo, kWasThere, kInside, kAsLast };
  /// Enters an entry into a leaf that has room for it, without reading the page whole; `kNo` where
  /// that cannot be done. As its last one it has to be named above.
  virtual Entered Enter(std::uint32_t page, base::ByteSpan entry);
  /// Changes entry i of a branch, its child staying; for formats with `Enter`.
  virtual void SetBranchEntry(std::uint32_t page, std::size_t i, base::ByteSpan entry);

  /// Number of entries from `first` on that go into one page, at least one, and into not much more
  /// than `most_bytes` of it.
  virtual std::size_t Fit(const IndexNode& node, std::size_t first, std::size_t most_bytes) = 0;
  /// Bytes that entries take which fill several pages.
  virtual std::size_t Weight(const IndexNode& node) = 0;
  virtual void Write(const IndexNode& node, std::size_t first, std::size_t count,
                     const PagePlace& place) = 0;
  /// Changes a neighbour that a page knows; by default of FoxPro's pages, which all know both.
  virtual void SetLeft(std::uint32_t page, std::uint32_t left);
  virtual void SetRight(std::uint32_t page, std::uint32_t right);

  virtual std::uint32_t Root() = 0;
  virtual void SetRoot(std::uint32_t page) = 0;
  virtual std::uint32_t Allocate() = 0;
  virtual void Release(std::uint32_t page) = 0;
  /// Once per group of changes, for the counters by which other programs see that the index is
  /// another one now.
  virtual void Stamp() = 0;
  /// To be called when a bracket was given up.
  virtual void Forget() noexcept {}
  /// Pages of the chain of free ones, with what is wrong with it in `problem`.
  virtual std::vector<std::uint32_t> FreePages(std::string& problem);

  [[noreturn]] void Corrupt(std::uint32_t page, const std::string& what) const;
  const std::string& name() const noexcept { return name_; }

 protected:
  /// `name` is how messages call the index.
  IndexPages(storage::Store& store, storage::FileNo file, std::string name, std::size_t key_bytes,
             KeyForm form, TreeTraits traits);

  /// Bytes of the file; throws `kCorrupt` naming the page when they lie behind its end.
  base::ByteSpan View(std::uint64_t offset, std::size_t size, std::uint32_t page);
  std::uint32_t Load32(std::uint64_t offset, std::uint32_t page = 0);
  void Write32(std::uint64_t offset, std::uint32_t value);
  std::uint64_t Size() const noexcept { return store_.Size(file_); }
  void StartNode(std::uint32_t page, std::size_t count, IndexNode& out) const;
  void PutKey(base::ByteSpan stored, std::uint32_t record, std::byte* entry) const;
  void StoredKey(const IndexNode& node, std::size_t i, std::byte* out) const;

  storage::Store& store_;
  storage::FileNo file_;
  std::string name_;
  std::size_t key_bytes_;
  KeyForm form_;
  TreeTraits traits_;
  std::vector<std::byte> scratch_;
  std::vector<std::byte> image_;  // of the page being written
};

/// Pages of equal entries, one behind the other: all formats but the compact one.
class FixedPages : public IndexPages {
 public:
  std::size_t Fit(const IndexNode& node, std::size_t first, std::size_t most_bytes) override;
  std::size_t Weight(const IndexNode& node) override;
  void Forget() noexcept override { spare_.clear(); }

 protected:
  using IndexPages::IndexPages;
  void SetStride(std::size_t stride, std::size_t most) noexcept {
    stride_ = stride;
    most_ = most;
  }
  std::size_t stride_ = 1;  // bytes of an entry in a page
  std::size_t most_ = 1;    // entries of a page
  /// Pages that became free, of formats that do not chain them; used again while the file is open.
  std::vector<std::uint32_t> spare_;
};

/// The page codecs. `header` is where the tag's own header lies in the file.
std::unique_ptr<IndexPages> MakeNdxPages(storage::Store& store, storage::FileNo file,
                                         std::string name, const TagDefinition& tag);
std::unique_ptr<IndexPages> MakeMdxPages(storage::Store& store, storage::FileNo file,
                                         std::string name, const TagDefinition& tag,
                                         std::uint64_t header);
std::unique_ptr<IndexPages> MakeIdxPages(storage::Store& store, storage::FileNo file,
                                         std::string name, const TagDefinition& tag);
/// `fill`: the byte that the ends of keys are cut of. Serves CDX tags and compact IDX files.
std::unique_ptr<IndexPages> MakeCompactPages(storage::Store& store, storage::FileNo file,
                                             std::string name, const TagDefinition& tag,
                                             std::uint64_t header, std::byte fill);

}  // namespace kelvorin::database::xbase
