#include "base/M_FILE.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "base/M_STRING.h"
#include "base/bytes.h"
#include "base/case_map.h"
#include "base/file_system.h"
#include "os/system.h"

namespace kelvorin::base {
namespace {

constexpr std::string_view kSeparators = "/\\";
constexpr std::size_t kOutputBufferBytes = std::size_t{16} * 1024;

std::string InMessage(std::string_view name) {
  return name.empty() ? "\"\"" : std::string(name);
}

/// `Cannot <action> <path>: <what the system said>`.
Status Failure(const Error& error, std::string_view action, std::string_view path) {
  const auto* refused = dynamic_cast<const FileError*>(&error);
  if (refused == nullptr) return error.status();
  std::string message = "Cannot ";
  message.append(action).append(" ").append(path).append(": ").append(refused->reason());
  return Status(error.status().code(), std::move(message));
}

/// Makes a call of the interface and tells what it threw.
template <typename Call>
Status Told(std::string_view action, std::string_view path, Call call) {
  try {
    call();
    return {};
  } catch (const Error& error) {
    return Failure(error, action, path);
  }
}

/// A new file beside `target` that nobody else has, its owner's alone.
std::unique_ptr<File> OpenTemporary(FileSystem& files, const std::string& target) {
  constexpr int kMostTries = 100;
  for (int tried = 1;; ++tried) {
    const std::string name = ".replacing-" + ToDecimal(os::ProcessNumber()) + "-";
    try {
      return files.Open(JoinPath(FolderOf(target), name + std::to_string(tried)),
                        os::OpenMode::kCreatePrivate);
    } catch (const Error& error) {
      if (error.status().code() != Code::kAlreadyExists || tried == kMostTries) throw;
    }
  }
}

void Replace(FileSystem& files, const std::string& path, std::string_view contents) {
  const bool is_link = files.Look(path).kind == os::FileKind::kLink;
  const std::string target = is_link ? files.RealPath(path) : path;
  const os::FileKind old = files.Facts(target).kind;
  // A rename would silently take the place of a device or pipe, and of a file that its owner
  // protected: what could not be written in place is not replaced either. Opening it says why.
  if (old == os::FileKind::kFolder || old == os::FileKind::kOther ||
      (old == os::FileKind::kRegular && !files.IsWritable(target)))
    (void)files.Open(target, os::OpenMode::kReadWrite);
  const std::unique_ptr<File> file = OpenTemporary(files, target);
  try {
    file->Append(AsBytes(contents));
    file->Sync();
    file->Close();
    if (old == os::FileKind::kRegular) files.CopyAccess(target, file->path());
    files.Rename(file->path(), target);
  } catch (const Error&) {
    try {
      files.Remove(file->path());
    } catch (const Error&) {  // the first failure is the one to be told
    }
    throw;
  }
  files.SyncFolder(FolderOf(target));
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

bool FileExists(const std::string& path, FileSystem& files) {
  const os::FileKind kind = files.Facts(path).kind;
  return kind != os::FileKind::kNone && kind != os::FileKind::kFolder;
}
bool RegularFileExists(const std::string& path, FileSystem& files) {
  return files.Facts(path).kind == os::FileKind::kRegular;
}
bool FolderExists(const std::string& path, FileSystem& files) {
  return files.Facts(path).kind == os::FileKind::kFolder;
}
bool IsWritable(const std::string& path, FileSystem& files) {
  return files.IsWritable(path);
}

bool IsSameFile(const std::string& a, const std::string& b, FileSystem& files) {
  if (a.empty() || b.empty()) return false;
  const os::FileFacts one = files.Facts(a), other = files.Facts(b);
  if (one.kind != os::FileKind::kNone && other.kind != os::FileKind::kNone)
    return one.identity == other.identity;
  try {
    return files.RealPath(a) == files.RealPath(b);
  } catch (const Error&) {
    return false;
  }
}

Result<std::string> ReadWholeFile(const std::string& path, std::uint64_t max_bytes,
                                  FileSystem& files) {
  Result<InputFile> file = InputFile::Open(path, files);
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

Status WriteFileAtomically(const std::string& path, std::string_view contents, FileSystem& files) {
  return Told("write", InMessage(path), [&] { Replace(files, path, contents); });
}

Status CopyFile(const std::string& from, const std::string& to, FileSystem& files) {
  return Told("copy", InMessage(from), [&] {
    const std::unique_ptr<File> in = files.Open(from, os::OpenMode::kRead);
    const std::unique_ptr<File> out = files.Open(to, os::OpenMode::kCreatePrivate);
    std::vector<std::byte> block(std::size_t{256} * 1024);
    std::uint64_t at = 0;
    while (const std::size_t got = in->Read(at, block)) {
      out->Append(ByteSpan(block).first(got));
      at += got;
    }
    out->Close();
  });
}

Status DeleteFile(const std::string& path, FileSystem& files) {
  return Told("delete", InMessage(path), [&] { files.Remove(path); });
}

Status RenameFile(const std::string& from, const std::string& to, FileSystem& files) {
  return Told("rename", InMessage(from) + " to " + InMessage(to), [&] { files.Rename(from, to); });
}

Status MakeFolders(const std::string& path, FileSystem& files) {
  return Told("make folder", InMessage(path), [&] { files.MakeFolders(path); });
}

Result<std::vector<std::string>> ListFolder(const std::string& folder, FileSystem& files) {
  std::vector<std::string> names;
  KV_TRY(Told("list folder", InMessage(folder),
              [&] { names = files.List(folder.empty() ? "." : folder); }));
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> SpellingsOf(std::vector<std::string> names, std::string_view name) {
  std::erase_if(names, [&](const std::string& other) { return !EqualAnyCase(other, name); });
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<std::string> FindIgnoringCase(const std::string& folder, std::string_view name,
                                            FileSystem& files) {
  std::string exact = JoinPath(folder, name);
  if (files.Exists(exact)) return exact;
  Result<std::vector<std::string>> names = ListFolder(folder, files);
  if (!names.ok()) return std::nullopt;
  const std::vector<std::string> spellings = SpellingsOf(*std::move(names), name);
  if (spellings.empty()) return std::nullopt;
  return JoinPath(folder, spellings.front());
}

FileLock::FileLock(std::unique_ptr<File> file) noexcept : file_(std::move(file)) {}
FileLock::FileLock(FileLock&&) noexcept = default;
FileLock& FileLock::operator=(FileLock&&) noexcept = default;
FileLock::~FileLock() = default;

Result<FileLock> FileLock::Acquire(const std::string& path, int wait_ms, FileSystem& files) {
  constexpr int kStepMs = 5;
  std::unique_ptr<File> file;
  KV_TRY(Told("open for writing", InMessage(path),
              [&] { file = files.Open(path, os::OpenMode::kAppend, os::Accept::kAny); }));
  for (int waited = 0;; waited += kStepMs) {
    bool locked = false;
    KV_TRY(Told("lock", InMessage(path),
                [&] { locked = file->TryLock(0, 1, os::LockKind::kExclusive); }));
    if (locked) return FileLock(std::move(file));
    if (waited >= wait_ms)
      return Status(Code::kLocked, "Somebody else has held the lock " + InMessage(path) + " for " +
                                       ToDecimal(wait_ms) + " ms");
    std::this_thread::sleep_for(std::chrono::milliseconds(kStepMs));
  }
}

InputFile::InputFile(std::unique_ptr<File> file) noexcept : file_(std::move(file)) {}
InputFile::InputFile(InputFile&&) noexcept = default;
InputFile& InputFile::operator=(InputFile&&) noexcept = default;
InputFile::~InputFile() = default;

Result<InputFile> InputFile::Open(const std::string& path, FileSystem& files) {
  std::unique_ptr<File> file;
  KV_TRY(Told("open", InMessage(path),
              [&] { file = files.Open(path, os::OpenMode::kRead, os::Accept::kAny); }));
  return InputFile(std::move(file));
}

const std::string& InputFile::path() const noexcept {
  return file_->path();
}

Result<std::uint64_t> InputFile::Size() const {
  std::uint64_t size = 0;
  KV_TRY(Told("tell the size of", path(), [&] { size = file_->Size(); }));
  return size;
}

Result<std::size_t> InputFile::ReadAt(std::uint64_t offset, std::span<char> out) const {
  try {
    return file_->Read(offset, std::as_writable_bytes(out));
  } catch (const Error& error) {
    return Failure(error, "read at byte " + ToDecimal(static_cast<std::int64_t>(offset)) + " of",
                   path());
  }
}

OutputFile::OutputFile(std::unique_ptr<File> file) : file_(std::move(file)) {
  pending_.reserve(kOutputBufferBytes);
}
OutputFile::OutputFile(OutputFile&&) noexcept = default;

OutputFile& OutputFile::operator=(OutputFile&& other) noexcept {
  if (this != &other) {
    if (file_) static_cast<void>(Flush());
    file_ = std::move(other.file_);
    pending_ = std::move(other.pending_);
  }
  return *this;
}

OutputFile::~OutputFile() {
  if (file_) static_cast<void>(Flush());
}

Result<OutputFile> OutputFile::Open(const std::string& path, Mode mode, FileSystem& files) {
  std::unique_ptr<File> file;
  KV_TRY(Told("open for writing", InMessage(path), [&] {
    file = files.Open(
        path, mode == Mode::kAppend ? os::OpenMode::kAppend : os::OpenMode::kCreateOrTruncate,
        os::Accept::kAny);
  }));
  return OutputFile(std::move(file));
}

const std::string& OutputFile::path() const noexcept {
  return file_->path();
}

Status OutputFile::Put(std::string_view text) {
  return Told("write", path(), [&] { file_->Append(AsBytes(text)); });
}

Status OutputFile::Write(std::string_view text) {
  if (pending_.size() + text.size() > kOutputBufferBytes) KV_TRY(Flush());
  if (text.size() >= kOutputBufferBytes) return Put(text);
  pending_.append(text);
  return {};
}

Status OutputFile::Flush() {
  if (pending_.empty()) return {};
  Status put = Put(pending_);
  pending_.clear();  // what failed is not tried again: the caller was told
  return put;
}

Status OutputFile::Sync() {
  KV_TRY(Flush());
  return Told("write", path(), [&] { file_->Sync(); });
}

Status OutputFile::Close() {
  Status flushed = Flush();
  Status closed = Told("close", path(), [&] { file_->Close(); });
  return flushed.ok() ? closed : flushed;
}

Result<PrivateFolder> PrivateFolder::Make(std::string_view start) {
  std::error_code error;
  const std::string place = os::TemporaryFolder(error);
  std::string path;
  if (!error) path = os::MakePrivateFolder(JoinPath(place, start), error);
  if (error) return Status(Code::kIo, "'" + place + "': " + error.message());
  return PrivateFolder(std::move(path));
}

std::uint64_t PrivateFolder::Room() noexcept {
  std::error_code error;
  const std::string place = os::TemporaryFolder(error);
  return error ? 0 : os::FreeBytes(place);
}

PrivateFolder::~PrivateFolder() {
  if (path_.empty()) return;
  std::error_code ignored;  // the system empties its folder in its own time
  for (const std::string& name : os::List(path_, ignored))
    os::Remove(JoinPath(path_, name), ignored);
  os::RemoveFolder(path_, ignored);
}

}  // namespace kelvorin::base
