#include "database/xbase/xbase_recordset.h"

#include "database/database.h"
#include "database/engine.h"

#include <algorithm>
#include <cstring>

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

/// One step in the index's order.
bool XbaseRecordset::StepInOrder(bool forward) {
  return forward != tag_->reversed() ? tag_->tree().Next(place_) : tag_->tree().Previous(place_);
}

/// Takes the record of the entry found, or of the next one whose record is to be seen.
bool XbaseRecordset::LandInOrder(bool found, bool forward) {
  for (; found; found = StepInOrder(forward)) {
    const std::uint32_t record = place_.record();
    if (record < 1 || record > table_->RecordCount())
      Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
            "index file '" + tag_->path() + "', tag '" + tag_->definition().name +
                "', names record " + std::to_string(record) + " of a table of " +
                std::to_string(table_->RecordCount()));
    if (Take(record)) return true;
  }
  return false;
}

/// Puts the place in the index where the current record is, or would be.
void XbaseRecordset::StandOnRecord() {
  if (tag_ == nullptr) return;
  seek_low_.resize(tag_->entry_bytes());
  tag_->MakeKey(row_, record_, seek_low_.data());
  base::StoreBE32(seek_low_, tag_->key_bytes(), record_);
  place_.StandAt(seek_low_);
}

bool XbaseRecordset::DoMoveFirst() {
  if (tag_ == nullptr) return ForwardFrom(1);
  return LandInOrder(tag_->reversed() ? tag_->tree().Last(place_) : tag_->tree().First(place_),
                     true);
}
bool XbaseRecordset::DoMoveLast() {
  if (tag_ == nullptr) return BackwardFrom(Last());
  return LandInOrder(tag_->reversed() ? tag_->tree().First(place_) : tag_->tree().Last(place_),
                     false);
}
bool XbaseRecordset::DoMoveNext() {
  if (tag_ != nullptr) return LandInOrder(StepInOrder(true), true);
  if (ForwardFrom(record_ + 1)) return true;
  // Whoever has read what is there must not take it for all.
  if (table_->MissingRecords() != 0)
    Throw(Code::kNoCurrentRecord, ErrorNumber::kCorrupt,
          "table '" + def().Name + "' claims " + std::to_string(table_->layout().record_count) +
              " records, but its file ends behind record " + std::to_string(table_->RecordCount()) +
              ": " + std::to_string(table_->MissingRecords()) + " are missing");
  return false;
}
bool XbaseRecordset::DoMovePrevious() {
  return tag_ == nullptr ? BackwardFrom(record_ - 1) : LandInOrder(StepInOrder(false), false);
}

bool XbaseRecordset::DoMove(std::int64_t rows) {
  if (tag_ != nullptr) {
    const bool forward = rows > 0;
    for (; rows != 0; rows -= forward ? 1 : -1)
      if (!LandInOrder(StepInOrder(forward), forward)) return false;
    return true;
  }
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
  if (record < 1 || record > Last() || !Take(record)) return false;
  StandOnRecord();
  return true;
}

// --- Index

void XbaseRecordset::DoSetIndex(const IndexDef* index) {
  if (index == nullptr) {
    tag_ = nullptr;
    return;
  }
  Tag* tag = table_->indexes().Find(index->Name);
  if (tag == nullptr)
    Throw(Code::kNotFound, ErrorNumber::kIndexNotFound,
          "table '" + def().Name + "' has no index '" + index->Name + "'");
  if (!tag->usable()) Throw(Code::kNotSupported, ErrorNumber::kNotSupported, tag->why_not());
  // What is looked up in an index that lacks records would be stored a second time.
  if (Updatable() && !trial()) {
    table_->FreshenIndexes();
  } else if (const Tag* stale = table_->FindStaleIndex(); stale != nullptr) {
    table_->notes().push_back(
        "tag '" + stale->definition().name + "' of index file '" + stale->path() +
        "' lacks records of its table, which are not found by it, or names others; the "
        "table's indexes are rebuilt before it is written");
  }
  TellNotes();
  tag_ = tag;
}

void XbaseRecordset::TellNotes() {
  for (const std::string& note : table_->notes()) database().engine().AddNotice(note);
  table_->notes().clear();
}

/// Makes the bounds of the entries that have the key; false when no record can have it.
bool XbaseRecordset::MakeSeekKey(SeekComparison comparison, std::span<const Value> keys) {
  const std::vector<KeyPart>& parts = tag_->parts();
  const bool exact = comparison == SeekComparison::kEqual;
  seek_row_.resize(table_->layout().record_bytes);
  table_->codec().Blank(seek_row_);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::size_t field = parts[i].column;
    const FieldPlan& plan = plans_[field];
    Value converted;
    const Value* value = &keys[i];
    std::size_t replaced = 0;
    Status made;
    if (!plan.natural.Has(value->kind)) {
      made = ConvertByText(field, *value, converted);
      value = &converted;
    }
    if (made.ok())
      made = table_->codec().Encode(*plan.column, *value, seek_row_, texts_[field], replaced);
    if (exact && (!made.ok() || replaced != 0)) return false;  // no field can hold it
    if (!made.ok()) throw Error(made);
  }
  const std::size_t prefix = tag_->PrefixBytes(keys.size());
  seek_low_.resize(tag_->key_bytes());
  tag_->MakeKey(seek_row_, 0, seek_low_.data());
  seek_high_ = seek_low_;
  constexpr double kHalfSecond = 0.5 / 86400;  // programs differ in a time's last bits
  if (tag_->Shift(seek_low_.data(), -kHalfSecond))
    (void)tag_->Shift(seek_high_.data(), kHalfSecond);
  seek_low_.resize(prefix);
  seek_high_.resize(prefix);
  return true;
}

bool XbaseRecordset::DoSeek(SeekComparison comparison, std::span<const Value> keys) {
  if (!MakeSeekKey(comparison, keys)) return false;
  using enum SeekComparison;
  const std::size_t prefix = seek_low_.size();
  seek_high_.resize(tag_->entry_bytes(), std::byte{0xFF});
  IndexTree& tree = tag_->tree();
  // What is greater comes later in the index's order, which may be the tree's from its end.
  const bool reversed = tag_->reversed();
  const bool to_first =
      comparison == kEqual || comparison == kGreaterEqual || comparison == kGreater;
  const bool beyond = comparison == kGreater || comparison == kLess;
  bool found = false;
  if (to_first != reversed) {
    found = tree.Find(beyond ? seek_high_ : seek_low_, place_);
  } else {
    found = tree.FindBefore(beyond ? seek_low_ : seek_high_, place_);
  }
  if (comparison != kEqual) return LandInOrder(found, to_first);
  for (; found; found = StepInOrder(true)) {
    const base::ByteSpan key = place_.entry().first(prefix);
    if (std::memcmp(key.data(), seek_low_.data(), prefix) < 0 ||
        std::memcmp(key.data(), seek_high_.data(), prefix) > 0)
      return false;
    const std::uint32_t record = place_.record();
    if (record < 1 || record > table_->RecordCount()) return LandInOrder(true, true);
    if (Take(record)) return true;
  }
  return false;
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
  const std::size_t before = table_->page().unreadable();
  ReadValue(field, out);
  CountUnreadableCharacters(table_->page().unreadable() - before);
}

void XbaseRecordset::ReadValue(std::size_t field, Value& out) {
  const FieldPlan& plan = plans_[field];
  const bool editing = EditMode() != EditState::kNone;
  if (!editing) RefreshRow();
  const base::ByteSpan row = editing ? edit_row_ : row_;
  if (plan.in_memo_file) {
    const folder::PendingValue& pending = memos_[field];
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
  for (folder::PendingValue& memo : memos_) memo.set = false;
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
  using enum Kind;
  FieldPlan plan;
  plan.column = &column;
  plan.in_memo_file = InMemoFile(column);
  switch (column.letter) {
    case 'N':
    case 'F':
      plan.natural = {kNull, kDouble, kInteger, kCurrency};
      break;
    case 'L':
      plan.natural = {kNull, kBoolean};
      break;
    case 'D':
    case 'T':
      plan.natural = {kNull, kDateTime};
      break;
    case 'I':
      plan.natural = {kNull, kInteger};
      break;
    case 'Y':
      plan.natural = {kNull, kCurrency};
      break;
    default:
      if (column.type == TypeCode::kDouble) {
        plan.natural = {kNull, kDouble};
      } else if (values::IsBinary(column.type)) {
        plan.natural = {kNull, kBytes};
      } else {
        plan.natural = {kNull, kText};
      }
  }
  return plan;
}

Status XbaseRecordset::DoWriteField(std::size_t field, const Value& value) {
  const FieldPlan& plan = plans_[field];
  if (plan.column->auto_increment()) return RefuseNumbered(field);
  if (!plan.natural.Has(value.kind)) {
    Value converted;
    KV_TRY(ConvertByText(field, value, converted));
    return DoWriteField(field, converted);
  }
  if (plan.in_memo_file) return WriteMemo(field, value);
  std::size_t replaced = 0;
  Status encoded = table_->codec().Encode(*plan.column, value, edit_row_, texts_[field], replaced);
  if (replaced != 0 && encoded.ok()) CountReplacedCharacters(replaced);
  return encoded;
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
  folder::PendingValue& pending = memos_[field];
  pending.set = true;
  pending.null = raw.empty();  // an empty value takes no block, and reads as Null
  pending.raw.assign(raw);
  CountReplacedCharacters(replaced);
  return Status();
}

Status XbaseRecordset::DoUpdate() {
  table_->FreshenIndexes();
  TellNotes();
  changes_.clear();
  for (std::size_t i = 0; i < memos_.size(); ++i)
    if (memos_[i].set) changes_.push_back({plans_[i].column, memos_[i].null, memos_[i].raw});
  if (EditMode() == EditState::kAdd) {
    Status stored = table_->Append(edit_row_, changes_, true);
    BeginEdit();
    return stored;
  } else {
    KV_TRY(table_->Rewrite(record_, edit_row_, changes_));
    row_ = edit_row_;
    row_changes_ = table_->changes();
    StandOnRecord();
  }
  BeginEdit();
  return Status();
}

void XbaseRecordset::DoDelete() {
  RefreshRow();
  table_->FreshenIndexes();
  TellNotes();
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
