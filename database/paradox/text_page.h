#pragma once
// The code page of a table's texts and names, and the order its text keys are sorted by: which page
// a header means, the way from and to the ANSI page of everything outside, capitals for indexes
// without regard to case.

#include <array>
#include <cstdint>
#include <string_view>

#include "database/folder/page_converter.h"

namespace kelvorin::database::paradox {

/// Number of the page that a header means. Old tables (versions 3 and 4) carry none: their sort
/// order tells it, else it is the OEM page of the process.
int PageOfHeader(bool has_page, std::uint16_t page, std::string_view sort_name,
                 std::uint8_t sort_order) noexcept;

/// Whether texts of this sort order come in the order of their bytes.
bool IsByteOrder(std::uint8_t sort_order, std::string_view sort_name, int page) noexcept;

/// Converts the texts of one table, and knows their capitals.
class TextPage : public folder::PageConverter {
 public:
  explicit TextPage(int number);

  /// Each byte's capital.
  const std::array<std::uint8_t, 256>& Capitals() const noexcept { return capitals_; }

 private:
  TextPage(int number, const base::CodePage* page);

  std::array<std::uint8_t, 256> capitals_{};
};

}  // namespace kelvorin::database::paradox
