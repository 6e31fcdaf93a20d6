#pragma once
// The code page of a table's texts and names: which page the mark in the header stands for, and the
// way from and to the ANSI page of everything outside. Used by the field codec and the table.

#include <cstdint>

#include "database/folder/page_converter.h"

namespace kelvorin::database::xbase {

/// Number of the code page a header mark stands for; 0 for no mark and for an unknown one, whose
/// texts are taken as being in the OEM page of the process.
int CodePageOfMark(std::uint8_t mark) noexcept;

/// The mark for new tables whose texts are in `page`, of FoxPro or of dBASE; 0 when there is none.
std::uint8_t MarkOfCodePage(int page, bool foxpro) noexcept;

/// Converts the texts of one table.
class TextPage : public folder::PageConverter {
 public:
  explicit TextPage(std::uint8_t mark);

 private:
  TextPage(std::uint8_t mark, const base::CodePage* page);
};

}  // namespace kelvorin::database::xbase
