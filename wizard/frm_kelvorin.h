#pragma once
// The wizard's form object: one per call of `Execute`. It holds a job, shows it, and has the named
// procedures; the rules live in the job and the rooms below it. It never shows a window itself.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/M_Misc.h"
#include "base/language.h"
#include "base/status.h"
#include "catalog/source.h"
#include "catalog/source_kinds.h"
#include "contract/form.h"
#include "contract/platform.h"
#include "database/engine.h"
#include "job/job.h"
#include "job/rejected_records.h"
#include "job/suggestion.h"
#include "settings/import_setting.h"
#include "textsource/break_list.h"
#include "wizard/break_editor.h"
#include "wizard/frm_advanced.h"
#include "wizard/frm_new_table.h"
#include "wizard/frm_settings.h"
#include "wizard/pasted_text.h"
#include "wizard/source_preview.h"
#include "wizard/wizard_controls.h"

namespace kelvorin::wizard {

/// Where the wizard stands and what its buttons depend on.
struct StepState {
  WizardStep current = WizardStep::kTarget;
  WizardStep first = WizardStep::kTarget;  // kSource when the host fixed the target table
  bool loaded = false;                     // the preview holds the source's data
  bool starting = false;                   // the start handler is under way
};

class frmKelvorin final : public contract::Form, private SettingsCaller {
 public:
  /// Both outlive the form. The engine has its drivers.
  frmKelvorin(database::DBEngine& engine, contract::Platform& platform)
      : Form("frmKelvorin"), engine_(engine), platform_(platform), job_(engine, platform) {}

  /// Property record and event sink of the control; to be called before anything else.
  void SetCaller(contract::Caller& caller) noexcept { job_.SetCaller(caller); }

  /// Opens the wizard and returns when it has closed. A failure at the start is shown and left in
  /// `LastError`, and no window appears.
  void Execute();

  // --- Named procedures of the window.
  /// The start handler: opens the target, fills the lists, loads a setting, applies the source.
  Status Form_Load();
  void Form_Unload();
  void CloseRequested() override { BtnCancel_Click(); }
  void Abandoned() override;
  /// The host shows its help, where it has some.
  void HelpRequested() override;
  /// Asks first when fields were mapped by hand and nothing came of it yet.
  void BtnCancel_Click();
  void BtnNext_Click();
  void BtnPrev_Click();
  void ShowCurrentStep();
  void UpdateControls();
  void EmptyAllGrid();
  void EmptyVisibleGrid();
  void EmptyFixedVisibleGrid();
  void CBoxTables_Click();
  /// On the target step: goes on to the source, whose fields the new table is going to have; on the
  /// mapping step: proposes that table.
  void BtnNewTable_Click();
  void CBoxTypeFormat_Click();
  void BtnBrowseFiles_Click();
  void BtnDetect_Click();
  /// The text of the clipboard becomes a file, which lives as long as the wizard is open.
  void BtnPaste_Click();
  void BtnSuggestion_Click();
  void CBoxHeader_Click();
  void lstTables_Click();
  void CBoxComma_Click();
  void CBoxOtherChar_Click();
  void CBoxDelimiter_Click();
  void UpdateVarPreview();
  void UpdateSrcTablePreview();
  void UpdateFixedPreview();
  void DisplayFieldNames();
  void FillSourceFields();
  void CBoxSourceFields_Click();
  void IgnoreCurrentRow();
  void GrdMapping_RowChange(int old_row);
  void BtnMapEqualNames_Click();
  void BtnMapInOrder_Click();
  void BtnAdvanced_Click();
  void BtnSettings_Click();
  void BtnSaveSetting_Click();
  void BtnFinish_Click();
  void BtnRejected_Click();
  void BtnReport_Click();

  WizardControls controls{*this};
  BreakEditor& break_editor() noexcept { return break_editor_; }
  const StepState& steps() const noexcept { return steps_; }
  bool running() const noexcept { return running_; }

  // --- The job.
  job::State& state() noexcept { return job_.state(); }
  const job::State& state() const noexcept { return job_.state(); }
  /// Of the last run.
  const engine::RunResult& result() const noexcept { return job_.result(); }
  const job::RejectedRecords& rejected() const noexcept { return rejected_; }

 private:
  // --- Of the window (start.cpp, steps.cpp, source_controls.cpp, previews.cpp, mapping_grid.cpp,
  // settings_controls.cpp, finish.cpp).
  void ConnectControls();
  Status StartTarget();
  void OfferSourceKinds();
  bool LoadStartSetting();
  void ApplyStartLocale();
  void TakeLocale();
  void ApplySource(bool setting_loaded);
  void GoTo(WizardStep step);
  void GoOn();
  void GoToStepOfKind();
  void FileNameBox_Change();
  void ShowSourceControls();
  void ShowFileName();
  void ShowTableList();
  void BrowseDatabase();
  /// Puts the source away under the family of its kind, and takes up the one of another family:
  /// the file of the name box where it is of that family, else what was put away for it.
  void LeaveSource(std::int32_t old_kind);
  void EnterSource(std::int32_t kind);
  /// Why the source step cannot be left, or what else is to be said about the source.
  std::string SourceNote() const;
  void TakeSample();
  void RefreshPreview();
  void ShowSeparators();
  void ShowStatus(const PreviewTable& table);
  Status MakeTable(const std::string& name, const std::vector<ProposedField>& fields);
  frmAdvanced::Sample SampleUnder(const settings::ImportSetting& setting);
  void ShowHeader();
  void ShowSuggestion();
  /// Reads the text file anew by the layout of the setting, guessing nothing.
  void ReadAgain();
  void EdtBreaks_Change();
  void EdtBreaks_Commit();
  void PlaceChooser();
  void SelectPreviewColumnOf(std::size_t row);
  void ShowMappedCount();
  /// Marks the values shown that the fields they are mapped to would not keep as they are.
  void MarkDoubts();
  void FillMapping(std::vector<contract::Grid::Row> rows);
  void MapAll(bool by_name);
  bool AnyRowMapped() const;
  void DoImport(contract::ProgressView* progress);
  void ShowOutcome();
  /// All that an import depends on and the wizard can change.
  struct Inventory {
    settings::ImportSetting setting;
    textsource::BreakList breaks;
    std::string target_table;
    bool operator==(const Inventory&) const = default;
  };
  Inventory TakeInventory() const;
  void SaveLastSetting();
  void ReportError(const base::Message& message, const Status& why);
  void ShowSettingCaption();
  bool IsText() const noexcept;
  contract::Caller& caller() const noexcept { return job_.caller(); }
  bool SourceHasFileBox() const noexcept;

  void SetChosenSetting(std::string name) override { chosen_setting_ = std::move(name); }
  const std::string& CurrentSettingName() const override { return state().setting.SettingName; }
  const std::string& WizardCaption() const override { return caption(); }
  void ResetCaption() override { SetCaption(caller().properties().ImportCaption); }
  void SettingRenamed(const std::string& name) override {
    state().setting.SettingName = name;
    if (!caption().empty()) ShowSettingCaption();
  }

  database::DBEngine& engine_;
  contract::Platform& platform_;
  job::Job job_;
  StepState steps_;
  TextSample sample_;
  job::ShownValues shown_values_;  // of the preview grid
  std::string shape_note_;         // what the status line says of the records' shape
  struct Suggestion {
    std::string file;
    std::optional<textsource::DetectedLayout> layout;  // nothing where none was found
  };
  Suggestion suggestion_;  // for the text file at hand
  std::optional<PastedText> pasted_;
  BreakEditor break_editor_{job_.state().breaks};
  job::RejectedRecords rejected_;
  base::LocalTime ended_at_{};  // the last run
  std::string chosen_setting_;
  bool running_ = false;
  bool close_after_run_ = false;
  bool mapped_by_hand_ = false;        // and neither imported nor saved since
  bool imported_something_ = false;    // into the target, since the wizard was opened
  bool typing_breaks_ = false;         // the box of the breaks holds what is not committed
  bool in_breaks_box_ = false;         // the change under way comes from there
  bool new_table_wanted_ = false;      // on the way to the mapping step
  std::optional<Inventory> last_run_;  // what the last run imported
  struct LeftSource {
    catalog::Source source;
    std::string box;  // text of the file name box
  };
  std::map<catalog::Family, LeftSource> left_;  // by the family of the kind that was left
};

}  // namespace kelvorin::wizard
