#include "database/xbase/version.h"

#include "base/M_STRING.h"

namespace kelvorin::database::xbase {
namespace {

using enum Access;

constexpr Version kVersions[] = {
    {0x02, MemoKind::kNone, false, kReadOnly, "FoxBASE or dBASE II"},
    {0x03, MemoKind::kDbt3, false, kReadWrite, "dBASE or FoxPro without memo"},
    {0x04, MemoKind::kDbt4, false, kRefused, "dBASE 7"},
    {0x05, MemoKind::kDbt3, false, kReadWrite, "dBASE 5 without memo"},
    {0x30, MemoKind::kFpt, true, kReadWrite, "FoxPro 3.0"},
    {0x31, MemoKind::kFpt, true, kReadWrite, "Visual FoxPro with autoincrement"},
    {0x32, MemoKind::kFpt, true, kReadWrite, "Visual FoxPro with varying lengths"},
    {0x43, MemoKind::kDbt4, false, kReadWrite, "dBASE IV SQL table"},
    {0x63, MemoKind::kDbt4, false, kRefused, "dBASE IV SQL system table"},
    {0x83, MemoKind::kDbt3, false, kReadWrite, "dBASE III with memo"},
    {0x8B, MemoKind::kDbt4, false, kReadWrite, "dBASE IV with memo"},
    {0x8C, MemoKind::kDbt4, false, kRefused, "dBASE 7 with memo"},
    {0x8E, MemoKind::kDbt4, false, kReadWrite, "dBASE IV SQL table with memo"},
    {0xCB, MemoKind::kDbt4, false, kReadWrite, "dBASE IV SQL table with memo"},
    {0xE5, MemoKind::kNone, false, kRefused, "table with an SMT memo file"},
    {0xF5, MemoKind::kFpt, false, kReadWrite, "FoxPro 2 with memo"},
    {0xFB, MemoKind::kDbt3, false, kReadOnly, "FoxBASE with memo"},
};

constexpr Limits kLimits[] = {
    {"dBASE III", 0x03, 0x83, MemoKind::kDbt3, 128, 4000, 19, '\0'},
    {"dBASE IV", 0x03, 0x8B, MemoKind::kDbt4, 255, 4000, 20, '\0'},
    {"dBASE 5.0", 0x03, 0x8B, MemoKind::kDbt4, 255, 32767, 20, 'B'},
    {"FoxPro 2", 0x03, 0xF5, MemoKind::kFpt, 255, 65500, 20, 'G'},
    {"FoxPro 3.0", 0x30, 0x30, MemoKind::kFpt, 255, 65500, 20, 'G'},
};

struct Word {
  std::string_view word;
  Product product;
};
constexpr Word kWords[] = {
    {"dBASE III", Product::kDbase3},   {"dBASE IV", Product::kDbase4},
    {"dBASE 5.0", Product::kDbase5},   {"FoxPro 20", Product::kFoxPro2},
    {"FoxPro 2.0", Product::kFoxPro2}, {"FoxPro 2.5", Product::kFoxPro2},
    {"FoxPro 2.6", Product::kFoxPro2}, {"FoxPro 3.0", Product::kFoxPro3},
};

}  // namespace

const Version* FindVersion(std::uint8_t byte) noexcept {
  for (const Version& version : kVersions)
    if (version.byte == byte) return &version;
  return nullptr;
}

const Limits& LimitsOf(Product product) noexcept {
  return kLimits[static_cast<std::size_t>(product)];
}

bool FindProduct(std::string_view type_word, Product& out) noexcept {
  for (const Word& word : kWords) {
    if (!base::EqualIgnoreCase(word.word, type_word)) continue;
    out = word.product;
    return true;
  }
  return false;
}

}  // namespace kelvorin::database::xbase
