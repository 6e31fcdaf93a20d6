#include "storage/store.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/status.h"
#include "storage/store_state.h"

namespace kelvorin::storage {
namespace {

// Far behind the data of every format and behind the ranges that other programs lock.
constexpr std::uint64_t kOwnLockAt = std::uint64_t{1} << 62;
constexpr std::size_t kTransferBytes = std::size_t{128} << 10;
constexpr std::uint32_t kMinPageBytes = 512;
constexpr std::uint32_t kMaxPageBytes = 65536;
constexpr std::size_t kMaxFiles = kMaxJournalFiles;

void CheckPageBytes(const std::string& path, std::uint32_t page_bytes) {
  if (page_bytes < kMinPageBytes || page_bytes > kMaxPageBytes)
    throw Error(Code::kCorrupt, path + ": pages of " + std::to_string(page_bytes) + " bytes");
}

/// `made` also for a file without a byte.
std::unique_ptr<File> OpenOrMake(FileSystem& fs, const std::string& path, bool& made) {
  made = !fs.Exists(path);
  if (made) return fs.Open(path, os::OpenMode::kCreateNew);
  std::unique_ptr<File> file = fs.Open(path, os::OpenMode::kReadWrite);
  made = file->Size() == 0;
  return file;
}

}  // namespace

Store::State::State(Store& owner, FileSystem& files_below, const std::string& main_path,
                    const StoreOptions& given)
    : store(owner),
      fs(files_below),
      options(given),
      path(main_path),
      cache(given.cache_bytes, given.cache_ceiling_bytes),
      transfer(kTransferBytes) {}

Store::Store(FileSystem& fs, const std::string& path, const StoreOptions& options)
    : state_(std::make_unique<State>(*this, fs, path, options)) {}

std::unique_ptr<Store> Store::Open(FileSystem& fs, const std::string& path,
                                   const StoreOptions& options) {
  CheckPageBytes(path, options.page_bytes);
  std::unique_ptr<Store> store(new Store(fs, path, options));
  store->state_->OpenMain();
  return store;
}

void Store::State::OpenMain() {
  bool made = false;
  bool writable = true;
  const bool is_new = options.create && !fs.Exists(path);
  std::unique_ptr<File> file;
  if (options.create) {
    file = OpenOrMake(fs, path, made);
  } else if (!options.read_only) {
    file = fs.Open(path, os::OpenMode::kReadWrite);
  } else {
    // An exclusive lock needs a file that is open for writing; who may not write can still read.
    try {
      if (options.exclusive) file = fs.Open(path, os::OpenMode::kReadWrite);
    } catch (const Error& error) {
      if (error.status().code() != Code::kReadOnly) throw;
    }
    writable = file != nullptr;
    if (!writable) file = fs.Open(path, os::OpenMode::kRead);
  }
  real_path = fs.RealPath(path);
  // Said once here, and not for every record that wants to be written.
  if (!options.read_only && !fs.IsWritable(FolderOf(real_path)))
    throw Error(Code::kReadOnly, path + ": cannot be written, because no file can be made in " +
                                     FolderOf(real_path) + ", where its journal would lie");
  const os::LockKind kind = writable ? os::LockKind::kExclusive : os::LockKind::kShared;
  if (!file->TryLock(kOwnLockAt, 1, kind))
    throw Error(Code::kLocked, path + ": the file is in use elsewhere");
  AddFile(std::move(file), options.page_bytes, Role::kMain, made);
  FindJournal(is_new);
  StoredFile& f = files.front();
  if (options.create && f.size > 0)
    throw Error(Code::kAlreadyExists, path + ": the file exists already");
  if (!options.read_only) journal = std::make_unique<Journal>(fs, real_path, *f.file);
}

FileNo Store::State::AddFile(std::unique_ptr<File> file, std::uint32_t page_bytes, Role role,
                             bool made) {
  if (files.size() >= kMaxFiles)
    throw Error(Code::kCorrupt, path + ": more than " + std::to_string(kMaxFiles) + " files");
  if (role == Role::kByOrder)
    role =
        Role(static_cast<std::uint32_t>(Role::kByOrder) + static_cast<std::uint32_t>(files.size()));
  for (const StoredFile& other : files)
    if (other.role == role && !other.gone)
      throw Error(Code::kInternal, file->path() + ": is the " + RoleName(role) + " of " + path +
                                       ", which is already " + other.file->path());
  StoredFile& f = files.emplace_back();
  f.role = role;
  f.identity = file->Identity();
  f.size = f.disk_size = f.disk_valid = f.reserved = file->Size();
  f.page_bytes = page_bytes;
  f.made = made;
  f.file = std::move(file);
  folder_changed |= made;
  store.windows_.emplace_back();
  return FileNo(files.size() - 1);
}

Store::State::StoredFile& Store::State::At(FileNo file) {
  KV_ASSERT(static_cast<std::size_t>(file) < files.size(), "a file number comes from Attach");
  return files[static_cast<std::size_t>(file)];
}

FileNo Store::Attach(const std::string& path, const AttachOptions& options) {
  State& s = *state_;
  s.RequireUsable();
  CheckPageBytes(path, options.page_bytes);
  if (s.in_bracket && !options.create)
    throw Error(Code::kInternal, path + ": attached inside a bracket");
  bool made = false;
  std::unique_ptr<File> file;
  if (s.options.read_only) {
    file = s.fs.Open(path, os::OpenMode::kRead);
  } else {
    file =
        options.create ? OpenOrMake(s.fs, path, made) : s.fs.Open(path, os::OpenMode::kReadWrite);
  }
  const os::FileIdentity identity = file->Identity();
  for (std::size_t i = 0; i < s.files.size(); ++i) {
    if (s.files[i].identity == identity && !s.files[i].unlinked) return FileNo(i);
  }
  if (!s.options.read_only && FolderOf(s.fs.RealPath(path)) != FolderOf(s.real_path))
    throw Error(Code::kNotSupported,
                path + ": files that change together must lie in the folder of " + s.real_path);
  const bool refuse_bytes = options.create && !s.options.read_only;
  if (refuse_bytes && s.leftover == nullptr && file->Size() > 0)
    throw Error(Code::kAlreadyExists, path + ": the file exists already");
  const FileNo no = s.AddFile(std::move(file), options.page_bytes, options.role, made);
  s.Adopt(no);
  // What an interrupted change had made is empty when it is taken back.
  if (refuse_bytes && s.At(no).size > 0)
    throw Error(Code::kAlreadyExists, path + ": the file exists already");
  return no;
}

void Store::SetPages(FileNo no, std::uint32_t page_bytes, std::uint64_t first_page_at) {
  State& s = *state_;
  s.RequireUsable();
  State::StoredFile& f = s.At(no);
  CheckPageBytes(f.file->path(), page_bytes);
  const auto shift =
      static_cast<std::uint32_t>((page_bytes - first_page_at % page_bytes) % page_bytes);
  const std::uint64_t before = (first_page_at + shift) / page_bytes;
  if (f.page_bytes == page_bytes && f.shift == shift && f.pages_before == before) return;
  s.ResetWindow(no);
  bool busy = false;
  using List = PageCache::List;
  for (const List list : {List::kChanged, List::kClean, List::kScanned}) {
    s.cache.ForEach(list, [&](PageCache::FrameNo at) {
      const PageCache::Frame& frame = s.cache[at];
      if (FileNo(frame.file) != no) return;
      busy |= frame.pins > 0 || list == List::kChanged;
      if (!busy) s.cache.Drop(at);
    });
  }
  if (busy) throw Error(Code::kInternal, f.file->path() + ": page size set while pages are in use");
  f.page_bytes = page_bytes;
  f.shift = shift;
  f.pages_before = before;
  f.next_fetch = 0;
  f.run_pages = 1;
}

void Store::Reopen(FileNo no) {
  Flush();
  State& s = *state_;
  State::StoredFile& f = s.At(no);
  const os::OpenMode mode = s.options.read_only ? os::OpenMode::kRead : os::OpenMode::kReadWrite;
  std::unique_ptr<File> file = s.fs.Open(f.file->path(), mode);
  s.ResetWindow(no);
  State::ResetWritePage(f);
  using List = PageCache::List;
  for (const List list : {List::kClean, List::kScanned}) {
    s.cache.ForEach(list, [&](PageCache::FrameNo at) {
      if (FileNo(s.cache[at].file) == no) s.cache.Drop(at);
    });
  }
  f.identity = file->Identity();
  f.size = f.disk_size = f.disk_valid = f.reserved = file->Size();
  f.next_fetch = 0;
  f.run_pages = 1;
  f.file = std::move(file);
}

void Store::Lock(FileNo no, std::uint64_t offset, std::uint64_t length) {
  State& s = *state_;
  State::StoredFile& f = s.At(no);
  const os::LockKind kind = s.options.read_only ? os::LockKind::kShared : os::LockKind::kExclusive;
  if (!f.file->TryLock(offset, length, kind))
    throw Error(Code::kLocked, f.file->path() + ": another program holds a lock on it");
}

bool Store::read_only() const noexcept {
  return state_->options.read_only;
}
FileSystem& Store::file_system() const noexcept {
  return state_->fs;
}
const std::string& Store::Path(FileNo file) const noexcept {
  return state_->At(file).file->path();
}
std::uint64_t Store::Size(FileNo file) const noexcept {
  return state_->At(file).size;
}

StoreCounts Store::Counts() const noexcept {
  StoreCounts counts = state_->counts;
  counts.cached_bytes = state_->cache.bytes();
  counts.peak_cached_bytes = state_->cache.peak_bytes();
  counts.cache_limit_bytes = state_->cache.limit();
  return counts;
}

void Store::State::FailBehindEnd(const StoredFile& f, std::uint64_t offset,
                                 std::uint64_t size) const {
  throw Error(Code::kCorrupt, f.file->path() + ": " + std::to_string(size) + " bytes at offset " +
                                  std::to_string(offset) + " reach behind its end at " +
                                  std::to_string(f.size));
}

Store::State::FrameNo Store::State::Fetch(FileNo no, std::uint64_t page) {
  const FrameNo frame = cache.Find(static_cast<std::uint16_t>(no), page);
  if (frame == kNoFrame) return Load(no, At(no), page);
  cache.Touch(frame);
  return frame;
}

Store::State::FrameNo Store::State::Load(FileNo no, StoredFile& f, std::uint64_t page) {
  const auto file_no = static_cast<std::uint16_t>(no);
  if (PageStart(f, page) >= f.disk_valid) {
    const FrameNo frame = cache.Add(file_no, page, f.page_bytes, false);
    std::memset(cache[frame].data.get(), 0, f.page_bytes);
    return frame;
  }

  // Twice as many pages each time the fetch goes on where the last one ended, as far as they are
  // neither cached nor behind the end.
  std::uint32_t run = 1;
  if (page == f.next_fetch) {
    const std::size_t most = std::min(kTransferBytes, cache.scan_bytes()) / f.page_bytes;
    f.run_pages = static_cast<std::uint32_t>(
        std::clamp<std::size_t>(std::size_t{f.run_pages} * 2, 1, std::max<std::size_t>(most, 1)));
    while (run < f.run_pages && PageStart(f, page + run) < f.disk_valid &&
           cache.Find(file_no, page + run) == kNoFrame)
      ++run;
  } else {
    f.run_pages = 1;
  }
  f.next_fetch = page + run;

  const std::uint64_t start = PageStart(f, page);
  const std::uint64_t end = std::min(PageEnd(f, page + run - 1), f.disk_valid);
  const std::size_t in_page = static_cast<std::size_t>(start + f.shift - page * f.page_bytes);
  const auto bytes = static_cast<std::size_t>(end - start);
  const std::size_t got =
      f.file->Read(start, base::MutableByteSpan(transfer).subspan(in_page, bytes));
  if (got != bytes)
    throw Error(Code::kIo, f.file->path() + ": " + std::to_string(got) + " of " +
                               std::to_string(bytes) + " bytes could be read at offset " +
                               std::to_string(start) + ": the file became shorter");
  if (leftover != nullptr)
    PatchOld(no, start, base::MutableByteSpan(transfer).subspan(in_page, bytes));
  std::memset(transfer.data(), 0, in_page);
  std::memset(transfer.data() + in_page + bytes, 0,
              std::size_t{run} * f.page_bytes - in_page - bytes);
  counts.pages_read += run;

  const FrameNo first = cache.Add(file_no, page, f.page_bytes, run > 1);
  std::memcpy(cache[first].data.get(), transfer.data(), f.page_bytes);
  cache.Pin(first);  // a cache of few pages must not take it back for the others
  try {
    for (std::uint32_t i = 1; i < run; ++i) {
      const FrameNo frame = cache.Add(file_no, page + i, f.page_bytes, true);
      std::memcpy(cache[frame].data.get(), transfer.data() + std::size_t{i} * f.page_bytes,
                  f.page_bytes);
    }
  } catch (...) {
    cache.Unpin(first);
    throw;
  }
  cache.Unpin(first);
  cache.Touch(first);
  return first;
}

void Store::State::SetWindow(FileNo no, FrameNo frame, std::uint64_t page) noexcept {
  StoredFile& f = At(no);
  if (f.window_frame != frame) {
    cache.Pin(frame);
    if (f.window_frame != kNoFrame) cache.Unpin(f.window_frame);
    f.window_frame = frame;
  }
  const std::uint64_t start = PageStart(f, page);
  const std::uint64_t in_page = start + f.shift - page * f.page_bytes;
  store.windows_[static_cast<std::size_t>(no)] = {
      .data = cache[frame].data.get() + in_page,
      .start = start,
      .size = std::min(PageEnd(f, page), f.size) - start};
}

void Store::State::ResetWindow(FileNo no) noexcept {
  StoredFile& f = At(no);
  store.windows_[static_cast<std::size_t>(no)] = {};
  if (f.window_frame != kNoFrame) cache.Unpin(f.window_frame);
  f.window_frame = kNoFrame;
}

base::ByteSpan Store::ViewElsewhere(FileNo no, std::uint64_t offset, std::size_t size,
                                    std::vector<std::byte>& scratch) {
  State& s = *state_;
  s.RequireUsable();
  const State::StoredFile& f = s.At(no);
  s.CheckRange(f, offset, size);
  if (size == 0) return {};
  const std::uint64_t page = State::PageOf(f, offset);
  if (size <= State::PageEnd(f, page) - offset) {
    s.SetWindow(no, s.Fetch(no, page), page);
    const Window& window = windows_[static_cast<std::size_t>(no)];
    return {window.data + (offset - window.start), size};
  }
  scratch.resize(size);
  Read(no, offset, scratch);
  return scratch;
}

void Store::Read(FileNo no, std::uint64_t offset, base::MutableByteSpan out) {
  State& s = *state_;
  s.RequireUsable();
  const State::StoredFile& f = s.At(no);
  s.CheckRange(f, offset, out.size());
  while (!out.empty()) {
    const Window& window = windows_[static_cast<std::size_t>(no)];
    if (offset - window.start >= window.size) {
      const std::uint64_t page = State::PageOf(f, offset);
      s.SetWindow(no, s.Fetch(no, page), page);
    }
    const std::uint64_t at = offset - window.start;
    const auto part =
        static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), window.size - at));
    std::memcpy(out.data(), window.data + at, part);
    out = out.subspan(part);
    offset += part;
  }
}

PageRef Store::Pin(FileNo no, std::uint64_t page_no) {
  State& s = *state_;
  s.RequireUsable();
  const State::StoredFile& f = s.At(no);
  const std::uint64_t page = page_no + f.pages_before;
  if (page < page_no || page >= State::PageOf(f, f.size) + 1 || State::PageStart(f, page) >= f.size)
    throw Error(Code::kCorrupt, f.file->path() + ": page " + std::to_string(page_no) + " of " +
                                    std::to_string(f.page_bytes) +
                                    " bytes lies behind its end at " + std::to_string(f.size));
  const PageCache::FrameNo frame = s.Fetch(no, page);
  s.cache.Pin(frame);
  return PageRef(*this, frame, s.cache[frame].data.get(), f.page_bytes);
}

PageRef::PageRef(PageRef&& other) noexcept
    : store_(std::exchange(other.store_, nullptr)),
      data_(other.data_),
      size_(other.size_),
      frame_(other.frame_) {}

PageRef& PageRef::operator=(PageRef&& other) noexcept {
  if (this != &other) {
    if (store_ != nullptr) store_->state_->cache.Unpin(frame_);
    store_ = std::exchange(other.store_, nullptr);
    data_ = other.data_;
    size_ = other.size_;
    frame_ = other.frame_;
  }
  return *this;
}

PageRef::~PageRef() {
  if (store_ != nullptr) store_->state_->cache.Unpin(frame_);
}

}  // namespace kelvorin::storage
