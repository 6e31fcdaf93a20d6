#include "database/odbc/utf8.h"

#include <cstdint>
#include <cstring>

#include "base/code_page.h"
#include "database/errors.h"

namespace kelvorin::database::odbc {

bool IsPlainText(std::string_view text) noexcept {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x80 * kOnes;
  const char* at = text.data();
  std::size_t left = text.size();
  for (; left >= sizeof(std::uint64_t);
       at += sizeof(std::uint64_t), left -= sizeof(std::uint64_t)) {
    std::uint64_t eight;
    std::memcpy(&eight, at, sizeof eight);
    // Of bytes without their high bit only 0 gets it by taking 1 away.
    if ((((eight - kOnes) | eight) & kHighBits) != 0) return false;
  }
  for (; left != 0; ++at, --left)
    if (static_cast<signed char>(*at) <= 0) return false;
  return true;
}

Status AppendUtf8Text(std::string_view text, std::string& out) {
  const base::CodePage& ansi = base::AnsiPage();
  std::size_t at = base::AsciiPrefix(text);
  if (at == text.size()) {
    out += text;
    return Status();
  }
  if (!ansi.is_utf8()) {
    static const base::CodePage& utf8 = *base::FindCodePage(base::kUtf8Page);
    base::Converter(ansi, utf8).Append(text, out);
    return Status();
  }
  while (at < text.size()) {
    if (base::DecodeUtf8(text, at) == base::kInvalidCharacter)
      return database::MakeStatus(Code::kConversion, database::ErrorNumber::kConversion,
                                  "a text holds bytes that are no character in UTF-8");
    at += base::AsciiPrefix(text.substr(at));
  }
  out += text;
  return Status();
}

std::string Utf8Name(const std::string& name) {
  std::string utf8;
  return AppendUtf8Text(name, utf8).ok() ? utf8 : name;
}

void AppendAnsiText(std::string_view utf8, std::string& out) {
  const base::CodePage& ansi = base::AnsiPage();
  if (ansi.is_utf8() || base::AsciiPrefix(utf8) == utf8.size()) {
    out += utf8;
    return;
  }
  static const base::CodePage& from = *base::FindCodePage(base::kUtf8Page);
  base::Converter(from, ansi).Append(utf8, out);
}

}  // namespace kelvorin::database::odbc
