#pragma once
// Text of the clipboard as a file that an import can read, for as long as the object lives.

#include <string>
#include <string_view>
#include <utility>

#include "base/M_FILE.h"
#include "base/status.h"

namespace kelvorin::wizard {

class PastedText {
 public:
  /// Writes the text, which is UTF-8, in the ANSI page to a new file of the system's folder for
  /// temporary files that only its user may read.
  static Result<PastedText> Keep(std::string_view text);
  const std::string& path() const noexcept { return path_; }

 private:
  explicit PastedText(base::PrivateFolder folder)
      : folder_(std::move(folder)), path_(base::JoinPath(folder_.path(), "clipboard.txt")) {}
  base::PrivateFolder folder_;
  std::string path_;
};

}  // namespace kelvorin::wizard
