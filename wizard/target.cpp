#include "catalog/tables.h"
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

void frmKelvorin::InitTargetTable() {
  catalog::Target& target = state_.target;
  target.fields = catalog::InitTargetTable(*target.recordset, target.table_name, caller_->events(),
                                           state_.setting.FieldMap);
}

}  // namespace kelvorin::wizard
