#pragma once
// A folder of one test case's own, removed with everything in it when the object goes.

#include <string>
#include <string_view>

namespace kelvorin::tests {

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }
  /// The full path of `name` inside the folder.
  std::string File(std::string_view name) const;

 private:
  std::string path_;
};

/// Whole contents of a file, byte for byte; fails the test case when it cannot be read.
std::string ReadWhole(const std::string& path);
void WriteWhole(const std::string& path, std::string_view contents);

/// The folder of sample files, or empty when it is absent (the case then says it is skipped).
std::string SampleFolder(std::string_view kind);

}  // namespace kelvorin::tests
