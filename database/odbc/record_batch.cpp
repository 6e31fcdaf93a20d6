#include "database/odbc/record_batch.h"

#include "base/M_STRING.h"

namespace kelvorin::database::odbc {

Status RecordBatch::Add(std::int64_t record_no, std::span<const values::Value> row) {
  const std::size_t before = text_.size();
  const std::size_t first = ends_.size();
  ends_.resize(first + row.size());
  kinds_.resize(first + row.size());
  for (std::size_t i = 0; i < row.size(); ++i) {
    const values::Value& value = row[i];
    CellKind& kind = kinds_[first + i];
    Status status = AppendCell(value, types_[i], text_, kind);
    if (!status.ok()) {
      text_.resize(before);
      ends_.resize(first);
      kinds_.resize(first);
      return status;
    }
    if (kind == CellKind::kWhole) {
      const std::int64_t number =
          value.kind == values::Kind::kBoolean ? std::int64_t{value.boolean} : value.integer;
      text_.append(reinterpret_cast<const char*>(&number), sizeof number);
    }
    ends_[first + i] = text_.size();
  }
  numbers_.push_back(record_no);
  return Status();
}

void RecordBatch::Clear() noexcept {
  numbers_.clear();
  text_.clear();
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
