#pragma once
// Asks for an Access database file or an ODBC data source, and for a user and a password. The
// wizard's browse button shows it and reads its boxes afterwards; it opens no database.

#include "contract/form.h"
#include "contract/platform.h"
#include "database/engine.h"

namespace kelvorin::wizard {

class frmODBCLogon final : public contract::Form {
  using Kind = contract::ControlKind;

 public:
  /// `odbc_mode`: asks for a data source, else for a database file.
  frmODBCLogon(contract::Platform& platform, database::DBEngine& engine, bool odbc_mode);

  bool Confirmed() const noexcept { return confirmed_; }
  /// To be called when the boxes hold what the caller knows.
  void Form_Load();
  void GetDSNsAndDrivers();
  void UpdateOk();
  void BtnBrowseDB_Click();
  void BtnOk_Click();

  contract::Control fraConnection{*this, "fraConnection", Kind::kFrame, "Connection Values"};
  contract::Control LblDataBase{*this, "LblDataBase", Kind::kLabel, "&Database:"};
  contract::Control EdtDBName{*this, "EdtDBName", Kind::kEdit};
  contract::Control BtnBrowseDB{*this, "BtnBrowseDB", Kind::kButton, "..."};
  contract::Control LblDatasource{*this, "LblDatasource", Kind::kLabel, "&Datasource:"};
  contract::Control CBoxDataSources{*this, "CBoxDataSources", Kind::kCombo};
  contract::Control lblLabels_0{*this, "lblLabels_0", Kind::kLabel, "&UID:"};
  contract::Control EdtUserId{*this, "EdtUserId", Kind::kEdit};
  contract::Control lblLabels_1{*this, "lblLabels_1", Kind::kLabel, "&Password:"};
  contract::Control EdtPassword{*this, "EdtPassword", Kind::kEdit};
  contract::Control BtnOk{*this, "BtnOk", Kind::kButton, "&OK"};
  contract::Control cmdCancel{*this, "cmdCancel", Kind::kButton, "Cancel"};

 private:
  contract::Platform& platform_;
  database::DBEngine& engine_;
  bool odbc_mode_;
  bool confirmed_ = false;
};

/// Asks for one database password; the answer is empty when it was cancelled.
class frmDBPWD final : public contract::Form {
  using Kind = contract::ControlKind;

 public:
  frmDBPWD();
  const std::string& password() const noexcept { return password_; }
  void cmdOK_Click();
  void cmdCancel_Click();
  void CloseRequested() override { cmdCancel_Click(); }

  contract::Control lblLabels{*this, "lblLabels", Kind::kLabel, "&Enter database password:"};
  contract::Control txtPassword{*this, "txtPassword", Kind::kEdit};
  contract::Control cmdOK{*this, "cmdOK", Kind::kButton, "&OK"};
  contract::Control cmdCancel{*this, "cmdCancel", Kind::kButton, "&Cancel"};

 private:
  std::string password_;
};

}  // namespace kelvorin::wizard
