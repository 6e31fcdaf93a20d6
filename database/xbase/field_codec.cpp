#include "database/xbase/field_codec.h"

#include "base/M_STRING.h"
#include "database/errors.h"
#include "database/xbase/decimal_text.h"
#include "values/decimal_digits.h"
#include "values/hex_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

namespace kelvorin::database::xbase {
namespace {

using values::DateTime;
using values::Kind;
using values::Value;

constexpr std::int32_t kMillisecondsOfDay = 86'400'000;
constexpr std::size_t kMaxShown = 40;  // bytes of a wrong value shown in a message

/// Bytes of a field for a message: printable ASCII as it is, the rest as ".".
std::string Shown(base::ByteSpan bytes) {
  std::string text(base::AsText(bytes.first(std::min(bytes.size(), kMaxShown))));
  for (char& c : text)
    if (c < ' ' || c > '~') c = '.';
  return "'" + text + (bytes.size() > kMaxShown ? "...'" : "'");
}

bool IsFill(std::byte byte) noexcept {
  return byte == std::byte{' '} || byte == std::byte{0};
}
bool AllFill(base::ByteSpan bytes) noexcept {
  return std::all_of(bytes.begin(), bytes.end(), IsFill);
}
void Fill(base::MutableByteSpan bytes, char with) noexcept {
  std::memset(bytes.data(), with, bytes.size());
}

/// Without the blanks and zero bytes at its end; most texts are much shorter than their field.
base::ByteSpan WithoutFill(base::ByteSpan bytes) noexcept {
  constexpr std::uint64_t kBlanks = 0x2020202020202020;
  std::size_t size = bytes.size();
  while (size >= sizeof kBlanks && base::LoadLE64(bytes, size - sizeof kBlanks) == kBlanks)
    size -= sizeof kBlanks;
  while (size > 0 && IsFill(bytes[size - 1])) --size;
  return bytes.first(size);
}

/// Columns whose bytes cannot say Null themselves.
bool NeedsNullBit(const Column& column) noexcept {
  return column.letter == 'I' || column.letter == 'Y' ||
         (column.letter == 'B' && column.type == TypeCode::kDouble);
}
bool IsBinaryWidth(const Column& column) noexcept {
  return NeedsNullBit(column) || column.letter == 'T' || (InMemoFile(column) && column.bytes == 4);
}

void SetDate(std::int32_t day, std::int32_t milliseconds, Value& out) noexcept {
  out.kind = Kind::kDateTime;
  out.date_time = {day, milliseconds};
}

bool DecodeDate(base::ByteSpan bytes, Value& out) noexcept {
  std::int32_t digits = 0;
  for (std::byte byte : bytes) {
    const unsigned digit = static_cast<unsigned>(byte) - '0';
    if (digit > 9) return AllFill(bytes);
    digits = digits * 10 + static_cast<std::int32_t>(digit);
  }
  if (digits == 0) return true;  // some programs write an empty date as zeros
  const values::CivilDate date{digits / 10000, digits / 100 % 100, digits % 100};
  if (!values::IsValidDate(date)) return false;
  SetDate(values::ToDay(date), 0, out);
  return true;
}

bool DecodeDateTime(base::ByteSpan bytes, Value& out) noexcept {
  const std::int64_t julian = static_cast<std::int32_t>(base::LoadLE32(bytes, 0));
  const std::int64_t milliseconds = static_cast<std::int32_t>(base::LoadLE32(bytes, 4));
  if (julian == 0 || AllFill(bytes)) return true;
  // Writers cut to 999 thousandths where they mean the next second.
  std::int64_t second = (milliseconds + 500) / 1000;
  std::int64_t day = julian - values::kJulianDayOfDayZero;
  if (second == kMillisecondsOfDay / 1000) {
    second = 0;
    ++day;
  }
  static const std::int64_t first_day = values::ToDay({1, 1, 1});
  static const std::int64_t last_day = values::ToDay({9999, 12, 31});
  if (day < first_day || day > last_day || milliseconds < 0 || second * 1000 > kMillisecondsOfDay)
    return false;
  SetDate(static_cast<std::int32_t>(day), static_cast<std::int32_t>(second * 1000), out);
  return true;
}

bool DecodeBoolean(std::byte byte, Value& out) noexcept {
  switch (static_cast<char>(byte)) {
    case 'T':
    case 't':
    case 'Y':
    case 'y':
      out.boolean = true;
      break;
    case 'F':
    case 'f':
    case 'N':
    case 'n':
      out.boolean = false;
      break;
    case '?':
    case ' ':
    case '\0':
      return true;
    default:
      return false;
  }
  out.kind = Kind::kBoolean;
  return true;
}

bool DecodeNumber(base::ByteSpan bytes, std::string& scratch, Value& out) {
  switch (ParseNumber(base::AsText(bytes), out.number, out.text, scratch)) {
    case NumberText::kBlank:
      return true;
    case NumberText::kNumber:
      out.kind = Kind::kDouble;
      return true;
    case NumberText::kWrong:
      break;
  }
  return false;
}

bool DecodeDouble(base::ByteSpan bytes, Value& out) noexcept {
  out.number = std::bit_cast<double>(base::LoadLE64(bytes, 0));
  out.text = {};
  if (!std::isfinite(out.number)) return false;
  out.kind = Kind::kDouble;
  return true;
}

// The failures are built out of the way of the fields that are fine.
[[gnu::cold, gnu::noinline]] Status Failure(Code code, ErrorNumber number, const Column& column,
                                            const std::string& what) {
  return MakeStatus(code, number, "field '" + column.name + "' " + what);
}

[[gnu::cold, gnu::noinline]] Status NoNumber(const Column& column) {
  return Failure(Code::kConversion, ErrorNumber::kConversion, column,
                 "cannot hold a value that is no number");
}

[[gnu::cold, gnu::noinline]] Status NoPage(const Column& column, int page) {
  return Failure(Code::kConversion, ErrorNumber::kConversion, column,
                 "is in code page " + std::to_string(page) +
                     ", which is not supported; only ASCII can be stored");
}

[[gnu::cold, gnu::noinline]] Status TooLong(const Column& column, std::size_t size) {
  return Failure(
      Code::kTooLong, ErrorNumber::kFieldTooSmall, column,
      "holds " + std::to_string(column.bytes) + " bytes, the value has " + std::to_string(size));
}

[[gnu::cold, gnu::noinline]] Status NoRoom(const Column& column, std::string_view number) {
  return Failure(Code::kConversion, ErrorNumber::kConversion, column,
                 "cannot hold " + std::string(number) + ": it has room for " +
                     std::to_string(column.bytes) + " characters, " +
                     std::to_string(column.decimals) + " of them decimals");
}

[[gnu::cold, gnu::noinline]] Status NoYear(const Column& column, std::int32_t year) {
  return Failure(Code::kConversion, ErrorNumber::kConversion, column,
                 "cannot hold a date of the year " + std::to_string(year));
}

void StoreDigits(base::MutableByteSpan out, std::size_t at, std::int32_t value,
                 std::size_t count) noexcept {
  for (std::size_t i = count; i > 0; --i, value /= 10)
    out[at + i - 1] = static_cast<std::byte>('0' + value % 10);
}

}  // namespace

bool FieldCodec::Bit(base::ByteSpan row, int bit) const noexcept {
  if (bit < 0) return false;
  const auto at = layout_->null_flags_at + static_cast<unsigned>(bit) / 8;
  return (base::Load8(row, at) >> (bit % 8) & 1) != 0;
}

void FieldCodec::SetBit(base::MutableByteSpan row, int bit, bool on) const noexcept {
  if (bit < 0) return;
  std::byte& byte = row[layout_->null_flags_at + static_cast<unsigned>(bit) / 8];
  const std::byte mask = std::byte{1} << (bit % 8);
  byte = on ? byte | mask : byte & ~mask;
}

bool FieldCodec::DecodeText(const Column& column, base::ByteSpan bytes, std::string& scratch,
                            Value& out) const {
  out.text = base::AsText(bytes);
  if (!column.binary() && !page_->ToAnsi(out.text, scratch, out.text)) return false;
  out.kind = Kind::kText;
  return true;
}

bool FieldCodec::Decode(const Column& column, base::ByteSpan row, std::string& scratch,
                        Value& out) const {
  out.kind = Kind::kNull;
  if (Bit(row, column.null_bit)) return true;  // what the bytes say then is stale
  base::ByteSpan bytes = row.subspan(column.offset, column.bytes);
  switch (column.letter) {
    case 'C':
      return DecodeText(column, WithoutFill(bytes), scratch, out);
    case 'N':
    case 'F':
      return DecodeNumber(bytes, scratch, out);
    case 'D':
      return DecodeDate(bytes, out);
    case 'L':
      return DecodeBoolean(bytes[0], out);
    case 'T':
      return DecodeDateTime(bytes, out);
    case 'B':
      return DecodeDouble(bytes, out);
    case 'I':
      out.kind = Kind::kInteger;
      out.integer = static_cast<std::int32_t>(base::LoadLE32(bytes, 0));
      return true;
    case 'Y':
      out.kind = Kind::kCurrency;
      out.integer = static_cast<std::int64_t>(base::LoadLE64(bytes, 0));
      return true;
    default:
      break;
  }
  KV_ASSERT(column.short_bit >= 0 || column.letter == 'V' || column.letter == 'Q',
            "a letter that the layout let pass");
  if (Bit(row, column.short_bit)) {
    const std::size_t used = base::Load8(bytes, bytes.size() - 1);
    if (used >= bytes.size()) return false;
    bytes = bytes.first(used);
  }
  if (column.letter == 'V') return DecodeText(column, bytes, scratch, out);
  out.kind = Kind::kBytes;
  out.text = base::AsText(bytes);
  return true;
}

std::string FieldCodec::WhatIsWrong(const Column& column, base::ByteSpan row) const {
  const base::ByteSpan bytes = row.subspan(column.offset, column.bytes);
  switch (column.letter) {
    case 'N':
    case 'F':
      return "holds " + Shown(bytes) + ", which is no number";
    case 'D':
      return "holds " + Shown(bytes) + ", which is no date";
    case 'L':
      return "holds " + Shown(bytes) + ", which is neither true nor false";
    case 'T':
      return "holds the bytes " + values::HexOf(base::AsText(bytes)) +
             ", which are no date and time";
    case 'B':
      return "holds the bytes " + values::HexOf(base::AsText(bytes)) + ", which are no number";
    default:
      break;
  }
  const std::size_t used = base::Load8(bytes, bytes.size() - 1);
  if (column.letter != 'C' && Bit(row, column.short_bit) && used >= bytes.size())
    return "claims to use " + std::to_string(used) + " of its " + std::to_string(bytes.size()) +
           " bytes";
  return "holds text in code page " + std::to_string(page_->number()) + ", which is not supported";
}

std::string FieldCodec::DecodeBlock(const Column& column, base::ByteSpan row,
                                    std::uint32_t& block) const {
  block = 0;
  if (Bit(row, column.null_bit)) return {};
  const base::ByteSpan bytes = row.subspan(column.offset, column.bytes);
  if (bytes.size() == 4) {
    block = base::LoadLE32(bytes, 0);
    return {};
  }
  std::string_view text = base::AsText(bytes);
  while (!text.empty() && IsFill(static_cast<std::byte>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && IsFill(static_cast<std::byte>(text.back()))) text.remove_suffix(1);
  if (text.empty()) return {};
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, block);
  if (read.ec == std::errc() && read.ptr == end) return {};
  block = 0;
  return "holds " + Shown(bytes) + ", which is no block number of a memo";
}

void FieldCodec::EncodeBlock(const Column& column, std::uint32_t block,
                             base::MutableByteSpan row) const {
  const base::MutableByteSpan bytes = row.subspan(column.offset, column.bytes);
  SetBit(row, column.null_bit, block == 0);
  if (bytes.size() == 4) return base::StoreLE32(bytes, 0, block);
  Fill(bytes, ' ');
  for (std::size_t i = bytes.size(); block != 0; block /= 10)
    bytes[--i] = static_cast<std::byte>('0' + block % 10);
}

void FieldCodec::Blank(base::MutableByteSpan row) const {
  Fill(row, ' ');
  Fill(row.subspan(layout_->null_flags_at, layout_->null_flags_bytes), '\0');
  for (const Column& column : layout_->columns) {
    if (IsBinaryWidth(column) || column.letter == 'V' || column.letter == 'Q')
      Fill(row.subspan(column.offset, column.bytes), '\0');
    SetBit(row, column.short_bit, true);
    SetBit(row, column.null_bit, true);
  }
}

Status FieldCodec::EncodeNull(const Column& column, base::MutableByteSpan row) const {
  if (NeedsNullBit(column) && column.null_bit < 0)
    return Failure(Code::kRequired, ErrorNumber::kRequired, column, "takes no Null");
  SetBit(row, column.null_bit, true);
  SetBit(row, column.short_bit, true);
  const bool zeros = IsBinaryWidth(column) || column.short_bit >= 0;
  Fill(row.subspan(column.offset, column.bytes), zeros ? '\0' : ' ');
  return Status();
}

Status FieldCodec::EncodeText(const Column& column, std::string_view text,
                              base::MutableByteSpan row, std::string& scratch,
                              std::size_t& replaced) const {
  std::string_view stored = text;
  if (!column.binary() && column.letter != 'Q' && !page_->FromAnsi(text, scratch, stored, replaced))
    return NoPage(column, page_->number());
  const base::MutableByteSpan bytes = row.subspan(column.offset, column.bytes);
  if (stored.size() > bytes.size()) return TooLong(column, stored.size());
  std::copy(stored.begin(), stored.end(), reinterpret_cast<char*>(bytes.data()));
  const bool varying = column.letter != 'C';
  Fill(bytes.subspan(stored.size()), varying ? '\0' : ' ');
  if (varying && stored.size() < bytes.size()) bytes.back() = static_cast<std::byte>(stored.size());
  SetBit(row, column.short_bit, stored.size() < bytes.size());
  SetBit(row, column.null_bit, false);
  return Status();
}

Status FieldCodec::EncodeNumber(const Column& column, const Value& value,
                                base::MutableByteSpan row) const {
  const base::MutableByteSpan bytes = row.subspan(column.offset, column.bytes);
  // Not cleared: it is filled before it is read, and often.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  std::array<char, values::kMaxPlainDouble> buffer;
  std::string_view plain = value.text;
  if (value.kind == Kind::kInteger) {
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value.integer).ptr;
    plain = {buffer.data(), static_cast<std::size_t>(end - buffer.data())};
  } else if (value.kind == Kind::kCurrency) {
    plain = values::PlainCurrency(value.integer, buffer);
  } else if (plain.empty()) {
    if (!std::isfinite(value.number)) return NoNumber(column);
    plain = values::PlainText(value.number, buffer);
  }
  const std::span<char> field(reinterpret_cast<char*>(bytes.data()), bytes.size());
  if (FormatNumber(plain, column.decimals, field)) {
    SetBit(row, column.null_bit, false);
    return Status();
  }
  return NoRoom(column, plain);
}

Status FieldCodec::EncodeDate(const Column& column, const Value& value,
                              base::MutableByteSpan row) const {
  const base::MutableByteSpan bytes = row.subspan(column.offset, column.bytes);
  DateTime when = value.date_time;
  if (column.letter == 'T') {
    std::int32_t second = (when.milliseconds + 500) / 1000;
    if (second == kMillisecondsOfDay / 1000) {
      second = 0;
      ++when.day;
    }
    base::StoreLE32(bytes, 0, static_cast<std::uint32_t>(when.day + values::kJulianDayOfDayZero));
    base::StoreLE32(bytes, 4, static_cast<std::uint32_t>(second * 1000));
    SetBit(row, column.null_bit, false);
    return Status();
  }
  const values::CivilDate date = values::FromDay(when.day);
  if (date.year < 1 || date.year > 9999) return NoYear(column, date.year);
  StoreDigits(bytes, 0, date.year, 4);
  StoreDigits(bytes, 4, date.month, 2);
  StoreDigits(bytes, 6, date.day, 2);
  SetBit(row, column.null_bit, false);
  return Status();
}

Status FieldCodec::EncodeBinary(const Column& column, const Value& value,
                                base::MutableByteSpan row) const {
  const base::MutableByteSpan bytes = row.subspan(column.offset, column.bytes);
  switch (column.letter) {
    case 'I':
      if (!std::in_range<std::int32_t>(value.integer))
        return Failure(Code::kConversion, ErrorNumber::kConversion, column,
                       "cannot hold " + std::to_string(value.integer));
      base::StoreLE32(bytes, 0, static_cast<std::uint32_t>(value.integer));
      break;
    case 'Y':
      base::StoreLE64(bytes, 0, static_cast<std::uint64_t>(value.integer));
      break;
    default:
      if (!std::isfinite(value.number)) return NoNumber(column);
      base::StoreLE64(bytes, 0, std::bit_cast<std::uint64_t>(value.number));
      break;
  }
  SetBit(row, column.null_bit, false);
  return Status();
}

Status FieldCodec::Encode(const Column& column, const Value& value, base::MutableByteSpan row,
                          std::string& scratch, std::size_t& replaced) const {
  replaced = 0;
  if (value.IsNull()) return EncodeNull(column, row);
  switch (column.letter) {
    case 'C':
    case 'V':
    case 'Q':
      return EncodeText(column, value.text, row, scratch, replaced);
    case 'N':
    case 'F':
      return EncodeNumber(column, value, row);
    case 'D':
    case 'T':
      return EncodeDate(column, value, row);
    case 'L':
      row[column.offset] = value.boolean ? std::byte{'T'} : std::byte{'F'};
      SetBit(row, column.null_bit, false);
      return Status();
    default:
      return EncodeBinary(column, value, row);
  }
}

}  // namespace kelvorin::database::xbase
