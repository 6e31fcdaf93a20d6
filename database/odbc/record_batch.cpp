#include "database/odbc/record_batch.h"

#include "base/M_STRING.h"
#include "database/odbc/utf8.h"

namespace kelvorin::database::odbc {

Status RecordBatch::Add(std::int64_t record_no, std::span<const values::Value> row) {
  const std::size_t before = used_;
  const std::size_t first = ends_.size();
  ends_.resize(first + row.size());
  kinds_.resize(first + row.size());
  for (std::size_t i = 0; i < row.size(); ++i) {
    const values::Value& value = row[i];
    CellKind kind = CellKind::kQuoted;
    if (value.kind == values::Kind::kText && IsPlainText(value.text)) [[likely]] {
      Put(value.text.data(), value.text.size());
    } else {
      cell_.clear();
      Status status = AppendCell(value, types_[i], cell_, kind);
      if (!status.ok()) {
        used_ = before;
        ends_.resize(first);
        kinds_.resize(first);
        return status;
      }
      const std::int64_t number =
          value.kind == values::Kind::kBoolean ? std::int64_t{value.boolean} : value.integer;
      if (kind == CellKind::kWhole) {
        Put(reinterpret_cast<const char*>(&number), sizeof number);
      } else {
        Put(cell_.data(), cell_.size());
      }
    }
    ends_[first + i] = used_;
    kinds_[first + i] = kind;
  }
  numbers_.push_back(record_no);
  return Status();
}

void RecordBatch::Clear() noexcept {
  numbers_.clear();
  used_ = 0;
  ends_.clear();
  kinds_.clear();
  ++generation_;
}

void RecordBatch::AppendValue(std::size_t i, std::size_t field, const SqlDialect& dialect,
                              std::string& out) const {
  switch (Kind(i, field)) {
    case CellKind::kNull:
      out += "NULL";
      break;
    case CellKind::kWhole:
      base::AppendDecimal(Whole(i, field), out);
      break;
    case CellKind::kPlain:
      out += Text(i, field);
      break;
    case CellKind::kQuoted:
      AppendQuoted(Text(i, field), dialect, out);
  }
}

void RecordBatch::AppendList(std::size_t i, const SqlDialect& dialect, std::string& out) const {
  for (std::size_t field = 0; field < fields(); ++field) {
    out += field == 0 ? '(' : ',';
    AppendValue(i, field, dialect, out);
  }
  out += ')';
}

}  // namespace kelvorin::database::odbc
