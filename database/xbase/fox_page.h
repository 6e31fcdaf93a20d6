#pragma once
// The page that FoxPro's index files have in common, the plain IDX as well as the compact trees:
// 512 bytes, named by their offset in the file, with a head of twelve. Used by both page codecs.
//
//   page | u16 attributes: 1 root, 2 leaf | u16 keys | u32 left | u32 right (-1 for none)

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "database/xbase/index_pages.h"

namespace kelvorin::database::xbase::fox {

inline constexpr std::uint32_t kPageBytes = 512;
inline constexpr std::size_t kCountAt = 2;
inline constexpr std::size_t kLeftAt = 4;
inline constexpr std::size_t kRightAt = 8;
inline constexpr std::size_t kHeadBytes = 12;
inline constexpr std::uint16_t kRootPage = 1;
inline constexpr std::uint16_t kLeafPage = 2;

struct Head {
  std::uint16_t attributes = 0;
  std::uint16_t count = 0;
  std::uint32_t left = 0;
  std::uint32_t right = 0;
  bool leaf() const noexcept { return (attributes & kLeafPage) != 0; }
};

inline Head LoadHead(base::ByteSpan page) noexcept {
  return {.attributes = base::LoadLE16(page, 0),
          .count = base::LoadLE16(page, kCountAt),
          .left = base::LoadLE32(page, kLeftAt),
          .right = base::LoadLE32(page, kRightAt)};
}

/// Makes `image` a page of zeros with a head.
inline void StartImage(bool leaf, std::size_t count, const PagePlace& place,
                       std::vector<std::byte>& image) {
  image.assign(kPageBytes, std::byte{0});
  const int attributes = (place.root ? kRootPage : 0) | (leaf ? kLeafPage : 0);
  base::StoreLE16(image, 0, static_cast<std::uint16_t>(attributes));
  base::StoreLE16(image, kCountAt, static_cast<std::uint16_t>(count));
  base::StoreLE32(image, kLeftAt, place.left);
  base::StoreLE32(image, kRightAt, place.right);
}

/// Where the first page behind a file of `size` bytes begins.
inline std::uint32_t EndOf(std::uint64_t size) noexcept {
  return static_cast<std::uint32_t>((size + kPageBytes - 1) / kPageBytes * kPageBytes);
}

}  // namespace kelvorin::database::xbase::fox
