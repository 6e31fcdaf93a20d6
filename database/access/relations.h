#pragma once
// Enforced relations: whether a record may be stored, changed or deleted as far as other tables
// refer to it or it refers to them. Only looks; what would break a relation is refused, nothing is
// passed on to other tables.

#include "base/status.h"
#include "database/access/table.h"

namespace kelvorin::database::access {

class RelationCheck {
 public:
  explicit RelationCheck(Table& table) noexcept : table_(table) {}

  /// The new values of a record have a parent wherever they name one. `only_changed` (may be null)
  /// marks the columns that count.
  Status ParentsExist(const std::vector<ColumnValue>& values,
                      const std::vector<ColumnValue>* only_changed);
  /// No record of another table refers to these values. With `after`, values that stay the same
  /// are no matter.
  Status NoChildren(const std::vector<ColumnValue>& before, const std::vector<ColumnValue>* after);

 private:
  struct Other {
    std::shared_ptr<Table> table;  // shared with the file's list of open tables
    const PhysicalIndex* index = nullptr;
  };
  Other Find(const LogicalIndex& name) const;
  /// The key that the other side's index would hold for this side's values; false when a column is
  /// Null, which refers to nothing.
  bool OtherKey(const PhysicalIndex& own, const Other& other,
                const std::vector<ColumnValue>& values, std::string& out) const;

  Table& table_;
};

}  // namespace kelvorin::database::access
