#include "contract/enums.h"

#include <array>
#include <charconv>

#include "base/M_STRING.h"

namespace kelvorin::contract {
namespace {

struct KindRow {
  std::string_view source_name;   // FileTypeFormat member
  std::string_view connect_name;  // TypeConnect member, empty for text
  std::string_view type_word;     // first part of a connect string
};

constexpr std::array<KindRow, 15> kKinds{{
    {"TVariable", "", ""},
    {"TFixed", "", ""},
    {"THtmlTags", "", ""},
    {"TAccess", "Access", ""},
    {"TParadox3", "Paradox3", "Paradox 3.x"},
    {"TParadox4", "Paradox4", "Paradox 4.x"},
    {"TParadox5", "Paradox5", "Paradox 5.x"},
    {"TDBASE3", "DBase3", "dBASE III"},
    {"TDBASE4", "DBase4", "dBASE IV"},
    {"TDBASE5", "DBase5", "dBASE 5.0"},
    {"TFOXPRO20", "FOXPRO20", "FoxPro 20"},
    {"TFOXPRO25", "FOXPRO25", "FoxPro 2.5"},
    {"TFOXPRO26", "FOXPRO26", "FoxPro 2.6"},
    {"TFOXPRO30", "FOXPRO30", "FoxPro 3.0"},
    {"TODBC", "ODBC", "ODBC"},
}};

const KindRow* Row(std::int16_t kind) noexcept {
  return IsKnownKind(kind) ? &kKinds[static_cast<std::size_t>(kind)] : nullptr;
}

std::optional<std::int16_t> ParseKind(std::string_view text,
                                      std::string_view KindRow::*name) noexcept {
  for (std::size_t i = 0; i < kKinds.size(); ++i) {
    const std::string_view member = kKinds[i].*name;
    if (!member.empty() && base::EqualIgnoreCase(member, text)) return static_cast<std::int16_t>(i);
  }
  std::int16_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

std::optional<std::string_view> ConnectTypeName(std::int16_t kind) noexcept {
  if (kind < kAccess || kind > kOdbc) return std::nullopt;
  return Row(kind)->type_word;
}

std::string_view TypeConnectName(std::int16_t kind) noexcept {
  const KindRow* row = Row(kind);
  return row ? row->connect_name : std::string_view();
}

std::string_view FileTypeFormatName(std::int16_t kind) noexcept {
  const KindRow* row = Row(kind);
  return row ? row->source_name : std::string_view();
}

std::optional<std::int16_t> ParseTypeConnect(std::string_view text) noexcept {
  return ParseKind(text, &KindRow::connect_name);
}

std::optional<std::int16_t> ParseFileTypeFormat(std::string_view text) noexcept {
  return ParseKind(text, &KindRow::source_name);
}

}  // namespace kelvorin::contract
