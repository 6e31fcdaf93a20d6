#include "database/xbase/collation.h"

#include "base/M_STRING.h"

#include <algorithm>

namespace kelvorin::database::xbase {

void MakeGeneralKey(std::string_view text, base::MutableByteSpan key) noexcept {
  text = base::TrimRight(text);
  std::fill(key.begin(), key.end(), std::byte{0});
  std::size_t at = 0;
  const auto put = [&](unsigned weight) {
    if (at < key.size()) key[at] = static_cast<std::byte>(weight);
    ++at;
  };
  std::size_t letters = 0, last_accent = 0;  // the latter counted from 1
  for (char c : text) {
    const GeneralWeight& weight = kGeneralWeights[static_cast<unsigned char>(c)];
    put(weight.primary[0]);
    if (weight.primary[1] != 0) put(weight.primary[1]);
    if (weight.accent != 0) last_accent = letters + 1;
    letters += weight.letters;
  }
  if (last_accent == 0) return;
  std::size_t letter = 0;
  for (char c : text) {
    const GeneralWeight& weight = kGeneralWeights[static_cast<unsigned char>(c)];
    for (unsigned i = 0; i < weight.letters && letter < last_accent; ++i, ++letter)
      put(i == 0 ? weight.accent : 0u);
  }
}

}  // namespace kelvorin::database::xbase
