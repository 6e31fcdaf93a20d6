#pragma once
// File names, whole files and plain sequential files for the rooms above: everything that reads or
// writes a file without knowing the operating system. Names are split at `/` and `\` alike; errors
// name the file and what the system said. Pages, locks and journals live in `storage`.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace kelvorin::base {

// --- Names. Views point into the argument.

/// Everything before the last separator: `/a/b.txt` gives `/a`, `/b.txt` gives `/`, `b.txt` gives
/// an empty view.
std::string_view FolderPart(std::string_view path) noexcept;
/// Everything behind the last separator: `/a/b.txt` gives `b.txt`.
std::string_view NamePart(std::string_view path) noexcept;
/// The name without its extension: `/a/b.c.txt` gives `b.c`, `/a/.rc` gives `.rc`.
std::string_view BaseNamePart(std::string_view path) noexcept;
/// The extension without its point: `/a/b.c.txt` gives `txt`, `/a/.rc` and `/a/b` give nothing.
std::string_view ExtensionPart(std::string_view path) noexcept;
/// `folder` and `name` with one separator between them; `name` alone when `folder` is empty.
std::string JoinPath(std::string_view folder, std::string_view name);

// --- Whole files and folders.

/// Whether something other than a folder bears this name.
bool FileExists(const std::string& path);
bool FolderExists(const std::string& path);
/// Whether this process may write the existing file or create files in the existing folder.
bool IsWritable(const std::string& path);

/// Contents of a file, byte for byte. A file of more than `max_bytes` is refused (`kOutOfRange`).
Result<std::string> ReadWholeFile(const std::string& path,
                                  std::uint64_t max_bytes = std::uint64_t{1} << 30);
/// Replaces the file in one step: after a crash it holds either the old or the new contents. An
/// existing file keeps its mode, a new one is readable by its owner only.
Status WriteFileAtomically(const std::string& path, std::string_view contents);
Status DeleteFile(const std::string& path);
Status RenameFile(const std::string& from, const std::string& to);
/// Makes the folder and every missing one above it.
Status MakeFolders(const std::string& path);
/// Names of a folder's entries, sorted by bytes.
Result<std::vector<std::string>> ListFolder(const std::string& folder);

/// Full path of the entry of `folder` that bears `name` in any case: the exact name when it is
/// there, else the first in byte order. Nothing when there is none. An empty folder is the current
/// one.
std::optional<std::string> FindIgnoringCase(const std::string& folder, std::string_view name);

/// Holds a lock between processes until it goes: who changes a file in several steps makes one on a
/// file of its own beside it, which stays there. Move-only.
class FileLock {
 public:
  /// Waits up to `wait_ms` for others to let go; `kLocked` then. The lock file is made when
  /// missing.
  static Result<FileLock> Acquire(const std::string& path, int wait_ms);
  FileLock(FileLock&&) noexcept;
  FileLock& operator=(FileLock&&) noexcept;
  ~FileLock();

 private:
  struct Open_;
  explicit FileLock(std::unique_ptr<Open_> file) noexcept;
  std::unique_ptr<Open_> file_;
};

/// A file open for reading at any position. Move-only; the destructor closes it.
class InputFile {
 public:
  static Result<InputFile> Open(const std::string& path);
  InputFile(InputFile&&) noexcept;
  InputFile& operator=(InputFile&&) noexcept;
  ~InputFile();

  const std::string& path() const noexcept;
  /// Length in bytes, as it is now.
  Result<std::uint64_t> Size() const;
  /// Number of bytes read; fewer than `out` holds only at the end of the file.
  Result<std::size_t> ReadAt(std::uint64_t offset, std::span<char> out) const;

 private:
  struct Open_;
  explicit InputFile(std::unique_ptr<Open_> file) noexcept;
  std::unique_ptr<Open_> file_;
};

/// A file written from front to back through a small buffer: logs and reject files. Move-only. Call
/// `Close` to learn of a failure; the destructor writes what is pending and stays silent.
class OutputFile {
 public:
  enum class Mode : std::uint8_t { kReplace, kAppend };
  static Result<OutputFile> Open(const std::string& path, Mode mode);
  OutputFile(OutputFile&&) noexcept;
  OutputFile& operator=(OutputFile&&) noexcept;
  ~OutputFile();

  const std::string& path() const noexcept;
  Status Write(std::string_view text);
  /// Hands everything written so far to the operating system.
  Status Flush();
  /// Flushes, and waits until the contents are on the disk.
  Status Sync();
  Status Close();

 private:
  struct Open_;
  explicit OutputFile(std::unique_ptr<Open_> file) noexcept;
  std::unique_ptr<Open_> file_;
};

}  // namespace kelvorin::base
