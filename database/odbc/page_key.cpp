#include "database/odbc/page_key.h"

#include <algorithm>
#include <optional>

#include "base/M_STRING.h"

namespace kelvorin::database::odbc {
namespace {

constexpr std::size_t kNumberBytes = 80;  // of a number, a time, a UUID

using Row = std::vector<std::string>;  // of the catalog: index, column, type, character set, bytes

bool OneOf(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// Texts travel as the bytes that the server stores, so that it compares them as it sorts them,
// whatever the collation and the connection's character set.
std::optional<PageKey::Part> MariaDbPart(const Session& session, const Row& row) {
  const std::string& type = row[2];
  PageKey::Part part;
  AppendName(row[1], session.facts().dialect, part.name);
  part.cell_bytes = kNumberBytes;
  part.selected = "CAST(" + part.name + " AS CHAR)";
  if (OneOf(type, {"tinyint", "smallint", "mediumint", "int", "bigint", "decimal", "year"}))
    return part;
  if (OneOf(type, {"date", "datetime", "timestamp", "uuid", "inet4", "inet6"})) {
    part.before = part.after = "'";
    return part;
  }
  if (!OneOf(type, {"char", "varchar", "binary", "varbinary"})) return std::nullopt;
  part.selected = "HEX(" + part.name + ")";
  part.before = (row[3].empty() ? "" : "_" + row[3] + " ") + "X'";
  part.after = "'";
  part.cell_bytes = 2 * static_cast<std::size_t>(base::ParseInteger(row[4])) + 1;
  return part;
}

PageKey MariaDbKey(const Session& session, const Connection& connection, const TableEntry& table) {
  const std::string of = ".TABLE_SCHEMA=" + Literal(session, session.facts().current_catalog) +
                         " AND %.TABLE_NAME=" + Literal(session, table.name);
  const auto named = [&](const char* alias) { return alias + base::Replace(of, "%", alias); };
  const auto rows = QueryRows(
      connection,
      "SELECT s.INDEX_NAME, s.COLUMN_NAME, c.DATA_TYPE, c.CHARACTER_SET_NAME, "
      "c.CHARACTER_OCTET_LENGTH, s.SUB_PART IS NULL AND c.IS_NULLABLE='NO' AND "
      "s.INDEX_TYPE='BTREE' FROM information_schema.STATISTICS s JOIN information_schema.COLUMNS c "
      "ON c.COLUMN_NAME=s.COLUMN_NAME JOIN information_schema.TABLES t ON t.ENGINE='InnoDB' WHERE "
      "s.NON_UNIQUE=0 AND " +
          named("s") + " AND " + named("c") + " AND " + named("t") +
          " ORDER BY s.INDEX_NAME<>'PRIMARY', s.INDEX_NAME, s.SEQ_IN_INDEX",
      "cannot read the keys of table '" + table.shown + "'");
  for (auto at = rows.begin(); at != rows.end();) {
    const auto end =
        std::find_if(at, rows.end(), [&](const Row& row) { return row[0] != (*at)[0]; });
    PageKey key;
    if ((*at)[0] == "PRIMARY") key.hint = " FORCE INDEX (PRIMARY)";
    bool usable = true;
    for (; at != end; ++at) {
      std::optional<PageKey::Part> part = MariaDbPart(session, *at);
      usable &= part && (*at)[5] == "1";
      if (part) key.parts.push_back(*std::move(part));
    }
    if (usable) return key;
  }
  return {};
}

PageKey SqliteKey(const Session& session, const Connection& connection, const TableEntry& table,
                  const std::vector<database::FieldDef>& fields) {
  for (const char* name : {"rowid", "_rowid_", "oid"}) {
    const bool taken = std::any_of(fields.begin(), fields.end(), [&](const auto& field) {
      return base::EqualIgnoreCase(field.Name, name);
    });
    if (taken) continue;
    PageKey key;
    try {
      const auto rows = QueryRows(
          connection, "SELECT max(" + std::string(name) + ") FROM " + SqlName(session, table),
          "cannot read table '" + table.shown + "'");
      const std::string& last = rows.front().front();
      key.bound = std::string(name) + "<=" + (last.empty() ? "0" : last);
      key.parts.push_back({name, name, "", "", 32});
    } catch (const Error&) {
      // a table without row numbers is read by one statement
    }
    return key;
  }
  return {};
}

}  // namespace

std::string PageKey::Selected() const {
  std::string sql;
  for (const Part& part : parts) sql += "," + part.selected;
  return sql;
}

std::string PageKey::PageText(const std::vector<std::string>& last, std::size_t rows) const {
  std::string where = bound;
  if (!last.empty()) {
    if (!where.empty()) where += " AND ";
    // (a>1 OR a=1 AND b>2): servers look that up in an index, unlike a comparison of lists
    std::string same;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const std::string value = parts[i].before + last[i] + parts[i].after;
      where += (i == 0 ? "(" : " OR ") + same + parts[i].name + ">" + value;
      same += parts[i].name + "=" + value + " AND ";
    }
    where += ")";
  }
  std::string sql = where.empty() ? "" : " WHERE " + where;
  for (std::size_t i = 0; i < parts.size(); ++i)
    sql += (i == 0 ? " ORDER BY " : ",") + parts[i].name;
  return sql + " LIMIT " + std::to_string(rows);
}

PageKey FindPageKey(const Session& session, const Connection& connection, const TableEntry& table,
                    const std::vector<database::FieldDef>& fields) {
  if (table.type != "TABLE") return {};
  if (session.facts().server == Server::kSqlite)
    return SqliteKey(session, connection, table, fields);
  if (session.facts().server == Server::kMariaDb) return MariaDbKey(session, connection, table);
  return {};
}

}  // namespace kelvorin::database::odbc
