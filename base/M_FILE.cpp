#include "base/M_FILE.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "base/M_STRING.h"
#include "base/bytes.h"
#include "base/case_map.h"
#include "base/file_status.h"
#include "os/files.h"

namespace kelvorin::base {
namespace {

constexpr std::string_view kSeparators = "/\\";
constexpr std::size_t kOutputBufferBytes = std::size_t{16} * 1024;

std::string InMessage(std::string_view name) {
  return name.empty() ? "\"\"" : std::string(name);
}

std::span<std::byte> Writable(std::span<char> text) {
  return std::as_writable_bytes(text);
}

}  // namespace

std::string_view FolderPart(std::string_view path) noexcept {
  const std::size_t last = path.find_last_of(kSeparators);
  if (last == std::string_view::npos) return {};
  return path.substr(0, std::max<std::size_t>(last, 1));  // the root keeps its separator
}

std::string_view NamePart(std::string_view path) noexcept {
  return path.substr(path.find_last_of(kSeparators) + 1);  // npos + 1 is 0: all of it
}

std::string_view BaseNamePart(std::string_view path) noexcept {
  const std::string_view name = NamePart(path);
  const std::size_t point = name.rfind('.');
  return point == 0 ? name : name.substr(0, point);
}

std::string_view ExtensionPart(std::string_view path) noexcept {
  const std::string_view name = NamePart(path);
  const std::size_t point = name.rfind('.');
  return point == std::string_view::npos || point == 0 ? std::string_view()
                                                       : name.substr(point + 1);
}

std::string JoinPath(std::string_view folder, std::string_view name) {
  std::string path(folder);
  if (!path.empty() && kSeparators.find(path.back()) == std::string_view::npos) path += '/';
  return path.append(name);
}

bool FileExists(const std::string& path) {
  return os::Exists(path) && !os::IsFolder(path);
}
bool FolderExists(const std::string& path) {
  return os::IsFolder(path);
}
bool IsWritable(const std::string& path) {
  return os::IsWritable(path);
}

Result<std::string> ReadWholeFile(const std::string& path, std::uint64_t max_bytes) {
  Result<InputFile> file = InputFile::Open(path);
  if (!file.ok()) return file.status();
  const Result<std::uint64_t> size = file->Size();
  if (!size.ok()) return size.status();

  max_bytes = std::min(max_bytes, std::uint64_t{1} << 62);
  // Files that tell no size (those of /proc) are read as well: read until nothing comes.
  constexpr std::uint64_t kStep = std::uint64_t{64} * 1024;
  std::string contents;
  std::size_t filled = 0;
  for (std::uint64_t wanted = *size + 1;; wanted = filled + kStep) {
    if (wanted > max_bytes + 1) wanted = max_bytes + 1;
    contents.resize(static_cast<std::size_t>(wanted));
    const auto got = file->ReadAt(filled, std::span<char>(contents).subspan(filled));
    if (!got.ok()) return got.status();
    filled += *got;
    if (filled > max_bytes) {
      return Status(Code::kOutOfRange, InMessage(path) + " holds more than " +
                                           ToDecimal(static_cast<std::int64_t>(max_bytes)) +
                                           " bytes");
    }
    if (filled < contents.size()) break;
  }
  contents.resize(filled);
  return contents;
}

Status WriteFileAtomically(const std::string& path, std::string_view contents) {
  std::error_code error;
  os::ReplaceAtomically(path, AsBytes(contents), error);
  return FileStatus(error, "write", InMessage(path));
}

Status DeleteFile(const std::string& path) {
  std::error_code error;
  os::Remove(path, error);
  return FileStatus(error, "delete", InMessage(path));
}

Status RenameFile(const std::string& from, const std::string& to) {
  std::error_code error;
  os::Rename(from, to, error);
  return FileStatus(error, "rename", InMessage(from) + " to " + InMessage(to));
}

Status MakeFolders(const std::string& path) {
  std::error_code error;
  os::MakeFolders(path, error);
  return FileStatus(error, "make folder", InMessage(path));
}

Result<std::vector<std::string>> ListFolder(const std::string& folder) {
  std::error_code error;
  std::vector<std::string> names = os::List(folder.empty() ? "." : folder, error);
  if (error) return FileStatus(error, "list folder", InMessage(folder));
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<std::string> FindIgnoringCase(const std::string& folder, std::string_view name) {
  std::string exact = JoinPath(folder, name);
  if (os::Exists(exact)) return exact;
  const auto names = ListFolder(folder);
  if (!names.ok()) return std::nullopt;
  for (const std::string& entry : *names) {
    if (EqualAnyCase(entry, name)) return JoinPath(folder, entry);
  }
  return std::nullopt;
}

struct FileLock::Open_ {
  os::FileHandle handle;
};

FileLock::FileLock(std::unique_ptr<Open_> file) noexcept : file_(std::move(file)) {}
FileLock::FileLock(FileLock&&) noexcept = default;
FileLock& FileLock::operator=(FileLock&&) noexcept = default;
FileLock::~FileLock() = default;

Result<FileLock> FileLock::Acquire(const std::string& path, int wait_ms) {
  constexpr int kStepMs = 5;
  std::error_code error;
  auto file = std::make_unique<Open_>();
  file->handle = os::FileHandle::Open(path, os::OpenMode::kAppend, error);
  if (error) return FileStatus(error, "open for writing", InMessage(path));
  for (int waited = 0;; waited += kStepMs) {
    if (file->handle.TryLock(0, 1, os::LockKind::kExclusive, error))
      return FileLock(std::move(file));
    if (error) return FileStatus(error, "lock", InMessage(path));
    if (waited >= wait_ms)
      return Status(Code::kLocked, "Somebody else has held the lock " + InMessage(path) + " for " +
                                       ToDecimal(wait_ms) + " ms");
    std::this_thread::sleep_for(std::chrono::milliseconds(kStepMs));
  }
}

struct InputFile::Open_ {
  std::string path;
  os::FileHandle handle;
};

InputFile::InputFile(std::unique_ptr<Open_> file) noexcept : file_(std::move(file)) {}
InputFile::InputFile(InputFile&&) noexcept = default;
InputFile& InputFile::operator=(InputFile&&) noexcept = default;
InputFile::~InputFile() = default;

Result<InputFile> InputFile::Open(const std::string& path) {
  std::error_code error;
  auto file = std::make_unique<Open_>();
  file->path = path;
  file->handle = os::FileHandle::Open(path, os::OpenMode::kRead, error);
  if (!error && os::IsFolder(path)) error = std::make_error_code(std::errc::is_a_directory);
  if (error) return FileStatus(error, "open", InMessage(path));
  return InputFile(std::move(file));
}

const std::string& InputFile::path() const noexcept {
  return file_->path;
}

Result<std::uint64_t> InputFile::Size() const {
  std::error_code error;
  const std::uint64_t size = file_->handle.Size(error);
  if (error) return FileStatus(error, "tell the size of", file_->path);
  return size;
}

Result<std::size_t> InputFile::ReadAt(std::uint64_t offset, std::span<char> out) const {
  std::error_code error;
  const std::size_t got = file_->handle.ReadAt(offset, Writable(out), error);
  if (error) {
    return FileStatus(error, "read at byte " + ToDecimal(static_cast<std::int64_t>(offset)) + " of",
                      file_->path);
  }
  return got;
}

struct OutputFile::Open_ {
  std::string path;
  os::FileHandle handle;
  std::string pending;
};

OutputFile::OutputFile(std::unique_ptr<Open_> file) noexcept : file_(std::move(file)) {}
OutputFile::OutputFile(OutputFile&&) noexcept = default;

OutputFile& OutputFile::operator=(OutputFile&& other) noexcept {
  if (this != &other) {
    if (file_) static_cast<void>(Flush());
    file_ = std::move(other.file_);
  }
  return *this;
}

OutputFile::~OutputFile() {
  if (file_) static_cast<void>(Flush());
}

Result<OutputFile> OutputFile::Open(const std::string& path, Mode mode) {
  std::error_code error;
  auto file = std::make_unique<Open_>();
  file->path = path;
  file->handle = os::FileHandle::Open(
      path, mode == Mode::kAppend ? os::OpenMode::kAppend : os::OpenMode::kCreateOrTruncate, error);
  if (error) return FileStatus(error, "open for writing", InMessage(path));
  file->pending.reserve(kOutputBufferBytes);
  return OutputFile(std::move(file));
}

const std::string& OutputFile::path() const noexcept {
  return file_->path;
}

Status OutputFile::Write(std::string_view text) {
  if (file_->pending.size() + text.size() > kOutputBufferBytes) KV_TRY(Flush());
  if (text.size() < kOutputBufferBytes) {
    file_->pending.append(text);
    return {};
  }
  std::error_code error;
  file_->handle.Write(AsBytes(text), error);
  return FileStatus(error, "write", file_->path);
}

Status OutputFile::Flush() {
  if (file_->pending.empty()) return {};
  std::error_code error;
  file_->handle.Write(AsBytes(file_->pending), error);
  file_->pending.clear();  // what failed is not tried again: the caller was told
  return FileStatus(error, "write", file_->path);
}

Status OutputFile::Sync() {
  KV_TRY(Flush());
  std::error_code error;
  file_->handle.Sync(error);
  return FileStatus(error, "write", file_->path);
}

Status OutputFile::Close() {
  Status flushed = Flush();
  std::error_code error;
  file_->handle.Close(error);
  if (!flushed.ok()) return flushed;
  return FileStatus(error, "close", file_->path);
}

}  // namespace kelvorin::base
