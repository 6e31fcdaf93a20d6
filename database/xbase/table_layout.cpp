#include "database/xbase/table_layout.h"

#include "base/M_STRING.h"
#include "database/errors.h"
#include "values/hex_text.h"

#include <algorithm>

// Version 0x02 (measured on a file of that kind)
//
//   offset  size
//        0     1  version
//        1     2  record count
//        3     3  date of last change: month, day, year
//        6     2  record length
//        8   16n  descriptors: name 11, letter, length, u16 address, decimals; a 0x0D ends them
//      521        first record

namespace kelvorin::database::xbase {
namespace {

constexpr std::uint8_t kOldVersion = 0x02;
constexpr std::uint16_t kDoubleBytes = 8;  // of a B field that is no memo
constexpr std::size_t kOldHeaderBytes = 521;
constexpr std::size_t kOldDescriptorsAt = 8;
constexpr std::size_t kOldDescriptorBytes = 16;
constexpr std::size_t kOldDecimalsAt = 15;
constexpr std::size_t kOldLengthAt = 12;

[[noreturn]] void Damaged(const std::string& file, const std::string& what) {
  Throw(Code::kCorrupt, ErrorNumber::kExternalTable, "table file '" + file + "': " + what);
}
[[noreturn]] void Refused(const std::string& file, const std::string& what) {
  Throw(Code::kNotSupported, ErrorNumber::kUnrecognizedFormat,
        "table file '" + file + "': " + what);
}

std::string Hex(std::uint8_t byte) {
  const char character = static_cast<char>(byte);
  return "0x" + values::HexOf({&character, 1});
}

const Version& VersionOf(std::uint8_t byte, const std::string& file) {
  const Version* version = FindVersion(byte);
  if (version == nullptr)
    Refused(file, "is no dBASE or FoxPro table (its first byte is " + Hex(byte) + ")");
  if (version->access == Access::kRefused)
    Refused(file, "is a " + std::string(version->what) + " (version byte " + Hex(byte) +
                      "), which this driver does not read");
  return *version;
}

struct Face {
  char letter;
  bool visual_only;
  std::uint8_t width;  // 0: any from 1
  TypeCode type;
};

/// Width and type of a field letter. Widths of memo pointers are checked apart. Other writers put
/// FoxPro's binary types into tables of any kind.
constexpr Face kFaces[] = {
    {'C', false, 0, TypeCode::kText},     {'N', false, 0, TypeCode::kDouble},
    {'F', false, 0, TypeCode::kDouble},   {'L', false, 1, TypeCode::kBoolean},
    {'D', false, 8, TypeCode::kDate},     {'B', false, 8, TypeCode::kDouble},
    {'Y', false, 8, TypeCode::kCurrency}, {'I', false, 4, TypeCode::kLong},
    {'T', false, 8, TypeCode::kDate},     {'V', true, 0, TypeCode::kText},
    {'Q', true, 0, TypeCode::kBinary},
};

/// Sets the column's type; says what is wrong, or nothing.
std::string Classify(Column& column, bool visual) {
  if (column.letter == 'M' || column.letter == 'G' || column.letter == 'P' ||
      (column.letter == 'B' && !visual && column.bytes != kDoubleBytes) ||
      (column.letter == 'W' && visual)) {
    column.type =
        column.letter == 'M' && !column.binary() ? TypeCode::kMemo : TypeCode::kLongBinary;
    const unsigned width = visual ? 4 : 10;
    if (column.bytes != width && column.bytes != 10)
      return "is a memo field of " + std::to_string(column.bytes) + " bytes instead of " +
             std::to_string(width);
    return {};
  }
  for (const Face& face : kFaces) {
    if (face.letter != column.letter || (face.visual_only && !visual)) continue;
    column.type = face.type;
    if (face.width != 0 && column.bytes != face.width)
      return "is of type " + std::string(1, column.letter) + " and " +
             std::to_string(column.bytes) + " bytes long instead of " + std::to_string(face.width);
    return {};
  }
  return "is of type " + Hex(static_cast<std::uint8_t>(column.letter)) +
         ", which this driver does not know";
}

std::string StoredName(base::ByteSpan name) {
  std::string_view text = base::AsText(name);
  return std::string(base::TrimRight(text.substr(0, text.find('\0'))));
}

/// Fields longer than 255 bytes keep the high byte of their length among the decimals, but other
/// writers leave rubbish there: it counts only when the record length confirms it.
void WidenLongTexts(std::vector<Column>& columns, std::uint32_t record_bytes) {
  std::uint32_t plain = 1, widened = 1;
  for (const Column& column : columns) {
    plain += column.bytes;
    widened += column.bytes;
    if (column.letter == 'C') widened += column.decimals * 256u;
  }
  if (plain == record_bytes || widened != record_bytes) return;
  for (Column& column : columns) {
    if (column.letter != 'C') continue;
    column.bytes = static_cast<std::uint16_t>(column.bytes + column.decimals * 256u);
    column.decimals = 0;
  }
}

/// Hands out offsets and the bits of the null flags, in field order, and takes the hidden fields
/// out of the list.
void PlaceColumns(TableLayout& layout, const std::string& file) {
  std::uint64_t offset = 1;
  int bits = 0;
  for (Column& column : layout.columns) {
    if (column.bytes == 0) Damaged(file, "field '" + column.name + "' is 0 bytes long");
    column.offset = static_cast<std::uint32_t>(offset);
    offset += column.bytes;
    if (column.letter == 'V' || column.letter == 'Q') column.short_bit = bits++;
    if ((column.flags & kFieldNullable) != 0) column.null_bit = bits++;
    if (column.letter == '0') {
      layout.null_flags_at = column.offset;
      layout.null_flags_bytes = column.bytes;
    }
    if (offset > layout.record_bytes)
      Damaged(file, "field '" + column.name + "' ends at byte " + std::to_string(offset) +
                        " of records of " + std::to_string(layout.record_bytes) + " bytes");
  }
  layout.fields_bytes = static_cast<std::uint32_t>(offset);
  layout.null_bits = bits;
  std::erase_if(layout.columns, [](const Column& column) {
    return column.letter == '0' || (column.flags & kFieldHidden) != 0;
  });
  const int bits_there = static_cast<int>(layout.null_flags_bytes * 8);
  for (Column& column : layout.columns) {
    if (column.null_bit >= bits_there) column.null_bit = -1;
    if (column.short_bit >= bits_there) column.short_bit = -1;
  }
}

TableLayout ReadOldLayout(base::ByteSpan header, TableLayout layout, const std::string& file) {
  layout.header_bytes = kOldHeaderBytes;
  layout.record_count = base::LoadLE16(header, 1);
  layout.record_bytes = base::LoadLE16(header, 6);
  for (std::size_t at = kOldDescriptorsAt;
       at + kOldDescriptorBytes <= kOldHeaderBytes && header[at] != kDescriptorsEnd;
       at += kOldDescriptorBytes) {
    const base::ByteSpan descriptor = header.subspan(at, kOldDescriptorBytes);
    Column column;
    column.name = StoredName(descriptor.first(kNameBytes));
    column.letter = static_cast<char>(descriptor[kLetterAt]);
    column.bytes = base::Load8(descriptor, kOldLengthAt);
    column.decimals = base::Load8(descriptor, kOldDecimalsAt);
    column.descriptor_at = static_cast<std::uint32_t>(at);
    const std::string wrong = Classify(column, false);
    if (!wrong.empty()) Damaged(file, "field '" + column.name + "' " + wrong);
    layout.columns.push_back(std::move(column));
  }
  return layout;
}

TableLayout ReadNewLayout(base::ByteSpan header, TableLayout layout, const std::string& file) {
  layout.record_count = base::LoadLE32(header, kRecordCountAt);
  layout.header_bytes = base::LoadLE16(header, kHeaderBytesAt);
  layout.record_bytes = base::LoadLE16(header, kRecordBytesAt);
  layout.table_flags = base::Load8(header, kTableFlagsAt);
  layout.code_page_mark = base::Load8(header, kCodePageAt);
  const bool visual = layout.version->visual;
  if (!visual) {
    layout.transaction_open = base::Load8(header, kTransactionAt) == 1;
    if (base::Load8(header, kEncryptedAt) == 1)
      Refused(file, "is encrypted, which this driver does not read");
  }
  for (std::size_t at = kHeaderFixedBytes;
       at + kDescriptorBytes <= layout.header_bytes && header[at] != kDescriptorsEnd;
       at += kDescriptorBytes) {
    const base::ByteSpan descriptor = header.subspan(at, kDescriptorBytes);
    Column column;
    column.name = StoredName(descriptor.first(kNameBytes));
    column.letter = static_cast<char>(descriptor[kLetterAt]);
    column.bytes = base::Load8(descriptor, kLengthAt);
    column.decimals = base::Load8(descriptor, kDecimalsAt);
    column.flags = visual ? base::Load8(descriptor, kFieldFlagsAt) : std::uint8_t{0};
    column.descriptor_at = static_cast<std::uint32_t>(at);
    if (!visual || column.letter != '0') {
      const std::string wrong = Classify(column, visual);
      if (!wrong.empty()) Damaged(file, "field '" + column.name + "' " + wrong);
    }
    layout.columns.push_back(std::move(column));
  }
  if (!visual) WidenLongTexts(layout.columns, layout.record_bytes);
  return layout;
}

}  // namespace

bool InMemoFile(const Column& column) noexcept {
  return column.type == TypeCode::kMemo || column.type == TypeCode::kLongBinary;
}

bool TableLayout::HasMemoFields() const noexcept {
  return std::any_of(columns.begin(), columns.end(), InMemoFile);
}

std::size_t HeaderSize(base::ByteSpan front, const std::string& file) {
  if (front.empty()) Damaged(file, "is empty");
  const Version& version = VersionOf(base::Load8(front, 0), file);
  if (version.byte == kOldVersion) return kOldHeaderBytes;
  if (front.size() < kHeaderFixedBytes)
    Damaged(file, "ends after " + std::to_string(front.size()) + " bytes, within its header");
  const std::size_t size = base::LoadLE16(front, kHeaderBytesAt);
  if (size <= kHeaderFixedBytes)
    Damaged(file, "claims a header of " + std::to_string(size) + " bytes");
  return size;
}

TableLayout ReadLayout(base::ByteSpan header, const std::string& file) {
  TableLayout layout;
  layout.version = &VersionOf(base::Load8(header, 0), file);
  layout = layout.version->byte == kOldVersion ? ReadOldLayout(header, std::move(layout), file)
                                               : ReadNewLayout(header, std::move(layout), file);
  if (layout.record_bytes == 0) Damaged(file, "claims records of 0 bytes");
  PlaceColumns(layout, file);
  return layout;
}

namespace {

constexpr std::string_view kNativePrefix = "xBase ";

}  // namespace

std::string NativeWords(const Column& column) {
  return std::string(kNativePrefix) + column.letter + " " + std::to_string(column.bytes) + " " +
         std::to_string(column.decimals);
}

bool ReadNativeWords(std::string_view words, char& letter, std::uint16_t& bytes,
                     std::uint8_t& decimals) {
  if (!words.starts_with(kNativePrefix)) return false;
  const std::vector<std::string_view> parts =
      base::SplitAt(words.substr(kNativePrefix.size()), ' ');
  if (parts.size() != 3 || parts[0].size() != 1) return false;
  letter = parts[0][0];
  bytes = static_cast<std::uint16_t>(base::ParseInteger(parts[1]));
  decimals = static_cast<std::uint8_t>(base::ParseInteger(parts[2]));
  return true;
}

FieldDef FaceOf(const Column& column) {
  FieldDef face;
  face.Type = column.type;
  face.Decimals = column.type == TypeCode::kDouble ? column.decimals : 0;
  face.AutoIncrement = column.auto_increment();
  switch (column.letter) {
    case 'N':
    case 'F':
      face.Keeps.number = values::Resolution::Number::kDecimals;
      face.Digits = column.bytes;
      break;
    case 'D':
      face.Keeps.time = values::Resolution::Time::kDateOnly;
      break;
    case 'T':
      face.Keeps.time = values::Resolution::Time::kSeconds;
      break;
    default:
      break;
  }
  switch (column.letter) {
    case 'C':
    case 'V':
    case 'Q':
      face.Size = column.bytes;
      break;
    case 'L':
      face.Size = 1;
      break;
    case 'I':
      face.Size = 4;
      break;
    default:
      face.Size = InMemoFile(column) ? 0 : 8;
      break;
  }
  face.Native = NativeWords(column);
  return face;
}

}  // namespace kelvorin::database::xbase
