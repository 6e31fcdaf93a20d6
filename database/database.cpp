#include "database/database.h"

#include "database/boundary.h"
#include "database/engine.h"

namespace kelvorin::database {
namespace {

[[noreturn]] void Unsupported(const Database& database, const char* what) {
  Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
        std::string(what) + " is not supported by the database '" + database.Name() + "'");
}

}  // namespace

Database::Database(DBEngine& engine, OpenRequest request)
    : engine_(&engine), request_(std::move(request)) {}

Result<std::vector<TableInfo>> Database::TableDefs() noexcept {
  return Guarded(*engine_, [&] {
    CheckOpen();
    return DoTableDefs();
  });
}

Result<TableDef> Database::FindTableDef(std::string_view name) noexcept {
  return Guarded(*engine_, [&] {
    CheckOpen();
    return DoFindTableDef(name);
  });
}

Result<std::unique_ptr<Recordset>> Database::OpenRecordset(std::string_view table,
                                                           RecordsetType type) noexcept {
  return Guarded(*engine_, [&] {
    CheckOpen();
    std::unique_ptr<Recordset> set = DoOpenRecordset(table, type);
    set->OpenAtFirst();
    return set;
  });
}

Result<std::int64_t> Database::Execute(std::string_view sql, std::int32_t options) noexcept {
  return Guarded(*engine_, [&] {
    CheckOpen();
    return DoExecute(sql, options);
  });
}

Status Database::CreateTable(const TableDef& table) noexcept {
  return Guarded(*engine_, [&] {
    CheckUpdatable("CreateTable");
    DoCreateTable(table);
  });
}

Status Database::CreateIndex(std::string_view table, const IndexDef& index) noexcept {
  return Guarded(*engine_, [&] {
    CheckUpdatable("CreateIndex");
    DoCreateIndex(table, index);
  });
}

Status Database::DeleteTable(std::string_view name) noexcept {
  return Guarded(*engine_, [&] {
    CheckUpdatable("DeleteTable");
    DoDeleteTable(name);
  });
}

Result<std::int64_t> Database::RebuildIndexes(std::string_view table) noexcept {
  return Guarded(*engine_, [&] {
    CheckUpdatable("RebuildIndexes");
    return DoRebuildIndexes(table);
  });
}

Result<std::vector<std::string>> Database::Inspect(std::string_view table) noexcept {
  return Guarded(*engine_, [&] {
    CheckOpen();
    return DoInspect(table);
  });
}

Status Database::Close() noexcept {
  if (!open_) return Status();
  open_ = false;
  return Guarded(*engine_, [&] { DoClose(); });
}

void Database::CheckOpen() const {
  if (!open_)
    Throw(Code::kInvalidArgument, ErrorNumber::kObjectInvalid,
          "the database '" + request_.Name + "' was closed");
}

void Database::CheckUpdatable(const char* what) const {
  CheckOpen();
  if (!Updatable())
    Throw(Code::kReadOnly, ErrorNumber::kReadOnly,
          std::string(what) + " is not possible: the database '" + request_.Name +
              "' was opened for reading only");
}

std::int64_t Database::DoExecute(std::string_view, std::int32_t) {
  Unsupported(*this, "Execute");
}
void Database::DoCreateTable(const TableDef&) {
  Unsupported(*this, "CreateTable");
}
void Database::DoCreateIndex(std::string_view, const IndexDef&) {
  Unsupported(*this, "CreateIndex");
}
void Database::DoDeleteTable(std::string_view) {
  Unsupported(*this, "DeleteTable");
}
std::int64_t Database::DoRebuildIndexes(std::string_view) {
  Unsupported(*this, "RebuildIndexes");
}
std::vector<std::string> Database::DoInspect(std::string_view) {
  Unsupported(*this, "Inspect");
}

}  // namespace kelvorin::database
