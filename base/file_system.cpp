#include "base/file_system.h"

#include <cerrno>

#include "os/system.h"

namespace kelvorin::base {
namespace {

/// The one map from what the system says to what kind of failure it is; `writing` tells that a
/// file was to be opened for it.
Code CodeOf(const std::error_code& error, bool writing) noexcept {
  if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory)
    return Code::kNotFound;
  if (error == std::errc::file_exists) return Code::kAlreadyExists;
  if (error == std::errc::no_space_on_device || error == std::errc::file_too_large ||
      error.value() == EDQUOT)
    return Code::kNoSpace;
  if (error == std::errc::read_only_file_system) return Code::kReadOnly;
  if (writing &&
      (error == std::errc::permission_denied || error == std::errc::operation_not_permitted))
    return Code::kReadOnly;
  if (error == std::errc::resource_unavailable_try_again ||
      error == std::errc::device_or_resource_busy || error == std::errc::text_file_busy)
    return Code::kLocked;
  return Code::kIo;
}

[[noreturn]] void Fail(const std::error_code& error, const std::string& path,
                       const std::string& doing, bool writing = false) {
  throw FileError(CodeOf(error, writing), path, doing, error.message());
}

std::string At(std::uint64_t offset, std::size_t size) {
  return std::to_string(size) + " bytes at offset " + std::to_string(offset);
}

class RealFile final : public File {
 public:
  RealFile(std::string path, os::FileHandle handle)
      : File(std::move(path)), handle_(std::move(handle)) {}

  std::uint64_t Size() override {
    std::error_code error;
    const std::uint64_t size = handle_.Size(error);
    if (error) Fail(error, path(), "asking for its size");
    return size;
  }
  std::size_t Read(std::uint64_t offset, MutableByteSpan out) override {
    std::error_code error;
    const std::size_t count = handle_.ReadAt(offset, out, error);
    if (error) Fail(error, path(), "reading " + At(offset, out.size()));
    return count;
  }
  void Write(std::uint64_t offset, ByteSpan in) override {
    std::error_code error;
    handle_.WriteAt(offset, in, error);
    if (error) Fail(error, path(), "writing " + At(offset, in.size()));
  }
  void WriteParts(std::uint64_t offset, std::span<const ByteSpan> parts) override {
    std::error_code error;
    handle_.WriteAt(offset, parts, error);
    std::size_t size = 0;
    for (const ByteSpan part : parts) size += part.size();
    if (error) Fail(error, path(), "writing " + At(offset, size));
  }
  void Append(ByteSpan in) override {
    std::error_code error;
    handle_.Write(in, error);
    if (error) Fail(error, path(), "writing " + std::to_string(in.size()) + " bytes");
  }
  void Truncate(std::uint64_t size) override {
    std::error_code error;
    handle_.Truncate(size, error);
    if (error) Fail(error, path(), "cutting it to " + std::to_string(size) + " bytes");
  }
  void Reserve(std::uint64_t size) override {
    std::error_code error;
    handle_.Reserve(size, error);
    if (error) Fail(error, path(), "reserving room up to " + std::to_string(size) + " bytes");
  }
  void Sync() override {
    std::error_code error;
    handle_.Sync(error);
    if (error) Fail(error, path(), "syncing");
  }
  void Close() override {
    std::error_code error;
    handle_.Close(error);
    if (error) Fail(error, path(), "closing");
  }
  bool TryLock(std::uint64_t offset, std::uint64_t length, os::LockKind kind) override {
    std::error_code error;
    const bool locked = handle_.TryLock(offset, length, kind, error);
    if (error) Fail(error, path(), "locking " + At(offset, length));
    return locked;
  }
  void Unlock(std::uint64_t offset, std::uint64_t length) override {
    std::error_code error;
    handle_.Unlock(offset, length, error);
    if (error) Fail(error, path(), "unlocking " + At(offset, length));
  }
  os::FileFacts Facts() override {
    std::error_code error;
    const os::FileFacts facts = handle_.Facts(error);
    if (error) Fail(error, path(), "asking for its identity");
    return facts;
  }
  void TakeAccess(File& from) noexcept override {
    // Both are this file system's.
    handle_.TakeAccess(static_cast<RealFile&>(from).handle_);
  }

 private:
  os::FileHandle handle_;
};

class RealFiles final : public FileSystem {
 public:
  std::unique_ptr<File> Open(const std::string& path, os::OpenMode mode,
                             os::Accept accept) override {
    std::error_code error;
    os::FileHandle handle = os::FileHandle::Open(path, mode, error, /*only_owner=*/false, accept);
    if (error == std::errc::operation_not_supported)
      throw Error(Code::kIo, path + ": is no file that can be opened here but a pipe or a device");
    if (!error) return std::make_unique<RealFile>(path, std::move(handle));
    const bool writing = mode != os::OpenMode::kRead;
    const bool refused = writing && CodeOf(error, true) == Code::kReadOnly;
    Fail(error, path, refused ? "opening for writing" : "opening", writing);
  }
  os::FileFacts Facts(const std::string& path) override { return os::Facts(path); }
  os::FileFacts Look(const std::string& path) override { return os::Look(path); }
  bool IsWritable(const std::string& path) override { return os::IsWritable(path); }
  std::uint64_t User() override { return os::CurrentUser(); }
  std::string RealPath(const std::string& path) override {
    std::error_code error;
    std::string real = os::RealPath(path, error);
    if (error) Fail(error, path, "following links");
    return real;
  }
  void Remove(const std::string& path) override {
    std::error_code error;
    os::Remove(path, error);
    if (error) Fail(error, path, "removing");
  }
  void Rename(const std::string& from, const std::string& to) override {
    std::error_code error;
    os::Rename(from, to, error);
    if (error) Fail(error, from, "renaming to " + to);
  }
  void CopyAccess(const std::string& from, const std::string& to) override {
    std::error_code error;
    os::CopyAccess(from, to, error);
    if (error) Fail(error, to, "giving it the rights of " + from);
  }
  void MakeFolders(const std::string& path) override {
    std::error_code error;
    os::MakeFolders(path, error);
    if (error) Fail(error, path, "making the folder");
  }
  std::vector<std::string> List(const std::string& folder) override {
    std::error_code error;
    std::vector<std::string> names = os::List(folder, error);
    if (error) Fail(error, folder, "listing");
    return names;
  }
  void SyncFolder(const std::string& folder) override {
    std::error_code error;
    os::SyncFolder(folder, error);
    if (error) Fail(error, folder, "syncing the folder");
  }
  std::int64_t Milliseconds() noexcept override { return os::MonotonicMilliseconds(); }
};

}  // namespace

void File::WriteParts(std::uint64_t offset, std::span<const ByteSpan> parts) {
  std::vector<std::byte> whole;
  for (const ByteSpan part : parts) whole.insert(whole.end(), part.begin(), part.end());
  Write(offset, whole);
}

FileSystem& RealFileSystem() noexcept {
  static RealFiles files;
  return files;
}

std::string NameOf(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}
std::string Beside(const std::string& path, const std::string& name) {
  const std::string folder = FolderOf(path);
  return (folder == "/" ? std::string() : folder) + "/" + name;
}

}  // namespace kelvorin::base
