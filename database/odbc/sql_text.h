#pragma once
// How a server wants names and values written in a statement. Whoever builds statements uses these
// functions and nothing else, so that no value can change the meaning of a statement. Used inside
// this room only.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "values/field_types.h"
#include "values/value.h"

namespace kelvorin::database::odbc {

struct SqlDialect {
  std::string identifier_quote = "\"";  // empty: names are written as they are
  bool backslash_escapes = false;       // the server takes "\" inside quoted text as an escape
};

/// A table or field name in the dialect's quotes; a quote inside is doubled. A name that could not
/// stand for itself (empty, with a character of code 0, or unquoted with other characters than
/// letters, digits, "_", "$", "#" and those beyond ASCII) fails with kInvalidArgument and appends
/// nothing.
Status AppendIdentifier(std::string_view name, const SqlDialect& dialect, std::string& out);

/// Text between single quotes, with quotes doubled and backslashes escaped where the server takes
/// them so. A NUL byte cannot be written: fails with kConversion.
Status AppendTextLiteral(std::string_view text, const SqlDialect& dialect, std::string& out);
/// The same for text that is known to hold no NUL byte.
void AppendQuoted(std::string_view text, const SqlDialect& dialect, std::string& out);

/// How a value stands in a statement.
enum class CellKind : std::uint8_t {
  kNull,
  kWhole,   // a whole number, kept as such
  kPlain,   // digits and signs, as they are
  kQuoted,  // in quotes; the server reads them by the field's type
};

/// Appends a value for a field of type `type` without quotes: numbers plain with ".", dates and
/// times in ISO form (a time of day alone for a time field, a date without its time at midnight for
/// a date field), GUID in braces, Boolean in a text as 1 and 0, text in UTF-8 as it is. Whole
/// numbers and other truth values append nothing: they are their `integer` or 1 and 0. Bytes, text
/// that cannot be written and values outside what servers read (years 1 to 9999, finite numbers)
/// fail with kConversion and append nothing.
Status AppendCell(const values::Value& value, values::TypeCode type, std::string& out,
                  CellKind& kind);

}  // namespace kelvorin::database::odbc
