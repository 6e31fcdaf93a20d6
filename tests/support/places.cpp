#include "tests/support/places.h"

namespace kelvorin::tests {

std::string SourceFolder() {
  return KELVORIN_SOURCE_DIR;
}
std::string SamplesRoot() {
  return KELVORIN_SAMPLES;
}

}  // namespace kelvorin::tests
