// `kelvorin tables | fields | dump | check | reindex | create | sources`: what databases hold, and
// new tables.

#include <nlohmann/json.hpp>

#include "apps/kelvorin/command.h"
#include "apps/kelvorin/database_argument.h"
#include "apps/kelvorin/output.h"
#include "apps/kelvorin/passwords.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "contract/enums.h"
#include "database/drivers/register_drivers.h"
#include "values/field_types.h"
#include "values/value_format.h"

namespace kelvorin::app {
namespace {

using database::FieldDef;
using database::IndexDef;
using database::TableDef;
using nlohmann::ordered_json;

struct TableOptions {
  std::string database;
  std::string table;
  std::string user;
  std::string password;
  bool json = false;
  std::vector<std::string> fields;   // NAME:TYPE[:SIZE[:DECIMALS]]
  std::vector<std::string> indexes;  // NAME=FIELD,...
  std::string primary;               // FIELD,...
  bool unique = false;               // the indexes
  bool access97 = false;
  int oem_page = 0;  // 0: that of the process
};

std::string TypeName(database::TypeCode type) {
  return std::string(values::FieldType(static_cast<std::int16_t>(type)));
}

void PrintJson(const ordered_json& json) {
  std::printf("%s\n", json.dump(2, ' ', false, ordered_json::error_handler_t::replace).c_str());
}

std::string_view AttributeWord(std::uint32_t attributes) {
  if (attributes & database::kAttrSystemObject) return "system";
  if (attributes & database::kAttrLinkedJet) return "linked";
  if (attributes & database::kAttrLinkedOdbc) return "linked";
  return "table";
}

Result<OpenDatabase> OpenFor(const TableOptions& options, Access access) {
  Result<DatabaseArgument> argument = RequireDatabase(options.database);
  if (!argument.ok()) return argument.status();
  if (options.oem_page != 0) KV_TRY(base::SetOemPage(options.oem_page));
  return Open(argument->Address(options.user, options.password), access,
              options.access97 ? "version=97;" : "");
}

/// What the engine wants a person to know, on standard error.
void PrintNotices(OpenDatabase& open) {
  for (const std::string& notice : open.engine->TakeNotices())
    std::fprintf(stderr, "kelvorin: %s\n", ToUtf8(notice).c_str());
}

int Failure(const Status& status) {
  return Report(status.code() == Code::kInvalidArgument ? kWrongUsage : kFatal, status);
}

int Tables(const TableOptions& options) {
  Result<OpenDatabase> open = OpenFor(options, Access::kRead);
  if (!open.ok()) return Failure(open.status());
  const Result<std::vector<database::TableInfo>> tables = open->database->TableDefs();
  if (!tables.ok()) return Report(kFatal, tables.status());
  ordered_json array = ordered_json::array();
  ColumnTable columns({"table", "kind"});
  for (const database::TableInfo& table : *tables) {
    array.push_back({{"name", ToUtf8(table.Name)}, {"attributes", table.Attributes}});
    columns.Add({ToUtf8(table.Name), std::string(AttributeWord(table.Attributes))});
  }
  if (options.json) {
    PrintJson(array);
  } else {
    columns.Print(stdout);
  }
  return kAllImported;
}

void PrintTable(const TableDef& table) {
  ColumnTable fields({"field", "type", "size", "decimals", "notes"});
  for (const FieldDef& field : table.Fields) {
    std::string notes;
    const auto note = [&](bool set, const char* word) {
      if (set) notes += (notes.empty() ? "" : ", ") + std::string(word);
    };
    note(field.Required, "required");
    note(field.AutoIncrement, "automatic number");
    note(!field.DefaultValue.empty(), "has a default");
    note(!field.ValidationRule.empty(), "has a rule, which is not checked");
    fields.Add({ToUtf8(field.Name), TypeName(field.Type), std::to_string(field.Size),
                std::to_string(field.Decimals), notes});
  }
  fields.Print(stdout);
  if (!table.Indexes.empty()) {
    std::printf("\n");
    ColumnTable indexes({"index", "fields", "notes"});
    for (const IndexDef& index : table.Indexes)
      indexes.Add({ToUtf8(index.Name),
                   ToUtf8(index.Columns.empty() ? index.Expression : index.Fields()),
                   index.Primary  ? "primary"
                   : index.Unique ? "unique"
                                  : ""});
    indexes.Print(stdout);
  }
  if (!table.Updatable) std::printf("\ncannot be written: %s\n", ToUtf8(table.WhyReadOnly).c_str());
}

ordered_json TableJson(const TableDef& table) {
  ordered_json fields = ordered_json::array();
  for (const FieldDef& field : table.Fields)
    fields.push_back({{"name", ToUtf8(field.Name)},
                      {"type", TypeName(field.Type)},
                      {"code", static_cast<int>(field.Type)},
                      {"size", field.Size},
                      {"decimals", field.Decimals},
                      {"required", field.Required},
                      {"allow_zero_length", field.AllowZeroLength},
                      {"auto_increment", field.AutoIncrement},
                      {"default", ToUtf8(field.DefaultValue)},
                      {"rule", ToUtf8(field.ValidationRule)}});
  ordered_json indexes = ordered_json::array();
  for (const IndexDef& index : table.Indexes)
    indexes.push_back({{"name", ToUtf8(index.Name)},
                       {"fields", ToUtf8(index.Fields())},
                       {"expression", ToUtf8(index.Expression)},
                       {"unique", index.Unique},
                       {"primary", index.Primary},
                       {"required", index.Required},
                       {"ignore_nulls", index.IgnoreNulls}});
  return {{"table", ToUtf8(table.Name)},
          {"attributes", table.Attributes},
          {"fields", fields},
          {"indexes", indexes},
          {"updatable", table.Updatable},
          {"why_read_only", ToUtf8(table.WhyReadOnly)}};
}

int Fields(const TableOptions& options) {
  Result<OpenDatabase> open = OpenFor(options, Access::kRead);
  if (!open.ok()) return Failure(open.status());
  const Result<TableDef> table = open->database->FindTableDef(options.table);
  if (!table.ok()) return Report(kFatal, table.status());
  PrintNotices(*open);
  if (options.json) {
    PrintJson(TableJson(*table));
  } else {
    PrintTable(*table);
  }
  return kAllImported;
}

// One value as a CSV cell. A date field's value always shows its date, also that of day zero.
void AppendCell(const values::Value& value, values::TypeCode type, std::string& out) {
  if (value.kind == values::Kind::kDateTime && value.date_time.day == 0 &&
      type != values::TypeCode::kTime) {
    out += "1899-12-30";
    if (value.date_time.milliseconds == 0) return;
    out += ' ';
  }
  values::ValueFormat::Neutral().Append(value, out);
}

int Dump(const TableOptions& options) {
  Result<OpenDatabase> open = OpenFor(options, Access::kRead);
  if (!open.ok()) return Failure(open.status());
  Result<std::unique_ptr<database::Recordset>> rows =
      open->database->OpenRecordset(options.table, open->database->Traits().table_type);
  if (!rows.ok()) return Report(kFatal, rows.status());
  PrintNotices(*open);
  database::Recordset& set = **rows;
  CsvWriter csv(stdout);
  for (const FieldDef& field : set.Def().Fields) {
    csv.Add(ToUtf8(field.Name));
    if (values::IsBinary(field.Type))
      std::fprintf(stderr, "kelvorin: field '%s' is binary: its values are left empty\n",
                   ToUtf8(field.Name).c_str());
  }
  csv.EndRow();
  std::string cell;
  while (!set.Eof()) {
    for (std::size_t i = 0; i < set.FieldCount(); ++i) {
      values::Value value;
      const Status read = set.Fields(i).GetValue(value);
      if (!read.ok()) {
        csv.Flush();
        return Report(kFatal, read);
      }
      cell.clear();
      AppendCell(value, set.Fields(i).Type(), cell);
      csv.Add(ToUtf8(cell));
    }
    csv.EndRow();
    const Status moved = set.MoveNext();
    if (!moved.ok()) return Report(kFatal, moved);
  }
  if (!csv.Flush()) return Report(kFatal, "cannot write to standard output");
  if (const std::int64_t lost = set.UnreadableCharacters(); lost != 0)
    std::fprintf(stderr, "kelvorin: %lld characters are not in the ANSI page and were replaced\n",
                 static_cast<long long>(lost));
  return kAllImported;
}

Result<FieldDef> ParseField(const std::string& text) {
  const std::vector<std::string_view> parts = base::SplitAt(text, ':');
  const auto wrong = [&](const std::string& why) {
    return Status(Code::kInvalidArgument,
                  "field '" + text + "': " + why + " (expected NAME:TYPE[:SIZE[:DECIMALS]])");
  };
  if (parts.size() < 2 || parts.size() > 4 || parts[0].empty()) return wrong("wrong form");
  FieldDef field;
  field.Name = parts[0];
  field.AutoIncrement = base::EqualIgnoreCase(parts[1], "AutoNumber");
  const std::optional<values::TypeCode> type =
      field.AutoIncrement ? values::TypeCode::kLong : values::TypeFromName(parts[1]);
  if (!type) return wrong("there is no type '" + std::string(parts[1]) + "'");
  field.Type = *type;
  for (std::size_t i = 2; i < parts.size(); ++i) {
    const std::optional<std::int64_t> number = base::ParseWholeInteger(parts[i]);
    if (!number || *number < 0 || *number > 65535)
      return wrong("'" + std::string(parts[i]) + "' is no size");
    (i == 2 ? field.Size : field.Decimals) = static_cast<std::int32_t>(*number);
  }
  // What the user gave is what is made, also where the size could be that of the type itself.
  using enum values::TypeCode;
  for (const values::TypeCode real : {kSingle, kDouble, kFloat, kNumeric, kDecimal})
    if (field.Type == real) field.Digits = field.Size;
  return field;
}

std::vector<database::IndexField> ParseColumns(const std::string& list) {
  return database::ParseIndexFields(base::Replace(list, ",", ";"));
}

// All indexes asked for, the primary one first.
Status ParseIndexes(const TableOptions& options, TableDef& table) {
  if (!options.primary.empty()) {
    IndexDef& index = table.Indexes.emplace_back();
    index.Name = "PrimaryKey";
    index.Primary = index.Unique = index.Required = true;
    index.Columns = ParseColumns(options.primary);
  }
  for (const std::string& text : options.indexes) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == text.size())
      return Status(Code::kInvalidArgument, "index '" + text + "': expected NAME=FIELD,...");
    IndexDef& index = table.Indexes.emplace_back();
    index.Name = text.substr(0, equals);
    index.Unique = options.unique;
    index.Columns = ParseColumns(text.substr(equals + 1));
  }
  for (const IndexDef& index : table.Indexes)
    for (const database::IndexField& column : index.Columns)
      if (table.FindField(column.Name) < 0)
        return Status(Code::kInvalidArgument,
                      "index '" + index.Name + "': there is no field '" + column.Name + "'");
  return Status();
}

int Create(const TableOptions& options) {
  TableDef table;
  table.Name = options.table;
  for (const std::string& text : options.fields) {
    Result<FieldDef> field = ParseField(text);
    if (!field.ok()) return Failure(field.status());
    table.Fields.push_back(*std::move(field));
  }
  if (const Status indexes = ParseIndexes(options, table); !indexes.ok()) return Failure(indexes);
  Result<OpenDatabase> open = OpenFor(options, Access::kCreate);
  if (!open.ok()) return Failure(open.status());
  const Status created = open->database->CreateTable(table);
  if (!created.ok()) return Report(kFatal, created);
  const Status closed = open->database->Close();
  return closed.ok() ? kAllImported : Report(kFatal, closed);
}

int Check(const TableOptions& options) {
  Result<OpenDatabase> open = OpenFor(options, Access::kRead);
  if (!open.ok()) return Failure(open.status());
  const Result<std::vector<std::string>> findings = open->database->Inspect(options.table);
  if (!findings.ok()) return Report(kFatal, findings.status());
  PrintNotices(*open);
  if (options.json) {
    ordered_json array = ordered_json::array();
    for (const std::string& finding : *findings) array.push_back(ToUtf8(finding));
    PrintJson(array);
  } else {
    for (const std::string& finding : *findings) std::printf("%s\n", ToUtf8(finding).c_str());
    if (findings->empty()) std::printf("no fault found\n");
  }
  return findings->empty() ? kAllImported : kRecordsFailed;
}

int Reindex(const TableOptions& options) {
  Result<OpenDatabase> open = OpenFor(options, Access::kWrite);
  if (!open.ok()) return Failure(open.status());
  const Result<std::int64_t> count = open->database->RebuildIndexes(options.table);
  if (!count.ok()) return Report(kFatal, count.status());
  PrintNotices(*open);
  std::printf("%lld indexes rebuilt\n", static_cast<long long>(*count));
  return kAllImported;
}

int Sources(const TableOptions& options) {
  database::DBEngine engine;
  database::RegisterDrivers(engine);
  const Result<std::vector<database::DataSource>> sources = engine.DataSources();
  if (!sources.ok()) return Report(kFatal, sources.status());
  ordered_json kinds = ordered_json::array();
  ColumnTable columns({"kind", "connect word", "in this build"});
  for (std::int16_t kind = contract::kAccess; kind <= contract::kOdbc; ++kind) {
    const std::string name(contract::TypeConnectName(kind));
    const std::string word(contract::ConnectTypeName(kind).value_or(""));
    const bool available = engine.HasDriver(word);
    kinds.push_back({{"name", name}, {"value", kind}, {"connect", word}, {"available", available}});
    columns.Add({name, word, available ? "yes" : "no"});
  }
  ordered_json list = ordered_json::array();
  for (const database::DataSource& source : *sources)
    list.push_back({{"name", source.Name}, {"description", source.Description}});
  if (options.json) {
    PrintJson({{"kinds", kinds}, {"data_sources", list}});
    return kAllImported;
  }
  columns.Print(stdout);
  std::printf("\nODBC data sources:%s\n", sources->empty() ? " none" : "");
  for (const database::DataSource& source : *sources)
    std::printf("  %s  %s\n", source.Name.c_str(), source.Description.c_str());
  return kAllImported;
}

}  // namespace

void AddTableCommands(Command root, int& exit_status) {
  const auto add = [&](const char* name, const char* help, int (*action)(const TableOptions&)) {
    auto options = std::make_shared<TableOptions>();
    Command command = root.AddCommand(name, help);
    command.OnUse([options, action, &exit_status] { exit_status = action(*options); });
    return std::pair(command, options);
  };
  const auto add_database = [](Command command, TableOptions& options, bool with_table) {
    command.Add("DATABASE", options.database, "KIND:DATABASE, e.g. DBase3:folder").Required();
    if (with_table) command.Add("TABLE", options.table, "Name of the table").Required();
    command.Add("--user", options.user, "User name, where the database wants one");
    AddPassword(command, "", "database", options.password);
  };

  const auto add_oem_page = [](Command command, TableOptions& options) {
    command.Add("--oem-page", options.oem_page,
                "Code page of dBASE and FoxPro tables that name none");
  };

  auto [tables, tables_options] = add("tables", "List the tables of a database", Tables);
  add_database(tables, *tables_options, false);
  tables.AddFlag("--json", tables_options->json, "Print JSON");

  auto [fields, fields_options] = add("fields", "List fields and indexes of a table", Fields);
  add_database(fields, *fields_options, true);
  add_oem_page(fields, *fields_options);
  fields.AddFlag("--json", fields_options->json, "Print JSON");

  auto [dump, dump_options] = add("dump", "Write a table as CSV (UTF-8) to standard output", Dump);
  add_database(dump, *dump_options, true);
  add_oem_page(dump, *dump_options);

  auto [check, check_options] =
      add("check", "Verify a database's structure and say what is wrong", Check);
  add_database(check, *check_options, false);
  check.Add("TABLE", check_options->table, "One table only");
  check.AddFlag("--json", check_options->json, "Print JSON");

  auto [reindex, reindex_options] =
      add("reindex", "Build the indexes of a dBASE, FoxPro or Paradox table anew", Reindex);
  add_database(reindex, *reindex_options, true);

  auto [create, create_options] =
      add("create", "Make a table, and its database if missing", Create);
  add_database(create, *create_options, true);
  create.Add("FIELD", create_options->fields, "NAME:TYPE[:SIZE[:DECIMALS]] ...").Required();
  create.Add("--index", create_options->indexes, "NAME=FIELD,... (\"-FIELD\" descending)")
      .OneWordEach();
  create.AddFlag("--unique", create_options->unique, "These indexes are unique");
  create.Add("--primary", create_options->primary, "FIELD,... of the primary key");
  create.AddFlag("--access97", create_options->access97,
                 "A new Access database gets the format of Access 97");
  std::string types = "Types: AutoNumber";
  for (std::int16_t code = 1; code <= 23; ++code)
    if (const std::string_view type = values::FieldType(code); !type.empty())
      types.append(", ").append(type);
  create.Footer(types);

  auto [sources, sources_options] =
      add("sources", "List kinds of databases and ODBC data sources", Sources);
  sources.AddFlag("--json", sources_options->json, "Print JSON");
}

}  // namespace kelvorin::app
