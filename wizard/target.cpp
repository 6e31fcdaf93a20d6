#include "base/M_FILE.h"
#include "catalog/tables.h"
#include "contract/enums.h"
#include "mapping/field_mapping.h"
#include "wizard/frm_kelvorin.h"

namespace kelvorin::wizard {

Status frmKelvorin::OpenTarget(const catalog::TargetAddress& address) {
  auto opened = catalog::OpenTargetDatabase(engine_, address);
  if (!opened.ok()) return opened.status();
  state_.target.database = *std::move(opened);
  return Status();
}

Status frmKelvorin::OpenTargetTable(std::string_view table, std::int16_t kind) {
  catalog::Target& target = state_.target;
  if (target.recordset) KV_TRY(target.recordset->Close());
  target.recordset.reset();
  target.fields.clear();
  target.table_name = table;
  auto opened = catalog::OpenTableRecordset(*target.database, table, kind, platform_);
  if (!opened.ok()) return opened.status();
  target.recordset = *std::move(opened);
  InitTargetTable();
  return caller_->events().Failure();
}

void frmKelvorin::BtnNewTable_Click() {
  if (!state_.target.database) return;
  if (steps_.current < 4) {
    new_table_wanted_ = true;
    if (steps_.current == 0) GoTo(1);
    return;
  }
  std::vector<ProposedField> fields;
  std::string name;
  if (IsText()) {
    platform_.SetWaitCursor(true);
    auto proposed =
        ProposeFields(state_.source.file_name, state_.setting, state_.breaks, engine_.Format());
    platform_.SetWaitCursor(false);
    if (!proposed.ok()) return ReportError({}, proposed.status());
    fields = *std::move(proposed);
  } else {
    auto proposed = SourceTableDef();
    if (!proposed.ok()) return ReportError({}, proposed.status());
    fields = ProposeFields(*proposed);
  }
  name = base::NamePart(state_.source.file_name);
  if (const std::size_t point = name.rfind('.'); point != std::string::npos && point > 0)
    name.erase(point);
  frmNewTable form(platform_, name, std::move(fields),
                   [this](const std::string& table, const std::vector<ProposedField>& wanted) {
                     return MakeTable(table, wanted);
                   });
  platform_.ShowModal(form);
  ShowCurrentStep();
}

// The format may have changed names (length, characters), so pairs are made by position.
Status frmKelvorin::MakeTable(const std::string& name, const std::vector<ProposedField>& fields) {
  database::Database& database = *state_.target.database;
  database::TableDef wanted;
  wanted.Name = name;
  for (const ProposedField& proposed : fields) wanted.Fields.push_back(proposed.field);
  KV_TRY(database.CreateTable(wanted));
  const Result<database::TableDef> made = database.FindTableDef(name);
  if (!made.ok()) return made.status();
  controls.CBoxTables.AddItem(name);
  controls.CBoxTables.SelectItem(static_cast<int>(controls.CBoxTables.items().size()) - 1);
  controls.LblTableNote.SetCaption({});
  KV_TRY(OpenTargetTable(name, database.IsOdbc() ? std::int16_t{contract::kOdbc}
                                                 : caller_->properties().DefaultSourceType));
  const textsource::BreakList* breaks = state_.setting.TypeFormat == 1 ? &state_.breaks : nullptr;
  const std::vector<catalog::TargetField>& targets = state_.target.fields;
  for (std::size_t i = 0; i < targets.size(); ++i)
    for (std::size_t n = 0; n < made->Fields.size() && n < fields.size(); ++n)
      if (made->Fields[n].Name == targets[i].Name)
        mapping::MapTo(state_.setting.FieldMap[i], fields[n].source_no, breaks);
  mapped_by_hand_ = true;
  recordset_used_ = false;
  return Status();
}

Result<database::TableDef> frmKelvorin::SourceTableDef() {
  std::unique_ptr<database::Database> own;
  database::Database* database = state_.source.kept.get();
  if (state_.setting.TypeFormat != contract::kAccess || database == nullptr) {
    auto opened = catalog::OpenSourceDatabase(engine_, state_.setting.TypeFormat, state_.source);
    if (!opened.ok()) return opened.status();
    own = *std::move(opened);
    database = own.get();
  }
  Result<database::TableDef> table = database->FindTableDef(state_.source.file_name);
  if (own) KV_TRY(own->Close());
  return table;
}

void frmKelvorin::InitTargetTable() {
  catalog::Target& target = state_.target;
  target.fields = catalog::InitTargetTable(*target.recordset, target.table_name, caller_->events(),
                                           state_.setting.FieldMap);
}

}  // namespace kelvorin::wizard
