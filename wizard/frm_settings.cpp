#include "wizard/frm_settings.h"

#include <utility>

#include "settings/setting_store.h"

namespace kelvorin::wizard {

frmSettings::frmSettings(contract::Platform& platform, settings::IniFile ini)
    : Form("frmSettings", "Import Settings"), platform_(platform), ini_(std::move(ini)) {
  LBoxSettings.accessible_name = "Available settings";
  LBoxSettings.on_double_click = [this] { BtnOpen_Click(); };
  BtnOpen.on_click = [this] { BtnOpen_Click(); };
  BtnDelete.on_click = [this] { BtnDelete_Click(); };
  BtnCancel.on_click = [this] { BtnCancel_Click(); };
  BtnOpen.default_button = true;
  BtnCancel.cancel_button = true;
  BtnOpen.shortcut = 'O';
  BtnDelete.shortcut = 'D';
  BtnCancel.shortcut = 'C';
}

void frmSettings::Form_Load() {
  LBoxSettings.SetItems(ini_.FillSettingsList(settings::kIndexSection));
  if (!LBoxSettings.items().empty()) LBoxSettings.SelectItem(0);
  UpdateButtons();
}

void frmSettings::UpdateButtons() {
  const bool any = !LBoxSettings.items().empty();
  BtnDelete.SetEnabled(any);
  BtnOpen.SetEnabled(any);
}

void frmSettings::BtnOpen_Click() {
  if (LBoxSettings.list_index() == -1) return;
  caller_->SetChosenSetting(LBoxSettings.text());
  Close();
}

void frmSettings::BtnDelete_Click() {
  if (LBoxSettings.list_index() == -1) return;
  const std::string name = LBoxSettings.text();
  if (platform_.Ask({"Are you sure that you want to delete the setting '" + name + "' ?",
                     "Confirmation", contract::Icon::kQuestion, contract::Buttons::kOkCancel}) !=
      contract::Answer::kOk)
    return;
  // A file that cannot be written keeps its contents, quietly.
  static_cast<void>(settings::DeleteSetting(ini_, name).ok());
  LBoxSettings.RemoveItem(static_cast<std::size_t>(LBoxSettings.list_index()));
  if (!LBoxSettings.items().empty()) LBoxSettings.SelectItem(0);
  UpdateButtons();
  if (name == caller_->CurrentSettingName() && !caller_->WizardCaption().empty())
    caller_->ResetCaption();
}

}  // namespace kelvorin::wizard
