#pragma once
// The pages that a store holds in memory: where each is, which may go, and how many bytes they may
// take. Used by the store alone. Never reads or writes a file.
//
// A page is on one of three lists. Pages that came by reading ahead stay on a short queue of their
// own until they are used a second time, so that a scan does not push out the pages of an index.
// Other unchanged pages go in the order of their last use. Changed pages do not go at all: the
// store writes them and then calls them unchanged.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace kelvorin::storage {

class PageCache {
 public:
  using FrameNo = std::uint32_t;
  static constexpr FrameNo kNoFrame = 0xFFFFFFFF;
  enum class List : std::uint8_t { kScanned, kClean, kChanged, kNone };

  /// The place of one page. References to it are good until the next `Add`.
  struct Frame {
    std::unique_ptr<std::byte[]> data;
    std::uint64_t page_no = 0;
    std::uint64_t changed_in = 0;  // bracket in which it left the unchanged ones
    std::uint64_t noted_in = 0;    // bracket whose undo log holds the whole page
    std::uint32_t size = 0;        // bytes
    std::uint32_t pins = 0;
    FrameNo before = kNoFrame;
    FrameNo behind = kNoFrame;
    std::uint16_t file = 0;
    List list = List::kNone;  // kNone: free, or dropped while somebody holds it
    bool used = false;
  };

  PageCache(std::size_t limit_bytes, std::size_t ceiling_bytes);

  FrameNo Find(std::uint16_t file, std::uint64_t page_no) const noexcept;
  Frame& operator[](FrameNo frame) noexcept { return frames_[frame]; }
  /// Notes that a page was wanted again.
  void Touch(FrameNo frame) noexcept;
  /// A frame for a page that is not there; its bytes are undefined. Lets other pages go while the
  /// limit is exceeded and some may go; else the cache grows.
  FrameNo Add(std::uint16_t file, std::uint64_t page_no, std::uint32_t size, bool read_ahead);
  void MarkChanged(FrameNo frame, std::uint64_t bracket) noexcept;
  void MarkClean(FrameNo frame) noexcept;
  /// Forgets a page. Its memory stays while it is pinned.
  void Drop(FrameNo frame) noexcept;
  void Pin(FrameNo frame) noexcept { ++frames_[frame].pins; }
  void Unpin(FrameNo frame) noexcept;

  /// Calls `visit(FrameNo)` for every page of a list; it may drop or move the page it is given.
  template <typename Visit>
  void ForEach(List list, Visit visit) {
    FrameNo next = kNoFrame;
    for (FrameNo at = heads_[Index(list)]; at != kNoFrame; at = next) {
      next = frames_[at].behind;
      visit(at);
    }
  }

  /// Bytes of changed pages; the store writes them before they fill the cache.
  std::size_t changed_bytes() const noexcept { return bytes_on_[Index(List::kChanged)]; }
  /// How many may wait: what is left serves reading.
  std::size_t changed_limit() const noexcept { return limit_ - limit_ / 8; }
  /// The most bytes that reading ahead may bring at once.
  std::size_t scan_bytes() const noexcept { return limit_ / 16; }
  std::size_t bytes() const noexcept { return bytes_; }
  std::size_t peak_bytes() const noexcept { return peak_bytes_; }
  std::size_t limit() const noexcept { return limit_; }

 private:
  static constexpr std::size_t Index(List list) noexcept { return static_cast<std::size_t>(list); }
  static std::uint64_t Hash(std::uint16_t file, std::uint64_t page_no) noexcept;
  void Link(FrameNo frame, List list) noexcept;
  void Unlink(FrameNo frame) noexcept;
  void Enter(FrameNo frame) noexcept;
  void Erase(FrameNo frame) noexcept;
  void GrowTable();
  FrameNo Oldest(List list) const noexcept;
  bool LetOneGo() noexcept;
  void Forget(FrameNo frame) noexcept;
  FrameNo TakeFree(std::uint32_t size);
  void NoteFetch(std::uint64_t hash) noexcept;

  std::vector<Frame> frames_;
  std::vector<FrameNo> free_;
  std::vector<FrameNo> table_;  // open addressing, a power of two, at most half full
  std::size_t in_table_ = 0;
  std::array<FrameNo, 3> heads_{kNoFrame, kNoFrame, kNoFrame};  // newest
  std::array<FrameNo, 3> tails_{kNoFrame, kNoFrame, kNoFrame};  // oldest
  std::array<std::size_t, 3> bytes_on_{};
  std::size_t bytes_ = 0;
  std::size_t peak_bytes_ = 0;
  std::size_t limit_;
  const std::size_t base_limit_;
  const std::size_t ceiling_;
  // Marks of pages that had to go, by hash, to notice when they come back too often.
  std::vector<std::uint32_t> gone_;
  std::uint32_t fetched_ = 0;
  std::uint32_t fetched_again_ = 0;
};

}  // namespace kelvorin::storage
