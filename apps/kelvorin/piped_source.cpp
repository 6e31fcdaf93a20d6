#include "apps/kelvorin/piped_source.h"

#include <array>

#include "base/M_FILE.h"

namespace kelvorin::app {

bool PipedSource::IsPipe(const std::string& path) {
  return path == "-" || (base::FileExists(path) && !base::RegularFileExists(path));
}

Result<PipedSource> PipedSource::Read(const std::string& path) {
  const bool standard = path == "-";
  std::unique_ptr<std::FILE, Closer> opened(standard ? nullptr : std::fopen(path.c_str(), "rb"));
  std::FILE* const in = standard ? stdin : opened.get();
  const std::string name = standard ? "standard input" : "'" + path + "'";
  PipedSource source;
  source.file_.reset(std::tmpfile());
  if (in == nullptr || !source.file_)
    return Status(Code::kIo, name + " cannot be " +
                                 (in == nullptr ? "opened"
                                                : "kept: no room for "
                                                  "temporary files"));
  std::array<char, 64 * 1024> block;
  for (std::size_t got = 0; (got = std::fread(block.data(), 1, block.size(), in)) > 0;) {
    if (std::fwrite(block.data(), 1, got, source.file_.get()) != got)
      return Status(Code::kNoSpace, name + " is longer than there is room for temporary files");
  }
  if (std::ferror(in) != 0) return Status(Code::kIo, name + " cannot be read to its end");
  if (std::fflush(source.file_.get()) != 0)
    return Status(Code::kNoSpace, name + " is longer than there is room for temporary files");
  source.path_ = "/proc/self/fd/" + std::to_string(fileno(source.file_.get()));
  return source;
}

}  // namespace kelvorin::app
