#include "base/M_Misc.h"

namespace kelvorin::base {

int FindListItem(std::span<const std::string> list, std::string_view text) noexcept {
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i] == text) return static_cast<int>(i);
  }
  return -1;
}

}  // namespace kelvorin::base
