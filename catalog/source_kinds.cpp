#include "catalog/source_kinds.h"

#include <array>

#include "contract/enums.h"

namespace kelvorin::catalog {
namespace {

constexpr std::string_view kBrowse = "Browse...";

constexpr std::array<SourceKind, 15> kKinds{{
    {0, Family::kText, false, kBrowse, 2, ""},
    {1, Family::kText, false, kBrowse, 2, ""},
    {2, Family::kText, false, kBrowse, 2, ""},
    {3, Family::kAccess, true, "Database...", 0, ""},
    {4, Family::kParadox, false, kBrowse, 4, "Paradox 3.x"},
    {5, Family::kParadox, false, kBrowse, 4, "Paradox 4.x"},
    {6, Family::kParadox, false, kBrowse, 4, "Paradox 5.x"},
    {7, Family::kXbase, false, kBrowse, 5, "dBASE III"},
    {8, Family::kXbase, false, kBrowse, 5, "dBASE IV"},
    {9, Family::kXbase, false, kBrowse, 5, "dBASE 5.0"},
    {10, Family::kXbase, false, kBrowse, 5, "FoxPro 20"},
    {11, Family::kXbase, false, kBrowse, 5, "FoxPro 2.5"},
    {12, Family::kXbase, false, kBrowse, 5, "FoxPro 2.6"},
    {13, Family::kXbase, false, kBrowse, 5, "FoxPro 3.0"},
    {14, Family::kOdbc, true, "Datasource...", 0, "ODBC"},
}};

}  // namespace

std::span<const SourceKind> SourceKinds() noexcept {
  return kKinds;
}

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
