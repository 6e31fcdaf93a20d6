#include "tests/support/memory_table.h"

#include "base/code_page.h"
#include "database/errors.h"
#include "values/value_format.h"

#include <algorithm>
#include <tuple>

namespace kelvorin::tests {
namespace {

using database::ErrorNumber;
using database::FieldDef;
using database::IndexDef;
using database::MakeStatus;
using database::TableDef;
using values::Kind;
using values::Value;

}  // namespace

Status MakeCell(const TableDef& table, const FieldDef& field, const Value& value, Cell& out) {
  if (value.IsNull()) {
    out = Cell();
    return Status();
  }
  const auto name = [&] { return "field '" + field.Name + "' of table '" + table.Name + "'"; };
  if (value.kind == Kind::kText || value.kind == Kind::kBytes) {
    const bool text = values::IsText(field.Type);
    if (text != (value.kind == Kind::kText))
      return MakeStatus(Code::kConversion, ErrorNumber::kConversion,
                        "the value does not fit " + name());
    const auto room = static_cast<std::size_t>(std::max(field.Size, 0));
    const std::size_t size = text ? base::CountCharacters(value.text) : value.text.size();
    if (room != 0 && size > room)
      return MakeStatus(Code::kTooLong, ErrorNumber::kFieldTooSmall,
                        std::to_string(size) + (text ? " characters" : " bytes") +
                            " are too long for " + name() + ", which takes " +
                            std::to_string(room));
    out = Cell(value);
    return Status();
  }
  // A number of another kind becomes one of the field's by way of its text.
  const values::ValueFormat& neutral = values::ValueFormat::Neutral();
  Value stored;
  std::string text, scratch;
  neutral.Append(value, text);
  const Status parsed = neutral.Parse(text, field.Type, stored, scratch);
  if (!parsed.ok())
    return MakeStatus(parsed.code(), ErrorNumber::kConversion,
                      "the value " + text + " does not fit " + name());
  out = Cell(stored);
  return Status();
}

int Compare(const Cell& a, const Cell& b) noexcept {
  // What its kind does not use is left over in a value from another one.
  const auto parts = [](const Value& v) {
    const auto is = [&](Kind one, Kind other) { return v.kind == one || v.kind == other; };
    return std::tuple(!v.IsNull(), v.kind == Kind::kBoolean && v.boolean,
                      is(Kind::kInteger, Kind::kCurrency) ? v.integer : 0,
                      v.kind == Kind::kDouble ? v.number : 0,
                      v.kind == Kind::kDateTime ? v.date_time : values::DateTime(),
                      is(Kind::kText, Kind::kBytes) ? v.text : std::string_view(),
                      v.kind == Kind::kGuid ? v.guid.bytes : values::Guid().bytes);
  };
  const auto x = parts(a.View());
  const auto y = parts(b.View());
  return x < y ? -1 : y < x ? 1 : 0;
}

std::string TextOf(const Cell& cell) {
  if (cell.IsNull()) return "<null>";
  const Value value = cell.View();
  if (value.kind == Kind::kText) return std::string(value.text);
  std::string text;
  values::ValueFormat::Neutral().Append(value, text);
  return text;
}

MemoryTable::MemoryTable(TableDef def) : def_(std::move(def)), orders_(def_.Indexes.size()) {
  for (const IndexDef& index : def_.Indexes) {
    Key& key = keys_.emplace_back();
    for (const database::IndexField& column : index.Columns) {
      const int field = def_.FindField(column.Name);
      KV_ASSERT(field >= 0, "an index is on fields of its table");
      key.fields.push_back(static_cast<std::size_t>(field));
      key.descending.push_back(column.Descending);
    }
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
    orders_[i].insert(orders_[i].begin() + static_cast<std::ptrdiff_t>(PlaceOf(i, row_no, false)),
                      row_no);
}

void MemoryTable::Remove(std::size_t row_no) {
  for (std::size_t i = 0; i < keys_.size(); ++i)
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

}  // namespace kelvorin::tests
