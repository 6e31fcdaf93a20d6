#include "base/M_Const.h"
#include "contract/enums.h"
#include "settings/setting_store.h"
#include "wizard/frm_kelvorin.h"
#include "wizard/job_habits.h"

namespace kelvorin::wizard {

std::int16_t frmKelvorin::DoBatchImport(std::string_view setting_name) {
  const contract::Properties& properties = caller_->properties();
  Job job;
  job.target = catalog::AddressFromProperties(properties, properties.ConnectString,
                                              caller_->connect_type_name());
  job.table = properties.tableName;
  job.setting_name = setting_name;
  job.ini_file = properties.IniFile.empty() ? settings::DefaultIniFile() : properties.IniFile;
  job.source_password = properties.Password;
  job.options.batch = true;
  return RunJob(job).fatal ? -1 : 0;
}

const engine::RunResult& frmKelvorin::RunJob(const Job& job) {
  result_ = {};
  SetLastError({});
  JobHabits habits(engine_);
  Status status = ApplyHabits(job, habits);
  if (status.ok()) status = OpenJob(job);
  if (status.ok()) {
    batch_step_ = BatchStep::kRun;
    engine::RunOptions options = job.options;
    if (job.setting_name) options.settings_file = job.ini_file;
    result_ = StartImport(options);
  } else {
    ReportFailure(job, status);
  }
  // Only here a target may find that its last records cannot be written.
  status = state_.target.Close();
  if (state_.source.kept) {
    Status closed = state_.source.kept->Close();
    if (status.ok()) status = std::move(closed);
    state_.source.kept.reset();
  }
  if (!status.ok() && !result_.fatal) ReportFailure(job, status);
  return result_;
}

// The habits must be known before the target is opened, though the setting counts only after it.
Status frmKelvorin::ApplyHabits(const Job& job, JobHabits& habits) {
  batch_step_ = BatchStep::kSettings;
  if (!job.setting_name) return habits.Apply(job.setting);
  if (job.setting_name->empty()) return Status();
  settings::ImportSetting ahead;
  textsource::BreakList breaks;
  ahead.SettingName = *job.setting_name;
  if (!settings::ReadSetting(settings::IniFile(job.ini_file), ahead, breaks).ok())
    return Status();  // reported when its turn comes
  return habits.Apply(ahead);
}

Status frmKelvorin::OpenJob(const Job& job) {
  batch_step_ = BatchStep::kOpenDatabase;
  KV_TRY(OpenTarget(job.target));
  batch_step_ = BatchStep::kOpenTable;
  KV_TRY(OpenTargetTable(job.table, job.target.kind));
  batch_step_ = BatchStep::kSettings;
  KV_TRY(LoadJobSetting(job));
  batch_step_ = BatchStep::kOpenSource;
  state_.source.password = job.source_password;
  if (job.setting_name) {
    applying_setting_ = true;
    Status connected = ConnectToSourceTable();
    applying_setting_ = false;
    KV_TRY(std::move(connected));
  }
  return MapFields(job.map);
}

Status frmKelvorin::LoadJobSetting(const Job& job) {
  settings::ImportSetting& setting = state_.setting;
  if (!job.setting_name) {
    const settings::FieldMap names = std::move(setting.FieldMap);
    setting = job.setting;
    for (std::size_t i = 0; i < names.size(); ++i) setting.FieldMap[i].Name = names[i].Name;
    state_.breaks = job.breaks;
    catalog::LoadSource(setting, state_.source);
    return Status();
  }
  if (job.setting_name->empty()) {
    SetDefaultSetting();
    return Status();
  }
  const Result<settings::IniDocument> ini = settings::IniFile(job.ini_file).TryLoad();
  if (!ini.ok()) return ini.status();
  if (ini->Entries(*job.setting_name).empty())
    return Status(Code::kNotFound, "The settings file '" + job.ini_file + "' has no setting '" +
                                       *job.setting_name + "'");
  setting.SettingName = *job.setting_name;
  return ReadSetting(job.ini_file);
}

Status frmKelvorin::MapFields(const mapping::MapRequest& request) {
  if (request.empty()) return Status();
  settings::ImportSetting& setting = state_.setting;
  const textsource::BreakList* breaks = setting.TypeFormat == 1 ? &state_.breaks : nullptr;
  // A column that the first records do not have may still come.
  for (const bool whole_file : {false, true}) {
    const Result<std::vector<std::string>> names = SourceFieldNames(whole_file);
    if (!names.ok()) return names.status();
    Status mapped =
        mapping::ApplyRequest(request, state_.target.fields, *names, breaks, setting.FieldMap);
    const bool text = contract::IsTextKind(static_cast<std::int16_t>(setting.TypeFormat));
    if (mapped.code() != Code::kNotFound || whole_file || !text) return mapped;
  }
  return Status();
}

engine::RunInputs frmKelvorin::Inputs(const engine::RunOptions& options) {
  return {state_.setting, state_.breaks, state_.target, state_.source,
          engine_,        *caller_,      platform_,     options};
}

engine::RunResult frmKelvorin::StartImport(const engine::RunOptions& options) {
  engine::RunOptions all = options;
  if (all.settings_file.empty()) all.settings_file = caller_->properties().IniFile;
  return engine::StartImport(Inputs(all));
}

engine::RunResult frmKelvorin::DoImport(contract::ProgressView* progress,
                                        const engine::RunOptions& options) {
  return engine::DoImport(Inputs(options), progress);
}

void frmKelvorin::SetLastError(std::string text) {
  contract::Properties& properties = caller_->properties();
  if (properties.LastError == text) return;
  properties.LastError = std::move(text);
  caller_->PropertyChanged("LastError");
}

void frmKelvorin::ReportFailure(const Job& job, const Status& status) {
  std::string text;
  if (batch_step_ == BatchStep::kOpenDatabase) {
    text = "Error in opening DataBase " + job.target.DataBaseName + std::string(base::kCrLf);
  } else if (batch_step_ == BatchStep::kOpenTable) {
    text = "Error in opening Table " + job.table + std::string(base::kCrLf);
  }
  text += status.message();
  result_.fatal = text;
  SetLastError(std::move(text));
}

}  // namespace kelvorin::wizard
