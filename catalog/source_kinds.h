#pragma once
// What belongs to each kind of source: its family, how a source of it is named, which file filter
// the browse dialog offers and which type word opens it. The forms and the command line read these
// tables; nothing here opens anything.

#include <cstdint>
#include <string_view>

#include "contract/enums.h"

namespace kelvorin::catalog {

enum class Family : std::uint8_t { kText, kAccess, kParadox, kXbase, kOdbc };

struct SourceKind {
  std::int16_t kind = 0;  // a FileTypeFormat value
  Family family = Family::kText;
  bool named_by_list = false;       // chosen in the table list, else in the file name box
  std::string_view browse_caption;  // of the browse button
  int file_filter = 0;              // index from 1 into `FileFilter`; 0: no file dialog
  /// What stands in front of a connect string; empty for text and Access.
  std::string_view type_word() const noexcept {
    return contract::ConnectTypeName(kind).value_or(std::string_view());
  }
};

/// Row of a kind, or null for a number that is none.
const SourceKind* FindSourceKind(std::int32_t kind) noexcept;

/// Whether both are Paradox kinds, or both dBASE or FoxPro kinds: changing between such versions
/// keeps the chosen file.
bool IsSameTableFamily(std::int32_t a, std::int32_t b) noexcept;

/// The family whose tables lie in files with that extension; everything else is read as text.
Family FamilyOfFile(std::string_view path) noexcept;
/// The extension of a family's table files; empty for those that have none of their own.
std::string_view ExtensionOf(Family family) noexcept;
/// The newest kind of a family.
std::int16_t NewestKind(Family family) noexcept;

/// Index into `FileFilter` for a kind. Numbers 15 to 18 give 6 and 19 to 22 give 7, though no such
/// kinds and entries exist: kept as it is. 0 for every other number without a file dialog.
int FileFilterIndex(std::int32_t kind) noexcept;
/// The browse dialog's filter: all files, text files, Access, Paradox, dBASE.
std::string_view FileFilter() noexcept;

}  // namespace kelvorin::catalog
