#include <algorithm>
#include <filesystem>
#include <system_error>

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "catalog/tables.h"
#include "contract/enums.h"
#include "database/table_identity.h"
#include "engine/run.h"

namespace kelvorin::engine {

// Whether both show one table of one server, whatever data sources they come from.
static bool IsSameServerTable(const database::Recordset& a, const database::Recordset& b) {
  const auto* server_a = dynamic_cast<const database::TableIdentity*>(&a);
  const auto* server_b = dynamic_cast<const database::TableIdentity*>(&b);
  return server_a != nullptr && server_b != nullptr && !server_a->Identity().empty() &&
         server_a->Identity() == server_b->Identity();
}

Status ImportRun::Prepare() {
  step_ = Step::kOpenFile;
  KV_TRY(OpenLogs());
  KV_TRY(OpenSource());
  KV_TRY(CheckJob());
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
  if (setting_.Trace) {
    KV_TRY(log_.Open(setting_.LogFileName, setting_.LogAppend));
    KV_TRY(log_.Header(in_.source.file_name, in_.target.table_name,
                       GeneralDate(in_.options.now(), in_.engine.Format())));
  }
  if (setting_.RejectFile.empty()) return Status();
  auto opened = RejectFile::Open(setting_.RejectFile);
  if (!opened.ok()) return Refuse(std::string(opened.status().message()));
  reject_file_ = *std::move(opened);
  return Status();
}

Status ImportRun::OpenSource() {
  if (setting_.TypeFormat < 0 || setting_.TypeFormat > contract::kOdbc)
    return Status(
        Code::kInvalidArgument,
        "the kind of source is " + base::ToDecimal(setting_.TypeFormat) + "; kinds are 0 to 14");
  if (in_.target.recordset == nullptr) return Refuse("No target table is open");
  Result<FieldPlan> plan =
      PlanFields(setting_.FieldMap, in_.target.fields, in_.target.recordset->Def());
  if (!plan.ok()) return Refuse(std::string(plan.status().message()));
  plan_ = *std::move(plan);
  if (is_table()) return OpenTableSource();
  auto opened = TextSource::Open(in_.source.file_name, setting_, in_.breaks);
  if (!opened.ok()) return opened.status();
  source_ = *std::move(opened);
  return Status();
}

// Whether both name one folder or file; it may be spelled in several ways, and linked to.
static bool IsSamePlace(std::string_view a, std::string_view b) {
  const auto plain = [](std::string_view path) {
    while (path.size() > 1 && (path.back() == '/' || path.back() == '\\')) path.remove_suffix(1);
    return path.empty() ? std::string_view(".") : path;
  };
  std::error_code error;
  return plain(a) == plain(b) || std::filesystem::equivalent(plain(a), plain(b), error);
}

// Whether both hold the records of one table, also where one of them is a link to it.
static bool IsSameTable(const database::Recordset& a, const database::Recordset& b) {
  return !a.Home().IsOdbc() && !b.Home().IsOdbc() &&
         IsSamePlace(a.Home().Name(), b.Home().Name()) &&
         base::EqualIgnoreCase(a.Def().Name, b.Def().Name);
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
  is_target_itself_ |= IsSameServerTable(**rows, *in_.target.recordset);
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
    return Refuse("No target field is mapped to a source field: there is nothing to import");
  if (mode_ == WriteMode::kInOrder && in_.target.database->IsOdbc())
    return Refuse(
        "The records of an ODBC table cannot be updated in table order; use the key lookup");
  if (mode_ == WriteMode::kKeyLookUp && !setting_.UpdateIndex)
    return Refuse("You specified KeyLookUp but no index to look the keys up in");
  if ((setting_.AppendRecords || setting_.AppendIfEof || setting_.EmptyTarget) && is_target_itself_)
    return Refuse("Source and target are the same table '" + in_.target.table_name +
                  "': its records can be updated, but not appended to it or deleted first");
  return Status();
}

Status ImportRun::ResolveIndex() {
  if (!setting_.UpdateIndex) return Status();
  const database::IndexDef* index = nullptr;
  Result<database::TableDef> on_server = database::TableDef();
  if (in_.target.database->IsOdbc()) {
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
  if (!setting_.KeyLookUp) return Status();
  if (const std::string missing = ResolveKeys(*index, plan_); !missing.empty())
    return Refuse(MissingKeyMessage(missing));
  if (plan_.keys.empty())
    return Refuse("The index '" + index->Name + "' has no key fields to look up");
  return Status();
}

Status ImportRun::MakeWriter() {
  const bool append_missing = setting_.AppendIfEof;
  const bool dry_run = in_.options.dry_run;
  if (auto* rows = database::AsRowDatabase(*in_.target.database)) {
    // A host that watches records must see each one stored before it sees the next.
    using contract::Event;
    const bool watched = events_.Listens(Event::kBeforeFieldImport) ||
                         events_.Listens(Event::kValidateBeforePost) ||
                         events_.Listens(Event::kValidateAfterPost);
    const bool grouped = !watched && mode_ == WriteMode::kAppend && !dry_run;
    auto made = MakeSqlTarget(*rows, in_.target, in_.engine, plan_, conversion_, mode_,
                              append_missing, dry_run, grouped ? this : nullptr);
    if (!made.ok()) return Refuse(std::string(made.status().message()));
    writer_ = *std::move(made);
  } else {
    writer_ = MakeRecordsetTarget(*in_.target.recordset, in_.engine, plan_, conversion_, mode_,
                                  append_missing, dry_run);
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
  writer_->StopWhen([this] {
    in_.platform.Yield();
    return progress_.cancelled();
  });
  step_ = Step::kFirstRecord;
  KV_TRY(writer_->GoToFirst());
  step_ = Step::kStartingLine;
  return source_->GoToStart();
}

}  // namespace kelvorin::engine
