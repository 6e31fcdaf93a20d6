#include "database/access/decimal.h"

#include "values/decimal_digits.h"

#include <algorithm>

namespace kelvorin::database::access {
namespace {
__extension__ using Wide = unsigned __int128;

bool IsPlain(std::string_view digits) noexcept {
  if (!digits.empty() && digits[0] == '-') digits.remove_prefix(1);
  const std::size_t point = digits.find('.');
  return digits.find_first_of("0123456789") != digits.npos &&
         digits.find_first_not_of(".0123456789") == digits.npos &&
         (point == digits.npos || digits.find('.', point + 1) == digits.npos);
}

}  // namespace

void AppendDecimalDigits(base::ByteSpan stored, int scale, std::string& out) {
  Wide number = 0;
  for (std::size_t part = 0; part < 4; ++part)
    number = number << 32 | base::LoadLE32(stored, 1 + 4 * part);
  if ((base::Load8(stored, 0) & 0x80) != 0 && number != 0) out += '-';
  const std::size_t start = out.size();
  for (; number != 0; number /= 10) out += static_cast<char>('0' + static_cast<int>(number % 10));
  const auto fraction = static_cast<std::size_t>(scale);
  if (out.size() - start <= fraction) out.append(start + fraction + 1 - out.size(), '0');
  std::reverse(out.begin() + static_cast<std::ptrdiff_t>(start), out.end());
  if (fraction == 0) return;
  out.insert(out.size() - fraction, 1, '.');
  out.erase(out.find_last_not_of('0') + 1);
  if (out.back() == '.') out.pop_back();
}

bool StoreDecimal(std::string_view digits, int precision, int scale,
                  std::array<std::byte, 17>& out) {
  if (!digits.empty() && digits[0] == '+') digits.remove_prefix(1);
  if (!IsPlain(digits)) return false;
  std::array<char, kDecimalDigits + 2> room{};
  values::RoundedDigits parts;
  const auto decimals = static_cast<std::size_t>(scale);
  if (!values::RoundDigits(digits, decimals, room, parts)) return false;
  Wide number = 0;
  for (const char c : parts.whole) number = number * 10 + static_cast<unsigned>(c - '0');
  for (std::size_t i = 0; i < decimals; ++i)
    number = number * 10 +
             static_cast<unsigned>(i < parts.fraction.size() ? parts.fraction[i] - '0' : 0);
  Wide limit = 1;
  for (int i = 0; i < std::min(precision, kDecimalDigits); ++i) limit *= 10;
  if (number >= limit) return false;
  const base::MutableByteSpan bytes(out);
  base::Store8(bytes, 0, parts.negative ? 0x80 : 0);
  for (std::size_t part = 0; part < 4; ++part)
    base::StoreLE32(bytes, 1 + 4 * part, static_cast<std::uint32_t>(number >> (32 * (3 - part))));
  return true;
}

}  // namespace kelvorin::database::access
