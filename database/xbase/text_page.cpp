#include "database/xbase/text_page.h"

namespace kelvorin::database::xbase {
namespace {

struct Mark {
  std::uint8_t mark;
  int page;
};

/// Two independent tables of other programs agree on all of these.
constexpr Mark kMarks[] = {
    {0x01, 437},   {0x02, 850},   {0x03, 1252}, {0x04, 10000}, {0x08, 865},  {0x09, 437},
    {0x0A, 850},   {0x0B, 437},   {0x0D, 437},  {0x0E, 850},   {0x0F, 437},  {0x10, 850},
    {0x11, 437},   {0x12, 850},   {0x13, 932},  {0x14, 850},   {0x15, 437},  {0x16, 850},
    {0x17, 865},   {0x18, 437},   {0x19, 437},  {0x1A, 850},   {0x1B, 437},  {0x1C, 863},
    {0x1D, 850},   {0x1F, 852},   {0x22, 852},  {0x23, 852},   {0x24, 860},  {0x25, 850},
    {0x26, 866},   {0x37, 850},   {0x40, 852},  {0x4D, 936},   {0x4E, 949},  {0x4F, 950},
    {0x50, 874},   {0x57, 1252},  {0x58, 1252}, {0x59, 1252},  {0x64, 852},  {0x65, 866},
    {0x66, 865},   {0x67, 861},   {0x68, 895},  {0x69, 620},   {0x6A, 737},  {0x6B, 857},
    {0x6C, 863},   {0x78, 950},   {0x79, 949},  {0x7A, 936},   {0x7B, 932},  {0x7C, 874},
    {0x7D, 1255},  {0x7E, 1256},  {0x86, 737},  {0x87, 852},   {0x88, 857},  {0x96, 10007},
    {0x97, 10029}, {0x98, 10006}, {0xC8, 1250}, {0xC9, 1251},  {0xCA, 1254}, {0xCB, 1253},
    {0xCC, 1257},
};

/// Marks common to all, then (from kFirstFoxProMark) those of FoxPro alone.
constexpr std::uint8_t kLastCommonMark = 0x04;
constexpr std::uint8_t kFirstFoxProMark = 0x64;

}  // namespace

int CodePageOfMark(std::uint8_t mark) noexcept {
  for (const Mark& row : kMarks)
    if (row.mark == mark) return row.page;
  return 0;
}

std::uint8_t MarkOfCodePage(int page, bool foxpro) noexcept {
  std::uint8_t dbase_mark = 0;
  for (const Mark& row : kMarks) {
    if (row.page != page) continue;
    const bool own = foxpro && row.mark >= kFirstFoxProMark;
    if (own || row.mark <= kLastCommonMark) return row.mark;
    if (dbase_mark == 0 && row.mark < kFirstFoxProMark) dbase_mark = row.mark;
  }
  return dbase_mark;
}

namespace {

const base::CodePage* PageOfMark(std::uint8_t mark) {
  const int number = CodePageOfMark(mark);
  return number == 0 ? &base::OemPage() : base::FindCodePage(number);
}

}  // namespace

TextPage::TextPage(std::uint8_t mark) : TextPage(mark, PageOfMark(mark)) {}

TextPage::TextPage(std::uint8_t mark, const base::CodePage* page)
    : PageConverter(page != nullptr ? page->number() : CodePageOfMark(mark), page) {}

}  // namespace kelvorin::database::xbase
