#pragma once
// Whole numbers of 128 bits with a decimal scale, as decimal columns store them, from and to exact
// decimal digits. Pure functions.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/bytes.h"

namespace kelvorin::database::access {

inline constexpr int kDecimalDigits = 28;

/// The exact digits of a stored decimal (17 bytes: sign, four 32-bit parts, the highest first), in
/// the form that values carry; without zeros at the end of the fraction.
void AppendDecimalDigits(base::ByteSpan stored, int scale, std::string& out);

/// Stores exact digits, rounded half away from zero to `scale`. False when they are no number or
/// have more than `precision` digits.
bool StoreDecimal(std::string_view digits, int precision, int scale,
                  std::array<std::byte, 17>& out);

}  // namespace kelvorin::database::access
