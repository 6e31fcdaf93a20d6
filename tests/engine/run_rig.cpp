#include "tests/engine/run_rig.h"

#include <doctest/doctest.h>

#include "base/M_STRING.h"
#include "catalog/tables.h"

namespace kelvorin::tests {

using contract::Answer;
using values::TypeCode;

Answer TestPlatform::Ask(const contract::MessageBox& box) {
  boxes.push_back(box);
  if (box.buttons != contract::Buttons::kYesNo) return Answer::kOk;
  if (answers.empty()) return Answer::kNo;
  const Answer answer = answers.front();
  answers.erase(answers.begin());
  return answer;
}

database::FieldDef Text(std::string name, std::int32_t size) {
  database::FieldDef field = Typed(std::move(name), TypeCode::kText);
  field.Size = size;
  return field;
}

database::FieldDef Typed(std::string name, TypeCode type) {
  database::FieldDef field;
  field.Name = std::move(name);
  field.Type = type;
  return field;
}

database::TableDef TableOf(std::string name, std::vector<database::FieldDef> fields,
                           std::size_t key_fields, bool unique) {
  database::TableDef table;
  table.Name = std::move(name);
  table.Fields = std::move(fields);
  if (key_fields == 0) return table;
  database::IndexDef& index = table.Indexes.emplace_back();
  index.Name = "ByKey";
  index.Unique = unique;
  for (std::size_t i = 0; i < key_fields; ++i) index.Columns.push_back({table.Fields[i].Name});
  return table;
}

database::TableDef Goods() {
  return TableOf("Goods",
                 {Text("Name"), Typed("Amount", TypeCode::kLong), Typed("Day", TypeCode::kDate),
                  Typed("Notes", TypeCode::kMemo), Typed("Picture", TypeCode::kLongBinary)});
}

RunRig::RunRig(database::TableDef table, bool odbc) : odbc_(odbc) {
  memory.AddTable("shop", std::move(table));
  engine.Register(memory.Clone());
  options.now = [] { return base::LocalTime{2024, 5, 17, 13, 4, 5}; };
  host.properties().ShowProgress = host.properties().ShowSummary = false;
  setting.ShowErrors = false;
  Holds({});
}

void RunRig::Holds(const std::vector<std::vector<std::string>>& rows) {
  for (const auto& row : rows) memory.AddRow("shop", "Goods", row);
  REQUIRE(target.Close().ok());
  auto opened =
      engine.OpenDatabase(odbc_ ? "" : "shop", true, false, odbc_ ? "ODBC;DSN=shop;" : ";pwd=;");
  REQUIRE(opened.ok());
  target.database = *std::move(opened);
  target.table_name = "Goods";
  auto records = catalog::OpenTableRecordset(*target.database, "Goods", 3, platform);
  REQUIRE(records.ok());
  target.recordset = *std::move(records);
  target.fields = catalog::InitTargetTable(*target.recordset, "Goods", host, setting.FieldMap);
}

void RunRig::FromText(std::string_view contents) {
  source.file_name = folder.File("import.txt");
  WriteWhole(source.file_name, contents);
}

void RunRig::FromTable(std::vector<database::FieldDef> fields,
                       const std::vector<std::vector<std::string>>& rows) {
  memory.AddTable("stock", TableOf("Import", std::move(fields)));
  for (const auto& row : rows) memory.AddRow("stock", "Import", row);
  setting.TypeFormat = 7;
  source.SourceDBName = "stock";
  source.file_name = "Import";
}

void RunRig::Map(std::initializer_list<int> sources) {
  std::size_t i = 0;
  for (const int source_no : sources) {
    settings::FieldMapEntry& entry = setting.FieldMap[i++];
    entry.Field = static_cast<std::int16_t>(source_no);
    entry.Mapped = source_no != -1;
  }
}

engine::RunResult RunRig::Run() {
  return engine::StartImport({setting, breaks, target, source, engine, host, platform, options});
}

std::string RunRig::Show(const engine::RunResult& result) {
  std::string text;
  for (const std::int64_t count : {result.read, result.imported, result.rejected, result.skipped})
    text += (text.empty() ? "" : " ") + std::to_string(count);
  if (result.stopped) text += " stopped";
  if (result.cancelled) text += " cancelled";
  if (result.fatal) text += " fatal";
  return text;
}

std::string RunRig::Rows() const {
  std::string text;
  for (const auto& row : memory.Rows("shop", "Goods")) {
    std::string line;
    for (const std::string& value : row) line += "," + (value == "<null>" ? "~" : value);
    while (line.size() > 1 && line.substr(line.size() - 2) == ",~") line.resize(line.size() - 2);
    text += (text.empty() ? "" : " | ") + (line.empty() ? line : line.substr(1));
  }
  return text;
}

void RunRig::Note(std::string line) {
  for (; operations_seen_ < memory.Log().size(); ++operations_seen_)
    trace_ += memory.Log()[operations_seen_] + "\n";
  if (!line.empty()) trace_ += line + "\n";
}

std::string RunRig::Trace() {
  Note({});
  return std::move(trace_);
}

std::string RunRig::Plain(std::string_view text) const {
  return base::Replace(text, folder.path() + "/", "");
}

}  // namespace kelvorin::tests
