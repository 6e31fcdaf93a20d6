#include "database/access/decimal.h"

#include <algorithm>

namespace kelvorin::database::access {
namespace {
__extension__ using Wide = unsigned __int128;
}

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
  bool negative = false;
  if (!digits.empty() && (digits[0] == '-' || digits[0] == '+')) {
    negative = digits[0] == '-';
    digits.remove_prefix(1);
  }
  Wide number = 0;
  int behind_point = -1;
  int significant = 0;
  bool any = false;
  for (char c : digits) {
    if (c == '.' && behind_point < 0) {
      behind_point = 0;
      continue;
    }
    if (c < '0' || c > '9') return false;
    any = true;
    if (behind_point >= scale) {
      // The first digit that is dropped decides; `behind_point` is raised so that it does once.
      if (behind_point == scale && c >= '5') ++number;
      behind_point = scale + 1;
      continue;
    }
    if (behind_point >= 0) ++behind_point;
    if (number != 0 || c != '0') ++significant;
    if (significant > kDecimalDigits) return false;
    number = number * 10 + static_cast<unsigned>(c - '0');
  }
  if (!any) return false;
  for (int i = std::max(behind_point, 0); i < scale; ++i) {
    if (number != 0) ++significant;
    if (significant > kDecimalDigits) return false;
    number *= 10;
  }
  Wide limit = 1;
  for (int i = 0; i < std::min(precision, kDecimalDigits); ++i) limit *= 10;
  if (number >= limit) return false;
  const base::MutableByteSpan bytes(out);
  base::Store8(bytes, 0, negative && number != 0 ? 0x80 : 0);
  for (std::size_t part = 0; part < 4; ++part)
    base::StoreLE32(bytes, 1 + 4 * part, static_cast<std::uint32_t>(number >> (32 * (3 - part))));
  return true;
}

}  // namespace kelvorin::database::access
