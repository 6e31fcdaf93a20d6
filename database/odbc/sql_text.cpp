#include "database/odbc/sql_text.h"

#include "base/M_STRING.h"
#include "database/errors.h"
#include "database/odbc/utf8.h"
#include "values/date_text.h"
#include "values/value_format.h"

namespace kelvorin::database::odbc {
namespace {

using values::Kind;
using values::TypeCode;
using values::Value;

constexpr std::int32_t kMillisecondsOfDay = 86'400'000;

Status Refuse(TypeCode type, std::string_view why) {
  return MakeStatus(Code::kConversion, ErrorNumber::kConversion,
                    "a value of type " +
                        std::string(values::FieldType(static_cast<std::int16_t>(type))) +
                        " cannot be written in a statement: " + std::string(why));
}

bool IsPlainNameCharacter(char c) noexcept {
  return base::IsDigit(c) || (base::ToUpperAscii(c) >= 'A' && base::ToUpperAscii(c) <= 'Z') ||
         c == '_' || c == '$' || c == '#' || static_cast<unsigned char>(c) >= 0x80;
}

bool CanStand(std::string_view name, std::string_view quote) noexcept {
  if (name.empty() || name.find('\0') != std::string_view::npos) return false;
  if (quote.size() == 1) return true;
  if (!quote.empty()) return name.find(quote) == std::string_view::npos;
  for (char c : name)
    if (!IsPlainNameCharacter(c)) return false;
  return true;
}

Status AppendDateTime(values::DateTime value, TypeCode type, std::string& out) {
  if (value.milliseconds < 0 || value.milliseconds >= kMillisecondsOfDay ||
      value.day < values::ToDay({1, 1, 1}) || value.day > values::ToDay({9999, 12, 31}))
    return Refuse(type, "it lies outside the years 1 to 9999");
  if (type == TypeCode::kTime) {
    if (value.day != 0) return Refuse(type, "it has a date");
    values::AppendIsoTime(value.milliseconds, out);
    return Status();
  }
  values::AppendIsoDate(value.day, out);
  if (type == TypeCode::kDate && value.milliseconds == 0) return Status();
  out += ' ';
  values::AppendIsoTime(value.milliseconds, out);
  return Status();
}

// Whatever a number's text holds, only digits and their signs reach a statement unquoted.
Status AppendNumber(const Value& value, TypeCode type, std::string& out) {
  const std::size_t from = out.size();
  values::ValueFormat::Neutral().Append(value, out);
  const std::string_view number = std::string_view(out).substr(from);
  bool bare = !number.empty();
  for (char before = 0; const char c : number) {
    bare &= base::IsDigit(c) || c == '.' || c == '+' || (c == '-' && before != '-') || c == 'e' ||
            c == 'E';
    before = c;
  }
  if (bare) return Status();
  out.resize(from);
  return Refuse(type, "it is no number");
}

}  // namespace

Status AppendIdentifier(std::string_view name, const SqlDialect& dialect, std::string& out) {
  const std::string_view quote = dialect.identifier_quote;
  if (!CanStand(name, quote))
    return MakeStatus(Code::kInvalidArgument, ErrorNumber::kInvalidArgument,
                      "the name '" + std::string(name) + "' cannot be written in a statement");
  out += quote;
  for (char c : name) {
    out += c;
    if (quote.size() == 1 && c == quote.front()) out += c;
  }
  out += quote;
  return Status();
}

Status AppendTextLiteral(std::string_view text, const SqlDialect& dialect, std::string& out) {
  if (text.find('\0') != std::string_view::npos)
    return Refuse(TypeCode::kText, "it holds a character of code 0");
  AppendQuoted(text, dialect, out);
  return Status();
}

void AppendQuoted(std::string_view text, const SqlDialect& dialect, std::string& out) {
  const std::string_view doubled = dialect.backslash_escapes ? "'\\" : "'";
  out += '\'';
  for (std::size_t from = 0;;) {
    const std::size_t stop = text.find_first_of(doubled, from);
    out += text.substr(from, stop == std::string_view::npos ? stop : stop - from);
    if (stop == std::string_view::npos) break;
    out += text[stop];
    out += text[stop];
    from = stop + 1;
  }
  out += '\'';
}

Status AppendCell(const Value& value, TypeCode type, std::string& out, CellKind& kind) {
  kind = CellKind::kQuoted;
  switch (value.kind) {
    case Kind::kNull:
      kind = CellKind::kNull;
      return Status();
    case Kind::kBoolean:
      // A server that has a type for truth values reads it as text.
      if (values::IsText(type)) {
        out += value.boolean ? '1' : '0';
      } else {
        kind = CellKind::kWhole;
      }
      return Status();
    case Kind::kInteger:
      kind = CellKind::kWhole;
      return Status();
    case Kind::kDouble:
    case Kind::kCurrency:
      kind = CellKind::kPlain;
      return AppendNumber(value, type, out);
    case Kind::kDateTime:
      return AppendDateTime(value.date_time, type, out);
    case Kind::kText:
      if (value.text.find('\0') != std::string_view::npos)
        return Refuse(type, "it holds a character of code 0");
      return AppendUtf8Text(value.text, out);
    case Kind::kGuid:
      values::ValueFormat::Neutral().Append(value, out);
      return Status();
    case Kind::kBytes:
      break;
  }
  return Refuse(type, "it is binary");
}

}  // namespace kelvorin::database::odbc
