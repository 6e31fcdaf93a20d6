#pragma once
// Bytes as hexadecimal digits, two a byte, in capitals: values of binary fields, GUIDs, and bytes
// that a message shows.

#include <string>
#include <string_view>

namespace kelvorin::values {

inline void AppendHex(std::string_view bytes, std::string& out) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (const char c : bytes) {
    out += kDigits[static_cast<unsigned char>(c) >> 4];
    out += kDigits[static_cast<unsigned char>(c) & 15];
  }
}

inline std::string HexOf(std::string_view bytes) {
  std::string text;
  AppendHex(bytes, text);
  return text;
}

}  // namespace kelvorin::values
