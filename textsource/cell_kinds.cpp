#include "textsource/cell_kinds.h"

#include <algorithm>
#include <cstddef>

#include "base/M_STRING.h"

namespace kelvorin::textsource {
namespace {

using base::IsDigit;

/// Walks over a value from its front.
struct Cursor {
  std::string_view rest;

  bool Take(char wanted) noexcept {
    if (rest.empty() || rest.front() != wanted) return false;
    rest.remove_prefix(1);
    return true;
  }
  bool TakeOneOf(std::string_view set) noexcept {
    if (rest.empty() || set.find(rest.front()) == set.npos) return false;
    rest.remove_prefix(1);
    return true;
  }
  bool TakeText(std::string_view text) noexcept {
    if (!rest.starts_with(text)) return false;
    rest.remove_prefix(text.size());
    return true;
  }
  std::size_t TakeDigits() noexcept {
    std::size_t count = 0;
    while (count < rest.size() && IsDigit(rest[count])) ++count;
    rest.remove_prefix(count);
    return count;
  }
};

void TakeCurrency(Cursor& in) noexcept {
  for (const std::string_view sign : {"$", "\xE2\x82\xAC", "\xC2\xA3", "EUR", "USD", "CHF"}) {
    if (in.TakeText(sign)) break;
  }
  while (in.Take(' ')) {
  }
}

bool IsNumber(std::string_view value) noexcept {
  Cursor in{value};
  static_cast<void>(in.TakeOneOf("+-"));
  TakeCurrency(in);
  static_cast<void>(in.TakeOneOf("+-"));
  const std::size_t lead = in.TakeDigits();
  char group = 0;
  std::size_t groups = 0;
  std::size_t decimals = 0;
  while (!in.rest.empty() && std::string_view(".,'").find(in.rest.front()) != std::string::npos) {
    const char sign = in.rest.front();
    in.rest.remove_prefix(1);
    const std::size_t digits = in.TakeDigits();
    if (digits == 3 && lead >= 1 && lead <= 3 && (group == 0 || group == sign)) {
      group = sign;
      ++groups;
      continue;
    }
    if (sign == group && groups > 1) return false;
    decimals = digits;
    if (lead + digits == 0) return false;
    break;
  }
  if (lead + groups + decimals == 0) return false;
  if (in.TakeOneOf("eE")) {
    static_cast<void>(in.TakeOneOf("+-"));
    if (in.TakeDigits() == 0) return false;
  }
  while (in.Take(' ')) {
  }
  static_cast<void>(in.Take('%'));
  if (!in.rest.empty()) TakeCurrency(in);
  return in.rest.empty();
}

bool TakeTime(Cursor& in) noexcept {
  const std::size_t hours = in.TakeDigits();
  if (hours < 1 || hours > 2 || !in.Take(':') || in.TakeDigits() != 2) return false;
  if (in.Take(':')) {
    if (in.TakeDigits() != 2) return false;
    if (in.TakeOneOf(".,")) static_cast<void>(in.TakeDigits());
  }
  static_cast<void>(in.Take(' '));
  if (in.TakeOneOf("aApP")) return in.TakeOneOf("mM");
  if (in.TakeOneOf("+-")) {
    static_cast<void>(in.TakeDigits());
    if (in.Take(':')) static_cast<void>(in.TakeDigits());
  } else {
    static_cast<void>(in.Take('Z'));
  }
  return true;
}

bool TakeDate(Cursor& in) noexcept {
  const std::size_t first = in.TakeDigits();
  if (in.rest.empty()) return false;
  const char sign = in.rest.front();
  if (first < 1 || first > 4 || first == 3 || !in.TakeOneOf("-/.")) return false;
  const std::size_t second = in.TakeDigits();
  if (second < 1 || second > 2 || !in.Take(sign)) return false;
  const std::size_t third = in.TakeDigits();
  const bool year_first = first == 4 && third >= 1 && third <= 2;
  const bool year_last = first <= 2 && (third == 2 || third == 4);
  return year_first || year_last;
}

bool IsWordByte(char c) noexcept {
  const char upper = base::ToUpperAscii(c);
  return IsDigit(c) || (upper >= 'A' && upper <= 'Z') || static_cast<unsigned char>(c) >= 0x80;
}

bool IsUnbalanced(std::string_view value) noexcept {
  for (const std::string_view pair : {"()", "[]", "{}"}) {
    if (std::count(value.begin(), value.end(), pair[0]) !=
        std::count(value.begin(), value.end(), pair[1]))
      return true;
  }
  return false;
}

}  // namespace

CellKind KindOf(std::string_view value) noexcept {
  value = base::Trim(value, base::kBlankOrTab);
  if (value.empty()) return CellKind::kEmpty;
  constexpr std::size_t kLongest = 40;  // of anything but text
  if (value.size() > kLongest) return CellKind::kText;
  if (IsNumber(value)) return CellKind::kNumber;
  Cursor in{value};
  if (TakeDate(in)) {
    if (in.rest.empty()) return CellKind::kDate;
    if (in.TakeOneOf("T ") && TakeTime(in) && in.rest.empty()) return CellKind::kDate;
    return CellKind::kText;
  }
  in = {value};
  return TakeTime(in) && in.rest.empty() ? CellKind::kTime : CellKind::kText;
}

bool LooksCut(std::string_view value, char separator) noexcept {
  value = base::Trim(value, base::kBlankOrTab);
  if (value.empty()) return false;
  // Most values are words and numbers: nothing in them could be wrong.
  if (std::all_of(value.begin(), value.end(), IsWordByte)) return false;
  const bool address = value.find("://") != value.npos && value.find(' ') == value.npos;
  if (address) return false;
  for (const char quote : {'"', '\''}) {
    if (value.front() != quote) continue;
    if (quote == '"' || value.size() == 1 || value.find(quote, 1) == value.npos) return true;
    return value.back() == quote;  // its quotes were kept
  }
  if (IsUnbalanced(value) || value.find_first_of("\r\n") != value.npos) return true;
  // Marks that stand at a value's edge, and those between two characters without a blank.
  constexpr std::string_view kMarks = ";|^~\t\x1F,:";
  int colons = 0;
  bool asked = false;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    if (c == separator || kMarks.find(c) == kMarks.npos) continue;
    const bool edge = i == 0 || i + 1 == value.size();
    const bool inside = !edge && value[i + 1] != ' ' && value[i - 1] != ' ';
    const bool padded = !edge && value[i + 1] == ' ' && value[i - 1] == ' ' && c != ',' && c != ':';
    if (!edge && !inside && !padded) continue;
    // The decimals of a number with its unit.
    if (c == ',' && inside && IsDigit(value[i - 1]) && IsDigit(value[i + 1]) &&
        std::count(value.begin(), value.end(), ',') == 1)
      continue;
    if (c == ':') {
      ++colons;
      if (edge || colons > 1) asked = true;
    } else {
      asked = true;
    }
  }
  return asked && KindOf(value) == CellKind::kText;
}

}  // namespace kelvorin::textsource
