#include "database/access/text_codec.h"

#include <algorithm>

namespace kelvorin::database::access {
namespace {

constexpr std::size_t kLongestCompressed = 1024;  // characters

const base::CodePage& PageFor(bool wide, int number) {
  const base::CodePage* page = base::FindCodePage(wide ? base::kUtf8Page : number);
  if (page == nullptr)
    Throw(Code::kNotSupported, ErrorNumber::kUnrecognizedFormat,
          "the database uses code page " + std::to_string(number) + ", which is not supported");
  return *page;
}

bool IsCompressed(base::ByteSpan stored) noexcept {
  return stored.size() >= 2 && stored[0] == std::byte{0xFF} && stored[1] == std::byte{0xFE};
}

void AppendUnits(char32_t c, std::u16string& out) {
  if (c < 0x10000) {
    out += static_cast<char16_t>(c);
  } else {
    out += static_cast<char16_t>(0xD7C0 + (c >> 10));
    out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
  }
}

void AppendUtf8Of(std::u16string_view units, std::string& out) {
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t c = units[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
        units[i + 1] < 0xE000)
      c = ((c - 0xD7C0) << 10) + (units[++i] & 0x3FFu);
    base::AppendUtf8(c, out);
  }
}

}  // namespace

TextCodec::TextCodec(bool wide, int code_page)
    : wide_(wide),
      page_(&PageFor(wide, code_page)),
      to_ansi_(*page_, base::AnsiPage()),
      from_ansi_(base::AnsiPage(), *page_) {}

void TextCodec::DecodeUnits(base::ByteSpan stored, std::size_t limit, std::u16string& out) const {
  const auto full = [&] { return out.size() >= limit; };
  if (!IsCompressed(stored)) {
    for (std::size_t i = 0; i + 1 < stored.size() && !full(); i += 2)
      out += static_cast<char16_t>(base::LoadLE16(stored, i));
    return;
  }
  bool narrow = true;
  for (std::size_t i = 2; i < stored.size() && !full();) {
    const auto byte = static_cast<unsigned char>(stored[i]);
    if (byte == 0) {
      narrow = !narrow;
      ++i;
    } else if (narrow) {
      out += static_cast<char16_t>(byte);
      ++i;
    } else {
      if (i + 1 >= stored.size()) break;
      out += static_cast<char16_t>(base::LoadLE16(stored, i));
      i += 2;
    }
  }
}

void TextCodec::Units(base::ByteSpan stored, std::size_t limit, std::vector<char16_t>& out) const {
  out.clear();
  if (!wide_) {
    for (std::size_t i = 0; i < stored.size() && i < limit; ++i)
      out.push_back(static_cast<char16_t>(page_->ToUnicode(static_cast<unsigned char>(stored[i]))));
    return;
  }
  std::u16string units;
  DecodeUnits(stored, limit, units);
  out.assign(units.begin(), units.end());
}

void TextCodec::Decode(base::ByteSpan stored, std::string& out) {
  if (!wide_) {
    unreadable_ += to_ansi_.Append(base::AsText(stored), out);
    return;
  }
  if (IsCompressed(stored)) {
    const std::string_view body = base::AsText(stored.subspan(2));
    if (body.find('\0') == std::string_view::npos && base::AsciiPrefix(body) == body.size()) {
      out += body;
      return;
    }
  }
  units_.clear();
  DecodeUnits(stored, static_cast<std::size_t>(-1), units_);
  if (base::AnsiPage().is_utf8()) return AppendUtf8Of(units_, out);
  utf8_.clear();
  AppendUtf8Of(units_, utf8_);
  unreadable_ += to_ansi_.Append(utf8_, out);
}

std::size_t TextCodec::Encode(std::string_view text, bool compress, std::string& out,
                              std::size_t& units) {
  if (!wide_) {
    const std::size_t before = out.size();
    const std::size_t lost = from_ansi_.Append(text, out);
    units = out.size() - before;
    return lost;
  }
  if (compress && text.size() > 2 && text.size() <= kLongestCompressed &&
      base::AsciiPrefix(text) == text.size() && text.find('\0') == std::string_view::npos) {
    out.append("\xFF\xFE").append(text);
    units = text.size();
    return 0;
  }
  std::size_t lost = 0;
  units_.clear();
  const base::CodePage& ansi = base::AnsiPage();
  for (std::size_t i = 0; i < text.size();) {
    char32_t c;
    if (ansi.is_utf8()) {
      c = base::DecodeUtf8(text, i);
      if (c == base::kInvalidCharacter) {
        c = 0xFFFD;
        ++lost;
      }
    } else {
      c = ansi.ToUnicode(static_cast<unsigned char>(text[i++]));
    }
    AppendUnits(c, units_);
  }
  units = units_.size();
  const bool narrow =
      std::all_of(units_.begin(), units_.end(), [](char16_t c) { return c != 0 && c < 0x100; });
  if (compress && narrow && units > 2 && units <= kLongestCompressed) {
    out.append("\xFF\xFE");
    for (char16_t c : units_) out += static_cast<char>(c);
    return lost;
  }
  if (units != 0 && units_[0] == 0xFEFF)
    Throw(Code::kConversion, ErrorNumber::kConversion,
          "a text that begins with U+FEFF cannot be stored, it would read as a compressed one");
  for (char16_t c : units_) {
    out += static_cast<char>(c & 0xFF);
    out += static_cast<char>(c >> 8);
  }
  return lost;
}

}  // namespace kelvorin::database::access
