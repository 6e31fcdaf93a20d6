#pragma once
// One import job: its setting, the open target, the source and the mapping between them. It runs
// without any form, from a saved setting or from a request, and a form that shows a job works on
// it step by step. Nothing here asks or shows anything but the platform's progress dialog.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "catalog/connections.h"
#include "catalog/source.h"
#include "catalog/target.h"
#include "contract/no_host.h"
#include "contract/platform.h"
#include "database/engine.h"
#include "engine/import_run.h"
#include "job/job_locale.h"
#include "mapping/field_mapping.h"
#include "settings/import_setting.h"
#include "textsource/break_list.h"
#include "textsource/preview_lines.h"

namespace kelvorin::job {

/// What a job works with; one member per room.
struct State {
  settings::ImportSetting setting;  // with its field map and `SettingName`
  textsource::BreakList breaks;
  textsource::PreviewLines preview;  // of a text source
  catalog::Target target;
  catalog::Source source;
};

/// A setting by its name in a settings file. The empty name is the default setting.
struct SavedSetting {
  std::string name;
  std::string ini_file;
};

/// One import from opening the target to closing it.
struct Request {
  catalog::TargetAddress target;
  std::string table;

  /// The setting to run; its source may be replaced by the control's ImportDBName and ImportTable.
  /// Without one: `setting` and `breaks` as they are, the source taken as it stands there.
  std::optional<SavedSetting> saved;
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

/// Where the kind and the layout of a text file come from.
enum class Layout : std::uint8_t { kOfSetting, kDetected };

class Job {
 public:
  /// Both outlive the job. The engine has its drivers; its value format is changed while a setting
  /// that brings its own is in force.
  Job(database::DBEngine& engine, contract::Platform& platform) noexcept
      : engine_(engine), platform_(platform) {}
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;

  /// Properties and events of the host, which outlives the job; to be called before anything else.
  /// Without it the job has no host.
  void SetCaller(contract::Caller& caller) noexcept { caller_ = &caller; }
  contract::Caller& caller() const noexcept { return *caller_; }

  // --- The whole job.
  /// Runs the saved setting of this name (the default setting for an empty one) into the target
  /// that the control's properties name. 0 when the run ended without a fatal error, else -1 with
  /// the reason in `LastError`.
  std::int16_t BatchImport(std::string_view setting_name);
  /// The same for any request: opens the target, its table and the source, runs, and closes them.
  /// The state keeps the setting as it was run, mapping included. A failure is in `fatal` and in
  /// `LastError`.
  const engine::RunResult& Run(const Request& request);
  /// Of the last run.
  const engine::RunResult& result() const noexcept { return result_; }
  /// How far the last request came.
  BatchStep batch_step() const noexcept { return batch_step_; }

  // --- Step by step.
  State& state() noexcept { return state_; }
  const State& state() const noexcept { return state_; }

  /// Puts the code pages and formats of a setting in force, until `Close`. To be called before a
  /// database is opened.
  Status ApplyLocale(const settings::ImportSetting& setting);

  /// Opens a target database and keeps it.
  Status OpenTarget(const catalog::TargetAddress& address);
  /// Opens the target that the control's properties name, of the kind `DefaultSourceType`.
  Status OpenHostTarget();
  /// Opens a table of the target and loads its fields; the mapping is reset.
  Status OpenTargetTable(std::string_view table);
  /// Opens database and table anew, where the encoding of texts has changed; the mapping stays.
  Status ReopenTarget(const std::string& table);
  /// Makes the record set ready for a run: a run leaves its record set as it ends, so the next one
  /// begins on one opened anew. Fails where the table has changed meanwhile.
  Status PrepareTargetTable();
  /// Makes a table in the target, and returns it as it was made.
  Result<database::TableDef> MakeTargetTable(const database::TableDef& wanted);
  /// Opens it; field i is mapped to source field `source_numbers` i. The format may have changed
  /// names (length, characters), so pairs are made by position.
  Status OpenMadeTable(const std::string& name, const database::TableDef& made,
                       const std::vector<std::size_t>& source_numbers);

  /// Loads the setting named in the state from a settings file, and the source's names with it.
  Status ReadSetting(const std::string& ini_file);
  void SetDefaultSetting();
  /// Stores the setting, with the source's names, under the name that it has.
  Status SaveSetting(const std::string& ini_file);

  /// Applies the source that ImportDBName and ImportTable or the setting name.
  Status ConnectToSourceTable(Layout layout);
  /// Takes a file as the source. A text file is read, and its kind and layout are detected unless
  /// they are to be those of the setting.
  void TakeFile(std::string_view name, Layout layout);
  /// Opens the database of a candidate and lists its tables. Only what could be listed becomes the
  /// source; a failure leaves the source as it is.
  Status TakeDatabase(std::int32_t kind, catalog::Source candidate);
  /// Lets go of the open database of an Access source.
  Status CloseSource();

  /// Breaks of the source's columns, or null where the source is not of fixed width.
  const textsource::BreakList* FixedBreaks() const noexcept;
  /// Names of the source's fields in order: those of the table, or a text source's columns as its
  /// first records show them. Opens and closes the source.
  /// With `whole_file` all records of a text source are looked at, else the first twenty.
  Result<std::vector<std::string>> SourceFieldNames(bool whole_file = false);
  /// Of a source that is a table.
  Result<database::TableDef> SourceTableDef();
  /// Raw lines of a text source that the job passes over before the first record; empty where they
  /// are none or very many.
  std::string SkippedLines() const;

  /// The run alone, on what is open; `progress` is the dialog on the screen, or null.
  const engine::RunResult& Import(contract::ProgressView* progress,
                                  const engine::RunOptions& options);

  /// Closes target and source and takes the setting's locale back. Each failure goes to `failed`.
  void Close(const std::function<void(const Status&)>& failed);

  /// Leaves a text in the control's `LastError`.
  void SetLastError(std::string text);

 private:
  /// The settings file is the control's where the options name none.
  engine::RunInputs Inputs(engine::RunOptions options);
  Status ApplyLocale(const Request& request);
  Status Open(const Request& request);
  Status LoadSetting(const Request& request);
  Status MapFields(const mapping::MapRequest& request);
  void ReportFailure(const Request& request, const Status& status);

  database::DBEngine& engine_;
  contract::Platform& platform_;
  contract::NoHost nobody_;
  contract::Caller* caller_ = &nobody_;
  std::optional<JobLocale> locale_;  // of the setting at hand
  State state_;
  std::string target_file_;  // where the target database is one file
  engine::RunResult result_;
  BatchStep batch_step_ = BatchStep::kOpenDatabase;
};

}  // namespace kelvorin::job
