#pragma once
// What differs between the members of the dBASE and FoxPro family: the version byte that a table
// file begins with, and the limits of each product for which tables are made. Plain tables of
// constants, read by every other file of this room.

#include <cstdint>
#include <string_view>

namespace kelvorin::database::xbase {

/// How a table's memo file is built.
enum class MemoKind : std::uint8_t {
  kNone,
  kDbt3,  // .DBT of dBASE III: blocks of 512, a text ends at 0x1A
  kDbt4,  // .DBT of dBASE IV and 5: blocks with a head, freed blocks are chained
  kFpt,   // .FPT of FoxPro: big-endian heads, freed blocks are lost
};

enum class Access : std::uint8_t { kReadWrite, kReadOnly, kRefused };

/// Meaning of a version byte.
struct Version {
  std::uint8_t byte;
  MemoKind memo;  // of tables that have memo fields
  bool visual;    // FoxPro 3.0 and later: field flags, binary types, 4-byte memo pointers
  Access access;
  std::string_view what;  // for messages
};

/// The version a table file's first byte stands for, or null when it is no table of this family.
const Version* FindVersion(std::uint8_t byte) noexcept;

/// Products in whose manner tables are made. dBASE IV and 5 share their version bytes.
enum class Product : std::uint8_t { kDbase3, kDbase4, kDbase5, kFoxPro2, kFoxPro3 };

/// What a product can hold. Sizes in bytes; digits include sign and point.
struct Limits {
  std::string_view name;  // for messages
  std::uint8_t version_plain;
  std::uint8_t version_memo;
  MemoKind memo;
  std::uint16_t max_fields;
  std::uint32_t max_record_bytes;  // deletion byte included
  std::uint8_t max_number_digits;
  char binary_letter;  // field type for binary values of any length, '\0' when there is none
};
const Limits& LimitsOf(Product product) noexcept;

inline constexpr std::uint16_t kMaxTextBytes = 254;
/// Largest table or memo file that programs of this family can address.
inline constexpr std::uint64_t kMaxFileBytes = 0x7FFFFFFF;

/// The product a connect string's type word stands for, without regard to case; false when the word
/// is none of this family.
bool FindProduct(std::string_view type_word, Product& out) noexcept;

}  // namespace kelvorin::database::xbase
