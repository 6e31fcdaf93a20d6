#include "storage/journal.h"

#include <algorithm>
#include <cstring>

#include "base/status.h"

// Invariants (those of the reader stand in journal_view.cpp):
//  1. A file of the store is changed only while the journal is sealed and synced.
//  2. The body is synced before the head seals it, so a seal whose body does not fit is damage and
//     never an unfinished writing. It is overwritten only when its invalidation is synced.
//  3. "Finish" is written when every file is written and synced: what is left is cutting and
//     removing, which can be repeated. It counts only with the serial of the body that is there.
//  4. Once files are cut there is no way back, so the seal is gone for good before the "finish" is,
//     and the "finish" before the next body.
//  5. Records come by entry and place and do not overlap; images lie below the old and the new end
//     of the file, additions between the old and the new.
//  6. From its first byte on the file says whose it is, so that nobody else's is taken for it.

namespace kelvorin::storage {
namespace {

constexpr std::size_t kBufferBytes = kMaxRecordBytes;
constexpr std::uint64_t kRoomStep = std::uint64_t{64} << 10;
constexpr std::uint64_t kMaxBodyBytes = kMaxFileBytes / 2;

}  // namespace

Journal::Journal(FileSystem& fs, const std::string& main_path, File& main)
    : fs_(fs), main_(main), path_(JournalPath(main_path)) {}

void Journal::Open() {
  if (file_ != nullptr) return;
  // New always: what lay there was dealt with when the store was opened.
  file_ = fs_.Open(path_, os::OpenMode::kCreatePrivate);
  file_->TakeAccess(main_);  // who may read the table may put it right
  folder_synced_ = false;
  reserved_ = 0;
  buffer_.resize(kBufferBytes);
  // Groups of different runs must not be taken for each other; the clock goes on between them.
  head_.serial = static_cast<std::uint64_t>(fs_.Milliseconds()) << 20;
  WriteHead(0, HeadKind::kOpen);  // invariant 6
  file_->Sync();                  // a body whose head was lost would look damaged
}

void Journal::Reserve(std::uint64_t bytes) {
  if (bytes <= reserved_) return;
  Open();
  const std::uint64_t room = (bytes + kRoomStep) / kRoomStep * kRoomStep;
  file_->Reserve(room);
  reserved_ = room;
}

void Journal::Start(std::span<const JournalEntry> entries) {
  KV_ASSERT(!hot_, "one group at a time");
  KV_ASSERT(!entries.empty() && entries.size() <= kMaxJournalFiles, "a main file and companions");
  Open();
  Settle();  // invariant 2
  ++head_.serial;
  head_.entries = static_cast<std::uint32_t>(entries.size());
  sum_ = StripeSum(head_.serial);
  body_bytes_ = 0;
  filled_ = 0;
  for (const JournalEntry& entry : entries) EncodeEntry(entry, Room(kEntryBytes));
}

std::uint64_t Journal::FitSize(RecordKind kind, std::uint64_t offset, std::uint64_t size) {
  // What is left of the buffer, unless that would make a string of tiny records.
  std::size_t room = buffer_.size() - filled_;
  const RecordHead little{
      .kind = kind, .offset = offset, .size = std::min<std::uint64_t>(size, 4096)};
  if (room < RecordBytes(little)) room = buffer_.size();
  RecordHead head{.kind = kind, .offset = offset, .size = size};
  if (RecordBytes(head) <= room) return size;
  const std::uint64_t a_piece = kSumBytes + (kind == RecordKind::kImage ? kPieceBytes : 0);
  const std::uint64_t pieces = (room - kRecordHeadBytes - StripeSum::kStripeBytes) / a_piece - 1;
  return (offset / kPieceBytes + pieces) * kPieceBytes - offset;
}

base::MutableByteSpan Journal::StartRecord(const RecordHead& head,
                                           std::span<const std::uint64_t>& new_sums) {
  const base::MutableByteSpan out = Room(RecordBytes(head));
  EncodeRecordHead(head, out);
  const std::uint64_t pieces = PieceCount(head.offset, head.size);
  std::size_t at = kRecordHeadBytes;
  for (const std::uint64_t sum : new_sums.first(static_cast<std::size_t>(pieces))) {
    base::StoreLE64(out, at, sum);
    at += kSumBytes;
  }
  new_sums = new_sums.subspan(static_cast<std::size_t>(pieces));
  const std::size_t padding = std::min(StripeSum::kStripeBytes, out.size() - at);
  std::memset(out.data() + out.size() - padding, 0, padding);
  return out.subspan(at);
}

void Journal::AddImage(std::uint32_t entry, File& from, std::uint64_t offset, std::uint64_t size,
                       std::span<const std::uint64_t> new_sums) {
  while (size > 0) {
    const std::uint64_t part = FitSize(RecordKind::kImage, offset, size);
    const base::MutableByteSpan out = StartRecord(
        {.kind = RecordKind::kImage, .entry = entry, .offset = offset, .size = part}, new_sums);
    const auto length = static_cast<std::size_t>(part);
    const std::size_t got = from.Read(offset, out.first(length));
    if (got != length)
      throw Error(Code::kIo, from.path() + ": " + std::to_string(got) + " of " +
                                 std::to_string(length) + " bytes could be read at offset " +
                                 std::to_string(offset) + ": the file became shorter");
    offset += part;
    size -= part;
  }
}

void Journal::AddNew(std::uint32_t entry, std::uint64_t offset, std::uint64_t size,
                     std::span<const std::uint64_t> new_sums) {
  while (size > 0) {
    const std::uint64_t part = FitSize(RecordKind::kAdded, offset, size);
    (void)StartRecord({.kind = RecordKind::kAdded, .entry = entry, .offset = offset, .size = part},
                      new_sums);
    offset += part;
    size -= part;
  }
}

base::MutableByteSpan Journal::Room(std::uint64_t wanted) {
  const auto bytes = static_cast<std::size_t>(wanted);
  KV_ASSERT(bytes % StripeSum::kStripeBytes == 0 && bytes <= buffer_.size(),
            "what is put in is padded and fits the buffer");
  if (buffer_.size() - filled_ < bytes) WriteOut();
  filled_ += bytes;
  return base::MutableByteSpan(buffer_).subspan(filled_ - bytes, bytes);
}

void Journal::WriteOut() {
  const base::ByteSpan bytes = base::ByteSpan(buffer_).first(filled_);
  if (body_bytes_ + filled_ > kMaxBodyBytes)
    throw Error(Code::kNoSpace,
                path_ + ": one change of more than " + std::to_string(kMaxBodyBytes) + " bytes");
  sum_.Add(bytes);
  file_->Write(kBodyAt + body_bytes_, bytes);
  body_bytes_ += filled_;
  filled_ = 0;
}

void Journal::WriteHead(std::uint64_t at, HeadKind kind) {
  JournalHead head = head_;
  head.kind = kind;
  head.body_bytes = body_bytes_;
  head.body_sum = sum_.Value();
  file_->Write(at, EncodeHead(head));
}

void Journal::Seal() {
  WriteOut();
  file_->Sync();
  WriteHead(0, HeadKind::kSeal);
  file_->Sync();
  if (!folder_synced_) fs_.SyncFolder(FolderOf(path_));
  folder_synced_ = true;
  hot_ = true;
  settled_ = true;
}

void Journal::Finish() {
  KV_ASSERT(hot_, "invariant 3");
  WriteHead(kFinishAt, HeadKind::kFinish);
  file_->Sync();
  finished_ = true;
}

void Journal::Invalidate() {
  if (file_ == nullptr) return;
  WriteHead(0, HeadKind::kOpen);
  settled_ = false;
  if (finished_) {
    Settle();  // invariant 4
    file_->Write(kFinishAt, std::array<std::byte, kHeadBytes>{});
    settled_ = false;
    Settle();
  }
  hot_ = finished_ = false;
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
    // after a loss of power would stand in the way of the next writing.
    fs_.Remove(path_);
    fs_.SyncFolder(FolderOf(path_));
  } catch (const Error&) {
    // What is left lying there is invalid.
  }
}

void Journal::PlayedBack() {
  file_.reset();
  hot_ = finished_ = false;
  settled_ = true;
  fs_.Remove(path_);
  fs_.SyncFolder(FolderOf(path_));
}

}  // namespace kelvorin::storage
