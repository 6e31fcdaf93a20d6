#include "tests/odbc/odbc_backend.h"

#include "database/odbc/odbc_driver.h"
#include "tests/odbc/open_source.h"
#include "tests/odbc/posting_check.h"

namespace kelvorin::tests {
namespace {

using database::TypeCode;

void Empty(std::string_view server, const std::string& connect) {
  OpenSource source(connect);
  if (server == "sqlite") {
    for (const auto& table : *source->TableDefs())
      if (table.Attributes == 0) Execute(*source, "DROP TABLE \"" + table.Name + "\"");
  } else if (server == "postgres") {
    Execute(*source, "DROP SCHEMA public CASCADE");
    Execute(*source, "CREATE SCHEMA public");
  } else {
    Execute(*source, "DROP DATABASE imp");
    Execute(*source, "CREATE DATABASE imp");
  }
}

// Where a server's type is not the one that was asked for, or its range is another.
std::vector<TypeCase> Types(std::string_view server) {
  std::vector<TypeCase> types;
  for (const TypeCode code :
       {TypeCode::kBoolean, TypeCode::kByte, TypeCode::kInteger, TypeCode::kLong, TypeCode::kBigInt,
        TypeCode::kCurrency, TypeCode::kSingle, TypeCode::kDouble, TypeCode::kNumeric,
        TypeCode::kDecimal, TypeCode::kDate, TypeCode::kTime, TypeCode::kText, TypeCode::kMemo,
        TypeCode::kGuid}) {
    TypeCase type = WholeRange(code);
    const bool sqlite = server == "sqlite", postgres = server == "postgres";
    const auto stored = [&](TypeCode on_sqlite, TypeCode on_postgres, TypeCode on_mariadb) {
      type.stored = sqlite ? on_sqlite : postgres ? on_postgres : on_mariadb;
    };
    if (code == TypeCode::kBoolean) {
      stored(code, TypeCode::kText, code);
      if (postgres) type.texts = {"1", "0"};
    }
    if (code == TypeCode::kLong) stored(TypeCode::kBigInt, code, code);
    if (code == TypeCode::kByte) stored(TypeCode::kInteger, TypeCode::kInteger, code);
    if (code == TypeCode::kCurrency) {
      stored(TypeCode::kDecimal, TypeCode::kNumeric, TypeCode::kDecimal);
      if (sqlite) type.texts = {"0", "0.0001", "-0.01", "900719925473.9999"};
    }
    if (code == TypeCode::kNumeric || code == TypeCode::kDecimal) {
      type.size = 22;
      stored(TypeCode::kMemo, TypeCode::kNumeric, TypeCode::kDecimal);
    }
    if (code == TypeCode::kSingle) stored(TypeCode::kDouble, code, TypeCode::kDouble);
    if (code == TypeCode::kGuid) stored(code, code, TypeCode::kText);
    types.push_back(type);
  }
  return types;
}

}  // namespace

Backend OdbcBackend(std::string_view server, const std::string& connect) {
  Backend backend;
  backend.name = server;
  backend.connect = connect;
  backend.enter_driver = [](database::DBEngine& engine) {
    engine.Register(database::odbc::MakeOdbcDriver());
  };
  backend.make_database = [server = std::string(server), connect] {
    Empty(server, connect);
    return std::string();
  };
  backend.types = Types(server);
  backend.many_records = 1500;
  backend.snapshots_only = true;
  return backend;
}

}  // namespace kelvorin::tests
