#pragma once
// One page of an index: entries in strictly ascending byte order behind a bitmap of their ends, the
// first of them whole, the others without the bytes they share with it. Finds, inserts and removes
// entries; knows nothing of trees.
//
// An entry is the key, the position of its row (3 bytes page, 1 byte slot, both big-endian), and in
// nodes the child page (4 bytes, big-endian). Order goes without the child.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "database/access/page_channel.h"

namespace kelvorin::database::access {

inline constexpr std::size_t kPositionBytes = 4;
inline constexpr std::size_t kChildBytes = 4;

/// Whole entries in one buffer; made for a page's worth of them.
class Entries {
 public:
  std::size_t size() const noexcept { return ends_.size(); }
  bool empty() const noexcept { return ends_.empty(); }
  std::string_view operator[](std::size_t i) const noexcept {
    const std::size_t from = i == 0 ? 0 : ends_[i - 1];
    return std::string_view(bytes_).substr(from, ends_[i] - from);
  }
  std::string_view back() const noexcept { return (*this)[size() - 1]; }
  std::size_t bytes() const noexcept { return bytes_.size(); }

  void Clear() noexcept;
  /// Adds an entry made of two parts.
  void Add(std::string_view front, std::string_view rest);
  /// Puts an entry in front of entry `i`, or at the end; in place of entry `i`.
  void Insert(std::size_t i, std::string_view entry);
  void Replace(std::size_t i, std::string_view entry);

 private:
  std::string bytes_;
  std::vector<std::size_t> ends_;
};

/// A view of a pinned index page. Throws `kCorrupt` for bytes that make no sense.
class IndexPage {
 public:
  IndexPage(const PageChannel& channel, Page& page);

  bool leaf() const noexcept { return page_.type() == kIndexLeaf; }
  std::uint32_t table() const noexcept { return Link(4); }
  std::uint32_t previous() const noexcept { return Link(layout_.index_previous_at); }
  std::uint32_t next() const noexcept { return Link(layout_.index_next_at()); }
  std::uint32_t tail() const noexcept { return Link(layout_.index_tail_at()); }
  std::uint8_t level() const noexcept { return base::Load8(page_.bytes(), layout_.level_at); }
  std::uint32_t used() const noexcept { return used_; }
  std::uint32_t free_field() const noexcept { return base::LoadLE16(page_.bytes(), 2); }
  std::size_t prefix() const noexcept { return prefix_; }
  bool empty() const noexcept { return used_ == 0; }

  // --- Entries, named by the offset of their first byte in the entry area. The offset of the end
  // is `used()`.
  /// End of the entry, which is the start of the next.
  std::uint32_t EndOf(std::uint32_t at) const;
  /// Start of the entry before; `at` must not be 0.
  std::uint32_t Before(std::uint32_t at) const noexcept;
  /// The whole entry, prefix included.
  void Read(std::uint32_t at, std::string& out) const;
  /// The entry without the child that a node's has.
  std::size_t KeyBytes(std::size_t entry_bytes) const noexcept {
    return leaf() ? entry_bytes : entry_bytes - kChildBytes;
  }
  std::uint32_t Child(std::uint32_t at) const;
  /// First entry that is not less than `key` (key and position), or `used()`.
  std::uint32_t LowerBound(std::string_view key) const;
  /// Whether the entry at `at` or the one before it has the key of `entry` (of a leaf).
  bool SharesKey(std::uint32_t at, std::string_view entry) const;

  // --- Changes, inside a bracket.
  /// False when the page has no room for the entry in its present form.
  bool Insert(std::uint32_t at, std::string_view entry);
  void Remove(std::uint32_t at);
  void SetChild(std::uint32_t at, std::uint32_t child);
  void SetPrevious(std::uint32_t page) { SetLink(layout_.index_previous_at, page); }
  void SetNext(std::uint32_t page) { SetLink(layout_.index_next_at(), page); }
  void SetTail(std::uint32_t page) { SetLink(layout_.index_tail_at(), page); }
  void ReadAll(Entries& out) const;
  /// Replaces all entries by those from `from` to before `to`, with the longest prefix that serves.
  /// False, and nothing is changed, when they do not fit.
  bool WriteAll(const Entries& entries, std::size_t from, std::size_t to);

  /// Makes any page an empty index page.
  static void Format(const Layout& layout, Page& page, std::uint8_t type, std::uint8_t level,
                     std::uint32_t table);

 private:
  std::uint32_t Link(std::size_t at) const noexcept { return base::LoadLE32(page_.bytes(), at); }
  void SetLink(std::size_t at, std::uint32_t page) {
    base::StoreLE32(page_.Change(at, 4), at, page);
  }
  base::ByteSpan Bitmap() const noexcept;
  base::ByteSpan Area() const noexcept { return page_.bytes().subspan(layout_.entries_at, used_); }
  /// What `Shift` opened for changing: the entry area and the bitmap.
  struct Opened {
    base::MutableByteSpan area;
    base::MutableByteSpan bits;
  };
  Opened Shift(std::uint32_t from, std::uint32_t by, bool up);
  void SetUsed(std::uint32_t used);
  int Compare(std::uint32_t at, std::uint32_t end, std::string_view key) const noexcept;

  const PageChannel& channel_;
  const Layout& layout_;
  Page& page_;
  std::uint32_t used_ = 0;
  std::size_t prefix_ = 0;
};

}  // namespace kelvorin::database::access
