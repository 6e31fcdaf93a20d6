#include "tests/engine/run_rig.h"

#include <doctest/doctest.h>

#include "database/catalog/tables.h"

namespace kelvorin::tests {

using contract::Answer;
using contract::Event;
using values::TypeCode;

void Trace::TakeOperations() {
  const std::vector<std::string>& log = memory_.Log();
  for (; operations_seen_ < log.size(); ++operations_seen_) text_ += log[operations_seen_] + "\n";
}

void Trace::Note(std::string line) {
  TakeOperations();
  text_ += line + "\n";
}

std::string Trace::Take() {
  TakeOperations();
  return std::move(text_);
}

bool TestHost::Listens(Event event) const noexcept {
  switch (event) {
    case Event::kBeforeFieldImport:
      return static_cast<bool>(before_field);
    case Event::kValidateBeforePost:
      return static_cast<bool>(before_post);
    case Event::kValidateAfterPost:
      return static_cast<bool>(after_post);
    case Event::kFilterTable:
    case Event::kFilterType:
    case Event::kFilterField:
      return true;
  }
  return false;
}

Answer TestPlatform::Ask(const contract::MessageBox& box) {
  boxes.push_back(box);
  if (box.buttons != contract::Buttons::kYesNo) return Answer::kOk;
  if (answers.empty()) return Answer::kNo;
  const Answer answer = answers.front();
  answers.erase(answers.begin());
  return answer;
}

void TestPlatform::Yield() {
  if (++yields == cancel_at_yield) cancelled = true;
  if (on_yield) on_yield();
}

database::FieldDef Field(std::string name, TypeCode type, std::int32_t size) {
  database::FieldDef field;
  field.Name = std::move(name);
  field.Type = type;
  field.Size = size;
  return field;
}

database::TableDef TableOf(std::vector<database::FieldDef> fields) {
  database::TableDef table;
  table.Name = "Goods";
  table.Fields = std::move(fields);
  return table;
}

database::TableDef Goods() {
  database::TableDef table =
      TableOf({Field("Name", TypeCode::kText, 20), Field("Amount", TypeCode::kLong, 4),
               Field("Day", TypeCode::kDate, 8), Field("Notes", TypeCode::kMemo),
               Field("Picture", TypeCode::kLongBinary)});
  database::IndexDef index;
  index.Name = "ByName";
  index.Columns = {{"Name"}};
  index.Unique = true;
  table.Indexes = {index};
  return table;
}

RunRig::RunRig(database::TableDef table, bool odbc)
    : connect_(odbc ? "ODBC;DSN=shop;UID=;PWD=;" : ";pwd=;") {
  memory.AddTable("shop", std::move(table));
  engine.Register(memory.Clone());
  options.now = [] { return base::LocalTime{2024, 5, 17, 13, 4, 5}; };
  host.properties().ShowProgress = false;
  host.properties().ShowSummary = false;
  setting.ShowErrors = false;
  OpenTarget();
}

void RunRig::OpenTarget() {
  const settings::FieldMap map = setting.FieldMap;
  REQUIRE(target.Close().ok());
  auto opened = engine.OpenDatabase(connect_.front() == 'O' ? "" : "shop", true, false, connect_);
  REQUIRE(opened.ok());
  target.database = *std::move(opened);
  target.table_name = "Goods";
  auto rows = catalog::OpenTableRecordset(*target.database, "Goods", 3, platform);
  REQUIRE(rows.ok());
  target.recordset = *std::move(rows);
  target.fields = catalog::InitTargetTable(*target.recordset, "Goods", host, setting.FieldMap);
  for (std::size_t i = 0; i < map.size(); ++i) {
    const std::string name = setting.FieldMap[i].Name;
    setting.FieldMap[i] = map[i];
    setting.FieldMap[i].Name = name;
  }
}

void RunRig::Text(std::string_view contents) {
  source.file_name = folder.File("import.txt");
  WriteWhole(source.file_name, contents);
}

void RunRig::Table(database::TableDef table, const std::vector<std::vector<std::string>>& rows) {
  table.Name = "Import";
  memory.AddTable("stock", std::move(table));
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
  std::string text = std::to_string(result.read) + " " + std::to_string(result.imported) + " " +
                     std::to_string(result.rejected) + " " + std::to_string(result.skipped);
  if (result.stopped) text += " stopped";
  if (result.cancelled) text += " cancelled";
  if (result.fatal) text += " fatal";
  return text;
}

}  // namespace kelvorin::tests
