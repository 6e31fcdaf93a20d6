#include "textsource/field_splitter.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "textsource/html_cells.h"

namespace kelvorin::textsource {
namespace {

std::string_view Slice(const char* from, const char* to) noexcept {
  return {from, static_cast<std::size_t>(to - from)};
}

constexpr std::uint64_t kOnes = 0x0101010101010101;

/// The high bit of the lowest byte that is 0, and perhaps of bytes above it.
constexpr std::uint64_t ZeroBytes(std::uint64_t eight) noexcept {
  return (eight - kOnes) & ~eight & (0x80 * kOnes);
}

unsigned char ToByte(char c) noexcept {
  return static_cast<unsigned char>(c);
}

}  // namespace

SplitRules SplitRules::Delimited(std::string_view separators, char delimiter,
                                 DelimitedOptions options) {
  SplitRules rules;
  rules.rule_ = CutRule::kDelimited;
  rules.delimiter_ = delimiter;
  options.quotes_at_start = options.quotes_at_start || options.merge_separators;
  rules.options_ = options;
  if (delimiter != 0 && !options.quotes_at_start)
    rules.kinds_[ToByte(delimiter)] = Kind::kDelimiter;
  const bool utf8 = base::AnsiPage().is_utf8();
  for (std::size_t at = 0; at < separators.size();) {
    const std::size_t from = at++;
    Kind& kind = rules.kinds_[ToByte(separators[from])];
    std::size_t behind = from;
    if (utf8 && base::DecodeUtf8(separators, behind) != base::kInvalidCharacter &&
        behind > from + 1) {
      at = behind;
      rules.wide_separator_ = separators.substr(from, behind - from);
      if (kind == Kind::kPlain) kind = Kind::kWideSeparator;
    } else {
      kind = Kind::kSeparator;
    }
  }
  rules.NoteMarks();
  return rules;
}

void SplitRules::NoteMarks() noexcept {
  std::size_t count = 0;
  for (std::size_t byte = 0; byte < kinds_.size(); ++byte) {
    if (kinds_[byte] == Kind::kPlain) continue;
    if (count == marks_.size()) return;
    std::fill(marks_.begin() + static_cast<std::ptrdiff_t>(count++), marks_.end(), kOnes * byte);
  }
  few_marks_ = count != 0 && std::endian::native == std::endian::little;
}

SplitRules SplitRules::Fixed(BreakList breaks, bool in_bytes) {
  SplitRules rules;
  rules.rule_ = CutRule::kFixed;
  rules.in_bytes_ = in_bytes || !base::AnsiPage().is_utf8();
  breaks.CompactAndSort();
  rules.break_count_ = breaks.count();
  for (std::size_t i = 0; i < rules.break_count_; ++i) rules.breaks_[i] = breaks[i];
  return rules;
}

SplitRules SplitRules::HtmlTags() {
  SplitRules rules;
  rules.rule_ = CutRule::kHtmlTags;
  return rules;
}

SplitRules SplitRules::HtmlCells() {
  SplitRules rules = HtmlTags();
  rules.html_cells_ = true;
  return rules;
}

Status SplitRules::Split(std::span<char> record, FieldValues& fields) const {
  fields.Clear();
  char* const begin = record.data();
  char* const end = begin + record.size();
  bool fits = true;
  switch (rule_) {
    case CutRule::kDelimited:
      fits = options_.quotes_at_start ? SplitQuotedAtStart(begin, end, fields)
                                      : SplitDelimited(begin, end, fields);
      break;
    case CutRule::kFixed:
      SplitFixed({begin, record.size()}, fields);
      break;
    case CutRule::kHtmlTags:
      fits = html_cells_ ? CutHtmlCells(record, fields) : SplitHtmlTags(begin, end, fields);
      break;
  }
  if (trim_) {
    for (std::size_t i = 0; i < fields.count(); ++i) fields.Set(i, base::Trim(fields[i]));
  }
  if (fits || ignore_extra_) return {};
  return Status(
      Code::kOutOfRange,
      "The record has more than 251 fields. Are other separators or columns meant "
      "(--separators, --breaks)? With --ignore-extra-fields the first 251 are imported, or "
      "those of them that --map names");
}

// Passes over plain characters, eight at a time, up to a mark or to the last few.
char* SplitRules::PassPlain(char* at, char* end) const noexcept {
  for (std::uint64_t eight; end - at >= 8; at += 8) {
    std::memcpy(&eight, at, 8);
    const std::uint64_t found = ZeroBytes(eight ^ marks_[0]) | ZeroBytes(eight ^ marks_[1]);
    if (found != 0) return at + std::countr_zero(found) / 8;
  }
  return at;
}

// Moves `p` to the next separator, delimiter or to `end`; the result is the separator's size in
// bytes, 0 where there is none.
std::size_t SplitRules::NextMark(char*& p, char* end) const noexcept {
  char* at = p;  // in a register: a character read through `p` might be `p`
  Kind kind = Kind::kPlain;
  std::size_t size = 0;
  if (few_marks_) at = PassPlain(at, end);
  for (; at != end; ++at) {
    kind = kinds_[ToByte(*at)];
    if (kind == Kind::kPlain) [[likely]]
      continue;
    if (kind == Kind::kSeparator) size = 1;
    if (kind == Kind::kWideSeparator) {
      if (!Slice(at, end).starts_with(wide_separator_)) continue;
      size = wide_separator_.size();
    }
    break;
  }
  p = at;
  return size;
}

bool SplitRules::SplitDelimited(char* p, char* end, FieldValues& fields) const {
  for (;;) {
    char* start = p;
    std::size_t separator = NextMark(p, end);
    if (p != end && separator == 0) {
      char* field_end = p;
      p = TakeQuoted(p, end, start, field_end, fields);
      if (!fields.Add(Slice(start, field_end))) return false;
      separator = NextMark(p, end);
    } else if (!fields.Add(Slice(start, p))) {
      return false;
    }
    if (p == end) return true;
    p += separator;
  }
}

// Takes the rest of a field from its first delimiter at `p` on and closes the gaps that delimiters
// leave. `start` and `field_end` hold the field's text; the result is the separator behind it, or
// `end`.
char* SplitRules::TakeQuoted(char* p, char* end, char*& start, char*& field_end,
                             FieldValues& fields) const {
  char* out = p;
  if (start == p) start = out = p + 1;  // a field quoted from its start needs no move
  ++p;
  for (;;) {
    // Inside quotes: up to the next delimiter.
    auto* close = static_cast<char*>(std::memchr(p, delimiter_, static_cast<std::size_t>(end - p)));
    char* const stop = close ? close : end;
    if (out != p) std::memmove(out, p, static_cast<std::size_t>(stop - p));
    out += stop - p;
    if (!close) {
      field_end = out;
      fields.set_left_open();
      return end;
    }
    p = close + 1;
    if (p != end && *p == delimiter_) {  // doubled: stands for one
      *out++ = delimiter_;
      ++p;
      continue;
    }
    // Outside quotes again: text may follow, and another delimiter opens quotes once more.
    char* const text = p;
    const std::size_t separator = NextMark(p, end);
    std::memmove(out, text, static_cast<std::size_t>(p - text));
    out += p - text;
    if (p == end || separator != 0) {
      field_end = out;
      return p;
    }
    ++p;
  }
}

// Delimited text whose delimiters count at a field's start only, or whose separators run together.
bool SplitRules::SplitQuotedAtStart(char* p, char* end, FieldValues& fields) const {
  const bool quotes = delimiter_ != 0 && kinds_[ToByte(delimiter_)] != Kind::kSeparator;
  const auto pass_separators = [&] {
    for (char* at = p; options_.merge_separators && p != end; p = at) {
      const std::size_t size = NextMark(at, end);
      if (at != p || size == 0) return;
      at += size;
    }
  };
  pass_separators();
  for (;;) {
    char* start = p;
    char* field_end = nullptr;
    std::size_t separator = 0;
    if (quotes && p != end && *p == delimiter_) {
      if (TakeQuotedStart(p, end, start, field_end)) {
        char* const tail = p;
        separator = NextMark(p, end);
        std::memmove(field_end, tail, static_cast<std::size_t>(p - tail));
        field_end += p - tail;
        if (p != tail) fields.set_loose();
      } else {
        fields.set_left_open();
        ++p;  // an ordinary character
      }
    }
    if (field_end == nullptr) {
      separator = NextMark(p, end);
      field_end = p;
    }
    if (!fields.Add(Slice(start, field_end))) return false;
    if (p == end) return true;
    p += separator;
    if (options_.merge_separators) {
      pass_separators();
      if (p == end) return true;
    }
  }
}

// A field in quotes from the delimiter at `p` on; `p` moves behind the closing one. False, with
// nothing changed, when none closes.
bool SplitRules::TakeQuotedStart(char*& p, char* end, char*& start, char*& field_end) const {
  const auto find = [&](char* from) {
    return static_cast<char*>(std::memchr(from, delimiter_, static_cast<std::size_t>(end - from)));
  };
  const auto doubled = [&](const char* at) { return at + 1 != end && at[1] == delimiter_; };
  char* first = find(p + 1);
  char* close = first;
  while (close != nullptr && doubled(close)) close = find(close + 2);
  if (close == nullptr) return false;
  start = p + 1;
  char* out = first;
  for (char* from = first; from != close;) {  // each doubled delimiter stands for one
    char* const next = find(from + 2);
    std::memmove(out, from + 1, static_cast<std::size_t>(next - from - 1));
    out += next - from - 1;
    from = next;
  }
  field_end = out;
  p = close + 1;
  return true;
}

void SplitRules::SplitFixed(std::string_view record, FieldValues& fields) const {
  // Up to its first character of several bytes a line's characters are its bytes.
  const std::size_t plain = in_bytes_ ? record.size() : base::AsciiPrefix(record);
  std::size_t from = 0;            // in bytes
  std::size_t from_character = 0;  // the same place
  for (std::size_t i = 0; i < break_count_; ++i) {
    const std::size_t position = breaks_[i];
    std::size_t to = std::min(position, record.size());
    if (to > plain) {
      const std::size_t count = position - std::min(position, from_character);
      to = from + base::CutToCharacters(record.substr(from), count).size();
    }
    static_cast<void>(fields.Add(record.substr(from, to - from)));  // no more than 251 breaks
    from = to;
    from_character = position;
  }
}

// The text of a field is what stands between the last tag's end and a closing tag. A closing tag at
// the record's very first position ends no field; the end of any tag discards what was gathered.
bool SplitRules::SplitHtmlTags(const char* p, const char* end, FieldValues& fields) {
  const char* const begin = p;
  while (p != end) {
    const char* const text = p;
    const auto* tag =
        static_cast<const char*>(std::memchr(p, '<', static_cast<std::size_t>(end - p)));
    if (!tag) return true;
    if (tag != begin && tag + 1 != end && tag[1] == '/' && !fields.Add(Slice(text, tag))) {
      return false;
    }
    const auto* close =
        static_cast<const char*>(std::memchr(tag, '>', static_cast<std::size_t>(end - tag)));
    if (!close) return true;
    p = close + 1;
  }
  return true;
}

bool SplitRules::LeavesDelimiterOpen(std::string_view record) const {
  if (rule_ != CutRule::kDelimited) return false;
  std::string copy(record);
  FieldValues fields;
  static_cast<void>(Split(copy, fields).ok());  // what is behind the 251st field does not count
  return fields.left_open();
}

}  // namespace kelvorin::textsource
