#include "database/paradox/field_codec.h"

#include "database/errors.h"
#include "values/decimal_digits.h"
#include "values/hex_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace kelvorin::database::paradox {
namespace {

using values::DateTime;
using values::Kind;
using values::Value;

constexpr std::int64_t kMillisecondsOfDay = 86'400'000;
constexpr std::int32_t kDaysBeforeDayZero = 693'594;  // 1899-12-30 as the format counts days
constexpr std::int32_t kLastDay = 3'652'059;          // 9999-12-31
constexpr std::size_t kBcdDigits = 32;
constexpr std::uint8_t kBcdNotNegative = 0x80, kBcdNotBlank = 0x40, kBcdDecimals = 0x3F;

constexpr std::uint64_t kSign64 = std::uint64_t{1} << 63;

std::int32_t LoadFlipped32(base::ByteSpan bytes) noexcept {
  return static_cast<std::int32_t>(base::LoadBE32(bytes, 0) ^ 0x80000000u);
}

double LoadDouble(base::ByteSpan bytes) noexcept {
  const std::uint64_t stored = base::LoadBE64(bytes, 0);
  return std::bit_cast<double>((stored & kSign64) != 0 ? stored ^ kSign64 : ~stored);
}

void StoreDouble(base::MutableByteSpan bytes, double number) noexcept {
  const auto raw = std::bit_cast<std::uint64_t>(number);
  base::StoreBE64(bytes, 0, (raw & kSign64) != 0 ? ~raw : raw ^ kSign64);
}

bool AllZero(base::ByteSpan bytes) noexcept {
  return std::all_of(bytes.begin(), bytes.end(), [](std::byte b) { return b == std::byte{0}; });
}

void SetInteger(std::int64_t number, Value& out) noexcept {
  out.kind = Kind::kInteger;
  out.integer = number;
}

bool SetMoment(std::int64_t day, std::int64_t milliseconds, Value& out) noexcept {
  if (day < 1 || day > kLastDay || milliseconds < 0 || milliseconds >= kMillisecondsOfDay)
    return false;
  out.kind = Kind::kDateTime;
  out.date_time = {static_cast<std::int32_t>(day) - kDaysBeforeDayZero,
                   static_cast<std::int32_t>(milliseconds)};
  return true;
}

bool DecodeDouble(base::ByteSpan bytes, Value& out) noexcept {
  out.number = LoadDouble(bytes);
  out.text = {};
  if (!std::isfinite(out.number)) return false;
  out.kind = Kind::kDouble;
  return true;
}

bool DecodeTimestamp(base::ByteSpan bytes, Value& out) noexcept {
  const double stored = LoadDouble(bytes);
  if (!(stored >= 0 && stored < 1e15)) return false;
  const auto milliseconds = static_cast<std::int64_t>(stored);
  return SetMoment(milliseconds / kMillisecondsOfDay, milliseconds % kMillisecondsOfDay, out);
}

/// The 32 digits of a decimal; behind a nibble that is no digit some programs left noise.
std::array<char, kBcdDigits> BcdDigits(base::ByteSpan bytes, bool negative) noexcept {
  std::array<char, kBcdDigits> digits{};
  bool noise = false;
  for (std::size_t i = 0; i < kBcdDigits; ++i) {
    unsigned nibble = base::Load8(bytes, 1 + i / 2);
    if (negative) nibble ^= 0xFF;
    nibble = i % 2 == 0 ? nibble >> 4 : nibble & 15;
    noise = noise || nibble > 9;
    digits[i] = static_cast<char>('0' + (noise ? 0 : nibble));
  }
  return digits;
}

bool DecodeBcd(const Column& column, base::ByteSpan bytes, std::string& scratch, Value& out) {
  const std::uint8_t head = base::Load8(bytes, 0);
  if ((head & (kBcdNotNegative | kBcdNotBlank)) == 0) return true;
  const bool negative = (head & kBcdNotNegative) == 0;
  const std::array<char, kBcdDigits> digits = BcdDigits(bytes, negative);
  const std::size_t whole = kBcdDigits - std::min<std::size_t>(column.decimals, kBcdDigits);
  std::size_t from = 0, to = kBcdDigits;
  while (from + 1 < whole && digits[from] == '0') ++from;
  while (to > whole && digits[to - 1] == '0') --to;
  scratch.clear();
  if (negative) scratch += '-';
  if (whole == 0) {
    scratch += '0';
  } else {
    scratch.append(digits.data() + from, whole - from);
  }
  if (to > whole) {
    scratch += '.';
    scratch.append(digits.data() + whole, to - whole);
  }
  if (scratch == "-0") scratch = "0";
  out.text = scratch;
  const auto read = std::from_chars(scratch.data(), scratch.data() + scratch.size(), out.number);
  if (read.ec != std::errc()) return false;
  out.kind = Kind::kDouble;
  return true;
}

/// The first bytes; a text field may have 255.
std::string HexOf(base::ByteSpan bytes) {
  return values::HexOf(base::AsText(bytes.first(std::min<std::size_t>(bytes.size(), 20))));
}

// The failures are built out of the way of the fields that are fine.
[[gnu::cold, gnu::noinline]] Status CannotHold(const Column& column, const std::string& what) {
  return MakeStatus(Code::kConversion, ErrorNumber::kConversion,
                    "field '" + column.name + "' cannot hold " + what);
}

[[gnu::cold, gnu::noinline]] Status TooLong(const Column& column, std::size_t size) {
  return MakeStatus(Code::kTooLong, ErrorNumber::kFieldTooSmall,
                    "field '" + column.name + "' holds " + std::to_string(column.bytes) +
                        " bytes, the value has " + std::to_string(size));
}

std::string ShownNumber(double number) {
  std::array<char, 32> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr;
  return {buffer.data(), end};
}

double AsDouble(const Value& value) noexcept {
  if (value.kind == Kind::kInteger) return static_cast<double>(value.integer);
  if (value.kind == Kind::kCurrency) return static_cast<double>(value.integer) / 10000.0;
  return value.number;
}

Status EncodeWhole(const Column& column, const Value& value, base::MutableByteSpan bytes) {
  // The lowest number of each width would be the blank value.
  const bool wide = column.kind != FieldKind::kShort;
  const std::int64_t most =
      wide ? std::numeric_limits<std::int32_t>::max() : std::numeric_limits<std::int16_t>::max();
  if (value.integer < -most || value.integer > most)
    return CannotHold(column, std::to_string(value.integer) + ": the limits are " +
                                  std::to_string(-most) + " and " + std::to_string(most));
  if (wide) {
    StoreFlipped32(bytes, 0, static_cast<std::int32_t>(value.integer));
  } else {
    StoreFlipped16(bytes, 0, static_cast<std::int16_t>(value.integer));
  }
  return Status();
}

Status EncodeMoment(const Column& column, const DateTime& when, base::MutableByteSpan bytes) {
  const std::int64_t day = std::int64_t{when.day} + kDaysBeforeDayZero;
  if (column.kind == FieldKind::kTime) {
    if (when.milliseconds == 0 && when.day != 0)
      return CannotHold(column, "a date: it holds a time of day");
    StoreFlipped32(bytes, 0, when.milliseconds);
    return Status();
  }
  if (day < 1 || day > kLastDay) return CannotHold(column, "a date outside the years 1 to 9999");
  if (column.kind == FieldKind::kDate) {
    if (when.day == 0 && when.milliseconds != 0)
      return CannotHold(column, "a time of day: it holds a date");
    StoreFlipped32(bytes, 0, static_cast<std::int32_t>(day));
  } else {
    StoreDouble(bytes, static_cast<double>(day * kMillisecondsOfDay + when.milliseconds));
  }
  return Status();
}

/// Digits of a number, rounded to `decimals`; false when it has too many.
bool PlaceDigits(std::string_view plain, std::size_t decimals,
                 std::array<std::uint8_t, kBcdDigits>& out, bool& negative) noexcept {
  std::array<char, kBcdDigits + 1> room{};
  values::RoundedDigits parts;
  const std::size_t places = kBcdDigits - decimals;
  if (!values::RoundDigits(plain, decimals, room, parts) || parts.whole.size() > places)
    return false;
  out.fill(0);
  const auto digit = [](char c) { return static_cast<std::uint8_t>(c - '0'); };
  std::transform(parts.whole.begin(), parts.whole.end(),
                 out.begin() + static_cast<std::ptrdiff_t>(places - parts.whole.size()), digit);
  std::transform(parts.fraction.begin(), parts.fraction.end(),
                 out.begin() + static_cast<std::ptrdiff_t>(places), digit);
  negative = parts.negative;
  return true;
}

Status EncodeBcd(const Column& column, const Value& value, base::MutableByteSpan bytes,
                 std::string& scratch) {
  if (value.kind == Kind::kDouble && !value.text.empty()) {
    scratch.assign(value.text);
  } else {
    const double number = AsDouble(value);
    if (!std::isfinite(number)) return CannotHold(column, "a value that is no number");
    // Not cleared: it is filled before it is read, and often.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
    std::array<char, values::kMaxPlainDouble> buffer;
    scratch.assign(values::PlainText(number, buffer));
  }
  bool minus = false;
  std::array<std::uint8_t, kBcdDigits> digits{};
  if (!PlaceDigits(scratch, column.decimals, digits, minus))
    return CannotHold(column, scratch + ": it has room for 32 digits, " +
                                  std::to_string(column.decimals) + " of them decimals");
  const auto is_zero = [](std::uint8_t digit) { return digit == 0; };
  const bool zero = std::all_of(digits.begin(), digits.end(), is_zero);
  if (zero && scratch.find_first_of("123456789") != std::string_view::npos)
    return CannotHold(column, scratch + ": nothing is left of it with " +
                                  std::to_string(column.decimals) + " decimals");
  base::Store8(bytes, 0,
               static_cast<std::uint8_t>((minus ? 0 : kBcdNotNegative) | kBcdNotBlank |
                                         (column.decimals & kBcdDecimals)));
  for (std::size_t i = 0; i < kBcdDigits / 2; ++i) {
    const unsigned pair = static_cast<unsigned>(digits[2 * i] << 4 | digits[2 * i + 1]);
    base::Store8(bytes, 1 + i, static_cast<std::uint8_t>(minus ? pair ^ 0xFF : pair));
  }
  return Status();
}

}  // namespace

void StoreFlipped16(base::MutableByteSpan bytes, std::size_t at, std::int16_t value) noexcept {
  base::StoreBE16(bytes, at,
                  static_cast<std::uint16_t>(static_cast<std::uint16_t>(value) ^ 0x8000u));
}
void StoreFlipped32(base::MutableByteSpan bytes, std::size_t at, std::int32_t value) noexcept {
  base::StoreBE32(bytes, at, static_cast<std::uint32_t>(value) ^ 0x80000000u);
}

bool FieldCodec::Decode(const Column& column, base::ByteSpan row, std::string& scratch,
                        Value& out) const {
  out.kind = Kind::kNull;
  const base::ByteSpan bytes = row.subspan(column.offset, column.bytes);
  if (column.kind == FieldKind::kAlpha) {
    const void* end = std::memchr(bytes.data(), 0, bytes.size());
    const std::size_t size =
        end == nullptr
            ? bytes.size()
            : static_cast<std::size_t>(static_cast<const std::byte*>(end) - bytes.data());
    if (size == 0) return true;
    out.text = base::AsText(bytes.first(size));
    if (!page_->ToAnsi(out.text, scratch, out.text)) return false;
    out.kind = Kind::kText;
    return true;
  }
  if (AllZero(bytes)) return true;
  switch (column.kind) {
    case FieldKind::kDate:
      return SetMoment(LoadFlipped32(bytes), 0, out);
    case FieldKind::kShort:
      SetInteger(static_cast<std::int16_t>(base::LoadBE16(bytes, 0) ^ 0x8000u), out);
      return true;
    case FieldKind::kLong:
    case FieldKind::kAutoIncrement:
      SetInteger(LoadFlipped32(bytes), out);
      return true;
    case FieldKind::kMoney:
    case FieldKind::kNumber:
      return DecodeDouble(bytes, out);
    case FieldKind::kLogical:
      out.kind = Kind::kBoolean;
      out.boolean = (base::Load8(bytes, 0) & 0x7F) != 0;
      return true;
    case FieldKind::kTime:
      return SetMoment(kDaysBeforeDayZero, LoadFlipped32(bytes), out);
    case FieldKind::kTimestamp:
      return DecodeTimestamp(bytes, out);
    case FieldKind::kBcd:
      return DecodeBcd(column, bytes, scratch, out);
    default:
      break;
  }
  out.kind = Kind::kBytes;
  out.text = base::AsText(bytes);
  return true;
}

std::string FieldCodec::WhatIsWrong(const Column& column, base::ByteSpan row) const {
  if (column.kind == FieldKind::kAlpha)
    return "holds text in code page " + std::to_string(page_->number()) +
           ", which is not supported";
  const std::string held = "holds the bytes " + HexOf(row.subspan(column.offset, column.bytes));
  return held + (column.kind == FieldKind::kDate || column.kind == FieldKind::kTime ||
                         column.kind == FieldKind::kTimestamp
                     ? ", which are no date or time of the years 1 to 9999"
                     : ", which are no number");
}

Status FieldCodec::EncodeText(const Column& column, std::string_view text,
                              base::MutableByteSpan bytes, std::string& scratch,
                              std::size_t& replaced) const {
  std::string_view stored = text;
  if (!page_->FromAnsi(text, scratch, stored, replaced))
    return CannotHold(column, "anything but ASCII: code page " + std::to_string(page_->number()) +
                                  " of its table is not supported");
  if (stored.size() > bytes.size()) return TooLong(column, stored.size());
  if (stored.find('\0') != std::string_view::npos)
    return CannotHold(column, "a character 0, which ends its texts");
  std::memcpy(bytes.data(), stored.data(), stored.size());
  std::memset(bytes.data() + stored.size(), 0, bytes.size() - stored.size());
  return Status();
}

Status FieldCodec::Encode(const Column& column, const Value& value, base::MutableByteSpan row,
                          std::string& scratch, std::size_t& replaced) const {
  replaced = 0;
  const base::MutableByteSpan bytes = row.subspan(column.offset, column.bytes);
  if (value.IsNull()) {
    std::memset(bytes.data(), 0, bytes.size());
    return Status();
  }
  switch (column.kind) {
    case FieldKind::kAlpha:
      return EncodeText(column, value.text, bytes, scratch, replaced);
    case FieldKind::kShort:
    case FieldKind::kLong:
    case FieldKind::kAutoIncrement:
      return EncodeWhole(column, value, bytes);
    case FieldKind::kMoney:
    case FieldKind::kNumber: {
      const double number = AsDouble(value);
      if (!std::isfinite(number)) return CannotHold(column, ShownNumber(number));
      StoreDouble(bytes, number == 0 ? 0 : number);  // one zero only: keys compare as bytes
      return Status();
    }
    case FieldKind::kLogical:
      base::Store8(bytes, 0, value.boolean ? 0x81 : 0x80);
      return Status();
    case FieldKind::kDate:
    case FieldKind::kTime:
    case FieldKind::kTimestamp:
      return EncodeMoment(column, value.date_time, bytes);
    case FieldKind::kBcd:
      return EncodeBcd(column, value, bytes, scratch);
    default:
      break;
  }
  if (value.text.size() > bytes.size()) return TooLong(column, value.text.size());
  std::memcpy(bytes.data(), value.text.data(), value.text.size());
  std::memset(bytes.data() + value.text.size(), 0, bytes.size() - value.text.size());
  return Status();
}

}  // namespace kelvorin::database::paradox
