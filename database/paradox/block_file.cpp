#include "database/paradox/block_file.h"

#include "database/errors.h"

#include <algorithm>
#include <cstring>

namespace kelvorin::database::paradox {
namespace {

Header ReadHeaderFrom(storage::Store& store, storage::FileNo file) {
  const std::string& path = store.Path(file);
  const std::uint64_t size = store.Size(file);
  std::vector<std::byte> bytes(
      static_cast<std::size_t>(std::min<std::uint64_t>(size, kFixedBytes)));
  store.Read(file, 0, bytes);
  const std::size_t header_bytes = HeaderSize(bytes, path);
  if (header_bytes > size)
    Throw(Code::kCorrupt, ErrorNumber::kExternalTable,
          "file '" + path + "': claims a header of " + std::to_string(header_bytes) +
              " bytes, but has only " + std::to_string(size));
  bytes.resize(header_bytes);
  store.Read(file, 0, bytes);
  return ReadHeader(bytes, path);
}

}  // namespace

BlockFile::BlockFile(storage::Store& store, storage::FileNo file)
    : store_(&store),
      file_(file),
      header_(ReadHeaderFrom(store, file)),
      capacity_(header_.capacity()),
      cipher_(header_.key),
      counts_(header_.counts) {
  store.SetPages(file, header_.block_bytes, header_.header_bytes);
}

void BlockFile::Damaged(BlockNo block, const std::string& what) const {
  Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
        "file '" + path() + "', block " + std::to_string(block) + ": " + what);
}

void BlockFile::CheckBlock(BlockNo block) const {
  if (block == 0 || block > counts_.blocks)
    Damaged(block, "the file has blocks 1 to " + std::to_string(counts_.blocks));
}

// --- Reading

base::ByteSpan BlockFile::RawView(BlockNo block) {
  const std::uint64_t offset = Offset(block), size = store_->Size(file_);
  if (offset + header_.block_bytes <= size)
    return store_->View(file_, offset, header_.block_bytes, store_scratch_);
  // Old programs wrote whole kilobytes only: what a short last block lacks is zeros.
  if (offset + kBlockHead > size)
    Damaged(block, "it lies behind the end of the file at " + std::to_string(size));
  scratch_.assign(header_.block_bytes, std::byte{0});
  const auto there = static_cast<std::size_t>(size - offset);
  store_->Read(file_, offset, base::MutableByteSpan(scratch_).first(there));
  return scratch_;
}

base::MutableByteSpan BlockFile::OpenDecrypted(BlockNo block) {
  OpenBlock& open = open_[block % kOpenBlocks];
  if (open.block != block) {
    const base::ByteSpan raw = RawView(block);
    open.bytes.assign(raw.begin(), raw.end());
    cipher_.DecryptBlock(open.bytes, block);
    open.block = block;
  }
  return open.bytes;
}

base::ByteSpan BlockFile::View(BlockNo block) {
  CheckBlock(block);
  return cipher_ ? base::ByteSpan(OpenDecrypted(block)) : RawView(block);
}

BlockHead BlockFile::HeadOf(BlockNo block, base::ByteSpan view) const {
  BlockHead head;
  head.next = base::LoadLE16(view, 0);
  head.previous = base::LoadLE16(view, 2);
  const int last_at = static_cast<std::int16_t>(base::LoadLE16(view, 4));
  const int record = header_.record_bytes;
  const int records = last_at / record + 1;
  if (last_at < -record || last_at % record != 0 || static_cast<std::uint32_t>(records) > capacity_)
    Damaged(block, "its size word " + std::to_string(last_at) + " does not suit up to " +
                       std::to_string(capacity_) + " records of " + std::to_string(record) +
                       " bytes");
  head.records = static_cast<std::uint32_t>(records);
  return head;
}

bool BlockFile::InChain(BlockNo block) {
  if (block == 0 || block > counts_.blocks) return false;
  const BlockNo previous = base::LoadLE16(View(block), 2);
  if (previous > counts_.blocks) return false;
  const BlockNo leads_to =
      previous == 0 ? counts_.first : BlockNo{base::LoadLE16(View(previous), 0)};
  return leads_to == block;
}

BlockNo BlockFile::NextBlock(BlockNo block) {
  const BlockNo next = Head(block).next;
  if (next == 0) return 0;
  const BlockNo back = Head(next).previous;
  if (back != block)
    Damaged(next, "it comes behind block " + std::to_string(block) + ", but names block " +
                      std::to_string(back) + " as the one before it");
  return next;
}

BlockNo BlockFile::PreviousBlock(BlockNo block) {
  const BlockNo previous = Head(block).previous;
  if (previous == 0) return 0;
  const BlockNo forth = Head(previous).next;
  if (forth != block)
    Damaged(previous, "it comes before block " + std::to_string(block) + ", but names block " +
                          std::to_string(forth) + " as the one behind it");
  return previous;
}

Place BlockFile::First() {
  const BlockNo first = counts_.first;
  if (first == 0) return {};
  const BlockHead head = Head(first);
  if (head.previous != 0)
    Damaged(first, "it is the first, but names block " + std::to_string(head.previous) +
                       " as the one before it");
  if (head.records > 0) return {first, 0};
  for (BlockNo block = NextBlock(first); block != 0; block = NextBlock(block))
    if (Head(block).records > 0) return {block, 0};
  return {};
}

Place BlockFile::Last() {
  const BlockNo last = counts_.last;
  if (last == 0) return {};
  BlockHead head = Head(last);
  if (head.next != 0)
    Damaged(last, "it is the last, but names block " + std::to_string(head.next) +
                      " as the one behind it");
  for (BlockNo block = last; block != 0; block = PreviousBlock(block)) {
    head = Head(block);
    if (head.records > 0) return {block, static_cast<std::uint16_t>(head.records - 1)};
  }
  return {};
}

Place BlockFile::Next(Place at) {
  const BlockHead head = Head(at.block);
  if (at.slot + 1u < head.records) return {at.block, static_cast<std::uint16_t>(at.slot + 1)};
  if (head.next == 0) return {};
  for (BlockNo block = NextBlock(at.block); block != 0; block = NextBlock(block))
    if (Head(block).records > 0) return {block, 0};
  return {};
}

Place BlockFile::Previous(Place at) {
  if (at.slot > 0) return {at.block, static_cast<std::uint16_t>(at.slot - 1)};
  for (BlockNo block = PreviousBlock(at.block); block != 0; block = PreviousBlock(block)) {
    const BlockHead head = Head(block);
    if (head.records > 0) return {block, static_cast<std::uint16_t>(head.records - 1)};
  }
  return {};
}

// --- Changing

void BlockFile::Put(BlockNo block, std::size_t at, base::ByteSpan bytes) {
  CheckBlock(block);
  touched_ = true;
  const std::uint64_t offset = Offset(block), end = offset + header_.block_bytes;
  if (store_->Size(file_) < end) store_->Truncate(file_, end);  // a block that was cut short
  if (!cipher_) return store_->Write(file_, offset + at, bytes);
  const base::MutableByteSpan open = OpenDecrypted(block);
  std::copy(bytes.begin(), bytes.end(), open.begin() + static_cast<std::ptrdiff_t>(at));
  const std::size_t first = at / kChunkBytes;
  const std::size_t behind = (at + bytes.size() + kChunkBytes - 1) / kChunkBytes;
  const base::ByteSpan plain = open.subspan(first * kChunkBytes, (behind - first) * kChunkBytes);
  std::vector<std::byte> secret(plain.begin(), plain.end());
  cipher_.EncryptBlock(secret, block, first);
  store_->Write(file_, offset + first * kChunkBytes, secret);
}

void BlockFile::PutHead(BlockNo block, const BlockHead& head) {
  std::array<std::byte, kBlockHead> bytes{};
  base::StoreLE16(bytes, 0, head.next);
  base::StoreLE16(bytes, 2, head.previous);
  base::StoreLE16(
      bytes, 4,
      static_cast<std::uint16_t>((static_cast<int>(head.records) - 1) * header_.record_bytes));
  Put(block, 0, bytes);
}

void BlockFile::PutSize(BlockNo block, std::uint32_t records) {
  std::array<std::byte, 2> bytes{};
  base::StoreLE16(
      bytes, 0, static_cast<std::uint16_t>((static_cast<int>(records) - 1) * header_.record_bytes));
  Put(block, 4, bytes);
}

void BlockFile::InsertRecord(Place at, base::ByteSpan record) {
  const base::ByteSpan view = View(at.block);
  const BlockHead head = HeadOf(at.block, view);
  if (head.records >= capacity_ || at.slot > head.records)
    Damaged(at.block, "it has no room at record " + std::to_string(at.slot + 1));
  const std::size_t from = kBlockHead + std::size_t{at.slot} * record_bytes();
  const std::size_t tail = (head.records - at.slot) * std::size_t{record_bytes()};
  if (tail == 0) {
    Put(at.block, from, record);
  } else {
    image_.resize(record.size() + tail);
    std::memcpy(image_.data(), record.data(), record.size());
    std::memcpy(image_.data() + record.size(), view.data() + from, tail);
    Put(at.block, from, image_);
  }
  PutSize(at.block, head.records + 1);
  ++counts_.records;
}

void BlockFile::EraseRecord(Place at) {
  const base::ByteSpan view = View(at.block);
  const BlockHead head = HeadOf(at.block, view);
  if (at.slot >= head.records) Damaged(at.block, "it has no record " + std::to_string(at.slot + 1));
  const std::size_t from = kBlockHead + std::size_t{at.slot} * record_bytes();
  const std::size_t tail = (head.records - at.slot - 1) * std::size_t{record_bytes()};
  // The last one's bytes are cleared: nothing of a deleted record stays behind.
  image_.assign(tail + record_bytes(), std::byte{0});
  std::memcpy(image_.data(), view.data() + from + record_bytes(), tail);
  Put(at.block, from, image_);
  PutSize(at.block, head.records - 1);
  --counts_.records;
}

void BlockFile::Overwrite(Place at, std::size_t offset, base::ByteSpan bytes) {
  Put(at.block, kBlockHead + std::size_t{at.slot} * record_bytes() + offset, bytes);
}

void BlockFile::MoveTail(BlockNo from, std::uint32_t slot, BlockNo to) {
  const base::ByteSpan view = View(from);
  const BlockHead head = HeadOf(from, view);
  if (from == to || slot > head.records)
    Damaged(from, "it is in use and in the list of free blocks");
  const std::size_t at = kBlockHead + std::size_t{slot} * record_bytes();
  const std::size_t bytes = (head.records - slot) * std::size_t{record_bytes()};
  image_.assign(view.begin() + static_cast<std::ptrdiff_t>(at),
                view.begin() + static_cast<std::ptrdiff_t>(at + bytes));
  Put(to, kBlockHead, image_);
  PutSize(to, head.records - slot);
  image_.assign(bytes, std::byte{0});
  Put(from, at, image_);
  PutSize(from, slot);
}

void BlockFile::PutRecords(BlockNo block, base::ByteSpan records) {
  if (!records.empty()) Put(block, kBlockHead, records);
  PutSize(block, static_cast<std::uint32_t>(records.size() / record_bytes()));
}

void BlockFile::PutWhole(BlockNo block, base::ByteSpan bytes) {
  open_[block % kOpenBlocks].block = 0;  // nothing of what it held before is needed
  if (cipher_) {
    OpenBlock& open = open_[block % kOpenBlocks];
    open.bytes.assign(bytes.begin(), bytes.end());
    open.block = block;
    std::vector<std::byte> secret(bytes.begin(), bytes.end());
    cipher_.EncryptBlock(secret, block);
    store_->Write(file_, Offset(block), secret);
  } else {
    store_->Write(file_, Offset(block), bytes);
  }
  touched_ = true;
}

BlockNo BlockFile::AddBlock(BlockNo behind) {
  BlockNo block = counts_.free;
  const BlockNo next_free = block == 0 ? BlockNo{0} : base::LoadLE16(View(block), 0);
  if (next_free > counts_.blocks || (next_free != 0 && next_free == block))
    Damaged(block,
            "it is free and names block " + std::to_string(next_free) + " as the next free one");
  if (block == 0) {
    if (counts_.blocks == kMaxBlocks)
      Throw(Code::kNoSpace, ErrorNumber::kDiskFull,
            "file '" + path() + "' is full: it has " + std::to_string(kMaxBlocks) + " blocks of " +
                std::to_string(header_.block_bytes) + " bytes, and there can be no more");
    block = static_cast<BlockNo>(counts_.blocks + 1);
    if (block > 1) (void)RawView(counts_.blocks);  // a file that ends before is not made longer
  } else if (InChain(block)) {
    Damaged(block, "it is in use and in the list of free blocks");
  }
  const BlockNo next = behind == 0 ? BlockNo{0} : Head(behind).next;
  image_.assign(header_.block_bytes, std::byte{0});
  base::StoreLE16(image_, 0, next);
  base::StoreLE16(image_, 2, behind);
  base::StoreLE16(image_, 4, static_cast<std::uint16_t>(-static_cast<int>(record_bytes())));
  counts_.blocks = std::max(counts_.blocks, block);
  counts_.free = next_free;
  PutWhole(block, image_);
  std::array<std::byte, 2> number{};
  base::StoreLE16(number, 0, block);
  if (behind != 0) Put(behind, 0, number);
  if (next != 0) Put(next, 2, number);
  if (behind == 0) counts_.first = block;
  if (next == 0) counts_.last = block;
  ++counts_.used;
  return block;
}

void BlockFile::FreeBlock(BlockNo block) {
  const BlockHead head = Head(block);
  std::array<std::byte, 2> number{};
  base::StoreLE16(number, 0, head.next);
  if (head.previous != 0) Put(head.previous, 0, number);
  base::StoreLE16(number, 0, head.previous);
  if (head.next != 0) Put(head.next, 2, number);
  if (counts_.first == block) counts_.first = head.next;
  if (counts_.last == block) counts_.last = head.previous;
  --counts_.used;
  PutHead(block, {.next = counts_.free, .previous = 0, .records = 0});
  counts_.free = block;
}

void BlockFile::Clear() {
  store_->Truncate(file_, header_.header_bytes);
  counts_ = {};
  counts_.root = header_.is_tree() ? 1 : 0;
  for (OpenBlock& open : open_) open.block = 0;
  touched_ = true;
}

void BlockFile::WriteByte(std::size_t at, std::uint8_t value) {
  const std::byte byte[] = {static_cast<std::byte>(value)};
  store_->Write(file_, at, byte);
}

void BlockFile::WriteCounter(std::uint32_t counter) {
  std::array<std::byte, 4> bytes{};
  base::StoreLE32(bytes, 0, counter);
  store_->Write(file_, kCounterAt, bytes);
}

void BlockFile::MarkClosed() {
  if (!header_.not_closed) return;
  WriteByte(kModifiedAt, 0);
  WriteByte(kModified2At, 0);
}

void BlockFile::WriteCounts() {
  const auto write16 = [&](std::size_t at, std::uint16_t value) {
    std::array<std::byte, 2> bytes{};
    base::StoreLE16(bytes, 0, value);
    store_->Write(file_, at, bytes);
  };
  std::array<std::byte, 4> records{};
  base::StoreLE32(records, 0, counts_.records);
  store_->Write(file_, kRecordsAt, records);
  write16(kUsedAt, counts_.used);
  write16(kBlocksAt, counts_.blocks);
  write16(kFirstAt, counts_.first);
  write16(kLastAt, counts_.last);
  write16(kFreeAt, counts_.free);
  write16(kBlocksAgainAt, counts_.blocks);
  if (header_.is_tree()) {
    write16(kRootAt, counts_.root);
    WriteByte(kLevelsAt, counts_.levels);
  }
}

void BlockFile::Forget() noexcept {
  for (OpenBlock& open : open_) open.block = 0;
}

}  // namespace kelvorin::database::paradox
