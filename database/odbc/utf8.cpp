#include "database/odbc/utf8.h"

#include <cstdint>
#include <cstring>

#include "base/code_page.h"
#include "database/errors.h"

namespace kelvorin::database::odbc {

bool IsPlainText(std::string_view text) noexcept {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x80 * kOnes;
  constexpr std::size_t kStep = sizeof(std::uint64_t);
  // Of bytes without their high bit only 0 gets it by taking 1 away.
  const auto plain = [](const char* at) {
    std::uint64_t eight;
    std::memcpy(&eight, at, kStep);
    return (((eight - kOnes) | eight) & kHighBits) == 0;
  };
  const char* at = text.data();
  const char* const end = at + text.size();
  if (text.size() < kStep) {
    for (; at != end; ++at)
      if (static_cast<signed char>(*at) <= 0) return false;
    return true;
  }
  for (; end - at > static_cast<std::ptrdiff_t>(kStep); at += kStep)
    if (!plain(at)) return false;
  return plain(end - kStep);  // some of it for the second time
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
