#include "database/odbc/target_rules.h"

#include <algorithm>

#include "base/M_STRING.h"

namespace kelvorin::database::odbc {
namespace {

using Rows = std::vector<std::vector<std::string>>;

class Questions {
 public:
  Questions(const Session& session, const TableEntry& table)
      : session_(session), what_("cannot read the definition of table '" + table.shown + "'") {}
  Rows Ask(const std::string& sql) const { return QueryRows(session_.connection(), sql, what_); }
  bool Any(const std::string& sql) const { return !Ask(sql).empty(); }
  std::string Quoted(const std::string& text) const { return Literal(session_, text); }

 private:
  const Session& session_;
  std::string what_;
};

bool HasWord(const std::string& sql, std::string_view word) {
  return base::UpperAscii(sql).find(word) != std::string::npos;
}

// SQLite's own rule for what becomes of a text in a column.
bool MakesNumbers(const std::string& declared_type) {
  if (HasWord(declared_type, "INT")) return true;
  for (const char* const word : {"CHAR", "CLOB", "TEXT", "BLOB"})
    if (HasWord(declared_type, word)) return false;
  return !declared_type.empty() && !HasWord(declared_type, "ANY");
}

// A conflict clause can undo the whole transaction or keep what a failing statement did before; so
// can triggers that raise, and tables that triggers write to. With foreign keys on, a child may
// pass in front of its parent, and a trigger may mend what an earlier record of its statement
// broke.
TargetRules SqliteRules(const Session& session, const TableEntry& table,
                        const std::vector<std::string>& fields) {
  const Questions ask(session, table);
  TargetRules rules;
  rules.chunks = table.type == "TABLE";
  bool triggers = false;
  bool looks = false;  // somebody may see a value before it is stored
  for (const auto& row : ask.Ask("SELECT type, sql FROM sqlite_master WHERE tbl_name=" +
                                 ask.Quoted(table.name) + " COLLATE NOCASE")) {
    const std::string& sql = row.back();
    if (row.front() == "table" && (HasWord(sql, "CONFLICT") || HasWord(sql, "CREATE VIRTUAL")))
      rules.chunks = false;
    triggers |= row.front() == "trigger";
    looks |= triggers || HasWord(sql, "CHECK");
  }
  rules.reads_digits.resize(fields.size());
  for (const auto& row :
       ask.Ask("SELECT name, type FROM pragma_table_xinfo(" + ask.Quoted(table.name) +
               ") WHERE NOT EXISTS (SELECT 1 FROM pragma_table_xinfo(" + ask.Quoted(table.name) +
               ") WHERE hidden>1)"))  // no generated columns
    for (std::size_t i = 0; i < fields.size(); ++i)
      if (fields[i] == row.front()) rules.reads_digits[i] = !looks && MakesNumbers(row.back());
  if (triggers)
    rules.chunks &= !ask.Any(
        "SELECT 1 FROM sqlite_master WHERE (type='trigger' AND (sql LIKE '%ROLLBACK%' OR sql LIKE "
        "'%FAIL%')) OR (type='table' AND sql LIKE '%CONFLICT%') LIMIT 1");
  if (!rules.chunks || ask.Ask("PRAGMA foreign_keys") != Rows{{"1"}}) return rules;
  rules.chunks = !triggers &&
                 !ask.Any("SELECT 1 FROM pragma_foreign_key_list(" + ask.Quoted(table.name) +
                          ") WHERE lower(\"table\")=lower(" + ask.Quoted(table.name) + ") LIMIT 1");
  return rules;
}

// Partitions and children have triggers and rules of their own, so the whole tree is asked.
TargetRules PostgresRules(const Session& session, const TableEntry& table,
                          const std::vector<std::string>& fields) {
  const Questions ask(session, table);
  const std::string oid = ask.Quoted(SqlName(session, table)) + "::regclass";
  const std::string tree =
      "WITH RECURSIVE tree(oid) AS (SELECT " + oid +
      "::oid UNION SELECT i.inhrelid FROM pg_inherits i JOIN tree t ON i.inhparent = t.oid) ";
  TargetRules rules;
  const bool other_kind = ask.Any(tree +
                                  "SELECT 1 FROM pg_class c JOIN tree t ON c.oid = t.oid "
                                  "WHERE c.relkind NOT IN ('r','p','f') LIMIT 1");
  // A trigger before each row sees the rows before it in a chunk too, as long as its function may
  // look; every other trigger runs at the statement's end. Bits of tgtype: 1 row, 2 before, 4
  // insert.
  const bool triggers = ask.Any(
      tree +
      "SELECT 1 FROM pg_trigger g JOIN tree t ON g.tgrelid = t.oid JOIN pg_proc p ON p.oid = "
      "g.tgfoid WHERE NOT g.tgisinternal AND g.tgtype & 4 <> 0 AND (g.tgtype & 3 <> 3 OR "
      "p.provolatile <> 'v') LIMIT 1");
  const bool rewritten =
      ask.Any(tree + "SELECT 1 FROM pg_rewrite r JOIN tree t ON r.ev_class = t.oid LIMIT 1");
  const bool own_parent = ask.Any(
      tree +
      "SELECT 1 FROM pg_constraint c JOIN tree t ON c.conrelid = t.oid WHERE c.contype = 'f' "
      "AND c.confrelid IN (SELECT oid FROM tree) LIMIT 1");
  // What is checked at the statement's end only, a trigger at a later record may have mended.
  const bool mends = ask.Any(
      tree +
      "SELECT 1 FROM pg_trigger g JOIN tree t ON g.tgrelid = t.oid WHERE NOT g.tgisinternal AND "
      "g.tgtype & 4 <> 0 AND EXISTS (SELECT 1 FROM pg_constraint c JOIN tree u ON c.conrelid = "
      "u.oid WHERE c.contype = 'f' OR c.condeferrable) LIMIT 1");
  // What a check, a default or a domain calls may look at the table, unless it promises not to; a
  // row policy may look by itself.
  const bool looks = ask.Any(
      tree +
      ", types(oid) AS (SELECT a.atttypid FROM pg_attribute a JOIN tree t ON a.attrelid = t.oid "
      "UNION SELECT part.oid FROM types JOIN pg_type p ON p.oid = types.oid, LATERAL (SELECT "
      "p.typbasetype AS oid UNION SELECT p.typelem UNION SELECT a.atttypid FROM pg_attribute a "
      "WHERE a.attrelid = p.typrelid) part WHERE part.oid <> 0), called(classid, objid) AS (SELECT "
      "'pg_constraint'::regclass::oid, c.oid FROM pg_constraint c WHERE c.conrelid IN (SELECT oid "
      "FROM tree) OR c.contypid IN (SELECT oid FROM types) UNION ALL SELECT "
      "'pg_attrdef'::regclass::oid, f.oid FROM pg_attrdef f JOIN tree t ON f.adrelid = t.oid) "
      "SELECT 1 FROM called JOIN pg_depend d ON d.classid = called.classid AND d.objid = "
      "called.objid LEFT JOIN pg_operator o ON d.refclassid = 'pg_operator'::regclass AND o.oid = "
      "d.refobjid JOIN pg_proc p ON p.oid = CASE WHEN d.refclassid = 'pg_proc'::regclass THEN "
      "d.refobjid ELSE o.oprcode::oid END WHERE p.provolatile <> 'i' AND p.pronamespace <> "
      "'pg_catalog'::regnamespace LIMIT 1");
  const bool policies = ask.Any(tree + "SELECT 1 FROM tree WHERE row_security_active(oid) LIMIT 1");
  rules.chunks =
      !other_kind && !triggers && !rewritten && !own_parent && !mends && !looks && !policies;
  if (!rules.chunks) return rules;

  const Rows columns = ask.Ask(
      "SELECT a.attname, format_type(a.atttypid, -1), p.typtype, p.typcategory, p.typarray FROM "
      "pg_attribute a JOIN pg_type p ON p.oid = a.atttypid WHERE a.attrelid = " +
      oid + " AND a.attnum > 0 AND NOT a.attisdropped");
  for (const std::string& field : fields) {
    const auto at = std::find_if(columns.begin(), columns.end(),
                                 [&](const auto& row) { return row[0] == field; });
    // An array would be taken apart with its neighbours; domains keep their checks in the table.
    const bool plain = at != columns.end() && (*at)[2] != "d" && (*at)[3] != "A" && (*at)[4] != "0";
    if (!plain) return TargetRules{true, false, {}, {}};
    rules.element_types.push_back((*at)[1]);
  }
  return rules;
}

TargetRules MariaDbRules(const Session& session, const TableEntry& table,
                         const std::vector<std::string>& fields) {
  const Questions ask(session, table);
  const std::string of_table = " TABLE_SCHEMA=" + ask.Quoted(session.facts().current_catalog) +
                               " AND TABLE_NAME=" + ask.Quoted(table.name);
  TargetRules rules;
  const Rows engine = ask.Ask(
      "SELECT e.TRANSACTIONS, e.SAVEPOINTS, t.ENGINE FROM information_schema.TABLES t JOIN "
      "information_schema.ENGINES e ON e.ENGINE=t.ENGINE WHERE t.TABLE_SCHEMA=" +
      ask.Quoted(session.facts().current_catalog) + " AND t.TABLE_NAME=" + ask.Quoted(table.name));
  const bool transactions = !engine.empty() && engine.front()[0] == "YES";
  const bool triggers = ask.Any(
      "SELECT 1 FROM information_schema.TRIGGERS WHERE EVENT_MANIPULATION='INSERT' AND "
      "EVENT_OBJECT_SCHEMA=" +
      ask.Quoted(session.facts().current_catalog) +
      " AND EVENT_OBJECT_TABLE=" + ask.Quoted(table.name) + " LIMIT 1");
  rules.chunks = transactions && !triggers;
  if (!rules.chunks || engine.front()[2] != "InnoDB") return rules;
  // These take a number and the same number as text for different values.
  rules.bound_arrays = true;
  for (const auto& row :
       ask.Ask("SELECT COLUMN_NAME, DATA_TYPE FROM information_schema.COLUMNS WHERE" + of_table))
    if ((row[1] == "bit" || row[1] == "year" || row[1] == "enum" || row[1] == "set") &&
        std::find(fields.begin(), fields.end(), row[0]) != fields.end())
      rules.bound_arrays = false;
  return rules;
}

}  // namespace

TargetRules LearnTargetRules(const Session& session, const TableEntry& table,
                             const std::vector<std::string>& fields) {
  switch (session.facts().server) {
    case Server::kSqlite:
      return SqliteRules(session, table, fields);
    case Server::kPostgres:
      return PostgresRules(session, table, fields);
    case Server::kMariaDb:
      return MariaDbRules(session, table, fields);
    case Server::kOther:
      break;
  }
  return {};
}

}  // namespace kelvorin::database::odbc
