#include "mapping/field_mapping.h"

#include "base/M_Const.h"
#include "base/M_Misc.h"
#include "base/M_STRING.h"
#include "base/case_map.h"

#include <algorithm>
#include <tuple>

namespace kelvorin::mapping {
namespace {

constexpr std::ptrdiff_t kNone = -1;
constexpr std::ptrdiff_t kSeveral = -2;

bool SameName(std::string_view a, std::string_view b) {
  return base::EqualAnyCase(base::Trim(a), base::Trim(b));
}

// Position of the only source field with this name, kNone or kSeveral.
std::ptrdiff_t FindOnly(SourceFields source_fields, std::string_view name) {
  std::ptrdiff_t found = kNone;
  for (std::size_t i = 0; i < source_fields.size(); ++i) {
    if (!SameName(source_fields[i], name)) continue;
    if (found != kNone) return kSeveral;
    found = static_cast<std::ptrdiff_t>(i);
  }
  return found;
}

Status FindSource(SourceFields source_fields, std::string_view text, std::size_t& field_no) {
  if (const auto number = base::ParseWholeInteger(text)) {
    if (std::cmp_greater_equal(*number, 0) && std::cmp_less(*number, source_fields.size())) {
      field_no = static_cast<std::size_t>(*number);
      return Status();
    }
  }
  const std::ptrdiff_t found = FindOnly(source_fields, text);
  if (found == kSeveral)
    return Status(Code::kInvalidArgument, "the source has several fields '" + std::string(text) +
                                              "': use the field's number");
  if (found == kNone)
    return Status(Code::kNotFound, "the source has no field '" + std::string(text) + "' (it has " +
                                       std::to_string(source_fields.size()) +
                                       " fields, numbered from 0)");
  field_no = static_cast<std::size_t>(found);
  return Status();
}

}  // namespace

std::string_view RowText(const FieldMapEntry& entry, SourceFields source_fields) {
  if (!entry.Mapped || entry.Field < 0 || LostItsSource(entry, source_fields)) return kIgnored;
  return source_fields[static_cast<std::size_t>(entry.Field)];
}

bool LostItsSource(const FieldMapEntry& entry, SourceFields source_fields) {
  return entry.Mapped && std::cmp_greater_equal(entry.Field, source_fields.size());
}

bool PickSourceField(FieldMapEntry& entry, std::string_view name, SourceFields source_fields,
                     const textsource::BreakList* breaks) {
  const int found = base::FindListItem(source_fields, name);
  if (found < 0) return false;
  MapTo(entry, static_cast<std::size_t>(found), breaks);
  return true;
}

void MapTo(FieldMapEntry& entry, std::size_t field_no, const textsource::BreakList* breaks) {
  entry.Field = base::Narrow<std::int16_t>(field_no);
  entry.Mapped = true;
  if (breaks != nullptr) std::tie(entry.Offset, entry.Length) = FixedColumn(*breaks, field_no);
}

void Ignore(FieldMapEntry& entry) {
  entry.Unmap();
}

void IgnoreAll(FieldMap& map) {
  for (FieldMapEntry& entry : map) {
    const std::int16_t length = entry.Length;
    entry.Unmap();
    entry.Length = length;
  }
}

std::pair<std::int16_t, std::int16_t> FixedColumn(const textsource::BreakList& breaks,
                                                  std::size_t field_no) {
  textsource::BreakList sorted = breaks;
  sorted.CompactAndSort();
  if (field_no >= sorted.count()) return {0, 0};
  // A setting keeps both in 16 bits; columns beyond them cannot be told.
  const auto cut = [](int value) { return static_cast<std::int16_t>(std::min(value, 32767)); };
  const int start = field_no == 0 ? 0 : sorted[field_no - 1];
  return {cut(start), cut(sorted[field_no] - start)};
}

std::size_t MapByName(FieldMap& map, std::span<const catalog::TargetField> fields,
                      SourceFields source_fields, const textsource::BreakList* breaks) {
  std::size_t mapped = 0;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const std::ptrdiff_t found = FindOnly(source_fields, fields[i].Name);
    if (found < 0) continue;
    MapTo(map[i], static_cast<std::size_t>(found), breaks);
    ++mapped;
  }
  return mapped;
}

std::size_t MapInOrder(FieldMap& map, std::span<const catalog::TargetField> fields,
                       std::size_t source_field_count, const textsource::BreakList* breaks) {
  const std::size_t count = std::min(fields.size(), source_field_count);
  for (std::size_t i = 0; i < count; ++i) MapTo(map[i], i, breaks);
  return count;
}

Status ApplyRequest(const MapRequest& request, std::span<const catalog::TargetField> fields,
                    SourceFields source_fields, const textsource::BreakList* breaks,
                    FieldMap& map) {
  switch (request.rest) {
    case MapRequest::Rest::kKeep:
      break;
    case MapRequest::Rest::kByName:
      IgnoreAll(map);
      MapByName(map, fields, source_fields, breaks);
      break;
    case MapRequest::Rest::kInOrder:
      IgnoreAll(map);
      MapInOrder(map, fields, source_fields.size(), breaks);
      break;
  }
  std::vector<bool> named(fields.size());
  for (const auto& [target, source] : request.pairs) {
    const auto field = std::find_if(fields.begin(), fields.end(),
                                    [&, name = std::string_view(target)](const auto& candidate) {
                                      return SameName(candidate.Name, name);
                                    });
    if (field == fields.end())
      return Status(Code::kNotFound, "the target table has no field '" + target + "'");
    const auto entry = static_cast<std::size_t>(field - fields.begin());
    if (named[entry])
      return Status(Code::kInvalidArgument, "target field '" + target + "' is mapped twice");
    named[entry] = true;
    std::size_t field_no = 0;
    KV_TRY(FindSource(source_fields, source, field_no));
    MapTo(map[entry], field_no, breaks);
  }
  return Status();
}

std::vector<std::string> TextHeadings(std::span<const std::string_view> heading,
                                      std::size_t column_count) {
  std::vector<std::string> names(std::min(column_count, base::kMaxFields));
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string_view name = i < heading.size() ? base::Trim(heading[i]) : std::string_view();
    const bool doubled = std::any_of(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(i),
                                     [&](const std::string& n) { return SameName(n, name); });
    if (name.empty() || doubled) {
      names[i] = "Field " + std::to_string(i + 1);
    } else {
      names[i] = name;
    }
  }
  return names;
}

}  // namespace kelvorin::mapping
