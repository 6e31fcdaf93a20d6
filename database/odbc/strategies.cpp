#include "database/odbc/strategies.h"

#include <algorithm>

#include "database/odbc/array_strategy.h"
#include "database/odbc/parameter_strategy.h"
#include "database/odbc/side_table_strategy.h"
#include "database/odbc/sql_strategy.h"
#include "database/odbc/target_rules.h"

namespace kelvorin::database::odbc {

namespace {

// The text of an amount of money is read by the server's locale, a plain number is not.
std::vector<std::string> ElementTypes(std::vector<std::string> types, const PostTarget& target) {
  for (std::size_t i = 0; i < types.size(); ++i) {
    const int field = target.def.FindField(target.fields[i]);
    if (target.def.Fields[static_cast<std::size_t>(field)].Type == database::TypeCode::kCurrency)
      types[i] = "numeric";
  }
  return types;
}

}  // namespace

std::unique_ptr<PostStrategy> MakeStrategy(Session& session, PostTarget target, bool one_by_one) {
  const bool refuses_doubles =
      std::any_of(target.def.Indexes.begin(), target.def.Indexes.end(),
                  [](const database::IndexDef& index) { return index.Unique; });
  const TargetRules rules = LearnTargetRules(session, target.table, target.fields);
  const std::string into = InsertText(session, target.table, target.fields);
  const bool escapes = session.facts().dialect.backslash_escapes;
  PostStrategy::Limits limits;
  // What stands around the values, and quotes that stand doubled, count as well.
  if (const std::size_t packet = session.facts().most_packet_bytes; packet != 0)
    limits.most_bytes = std::min(limits.most_bytes, packet / 4);
  if (one_by_one || !rules.chunks)
    return std::make_unique<SqlStrategy>(session, into, refuses_doubles, limits);
  switch (session.facts().server) {
    case Server::kSqlite:
      if (auto strategy =
              SideTableStrategy::Make(session, into, refuses_doubles, target, rules.reads_digits))
        return strategy;
      limits.most_records = 500;
      limits.commit_records = 10000;
      return std::make_unique<SqlStrategy>(session, into, refuses_doubles, limits);
    case Server::kPostgres:
      limits.most_records = 2000;
      if (rules.element_types.empty() || escapes)
        return std::make_unique<SqlStrategy>(session, into, refuses_doubles, limits);
      return std::make_unique<ArrayStrategy>(session, into, refuses_doubles, limits,
                                             ElementTypes(rules.element_types, target));
    case Server::kMariaDb:
      limits.most_records = 2000;
      if (rules.bound_arrays && !escapes)
        return std::make_unique<ParameterStrategy>(session, into, refuses_doubles, limits,
                                                   target.fields.size());
      return std::make_unique<SqlStrategy>(session, into, refuses_doubles, limits);
    case Server::kOther:
      break;
  }
  return std::make_unique<SqlStrategy>(session, into, refuses_doubles, limits);
}

}  // namespace kelvorin::database::odbc
