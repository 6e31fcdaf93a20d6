#pragma once
// The tables behind `case_map.h`; nobody else reads them.

#include <cstdint>
#include <span>

namespace kelvorin::base {

/// Every `step`-th character from `first` to `last` has its pair `distance` further on.
struct CaseRange {
  std::uint32_t first;
  std::uint32_t last;
  std::uint32_t step;
  std::int32_t distance;
};
/// Sorted by `first`, not overlapping.
std::span<const CaseRange> UpperRanges() noexcept;
std::span<const CaseRange> LowerRanges() noexcept;

}  // namespace kelvorin::base
