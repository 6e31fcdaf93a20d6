#pragma once
// The one interface through which the product meets files and folders: tables and their journals,
// texts, logs, reject files, settings. The operating system's files stand behind it, or, in a test,
// a disk in memory or one that fails. Every call that fails throws `base::Error`. `storage` and the
// drivers of files use it as it is, everybody else through `base/M_FILE.h`, which answers with
// `Status`.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "base/status.h"
#include "os/files.h"

namespace kelvorin::base {

/// What the operating system refused: "<path>: <doing>: <reason>". Codes: `kNotFound`,
/// `kAlreadyExists`, `kNoSpace`, `kLocked`, `kReadOnly` (the disk is, or the file may not be
/// opened for writing), else `kIo`.
class FileError final : public Error {
 public:
  FileError(Code code, const std::string& path, const std::string& doing, std::string reason)
      : Error(code, path + ": " + doing + ": " + reason), reason_(std::move(reason)) {}
  /// What the system said, alone.
  const std::string& reason() const noexcept { return reason_; }

 private:
  std::string reason_;
};

/// One open file; closed, with its locks, by the destructor.
class File {
 public:
  virtual ~File() = default;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  /// The path it was opened by.
  const std::string& path() const noexcept { return path_; }

  virtual std::uint64_t Size() = 0;
  /// Bytes read; fewer than asked only at the end of the file.
  virtual std::size_t Read(std::uint64_t offset, MutableByteSpan out) = 0;
  /// All or an error; what lies between the old end and `offset` reads as zeros.
  virtual void Write(std::uint64_t offset, ByteSpan in) = 0;
  /// The same for parts that lie behind each other in the file and anywhere in memory.
  virtual void WriteParts(std::uint64_t offset, std::span<const ByteSpan> parts);
  /// Writes behind what the last call of it wrote; of a file opened with `kAppend`, behind
  /// whatever is there by then. Pipes and devices take nothing else.
  virtual void Append(ByteSpan in) = 0;
  virtual void Truncate(std::uint64_t size) = 0;
  /// Sets disk room aside up to `size` without changing the length; `kNoSpace` when there is none.
  /// Where a file system cannot do that, nothing happens.
  virtual void Reserve(std::uint64_t size) = 0;
  /// Returns when what was written outlives a loss of power.
  virtual void Sync() = 0;
  /// Closes the file before the destructor does, to learn what the system told no earlier call.
  /// Nothing else may be called afterwards.
  virtual void Close() = 0;
  /// Locks a byte range (which may lie behind the end) against every other opening of the file, in
  /// this process too; false when one of them holds any of it.
  virtual bool TryLock(std::uint64_t offset, std::uint64_t length, os::LockKind kind) = 0;
  virtual void Unlock(std::uint64_t offset, std::uint64_t length) = 0;
  virtual os::FileFacts Facts() = 0;
  os::FileIdentity Identity() { return Facts().identity; }
  /// Gives this file the owner and the rights of another of the same file system, as far as that is
  /// allowed; never fails.
  virtual void TakeAccess(File& from) noexcept = 0;

 protected:
  explicit File(std::string path) : path_(std::move(path)) {}

 private:
  std::string path_;
};

/// Where files are found and made.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  /// With `Accept::kRegular` it never waits, and what is no regular file (a folder, a pipe, a
  /// device) is refused; with `kAny` only a folder is. Errors: see `FileError`.
  virtual std::unique_ptr<File> Open(const std::string& path, os::OpenMode mode,
                                     os::Accept accept = os::Accept::kRegular) = 0;
  /// What a path leads to, symbolic links followed; `kNone` when nothing is there.
  virtual os::FileFacts Facts(const std::string& path) = 0;
  bool Exists(const std::string& path) { return Facts(path).kind != os::FileKind::kNone; }
  /// What the name itself stands for, a symbolic link not followed; `kNone` when nothing is there.
  virtual os::FileFacts Look(const std::string& path) = 0;
  /// Whether a file may be written, or files may be made in a folder, as far as rights and mounts
  /// tell.
  virtual bool IsWritable(const std::string& path) = 0;
  /// Number of the user in whose name files are opened.
  virtual std::uint64_t User() = 0;
  /// The absolute path with every symbolic link followed, also where the file that it names is not
  /// there yet.
  virtual std::string RealPath(const std::string& path) = 0;
  virtual void Remove(const std::string& path) = 0;
  virtual void Rename(const std::string& from, const std::string& to) = 0;
  /// Gives the file `to` the rights of the file `from`, and its owner where that is allowed.
  virtual void CopyAccess(const std::string& from, const std::string& to) = 0;
  /// Makes the folder and every missing one above it.
  virtual void MakeFolders(const std::string& path) = 0;
  /// Names of a folder's entries, in no particular order.
  virtual std::vector<std::string> List(const std::string& folder) = 0;
  /// Returns when files made, renamed or removed in this folder stay so after a loss of power.
  virtual void SyncFolder(const std::string& folder) = 0;
  /// A clock that only goes forward.
  virtual std::int64_t Milliseconds() noexcept = 0;
};

/// The operating system's files. Has no state of its own; lives as long as the process.
FileSystem& RealFileSystem() noexcept;

/// The folder part of a path ("." for a bare name) and the name part.
using os::FolderOf;
std::string NameOf(const std::string& path);
/// The path of the file `name` in the folder of `path`, the root folder included.
std::string Beside(const std::string& path, const std::string& name);

}  // namespace kelvorin::base
