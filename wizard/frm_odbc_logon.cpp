#include "wizard/frm_odbc_logon.h"

#include "base/language.h"

#include "base/M_STRING.h"

namespace kelvorin::wizard {

using base::Tr;

frmODBCLogon::frmODBCLogon(contract::Platform& platform, database::DBEngine& engine, bool odbc_mode)
    : Form("frmODBCLogon", "Database Logon"),
      platform_(platform),
      engine_(engine),
      odbc_mode_(odbc_mode) {
  EdtPassword.password = EdtPassword.select_on_focus = true;
  EdtDBName.select_on_focus = true;  // a path that is typed replaces the one that stood there
  EdtDBName.file_name = true;
  EdtDBName.accessible_name = Tr("Database");
  BtnBrowseDB.accessible_name = BtnBrowseDB.tool_tip = Tr("Browse for the database");
  CBoxDataSources.accessible_name = Tr("Datasource");
  EdtUserId.accessible_name = Tr("User id");
  EdtPassword.accessible_name = Tr("Password");
  BtnOk.default_button = true;
  cmdCancel.cancel_button = true;
  CBoxDataSources.on_click = EdtDBName.on_change = [this] { UpdateOk(); };
  BtnBrowseDB.on_click = [this] { BtnBrowseDB_Click(); };
  BtnOk.on_click = [this] { BtnOk_Click(); };
  cmdCancel.on_click = [this] { Close(); };
}

void frmODBCLogon::Form_Load() {
  confirmed_ = false;
  if (odbc_mode_) GetDSNsAndDrivers();
  for (contract::Control* control : {&BtnBrowseDB, &EdtDBName, &LblDataBase})
    control->SetVisible(!odbc_mode_);
  for (contract::Control* control : {&LblDatasource, &CBoxDataSources})
    control->SetVisible(odbc_mode_);
  UpdateOk();
}

void frmODBCLogon::GetDSNsAndDrivers() {
  const Result<std::vector<database::DataSource>> sources = engine_.DataSources();
  if (!sources.ok()) return;  // quiet: the list stays empty and only Cancel is left
  for (const database::DataSource& source : *sources)
    if (!base::Trim(source.Name).empty()) CBoxDataSources.AddItem(source.Name);
  if (!CBoxDataSources.items().empty()) CBoxDataSources.SelectItem(0);
}

void frmODBCLogon::UpdateOk() {
  BtnOk.SetEnabled(odbc_mode_ ? CBoxDataSources.list_index() != -1 : !EdtDBName.text().empty());
}

void frmODBCLogon::BtnBrowseDB_Click() {
  contract::FileDialog dialog;
  dialog.filter = "Access(*.mdb)|*.mdb|Access 2007 and later(*.accdb)|*.accdb|All Files (*.*)|*.*";
  dialog.file_name = EdtDBName.text();
  const std::string chosen = platform_.ChooseFile(dialog);
  if (!chosen.empty()) EdtDBName.SetText(chosen);
}

void frmODBCLogon::BtnOk_Click() {
  confirmed_ = true;
  Close();
}

frmDBPWD::frmDBPWD() : Form("frmDBPWD", "Password Required") {
  txtPassword.password = txtPassword.select_on_focus = true;
  txtPassword.accessible_name = Tr("Database password");
  cmdOK.default_button = true;
  cmdCancel.cancel_button = true;
  cmdOK.on_click = [this] { cmdOK_Click(); };
  cmdCancel.on_click = [this] { cmdCancel_Click(); };
}

void frmDBPWD::cmdOK_Click() {
  password_ = txtPassword.text();
  Close();
}

void frmDBPWD::cmdCancel_Click() {
  password_.clear();
  Close();
}

}  // namespace kelvorin::wizard
