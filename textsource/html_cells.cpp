#include "textsource/html_cells.h"

#include <cstring>
#include <optional>
#include <string>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "textsource/html_entities.h"

namespace kelvorin::textsource {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::size_t kLongestEntity = 10;  // "thetasym", "#x10FFFF" and the signs around them
constexpr char32_t kHardBlank = 0xA0;

bool IsSpace(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

/// Whether the `<` at `at` opens a tag or a comment, so that it is no less-than sign.
bool OpensTag(std::string_view text, std::size_t at) noexcept {
  if (at + 1 >= text.size()) return false;
  const char next = base::ToUpperAscii(text[at + 1]);
  return next == '/' || next == '!' || (next >= 'A' && next <= 'Z');
}

/// The number of "#65" or "#x41", or 0.
char32_t NumberedCharacter(std::string_view name) noexcept {
  name.remove_prefix(1);
  const bool hex = !name.empty() && (name[0] == 'x' || name[0] == 'X');
  if (hex) name.remove_prefix(1);
  char32_t number = 0;
  for (const char c : name) {
    const char upper = base::ToUpperAscii(c);
    const bool letter = hex && upper >= 'A' && upper <= 'F';
    if (!base::IsDigit(c) && !letter) return 0;
    number = number * (hex ? 16 : 10) + static_cast<char32_t>(letter ? upper - 'A' + 10 : c - '0');
    if (number > 0x10FFFF) return 0;
  }
  return number;
}

/// The entity at the front of `text`, which begins with `&`: its character and its size with both
/// signs; nothing where there is none.
std::optional<std::pair<char32_t, std::size_t>> TakeEntity(std::string_view text) noexcept {
  const std::size_t end = text.substr(0, kLongestEntity + 1).find(';');
  if (end == kNone || end < 2) return std::nullopt;
  const std::string_view name = text.substr(1, end - 1);
  const char32_t character = name[0] == '#' ? NumberedCharacter(name) : FindHtmlEntity(name);
  if (character == 0 || (character >= 0xD800 && character < 0xE000)) return std::nullopt;
  return std::pair(character, end + 1);
}

/// Writes a cell's text over its source, which it never outgrows.
class CellText {
 public:
  explicit CellText(char* out) noexcept : begin_(out), out_(out) {}

  void Add(char c) noexcept {
    if (IsSpace(c)) {
      blank_ = true;
      return;
    }
    if (blank_ && out_ != begin_) *out_++ = ' ';
    blank_ = false;
    *out_++ = c;
  }
  /// Adds a character; false when the ANSI page does not have it.
  bool AddCharacter(char32_t character) {
    if (character == kHardBlank) {
      Add(' ');
      return true;
    }
    const base::CodePage& page = base::AnsiPage();
    if (!page.is_utf8()) {
      const auto byte = page.FromUnicode(character);
      if (byte) Add(static_cast<char>(*byte));
      return byte.has_value();
    }
    scratch_.clear();
    base::AppendUtf8(character, scratch_);
    for (const char c : scratch_) Add(c);
    return true;
  }
  std::string_view text() const noexcept {
    return {begin_, static_cast<std::size_t>(out_ - begin_)};
  }

 private:
  char* begin_;
  char* out_;
  bool blank_ = false;
  std::string scratch_;  // at most four bytes: never allocates
};

/// The text between two places of a row, cleared of tags in place.
std::string_view PlainText(std::span<char> row, std::size_t from, std::size_t to) {
  const std::string_view source(row.data(), to);
  CellText cell(row.data() + from);
  for (std::size_t at = from; at < to;) {
    const char c = source[at];
    if (c == '<') {
      if (IsHtmlTag(source, at, "br") || IsHtmlTag(source, at, "p")) cell.Add(' ');
      if (OpensTag(source, at)) {
        at = HtmlTagEnd(source, at);
        continue;
      }
    } else if (c == '&') {
      const auto entity = TakeEntity(source.substr(at));
      if (entity && cell.AddCharacter(entity->first)) {
        at += entity->second;
        continue;
      }
    }
    cell.Add(c);
    ++at;
  }
  return cell.text();
}

}  // namespace

bool IsHtmlTag(std::string_view text, std::size_t at, std::string_view name) noexcept {
  const std::size_t behind = at + 1 + name.size();
  if (behind >= text.size()) return false;
  if (!base::StartsWithIgnoreCase(text.substr(at + 1), name)) return false;
  const char c = text[behind];
  return c == '>' || c == '/' || IsSpace(c);
}

std::size_t FindHtmlTag(std::string_view text, std::string_view name, std::size_t from) noexcept {
  for (std::size_t at = text.find('<', from); at != kNone; at = text.find('<', at + 1)) {
    if (IsHtmlTag(text, at, name)) return at;
  }
  return kNone;
}

std::size_t HtmlTagEnd(std::string_view text, std::size_t at) noexcept {
  if (text.substr(at).starts_with("<!--")) {
    const std::size_t end = text.find("-->", at + 4);
    return end == kNone ? text.size() : end + 3;
  }
  char quote = 0;
  for (char before = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if ((c == '"' || c == '\'') && before == '=') {
      quote = c;
    } else if (c == '>') {
      return at + 1;
    }
    if (!IsSpace(c)) before = c;
  }
  return at;
}

bool CutHtmlCells(std::span<char> row, FieldValues& fields) {
  const std::string_view text(row.data(), row.size());
  std::size_t from = 0;  // of an open cell; 0 for none, since a tag precedes it
  for (std::size_t at = text.find('<'); at != kNone; at = text.find('<', at)) {
    const bool opens = IsHtmlTag(text, at, "td") || IsHtmlTag(text, at, "th");
    const bool ends = opens || IsHtmlTag(text, at, "/td") || IsHtmlTag(text, at, "/th") ||
                      IsHtmlTag(text, at, "/tr") || IsHtmlTag(text, at, "tr");
    const std::size_t behind = HtmlTagEnd(text, at);
    // The text is taken when its end is known, so that it may be written over.
    if (ends && from != 0) {
      if (!fields.Add(PlainText(row, from, at))) return false;
      from = 0;
    }
    if (opens) from = behind;
    at = OpensTag(text, at) ? behind : at + 1;
  }
  return from == 0 || fields.Add(PlainText(row, from, row.size()));
}

}  // namespace kelvorin::textsource
