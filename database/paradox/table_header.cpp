#include "database/paradox/table_header.h"

#include "base/M_STRING.h"
#include "database/errors.h"
#include "database/paradox/text_page.h"

#include <algorithm>

namespace kelvorin::database::paradox {
namespace {

constexpr std::uint8_t kLastVersion = 0x20;
constexpr std::uint8_t kLastType = 8;
constexpr std::uint8_t kMaxBlockKiB = 32;
constexpr std::uint32_t kMaxLevels = 8;

[[noreturn]] void NoTable(const std::string& path, const std::string& why) {
  Throw(Code::kCorrupt, ErrorNumber::kExternalTable,
        "file '" + path + "' is no Paradox table: " + why);
}

[[noreturn]] void Damaged(const std::string& path, const std::string& what) {
  Throw(Code::kCorrupt, ErrorNumber::kCorrupt, "file '" + path + "': " + what);
}

std::string Number(std::uint64_t value) {
  return std::to_string(value);
}

class HeaderReader {
 public:
  HeaderReader(base::ByteSpan bytes, const std::string& path) : bytes_(bytes), path_(path) {}

  Header Read() {
    ReadFixed();
    ReadFields();
    CheckCounts();
    return std::move(header_);
  }

 private:
  std::uint8_t U8(std::size_t at) const { return base::Load8(bytes_, at); }
  std::uint16_t U16(std::size_t at) const { return base::LoadLE16(bytes_, at); }
  std::uint32_t U32(std::size_t at) const { return base::LoadLE32(bytes_, at); }

  void ReadFixed() {
    header_.type = FileType{U8(kTypeAt)};
    header_.version = U8(kVersionAt);
    header_.record_bytes = U16(kRecordBytesAt);
    header_.header_bytes = U16(kHeaderBytesAt);
    header_.block_bytes = std::uint32_t{U8(kBlockKiBAt)} << 10;
    header_.key_fields = U16(kKeyFieldsAt);
    header_.sort_order = U8(kSortOrderAt);
    header_.stamp = U8(kStampAt);
    header_.changes = U8(kChangesAt);
    header_.structure = U8(kStructureAt);
    header_.indexed_field = U8(kIndexedFieldAt);
    header_.flags = U8(kFlagsAt);
    header_.auxiliary_passwords = U8(kAuxPasswordsAt);
    header_.counter = U32(kCounterAt);
    header_.key = U32(kOldKeyAt);
    header_.not_closed = U8(kModifiedAt) != 0 || U8(kModified2At) != 0;
    header_.write_protected = U8(kProtectedAt) != 0;
    header_.counts = {.records = U32(kRecordsAt),
                      .used = U16(kUsedAt),
                      .blocks = U16(kBlocksAt),
                      .first = U16(kFirstAt),
                      .last = U16(kLastAt),
                      .free = U16(kFreeAt),
                      .root = U16(kRootAt),
                      .levels = U8(kLevelsAt)};
    extended_ = !header_.is_tree() && header_.is_new();
    if (extended_) {
      if (bytes_.size() < kNewFixedBytes)
        Damaged(path_, "its header of " + Number(bytes_.size()) + " bytes is too short");
      header_.key = U32(kNewKeyAt);
    } else if (header_.key == kSeeNewKey) {
      header_.key = 0;
    }
  }

  void ReadFields() {
    const std::size_t fields = U16(kFieldsAt);
    if (fields == 0 || fields > kMaxFields + kMaxKeyFields + 1)
      Damaged(path_, "its header claims " + Number(fields) + " fields");
    base::ByteReader in(bytes_);
    in.Skip(extended_ ? kNewFixedBytes : kFixedBytes);
    std::uint32_t offset = 0;
    for (std::size_t i = 0; i < fields; ++i) {
      Column column;
      const std::uint8_t kind = in.U8();
      const std::uint8_t size = in.U8();
      if (in.ok()) Shape(column, kind, size, i + 1);
      column.offset = static_cast<std::uint16_t>(std::min<std::uint32_t>(offset, 0xFFFF));
      column.number = static_cast<std::uint16_t>(i + 1);
      offset += column.bytes;
      header_.columns.push_back(std::move(column));
    }
    in.Skip(4 + (header_.is_tree() ? 0 : 4 * fields));
    in.Skip(header_.version >= kVersion7 ? kNameBytes7 : kNameBytes);
    if (!in.ok()) Damaged(path_, "its header ends inside the list of its fields");
    const std::uint32_t expected =
        offset + static_cast<std::uint32_t>(header_.is_tree() ? kTreeWords : 0);
    if (expected != header_.record_bytes)
      Damaged(path_, "its fields take " + Number(expected) + " bytes of records of " +
                         Number(header_.record_bytes));
    if (!header_.is_tree()) ReadNames(in);
  }

  void Shape(Column& column, std::uint8_t kind, std::uint8_t size, std::size_t position) {
    const int fixed = FixedBytes(kind);
    if (fixed < 0)
      Damaged(path_, "its field " + Number(position) + " is of type " + Number(kind) +
                         ", which is not known");
    column.kind = FieldKind{kind};
    column.bytes = fixed > 0 ? static_cast<std::uint16_t>(fixed) : size;
    if (column.kind == FieldKind::kBcd) {
      column.decimals = std::min<std::uint8_t>(size, 32);
    } else if (fixed > 0 ? size != fixed : size == 0) {
      Damaged(path_, "its field " + Number(position) + " of type " + Number(kind) + " claims " +
                         Number(size) + " bytes");
    }
    if (IsBlob(column.kind) && size < kReferenceBytes)
      Damaged(path_, "its blob field " + Number(position) + " claims " + Number(size) + " bytes");
  }

  std::string_view Text(base::ByteReader& in) {
    const base::ByteSpan rest = bytes_.subspan(in.position());
    const auto end = std::find(rest.begin(), rest.end(), std::byte{0});
    if (!in.ok() || end == rest.end()) Damaged(path_, "its header ends inside a name");
    const std::string_view text =
        base::AsText(rest.first(static_cast<std::size_t>(end - rest.begin())));
    in.Skip(text.size() + 1);
    return text;
  }

  void ReadNames(base::ByteReader& in) {
    std::vector<std::string_view> names;
    for (std::size_t i = 0; i < header_.columns.size(); ++i) names.push_back(Text(in));
    if (extended_) ReadNumbers();
    const std::uint16_t page = extended_ ? U16(kCodePageAt) : std::uint16_t{0};
    header_.page = PageOfHeader(extended_, page, header_.sort_name, header_.sort_order);
    const TextPage text(header_.page);
    std::string scratch;
    for (std::size_t i = 0; i < names.size(); ++i) {
      std::string_view name;
      header_.columns[i].name = text.ToAnsi(names[i], scratch, name) ? name : names[i];
    }
  }

  void ReadNumbers() {
    base::ByteReader in(bytes_);
    in.Skip(kFixedBytes + U16(kNumbersAt));
    for (Column& column : header_.columns) {
      header_.numbers.push_back(in.LE16());
      column.number = header_.numbers.back();
    }
    if (!in.ok()) Damaged(path_, "its header ends inside the field numbers");
    header_.sort_name = Text(in);
    if (!header_.is_table() && in.left() > 0) header_.label = Text(in);
  }

  void CheckCounts() {
    const Counts& c = header_.counts;
    if (header_.record_bytes + kBlockHead > header_.block_bytes)
      Damaged(path_, "its records of " + Number(header_.record_bytes) +
                         " bytes do not fit into blocks of " + Number(header_.block_bytes));
    if (header_.key_fields > header_.columns.size() ||
        (header_.type == FileType::kKeyedTable && header_.key_fields == 0))
      Damaged(path_, "its header claims " + Number(header_.key_fields) + " key fields");
    for (const std::uint16_t block : {c.first, c.last, c.free, c.used})
      if (block > c.blocks)
        Damaged(path_, "its header names block " + Number(block) + " of " + Number(c.blocks));
    if ((c.used == 0) != (c.first == 0) || (c.used == 0) != (c.last == 0))
      Damaged(path_, "its header has " + Number(c.used) + " blocks in use, the first is " +
                         Number(c.first) + ", the last is " + Number(c.last));
    if (header_.is_tree() && (c.levels > kMaxLevels || (c.levels > 0 && c.root > c.blocks)))
      Damaged(path_, "its header claims a tree of " + Number(c.levels) + " levels from block " +
                         Number(c.root));
  }

  base::ByteSpan bytes_;
  const std::string& path_;
  Header header_;
  bool extended_ = false;
};

}  // namespace

std::size_t Header::BytesOf(std::size_t fields) const noexcept {
  if (fields == 0) return 0;
  const Column& last = columns[std::min(fields, columns.size()) - 1];
  return std::size_t{last.offset} + last.bytes;
}

std::size_t HeaderSize(base::ByteSpan front, const std::string& path) {
  if (front.size() < kFixedBytes) NoTable(path, "it has only " + Number(front.size()) + " bytes");
  const std::uint8_t version = base::Load8(front, kVersionAt);
  const std::uint8_t type = base::Load8(front, kTypeAt);
  const std::uint8_t kib = base::Load8(front, kBlockKiBAt);
  const std::uint16_t header_bytes = base::LoadLE16(front, kHeaderBytesAt);
  if (version < kVersion30 || version > kLastVersion)
    NoTable(path, "its header names format " + Number(version));
  if (type > kLastType) NoTable(path, "its header names file type " + Number(type));
  if (kib == 0 || kib > kMaxBlockKiB) NoTable(path, "it claims blocks of " + Number(kib) + " KiB");
  if (header_bytes < kFixedBytes)
    NoTable(path, "it claims a header of " + Number(header_bytes) + " bytes");
  if (base::LoadLE16(front, kRecordBytesAt) == 0) NoTable(path, "it claims records of 0 bytes");
  return header_bytes;
}

Header ReadHeader(base::ByteSpan bytes, const std::string& path) {
  return HeaderReader(bytes, path).Read();
}

std::uint8_t StampFor(std::uint8_t changes, std::uint8_t sort_order) noexcept {
  const unsigned sum = changes + (sort_order == 0 ? 0u : sort_order + 2u);
  return static_cast<std::uint8_t>(sum > 255 ? sum - 255 : sum);
}

}  // namespace kelvorin::database::paradox
