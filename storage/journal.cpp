#include "storage/journal.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>
#include <span>

#include "base/status.h"

// The file, all numbers little-endian:
//
//   0     head: what is sealed              512   the same with kind "finish", when files are cut
//   1024  body: one entry per file, then images of old bytes, each padded to 8 bytes
//
//   head   0 8  "KvJrnal1"            entry  0 u32  length of the name
//          8 u32 kind: 1 seal, 2 finish      4 u32  1 = made by this group
//         12 u32 entries                     8 u64  old size
//         16 u64 serial of the group        16 u64  new size
//         24 u64 bytes of the body          24      name, padded to 8
//         32 u64 sum of the body     image   0 u32  entry
//         40 u64 sum of bytes 0-39           4 u32  length
//                                            8 u64  offset
//                                           16      old bytes, padded to 8
//
// Invariants:
//  1. A file of the store is changed only while the journal is sealed and synced.
//  2. The sum of the body holds only when every image is there, so what a loss of power tore before
//     the sealing was synced is not taken for a journal; nothing was touched then.
//  3. "Finish" is written when every file is written and synced: what is left is cutting, which can
//     be repeated. It counts only with the serial of the body that is there.
//  4. Once files are cut there is no way back, so the seal is gone for good before the "finish" is.
//  5. Images cover only bytes below the old size; what a group added is cut off again.

namespace kelvorin::storage {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{64} << 10;
constexpr std::size_t kHeadBytes = 48;
constexpr std::size_t kEntryHeadBytes = 24;
constexpr std::size_t kImageHeadBytes = 16;
constexpr std::uint32_t kMaxEntries = 4096;
constexpr std::uint32_t kMaxNameBytes = 1024;
constexpr std::uint64_t kRoomStep = std::uint64_t{64} << 10;
constexpr std::string_view kMagic = "KvJrnal1";
constexpr std::uint32_t kSealKind = 1;
constexpr std::uint32_t kFinishKind = 2;

constexpr std::uint64_t Padded(std::uint64_t bytes) noexcept {
  return (bytes + 7) & ~std::uint64_t{7};
}

/// A running sum over whole words of eight bytes; torn and stale bytes change it.
std::uint64_t AddToSum(std::uint64_t sum, base::ByteSpan bytes) noexcept {
  KV_ASSERT(bytes.size() % 8 == 0, "the sum takes whole words");
  for (std::size_t at = 0; at < bytes.size(); at += 8) {
    sum = std::rotl(sum ^ (base::LoadLE64(bytes, at) * 0x9FB21C651E98DF25u), 29) *
          0xD6E8FEB86659FD93u;
  }
  return sum;
}

struct Head {
  std::uint32_t kind = 0;
  std::uint32_t entries = 0;
  std::uint64_t serial = 0;
  std::uint64_t body_bytes = 0;
  std::uint64_t body_sum = 0;
};

std::optional<Head> ReadHead(File& file, std::uint64_t at) {
  std::array<std::byte, kHeadBytes> bytes{};
  if (file.Read(at, bytes) != bytes.size()) return std::nullopt;
  const base::ByteSpan all(bytes);
  if (base::AsText(all.first(kMagic.size())) != kMagic ||
      base::LoadLE64(all, 40) != AddToSum(0, all.first(40)))
    return std::nullopt;
  return Head{.kind = base::LoadLE32(all, 8),
              .entries = base::LoadLE32(all, 12),
              .serial = base::LoadLE64(all, 16),
              .body_bytes = base::LoadLE64(all, 24),
              .body_sum = base::LoadLE64(all, 32)};
}

/// Reads the body from front to back through one buffer.
class BodyReader {
 public:
  BodyReader(File& file, std::uint64_t bytes) : file_(file), left_(bytes), buffer_(kBufferBytes) {}

  std::uint64_t left() const noexcept { return left_ + (filled_ - at_); }
  /// The next `count` bytes (at most a buffer full); empty when the body ends before.
  base::ByteSpan Take(std::size_t count) {
    if (filled_ - at_ < count) {
      std::memmove(buffer_.data(), buffer_.data() + at_, filled_ - at_);
      filled_ -= at_;
      at_ = 0;
      const auto want =
          static_cast<std::size_t>(std::min<std::uint64_t>(left_, buffer_.size() - filled_));
      const std::size_t got =
          file_.Read(offset_, base::MutableByteSpan(buffer_).subspan(filled_, want));
      offset_ += got;
      left_ = got < want ? 0 : left_ - got;
      filled_ += got;
      if (filled_ < count) return {};
    }
    at_ += count;
    return base::ByteSpan(buffer_).subspan(at_ - count, count);
  }

 private:
  File& file_;
  std::uint64_t offset_ = Journal::kBodyAt;
  std::uint64_t left_;
  std::vector<std::byte> buffer_;
  std::size_t at_ = 0;
  std::size_t filled_ = 0;
};

/// The head that counts, when the journal is whole.
std::optional<Head> ReadWhole(File& file) {
  const std::optional<Head> sealed = ReadHead(file, 0);
  const std::optional<Head> finished = ReadHead(file, Journal::kFinishAt);
  std::optional<Head> head = sealed;
  if (sealed && sealed->kind != kSealKind) return std::nullopt;
  if (finished && finished->kind == kFinishKind && (!sealed || sealed->serial == finished->serial))
    head = finished;
  if (!head || head->entries == 0 || head->entries > kMaxEntries) return std::nullopt;
  const std::uint64_t size = file.Size();
  if (size < Journal::kBodyAt || head->body_bytes > size - Journal::kBodyAt ||
      head->body_bytes % 8 != 0)
    return std::nullopt;
  BodyReader body(file, head->body_bytes);
  std::uint64_t sum = head->serial;
  while (body.left() > 0) {
    const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(body.left(), kBufferBytes));
    const base::ByteSpan bytes = body.Take(step);
    if (bytes.empty()) return std::nullopt;
    sum = AddToSum(sum, bytes);
  }
  return sum == head->body_sum ? head : std::nullopt;
}

[[noreturn]] void Contradicts(const std::string& journal, const std::string& what) {
  throw Error(Code::kCorrupt,
              journal + ": the journal of an interrupted change cannot be used: " + what);
}

/// One file that the journal names, opened for putting right.
struct Target {
  JournalEntry entry;
  std::string path;
  std::unique_ptr<File> file;
};

std::vector<Target> ReadEntries(BodyReader& body, const Head& head, const std::string& journal,
                                const std::string& main_path) {
  std::vector<Target> targets;
  for (std::uint32_t i = 0; i < head.entries; ++i) {
    const base::ByteSpan fixed = body.Take(kEntryHeadBytes);
    if (fixed.empty()) Contradicts(journal, "its list of files is cut off");
    Target target;
    const std::uint32_t name_bytes = base::LoadLE32(fixed, 0);
    target.entry.made = base::LoadLE32(fixed, 4) != 0;
    target.entry.old_size = base::LoadLE64(fixed, 8);
    target.entry.new_size = base::LoadLE64(fixed, 16);
    if (name_bytes == 0 || name_bytes > kMaxNameBytes)
      Contradicts(journal, "a name of " + std::to_string(name_bytes) + " bytes");
    const base::ByteSpan name = body.Take(static_cast<std::size_t>(Padded(name_bytes)));
    if (name.empty()) Contradicts(journal, "its list of files is cut off");
    target.entry.name = base::AsText(name.first(name_bytes));
    target.path = Beside(main_path, target.entry.name);
    targets.push_back(std::move(target));
  }
  // A journal that was renamed or copied with another file would overwrite the wrong one.
  if (targets.front().entry.name != NameOf(main_path))
    Contradicts(journal, "it belongs to " + targets.front().entry.name);
  return targets;
}

/// Opens what the journal names. It comes from outside, so only files of this folder are touched,
/// also through links.
void OpenTargets(FileSystem& fs, std::vector<Target>& targets, const std::string& journal,
                 const std::string& main_path) {
  for (Target& target : targets) {
    const std::string& name = target.entry.name;
    if (name.find('/') != std::string::npos) Contradicts(journal, "it names " + name);
    if (!fs.Exists(target.path)) {
      if (target.entry.made) continue;
      Contradicts(journal, name + " is missing");
    }
    if (FolderOf(fs.RealPath(target.path)) != FolderOf(main_path))
      Contradicts(journal, name + " leads out of the folder");
    target.file = fs.Open(target.path, os::OpenMode::kReadWrite);
  }
}

void ApplyImages(BodyReader& body, std::vector<Target>& targets, const std::string& journal) {
  while (body.left() > 0) {
    const base::ByteSpan fixed = body.Take(kImageHeadBytes);
    if (fixed.empty()) Contradicts(journal, "an image is cut off");
    const std::uint32_t entry = base::LoadLE32(fixed, 0);
    const std::uint32_t length = base::LoadLE32(fixed, 4);
    const std::uint64_t offset = base::LoadLE64(fixed, 8);
    if (entry >= targets.size() || length > kBufferBytes - kImageHeadBytes)
      Contradicts(journal, "an image of " + std::to_string(length) + " bytes of file " +
                               std::to_string(entry));
    const std::uint64_t old_size = targets[entry].entry.old_size;
    if (offset > old_size || length > old_size - offset)
      Contradicts(journal, "an image reaches to " + std::to_string(offset + length) + " in " +
                               targets[entry].entry.name + " of " + std::to_string(old_size) +
                               " bytes");
    const base::ByteSpan bytes = body.Take(static_cast<std::size_t>(Padded(length)));
    if (bytes.size() < length) Contradicts(journal, "an image is cut off");
    if (targets[entry].file != nullptr) targets[entry].file->Write(offset, bytes.first(length));
  }
}

}  // namespace

Journal::Journal(FileSystem& fs, const std::string& main_path)
    : fs_(fs), main_path_(main_path), path_(JournalPath(main_path)) {}

void Journal::Open() {
  if (file_ != nullptr) return;
  // New always: what lay there was played back or removed when the store was opened.
  file_ = fs_.Open(path_, os::OpenMode::kCreateNew);
  fs_.CopyAccess(main_path_, path_);  // who may read the table may put it right
  folder_synced_ = false;
  reserved_ = 0;
  buffer_.resize(kBufferBytes);
  // Groups of different runs must not be taken for each other; the clock goes on between them.
  serial_ = static_cast<std::uint64_t>(fs_.Milliseconds()) << 20;
}

void Journal::Reserve(std::uint64_t bytes) {
  if (bytes <= reserved_) return;
  Open();
  const std::uint64_t room = (bytes + kRoomStep) / kRoomStep * kRoomStep;
  file_->Reserve(room);
  reserved_ = room;
}

void Journal::Start(const std::vector<JournalEntry>& entries) {
  KV_ASSERT(!hot_, "one group at a time");
  KV_ASSERT(!entries.empty() && entries.size() <= kMaxEntries, "a main file and its companions");
  Open();
  ++serial_;
  sum_ = serial_;
  body_bytes_ = 0;
  filled_ = 0;
  entries_ = static_cast<std::uint32_t>(entries.size());
  for (const JournalEntry& entry : entries) {
    const auto padded = static_cast<std::size_t>(Padded(entry.name.size()));
    const base::MutableByteSpan out(Room(kEntryHeadBytes + padded), kEntryHeadBytes + padded);
    base::StoreLE32(out, 0, static_cast<std::uint32_t>(entry.name.size()));
    base::StoreLE32(out, 4, entry.made ? 1 : 0);
    base::StoreLE64(out, 8, entry.old_size);
    base::StoreLE64(out, 16, entry.new_size);
    std::memset(out.data() + kEntryHeadBytes, 0, padded);
    std::memcpy(out.data() + kEntryHeadBytes, entry.name.data(), entry.name.size());
  }
}

void Journal::AddImage(std::uint32_t entry, File& from, std::uint64_t offset, std::uint64_t size) {
  while (size > 0) {
    // What is left of the buffer, unless that would make a string of tiny images.
    std::size_t room = buffer_.size() - filled_;
    if (room < kImageHeadBytes + std::min<std::uint64_t>(Padded(size), 4096)) room = buffer_.size();
    const auto length =
        static_cast<std::size_t>(std::min<std::uint64_t>(size, room - kImageHeadBytes));
    const auto padded = static_cast<std::size_t>(Padded(length));
    const base::MutableByteSpan out(Room(kImageHeadBytes + padded), kImageHeadBytes + padded);
    base::StoreLE32(out, 0, entry);
    base::StoreLE32(out, 4, static_cast<std::uint32_t>(length));
    base::StoreLE64(out, 8, offset);
    if (padded > 0) base::StoreLE64(out, kImageHeadBytes + padded - 8, 0);
    const std::size_t got = from.Read(offset, out.subspan(kImageHeadBytes, length));
    if (got != length)
      throw Error(Code::kIo, from.path() + ": " + std::to_string(got) + " of " +
                                 std::to_string(length) + " bytes could be read at offset " +
                                 std::to_string(offset) + ": the file became shorter");
    offset += length;
    size -= length;
  }
}

std::byte* Journal::Room(std::size_t bytes) {
  KV_ASSERT(bytes % 8 == 0 && bytes <= kBufferBytes,
            "what is put in is padded and fits the buffer");
  if (buffer_.size() - filled_ < bytes) WriteOut();
  filled_ += bytes;
  return buffer_.data() + filled_ - bytes;
}

void Journal::WriteOut() {
  const base::ByteSpan bytes = base::ByteSpan(buffer_).first(filled_);
  sum_ = AddToSum(sum_, bytes);
  file_->Write(kBodyAt + body_bytes_, bytes);
  body_bytes_ += filled_;
  filled_ = 0;
}

void Journal::WriteHead(std::uint64_t at, std::uint32_t kind) {
  std::array<std::byte, kHeadBytes> bytes{};
  const base::MutableByteSpan out(bytes);
  std::memcpy(out.data(), kMagic.data(), kMagic.size());
  base::StoreLE32(out, 8, kind);
  base::StoreLE32(out, 12, entries_);
  base::StoreLE64(out, 16, serial_);
  base::StoreLE64(out, 24, body_bytes_);
  base::StoreLE64(out, 32, sum_);
  base::StoreLE64(out, 40, AddToSum(0, out.first(40)));
  file_->Write(at, out);
}

void Journal::Seal() {
  WriteOut();
  WriteHead(0, kSealKind);
  file_->Sync();
  if (!folder_synced_) fs_.SyncFolder(FolderOf(path_));
  folder_synced_ = true;
  hot_ = true;
  settled_ = true;  // an older invalidation, synced or not, has been overwritten
}

void Journal::Finish() {
  KV_ASSERT(hot_, "invariant 3");
  WriteHead(kFinishAt, kFinishKind);
  file_->Sync();
  finished_ = true;
}

void Journal::Invalidate() {
  if (file_ == nullptr) return;
  const std::array<std::byte, kHeadBytes> zeros{};
  file_->Write(0, zeros);
  if (finished_) {
    file_->Sync();  // invariant 4
    file_->Write(kFinishAt, zeros);
  }
  hot_ = finished_ = false;
  settled_ = false;
}

void Journal::Settle() {
  if (settled_) return;
  file_->Sync();
  settled_ = true;
}

void Journal::Remove() noexcept {
  if (hot_ || file_ == nullptr) return;
  file_.reset();
  try {
    // Synced, because other programs may change the table from now on: a journal that came back
    // after a loss of power would take their changes apart.
    fs_.Remove(path_);
    fs_.SyncFolder(FolderOf(path_));
  } catch (const Error&) {
    // What is left lying there is invalid.
  }
}

void Journal::Forget() noexcept {
  file_.reset();
  hot_ = finished_ = false;
  settled_ = true;
}

std::string JournalPath(const std::string& main_path) {
  return main_path + "-journal";
}

bool IsHotJournal(FileSystem& fs, const std::string& main_path) {
  const std::string path = JournalPath(main_path);
  if (!fs.Exists(path)) return false;
  const std::unique_ptr<File> file = fs.Open(path, os::OpenMode::kRead);
  return ReadWhole(*file).has_value();
}

Played PlayBack(FileSystem& fs, const std::string& main_path) {
  const std::string path = JournalPath(main_path);
  if (!fs.Exists(path)) return Played::kNothing;
  std::unique_ptr<File> journal = fs.Open(path, os::OpenMode::kRead);
  const std::optional<Head> head = ReadWhole(*journal);
  Played played = Played::kNothing;
  if (head) {
    BodyReader body(*journal, head->body_bytes);
    std::vector<Target> targets = ReadEntries(body, *head, path, main_path);
    OpenTargets(fs, targets, path, main_path);
    const bool back = head->kind == kSealKind;
    if (back) ApplyImages(body, targets, path);
    for (Target& target : targets) {
      if (target.file == nullptr) continue;
      const std::uint64_t size = back ? target.entry.old_size : target.entry.new_size;
      if (target.file->Size() > size) target.file->Truncate(size);
      target.file->Sync();
      // The main file stays even when it was new: somebody is opening it right now.
      if (back && target.entry.made && &target != &targets.front()) {
        target.file.reset();
        fs.Remove(target.path);
      }
    }
    played = back ? Played::kBack : Played::kForward;
    fs.SyncFolder(FolderOf(path));
  }
  journal.reset();
  fs.Remove(path);
  fs.SyncFolder(FolderOf(path));
  return played;
}

}  // namespace kelvorin::storage
