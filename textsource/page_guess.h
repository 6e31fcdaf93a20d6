#pragma once
// Which code page bytes that are no UTF-8 were written in, by what the words look like then. Used
// by the detection of layouts and by the command line's check of a whole file.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"

namespace kelvorin::textsource {

/// Number of bytes from the front that are whole characters of UTF-8. When more text follows, a
/// character that the end cuts off is not counted, but it is no fault either: see `Utf8Fault`.
std::size_t Utf8Prefix(std::string_view text) noexcept;

/// Position of the first byte that is no UTF-8, or `npos`. `more_follows`: what the end cuts off
/// may go on.
std::size_t Utf8Fault(std::string_view text, bool more_follows) noexcept;

/// Number of the single-byte page that fits best, 1252 when nothing tells. `text` has bytes above
/// 127.
int GuessPage(std::string_view text);

/// Where a file stops being UTF-8.
struct ForeignText {
  std::int64_t line = 0;  // from 1, by LF or CR; 0 when the whole file is UTF-8 (or UTF-16)
  int page = 0;           // the page that fits best
};

/// Looks through a whole file, unpacked where it is compressed. Fails as reading fails.
Result<ForeignText> FindForeignText(const std::string& file_name, bool unmarked_utf16);

}  // namespace kelvorin::textsource
