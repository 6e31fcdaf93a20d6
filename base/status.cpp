#include "base/status.h"

#include <cstdio>
#include <cstdlib>

namespace kelvorin::base {

void AssertionFailed(const char* condition, const char* message, const char* file,
                     int line) noexcept {
  std::fprintf(stderr, "%s:%d: broken invariant: %s (%s)\n", file, line, message, condition);
  std::abort();
}

}  // namespace kelvorin::base
