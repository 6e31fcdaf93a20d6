#include "database/paradox/format.h"

#include "base/M_STRING.h"

namespace kelvorin::database::paradox {
namespace {

constexpr std::string_view kNativePrefix = "Paradox ";

}  // namespace

int FixedBytes(std::uint8_t kind_code) noexcept {
  switch (FieldKind{kind_code}) {
    case FieldKind::kAlpha:
    case FieldKind::kBytes:
    case FieldKind::kMemo:
    case FieldKind::kBinary:
    case FieldKind::kFormattedMemo:
    case FieldKind::kOle:
    case FieldKind::kGraphic:
      return 0;
    case FieldKind::kLogical:
      return 1;
    case FieldKind::kShort:
      return 2;
    case FieldKind::kDate:
    case FieldKind::kLong:
    case FieldKind::kTime:
    case FieldKind::kAutoIncrement:
      return 4;
    case FieldKind::kMoney:
    case FieldKind::kNumber:
    case FieldKind::kTimestamp:
      return 8;
    case FieldKind::kBcd:
      return 17;
  }
  return -1;
}

std::string NativeWords(const Column& column) {
  return std::string(kNativePrefix) + std::to_string(static_cast<unsigned>(column.kind)) + " " +
         std::to_string(column.bytes) + " " + std::to_string(column.decimals);
}

bool ReadNativeWords(std::string_view words, Column& column) {
  if (!words.starts_with(kNativePrefix)) return false;
  const std::vector<std::string_view> parts =
      base::SplitAt(words.substr(kNativePrefix.size()), ' ');
  if (parts.size() != 3) return false;
  column.kind = FieldKind{static_cast<std::uint8_t>(base::ParseInteger(parts[0]))};
  column.bytes = static_cast<std::uint16_t>(base::ParseInteger(parts[1]));
  column.decimals = static_cast<std::uint8_t>(base::ParseInteger(parts[2]));
  return true;
}

FieldDef FaceOf(const Column& column) {
  FieldDef face;
  face.Name = column.name;
  face.Native = NativeWords(column);
  face.AllowZeroLength = false;  // an empty text is the blank value
  switch (column.kind) {
    case FieldKind::kAlpha:
      face.Type = TypeCode::kText;
      face.Size = column.bytes;
      break;
    case FieldKind::kBytes:
      face.Type = TypeCode::kBinary;
      face.Size = column.bytes;
      break;
    case FieldKind::kShort:
      face.Type = TypeCode::kInteger;
      face.Size = 2;
      break;
    case FieldKind::kAutoIncrement:
    case FieldKind::kLong:
      face.Type = TypeCode::kLong;
      face.Size = 4;
      face.AutoIncrement = column.kind == FieldKind::kAutoIncrement;
      break;
    case FieldKind::kMoney:
    case FieldKind::kNumber:
    case FieldKind::kBcd:
      face.Type = TypeCode::kDouble;
      face.Size = 8;
      face.Decimals = column.decimals;
      if (column.kind == FieldKind::kBcd) face.Keeps.number = values::Resolution::Number::kDecimals;
      break;
    case FieldKind::kLogical:
      face.Type = TypeCode::kBoolean;
      face.Size = 1;
      break;
    case FieldKind::kDate:
    case FieldKind::kTime:
    case FieldKind::kTimestamp:
      face.Type = TypeCode::kDate;
      face.Size = 8;
      if (column.kind == FieldKind::kDate) face.Keeps.time = values::Resolution::Time::kDateOnly;
      break;
    case FieldKind::kMemo:
      face.Type = TypeCode::kMemo;
      break;
    case FieldKind::kBinary:
    case FieldKind::kFormattedMemo:
    case FieldKind::kOle:
    case FieldKind::kGraphic:
      face.Type = TypeCode::kLongBinary;
      break;
  }
  return face;
}

}  // namespace kelvorin::database::paradox
