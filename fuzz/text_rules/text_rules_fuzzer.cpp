// The three cutting rules against the same rules byte by byte. Input: number of separators, the
// separators, the delimiter, two breaks, and the record.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "base/code_page.h"
#include "tests/textsource/slow_twin.h"
#include "textsource/field_splitter.h"

using namespace kelvorin;

namespace {

void Compare(const textsource::SplitRules& rules, std::string record,
             const tests::Fields& expected) {
  textsource::FieldValues values;
  const bool fits = rules.Split(record, values).ok();
  bool same = fits == (expected.size() <= base::kMaxFields) &&
              values.count() == std::min(expected.size(), base::kMaxFields);
  for (std::size_t i = 0; same && i < values.count(); ++i) same = values[i] == expected[i];
  if (same) return;
  std::fprintf(stderr, "rule %d cuts differently\n", static_cast<int>(rules.rule()));
  std::abort();
}

/// The two columns of a line of UTF-8, counted in characters.
tests::Fields Characters(std::string_view record, std::size_t first, std::size_t second) {
  const std::string_view to_second = base::CutToCharacters(record, second);
  const std::string_view to_first = base::CutToCharacters(record, first);
  return {std::string(to_first), std::string(to_second.substr(to_first.size()))};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 8) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string_view separators = input.substr(1, data[0] % 4);
  const char delimiter = input[4];
  const auto first = static_cast<std::uint16_t>(data[5]);
  const auto second = static_cast<std::uint16_t>(first + 1 + data[6]);
  const std::string record(input.substr(7));

  textsource::BreakList breaks;
  static_cast<void>(breaks.AddFixedBreak(second));
  static_cast<void>(breaks.AddFixedBreak(first));
  static_cast<void>(base::SetAnsiPage(1252).ok());  // every byte a character
  Compare(textsource::SplitRules::Delimited(separators, delimiter), record,
          tests::SlowDelimited(record, separators, delimiter));
  Compare(textsource::SplitRules::Fixed(breaks), record, tests::SlowFixed(record, {first, second}));
  Compare(textsource::SplitRules::HtmlTags(), record, tests::SlowHtml(record));
  static_cast<void>(base::SetAnsiPage(base::kUtf8Page).ok());
  Compare(textsource::SplitRules::Fixed(breaks), record, Characters(record, first, second));
  // What has no slow twin must at least stay inside its record.
  textsource::FieldValues values;
  std::string copy = record;
  static_cast<void>(textsource::SplitRules::HtmlCells().Split(copy, values).ok());
  copy = record;
  static_cast<void>(
      textsource::SplitRules::Delimited(
          separators, delimiter, {.quotes_at_start = true, .merge_separators = data[0] >= 128})
          .Split(copy, values)
          .ok());
  for (std::size_t i = 0; i < values.count(); ++i) {
    const bool inside = values[i].data() >= copy.data() &&
                        values[i].data() + values[i].size() <= copy.data() + copy.size();
    if (!inside) std::abort();
  }
  return 0;
}
