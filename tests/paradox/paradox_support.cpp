#include "tests/paradox/paradox_support.h"

#include "base/M_FILE.h"
#include "base/case_map.h"
#include "tests/support/places.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>

#include <cstdlib>
#include <filesystem>

namespace kelvorin::tests {

void CheckByOracle(const std::string& path, const std::string& options) {
  static const std::string checker = [] {
    std::string found = SamplesRoot() + "/../tools/pxoracle.py";
    if (SamplesRoot().empty() || !std::filesystem::exists(found)) found.clear();
    if (found.empty()) MESSAGE("the independent checker is not there and left out");
    return found;
  }();
  if (checker.empty()) return;
  const std::string command = "python3 " + checker + " check " + options + " " + path;
  const int result = std::system((command + " > " + path + ".oracle").c_str());
  CHECK_MESSAGE(result == 0, ReadWhole(path + ".oracle"));
  std::filesystem::remove(path + ".oracle");
}

void CopyTable(const std::string& from, const std::string& name, const std::string& to) {
  for (const auto& entry : std::filesystem::directory_iterator(from)) {
    const std::string file = entry.path().filename().string();
    const std::string extension = entry.path().extension().string();
    if (extension != ".csv" && base::EqualAnyCase(base::BaseNamePart(file), name))
      std::filesystem::copy(entry.path(), to + "/" + file);
  }
}

}  // namespace kelvorin::tests
