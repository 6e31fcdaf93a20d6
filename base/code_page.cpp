#include "base/code_page.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <vector>

#include "base/M_Misc.h"
#include "base/M_STRING.h"
#include "base/code_page_tables.h"

namespace kelvorin::base {
namespace {

/// The pages of this process; what is missing is found at its first use.
struct ChosenPages {
  const CodePage* ansi = nullptr;
  const CodePage* oem = nullptr;
  bool oem_follows = true;  // nobody chose it: it follows the ANSI page and the locale
  std::unique_ptr<Converter> oem_to_ansi;
};
ChosenPages& Chosen() {
  static ChosenPages chosen;
  return chosen;
}

const std::vector<CodePage>& AllPages() {
  static const std::vector<CodePage> pages = [] {
    std::vector<CodePage> all;
    all.reserve(PageTables().size() + 1);
    for (const PageTable& t : PageTables()) all.emplace_back(t.number, t.name, t.upper_half);
    all.emplace_back(kUtf8Page, "UTF-8", nullptr);
    return all;
  }();
  return pages;
}

/// The page named by an environment variable, or nullptr.
const CodePage* PageFromEnvironment(const char* variable) {
  const auto text = Environment(variable);
  if (!text) return nullptr;
  const auto number = ParseWholeInteger(Trim(*text));
  return number && std::in_range<int>(*number) ? FindCodePage(static_cast<int>(*number)) : nullptr;
}

/// The DOS page that belongs to a single-byte ANSI page of one region; 0 when several may.
int OemPageOfAnsi(int ansi) {
  switch (ansi) {
    case 1250:
    case 28592:
      return 852;
    case 1251:
    case 20866:
    case 21866:
    case 28595:
      return 866;
    case 1253:
    case 28597:
      return 737;
    case 1254:
    case 28599:
      return 857;
    case 1255:
      return 862;
    case 1256:
      return 720;
    case 1257:
      return 775;
    case 874:
    case 1258:
      return ansi;
    default:
      return 0;
  }
}

/// The DOS page used where this locale is spoken.
int OemPageOfLocale(std::string_view locale) {
  struct Row {
    const char* languages;  // blank before and behind each
    int page;
  };
  static constexpr Row kRows[] = {
      {" C POSIX en_US ", 437},
      {" bs cs hr hu pl ro sk sl sq ", 852},
      {" be bg mk ru sr uk ", 866},
      {" el ", 737},
      {" az tr ", 857},
      {" et lt lv ", 775},
      {" he ", 862},
      {" ar fa ur ", 720},
      {" th ", 874},
      {" vi ", 1258},
  };
  std::string name(locale.substr(0, locale.find_first_of(".@")));
  for (;;) {
    for (const Row& row : kRows) {
      if (std::string_view(row.languages).find(" " + name + " ") != std::string_view::npos) {
        return row.page;
      }
    }
    const std::size_t country = name.find('_');
    if (country == std::string::npos) return 850;
    name.resize(country);
  }
}

Status UnknownPage(int number) {
  return Status(Code::kNotSupported, "Unknown code page " + ToDecimal(number));
}

}  // namespace

CodePage::CodePage(int number, const char* name, const char16_t* upper_half) noexcept
    : number_(number), name_(name), upper_half_(upper_half), by_character_{} {
  if (is_utf8()) return;
  for (std::size_t i = 0; i < by_character_.size(); ++i) {
    by_character_[i] = static_cast<unsigned char>(0x80 + i);
  }
  std::sort(by_character_.begin(), by_character_.end(),
            [this](unsigned char a, unsigned char b) { return ToUnicode(a) < ToUnicode(b); });
}

std::optional<unsigned char> CodePage::FromUnicode(char32_t character) const noexcept {
  if (character < 0x80) return static_cast<unsigned char>(character);
  const auto* found = std::lower_bound(
      by_character_.begin(), by_character_.end(), character,
      [this](unsigned char byte, char32_t wanted) { return ToUnicode(byte) < wanted; });
  if (found == by_character_.end() || ToUnicode(*found) != character) return std::nullopt;
  return *found;
}

const CodePage* FindCodePage(int number) noexcept {
  for (const CodePage& page : AllPages()) {
    if (page.number() == number) return &page;
  }
  return nullptr;
}

// Charsets of one family that differ only in unused places share a page.
int PageOfCharset(std::string_view charset) {
  struct Row {
    const char* charset;
    int page;
  };
  static constexpr Row kRows[] = {
      {"UTF8", kUtf8Page},    {"ANSIX3.41968", kUtf8Page},
      {"USASCII", kUtf8Page}, {"", kUtf8Page},
      {"ISO88591", 1252},     {"ISO88592", 28592},
      {"ISO88595", 28595},    {"ISO88596", 1256},
      {"ISO88597", 28597},    {"ISO88598", 1255},
      {"ISO88599", 28599},    {"ISO885913", 1257},
      {"ISO885915", 28605},   {"KOI8R", 20866},
      {"KOI8U", 21866},       {"TIS620", 874},
  };
  std::string plain;
  for (const char c : charset) {
    if (c != '-' && c != '_' && c != ' ') plain += ToUpperAscii(c);
  }
  for (const Row& row : kRows) {
    if (plain == row.charset) return row.page;
  }
  if (plain.starts_with("CP")) {
    const auto number = ParseWholeInteger(std::string_view(plain).substr(2));
    if (number && *number < 65536 && FindCodePage(static_cast<int>(*number))) {
      return static_cast<int>(*number);
    }
  }
  return 1252;
}

int OemPageBeside(int ansi, std::string_view locale) {
  const int regional = OemPageOfAnsi(ansi);
  return regional != 0 ? regional : OemPageOfLocale(locale);
}

const CodePage& AnsiPage() {
  ChosenPages& chosen = Chosen();
  if (!chosen.ansi) chosen.ansi = PageFromEnvironment("KELVORIN_ANSI_CP");
  if (!chosen.ansi) chosen.ansi = FindCodePage(PageOfCharset(LocaleCharset()));
  return *chosen.ansi;
}

const CodePage& OemPage() {
  ChosenPages& chosen = Chosen();
  if (!chosen.oem) chosen.oem = PageFromEnvironment("KELVORIN_OEM_CP");
  if (!chosen.oem) {
    chosen.oem = FindCodePage(OemPageBeside(AnsiPage().number(), LocaleName("LC_CTYPE")));
  }
  return *chosen.oem;
}

Status SetAnsiPage(int number) {
  const CodePage* page = FindCodePage(number);
  if (!page) return UnknownPage(number);
  ChosenPages& chosen = Chosen();
  chosen.ansi = page;
  if (chosen.oem_follows) chosen.oem = nullptr;
  chosen.oem_to_ansi.reset();
  return {};
}

Status SetOemPage(int number) {
  const CodePage* page = FindCodePage(number);
  if (!page) return UnknownPage(number);
  ChosenPages& chosen = Chosen();
  chosen.oem = page;
  chosen.oem_follows = false;
  chosen.oem_to_ansi.reset();
  return {};
}

std::size_t AsciiPrefix(std::string_view text) noexcept {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  constexpr std::size_t kStep = 4 * sizeof(std::uint64_t);
  std::size_t at = 0;
  for (; at + kStep <= text.size(); at += kStep) {
    std::array<std::uint64_t, 4> eights{};
    std::memcpy(eights.data(), text.data() + at, kStep);
    if ((eights[0] | eights[1] | eights[2] | eights[3]) & kHighBits) break;
  }
  for (; at + sizeof(std::uint64_t) <= text.size(); at += sizeof(std::uint64_t)) {
    std::uint64_t eight;
    std::memcpy(&eight, text.data() + at, sizeof eight);
    if (eight & kHighBits) break;
  }
  while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) ++at;
  return at;
}

char32_t DecodeUtf8(std::string_view text, std::size_t& at) noexcept {
  const auto byte = [&](std::size_t i) -> std::uint32_t {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
  };
  const std::uint32_t lead = byte(at++);
  if (lead < 0x80) return lead;
  // Shortest forms, no surrogates, nothing beyond U+10FFFF: the second byte's limits see to it.
  std::uint32_t low = 0x80;
  std::uint32_t high = 0xBF;
  int more = 0;
  char32_t character = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    more = 1;
    character = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    more = 2;
    character = lead & 0x0F;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    more = 3;
    character = lead & 0x07;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return kInvalidCharacter;
  }
  for (; more > 0; --more) {
    const std::uint32_t next = byte(at);
    if (next < low || next > high) return kInvalidCharacter;
    ++at;
    character = (character << 6) | (next & 0x3F);
    low = 0x80;
    high = 0xBF;
  }
  return character;
}

void AppendUtf8(char32_t character, std::string& out) {
  if (character > 0x10FFFF || (character >= 0xD800 && character < 0xE000)) character = 0xFFFD;
  const auto put = [&](char32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (character < 0x80) {
    put(character);
  } else if (character < 0x800) {
    put(0xC0 | (character >> 6));
    put(0x80 | (character & 0x3F));
  } else if (character < 0x10000) {
    put(0xE0 | (character >> 12));
    put(0x80 | ((character >> 6) & 0x3F));
    put(0x80 | (character & 0x3F));
  } else {
    put(0xF0 | (character >> 18));
    put(0x80 | ((character >> 12) & 0x3F));
    put(0x80 | ((character >> 6) & 0x3F));
    put(0x80 | (character & 0x3F));
  }
}

namespace {

/// The byte for a character that `page` lacks: that of a similar one, else `?`.
unsigned char SimilarByte(const CodePage& page, char32_t character) noexcept {
  constexpr int kLongestChain = 4;
  for (int i = 0; i < kLongestChain; ++i) {
    if (character >= 0xFF01 && character <= 0xFF5E) {
      character -= 0xFEE0;  // full-width forms of ASCII
    } else {
      const auto pairs = SimilarPairs();
      const auto found = std::lower_bound(
          pairs.begin(), pairs.end(), character,
          [](const SimilarPair& pair, char32_t wanted) { return pair.character < wanted; });
      if (found == pairs.end() || found->character != character) break;
      character = found->similar;
    }
    if (const auto byte = page.FromUnicode(character)) return *byte;
  }
  return '?';
}

}  // namespace

Converter::Converter(const CodePage& from, const CodePage& to)
    : kind_(from.number() == to.number() ? Kind::kCopy
            : from.is_utf8()             ? Kind::kFromUtf8
                                         : Kind::kFromByte),
      to_(&to),
      cells_{} {
  if (kind_ != Kind::kFromByte) return;
  std::string utf8;
  for (unsigned i = 0; i < cells_.size(); ++i) {
    const char32_t character = from.ToUnicode(static_cast<unsigned char>(0x80 + i));
    Cell& cell = cells_[i];
    if (to.is_utf8()) {
      utf8.clear();
      AppendUtf8(character, utf8);  // at most three bytes: all pages lie in the basic plane
      cell.size = static_cast<std::uint8_t>(utf8.copy(cell.bytes, sizeof cell.bytes));
    } else {
      const auto byte = to.FromUnicode(character);
      cell.lost = !byte;
      cell.size = 1;
      cell.bytes[0] = static_cast<char>(byte ? *byte : SimilarByte(to, character));
    }
  }
}

std::size_t Converter::Append(std::string_view in, std::string& out) const {
  const std::size_t ascii = AsciiPrefix(in);
  if (ascii == in.size() || kind_ == Kind::kCopy) {
    out.append(in);
    return 0;
  }
  out.append(in.substr(0, ascii));
  in.remove_prefix(ascii);
  return kind_ == Kind::kFromByte ? AppendFromBytes(in, out) : AppendFromUtf8(in, out);
}

std::size_t Converter::AppendFromBytes(std::string_view in, std::string& out) const {
  std::size_t lost = 0;
  for (const char c : in) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      out.push_back(c);
      continue;
    }
    const Cell& cell = cells_[byte - 0x80u];
    out.append(cell.bytes, cell.size);
    lost += cell.lost ? 1 : 0;
  }
  return lost;
}

std::size_t Converter::AppendFromUtf8(std::string_view in, std::string& out) const {
  std::size_t lost = 0;
  for (std::size_t at = 0; at < in.size();) {
    const char32_t character = DecodeUtf8(in, at);
    if (const auto byte = to_->FromUnicode(character)) {
      out.push_back(static_cast<char>(*byte));
    } else {
      out.push_back(static_cast<char>(SimilarByte(*to_, character)));
      ++lost;
    }
  }
  return lost;
}

std::size_t OemToAnsiText(std::string_view in, std::string& out) {
  ChosenPages& chosen = Chosen();
  if (!chosen.oem_to_ansi) {
    chosen.oem_to_ansi = std::make_unique<Converter>(OemPage(), AnsiPage());
  }
  return chosen.oem_to_ansi->Append(in, out);
}

std::size_t CountCharacters(std::string_view text) {
  if (!AnsiPage().is_utf8()) return text.size();
  std::size_t at = AsciiPrefix(text);
  std::size_t count = at;
  for (; at < text.size(); ++count) static_cast<void>(DecodeUtf8(text, at));
  return count;
}

std::string_view CutToCharacters(std::string_view text, std::size_t count) {
  if (text.size() <= count) return text;
  if (!AnsiPage().is_utf8()) return text.substr(0, count);
  std::size_t at = AsciiPrefix(text.substr(0, count));
  for (std::size_t taken = at; taken < count && at < text.size(); ++taken) {
    static_cast<void>(DecodeUtf8(text, at));
  }
  return text.substr(0, at);
}

}  // namespace kelvorin::base
