#pragma once
// Counts what a test program allocates. A program that calls this has its `operator new` replaced.

namespace kelvorin::tests {

/// Allocations by `new` since the program began.
long Allocations();

/// What `step(i)` allocates in so many calls behind the first hundred.
template <typename F>
long AllocationsIn(int calls, F&& step) {
  long before = 0;
  for (int i = 0; i < calls; ++i) {
    if (i == 100) before = Allocations();
    step(i);
  }
  return Allocations() - before;
}

}  // namespace kelvorin::tests
