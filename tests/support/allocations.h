#pragma once
// Counts what a test program allocates. A program that calls this has its `operator new` replaced.

namespace kelvorin::tests {

/// Allocations by `new` since the program began.
long Allocations();

}  // namespace kelvorin::tests
