#pragma once
// The GENERAL order of FoxPro for texts of code page 1252: letters without regard to case, accents
// only where everything else is equal. Used by the tags of a table.

#include <cstdint>
#include <string_view>

#include "base/bytes.h"

namespace kelvorin::database::xbase {

inline constexpr int kGeneralCodePage = 1252;

/// Weights of one byte: one or two primary ones (0: none), how many letters that can bear an accent
/// it stands for, and the accent of the first of them.
struct GeneralWeight {
  std::uint8_t primary[2];
  std::uint8_t letters;
  std::uint8_t accent;
};
extern const GeneralWeight kGeneralWeights[256];

/// Key bytes for a text of `bytes` bytes.
constexpr std::size_t GeneralKeyBytes(std::size_t bytes) noexcept {
  return 2 * bytes;
}

/// Fills `key`: the primary weights of the text without the blanks at its end, then the accents
/// without the zeros at their end, then zeros. What does not fit is left out.
void MakeGeneralKey(std::string_view text, base::MutableByteSpan key) noexcept;

}  // namespace kelvorin::database::xbase
