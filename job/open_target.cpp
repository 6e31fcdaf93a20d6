#include "base/M_FILE.h"
#include "catalog/tables.h"
#include "job/job.h"

namespace kelvorin::job {

Status Job::OpenTarget(const catalog::TargetAddress& address) {
  auto opened = catalog::OpenTargetDatabase(engine_, address);
  if (!opened.ok()) return opened.status();
  state_.target.database = *std::move(opened);
  state_.target.kind = address.kind;
  target_file_ = base::FileExists(address.DataBaseName) ? address.DataBaseName : std::string();
  return Status();
}

Status Job::OpenHostTarget() {
  const contract::Properties& properties = caller_->properties();
  return OpenTarget(catalog::AddressFromProperties(properties, properties.DefaultSourceType,
                                                   caller_->connect_type_name()));
}

Status Job::OpenTargetTable(std::string_view table) {
  catalog::Target& target = state_.target;
  if (target.recordset) KV_TRY(target.recordset->Close());
  target.recordset.reset();
  target.fields.clear();
  target.table_name = table;
  auto opened = catalog::OpenTableRecordset(*target.database, table, target.kind, platform_);
  if (!opened.ok()) return opened.status();
  target.recordset = *std::move(opened);
  target.fields = catalog::InitTargetTable(*target.recordset, target.table_name, caller_->events(),
                                           state_.setting.FieldMap);
  return caller_->events().Failure();
}

Status Job::ReopenTarget(const std::string& table) {
  const settings::FieldMap map = state_.setting.FieldMap;
  Status opened = state_.target.Close();
  if (opened.ok()) opened = OpenHostTarget();
  if (opened.ok()) opened = OpenTargetTable(table);
  state_.setting.FieldMap = map;
  return opened;
}

Status Job::PrepareTargetTable() {
  catalog::Target& target = state_.target;
  // What was deleted while it was open would take all records along.
  if (!target_file_.empty() && !base::FileExists(target_file_))
    return Status(Code::kNotFound, "The database '" + target_file_ + "' is not there any more");
  if (target.recordset) KV_TRY(target.recordset->Close());
  target.recordset.reset();
  auto opened =
      catalog::OpenTableRecordset(*target.database, target.table_name, target.kind, platform_);
  if (!opened.ok()) return opened.status();
  for (const catalog::TargetField& field : target.fields)
    if (field.position >= (*opened)->FieldCount() ||
        (*opened)->Fields(field.position).Name() != field.Name)
      return Status(Code::kNotFound, "The table '" + target.table_name +
                                         "' has been changed: its field '" + field.Name +
                                         "' is not where it was. Choose the table again.");
  target.recordset = *std::move(opened);
  return Status();
}

Result<database::TableDef> Job::MakeTargetTable(const database::TableDef& wanted) {
  KV_TRY(state_.target.database->CreateTable(wanted));
  return state_.target.database->FindTableDef(wanted.Name);
}

Status Job::OpenMadeTable(const std::string& name, const database::TableDef& made,
                          const std::vector<std::size_t>& source_numbers) {
  KV_TRY(OpenTargetTable(name));
  const std::vector<catalog::TargetField>& targets = state_.target.fields;
  for (std::size_t i = 0; i < targets.size(); ++i)
    for (std::size_t n = 0; n < made.Fields.size() && n < source_numbers.size(); ++n)
      if (made.Fields[n].Name == targets[i].Name)
        mapping::MapTo(state_.setting.FieldMap[i], source_numbers[n], FixedBreaks());
  return Status();
}

}  // namespace kelvorin::job
