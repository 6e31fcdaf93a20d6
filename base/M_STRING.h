#pragma once
// Small operations on texts that are bytes: trimming, comparing, numbers in decimal, replacing. All
// look at ASCII only and never at the process's locale; letters of a code page are the business of
// `base/case_map.h`.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvorin::base {

inline constexpr std::string_view kBlank = " ";
inline constexpr std::string_view kBlankOrTab = " \t";

/// The view without the characters of `set` at its ends; blanks unless told otherwise.
std::string_view Trim(std::string_view text, std::string_view set = kBlank) noexcept;
std::string_view TrimLeft(std::string_view text, std::string_view set = kBlank) noexcept;
std::string_view TrimRight(std::string_view text, std::string_view set = kBlank) noexcept;

constexpr bool IsDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}
constexpr char ToUpperAscii(char c) noexcept {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
constexpr char ToLowerAscii(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
std::string UpperAscii(std::string_view text);
std::string LowerAscii(std::string_view text);

/// Equal when ASCII letters are compared without regard to case.
bool EqualIgnoreCase(std::string_view a, std::string_view b) noexcept;
bool StartsWithIgnoreCase(std::string_view text, std::string_view prefix) noexcept;

/// Appends the decimal text of `value`, "-" for negatives, no leading zeros.
void AppendDecimal(std::int64_t value, std::string& out);
std::string ToDecimal(std::int64_t value);

/// The number at the front of `text`, as profile files are read: blanks and tabs, a sign, digits up
/// to the first other character. 0 when there is no digit; what does not fit 64 bits becomes the
/// nearest value that does, so that a range check still sees it.
std::int64_t ParseInteger(std::string_view text) noexcept;
/// The number that the whole text spells (a sign and digits, nothing else), or nothing.
std::optional<std::int64_t> ParseWholeInteger(std::string_view text) noexcept;

/// `text` with every occurrence of `from` replaced, left to right; an empty `from` replaces
/// nothing.
std::string Replace(std::string_view text, std::string_view from, std::string_view to);

/// The pieces of `text` between the separators; one empty piece for an empty text. Views point into
/// `text`.
std::vector<std::string_view> SplitAt(std::string_view text, char separator);

}  // namespace kelvorin::base
