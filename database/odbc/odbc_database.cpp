#include "database/odbc/odbc_database.h"

#include "base/M_STRING.h"
#include "database/boundary.h"
#include "database/odbc/catalog.h"
#include "database/odbc/new_table.h"
#include "database/odbc/row_posters.h"
#include "database/odbc/snapshot.h"
#include "database/odbc/sqlite_reads.h"

namespace kelvorin::database::odbc {
OdbcDatabase::OdbcDatabase(database::DBEngine& engine, const database::OpenRequest& request,
                           const database::ConnectString& connect)
    : Database(engine, request), session_(connect) {}

std::vector<database::TableInfo> OdbcDatabase::DoTableDefs() {
  session_.RequireConnection();
  std::vector<database::TableInfo> infos;
  for (const TableEntry& table : ListTables(session_))
    infos.push_back({table.shown, table.attributes});
  return infos;
}

database::TableDef OdbcDatabase::DoFindTableDef(std::string_view name) {
  session_.RequireConnection();
  return DescribeTable(session_, ResolveTable(session_, name));
}

std::unique_ptr<database::Recordset> OdbcDatabase::DoOpenRecordset(std::string_view name,
                                                                   database::RecordsetType type) {
  if (type != database::RecordsetType::kSnapshot)
    database::Throw(Code::kNotSupported, database::ErrorNumber::kNotSupported,
                    "table '" + std::string(name) + "' of the data source '" + session_.name() +
                        "' can be opened as a snapshot only");
  session_.RequireConnection();
  TableEntry table = ResolveTable(session_, name);
  database::TableDef def = DescribeTable(session_, table);
  return std::make_unique<Snapshot>(*this, std::move(def), session_, std::move(table));
}

void OdbcDatabase::RequireUpdatable() const {
  if (Updatable()) return;
  database::Throw(Code::kReadOnly, database::ErrorNumber::kReadOnly,
                  "the data source '" + session_.name() + "' was opened for reading only");
}

std::int64_t OdbcDatabase::DoExecute(std::string_view sql, std::int32_t) {
  RequireUpdatable();
  if (sql.find('\0') != std::string_view::npos)
    database::Throw(Code::kInvalidArgument, database::ErrorNumber::kInvalidArgument,
                    "a statement holds a character of code 0");
  std::string utf8;
  const Status status = AppendUtf8Text(sql, utf8);
  if (!status.ok()) throw Error(status);
  return Run(utf8);
}

std::int64_t OdbcDatabase::Run(std::string_view utf8) {
  session_.RequireConnection();
  const SqliteWriter writer(session_.facts().server == Server::kSqlite ? session_.Identity()
                                                                       : std::string());
  try {
    Statement statement(session_.connection());
    const SQLRETURN result = statement.Send(utf8);
    if (result != SQL_NO_DATA && !Succeeded(result)) {
      Diagnosis diagnosis = Diagnose(SQL_HANDLE_STMT, statement.get());
      const database::PendingError first = diagnosis.errors.front();
      throw database::DriverError(
          database::MakeStatus(CodeOf(first), database::ErrorNumber::kOdbcCallFailed,
                               first.description),
          std::move(diagnosis.errors));
    }
    return result == SQL_NO_DATA ? 0 : statement.RowCount();
  } catch (const database::DriverError& error) {
    session_.Note(Diagnosis{error.details()});
    throw;
  }
}

void OdbcDatabase::DoCreateTable(const database::TableDef& table) {
  session_.RequireConnection();
  for (const TableEntry& entry : ListTables(session_))
    if (base::EqualIgnoreCase(entry.shown, table.Name))
      database::Throw(
          Code::kAlreadyExists, database::ErrorNumber::kTableExists,
          "the data source '" + session_.name() + "' has a table '" + entry.shown + "' already");
  const std::vector<std::string> statements = CreateStatements(session_, table);
  Run(Utf8Name(statements.front()));
  try {
    for (std::size_t i = 1; i < statements.size(); ++i) Run(Utf8Name(statements[i]));
  } catch (const Error&) {
    Run(Utf8Name("DROP TABLE " + NewTableName(session_, table.Name)));  // all or nothing
    throw;
  }
}

void OdbcDatabase::DoCreateIndex(std::string_view table, const database::IndexDef& index) {
  session_.RequireConnection();
  const TableEntry entry = ResolveTable(session_, table);
  Run(Utf8Name(CreateIndexStatement(session_, SqlName(session_, entry), index)));
}

void OdbcDatabase::DoDeleteTable(std::string_view name) {
  session_.RequireConnection();
  Run(Utf8Name("DROP TABLE " + SqlName(session_, ResolveTable(session_, name))));
}

Result<std::unique_ptr<database::RowPoster>> OdbcDatabase::MakeRowPoster(
    std::string_view name, const std::vector<std::string>& fields, database::RowReceiver& receiver,
    database::PostOptions options) noexcept {
  return database::Guarded(engine(), [&]() -> std::unique_ptr<database::RowPoster> {
    RequireUpdatable();
    session_.RequireConnection();
    PostTarget target;
    target.table = ResolveTable(session_, name);
    target.def = DescribeTable(session_, target.table);
    if (!target.def.Updatable)
      database::Throw(
          Code::kReadOnly, database::ErrorNumber::kReadOnly,
          "table '" + target.def.Name + "' takes no records: " + target.def.WhyReadOnly);
    for (const std::string& field : fields) {
      const int at = target.def.FindField(field);
      if (at < 0)
        database::Throw(Code::kNotFound, database::ErrorNumber::kNotInCollection,
                        "table '" + target.def.Name + "' has no field '" + field + "'");
      target.fields.push_back(target.def.Fields[static_cast<std::size_t>(at)].Name);
      target.types.push_back(target.def.Fields[static_cast<std::size_t>(at)].Type);
    }
    if (fields.empty())
      database::Throw(Code::kInvalidArgument, database::ErrorNumber::kInvalidArgument,
                      "records for table '" + target.def.Name + "' without a field");
    if (options.mode != database::PostMode::kInsert)
      return MakeUpdatePoster(engine(), session_, std::move(target), receiver, std::move(options));
    return MakeInsertPoster(engine(), session_, std::move(target), receiver, options.one_by_one);
  });
}

void OdbcDatabase::DoClose() {
  session_.Close();
}

}  // namespace kelvorin::database::odbc
