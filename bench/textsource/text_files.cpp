#include "bench/textsource/text_files.h"

namespace kelvorin::bench {
namespace {

void AppendWord(Numbers& numbers, std::size_t size, std::string& out) {
  while (size-- > 0) out += static_cast<char>('a' + numbers.Next(26));
}

}  // namespace

std::string DelimitedText(std::size_t bytes, const Shape& shape) {
  Numbers numbers;
  std::string text;
  text.reserve(bytes + 4096);
  const auto spread = static_cast<std::uint32_t>(shape.field_bytes);
  while (text.size() < bytes) {
    for (int field = 0; field < shape.fields; ++field) {
      if (field > 0) text += ',';
      const std::size_t size = spread / 2 + numbers.Next(spread + 1);
      if (static_cast<int>(numbers.Next(100)) >= shape.quoted_in_hundred) {
        AppendWord(numbers, size, text);
        continue;
      }
      text += '"';
      AppendWord(numbers, size / 2, text);
      if (static_cast<int>(numbers.Next(100)) < shape.doubled_in_hundred) text += "\"\"";
      text += ',';
      AppendWord(numbers, size - size / 2, text);
      text += '"';
    }
    text += "\r\n";
  }
  return text;
}

std::string FixedText(std::size_t bytes) {
  Numbers numbers;
  std::string text;
  text.reserve(bytes + 4096);
  while (text.size() < bytes) {
    AppendWord(numbers, 80, text);
    text += "\r\n";
  }
  return text;
}

std::string HtmlText(std::size_t bytes) {
  Numbers numbers;
  std::string text;
  text.reserve(bytes + 4096);
  while (text.size() < bytes) {
    text += "<tr>";
    for (int cell = 0; cell < 10; ++cell) {
      text += "<td>";
      AppendWord(numbers, 3 + numbers.Next(8), text);
      text += "</td>";
    }
    text += "</tr>\r\n";
  }
  return text;
}

}  // namespace kelvorin::bench
