#include <algorithm>
#include <array>
#include <optional>

#include "base/language.h"

namespace kelvorin::base {
namespace {

// The first that fits counts: one that says more stands before one that says less.
constexpr std::string_view kReasons[] = {
    "'%1' is no number",
    "'%1' has a fraction, which a field of type %2 cannot hold",
    "'%1' is too small for type %2: it would become 0",
    "'%1' is out of range for type %2 (%3)",
    "'%1' is out of range for type %2",
    "'%1' is neither True nor False",
    "'%1' is no GUID of the form {00000000-0000-0000-0000-000000000000}",
    "'%1' is no row of hexadecimal bytes",
    "'%1' is no date in the order %2",
    "'%1' is no time of day of the form hh:mm:ss",
    "%1 has a fraction, and field '%2' holds whole numbers",
    "%1 would become 0 in field '%2', which has %3 decimals",
    "%1 would become 0 in field '%2'",
    "%1 is a time of day without a date, and field '%2' holds dates",
    "'%1' would be kept as '%2', and the import is to keep every value as it is",
    "field '%1' of table '%2' takes no text of length zero",
    "field '%1' of table '%2' must not be Null",
    "field '%1' takes no Null",
    "field '%1' cannot hold %2: it has room for %3 characters, %4 of them decimals",
    "field '%1' cannot hold a date of the year %2",
    "field '%1' cannot hold a value that is no number",
    "field '%1' cannot hold %2",
    "field '%1' holds %2 bytes, the value has %3",
    "field '%1' holds %2 bytes, not %3",
    "field '%1' holds %2 characters, not %3",
    "field '%1' takes dates of the years 100 to 9999",
    "index '%1' of table '%2' holds these values already",
    "an index of table '%1' holds these values already",
    "index '%1' would hold the key of record %2 twice",
    "index '%1' of table '%2' would hold the same key twice",
    "index '%1' of table '%2' takes no Null",
    "table '%1' has no index '%2'",
    "table '%1' exists already (file '%2')",
    "'%1' is no name for a table file",
    "there is no table '%1' in folder '%2'",
    "'%1': the database password is not right",
    "table file '%1' is encrypted and can be opened with its password only",
    "the password given is not that of table file '%1'",
    "'%1' is in use by another program, which holds '%2'",
    "The source has 1 column; nothing is assigned to fields that are mapped to others: %1",
    "The source has %1 columns; nothing is assigned to fields that are mapped to others: %2",
    ("Source and target are the same table '%1': its records can be updated, but not appended "
     "to it or deleted first"),
    ("The records would be updated in the order of the index '%1', whose field '%2' the "
     "import changes: use the key lookup, or no index"),
    "The index '%1' has %2 key fields, and a record can be looked up by %3 of them at most",
    "The index '%1' has no key fields to look up",
    "The database '%1' is not there any more",
    "The settings file '%1' has no setting '%2'",
    "The table '%1' has been changed: its field '%2' is not where it was. Choose the table again.",
};

constexpr std::size_t kMostData = 4;  // pieces of data in one of them

using Data = std::array<std::string_view, kMostData>;

// The data that makes the sentence out of the pattern. Its pieces stand in their order, and text
// between any two of them.
std::optional<Data> TakeApart(std::string_view pattern, std::string_view reason) {
  Data data;
  std::size_t begun = 0;  // of the data under way
  std::size_t number = 0;
  for (;;) {
    const std::size_t end = pattern.find('%');
    const std::string_view words = pattern.substr(0, end);
    const bool last = end == std::string_view::npos;
    std::size_t at = 0;
    if (number == 0) {
      if (!reason.starts_with(words)) return std::nullopt;
    } else {
      at = last ? reason.size() - std::min(words.size(), reason.size()) : reason.find(words, begun);
      if (at == std::string_view::npos || at < begun || reason.substr(at, words.size()) != words)
        return std::nullopt;
      data[number - 1] = reason.substr(begun, at - begun);
    }
    if (last)
      return number == 0 && reason.size() != words.size() ? std::nullopt : std::optional(data);
    begun = at + words.size();
    number = static_cast<std::size_t>(pattern[end + 1] - '0');
    pattern.remove_prefix(end + 2);
  }
}

}  // namespace

std::span<const std::string_view> ReasonPatterns() noexcept {
  return kReasons;
}

std::string TrReason(std::string_view reason) {
  for (const std::string_view pattern : kReasons)
    if (const std::optional<Data> data = TakeApart(pattern, reason))
      return Tr(pattern, {(*data)[0], (*data)[1], (*data)[2], (*data)[3]});
  return std::string(reason);
}

}  // namespace kelvorin::base
