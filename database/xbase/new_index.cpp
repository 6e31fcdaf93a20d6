#include "database/xbase/new_index.h"

#include "base/M_STRING.h"
#include "database/errors.h"
#include "database/xbase/index_file.h"

#include <algorithm>

namespace kelvorin::database::xbase {
namespace {

constexpr std::string_view kNotDeleted = ".NOT.DELETED()";

[[noreturn]] void Refuse(const IndexDef& index, const std::string& why) {
  Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
        "index '" + index.Name + "' cannot be made: " + why);
}

/// What a column is in a key of several: text of a fixed length.
std::string TextPart(const IndexDef& index, const Column& column) {
  switch (column.letter) {
    case 'C':
      return column.name;
    case 'D':
      return "DTOS(" + column.name + ")";
    case 'N':
    case 'F':
      return "STR(" + column.name + "," + std::to_string(column.bytes) + "," +
             std::to_string(column.decimals) + ")";
    case 'I':
      return "STR(" + column.name + ",11)";
    default:
      Refuse(index, "field '" + column.name + "' of type " + std::string(1, column.letter) +
                        " can only be the whole key");
  }
}

std::string ExpressionFor(const IndexDef& index, std::span<const std::size_t> columns,
                          const TableLayout& layout) {
  if (columns.size() == 1) return layout.columns[columns[0]].name;
  std::string text;
  for (std::size_t column : columns)
    text += (text.empty() ? "" : "+") + TextPart(index, layout.columns[column]);
  return text;
}

}  // namespace

IndexKind NewIndexKind(const TableLayout& layout, Product product) noexcept {
  if (layout.version->visual) return IndexKind::kCdx;
  constexpr std::uint8_t kNoMemo = 0x03;
  if (layout.version->byte != kNoMemo) {
    switch (layout.version->memo) {
      case MemoKind::kFpt:
        return IndexKind::kCdx;
      case MemoKind::kDbt4:
        return IndexKind::kMdx;
      default:
        return IndexKind::kNdx;
    }
  }
  switch (product) {
    case Product::kDbase3:
      return IndexKind::kNdx;
    case Product::kDbase4:
    case Product::kDbase5:
      return IndexKind::kMdx;
    default:
      return IndexKind::kCdx;
  }
}

std::string TagName(std::string_view wanted) {
  std::string name;
  for (char c : wanted) {
    c = base::ToUpperAscii(c);
    name += (c >= 'A' && c <= 'Z') || base::IsDigit(c) ? c : '_';
  }
  if (name.empty() || name.front() < 'A' || name.front() > 'Z') name.insert(0, 1, 'I');
  name.resize(std::min(name.size(), kTagNameBytes));
  return name;
}

NewTag PlanTag(const IndexDef& index, std::span<const std::size_t> columns, IndexKind kind,
               const TableLayout& layout) {
  const IndexLimits& limits = LimitsOf(kind);
  const std::string format(limits.name);
  NewTag made;
  TagDefinition& tag = made.definition;
  tag.name = kind == IndexKind::kNdx ? index.Name : TagName(index.Name);
  tag.expression = columns.empty() ? index.Expression : ExpressionFor(index, columns, layout);
  for (const IndexField& field : index.Columns)
    if (field.Descending != index.Columns.front().Descending)
      Refuse(index, "its fields are in different directions, which a " + format + " cannot hold");
  tag.descending = !index.Columns.empty() && index.Columns.front().Descending;
  if (tag.descending && !limits.descending)
    Refuse(index, "keys of a " + format + " cannot be descending");
  if (index.Unique && layout.version->visual) {
    // What is deleted stays in the file and must not keep its key from those who come.
    tag.candidate = true;
    tag.filter = kNotDeleted;
  } else {
    tag.unique = index.Unique;
    made.constraint = index.Unique && kind == IndexKind::kNdx;
  }
  std::optional<KeyExpression> key;
  try {
    key.emplace(tag.expression, layout);
  } catch (const Error& error) {
    Refuse(index, std::string(error.status().message()) + " is not understood in its expression '" +
                      tag.expression + "'");
  }
  tag.nullable = layout.version->visual && key->nullable();
  tag.date = kind == IndexKind::kMdx && key->type() == KeyType::kDate;
  tag.numeric =
      key->type() == KeyType::kNumber || (kind == IndexKind::kNdx && key->type() == KeyType::kDate);
  tag.key_bytes = NewKeyBytes(kind, *key, tag);
  if (tag.key_bytes == 0)
    Refuse(index, "a " + format + " holds no keys of the kind of '" + tag.expression + "'");
  if (tag.key_bytes > limits.key_bytes)
    Refuse(index, "its keys have " + std::to_string(tag.key_bytes) + " bytes, and a " + format +
                      " holds at most " + std::to_string(limits.key_bytes));
  if (tag.expression.size() + tag.filter.size() + 2 > limits.expression_bytes)
    Refuse(index, "its expression is longer than the " + std::to_string(limits.expression_bytes) +
                      " characters that a " + format + " holds");
  return made;
}

}  // namespace kelvorin::database::xbase
