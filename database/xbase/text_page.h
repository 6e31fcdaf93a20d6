#pragma once
// The code page of a table's texts and names: which page the mark in the header stands for, and the
// way from and to the ANSI page of everything outside. Used by the field codec and the table.

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "base/code_page.h"

namespace kelvorin::database::xbase {

/// Number of the code page a header mark stands for; 0 for no mark and for an unknown one, whose
/// texts are taken as being in the OEM page of the process.
int CodePageOfMark(std::uint8_t mark) noexcept;

/// The mark for new tables whose texts are in `page`, of FoxPro or of dBASE; 0 when there is none.
std::uint8_t MarkOfCodePage(int page, bool foxpro) noexcept;

/// Converts the texts of one table. A page that this system lacks (the multi-byte ones) lets ASCII
/// pass and refuses everything else, so that no text changes unseen.
class TextPage {
 public:
  explicit TextPage(std::uint8_t mark);

  /// Number of the page, also of one that is not supported.
  int number() const noexcept { return number_; }

  /// The text in the ANSI page: `in` itself where nothing changes, else `scratch`, which is
  /// cleared first. False when the page is not supported and the text is not ASCII.
  bool ToAnsi(std::string_view in, std::string& scratch, std::string_view& out) const {
    out = in;
    return same_ || IsAscii(in) || ConvertToAnsi(in, scratch, out);
  }
  /// Characters that the ANSI page lacked, in all texts converted so far.
  std::size_t unreadable() const noexcept { return unreadable_; }
  /// The same in the other direction; `replaced` is set to the number of characters the table's
  /// page lacks, which became similar ones.
  bool FromAnsi(std::string_view in, std::string& scratch, std::string_view& out,
                std::size_t& replaced) const {
    out = in;
    replaced = 0;
    return same_ || IsAscii(in) || ConvertFromAnsi(in, scratch, out, replaced);
  }

 private:
  struct Converters;

  static bool IsAscii(std::string_view text) noexcept {
    const char* at = text.data();
    std::size_t left = text.size();
    std::uint64_t seen = 0;
    for (std::uint64_t word; left >= sizeof word; at += sizeof word, left -= sizeof word) {
      std::memcpy(&word, at, sizeof word);
      seen |= word;
    }
    for (; left > 0; ++at, --left) seen |= static_cast<unsigned char>(*at);
    return (seen & 0x8080808080808080) == 0;
  }
  bool ConvertToAnsi(std::string_view in, std::string& scratch, std::string_view& out) const;
  bool ConvertFromAnsi(std::string_view in, std::string& scratch, std::string_view& out,
                       std::size_t& replaced) const;

  int number_;
  mutable std::size_t unreadable_ = 0;
  bool same_ = false;                             // the table's page is the ANSI page
  std::shared_ptr<const Converters> converters_;  // null when the page is not supported
};

}  // namespace kelvorin::database::xbase
