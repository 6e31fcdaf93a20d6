#include "database/api/recordset.h"

#include "database/api/database.h"
#include "database/api/engine.h"
#include "database/api/wall.h"

#include <algorithm>
#include <array>

namespace kelvorin::database {
namespace {

constexpr std::size_t kMaxSeekKeys = 16;

Status NoCurrentRecord(const TableDef& def) {
  return MakeStatus(Code::kNoCurrentRecord, ErrorNumber::kNoCurrentRecord,
                    "there is no current record in table '" + def.Name + "'");
}

[[noreturn]] void Unsupported(const TableDef& def, const char* what) {
  Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
        std::string(what) + " is not supported for table '" + def.Name + "'");
}

}  // namespace

Result<SeekComparison> ParseSeekComparison(std::string_view text) {
  if (text == "=") return SeekComparison::kEqual;
  if (text == ">=") return SeekComparison::kGreaterEqual;
  if (text == ">") return SeekComparison::kGreater;
  if (text == "<=") return SeekComparison::kLessEqual;
  if (text == "<") return SeekComparison::kLess;
  return MakeStatus(Code::kInvalidArgument, ErrorNumber::kInvalidArgument,
                    "'" + std::string(text) + "' is no comparison for Seek");
}

// --- Field

const FieldDef& Field::Def() const noexcept {
  return owner_->def_.Fields[index_];
}
Status Field::GetValue(Value& out) const noexcept {
  return owner_->ReadField(index_, out);
}
Status Field::SetValue(const Value& value) noexcept {
  return owner_->WriteField(index_, value);
}
Status Field::SetText(std::string_view text) noexcept {
  return owner_->WriteText(index_, text);
}

Status Field::GetText(std::string& out, bool& is_null) const noexcept {
  Value value;
  KV_TRY(owner_->ReadField(index_, value));
  is_null = value.IsNull();
  return Guarded(owner_->database_->engine(), [&] {
    if (value.kind == values::Kind::kText) {
      out.assign(value.text);
    } else {
      out.clear();
      owner_->database_->engine().Format().Append(value, out);
    }
  });
}

// --- Recordset: state

Recordset::Recordset(Database& database, RecordsetType type, TableDef def)
    : database_(&database), type_(type), def_(std::move(def)), assigned_(def_.Fields.size()) {
  for (std::size_t i = 0; i < def_.Fields.size(); ++i)
    if (def_.Fields[i].Required) required_.push_back(i);
}

Status Recordset::Fail(Status status) noexcept {
  database_->engine().NoteFailure(status);
  return status;
}

template <typename F>
Status Recordset::Guarded(F&& call) noexcept {
  return database::Guarded(database_->engine(), std::forward<F>(call));
}

Status Recordset::CheckOpen() noexcept {
  if (open_) return Status();
  return Fail(MakeStatus(Code::kInvalidArgument, ErrorNumber::kObjectInvalid,
                         "the record set on table '" + def_.Name + "' was closed"));
}

Status Recordset::CheckCurrent() noexcept {
  KV_TRY(CheckOpen());
  if (bof_ || eof_ || lost_) return Fail(NoCurrentRecord(def_));
  if (deleted_)
    return Fail(MakeStatus(Code::kNoCurrentRecord, ErrorNumber::kRecordDeleted,
                           "the current record of table '" + def_.Name + "' was deleted"));
  return Status();
}

Status Recordset::CheckWritable(const char* what) noexcept {
  KV_TRY(CheckOpen());
  if (Updatable()) return Status();
  std::string text = std::string(what) + ": table '" + def_.Name + "' cannot be written: ";
  if (type_ == RecordsetType::kSnapshot) {
    text += "the record set is a snapshot";
  } else {
    text +=
        def_.WhyReadOnly.empty() ? std::string("it was opened for reading only") : def_.WhyReadOnly;
  }
  return Fail(MakeStatus(Code::kReadOnly, ErrorNumber::kReadOnly, std::move(text)));
}

void Recordset::Land(bool on_record, bool forward) noexcept {
  deleted_ = false;
  lost_ = false;
  bof_ = !on_record && !forward;
  eof_ = !on_record && forward;
}

void Recordset::OpenAtFirst() {
  const bool any = DoMoveFirst();
  Land(any, true);
  bof_ = !any;
}

Result<Field> Recordset::Fields(std::string_view name) {
  const int index = def_.FindField(name);
  if (index < 0)
    return Fail(MakeStatus(Code::kNotFound, ErrorNumber::kNotInCollection,
                           "table '" + def_.Name + "' has no field '" + std::string(name) + "'"));
  return Field(*this, static_cast<std::size_t>(index));
}

// --- Moving

Status Recordset::MoveFirst() noexcept {
  KV_TRY(CheckOpen());
  KV_TRY(CancelUpdate());
  return Guarded([&]() -> Status {
    const bool any = DoMoveFirst();
    Land(any, true);
    bof_ = !any;
    return any ? Status() : NoCurrentRecord(def_);
  });
}

Status Recordset::MoveLast() noexcept {
  KV_TRY(CheckOpen());
  KV_TRY(CancelUpdate());
  return Guarded([&]() -> Status {
    const bool any = DoMoveLast();
    Land(any, true);
    bof_ = !any;
    return any ? Status() : NoCurrentRecord(def_);
  });
}

Status Recordset::MoveNext() noexcept {
  KV_TRY(CheckOpen());
  if (eof_ || lost_) return Fail(NoCurrentRecord(def_));
  KV_TRY(CancelUpdate());
  return Guarded([&] { Land(bof_ ? DoMoveFirst() : DoMoveNext(), true); });
}

Status Recordset::MovePrevious() noexcept {
  KV_TRY(CheckOpen());
  if (bof_ || lost_) return Fail(NoCurrentRecord(def_));
  KV_TRY(CancelUpdate());
  return Guarded([&] { Land(eof_ ? DoMoveLast() : DoMovePrevious(), false); });
}

Status Recordset::Move(std::int64_t rows) noexcept {
  if (rows == 0) return CheckCurrent();
  const bool forward = rows > 0;
  KV_TRY(CheckOpen());
  if (lost_ || (forward ? eof_ : bof_)) return Fail(NoCurrentRecord(def_));
  KV_TRY(CancelUpdate());
  return Guarded([&] {
    if (bof_ || eof_) {  // the first step leads onto the first or the last record
      if (!(bof_ ? DoMoveFirst() : DoMoveLast())) return Land(false, forward);
      rows -= forward ? 1 : -1;
    }
    Land(rows == 0 || DoMove(rows), forward);
  });
}

bool Recordset::DoMove(std::int64_t rows) {
  for (; rows > 0; --rows)
    if (!DoMoveNext()) return false;
  for (; rows < 0; ++rows)
    if (!DoMovePrevious()) return false;
  return true;
}

Result<std::int64_t> Recordset::RecordCount() noexcept {
  KV_TRY(CheckOpen());
  return database::Guarded(database_->engine(), [&] { return DoRecordCount(); });
}

Status Recordset::GetBookmark(Bookmark& out) noexcept {
  KV_TRY(CheckCurrent());
  return Guarded([&] {
    out.bytes.clear();
    DoGetBookmark(out.bytes);
  });
}

Status Recordset::SetBookmark(const Bookmark& to) noexcept {
  KV_TRY(CheckOpen());
  KV_TRY(CancelUpdate());
  return Guarded([&]() -> Status {
    if (to.empty() || !DoSetBookmark(to.bytes))
      return MakeStatus(Code::kNoCurrentRecord, ErrorNumber::kRecordDeleted,
                        "the bookmarked record of table '" + def_.Name + "' is gone");
    Land(true, true);
    return Status();
  });
}

// --- Index

Status Recordset::SetIndex(std::string_view name) noexcept {
  KV_TRY(CheckOpen());
  if (type_ != RecordsetType::kTable)
    return Fail(MakeStatus(Code::kNotSupported, ErrorNumber::kNotSupported,
                           "an index can be set only on a record set of type table"));
  KV_TRY(CancelUpdate());
  return Guarded([&]() -> Status {
    const IndexDef* index = nullptr;
    if (!name.empty()) {
      index = def_.FindIndex(name);
      if (index == nullptr)
        return MakeStatus(Code::kNotFound, ErrorNumber::kIndexNotFound,
                          "table '" + def_.Name + "' has no index '" + std::string(name) + "'");
    }
    DoSetIndex(index);
    index_name_ = index ? index->Name : std::string();
    const bool any = DoMoveFirst();
    Land(any, true);
    bof_ = !any;
    return Status();
  });
}

Status Recordset::Seek(SeekComparison comparison, std::span<const Value> keys) noexcept {
  KV_TRY(CheckOpen());
  KV_TRY(CancelUpdate());
  return Guarded([&]() -> Status {
    const IndexDef* index = CurrentIndex();
    if (index == nullptr)
      return MakeStatus(Code::kInvalidArgument, ErrorNumber::kNoIndexSet,
                        "Seek on table '" + def_.Name + "' without a current index");
    if (keys.empty() || keys.size() > index->Columns.size())
      return MakeStatus(Code::kInvalidArgument, ErrorNumber::kInvalidArgument,
                        "Seek with " + std::to_string(keys.size()) + " values on index '" +
                            index->Name + "' of " + std::to_string(index->Columns.size()) +
                            " fields");
    no_match_ = !DoSeek(comparison, keys);
    if (no_match_) {
      lost_ = true;
    } else {
      Land(true, true);
    }
    return Status();
  });
}

Status Recordset::SeekText(SeekComparison comparison,
                           std::span<const std::string_view> keys) noexcept {
  return Guarded([&]() -> Status {
    const IndexDef* index = CurrentIndex();
    std::array<Value, kMaxSeekKeys> values;
    const std::size_t count =
        std::min({keys.size(), values.size(), index ? index->Columns.size() : keys.size()});
    if (key_scratch_.size() < count) key_scratch_.resize(count);
    for (std::size_t i = 0; index != nullptr && i < count; ++i) {
      const int field = def_.FindField(index->Columns[i].Name);
      const TypeCode type =
          field < 0 ? TypeCode::kText : def_.Fields[static_cast<std::size_t>(field)].Type;
      KV_TRY(database_->engine().Format().Parse(keys[i], type, values[i], key_scratch_[i]));
    }
    return Seek(comparison, std::span<const Value>(values).first(count));
  });
}

void Recordset::DoSetIndex(const IndexDef*) {
  Unsupported(def_, "Index");
}
bool Recordset::DoSeek(SeekComparison, std::span<const Value>) {
  Unsupported(def_, "Seek");
}

// --- Writing

Status Recordset::AddNew() noexcept {
  KV_TRY(CheckWritable("AddNew"));
  KV_TRY(CancelUpdate());
  return Guarded([&] {
    assigned_.assign(assigned_.size(), false);
    DoAddNew();
    edit_ = EditState::kAdd;
  });
}

Status Recordset::Edit() noexcept {
  KV_TRY(CheckWritable("Edit"));
  KV_TRY(CheckCurrent());
  KV_TRY(CancelUpdate());
  return Guarded([&] {
    assigned_.assign(assigned_.size(), false);
    DoEdit();
    edit_ = EditState::kEdit;
  });
}

Status Recordset::CheckRequired() {
  for (std::size_t field : required_) {
    const FieldDef& field_def = def_.Fields[field];
    if (edit_ == EditState::kAdd && !assigned_[field] &&
        (field_def.AutoIncrement || !field_def.DefaultValue.empty()))
      continue;
    Value value;
    KV_TRY(ReadField(field, value));
    if (value.IsNull())
      return MakeStatus(
          Code::kRequired, ErrorNumber::kRequired,
          "field '" + field_def.Name + "' of table '" + def_.Name + "' must not be Null");
  }
  return Status();
}

Status Recordset::Update() noexcept {
  KV_TRY(CheckOpen());
  if (edit_ == EditState::kNone)
    return Fail(MakeStatus(Code::kNoCurrentEdit, ErrorNumber::kNoCurrentEdit,
                           "Update on table '" + def_.Name + "' without AddNew or Edit"));
  Status status = Guarded([&]() -> Status {
    Status required = CheckRequired();
    if (!required.ok()) {
      DoCancelUpdate();
      return required;
    }
    return DoUpdate();
  });
  edit_ = EditState::kNone;
  return status;
}

Status Recordset::CancelUpdate() noexcept {
  if (edit_ == EditState::kNone) return Status();
  edit_ = EditState::kNone;
  return Guarded([&] { DoCancelUpdate(); });
}

Status Recordset::Delete() noexcept {
  KV_TRY(CheckWritable("Delete"));
  KV_TRY(CheckCurrent());
  KV_TRY(CancelUpdate());
  return Guarded([&] {
    DoDelete();
    deleted_ = true;
  });
}

Status Recordset::Close() noexcept {
  if (!open_) return Status();
  Status cancelled = CancelUpdate();
  open_ = false;
  bof_ = eof_ = true;
  Status closed = Guarded([&] { DoClose(); });
  return closed.ok() ? cancelled : closed;
}

Status Recordset::DoWriteField(std::size_t, const Value&) {
  Unsupported(def_, "assigning a field");
}
void Recordset::DoAddNew() {
  Unsupported(def_, "AddNew");
}
void Recordset::DoEdit() {
  Unsupported(def_, "Edit");
}
Status Recordset::DoUpdate() {
  Unsupported(def_, "Update");
}
void Recordset::DoCancelUpdate() {}
void Recordset::DoDelete() {
  Unsupported(def_, "Delete");
}

// --- Fields

Status Recordset::ReadField(std::size_t field, Value& out) noexcept {
  if (edit_ == EditState::kAdd && !assigned_[field]) {
    out = Value::Null();
    return Status();
  }
  if (edit_ == EditState::kNone) KV_TRY(CheckCurrent());
  return Guarded([&] { DoReadField(field, out); });
}

Status Recordset::WriteField(std::size_t field, const Value& value) noexcept {
  KV_TRY(CheckOpen());
  if (edit_ == EditState::kNone)
    return Fail(
        MakeStatus(Code::kNoCurrentEdit, ErrorNumber::kNoCurrentEdit,
                   "assigning to field '" + def_.Fields[field].Name + "' without AddNew or Edit"));
  return Guarded([&]() -> Status {
    if (value.kind == values::Kind::kText && value.text.empty() &&
        !def_.Fields[field].AllowZeroLength)
      return MakeStatus(Code::kRequired, ErrorNumber::kZeroLength,
                        "field '" + def_.Fields[field].Name + "' takes no text of length zero");
    Status status = DoWriteField(field, value);
    if (status.ok()) assigned_[field] = true;
    return status;
  });
}

Status Recordset::WriteText(std::size_t field, std::string_view text) noexcept {
  const FieldDef& field_def = def_.Fields[field];
  Value value;
  Status parsed = database_->engine().Format().Parse(text, field_def.Type, value, scratch_);
  if (!parsed.ok()) return Fail(std::move(parsed));
  if (value.kind == values::Kind::kText && value.text.empty() && !field_def.AllowZeroLength)
    value = Value::Null();
  return WriteField(field, value);
}

}  // namespace kelvorin::database
