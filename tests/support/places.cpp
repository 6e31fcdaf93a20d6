#include "tests/support/places.h"

#include <filesystem>

namespace kelvorin::tests {

std::string SourceFolder() {
  return KELVORIN_SOURCE_DIR;
}
std::string SamplesRoot() {
  return KELVORIN_SAMPLES;
}
bool HasSamples(const std::string& kind) {
  return std::filesystem::is_directory(SamplesRoot() + "/" + kind);
}

}  // namespace kelvorin::tests
