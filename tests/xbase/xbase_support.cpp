#include "tests/xbase/xbase_support.h"

#include "database/drivers/register_drivers.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {

Folder::Folder(const std::string& name, std::string_view connect, storage::FileSystem& fs,
               bool read_only) {
  database::RegisterDrivers(engine_, fs);
  auto opened = engine_.OpenDatabase(name, false, read_only, connect);
  REQUIRE_MESSAGE(opened.ok(), opened.status().message());
  database_ = *std::move(opened);
}

Folder::~Folder() {
  (void)database_->Close();
}

std::unique_ptr<Recordset> Folder::Open(std::string_view table, RecordsetType type) {
  auto opened = database_->OpenRecordset(table, type);
  REQUIRE_MESSAGE(opened.ok(), opened.status().message());
  return *std::move(opened);
}

void Folder::Make(const TableDef& table) {
  const Status made = database_->CreateTable(table);
  REQUIRE_MESSAGE(made.ok(), made.message());
}

void Folder::Fill(std::string_view table, const std::vector<Row>& rows) {
  auto set = Open(table);
  for (const Row& row : rows) {
    const Status added = Append(*set, row);
    REQUIRE_MESSAGE(added.ok(), added.message());
  }
  REQUIRE(set->Close().ok());
}

std::vector<Row> Folder::ReadAll(std::string_view table) {
  std::vector<Row> rows;
  auto set = Open(table, RecordsetType::kSnapshot);
  while (!set->Eof()) {
    rows.push_back(TextsOf(*set));
    REQUIRE(set->MoveNext().ok());
  }
  return rows;
}

TableDef MakeTable(std::string name, std::vector<FieldDef> fields) {
  TableDef table;
  table.Name = std::move(name);
  table.Fields = std::move(fields);
  return table;
}

std::string Show(const Row& row) {
  std::string text;
  for (const std::string& cell : row) (text += cell) += '|';
  return text;
}
std::string Show(const std::vector<Row>& rows) {
  std::string text;
  for (const Row& row : rows) (text += Show(row)) += '\n';
  return text;
}

}  // namespace kelvorin::tests
