#include "database/recordset.h"

#include "database/boundary.h"
#include "database/database.h"
#include "database/engine.h"

#include <algorithm>
#include <array>

namespace kelvorin::database {
namespace {

constexpr std::size_t kMaxSeekKeys = 16;

Status NoCurrentRecord(const TableDef& def) {
  return MakeStatus(Code::kNoCurrentRecord, ErrorNumber::kNoCurrentRecord,
                    "there is no current record in table '" + def.Name + "'");
}

// Out of the way of the fields that are fine: inlined, its texts would cost every field.
[[gnu::cold, gnu::noinline]] Status ZeroLength(const TableDef& def, const FieldDef& field) {
  return MakeStatus(
      Code::kRequired, ErrorNumber::kZeroLength,
      "field '" + field.Name + "' of table '" + def.Name + "' takes no text of length zero");
}

[[noreturn]] void Unsupported(const TableDef& def, const char* what) {
  Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
        std::string(what) + " is not supported for table '" + def.Name + "'");
}

}  // namespace

// Out of the way of the values that fit.
[[gnu::cold, gnu::noinline]] static Status RefuseFit(const FieldDef& field,
                                                     const values::Resolution& resolution,
                                                     const Value& value, values::Fit fit) {
  std::string text;
  values::ValueFormat::Neutral().Append(value, text);
  if (fit == values::Fit::kFraction) {
    text += " has a fraction, and field '" + field.Name + "' holds whole numbers";
  } else if (fit == values::Fit::kVanishes) {
    text += " would become 0 in field '" + field.Name + "'";
    if (resolution.number == values::Resolution::Number::kDecimals)
      text += ", which has " + std::to_string(resolution.decimals) + " decimals";
  } else {
    text += " is a time of day without a date, and field '" + field.Name + "' holds dates";
  }
  return MakeStatus(Code::kConversion, ErrorNumber::kConversion, std::move(text));
}

Status CheckFit(const FieldDef& field, const values::Resolution& resolution, const Value& value,
                bool& changed) {
  const values::Fit fit = values::FitOf(value, resolution);
  changed = fit == values::Fit::kChanged;
  return values::IsRefused(fit) ? RefuseFit(field, resolution, value, fit) : Status();
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
    : database_(&database),
      type_(type),
      def_(std::move(def)),
      assigned_(def_.Fields.size()),
      assigned_null_(def_.Fields.size()) {
  keeps_.reserve(def_.Fields.size());
  for (std::size_t i = 0; i < def_.Fields.size(); ++i) {
    const FieldDef& field = def_.Fields[i];
    keeps_.push_back(values::ResolutionOf(field.Type, field.Decimals, field.Keeps));
    if (field.Required) required_.push_back(i);
  }
  if (!database.Updatable() && def_.Updatable) {
    def_.Updatable = false;
    def_.WhyReadOnly = "the database was opened for reading only";
  }
}

Status Recordset::Fail(Status status) noexcept {
  return NotedStatus(database_->engine(), std::move(status));
}

template <typename F>
Status Recordset::Guarded(F&& call) noexcept {
  return database::Guarded(database_->engine(), std::forward<F>(call));
}

// A move: `call` lands on success; until then there is no current record.
template <typename F>
Status Recordset::Moving(F&& call) noexcept {
  lost_ = true;
  return Guarded(std::forward<F>(call));
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

// Behind a deleted record there may be no record left at all.
void Recordset::LandAfterDelete(bool on_record, bool forward) {
  if (!on_record && !DoMoveFirst()) return LandFirst(false);
  Land(on_record, forward);
}

void Recordset::LandFirst(bool any) noexcept {
  Land(any, true);
  bof_ = !any;
}

void Recordset::OpenAtFirst() {
  if (placed_) return;
  placed_ = true;
  LandFirst(DoMoveFirst());
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
  KV_TRY(Moving([&] { LandFirst(DoMoveFirst()); }));
  return eof_ ? Fail(NoCurrentRecord(def_)) : Status();
}

Status Recordset::MoveLast() noexcept {
  KV_TRY(CheckOpen());
  KV_TRY(CancelUpdate());
  KV_TRY(Moving([&] { LandFirst(DoMoveLast()); }));
  return eof_ ? Fail(NoCurrentRecord(def_)) : Status();
}

Status Recordset::MoveNext() noexcept {
  KV_TRY(CheckOpen());
  if (eof_ || lost_) return Fail(NoCurrentRecord(def_));
  KV_TRY(CancelUpdate());
  return Moving([&] {
    if (deleted_) return LandAfterDelete(DoMoveNext(), true);
    Land(bof_ ? DoMoveFirst() : DoMoveNext(), true);
  });
}

Status Recordset::MovePrevious() noexcept {
  KV_TRY(CheckOpen());
  if (bof_ || lost_) return Fail(NoCurrentRecord(def_));
  KV_TRY(CancelUpdate());
  return Moving([&] {
    if (deleted_) return LandAfterDelete(DoMovePrevious(), false);
    Land(eof_ ? DoMoveLast() : DoMovePrevious(), false);
  });
}

Status Recordset::Move(std::int64_t rows) noexcept {
  if (rows == 0) return CheckCurrent();
  const bool forward = rows > 0;
  KV_TRY(CheckOpen());
  if (lost_ || (forward ? eof_ : bof_)) return Fail(NoCurrentRecord(def_));
  KV_TRY(CancelUpdate());
  return Moving([&] {
    if (deleted_) return LandAfterDelete(DoMove(rows), forward);
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
  bool found = false;
  const bool was_lost = lost_;
  KV_TRY(Moving([&] {
    found = !to.empty() && DoSetBookmark(to.bytes);
    lost_ = was_lost;
  }));
  if (!found)
    return Fail(MakeStatus(Code::kNoCurrentRecord, ErrorNumber::kRecordDeleted,
                           "the bookmarked record of table '" + def_.Name + "' is gone"));
  Land(true, true);
  return Status();
}

// --- Index

Status Recordset::SetIndex(std::string_view name) noexcept {
  KV_TRY(CheckOpen());
  if (type_ != RecordsetType::kTable)
    return Fail(MakeStatus(Code::kNotSupported, ErrorNumber::kNotSupported,
                           "an index can be set only on a record set of type table"));
  const IndexDef* index = name.empty() ? nullptr : def_.FindIndex(name);
  if (index == nullptr && !name.empty())
    return Fail(MakeStatus(Code::kNotFound, ErrorNumber::kIndexNotFound,
                           "table '" + def_.Name + "' has no index '" + std::string(name) + "'"));
  KV_TRY(CancelUpdate());
  return Moving([&] {
    DoSetIndex(index);
    index_name_ = index ? index->Name : std::string();
    LandFirst(DoMoveFirst());
  });
}

Status Recordset::Seek(SeekComparison comparison, std::span<const Value> keys) noexcept {
  KV_TRY(CheckOpen());
  const IndexDef* index = CurrentIndex();
  if (index == nullptr)
    return Fail(MakeStatus(Code::kInvalidArgument, ErrorNumber::kNoIndexSet,
                           "Seek on table '" + def_.Name + "' without a current index"));
  if (keys.empty() || keys.size() > index->Columns.size())
    return Fail(MakeStatus(Code::kInvalidArgument, ErrorNumber::kInvalidArgument,
                           "Seek with " + std::to_string(keys.size()) + " values on index '" +
                               index->Name + "' of " + std::to_string(index->Columns.size()) +
                               " fields"));
  KV_TRY(CancelUpdate());
  return Moving([&] {
    no_match_ = !DoSeek(comparison, keys);
    if (!no_match_) Land(true, true);
  });
}

Status Recordset::SeekText(SeekComparison comparison,
                           std::span<const std::string_view> keys) noexcept {
  KV_TRY(CheckOpen());
  const IndexDef* index = CurrentIndex();
  std::array<Value, kMaxSeekKeys> values;
  if (keys.size() > values.size())
    return Fail(MakeStatus(
        Code::kInvalidArgument, ErrorNumber::kInvalidArgument,
        "Seek with " + std::to_string(keys.size()) + " values on table '" + def_.Name + "'"));
  if (index != nullptr && keys.size() <= index->Columns.size()) {
    Status parsed = Guarded([&]() -> Status {
      if (key_scratch_.size() < keys.size()) key_scratch_.resize(keys.size());
      for (std::size_t i = 0; i < keys.size(); ++i) {
        const int field = def_.FindField(index->Columns[i].Name);
        if (field < 0)
          return MakeStatus(Code::kNotFound, ErrorNumber::kNotInCollection,
                            "table '" + def_.Name + "' has no field '" + index->Columns[i].Name +
                                "' of index '" + index->Name + "'");
        KV_TRY(ParseText(keys[i], def_.Fields[static_cast<std::size_t>(field)], values[i],
                         key_scratch_[i]));
      }
      return Status();
    });
    if (!parsed.ok()) return parsed;
  }
  return Seek(comparison, std::span<const Value>(values).first(keys.size()));
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
    assigned_.assign(assigned_.size(), 0);
    DoAddNew();
    edit_ = EditState::kAdd;
  });
}

Status Recordset::Edit() noexcept {
  KV_TRY(CheckWritable("Edit"));
  KV_TRY(CheckCurrent());
  KV_TRY(CancelUpdate());
  return Guarded([&] {
    assigned_.assign(assigned_.size(), 0);
    DoEdit();
    edit_ = EditState::kEdit;
  });
}

// Looks only at what this edit assigned: an old record that holds Null where it should not may keep
// it, and no memo is read to find out.
Status Recordset::CheckRequired() const {
  for (std::size_t field : required_) {
    const FieldDef& field_def = def_.Fields[field];
    const bool filled = assigned_[field] != 0
                            ? assigned_null_[field] == 0
                            : edit_ == EditState::kEdit || field_def.AutoIncrement ||
                                  !field_def.DefaultValue.empty();
    if (!filled)
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

Status Recordset::Flush() noexcept {
  KV_TRY(CheckOpen());
  return Guarded([&] { DoFlush(); });
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
  if (edit_ == EditState::kAdd && assigned_[field] == 0) {
    out = Value::Null();
    return Status();
  }
  if (edit_ == EditState::kNone) KV_TRY(CheckCurrent());
  return Guarded([&] { DoReadField(field, out); });
}

Status Recordset::NotEditing(std::size_t field) noexcept {
  KV_TRY(CheckOpen());
  return Fail(
      MakeStatus(Code::kNoCurrentEdit, ErrorNumber::kNoCurrentEdit,
                 "assigning to field '" + def_.Fields[field].Name + "' without AddNew or Edit"));
}

// What WriteField and WriteText share, inside the boundary.
Status Recordset::Assign(std::size_t field, const Value& value) {
  const FieldDef& field_def = def_.Fields[field];
  last_changed_ = false;
  if (value.IsNull()) {
    if (field_def.AutoIncrement && edit_ == EditState::kAdd) {
      assigned_[field] = 0;
      return Status();
    }
  } else if (value.kind == values::Kind::kText && value.text.empty() &&
             !field_def.AllowZeroLength) {
    return ZeroLength(def_, field_def);
  }
  bool changed = false;
  KV_TRY(CheckFit(field_def, keeps_[field], value, changed));
  const std::int64_t replaced_before = replaced_characters_;
  Status status = DoWriteField(field, value);
  if (status.ok()) {
    last_changed_ = changed || replaced_characters_ != replaced_before;
    assigned_[field] = 1;
    assigned_null_[field] = value.IsNull() ? 1 : 0;
  }
  return status;
}

Status Recordset::WriteField(std::size_t field, const Value& value) noexcept {
  if (!open_ || edit_ == EditState::kNone) [[unlikely]]
    return NotEditing(field);
  return Guarded([&] { return Assign(field, value); });
}

Status Recordset::ParseText(std::string_view text, const FieldDef& field, Value& out,
                            std::string& scratch) const {
  const values::ValueFormat& format = database_->engine().Format();
  if (values::IsText(field.Type)) {
    // The way of most fields: nothing to parse.
    out.kind = values::Kind::kText;
    out.text = text;
    out.narrowed = false;
  } else {
    KV_TRY(format.Parse(text, field.Type, out, scratch));
  }
  if (out.kind == values::Kind::kText && out.text.empty() && !field.AllowZeroLength)
    out = Value::Null();
  return Status();
}

Status Recordset::RefuseNumbered(std::size_t field) const {
  return MakeStatus(
      Code::kReadOnly, ErrorNumber::kFieldNotUpdatable,
      "field '" + def_.Fields[field].Name + "' is numbered by the table and takes no value");
}

Status Recordset::ConvertByText(std::size_t field, const Value& value, Value& converted) {
  const values::ValueFormat& format = database_->engine().Format();
  converted_text_.clear();
  format.Append(value, converted_text_);
  return format.Parse(converted_text_, def_.Fields[field].Type, converted, converted_digits_);
}

Status Recordset::WriteText(std::size_t field, std::string_view text) noexcept {
  if (!open_ || edit_ == EditState::kNone) [[unlikely]]
    return NotEditing(field);
  return Guarded([&]() -> Status {
    KV_TRY(ParseText(text, def_.Fields[field], parsed_, scratch_));
    return Assign(field, parsed_);
  });
}

}  // namespace kelvorin::database
