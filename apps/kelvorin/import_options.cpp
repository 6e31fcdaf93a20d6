#include "apps/kelvorin/import_options.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <limits>

#include "apps/kelvorin/database_argument.h"
#include "apps/kelvorin/layout_words.h"
#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "catalog/source.h"
#include "contract/enums.h"

namespace kelvorin::app {
namespace {

Status Wrong(std::string_view option, std::string_view value, std::string_view expected) {
  return Status(Code::kInvalidArgument, std::string(option) + " '" + std::string(value) +
                                            "': expected " + std::string(expected));
}

// Backslash escapes in a separator: \t \r \n \\ and \xHH.
std::string Unescape(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    const char next = text[++i];
    int code = 0;
    if (next == 't') {
      out += '\t';
    } else if (next == 'r') {
      out += '\r';
    } else if (next == 'n') {
      out += '\n';
    } else if (next == 'x' && i + 2 < text.size() &&
               std::from_chars(&text[i + 1], &text[i + 3], code, 16).ptr == &text[i + 3]) {
      out += static_cast<char>(code);
      i += 2;
    } else {
      out += next;
    }
  }
  return out;
}

// Characters, or the words comma, semicolon, space and tab with commas between them.
Status ParseSeparators(const std::string& text, std::string& characters) {
  static constexpr std::pair<std::string_view, char> kWords[] = {
      {"comma", ','}, {"semicolon", ';'}, {"space", ' '}, {"tab", '\t'}};
  characters.clear();
  bool words = true;
  for (std::string_view part : base::SplitAt(text, ',')) {
    const auto* found = std::find_if(std::begin(kWords), std::end(kWords), [&](const auto& word) {
      return base::EqualIgnoreCase(word.first, part);
    });
    if (found == std::end(kWords)) {
      words = false;
      break;
    }
    characters += found->second;
  }
  if (!words) characters = Unescape(text);
  const auto others = std::count_if(characters.begin(), characters.end(), [](char c) {
    return std::string_view(",; \t").find(c) == std::string_view::npos;
  });
  if (characters.empty() || others > 1)
    return Wrong("--separators", text,
                 "characters, at most one of them other than comma, semicolon, space and tab");
  return Status();
}

Status ParseBreaks(const std::string& text, textsource::BreakList& breaks) {
  breaks.ClearBreakList();
  for (std::string_view part : base::SplitAt(text, ',')) {
    const std::optional<std::int64_t> position = base::ParseWholeInteger(base::Trim(part));
    if (!position || *position < 1 || *position > std::numeric_limits<std::int16_t>::max())
      return Wrong("--breaks", text, "positions from 1 to 32767 such as 3,7");
    KV_TRY(breaks.AddFixedBreak(static_cast<std::uint16_t>(*position)));
  }
  return Status();
}

Status ParseRecordSeparator(const std::string& text, textsource::RecordFormat& format) {
  if (base::EqualIgnoreCase(text, "crlf")) {
    format.code = textsource::separator_code::kCrLf;
  } else if (base::EqualIgnoreCase(text, "cr")) {
    format.code = textsource::separator_code::kCr;
  } else if (base::EqualIgnoreCase(text, "lf")) {
    format.code = textsource::separator_code::kLf;
  } else if (base::StartsWithIgnoreCase(text, "text:") && text.size() > 5) {
    format.code = textsource::separator_code::kOther;
    format.other = Unescape(std::string_view(text).substr(5));
  } else if (base::StartsWithIgnoreCase(text, "length:")) {
    const auto length = base::ParseWholeInteger(std::string_view(text).substr(7));
    if (!length || *length < 1 || *length > std::numeric_limits<std::int16_t>::max())
      return Wrong("--record-separator", text, "length:N with N from 1 to 32767");
    format.code = textsource::separator_code::kLength;
    format.length = static_cast<std::int32_t>(*length);
  } else {
    return Wrong("--record-separator", text, "crlf, cr, lf, text:T or length:N");
  }
  return Status();
}

std::int32_t FormatNumber(const std::string& word) {
  return word == "fixed" ? 1 : word == "html" ? 2 : 0;
}

// The layout of a text file: what was given, the rest as detected.
Status MakeTextLayout(const ImportOptions& options, const std::string& file, ImportJob& job) {
  settings::ImportSetting& setting = job.setting;
  if (!base::FileExists(file)) return Status(Code::kNotFound, "there is no file '" + file + "'");
  setting.Delimiter = options.delimiter == "single" ? 1 : options.delimiter == "none" ? 2 : 0;
  settings::RebuildDelimiter(setting);
  textsource::RecordFormat given;
  if (!options.record_separator.empty())
    KV_TRY(ParseRecordSeparator(options.record_separator, given));
  textsource::PreviewLines preview;
  const Result<textsource::DetectedLayout> detected =
      textsource::DetectLayout(file, options.record_separator.empty() ? nullptr : &given,
                               setting.DelimiterChar, preview, job.breaks);
  if (!detected.ok()) return detected.status();

  setting.TypeFormat = static_cast<std::int32_t>(detected->rule);
  if (!options.format.empty()) {
    setting.TypeFormat = FormatNumber(options.format);
  } else if (!options.breaks.empty()) {
    setting.TypeFormat = 1;
  } else if (!options.separators.empty() || !options.delimiter.empty()) {
    setting.TypeFormat = 0;
  }
  std::string separators = detected->separators;
  if (!options.separators.empty()) KV_TRY(ParseSeparators(options.separators, separators));
  settings::SetSeparators(setting, separators);
  if (!options.breaks.empty()) KV_TRY(ParseBreaks(options.breaks, job.breaks));
  const textsource::RecordFormat& format = detected->format;
  setting.RecSeparator = format.code;
  if (format.code == textsource::separator_code::kOther) setting.RecSepOther = format.other;
  setting.RecLength = format.length;
  settings::RebuildDelimiter(setting);
  const bool asked = !options.quoted_line_ends.empty();
  setting.QuotedLineEnds = (asked ? options.quoted_line_ends == "yes" : format.quote != 0) ? 1 : 0;

  const bool all_detected = options.format.empty() && options.separators.empty() &&
                            options.breaks.empty() && options.delimiter.empty();
  constexpr int kSure = 75;
  const bool worth_saying = detected->report.certainty_percent < kSure || format.quote != 0 ||
                            detected->rule != textsource::CutRule::kDelimited ||
                            !detected->report.hint.empty();
  if (all_detected && worth_saying) {
    const textsource::DetectionReport& report = detected->report;
    job.hint = "detected: " + LayoutWords(*detected) + "; certainty " + CertaintyWords(report);
    if (!report.hint.empty()) job.hint += "; " + report.hint;
  }
  return Status();
}

// A table named as KIND:DATABASE, or a table file named by its path.
Status MakeTableSource(const ImportOptions& options, const DatabaseArgument& source,
                       settings::ImportSetting& setting) {
  setting.TypeFormat = source.kind;
  setting.SourceTableName = options.source_table;
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
    return Status(Code::kInvalidArgument, "--source-table is missing: which table of '" +
                                              options.source + "' is to be read?");
  return Status();
}

Status MakeSource(const ImportOptions& options, ImportJob& job) {
  if (const auto database = ParseDatabase(options.source))
    return MakeTableSource(options, *database, job.setting);
  catalog::Source source;
  std::int32_t kind = 0;
  switch (catalog::ApplyFileName(options.source, true, kind, source)) {
    case catalog::FileNameChange::kTableFile:
      return MakeTableSource(
          options, DatabaseArgument{static_cast<std::int16_t>(kind), options.source}, job.setting);
    case catalog::FileNameChange::kIgnored:
    case catalog::FileNameChange::kMissing:
    case catalog::FileNameChange::kTextFile:
      break;
  }
  job.setting.SourceDBName = options.source;
  return MakeTextLayout(options, options.source, job);
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
        return Wrong("--map", pair, "TARGET=SOURCE");
      map.pairs.emplace_back(pair.substr(0, equals), pair.substr(equals + 1));
    }
  }
  return Status();
}

Status Range(std::string_view option, std::int64_t value, std::int64_t low) {
  if (value >= low && value <= std::numeric_limits<std::int32_t>::max()) return Status();
  return Wrong(option, base::ToDecimal(value), "a number from " + base::ToDecimal(low));
}

Status MakeRules(const ImportOptions& options, settings::ImportSetting& setting) {
  KV_TRY(Range("--start-line", options.start_line, 1));
  KV_TRY(Range("--max-lines", options.max_lines, 0));
  KV_TRY(Range("--limit-errors", options.limit_errors, 0));
  setting.StartingLine = static_cast<std::int32_t>(options.start_line);
  setting.MaxLines = static_cast<std::int32_t>(options.max_lines);
  setting.AllLines = setting.MaxLines == 0;
  setting.OemConvert = options.oem;
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

  if (options.decimal.size() > 1) return Wrong("--decimal", options.decimal, "one character");
  setting.AnsiPage = options.ansi;
  setting.OemPage = options.oem_page;
  setting.DateOrder = options.date_order;
  setting.Decimal = options.decimal;
  setting.NullText = options.null_text;
  setting.RejectFile = options.reject;
  return Status();
}

}  // namespace

void AddImportOptions(CLI::App& command, ImportOptions& o) {
  command.add_option("SOURCE", o.source, "Text file, table file, or KIND:DATABASE")->required();
  command.add_option("--source-table", o.source_table, "Table of a source KIND:DATABASE");
  command.add_option("--into", o.into, "Target as KIND:DATABASE, e.g. DBase3:folder")->required();
  command.add_option("--table", o.table, "Target table")->required();
  command.add_option("--user", o.user, "User name of the target");
  command.add_option("--password", o.password, "Password of the target");
  command.add_option("--source-user", o.source_user, "User name of the source");
  command.add_option("--source-password", o.source_password, "Password of the source");

  const std::string layout = "Text layout (detected where not given)";
  command.add_option("--format", o.format, "delimited, fixed or html")
      ->check(CLI::IsMember({"delimited", "fixed", "html"}))
      ->group(layout);
  command
      .add_option("--separators", o.separators,
                  "Field separators: characters (\\t is Tab), or words: comma,tab")
      ->group(layout);
  command.add_option("--delimiter", o.delimiter, "Text delimiter: double, single or none")
      ->check(CLI::IsMember({"double", "single", "none"}))
      ->group(layout);
  command.add_option("--record-separator", o.record_separator, "crlf, cr, lf, text:T or length:N")
      ->group(layout);
  command
      .add_option("--quoted-line-ends", o.quoted_line_ends,
                  "Whether line ends between text delimiters are data: yes or no")
      ->check(CLI::IsMember({"yes", "no"}))
      ->group(layout);
  command.add_option("--breaks", o.breaks, "Ends of fixed-width columns, e.g. 3,7")->group(layout);
  command
      .add_option("--start-line", o.start_line,
                  "First line to import; from 2 on line 1 names the columns")
      ->group(layout);
  command.add_option("--max-lines", o.max_lines, "Number of lines to import (0: all)")
      ->group(layout);

  const std::string values = "Values";
  command.add_flag("--oem", o.oem, "Convert from the OEM code page")->group(values);
  command.add_flag("--upper", o.upper, "Convert to upper case")->group(values);
  command.add_flag("--lower", o.lower, "Convert to lower case")->group(values);
  command.add_option("--ansi", o.ansi, "Code page of text: 65001, 1250 ... 1258, 437, 850, ...")
      ->group(values);
  command.add_option("--oem-page", o.oem_page, "Code page for --oem")->group(values);
  command.add_option("--date-order", o.date_order, "dmy, mdy or ymd")
      ->check(CLI::IsMember({"dmy", "mdy", "ymd"}))
      ->group(values);
  command.add_option("--decimal", o.decimal, "Decimal sign")->group(values);
  command.add_option("--null", o.null_text, "Text that stands for Null")->group(values);

  const std::string mapping = "Mapping";
  command.add_option("--map", o.map, "TARGET=SOURCE,... (source by number from 0 or by heading)")
      ->allow_extra_args(false)
      ->group(mapping);
  command.add_flag("--map-by-name", o.map_by_name, "Map fields of equal names")->group(mapping);
  command.add_flag("--map-in-order", o.map_in_order, "Map fields in their order")->group(mapping);
  command
      .add_flag("--create", o.create, "Make the target table from the source's fields if missing")
      ->group(mapping);

  const std::string modes = "Writing";
  command.add_flag("--update", o.update, "Update the target's records in their order")
      ->group(modes);
  command.add_option("--index", o.index, "Index that orders the target (implies --update)")
      ->group(modes);
  command.add_flag("--key-lookup", o.key_lookup, "Update the record found by the index's key")
      ->group(modes);
  command.add_flag("--append-if-eof", o.append_if_eof, "Append what the target does not have yet")
      ->group(modes);
  command.add_flag("--append-fields", o.append_fields, "Append to the values that are there")
      ->group(modes);
  command.add_flag("--empty-target", o.empty_target, "Delete all records of the target first")
      ->group(modes);
  command
      .add_flag("--delete-import-file", o.delete_import_file,
                "Delete the source file after success")
      ->group(modes);
  command.add_flag("--dry-run", o.dry_run, "Do everything but the post")->group(modes);

  const std::string errors = "Errors";
  command
      .add_flag("--no-show-errors", o.no_show_errors,
                "Stored in the setting; nothing is asked here anyway")
      ->group(errors);
  command.add_option("--limit-errors", o.limit_errors, "Stop after this many errors")
      ->group(errors);
  command.add_option("--log", o.log, "Trace log")->group(errors);
  command.add_flag("--log-append", o.log_append, "Append to the log")->group(errors);
  command.add_option("--reject", o.reject, "File for rejected records; reasons go to FILE.reasons")
      ->group(errors);

  const std::string setting = "Setting";
  command.add_option("--save-as", o.save_as, "Save the job under this name")->group(setting);
  command.add_option("--ini", o.ini, "Settings file (default: Kelvorin.Ini)")->group(setting);
  command.add_flag("--json", o.json, "Print one JSON object");
}

Status MakeJob(const ImportOptions& options, ImportJob& job) {
  if (options.ansi != 0) KV_TRY(base::SetAnsiPage(options.ansi));
  if (options.oem_page != 0) KV_TRY(base::SetOemPage(options.oem_page));
  settings::SetDefaultSetting(job.setting, job.breaks, 0);
  KV_TRY(MakeRules(options, job.setting));
  KV_TRY(MakeMapping(options, job.map));
  return MakeSource(options, job);
}

}  // namespace kelvorin::app
