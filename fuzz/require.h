#pragma once
// How a fuzzer body reports that a promise is broken: it says what, and dies.

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace kelvorin::fuzz {

inline void Require(bool holds, const char* what, std::string_view text = {}) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s %.*s\n", what, static_cast<int>(text.size()), text.data());
  std::abort();
}

}  // namespace kelvorin::fuzz
