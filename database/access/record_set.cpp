#include "database/access/record_set.h"

#include "base/case_map.h"
#include "database/access/field_codec.h"
#include "database/access/long_values.h"
#include "database/access/sort_keys.h"

namespace kelvorin::database::access {

AccessRecordset::AccessRecordset(Database& owner, RecordsetType type, TableDef described,
                                 std::shared_ptr<DatabaseFile> file, std::shared_ptr<Table> table,
                                 const std::vector<FieldProperties>& properties)
    : Recordset(owner, type, std::move(described)),
      file_(std::move(file)),
      table_(std::move(table)),
      pending_(table_->definition().columns.size()),
      texts_(table_->definition().columns.size()),
      defaults_(table_->definition().columns.size()) {
  bool random = false;
  for (const FieldProperties& known : properties) {
    const auto column = table_->definition().FindColumn(known.name);
    if (!column) continue;
    defaults_[*column] = UnderstandDefault(known.default_value);
    random = random || (defaults_[*column].kind == DefaultPlan::Kind::kRandom &&
                        table_->definition().columns[*column].counter() &&
                        table_->definition().columns[*column].type == ColumnType::kLong);
    // Only counters are numbered at random.
    if (defaults_[*column].kind == DefaultPlan::Kind::kRandom &&
        !table_->definition().columns[*column].counter())
      defaults_[*column].kind = DefaultPlan::Kind::kUnknown;
  }
  table_->set_random_counters(random);
}

// --- Moving

bool AccessRecordset::LandOnRow(RowId row) {
  if (!row) return false;
  if (!table_->rows().Read(row, image_))
    file_->channel().Corrupt(row.page(), "row " + std::to_string(row.slot()) +
                                             " is in the index of table '" + table_->name() +
                                             "' but does not exist");
  at_ = row;
  image_changes_ = file_->channel().changes();
  return true;
}

bool AccessRecordset::LandOnEntry(bool found) {
  if (!found || !LandOnRow(RowOf(found_))) return false;
  entry_.swap(found_);
  return true;
}

bool AccessRecordset::DoMoveFirst() {
  if (index_ == nullptr) return LandOnRow(table_->rows().Next({}));
  return LandOnEntry(table_->Tree(*index_).Find({}, false, place_, found_));
}

bool AccessRecordset::DoMoveLast() {
  if (index_ == nullptr) return LandOnRow(table_->rows().Previous({}));
  place_ = {};
  return LandOnEntry(table_->Tree(*index_).Last(found_));
}

bool AccessRecordset::DoMoveNext() {
  if (index_ == nullptr) return LandOnRow(table_->rows().Next(at_));
  const IndexTree tree = table_->Tree(*index_);
  if (place_.page && place_.changes == file_->channel().changes())
    return LandOnEntry(tree.Next(place_, found_));
  return LandOnEntry(tree.Find(entry_, true, place_, found_));
}

bool AccessRecordset::DoMovePrevious() {
  if (index_ == nullptr) return LandOnRow(table_->rows().Previous(at_));
  place_ = {};
  return LandOnEntry(table_->Tree(*index_).FindBefore(entry_, found_));
}

std::int64_t AccessRecordset::DoRecordCount() {
  return table_->rows().Count();
}

void AccessRecordset::DoGetBookmark(std::string& out) {
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(at_.value >> shift & 0xFF);
}

bool AccessRecordset::DoSetBookmark(std::string_view bytes) {
  if (bytes.size() != 4) return false;
  const RowId row{base::LoadBE32(base::AsBytes(bytes), 0)};
  if (!row || row.page() >= file_->channel().page_count()) return false;
  RowImage image;
  if (!table_->rows().Read(row, image)) return false;
  LandOnRow(row);
  MakeEntry();
  return true;
}

void AccessRecordset::MakeEntry() {
  place_ = {};
  if (index_ == nullptr) return;
  table_->Load(image_, loaded_);
  table_->MakeKey(*index_, loaded_, key_);
  entry_ = key_.bytes;
  AppendPosition(at_, entry_);
}

// --- Index

void AccessRecordset::DoSetIndex(const IndexDef* index) {
  place_ = {};
  index_ = nullptr;
  if (index == nullptr) return;
  const TableDefinition& definition = table_->definition();
  for (const LogicalIndex& name : definition.names) {
    if (!base::EqualAnyCase(name.name, index->Name)) continue;
    index_ = &definition.indexes[name.physical];
    return;
  }
  Throw(Code::kNotFound, ErrorNumber::kIndexNotFound,
        "table '" + table_->name() + "' has no index '" + index->Name + "'");
}

bool AccessRecordset::DoSeek(SeekComparison comparison, std::span<const Value> keys) {
  const TableDefinition& definition = table_->definition();
  if (!Table::Searchable(definition, *index_))
    Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
          "index '" + Index() + "' of table '" + table_->name() +
              "' sorts by an order that is not known; Seek cannot use it");
  std::string& key = key_.bytes;
  key.clear();
  std::size_t replaced = 0;
  for (std::size_t i = 0; i < keys.size() && i < index_->columns.size(); ++i) {
    const KeyColumn& part = index_->columns[i];
    const Column& column = definition.columns[part.column];
    const Status written =
        WriteStored(file_->layout(), column, keys[i], file_->text(), true, incoming_, replaced);
    if (!written.ok()) throw Error(written);
    std::optional<base::ByteSpan> stored;
    if (!incoming_.null || column.is_bit()) stored = base::AsBytes(incoming_.bytes);
    AppendKey(file_->version(), column, part.ascending, stored, file_->text(), key);
  }
  const bool whole = keys.size() >= index_->columns.size();
  // Behind every entry that begins with the key: no code begins with a byte of all ones but Null
  // of a descending field, which is a whole field by itself.
  const auto begins = [&](const std::string& entry) {
    return entry.compare(0, key.size(), key) == 0 &&
           (!whole || entry.size() == key.size() + kPositionBytes);
  };
  std::string& behind = behind_;
  behind = key;
  behind.append(kPositionBytes + 1, '\xFF');
  const IndexTree tree = table_->Tree(*index_);
  bool found = false;
  switch (comparison) {
    case SeekComparison::kEqual:
      found = tree.Find(key, false, place_, found_) && begins(found_);
      break;
    case SeekComparison::kGreaterEqual:
      found = tree.Find(key, false, place_, found_);
      break;
    case SeekComparison::kGreater:
      found = tree.Find(behind, false, place_, found_);
      while (found && begins(found_)) found = tree.Next(place_, found_);
      break;
    case SeekComparison::kLessEqual: {
      IndexTree::Place end;
      std::string next;
      bool more = tree.Find(behind, false, end, next);
      while (more && begins(next)) more = tree.Next(end, next);
      found = more ? tree.FindBefore(next, found_) : tree.Last(found_);
      place_ = {};
      break;
    }
    case SeekComparison::kLess:
      found = tree.FindBefore(key, found_);
      place_ = {};
      break;
  }
  return LandOnEntry(found);
}

// --- Fields

void AccessRecordset::Refresh() {
  if (image_changes_ == file_->channel().changes()) return;
  if (!table_->rows().Read(at_, image_))
    Throw(Code::kNoCurrentRecord, ErrorNumber::kRecordDeleted,
          "the current record of table '" + table_->name() + "' was deleted");
  image_changes_ = file_->channel().changes();
}

void AccessRecordset::DoReadField(std::size_t field, Value& out) {
  const std::size_t before = file_->text().unreadable();
  ReadValue(field, out);
  CountUnreadableCharacters(file_->text().unreadable() - before);
}

void AccessRecordset::ReadValue(std::size_t field, Value& out) {
  const Column& column = table_->definition().columns[field];
  base::ByteSpan stored;
  if (EditMode() != EditState::kNone && pending_[field].assigned) {
    const ColumnValue& value = pending_[field];
    if (column.is_bit()) {
      out = Value::Boolean(!value.bytes.empty() && value.bytes[0] != 0);
      return;
    }
    if (value.null) {
      out = Value::Null();
      return;
    }
    stored = base::AsBytes(value.bytes);
  } else {
    Refresh();
    if (column.is_bit()) {
      out = Value::Boolean(image_.Bit(column));
      return;
    }
    bool damaged = false;
    const auto bytes = image_.Get(column, damaged);
    if (damaged)
      file_->channel().Corrupt(at_.page(), "field '" + column.name + "' of row " +
                                               std::to_string(at_.slot()) + " lies outside it");
    if (!bytes) {
      out = Value::Null();
      return;
    }
    stored = *bytes;
    if (IsLongValue(column.type)) {
      contents_.clear();
      ReadLongValue(file_->channel(), stored, contents_);
      stored = base::AsBytes(contents_);
    }
  }
  const Status read = ReadStored(column, stored, file_->text(), out, texts_[field]);
  if (!read.ok()) throw Error(read);
}

Status AccessRecordset::DoWriteField(std::size_t field, const Value& value) {
  std::size_t replaced = 0;
  const Column& column = table_->definition().columns[field];
  KV_TRY(WriteStored(file_->layout(), column, value, file_->text(), false, incoming_, replaced));
  incoming_.assigned = true;
  incoming_.placed = false;
  std::swap(pending_[field], incoming_);
  CountReplacedCharacters(replaced);
  return Status();
}

// --- Writing

void AccessRecordset::DoAddNew() {
  const TableDefinition& definition = table_->definition();
  for (std::size_t i = 0; i < pending_.size(); ++i) {
    ColumnValue& value = pending_[i];
    value.assigned = false;
    value.placed = false;
    value.null = !definition.columns[i].is_bit();
    value.bytes.assign(value.null ? 0 : 1, '\0');
  }
}

void AccessRecordset::DoEdit() {
  Refresh();
  for (ColumnValue& value : pending_) value.assigned = false;
}

Status AccessRecordset::ApplyDefaults() {
  std::size_t replaced = 0;
  Value value;
  for (std::size_t i = 0; i < pending_.size(); ++i) {
    if (pending_[i].assigned || defaults_[i].kind == DefaultPlan::Kind::kNone ||
        defaults_[i].kind == DefaultPlan::Kind::kRandom)
      continue;
    const Column& column = table_->definition().columns[i];
    Status made = EvaluateDefault(defaults_[i], TypeCodeOf(column), value, contents_);
    if (made.ok())
      made =
          WriteStored(file_->layout(), column, value, file_->text(), false, pending_[i], replaced);
    if (!made.ok())
      return MakeStatus(made.code(), ErrorNumber::kNotSupported,
                        "field '" + column.name + "' of table '" + table_->name() +
                            "' was not assigned and " + std::string(made.message()));
    pending_[i].placed = false;
  }
  return Status();
}

Status AccessRecordset::DoUpdate() {
  if (EditMode() == EditState::kAdd) {
    KV_TRY(ApplyDefaults());
    RowId stored;
    return table_->Insert(pending_, stored);
  }
  KV_TRY(table_->Update(at_, pending_));
  image_changes_ = 0;
  Refresh();
  MakeEntry();
  return Status();
}

void AccessRecordset::DoDelete() {
  const Status deleted = table_->Delete(at_);
  if (!deleted.ok()) throw Error(deleted);
}

void AccessRecordset::DoFlush() {
  if (!file_->channel().read_only()) file_->channel().store().Flush();
}

void AccessRecordset::DoClose() {
  place_ = {};
  DoFlush();
  table_ = nullptr;
  file_ = nullptr;
}

}  // namespace kelvorin::database::access
