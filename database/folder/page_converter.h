#pragma once
// The way of a table's texts from and to the ANSI page of everything outside. A page that this
// system lacks (the multi-byte ones) lets ASCII pass and refuses everything else, so that no text
// changes unseen.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "base/code_page.h"

namespace kelvorin::database::folder {

class PageConverter {
 public:
  /// `page` is null where the system lacks the page of that `number`; it outlives the converter.
  PageConverter(int number, const base::CodePage* page);

  /// Number of the page, also of one that is not supported.
  int number() const noexcept { return number_; }

  /// The text in the ANSI page: `in` itself where nothing changes, else `scratch`, which is
  /// cleared first. False when the page is not supported and the text is not ASCII.
  bool ToAnsi(std::string_view in, std::string& scratch, std::string_view& out) const {
    out = in;
    return same_ || IsAscii(in) || ConvertToAnsi(in, scratch, out);
  }
  /// The same in the other direction; `replaced` is set to the number of characters the table's
  /// page lacks, which became similar ones.
  bool FromAnsi(std::string_view in, std::string& scratch, std::string_view& out,
                std::size_t& replaced) const {
    out = in;
    replaced = 0;
    return same_ || IsAscii(in) || ConvertFromAnsi(in, scratch, out, replaced);
  }
  /// Characters that the ANSI page lacked, in all texts converted so far.
  std::size_t unreadable() const noexcept { return unreadable_; }

 private:
  struct Converters;

  /// Most values have a few bytes: looked at here, without a call.
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
  bool same_ = false;  // the table's page is the ANSI page
  mutable std::size_t unreadable_ = 0;
  std::shared_ptr<const Converters> converters_;  // null when the page is not supported
};

}  // namespace kelvorin::database::folder
