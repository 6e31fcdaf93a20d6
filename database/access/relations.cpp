#include "database/access/relations.h"

#include "database/access/sort_keys.h"

namespace kelvorin::database::access {
namespace {

constexpr std::uint8_t kReferenced = 1;
constexpr std::uint8_t kReferencing = 2;

bool SameValues(const PhysicalIndex& index, const std::vector<ColumnValue>& a,
                const std::vector<ColumnValue>& b) {
  for (const KeyColumn& key : index.columns) {
    const ColumnValue& left = a[key.column];
    const ColumnValue& right = b[key.column];
    if (left.null != right.null || (!left.null && left.bytes != right.bytes)) return false;
  }
  return true;
}

}  // namespace

RelationCheck::Other RelationCheck::Find(const LogicalIndex& name) const {
  Other other;
  other.table = table_.file().OpenTable(name.other_table, {});
  const TableDefinition& there = other.table->definition();
  for (const LogicalIndex& candidate : there.names)
    if (candidate.number == name.other_number) other.index = &there.indexes[candidate.physical];
  if (other.index == nullptr || !Table::Searchable(there, *other.index))
    Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
          "relation '" + name.name + "' of table '" + table_.name() + "' cannot be checked");
  return other;
}

bool RelationCheck::OtherKey(const PhysicalIndex& own, const Other& other,
                             const std::vector<ColumnValue>& values, std::string& out) const {
  out.clear();
  const TableDefinition& here = table_.definition();
  const TableDefinition& there = other.table->definition();
  const std::size_t columns = std::min(own.columns.size(), other.index->columns.size());
  for (std::size_t i = 0; i < columns; ++i) {
    const Column& mine = here.columns[own.columns[i].column];
    const KeyColumn& key = other.index->columns[i];
    const Column& theirs = there.columns[key.column];
    if (mine.type != theirs.type || IsLongValue(mine.type))
      Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
            "a relation between field '" + mine.name + "' of table '" + table_.name() +
                "' and a field of another type cannot be checked");
    const ColumnValue& value = values[own.columns[i].column];
    if (value.null && !mine.is_bit()) return false;
    AppendKey(table_.file().version(), theirs, key.ascending, base::AsBytes(value.bytes),
              table_.file().text(), out);
  }
  return true;
}

Status RelationCheck::ParentsExist(const std::vector<ColumnValue>& values,
                                   const std::vector<ColumnValue>* only_changed) {
  const TableDefinition& here = table_.definition();
  std::string key;
  std::string own_key;
  std::string found;
  for (const LogicalIndex& name : here.names) {
    if (name.kind != IndexKind::kRelation || name.role != kReferencing) continue;
    const PhysicalIndex& own = here.indexes[name.physical];
    if (only_changed != nullptr) {
      bool any = false;
      for (const KeyColumn& column : own.columns)
        any = any || (*only_changed)[column.column].assigned;
      if (!any) continue;
    }
    const Other other = Find(name);
    if (!OtherKey(own, other, values, key)) continue;
    RowId row;
    if (other.table->Tree(*other.index).HasKey(key, row, found)) continue;
    if (other.table.get() == &table_ && OtherKey(*other.index, other, values, own_key) &&
        own_key == key)
      continue;  // the record is its own parent
    return MakeStatus(Code::kIntegrity, ErrorNumber::kRelated,
                      "relation '" + name.name + "': there is no record in table '" +
                          other.table->name() + "' that the record of table '" + table_.name() +
                          "' would belong to");
  }
  return Status();
}

Status RelationCheck::NoChildren(const std::vector<ColumnValue>& before,
                                 const std::vector<ColumnValue>* after) {
  const TableDefinition& here = table_.definition();
  std::string key;
  for (const LogicalIndex& name : here.names) {
    if (name.kind != IndexKind::kRelation || name.role != kReferenced) continue;
    const PhysicalIndex& own = here.indexes[name.physical];
    if (after != nullptr && SameValues(own, before, *after)) continue;
    const Other other = Find(name);
    if (!OtherKey(own, other, before, key)) continue;
    std::string entry;
    IndexTree tree = other.table->Tree(*other.index);
    if (!tree.FindFrom(key, false, entry) || entry.compare(0, key.size(), key) != 0) continue;
    const bool cascades = (name.cascade_updates & 3) != 0 || (name.cascade_deletes & 3) != 0;
    return MakeStatus(
        Code::kIntegrity, ErrorNumber::kRelated,
        "relation '" + name.name + "': records of table '" + other.table->name() +
            "' belong to the record of table '" + table_.name() + "'" +
            (cascades ? std::string(" and cascading to them is not supported") : std::string()));
  }
  return Status();
}

}  // namespace kelvorin::database::access
