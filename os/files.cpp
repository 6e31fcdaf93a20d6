#include "os/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <utility>

namespace kelvorin::os {
namespace {

std::error_code Last() noexcept {
  return {errno, std::generic_category()};
}

/// Repeats a call that a signal interrupted.
template <typename Call>
auto Retry(Call call) noexcept {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

/// False, with an error, when the range does not fit the system's signed offsets.
bool FitsOffset(std::uint64_t offset, std::uint64_t length, std::error_code& error) noexcept {
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
  if (offset <= kLargest && length <= kLargest - offset) return true;
  error = std::make_error_code(std::errc::file_too_large);
  return false;
}

int Flags(OpenMode mode) noexcept {
  switch (mode) {
    case OpenMode::kRead:
      return O_RDONLY;
    case OpenMode::kReadWrite:
      return O_RDWR;
    case OpenMode::kCreateNew:
    case OpenMode::kCreatePrivate:
      return O_RDWR | O_CREAT | O_EXCL;
    case OpenMode::kCreateOrTruncate:
      return O_RDWR | O_CREAT | O_TRUNC;
    case OpenMode::kAppend:
      return O_WRONLY | O_CREAT | O_APPEND;
  }
  return O_RDONLY;
}

FileFacts FactsOf(const struct stat& facts) noexcept {
  FileFacts out;
  out.kind = S_ISREG(facts.st_mode)   ? FileKind::kRegular
             : S_ISDIR(facts.st_mode) ? FileKind::kFolder
             : S_ISLNK(facts.st_mode) ? FileKind::kLink
                                      : FileKind::kOther;
  out.identity = {static_cast<std::uint64_t>(facts.st_dev),
                  static_cast<std::uint64_t>(facts.st_ino)};
  out.size = static_cast<std::uint64_t>(facts.st_size);
  out.owner = facts.st_uid;
  out.links = static_cast<std::uint64_t>(facts.st_nlink);
  return out;
}

std::uint64_t SizeLimit() noexcept {
  struct rlimit limit {};
  if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
    return ~std::uint64_t{0};
  return limit.rlim_cur;
}

/// Where a chain of symbolic links ends, whether or not a file is there.
std::string FollowLinks(std::string path, std::error_code& error) {
  constexpr int kMaxLinks = 40;  // the kernel's own limit
  for (int links = 0; links <= kMaxLinks; ++links) {
    struct stat facts {};
    if (::lstat(path.c_str(), &facts) != 0) {
      if (errno != ENOENT) error = Last();
      return path;
    }
    if (!S_ISLNK(facts.st_mode)) return path;
    std::string target(4096, '\0');
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    if (length < 0) {
      error = Last();
      return path;
    }
    target.resize(static_cast<std::size_t>(length));
    if (!target.starts_with('/')) target.insert(0, FolderOf(path).append("/"));
    path = std::move(target);
  }
  error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
  return path;
}

}  // namespace

FileHandle::FileHandle(FileHandle&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), limit_(other.limit_) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
  if (this != &other) {
    std::error_code ignored;
    Close(ignored);
    fd_ = std::exchange(other.fd_, -1);
    limit_ = other.limit_;
  }
  return *this;
}

FileHandle::~FileHandle() {
  std::error_code ignored;
  Close(ignored);
}

FileHandle FileHandle::Open(const std::string& path, OpenMode mode, std::error_code& error,
                            bool only_owner, Accept accept) {
  error.clear();
  FileHandle handle;
  const bool regular = accept == Accept::kRegular;
  struct stat facts {};
  // Looked at before it is opened, because opening alone moves some devices; and again after.
  if (regular && ::stat(path.c_str(), &facts) == 0 && !S_ISREG(facts.st_mode) &&
      !S_ISDIR(facts.st_mode)) {
    error = std::make_error_code(std::errc::operation_not_supported);
    return handle;
  }
  const mode_t permissions = only_owner || mode == OpenMode::kCreatePrivate ? 0600 : 0666;
  const int flags = Flags(mode) | O_CLOEXEC | (regular ? O_NONBLOCK | O_NOCTTY : 0);
  handle.fd_ = Retry([&] { return ::open(path.c_str(), flags, permissions); });
  if (handle.fd_ < 0) {
    error = Last();
    return handle;
  }
  // A folder opens for reading without complaint and fails only later, with a puzzling message.
  if (::fstat(handle.fd_, &facts) != 0) {
    error = Last();
  } else if (S_ISDIR(facts.st_mode)) {
    error = std::make_error_code(std::errc::is_a_directory);
  } else if (regular && !S_ISREG(facts.st_mode)) {
    error = std::make_error_code(std::errc::operation_not_supported);
  }
  if (error) {
    handle = FileHandle();
  } else if (mode != OpenMode::kRead) {
    handle.limit_ = SizeLimit();
  }
  return handle;
}

bool FileHandle::WithinLimit(std::uint64_t end, std::error_code& error) const noexcept {
  if (end <= limit_) return true;
  error = std::make_error_code(std::errc::file_too_large);
  return false;
}

void FileHandle::Close(std::error_code& error) noexcept {
  error.clear();
  if (fd_ < 0) return;
  // Not repeated after EINTR: the descriptor is gone then, and its number may be somebody else's.
  if (::close(std::exchange(fd_, -1)) != 0 && errno != EINTR) error = Last();
}

FileFacts FileHandle::Facts(std::error_code& error) const noexcept {
  error.clear();
  struct stat facts {};
  if (::fstat(fd_, &facts) == 0) return FactsOf(facts);
  error = Last();
  return {};
}

std::uint64_t FileHandle::Size(std::error_code& error) const noexcept {
  return Facts(error).size;
}

std::size_t FileHandle::ReadAt(std::uint64_t offset, std::span<std::byte> out,
                               std::error_code& error) const noexcept {
  error.clear();
  std::size_t done = 0;
  if (!FitsOffset(offset, out.size(), error)) return 0;
  while (done < out.size()) {
    const ssize_t count = Retry([&] {
      return ::pread(fd_, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
    });
    if (count < 0) {
      error = Last();
      break;
    }
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

void FileHandle::WriteAt(std::uint64_t offset, std::span<const std::byte> in,
                         std::error_code& error) noexcept {
  error.clear();
  if (!FitsOffset(offset, in.size(), error) || !WithinLimit(offset + in.size(), error)) return;
  while (!in.empty()) {
    const ssize_t count =
        Retry([&] { return ::pwrite(fd_, in.data(), in.size(), static_cast<off_t>(offset)); });
    if (count <= 0) {
      error = count < 0 ? Last() : std::make_error_code(std::errc::io_error);
      return;
    }
    in = in.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
}

void FileHandle::WriteAt(std::uint64_t offset, std::span<const std::span<const std::byte>> parts,
                         std::error_code& error) noexcept {
  error.clear();
  std::size_t size = 0;
  for (const std::span<const std::byte> part : parts) size += part.size();
  if (!FitsOffset(offset, size, error) || !WithinLimit(offset + size, error)) return;
  std::size_t done = 0;  // of the first part
  while (!parts.empty()) {
    // Not cleared: it is filled before it is read, and often.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
    std::array<iovec, 64> now;
    std::size_t count = 0;
    for (; count < now.size() && count < parts.size(); ++count) {
      const auto rest = parts[count].subspan(count == 0 ? done : 0);
      now[count] = {.iov_base = const_cast<std::byte*>(rest.data()), .iov_len = rest.size()};
    }
    const ssize_t written = Retry([&] {
      return ::pwritev(fd_, now.data(), static_cast<int>(count), static_cast<off_t>(offset));
    });
    if (written < 0 || (written == 0 && size > 0)) {
      error = written < 0 ? Last() : std::make_error_code(std::errc::io_error);
      return;
    }
    offset += static_cast<std::uint64_t>(written);
    size -= static_cast<std::size_t>(written);
    done += static_cast<std::size_t>(written);
    while (!parts.empty() && done >= parts.front().size()) {
      done -= parts.front().size();
      parts = parts.subspan(1);
    }
  }
}

void FileHandle::Write(std::span<const std::byte> in, std::error_code& error) noexcept {
  error.clear();
  if (limit_ != ~std::uint64_t{0}) {
    // Only under a limit is it worth asking where the writing goes.
    const int flags = ::fcntl(fd_, F_GETFL);
    const bool at_end = flags >= 0 && (flags & O_APPEND) != 0;
    const off_t at = ::lseek(fd_, 0, at_end ? SEEK_END : SEEK_CUR);
    if (at >= 0 && !WithinLimit(static_cast<std::uint64_t>(at) + in.size(), error)) return;
  }
  while (!in.empty()) {
    const ssize_t count = Retry([&] { return ::write(fd_, in.data(), in.size()); });
    if (count <= 0) {
      error = count < 0 ? Last() : std::make_error_code(std::errc::io_error);
      return;
    }
    in = in.subspan(static_cast<std::size_t>(count));
  }
}

void FileHandle::Truncate(std::uint64_t size, std::error_code& error) noexcept {
  error.clear();
  if (!FitsOffset(size, 0, error) || !WithinLimit(size, error)) return;
  if (Retry([&] { return ::ftruncate(fd_, static_cast<off_t>(size)); }) != 0) error = Last();
}

void FileHandle::Reserve(std::uint64_t size, std::error_code& error) noexcept {
  error.clear();
  const std::uint64_t now = Size(error);
  if (error || size <= now || !FitsOffset(size, 0, error) || !WithinLimit(size, error)) return;
  if (Retry([&] {
        return ::fallocate(fd_, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(now),
                           static_cast<off_t>(size - now));
      }) == 0)
    return;
  // EINVAL comes from things that are no regular files, the others from file systems without the
  // call (older NFS, FAT).
  if (errno != EOPNOTSUPP && errno != ENOSYS && errno != EINVAL) error = Last();
}

void FileHandle::Sync(std::error_code& error) noexcept {
  error.clear();
  // The length is synced too where the data needs it; times of change are not worth a second write.
  if (Retry([&] { return ::fdatasync(fd_); }) != 0) error = Last();
}

bool FileHandle::TryLock(std::uint64_t offset, std::uint64_t length, LockKind kind,
                         std::error_code& error) noexcept {
  error.clear();
  if (!FitsOffset(offset, length, error)) return false;
  struct flock range {};
  range.l_type = kind == LockKind::kShared ? F_RDLCK : F_WRLCK;
  range.l_whence = SEEK_SET;
  range.l_start = static_cast<off_t>(offset);
  range.l_len = static_cast<off_t>(length);
  if (Retry([&] { return ::fcntl(fd_, F_OFD_SETLK, &range); }) == 0) return true;
  if (errno != EAGAIN && errno != EACCES) error = Last();
  return false;
}

void FileHandle::Unlock(std::uint64_t offset, std::uint64_t length,
                        std::error_code& error) noexcept {
  error.clear();
  if (!FitsOffset(offset, length, error)) return;
  struct flock range {};
  range.l_type = F_UNLCK;
  range.l_whence = SEEK_SET;
  range.l_start = static_cast<off_t>(offset);
  range.l_len = static_cast<off_t>(length);
  if (Retry([&] { return ::fcntl(fd_, F_OFD_SETLK, &range); }) != 0) error = Last();
}

void FileHandle::TakeAccess(const FileHandle& from) noexcept {
  struct stat facts {};
  if (::fstat(from.fd_, &facts) != 0) return;
  const bool foreign = facts.st_uid != ::geteuid() || facts.st_gid != ::getegid();
  if (foreign && ::fchown(fd_, facts.st_uid, facts.st_gid) != 0) errno = 0;
  // Mode last: a change of owner clears bits of it.
  if (::fchmod(fd_, facts.st_mode & 0777) != 0) errno = 0;
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

FileFacts Facts(const std::string& path) noexcept {
  struct stat facts {};
  return ::stat(path.c_str(), &facts) == 0 ? FactsOf(facts) : FileFacts{};
}

FileFacts Look(const std::string& path) noexcept {
  struct stat facts {};
  return ::lstat(path.c_str(), &facts) == 0 ? FactsOf(facts) : FileFacts{};
}

bool IsWritable(const std::string& path) noexcept {
  const int asked = Facts(path).kind == FileKind::kFolder ? W_OK | X_OK : W_OK;
  return ::faccessat(AT_FDCWD, path.c_str(), asked, AT_EACCESS) == 0;
}

std::uint64_t CurrentUser() noexcept {
  return ::geteuid();
}

std::string RealPath(const std::string& path, std::error_code& error) {
  error.clear();
  const std::string end = FollowLinks(path, error);
  if (error) return {};
  const std::filesystem::path whole = std::filesystem::absolute(end, error);
  std::string real =
      error ? std::string() : std::filesystem::weakly_canonical(whole, error).string();
  return error ? std::string() : real;
}

void Remove(const std::string& path, std::error_code& error) noexcept {
  error.clear();
  if (::unlink(path.c_str()) != 0) error = Last();
}

std::string TemporaryFolder(std::error_code& error) {
  return std::filesystem::temp_directory_path(error).string();
}

std::uint64_t FreeBytes(const std::string& folder) noexcept {
  struct statvfs facts {};
  if (::statvfs(folder.c_str(), &facts) != 0) return 0;
  return std::uint64_t{facts.f_bavail} * facts.f_frsize;
}

std::string MakePrivateFolder(const std::string& start, std::error_code& error) {
  error.clear();
  std::string path = start + "XXXXXX";
  if (::mkdtemp(path.data()) != nullptr) return path;
  error = Last();
  return {};
}

void RemoveFolder(const std::string& path, std::error_code& error) noexcept {
  error.clear();
  if (::rmdir(path.c_str()) != 0) error = Last();
}

void Rename(const std::string& from, const std::string& to, std::error_code& error) noexcept {
  error.clear();
  if (::rename(from.c_str(), to.c_str()) != 0) error = Last();
}

void CopyAccess(const std::string& from, const std::string& to, std::error_code& error) noexcept {
  error.clear();
  struct stat facts {};
  if (::stat(from.c_str(), &facts) != 0) {
    error = Last();
    return;
  }
  // The owner changes for a privileged user only. Mode last: a change of owner clears bits of it.
  const bool foreign = facts.st_uid != ::geteuid() || facts.st_gid != ::getegid();
  if (foreign && ::chown(to.c_str(), facts.st_uid, facts.st_gid) != 0) errno = 0;
  if (::chmod(to.c_str(), facts.st_mode & 07777) != 0) error = Last();
}

void MakeFolders(const std::string& path, std::error_code& error) noexcept {
  error.clear();
  for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    const std::string folder = path.substr(0, slash);
    if (::mkdir(folder.c_str(), 0777) != 0 && Facts(folder).kind != FileKind::kFolder) {
      // Something else of that name leaves EEXIST, a missing right EACCES: each says enough.
      error = Last();
      return;
    }
    if (slash == std::string::npos) return;
  }
}

std::vector<std::string> List(const std::string& folder, std::error_code& error) {
  error.clear();
  std::vector<std::string> names;
  DIR* const stream = ::opendir(folder.empty() ? "." : folder.c_str());
  if (stream == nullptr) {
    error = Last();
    return names;
  }
  errno = 0;
  while (const dirent* entry = ::readdir(stream)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(std::move(name));
    errno = 0;
  }
  if (errno != 0) error = Last();
  ::closedir(stream);
  return names;
}

void SyncFolder(const std::string& folder, std::error_code& error) noexcept {
  error.clear();
  const char* const name = folder.empty() ? "." : folder.c_str();
  const int fd = Retry([&] { return ::open(name, O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (fd < 0) {
    error = Last();
    return;
  }
  // Some network file systems have nothing to sync for a folder and say so.
  if (Retry([&] { return ::fsync(fd); }) != 0 && errno != EINVAL && errno != ENOSYS) error = Last();
  ::close(fd);
}

}  // namespace kelvorin::os
