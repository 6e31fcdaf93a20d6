#include "database/api/sql_text.h"

#include "database/api/errors.h"
#include "database/values/value_format.h"

namespace kelvorin::database {
namespace {

using values::Kind;
using values::TypeCode;
using values::Value;

void AppendQuoted(std::string_view name, std::string_view quote, std::string& out) {
  out += quote;
  for (char c : name) {
    out += c;
    if (quote.size() == 1 && c == quote.front()) out += c;
  }
  out += quote;
}

Status Refuse(TypeCode type, const char* why) {
  return MakeStatus(Code::kConversion, ErrorNumber::kConversion,
                    "a value of type " +
                        std::string(values::FieldType(static_cast<std::int16_t>(type))) +
                        " cannot be written in a statement: " + why);
}

std::string_view DatePrefix(TypeCode type, const Value& value, const SqlDialect& dialect) {
  if (type == TypeCode::kTime) return dialect.time_prefix;
  const bool has_time = value.date_time.milliseconds != 0 || type == TypeCode::kTimeStamp;
  return has_time ? dialect.timestamp_prefix : dialect.date_prefix;
}

}  // namespace

void AppendIdentifier(std::string_view name, const SqlDialect& dialect, std::string& out,
                      bool qualified) {
  if (!qualified) return AppendQuoted(name, dialect.identifier_quote, out);
  for (bool first = true; first || !name.empty(); first = false) {
    const std::size_t end = name.find('.');
    if (!first) out += '.';
    AppendQuoted(name.substr(0, end), dialect.identifier_quote, out);
    name = end == std::string_view::npos ? std::string_view() : name.substr(end + 1);
  }
}

Status AppendTextLiteral(std::string_view text, const SqlDialect& dialect, std::string& out) {
  if (text.find('\0') != std::string_view::npos)
    return Refuse(TypeCode::kText, "it holds a character of code 0");
  out += '\'';
  for (std::size_t from = 0;;) {
    const std::size_t stop =
        dialect.backslash_escapes ? text.find_first_of("'\\", from) : text.find('\'', from);
    out += text.substr(from, stop == std::string_view::npos ? stop : stop - from);
    if (stop == std::string_view::npos) break;
    out += text[stop];
    out += text[stop];
    from = stop + 1;
  }
  out += '\'';
  return Status();
}

Status AppendLiteral(const Value& value, TypeCode type, const SqlDialect& dialect,
                     std::string& out) {
  const values::ValueFormat& neutral = values::ValueFormat::Neutral();
  switch (value.kind) {
    case Kind::kNull:
      out += "NULL";
      return Status();
    case Kind::kBoolean:
      out += dialect.boolean_as_digit ? (value.boolean ? "1" : "0")
                                      : (value.boolean ? "TRUE" : "FALSE");
      return Status();
    case Kind::kInteger:
    case Kind::kDouble:
    case Kind::kCurrency:
      neutral.Append(value, out);
      return Status();
    case Kind::kDateTime:
      out += DatePrefix(type, value, dialect);
      neutral.Append(value, out);
      out += dialect.literal_suffix;
      return Status();
    case Kind::kText:
      if (!values::IsText(type)) return Refuse(type, "it is text");
      return AppendTextLiteral(value.text, dialect, out);
    case Kind::kGuid:
      out += '\'';
      neutral.Append(value, out);
      out += '\'';
      return Status();
    case Kind::kBytes:
      return Refuse(type, "it is binary");
  }
  return Refuse(type, "its kind is unknown");
}

}  // namespace kelvorin::database
