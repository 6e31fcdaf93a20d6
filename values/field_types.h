#pragma once
// The engine's field type codes with their display names and nominal sizes; one owner for the
// whole product.

#include <cstdint>
#include <optional>
#include <string_view>

namespace kelvorin::values {

/// 16-bit type code as the engine reports it in a field's `Type`.
enum class TypeCode : std::int16_t {
  kBoolean = 1,
  kByte = 2,
  kInteger = 3,
  kLong = 4,
  kCurrency = 5,
  kSingle = 6,
  kDouble = 7,
  kDate = 8,
  kBinary = 9,
  kText = 10,
  kLongBinary = 11,
  kMemo = 12,
  kGuid = 15,
  kBigInt = 16,
  kVarBinary = 17,
  kChar = 18,
  kNumeric = 19,
  kDecimal = 20,
  kFloat = 21,
  kTime = 22,
  kTimeStamp = 23,
};

/// Display name of a type code ("Text"), empty for a code outside the table. Never fails.
std::string_view FieldType(std::int16_t code) noexcept;
/// Nominal size of a type code, 0 for a code outside the table. Kept as it is where it does not
/// match the storage width (Currency 4, Single 0, GUID 10, Numeric 4).
std::int16_t DefaultSize(std::int16_t code) noexcept;
/// Code for a display name without regard to case.
std::optional<TypeCode> TypeFromName(std::string_view name) noexcept;

constexpr bool IsBinary(TypeCode type) noexcept {
  return type == TypeCode::kBinary || type == TypeCode::kLongBinary || type == TypeCode::kVarBinary;
}
/// Whole numbers, amounts and floating point; not dates, times and truth values.
constexpr bool IsNumber(TypeCode type) noexcept {
  using enum TypeCode;
  return (type >= kByte && type <= kDouble) || type == kBigInt ||
         (type >= kNumeric && type <= kFloat);
}
/// Types whose values are text: an empty one is text of length zero, not Null.
constexpr bool IsText(TypeCode type) noexcept {
  return type == TypeCode::kText || type == TypeCode::kMemo || type == TypeCode::kChar;
}

}  // namespace kelvorin::values
