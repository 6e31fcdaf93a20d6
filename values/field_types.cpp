#include "values/field_types.h"

#include <array>

#include "base/M_STRING.h"

namespace kelvorin::values {
namespace {

struct TypeRow {
  std::string_view name;
  std::int16_t size;
};

// By code from 0; codes without a name are no types.
constexpr std::array<TypeRow, 24> kTypes{{
    {"", 0},         {"Boolean", 2},    {"Byte", 1},      {"Integer", 2},   {"Long", 4},
    {"Currency", 4}, {"Single", 0},     {"Double", 8},    {"Date", 8},      {"Binary", 0},
    {"Text", 0},     {"LongBinary", 0}, {"Memo", 0},      {"", 0},          {"", 0},
    {"GUID", 10},    {"BigInt", 0},     {"VarBinary", 0}, {"Char", 1},      {"Numeric", 4},
    {"Decimal", 14}, {"Float", 4},      {"Time", 8},      {"TimeStamp", 0},
}};

constexpr TypeRow Row(std::int16_t code) noexcept {
  const auto at = static_cast<std::size_t>(code);
  return code >= 0 && at < kTypes.size() ? kTypes[at] : TypeRow{"", 0};
}

}  // namespace

std::string_view FieldType(std::int16_t code) noexcept {
  return Row(code).name;
}

std::int16_t DefaultSize(std::int16_t code) noexcept {
  return Row(code).size;
}

std::optional<TypeCode> TypeFromName(std::string_view name) noexcept {
  if (name.empty()) return std::nullopt;
  for (std::size_t code = 0; code < kTypes.size(); ++code) {
    if (base::EqualIgnoreCase(kTypes[code].name, name)) return static_cast<TypeCode>(code);
  }
  return std::nullopt;
}

}  // namespace kelvorin::values
