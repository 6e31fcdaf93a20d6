#include "tests/support/temp_folder.h"
#include "tests/support/places.h"

#include <doctest/doctest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace kelvorin::tests {

TempFolder::TempFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "kelvorin-XXXXXX").string();
  const char* made = mkdtemp(pattern.data());
  REQUIRE_MESSAGE(made != nullptr, "cannot make a temporary folder");
  path_ = made;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempFolder::File(std::string_view name) const {
  return path_ + "/" + std::string(name);
}

std::string ReadWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  REQUIRE_MESSAGE(in.good(), "cannot read " << path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteWhole(const std::string& path, std::string_view contents) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  REQUIRE_MESSAGE(out.good(), "cannot write " << path);
}

std::string SampleFolder(std::string_view kind) {
  const std::string folder = SamplesRoot() + "/" + std::string(kind);
  if (HasSamples(std::string(kind))) return folder;
  MESSAGE("skipped: no sample files at " << folder);
  return {};
}

}  // namespace kelvorin::tests
