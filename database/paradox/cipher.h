#pragma once
// The scrambling of tables with a password. A key of 32 bits is made of the password; its lower
// half scrambles chunks of 256 bytes, all of it verifies the password. Pure arithmetic on bytes.

#include <cstdint>
#include <string_view>

#include "base/bytes.h"

namespace kelvorin::database::paradox {

inline constexpr std::size_t kChunkBytes = 256;

/// Key of a password given as bytes of the table's page; 0 (not encrypted) for an empty one.
std::uint32_t KeyOfPassword(std::string_view password) noexcept;

class Cipher {
 public:
  /// 0: nothing is scrambled.
  explicit Cipher(std::uint32_t key = 0) noexcept : key_(key) {}
  explicit operator bool() const noexcept { return key_ != 0; }

  /// A block of a table, a whole number of chunks, in place; `block` from 1. `first_chunk` counts
  /// the chunks in front of a part of a block.
  void DecryptBlock(base::MutableByteSpan bytes, std::uint32_t block,
                    std::size_t first_chunk = 0) const noexcept;
  void EncryptBlock(base::MutableByteSpan bytes, std::uint32_t block,
                    std::size_t first_chunk = 0) const noexcept;
  /// Whole chunks of a blob file, in place.
  void DecryptBlobs(base::MutableByteSpan bytes) const noexcept;
  void EncryptBlobs(base::MutableByteSpan bytes) const noexcept;

 private:
  std::uint32_t key_;
};

}  // namespace kelvorin::database::paradox
