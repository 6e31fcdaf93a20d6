#include "database/xbase/xbase_recordset.h"

#include "database/database.h"
#include "database/engine.h"

#include <algorithm>

namespace kelvorin::database::xbase {

using values::Kind;

XbaseRecordset::XbaseRecordset(Database& owner, RecordsetType type, TableDef definition,
                               std::shared_ptr<Table> table)
    : Recordset(owner, type, std::move(definition)),
      table_(std::move(table)),
      snapshot_last_(table_->RecordCount()),
      row_(table_->layout().record_bytes),
      texts_(table_->layout().columns.size()) {
  for (const Column& column : table_->layout().columns) plans_.push_back(PlanFor(column));
  if (table_->memo() != nullptr) {
    raws_.resize(texts_.size());
    memos_.resize(texts_.size());
  }
}

// --- Moving

std::uint32_t XbaseRecordset::Last() const noexcept {
  return Type() == RecordsetType::kSnapshot ? snapshot_last_ : table_->RecordCount();
}

bool XbaseRecordset::Take(std::uint32_t record) {
  if (!table_->ReadLive(record, row_)) return false;
  record_ = record;
  row_changes_ = table_->changes();
  return true;
}

bool XbaseRecordset::ForwardFrom(std::uint32_t record) {
  const std::uint32_t last = Last();
  while (record <= last && !Take(record)) ++record;
  return record <= last;
}

bool XbaseRecordset::BackwardFrom(std::uint32_t record) {
  while (record >= 1 && !Take(record)) --record;
  return record >= 1;
}

/// Reads the current record again when another record set may have changed or deleted it.
void XbaseRecordset::RefreshRow() {
  if (row_changes_ == table_->changes() || Take(record_)) return;
  Throw(Code::kNoCurrentRecord, ErrorNumber::kRecordDeleted,
        "record " + std::to_string(record_) + " of table '" + def().Name + "' was deleted");
}

bool XbaseRecordset::DoMoveFirst() {
  return ForwardFrom(1);
}
bool XbaseRecordset::DoMoveLast() {
  return BackwardFrom(Last());
}
bool XbaseRecordset::DoMoveNext() {
  return ForwardFrom(record_ + 1);
}
bool XbaseRecordset::DoMovePrevious() {
  return BackwardFrom(record_ - 1);
}

bool XbaseRecordset::DoMove(std::int64_t rows) {
  // Deletion marks alone are looked at on the way; the record itself is read at its end.
  std::int64_t record = record_;
  const std::int64_t step = rows > 0 ? 1 : -1, last = Last();
  while (rows != 0) {
    record += step;
    if (record < 1 || record > last) return false;
    if (table_->IsLive(static_cast<std::uint32_t>(record))) rows -= step;
  }
  return ForwardFrom(static_cast<std::uint32_t>(record));
}

std::int64_t XbaseRecordset::DoRecordCount() {
  return table_->LiveCount();
}

void XbaseRecordset::DoGetBookmark(std::string& out) {
  out.resize(sizeof(std::uint32_t));
  base::StoreLE32(std::as_writable_bytes(std::span<char>(out.data(), out.size())), 0, record_);
}

bool XbaseRecordset::DoSetBookmark(std::string_view bytes) {
  if (bytes.size() != sizeof(std::uint32_t)) return false;
  const std::uint32_t record = base::LoadLE32(base::AsBytes(bytes), 0);
  return record >= 1 && record <= Last() && Take(record);
}

// --- Reading

void XbaseRecordset::ThrowUnreadable(std::size_t field, const std::string& why) {
  const std::string where = EditMode() == EditState::kNone
                                ? " of record " + std::to_string(record_)
                                : std::string(" of the record being edited");
  Throw(
      Code::kCorrupt, ErrorNumber::kCorrupt,
      "field '" + def().Fields[field].Name + "'" + where + " of table '" + def().Name + "' " + why);
}

void XbaseRecordset::MemoValue(std::size_t field, const std::string& raw, Value& out) {
  if (plans_[field].column->type != TypeCode::kMemo) {
    out = Value::Bytes(raw);
    return;
  }
  std::string_view text;
  if (!table_->page().ToAnsi(raw, texts_[field], text))
    ThrowUnreadable(field, "holds text in code page " + std::to_string(table_->page().number()) +
                               ", which is not supported");
  out = Value::Text(text);
}

void XbaseRecordset::ReadMemo(std::size_t field, base::ByteSpan row, Value& out) {
  std::uint32_t block = 0;
  std::string wrong = table_->codec().DecodeBlock(*plans_[field].column, row, block);
  if (wrong.empty() && block == 0) {
    out = Value::Null();
    return;
  }
  if (wrong.empty()) wrong = table_->memo()->Read(block, raws_[field]);
  if (!wrong.empty()) ThrowUnreadable(field, wrong);
  MemoValue(field, raws_[field], out);
}

void XbaseRecordset::DoReadField(std::size_t field, Value& out) {
  const FieldPlan& plan = plans_[field];
  const bool editing = EditMode() != EditState::kNone;
  if (!editing) RefreshRow();
  const base::ByteSpan row = editing ? edit_row_ : row_;
  if (plan.in_memo_file) {
    const PendingMemo& pending = memos_[field];
    if (!editing || !pending.set) return ReadMemo(field, row, out);
    if (!pending.null) return MemoValue(field, pending.raw, out);
    out = Value::Null();
    return;
  }
  if (table_->codec().Decode(*plan.column, row, texts_[field], out)) return;
  // The bytes are handed out with the failure, so that whoever reports it can show them.
  out = Value::Text(base::AsText(row.subspan(plan.column->offset, plan.column->bytes)));
  ThrowUnreadable(field, table_->codec().WhatIsWrong(*plan.column, row));
}

// --- Writing

void XbaseRecordset::BeginEdit() {
  for (PendingMemo& memo : memos_) memo.set = false;
}

void XbaseRecordset::DoAddNew() {
  if (blank_row_.empty()) {
    blank_row_.resize(table_->layout().record_bytes);
    table_->codec().Blank(blank_row_);
    edit_row_.resize(blank_row_.size());
  }
  std::copy(blank_row_.begin(), blank_row_.end(), edit_row_.begin());
  BeginEdit();
}

void XbaseRecordset::DoEdit() {
  RefreshRow();
  edit_row_ = row_;
  BeginEdit();
}

void XbaseRecordset::DoCancelUpdate() {
  BeginEdit();
}

XbaseRecordset::FieldPlan XbaseRecordset::PlanFor(const Column& column) noexcept {
  const auto bit = [](Kind kind) { return 1u << static_cast<unsigned>(kind); };
  FieldPlan plan;
  plan.column = &column;
  plan.in_memo_file = InMemoFile(column);
  if (column.auto_increment()) return plan;  // takes no value at all
  plan.natural = bit(Kind::kNull);
  switch (column.letter) {
    case 'N':
    case 'F':
      plan.natural |= bit(Kind::kDouble) | bit(Kind::kInteger) | bit(Kind::kCurrency);
      break;
    case 'L':
      plan.natural |= bit(Kind::kBoolean);
      break;
    case 'D':
    case 'T':
      plan.natural |= bit(Kind::kDateTime);
      break;
    case 'I':
      plan.natural |= bit(Kind::kInteger);
      break;
    case 'Y':
      plan.natural |= bit(Kind::kCurrency);
      break;
    default:
      if (column.type == TypeCode::kDouble) {
        plan.natural |= bit(Kind::kDouble);
      } else {
        plan.natural |= bit(values::IsBinary(column.type) ? Kind::kBytes : Kind::kText);
      }
  }
  return plan;
}

Status XbaseRecordset::DoWriteField(std::size_t field, const Value& value) {
  const FieldPlan& plan = plans_[field];
  if ((plan.natural >> static_cast<unsigned>(value.kind) & 1) == 0)
    return WriteConverted(field, value);
  if (plan.in_memo_file) return WriteMemo(field, value);
  std::size_t replaced = 0;
  Status encoded = table_->codec().Encode(*plan.column, value, edit_row_, texts_[field], replaced);
  if (replaced != 0 && encoded.ok()) CountReplacedCharacters(replaced);
  return encoded;
}

/// A value of another kind goes the way of its text, as everywhere in the engine.
Status XbaseRecordset::WriteConverted(std::size_t field, const Value& value) {
  if (plans_[field].column->auto_increment())
    return MakeStatus(
        Code::kReadOnly, ErrorNumber::kFieldNotUpdatable,
        "field '" + def().Fields[field].Name + "' is numbered by the table and takes no value");
  const values::ValueFormat& format = database().engine().Format();
  text_.clear();
  format.Append(value, text_);
  Value converted;
  KV_TRY(format.Parse(text_, def().Fields[field].Type, converted, digits_));
  return DoWriteField(field, converted);
}

Status XbaseRecordset::WriteMemo(std::size_t field, const Value& value) {
  const Column& column = *plans_[field].column;
  std::string_view raw = value.text;
  std::size_t replaced = 0;
  if (!value.IsNull()) {
    if (column.type == TypeCode::kMemo &&
        !table_->page().FromAnsi(value.text, texts_[field], raw, replaced))
      return MakeStatus(Code::kConversion, ErrorNumber::kConversion,
                        "field '" + column.name + "' is in code page " +
                            std::to_string(table_->page().number()) +
                            ", which is not supported; only ASCII can be stored");
    const std::string_view obstacle = MemoFile::Obstacle(table_->memo()->kind(), raw);
    if (!obstacle.empty())
      return MakeStatus(Code::kConversion, ErrorNumber::kConversion,
                        "field '" + column.name + "' " + std::string(obstacle));
  }
  PendingMemo& pending = memos_[field];
  pending.set = true;
  pending.null = raw.empty();  // an empty value takes no block, and reads as Null
  pending.raw.assign(raw);
  CountReplacedCharacters(replaced);
  return Status();
}

Status XbaseRecordset::DoUpdate() {
  changes_.clear();
  for (std::size_t i = 0; i < memos_.size(); ++i)
    if (memos_[i].set) changes_.push_back({plans_[i].column, memos_[i].null, memos_[i].raw});
  if (EditMode() == EditState::kAdd) {
    table_->Append(edit_row_, changes_, true);
  } else {
    table_->Rewrite(record_, edit_row_, changes_);
    row_ = edit_row_;
    row_changes_ = table_->changes();
  }
  BeginEdit();
  return Status();
}

void XbaseRecordset::DoDelete() {
  RefreshRow();
  table_->Delete(record_);
}

void XbaseRecordset::DoFlush() {
  table_->Flush();
}

void XbaseRecordset::DoClose() {
  const std::shared_ptr<Table> table = std::move(table_);
  if (Updatable()) table->Flush();
}

}  // namespace kelvorin::database::xbase
