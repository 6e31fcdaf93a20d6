#pragma once
// How a server wants names and values written in a statement. A database that is reached by SQL
// text answers with its dialect; whoever builds statements uses these functions and nothing else,
// so that no value can change the meaning of a statement.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "values/field_types.h"
#include "values/value.h"

namespace kelvorin::database {

struct SqlDialect {
  std::string identifier_quote = "\"";  // empty: names are written as they are
  bool backslash_escapes = false;       // the server takes "\" inside quoted text as an escape
  bool boolean_as_digit = true;         // 1 and 0, else TRUE and FALSE
  std::string date_prefix = "'";        // around yyyy-mm-dd
  std::string time_prefix = "'";        // around hh:mm:ss
  std::string timestamp_prefix = "'";   // around yyyy-mm-dd hh:mm:ss
  std::string literal_suffix = "'";
};

/// A table or field name in the dialect's quotes; a quote inside is doubled. With `qualified`, a
/// "." separates parts that are quoted one by one. A name that could not stand for itself (empty,
/// with a character of code 0, or unquoted with other characters than letters, digits, "_", "$",
/// "#" and those beyond ASCII) fails with kInvalidArgument and appends nothing.
Status AppendIdentifier(std::string_view name, const SqlDialect& dialect, std::string& out,
                        bool qualified = false);

/// Text between single quotes, with quotes doubled and backslashes escaped where the server takes
/// them so. A NUL byte cannot be written: fails with kConversion.
Status AppendTextLiteral(std::string_view text, const SqlDialect& dialect, std::string& out);

/// A value as the literal of a field of type `type`: numbers plain with ".", text quoted, dates and
/// times quoted in ISO form, GUID quoted, Boolean as the dialect wants it, Null as NULL. A date is
/// written without its time at midnight, a time stamp always with it, a time of day alone. Bytes
/// and values that do not belong to the type fail with kConversion and append nothing.
Status AppendLiteral(const values::Value& value, values::TypeCode type, const SqlDialect& dialect,
                     std::string& out);

}  // namespace kelvorin::database
