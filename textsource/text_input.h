#pragma once
// The bytes of a text file as the record reader takes them: a compressed file (gzip) is unpacked
// and UTF-16 becomes UTF-8 on the way in; any other file is read as it is. Offsets count the bytes
// that come out. Nothing is written to disk, and memory does not grow with the file.

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "base/M_FILE.h"
#include "base/status.h"

namespace kelvorin::textsource {

inline constexpr int kUtf16LittleEndianPage = 1200;
inline constexpr int kUtf16BigEndianPage = 1201;

/// The page of UTF-16 text by its byte-order mark, or, when `unmarked` may be, where zeros stand in
/// every other place as in no other text; 0 for anything else. `start` is the file's first bytes.
int Utf16Page(std::string_view start, bool unmarked) noexcept;

class TextInput {
 public:
  /// `unmarked_utf16`: whether UTF-16 without a byte-order mark is recognised too; a dump of binary
  /// records may look like it.
  static Result<TextInput> Open(const std::string& path, bool unmarked_utf16);
  TextInput(TextInput&&) noexcept;
  TextInput& operator=(TextInput&&) noexcept;
  ~TextInput();

  const std::string& path() const noexcept { return file_.path(); }
  /// 1200 or 1201 when the file is UTF-16, so that what comes out is UTF-8; 0 when its bytes come
  /// as they are.
  int utf16_page() const noexcept { return utf16_page_; }
  bool compressed() const noexcept { return compressed_; }

  /// Bytes that come out, as far as can be told without reading everything: exact for a plain file.
  Result<std::uint64_t> Size() const;
  /// Number of bytes read; fewer than `out` holds only at the end. Cheap for a plain file and for
  /// offsets that ascend, however they fall behind the furthest one. Fails with `kCorrupt` where a
  /// compressed file is damaged or cut off.
  Result<std::size_t> ReadAt(std::uint64_t offset, std::span<char> out) const;

  /// Characters of UTF-16 that were none, in what has been read from the front.
  std::int64_t replaced_characters() const noexcept;

 private:
  class Stream;

  explicit TextInput(base::InputFile file) noexcept;
  bool plain() const noexcept { return !compressed_ && utf16_page_ == 0; }

  base::InputFile file_;
  bool compressed_ = false;
  int utf16_page_ = 0;
  // Two places to read on from: the front, and behind it for records that are looked at again.
  mutable std::unique_ptr<Stream> front_;
  mutable std::unique_ptr<Stream> behind_;
};

}  // namespace kelvorin::textsource
