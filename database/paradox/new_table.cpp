#include "database/paradox/new_table.h"

#include "base/M_STRING.h"
#include "base/case_map.h"
#include "base/code_page.h"
#include "database/errors.h"
#include "database/paradox/blob_file.h"
#include "database/paradox/file_builder.h"
#include "database/paradox/text_page.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace kelvorin::database::paradox {
namespace {

constexpr std::uint16_t kMaxText = 255;
constexpr std::uint16_t kGuidText = 38, kTimeText = 12, kTimeStampText = 24, kBigIntText = 20,
                        kBooleanText = 5;
constexpr std::int32_t kDoubleDigits = 15;
constexpr std::int32_t kBcdDigits = 32;
constexpr std::size_t kMemoLeader = 1;
constexpr std::uint8_t kFirstGroup = 16;  // as many composite indexes can be named

/// What a product can hold. Sizes in bytes.
struct Limits {
  std::string_view word;
  std::string_view name;  // for messages
  std::uint8_t version;
  std::uint32_t max_record;
  std::uint32_t max_keyed_record;
  std::uint8_t max_block_kib;
  std::uint8_t usual_block_kib;
};
constexpr Limits kLimits[] = {
    {"Paradox 3.x", "Paradox 3", kVersion35, 4000, 1350, 4, 2},
    {"Paradox 4.x", "Paradox 4", kVersion4, 4000, 1350, 4, 2},
    {"Paradox 5.x", "Paradox 5", kVersion5, 32750, 10800, 32, 4},
};

const Limits& LimitsOf(Product product) noexcept {
  return kLimits[static_cast<std::size_t>(product)];
}

[[noreturn]] void RefuseField(const FieldDef& field, const Limits& limits, const std::string& why) {
  Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
        "field '" + field.Name + "' cannot be made in a " + std::string(limits.name) +
            " table: " + why);
}

[[noreturn]] void RefuseIndex(const IndexDef& index, const std::string& why) {
  Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
        "index '" + index.Name + "' cannot be made: " + why);
}

/// The smallest block that holds so many records of a size, from the usual one up; 0 for none.
std::uint8_t BlockFor(std::size_t record_bytes, std::size_t records, std::uint8_t usual,
                      std::uint8_t most) noexcept {
  for (unsigned kib = usual; kib <= most; kib *= 2)
    if (records * record_bytes + kBlockHead <= std::size_t{kib} << 10)
      return static_cast<std::uint8_t>(kib);
  return 0;
}

void PlaceColumns(Header& header) {
  std::uint32_t offset = 0;
  for (std::size_t i = 0; i < header.columns.size(); ++i) {
    Column& column = header.columns[i];
    column.offset = static_cast<std::uint16_t>(std::min<std::uint32_t>(offset, 0xFFFF));
    column.number = static_cast<std::uint16_t>(i + 1);
    offset += column.bytes;
  }
  header.record_bytes = static_cast<std::uint16_t>(
      std::min<std::uint32_t>(offset + (header.is_tree() ? std::uint32_t{kTreeWords} : 0), 0xFFFF));
}

/// The tree over the blocks of a sorted file.
NewFile TreeOf(const Header& file, FileType type, std::string_view base_name,
               std::string extension) {
  Header tree;
  tree.type = type;
  tree.version = file.version;
  tree.sort_order = file.sort_order;
  tree.stamp = StampFor(file.changes, file.sort_order);
  tree.columns.assign(file.columns.begin(), file.columns.begin() + file.key_fields);
  PlaceColumns(tree);
  tree.block_bytes = std::uint32_t{BlockFor(tree.record_bytes, 3, 2, 32)} << 10;
  std::string contents = BuildEmptyFile(tree, {}, std::string(base_name) + "." + extension);
  return {std::move(extension), std::move(contents)};
}

bool MayBeKey(FieldKind kind) noexcept {
  return !IsBlob(kind) && kind != FieldKind::kLogical && kind != FieldKind::kBytes;
}

class TablePlanner {
 public:
  TablePlanner(const TableDef& table, Product product, std::string_view base_name,
               std::uint32_t key)
      : table_(table), product_(product), limits_(LimitsOf(product)), base_name_(base_name) {
    header_.version = limits_.version;
    header_.key = key;
    header_.changes = header_.structure = 1;
    header_.sort_name = "ascii";
    header_.page = header_.is_new() ? PageOfNewTable() : base::OemPage().number();
  }

  std::vector<NewFile> Plan() {
    if (table_.Fields.empty())
      Throw(Code::kInvalidArgument, ErrorNumber::kInvalidArgument,
            "table '" + table_.Name + "' cannot be made without fields");
    if (table_.Fields.size() > kMaxFields)
      Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
            "table '" + table_.Name + "' cannot be made: it would have " +
                std::to_string(table_.Fields.size()) + " fields, at most " +
                std::to_string(kMaxFields) + " are possible");
    OrderFields();
    for (const FieldDef* field : fields_) AddColumn(*field);
    CheckAutomatic();
    PlaceColumns(header_);
    CheckSizes();
    CheckKey();
    return Build();
  }

 private:
  bool new_types() const noexcept { return product_ == Product::kParadox5; }

  /// Fields of the primary key first.
  void OrderFields() {
    for (const IndexDef& index : table_.Indexes) {
      if (!index.Primary) continue;
      if (primary_ != nullptr) RefuseIndex(index, "there is another primary index");
      primary_ = &index;
    }
    if (primary_ != nullptr) {
      if (primary_->Columns.empty() || primary_->Columns.size() > kMaxKeyFields)
        RefuseIndex(*primary_, "a primary key has 1 to " + std::to_string(kMaxKeyFields) +
                                   " fields, not " + std::to_string(primary_->Columns.size()));
      for (const IndexField& part : primary_->Columns) {
        if (part.Descending) RefuseIndex(*primary_, "a primary key only rises");
        fields_.push_back(&FieldNamed(*primary_, part.Name));
      }
      header_.type = FileType::kKeyedTable;
      header_.key_fields = static_cast<std::uint16_t>(primary_->Columns.size());
    }
    for (const FieldDef& field : table_.Fields)
      if (std::find(fields_.begin(), fields_.end(), &field) == fields_.end())
        fields_.push_back(&field);
    if (fields_.size() != table_.Fields.size()) RefuseIndex(*primary_, "it names a field twice");
  }

  const FieldDef& FieldNamed(const IndexDef& index, const std::string& name) const {
    const int at = table_.FindField(name);
    if (at < 0) RefuseIndex(index, "the table has no field '" + name + "'");
    return table_.Fields[static_cast<std::size_t>(at)];
  }

  void AddColumn(const FieldDef& field) {
    Column column;
    column.name = field.Name;
    ChooseKind(field, column);
    names_.push_back(NameFor(field.Name));
    header_.columns.push_back(std::move(column));
  }

  static void Set(Column& column, FieldKind kind, std::size_t bytes = 0) {
    column.kind = kind;
    const int fixed = FixedBytes(static_cast<std::uint8_t>(kind));
    column.bytes = static_cast<std::uint16_t>(fixed > 0 ? static_cast<std::size_t>(fixed) : bytes);
  }

  /// The version with which a type came; no table of an older one holds it.
  static std::uint8_t VersionOf(FieldKind kind) noexcept {
    switch (kind) {
      case FieldKind::kAlpha:
      case FieldKind::kDate:
      case FieldKind::kShort:
      case FieldKind::kMoney:
      case FieldKind::kNumber:
        return kVersion35;
      case FieldKind::kMemo:
      case FieldKind::kBinary:
        return kVersion4;
      default:
        return kVersion5;
    }
  }

  /// A field that was described by this driver stays as it was where this product has its type.
  bool KeepNative(const FieldDef& field, Column& column) const {
    Column native;
    if (!ReadNativeWords(field.Native, native) || VersionOf(native.kind) > limits_.version)
      return false;
    const FieldDef face = FaceOf(native);
    if (face.Type != field.Type || face.Size != field.Size ||
        face.AutoIncrement != field.AutoIncrement)
      return false;
    column.kind = native.kind;
    column.bytes = native.bytes;
    column.decimals = native.decimals;
    return true;
  }

  void ChooseKind(const FieldDef& field, Column& column) {
    using enum TypeCode;
    if (KeepNative(field, column)) return;
    if (field.AutoIncrement) {
      if (!new_types()) RefuseField(field, limits_, "it numbers no records by itself");
      return Set(column, FieldKind::kAutoIncrement);
    }
    switch (field.Type) {
      case kText:
      case kChar:
        return Set(column, FieldKind::kAlpha, TextBytes(field));
      case kBoolean:
        // A number would take neither the word True nor False.
        return new_types() ? Set(column, FieldKind::kLogical)
                           : Set(column, FieldKind::kAlpha, kBooleanText);
      case kByte:
      case kInteger:
        return Set(column, FieldKind::kShort);
      case kLong:
        return Set(column, new_types() ? FieldKind::kLong : FieldKind::kNumber);
      case kBigInt:
        if (!new_types()) return Set(column, FieldKind::kAlpha, kBigIntText);
        return Set(column, FieldKind::kBcd);
      case kNumeric:
      case kDecimal:
        return SetDecimal(field, column);
      case kCurrency:
        return Set(column, FieldKind::kMoney);
      case kSingle:
      case kDouble:
      case kFloat:
        return Set(column, FieldKind::kNumber);
      case kDate:
        return Set(column, new_types() ? FieldKind::kTimestamp : FieldKind::kDate);
      case kTimeStamp:
        return new_types() ? Set(column, FieldKind::kTimestamp)
                           : Set(column, FieldKind::kAlpha, kTimeStampText);
      case kTime:
        return new_types() ? Set(column, FieldKind::kTime)
                           : Set(column, FieldKind::kAlpha, kTimeText);
      case kGuid:
        return Set(column, FieldKind::kAlpha, kGuidText);
      case kMemo:
        return product_ == Product::kParadox3
                   ? Set(column, FieldKind::kAlpha, kMaxText)
                   : Set(column, FieldKind::kMemo, kMemoLeader + kReferenceBytes);
      case kBinary:
      case kVarBinary:
        if (new_types() && field.Size > 0 && field.Size <= std::int32_t{kMaxText})
          return Set(column, FieldKind::kBytes, static_cast<std::size_t>(field.Size));
        [[fallthrough]];
      case kLongBinary:
        if (product_ == Product::kParadox3)
          RefuseField(field, limits_, "it has no type for binary values");
        return Set(column, new_types() ? FieldKind::kOle : FieldKind::kBinary, kReferenceBytes);
    }
    RefuseField(field, limits_,
                "its type code " + std::to_string(static_cast<int>(field.Type)) + " is unknown");
  }

  void SetDecimal(const FieldDef& field, Column& column) const {
    const std::int32_t decimals = std::clamp(field.Decimals, 0, kBcdDigits);
    if (new_types()) {
      column.decimals = static_cast<std::uint8_t>(decimals);
      return Set(column, FieldKind::kBcd);
    }
    if (field.Size > 0 && field.Size <= kDoubleDigits) return Set(column, FieldKind::kNumber);
    Set(column, FieldKind::kAlpha, std::size_t{kBcdDigits} + 2);
  }

  std::size_t TextBytes(const FieldDef& field) const {
    if (field.Size <= 0) return kMaxText;
    if (field.Size > std::int32_t{kMaxText})
      RefuseField(field, limits_,
                  "a text holds at most " + std::to_string(kMaxText) + " characters, not " +
                      std::to_string(field.Size) + " (a memo holds more)");
    return static_cast<std::size_t>(field.Size);
  }

  /// A name in the table's page, short enough and unlike those before it.
  std::string NameFor(std::string_view wanted) const {
    const TextPage page(header_.page);
    std::string scratch;
    std::string_view stored;
    std::size_t replaced = 0;
    std::string name(page.FromAnsi(wanted, scratch, stored, replaced) ? stored : wanted);
    for (char& c : name)
      if (c == '\0') c = '_';
    if (name.empty()) name = "Field";
    name.resize(std::min(name.size(), kMaxFieldName));
    const auto taken = [&](const std::string& other) {
      return std::any_of(names_.begin(), names_.end(), [&](const std::string& known) {
        return base::EqualIgnoreCase(known, other);
      });
    };
    std::string unique = name;
    for (int number = 2; taken(unique); ++number) {
      const std::string digits = std::to_string(number);
      unique = name.substr(0, kMaxFieldName - digits.size()) + digits;
    }
    return unique;
  }

  void CheckAutomatic() const {
    const FieldDef* first = nullptr;
    for (const FieldDef* field : fields_) {
      if (!field->AutoIncrement) continue;
      if (first != nullptr)
        RefuseField(*field, limits_, "'" + first->Name + "' is numbered by the table already");
      first = field;
    }
  }

  void CheckSizes() {
    const bool keyed = primary_ != nullptr;
    std::uint32_t bytes = 0;
    for (const Column& column : header_.columns) bytes += column.bytes;
    const std::uint32_t most = keyed ? limits_.max_keyed_record : limits_.max_record;
    if (bytes > most)
      Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
            "table '" + table_.Name + "' cannot be made: its records would have " +
                std::to_string(bytes) + " bytes, " + std::string(keyed ? "with" : "without") +
                " a primary key at most " + std::to_string(most) + " are possible");
    const std::uint8_t kib =
        BlockFor(bytes, keyed ? 3 : 1, limits_.usual_block_kib, limits_.max_block_kib);
    header_.block_bytes = std::uint32_t{kib} << 10;
  }

  void CheckKey() const {
    for (std::size_t i = 0; i < header_.key_fields; ++i) {
      const Column& column = header_.columns[i];
      if (!MayBeKey(column.kind))
        RefuseIndex(*primary_, "field '" + column.name + "' is of a type that cannot be a key");
    }
  }

  std::vector<NewFile> Build() {
    for (std::size_t i = 0; i < header_.columns.size(); ++i)
      header_.numbers.push_back(static_cast<std::uint16_t>(i + 1));
    bool blobs = false;
    for (const Column& column : header_.columns) blobs = blobs || IsBlob(column.kind);
    for (std::size_t i = 0; i < names_.size(); ++i) header_.columns[i].name = NameInAnsi(i);
    std::vector<NewFile> files;
    std::vector<std::string> taken;
    for (const IndexDef& index : table_.Indexes) {
      if (index.Primary) continue;
      if (primary_ == nullptr)
        RefuseIndex(index, "only a table with a primary index can have others");
      RaiseVersion(index);
    }
    for (const IndexDef& index : table_.Indexes) {
      if (index.Primary) continue;
      for (NewFile& file : PlanIndex(header_, Renamed(index), base_name_, taken)) {
        taken.push_back(file.extension);
        files.push_back(std::move(file));
      }
    }
    if (primary_ != nullptr)
      files.push_back(TreeOf(header_, FileType::kPrimaryIndex, base_name_, "PX"));
    if (blobs) files.push_back({"MB", BlobFile::NewFile(header_.key)});
    files.push_back({"DB", BuildEmptyFile(header_, names_, std::string(base_name_) + ".DB")});
    return files;
  }

  std::string NameInAnsi(std::size_t i) const {
    const TextPage page(header_.page);
    std::string scratch;
    std::string_view name;
    return std::string(page.ToAnsi(names_[i], scratch, name) ? name : std::string_view(names_[i]));
  }

  /// Falling and unique indexes came with version 7.
  void RaiseVersion(const IndexDef& index) {
    const bool falls = std::any_of(index.Columns.begin(), index.Columns.end(),
                                   [](const IndexField& part) { return part.Descending; });
    if (!falls && !index.Unique) return;
    if (!new_types())
      RefuseIndex(index, std::string(limits_.name) + " tables have no " +
                             (falls ? "falling" : "unique") + " indexes beside the primary one");
    header_.version = kVersion7;
  }

  /// The index with its fields named as they are in the new table.
  IndexDef Renamed(const IndexDef& index) const {
    IndexDef renamed = index;
    for (IndexField& part : renamed.Columns) {
      const FieldDef* field = &FieldNamed(index, part.Name);
      const auto at = std::find(fields_.begin(), fields_.end(), field) - fields_.begin();
      part.Name = header_.columns[static_cast<std::size_t>(at)].name;
    }
    return renamed;
  }

  const TableDef& table_;
  Product product_;
  const Limits& limits_;
  std::string_view base_name_;
  Header header_;
  const IndexDef* primary_ = nullptr;
  std::vector<const FieldDef*> fields_;  // in the new order
  std::vector<std::string> names_;       // in the table's page
};

std::string HexPair(std::size_t number) {
  std::array<char, 3> text{};
  std::snprintf(text.data(), text.size(), "%02X", static_cast<unsigned>(number & 0xFF));
  return text.data();
}

}  // namespace

int PageOfNewTable() noexcept {
  return base::OemPage().is_utf8() ? 437 : base::OemPage().number();
}

bool FindProduct(std::string_view type_word, Product& out) noexcept {
  for (std::size_t i = 0; i < std::size(kLimits); ++i) {
    if (!base::EqualIgnoreCase(type_word, kLimits[i].word)) continue;
    out = Product{static_cast<std::uint8_t>(i)};
    return true;
  }
  return false;
}

std::vector<NewFile> PlanTable(const TableDef& table, Product product, std::string_view base_name,
                               std::uint32_t key) {
  return TablePlanner(table, product, base_name, key).Plan();
}

NewFile PlanPrimary(const Header& table, std::string_view base_name) {
  return TreeOf(table, FileType::kPrimaryIndex, base_name, "PX");
}

std::vector<NewFile> PlanIndex(const Header& table, const IndexDef& index,
                               std::string_view base_name, const std::vector<std::string>& taken) {
  if (table.type != FileType::kKeyedTable)
    RefuseIndex(index, "only a table with a primary index can have others");
  if (index.Columns.empty()) RefuseIndex(index, "it has no fields");
  Header file;
  file.version = table.version;
  file.sort_order = table.sort_order;
  file.sort_name = table.sort_name;
  file.page = table.page;
  file.key = table.is_new() ? table.key : 0;
  file.changes = 1;
  file.structure = table.structure;
  file.stamp = kStampOfIndex;
  const bool falls = index.Columns.front().Descending;
  std::vector<std::string> names;
  const TextPage page(table.page);
  std::string scratch;
  const auto in_page = [&](const std::string& text) {
    std::string_view stored;
    std::size_t replaced = 0;
    return std::string(page.FromAnsi(text, scratch, stored, replaced) ? stored : text);
  };
  const auto add = [&](const Column& column, std::uint16_t number) {
    file.columns.push_back(column);
    names.push_back(in_page(column.name));
    file.numbers.push_back(number);
  };
  for (const IndexField& part : index.Columns) {
    if (part.Descending != falls)
      RefuseIndex(index, "its fields all rise or all fall in this format");
    const auto at = std::find_if(table.columns.begin(), table.columns.end(), [&](const Column& c) {
      return base::EqualAnyCase(c.name, part.Name);
    });
    if (at == table.columns.end()) RefuseIndex(index, "the table has no field '" + part.Name + "'");
    if (!MayBeKey(at->kind))
      RefuseIndex(index, "field '" + at->name + "' is of a type that cannot be a key");
    add(*at, static_cast<std::uint16_t>(at->number | (falls ? kDescendingBit : 0)));
  }
  const Column first = file.columns.front();
  for (std::size_t i = 0; i < table.key_fields; ++i)
    add(table.columns[i], static_cast<std::uint16_t>(file.columns.size() + 1));
  Column hint;
  hint.name = "Hint";
  hint.kind = FieldKind::kShort;
  hint.bytes = kHintBytes;
  add(hint, static_cast<std::uint16_t>(file.columns.size() + 1));
  PlaceColumns(file);
  file.key_fields = static_cast<std::uint16_t>(file.columns.size() - 1);
  file.indexed_field = static_cast<std::uint8_t>(first.number);
  file.flags =
      static_cast<std::uint8_t>((falls ? kFlagDescending : 0) | (index.Unique ? kFlagUnique : 0));
  if (file.flags != 0 && table.version < kVersion7)
    RefuseIndex(index, "falling and unique indexes need a table of version 7");
  const std::uint8_t most = table.is_new() && table.version > kVersion4 ? 32 : 4;
  const std::uint8_t kib = BlockFor(file.record_bytes, 3, 2, most);
  if (kib == 0)
    RefuseIndex(index, "its entries of " + std::to_string(file.record_bytes) +
                           " bytes are too long for the blocks of this format");
  file.block_bytes = std::uint32_t{kib} << 10;

  const bool single =
      index.Columns.size() == 1 && file.flags == 0 && base::EqualAnyCase(index.Name, first.name);
  const auto is_taken = [&](const std::string& extension) {
    return std::find(taken.begin(), taken.end(), extension) != taken.end();
  };
  std::string ending = HexPair(first.number);
  if (single) {
    file.type = FileType::kField;
    if (is_taken("X" + ending)) RefuseIndex(index, "the field has an index of its own");
  } else {
    if (!table.is_new())
      RefuseIndex(index, "an index of this format is on one field and bears its name");
    file.type = FileType::kGroup;
    file.label = in_page(index.Name);
    std::size_t number = 0;
    do {
      ending = "G" + HexPair(number).substr(1);
    } while (is_taken("X" + ending) && ++number < kFirstGroup);
    if (number == kFirstGroup) RefuseIndex(index, "the table has as many as can be named");
    if (file.label.empty() || file.label.size() > kMaxFieldName)
      RefuseIndex(index, "its name has 1 to " + std::to_string(kMaxFieldName) + " characters");
  }
  NewFile entries{"X" + ending,
                  BuildEmptyFile(file, names, std::string(base_name) + ".X" + ending)};
  NewFile tree =
      TreeOf(file, single ? FileType::kFieldTree : FileType::kGroupTree, base_name, "Y" + ending);
  return {std::move(entries), std::move(tree)};
}

}  // namespace kelvorin::database::paradox
