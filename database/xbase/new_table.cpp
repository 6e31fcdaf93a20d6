#include "database/xbase/new_table.h"

#include "base/M_STRING.h"
#include "base/bytes.h"
#include "base/code_page.h"
#include "database/errors.h"
#include "database/xbase/table_layout.h"
#include "database/xbase/text_page.h"

#include <algorithm>
#include <span>
#include <vector>

namespace kelvorin::database::xbase {
namespace {

constexpr std::size_t kMaxNameChars = 10;
constexpr std::int32_t kMaxDecimals = 15;
constexpr std::int32_t kDefaultDecimals = 5;
constexpr std::int32_t kAnsiText255 = 255;  // usual limit elsewhere, taken as "as long as possible"
constexpr std::uint16_t kGuidChars = 38;
constexpr std::uint16_t kTimeChars = 12;
constexpr std::uint16_t kTimeStampChars = 24;
constexpr std::uint8_t kVisualMemoBytes = 4;
constexpr std::uint8_t kMemoBytes = 10;
constexpr std::string_view kNullFlagsName = "_NullFlags";

[[noreturn]] void Refuse(const FieldDef& field, const Limits& limits, const std::string& why) {
  Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
        "field '" + field.Name + "' cannot be made in a " + std::string(limits.name) +
            " table: " + why);
}

/// The Windows page of the countries that use a DOS page.
int WindowsPageBeside(int oem) noexcept {
  switch (oem) {
    case 852:
      return 1250;
    case 866:
      return 1251;
    case 737:
      return 1253;
    case 857:
      return 1254;
    default:
      return 1252;
  }
}

class Planner {
 public:
  Planner(const TableDef& table, Product product)
      : table_(table), product_(product), limits_(LimitsOf(product)) {}

  NewTable Plan() {
    if (table_.Fields.empty())
      Throw(Code::kInvalidArgument, ErrorNumber::kInvalidArgument,
            "table '" + table_.Name + "' cannot be made without fields");
    for (const FieldDef& field : table_.Fields) AddColumn(field);
    AddNullFlags();
    CheckLimits();
    return Build();
  }

 private:
  bool visual() const noexcept { return product_ == Product::kFoxPro3; }
  bool foxpro() const noexcept { return visual() || product_ == Product::kFoxPro2; }

  void AddColumn(const FieldDef& field) {
    Column column;
    column.name = NameFor(field.Name);
    ChooseType(field, column);
    if (visual() && (column.letter == 'I' || column.letter == 'B' || column.letter == 'Y')) {
      column.flags |= kFieldBinary;
      // Only these types need a bit to say Null; all others have bytes for it.
      if (!field.Required) column.flags |= kFieldNullable;
    }
    if (visual() && (column.letter == 'T' || column.letter == 'G')) column.flags |= kFieldBinary;
    columns_.push_back(std::move(column));
  }

  /// A field that was described by this driver stays as it was where this product has its type.
  bool KeepNative(const FieldDef& field, Column& column) const {
    char letter = '\0';
    std::uint16_t bytes = 0;
    std::uint8_t decimals = 0;
    if (!ReadNativeWords(field.Native, letter, bytes, decimals)) return false;
    const bool number = letter == 'N' || (letter == 'F' && product_ != Product::kDbase3);
    if (number && bytes > limits_.max_number_digits) return false;
    const std::string_view also = visual() ? "CDLTBIY" : "CDL";
    if (!number && also.find(letter) == std::string_view::npos) return false;
    if (letter == 'B' && bytes != sizeof(double)) return false;  // a memo of dBASE 5
    if (letter == 'C' && (bytes > kMaxTextBytes || decimals != 0)) return false;
    Set(column, letter, bytes, decimals);
    return true;
  }

  void ChooseType(const FieldDef& field, Column& column) {
    using enum TypeCode;
    if (KeepNative(field, column)) return;
    if (field.Digits > 0 && field.Type != kCurrency && values::IsNumber(field.Type))
      return field.Native.empty() ? SetNumber(field, column, field.Digits)
                                  : SetWidest(field, column);
    switch (field.Type) {
      case kText:
      case kChar:
        return Set(column, 'C', TextBytes(field));
      case kBoolean:
        return Set(column, 'L', 1);
      case kByte:
        return Set(column, 'N', 4);
      case kInteger:
        return Set(column, 'N', 6);
      case kLong:
        return visual() ? Set(column, 'I', 4) : Set(column, 'N', 11);
      case kBigInt:
        return Set(column, 'N', limits_.max_number_digits);
      case kCurrency:
        return visual() ? Set(column, 'Y', 8, 4)
                        : Set(column, 'N', limits_.max_number_digits, kDefaultDecimals);
      case kSingle:
      case kDouble:
      case kFloat: {
        const bool width_only =
            field.Size <= 0 || field.Size == 8 || (field.Size == 4 && field.Type != kDouble);
        if (width_only && visual())
          return Set(column, 'B', 8, std::clamp(field.Decimals, 0, kMaxDecimals));
        return SetNumber(field, column, width_only ? 0 : field.Size);
      }
      case kNumeric:
      case kDecimal:
        return SetNumber(field, column, std::max(0, field.Size));
      case kDate:
        return visual() ? Set(column, 'T', 8) : Set(column, 'D', 8);
      case kTimeStamp:
        return visual() ? Set(column, 'T', 8) : Set(column, 'C', kTimeStampChars);
      case kTime:
        return visual() ? Set(column, 'T', 8) : Set(column, 'C', kTimeChars);
      case kGuid:
        return Set(column, 'C', kGuidChars);
      case kMemo:
        return SetMemo(column, 'M');
      case kBinary:
      case kVarBinary:
      case kLongBinary:
        if (limits_.binary_letter == '\0')
          Refuse(field, limits_, "it has no type for binary values");
        return SetMemo(column, limits_.binary_letter);
    }
    Refuse(field, limits_,
           "its type code " + std::to_string(static_cast<int>(field.Type)) + " is unknown");
  }

  static void Set(Column& column, char letter, std::uint16_t bytes, std::int32_t decimals = 0) {
    column.letter = letter;
    column.bytes = bytes;
    column.decimals = static_cast<std::uint8_t>(decimals);
  }

  void SetMemo(Column& column, char letter) {
    Set(column, letter, visual() ? kVisualMemoBytes : kMemoBytes);
    memo_ = true;
  }

  std::uint16_t TextBytes(const FieldDef& field) const {
    if (field.Size <= 0 || field.Size == kAnsiText255) return kMaxTextBytes;
    if (field.Size > kMaxTextBytes)
      Refuse(field, limits_,
             "a text holds at most " + std::to_string(kMaxTextBytes) + " characters, not " +
                 std::to_string(field.Size) + " (a memo holds more)");
    return static_cast<std::uint16_t>(field.Size);
  }

  /// `digits` 0: as many as there can be.
  void SetNumber(const FieldDef& field, Column& column, std::int32_t digits) const {
    const std::int32_t most = limits_.max_number_digits;
    std::int32_t decimals = std::max(0, field.Decimals);
    if (digits == 0) {
      digits = most;
      if (decimals == 0) decimals = kDefaultDecimals;
    }
    if (digits > most)
      Refuse(field, limits_,
             "a number has at most " + std::to_string(most) + " places, not " +
                 std::to_string(digits));
    if (decimals > kMaxDecimals || (decimals > 0 && decimals > digits - 2))
      Refuse(field, limits_,
             "a number of " + std::to_string(digits) + " places cannot have " +
                 std::to_string(decimals) + " decimals");
    Set(column, 'N', static_cast<std::uint16_t>(digits), decimals);
  }

  /// Of a number that another product has more places for: as many as there can be.
  void SetWidest(const FieldDef& field, Column& column) const {
    const std::int32_t digits = std::min<std::int32_t>(field.Digits, limits_.max_number_digits);
    const std::int32_t decimals = std::min({field.Decimals, kMaxDecimals, std::max(0, digits - 2)});
    Set(column, 'N', static_cast<std::uint16_t>(digits), decimals);
  }

  std::string NameFor(std::string_view wanted) const {
    std::string name;
    const bool utf8 = base::AnsiPage().is_utf8();
    for (std::size_t at = 0; at < wanted.size();) {
      const std::size_t start = at;
      if (utf8) {
        (void)base::DecodeUtf8(wanted, at);
      } else {
        ++at;
      }
      const char c = base::ToUpperAscii(wanted[start]);
      const bool plain = at - start == 1 && ((c >= 'A' && c <= 'Z') || base::IsDigit(c));
      name += plain ? c : '_';
    }
    if (name.empty() || name.front() < 'A' || name.front() > 'Z') name.insert(0, 1, 'F');
    name.resize(std::min(name.size(), kMaxNameChars));
    if (!Taken(name)) return name;
    for (int number = 2;; ++number) {
      const std::string digits = std::to_string(number);
      std::string numbered = name.substr(0, kMaxNameChars - digits.size()) + digits;
      if (!Taken(numbered)) return numbered;
    }
  }
  bool Taken(std::string_view name) const {
    return std::any_of(columns_.begin(), columns_.end(),
                       [&](const Column& column) { return column.name == name; });
  }

  void AddNullFlags() {
    const auto bits = std::count_if(columns_.begin(), columns_.end(), [](const Column& column) {
      return (column.flags & kFieldNullable) != 0;
    });
    if (bits == 0) return;
    Column flags;
    flags.name = kNullFlagsName;
    Set(flags, '0', static_cast<std::uint16_t>((bits + 7) / 8));
    flags.flags = kFieldHidden | kFieldBinary;
    columns_.push_back(std::move(flags));
  }

  void CheckLimits() {
    if (columns_.size() > limits_.max_fields)
      Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
            "table '" + table_.Name + "' cannot be made: a " + std::string(limits_.name) +
                " table holds at most " + std::to_string(limits_.max_fields) + " fields, not " +
                std::to_string(columns_.size()));
    record_bytes_ = 1;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      columns_[i].offset = record_bytes_;
      record_bytes_ += columns_[i].bytes;
      if (record_bytes_ > limits_.max_record_bytes)
        Refuse(table_.Fields[std::min(i, table_.Fields.size() - 1)], limits_,
               "with it a record has " + std::to_string(record_bytes_) +
                   " bytes, and the limit is " + std::to_string(limits_.max_record_bytes));
    }
  }

  std::uint8_t CodePageMark() const {
    const int oem = base::OemPage().number();
    switch (product_) {
      case Product::kDbase3:
        return 0;  // it knows no marks
      case Product::kDbase4:
      case Product::kDbase5:
      case Product::kFoxPro2:
        return MarkOfCodePage(oem, foxpro());
      case Product::kFoxPro3:
        break;
    }
    const std::uint8_t own = MarkOfCodePage(base::AnsiPage().number(), true);
    return own != 0 ? own : MarkOfCodePage(WindowsPageBeside(oem), true);
  }

  NewTable Build() const {
    const std::size_t header_bytes = kHeaderFixedBytes + kDescriptorBytes * columns_.size() + 1 +
                                     (visual() ? kBacklinkBytes : 0);
    NewTable made;
    made.memo = memo_ ? limits_.memo : MemoKind::kNone;
    made.header.assign(header_bytes, '\0');
    const auto bytes =
        std::as_writable_bytes(std::span<char>(made.header.data(), made.header.size()));
    base::Store8(bytes, 0, memo_ ? limits_.version_memo : limits_.version_plain);
    base::StoreLE16(bytes, kHeaderBytesAt, static_cast<std::uint16_t>(header_bytes));
    base::StoreLE16(bytes, kRecordBytesAt, static_cast<std::uint16_t>(record_bytes_));
    if (visual() && memo_) base::Store8(bytes, kTableFlagsAt, kFlagHasMemo);
    base::Store8(bytes, kCodePageAt, CodePageMark());

    std::size_t at = kHeaderFixedBytes;
    for (const Column& column : columns_) {
      made.header.replace(at, column.name.size(), column.name);
      base::Store8(bytes, at + kLetterAt, static_cast<std::uint8_t>(column.letter));
      if (foxpro()) base::StoreLE32(bytes, at + kOffsetAt, column.offset);
      base::Store8(bytes, at + kLengthAt, static_cast<std::uint8_t>(column.bytes));
      base::Store8(bytes, at + kDecimalsAt, column.decimals);
      if (visual()) base::Store8(bytes, at + kFieldFlagsAt, column.flags);
      at += kDescriptorBytes;
    }
    bytes[at] = kDescriptorsEnd;
    return made;
  }

  const TableDef& table_;
  Product product_;
  const Limits& limits_;
  std::vector<Column> columns_;
  std::uint32_t record_bytes_ = 1;
  bool memo_ = false;
};

}  // namespace

NewTable PlanTable(const TableDef& table, Product product) {
  return Planner(table, product).Plan();
}

}  // namespace kelvorin::database::xbase
