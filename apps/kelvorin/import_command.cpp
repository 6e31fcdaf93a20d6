// `kelvorin import SOURCE --into KIND:DATABASE --table NAME [options]`: one job described on the
// command line.

#include <optional>

#include "apps/kelvorin/command.h"
#include "apps/kelvorin/create_from_source.h"
#include "apps/kelvorin/database_argument.h"
#include "apps/kelvorin/import_options.h"
#include "apps/kelvorin/output.h"
#include "apps/kelvorin/passwords.h"
#include "apps/kelvorin/progress_bar.h"
#include "apps/kelvorin/run_summary.h"
#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "base/M_STRING.h"
#include "contract/enums.h"
#include "database/drivers/register_drivers.h"
#include "job/job.h"
#include "settings/setting_store.h"
#include "values/value_format.h"

namespace kelvorin::app {
namespace {

constexpr int kReasonsShown = 10;

/// A trial import whose records go into a copy of the target.
struct Trial {
  std::vector<std::string> notices;  // of the target itself
  std::string copy;                  // its folder; empty where there is none
};

/// Tells the first few rejected records on standard error, so that nobody has to look for a log to
/// learn what is wrong.
class ReasonPrinter final : public engine::RunObserver {
 public:
  explicit ReasonPrinter(const Trial& trial) : trial_(trial) {}
  Status OnReject(const engine::RejectedRecord& record) override {
    if (++count_ > kReasonsShown) return Status();
    std::string text = "line " + base::ToDecimal(record.line_number);
    if (!record.field.empty()) text += ", field " + std::string(record.field);
    std::fprintf(stderr, "kelvorin: %s: %s\n", ToUtf8(text).c_str(), ToUtf8(record.reason).c_str());
    return Status();
  }
  bool OnNote(std::string_view text) override {
    if (!trial_.copy.empty()) return false;  // told at the end, with the target's own
    std::fprintf(stderr, "kelvorin: %s\n", ToUtf8(text).c_str());
    return true;
  }
  void Finish(bool has_reject_file) const {
    if (count_ > kReasonsShown)
      std::fprintf(stderr, "kelvorin: and %d more%s\n", count_ - kReasonsShown,
                   has_reject_file ? "" : " (--reject FILE keeps them all with their reasons)");
  }

 private:
  const Trial& trial_;
  int count_ = 0;
};

// `asked` is the job as it was given: a trial import leaves out what would leave a trace.
Status SaveJob(const ImportOptions& options, job::Job& job, const settings::ImportSetting& asked) {
  settings::IniFile ini(options.ini.empty() ? settings::DefaultIniFile() : options.ini);
  settings::ImportSetting& setting = job.state().setting;
  setting.SettingName = options.save_as;
  setting.Trace = asked.Trace;
  setting.DeleteImportFile = asked.DeleteImportFile;
  setting.RejectFile = asked.RejectFile;
  if (!options.save_passwords)
    setting.SourceConnectString = DropPasswords(setting.SourceConnectString);
  return settings::SaveSetting(ini, setting, job.state().breaks);
}

// A setting that could not be saved is known before anything is imported.
Status CheckSave(const ImportOptions& options, const ImportJob& job) {
  settings::IniDocument document;
  settings::ImportSetting setting = job.setting;
  textsource::BreakList breaks = job.breaks;
  setting.SettingName = options.save_as;
  KV_TRY(settings::SaveSetting(document, setting, breaks));
  if (options.ini.empty()) return Status();
  const std::string folder(base::FolderPart(options.ini));
  const std::string place = base::FileExists(options.ini) ? options.ini
                            : folder.empty()              ? "."
                                                          : folder;
  if (base::IsWritable(place)) return Status();
  return Status(Code::kReadOnly, "'" + place + "' cannot be written");
}

// What stops a job before its run: with --json it is a result as well.
int Stop(const ImportOptions& options, ExitStatus status, const Status& why) {
  if (!options.json || status == kWrongUsage) return Report(status, why);
  contract::RunResult none;
  none.fatal = std::string(why.message());
  return PrintSummary(none, 0, true);
}

job::Request RequestOf(const ImportOptions& options, const catalog::TargetAddress& target,
                       ImportJob& job) {
  if (job.map.empty()) {
    const bool has_names =
        !contract::IsTextKind(job.setting.TypeFormat) || job.setting.StartingLine >= 2;
    job.map.rest =
        has_names ? mapping::MapRequest::Rest::kByName : mapping::MapRequest::Rest::kInOrder;
  }
  job::Request request;
  request.target = target;
  request.table = options.table;
  request.setting = std::move(job.setting);
  request.breaks = job.breaks;
  request.source_password = options.source_password;
  request.map = std::move(job.map);
  request.options.batch = true;
  request.options.dry_run = options.dry_run;
  if (!options.save_as.empty() || !options.ini.empty())
    request.options.settings_file = options.ini.empty() ? settings::DefaultIniFile() : options.ini;
  return request;
}

// What the copy was told names the copy; the target has its own.
void TellOfTarget(const Trial& trial, std::vector<std::string>& notices) {
  if (trial.copy.empty()) return;
  std::erase_if(notices,
                [&](const std::string& notice) { return notice.find(trial.copy) != notice.npos; });
  for (const std::string& notice : trial.notices)
    if (std::find(notices.begin(), notices.end(), notice) == notices.end())
      notices.push_back(notice);
}

int Run(const ImportOptions& options, const std::string& said, job::Request request,
        const settings::ImportSetting& asked, const Trial& trial) {
  database::DBEngine engine(values::ValueFormat::FromLocale());
  database::RegisterDrivers(engine);
  TerminalPlatform platform(options.json);
  ReasonPrinter reasons(trial);
  job::Job job(engine, platform);
  if (!options.json) request.options.observer = &reasons;

  const std::int64_t began = base::MonotonicMilliseconds();
  contract::RunResult run = job.Run(request);
  const std::int64_t took = base::MonotonicMilliseconds() - began;
  TellOfTarget(trial, run.notices);
  reasons.Finish(!options.reject.empty());
  // What could not run does not take the place of a setting that could.
  if (!options.save_as.empty() && !run.fatal) {
    const Status saved = SaveJob(options, job, asked);
    if (!saved.ok()) {
      PrintSummary(run, took, options.json, said);
      return Report(kFatal, "the setting could not be saved: " + std::string(saved.message()));
    }
  }
  return PrintSummary(run, took, options.json, said);
}

// Whether the import would not begin where it is to go: a copy of the target might take it.
bool IsRefused(job::Request request, std::vector<std::string>& notices) {
  database::DBEngine engine(values::ValueFormat::FromLocale());
  database::RegisterDrivers(engine);
  TerminalPlatform platform(true);
  request.setting.MaxLines = 1;
  const contract::RunResult run = job::Job(engine, platform).Run(request);
  notices = run.notices;
  return run.fatal.has_value();
}

int Import(const ImportOptions& options) {
  if (!options.save_as.empty()) {
    const Status named = settings::CheckSettingName(options.save_as);
    if (!named.ok()) return Report(kWrongUsage, "--save-as: " + std::string(named.message()));
    if (options.source == "-")
      return Report(kWrongUsage, "--save-as: a job that reads standard input cannot be saved");
  }
  const Result<DatabaseArgument> into = RequireDatabase(options.into);
  if (!into.ok()) return Report(kWrongUsage, into.status());
  ImportJob job;
  if (const Status made = MakeJob(options, job); !made.ok())
    return Stop(options, made.code() == Code::kInvalidArgument ? kWrongUsage : kFatal, made);
  if (!options.save_as.empty()) {
    if (const Status saving = CheckSave(options, job); !saving.ok())
      return Stop(
          options, kFatal,
          Status(saving.code(), "the setting could not be saved, and nothing was imported: " +
                                    std::string(saving.message())));
  }
  catalog::TargetAddress target = into->Address(options.user, options.password);
  const settings::ImportSetting asked = job.setting;
  std::optional<base::PrivateFolder> scratch;
  if (options.create && options.dry_run && !HasTable(target, options.table)) {
    const Status made = MakeScratchTarget(target, job.setting, scratch);
    if (!made.ok()) return Stop(options, kFatal, made);
  }
  if (options.create) {
    const Status created = CreateFromSource(target, options.table, options.source_password, job);
    // No record, so nothing to make a table from, and nothing to import.
    if (created.code() == Code::kNoCurrentRecord)
      return PrintSummary({}, 0, options.json, job.said);
    if (!created.ok()) return Stop(options, kFatal, created);
  }
  if (!job.said.empty()) std::fprintf(stderr, "kelvorin: %s\n", ToUtf8(job.said).c_str());
  job::Request request = RequestOf(options, target, job);
  Trial trial;
  if (options.dry_run && !scratch && !IsRefused(request, trial.notices)) {
    const Status copied =
        CopyToScratchTarget(options.table, request.target, request.setting, scratch);
    if (!copied.ok()) return Stop(options, kFatal, copied);
    if (scratch) trial.copy = scratch->path();
  }
  if (scratch) request.options.dry_run = false;  // all of it is thrown away
  return Run(options, job.said, std::move(request), asked, trial);
}

}  // namespace

void AddImportCommand(Command root, int& exit_status) {
  auto options = std::make_shared<ImportOptions>();
  Command command = root.AddCommand("import", "Import a text file or a table into a table");
  AddImportOptions(command, *options);
  command.Footer(
      "KIND is Access, Paradox3 ... Paradox5, DBase3 ... DBase5, FOXPRO20 ... FOXPRO30 or ODBC, "
      "in\n"
      "any case. For Paradox, dBASE and FoxPro the database is a folder; for ODBC a DSN or\n"
      "\"DSN=...;UID=...;PWD=...\". Without a mapping option fields of equal names are mapped, or\n"
      "all in order when the source's fields have no names.");
  command.OnUse([options, &exit_status] { exit_status = Import(*options); });
}

}  // namespace kelvorin::app
