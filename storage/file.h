#pragma once
// Files and folders as the storage room sees them: interfaces, so that tests can put memory or a
// failing disk in the place of the real one. Every call that fails throws `base::Error` naming the
// file, the place and the system's reason. Drivers use `Store`; of this header they need
// `FileSystem` (to list a folder, remove or rename a table) and `RealFileSystem`.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "os/files.h"

namespace kelvorin::storage {

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
  virtual std::size_t Read(std::uint64_t offset, base::MutableByteSpan out) = 0;
  /// All or an error; what lies between the old end and `offset` reads as zeros.
  virtual void Write(std::uint64_t offset, base::ByteSpan in) = 0;
  /// The same for parts that lie behind each other in the file and anywhere in memory.
  virtual void WriteParts(std::uint64_t offset, std::span<const base::ByteSpan> parts);
  virtual void Truncate(std::uint64_t size) = 0;
  /// Sets disk room aside up to `size` without changing the length; `kNoSpace` when there is none.
  /// Where a file system cannot do that, nothing happens.
  virtual void Reserve(std::uint64_t size) = 0;
  /// Returns when what was written outlives a loss of power.
  virtual void Sync() = 0;
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

  /// Never waits; what is no regular file (a folder, a pipe, a device) is refused. Errors:
  /// `kNotFound`, `kAlreadyExists`, `kReadOnly` (writing is not allowed), else `kIo`.
  virtual std::unique_ptr<File> Open(const std::string& path, os::OpenMode mode) = 0;
  virtual bool Exists(const std::string& path) = 0;
  /// What the name itself leads to, a symbolic link not followed; `kNone` when nothing is there.
  virtual os::FileFacts Look(const std::string& path) = 0;
  /// Whether files can be made in a folder, as far as rights and mounts tell.
  virtual bool CanMakeFilesIn(const std::string& folder) = 0;
  /// Number of the user in whose name files are opened.
  virtual std::uint64_t User() = 0;
  /// The path with every symbolic link followed; `kNotFound` when nothing is there.
  virtual std::string RealPath(const std::string& path) = 0;
  virtual void Remove(const std::string& path) = 0;
  virtual void Rename(const std::string& from, const std::string& to) = 0;
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
std::string FolderOf(const std::string& path);
std::string NameOf(const std::string& path);
/// The path of the file `name` in the folder of `path`, the root folder included.
std::string Beside(const std::string& path, const std::string& name);

}  // namespace kelvorin::storage
