#pragma once
// Reading and writing numbers in bytes whose order is named, never through casts. A load or store
// outside its span is a fault of the caller: check sizes from a file with `ByteReader` or by hand
// before. Compilers turn each of these into one instruction.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "base/status.h"

namespace kelvorin::base {

using ByteSpan = std::span<const std::byte>;
using MutableByteSpan = std::span<std::byte>;

namespace detail {
template <typename T, std::endian kOrder>
T InOrder(T value) noexcept {
  if constexpr (kOrder == std::endian::native || sizeof(T) == 1) return value;
  if constexpr (sizeof(T) == 2) return __builtin_bswap16(value);
  if constexpr (sizeof(T) == 4) return __builtin_bswap32(value);
  if constexpr (sizeof(T) == 8) return __builtin_bswap64(value);
}
template <typename T, std::endian kOrder>
T Load(ByteSpan bytes, std::size_t at) noexcept {
  KV_ASSERT(at <= bytes.size() && sizeof(T) <= bytes.size() - at, "load inside the span");
  T value;
  std::memcpy(&value, bytes.data() + at, sizeof(T));
  return InOrder<T, kOrder>(value);
}
template <typename T, std::endian kOrder>
void Store(MutableByteSpan bytes, std::size_t at, T value) noexcept {
  KV_ASSERT(at <= bytes.size() && sizeof(T) <= bytes.size() - at, "store inside the span");
  value = InOrder<T, kOrder>(value);
  std::memcpy(bytes.data() + at, &value, sizeof(T));
}
}  // namespace detail

inline std::uint8_t Load8(ByteSpan b, std::size_t at) noexcept {
  return detail::Load<std::uint8_t, std::endian::little>(b, at);
}
inline std::uint16_t LoadLE16(ByteSpan b, std::size_t at) noexcept {
  return detail::Load<std::uint16_t, std::endian::little>(b, at);
}
inline std::uint32_t LoadLE32(ByteSpan b, std::size_t at) noexcept {
  return detail::Load<std::uint32_t, std::endian::little>(b, at);
}
inline std::uint64_t LoadLE64(ByteSpan b, std::size_t at) noexcept {
  return detail::Load<std::uint64_t, std::endian::little>(b, at);
}
inline std::uint16_t LoadBE16(ByteSpan b, std::size_t at) noexcept {
  return detail::Load<std::uint16_t, std::endian::big>(b, at);
}
inline std::uint32_t LoadBE32(ByteSpan b, std::size_t at) noexcept {
  return detail::Load<std::uint32_t, std::endian::big>(b, at);
}
inline std::uint64_t LoadBE64(ByteSpan b, std::size_t at) noexcept {
  return detail::Load<std::uint64_t, std::endian::big>(b, at);
}
inline void Store8(MutableByteSpan b, std::size_t at, std::uint8_t v) noexcept {
  detail::Store<std::uint8_t, std::endian::little>(b, at, v);
}
inline void StoreLE16(MutableByteSpan b, std::size_t at, std::uint16_t v) noexcept {
  detail::Store<std::uint16_t, std::endian::little>(b, at, v);
}
inline void StoreLE32(MutableByteSpan b, std::size_t at, std::uint32_t v) noexcept {
  detail::Store<std::uint32_t, std::endian::little>(b, at, v);
}
inline void StoreLE64(MutableByteSpan b, std::size_t at, std::uint64_t v) noexcept {
  detail::Store<std::uint64_t, std::endian::little>(b, at, v);
}
inline void StoreBE16(MutableByteSpan b, std::size_t at, std::uint16_t v) noexcept {
  detail::Store<std::uint16_t, std::endian::big>(b, at, v);
}
inline void StoreBE32(MutableByteSpan b, std::size_t at, std::uint32_t v) noexcept {
  detail::Store<std::uint32_t, std::endian::big>(b, at, v);
}
inline void StoreBE64(MutableByteSpan b, std::size_t at, std::uint64_t v) noexcept {
  detail::Store<std::uint64_t, std::endian::big>(b, at, v);
}

/// Appends the `count` low bytes of a number, the lowest first.
inline void AppendLE(std::uint64_t value, std::size_t count, std::string& out) {
  for (std::size_t i = 0; i < count; ++i) out += static_cast<char>(value >> (8 * i) & 0xFF);
}

/// The bytes of a text, and the text of some bytes. Both live as long as their argument's data.
inline ByteSpan AsBytes(std::string_view text) noexcept {
  return std::as_bytes(std::span<const char>(text.data(), text.size()));
}
inline std::string_view AsText(ByteSpan bytes) noexcept {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Walks a header of variable length. A read past the end yields 0 and leaves the reader failed
/// for good, so that one test of `ok()` covers a whole header.
class ByteReader {
 public:
  explicit ByteReader(ByteSpan bytes) noexcept : bytes_(bytes) {}

  bool ok() const noexcept { return ok_; }
  std::size_t position() const noexcept { return at_; }
  std::size_t left() const noexcept { return bytes_.size() - at_; }

  std::uint8_t U8() noexcept { return Take(1) ? Load8(bytes_, at_ - 1) : std::uint8_t{0}; }
  std::uint16_t LE16() noexcept { return Take(2) ? LoadLE16(bytes_, at_ - 2) : std::uint16_t{0}; }
  std::uint32_t LE32() noexcept { return Take(4) ? LoadLE32(bytes_, at_ - 4) : 0u; }
  /// The next `count` bytes, or an empty span when there are fewer.
  ByteSpan Bytes(std::size_t count) noexcept {
    return Take(count) ? bytes_.subspan(at_ - count, count) : ByteSpan();
  }
  void Skip(std::size_t count) noexcept { (void)Take(count); }

 private:
  bool Take(std::size_t count) noexcept {
    if (!ok_ || count > left()) return ok_ = false;
    at_ += count;
    return true;
  }
  ByteSpan bytes_;
  std::size_t at_ = 0;
  bool ok_ = true;
};

}  // namespace kelvorin::base
