#include "database/paradox/text_page.h"

#include "base/case_map.h"

namespace kelvorin::database::paradox {
namespace {

/// Page 0 with the sort order BLROM800: the Roman set of an old maker of printers. Byte 255 has no
/// character there.
constexpr char16_t kRoman8[128] = {
    0x0080, 0x0081, 0x0082, 0x0083, 0x0084, 0x0085, 0x0086, 0x0087, 0x0088, 0x0089, 0x008A, 0x008B,
    0x008C, 0x008D, 0x008E, 0x008F, 0x0090, 0x0091, 0x0092, 0x0093, 0x0094, 0x0095, 0x0096, 0x0097,
    0x0098, 0x0099, 0x009A, 0x009B, 0x009C, 0x009D, 0x009E, 0x009F, 0x00A0, 0x00C0, 0x00C2, 0x00C8,
    0x00CA, 0x00CB, 0x00CE, 0x00CF, 0x00B4, 0x02CB, 0x02C6, 0x00A8, 0x02DC, 0x00D9, 0x00DB, 0x20A4,
    0x00AF, 0x00DD, 0x00FD, 0x00B0, 0x00C7, 0x00E7, 0x00D1, 0x00F1, 0x00A1, 0x00BF, 0x00A4, 0x00A3,
    0x00A5, 0x00A7, 0x0192, 0x00A2, 0x00E2, 0x00EA, 0x00F4, 0x00FB, 0x00E1, 0x00E9, 0x00F3, 0x00FA,
    0x00E0, 0x00E8, 0x00F2, 0x00F9, 0x00E4, 0x00EB, 0x00F6, 0x00FC, 0x00C5, 0x00EE, 0x00D8, 0x00C6,
    0x00E5, 0x00ED, 0x00F8, 0x00E6, 0x00C4, 0x00EC, 0x00D6, 0x00DC, 0x00C9, 0x00EF, 0x00DF, 0x00D4,
    0x00C1, 0x00C3, 0x00E3, 0x00D0, 0x00F0, 0x00CD, 0x00CC, 0x00D3, 0x00D2, 0x00D5, 0x00F5, 0x0160,
    0x0161, 0x00DA, 0x0178, 0x00FF, 0x00DE, 0x00FE, 0x00B7, 0x00B5, 0x00B6, 0x00BE, 0x2014, 0x00BC,
    0x00BD, 0x00AA, 0x00BA, 0x00AB, 0x25A0, 0x00BB, 0x00B1, 0xF7FF,
};
constexpr int kRoman8Page = 1050;
constexpr int kKamenickyPage = 867;  // named 895 elsewhere

struct OldOrder {
  std::uint8_t sort_order;
  int page;
};
constexpr OldOrder kOldOrders[] = {{192, 866}, {130, 865}, {230, 865}, {208, 861},
                                   {13, 852},  {143, 852}, {198, 857}};

constexpr std::uint8_t kBytesOf1252 = 76;

const base::CodePage* FindPage(int number) {
  static const base::CodePage roman8(kRoman8Page, "Roman 8", kRoman8);
  if (number == kRoman8Page) return &roman8;
  const base::CodePage* page = base::FindCodePage(number == kKamenickyPage ? 895 : number);
  return page == nullptr || page->is_utf8() ? nullptr : page;
}

}  // namespace

int PageOfHeader(bool has_page, std::uint16_t page, std::string_view sort_name,
                 std::uint8_t sort_order) noexcept {
  if (has_page && page != 0) return page;
  if (has_page && sort_name == "BLROM800") return kRoman8Page;
  for (const OldOrder& old : kOldOrders)
    if (!has_page && old.sort_order == sort_order) return old.page;
  return base::OemPage().number();
}

bool IsByteOrder(std::uint8_t sort_order, std::string_view sort_name, int page) noexcept {
  if (sort_order == 0) return true;
  return sort_order == kBytesOf1252 && page == 1252 && (sort_name == "DBWINUS0");
}

TextPage::TextPage(int number) : TextPage(number, FindPage(number)) {}

TextPage::TextPage(int number, const base::CodePage* page) : PageConverter(number, page) {
  for (unsigned byte = 0; byte < capitals_.size(); ++byte) {
    capitals_[byte] =
        static_cast<std::uint8_t>(byte >= 'a' && byte <= 'z' ? byte - ('a' - 'A') : byte);
    if (page == nullptr) continue;
    const char32_t letter = page->ToUnicode(static_cast<unsigned char>(byte));
    const auto capital = page->FromUnicode(base::UpperCharacter(letter));
    capitals_[byte] = capital ? *capital : static_cast<std::uint8_t>(byte);
  }
}

}  // namespace kelvorin::database::paradox
