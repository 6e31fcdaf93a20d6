#include "catalog/source_kinds.h"

#include <array>

#include "base/M_FILE.h"
#include "base/M_STRING.h"

namespace kelvorin::catalog {
namespace {

constexpr std::string_view kBrowse = "Browse...";

constexpr std::array<SourceKind, 15> kKinds{{
    {0, Family::kText, false, kBrowse, 2},
    {1, Family::kText, false, kBrowse, 2},
    {2, Family::kText, false, kBrowse, 2},
    {3, Family::kAccess, true, "Database...", 0},
    {4, Family::kParadox, false, kBrowse, 4},
    {5, Family::kParadox, false, kBrowse, 4},
    {6, Family::kParadox, false, kBrowse, 4},
    {7, Family::kXbase, false, kBrowse, 5},
    {8, Family::kXbase, false, kBrowse, 5},
    {9, Family::kXbase, false, kBrowse, 5},
    {10, Family::kXbase, false, kBrowse, 5},
    {11, Family::kXbase, false, kBrowse, 5},
    {12, Family::kXbase, false, kBrowse, 5},
    {13, Family::kXbase, false, kBrowse, 5},
    {14, Family::kOdbc, true, "Datasource...", 0},
}};

}  // namespace

const SourceKind* FindSourceKind(std::int32_t kind) noexcept {
  return kind >= 0 && kind < static_cast<std::int32_t>(kKinds.size())
             ? &kKinds[static_cast<std::size_t>(kind)]
             : nullptr;
}

bool IsSameTableFamily(std::int32_t a, std::int32_t b) noexcept {
  const SourceKind* first = FindSourceKind(a);
  const SourceKind* second = FindSourceKind(b);
  return first != nullptr && second != nullptr && first->family == second->family &&
         (first->family == Family::kParadox || first->family == Family::kXbase);
}

std::string_view ExtensionOf(Family family) noexcept {
  return family == Family::kParadox ? "DB" : family == Family::kXbase ? "DBF" : std::string_view();
}

Family FamilyOfFile(std::string_view path) noexcept {
  const std::string_view extension = base::ExtensionPart(path);
  for (const Family family : {Family::kParadox, Family::kXbase})
    if (base::EqualIgnoreCase(extension, ExtensionOf(family))) return family;
  return Family::kText;
}

std::int16_t NewestKind(Family family) noexcept {
  std::int16_t newest = 0;
  for (const SourceKind& row : kKinds)
    if (row.family == family) newest = row.kind;
  return newest;
}

int FileFilterIndex(std::int32_t kind) noexcept {
  if (const SourceKind* row = FindSourceKind(kind)) return row->file_filter;
  if (kind >= 15 && kind <= 18) return 6;
  if (kind >= 19 && kind <= 22) return 7;
  return 0;
}

std::string_view FileFilter() noexcept {
  return "All Files (*.*)|*.*|Text Files(*.txt;*.csv)|*.txt;*.csv|Access(*.mdb)|*.mdb"
         "|Paradox (*.db)|*.db|DBase (*.dbf)|*.dbf";
}

}  // namespace kelvorin::catalog
