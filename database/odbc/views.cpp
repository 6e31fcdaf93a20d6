#include "database/odbc/views.h"

#include <set>

#include "base/M_STRING.h"

namespace kelvorin::database::odbc {
namespace {

constexpr std::string_view kWhat = "cannot tell what a view reads";

// The plan opens the b-trees of every table and index that it reads.
bool SqliteReads(Session& session, const TableEntry& view, const TableEntry& table) {
  std::set<std::string> roots;
  const std::string sql =
      "SELECT rootpage FROM sqlite_master WHERE tbl_name=" + Literal(session, table.name) +
      " COLLATE NOCASE";
  for (const auto& row : QueryRows(session.connection(), sql, kWhat)) roots.insert(row.front());
  constexpr std::size_t kOpcode = 1, kRoot = 3, kDatabase = 4;
  for (const auto& step :
       QueryRows(session.connection(), "EXPLAIN SELECT * FROM " + SqlName(session, view), kWhat))
    if (step[kOpcode] == "OpenRead" && step[kDatabase] == "0" && roots.contains(step[kRoot]))
      return true;
  return false;
}

// A materialized view has its own rows, so what stands behind one is not looked at.
bool PostgresReads(Session& session, const TableEntry& view, const TableEntry& table) {
  const auto oid = [&](const TableEntry& entry) {
    return Literal(session, SqlName(session, entry)) + "::regclass::oid";
  };
  return !QueryRows(session.connection(),
                    "WITH RECURSIVE part(id) AS (SELECT " + oid(view) +
                        " UNION SELECT d.refobjid FROM part JOIN pg_class c ON c.oid=part.id AND "
                        "c.relkind='v' JOIN pg_rewrite r ON r.ev_class=c.oid JOIN pg_depend d ON "
                        "d.classid='pg_rewrite'::regclass AND d.objid=r.oid AND "
                        "d.refclassid='pg_class'::regclass) SELECT 1 FROM part WHERE id=" +
                        oid(table),
                    kWhat)
              .empty();
}

// The server keeps a view's text with every table's name in full and in quotes.
bool MariaDbReads(Session& session, const TableEntry& view, const TableEntry& table) {
  const auto quoted = [](std::string_view name) {
    std::string text = "`";
    for (const char c : name) text.append(c == '`' ? 2 : 1, c);
    return text + "`";
  };
  const auto views = QueryRows(
      session.connection(),
      "SELECT TABLE_SCHEMA, TABLE_NAME, VIEW_DEFINITION FROM information_schema.VIEWS", kWhat);
  const std::string home =
      QueryRows(session.connection(), "SELECT DATABASE()", kWhat).front().front();
  const auto full = [&](const TableEntry& entry) {
    return quoted(entry.catalog.empty() ? home : entry.catalog) + "." + quoted(entry.name);
  };
  std::set<std::string> seen{full(view)};
  const std::string wanted = full(table);
  for (bool more = true; more;) {
    more = false;
    for (const auto& row : views) {
      if (!seen.contains(quoted(row[0]) + "." + quoted(row[1]))) continue;
      if (row[2].find(wanted) != std::string::npos) return true;
      for (const auto& other : views) {
        const std::string name = quoted(other[0]) + "." + quoted(other[1]);
        if (row[2].find(name) != std::string::npos) more = seen.insert(name).second || more;
      }
    }
  }
  return false;
}

}  // namespace

bool ReadsFrom(Session& session, const TableEntry& view, const TableEntry& table) {
  if (view.type != "VIEW") return false;
  try {
    switch (session.facts().server) {
      case Server::kSqlite:
        return SqliteReads(session, view, table);
      case Server::kPostgres:
        return PostgresReads(session, view, table);
      case Server::kMariaDb:
        return MariaDbReads(session, view, table);
      case Server::kOther:
        break;
    }
  } catch (const Error&) {
    // a server that does not tell
  }
  return false;
}

}  // namespace kelvorin::database::odbc
