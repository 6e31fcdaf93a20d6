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

std::vector<Cell> MemoryTable::KeyOf(const IndexDef& index, const Row& row) const {
  std::vector<Cell> key;
  for (const database::IndexField& column : index.Columns)
    key.push_back(row.cells[static_cast<std::size_t>(def_.FindField(column.Name))]);
  return key;
}

int MemoryTable::CompareKeys(const IndexDef& index, const Row& row,
                             std::span<const Cell> keys) const {
  const std::vector<Cell> own = KeyOf(index, row);
  int order = 0;
  for (std::size_t i = 0; i < keys.size() && order == 0; ++i) order = Compare(own[i], keys[i]);
  return order;
}

std::vector<std::size_t> MemoryTable::Order(const IndexDef& index) const {
  std::vector<std::size_t> order;
  for (std::size_t row_no = 0; row_no < rows_.size(); ++row_no)
    if (!rows_[row_no].deleted) order.push_back(row_no);
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return CompareKeys(index, rows_[a], KeyOf(index, rows_[b])) < 0;
  });
  return order;
}

// `replaced` is the stored row that `row` takes the place of, if any.
Status MemoryTable::CheckIndexes(const Row& row, const Row* replaced) const {
  for (const IndexDef& index : def_.Indexes) {
    const std::vector<Cell> key = KeyOf(index, row);
    const bool has_null =
        std::any_of(key.begin(), key.end(), [](const Cell& c) { return c.IsNull(); });
    if (has_null && index.Primary)
      return MakeStatus(Code::kRequired, ErrorNumber::kKeyIsNull,
                        "index '" + index.Name + "' of table '" + def_.Name + "' takes no Null");
    if (has_null || !(index.Unique || index.Primary)) continue;
    for (const Row& other : rows_)
      if (!other.deleted && &other != replaced && CompareKeys(index, other, key) == 0)
        return MakeStatus(
            Code::kDuplicateKey, ErrorNumber::kDuplicateKey,
            "index '" + index.Name + "' of table '" + def_.Name + "' holds this key already");
  }
  return Status();
}

Status MemoryTable::Insert(Row row) {
  KV_TRY(CheckIndexes(row, nullptr));
  rows_.push_back(std::move(row));
  return Status();
}

Status MemoryTable::Replace(std::size_t row_no, Row row) {
  KV_TRY(CheckIndexes(row, &rows_[row_no]));
  rows_[row_no] = std::move(row);
  return Status();
}

}  // namespace kelvorin::tests
