#include "base/M_STRING.h"

#include <charconv>
#include <limits>

namespace kelvorin::base {

std::string_view TrimLeft(std::string_view text, std::string_view set) noexcept {
  const std::size_t first = text.find_first_not_of(set);
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

std::string_view TrimRight(std::string_view text, std::string_view set) noexcept {
  return text.substr(0, text.find_last_not_of(set) + 1);  // npos + 1 is 0: nothing is left
}

std::string_view Trim(std::string_view text, std::string_view set) noexcept {
  return TrimRight(TrimLeft(text, set), set);
}

std::string UpperAscii(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = ToUpperAscii(c);
  return result;
}

std::string LowerAscii(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = ToLowerAscii(c);
  return result;
}

bool EqualIgnoreCase(std::string_view a, std::string_view b) noexcept {
  return a.size() == b.size() && StartsWithIgnoreCase(a, b);
}

bool StartsWithIgnoreCase(std::string_view text, std::string_view prefix) noexcept {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (ToUpperAscii(text[i]) != ToUpperAscii(prefix[i])) return false;
  }
  return true;
}

void AppendDecimal(std::int64_t value, std::string& out) {
  char digits[20];  // "-9223372036854775808"
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  out.append(digits, end);
}

std::string ToDecimal(std::int64_t value) {
  std::string result;
  AppendDecimal(value, result);
  return result;
}

std::int64_t ParseInteger(std::string_view text) noexcept {
  text = TrimLeft(text, kBlankOrTab);
  const bool negative = text.starts_with('-');
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return 0;  // from_chars would take the second sign
  }
  std::int64_t value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec == std::errc::result_out_of_range) {
    using Limits = std::numeric_limits<std::int64_t>;
    return negative ? Limits::min() : Limits::max();
  }
  return value;
}

std::optional<std::int64_t> ParseWholeInteger(std::string_view text) noexcept {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  std::int64_t value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return value;
}

std::string Replace(std::string_view text, std::string_view from, std::string_view to) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0;;) {
    const std::size_t hit = from.empty() ? std::string_view::npos : text.find(from, at);
    result.append(text.substr(at, hit - at));  // npos - at takes the rest
    if (hit == std::string_view::npos) return result;
    result.append(to);
    at = hit + from.size();
  }
}

std::vector<std::string_view> SplitAt(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const std::size_t hit = text.find(separator);
    pieces.push_back(text.substr(0, hit));
    if (hit == std::string_view::npos) return pieces;
    text.remove_prefix(hit + 1);
  }
}

}  // namespace kelvorin::base
