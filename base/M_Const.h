#pragma once
// Limits and characters that several rooms share. Plain constants; everything that belongs to one
// room only stands there.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kelvorin::base {

/// Entries of the field values, the break list, the target field table and the field map: numbered
/// 0 to 250. A table or record with more fields is cut to that.
inline constexpr std::size_t kMaxFields = 251;

/// Marks an empty slot of the break list, and "no such break".
inline constexpr std::uint16_t kNoBreak = 65535;

/// Records shown by the preview and looked at by detection, numbered 1 to 20.
inline constexpr std::size_t kPreviewLines = 20;

inline constexpr char kTab = '\t';
inline constexpr char kLf = '\n';
inline constexpr char kCr = '\r';
inline constexpr std::string_view kCrLf = "\r\n";

}  // namespace kelvorin::base
