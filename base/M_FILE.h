#pragma once
// File names, whole files and plain sequential files for the rooms above: texts, logs, reject files
// and settings. Names are split at `/` and `\` alike; errors name the file and what the system
// said. All of it stands on `base/file_system.h`; `files` is the operating system's unless told
// otherwise, and outlives what is opened in it. Pages and journals live in `storage`.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
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

class File;
class FileSystem;
FileSystem& RealFileSystem() noexcept;

/// Whether something other than a folder bears this name.
bool FileExists(const std::string& path, FileSystem& files = RealFileSystem());
/// The same for a regular file, which has an end and never lets a reader wait.
bool RegularFileExists(const std::string& path, FileSystem& files = RealFileSystem());
bool FolderExists(const std::string& path, FileSystem& files = RealFileSystem());
/// Whether this process may write the existing file or create files in the existing folder.
bool IsWritable(const std::string& path, FileSystem& files = RealFileSystem());
/// Whether two paths lead to one file or folder, through whatever links; of files that are not
/// there yet, whether they would be one. Empty paths lead nowhere.
bool IsSameFile(const std::string& a, const std::string& b, FileSystem& files = RealFileSystem());

/// Contents of a file, byte for byte. A file of more than `max_bytes` is refused (`kOutOfRange`).
Result<std::string> ReadWholeFile(const std::string& path,
                                  std::uint64_t max_bytes = std::uint64_t{1} << 30,
                                  FileSystem& files = RealFileSystem());
/// Replaces the file in one step: after a crash it holds either the old or the new contents. An
/// existing file keeps its mode, a new one is readable by its owner only. A symbolic link is
/// followed, not replaced.
Status WriteFileAtomically(const std::string& path, std::string_view contents,
                           FileSystem& files = RealFileSystem());
/// Copies a file's bytes into a new file that is its owner's alone; `kAlreadyExists` where `to` is.
Status CopyFile(const std::string& from, const std::string& to,
                FileSystem& files = RealFileSystem());
Status DeleteFile(const std::string& path, FileSystem& files = RealFileSystem());
Status RenameFile(const std::string& from, const std::string& to,
                  FileSystem& files = RealFileSystem());
/// Makes the folder and every missing one above it.
Status MakeFolders(const std::string& path, FileSystem& files = RealFileSystem());
/// Names of a folder's entries, sorted by bytes. An empty folder is the current one.
Result<std::vector<std::string>> ListFolder(const std::string& folder,
                                            FileSystem& files = RealFileSystem());

/// Those of `names` that spell `name` in any case, in byte order.
std::vector<std::string> SpellingsOf(std::vector<std::string> names, std::string_view name);
/// Full path of the entry of `folder` that bears `name` in any case: the exact name when it is
/// there, else the first in byte order. Nothing when there is none. An empty folder is the current
/// one.
std::optional<std::string> FindIgnoringCase(const std::string& folder, std::string_view name,
                                            FileSystem& files = RealFileSystem());

/// Holds a lock between processes until it goes: who changes a file in several steps makes one on a
/// file of its own beside it, which stays there. Move-only.
class FileLock {
 public:
  /// Waits up to `wait_ms` for others to let go; `kLocked` then. The lock file is made when
  /// missing.
  static Result<FileLock> Acquire(const std::string& path, int wait_ms,
                                  FileSystem& files = RealFileSystem());
  FileLock(FileLock&&) noexcept;
  FileLock& operator=(FileLock&&) noexcept;
  ~FileLock();

 private:
  explicit FileLock(std::unique_ptr<File> file) noexcept;
  std::unique_ptr<File> file_;
};

/// A file open for reading at any position; may be a pipe or a device. Move-only; the destructor
/// closes it.
class InputFile {
 public:
  static Result<InputFile> Open(const std::string& path, FileSystem& files = RealFileSystem());
  InputFile(InputFile&&) noexcept;
  InputFile& operator=(InputFile&&) noexcept;
  ~InputFile();

  const std::string& path() const noexcept;
  /// Length in bytes, as it is now.
  Result<std::uint64_t> Size() const;
  /// Number of bytes read; fewer than `out` holds only at the end of the file.
  Result<std::size_t> ReadAt(std::uint64_t offset, std::span<char> out) const;

 private:
  explicit InputFile(std::unique_ptr<File> file) noexcept;
  std::unique_ptr<File> file_;
};

/// A file written from front to back through a small buffer: logs and reject files. Move-only. Call
/// `Close` to learn of a failure; the destructor writes what is pending and stays silent.
class OutputFile {
 public:
  enum class Mode : std::uint8_t { kReplace, kAppend };
  static Result<OutputFile> Open(const std::string& path, Mode mode,
                                 FileSystem& files = RealFileSystem());
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
  explicit OutputFile(std::unique_ptr<File> file);
  Status Put(std::string_view text);
  std::unique_ptr<File> file_;
  std::string pending_;
};

/// A folder in the system's place for temporary files that only its user may enter; it goes, with
/// the files in it, when the object does. Move-only.
class PrivateFolder {
 public:
  /// The folder's name begins with `start`, and goes on as the system likes. The status tells the
  /// place where none could be made.
  static Result<PrivateFolder> Make(std::string_view start);
  /// Bytes that are free where such folders are made; 0 when that is not known.
  static std::uint64_t Room() noexcept;
  PrivateFolder(PrivateFolder&& other) noexcept : path_(std::exchange(other.path_, {})) {}
  PrivateFolder& operator=(PrivateFolder&& other) noexcept {
    std::swap(path_, other.path_);
    return *this;
  }
  ~PrivateFolder();
  const std::string& path() const noexcept { return path_; }

 private:
  explicit PrivateFolder(std::string path) : path_(std::move(path)) {}
  std::string path_;
};

}  // namespace kelvorin::base
