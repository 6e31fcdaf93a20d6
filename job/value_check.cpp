#include "job/value_check.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "base/code_page.h"
#include "base/language.h"
#include "engine/field_plan.h"
#include "values/resolution.h"

namespace kelvorin::job {

using base::Tr;

namespace {

constexpr std::size_t kLongestValue = 80;  // characters of a value in a sentence

std::string Quoted(std::string_view value) {
  const std::string_view cut = base::CutToCharacters(value, kLongestValue);
  return std::string(cut) + (cut.size() < value.size() ? "..." : "");
}

// Fields of a new record that is never stored.
class TrialRecord {
 public:
  explicit TrialRecord(std::unique_ptr<database::Recordset> rows) : rows_(std::move(rows)) {
    rows_->SetTrial();
  }
  ~TrialRecord() {
    // Nothing was stored.
    static_cast<void>(rows_->CancelUpdate().ok());
    static_cast<void>(rows_->Close().ok());
  }
  TrialRecord(const TrialRecord&) = delete;
  TrialRecord& operator=(const TrialRecord&) = delete;

  Status Begin() { return rows_->AddNew(); }
  Status Assign(const engine::AssignedField& field, std::string_view value, bool& changed,
                std::string& kept) {
    database::Field at = rows_->Fields(field.position);
    KV_TRY(at.SetText(value));
    changed = rows_->LastChanged();
    bool is_null = false;
    return changed ? at.GetText(kept, is_null) : Status();
  }

 private:
  std::unique_ptr<database::Recordset> rows_;
};

// What can be told of a value without a record: servers take statements only.
Status Weigh(const database::FieldDef& def, std::string_view value,
             const values::ValueFormat& format, bool& changed, std::string& kept) {
  std::string scratch;
  values::Value parsed;
  KV_TRY(format.Parse(value, def.Type, parsed, scratch));
  const values::Resolution keeps = values::ResolutionOf(def.Type, def.Decimals, def.Keeps);
  KV_TRY(database::CheckFit(def, keeps, parsed, changed));
  kept.clear();
  if (changed) values::AppendKept(parsed, keeps, format, kept);
  return Status();
}

class Check {
 public:
  Check(const settings::ImportSetting& setting, const database::TableDef& table,
        const values::ValueFormat& format, TrialRecord* trial)
      : null_text_(setting.NullText),
        exact_(setting.ExactValues != 0),
        table_(table),
        format_(format),
        trial_(trial) {}

  // The doubt about one value, where there is one.
  bool Doubts(const engine::AssignedField& field, std::string_view value, ValueDoubt& doubt) {
    using Kind = ValueDoubt::Kind;
    if (null_text_.Matches(field, value)) {
      doubt.kind = Kind::kNull;
      doubt.reason = Tr("Field %1 becomes Null.", {field.name});
      return true;
    }
    const std::string_view whole = value;
    if (field.cut_to != 0) value = base::CutToCharacters(value, field.cut_to);
    bool changed = false;
    const Status taken = trial_ != nullptr
                             ? trial_->Assign(field, value, changed, kept_)
                             : Weigh(table_.Fields[field.position], value, format_, changed, kept_);
    if (!taken.ok()) {
      doubt.kind = Kind::kRefused;
      doubt.reason = Tr("Field %1 refuses it: %2", {field.name, base::TrReason(taken.message())});
      return true;
    }
    if (!changed && value.size() == whole.size()) return false;
    doubt.kind = exact_ ? Kind::kRefused : Kind::kChanged;
    doubt.reason = Tr(
        exact_ ? "Field %1 would keep it as '%2', so it is refused." : "Field %1 keeps it as '%2'.",
        {field.name, Quoted(changed ? std::string_view(kept_) : value)});
    return true;
  }

 private:
  engine::NullText null_text_;
  bool exact_;
  const database::TableDef& table_;
  const values::ValueFormat& format_;
  TrialRecord* trial_;
  std::string kept_;
};

}  // namespace

Result<std::vector<ValueDoubt>> CheckValues(const ShownValues& records,
                                            const settings::ImportSetting& setting,
                                            const catalog::Target& target,
                                            const values::ValueFormat& format, bool text_too) {
  std::vector<ValueDoubt> doubts;
  if (!target.recordset) return doubts;
  const database::TableDef& table = target.recordset->Def();
  const Result<engine::FieldPlan> plan = engine::PlanFields(
      setting.FieldMap, target.fields, table, target.database->Traits().keeps_null_text);
  if (!plan.ok()) return plan.status();
  if (plan->fields.empty() || records.empty()) return doubts;
  std::optional<TrialRecord> trial;
  if (target.database->Traits().table_type == database::RecordsetType::kTable) {
    auto opened =
        target.database->OpenRecordset(target.table_name, database::RecordsetType::kTable);
    if (!opened.ok()) return opened.status();
    trial.emplace(*std::move(opened));
    KV_TRY(trial->Begin());
  }
  Check check(setting, table, format, trial ? &*trial : nullptr);
  for (std::size_t record = 0; record < records.size(); ++record)
    for (const engine::AssignedField& field : plan->fields) {
      if (field.source_no >= records[record].size()) continue;
      if (!text_too && values::IsText(field.type)) continue;
      ValueDoubt doubt;
      doubt.record = record;
      doubt.column = field.source_no;
      if (check.Doubts(field, records[record][field.source_no], doubt))
        doubts.push_back(std::move(doubt));
    }
  return doubts;
}

}  // namespace kelvorin::job
