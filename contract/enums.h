#pragma once
// The two enumerations of the control's interface and the words that belong to their values.
// Everybody who names a kind of source or target uses these; nothing here opens anything.

#include <cstdint>
#include <optional>
#include <string_view>

namespace kelvorin::contract {

/// Kind of a database. Values 3 to 14 are shared with `FileTypeFormat`.
enum class TypeConnect : std::int16_t {
  Access = 3,
  Paradox3 = 4,
  Paradox4 = 5,
  Paradox5 = 6,
  DBase3 = 7,
  DBase4 = 8,
  DBase5 = 9,
  FOXPRO20 = 10,
  FOXPRO25 = 11,
  FOXPRO26 = 12,
  FOXPRO30 = 13,
  ODBC = 14,
};

/// Kind of an import source: three text layouts, then the database kinds.
enum class FileTypeFormat : std::int16_t {
  TVariable = 0,
  TFixed = 1,
  THtmlTags = 2,
  TAccess = 3,
  TParadox3 = 4,
  TParadox4 = 5,
  TParadox5 = 6,
  TDBASE3 = 7,
  TDBASE4 = 8,
  TDBASE5 = 9,
  TFOXPRO20 = 10,
  TFOXPRO25 = 11,
  TFOXPRO26 = 12,
  TFOXPRO30 = 13,
  TODBC = 14,
};

/// The type word that stands in front of a connect string for kinds 3 to 14 (empty for Access,
/// "FoxPro 20" without a point for FOXPRO20: kept as it is). Nothing for any other value, so that a
/// caller keeps the name it had.
std::optional<std::string_view> ConnectTypeName(std::int16_t kind) noexcept;

/// Member name of a `TypeConnect` value ("DBase3"), empty for other values.
std::string_view TypeConnectName(std::int16_t kind) noexcept;
/// Member name of a `FileTypeFormat` value ("TDBASE3"), empty for other values.
std::string_view FileTypeFormatName(std::int16_t kind) noexcept;
/// Value for a member name without regard to case, or for decimal digits; nothing when it is
/// neither. A number need not be a member's.
std::optional<std::int16_t> ParseTypeConnect(std::string_view text) noexcept;
std::optional<std::int16_t> ParseFileTypeFormat(std::string_view text) noexcept;

// Source kinds as the raw numbers that settings store, which need not be a member's.
inline constexpr std::int16_t kDelimitedText = 0;
inline constexpr std::int16_t kFixedWidthText = 1;
inline constexpr std::int16_t kHtmlTags = 2;
inline constexpr std::int16_t kAccess = 3;  // the first of the databases
inline constexpr std::int16_t kParadox3 = 4;
inline constexpr std::int16_t kParadox5 = 6;
inline constexpr std::int16_t kDbase3 = 7;
inline constexpr std::int16_t kFoxPro30 = 13;
inline constexpr std::int16_t kOdbc = 14;

constexpr bool IsTextKind(std::int32_t kind) noexcept {
  return kind >= kDelimitedText && kind <= kHtmlTags;
}
constexpr bool IsXbaseKind(std::int32_t kind) noexcept {
  return kind >= kDbase3 && kind <= kFoxPro30;
}
constexpr bool IsTableFileKind(std::int32_t kind) noexcept {
  return kind >= kParadox3 && kind <= kFoxPro30;
}
constexpr bool IsKnownKind(std::int32_t kind) noexcept {
  return kind >= kDelimitedText && kind <= kOdbc;
}

}  // namespace kelvorin::contract
