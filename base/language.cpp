#include "base/language.h"

#include <atomic>

#include "base/M_STRING.h"

namespace kelvorin::base {
namespace {

std::atomic<Translation> in_force = nullptr;

}  // namespace

void SetTranslation(Translation translation) noexcept {
  in_force = translation;
}

std::string Tr(std::string_view text) {
  const Translation translation = in_force;
  return translation == nullptr || text.empty() ? std::string(text) : translation(text);
}

std::string Tr(std::string_view pattern, Fillings data) {
  return Fill(Tr(pattern), data);
}

std::string Fill(std::string_view pattern, Fillings data) {
  std::string text;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const std::size_t number = pattern[i] == '%' && i + 1 < pattern.size() &&
                                       pattern[i + 1] >= '1' && pattern[i + 1] <= '9'
                                   ? static_cast<std::size_t>(pattern[i + 1] - '0')
                                   : 0;
    if (number == 0 || number > data.size()) {
      text += pattern[i];
      continue;
    }
    text += data.begin()[number - 1];
    ++i;
  }
  return text;
}

std::string TrCount(std::int64_t number, std::string_view one, std::string_view many) {
  return Tr(number == 1 ? one : many, {ToDecimal(number)});
}

}  // namespace kelvorin::base
