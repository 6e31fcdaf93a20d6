#include "base/M_FILE.h"
#include "wizard/frm_kelvorin.h"

namespace kelvorin::wizard {

void frmKelvorin::BtnNewTable_Click() {
  if (!state().target.database) return;
  if (steps_.current != WizardStep::kMapping) {
    new_table_wanted_ = true;
    if (steps_.current == WizardStep::kTarget) GoTo(WizardStep::kSource);
    return;
  }
  std::vector<ProposedField> fields;
  std::string name;
  if (IsText()) {
    platform_.SetWaitCursor(true);
    auto proposed =
        ProposeFields(state().source.file_name, state().setting, state().breaks, engine_.Format());
    platform_.SetWaitCursor(false);
    if (!proposed.ok()) return ReportError({}, proposed.status());
    fields = *std::move(proposed);
  } else {
    auto proposed = job_.SourceTableDef();
    if (!proposed.ok()) return ReportError({}, proposed.status());
    fields = ProposeFields(*proposed);
  }
  name = base::NamePart(state().source.file_name);
  if (const std::size_t point = name.rfind('.'); point != std::string::npos && point > 0)
    name.erase(point);
  frmNewTable form(platform_, name, std::move(fields),
                   [this](const std::string& table, const std::vector<ProposedField>& wanted) {
                     return MakeTable(table, wanted);
                   });
  platform_.ShowModal(form);
  ShowCurrentStep();
}

Status frmKelvorin::MakeTable(const std::string& name, const std::vector<ProposedField>& fields) {
  database::TableDef wanted;
  wanted.Name = name;
  std::vector<std::size_t> source_numbers;
  for (const ProposedField& proposed : fields) {
    wanted.Fields.push_back(proposed.field);
    source_numbers.push_back(proposed.source_no);
  }
  const Result<database::TableDef> made = job_.MakeTargetTable(wanted);
  if (!made.ok()) return made.status();
  controls.CBoxTables.AddItem(name);
  controls.CBoxTables.SelectItem(static_cast<int>(controls.CBoxTables.items().size()) - 1);
  controls.LblTableNote.SetCaption({});
  KV_TRY(job_.OpenMadeTable(name, *made, source_numbers));
  mapped_by_hand_ = true;
  return Status();
}

}  // namespace kelvorin::wizard
