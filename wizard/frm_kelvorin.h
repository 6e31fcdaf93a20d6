#pragma once
// The wizard's form object: one per call of `Execute` or `BatchImport`. It owns everything that one
// instance knows (setting, open target, source) and has the named procedures; their rules live in
// the rooms below. The control and the command line make one; it never shows a window itself.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/M_Misc.h"
#include "base/status.h"
#include "catalog/connections.h"
#include "catalog/source.h"
#include "catalog/source_kinds.h"
#include "catalog/target.h"
#include "contract/form.h"
#include "contract/platform.h"
#include "database/engine.h"
#include "engine/import_run.h"
#include "mapping/field_mapping.h"
#include "settings/import_setting.h"
#include "textsource/break_list.h"
#include "textsource/preview_lines.h"
#include "wizard/break_editor.h"
#include "wizard/frm_advanced.h"
#include "wizard/frm_new_table.h"
#include "wizard/frm_rejected.h"
#include "wizard/frm_settings.h"
#include "wizard/job_habits.h"
#include "wizard/source_preview.h"
#include "wizard/suggestion.h"
#include "wizard/wizard_controls.h"

namespace kelvorin::wizard {

/// All that one wizard instance knows; one member per room.
struct WizardState {
  settings::ImportSetting setting;  // with its field map and `SettingName`
  textsource::BreakList breaks;
  textsource::PreviewLines preview;
  catalog::Target target;
  catalog::Source source;
};

/// One import without dialogs.
struct Job {
  catalog::TargetAddress target;
  std::string table;

  /// With a name: the setting of this name in `ini_file`, whose source may be replaced by the
  /// control's ImportDBName and ImportTable. The empty name is the default setting. Without one:
  /// `setting` and `breaks` as they are, its source taken as it stands there.
  std::optional<std::string> setting_name;
  std::string ini_file;
  settings::ImportSetting setting;
  textsource::BreakList breaks;

  std::string source_password;
  mapping::MapRequest map;  // carried out when target and source are known
  engine::RunOptions options;
};

/// How far a batch import came; selects what `LastError` begins with.
enum class BatchStep : std::int16_t {
  kOpenDatabase = -1,
  kOpenTable = -2,
  kSettings = -3,
  kOpenSource = -4,
  kRun = -5,
};

/// Where the wizard stands and what its buttons depend on.
struct StepState {
  int current = 0;        // index of the visible frame
  int first = 0;          // 1 when the host fixed the target table
  bool loaded = false;    // the preview holds the source's data
  bool starting = false;  // the start handler is under way
};

class frmKelvorin final : public contract::Form, private SettingsCaller {
 public:
  /// Both outlive the form. The engine has its drivers; its value format is changed for the time of
  /// a job that brings its own.
  frmKelvorin(database::DBEngine& engine, contract::Platform& platform)
      : Form("frmKelvorin"), engine_(engine), platform_(platform) {}

  /// Property record and event sink of the control; to be called before anything else.
  void SetCaller(contract::Caller& caller) noexcept { caller_ = &caller; }

  /// Runs the saved setting of this name (the default setting for an empty one) into the target
  /// that the control's properties name. 0 when the run ended without a fatal error, else -1 with
  /// the reason in `LastError`. Nothing is shown but the platform's progress dialog.
  std::int16_t DoBatchImport(std::string_view setting_name);

  /// The same for any job: opens the target, its table and the source, runs, and closes them. The
  /// state keeps the setting as it was run, mapping included. A failure is in `fatal` and in
  /// `LastError`.
  const engine::RunResult& RunJob(const Job& job);

  /// Of the last job or run.
  const engine::RunResult& result() const noexcept { return result_; }
  /// How far the last job came.
  BatchStep batch_step() const noexcept { return batch_step_; }

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
  const RejectedRecords& rejected() const noexcept { return rejected_; }

  // --- Named procedures of the form.
  /// Opens a target database and keeps it.
  Status OpenTarget(const catalog::TargetAddress& address);
  /// Opens the table of the target and loads its fields; the mapping is reset.
  Status OpenTargetTable(std::string_view table, std::int16_t kind);
  void InitTargetTable();
  /// Loads the setting named in the state from a settings file, and the source's names with it.
  Status ReadSetting(const std::string& ini_file);
  void SetDefaultSetting();
  /// Applies the source that ImportDBName and ImportTable or the setting name.
  Status ConnectToSourceTable();
  /// The text of the file name box changed.
  void EdtFileName_Change(std::string_view text);
  Status ListAccessTables();
  Status ListOdbcTables();
  /// Runs the setting of the state, under the progress dialog when ShowProgress is set.
  engine::RunResult StartImport(const engine::RunOptions& options);
  /// The run itself; `progress` is the dialog on the screen, or null.
  engine::RunResult DoImport(contract::ProgressView* progress, const engine::RunOptions& options);

  /// Names of the source's fields in order: those of the table, or a text source's columns as its
  /// first records show them. Opens and closes the source.
  /// With `whole_file` all records of a text source are looked at, else the first twenty.
  Result<std::vector<std::string>> SourceFieldNames(bool whole_file = false);

  WizardState& state() noexcept { return state_; }
  /// Tables of the source that was listed last.
  const std::vector<std::string>& source_tables() const noexcept { return source_tables_; }

 private:
  engine::RunInputs Inputs(const engine::RunOptions& options);
  Status ApplyHabits(const Job& job, JobHabits& habits);
  Status OpenJob(const Job& job);
  Status LoadJobSetting(const Job& job);
  Status MapFields(const mapping::MapRequest& request);
  void SetLastError(std::string text);
  void ReportFailure(const Job& job, const Status& status);

  // --- Of the window (start.cpp, steps.cpp, source_controls.cpp, previews.cpp, mapping_grid.cpp,
  // settings_controls.cpp, finish.cpp).
  void ConnectControls();
  Status StartTarget();
  void OfferSourceKinds();
  bool LoadStartSetting();
  void ApplyStartHabits();
  void TakeHabits();
  void ApplySource(bool setting_loaded);
  void GoTo(int step);
  void GoOn();
  void GoToStepOfKind();
  void FileNameBox_Change();
  void ShowSourceControls();
  void ShowFileName();
  void ShowTableList();
  void BrowseDatabase();
  /// Opens the database of a candidate and lists its tables. Only what could be listed becomes the
  /// source; a failure leaves source and list as they are.
  Status TakeDatabase(std::int32_t kind, catalog::Source candidate);
  /// Puts the source away under the family of its kind, and takes up the one of another family:
  /// the file of the name box where it is of that family, else what was put away for it.
  void LeaveSource(std::int32_t old_kind);
  void EnterSource(std::int32_t kind);
  void CloseKeptSource();
  /// Why the source step cannot be left, or what else is to be said about the source.
  std::string SourceNote() const;
  void TakeSample();
  void RefreshPreview();
  void ShowSeparators();
  void ShowStatus(const PreviewTable& table);
  Result<database::TableDef> SourceTableDef();
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
  void MapAll(bool by_name);
  bool AnyRowMapped() const;
  void DoImport(contract::ProgressView* progress);
  /// A run leaves its record set as it ends: the next one begins on one opened anew.
  Status ReopenTargetTable();
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
  std::string Preface() const;
  void ReportError(std::string_view message, const Status& why);
  void ShowSettingCaption();
  bool IsText() const noexcept;
  bool SourceHasFileBox() const noexcept;

  void SetChosenSetting(std::string name) override { chosen_setting_ = std::move(name); }
  const std::string& CurrentSettingName() const override { return state_.setting.SettingName; }
  const std::string& WizardCaption() const override { return caption(); }
  void ResetCaption() override { SetCaption(caller_->properties().ImportCaption); }

  database::DBEngine& engine_;
  contract::Platform& platform_;
  contract::Caller* caller_ = nullptr;
  std::optional<JobHabits> habits_;  // of the setting at hand, while the window lives
  WizardState state_;
  StepState steps_;
  TextSample sample_;
  std::optional<textsource::DetectedLayout> suggestion_;  // for the text file at hand
  std::string suggested_for_;                             // its path
  BreakEditor break_editor_{state_.breaks};
  RejectedRecords rejected_;
  std::string preface_;
  base::LocalTime ended_at_{};  // the last run
  std::string chosen_setting_;
  bool running_ = false;
  bool close_after_run_ = false;
  bool mapped_by_hand_ = false;        // and neither imported nor saved since
  bool imported_something_ = false;    // into the target, since the wizard was opened
  bool typing_breaks_ = false;         // the box of the breaks holds what is not committed
  bool in_breaks_box_ = false;         // the change under way comes from there
  bool new_table_wanted_ = false;      // on the way to the mapping step
  bool recordset_used_ = false;        // by a run
  std::optional<Inventory> last_run_;  // what the last run imported
  std::vector<std::string> source_tables_;
  std::string sample_problem_;  // why the text file could not be read
  struct LeftSource {
    catalog::Source source;
    std::vector<std::string> tables;
    std::string box;  // text of the file name box
  };
  std::map<catalog::Family, LeftSource> left_;  // by the family of the kind that was left
  engine::RunResult result_;
  BatchStep batch_step_ = BatchStep::kOpenDatabase;
  bool applying_setting_ = false;
};

}  // namespace kelvorin::wizard
