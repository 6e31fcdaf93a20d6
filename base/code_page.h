#pragma once
// Code pages: which character a byte stands for. The text inside the product is bytes in the ANSI
// page (UTF-8 or a single-byte page); drivers, windows and the OEM switch convert at their edges
// with a `Converter` prepared once. Multi-byte pages other than UTF-8 are not known.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/status.h"

namespace kelvorin::base {

/// Stands for bytes that are no UTF-8.
inline constexpr char32_t kInvalidCharacter = 0xFFFFFFFF;
inline constexpr int kUtf8Page = 65001;

/// One known code page. Lives as long as the process; compare addresses or numbers. Bytes 0 to 127
/// are ASCII in every page.
class CodePage {
 public:
  CodePage(int number, const char* name, const char16_t* upper_half) noexcept;

  int number() const noexcept { return number_; }
  /// English name for lists and messages.
  std::string_view name() const noexcept { return name_; }
  bool is_utf8() const noexcept { return upper_half_ == nullptr; }

  /// The character of a byte; single-byte pages only. Every byte has one: bytes without a character
  /// stand for U+0080 to U+009F or for U+F7A0 to U+F7FF of the private area, so that they return
  /// unharmed.
  char32_t ToUnicode(unsigned char byte) const noexcept {
    return byte < 0x80 ? byte : upper_half_[byte - 0x80];
  }
  /// The byte that stands for a character; single-byte pages only.
  std::optional<unsigned char> FromUnicode(char32_t character) const noexcept;

 private:
  int number_;
  const char* name_;
  const char16_t* upper_half_;                   // 128 entries; nullptr for UTF-8
  std::array<unsigned char, 128> by_character_;  // bytes 128 to 255 sorted by character
};

/// The page with this number (65001, 1252, 850, ...), or nullptr when it is not supported.
const CodePage* FindCodePage(int number) noexcept;

/// Number of the page of a charset as locales name it ("UTF-8", "ISO-8859-2", "KOI8-R"); 1252 for
/// an unknown one.
int PageOfCharset(std::string_view charset);
/// Number of the DOS page used beside a single-byte ANSI page of one region, or, where several may
/// be, where the locale ("pl_PL.UTF-8") is spoken.
int OemPageBeside(int ansi, std::string_view locale);

/// The page of all text inside the product, and the page of DOS texts. Before anybody sets them:
/// KELVORIN_ANSI_CP and KELVORIN_OEM_CP of the environment when they name a known page, else what
/// the environment's locale uses (UTF-8 also for the bare C locale); the DOS page goes with the
/// ANSI page where that belongs to one region.
const CodePage& AnsiPage();
const CodePage& OemPage();
/// Chooses the page for the whole process; `kNotSupported` for an unknown number, nothing is
/// changed then. Text that was already read keeps its bytes.
Status SetAnsiPage(int number);
Status SetOemPage(int number);

/// Number of characters at the front that are ASCII.
std::size_t AsciiPrefix(std::string_view text) noexcept;
/// The character at `at`, which moves behind it. Bytes that are no UTF-8 give `kInvalidCharacter`
/// and are passed over as far as they could have begun a character, at least one.
char32_t DecodeUtf8(std::string_view text, std::size_t& at) noexcept;
/// Appends the UTF-8 form; surrogates and what lies beyond U+10FFFF become U+FFFD.
void AppendUtf8(char32_t character, std::string& out);

/// Converts text from one page to another. Prepared once, then used for every value; allocates only
/// when `out` must grow.
class Converter {
 public:
  Converter(const CodePage& from, const CodePage& to);

  /// Appends the converted text and returns the number of characters that could not be represented.
  /// Those became a similar character where there is one (e for an accented e, a straight quote for
  /// a curved one), else `?`. Bytes that are no UTF-8 count as such; text of equal pages is copied
  /// as it is.
  std::size_t Append(std::string_view in, std::string& out) const;

 private:
  enum class Kind : std::uint8_t { kCopy, kFromByte, kFromUtf8 };
  struct Cell {  // what a byte from 128 on becomes
    char bytes[3];
    std::uint8_t size;
    bool lost;
  };
  std::size_t AppendFromBytes(std::string_view in, std::string& out) const;
  std::size_t AppendFromUtf8(std::string_view in, std::string& out) const;

  Kind kind_;
  const CodePage* to_;
  std::array<Cell, 128> cells_;  // filled for kFromByte
};

/// Appends `in`, a text of the OEM page, as text of the ANSI page; returns the number of characters
/// that could not be represented. Under UTF-8 the result may be longer than its source.
std::size_t OemToAnsiText(std::string_view in, std::string& out);

/// Number of characters of a text of the ANSI page. A byte that is no UTF-8 counts as one.
std::size_t CountCharacters(std::string_view text);
/// The first `count` characters of a text of the ANSI page, or all of it; never half a character.
std::string_view CutToCharacters(std::string_view text, std::size_t count);

}  // namespace kelvorin::base
