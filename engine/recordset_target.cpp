#include "database/engine.h"
#include "database/recordset.h"
#include "engine/key_values.h"
#include "engine/target_writer.h"

namespace kelvorin::engine {

WriteMode WriteModeOf(const settings::ImportSetting& setting) noexcept {
  if (setting.AppendRecords) return WriteMode::kAppend;
  return setting.KeyLookUp ? WriteMode::kKeyLookUp : WriteMode::kInOrder;
}

namespace {

class RecordsetTarget final : public TargetWriter {
 public:
  RecordsetTarget(database::Recordset& recordset, const database::DBEngine& engine,
                  const FieldPlan& plan, TextConversion& conversion, const WriterOptions& options)
      : recordset_(recordset),
        keys_(plan, conversion, engine.Format(), recordset, options.null_text),
        mode_(options.mode),
        append_missing_keys_(options.append_missing_keys),
        dry_run_(options.dry_run),
        replaced_before_(recordset.ReplacedCharacters()) {}

  bool AtEnd() const noexcept override { return recordset_.Eof(); }

  Status GoToFirst() override {
    if (recordset_.Bof()) return Status();
    Status moved = recordset_.MoveFirst();
    // All records may have been deleted since the set was opened: nothing to stand on.
    const bool empty = recordset_.Bof() && recordset_.Eof();
    return empty && moved.code() == Code::kNoCurrentRecord ? Status() : std::move(moved);
  }

  Status Empty() override {
    if (dry_run_ || (recordset_.Bof() && recordset_.Eof())) return Status();
    KV_TRY(recordset_.MoveFirst());
    while (!recordset_.Eof()) {
      KV_TRY(recordset_.Delete());
      KV_TRY(recordset_.MoveNext());
    }
    return Status();
  }

  Result<std::int64_t> RecordCount() override { return recordset_.RecordCount(); }

  Status Position(const textsource::FieldValues& values, bool append, Place& place,
                  RefusedValue& refused) override {
    place = Place::kNew;
    if (append || mode_ == WriteMode::kAppend) return recordset_.AddNew();
    if (mode_ == WriteMode::kKeyLookUp) {
      bool found = false;
      KV_TRY(keys_.Take(values, found, refused));
      if (found) KV_TRY(Seek(found));
      if (!found) {
        if (append_missing_keys_) return recordset_.AddNew();
        place = Place::kMissing;
        return Status();
      }
    }
    place = Place::kFound;
    return recordset_.Edit();
  }

  Status Current(const AssignedField& field, std::string& out, bool& is_null) override {
    return recordset_.Fields(field.position).GetText(out, is_null);
  }

  Status Assign(const AssignedField& field, std::string_view value, bool is_null,
                bool& changed) override {
    database::Field target = recordset_.Fields(field.position);
    KV_TRY(is_null ? target.SetValue(values::Value::Null()) : target.SetText(value));
    changed = recordset_.LastChanged();
    return Status();
  }

  Status Kept(const AssignedField& field, std::string& out) override {
    bool is_null = false;
    return recordset_.Fields(field.position).GetText(out, is_null);
  }

  Status Post(Place&) override {
    return dry_run_ ? recordset_.CancelUpdate() : recordset_.Update();
  }

  Status MoveOn() override { return recordset_.MoveNext(); }
  Status WriteOut() override { return dry_run_ ? Status() : recordset_.Flush(); }

  void Cancel() override {
    // What was begun is forgotten either way; a failure would show in the next call.
    static_cast<void>(recordset_.CancelUpdate().ok());
  }

  std::int64_t replaced_characters() const noexcept override {
    return recordset_.ReplacedCharacters() - replaced_before_;
  }

 private:
  // A key that is not found leaves the target where it stood, if it stood anywhere.
  Status Seek(bool& found) {
    const bool placed = !recordset_.Bof() && !recordset_.Eof();
    if (placed) KV_TRY(recordset_.GetBookmark(bookmark_));
    const std::int64_t replaced_before = recordset_.ReplacedCharacters();
    KV_TRY(recordset_.Seek(database::SeekComparison::kEqual, keys_.values()));
    // A key with characters that the table lacks was looked up with others in their place.
    found = !recordset_.NoMatch() && recordset_.ReplacedCharacters() == replaced_before;
    if (found || !placed) return Status();
    return recordset_.SetBookmark(bookmark_);
  }

  database::Recordset& recordset_;
  KeyValues keys_;
  database::Bookmark bookmark_;
  WriteMode mode_;
  bool append_missing_keys_;
  bool dry_run_;
  std::int64_t replaced_before_;
};

}  // namespace

std::unique_ptr<TargetWriter> MakeRecordsetTarget(database::Recordset& recordset,
                                                  const database::DBEngine& engine,
                                                  const FieldPlan& plan, TextConversion& conversion,
                                                  const WriterOptions& options) {
  return std::make_unique<RecordsetTarget>(recordset, engine, plan, conversion, options);
}

}  // namespace kelvorin::engine
