#pragma once
// The pages of one database file, decoded when the file is an encoded one, and the change of one
// record over several of them. Everything in this room reads and writes pages through it; page
// numbers are checked here against the file, so that a damaged one becomes an error that names file
// and page. It knows no page's contents beyond page 0's cipher key.

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "database/access/format.h"
#include "database/errors.h"
#include "storage/store.h"

namespace kelvorin::database::access {

class PageChannel;

/// One page held in memory; move-only.
class Page {
 public:
  Page() noexcept = default;
  Page(Page&& other) noexcept;
  Page& operator=(Page&& other) noexcept;
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;
  ~Page();

  explicit operator bool() const noexcept { return channel_ != nullptr; }
  std::uint32_t number() const noexcept { return number_; }
  base::ByteSpan bytes() const noexcept;
  std::uint8_t type() const noexcept { return base::Load8(bytes(), 0); }
  /// A part of the page for changing, inside a bracket. The span starts at the page's start, only
  /// the named part may be written.
  base::MutableByteSpan Change(std::size_t at, std::size_t count);

 private:
  friend class PageChannel;
  struct Decoded;
  Page(PageChannel& channel, std::uint32_t number) noexcept : channel_(&channel), number_(number) {}
  PageChannel* channel_ = nullptr;
  std::uint32_t number_ = 0;
  storage::PageRef ref_;
  Decoded* decoded_ = nullptr;
};

/// The change of one record; without `Commit` nothing of it remains. Brackets inside a bracket are
/// not possible.
class Bracket {
 public:
  explicit Bracket(PageChannel& channel);
  ~Bracket();
  Bracket(const Bracket&) = delete;
  Bracket& operator=(const Bracket&) = delete;
  void Commit();

 private:
  PageChannel& channel_;
  storage::Bracket bracket_;
  bool done_ = false;
};

class PageChannel {
 public:
  /// `page_key` is the header's cipher key, 0 for files that are not encoded.
  PageChannel(std::shared_ptr<storage::Store> store, const Layout& layout, std::uint32_t page_key);
  ~PageChannel();
  PageChannel(const PageChannel&) = delete;
  PageChannel& operator=(const PageChannel&) = delete;

  const Layout& layout() const noexcept { return layout_; }
  storage::Store& store() const noexcept { return *store_; }
  const std::string& path() const noexcept { return store_->Path(storage::kMainFile); }
  bool read_only() const noexcept { return store_->read_only(); }
  /// Whole pages in the file.
  std::uint32_t page_count() const noexcept {
    return static_cast<std::uint32_t>(store_->Size(storage::kMainFile) / layout_.page_bytes);
  }

  /// A page of the file; `kCorrupt` behind its end.
  Page Pin(std::uint32_t number) {
    if (number >= page_count()) BeyondEnd(number);
    return page_key_ == 0 ? PinPlain(number) : PinDecoded(number);
  }
  /// The same, of one of the given types.
  Page Pin(std::uint32_t number, std::uint8_t type, std::uint8_t or_type = 0xFF) {
    Page page = Pin(number);
    if (page.type() != type && page.type() != or_type) WrongType(page, type);
    return page;
  }
  /// A page of zeros at the end of the file; `kNoSpace` at the format's limit.
  Page Append();

  /// Counts brackets that were undone. What was remembered of pages under another count is void.
  std::uint64_t undone() const noexcept { return undone_; }
  /// Counts brackets that were begun; tells whether anything may have changed.
  std::uint64_t changes() const noexcept { return changes_; }

  /// A damaged file: names it, the page and what is wrong.
  [[noreturn]] void Corrupt(std::uint32_t page, std::string_view what) const;

 private:
  friend class Page;
  friend class Bracket;
  Page PinPlain(std::uint32_t number);
  Page PinDecoded(std::uint32_t number);
  [[noreturn]] void BeyondEnd(std::uint32_t number) const;
  [[noreturn]] void WrongType(const Page& page, std::uint8_t type) const;
  void WriteDecoded();
  void DropChanged() noexcept;

  std::shared_ptr<storage::Store> store_;  // shared with other openings of the file in this process
  const Layout& layout_;
  std::uint32_t page_key_;
  std::uint64_t undone_ = 0;
  std::uint64_t changes_ = 0;
  std::unordered_map<std::uint32_t, std::unique_ptr<Page::Decoded>> decoded_;
  std::vector<std::unique_ptr<Page::Decoded>> left_over_;  // undone while somebody held them
};

}  // namespace kelvorin::database::access
