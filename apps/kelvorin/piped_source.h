#pragma once
// Text that comes through a pipe, which can be read only once, while an import looks at its source
// several times.

#include <cstdio>
#include <memory>
#include <string>

#include "base/status.h"

namespace kelvorin::app {

/// What a pipe gave, in a temporary file without a name that goes with this object.
class PipedSource {
 public:
  /// Whether this is standard input ("-"), a pipe or a device.
  static bool IsPipe(const std::string& path);
  /// Reads everything; fails with `kIo` naming the source.
  static Result<PipedSource> Read(const std::string& path);

  /// Opens the copy as often as one likes, while this object lives.
  const std::string& path() const noexcept { return path_; }

 private:
  struct Closer {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Closer> file_;
  std::string path_;
};

}  // namespace kelvorin::app
