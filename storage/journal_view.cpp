#include "storage/journal_view.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/status.h"

// Invariants of reading:
//  1. Nothing is changed before the whole journal was read and every file of it compared.
//  2. A role stands once; the main file is the first entry, so there is one.
//  3. Every number is within the limits of the format and of the entry, and records do not overlap:
//     what the index of records takes is bounded by the journal, what is compared by the files.
//  4. A piece is put back only over the old or the new content of that piece.

namespace kelvorin::storage {
namespace {

using State = FoundJournal::State;

constexpr std::size_t kMaxRecords = std::size_t{1} << 22;
constexpr std::uint64_t kZeroStep = std::uint64_t{64} << 10;

bool AllZero(base::ByteSpan bytes) noexcept {
  return std::all_of(bytes.begin(), bytes.end(), [](std::byte b) { return b == std::byte{0}; });
}

std::string Bytes(std::uint64_t count) {
  return std::to_string(count) + " bytes";
}

}  // namespace

// --- Finding and reading

FoundJournal JournalView::Find(FileSystem& fs, const std::string& main_path, File& main) {
  const std::string path = JournalPath(main_path);
  FoundJournal found;
  const os::FileFacts name = fs.Look(path);
  if (name.kind == os::FileKind::kNone) return found;
  found.state = State::kUnusable;
  if (name.kind != os::FileKind::kRegular) {
    found.why = name.kind == os::FileKind::kLink     ? "it is a symbolic link"
                : name.kind == os::FileKind::kFolder ? "it is a folder"
                                                     : "it is no regular file";
    return found;
  }
  std::unique_ptr<File> file;
  try {
    file = fs.Open(path, os::OpenMode::kRead);
  } catch (const Error& error) {
    found.why = std::string(error.status().message());
    return found;
  }
  const os::FileFacts facts = file->Facts();
  const std::uint64_t owner = main.Facts().owner;
  if (facts.identity != name.identity) {
    found.why = "it was replaced while it was opened";
  } else if (facts.links != 1) {
    found.why = "it has " + std::to_string(facts.links) + " names (hard links)";
  } else if (facts.owner != owner && facts.owner != fs.User()) {
    found.why = "it belongs to user " + std::to_string(facts.owner) +
                ", neither the owner of the table nor the caller";
  } else {
    std::unique_ptr<JournalView> view(new JournalView(std::move(file)));
    found.state = view->Read(found.why);
    if (found.state == State::kSealed) found.view = std::move(view);
  }
  return found;
}

std::unique_ptr<JournalView> JournalView::OpenOwn(FileSystem& fs, const std::string& path) {
  std::unique_ptr<JournalView> view(new JournalView(fs.Open(path, os::OpenMode::kRead)));
  std::string why;
  return view->Read(why) == State::kSealed ? std::move(view) : nullptr;
}

State JournalView::Read(std::string& why) {
  State state = State::kDamaged;
  if (!ReadHeads(state, why)) return state;
  return ReadBody(why) ? State::kSealed : State::kDamaged;
}

/// True when a body is to be read; else the state and its reason are final.
bool JournalView::ReadHeads(State& state, std::string& why) {
  std::array<std::byte, kFinishAt + kHeadBytes> bytes{};
  const std::size_t got = file_->Read(0, bytes);
  const base::ByteSpan there = base::ByteSpan(bytes).first(got);
  JournalHead seal;
  JournalHead finish;
  const HeadRead first = DecodeHead(there.first(std::min(got, kHeadBytes)), seal);
  if (got == 0) {
    state = State::kUnsealed;  // died right after making it
    return false;
  }
  if (first == HeadRead::kForeign) {
    state = State::kUnusable;
    why = "it is no journal of this program";
    return false;
  }
  if (first != HeadRead::kGood || seal.kind == HeadKind::kFinish) {
    why = first == HeadRead::kZeros ? "its head was lost" : "its head is damaged";
    return false;
  }
  const HeadRead second =
      got == bytes.size() ? DecodeHead(there.subspan(kFinishAt), finish) : HeadRead::kZeros;
  if (second != HeadRead::kGood && second != HeadRead::kZeros) {
    why = "its second head is damaged";
    return false;
  }
  forward_ =
      second == HeadRead::kGood && finish.kind == HeadKind::kFinish && finish.serial == seal.serial;
  if (!forward_ && seal.kind == HeadKind::kOpen) {
    state = State::kUnsealed;
    return false;
  }
  head_ = forward_ ? finish : seal;
  return true;
}

bool JournalView::ReadBody(std::string& why) {
  const std::uint64_t size = file_->Size();
  if (head_.entries == 0 || head_.entries > kMaxJournalFiles || head_.body_bytes > kMaxFileBytes ||
      size < kBodyAt || head_.body_bytes > size - kBodyAt ||
      head_.body_bytes % StripeSum::kStripeBytes != 0) {
    why = "it has " + Bytes(size) + " where " + std::to_string(head_.entries) + " entries and " +
          Bytes(head_.body_bytes) + " are promised";
    return false;
  }
  const std::uint64_t end = kBodyAt + head_.body_bytes;
  StripeSum sum(head_.serial);
  std::vector<std::byte> buffer;
  for (std::uint64_t at = kBodyAt; at < end;) {
    const bool is_entry = entries_.size() < head_.entries;
    const std::uint64_t least = is_entry ? kEntryBytes : StripeSum::kStripeBytes;
    if (end - at < least) break;
    const base::ByteSpan front = Load(*file_, at, least, record_bytes_);
    RecordHead head;
    if (front.empty()) break;
    if (!is_entry && !DecodeRecordHead(front, head)) break;
    const std::uint64_t length = is_entry ? kEntryBytes : RecordBytes(head);
    if (length > end - at) break;
    const base::ByteSpan whole = Load(*file_, at, length, buffer);
    if (whole.empty()) break;
    sum.Add(whole);
    if (!(is_entry ? TakeEntry(whole, why) : TakeRecord(head, at, why))) return false;
    at += length;
    if (at == end && entries_.size() == head_.entries && sum.Value() == head_.body_sum) return true;
  }
  why = "its contents do not fit the sum over them";
  return false;
}

bool JournalView::TakeEntry(base::ByteSpan bytes, std::string& why) {
  JournalEntry entry;
  const bool good = DecodeEntry(bytes, entry) && !FindEntry(entry.role) &&
                    (entry.role == Role::kMain) == entries_.empty() &&
                    !(entry.role == Role::kMain && entry.removed);
  if (!good) why = "entry " + std::to_string(entries_.size() + 1) + " makes no sense";
  entries_.push_back(entry);
  records_.emplace_back();
  return good;
}

bool JournalView::TakeRecord(const RecordHead& head, std::uint64_t at, std::string& why) {
  bool good =
      head.entry < entries_.size() && head.entry >= last_entry_ && record_count_ < kMaxRecords;
  if (good) {
    const JournalEntry& entry = entries_[head.entry];
    std::vector<Record>& records = records_[head.entry];
    const std::uint64_t behind = records.empty() ? 0 : records.back().offset + records.back().size;
    const std::uint64_t low = head.kind == RecordKind::kImage ? 0 : entry.old_size;
    const std::uint64_t high =
        head.kind == RecordKind::kImage ? std::min(entry.old_size, entry.new_size) : entry.new_size;
    good = head.offset >= std::max(behind, low) && head.offset <= high &&
           head.size <= high - head.offset;
    if (good)
      records.push_back({.offset = head.offset, .size = head.size, .at = at, .kind = head.kind});
  }
  if (!good)
    why = "a range of " + Bytes(head.size) + " at offset " + std::to_string(head.offset) +
          " of file " + std::to_string(head.entry + 1) + " makes no sense";
  last_entry_ = head.entry;
  ++record_count_;
  return good;
}

std::optional<std::size_t> JournalView::FindEntry(Role role) const noexcept {
  for (std::size_t i = 0; i < entries_.size(); ++i)
    if (entries_[i].role == role) return i;
  return std::nullopt;
}

/// All bytes of the range, or nothing when the file ends before.
base::ByteSpan JournalView::Load(File& file, std::uint64_t offset, std::uint64_t size,
                                 std::vector<std::byte>& buffer) {
  const auto bytes = static_cast<std::size_t>(size);
  if (buffer.size() < bytes) buffer.resize(bytes);
  const base::MutableByteSpan out = base::MutableByteSpan(buffer).first(bytes);
  return file.Read(offset, out) == bytes ? base::ByteSpan(out) : base::ByteSpan();
}

// --- Comparing

FileFindings JournalView::Check(std::size_t number, File& file) {
  const JournalEntry& entry = entries_[number];
  const os::FileFacts facts = file.Facts();
  FileFindings found;
  found.size = file.Size();
  found.same_file = facts.identity.inode == entry.identity.inode;
  found.names = facts.links;
  const bool grows = entry.new_size >= entry.old_size;
  // A file that becomes shorter is cut only when all is finished, one that grows may stand anywhere
  // between.
  found.size_fits = forward_
                        ? found.size == entry.new_size || (!grows && found.size == entry.old_size)
                    : grows ? found.size >= entry.old_size && found.size <= entry.new_size
                            : found.size == entry.old_size;
  if (!found.size_fits) return found;
  std::uint64_t at = entry.old_size;
  for (const Record& record : records_[number]) {
    if (record.kind == RecordKind::kAdded) {
      CheckZeros(file, at, record.offset, found);
      at = record.offset + record.size;
    }
    CheckRecord(record, number, file, found);
  }
  CheckZeros(file, at, entry.new_size, found);
  return found;
}

void JournalView::CheckZeros(File& file, std::uint64_t from, std::uint64_t to,
                             FileFindings& found) {
  to = std::min(to, found.size);
  while (from < to) {
    const std::uint64_t step = std::min(to - from, kZeroStep);
    const base::ByteSpan bytes = Load(file, from, step, file_bytes_);
    if (!AllZero(bytes) || bytes.empty()) {
      if (found.other_pieces++ == 0) found.first_other = from;
      return;
    }
    from += step;
  }
}

void JournalView::CheckRecord(const Record& record, std::size_t number, File& file,
                              FileFindings& found) {
  const bool image = record.kind == RecordKind::kImage;
  const RecordHead head{.kind = record.kind,
                        .entry = static_cast<std::uint32_t>(number),
                        .offset = record.offset,
                        .size = record.size};
  const base::ByteSpan stored = Load(*file_, record.at, RecordBytes(head), record_bytes_);
  const std::uint64_t end = record.offset + record.size;
  const std::uint64_t there = std::clamp(found.size, record.offset, end);
  const std::uint64_t step_bytes = kMaxRecordBytes / kPieceBytes * kPieceBytes;
  const auto old_at = static_cast<std::size_t>(kRecordHeadBytes +
                                               PieceCount(record.offset, record.size) * kSumBytes);
  std::size_t sum_at = kRecordHeadBytes;
  for (std::uint64_t at = record.offset; at < end;) {
    const std::uint64_t behind = std::min(end, (at / kPieceBytes) * kPieceBytes + step_bytes);
    const std::uint64_t readable = std::clamp(there, at, behind);
    const base::ByteSpan now = Load(file, at, readable - at, file_bytes_);
    const std::uint64_t loaded_at = at;
    while (at < behind) {
      const std::uint64_t piece_end = PieceEnd(at, behind);
      ++found.pieces;
      const auto in_now = static_cast<std::size_t>(at - loaded_at);
      const auto size = static_cast<std::size_t>(piece_end - at);
      const std::size_t have = now.size() > in_now ? std::min(size, now.size() - in_now) : 0;
      const base::ByteSpan piece = have == 0 ? base::ByteSpan() : now.subspan(in_now, have);
      const bool is_new =
          !stored.empty() && have == size && PieceSum(piece) == base::LoadLE64(stored, sum_at);
      const bool is_old =
          image && !stored.empty() && have == size &&
          std::memcmp(piece.data(),
                      stored.data() + old_at + static_cast<std::size_t>(at - record.offset),
                      size) == 0;
      const bool is_empty = !image && !forward_ && AllZero(piece);
      if (is_new && is_old) {
        // The group does not change it.
      } else if (is_new) {
        ++found.new_pieces;
      } else if (is_old && !forward_) {
        ++found.old_pieces;
      } else if (is_empty) {
        ++found.empty_pieces;
      } else if (found.other_pieces++ == 0) {
        found.first_other = at;
      }
      sum_at += kSumBytes;
      at = piece_end;
    }
  }
}

bool JournalView::IsNew(std::size_t number, const FileFindings& found) const noexcept {
  const JournalEntry& entry = entries_[number];
  return found.sound() && !entry.removed && found.size == entry.new_size && found.old_pieces == 0 &&
         found.empty_pieces == 0;
}

bool JournalView::IsOld(std::size_t number, const FileFindings& found) const noexcept {
  const JournalEntry& entry = entries_[number];
  return found.sound() && !forward_ && !entry.made && found.size == entry.old_size &&
         found.new_pieces == 0;
}

// --- Using

void JournalView::Patch(std::size_t number, std::uint64_t offset, base::MutableByteSpan bytes) {
  if (forward_) return;
  const std::vector<Record>& records = records_[number];
  const std::uint64_t end = offset + bytes.size();
  auto record = std::partition_point(records.begin(), records.end(),
                                     [&](const Record& r) { return r.offset + r.size <= offset; });
  for (; record != records.end() && record->offset < end; ++record) {
    if (record->kind != RecordKind::kImage) return;  // what follows is behind the old end
    const std::uint64_t from = std::max(offset, record->offset);
    const std::uint64_t to = std::min(end, record->offset + record->size);
    const std::uint64_t old_at = record->at + kRecordHeadBytes +
                                 PieceCount(record->offset, record->size) * kSumBytes +
                                 (from - record->offset);
    const base::MutableByteSpan out =
        bytes.subspan(static_cast<std::size_t>(from - offset), static_cast<std::size_t>(to - from));
    if (file_->Read(old_at, out) != out.size())
      throw Error(Code::kIo, file_->path() + ": became shorter while it was read");
  }
}

void JournalView::Apply(std::size_t number, File& file) {
  const std::uint64_t size = SizeOf(number);
  std::vector<std::byte> old;
  for (const Record& record : records_[number]) {
    if (forward_ || record.kind != RecordKind::kImage) break;
    old.resize(static_cast<std::size_t>(record.size));
    Patch(number, record.offset, old);
    const base::ByteSpan now = Load(file, record.offset, record.size, file_bytes_);
    if (now.empty() || std::memcmp(now.data(), old.data(), old.size()) != 0)
      file.Write(record.offset, old);
  }
  if (file.Size() > size) file.Truncate(size);
  file.Sync();
}

}  // namespace kelvorin::storage
