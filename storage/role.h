#pragma once
// What a file is to the table it belongs to. A journal names roles and no paths: which file plays a
// role is said by the driver that opens the table, as it would be without a journal.

#include <cstdint>
#include <string>

namespace kelvorin::storage {

enum class Role : std::uint32_t {
  kMain = 0,
  kMemo = 1,
  kFirstIndex = 0x100,
  /// The place in the order of attaching serves as the role. Good where that order is always the
  /// same.
  kByOrder = 0x10000,
};

/// Index file `number`, counted from 0 in an order that the table itself tells.
constexpr Role IndexRole(std::uint32_t number) noexcept {
  return Role(static_cast<std::uint32_t>(Role::kFirstIndex) + (number & 0x7FFF));
}

/// "table", "memo file", "index file 2", "companion file 1", for messages.
std::string RoleName(Role role);

}  // namespace kelvorin::storage
