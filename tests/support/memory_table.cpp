#include "tests/support/memory_table.h"

#include "base/code_page.h"
#include "database/api/errors.h"
#include "database/values/value_format.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kelvorin::tests {
namespace {

using database::ErrorNumber;
using database::FieldDef;
using database::IndexDef;
using database::MakeStatus;
using database::TableDef;
using values::Kind;
using values::TypeCode;
using values::Value;

constexpr std::int64_t kTenThousand = 10000;

std::string NameOf(const TableDef& table, const FieldDef& field) {
  return "field '" + field.Name + "' of table '" + table.Name + "'";
}

Status Refuse(const TableDef& table, const FieldDef& field) {
  return MakeStatus(Code::kConversion, ErrorNumber::kConversion,
                    "the value does not fit " + NameOf(table, field));
}

bool ToDouble(const Value& value, double& out) noexcept {
  switch (value.kind) {
    case Kind::kInteger:
      out = static_cast<double>(value.integer);
      return true;
    case Kind::kCurrency:
      out = static_cast<double>(value.integer) / static_cast<double>(kTenThousand);
      return true;
    case Kind::kDouble:
      out = value.number;
      return std::isfinite(out);
    case Kind::kBoolean:
      out = value.boolean ? -1 : 0;
      return true;
    case Kind::kNull:
    case Kind::kDateTime:
    case Kind::kText:
    case Kind::kBytes:
    case Kind::kGuid:
      return false;
  }
  return false;
}

// `value` times `scale` as a whole number; false when it has more digits or does not fit.
bool ToWhole(const Value& value, std::int64_t scale, std::int64_t& out) noexcept {
  if (value.kind == Kind::kInteger || value.kind == Kind::kCurrency) {
    const std::int64_t from = value.kind == Kind::kCurrency ? kTenThousand : 1;
    if (scale >= from) return !__builtin_mul_overflow(value.integer, scale / from, &out);
    out = value.integer / from;
    return value.integer % from == 0;
  }
  double number = 0;
  if (!ToDouble(value, number)) return false;
  number *= static_cast<double>(scale);
  if (std::nearbyint(number) != number || std::abs(number) >= 9.2e18) return false;
  out = static_cast<std::int64_t>(number);
  return true;
}

}  // namespace

Status MakeCell(const TableDef& table, const FieldDef& field, const Value& value, Cell& out) {
  if (value.IsNull()) {
    out = Cell();
    return Status();
  }
  const auto store = [&out](const Value& stored) {
    out = Cell(stored);
    return Status();
  };
  const auto whole = [&](std::int64_t low, std::int64_t high) {
    std::int64_t number = 0;
    if (!ToWhole(value, 1, number) || number < low || number > high) return Refuse(table, field);
    return store(Value::Integer(number));
  };
  std::int64_t scaled = 0;
  double number = 0;
  std::string digits;
  switch (field.Type) {
    case TypeCode::kBoolean:
      if (!ToDouble(value, number)) return Refuse(table, field);
      return store(Value::Boolean(number != 0));
    case TypeCode::kByte:
      return whole(0, 255);
    case TypeCode::kInteger:
      return whole(std::numeric_limits<std::int16_t>::min(),
                   std::numeric_limits<std::int16_t>::max());
    case TypeCode::kLong:
      return whole(std::numeric_limits<std::int32_t>::min(),
                   std::numeric_limits<std::int32_t>::max());
    case TypeCode::kBigInt:
      return whole(std::numeric_limits<std::int64_t>::min(),
                   std::numeric_limits<std::int64_t>::max());
    case TypeCode::kCurrency:
      if (!ToWhole(value, kTenThousand, scaled)) return Refuse(table, field);
      return store(Value::Currency(scaled));
    case TypeCode::kSingle:
      if (!ToDouble(value, number) || std::abs(number) > std::numeric_limits<float>::max())
        return Refuse(table, field);
      return store(values::SingleValue(static_cast<float>(number), digits));
    case TypeCode::kDouble:
    case TypeCode::kFloat:
    case TypeCode::kNumeric:
    case TypeCode::kDecimal:
      if (!ToDouble(value, number)) return Refuse(table, field);
      return store(
          Value::Double(number, value.kind == Kind::kDouble ? value.text : std::string_view()));
    case TypeCode::kDate:
    case TypeCode::kTime:
    case TypeCode::kTimeStamp:
      if (value.kind != Kind::kDateTime) return Refuse(table, field);
      return store(value);
    case TypeCode::kText:
    case TypeCode::kChar:
    case TypeCode::kMemo: {
      if (value.kind != Kind::kText) return Refuse(table, field);
      const auto size = static_cast<std::size_t>(std::max(field.Size, 0));
      if (size != 0 && value.text.size() > size && base::CountCharacters(value.text) > size)
        return MakeStatus(Code::kTooLong, ErrorNumber::kFieldTooSmall,
                          "a text of " + std::to_string(base::CountCharacters(value.text)) +
                              " characters is too long for " + NameOf(table, field) +
                              ", which takes " + std::to_string(size));
      return store(value);
    }
    case TypeCode::kBinary:
    case TypeCode::kVarBinary:
    case TypeCode::kLongBinary:
      if (value.kind != Kind::kBytes) return Refuse(table, field);
      if (field.Size > 0 && value.text.size() > static_cast<std::size_t>(field.Size))
        return MakeStatus(
            Code::kTooLong, ErrorNumber::kFieldTooSmall,
            std::to_string(value.text.size()) + " bytes are too long for " + NameOf(table, field));
      return store(value);
    case TypeCode::kGuid:
      if (value.kind != Kind::kGuid) return Refuse(table, field);
      return store(value);
  }
  return Refuse(table, field);
}

int Compare(const Cell& a, const Cell& b) noexcept {
  const Value x = a.View();
  const Value y = b.View();
  const auto order = [](const auto& l, const auto& r) { return l < r ? -1 : r < l ? 1 : 0; };
  if (x.IsNull() || y.IsNull()) return order(!x.IsNull(), !y.IsNull());
  switch (x.kind) {
    case Kind::kNull:
      return 0;
    case Kind::kBoolean:
      return order(x.boolean, y.boolean);
    case Kind::kInteger:
    case Kind::kCurrency:
      return order(x.integer, y.integer);
    case Kind::kDouble:
      return order(x.number, y.number);
    case Kind::kDateTime:
      return order(x.date_time, y.date_time);
    case Kind::kText:
    case Kind::kBytes:
      return order(x.text, y.text);
    case Kind::kGuid:
      return order(x.guid.bytes, y.guid.bytes);
  }
  return 0;
}

std::string TextOf(const Cell& cell) {
  if (cell.IsNull()) return "<null>";
  const Value value = cell.View();
  if (value.kind == Kind::kText) return std::string(value.text);
  std::string text;
  values::ValueFormat::Neutral().Append(value, text);
  return text;
}

MemoryTable::MemoryTable(TableDef def) : def_(std::move(def)) {
  const std::vector<IndexDef> indexes = std::move(def_.Indexes);
  def_.Indexes.clear();
  for (const IndexDef& index : indexes) {
    const Status added = AddIndex(index);
    KV_ASSERT(added.ok(), "an empty table takes any index on its own fields");
  }
}

std::size_t MemoryTable::IndexNumber(const IndexDef& index) const noexcept {
  for (std::size_t i = 0; i < def_.Indexes.size(); ++i)
    if (def_.Indexes[i].Name == index.Name) return i;
  return def_.Indexes.size();
}

int MemoryTable::CompareRows(const Key& key, const Row& a, const Row& b) const {
  for (std::size_t i = 0; i < key.fields.size(); ++i) {
    const int order = Compare(a.cells[key.fields[i]], b.cells[key.fields[i]]);
    if (order != 0) return key.descending[i] ? -order : order;
  }
  return 0;
}

std::size_t MemoryTable::PlaceOf(std::size_t index_no, std::size_t row_no, bool behind) const {
  const Key& key = keys_[index_no];
  const auto before = [&](std::size_t a, std::size_t b) {
    const int order = CompareRows(key, rows_[a], rows_[b]);
    return order != 0 ? order < 0 : a < b;
  };
  const auto& all = orders_[index_no];
  const auto at = behind ? std::upper_bound(all.begin(), all.end(), row_no, before)
                         : std::lower_bound(all.begin(), all.end(), row_no, before);
  return static_cast<std::size_t>(at - all.begin());
}

std::size_t MemoryTable::PlaceOf(std::size_t index_no, std::span<const Cell> keys,
                                 bool behind) const {
  const Key& key = keys_[index_no];
  const auto& all = orders_[index_no];
  const auto at = std::partition_point(all.begin(), all.end(), [&](std::size_t row_no) {
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const int order = Compare(rows_[row_no].cells[key.fields[i]], keys[i]);
      if (order != 0) return (order < 0) != key.descending[i];
    }
    return behind;
  });
  return static_cast<std::size_t>(at - all.begin());
}

bool MemoryTable::Belongs(std::size_t index_no, const Row& row) const {
  if (!def_.Indexes[index_no].IgnoreNulls) return true;
  const auto& fields = keys_[index_no].fields;
  return !std::all_of(fields.begin(), fields.end(),
                      [&](std::size_t field) { return row.cells[field].IsNull(); });
}

// `replaced` is the stored row that `row` takes the place of, if any.
Status MemoryTable::CheckIndexes(const Row& row, const Row* replaced) const {
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    const IndexDef& index = def_.Indexes[i];
    std::vector<Cell> key;
    bool has_null = false;
    for (std::size_t field : keys_[i].fields) {
      key.push_back(row.cells[field]);
      has_null = has_null || row.cells[field].IsNull();
    }
    if (has_null && (index.Primary || index.Required))
      return MakeStatus(Code::kRequired, ErrorNumber::kKeyIsNull,
                        "index '" + index.Name + "' of table '" + def_.Name + "' takes no Null");
    if (has_null || !(index.Unique || index.Primary)) continue;
    const std::size_t from = PlaceOf(i, key, false);
    const std::size_t to = PlaceOf(i, key, true);
    for (std::size_t place = from; place < to; ++place)
      if (&rows_[orders_[i][place]] != replaced)
        return MakeStatus(
            Code::kDuplicateKey, ErrorNumber::kDuplicateKey,
            "index '" + index.Name + "' of table '" + def_.Name + "' holds this key already");
  }
  return Status();
}

void MemoryTable::Enter(std::size_t row_no) {
  for (std::size_t i = 0; i < keys_.size(); ++i)
    if (Belongs(i, rows_[row_no]))
      orders_[i].insert(orders_[i].begin() + static_cast<std::ptrdiff_t>(PlaceOf(i, row_no, false)),
                        row_no);
}

void MemoryTable::Remove(std::size_t row_no) {
  for (std::size_t i = 0; i < keys_.size(); ++i)
    if (Belongs(i, rows_[row_no]))
      orders_[i].erase(orders_[i].begin() + static_cast<std::ptrdiff_t>(PlaceOf(i, row_no, false)));
}

Status MemoryTable::Insert(Row row, const std::vector<bool>& assigned) {
  std::int64_t last_number = last_number_;
  for (std::size_t i = 0; i < def_.Fields.size(); ++i) {
    const FieldDef& field = def_.Fields[i];
    if (field.AutoIncrement) {
      if (!assigned[i])
        KV_TRY(MakeCell(def_, field, Value::Integer(last_number + 1), row.cells[i]));
      last_number = std::max(last_number, row.cells[i].View().integer);
    } else if (!assigned[i] && !field.DefaultValue.empty()) {
      Value value;
      std::string scratch;
      KV_TRY(values::ValueFormat::Neutral().Parse(field.DefaultValue, field.Type, value, scratch));
      KV_TRY(MakeCell(def_, field, value, row.cells[i]));
    }
  }
  KV_TRY(CheckIndexes(row, nullptr));
  last_number_ = last_number;
  rows_.push_back(std::move(row));
  Enter(rows_.size() - 1);
  return Status();
}

Status MemoryTable::Replace(std::size_t row_no, Row row) {
  KV_TRY(CheckIndexes(row, &rows_[row_no]));
  Remove(row_no);
  rows_[row_no] = std::move(row);
  Enter(row_no);
  return Status();
}

void MemoryTable::Delete(std::size_t row_no) {
  Remove(row_no);
  rows_[row_no].deleted = true;
}

Status MemoryTable::AddIndex(const IndexDef& index) {
  Key key;
  for (const database::IndexField& column : index.Columns) {
    const int field = def_.FindField(column.Name);
    if (field < 0)
      return MakeStatus(Code::kNotFound, ErrorNumber::kNotInCollection,
                        "table '" + def_.Name + "' has no field '" + column.Name + "' for index '" +
                            index.Name + "'");
    key.fields.push_back(static_cast<std::size_t>(field));
    key.descending.push_back(column.Descending);
  }
  def_.Indexes.push_back(index);
  keys_.push_back(std::move(key));
  orders_.emplace_back();
  const std::size_t index_no = keys_.size() - 1;
  for (std::size_t row_no = 0; row_no < rows_.size(); ++row_no) {
    if (rows_[row_no].deleted || !Belongs(index_no, rows_[row_no])) continue;
    Status checked = CheckIndexes(rows_[row_no], &rows_[row_no]);
    if (!checked.ok()) {
      def_.Indexes.pop_back();
      keys_.pop_back();
      orders_.pop_back();
      return checked;
    }
    orders_[index_no].insert(
        orders_[index_no].begin() + static_cast<std::ptrdiff_t>(PlaceOf(index_no, row_no, false)),
        row_no);
  }
  return Status();
}

}  // namespace kelvorin::tests
