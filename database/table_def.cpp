#include "database/table_def.h"

#include "base/case_map.h"

namespace kelvorin::database {

std::string IndexDef::Fields() const {
  std::string text;
  for (const IndexField& column : Columns) {
    if (!text.empty()) text += ';';
    text += column.Descending ? '-' : '+';
    text += column.Name;
  }
  return text;
}

int TableDef::FindField(std::string_view name) const noexcept {
  for (std::size_t i = 0; i < Fields.size(); ++i)
    if (Fields[i].Name == name) return static_cast<int>(i);
  for (std::size_t i = 0; i < Fields.size(); ++i)
    if (base::EqualAnyCase(Fields[i].Name, name)) return static_cast<int>(i);
  return -1;
}

const IndexDef* TableDef::FindIndex(std::string_view name) const noexcept {
  for (const IndexDef& index : Indexes)
    if (base::EqualAnyCase(index.Name, name)) return &index;
  for (const IndexDef& index : Indexes)
    for (const std::string& alias : index.Aliases)
      if (base::EqualAnyCase(alias, name)) return &index;
  return nullptr;
}

std::vector<IndexField> ParseIndexFields(std::string_view fields) {
  std::vector<IndexField> columns;
  while (!fields.empty()) {
    const std::size_t end = fields.find(';');
    std::string_view name = fields.substr(0, end);
    fields = end == std::string_view::npos ? std::string_view() : fields.substr(end + 1);
    if (name.empty()) continue;
    const bool descending = name.front() == '-';
    if (descending || name.front() == '+') name.remove_prefix(1);
    columns.push_back({std::string(name), descending});
  }
  return columns;
}

}  // namespace kelvorin::database
