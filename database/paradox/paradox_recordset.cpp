#include "database/paradox/paradox_recordset.h"

#include "database/database.h"
#include "database/engine.h"

#include <algorithm>
#include <limits>

namespace kelvorin::database::paradox {
namespace {

using values::Kind;

constexpr std::size_t kTraceBytes = 12;
constexpr std::size_t kGraphicHead = 8;
constexpr std::string_view kGraphicMark("\x01\0\0\x01", 4);

}  // namespace

ParadoxRecordset::ParadoxRecordset(Database& owner, RecordsetType type, TableDef described,
                                   std::shared_ptr<Table> table)
    : Recordset(owner, type, std::move(described)),
      table_(std::move(table)),
      row_(table_->header().record_bytes),
      edit_row_(row_.size()),
      texts_(table_->columns().size()) {
  bool any_blob = false;
  for (const Column& column : table_->columns()) {
    plans_.push_back(PlanFor(column));
    any_blob = any_blob || plans_.back().blob;
  }
  if (!any_blob) return;
  raws_.resize(texts_.size());
  blobs_.resize(texts_.size());
}

// --- Moving. The set goes on by the key it stood on, so that it neither skips nor repeats records
// when others come, go and change their places.

bool ParadoxRecordset::Take(Place at) {
  if (!at) return false;
  const base::ByteSpan stored = table_->data().View(at);
  std::copy(stored.begin(), stored.end(), row_.begin());
  trace_ = table_->TraceOf(at);
  row_changes_ = table_->changes();
  place_moves_ = walk_moves_ = table_->moves();
  if (index_ == nullptr && table_->keyed()) RememberOrder();
  return true;
}

void ParadoxRecordset::RememberOrder() {
  if (index_ != nullptr) {
    index_->MakeEntry(row_, 0, order_);
  } else {
    order_.assign(row_.begin(),
                  row_.begin() + static_cast<std::ptrdiff_t>(table_->data().order().bytes()));
  }
}

/// The record an entry stands for: where the hint says, else by its primary key.
Place ParadoxRecordset::RecordOfEntry(base::ByteSpan entry) {
  key_.assign(entry.begin(), entry.end());
  const base::ByteSpan key = index_->PrimaryKeyOf(key_);
  RecordFile& data = table_->data();
  // A hint saves the way through the chain where there is no primary index to go by.
  Place at;
  if (!data.tree_is_current()) at = data.FindInBlock(index_->HintOf(key_), key.data());
  if (!at) at = data.Find(key.data(), key.size());
  if (!at)
    index_->file().blocks().Damaged(entry_.block,
                                    "it holds an entry for a record that is not in "
                                    "table '" +
                                        table_->path() + "'");
  return at;
}

bool ParadoxRecordset::TakeEntry(Place entry) {
  if (!entry) return false;
  entry_ = entry;
  if (!Take(RecordOfEntry(index_->file().View(entry)))) return false;
  entry_ = entry;
  RememberOrder();
  return true;
}

/// Reads the current record again when somebody may have changed or moved it.
void ParadoxRecordset::Refresh() {
  if (row_changes_ == table_->changes() && place_moves_ == table_->moves()) return;
  bool there = true;
  Trace now = trace_;
  if (!table_->keyed()) {
    there = table_->Follow(now);
  } else if (place_moves_ != table_->moves()) {
    now.place = table_->data().Find(row_.data(), table_->data().order().bytes());
    there = static_cast<bool>(now.place);
  }
  if (!there)
    Throw(Code::kNoCurrentRecord, ErrorNumber::kRecordDeleted,
          "the current record of table '" + def().Name + "' was deleted");
  trace_ = now;
  const base::ByteSpan stored = table_->data().View(trace_.place);
  std::copy(stored.begin(), stored.end(), row_.begin());
  row_changes_ = table_->changes();
  place_moves_ = table_->moves();
}

bool ParadoxRecordset::DoMoveFirst() {
  return Found(Order().blocks().First());
}
bool ParadoxRecordset::DoMoveLast() {
  return Found(Order().blocks().Last());
}

bool ParadoxRecordset::DoMoveNext() {
  RecordFile& order = Order();
  if (!order.sorted()) {
    const bool there = table_->Follow(trace_);
    if (!there) return Take(trace_.place);
    return Take(order.blocks().Next(trace_.place));
  }
  if (walk_moves_ == table_->moves())
    return Found(order.blocks().Next(index_ != nullptr ? entry_ : trace_.place));
  return Found(order.Bound(order_.data(), order.order().bytes(), true));
}

bool ParadoxRecordset::DoMovePrevious() {
  RecordFile& order = Order();
  if (!order.sorted()) {
    (void)table_->Follow(trace_);
    return Take(trace_.place ? order.blocks().Previous(trace_.place) : order.blocks().Last());
  }
  if (walk_moves_ == table_->moves())
    return Found(order.blocks().Previous(index_ != nullptr ? entry_ : trace_.place));
  return Found(order.BoundBefore(order_.data(), order.order().bytes(), false));
}

std::int64_t ParadoxRecordset::DoRecordCount() {
  return table_->RecordCount();
}

void ParadoxRecordset::DoGetBookmark(std::string& out) {
  if (table_->keyed()) {
    out.assign(base::AsText(base::ByteSpan(row_).first(table_->data().order().bytes())));
    return;
  }
  Refresh();
  out.resize(kTraceBytes);
  const auto bytes = std::as_writable_bytes(std::span<char>(out.data(), out.size()));
  base::StoreLE16(bytes, 0, trace_.place.block);
  base::StoreLE16(bytes, 2, trace_.place.slot);
  base::StoreLE64(bytes, 4, trace_.seen);
}

bool ParadoxRecordset::DoSetBookmark(std::string_view text) {
  const base::ByteSpan bytes = base::AsBytes(text);
  if (table_->keyed()) {
    if (bytes.size() != table_->data().order().bytes()) return false;
    return TakeByKey(bytes.data());
  }
  if (bytes.size() != kTraceBytes) return false;
  Trace trace{{base::LoadLE16(bytes, 0), base::LoadLE16(bytes, 2)}, base::LoadLE64(bytes, 4)};
  return table_->Follow(trace) && Take(trace.place);
}

bool ParadoxRecordset::TakeByKey(const std::byte* key) {
  const Place at = table_->data().Find(key, table_->data().order().bytes());
  if (!at) return false;
  if (index_ == nullptr) return Take(at);
  const base::ByteSpan row = table_->data().View(at);
  index_->MakeEntry(row, 0, key_row_);
  return TakeEntry(index_->file().Find(key_row_.data(), index_->key_bytes()));
}

// --- Index

void ParadoxRecordset::DoSetIndex(const IndexDef* index) {
  index_ = nullptr;
  primary_ = index != nullptr && index->Primary;
  if (index == nullptr || primary_) return;
  for (SecondaryIndex& known : table_->indexes())
    if (known.def().Name == index->Name) index_ = &known;
  if (index_ == nullptr)
    Throw(Code::kNotFound, ErrorNumber::kIndexNotFound,
          "table '" + def().Name + "' has no index '" + index->Name + "'");
  table_->RequireCurrent(*index_);
}

/// Makes `key_row_` a record that holds the values, `key_` their bytes as the order has them.
Status ParadoxRecordset::EncodeKeys(std::span<const Value> keys, std::size_t& count) {
  key_row_.assign(row_.size(), std::byte{0});
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::size_t field = index_ != nullptr ? index_->fields()[i] : i;
    const Column& column = table_->columns()[field];
    std::size_t replaced = 0;
    Value value = keys[i];
    const bool natural = column.kind == FieldKind::kAutoIncrement
                             ? value.kind == Kind::kInteger
                             : plans_[field].natural.Has(value.kind);
    if (!value.IsNull() && !natural) KV_TRY(ConvertByText(field, keys[i], value));
    KV_TRY(table_->codec().Encode(column, value, key_row_, texts_[field], replaced));
    // A key that the table's page cannot hold is no other key.
    if (replaced != 0)
      return MakeStatus(Code::kConversion, ErrorNumber::kConversion,
                        "field '" + column.name + "' cannot hold this key");
  }
  if (index_ != nullptr) {
    index_->MakeKey(key_row_, keys.size(), key_);
    count = key_.size();
  } else {
    count = table_->header().BytesOf(keys.size());
    key_.assign(key_row_.begin(), key_row_.begin() + static_cast<std::ptrdiff_t>(count));
  }
  return Status();
}

/// In an order that is not known a tree may lead astray: every record is asked.
Place ParadoxRecordset::SeekByScan(std::size_t count) {
  RecordFile& order = Order();
  for (Place at = order.blocks().First(); at; at = order.blocks().Next(at))
    if (order.Matches(at, key_.data(), count)) return at;
  return {};
}

bool ParadoxRecordset::DoSeek(SeekComparison comparison, std::span<const Value> keys) {
  std::size_t count = 0;
  const Status encoded = EncodeKeys(keys, count);
  if (!encoded.ok()) {
    // What a field cannot hold is in no record; only an order can still be asked.
    if (comparison == SeekComparison::kEqual) return false;
    throw Error(encoded);
  }
  const std::vector<std::byte> key = key_;
  RecordFile& order = Order();
  switch (comparison) {
    case SeekComparison::kEqual: {
      Place at = order.Find(key.data(), count);
      if (!at && !table_->order_is_known()) at = SeekByScan(count);
      return Found(at);
    }
    case SeekComparison::kGreaterEqual:
      return Found(order.Bound(key.data(), count, false));
    case SeekComparison::kGreater:
      return Found(order.Bound(key.data(), count, true));
    case SeekComparison::kLessEqual:
      return Found(order.BoundBefore(key.data(), count, true));
    case SeekComparison::kLess:
      return Found(order.BoundBefore(key.data(), count, false));
  }
  return false;
}

// --- Reading

void ParadoxRecordset::ThrowUnreadable(std::size_t field, const std::string& why) {
  Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
        "field '" + def().Fields[field].Name + "' of a record in block " +
            std::to_string(trace_.place.block) + " of table '" + def().Name + "' " + why);
}

void ParadoxRecordset::BlobValue(std::size_t field, const std::string& raw, Value& out) {
  if (plans_[field].column->kind != FieldKind::kMemo) {
    out = Value::Bytes(raw);
    return;
  }
  std::string_view text;
  if (!table_->page().ToAnsi(raw, texts_[field], text))
    ThrowUnreadable(field, "holds text in code page " + std::to_string(table_->page().number()) +
                               ", which is not supported");
  out = Value::Text(text);
}

void ParadoxRecordset::ReadBlob(std::size_t field, base::ByteSpan row, Value& out) {
  if (table_->ReadBlob(*plans_[field].column, row, raws_[field])) {
    BlobValue(field, raws_[field], out);
  } else {
    out = Value::Null();
  }
}

void ParadoxRecordset::ReadLong(std::size_t field, base::ByteSpan row, bool editing, Value& out) {
  const folder::PendingValue& pending = blobs_[field];
  if (!editing || !pending.set) return ReadBlob(field, row, out);
  if (!pending.null) return BlobValue(field, pending.raw, out);
  out = Value::Null();
}

void ParadoxRecordset::DoReadField(std::size_t field, Value& out) {
  const FieldPlan& plan = plans_[field];
  const bool editing = EditMode() != EditState::kNone;
  if (!editing) Refresh();
  const base::ByteSpan row = editing ? edit_row_ : row_;
  const std::size_t before = table_->page().unreadable();
  if (plan.blob) {
    ReadLong(field, row, editing, out);
  } else if (!table_->codec().Decode(*plan.column, row, texts_[field], out)) {
    ThrowUnreadable(field, table_->codec().WhatIsWrong(*plan.column, row));
  }
  CountUnreadableCharacters(table_->page().unreadable() - before);
}

// --- Writing

ParadoxRecordset::FieldPlan ParadoxRecordset::PlanFor(const Column& column) noexcept {
  using enum Kind;
  FieldPlan plan;
  plan.column = &column;
  plan.blob = IsBlob(column.kind);
  switch (column.kind) {
    case FieldKind::kAutoIncrement:  // takes no value at all
      break;
    case FieldKind::kAlpha:
    case FieldKind::kMemo:
      plan.natural = {kNull, kText};
      break;
    case FieldKind::kShort:
    case FieldKind::kLong:
      plan.natural = {kNull, kInteger};
      break;
    case FieldKind::kMoney:
    case FieldKind::kNumber:
    case FieldKind::kBcd:
      plan.natural = {kNull, kDouble, kInteger, kCurrency};
      break;
    case FieldKind::kLogical:
      plan.natural = {kNull, kBoolean};
      break;
    case FieldKind::kDate:
    case FieldKind::kTime:
    case FieldKind::kTimestamp:
      plan.natural = {kNull, kDateTime};
      break;
    default:
      plan.natural = {kNull, kBytes};
  }
  return plan;
}

void ParadoxRecordset::BeginEdit() {
  for (folder::PendingValue& blob : blobs_) blob.set = false;
}

void ParadoxRecordset::DoAddNew() {
  std::fill(edit_row_.begin(), edit_row_.end(), std::byte{0});
  BeginEdit();
}

void ParadoxRecordset::DoEdit() {
  Refresh();
  edit_row_ = row_;
  BeginEdit();
}

void ParadoxRecordset::DoCancelUpdate() {
  BeginEdit();
}

Status ParadoxRecordset::DoWriteField(std::size_t field, const Value& value) {
  const FieldPlan& plan = plans_[field];
  if (!plan.natural.Has(value.kind)) {
    if (plan.column->kind == FieldKind::kAutoIncrement) return RefuseNumbered(field);
    Value converted;
    KV_TRY(ConvertByText(field, value, converted));
    return DoWriteField(field, converted);
  }
  if (plan.blob) return WriteBlob(field, value);
  std::size_t replaced = 0;
  Status encoded = table_->codec().Encode(*plan.column, value, edit_row_, texts_[field], replaced);
  if (replaced != 0 && encoded.ok()) CountReplacedCharacters(replaced);
  return encoded;
}

Status ParadoxRecordset::WriteBlob(std::size_t field, const Value& value) {
  const Column& column = *plans_[field].column;
  std::string_view raw = value.IsNull() ? std::string_view() : value.text;
  std::size_t replaced = 0;
  if (column.kind == FieldKind::kMemo &&
      !table_->page().FromAnsi(raw, texts_[field], raw, replaced))
    return MakeStatus(Code::kConversion, ErrorNumber::kConversion,
                      "field '" + column.name + "' is in code page " +
                          std::to_string(table_->page().number()) +
                          ", which is not supported; only ASCII can be stored");
  if (raw.size() > std::numeric_limits<std::uint32_t>::max() / 2)
    return MakeStatus(
        Code::kTooLong, ErrorNumber::kFieldTooSmall,
        "field '" + column.name + "' cannot hold " + std::to_string(raw.size()) + " bytes");
  folder::PendingValue& pending = blobs_[field];
  pending.set = true;
  pending.null = raw.empty();  // length zero is how the format says Null
  pending.raw.clear();
  // A picture stands behind a head that tells its length; one that comes without it gets it.
  const bool has_head = raw.size() >= kGraphicHead && raw.substr(0, 4) == kGraphicMark &&
                        base::LoadLE32(base::AsBytes(raw), 4) == raw.size() - kGraphicHead;
  if (column.kind == FieldKind::kGraphic && !raw.empty() && !has_head) {
    pending.raw.assign(kGraphicMark);
    pending.raw.resize(kGraphicHead);
    base::StoreLE32(std::as_writable_bytes(std::span<char>(pending.raw.data(), pending.raw.size())),
                    4, static_cast<std::uint32_t>(raw.size()));
  }
  pending.raw.append(raw);
  CountReplacedCharacters(replaced);
  return Status();
}

Status ParadoxRecordset::DoUpdate() {
  changes_.clear();
  for (std::size_t i = 0; i < blobs_.size(); ++i)
    if (blobs_[i].set) changes_.push_back({plans_[i].column, blobs_[i].null, blobs_[i].raw});
  if (EditMode() == EditState::kAdd) {
    Place ignored;
    return table_->Append(edit_row_, changes_, true, ignored);
  }
  Refresh();
  Place at = trace_.place;
  KV_TRY(table_->Rewrite(at, edit_row_, changes_));
  // The set goes on from where the record stood before, whatever its key is now.
  row_ = edit_row_;
  trace_ = table_->TraceOf(at);
  row_changes_ = table_->changes();
  place_moves_ = table_->moves();
  return Status();
}

void ParadoxRecordset::DoDelete() {
  Refresh();
  table_->Delete(trace_.place);
}

void ParadoxRecordset::DoFlush() {
  if (!table_->store().read_only()) table_->Flush();
}

void ParadoxRecordset::DoClose() {
  index_ = nullptr;
  const std::shared_ptr<Table> table = std::move(table_);
  if (!table->store().read_only()) table->Flush();
}

}  // namespace kelvorin::database::paradox
