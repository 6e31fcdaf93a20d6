#include "database/odbc/type_map.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>

#include "base/M_STRING.h"

namespace kelvorin::database::odbc {
namespace {

using database::FieldDef;
using database::TypeCode;

constexpr std::uint64_t kLongestText = 255;  // above it a text is a Memo

void Set(FieldDef& field, TypeCode type, std::uint64_t size) {
  field.Type = type;
  field.Size = static_cast<std::int32_t>(std::min<std::uint64_t>(size, 32767));
}

void SetText(FieldDef& field, std::uint64_t size) {
  if (size >= 1 && size <= kLongestText) {
    Set(field, TypeCode::kText, size);
  } else {
    Set(field, TypeCode::kMemo, 0);
  }
}

// The first word of a declared type in lower case, and whether a length follows in parentheses.
std::string FirstWord(const std::string& type_name, bool& has_length) {
  has_length = type_name.find('(') != std::string::npos;
  const std::string_view all = base::Trim(type_name);
  return base::LowerAscii(all.substr(0, all.find_first_of(" (")));
}

// `decimal(digits, decimals)`, of which SQLite's driver tells the digits alone. The column keeps
// any number, so that without declared decimals it is a floating point one.
void SetDeclaredDecimals(FieldDef& field, std::string_view declared) {
  const std::size_t open = declared.find('(');
  const std::size_t comma = declared.find(',', std::min(open, declared.size()));
  if (comma == std::string_view::npos) return Set(field, TypeCode::kDouble, 8);
  const std::string_view digits = base::Trim(declared.substr(open + 1, comma - open - 1));
  const std::string_view rest = declared.substr(comma + 1);
  const auto size = base::ParseWholeInteger(digits);
  const auto decimals = base::ParseWholeInteger(base::Trim(rest.substr(0, rest.find(')'))));
  constexpr std::int64_t kMostDigits = 255;
  if (!size || !decimals || *size < 1 || *size > kMostDigits || *decimals < 0 || *decimals > *size)
    return Set(field, TypeCode::kDouble, 8);
  Set(field, TypeCode::kDecimal, static_cast<std::uint64_t>(*size));
  field.Decimals = static_cast<std::int32_t>(*decimals);
}

// SQLite takes whatever word stands in the declaration; words unknown to its driver are reported as
// texts of some length, which would cut the values that really are in the column.
bool SetBySqliteWord(FieldDef& field, const ColumnFacts& column) {
  bool has_length = false;
  const std::string word = FirstWord(column.type_name, has_length);
  if (word == "decimal") {
    SetDeclaredDecimals(field, column.type_name);
  } else if (word == "money") {
    Set(field, TypeCode::kCurrency, 8);
  } else if (word == "uuid" || word == "guid") {
    Set(field, TypeCode::kGuid, 16);
  } else if (word == "binary") {
    Set(field, TypeCode::kBinary, has_length ? column.size : 255);
  } else {
    const bool sized_text = word == "char" || word == "varchar" || word == "character" ||
                            word == "nchar" || word == "nvarchar";
    if (sized_text && has_length) return false;
    Set(field, TypeCode::kMemo, 0);
  }
  return true;
}

// SQLite keeps a number with a point as floating point and a date as the text it is.
void SetKept(FieldDef& field, const ColumnFacts& column, Server server) {
  using Number = values::Resolution::Number;
  using Time = values::Resolution::Time;
  if (server == Server::kSqlite) {
    if (field.Type == TypeCode::kNumeric || field.Type == TypeCode::kDecimal ||
        field.Type == TypeCode::kCurrency)
      field.Keeps.number = Number::kDouble;
    return;
  }
  if (column.unlimited) field.Keeps.number = Number::kAllDigits;
  if (field.Type == TypeCode::kCurrency) {  // PostgreSQL's money
    field.Keeps.number = Number::kDecimals;
    field.Decimals = 2;
  }
  if (column.sql_type == SQL_TYPE_TIMESTAMP || column.sql_type == SQL_TYPE_TIME)
    field.Decimals = column.scale;
  if (column.sql_type == SQL_TYPE_DATE) {
    field.Keeps.time = Time::kDateOnly;
  } else if (column.scale < 3) {
    field.Keeps.time = Time::kSeconds;
  }
}

}  // namespace

FieldDef FieldOf(const ColumnFacts& column, Server server) {
  FieldDef field;
  field.Name = column.name;
  field.AutoIncrement = column.is_auto;
  field.Required = column.refuses_null;
  field.TakesTruth = column.takes_truth;
  const bool no_sign = column.is_unsigned;
  switch (column.sql_type) {
    case SQL_BIT:
      Set(field, TypeCode::kBoolean, 1);
      break;
    case SQL_TINYINT:
      no_sign ? Set(field, TypeCode::kByte, 1) : Set(field, TypeCode::kInteger, 2);
      break;
    case SQL_SMALLINT:
      no_sign ? Set(field, TypeCode::kLong, 4) : Set(field, TypeCode::kInteger, 2);
      break;
    case SQL_INTEGER:
      if (server == Server::kSqlite) {  // whose integers have 64 bits
        Set(field, TypeCode::kBigInt, 8);
        break;
      }
      no_sign ? Set(field, TypeCode::kBigInt, 8) : Set(field, TypeCode::kLong, 4);
      break;
    case SQL_BIGINT:
      no_sign ? Set(field, TypeCode::kDecimal, 20) : Set(field, TypeCode::kBigInt, 8);
      break;
    case SQL_NUMERIC:
    case SQL_DECIMAL:
      Set(field, column.sql_type == SQL_NUMERIC ? TypeCode::kNumeric : TypeCode::kDecimal,
          column.unlimited ? 0 : column.size);
      field.Decimals = column.unlimited ? 0 : column.scale;
      break;
    case SQL_REAL:
      Set(field, TypeCode::kSingle, 4);
      break;
    case SQL_FLOAT:
    case SQL_DOUBLE:
      Set(field,
          base::EqualIgnoreCase(column.type_name, "money") ? TypeCode::kCurrency
                                                           : TypeCode::kDouble,
          8);
      break;
    case SQL_CHAR:
    case SQL_VARCHAR:
    case SQL_WCHAR:
    case SQL_WVARCHAR:
      if (server == Server::kSqlite && SetBySqliteWord(field, column)) break;
      SetText(field, column.size);
      break;
    case SQL_BINARY:
    case SQL_VARBINARY:
      if (server == Server::kSqlite && base::EqualIgnoreCase(column.type_name, "blob")) {
        Set(field, TypeCode::kLongBinary, 0);
        break;
      }
      if (column.size >= 1 && column.size <= kLongestText) {
        Set(field, column.sql_type == SQL_BINARY ? TypeCode::kBinary : TypeCode::kVarBinary,
            column.size);
        break;
      }
      [[fallthrough]];
    case SQL_LONGVARBINARY:
      Set(field, TypeCode::kLongBinary, 0);
      break;
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIMESTAMP:
      Set(field, TypeCode::kDate, 8);
      break;
    case SQL_TYPE_TIME:
      Set(field, TypeCode::kTime, 8);
      break;
    case SQL_GUID:
      Set(field, TypeCode::kGuid, 16);
      break;
    default:
      Set(field, TypeCode::kMemo, 0);
  }
  if (values::IsText(field.Type)) field.AllowZeroLength = !column.refuses_empty;
  SetKept(field, column, server);
  return field;
}

}  // namespace kelvorin::database::odbc
