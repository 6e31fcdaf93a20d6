#include "storage/page_cache.h"

#include <algorithm>

#include "base/status.h"

// Invariants:
//  1. A page is in the table exactly while it is on a list.
//  2. `bytes_` is the sum over the lists, and of pages dropped while pinned.
//  3. Only a page that is unchanged and not pinned is let go.

namespace kelvorin::storage {
namespace {

constexpr std::size_t kGoneMarks = 16384;  // a ceiling's worth of 4 KiB pages
constexpr std::uint32_t kFetchesPerLook =
    512;  // single pages fetched between two looks at the limit

}  // namespace

PageCache::PageCache(std::size_t limit_bytes, std::size_t ceiling_bytes)
    : table_(256, kNoFrame),
      limit_(limit_bytes),
      base_limit_(limit_bytes),
      ceiling_(std::max(limit_bytes, ceiling_bytes)) {}

std::uint64_t PageCache::Hash(std::uint16_t file, std::uint64_t page_no) noexcept {
  std::uint64_t mixed = (page_no + (std::uint64_t{file} << 48)) * 0x9E3779B97F4A7C15u;
  return mixed ^ (mixed >> 32);
}

PageCache::FrameNo PageCache::Find(std::uint16_t file, std::uint64_t page_no) const noexcept {
  const std::size_t mask = table_.size() - 1;
  for (std::size_t slot = Hash(file, page_no) & mask; table_[slot] != kNoFrame;
       slot = (slot + 1) & mask) {
    const Frame& frame = frames_[table_[slot]];
    if (frame.page_no == page_no && frame.file == file) return table_[slot];
  }
  return kNoFrame;
}

void PageCache::Touch(FrameNo at) noexcept {
  Frame& frame = frames_[at];
  if (frame.list == List::kScanned && !frame.used) {
    frame.used = true;
  } else if (frame.list != List::kChanged && heads_[Index(List::kClean)] != at) {
    Unlink(at);
    Link(at, List::kClean);
  }
}

PageCache::FrameNo PageCache::Add(std::uint16_t file, std::uint64_t page_no, std::uint32_t size,
                                  bool read_ahead) {
  KV_ASSERT(Find(file, page_no) == kNoFrame, "invariant 1");
  if (!read_ahead) NoteFetch(Hash(file, page_no));
  while (bytes_ + size > limit_ && LetOneGo()) {
  }
  if (read_ahead) {
    while (bytes_on_[Index(List::kScanned)] + size > 2 * scan_bytes()) {
      const FrameNo oldest = Oldest(List::kScanned);
      if (oldest == kNoFrame) break;
      Forget(oldest);
    }
  }
  if ((in_table_ + 1) * 2 > table_.size()) GrowTable();
  const FrameNo at = TakeFree(size);
  Frame& frame = frames_[at];
  frame.page_no = page_no;
  frame.file = file;
  frame.changed_in = frame.noted_in = 0;
  frame.used = false;
  bytes_ += size;
  peak_bytes_ = std::max(peak_bytes_, bytes_);
  Link(at, read_ahead ? List::kScanned : List::kClean);
  Enter(at);
  return at;
}

void PageCache::MarkChanged(FrameNo at, std::uint64_t bracket) noexcept {
  KV_ASSERT(frames_[at].list != List::kChanged, "a page becomes changed once");
  Unlink(at);
  Link(at, List::kChanged);
  frames_[at].changed_in = bracket;
}

void PageCache::MarkClean(FrameNo at) noexcept {
  KV_ASSERT(frames_[at].list == List::kChanged, "only a changed page is written");
  Unlink(at);
  Link(at, List::kClean);
}

void PageCache::Drop(FrameNo at) noexcept {
  Unlink(at);
  Erase(at);
  Frame& frame = frames_[at];
  if (frame.pins > 0) return;  // `Unpin` finishes
  bytes_ -= frame.size;
  free_.push_back(at);
}

void PageCache::Unpin(FrameNo at) noexcept {
  Frame& frame = frames_[at];
  KV_ASSERT(frame.pins > 0, "a page is let go once");
  if (--frame.pins > 0 || frame.list != List::kNone) return;
  bytes_ -= frame.size;
  free_.push_back(at);
}

void PageCache::Link(FrameNo at, List list) noexcept {
  Frame& frame = frames_[at];
  frame.list = list;
  frame.before = kNoFrame;
  frame.behind = heads_[Index(list)];
  if (frame.behind != kNoFrame) {
    frames_[frame.behind].before = at;
  } else {
    tails_[Index(list)] = at;
  }
  heads_[Index(list)] = at;
  bytes_on_[Index(list)] += frame.size;
}

void PageCache::Unlink(FrameNo at) noexcept {
  Frame& frame = frames_[at];
  const std::size_t list = Index(frame.list);
  (frame.before != kNoFrame ? frames_[frame.before].behind : heads_[list]) = frame.behind;
  (frame.behind != kNoFrame ? frames_[frame.behind].before : tails_[list]) = frame.before;
  bytes_on_[list] -= frame.size;
  frame.list = List::kNone;
}

void PageCache::Enter(FrameNo at) noexcept {
  const std::size_t mask = table_.size() - 1;
  std::size_t slot = Hash(frames_[at].file, frames_[at].page_no) & mask;
  while (table_[slot] != kNoFrame) slot = (slot + 1) & mask;
  table_[slot] = at;
  ++in_table_;
}

void PageCache::Erase(FrameNo at) noexcept {
  const std::size_t mask = table_.size() - 1;
  std::size_t hole = Hash(frames_[at].file, frames_[at].page_no) & mask;
  while (table_[hole] != at) hole = (hole + 1) & mask;
  // Whoever stands behind the hole and would be looked for at or before it moves up.
  for (std::size_t slot = (hole + 1) & mask; table_[slot] != kNoFrame; slot = (slot + 1) & mask) {
    const Frame& frame = frames_[table_[slot]];
    const std::size_t home = Hash(frame.file, frame.page_no) & mask;
    if (((slot - home) & mask) >= ((slot - hole) & mask)) {
      table_[hole] = table_[slot];
      hole = slot;
    }
  }
  table_[hole] = kNoFrame;
  --in_table_;
}

void PageCache::GrowTable() {
  table_.assign(table_.size() * 2, kNoFrame);
  in_table_ = 0;
  for (FrameNo at = 0; at < frames_.size(); ++at) {
    if (frames_[at].list != List::kNone) Enter(at);
  }
}

PageCache::FrameNo PageCache::Oldest(List list) const noexcept {
  FrameNo at = tails_[Index(list)];
  while (at != kNoFrame && frames_[at].pins > 0) at = frames_[at].before;
  return at;
}

bool PageCache::LetOneGo() noexcept {
  FrameNo victim = kNoFrame;
  if (bytes_on_[Index(List::kScanned)] > scan_bytes()) victim = Oldest(List::kScanned);
  if (victim == kNoFrame) victim = Oldest(List::kClean);
  if (victim == kNoFrame) victim = Oldest(List::kScanned);
  if (victim == kNoFrame) return false;
  if (frames_[victim].list == List::kClean && !gone_.empty()) {
    const std::uint64_t hash = Hash(frames_[victim].file, frames_[victim].page_no);
    gone_[hash % kGoneMarks] = static_cast<std::uint32_t>(hash >> 32);
  }
  Forget(victim);
  return true;
}

void PageCache::Forget(FrameNo at) noexcept {
  KV_ASSERT(frames_[at].pins == 0 && frames_[at].list != List::kChanged, "invariant 3");
  Drop(at);
}

PageCache::FrameNo PageCache::TakeFree(std::uint32_t size) {
  if (free_.empty()) {
    frames_.emplace_back();
    free_.reserve(frames_.capacity());  // so that giving back never allocates
    free_.push_back(static_cast<FrameNo>(frames_.size() - 1));
  }
  // The frame given back last is taken first. Memory of the others is not kept: after a shrinking
  // limit or a change of page size it would count for nothing and stay.
  const FrameNo at = free_.back();
  Frame& frame = frames_[at];
  if (frame.size != size || frame.data == nullptr) {
    frame.data.reset();
    frame.data = std::make_unique_for_overwrite<std::byte[]>(size);
    frame.size = size;
  }
  free_.pop_back();
  for (auto it = free_.rbegin(); it != free_.rend() && frames_[*it].data != nullptr; ++it) {
    frames_[*it].data.reset();
  }
  return at;
}

void PageCache::NoteFetch(std::uint64_t hash) noexcept {
  if (ceiling_ == base_limit_) return;
  if (gone_.empty() && bytes_ >= limit_ / 2) gone_.assign(kGoneMarks, 0);
  if (gone_.empty()) return;
  ++fetched_;
  if (gone_[hash % kGoneMarks] == static_cast<std::uint32_t>(hash >> 32)) ++fetched_again_;
  if (fetched_ < kFetchesPerLook) return;
  if (fetched_again_ > fetched_ / 4) {
    limit_ = std::min(ceiling_, limit_ * 2);
  } else if (fetched_again_ < fetched_ / 32) {
    limit_ = std::max(base_limit_, limit_ / 2);
  }
  fetched_ = fetched_again_ = 0;
}

}  // namespace kelvorin::storage
