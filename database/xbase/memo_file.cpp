#include "database/xbase/memo_file.h"

#include "base/M_STRING.h"
#include "base/bytes.h"
#include "database/errors.h"

#include <algorithm>
#include <array>

//              | DBT of dBASE III      | DBT of dBASE IV and 5       | FPT
//   header     | u32 next free block   | u32 first free block        | u32 BE next free block
//              | at 16: 3              | at 8: table name, 8 bytes   | at 6: u16 BE block bytes
//              |                       | at 18: u16 0x0102           |
//              |                       | at 20: u16 block bytes      |
//   block      | 512 bytes             | 512 usual                   | 64 usual, 0 and 1 mean 1
//   value      | text, 0x1A 0x1A       | FF FF 08 00, u32 length     | u32 BE type, u32 BE length
//              |                       | with these 8 bytes, value   | of the value, value
//   free block | -                     | u32 next, u32 blocks        | -
//
// Blocks are counted from the start of the file. Lengths were measured on files of the original
// products.

namespace kelvorin::database::xbase {
namespace {

constexpr std::uint32_t kDefaultBlockBytes = 512;
constexpr std::uint32_t kNewFptBlockBytes = 64;
constexpr std::size_t kDbt4NameAt = 8;
constexpr std::size_t kDbt4NameBytes = 8;
constexpr std::size_t kDbt3VersionAt = 16;
constexpr std::size_t kDbt4VersionAt = 18;
constexpr std::size_t kDbt4BlockBytesAt = 20;
constexpr std::size_t kFptBlockBytesAt = 6;

constexpr std::size_t kHeadBytes = 8;
constexpr std::uint32_t kDbt4Head = 0x0008FFFF;  // FF FF 08 00
constexpr char kTextEnd = '\x1A';

/// A header may promise blocks that the file lacks by this much; more is damage and not written
/// over.
constexpr std::uint64_t kMaxGapBytes = std::uint64_t{16} << 20;
/// How many free runs are looked at for one value; the chain of a busy file is long.
constexpr int kRunsTried = 32;

std::uint32_t FptType(char letter) noexcept {
  switch (letter) {
    case 'M':
      return 1;
    case 'P':
      return 0;
    default:
      return 2;
  }
}

}  // namespace

MemoFile::MemoFile(storage::Store& store, storage::FileNo file, MemoKind kind)
    : store_(&store), file_(file), kind_(kind) {
  std::array<std::byte, 24> header{};
  if (store.Size(file) < header.size())
    Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
          "memo file '" + store.Path(file) + "' has only " + std::to_string(store.Size(file)) +
              " bytes");
  store.Read(file, 0, header);
  if (kind == MemoKind::kDbt4) {
    block_bytes_ = base::LoadLE16(header, kDbt4BlockBytesAt);
    if (block_bytes_ == 0) block_bytes_ = kDefaultBlockBytes;
  } else if (kind == MemoKind::kFpt) {
    block_bytes_ = std::max<std::uint32_t>(1, base::LoadBE16(header, kFptBlockBytesAt));
  }
}

std::uint32_t MemoFile::HeaderBlocks() const noexcept {
  return static_cast<std::uint32_t>(BlocksFor(kMemoHeaderBytes));
}

std::uint64_t MemoFile::EndBlock() const noexcept {
  return std::max<std::uint64_t>(BlocksFor(store_->Size(file_)), HeaderBlocks());
}

std::uint32_t MemoFile::NextFree() {
  const base::ByteSpan bytes = store_->View(file_, 0, 4, scratch_);
  return kind_ == MemoKind::kFpt ? base::LoadBE32(bytes, 0) : base::LoadLE32(bytes, 0);
}

void MemoFile::SetNextFree(std::uint32_t block) {
  std::array<std::byte, 4> bytes{};
  if (kind_ == MemoKind::kFpt) {
    base::StoreBE32(bytes, 0, block);
  } else {
    base::StoreLE32(bytes, 0, block);
  }
  store_->Write(file_, 0, bytes);
}

// --- Reading

std::optional<std::uint64_t> MemoFile::HeadedBytes(std::uint32_t block) {
  const std::uint64_t size = store_->Size(file_);
  if (kind_ == MemoKind::kDbt3 || block < HeaderBlocks() || Offset(block) + kHeadBytes > size)
    return std::nullopt;
  const base::ByteSpan head = store_->View(file_, Offset(block), kHeadBytes, scratch_);
  std::uint64_t bytes = 0;
  if (kind_ == MemoKind::kFpt) {
    bytes = std::uint64_t{base::LoadBE32(head, 4)} + kHeadBytes;
  } else {
    bytes = base::LoadLE32(head, 4);
    if (base::LoadLE32(head, 0) != kDbt4Head || bytes < kHeadBytes) return std::nullopt;
  }
  if (bytes > size - Offset(block)) return std::nullopt;
  return bytes;
}

std::string MemoFile::ReadToMark(std::uint32_t block, std::string& out) {
  constexpr std::size_t kStep = 512;
  const std::uint64_t size = store_->Size(file_);
  out.clear();
  for (std::uint64_t at = Offset(block); at < size;) {
    const std::size_t step = static_cast<std::size_t>(std::min<std::uint64_t>(kStep, size - at));
    const std::string_view piece = base::AsText(store_->View(file_, at, step, scratch_));
    const std::size_t end = piece.find(kTextEnd);
    out.append(piece.substr(0, end));
    if (end != std::string_view::npos) break;
    at += step;
  }
  return {};
}

std::string MemoFile::Read(std::uint32_t block, std::string& out) {
  out.clear();
  const auto place = [&] {
    return "names block " + std::to_string(block) + " of memo file '" + store_->Path(file_) + "', ";
  };
  if (block < HeaderBlocks()) return place() + "which lies in its header";
  if (Offset(block) >= store_->Size(file_))
    return place() + "which has only " + std::to_string(EndBlock()) + " blocks";
  if (kind_ == MemoKind::kDbt3) return ReadToMark(block, out);
  const std::optional<std::uint64_t> bytes = HeadedBytes(block);
  if (!bytes) {
    // Tables converted from dBASE III keep texts without a head.
    if (kind_ == MemoKind::kDbt4 && Offset(block) + 4 <= store_->Size(file_) &&
        base::LoadLE32(store_->View(file_, Offset(block), 4, scratch_), 0) != kDbt4Head)
      return ReadToMark(block, out);
    return place() + "which does not begin a whole value";
  }
  out.resize(static_cast<std::size_t>(*bytes) - kHeadBytes);
  store_->Read(file_, Offset(block) + kHeadBytes,
               std::as_writable_bytes(std::span<char>(out.data(), out.size())));
  return {};
}

// --- Storing

std::string_view MemoFile::Obstacle(MemoKind kind, std::string_view value) noexcept {
  if (kind == MemoKind::kDbt3 && value.find(kTextEnd) != std::string_view::npos)
    return "cannot hold a text with character 26, which ends a text in a dBASE III memo file";
  return {};
}

std::uint64_t MemoFile::Occupied(std::uint32_t block) {
  if (kind_ != MemoKind::kDbt3) {
    const std::optional<std::uint64_t> bytes = HeadedBytes(block);
    return bytes ? BlocksFor(*bytes) : 0;
  }
  if (block < HeaderBlocks() || Offset(block) >= store_->Size(file_)) return 0;
  (void)ReadToMark(block, image_);
  return BlocksFor(image_.size() + 1);
}

std::uint32_t MemoFile::Write(std::uint32_t old_block, std::string_view value, char letter) {
  const std::uint64_t occupied = old_block == 0 ? 0 : Occupied(old_block);

  std::array<std::byte, kHeadBytes> head{};
  image_.clear();
  switch (kind_) {
    case MemoKind::kNone:
    case MemoKind::kDbt3:
      image_.append(value).append(2, kTextEnd);
      break;
    case MemoKind::kDbt4:
      base::StoreLE32(head, 0, kDbt4Head);
      base::StoreLE32(head, 4, static_cast<std::uint32_t>(value.size() + kHeadBytes));
      image_.append(base::AsText(head)).append(value);
      break;
    case MemoKind::kFpt:
      base::StoreBE32(head, 0, FptType(letter));
      base::StoreBE32(head, 4, static_cast<std::uint32_t>(value.size()));
      image_.append(base::AsText(head)).append(value);
      break;
  }
  if (image_.size() > kMaxFileBytes)
    Throw(Code::kNoSpace, ErrorNumber::kFieldTooSmall,
          "a value of " + std::to_string(value.size()) + " bytes is too long for memo file '" +
              store_->Path(file_) + "'");

  const std::uint64_t blocks = BlocksFor(image_.size());
  std::uint32_t block = old_block;
  if (blocks > occupied) {
    if (occupied != 0) Free(old_block);
    block = Allocate(blocks);
    // Programs of this family read whole blocks, so the file's last one is made whole.
    image_.resize(static_cast<std::size_t>(blocks * block_bytes_), '\0');
  }
  store_->Write(file_, Offset(block), base::AsBytes(image_));
  return block;
}

std::uint32_t MemoFile::CheckedEnd(std::uint64_t next_free, std::uint64_t blocks) {
  const std::uint64_t end = EndBlock();
  const std::uint64_t at = std::max(next_free, end);
  if ((at - end) * block_bytes_ > kMaxGapBytes)
    Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
          "memo file '" + store_->Path(file_) + "' says its next free block is " +
              std::to_string(next_free) + ", but it has only " + std::to_string(end));
  if ((at + blocks) * block_bytes_ > kMaxFileBytes)
    Throw(Code::kNoSpace, ErrorNumber::kDiskFull,
          "memo file '" + store_->Path(file_) + "' is full: it cannot grow beyond " +
              std::to_string(kMaxFileBytes) + " bytes");
  return static_cast<std::uint32_t>(at);
}

std::uint32_t MemoFile::Allocate(std::uint64_t blocks) {
  if (kind_ == MemoKind::kDbt4) return AllocateAtEnd(blocks);
  const std::uint32_t block = CheckedEnd(NextFree(), blocks);
  SetNextFree(static_cast<std::uint32_t>(block + blocks));
  return block;
}

// --- The chain of free blocks (dBASE IV)

std::optional<MemoFile::Run> MemoFile::ReadRun(std::uint32_t block) {
  const std::uint64_t end = EndBlock();
  if (block < HeaderBlocks() || block_bytes_ < kHeadBytes ||
      Offset(block) + kHeadBytes > store_->Size(file_))
    return std::nullopt;
  const base::ByteSpan bytes = store_->View(file_, Offset(block), kHeadBytes, scratch_);
  const Run run{block, base::LoadLE32(bytes, 0), base::LoadLE32(bytes, 4)};
  if (run.next == kDbt4Head || run.blocks == 0 || run.blocks > end - block) return std::nullopt;
  return run;
}

/// Many programs keep no chain, so what looks like one is walked to its end before it is used.
FreeChain& MemoFile::WalkChain() {
  if (chain_) return *chain_;
  chain_.emplace();
  const std::uint64_t end = EndBlock();
  std::uint32_t block = NextFree();
  while (block < end) {
    const std::optional<Run> run = ReadRun(block);
    if (!run || chain_->runs > end) {
      *chain_ = {.sound = false, .tail = 0, .runs = 0};
      break;
    }
    chain_->tail = block;
    ++chain_->runs;
    block = run->next;
  }
  return *chain_;
}

std::vector<MemoFile::Run> MemoFile::FreeRuns() {
  std::vector<Run> runs;
  if (kind_ != MemoKind::kDbt4 || !WalkChain().sound) return runs;
  std::uint32_t block = NextFree();
  for (std::uint32_t i = 0; i < chain_->runs; ++i) {
    const std::optional<Run> run = ReadRun(block);
    if (!run) break;
    runs.push_back(*run);
    block = run->next;
  }
  return runs;
}

void MemoFile::SetLink(std::uint32_t holder, std::uint32_t to) {
  if (holder == 0) return SetNextFree(to);
  std::array<std::byte, 4> bytes{};
  base::StoreLE32(bytes, 0, to);
  store_->Write(file_, Offset(holder), bytes);
}

std::uint32_t MemoFile::AllocateAtEnd(std::uint64_t blocks) {
  FreeChain& chain = WalkChain();
  std::uint32_t holder = 0;
  std::uint32_t block = chain.runs != 0 ? NextFree() : 0;
  for (int tried = 0; chain.sound && chain.runs != 0 && tried < kRunsTried; ++tried) {
    const std::optional<Run> run = ReadRun(block);
    if (!run) break;  // the last link
    if (run->blocks >= blocks) {
      const auto rest = static_cast<std::uint32_t>(run->blocks - blocks);
      std::uint32_t successor = run->next;
      const bool was_tail = chain.tail == block;
      if (rest != 0) {
        successor = block + static_cast<std::uint32_t>(blocks);
        std::array<std::byte, kHeadBytes> bytes{};
        base::StoreLE32(bytes, 0, run->next);
        base::StoreLE32(bytes, 4, rest);
        store_->Write(file_, Offset(successor), bytes);
      } else {
        --chain.runs;
      }
      if (was_tail) chain.tail = rest != 0 ? successor : holder;
      SetLink(holder, successor);
      return block;
    }
    if (block == chain.tail) break;
    holder = block;
    block = run->next;
  }
  // Behind the end. The last link moves along, so that the free runs stay known.
  std::uint64_t last_link = 0;
  if (chain.sound)
    last_link = chain.tail == 0 ? NextFree() : ReadRun(chain.tail).value_or(Run{}).next;
  block = CheckedEnd(last_link, blocks);
  SetLink(chain.tail, static_cast<std::uint32_t>(block + blocks));
  if (!chain.sound) chain = FreeChain();  // the header now begins an empty one
  return block;
}

void MemoFile::Free(std::uint32_t block) {
  if (kind_ != MemoKind::kDbt4) return;
  const std::uint64_t blocks = Occupied(block);
  FreeChain& chain = WalkChain();
  if (blocks == 0 || !chain.sound || block_bytes_ < kHeadBytes) return;
  std::array<std::byte, kHeadBytes> bytes{};
  base::StoreLE32(bytes, 0, NextFree());
  base::StoreLE32(bytes, 4, static_cast<std::uint32_t>(blocks));
  store_->Write(file_, Offset(block), bytes);
  SetNextFree(block);
  if (chain.runs++ == 0) chain.tail = block;
}

void MemoFile::Inspect(std::vector<std::string>& problems) {
  const std::string name = "memo file '" + store_->Path(file_) + "'";
  const std::uint64_t next_free = NextFree();
  if (kind_ == MemoKind::kDbt4) {
    chain_.reset();
    if (!WalkChain().sound) problems.push_back(name + ": the chain of free blocks is broken");
  } else if (next_free < HeaderBlocks()) {
    problems.push_back(name + ": its next free block " + std::to_string(next_free) +
                       " lies in its header");
  } else if ((next_free + 1) * block_bytes_ < store_->Size(file_)) {
    problems.push_back(name + ": its next free block " + std::to_string(next_free) +
                       " lies before its end at block " + std::to_string(EndBlock()));
  }
}

std::string MemoFile::NewFile(MemoKind kind, std::string_view base_name) {
  std::string file(kMemoHeaderBytes, '\0');
  const auto bytes = std::as_writable_bytes(std::span<char>(file.data(), file.size()));
  switch (kind) {
    case MemoKind::kNone:
      file.clear();
      break;
    case MemoKind::kDbt3:
      base::StoreLE32(bytes, 0, 1);
      base::Store8(bytes, kDbt3VersionAt, 3);
      break;
    case MemoKind::kDbt4: {
      base::StoreLE32(bytes, 0, 1);
      const std::string name = base::UpperAscii(base_name.substr(0, kDbt4NameBytes));
      file.replace(kDbt4NameAt, name.size(), name);
      base::StoreLE16(bytes, kDbt4VersionAt, 0x0102);
      base::StoreLE16(bytes, kDbt4BlockBytesAt, kDefaultBlockBytes);
      break;
    }
    case MemoKind::kFpt:
      base::StoreBE32(bytes, 0, kMemoHeaderBytes / kNewFptBlockBytes);
      base::StoreBE16(bytes, kFptBlockBytesAt, kNewFptBlockBytes);
      break;
  }
  return file;
}

}  // namespace kelvorin::database::xbase
