#include "apps/kelvorin/import_options.h"

#include <limits>

#include "apps/kelvorin/database_argument.h"
#include "apps/kelvorin/passwords.h"
#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "catalog/source.h"
#include "contract/enums.h"
#include "engine/source_reader.h"

namespace kelvorin::app {
namespace {

// A table named as KIND:DATABASE, or a table file named by its path.
Status MakeTableSource(const ImportOptions& options, const DatabaseArgument& source,
                       settings::ImportSetting& setting) {
  setting.TypeFormat = source.kind;
  setting.SourceTableName = options.source_table;
  if (!options.query.empty()) {
    if (source.kind != contract::kOdbc)
      return Status(Code::kInvalidArgument, "--query: only a source ODBC:... can be asked; '" +
                                                options.source +
                                                "' is read table by table (--source-table)");
    if (!options.source_table.empty())
      return Status(Code::kInvalidArgument, "--query and --source-table exclude each other");
    setting.SourceTableName = options.query;
  }
  const std::string extension = base::UpperAscii(base::ExtensionPart(source.database));
  const bool is_table_file = contract::IsTableFileKind(source.kind) &&
                             (extension == "DBF" || extension == "DB") &&
                             !base::FolderExists(source.database);
  if (is_table_file && options.source_table.empty()) {
    setting.SourceDBName = base::FolderPart(source.database);
    if (setting.SourceDBName.empty()) setting.SourceDBName = ".";
    setting.SourceTableName = base::NamePart(source.database);
  } else if (source.kind != contract::kOdbc) {
    setting.SourceDBName = source.database;
  }
  if (source.kind == contract::kOdbc) {
    setting.SourceConnectString =
        catalog::TargetConnectString(source.Address(options.source_user, options.source_password));
  } else if (const auto word = contract::ConnectTypeName(source.kind)) {
    setting.SourceConnectString = *word;
  }
  if (setting.SourceTableName.empty())
    return Status(Code::kInvalidArgument,
                  "--source-table is missing: which table of '" + options.source +
                      "' is to be read?" +
                      (source.kind == contract::kOdbc ? " (or --query, the SELECT to read)" : ""));
  return Status();
}

// The page of a text file is converted from, where the ANSI page holds every character.
Status TakePage(const ImportJob& job) {
  const int page = job.setting.AnsiPage;
  if (page == 0) return Status();
  if (base::FindCodePage(page) != nullptr && engine::ReadsByConversion(job.setting))
    return Status();
  return base::SetAnsiPage(page);
}

Status MakeSource(const ImportOptions& options, ImportJob& job) {
  const auto database = ParseDatabase(options.source);
  if (!options.query.empty() && !database)
    return Status(Code::kInvalidArgument, "--query: only a source ODBC:... can be asked");
  if (database) {
    KV_TRY(MakeTableSource(options, *database, job.setting));
    return TakePage(job);
  }
  if (PipedSource::IsPipe(options.source)) {
    Result<PipedSource> piped = PipedSource::Read(options.source);
    if (!piped.ok()) return piped.status();
    job.piped = *std::move(piped);
    job.setting.SourceDBName = job.piped->path();
    KV_TRY(TakePage(job));
    return TakeTextLayout(options.text, job.piped->path(), job.setting, job.breaks, job.layout,
                          job.said);
  }
  catalog::Source source;
  std::int32_t kind = 0;
  switch (catalog::ApplyFileName(options.source, true, kind, source)) {
    case catalog::FileNameChange::kTableFile:
      KV_TRY(MakeTableSource(
          options, DatabaseArgument{static_cast<std::int16_t>(kind), options.source}, job.setting));
      return TakePage(job);
    case catalog::FileNameChange::kIgnored:
    case catalog::FileNameChange::kMissing:
    case catalog::FileNameChange::kTextFile:
      break;
  }
  job.setting.SourceDBName = options.source;
  KV_TRY(TakePage(job));
  return TakeTextLayout(options.text, options.source, job.setting, job.breaks, job.layout,
                        job.said);
}

Status MakeMapping(const ImportOptions& options, mapping::MapRequest& map) {
  using Rest = mapping::MapRequest::Rest;
  if (options.map_by_name && options.map_in_order)
    return Status(Code::kInvalidArgument, "--map-by-name and --map-in-order exclude each other");
  if (options.map_by_name) map.rest = Rest::kByName;
  if (options.map_in_order) map.rest = Rest::kInOrder;
  for (const std::string& list : options.map) {
    for (std::string_view pair : base::SplitAt(list, ',')) {
      const std::size_t equals = pair.find('=');
      if (equals == std::string_view::npos || equals == 0 || equals + 1 == pair.size())
        return WrongValue("--map", pair, "TARGET=SOURCE");
      map.pairs.emplace_back(pair.substr(0, equals), pair.substr(equals + 1));
    }
  }
  return Status();
}

Status Range(std::string_view option, std::int64_t value, std::int64_t low) {
  if (value >= low && value <= std::numeric_limits<std::int32_t>::max()) return Status();
  return WrongValue(option, base::ToDecimal(value), "a number from " + base::ToDecimal(low));
}

Status MakeRules(const ImportOptions& options, settings::ImportSetting& setting) {
  KV_TRY(Range("--max-lines", options.max_lines, 0));
  KV_TRY(Range("--limit-errors", options.limit_errors, 0));
  setting.MaxLines = static_cast<std::int32_t>(options.max_lines);
  setting.AllLines = setting.MaxLines == 0;
  setting.OemConvert = options.text.oem;
  setting.Upper = options.upper;
  setting.Lower = options.lower;

  if (options.key_lookup && options.index.empty())
    return Status(Code::kInvalidArgument, "--key-lookup needs --index NAME");
  setting.AppendRecords = !(options.update || options.key_lookup || !options.index.empty());
  setting.UpdateIndex = !options.index.empty();
  setting.IndexName = options.index;
  setting.KeyLookUp = options.key_lookup;
  setting.AppendIfEof = options.append_if_eof;
  setting.AppendFields = options.append_fields;
  setting.EmptyTarget = options.empty_target;
  setting.DeleteImportFile = options.delete_import_file;

  setting.ShowErrors = !options.no_show_errors;
  setting.LimitErrors = options.limit_errors > 0;
  setting.nErrorStop = static_cast<std::int32_t>(options.limit_errors);
  setting.Trace = !options.log.empty();
  setting.LogFileName = options.log;
  setting.LogAppend = options.log_append;

  if (options.decimal.size() > 1) return WrongValue("--decimal", options.decimal, "one character");
  setting.AnsiPage = options.text.ansi;
  setting.OemPage = options.oem_page;
  setting.DateOrder = options.date_order;
  setting.Decimal = options.decimal;
  setting.NullText = options.null_text;
  setting.RejectFile = options.reject;
  setting.ExactValues = options.exact ? 1 : 0;
  return Status();
}

}  // namespace

Status WrongValue(std::string_view option, std::string_view value, std::string_view expected) {
  return Status(Code::kInvalidArgument, std::string(option) + " '" + std::string(value) +
                                            "': expected " + std::string(expected));
}

void AddImportOptions(Command command, ImportOptions& o) {
  command.Add("SOURCE", o.source, "Text file (- for standard input), table file, or KIND:DATABASE")
      .Required();
  command.Add("--source-table", o.source_table, "Table of a source KIND:DATABASE");
  command.Add("--query", o.query, "SELECT that is read of a source ODBC:...");
  command.Add("--into", o.into, "Target as KIND:DATABASE, e.g. DBase3:folder").Required();
  command.Add("--table", o.table, "Target table").Required();
  command.Add("--user", o.user, "User name of the target");
  AddPassword(command, "", "target", o.password);
  command.Add("--source-user", o.source_user, "User name of the source");
  AddPassword(command, "source-", "source", o.source_password);

  AddTextOptions(command, o.text);
  command.Add("--max-lines", o.max_lines, "Number of lines to import (0: all)")
      .Group("Text layout (detected where not given)");

  const std::string values = "Values";
  command.AddFlag("--oem", o.text.oem, "Convert from the OEM code page").Group(values);
  command.AddFlag("--upper", o.upper, "Convert to upper case").Group(values);
  command.AddFlag("--lower", o.lower, "Convert to lower case").Group(values);
  command.Add("--oem-page", o.oem_page, "Code page for --oem").Group(values);
  command.Add("--date-order", o.date_order, "dmy, mdy or ymd")
      .OneOf({"dmy", "mdy", "ymd"})
      .Group(values);
  command.Add("--decimal", o.decimal, "Decimal sign").Group(values);
  command.Add("--null", o.null_text, "Text that stands for Null").Group(values);
  command
      .AddFlag("--exact", o.exact,
               "A value that its field would keep other than it is, is an error of its record")
      .Group(values);

  const std::string mapping = "Mapping";
  command.Add("--map", o.map, "TARGET=SOURCE,... (source by number from 0 or by heading)")
      .OneWordEach()
      .Group(mapping);
  command.AddFlag("--map-by-name", o.map_by_name, "Map fields of equal names").Group(mapping);
  command.AddFlag("--map-in-order", o.map_in_order, "Map fields in their order").Group(mapping);
  command.AddFlag("--create", o.create, "Make the target table from the source's fields if missing")
      .Group(mapping);

  const std::string modes = "Writing";
  command.AddFlag("--update", o.update, "Update the target's records in their order").Group(modes);
  command.Add("--index", o.index, "Index that orders the target (implies --update)").Group(modes);
  command.AddFlag("--key-lookup", o.key_lookup, "Update the record found by the index's key")
      .Group(modes);
  command.AddFlag("--append-if-eof", o.append_if_eof, "Append what the target does not have yet")
      .Group(modes);
  command.AddFlag("--append-fields", o.append_fields, "Append to the values that are there")
      .Group(modes);
  command.AddFlag("--empty-target", o.empty_target, "Delete all records of the target first")
      .Group(modes);
  command
      .AddFlag("--delete-import-file", o.delete_import_file, "Delete the source file after success")
      .Group(modes);
  command.AddFlag("--dry-run", o.dry_run, "Do everything but the post").Group(modes);

  const std::string errors = "Errors";
  command
      .AddFlag("--no-show-errors", o.no_show_errors,
               "Stored in the setting; nothing is asked here anyway")
      .Group(errors);
  command.Add("--limit-errors", o.limit_errors, "Stop after this many errors").Group(errors);
  command.Add("--log", o.log, "Trace log").Group(errors);
  command.AddFlag("--log-append", o.log_append, "Append to the log").Group(errors);
  command.Add("--reject", o.reject, "File for rejected records; reasons go to FILE.reasons")
      .Group(errors);

  const std::string setting = "Setting";
  command.Add("--save-as", o.save_as, "Save the job under this name").Group(setting);
  command
      .AddFlag("--save-passwords", o.save_passwords,
               "Save the source's password with the job, readable in the settings file")
      .Group(setting);
  command.Add("--ini", o.ini, "Settings file (default: Kelvorin.Ini)").Group(setting);
  command.AddFlag("--json", o.json, "Print one JSON object");
}

Status MakeJob(const ImportOptions& options, ImportJob& job) {
  if (options.oem_page != 0) KV_TRY(base::SetOemPage(options.oem_page));
  settings::SetDefaultSetting(job.setting, job.breaks, 0);
  KV_TRY(MakeRules(options, job.setting));
  KV_TRY(MakeMapping(options, job.map));
  return MakeSource(options, job);
}

}  // namespace kelvorin::app
