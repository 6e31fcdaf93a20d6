#include <algorithm>
#include <string>
#include <vector>

#include "base/M_STRING.h"
#include "database/engine.h"
#include "database/row_poster.h"
#include "engine/key_values.h"
#include "engine/target_writer.h"

namespace kelvorin::engine {
namespace {

using database::PostMode;

/// "1999-12-31"
bool IsPlainDate(std::string_view text) noexcept {
  constexpr std::string_view kShape = "0000-00-00";
  return text.size() == kShape.size() &&
         std::equal(text.begin(), text.end(), kShape.begin(),
                    [](char c, char shape) { return shape == '-' ? c == '-' : base::IsDigit(c); });
}

// Collects the values of a record and posts them, in groups where a receiver takes the outcomes,
// else one by one.
class SqlTarget final : public TargetWriter, private database::RowReceiver {
 public:
  SqlTarget(catalog::Target& target, const database::DBEngine& engine, const FieldPlan& plan,
            TextConversion& conversion, const WriterOptions& options)
      : target_(target),
        format_(engine.Format()),
        plan_(plan),
        keys_(plan, conversion, engine.Format(), *target.recordset, options.null_text),
        mode_(options.mode),
        append_missing_keys_(options.append_missing_keys),
        dry_run_(options.dry_run),
        texts_stay_(options.texts_stay),
        row_(plan.fields.size()),
        texts_(plan.fields.size()) {}

  Status MakePoster(database::RowDatabase& database, database::RowReceiver* receiver) {
    std::vector<std::string> names;
    for (const AssignedField& field : plan_.fields) names.emplace_back(field.name);
    // Of a source without a record nothing is posted; its target may still be emptied.
    const bool nothing = names.empty() && plan_.keys.empty();
    if (nothing) names.push_back(target_.recordset->Def().Fields.front().Name);
    database::PostOptions options;
    if (mode_ != WriteMode::kAppend && !nothing)
      options.mode = append_missing_keys_ ? PostMode::kUpdateOrInsert : PostMode::kUpdate;
    options.keys = plan_.keys;
    options.one_by_one = receiver == nullptr;
    auto made = database.MakeRowPoster(target_.table_name, names, *this, options);
    if (!made.ok()) return made.status();
    poster_ = *std::move(made);
    if (poster_->Grouped()) receiver_ = receiver;
    return Status();
  }

  bool AtEnd() const noexcept override { return target_.recordset->Eof(); }
  Status GoToFirst() override { return Status(); }
  Result<std::int64_t> RecordCount() override { return target_.recordset->RecordCount(); }

  Status Empty() override { return dry_run_ ? Status() : poster_->DeleteAll(); }

  Status Position(const textsource::FieldValues& values, bool append, Place& place,
                  RefusedValue& refused) override {
    place = append || mode_ == WriteMode::kAppend ? Place::kNew : Place::kFound;
    if (place == Place::kNew) return Status();
    bool fits = false;
    KV_TRY(keys_.Take(values, fits, refused));
    if (!fits) {
      place = append_missing_keys_ ? Place::kNew : Place::kMissing;
      return Status();
    }
    for (std::size_t i = 0; i < plan_.keys.size(); ++i) Keep(plan_.keys[i], keys_.values()[i]);
    return Status();
  }

  Status Current(const AssignedField&, std::string& out, bool& is_null) override {
    out.clear();
    is_null = true;
    return Status();
  }

  Status Assign(const AssignedField& field, std::string_view text, bool is_null,
                bool& changed) override {
    const database::Recordset& set = *target_.recordset;
    const database::FieldDef& def = set.Def().Fields[field.position];
    const std::size_t at = static_cast<std::size_t>(&field - plan_.fields.data());
    values::Value& value = row_[at];
    if (values::IsText(def.Type) && !is_null && !text.empty()) {  // which fits as it is
      value.kind = values::Kind::kText;
      value.text = text;
      value.narrowed = changed = false;
      if (!texts_stay_) KeepText(at);
      return Status();
    }
    if (is_null) {
      value = values::Value::Null();
    } else {
      Status parsed = ParseNumberOrTruth(format_, def, text, value, digits_);
      if (!parsed.ok() || value.narrowed) [[unlikely]] {
        if (poster_->TakesText(at, text)) {
          Keep(at, values::Value::Text(text));
          return Status();
        }
        KV_TRY(std::move(parsed));
      }
    }
    if (value.kind == values::Kind::kText && value.text.empty() && !def.AllowZeroLength)
      value = values::Value::Null();
    const values::Resolution& keeps = set.Keeps(field.position);
    KV_TRY(database::CheckFit(def, keeps, value, changed));
    // What is told to be cut off must not be rounded up by the server.
    if (changed && value.kind == values::Kind::kDateTime && def.Decimals == 0 &&
        keeps.time == values::Resolution::Time::kSeconds)
      value.date_time.milliseconds -= value.date_time.milliseconds % 1000;
    // Written again it would be the same text.
    if (value.kind == values::Kind::kDateTime && def.Type == values::TypeCode::kDate &&
        IsPlainDate(text)) {
      value.kind = values::Kind::kText;
      value.text = text;
    }
    const bool stays = texts_stay_ && value.text.data() == text.data();
    if (!stays && !value.text.empty()) KeepText(at);
    return Status();
  }

  Status Kept(const AssignedField& field, std::string& out) override {
    out.clear();
    values::AppendKept(row_[static_cast<std::size_t>(&field - plan_.fields.data())],
                       target_.recordset->Keeps(field.position), format_, out);
    return Status();
  }

  bool Grouped() const noexcept override { return receiver_ != nullptr; }
  Status Flush() override { return poster_->Flush(); }

  Status Post(Place& place) override {
    if (dry_run_) return Status();
    outcome_ = Status();
    missed_ = false;
    const Status added = poster_->Add(++posted_, row_);
    if (!added.ok() && !lost_table_) return added;
    if (missed_) place = Place::kMissing;
    return std::move(outcome_);
  }

  bool LostTable() const noexcept override { return lost_table_; }
  void StopWhen(std::function<bool()> stop) override { poster_->StopWhen(std::move(stop)); }
  Status MoveOn() override { return Status(); }
  void Cancel() override {}
  std::int64_t replaced_characters() const noexcept override { return 0; }

 private:
  void Keep(std::size_t field, const values::Value& value) {
    row_[field] = value;
    if (!value.text.empty()) KeepText(field);
  }
  // What a value points to may be gone when it is posted.
  void KeepText(std::size_t field) {
    texts_[field] = row_[field].text;
    row_[field].text = texts_[field];
  }

  // --- Outcomes: of groups for the receiver, else of the record just posted.
  void Stored(std::int64_t record_no) override {
    if (receiver_ != nullptr) receiver_->Stored(record_no);
  }
  bool Refused(std::int64_t record_no, const Status& why) override {
    if (receiver_ != nullptr) return receiver_->Refused(record_no, why);
    outcome_ = why;
    return true;
  }
  bool Doubtful(std::int64_t record_no, const Status& why) override {
    if (receiver_ != nullptr) return receiver_->Doubtful(record_no, why);
    outcome_ = why;
    return true;
  }
  void Gone(std::int64_t record_no, const Status& why) override {
    if (receiver_ != nullptr) return receiver_->Gone(record_no, why);
    outcome_ = why;
    lost_table_ = true;
  }
  void Missed(std::int64_t) override { missed_ = true; }

  catalog::Target& target_;
  const values::ValueFormat& format_;
  const FieldPlan& plan_;
  KeyValues keys_;
  WriteMode mode_;
  bool append_missing_keys_;
  bool dry_run_;
  bool texts_stay_;
  std::vector<values::Value>
      row_;  // of the record being made, one value for each field of the plan
  std::vector<std::string> texts_;  // what the values point to
  std::string digits_;
  std::unique_ptr<database::RowPoster> poster_;
  database::RowReceiver* receiver_ = nullptr;  // of records that are posted in groups
  std::int64_t posted_ = 0;
  Status outcome_;
  bool missed_ = false;
  bool lost_table_ = false;
};

}  // namespace

Result<std::unique_ptr<TargetWriter>> MakeSqlTarget(
    database::RowDatabase& database, catalog::Target& target, const database::DBEngine& engine,
    const FieldPlan& plan, TextConversion& conversion, const WriterOptions& options,
    database::RowReceiver* receiver) {
  auto writer = std::make_unique<SqlTarget>(target, engine, plan, conversion, options);
  KV_TRY(writer->MakePoster(database, receiver));
  return std::unique_ptr<TargetWriter>(std::move(writer));
}

}  // namespace kelvorin::engine
