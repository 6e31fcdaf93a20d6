#pragma once
// Unpacks a gzip file from front to back, members one behind the other. Used by `TextInput`.

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "base/M_FILE.h"
#include "base/status.h"

namespace kelvorin::textsource {

/// Whether a file that begins so is a gzip file.
bool IsGzip(std::string_view start) noexcept;

class GzipReader {
 public:
  /// The file must outlive the reader.
  explicit GzipReader(const base::InputFile& file);
  ~GzipReader();
  GzipReader(const GzipReader&) = delete;
  GzipReader& operator=(const GzipReader&) = delete;

  /// The next unpacked bytes; fewer than `out` holds only at the end. `kCorrupt` for damage,
  /// `kNotSupported` when the program was built without zlib.
  Result<std::size_t> Read(std::span<char> out);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace kelvorin::textsource
