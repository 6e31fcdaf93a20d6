#pragma once
// Where the repository and the sample files lie. The build names them to one file alone, so that
// every other object is the same in any folder and a compiler cache can share it.

#include <string>

namespace kelvorin::tests {

/// The repository's root.
std::string SourceFolder();
/// The folder of sample files, which may be absent.
std::string SamplesRoot();

}  // namespace kelvorin::tests
