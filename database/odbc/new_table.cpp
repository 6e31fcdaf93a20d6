#include "database/odbc/new_table.h"

#include <algorithm>

#include "base/M_STRING.h"
#include "database/errors.h"
#include "database/odbc/catalog.h"

namespace kelvorin::database::odbc {
namespace {

using database::FieldDef;
using database::IndexDef;
using database::TableDef;
using database::TypeCode;

constexpr std::int32_t kLongestText = 255;
constexpr std::size_t kMostNameBytes = 63;  // of PostgreSQL
// Above this a declared text counts towards MariaDB's limit of 65,535 bytes in a row, 4 a letter.
constexpr std::int32_t kMostLettersOfRow = 15000;
// SQLite keeps decimals as floating point, which holds this many digits of any number.
constexpr std::int32_t kExactDigits = 15;

/// A type's word on each server.
struct Words {
  const char* sqlite;
  const char* postgres;
  const char* mariadb;
  const char* Of(Server server) const noexcept {
    return server == Server::kSqlite ? sqlite : server == Server::kPostgres ? postgres : mariadb;
  }
};

constexpr Words kLongText = {"TEXT", "TEXT", "LONGTEXT"};

// MariaDB's BOOLEAN is a small number, so a truth value is a bit there; its servers before 10.7
// have no type for a GUID.
Words WordsOf(TypeCode type) {
  switch (type) {
    case TypeCode::kBoolean:
      return {"BOOLEAN", "BOOLEAN", "BIT(1)"};
    case TypeCode::kByte:
      return {"SMALLINT", "SMALLINT", "TINYINT UNSIGNED"};
    case TypeCode::kInteger:
      return {"SMALLINT", "SMALLINT", "SMALLINT"};
    case TypeCode::kLong:
      return {"INTEGER", "INTEGER", "INTEGER"};
    case TypeCode::kBigInt:
      return {"BIGINT", "BIGINT", "BIGINT"};
    case TypeCode::kCurrency:
      return {"DECIMAL(19,4)", "NUMERIC(19,4)", "DECIMAL(19,4)"};
    case TypeCode::kSingle:
      return {"REAL", "REAL", "DOUBLE"};  // MariaDB refuses the largest of them
    case TypeCode::kDouble:
    case TypeCode::kFloat:
      return {"DOUBLE", "DOUBLE PRECISION", "DOUBLE"};
    case TypeCode::kDate:
    case TypeCode::kTimeStamp:
      return {"TIMESTAMP", "TIMESTAMP", "DATETIME(3)"};
    case TypeCode::kTime:
      return {"TIME", "TIME", "TIME(3)"};
    case TypeCode::kGuid:
      return {"UUID", "UUID", "CHAR(38)"};
    case TypeCode::kBinary:
    case TypeCode::kVarBinary:
    case TypeCode::kLongBinary:
      return {"BLOB", "BYTEA", "LONGBLOB"};
    case TypeCode::kText:
    case TypeCode::kChar:
    case TypeCode::kMemo:
    case TypeCode::kNumeric:
    case TypeCode::kDecimal:
      break;
  }
  return kLongText;
}

std::string InParentheses(std::int32_t first, std::int32_t second = -1) {
  return "(" + base::ToDecimal(first) + (second < 0 ? "" : "," + base::ToDecimal(second)) + ")";
}

/// `longest`: texts declared longer are made without a length.
std::string TypeOf(const FieldDef& field, Server server, std::int32_t longest) {
  if ((field.Type == TypeCode::kText || field.Type == TypeCode::kChar) && field.Size >= 1 &&
      field.Size <= longest)
    return "VARCHAR" + InParentheses(field.Size);
  if (server == Server::kMariaDb && field.Decimals > 3 &&
      (field.Type == TypeCode::kDate || field.Type == TypeCode::kTimeStamp))
    return "DATETIME(6)";
  if (field.Type != TypeCode::kNumeric && field.Type != TypeCode::kDecimal)
    return WordsOf(field.Type).Of(server);
  if (server == Server::kSqlite && (field.Size < 1 || field.Size > kExactDigits))
    return kLongText.sqlite;
  if (field.Size < 1) return server == Server::kPostgres ? "NUMERIC" : "DECIMAL(65,30)";
  return (server == Server::kPostgres ? "NUMERIC" : "DECIMAL") +
         InParentheses(field.Size, std::clamp(field.Decimals, 0, field.Size));
}

/// The longest text that may be declared so that the row fits; the longest ones give way first.
std::int32_t LongestDeclared(const TableDef& table, Server server) {
  std::int32_t longest = kLongestText;
  if (server != Server::kMariaDb) return longest;
  const auto letters = [&] {
    std::int32_t sum = 0;
    for (const FieldDef& field : table.Fields)
      if (values::IsText(field.Type) && field.Size <= longest) sum += field.Size;
    return sum;
  };
  while (letters() > kMostLettersOfRow) --longest;
  return longest;
}

const IndexDef* PrimaryOf(const TableDef& table) {
  const auto at = std::find_if(table.Indexes.begin(), table.Indexes.end(),
                               [](const IndexDef& index) { return index.Primary; });
  return at == table.Indexes.end() ? nullptr : &*at;
}

void AppendColumns(const Session& session, const IndexDef& index, std::string& sql) {
  sql += '(';
  for (std::size_t i = 0; i < index.Columns.size(); ++i) {
    if (i != 0) sql += ',';
    AppendName(index.Columns[i].Name, session.facts().dialect, sql);
    if (index.Columns[i].Descending && !index.Primary) sql += " DESC";
  }
  sql += ')';
}

// What makes a column count up by itself; only a whole-number primary key does so on all servers.
std::string AutoWords(const FieldDef& field, const TableDef& table, Server server) {
  if (server == Server::kPostgres) return "SERIAL";
  const IndexDef* primary = PrimaryOf(table);
  if (primary == nullptr || primary->Columns.size() != 1 ||
      !base::EqualIgnoreCase(primary->Columns[0].Name, field.Name))
    database::Throw(Code::kNotSupported, database::ErrorNumber::kNotSupported,
                    "the automatic number '" + field.Name + "' of table '" + table.Name +
                        "' would have to be its primary key");
  return server == Server::kSqlite ? "INTEGER" : "INTEGER AUTO_INCREMENT";
}

}  // namespace

std::string NewTableName(const Session& session, const std::string& name) {
  TableEntry entry;
  entry.name = entry.shown = name;
  const std::size_t point = name.find('.');
  if (session.facts().server == Server::kPostgres && point != std::string::npos &&
      !QueryRows(
           session.connection(),
           "SELECT 1 FROM pg_namespace WHERE nspname=" + Literal(session, name.substr(0, point)),
           "cannot list the schemas of '" + session.name() + "'")
           .empty()) {
    entry.schema = name.substr(0, point);
    entry.name = name.substr(point + 1);
  }
  // A longer one would be cut in silence.
  if (const std::size_t bytes = Utf8Name(entry.name).size();
      session.facts().server == Server::kPostgres && bytes > kMostNameBytes)
    database::Throw(Code::kInvalidArgument, database::ErrorNumber::kInvalidArgument,
                    "the name '" + entry.name + "' has " + std::to_string(bytes) +
                        " bytes, and PostgreSQL takes " + std::to_string(kMostNameBytes));
  return SqlName(session, entry);
}

std::string CreateIndexStatement(const Session& session, const std::string& table,
                                 const IndexDef& index) {
  std::string sql;
  if (index.Primary) {
    sql = "ALTER TABLE " + table + " ADD PRIMARY KEY ";
  } else {
    sql = index.Unique ? "CREATE UNIQUE INDEX " : "CREATE INDEX ";
    AppendName(index.Name, session.facts().dialect, sql);
    sql += " ON " + table + " ";
  }
  AppendColumns(session, index, sql);
  return sql;
}

std::vector<std::string> CreateStatements(const Session& session, const TableDef& table) {
  const Server server = session.facts().server;
  if (server == Server::kOther)
    database::Throw(Code::kNotSupported, database::ErrorNumber::kNotSupported,
                    "the server of '" + session.name() + "' (" + session.facts().dbms_name +
                        ") is not known well enough to make a table there");
  const std::string name = NewTableName(session, table.Name);
  const std::int32_t longest = LongestDeclared(table, server);
  std::string sql = "CREATE TABLE " + name + " (";
  for (std::size_t i = 0; i < table.Fields.size(); ++i) {
    const FieldDef& field = table.Fields[i];
    if (i != 0) sql += ", ";
    AppendName(field.Name, session.facts().dialect, sql);
    sql += ' ';
    sql += field.AutoIncrement ? AutoWords(field, table, server) : TypeOf(field, server, longest);
    if (field.Required) sql += " NOT NULL";
    if (server == Server::kSqlite && field.Type == TypeCode::kCurrency) {
      // What floating point cannot hold to four decimals is refused instead of rounded.
      sql += " CHECK (abs(";
      AppendName(field.Name, session.facts().dialect, sql);
      sql += ")<900719925474)";
    }
  }
  const IndexDef* primary = PrimaryOf(table);
  if (primary != nullptr) {
    sql += ", PRIMARY KEY ";
    AppendColumns(session, *primary, sql);
  }
  sql += server == Server::kMariaDb ? ") ENGINE=InnoDB DEFAULT CHARSET=utf8mb4" : ")";
  std::vector<std::string> statements = {std::move(sql)};
  for (const IndexDef& index : table.Indexes)
    if (&index != primary && !index.Columns.empty())
      statements.push_back(CreateIndexStatement(session, name, index));
  return statements;
}

}  // namespace kelvorin::database::odbc
