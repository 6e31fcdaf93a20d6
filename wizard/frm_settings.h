#pragma once
// The list of saved settings: opens one into the wizard or deletes it. The wizard makes and shows
// it and loads what was chosen; the form only touches the settings file's sections.

#include <string>

#include "contract/form.h"
#include "contract/platform.h"
#include "settings/ini_file.h"

namespace kelvorin::wizard {

/// The wizard as the list of settings sees it.
class SettingsCaller {
 public:
  virtual ~SettingsCaller() = default;
  virtual void SetChosenSetting(std::string name) = 0;
  virtual const std::string& CurrentSettingName() const = 0;
  virtual const std::string& WizardCaption() const = 0;
  /// The caption loses the name of the setting.
  virtual void ResetCaption() = 0;
  /// The setting at hand has another name now.
  virtual void SettingRenamed(const std::string& name) = 0;
};

class frmSettings final : public contract::Form {
  using Kind = contract::ControlKind;

 public:
  frmSettings(contract::Platform& platform, settings::IniFile ini);

  void SetCaller(SettingsCaller& caller) noexcept { caller_ = &caller; }
  void Form_Load();
  void BtnOpen_Click();
  void BtnDelete_Click();
  void BtnRename_Click() { StoreAs(true); }
  void BtnCopy_Click() { StoreAs(false); }
  void BtnCancel_Click() { Close(); }

  contract::Control Label1{*this, "Label1", Kind::kLabel, "Available settings"};
  contract::Control LBoxSettings{*this, "LBoxSettings", Kind::kList};
  contract::Control BtnOpen{*this, "BtnOpen", Kind::kButton, "Open"};
  contract::Control BtnDelete{*this, "BtnDelete", Kind::kButton, "Delete"};
  contract::Control BtnRename{*this, "BtnRename", Kind::kButton, "Rename..."};
  contract::Control BtnCopy{*this, "BtnCopy", Kind::kButton, "Copy..."};
  contract::Control BtnCancel{*this, "BtnCancel", Kind::kButton, "Close"};

 private:
  void UpdateButtons();
  void StoreAs(bool rename);
  contract::Platform& platform_;
  settings::IniFile ini_;
  SettingsCaller* caller_ = nullptr;
};

}  // namespace kelvorin::wizard
