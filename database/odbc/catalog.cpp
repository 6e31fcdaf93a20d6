#include "database/odbc/catalog.h"

#include <algorithm>
#include <array>
#include <map>

#include "base/M_STRING.h"

namespace kelvorin::database::odbc {
namespace {

using database::IndexDef;

constexpr const char* kQueryName = "kelvorin_query";
constexpr std::uint32_t kReadOnlyTable = database::kAttrLinkedOdbc;  // a source, never a target

// A table's name as the catalog calls take it; an absent part is a null pointer.
class NameArguments {
 public:
  explicit NameArguments(const TableEntry& table)
      : catalog_(Utf8Name(table.catalog)),
        schema_(Utf8Name(table.schema)),
        name_(Utf8Name(table.name)) {}
  SQLCHAR* catalog() const noexcept { return catalog_.empty() ? nullptr : Chars(catalog_); }
  SQLCHAR* schema() const noexcept { return schema_.empty() ? nullptr : Chars(schema_); }
  SQLCHAR* name() const noexcept { return Chars(name_); }

 private:
  std::string catalog_, schema_, name_;
};

// Tables that SQLite keeps behind a virtual table.
void MarkShadowTables(const Session& session, std::vector<TableEntry>& tables) {
  const auto virtual_tables =
      QueryRows(session.connection(),
                "SELECT name FROM sqlite_master WHERE type='table' AND sql LIKE 'CREATE VIRTUAL %'",
                "cannot list the virtual tables");
  for (const auto& row : virtual_tables)
    for (const char* suffix : {"_data", "_idx", "_content", "_docsize", "_config"})
      for (TableEntry& table : tables)
        if (table.name == row.front() + suffix) table.attributes = database::kAttrSystemObject;
}

std::uint32_t AttributesOf(const Session& session, const TableEntry& table) {
  if (table.type == "MATVIEW" || table.type == "MATERIALIZED VIEW") return kReadOnlyTable;
  if (table.type.starts_with("SYSTEM")) return database::kAttrSystemObject;
  if (session.facts().server == Server::kSqlite &&
      base::StartsWithIgnoreCase(table.name, "sqlite_"))
    return database::kAttrSystemObject;
  return 0;
}

// Names of PostgreSQL indexes whose key is an expression or that hold only a part of the rows.
std::vector<std::string> UnusableIndexes(const Session& session, const TableEntry& table) {
  std::vector<std::string> names;
  if (session.facts().server != Server::kPostgres) return names;
  const auto rows =
      QueryRows(session.connection(),
                "SELECT c.relname FROM pg_index i JOIN pg_class c ON c.oid = i.indexrelid WHERE "
                "i.indrelid = " +
                    Literal(session, SqlName(session, table)) +
                    "::regclass AND (i.indpred IS NOT NULL OR i.indexprs IS NOT NULL)",
                "cannot read the indexes of table '" + table.shown + "'");
  for (const auto& row : rows) names.push_back(row.front());
  return names;
}

struct IndexPart {
  std::int64_t place;
  std::string column;
  bool descending;
};
struct FoundIndex {
  std::string name;
  bool unique;
  std::vector<IndexPart> parts;
};

// SQLite's driver takes a "%" at the beginning of a name for no name at all.
std::vector<FoundIndex> SqliteIndexes(const Session& session, const TableEntry& table,
                                      std::string_view what) {
  std::vector<FoundIndex> found;
  for (const auto& row :
       QueryRows(session.connection(),
                 "SELECT l.name, l.\"unique\", x.name, x.\"desc\" FROM pragma_index_list(" +
                     Literal(session, table.name) +
                     ") l, pragma_index_xinfo(l.name) x WHERE x.key AND NOT l.partial ORDER BY "
                     "l.seq, x.seqno",
                 what)) {
    if (found.empty() || found.back().name != row[0]) found.push_back({row[0], row[1] == "1", {}});
    std::vector<IndexPart>& parts = found.back().parts;
    parts.push_back({static_cast<std::int64_t>(parts.size()), row[2], row[3] == "1"});
  }
  return found;
}

std::vector<FoundIndex> IndexesByDriver(const Session& session, const TableEntry& table,
                                        std::string_view what) {
  Statement statement(session.connection());
  const NameArguments of(table);
  const auto waiting = statement.Waits();
  statement.Check(SQLStatistics(statement.get(), of.catalog(), SQL_NTS, of.schema(), SQL_NTS,
                                of.name(), SQL_NTS, SQL_INDEX_ALL, SQL_QUICK),
                  what);
  std::vector<FoundIndex> found;
  std::string name, non_unique, type, place, column, sign;
  while (statement.Fetch(what)) {
    statement.GetText(4, non_unique, what);
    const bool named = statement.GetText(6, name, what);
    statement.GetText(7, type, what);
    statement.GetText(8, place, what);
    const bool has_column = statement.GetText(9, column, what);
    statement.GetText(10, sign, what);
    if (!named || base::ParseInteger(type) == SQL_TABLE_STAT) continue;
    auto at = std::find_if(found.begin(), found.end(),
                           [&](const FoundIndex& f) { return f.name == name; });
    if (at == found.end())
      at = found.insert(found.end(), {name, base::ParseInteger(non_unique) == 0, {}});
    at->parts.push_back(
        {base::ParseInteger(place), has_column ? column : std::string(), sign == "D"});
  }
  return found;
}

std::vector<IndexDef> ReadIndexes(const Session& session, const TableEntry& table,
                                  const database::TableDef& def) {
  const std::string what = "cannot read the indexes of table '" + table.shown + "'";
  std::vector<FoundIndex> found = session.facts().server == Server::kSqlite
                                      ? SqliteIndexes(session, table, what)
                                      : IndexesByDriver(session, table, what);
  const std::vector<std::string> unusable = UnusableIndexes(session, table);
  std::vector<IndexDef> indexes;
  for (FoundIndex& f : found) {
    if (std::find(unusable.begin(), unusable.end(), f.name) != unusable.end()) continue;
    std::sort(f.parts.begin(), f.parts.end(),
              [](const IndexPart& a, const IndexPart& b) { return a.place < b.place; });
    IndexDef index;
    index.Name = f.name;
    index.Unique = f.unique;
    bool over_fields = true;
    for (IndexPart& part : f.parts) {
      over_fields &= def.FindField(part.column) >= 0;
      index.Columns.push_back({std::move(part.column), part.descending});
    }
    if (over_fields) indexes.push_back(std::move(index));
  }
  return indexes;
}

// The primary key's columns by the driver's numbering, which on MariaDB is the place in the table
// and not the place in the key.
std::vector<std::string> PrimaryColumns(const Session& session, const TableEntry& table,
                                        std::string& key_name) {
  const std::string what = "cannot read the primary key of table '" + table.shown + "'";
  if (session.facts().server == Server::kSqlite) {
    std::vector<std::string> columns;
    key_name = "sqlite_autoindex_0";  // the driver's word, which settings hold
    for (auto& row : QueryRows(session.connection(),
                               "SELECT name FROM pragma_table_xinfo(" +
                                   Literal(session, table.name) + ") WHERE pk>0 ORDER BY pk",
                               what))
      columns.push_back(std::move(row.front()));
    return columns;
  }
  Statement statement(session.connection());
  const NameArguments of(table);
  const auto waiting = statement.Waits();
  const SQLRETURN result = SQLPrimaryKeys(statement.get(), of.catalog(), SQL_NTS, of.schema(),
                                          SQL_NTS, of.name(), SQL_NTS);
  std::vector<std::string> columns;
  if (!Succeeded(result)) return columns;  // a driver without this call has told all there is
  std::map<std::int64_t, std::string> by_place;
  std::string column, place;
  while (statement.Fetch(what)) {
    statement.GetText(4, column, what);
    statement.GetText(5, place, what);
    statement.GetText(6, key_name, what);
    by_place[base::ParseInteger(place)] = column;
  }
  for (auto& [at, name] : by_place) columns.push_back(std::move(name));
  return columns;
}

// SQLite's driver tells a name only from its last "." on, a type's word without its length, and a
// length where none was declared. The columns of a query for all stand in the order of the table's.
void TakeDeclaration(const Session& session, const TableEntry& table,
                     std::vector<ColumnFacts>& columns) {
  const auto rows = QueryRows(session.connection(),
                              "SELECT name, type FROM pragma_table_xinfo(" +
                                  Literal(session, table.name) + ") WHERE hidden<>1 ORDER BY cid",
                              "cannot read the fields of table '" + table.shown + "'");
  if (rows.size() != columns.size())
    database::Throw(Code::kCorrupt, database::ErrorNumber::kOdbcCallFailed,
                    "table '" + table.shown + "' has " + std::to_string(rows.size()) +
                        " fields by its definition and " + std::to_string(columns.size()) +
                        " in a query");
  for (std::size_t i = 0; i < columns.size(); ++i) {
    columns[i].name = rows[i][0];
    columns[i].type_name = rows[i][1];
  }
}

// PostgreSQL's driver calls most types texts or unknown.
void TakeCatalogTypes(const Session& session, const TableEntry& table,
                      std::vector<ColumnFacts>& columns) {
  const std::vector<CatalogType> types = CatalogTypes(session, table);
  if (types.size() != columns.size()) return;  // the driver's own words must do
  for (std::size_t i = 0; i < columns.size(); ++i) {
    ColumnFacts& column = columns[i];
    column.type_name = types[i].name;
    const bool is_text = types[i].category == "S";
    column.refuses_empty = !is_text && column.type_name != "varbit" &&
                           column.type_name != "tsvector" && column.type_name != "xml";
    column.unlimited = column.type_name == "numeric" && types[i].modifier < 0;
    const bool described_as_text = column.sql_type == SQL_CHAR || column.sql_type == SQL_VARCHAR ||
                                   column.sql_type == SQL_WCHAR ||
                                   column.sql_type == SQL_WVARCHAR || column.sql_type == SQL_BIT;
    // A time of day with a zone is none of the engine's times; nobody knows how long others get.
    if (column.type_name == "timetz" ||
        (described_as_text && !is_text && column.type_name != "bool"))
      column.sql_type = SQL_LONGVARCHAR;
  }
}

// PostgreSQL's driver tells nothing of a query's columns that the catalog would; a row of Nulls
// has their types.
void TakeQueryTypes(const Session& session, const TableEntry& table,
                    std::vector<ColumnFacts>& columns) {
  const std::vector<std::string> types = QueryTypes(session, table, columns.size());
  for (std::size_t i = 0; i < columns.size(); ++i) {
    ColumnFacts& column = columns[i];
    column.type_name = types[i];
    column.unlimited = types[i] == "numeric";
    const bool is_text = types[i] == "text" || types[i] == "character varying" ||
                         types[i] == "character" || types[i] == "name";
    const bool described_as_text = column.sql_type == SQL_CHAR || column.sql_type == SQL_VARCHAR ||
                                   column.sql_type == SQL_WCHAR ||
                                   column.sql_type == SQL_WVARCHAR || column.sql_type == SQL_BIT;
    if (types[i] == "time with time zone" ||
        (described_as_text && !is_text && types[i] != "boolean"))
      column.sql_type = SQL_LONGVARCHAR;
  }
}

constexpr SQLULEN kLongestWords = 255;

// MariaDB's driver calls these texts; but for sets of words none of them may be empty. Its json is
// a text with a check. A truth value is a number declared with one digit, and several bits are
// bytes to the driver.
void TakeStrictTypes(const Session& session, const TableEntry& table,
                     std::vector<ColumnFacts>& columns) {
  const auto rows = QueryRows(
      session.connection(),
      "SELECT c.COLUMN_NAME, c.COLUMN_TYPE, c.NUMERIC_PRECISION FROM information_schema.COLUMNS c "
      "WHERE c.TABLE_SCHEMA=" +
          Literal(session, session.facts().current_catalog) +
          " AND c.TABLE_NAME=" + Literal(session, table.name) +
          " AND (c.DATA_TYPE IN ('uuid','inet4','inet6','enum','set','bit') OR c.COLUMN_TYPE LIKE "
          "'tinyint(1)%' OR EXISTS (SELECT 1 FROM "
          "information_schema.CHECK_CONSTRAINTS k WHERE k.CONSTRAINT_SCHEMA=c.TABLE_SCHEMA AND "
          "k.TABLE_NAME=c.TABLE_NAME AND "
          "k.CHECK_CLAUSE=CONCAT('json_valid(`',c.COLUMN_NAME,'`)')))",
      "cannot read the fields of table '" + table.shown + "'");
  for (const auto& row : rows)
    for (ColumnFacts& column : columns) {
      if (column.name != row.front()) continue;
      column.takes_truth = row[1].starts_with("tinyint");
      const std::int64_t bits = row[1].starts_with("bit") ? base::ParseInteger(row[2]) : 0;
      const bool set = row[1].starts_with("set");
      column.refuses_empty = !column.takes_truth && bits == 0 && !set;
      // A word that is cut may be another word of the list.
      if (set || row[1].starts_with("enum")) column.size = kLongestWords;
      if (bits <= 1) continue;
      column.sql_type = SQL_BIGINT;
      column.is_unsigned = bits > 63;
    }
}

bool SameColumns(const IndexDef& index, const std::vector<std::string>& columns) {
  return index.Columns.size() == columns.size() &&
         std::all_of(columns.begin(), columns.end(), [&](const std::string& column) {
           return std::any_of(index.Columns.begin(), index.Columns.end(),
                              [&](const auto& part) { return part.Name == column; });
         });
}

void MarkPrimary(const Session& session, const TableEntry& table, std::vector<IndexDef>& indexes) {
  std::string key_name;
  const std::vector<std::string> columns = PrimaryColumns(session, table, key_name);
  if (columns.empty()) return;
  auto at = std::find_if(indexes.begin(), indexes.end(), [&](const IndexDef& index) {
    return !key_name.empty() && index.Name == key_name;
  });
  if (at == indexes.end())
    at = std::find_if(indexes.begin(), indexes.end(), [&](const IndexDef& index) {
      return index.Unique && SameColumns(index, columns);
    });
  if (at == indexes.end()) {  // SQLite keeps no index for a whole-number key
    at = indexes.insert(indexes.begin(), IndexDef{});
    at->Name = key_name.empty() ? "PrimaryKey" : key_name;
    for (const std::string& column : columns) at->Columns.push_back({column, false});
  }
  at->Primary = at->Unique = at->Required = true;
  std::rotate(indexes.begin(), at, at + 1);
}

bool IsQuery(std::string_view text) {
  text = base::Trim(text, " \t\r\n");
  for (const std::string_view word : {"SELECT", "WITH", "VALUES", "TABLE"})
    if (text.size() > word.size() && base::StartsWithIgnoreCase(text, word) &&
        std::string_view(" \t\r\n(*").find(text[word.size()]) != std::string_view::npos)
      return true;
  return false;
}

// A query is read inside parentheses on a connection that cannot write. What would close them, or
// begin a further statement, is refused before the server sees it.
TableEntry QueryEntry(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n;";
  while (!text.empty() && kBlanks.find(text.back()) != std::string_view::npos)
    text.remove_suffix(1);
  const auto refuse = [&](const char* why) {
    database::Throw(Code::kInvalidArgument, database::ErrorNumber::kInvalidArgument,
                    "the query '" + std::string(text) + "' " + why);
  };
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\0') refuse("holds a character of code 0");
    if (c == '\'' || c == '"' || c == '`') {
      i = text.find(c, i + 1);
      if (i == std::string_view::npos) refuse("has a quote that is not closed");
    } else if (text.substr(i, 2) == "--") {
      i = std::min(text.find('\n', i), text.size());
    } else if (c == ';') {
      refuse("holds more than one statement");
    } else if (c == '(' || c == ')') {
      depth += c == '(' ? 1 : -1;
      if (depth < 0) refuse("closes a parenthesis that it did not open");
    }
  }
  if (depth != 0) refuse("leaves a parenthesis open");
  TableEntry entry;
  entry.name = entry.shown = entry.query = text;
  entry.type = "QUERY";
  return entry;
}

void RequireNames(const std::vector<ColumnFacts>& columns) {
  for (std::size_t i = 0; i < columns.size(); ++i)
    for (std::size_t other = 0; other < i; ++other)
      if (base::EqualIgnoreCase(columns[i].name, columns[other].name))
        database::Throw(Code::kInvalidArgument, database::ErrorNumber::kInvalidArgument,
                        "two columns of the query are called '" + columns[i].name +
                            "': give them names of their own (AS name)");
}

}  // namespace

std::vector<TableEntry> ListTables(const Session& session) {
  const std::string what = "cannot list the tables of '" + session.name() + "'";
  const ServerFacts& facts = session.facts();
  const bool own_catalog = facts.server == Server::kMariaDb;  // else every database comes back
  Statement statement(session.connection());
  const auto waiting = statement.Waits();
  statement.Check(SQLTables(statement.get(), own_catalog ? Chars(facts.current_catalog) : nullptr,
                            SQL_NTS, nullptr, 0, nullptr, 0, nullptr, 0),
                  what);
  std::vector<TableEntry> tables;
  while (statement.Fetch(what)) {
    TableEntry table;
    statement.GetText(1, table.catalog, what);
    statement.GetText(2, table.schema, what);
    statement.GetText(3, table.name, what);
    statement.GetText(4, table.type, what);
    if (table.type == "SEQUENCE" || table.type == "INDEX") continue;
    const bool elsewhere = !table.schema.empty() && !facts.default_schema.empty() &&
                           table.schema != facts.default_schema;
    table.shown = elsewhere ? table.schema + "." + table.name : table.name;
    table.attributes = AttributesOf(session, table);
    tables.push_back(std::move(table));
  }
  if (facts.server == Server::kSqlite) {
    statement.CloseCursor();
    MarkShadowTables(session, tables);
  }
  return tables;
}

TableEntry ResolveTable(const Session& session, std::string_view name) {
  const std::vector<TableEntry> tables = ListTables(session);
  const TableEntry* found = nullptr;
  const auto pick = [&](auto&& matches) {
    if (found != nullptr) return;
    for (const TableEntry& table : tables) {
      if (!matches(table)) continue;
      if (found != nullptr)
        database::Throw(Code::kInvalidArgument, database::ErrorNumber::kInvalidArgument,
                        "'" + std::string(name) + "' may be the table '" + found->shown + "' or '" +
                            table.shown + "' of the data source '" + session.name() +
                            "': spell it as it is there");
      found = &table;
    }
  };
  pick([&](const TableEntry& table) { return table.shown == name; });
  pick([&](const TableEntry& table) { return base::EqualIgnoreCase(table.shown, name); });
  pick([&](const TableEntry& table) {
    return base::EqualIgnoreCase(table.schema + "." + table.name, name) ||
           base::EqualIgnoreCase(table.catalog + "." + table.name, name);
  });
  if (found == nullptr && IsQuery(name)) return QueryEntry(name);
  if (found == nullptr)
    database::Throw(
        Code::kNotFound, database::ErrorNumber::kTableNotFound,
        "the data source '" + session.name() + "' has no table '" + std::string(name) + "'");
  return *found;
}

std::string SqlName(const Session& session, const TableEntry& table) {
  if (!table.query.empty()) return "(" + table.query + "\n) AS " + kQueryName;
  const SqlDialect& dialect = session.facts().dialect;
  std::string sql;
  if (table.shown != table.name) {
    AppendName(table.schema, dialect, sql);
    sql += '.';
  }
  AppendName(table.name, dialect, sql);
  return sql;
}

std::string ColumnPrefix(const Session& session, const TableEntry& table) {
  if (session.facts().server != Server::kSqlite) return {};
  return (table.query.empty() ? SqlName(session, table) : kQueryName) + ".";
}

std::string Literal(const Session& session, std::string_view text) {
  std::string sql;
  const Status status = AppendTextLiteral(text, session.facts().dialect, sql);
  if (!status.ok()) throw Error(status);
  return sql;
}

std::vector<CatalogType> CatalogTypes(const Session& session, const TableEntry& table) {
  const auto rows = QueryRows(
      session.connection(),
      "SELECT b.typname, b.typcategory, CASE WHEN t.typtype='d' THEN t.typtypmod ELSE a.atttypmod "
      "END FROM pg_attribute a JOIN pg_type t ON t.oid=a.atttypid LEFT JOIN pg_type d ON "
      "d.oid=t.typbasetype JOIN pg_type b ON b.oid=CASE WHEN t.typtype<>'d' THEN t.oid WHEN "
      "d.typtype<>'d' THEN d.oid ELSE d.typbasetype END WHERE a.attrelid=" +
          Literal(session, SqlName(session, table)) +
          "::regclass AND a.attnum>0 AND NOT a.attisdropped ORDER BY a.attnum",
      "cannot read the fields of table '" + table.shown + "'");
  std::vector<CatalogType> types;
  types.reserve(rows.size());
  for (const auto& row : rows) types.push_back({row[0], row[1], base::ParseInteger(row[2])});
  return types;
}

std::vector<std::string> QueryTypes(const Session& session, const TableEntry& query,
                                    std::size_t columns) {
  std::string sql = "SELECT ";
  std::string names;
  for (std::size_t i = 0; i < columns; ++i) {
    const std::string name = "c" + base::ToDecimal(static_cast<std::int64_t>(i));
    sql += (i == 0 ? "pg_typeof(" : ",pg_typeof(") + name + ")::text";
    names += (i == 0 ? "" : ",") + name;
  }
  const auto rows = QueryRows(session.connection(),
                              sql + " FROM (SELECT 1) AS one LEFT JOIN (SELECT * FROM " +
                                  SqlName(session, query) + " LIMIT 0) AS q(" + names + ") ON true",
                              "cannot read the fields of the query");
  return rows.front();
}

std::vector<ColumnFacts> DescribeColumns(const Statement& statement, std::string_view what) {
  SQLSMALLINT count = 0;
  statement.Check(SQLNumResultCols(statement.get(), &count), what);
  std::vector<ColumnFacts> columns;
  for (SQLUSMALLINT i = 1; i <= static_cast<SQLUSMALLINT>(count); ++i) {
    std::array<char, 512> name{};
    SQLSMALLINT name_size = 0, type = 0, scale = 0, nullable = SQL_NULLABLE_UNKNOWN;
    SQLULEN size = 0;
    statement.Check(SQLDescribeCol(statement.get(), i, reinterpret_cast<SQLCHAR*>(name.data()),
                                   static_cast<SQLSMALLINT>(name.size()), &name_size, &type, &size,
                                   &scale, &nullable),
                    what);
    const auto number = [&](SQLUSMALLINT attribute) {
      SQLLEN value = SQL_FALSE;
      const SQLRETURN got =
          SQLColAttribute(statement.get(), i, attribute, nullptr, 0, nullptr, &value);
      return Succeeded(got) && value == SQL_TRUE;
    };
    ColumnFacts column;
    AppendAnsiText(std::string_view(name.data()), column.name);
    column.sql_type = type;
    column.size = size;
    column.scale = scale;
    column.refuses_null = nullable == SQL_NO_NULLS;
    const bool whole_number = type == SQL_TINYINT || type == SQL_SMALLINT || type == SQL_INTEGER ||
                              type == SQL_BIGINT;  // elsewhere drivers call everything unsigned
    column.is_unsigned = whole_number && number(SQL_DESC_UNSIGNED);
    column.is_auto = number(SQL_DESC_AUTO_UNIQUE_VALUE);
    std::array<char, 256> type_name{};
    SQLSMALLINT type_name_size = 0;
    if (Succeeded(SQLColAttribute(statement.get(), i, SQL_DESC_TYPE_NAME, type_name.data(),
                                  static_cast<SQLSMALLINT>(type_name.size()), &type_name_size,
                                  nullptr)))
      column.type_name = std::string(type_name.data());
    columns.push_back(std::move(column));
  }
  return columns;
}

std::string IdentityOf(Session& session, const TableEntry& table) {
  if (!table.query.empty()) return {};
  std::string database = session.Identity();
  if (database.empty()) return {};
  if (session.facts().server == Server::kPostgres) {
    const auto rows = QueryRows(
        session.connection(),
        "SELECT " + Literal(session, SqlName(session, table)) + "::regclass::oid", "no identity");
    return database + "/" + rows.front().front();
  }
  const bool any_case = session.facts().server == Server::kSqlite;
  return database + "/" + (any_case ? base::LowerAscii(table.name) : table.name);
}

database::TableDef DescribeTable(const Session& session, const TableEntry& table) {
  const std::string what = "cannot read the fields of " +
                           std::string(table.query.empty() ? "table" : "the query") + " '" +
                           table.shown + "'";
  database::TableDef def;
  def.Name = table.shown;
  def.Attributes = table.attributes;
  Statement statement(session.connection());
  statement.Execute("SELECT * FROM " + SqlName(session, table) + " WHERE 1=0", what);
  std::vector<ColumnFacts> columns = DescribeColumns(statement, what);
  statement.CloseCursor();
  if (!table.query.empty()) {
    if (session.facts().server == Server::kPostgres) TakeQueryTypes(session, table, columns);
    RequireNames(columns);
    for (const ColumnFacts& column : columns)
      def.Fields.push_back(FieldOf(column, session.facts().server));
    def.Updatable = false;
    def.WhyReadOnly = "it is a query";
    return def;
  }
  if (session.facts().server == Server::kSqlite) TakeDeclaration(session, table, columns);
  if (session.facts().server == Server::kPostgres) TakeCatalogTypes(session, table, columns);
  if (session.facts().server == Server::kMariaDb) TakeStrictTypes(session, table, columns);
  for (const ColumnFacts& column : columns)
    def.Fields.push_back(FieldOf(column, session.facts().server));
  def.Indexes = ReadIndexes(session, table, def);
  MarkPrimary(session, table, def.Indexes);
  if (table.attributes == kReadOnlyTable) {
    def.Updatable = false;
    def.WhyReadOnly = "the server keeps '" + table.shown + "' by itself";
  }
  return def;
}

}  // namespace kelvorin::database::odbc
