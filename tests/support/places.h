#pragma once
// Where the repository and the sample files lie. The build names them to one file alone, so that
// every other object is the same in any folder and a compiler cache can share it.

#include <string>

namespace kelvorin::tests {

/// The repository's root.
std::string SourceFolder();
/// The folder of sample files, which may be absent.
std::string SamplesRoot();
/// Whether there are samples of a kind. A case that lives by them is skipped, and counted as such:
/// `TEST_CASE("..." * doctest::skip(!HasSamples("access")))`.
bool HasSamples(const std::string& kind);

}  // namespace kelvorin::tests
