#pragma once
// The code page of a table's texts and names, and the order its text keys are sorted by: which page
// a header means, the way from and to the ANSI page of everything outside, capitals for indexes
// without regard to case.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/code_page.h"

namespace kelvorin::database::paradox {

/// Number of the page that a header means. Old tables (versions 3 and 4) carry none: their sort
/// order tells it, else it is the OEM page of the process.
int PageOfHeader(bool has_page, std::uint16_t page, std::string_view sort_name,
                 std::uint8_t sort_order) noexcept;

/// Whether texts of this sort order come in the order of their bytes.
bool IsByteOrder(std::uint8_t sort_order, std::string_view sort_name, int page) noexcept;

/// Converts the texts of one table. A page that this system lacks (the multi-byte ones) lets ASCII
/// pass and nothing else, so that no text changes unseen.
class TextPage {
 public:
  explicit TextPage(int number);

  /// Number of the page, also of one that is not supported.
  int number() const noexcept { return number_; }

  /// The text in the ANSI page: `in` itself where nothing changes, else `scratch`. False when the
  /// page is not supported and the text is not ASCII.
  bool ToAnsi(std::string_view in, std::string& scratch, std::string_view& out) const;
  /// The other direction; `replaced` becomes the number of characters the page lacks.
  bool FromAnsi(std::string_view in, std::string& scratch, std::string_view& out,
                std::size_t& replaced) const;
  /// Characters that the ANSI page lacks, counted over all calls of `ToAnsi`.
  std::size_t unreadable() const noexcept { return unreadable_; }
  /// Each byte's capital.
  const std::array<std::uint8_t, 256>& Capitals() const;

 private:
  struct Known;
  int number_;
  bool plain_ = false;  // the table's page is the ANSI page
  mutable std::size_t unreadable_ = 0;
  std::shared_ptr<const Known> known_;
};

}  // namespace kelvorin::database::paradox
