#include "database/odbc/odbc_database.h"

#include <chrono>

#include "base/M_STRING.h"
#include "database/odbc/catalog.h"
#include "database/odbc/new_table.h"
#include "database/odbc/roads.h"
#include "database/odbc/snapshot.h"
#include "database/wall.h"

namespace kelvorin::database::odbc {
namespace {

std::int64_t NowMilliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

class Inserter final : public database::BulkInserter {
 public:
  Inserter(database::DBEngine& engine, std::unique_ptr<PostRoad> road, std::size_t field_count,
           database::BulkReceiver& receiver)
      : engine_(engine),
        road_(std::move(road)),
        field_count_(field_count),
        poster_(
            *road_, [&receiver](std::int64_t record_no) { receiver.Stored(record_no); },
            [this, &receiver](std::int64_t record_no, const PostFailure& failure) {
              engine_.NoteFailure(failure.status, failure.errors);
              return receiver.Refused(record_no, failure.status);
            },
            NowMilliseconds) {}

  Status Add(std::int64_t record_no, const database::LiteralRow& row) noexcept override {
    return Guarded([&]() -> Status {
      if (row.size() != field_count_)
        return database::MakeStatus(Code::kInvalidArgument, database::ErrorNumber::kInvalidArgument,
                                    "record " + std::to_string(record_no) + " has " +
                                        std::to_string(row.size()) + " values for " +
                                        std::to_string(field_count_) + " fields");
      return poster_.Add(record_no, row);
    });
  }
  Status Flush() noexcept override {
    return Guarded([&] { return poster_.Flush(); });
  }
  std::size_t Waiting() const noexcept override { return poster_.Waiting(); }
  bool Grouped() const noexcept override { return poster_.Grouped(); }

 private:
  // An ended posting is no failure of its own: the pending errors stay those of the record.
  template <typename F>
  Status Guarded(F&& call) noexcept {
    try {
      return call();
    } catch (...) {
      return database::CaughtStatus(engine_);
    }
  }

  database::DBEngine& engine_;
  std::unique_ptr<PostRoad> road_;
  std::size_t field_count_;
  ChunkPoster poster_;
};

}  // namespace

OdbcDatabase::OdbcDatabase(database::DBEngine& engine, const database::OpenRequest& request,
                           const database::ConnectString& connect)
    : Database(engine, request), session_(connect) {
  set_dialect(session_.facts().dialect);
}

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

Result<std::unique_ptr<database::BulkInserter>> OdbcDatabase::MakeBulkInserter(
    std::string_view name, const std::vector<std::string>& fields, database::BulkReceiver& receiver,
    database::BulkOptions options) noexcept {
  return database::Guarded(engine(), [&]() -> std::unique_ptr<database::BulkInserter> {
    RequireUpdatable();
    session_.RequireConnection();
    RoadTarget target;
    target.table = ResolveTable(session_, name);
    target.def = DescribeTable(session_, target.table);
    for (const std::string& field : fields) {
      const int at = target.def.FindField(field);
      if (at < 0)
        database::Throw(Code::kNotFound, database::ErrorNumber::kNotInCollection,
                        "table '" + target.def.Name + "' has no field '" + field + "'");
      target.fields.push_back(target.def.Fields[static_cast<std::size_t>(at)].Name);
    }
    if (fields.empty())
      database::Throw(Code::kInvalidArgument, database::ErrorNumber::kInvalidArgument,
                      "records for table '" + target.def.Name + "' without a field");
    return std::make_unique<Inserter>(engine(),
                                      MakeRoad(session_, std::move(target), options.one_by_one),
                                      fields.size(), receiver);
  });
}

void OdbcDatabase::DoClose() {
  session_.Close();
}

}  // namespace kelvorin::database::odbc
