#include "base/case_map.h"

#include <algorithm>
#include <array>

#include "base/M_STRING.h"
#include "base/case_tables.h"
#include "base/code_page.h"

namespace kelvorin::base {
namespace {

enum class Case : std::uint8_t { kUpper, kLower };

char32_t PairOf(char32_t character, std::span<const CaseRange> ranges) noexcept {
  const auto behind = std::upper_bound(
      ranges.begin(), ranges.end(), character,
      [](char32_t wanted, const CaseRange& range) { return wanted < range.first; });
  if (behind == ranges.begin()) return character;
  const CaseRange& range = *(behind - 1);
  if (character > range.last || (character - range.first) % range.step != 0) return character;
  return static_cast<char32_t>(static_cast<std::int32_t>(character) + range.distance);
}

char32_t Mapped(char32_t character, Case wanted) noexcept {
  return wanted == Case::kUpper ? UpperCharacter(character) : LowerCharacter(character);
}

/// Both cases of every byte of one single-byte page.
struct ByteCases {
  const CodePage* page = nullptr;
  std::array<std::array<char, 256>, 2> mapped{};

  void Prepare(const CodePage& for_page) {
    page = &for_page;
    for (unsigned byte = 0; byte < 256; ++byte) {
      for (const Case wanted : {Case::kUpper, Case::kLower}) {
        const char32_t character = page->ToUnicode(static_cast<unsigned char>(byte));
        const auto other = page->FromUnicode(Mapped(character, wanted));
        mapped[static_cast<std::size_t>(wanted)][byte] = static_cast<char>(other.value_or(byte));
      }
    }
  }
};

void AppendBytes(std::string_view text, Case wanted, std::string& out) {
  static ByteCases cases;
  if (cases.page != &AnsiPage()) cases.Prepare(AnsiPage());
  const auto& mapped = cases.mapped[static_cast<std::size_t>(wanted)];
  const std::size_t start = out.size();
  out.append(text);
  for (std::size_t i = start; i < out.size(); ++i) {
    out[i] = mapped[static_cast<unsigned char>(out[i])];
  }
}

void AppendCase(std::string_view text, Case wanted, std::string& out) {
  if (!AnsiPage().is_utf8()) {
    AppendBytes(text, wanted, out);
    return;
  }
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t ascii = AsciiPrefix(text.substr(at));
    const std::size_t start = out.size();
    out.append(text.substr(at, ascii));
    for (std::size_t i = start; i < out.size(); ++i) {
      out[i] = wanted == Case::kUpper ? ToUpperAscii(out[i]) : ToLowerAscii(out[i]);
    }
    at += ascii;
    while (at < text.size() && static_cast<unsigned char>(text[at]) >= 0x80) {
      const std::size_t from = at;
      const char32_t character = DecodeUtf8(text, at);
      const char32_t other = character == kInvalidCharacter ? character : Mapped(character, wanted);
      if (other == character) {
        out.append(text.substr(from, at - from));  // as it was, also what is no UTF-8
      } else {
        AppendUtf8(other, out);
      }
    }
  }
}

}  // namespace

char32_t UpperCharacter(char32_t character) noexcept {
  return PairOf(character, UpperRanges());
}
char32_t LowerCharacter(char32_t character) noexcept {
  return PairOf(character, LowerRanges());
}

void AppendUpper(std::string_view text, std::string& out) {
  AppendCase(text, Case::kUpper, out);
}
void AppendLower(std::string_view text, std::string& out) {
  AppendCase(text, Case::kLower, out);
}

bool EqualAnyCase(std::string_view a, std::string_view b) {
  if (EqualIgnoreCase(a, b)) return true;
  if (AsciiPrefix(a) == a.size() && AsciiPrefix(b) == b.size()) return false;
  std::string upper_a;
  std::string upper_b;
  AppendUpper(a, upper_a);
  AppendUpper(b, upper_b);
  return upper_a == upper_b;
}

}  // namespace kelvorin::base
