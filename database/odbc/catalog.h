#pragma once
// What a data source says about its tables: names, fields, indexes, in the engine's terms. Included
// by .cpp files of this room only; asks the server anew on every call and keeps nothing.

#include <string>
#include <string_view>
#include <vector>

#include "database/odbc/session.h"
#include "database/table_def.h"

namespace kelvorin::database::odbc {

/// A table with all parts of its name as the server spells them.
struct TableEntry {
  std::string catalog;
  std::string schema;
  std::string name;
  std::string shown;  // the bare name in the default schema, else "schema.name"
  std::string type;   // the driver's word, "VIEW"
  std::uint32_t attributes = 0;
  std::string query;  // what is read instead of a table, as it stands in parentheses; else empty
};

/// All tables in the driver's order; sequences are left out.
std::vector<TableEntry> ListTables(const Session& session);
/// The table that a name means: spelled exactly so, else without regard to case, else the two parts
/// around a "." as schema and table. A name of no table that begins as a query does means what the
/// query gives. Throws kNotFound naming table and data source, kInvalidArgument for a name that
/// several tables share but for the case of letters and for a query of several statements.
TableEntry ResolveTable(const Session& session, std::string_view name);
/// The table or query as it stands behind FROM, in the server's quotes.
std::string SqlName(const Session& session, const TableEntry& table);
/// What stands before a column's name where a value may stand: SQLite takes a quoted name that it
/// does not know for a text, unless the table's name is before it.
std::string ColumnPrefix(const Session& session, const TableEntry& table);

/// Columns of a query's result; `statement` holds the result.
std::vector<ColumnFacts> DescribeColumns(const Statement& statement, std::string_view what);
/// Fields and indexes. Indexes over expressions or over a part of the rows are left out, since
/// their key cannot be looked up.
database::TableDef DescribeTable(const Session& session, const TableEntry& table);

/// The same text for the same table, whatever connection leads to it; empty where the server does
/// not tell.
std::string IdentityOf(Session& session, const TableEntry& table);

/// PostgreSQL: what the catalog says of each column in the table's order. A domain is told as what
/// it is made of.
struct CatalogType {
  std::string name;           // "int4"
  std::string category;       // "S" for texts
  std::int64_t modifier = 0;  // length or digits in the server's form, negative for none
};
std::vector<CatalogType> CatalogTypes(const Session& session, const TableEntry& table);

/// PostgreSQL: the types of a query's columns, as "timestamp with time zone".
std::vector<std::string> QueryTypes(const Session& session, const TableEntry& query,
                                    std::size_t columns);

/// Text as a quoted literal for the room's own questions.
std::string Literal(const Session& session, std::string_view text);

}  // namespace kelvorin::database::odbc
