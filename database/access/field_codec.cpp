#include "database/access/field_codec.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>

#include "database/access/decimal.h"
#include "database/errors.h"
#include "values/value_format.h"

namespace kelvorin::database::access {
namespace {

using values::DateTime;
using values::Kind;
using values::TypeCode;
using values::Value;

constexpr double kMillisecondsPerDay = 86'400'000;
constexpr std::int32_t kFirstDay = -657434;  // 100-01-01
constexpr std::int32_t kLastDay = 2958465;   // 9999-12-31
// A calculated value is wrapped: 16 bytes, its length, itself, 3 bytes.
constexpr std::size_t kWrapLengthAt = 16;
constexpr std::size_t kWrapDataAt = 20;

Status Failed(Code code, ErrorNumber number, const Column& column, std::string_view what) {
  return MakeStatus(code, number, "field '" + column.name + "' " + std::string(what));
}

double LoadDouble(base::ByteSpan bytes) {
  return std::bit_cast<double>(base::LoadLE64(bytes, 0));
}

/// A value as a whole number; false when it has a fraction or does not fit 64 bits.
bool AsInteger(const Value& value, std::int64_t& out) {
  switch (value.kind) {
    case Kind::kInteger:
      out = value.integer;
      return true;
    case Kind::kBoolean:
      out = value.boolean ? -1 : 0;
      return true;
    case Kind::kCurrency:
      out = value.integer / 10000;
      return value.integer % 10000 == 0;
    case Kind::kDouble:
      if (!(std::abs(value.number) < 9.0e18) || value.number != std::trunc(value.number))
        return false;
      out = static_cast<std::int64_t>(value.number);
      return true;
    case Kind::kNull:
    case Kind::kDateTime:
    case Kind::kText:
    case Kind::kBytes:
    case Kind::kGuid:
      return false;
  }
  return false;
}

/// A value as a number. The file knows one zero: an index would take two of them for different, so
/// that whoever stores the number adds 0, which turns -0 into 0.
bool AsDouble(const Value& value, double& out) {
  switch (value.kind) {
    case Kind::kInteger:
      out = static_cast<double>(value.integer);
      return true;
    case Kind::kBoolean:
      out = value.boolean ? -1 : 0;
      return true;
    case Kind::kCurrency:
      out = static_cast<double>(value.integer) / 10000;
      return true;
    case Kind::kDouble:
      out = value.number;
      return std::isfinite(out);
    case Kind::kNull:
    case Kind::kDateTime:
    case Kind::kText:
    case Kind::kBytes:
    case Kind::kGuid:
      return false;
  }
  return false;
}

/// Exact digits of a number; empty when it is none. They live in the value or in `scratch`.
std::string_view Digits(const Value& value, std::string& scratch) {
  if (value.kind == Kind::kDouble && !value.text.empty()) return value.text;
  char buffer[400];
  double number = 0;
  std::to_chars_result end{};
  if (value.kind == Kind::kInteger) {
    end = std::to_chars(buffer, buffer + sizeof buffer, value.integer);
  } else if (value.kind == Kind::kCurrency) {
    scratch.clear();
    values::ValueFormat::Neutral().Append(value, scratch);
    return scratch;
  } else if (AsDouble(value, number)) {
    end = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::fixed);
  } else {
    return {};
  }
  scratch.assign(buffer, end.ptr);
  return scratch;
}

Status WriteInteger(const Column& column, const Value& value, std::size_t bytes, bool is_signed,
                    std::string& out) {
  std::int64_t number = 0;
  if (!AsInteger(value, number))
    return Failed(Code::kConversion, ErrorNumber::kConversion, column, "takes whole numbers");
  const std::int64_t high = bytes == 8 ? std::numeric_limits<std::int64_t>::max()
                                       : (std::int64_t{1} << (8 * bytes - (is_signed ? 1 : 0))) - 1;
  const std::int64_t low = is_signed ? -high - 1 : 0;
  if (number < low || number > high)
    return Failed(Code::kConversion, ErrorNumber::kConversion, column,
                  "cannot hold " + std::to_string(number));
  base::AppendLE(static_cast<std::uint64_t>(number), bytes, out);
  return Status();
}

Status WriteBytes(const Column& column, const Value& value, bool any_length, std::string& out) {
  if (value.kind != Kind::kBytes && value.kind != Kind::kText)
    return Failed(Code::kConversion, ErrorNumber::kConversion, column, "takes bytes");
  if (!any_length && column.type == ColumnType::kBinary && value.text.size() > column.length)
    return Failed(Code::kTooLong, ErrorNumber::kFieldTooSmall, column,
                  "holds " + std::to_string(column.length) + " bytes, not " +
                      std::to_string(value.text.size()));
  out.assign(value.text);
  return Status();
}

Status WriteText(const Layout& layout, const Column& column, const Value& value, TextCodec& text,
                 bool any_length, std::string& out, std::size_t& replaced) {
  thread_local std::string printed;
  std::string_view source = value.text;
  if (value.kind != Kind::kText) {
    printed.clear();
    values::ValueFormat::Neutral().Append(value, printed);
    source = printed;
  }
  std::size_t units = 0;
  const bool compress = column.compressed() && !column.fixed();
  replaced += text.Encode(source, compress, out, units);
  const std::size_t room = static_cast<std::size_t>(ShownSize(layout, column));
  if (column.type == ColumnType::kMemo || any_length) return Status();
  if (units > room)
    return Failed(Code::kTooLong, ErrorNumber::kFieldTooSmall, column,
                  "holds " + std::to_string(room) + " characters, not " + std::to_string(units));
  while (column.fixed() && units < room) {  // kept as it is: fixed text is filled with blanks
    out += ' ';
    if (layout.wide) out += '\0';
    ++units;
  }
  return Status();
}

}  // namespace

TypeCode TypeCodeOf(const Column& column) noexcept {
  switch (column.type) {
    case ColumnType::kBoolean:
    case ColumnType::kByte:
    case ColumnType::kInteger:
    case ColumnType::kLong:
    case ColumnType::kCurrency:
    case ColumnType::kSingle:
    case ColumnType::kDouble:
    case ColumnType::kDate:
    case ColumnType::kBinary:
    case ColumnType::kText:
    case ColumnType::kOle:
    case ColumnType::kMemo:
    case ColumnType::kGuid:
      return static_cast<TypeCode>(column.type);
    case ColumnType::kDecimal:
      return TypeCode::kDecimal;
    case ColumnType::kBigInt:
      return TypeCode::kBigInt;
    case ColumnType::kComplex:
      return TypeCode::kLong;
    case ColumnType::kRaw:
    case ColumnType::kExtendedDate:
      return TypeCode::kBinary;
  }
  return TypeCode::kBinary;
}

std::int32_t ShownSize(const Layout& layout, const Column& column) noexcept {
  switch (column.type) {
    case ColumnType::kText:
      return layout.wide ? column.length / 2 : column.length;
    case ColumnType::kDecimal:
      return 16;
    case ColumnType::kOle:
    case ColumnType::kMemo:
      return 0;
    default: {
      const std::uint16_t bytes = StorageBytes(column.type);
      return bytes != 0 ? bytes : column.length;
    }
  }
}

void SwapGuid(base::ByteSpan from, base::MutableByteSpan to) noexcept {
  constexpr std::array<std::size_t, 16> kOrder{3, 2, 1,  0,  5,  4,  7,  6,
                                               8, 9, 10, 11, 12, 13, 14, 15};
  for (std::size_t i = 0; i < kOrder.size(); ++i) to[i] = from[kOrder[i]];
}

double ToStoredDate(DateTime date) noexcept {
  const double time = date.milliseconds / kMillisecondsPerDay;
  return date.day < 0 ? date.day - time : date.day + time;
}

bool FromStoredDate(double stored, DateTime& out) noexcept {
  if (!(stored > kFirstDay - 1.0) || !(stored < kLastDay + 1.0)) return false;
  // The whole part is the day, also before 1899-12-30; the rest counts forward from midnight.
  double day = 0;
  auto milliseconds = static_cast<std::int64_t>(
      std::round(std::abs(std::modf(stored, &day)) * kMillisecondsPerDay));
  out.day = static_cast<std::int32_t>(day);
  if (milliseconds >= 86'400'000) {
    milliseconds = 0;
    ++out.day;
  }
  out.milliseconds = static_cast<std::int32_t>(milliseconds);
  return out.day >= kFirstDay && out.day <= kLastDay;
}

Status ReadStored(const Column& column, base::ByteSpan stored, TextCodec& text, Value& out,
                  std::string& scratch) {
  if (column.calculated() && !IsLongValue(column.type)) {
    if (stored.size() < kWrapDataAt ||
        base::LoadLE32(stored, kWrapLengthAt) > stored.size() - kWrapDataAt)
      return Failed(Code::kCorrupt, ErrorNumber::kCorrupt, column, "holds a damaged result");
    stored = stored.subspan(kWrapDataAt, base::LoadLE32(stored, kWrapLengthAt));
  }
  if (stored.size() < StorageBytes(column.type))
    return Failed(Code::kCorrupt, ErrorNumber::kCorrupt, column,
                  "holds " + std::to_string(stored.size()) + " bytes, too few for its type");
  scratch.clear();
  switch (column.type) {
    case ColumnType::kBoolean:
      out = Value::Boolean(base::Load8(stored, 0) != 0);
      return Status();
    case ColumnType::kByte:
      out = Value::Integer(base::Load8(stored, 0));
      return Status();
    case ColumnType::kInteger:
      out = Value::Integer(static_cast<std::int16_t>(base::LoadLE16(stored, 0)));
      return Status();
    case ColumnType::kLong:
    case ColumnType::kComplex:
      out = Value::Integer(static_cast<std::int32_t>(base::LoadLE32(stored, 0)));
      return Status();
    case ColumnType::kBigInt:
      out = Value::Integer(static_cast<std::int64_t>(base::LoadLE64(stored, 0)));
      return Status();
    case ColumnType::kCurrency:
      out = Value::Currency(static_cast<std::int64_t>(base::LoadLE64(stored, 0)));
      return Status();
    case ColumnType::kSingle:
      out = values::SingleValue(std::bit_cast<float>(base::LoadLE32(stored, 0)), scratch);
      return Status();
    case ColumnType::kDouble:
      out = Value::Double(LoadDouble(stored));
      return Status();
    case ColumnType::kDate: {
      DateTime date;
      if (!FromStoredDate(LoadDouble(stored), date))
        return Failed(Code::kConversion, ErrorNumber::kConversion, column,
                      "holds a number that is no date");
      out = Value::Date(date);
      return Status();
    }
    case ColumnType::kGuid: {
      values::Guid guid;
      SwapGuid(stored.first(16), std::as_writable_bytes(std::span(guid.bytes)));
      out = Value::OfGuid(guid);
      return Status();
    }
    case ColumnType::kDecimal: {
      AppendDecimalDigits(stored, std::min<int>(column.scale, kDecimalDigits), scratch);
      double number = 0;
      std::from_chars(scratch.data(), scratch.data() + scratch.size(), number);
      out = Value::Double(number, scratch);
      return Status();
    }
    case ColumnType::kText:
    case ColumnType::kMemo:
      text.Decode(stored, scratch);
      out = Value::Text(scratch);
      return Status();
    case ColumnType::kBinary:
    case ColumnType::kOle:
    case ColumnType::kRaw:
    case ColumnType::kExtendedDate:
      break;
  }
  scratch.assign(base::AsText(stored));  // also of types that this version does not know
  out = Value::Bytes(scratch);
  return Status();
}

Status WriteStored(const Layout& layout, const Column& column, const Value& value, TextCodec& text,
                   bool any_length, ColumnValue& out, std::size_t& replaced) {
  out.bytes.clear();
  out.null = value.IsNull();
  if (column.is_bit()) {
    std::int64_t number = 0;
    if (value.kind != Kind::kBoolean && !value.IsNull()) {
      double any = 0;
      if (!AsDouble(value, any))
        return Failed(Code::kConversion, ErrorNumber::kConversion, column, "takes True or False");
      number = any != 0;
    }
    out.null = false;
    out.bytes.assign(1,
                     static_cast<char>(value.kind == Kind::kBoolean ? value.boolean : number != 0));
    return Status();
  }
  if (out.null) return Status();
  switch (column.type) {
    case ColumnType::kByte:
      return WriteInteger(column, value, 1, false, out.bytes);
    case ColumnType::kInteger:
      return WriteInteger(column, value, 2, true, out.bytes);
    case ColumnType::kLong:
      return WriteInteger(column, value, 4, true, out.bytes);
    case ColumnType::kBigInt:
      return WriteInteger(column, value, 8, true, out.bytes);
    case ColumnType::kCurrency: {
      std::int64_t amount = value.integer;
      if (value.kind != Kind::kCurrency) {
        double number = 0;
        if (!AsDouble(value, number) || std::abs(number) > 922337203685477.0)
          return Failed(Code::kConversion, ErrorNumber::kConversion, column, "takes amounts");
        // By parts: ten thousand times a great number is more than a double tells apart.
        const double whole = std::trunc(number);
        amount = static_cast<std::int64_t>(whole) * 10000 + std::llround((number - whole) * 10000);
      }
      base::AppendLE(static_cast<std::uint64_t>(amount), 8, out.bytes);
      return Status();
    }
    case ColumnType::kSingle: {
      double number = 0;
      if (!AsDouble(value, number) || std::abs(number) > std::numeric_limits<float>::max())
        return Failed(Code::kConversion, ErrorNumber::kConversion, column,
                      "takes numbers of single precision");
      base::AppendLE(std::bit_cast<std::uint32_t>(static_cast<float>(number) + 0.0F), 4, out.bytes);
      return Status();
    }
    case ColumnType::kDouble: {
      double number = 0;
      if (!AsDouble(value, number))
        return Failed(Code::kConversion, ErrorNumber::kConversion, column, "takes numbers");
      base::AppendLE(std::bit_cast<std::uint64_t>(number + 0.0), 8, out.bytes);
      return Status();
    }
    case ColumnType::kDate: {
      if (value.kind != Kind::kDateTime)
        return Failed(Code::kConversion, ErrorNumber::kConversion, column, "takes dates");
      if (value.date_time.day < kFirstDay || value.date_time.day > kLastDay)
        return Failed(Code::kConversion, ErrorNumber::kConversion, column,
                      "takes dates of the years 100 to 9999");
      base::AppendLE(std::bit_cast<std::uint64_t>(ToStoredDate(value.date_time)), 8, out.bytes);
      return Status();
    }
    case ColumnType::kGuid: {
      if (value.kind != Kind::kGuid)
        return Failed(Code::kConversion, ErrorNumber::kConversion, column, "takes GUIDs");
      std::array<std::byte, 16> stored{};
      SwapGuid(std::as_bytes(std::span(value.guid.bytes)), stored);
      out.bytes.assign(base::AsText(stored));
      return Status();
    }
    case ColumnType::kDecimal: {
      std::array<std::byte, 17> stored{};
      if (!StoreDecimal(Digits(value, out.bytes), any_length ? kDecimalDigits : column.precision,
                        column.scale, stored))
        return Failed(Code::kConversion, ErrorNumber::kConversion, column,
                      "takes numbers of " + std::to_string(column.precision) + " digits, " +
                          std::to_string(column.scale) + " of them behind the point");
      out.bytes.assign(base::AsText(stored));
      return Status();
    }
    case ColumnType::kText:
    case ColumnType::kMemo:
      return WriteText(layout, column, value, text, any_length, out.bytes, replaced);
    case ColumnType::kBinary:
    case ColumnType::kOle:
      return WriteBytes(column, value, any_length, out.bytes);
    case ColumnType::kBoolean:
    case ColumnType::kRaw:
    case ColumnType::kComplex:
    case ColumnType::kExtendedDate:
      break;
  }
  return Failed(Code::kNotSupported, ErrorNumber::kNotSupported, column,
                "is of a type that cannot be written");
}

}  // namespace kelvorin::database::access
