#include "values/locale_options.h"

#include <string>

#include "base/M_STRING.h"

namespace kelvorin::values {
namespace {

/// A date pattern of the system as the order of its letters, "dmy", and its first sign.
struct DatePattern {
  std::string order;
  char separator = '-';
};

DatePattern ReadPattern(std::string_view format) {
  DatePattern pattern;
  bool separated = false;
  for (std::size_t at = 0; at < format.size(); ++at) {
    if (format[at] != '%') {
      const bool usable = std::string_view("/-. ").find(format[at]) != std::string_view::npos;
      if (usable && !separated) {
        pattern.separator = format[at];
        separated = true;
      }
      continue;
    }
    // Flags and modifiers between the sign and its letter do not change the order.
    do {
      ++at;
    } while (at < format.size() &&
             std::string_view("-_0^#EO").find(format[at]) != std::string_view::npos);
    if (at == format.size()) break;
    switch (format[at]) {
      case 'd':
      case 'e':
        pattern.order += 'd';
        break;
      case 'm':
      case 'b':
      case 'B':
      case 'h':
        pattern.order += 'm';
        break;
      case 'y':
      case 'Y':
        pattern.order += 'y';
        break;
      case 'D':
        return {"mdy", '/'};
      case 'F':
        return {"ymd", '-'};
      default:
        break;
    }
  }
  return pattern;
}

/// The thousands separator as one byte: the no-break blanks stand as a blank, the curved apostrophe
/// as a straight one. Nothing when it is longer than a byte otherwise.
char ThousandsOf(std::string_view separator) noexcept {
  for (const std::string_view blank : {"\xC2\xA0", "\xE2\x80\xAF", "\xA0"}) {
    if (separator == blank) return ' ';
  }
  if (separator == "\xE2\x80\x99") return '\'';
  return separator.size() == 1 ? separator.front() : '\0';
}

}  // namespace

FormatOptions OptionsFrom(const base::LocaleFacts& facts) {
  // The C locale's, which also stands for one that the system does not know. The few languages that
  // really write so get ISO dates as well: better a refused date than one read in an order that
  // nobody chose.
  constexpr std::string_view kNobodys = "%m/%d/%y";
  FormatOptions options;
  if (facts.date_format != kNobodys) {
    const DatePattern pattern = ReadPattern(facts.date_format);
    options.date_separator = pattern.separator;
    if (pattern.order == "dmy") {
      options.date_order = DateOrder::kDayMonthYear;
    } else if (pattern.order == "mdy") {
      options.date_order = DateOrder::kMonthDayYear;
    }
  }
  if (facts.decimal_point.size() == 1) options.decimal = facts.decimal_point.front();
  options.thousands = ThousandsOf(facts.thousands_sep);
  const std::string_view currency = base::Trim(facts.currency_symbol);
  if (!currency.empty()) options.currency = currency;
  return options;
}

FormatOptions LocaleOptions() {
  return OptionsFrom(base::ReadLocaleFacts());
}

}  // namespace kelvorin::values
