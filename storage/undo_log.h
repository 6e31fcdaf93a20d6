#pragma once
// What the bytes of cached pages were before the current bracket changed them. Used by the store
// alone; its memory serves one bracket after the other, so that noting allocates nothing.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/bytes.h"

namespace kelvorin::storage {

class UndoLog {
 public:
  /// Notes bytes of a frame, `at` from the page's start. An empty range is not noted.
  void Note(std::uint32_t frame, std::size_t at, base::ByteSpan old) {
    if (old.empty()) return;
    entries_.push_back({frame, static_cast<std::uint32_t>(at), bytes_.size()});
    bytes_.insert(bytes_.end(), old.begin(), old.end());
  }

  /// Hands everything back, newest first: `restore(frame, at, old bytes)`.
  template <typename Restore>
  void PlayBack(Restore restore) const noexcept {
    std::size_t end = bytes_.size();
    for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
      restore(entry->frame, entry->at,
              base::ByteSpan(bytes_.data() + entry->begin, end - entry->begin));
      end = entry->begin;
    }
  }

  void Clear() noexcept {
    entries_.clear();
    bytes_.clear();
    // A single huge bracket (a table emptied) does not keep its memory for the rest of the run.
    if (bytes_.capacity() > kKeptBytes) std::vector<std::byte>().swap(bytes_);
  }

 private:
  static constexpr std::size_t kKeptBytes = std::size_t{256} << 10;
  struct Entry {
    std::uint32_t frame;
    std::uint32_t at;
    std::size_t begin;  // of its bytes, which reach to the next entry's
  };
  std::vector<Entry> entries_;
  std::vector<std::byte> bytes_;
};

}  // namespace kelvorin::storage
