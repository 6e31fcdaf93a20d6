#include "textsource/field_splitter.h"

#include <algorithm>
#include <cstring>

namespace kelvorin::textsource {
namespace {

std::string_view Slice(const char* from, const char* to) noexcept {
  return {from, static_cast<std::size_t>(to - from)};
}

unsigned char ToByte(char c) noexcept {
  return static_cast<unsigned char>(c);
}

}  // namespace

SplitRules SplitRules::Delimited(std::string_view separators, char delimiter) {
  SplitRules rules;
  rules.rule_ = CutRule::kDelimited;
  rules.delimiter_ = delimiter;
  if (delimiter != 0) rules.kinds_[ToByte(delimiter)] = Kind::kDelimiter;
  for (const char c : separators) rules.kinds_[ToByte(c)] = Kind::kSeparator;
  return rules;
}

SplitRules SplitRules::Fixed(BreakList breaks) {
  SplitRules rules;
  rules.rule_ = CutRule::kFixed;
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

Status SplitRules::Split(std::span<char> record, FieldValues& fields) const {
  fields.Clear();
  char* const begin = record.data();
  char* const end = begin + record.size();
  bool fits = true;
  switch (rule_) {
    case CutRule::kDelimited:
      fits = SplitDelimited(begin, end, fields);
      break;
    case CutRule::kFixed:
      SplitFixed(begin, record.size(), fields);
      break;
    case CutRule::kHtmlTags:
      fits = SplitHtmlTags(begin, end, fields);
      break;
  }
  if (fits) return {};
  return Status(Code::kOutOfRange, "The record has more than 251 fields");
}

bool SplitRules::SplitDelimited(char* p, char* end, FieldValues& fields) const {
  for (;;) {
    char* start = p;
    while (p != end && kinds_[ToByte(*p)] == Kind::kPlain) ++p;
    if (p != end && kinds_[ToByte(*p)] == Kind::kDelimiter) {
      char* field_end = p;
      p = TakeQuoted(p, end, start, field_end);
      if (!fields.Add(Slice(start, field_end))) return false;
    } else if (!fields.Add(Slice(start, p))) {
      return false;
    }
    if (p == end) return true;
    ++p;  // the separator
  }
}

// Takes the rest of a field from its first delimiter at `p` on and closes the gaps that delimiters
// leave. `start` and `field_end` hold the field's text; the result is the separator behind it, or
// `end`.
char* SplitRules::TakeQuoted(char* p, char* end, char*& start, char*& field_end) const {
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
      return end;
    }
    p = close + 1;
    if (p != end && *p == delimiter_) {  // doubled: stands for one
      *out++ = delimiter_;
      ++p;
      continue;
    }
    // Outside quotes again: text may follow, and another delimiter opens quotes once more.
    while (p != end && kinds_[ToByte(*p)] == Kind::kPlain) *out++ = *p++;
    if (p == end || kinds_[ToByte(*p)] == Kind::kSeparator) {
      field_end = out;
      return p;
    }
    ++p;
  }
}

void SplitRules::SplitFixed(const char* p, std::size_t size, FieldValues& fields) const {
  std::size_t from = 0;
  for (std::size_t i = 0; i < break_count_; ++i) {
    const std::size_t to = std::min<std::size_t>(breaks_[i], size);
    static_cast<void>(fields.Add({p + from, to - from}));  // no more than 251 breaks
    from = to;
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

bool SplitRules::LeavesDelimiterOpen(std::string_view record) const noexcept {
  bool in_quotes = false;
  for (const char c : record) {
    // A doubled delimiter closes and opens again, which comes to the same.
    if (in_quotes ? c == delimiter_ : kinds_[ToByte(c)] == Kind::kDelimiter) in_quotes = !in_quotes;
  }
  return in_quotes;
}

}  // namespace kelvorin::textsource
