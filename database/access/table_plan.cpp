#include "database/access/table_plan.h"

#include <algorithm>

#include "base/case_map.h"
#include "base/code_page.h"
#include "database/access/field_codec.h"
#include "database/access/row.h"
#include "database/access/sort_keys.h"

namespace kelvorin::database::access {
namespace {

using values::TypeCode;

constexpr std::int32_t kLongestText = 255;
constexpr std::size_t kMaxIndexes = 32;
constexpr std::uint8_t kNoCascade = 4;  // what other programs write without a relation
constexpr std::string_view kForbidden = ".![]`";

[[noreturn]] void Refuse(Code code, std::string text) {
  Throw(code, ErrorNumber::kInvalidArgument, std::move(text));
}

/// Digits of a decimal that the asked size stands for.
std::uint8_t PrecisionOf(const FieldDef& field) {
  constexpr std::int32_t kDecimalBytes = 16;  // the size that decimals show
  const bool by_size = field.Size > 0 && field.Size <= 28 && field.Size != kDecimalBytes;
  const std::int32_t digits = field.Digits > 0 ? field.Digits : by_size ? field.Size : 28;
  return static_cast<std::uint8_t>(std::clamp(digits, std::clamp(field.Decimals, 1, 28), 28));
}

Column PlanColumn(const DatabaseFile& file, const FieldDef& field) {
  const bool wide = file.layout().wide;
  Column column;
  column.name = field.Name;
  column.lcid = file.header().order.lcid == 0 ? std::uint16_t{1033} : file.header().order.lcid;
  column.sort_version = wide ? file.header().order.version : std::uint8_t{0};
  const auto fixed = [&](ColumnType type) {
    column.type = type;
    column.flags = kColumnUsual | kColumnFixed;
    column.length = StorageBytes(type);
  };
  const auto varying = [&](ColumnType type, std::int32_t size) {
    column.type = type;
    column.length = static_cast<std::uint16_t>(size);
  };
  switch (field.Type) {
    case TypeCode::kBoolean:
    case TypeCode::kByte:
    case TypeCode::kInteger:
    case TypeCode::kLong:
    case TypeCode::kCurrency:
    case TypeCode::kSingle:
    case TypeCode::kDouble:
    case TypeCode::kDate:
    case TypeCode::kGuid:
      fixed(static_cast<ColumnType>(field.Type));
      break;
    case TypeCode::kTime:
    case TypeCode::kTimeStamp:
      fixed(ColumnType::kDate);
      break;
    case TypeCode::kFloat:
      fixed(ColumnType::kDouble);
      break;
    case TypeCode::kNumeric:
    case TypeCode::kDecimal:
    case TypeCode::kBigInt:
      if (!wide) {  // no decimals in Jet 3
        fixed(ColumnType::kDouble);
        break;
      }
      varying(ColumnType::kDecimal, StorageBytes(ColumnType::kDecimal));
      column.precision = field.Type == TypeCode::kBigInt ? std::uint8_t{19} : PrecisionOf(field);
      column.scale = field.Type == TypeCode::kBigInt
                         ? std::uint8_t{0}
                         : static_cast<std::uint8_t>(
                               std::clamp<std::int32_t>(field.Decimals, 0, column.precision));
      break;
    case TypeCode::kText:
    case TypeCode::kChar:
      if (field.Size > kLongestText) {
        varying(ColumnType::kMemo, 0);
      } else {
        const std::int32_t size = field.Size <= 0 ? kLongestText : field.Size;
        varying(ColumnType::kText, wide ? 2 * size : size);
      }
      break;
    case TypeCode::kBinary:
    case TypeCode::kVarBinary:
      if (field.Size > kLongestText) {
        varying(ColumnType::kOle, 0);
      } else {
        varying(ColumnType::kBinary, field.Size <= 0 ? kLongestText : field.Size);
      }
      break;
    case TypeCode::kMemo:
      varying(ColumnType::kMemo, 0);
      break;
    case TypeCode::kLongBinary:
      varying(ColumnType::kOle, 0);
      break;
  }
  if (column.length == 0 && !IsLongValue(column.type))
    Refuse(Code::kNotSupported, "field '" + field.Name + "' is of a type that cannot be made");
  const bool text = column.type == ColumnType::kText || column.type == ColumnType::kMemo;
  if (text) {
    column.order = OrderOf(wide, column.lcid, column.sort_version, file.header().order);
    if (wide) column.extended_flags = kColumnCompressed;
  }
  if (field.AutoIncrement) {
    if (column.type == ColumnType::kGuid) {
      column.flags |= kColumnAutoGuid;
    } else if (column.type == ColumnType::kLong) {
      column.flags |= kColumnCounter;
    } else {
      Refuse(Code::kNotSupported,
             "field '" + field.Name + "': only Long and GUID fields number automatically");
    }
  }
  return column;
}

}  // namespace

void CheckName(std::string_view name, std::string_view what) {
  const std::string shown = std::string(what) + " '" + std::string(name) + "'";
  if (name.empty() || base::CountCharacters(name) > kMaxNameCharacters)
    Refuse(Code::kInvalidArgument, shown + ": names have 1 to 64 characters");
  const bool control =
      std::any_of(name.begin(), name.end(), [](char c) { return c >= 0 && c < ' '; });
  if (name.front() == ' ' || control || name.find_first_of(kForbidden) != std::string_view::npos)
    Refuse(Code::kInvalidArgument, shown + ": names take no blank in front, none of " +
                                       std::string(kForbidden) + " and no control characters");
}

PhysicalIndex PlanIndex(const Layout& layout, const TableDefinition& table, const IndexDef& asked) {
  const std::string shown = "index '" + asked.Name + "'";
  PhysicalIndex index;
  if (asked.Columns.empty() || asked.Columns.size() > kMaxIndexColumns)
    Refuse(Code::kNotSupported, shown + ": an index has 1 to 10 fields");
  for (const IndexField& field : asked.Columns) {
    const auto column = table.FindColumn(field.Name);
    if (!column) Refuse(Code::kNotFound, shown + ": there is no field '" + field.Name + "'");
    if (!HasKeys(table.columns[*column]))
      Refuse(Code::kNotSupported, shown + ": field '" + field.Name + "' cannot be indexed");
    for (const KeyColumn& other : index.columns)
      if (other.column == *column)
        Refuse(Code::kInvalidArgument, shown + ": field '" + field.Name + "' stands in it twice");
    index.columns.push_back({*column, !field.Descending});
  }
  index.flags = layout.wide ? kIndexAlways : std::uint8_t{0};
  if (asked.Unique || asked.Primary) index.flags |= kIndexUnique;
  if (asked.Required || asked.Primary) index.flags |= kIndexRequired;
  if (asked.IgnoreNulls && !asked.Primary) index.flags |= kIndexIgnoreNulls;
  return index;
}

void AddIndex(const Layout& layout, TableDefinition& table, const IndexDef& asked) {
  CheckName(asked.Name, "index");
  if (table.indexes.size() >= kMaxIndexes)
    Refuse(Code::kOutOfRange, "a table has at most 32 indexes");
  LogicalIndex name;
  name.name = asked.Name;
  name.kind = asked.Primary ? IndexKind::kPrimary : IndexKind::kNormal;
  name.cascade_updates = name.cascade_deletes = kNoCascade;
  name.physical = static_cast<std::uint32_t>(table.indexes.size());
  for (const LogicalIndex& other : table.names) {
    if (base::EqualAnyCase(other.name, asked.Name))
      Refuse(Code::kAlreadyExists, "index '" + asked.Name + "' exists already");
    if (asked.Primary && other.kind == IndexKind::kPrimary)
      Refuse(Code::kAlreadyExists, "the table has the primary index '" + other.name + "' already");
    name.number = std::max(name.number, other.number + 1);
  }
  table.indexes.push_back(PlanIndex(layout, table, asked));
  table.names.push_back(std::move(name));
}

namespace {

/// Numbers and places columns in their order: fixed ones one behind the other, long values behind
/// all others of varying length.
void PlaceColumns(TableDefinition& table) {
  std::uint16_t fixed_at = 0;
  std::uint16_t slot = 0;
  for (std::size_t i = 0; i < table.columns.size(); ++i)
    table.columns[i].number = table.columns[i].ordinal = static_cast<std::uint16_t>(i);
  for (const bool long_values : {false, true}) {
    for (Column& column : table.columns) {
      if (IsLongValue(column.type) != long_values) continue;
      column.variable_slot = slot;
      if (column.fixed()) {
        column.fixed_at = fixed_at;
        if (!column.is_bit()) fixed_at = static_cast<std::uint16_t>(fixed_at + column.length);
      } else {
        ++slot;
      }
    }
  }
  table.columns_ever = static_cast<std::uint16_t>(table.columns.size());
  table.variable_ever = slot;
}

}  // namespace

TableDefinition PlanTable(const DatabaseFile& file, const TableDef& asked) {
  CheckName(asked.Name, "table");
  if (asked.Fields.empty() || asked.Fields.size() > kMaxColumns)
    Refuse(Code::kOutOfRange, "table '" + asked.Name + "' would have " +
                                  std::to_string(asked.Fields.size()) +
                                  " fields, 1 to 255 are possible");
  TableDefinition table;
  std::size_t counters = 0;
  for (const FieldDef& field : asked.Fields) {
    CheckName(field.Name, "field");
    if (table.FindColumn(field.Name))
      Refuse(Code::kAlreadyExists, "field '" + field.Name + "' stands in the table twice");
    table.columns.push_back(PlanColumn(file, field));
    counters += table.columns.back().counter() ? 1 : 0;
  }
  if (counters > 1) Refuse(Code::kNotSupported, "a table has at most one automatic number");
  PlaceColumns(table);
  std::vector<ColumnValue> nothing(table.columns.size());
  std::vector<std::byte> row;
  const std::size_t smallest = BuildRow(file.layout(), table, nothing, row);
  if (smallest > file.layout().max_row_bytes)
    Refuse(Code::kOutOfRange, "a record of table '" + asked.Name + "' would take " +
                                  std::to_string(smallest) + " bytes, " +
                                  std::to_string(file.layout().max_row_bytes) + " are possible");
  for (const IndexDef& index : asked.Indexes) AddIndex(file.layout(), table, index);
  return table;
}

}  // namespace kelvorin::database::access
