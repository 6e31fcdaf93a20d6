#include <algorithm>

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "base/case_map.h"
#include "catalog/tables.h"
#include "contract/enums.h"
#include "engine/run.h"
#include "engine/same_files.h"

namespace kelvorin::engine {

Status ImportRun::Prepare() {
  step_ = Step::kOpenFile;
  if (const Status files = engine::CheckFiles(in_, reads_rejects_); !files.ok())
    return Refuse(std::string(files.message()));
  KV_TRY(OpenLogs());
  KV_TRY(OpenSource());
  KV_TRY(CheckJob());
  if (std::string note = BinaryNote(plan_); !note.empty()) KV_TRY(Note(std::move(note)));
  KV_TRY(CheckColumns());
  KV_TRY(ResolveIndex());
  step_ = Step::kEstimate;
  KV_TRY(MakeWriter());
  if (progress_.shown()) KV_TRY(EstimateTotal());
  KV_TRY(GoToStart());
  if (setting_.EmptyTarget) KV_TRY(writer_->Empty());
  in_.engine.ClearErrors();
  return Status();
}

Status ImportRun::OpenLogs() {
  if (in_.options.dry_run) return Status();  // which leaves no trace
  if (setting_.Trace) {
    KV_TRY(log_.Open(setting_.LogFileName, setting_.LogAppend, *in_.options.files));
    KV_TRY(log_.Header(in_.source.file_name, in_.target.table_name,
                       GeneralDate(in_.options.now(), in_.engine.Format())));
  }
  if (setting_.RejectFile.empty()) return Status();
  auto opened = RejectFile::Open(setting_.RejectFile, reads_rejects_, *in_.options.files);
  if (!opened.ok()) return Refuse(std::string(opened.status().message()));
  reject_file_ = *std::move(opened);
  return Status();
}

Status ImportRun::OpenSource() {
  if (setting_.TypeFormat < 0 || setting_.TypeFormat > contract::kOdbc)
    return Status(
        Code::kInvalidArgument,
        "the kind of source is " + base::ToDecimal(setting_.TypeFormat) + "; kinds are 0 to 14");
  if (in_.target.recordset == nullptr) return Refuse({"No target table is open", {}});
  Result<FieldPlan> plan =
      PlanFields(setting_.FieldMap, in_.target.fields, in_.target.recordset->Def(),
                 is_table() && in_.target.database != nullptr &&
                     in_.target.database->Traits().keeps_null_text);
  if (!plan.ok()) return Refuse(std::string(plan.status().message()));
  plan_ = *std::move(plan);
  if (is_table()) return OpenTableSource();
  auto opened = TextSource::Open(in_.source.file_name, setting_, in_.breaks);
  if (!opened.ok()) return opened.status();
  source_ = *std::move(opened);
  return Status();
}

Status ImportRun::OpenTableSource() {
  step_ = Step::kOpenDatabase;
  std::unique_ptr<database::Database> own;
  database::Database* database = in_.source.kept.get();
  if (setting_.TypeFormat != contract::kAccess || database == nullptr) {
    auto opened = catalog::OpenSourceDatabase(in_.engine, setting_.TypeFormat, in_.source);
    if (!opened.ok()) return opened.status();
    own = *std::move(opened);
    database = own.get();
  }
  step_ = Step::kOpenTable;
  auto rows = catalog::OpenTableRecordset(*database, in_.source.file_name, setting_.TypeFormat,
                                          in_.platform);
  if (!rows.ok()) return rows.status();
  is_target_itself_ = IsSameTable(**rows, *in_.target.recordset);
  MarkSourceTypes((*rows)->Def(), plan_);
  // A rejected record is shown whole, so all of it is read when somebody wants to know.
  const bool all = reject_file_ != nullptr || in_.options.observer != nullptr;
  source_ = std::make_unique<TableSource>(
      std::move(own), *std::move(rows), in_.engine.Format(), setting_.StartingLine,
      all ? std::vector<bool>(base::kMaxFields, true) : WantedSourceFields(plan_));
  return Status();
}

// What would do harm, or nothing at all, is refused while the target is still untouched.
Status ImportRun::CheckJob() {
  if (!plan_.maps_any && !is_table()) {
    // A text without a record has no columns to map.
    const Result<bool> blank = IsBlankText(in_.source.file_name, setting_);
    if (!blank.ok()) return blank.status();
    if (*blank) return Status();
  }
  if (!plan_.maps_any)
    return Refuse({"No target field is mapped to a source field: there is nothing to import", {}});
  if (mode_ == WriteMode::kInOrder && !walks_target())
    return Refuse(
        {"The records of an ODBC table cannot be updated in table order; use the key lookup", {}});
  if (mode_ == WriteMode::kKeyLookUp && !setting_.UpdateIndex)
    return Refuse({"You specified KeyLookUp but no index to look the keys up in", {}});
  if (setting_.EmptyTarget && !setting_.AppendRecords && !setting_.AppendIfEof)
    return Refuse(
        {"The target would be emptied and then only updated: no record would be left to "
         "update, and none imported",
         {}});
  if ((setting_.AppendRecords || setting_.AppendIfEof || setting_.EmptyTarget) && is_target_itself_)
    return Refuse("Source and target are the same table '" + in_.target.table_name +
                  "': its records can be updated, but not appended to it or deleted first");
  return Status();
}

// Told before the first record: a column that is not there never empties what is stored.
Status ImportRun::CheckColumns() {
  Result<std::optional<std::size_t>> columns = source_->Columns();
  if (!columns.ok()) return columns.status();
  columns_ = *columns;
  if (!columns_) return Status();
  std::string note =
      MarkAbsentFields(*columns_, database::AsRowDatabase(*in_.target.database) != nullptr, plan_);
  if (note.empty()) return Status();
  const bool any = std::any_of(plan_.fields.begin(), plan_.fields.end(),
                               [](const AssignedField& field) { return !field.is_absent; });
  if (!any) return Refuse(std::move(note));
  const Step at = step_;
  KV_TRY(Note(std::move(note)));
  step_ = at;
  return Status();
}

// A record whose key changes moves in the index that is being walked: it would be met again, or
// those between would be left out.
Status ImportRun::CheckOrder(const database::IndexDef& index) {
  if (mode_ != WriteMode::kInOrder) return Status();
  for (const AssignedField& field : plan_.fields) {
    const bool in_key = std::any_of(index.Columns.begin(), index.Columns.end(),
                                    [&](const database::IndexField& column) {
                                      return base::EqualAnyCase(column.Name, field.name);
                                    });
    const bool in_expression =
        base::UpperAscii(index.Expression).find(base::UpperAscii(field.name)) != std::string::npos;
    if (in_key || in_expression)
      return Refuse("The records would be updated in the order of the index '" + index.Name +
                    "', whose field '" + std::string(field.name) +
                    "' the import changes: use the key lookup, or no index");
  }
  return Status();
}

Status ImportRun::ResolveIndex() {
  if (!setting_.UpdateIndex) {
    // An earlier run may have left the record set in the order of an index.
    if (in_.target.recordset->Index().empty()) return Status();
    return in_.target.recordset->SetIndex({});
  }
  if (in_.options.dry_run && in_.target.recordset) in_.target.recordset->SetTrial();
  const database::IndexDef* index = nullptr;
  Result<database::TableDef> on_server = database::TableDef();
  if (!walks_target()) {
    on_server = in_.target.database->FindTableDef(in_.target.table_name);
    if (!on_server.ok()) return on_server.status();
    index = on_server->FindIndex(setting_.IndexName);
  } else {
    KV_TRY(in_.target.recordset->SetIndex(setting_.IndexName));
    index = in_.target.recordset->CurrentIndex();
  }
  if (index == nullptr)
    return Status(Code::kNotFound, "table '" + in_.target.table_name + "' has no index '" +
                                       setting_.IndexName + "'");
  if (!setting_.KeyLookUp) return CheckOrder(*index);
  if (index->Columns.size() > kMaxKeyFields)
    return Refuse("The index '" + index->Name + "' has " + std::to_string(index->Columns.size()) +
                  " key fields, and a record can be looked up by " + std::to_string(kMaxKeyFields) +
                  " of them at most");
  if (const std::string missing = ResolveKeys(*index, plan_); !missing.empty())
    return Refuse(MissingKeyMessage(missing));
  if (plan_.keys.empty())
    return Refuse("The index '" + index->Name + "' has no key fields to look up");
  return Status();
}

Status ImportRun::MakeWriter() {
  WriterOptions options{mode_, setting_.AppendIfEof, in_.options.dry_run, false, setting_.NullText};
  if (auto* rows = database::AsRowDatabase(*in_.target.database)) {
    // A host that watches records must see each one stored before it sees the next.
    using contract::Event;
    const bool watched = events_.Listens(Event::kBeforeFieldImport) ||
                         events_.Listens(Event::kValidateBeforePost) ||
                         events_.Listens(Event::kValidateAfterPost);
    const bool grouped = !watched && mode_ == WriteMode::kAppend && !options.dry_run;
    options.texts_stay = grouped && !conversion_.active();  // slices of the source's record
    auto made = MakeSqlTarget(*rows, in_.target, in_.engine, plan_, conversion_, options,
                              grouped ? this : nullptr);
    if (!made.ok()) return Refuse(std::string(made.status().message()));
    writer_ = *std::move(made);
  } else {
    writer_ = MakeRecordsetTarget(*in_.target.recordset, in_.engine, plan_, conversion_, options);
  }
  assignment_.emplace(setting_, plan_, conversion_, events_, in_.target.table_name);
  return Status();
}

Status ImportRun::EstimateTotal() {
  const Result<std::int64_t> estimated = source_->Estimate();
  if (!estimated.ok()) return estimated.status();
  std::int64_t total = *estimated;
  if (!setting_.AppendRecords) {
    const Result<std::int64_t> in_target = writer_->RecordCount();
    if (!in_target.ok()) return in_target.status();
    total = std::min(total, *in_target);
  } else if (setting_.MaxLines > 0) {
    total = std::min<std::int64_t>(total, setting_.MaxLines);
  }
  progress_.SetTotal(total);
  return Status();
}

Status ImportRun::GoToStart() {
  const auto stop = [this] {
    in_.platform.Yield();
    return progress_.cancelled();
  };
  writer_->StopWhen(stop);
  source_->StopWhen(stop);
  step_ = Step::kFirstRecord;
  KV_TRY(writer_->GoToFirst());
  step_ = Step::kStartingLine;
  return source_->GoToStart();
}

}  // namespace kelvorin::engine
