#pragma once
// A data source as the engine's database: tables, read-only record sets, statements, and records
// posted in groups. Made by the ODBC driver; included by .cpp files of this room only.

#include <memory>
#include <string>
#include <vector>

#include "database/engine.h"
#include "database/odbc/session.h"
#include "database/row_poster.h"

namespace kelvorin::database::odbc {

class OdbcDatabase final : public database::Database, public database::RowDatabase {
 public:
  OdbcDatabase(database::DBEngine& engine, const database::OpenRequest& request,
               const database::ConnectString& connect);

  Result<std::unique_ptr<database::RowPoster>> MakeRowPoster(
      std::string_view table, const std::vector<std::string>& fields,
      database::RowReceiver& receiver, database::PostOptions options) noexcept override;
  database::DatabaseTraits Traits() const noexcept override {
    return {database::RecordsetType::kSnapshot, true, false};
  }

 private:
  std::vector<database::TableInfo> DoTableDefs() override;
  database::TableDef DoFindTableDef(std::string_view name) override;
  std::unique_ptr<database::Recordset> DoOpenRecordset(std::string_view table,
                                                       database::RecordsetType type) override;
  std::int64_t DoExecute(std::string_view sql, std::int32_t options) override;
  void DoCreateTable(const database::TableDef& table) override;
  void DoCreateIndex(std::string_view table, const database::IndexDef& index) override;
  void DoDeleteTable(std::string_view name) override;
  void DoClose() override;

  void RequireUpdatable() const;
  /// Runs a statement in UTF-8; returns the number of records it changed, -1 when unknown.
  std::int64_t Run(std::string_view utf8);

  Session session_;
};

}  // namespace kelvorin::database::odbc
