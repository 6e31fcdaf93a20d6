#pragma once
// Text as Access files store it (bytes of the database's code page in Jet 3; UTF-16, often
// compressed, in Jet 4) from and to the ANSI page. One object per database; keeps only buffers.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "base/code_page.h"
#include "database/errors.h"

namespace kelvorin::database::access {

class TextCodec {
 public:
  /// `code_page` counts in Jet 3 only; `kNotSupported` when it is not known.
  TextCodec(bool wide, int code_page);

  bool wide() const noexcept { return wide_; }
  /// Characters that the ANSI page lacked, in all texts decoded so far.
  std::size_t unreadable() const noexcept { return unreadable_; }
  /// Appends stored text as text of the ANSI page.
  void Decode(base::ByteSpan stored, std::string& out);
  /// Appends text in its stored form. `compress` where the column allows the short form of Jet 4.
  /// `units` becomes the length in characters as the format counts them; returns how many
  /// characters had to be replaced.
  std::size_t Encode(std::string_view text, bool compress, std::string& out, std::size_t& units);
  /// The first `limit` UTF-16 units of stored text, for sort keys.
  void Units(base::ByteSpan stored, std::size_t limit, std::vector<char16_t>& out) const;

 private:
  void DecodeUnits(base::ByteSpan stored, std::size_t limit, std::u16string& out) const;
  bool wide_;
  const base::CodePage* page_;  // Jet 3
  base::Converter to_ansi_;     // from the page, or from UTF-8
  base::Converter from_ansi_;   // to the page
  std::u16string units_;
  std::string utf8_;
  std::size_t unreadable_ = 0;
};

}  // namespace kelvorin::database::access
