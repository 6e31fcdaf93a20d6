#pragma once
// Files as the operating system gives them: positioned reads and writes, locks, folders. The only
// room that makes these calls; it knows no formats and no messages and answers with
// `std::error_code`. Used by `base`, whose `FileSystem` the rooms above see.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <system_error>
#include <vector>

namespace kelvorin::os {

enum class OpenMode : std::uint8_t {
  kRead,           // must exist
  kReadWrite,      // must exist
  kCreateNew,      // read and write; fails when it exists
  kCreatePrivate,  // the same, and nobody but the owner may open it
  kCreateOrTruncate,
  kAppend,  // created when missing; every write goes to the end
};

enum class LockKind : std::uint8_t { kShared, kExclusive };

/// What makes two paths the same file.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  bool operator==(const FileIdentity&) const = default;
};

enum class FileKind : std::uint8_t { kNone, kRegular, kFolder, kLink, kOther };

/// What the system tells of a file: a path that leads nowhere has the kind `kNone` and zeros.
struct FileFacts {
  FileKind kind = FileKind::kNone;  // kOther: pipe, device, socket
  FileIdentity identity;
  std::uint64_t size = 0;   // bytes
  std::uint64_t owner = 0;  // user number
  std::uint64_t links = 0;  // names that lead to it in its file system
};

/// What may be opened: a pipe or device is fine to read text from, and no place for a table.
enum class Accept : std::uint8_t { kAny, kRegular };

/// One open file; closed by the destructor.
class FileHandle {
 public:
  FileHandle() noexcept = default;
  FileHandle(FileHandle&& other) noexcept;
  FileHandle& operator=(FileHandle&& other) noexcept;
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  ~FileHandle();

  /// New files get mode 0666 less the umask, or 0600 when `only_owner`. With `Accept::kRegular` the
  /// call never waits, and answers `operation_not_supported` for what is no regular file.
  static FileHandle Open(const std::string& path, OpenMode mode, std::error_code& error,
                         bool only_owner = false, Accept accept = Accept::kAny);
  bool is_open() const noexcept { return fd_ >= 0; }
  /// A deferred write error of the operating system is reported here.
  void Close(std::error_code& error) noexcept;

  std::uint64_t Size(std::error_code& error) const noexcept;
  FileFacts Facts(std::error_code& error) const noexcept;
  /// Bytes read, fewer than asked only at the end of the file.
  std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> out,
                     std::error_code& error) const noexcept;
  /// Writes everything or fails; a write behind the end leaves a hole of zeros.
  void WriteAt(std::uint64_t offset, std::span<const std::byte> in,
               std::error_code& error) noexcept;
  /// The same for parts that lie behind each other in the file and anywhere in memory.
  void WriteAt(std::uint64_t offset, std::span<const std::span<const std::byte>> parts,
               std::error_code& error) noexcept;
  /// Sequential write at the file's position (files opened with kAppend: at the end).
  void Write(std::span<const std::byte> in, std::error_code& error) noexcept;
  void Truncate(std::uint64_t size, std::error_code& error) noexcept;
  /// Reserves disk blocks up to `size` without changing the file's length; a file system that
  /// cannot reserve is no error.
  void Reserve(std::uint64_t size, std::error_code& error) noexcept;
  void Sync(std::error_code& error) noexcept;
  /// Byte-range lock of this handle (open-file-description locks); false when somebody else holds
  /// it.
  bool TryLock(std::uint64_t offset, std::uint64_t length, LockKind kind,
               std::error_code& error) noexcept;
  void Unlock(std::uint64_t offset, std::uint64_t length, std::error_code& error) noexcept;
  /// Gives this file the owner, group and mode of another, as far as the system allows.
  void TakeAccess(const FileHandle& from) noexcept;

 private:
  /// False, with `file_too_large`, when a change reaching to `end` would break the process's limit
  /// of file sizes: the system would answer such a call with a deadly signal.
  bool WithinLimit(std::uint64_t end, std::error_code& error) const noexcept;

  int fd_ = -1;
  std::uint64_t limit_ = ~std::uint64_t{0};  // bytes; of the process, as of the opening
};

/// The folder part of a path: "." for a bare name, "/" for what lies at the root.
std::string FolderOf(const std::string& path);
/// What a path leads to, symbolic links followed, and what the name itself stands for. Never fail:
/// what cannot be looked at is `kNone`.
FileFacts Facts(const std::string& path) noexcept;
FileFacts Look(const std::string& path) noexcept;
/// Whether a file may be written, or files may be made and removed in a folder, as far as rights
/// and mounts tell.
bool IsWritable(const std::string& path) noexcept;
/// Number of the user in whose name this process works.
std::uint64_t CurrentUser() noexcept;
/// The absolute path with every symbolic link followed. What is not there stays as it is named,
/// behind the folders that are. Empty, with an error, where links lead in a circle or a folder may
/// not be looked into.
std::string RealPath(const std::string& path, std::error_code& error);
void Remove(const std::string& path, std::error_code& error) noexcept;
void Rename(const std::string& from, const std::string& to, std::error_code& error) noexcept;
/// Gives the file `to` the mode of the file `from`, and its owner where that is allowed.
void CopyAccess(const std::string& from, const std::string& to, std::error_code& error) noexcept;
void MakeFolders(const std::string& path, std::error_code& error) noexcept;
/// The system's place for temporary files; with an error, what it named where there is none.
std::string TemporaryFolder(std::error_code& error);
/// Bytes that this user may still write to the file system of a folder; 0 when that is not known.
std::uint64_t FreeBytes(const std::string& folder) noexcept;
/// Makes a folder that only its owner may enter; its path is `start` and letters of the system's
/// choice. Empty, with an error, when it cannot be made.
std::string MakePrivateFolder(const std::string& start, std::error_code& error);
/// Removes an empty folder.
void RemoveFolder(const std::string& path, std::error_code& error) noexcept;
/// Names of the entries of a folder (without "." and ".."), in no particular order.
std::vector<std::string> List(const std::string& folder, std::error_code& error);
/// Makes a rename or a new file in this folder survive a crash.
void SyncFolder(const std::string& folder, std::error_code& error) noexcept;

}  // namespace kelvorin::os
