#include "wizard/frm_settings.h"

#include "base/language.h"

#include <utility>

#include "settings/setting_store.h"

namespace kelvorin::wizard {

using base::Tr;

frmSettings::frmSettings(contract::Platform& platform, settings::IniFile ini)
    : Form("frmSettings", "Import Settings"), platform_(platform), ini_(std::move(ini)) {
  LBoxSettings.accessible_name = Tr("Available settings");
  LBoxSettings.on_double_click = [this] { BtnOpen_Click(); };
  BtnOpen.on_click = [this] { BtnOpen_Click(); };
  BtnDelete.on_click = [this] { BtnDelete_Click(); };
  BtnRename.on_click = [this] { BtnRename_Click(); };
  BtnCopy.on_click = [this] { BtnCopy_Click(); };
  BtnCancel.on_click = [this] { BtnCancel_Click(); };
  BtnOpen.default_button = true;
  BtnCancel.cancel_button = true;
  BtnOpen.shortcut = 'O';
  BtnDelete.shortcut = 'D';
  BtnRename.shortcut = 'R';
  BtnCopy.shortcut = 'P';
  BtnCancel.shortcut = 'C';
}

void frmSettings::Form_Load() {
  LBoxSettings.SetItems(ini_.FillSettingsList(settings::kIndexSection));
  if (!LBoxSettings.items().empty()) LBoxSettings.SelectItem(0);
  UpdateButtons();
}

void frmSettings::UpdateButtons() {
  const bool any = !LBoxSettings.items().empty();
  for (contract::Control* button : {&BtnOpen, &BtnDelete, &BtnRename, &BtnCopy})
    button->SetEnabled(any);
}

void frmSettings::BtnOpen_Click() {
  if (LBoxSettings.list_index() == -1) return;
  caller_->SetChosenSetting(LBoxSettings.text());
  Close();
}

void frmSettings::StoreAs(bool rename) {
  if (LBoxSettings.list_index() == -1) return;
  const std::string name = LBoxSettings.text();
  const std::string other = platform_.InputBox(Tr(rename ? "Rename Setting" : "Copy Setting"),
                                               Tr("Type in the new name of the setting:"), name);
  if (other.empty() || other == name) return;
  const Status stored = settings::CopySetting(ini_, name, other, rename);
  if (!stored.ok()) {
    platform_.Ask({std::string(stored.message()), Tr("Error"), contract::Icon::kCritical,
                   contract::Buttons::kOk});
    return;
  }
  LBoxSettings.SetItems(ini_.FillSettingsList(settings::kIndexSection));
  for (std::size_t i = 0; i < LBoxSettings.items().size(); ++i)
    if (LBoxSettings.items()[i] == other) LBoxSettings.SelectItem(static_cast<int>(i));
  if (rename && name == caller_->CurrentSettingName()) caller_->SettingRenamed(other);
}

void frmSettings::BtnDelete_Click() {
  if (LBoxSettings.list_index() == -1) return;
  const std::string name = LBoxSettings.text();
  if (platform_.Ask({Tr("Are you sure that you want to delete the setting '%1' ?", {name}),
                     Tr("Confirmation"), contract::Icon::kQuestion,
                     contract::Buttons::kOkCancel}) != contract::Answer::kOk)
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
