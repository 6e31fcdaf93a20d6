#pragma once
// The tables behind `code_page.h`; nobody else reads them.

#include <cstdint>
#include <span>

namespace kelvorin::base {

struct PageTable {
  int number;
  const char* name;
  const char16_t* upper_half;  // characters of the bytes 128 to 255, all different
};
/// All single-byte pages, sorted by number.
std::span<const PageTable> PageTables() noexcept;

/// A character and the one that stands for it where a page lacks it.
struct SimilarPair {
  char16_t character;
  char16_t similar;
};
/// Sorted by character. A similar character may have a similar one in turn.
std::span<const SimilarPair> SimilarPairs() noexcept;

}  // namespace kelvorin::base
