#include "database/odbc/roads.h"

#include <algorithm>

#include "base/M_STRING.h"
#include "database/odbc/parameter_road.h"
#include "database/odbc/sql_road.h"
#include "database/odbc/target_rules.h"

namespace kelvorin::database_odbc {

std::unique_ptr<PostRoad> MakeRoad(Session& session, RoadTarget target, bool one_by_one) {
  const bool refuses_doubles =
      std::any_of(target.def.Indexes.begin(), target.def.Indexes.end(),
                  [](const database::IndexDef& index) { return index.Unique; });
  const TargetRules rules = LearnTargetRules(session, target.table, target.fields);
  const std::string into = InsertText(session, target.table, target.fields);
  PostRoad::Limits limits;
  if (one_by_one || !rules.chunks)
    return std::make_unique<SqlRoad>(session, into, refuses_doubles, limits);
  switch (session.facts().server) {
    case Server::kSqlite:
      limits.most_records = 100;
      limits.commit_records = 10000;
      return std::make_unique<SqlRoad>(session, into, refuses_doubles, limits);
    case Server::kPostgres:
      limits.most_records = 2000;
      if (rules.element_types.empty())
        return std::make_unique<SqlRoad>(session, into, refuses_doubles, limits);
      return std::make_unique<UnnestRoad>(session, into, refuses_doubles, limits,
                                          rules.element_types);
    case Server::kMariaDb:
      limits.most_records = 2000;
      if (rules.bound_arrays)
        return std::make_unique<ParameterRoad>(session, into, refuses_doubles, limits,
                                               target.fields.size());
      return std::make_unique<SqlRoad>(session, into, refuses_doubles, limits);
    case Server::kOther:
      break;
  }
  return std::make_unique<SqlRoad>(session, into, refuses_doubles, limits);
}

}  // namespace kelvorin::database_odbc
