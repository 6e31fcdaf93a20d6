#include "database/odbc/record_batch.h"

namespace kelvorin::database::odbc {

Status RecordBatch::Add(std::int64_t record_no, std::span<const values::Value> row) {
  const std::size_t before = text_.size();
  for (std::size_t i = 0; i < row.size(); ++i) {
    CellKind kind = CellKind::kNull;
    Status status = AppendCell(row[i], types_[i], text_, kind);
    if (!status.ok()) {
      text_.resize(before);
      ends_.resize(numbers_.size() * fields());
      kinds_.resize(ends_.size());
      return status;
    }
    ends_.push_back(text_.size());
    kinds_.push_back(kind);
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
