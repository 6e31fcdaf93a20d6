#pragma once
// A wizard without windows: the target "Goods" in memory, a host that listens, and a platform whose
// answers are scripted and whose questions and dialogs are noted.

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "settings/setting_store.h"
#include "tests/engine/run_rig.h"
#include "wizard/frm_advanced.h"
#include "wizard/frm_kelvorin.h"
#include "wizard/frm_odbc_logon.h"
#include "wizard/frm_progress.h"
#include "wizard/frm_rejected.h"
#include "wizard/frm_settings.h"

namespace kelvorin::tests {

class ScriptedPlatform final : public contract::Platform {
 public:
  contract::Answer Ask(const contract::MessageBox& box) override {
    boxes.push_back(box);
    if (answers.empty()) return contract::Answer::kCancel;
    const contract::Answer answer = answers.front();
    answers.pop_front();
    return answer;
  }
  void SetWaitCursor(bool on) override { wait_cursors += on ? 1 : -1; }
  void Yield() override {
    ++yields;
    if (on_yield) on_yield();
  }
  contract::ProgressView* Progress() override { return nullptr; }
  Status CanShowForms() const override { return windows; }
  /// Runs what the test wants to do in the form; the progress dialog is activated without being
  /// asked.
  void ShowModal(contract::Form& form) override {
    shown.push_back(form.name());
    form.SetShown(true);
    if (in_form.count(form.name()) > 0) in_form[form.name()](form);
    if (form.name() == "frmProgress") form.Form_Activate();
    form.SetShown(false);
  }
  std::string ChooseFile(const contract::FileDialog& dialog) override {
    dialogs.push_back(dialog);
    return file;
  }
  std::string ClipboardText() override { return clipboard; }
  std::string InputBox(std::string_view title, std::string_view prompt,
                       std::string_view text) override {
    boxes.push_back({std::string(prompt) + "|" + std::string(text), std::string(title)});
    return input;
  }
  template <typename F>
  void In(const std::string& name, std::function<void(F&)> act) {
    in_form[name] = [act](contract::Form& form) { act(dynamic_cast<F&>(form)); };
  }

  std::deque<contract::Answer> answers;
  std::vector<contract::MessageBox> boxes;
  std::vector<contract::FileDialog> dialogs;
  std::vector<std::string> shown;
  std::map<std::string, std::function<void(contract::Form&)>> in_form;
  std::string file;
  std::string input;
  std::string clipboard;
  Status windows;
  std::function<void()> on_yield;
  int yields = 0;
  int wait_cursors = 0;
};

/// What a test does inside the wizard after it has started.
struct WizardRig : RunRig {
  explicit WizardRig(database::TableDef table = Goods(), bool odbc = false)
      : RunRig(std::move(table), odbc) {
    CHECK(target.Close().ok());
    contract::Properties& p = host.properties();
    p.DataBaseName = "shop";
    p.tableName = "Goods";
    p.IniFile = folder.File("k.ini");
    p.ShowProgress = p.ShowSummary = true;
  }
  void Start() {
    form.emplace(engine, screen);
    form->SetCaller(host);
    started = form->Form_Load();
    c = &form->controls;
  }
  std::string File(const std::string& name, std::string_view contents) {
    WriteWhole(folder.File(name), contents);
    return folder.File(name);
  }
  /// Starts on a source file with these contents.
  void StartOn(const std::string& name, std::string_view contents) {
    host.properties().ImportDBName = File(name, contents);
    Start();
  }
  /// Goes on to the mapping and takes the fields in their order.
  void MapInOrder() {
    Walk(c->BtnNext);
    c->BtnMapInOrder.UserClick();
  }
  void Import() {
    MapInOrder();
    c->BtnFinish.UserClick();
  }
  static void Choose(contract::Control& list, std::string_view text) {
    for (std::size_t i = 0; i < list.items().size(); ++i)
      if (list.items()[i] == text) return list.UserSelect(static_cast<int>(i));
    FAIL("no entry " << text);
  }
  /// The visible step and the enabled buttons: "1 BNFS" for Back, Next, Finish, Save.
  std::string Shown() const {
    std::string text = std::to_string(static_cast<int>(form->steps().current)) + " ";
    for (int i = 0; i < 5; ++i) {
      const auto step = static_cast<wizard::WizardStep>(i);
      CHECK(c->frame(step).visible() == (step == form->steps().current));
    }
    const std::pair<const contract::Control*, char> buttons[] = {
        {&c->BtnPrev, 'B'}, {&c->BtnNext, 'N'}, {&c->BtnFinish, 'F'}, {&c->BtnSaveSetting, 'S'}};
    for (const auto& [button, letter] : buttons) text += button->enabled() ? letter : '-';
    return text;
  }
  /// Steps passed by pressing a button until it is disabled.
  std::string Walk(contract::Control& button) {
    std::string path = std::to_string(static_cast<int>(form->steps().current));
    while (button.enabled()) {
      button.UserClick();
      path += std::to_string(static_cast<int>(form->steps().current));
    }
    return path;
  }
  std::string MapColumn(std::size_t column) const {
    std::string text;
    for (const auto& row : c->GrdMapping.rows())
      text += "|" + row[column].text + (row[column].bold ? "*" : "");
    return text.substr(1);
  }
  settings::ImportSetting Stored(const std::string& name) {
    settings::ImportSetting stored;
    stored.SettingName = name;
    textsource::BreakList ignored;
    CHECK(
        settings::ReadSetting(settings::IniFile(host.properties().IniFile), stored, ignored).ok());
    return stored;
  }

  ScriptedPlatform screen;
  std::optional<wizard::frmKelvorin> form;
  wizard::WizardControls* c = nullptr;
  Status started;
};

}  // namespace kelvorin::tests
