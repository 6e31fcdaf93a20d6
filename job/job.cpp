#include "job/job.h"

#include "base/M_Const.h"
#include "contract/enums.h"
#include "settings/setting_store.h"

namespace kelvorin::job {

std::int16_t Job::BatchImport(std::string_view setting_name) {
  const contract::Properties& properties = caller_->properties();
  Request request;
  request.target = catalog::AddressFromProperties(properties, properties.ConnectString,
                                                  caller_->connect_type_name());
  request.table = properties.tableName;
  request.saved = {std::string(setting_name),
                   properties.IniFile.empty() ? settings::DefaultIniFile() : properties.IniFile};
  request.source_password = properties.Password;
  request.options.batch = true;
  return Run(request).fatal ? -1 : 0;
}

const engine::RunResult& Job::Run(const Request& request) {
  result_ = {};
  SetLastError({});
  Status status = ApplyLocale(request);
  if (status.ok()) status = Open(request);
  if (status.ok()) {
    batch_step_ = BatchStep::kRun;
    engine::RunOptions options = request.options;
    if (request.saved) options.settings_file = request.saved->ini_file;
    result_ = engine::StartImport(Inputs(options));
  } else {
    ReportFailure(request, status);
  }
  // Only here a target may find that its last records cannot be written.
  Close([&](const Status& failed) {
    if (!result_.fatal) ReportFailure(request, failed);
  });
  return result_;
}

void Job::Close(const std::function<void(const Status&)>& failed) {
  if (const Status closed = state_.target.Close(); !closed.ok()) failed(closed);
  if (const Status closed = CloseSource(); !closed.ok()) failed(closed);
  locale_.reset();
}

Status Job::ApplyLocale(const settings::ImportSetting& setting) {
  if (!locale_) locale_.emplace(engine_);
  return locale_->Apply(setting);
}

// The locale must be known before the target is opened, though the setting counts only after it.
Status Job::ApplyLocale(const Request& request) {
  batch_step_ = BatchStep::kSettings;
  if (!request.saved) return ApplyLocale(request.setting);
  if (request.saved->name.empty()) return Status();
  settings::ImportSetting ahead;
  textsource::BreakList breaks;
  ahead.SettingName = request.saved->name;
  if (!settings::ReadSetting(settings::IniFile(request.saved->ini_file), ahead, breaks).ok())
    return Status();  // reported when its turn comes
  return ApplyLocale(ahead);
}

Status Job::Open(const Request& request) {
  batch_step_ = BatchStep::kOpenDatabase;
  KV_TRY(OpenTarget(request.target));
  batch_step_ = BatchStep::kOpenTable;
  KV_TRY(OpenTargetTable(request.table));
  batch_step_ = BatchStep::kSettings;
  KV_TRY(LoadSetting(request));
  batch_step_ = BatchStep::kOpenSource;
  state_.source.password = request.source_password;
  if (request.saved) KV_TRY(ConnectToSourceTable(Layout::kOfSetting));
  return MapFields(request.map);
}

Status Job::LoadSetting(const Request& request) {
  settings::ImportSetting& setting = state_.setting;
  if (!request.saved) {
    const settings::FieldMap names = std::move(setting.FieldMap);
    setting = request.setting;
    for (std::size_t i = 0; i < names.size(); ++i) setting.FieldMap[i].Name = names[i].Name;
    state_.breaks = request.breaks;
    catalog::LoadSource(setting, state_.source);
    return Status();
  }
  const auto& [name, ini_file] = *request.saved;
  if (name.empty()) {
    SetDefaultSetting();
    return Status();
  }
  const Result<settings::IniDocument> ini = settings::IniFile(ini_file).TryLoad();
  if (!ini.ok()) return ini.status();
  if (ini->Entries(name).empty())
    return Status(Code::kNotFound,
                  "The settings file '" + ini_file + "' has no setting '" + name + "'");
  setting.SettingName = name;
  return ReadSetting(ini_file);
}

Status Job::MapFields(const mapping::MapRequest& request) {
  if (request.empty()) return Status();
  settings::ImportSetting& setting = state_.setting;
  // A column that the first records do not have may still come.
  for (const bool whole_file : {false, true}) {
    const Result<std::vector<std::string>> names = SourceFieldNames(whole_file);
    if (!names.ok()) return names.status();
    Status mapped = mapping::ApplyRequest(request, state_.target.fields, *names, FixedBreaks(),
                                          setting.FieldMap);
    const bool text = contract::IsTextKind(setting.TypeFormat);
    if (mapped.code() != Code::kNotFound || whole_file || !text) return mapped;
  }
  return Status();
}

// --- The setting

Status Job::ReadSetting(const std::string& ini_file) {
  Status status = settings::ReadSetting(settings::IniFile(ini_file), state_.setting, state_.breaks);
  if (status.ok()) catalog::LoadSource(state_.setting, state_.source);
  return status;
}

void Job::SetDefaultSetting() {
  settings::SetDefaultSetting(state_.setting, state_.breaks,
                              caller_->properties().DefaultSourceType);
}

Status Job::SaveSetting(const std::string& ini_file) {
  catalog::StoreSource(state_.source, state_.setting);
  settings::IniFile ini(ini_file);
  return settings::SaveSetting(ini, state_.setting, state_.breaks);
}

// --- The run

engine::RunInputs Job::Inputs(engine::RunOptions options) {
  if (options.settings_file.empty()) options.settings_file = caller_->properties().IniFile;
  return {state_.setting, state_.breaks, state_.target, state_.source,
          engine_,        *caller_,      platform_,     std::move(options)};
}

const engine::RunResult& Job::Import(contract::ProgressView* progress,
                                     const engine::RunOptions& options) {
  result_ = engine::DoImport(Inputs(options), progress);
  return result_;
}

void Job::SetLastError(std::string text) {
  contract::Properties& properties = caller_->properties();
  if (properties.LastError == text) return;
  properties.LastError = std::move(text);
  caller_->PropertyChanged("LastError");
}

void Job::ReportFailure(const Request& request, const Status& status) {
  std::string text;
  if (batch_step_ == BatchStep::kOpenDatabase) {
    text = "Error in opening DataBase " + request.target.DataBaseName + std::string(base::kCrLf);
  } else if (batch_step_ == BatchStep::kOpenTable) {
    text = "Error in opening Table " + request.table + std::string(base::kCrLf);
  }
  text += status.message();
  result_.fatal = text;
  SetLastError(std::move(text));
}

}  // namespace kelvorin::job
