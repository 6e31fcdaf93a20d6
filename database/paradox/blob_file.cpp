#include "database/paradox/blob_file.h"

#include "database/errors.h"

#include <algorithm>

// The file is a row of blocks of whole units. Block of one value: type 2, units, length,
// modification number, value. Block of small values: type 3, one unit, 64 entries that say where in
// the block a value stands, then the values in chunks of 16 bytes. Free block: type 4, units.

namespace kelvorin::database::paradox {
namespace {

constexpr std::uint32_t kUnitBytes = 4096;
constexpr std::uint8_t kHeaderType = 0, kLargeType = 2, kSmallType = 3, kFreeType = 4;
constexpr std::size_t kLargeHead = 9;
constexpr std::size_t kSmallHead = 12;
constexpr std::size_t kEntryBytes = 5;
constexpr std::size_t kMaxSmall = 2048;
constexpr std::uint32_t kChunk = 16;
constexpr unsigned kFirstChunk = 0x15;  // behind head and entries
constexpr unsigned kChunks = kUnitBytes / kChunk;
constexpr std::uint32_t kMaxUnitsOfBlock = 0xFFFF;
constexpr std::uint32_t kMaxUnits = 0x100000;  // a location has 32 bits
constexpr std::uint8_t kWholeBlock = 0xFF;     // as low byte of a location
constexpr std::size_t kModificationAt = 3;

std::string At(std::uint64_t offset) {
  return " at offset " + std::to_string(offset);
}

std::uint32_t UnitsFor(std::uint64_t bytes) noexcept {
  return static_cast<std::uint32_t>((bytes + kUnitBytes - 1) / kUnitBytes);
}

base::MutableByteSpan Writable(std::string& text) noexcept {
  return std::as_writable_bytes(std::span<char>(text.data(), text.size()));
}

}  // namespace

BlobReference LoadReference(base::ByteSpan ten) noexcept {
  return {base::LoadLE32(ten, 0), base::LoadLE32(ten, 4), base::LoadLE16(ten, 8)};
}

void StoreReference(const BlobReference& reference, base::MutableByteSpan ten) noexcept {
  base::StoreLE32(ten, 0, reference.location);
  base::StoreLE32(ten, 4, reference.bytes);
  base::StoreLE16(ten, 8, reference.modification);
}

BlobFile::BlobFile(storage::Store& store, storage::FileNo file, std::uint32_t key)
    : store_(&store), file_(file), cipher_(key) {
  std::uint8_t type = 0xFF;
  std::uint32_t units = 0;
  if (Size() >= kUnitBytes) ReadBlockHead(0, type, units);
  if (type != kHeaderType || units != 1)
    Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
          "blob file '" + path() + "' does not begin with the header of a blob file");
}

// --- Bytes

void BlobFile::Get(std::uint64_t offset, base::MutableByteSpan out) {
  if (!cipher_) return store_->Read(file_, offset, out);
  const std::uint64_t first = offset / kChunkBytes * kChunkBytes;
  const std::uint64_t behind = (offset + out.size() + kChunkBytes - 1) / kChunkBytes * kChunkBytes;
  scratch_.assign(static_cast<std::size_t>(behind - first), std::byte{0});
  const std::uint64_t there = std::min(behind, Size());
  if (there < offset + out.size()) return store_->Read(file_, offset, out);  // says what is wrong
  store_->Read(file_, first,
               base::MutableByteSpan(scratch_).first(static_cast<std::size_t>(there - first)));
  cipher_.DecryptBlobs(scratch_);
  std::copy_n(scratch_.begin() + static_cast<std::ptrdiff_t>(offset - first), out.size(),
              out.begin());
}

void BlobFile::Put(std::uint64_t offset, base::ByteSpan bytes) {
  if (!cipher_) return store_->Write(file_, offset, bytes);
  const std::uint64_t first = offset / kChunkBytes * kChunkBytes;
  const std::uint64_t behind =
      (offset + bytes.size() + kChunkBytes - 1) / kChunkBytes * kChunkBytes;
  std::vector<std::byte> chunks(static_cast<std::size_t>(behind - first));
  const std::uint64_t there = std::min(behind, Size());
  if (there > first) {
    store_->Read(file_, first,
                 base::MutableByteSpan(chunks).first(static_cast<std::size_t>(there - first)));
    cipher_.DecryptBlobs(chunks);
  }
  std::copy(bytes.begin(), bytes.end(),
            chunks.begin() + static_cast<std::ptrdiff_t>(offset - first));
  cipher_.EncryptBlobs(chunks);
  store_->Write(file_, first, chunks);
}

BlobFile::Unit BlobFile::EndUnit() const noexcept {
  return static_cast<Unit>(std::min<std::uint64_t>(Size() / kUnitBytes, kMaxUnits));
}

void BlobFile::ReadBlockHead(Unit unit, std::uint8_t& type, std::uint32_t& units) {
  std::array<std::byte, 3> head{};
  Get(std::uint64_t{unit} * kUnitBytes, head);
  type = base::Load8(head, 0);
  units = base::LoadLE16(head, 1);
}

void BlobFile::PutBlockHead(Unit unit, std::uint8_t type, std::uint32_t units) {
  std::array<std::byte, 3> head{};
  base::Store8(head, 0, type);
  base::StoreLE16(head, 1, static_cast<std::uint16_t>(units));
  Put(std::uint64_t{unit} * kUnitBytes, head);
}

BlobFile::Entry BlobFile::EntryOf(base::ByteSpan bytes) noexcept {
  return {base::Load8(bytes, 0), base::Load8(bytes, 1), base::LoadLE16(bytes, 2),
          base::Load8(bytes, 4)};
}

BlobFile::Entries BlobFile::ReadEntries(Unit unit) {
  std::array<std::byte, kEntries * kEntryBytes> bytes{};
  Get(std::uint64_t{unit} * kUnitBytes + kSmallHead, bytes);
  Entries entries;
  for (std::size_t i = 0; i < kEntries; ++i)
    entries[i] = EntryOf(base::ByteSpan(bytes).subspan(i * kEntryBytes, kEntryBytes));
  return entries;
}

void BlobFile::PutEntry(Unit unit, std::size_t index, const Entry& entry) {
  std::array<std::byte, kEntryBytes> bytes{};
  base::Store8(bytes, 0, entry.offset);
  base::Store8(bytes, 1, entry.chunks);
  base::StoreLE16(bytes, 2, entry.modification);
  base::Store8(bytes, 4, entry.last);
  Put(std::uint64_t{unit} * kUnitBytes + kSmallHead + index * kEntryBytes, bytes);
}

// --- Reading

std::string BlobFile::Locate(const BlobReference& reference, std::uint64_t& from) {
  const std::uint64_t block = reference.location & 0xFFFFFF00;
  const std::uint8_t index = reference.location & 0xFF;
  const std::string where = "the blob of " + std::to_string(reference.bytes) + " bytes" +
                            At(block) + " of '" + path() + "'";
  if (block + kLargeHead > Size())
    return where + " lies behind the end at " + std::to_string(Size());
  std::array<std::byte, kLargeHead> head{};
  Get(block, head);
  const std::uint8_t type = base::Load8(head, 0);
  std::uint32_t bytes = 0;
  std::uint16_t modification = 0;
  if (type == kLargeType && index == kWholeBlock) {
    bytes = base::LoadLE32(head, 3);
    modification = base::LoadLE16(head, 7);
    from = block + kLargeHead;
  } else if (type == kSmallType && index < kEntries && block + kUnitBytes <= Size()) {
    std::array<std::byte, kEntryBytes> raw{};
    Get(block + kSmallHead + index * kEntryBytes, raw);
    const Entry entry = EntryOf(raw);
    if (!entry.used() || entry.offset < kFirstChunk || entry.offset + entry.chunks > int{kChunks} ||
        entry.last > kChunk || entry.chunks == 0)
      return where + " is not there: its entry " + std::to_string(index) + " is free or damaged";
    bytes = entry.bytes();
    modification = entry.modification;
    from = block + std::uint64_t{entry.offset} * kChunk;
  } else {
    return where + " is not there: a block of type " + std::to_string(type) +
           " stands there, asked for value " + std::to_string(index);
  }
  if (bytes != reference.bytes || modification != reference.modification)
    return where + " was modified: the block holds " + std::to_string(bytes) + " bytes of state " +
           std::to_string(modification) + ", the record expects state " +
           std::to_string(reference.modification);
  if (bytes > Size() - from) return where + " is cut off by the end at " + std::to_string(Size());
  return {};
}

std::string BlobFile::Read(const BlobReference& reference, std::string& out) {
  std::uint64_t from = 0;
  std::string wrong = Locate(reference, from);
  if (!wrong.empty()) return wrong;
  out.resize(reference.bytes);
  Get(from, Writable(out));
  return {};
}

// --- Room

BlobFile::Gap BlobFile::WidestGap(const Entries& entries) {
  std::array<bool, kChunks> taken{};
  bool entry_left = false;
  for (const Entry& entry : entries) {
    entry_left = entry_left || !entry.used();
    if (!entry.used()) continue;
    for (unsigned chunk = entry.offset; chunk < entry.offset + unsigned{entry.chunks}; ++chunk)
      if (chunk < kChunks) taken[chunk] = true;
  }
  Gap widest;
  if (!entry_left) return widest;
  for (unsigned from = kFirstChunk; from < kChunks;) {
    unsigned behind = from;
    while (behind < kChunks && !taken[behind]) ++behind;
    if (behind - from > widest.chunks)
      widest = {static_cast<std::uint8_t>(from), static_cast<std::uint8_t>(behind - from)};
    from = behind + 1;
  }
  return widest;
}

void BlobFile::NoteSmallBlock(Unit unit, const Entries& entries) {
  const auto known = gap_of_.find(unit);
  if (known != gap_of_.end()) {
    gaps_.erase({known->second, unit});
    gap_of_.erase(known);
  }
  const Gap gap = WidestGap(entries);
  if (gap.chunks == 0) return;
  gaps_.insert({gap.chunks, unit});
  gap_of_.emplace(unit, gap.chunks);
}

/// Walks the file once; what is no sound block ends the walk, and room is then taken at the end.
void BlobFile::MapRoom() {
  if (mapped_) return;
  free_.clear();
  free_by_size_.clear();
  gaps_.clear();
  gap_of_.clear();
  const Unit end = EndUnit();
  for (Unit unit = 1; unit < end;) {
    std::uint8_t type = 0;
    std::uint32_t units = 0;
    ReadBlockHead(unit, type, units);
    if (units == 0 || units > end - unit || type < kLargeType || type > kFreeType) break;
    if (type == kSmallType) NoteSmallBlock(unit, ReadEntries(unit));
    if (type == kFreeType) {
      free_.emplace(unit, units);
      free_by_size_.insert({units, unit});
    }
    unit += units;
  }
  mapped_ = true;
}

void BlobFile::PutFreeRun(Unit unit, std::uint32_t units) {
  PutBlockHead(unit, kFreeType, units);
  free_[unit] = units;
  free_by_size_.insert({units, unit});
}

BlobFile::Unit BlobFile::TakeUnits(std::uint32_t units) {
  MapRoom();
  const auto fit = free_by_size_.lower_bound({units, 0});
  if (fit != free_by_size_.end()) {
    const auto [had, unit] = *fit;
    free_by_size_.erase(fit);
    free_.erase(unit);
    if (had > units) PutFreeRun(unit + units, had - units);
    return unit;
  }
  const std::uint64_t end = (Size() + kUnitBytes - 1) / kUnitBytes;
  if (end + units > kMaxUnits)
    Throw(Code::kNoSpace, ErrorNumber::kDiskFull,
          "blob file '" + path() + "' is full: it cannot grow beyond " +
              std::to_string(std::uint64_t{kMaxUnits} * kUnitBytes) + " bytes");
  return static_cast<Unit>(end);
}

void BlobFile::GiveUnits(Unit unit, std::uint32_t units) {
  MapRoom();
  auto next = free_.lower_bound(unit);
  if (next != free_.end() && next->first == unit + units &&
      units + next->second <= kMaxUnitsOfBlock) {
    units += next->second;
    free_by_size_.erase({next->second, next->first});
    next = free_.erase(next);
  }
  if (next != free_.begin()) {
    const auto before = std::prev(next);
    if (before->first + before->second == unit && before->second + units <= kMaxUnitsOfBlock) {
      unit = before->first;
      units += before->second;
      free_by_size_.erase({before->second, before->first});
      free_.erase(before);
    }
  }
  PutFreeRun(unit, units);
}

// --- Changing

std::uint16_t BlobFile::NextModification() {
  std::array<std::byte, 2> bytes{};
  Get(kModificationAt, bytes);
  const auto number = static_cast<std::uint16_t>(base::LoadLE16(bytes, 0) % 0xFFFF + 1);
  base::StoreLE16(bytes, 0, number);
  Put(kModificationAt, bytes);
  return number;
}

BlobReference BlobFile::Write(std::string_view value) {
  return value.size() <= kMaxSmall ? WriteSmall(value) : WriteLarge(value);
}

BlobReference BlobFile::WriteLarge(std::string_view value) {
  const std::uint64_t total = value.size() + kLargeHead;
  if (total > std::uint64_t{kMaxUnitsOfBlock} * kUnitBytes)
    Throw(Code::kNoSpace, ErrorNumber::kFieldTooSmall,
          "a value of " + std::to_string(value.size()) + " bytes is too long for blob file '" +
              path() + "', which holds at most " +
              std::to_string(std::uint64_t{kMaxUnitsOfBlock} * kUnitBytes - kLargeHead));
  const std::uint32_t units = UnitsFor(total);
  const Unit unit = TakeUnits(units);
  const std::uint16_t modification = NextModification();
  image_.assign(kLargeHead, '\0');
  image_ += value;
  image_.resize(std::size_t{units} * kUnitBytes);
  const base::MutableByteSpan bytes = Writable(image_);
  base::Store8(bytes, 0, kLargeType);
  base::StoreLE16(bytes, 1, static_cast<std::uint16_t>(units));
  base::StoreLE32(bytes, 3, static_cast<std::uint32_t>(value.size()));
  base::StoreLE16(bytes, 7, modification);
  Put(std::uint64_t{unit} * kUnitBytes, bytes);
  return {unit * kUnitBytes | kWholeBlock, static_cast<std::uint32_t>(value.size()), modification};
}

BlobReference BlobFile::WriteSmall(std::string_view value) {
  MapRoom();
  const auto chunks = static_cast<std::uint8_t>((value.size() + kChunk - 1) / kChunk);
  Unit unit = 0;
  Entries entries{};
  const auto fit = gaps_.lower_bound({chunks, 0});
  if (fit != gaps_.end()) {
    unit = fit->second;
    entries = ReadEntries(unit);
  } else {
    unit = TakeUnits(1);
    image_.assign(kUnitBytes, '\0');
    Put(std::uint64_t{unit} * kUnitBytes, base::AsBytes(image_));
    PutBlockHead(unit, kSmallType, 1);
  }
  std::size_t index = kEntries - 1;  // given out from the last one down
  while (entries[index].used()) --index;
  Entry& entry = entries[index];
  entry.offset = WidestGap(entries).offset;
  entry.chunks = chunks;
  entry.modification = NextModification();
  entry.last = static_cast<std::uint8_t>(value.size() - (chunks - 1u) * kChunk);
  PutEntry(unit, index, entry);
  image_.assign(value);
  image_.resize(std::size_t{chunks} * kChunk);
  Put(std::uint64_t{unit} * kUnitBytes + std::uint64_t{entry.offset} * kChunk,
      base::AsBytes(image_));
  NoteSmallBlock(unit, entries);
  return {unit * kUnitBytes | static_cast<std::uint32_t>(index),
          static_cast<std::uint32_t>(value.size()), entry.modification};
}

void BlobFile::Free(const BlobReference& reference) {
  if (reference.bytes == 0 || reference.in_leader()) return;
  const Unit unit = (reference.location & 0xFFFFFF00) / kUnitBytes;
  const std::size_t index = reference.location & 0xFF;
  std::uint64_t from = 0;
  // What the record names is only let go when it is surely this record's.
  if ((reference.location & 0xF00) != 0 || !Locate(reference, from).empty()) return;
  MapRoom();
  if (index == kWholeBlock) {
    std::uint8_t type = 0;
    std::uint32_t units = 0;
    ReadBlockHead(unit, type, units);
    if (units > 0 && units <= EndUnit() - unit) GiveUnits(unit, units);
    return;
  }
  Entries entries = ReadEntries(unit);
  entries[index] = {};
  PutEntry(unit, index, entries[index]);
  if (std::any_of(entries.begin(), entries.end(), [](const Entry& e) { return e.used(); }))
    return NoteSmallBlock(unit, entries);
  const auto known = gap_of_.find(unit);
  if (known != gap_of_.end()) {
    gaps_.erase({known->second, unit});
    gap_of_.erase(known);
  }
  GiveUnits(unit, 1);
}

// --- Inspecting

void BlobFile::Inspect(std::vector<BlobReference> references, std::vector<std::string>& problems) {
  const auto add = [&](const std::string& what) {
    problems.push_back("blob file '" + path() + "': " + what);
  };
  const auto below = [](const BlobReference& a, const BlobReference& b) {
    return a.location < b.location;
  };
  std::sort(references.begin(), references.end(), below);
  for (std::size_t i = 1; i < references.size(); ++i)
    if (references[i].location == references[i - 1].location)
      add("two records name the value" + At(references[i].location));
  if (Size() % kUnitBytes != 0)
    add("its length of " + std::to_string(Size()) + " bytes is no multiple of " +
        std::to_string(kUnitBytes));
  std::set<std::uint32_t> starts;
  const Unit end = EndUnit();
  for (Unit unit = 0; unit < end;) {
    std::uint8_t type = 0;
    std::uint32_t units = 0;
    ReadBlockHead(unit, type, units);
    if (units == 0 || units > end - unit || type > kFreeType || type == 1 ||
        (type == kHeaderType) != (unit == 0))
      return add("a block of type " + std::to_string(type) + " and " + std::to_string(units) +
                 " units stands" + At(std::uint64_t{unit} * kUnitBytes));
    starts.insert(unit);
    if (type == kSmallType) {
      const Entries entries = ReadEntries(unit);
      std::vector<Entry> used;
      for (const Entry& entry : entries)
        if (entry.used()) used.push_back(entry);
      std::sort(used.begin(), used.end(),
                [](const Entry& a, const Entry& b) { return a.offset < b.offset; });
      unsigned from = kFirstChunk;
      for (const Entry& entry : used) {
        if (entry.offset < from || entry.offset + unsigned{entry.chunks} > kChunks)
          add("values overlap in the block" + At(std::uint64_t{unit} * kUnitBytes));
        from = entry.offset + unsigned{entry.chunks};
      }
    }
    unit += units;
  }
  for (const BlobReference& reference : references)
    if (!starts.contains(reference.location / kUnitBytes))
      add("a record names the value" + At(reference.location) + ", where no block begins");
}

std::string BlobFile::NewFile(std::uint32_t key) {
  std::string file(kUnitBytes, '\0');
  constexpr unsigned char kHead[] = {0x00, 0x01, 0x00, 0x00, 0x00, 0x82, 0x73,
                                     0x02, 0x00, 0x29, 0x00, 0x00, 0x10, 0x00,
                                     0x10, 0x00, 0x10, 0x40, 0x00, 0x00, 0x08};
  std::copy(std::begin(kHead), std::end(kHead), file.begin());
  base::StoreLE16(Writable(file), 0x29, 0x02A1);
  if (key != 0) Cipher(key).EncryptBlobs(Writable(file));
  return file;
}

}  // namespace kelvorin::database::paradox
