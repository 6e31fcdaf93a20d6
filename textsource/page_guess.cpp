#include "textsource/page_guess.h"

#include <algorithm>
#include <array>

#include "base/M_STRING.h"
#include "base/case_map.h"
#include "base/code_page.h"
#include "textsource/text_input.h"

namespace kelvorin::textsource {
namespace {

// In the order in which they are met most; a later one must fit better to be taken.
constexpr int kPages[] = {1252, 1250, 1251,  850,   852,   866,   1253,  1254, 437,
                          1257, 1255, 28592, 28595, 28597, 20866, 10000, 1256};

enum class Sort : std::uint8_t { kOther, kLower, kUpper, kLetter };

/// Letters that are usual in the languages that a page serves; others of the page are rare.
constexpr std::u32string_view kUsual =
    U"äöüßÄÖÜéèêëàâçîïôùûœÉÈÀáíóúñÑåøæÅØÆãõąćęłńśźżŁŚŻčďěňřšťůžČŘŠŽőűşğıİ€";

Sort SortOf(char32_t c) noexcept {
  if (c < 0x80) {
    const char upper = base::ToUpperAscii(static_cast<char>(c));
    if (upper < 'A' || upper > 'Z') return Sort::kOther;
    return static_cast<char>(c) == upper ? Sort::kUpper : Sort::kLower;
  }
  const bool hebrew_or_arabic = c >= 0x5D0 && c < 0x700;
  if (hebrew_or_arabic) return Sort::kLetter;
  const bool letters = (c >= 0xC0 && c < 0x250 && c != 0xD7 && c != 0xF7) ||
                       (c >= 0x370 && c < 0x530) || c == 0xAA || c == 0xBA;
  if (!letters) return Sort::kOther;
  if (c == 0xDF) return Sort::kLower;
  if (c < 0x180) {
    if (c < 0x100) return c >= 0xE0 ? Sort::kLower : Sort::kUpper;
    const bool odd_is_upper = (c >= 0x139 && c <= 0x148) || c >= 0x179;
    return (c % 2 == 0) != odd_is_upper ? Sort::kUpper : Sort::kLower;
  }
  if (c >= 0x410) return c < 0x430 ? Sort::kUpper : Sort::kLower;
  return c >= 0x3AC ? Sort::kLower : Sort::kUpper;
}

/// How likely a page is by one of its characters among its neighbours.
int Weigh(char32_t c, Sort before, Sort after, int high_neighbours) noexcept {
  const Sort sort = SortOf(c);
  if (sort == Sort::kOther) {
    if (c < 0xA0) return -6;                   // a control character
    if (c >= 0x2500 && c < 0x25A0) return -3;  // a line or box
    const bool in_word = before != Sort::kOther && after != Sort::kOther;
    return in_word && c != 0x2019 ? -4 : 0;
  }
  if (sort == Sort::kUpper && before == Sort::kLower) return -4;
  if (before == Sort::kOther && after == Sort::kOther) return -1;
  // Letters of a script of its own stand among their like.
  if (c >= 0x370 || sort == Sort::kLetter) return high_neighbours > 0 ? 2 : -2;
  if (high_neighbours > 0) return high_neighbours > 1 ? -2 : 1;  // Latin ones stand among ASCII
  return kUsual.find(c) != kUsual.npos ? 3 : 1;
}

int Score(std::string_view text, const base::CodePage& page) {
  std::array<char32_t, 256> characters;
  std::array<Sort, 256> sorts;
  for (std::size_t i = 0; i < 256; ++i) {
    characters[i] = page.ToUnicode(static_cast<unsigned char>(i));
    sorts[i] = SortOf(characters[i]);
  }
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const auto sort_at = [&](std::size_t at) {
    return at < text.size() ? sorts[byte(at)] : Sort::kOther;
  };
  int score = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (byte(at) < 0x80) continue;
    const auto high = [&](std::size_t i) { return i < text.size() && byte(i) >= 0x80; };
    score += Weigh(characters[byte(at)], at > 0 ? sort_at(at - 1) : Sort::kOther, sort_at(at + 1),
                   (at > 0 && high(at - 1) ? 1 : 0) + (high(at + 1) ? 1 : 0));
  }
  return score;
}

/// Number of the line in which a byte of the file stands; `block` is overwritten.
Result<std::int64_t> LineOf(const TextInput& input, std::uint64_t offset, std::string& block) {
  std::int64_t line_feeds = 0;
  std::int64_t returns = 0;
  for (std::uint64_t at = 0; at < offset;) {
    const auto wanted = std::min<std::uint64_t>(block.size(), offset - at);
    const Result<std::size_t> got =
        input.ReadAt(at, std::span(block).first(static_cast<std::size_t>(wanted)));
    if (!got.ok()) return got.status();
    if (*got == 0) break;
    const std::string_view text(block.data(), *got);
    line_feeds += std::count(text.begin(), text.end(), '\n');
    returns += std::count(text.begin(), text.end(), '\r');
    at += *got;
  }
  return std::max(line_feeds, returns) + 1;
}

}  // namespace

std::size_t Utf8Prefix(std::string_view text) noexcept {
  std::size_t at = 0;
  for (;;) {
    at += base::AsciiPrefix(text.substr(at));
    if (at == text.size()) return at;
    const std::size_t from = at;
    if (base::DecodeUtf8(text, at) == base::kInvalidCharacter) return from;
  }
}

std::size_t Utf8Fault(std::string_view text, bool more_follows) noexcept {
  const std::size_t prefix = Utf8Prefix(text);
  if (prefix == text.size()) return text.npos;
  std::size_t behind = prefix;
  static_cast<void>(base::DecodeUtf8(text, behind));
  const auto lead = static_cast<unsigned char>(text[prefix]);
  const bool cut_off = behind == text.size() && lead >= 0xC2 && lead <= 0xF4;
  return more_follows && cut_off ? text.npos : prefix;
}

int GuessPage(std::string_view text) {
  int best = kPages[0];
  int best_score = 0;
  bool first = true;
  for (const int number : kPages) {
    const base::CodePage* page = base::FindCodePage(number);
    if (page == nullptr) continue;
    const int score = Score(text, *page);
    if (first || score > best_score) {
      best = number;
      best_score = score;
    }
    first = false;
  }
  return best;
}

Result<ForeignText> FindForeignText(const std::string& file_name, bool unmarked_utf16) {
  constexpr std::size_t kBlockBytes = std::size_t{256} * 1024;
  Result<TextInput> input = TextInput::Open(file_name, unmarked_utf16);
  if (!input.ok()) return input.status();
  ForeignText found;
  if (input->utf16_page() != 0) return found;
  std::string block(kBlockBytes, '\0');
  for (std::uint64_t at = 0;;) {
    const Result<std::size_t> got = input->ReadAt(at, block);
    if (!got.ok()) return got.status();
    const std::string_view text(block.data(), *got);
    const bool last = *got < block.size();
    // A character that the block cuts off is looked at again with the next one.
    const std::size_t whole = Utf8Prefix(text);
    if (whole < text.size() && Utf8Fault(text.substr(whole), !last) != text.npos) {
      found.page = GuessPage(text);
      const Result<std::int64_t> line = LineOf(*input, at + whole, block);
      if (!line.ok()) return line.status();
      found.line = *line;
      return found;
    }
    if (last) return found;
    at += whole;
  }
}

}  // namespace kelvorin::textsource
