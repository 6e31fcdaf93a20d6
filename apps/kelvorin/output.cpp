#include "apps/kelvorin/output.h"

#include "base/code_page.h"

#include <algorithm>

namespace kelvorin::app {
namespace {

constexpr std::size_t kBlockBytes = 64 * 1024;

std::size_t CharactersOfUtf8(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

}  // namespace

std::string ToUtf8(std::string_view text) {
  std::string out;
  if (base::AsciiPrefix(text) == text.size()) return out.assign(text);
  const base::CodePage& page = base::AnsiPage();
  for (std::size_t at = 0; at < text.size();) {
    const char32_t character = page.is_utf8()
                                   ? base::DecodeUtf8(text, at)
                                   : page.ToUnicode(static_cast<unsigned char>(text[at++]));
    base::AppendUtf8(character, out);
  }
  return out;
}

void CsvWriter::Add(std::string_view value) {
  if (!first_) buffer_ += ',';
  first_ = false;
  if (value.find_first_of(",\"\r\n") == std::string_view::npos) {
    buffer_ += value;
    return;
  }
  buffer_ += '"';
  for (char c : value) {
    if (c == '"') buffer_ += '"';
    buffer_ += c;
  }
  buffer_ += '"';
}

void CsvWriter::EndRow() {
  buffer_ += "\r\n";
  first_ = true;
  if (buffer_.size() >= kBlockBytes) Flush();
}

bool CsvWriter::Flush() {
  if (std::fwrite(buffer_.data(), 1, buffer_.size(), out_) != buffer_.size()) ok_ = false;
  buffer_.clear();
  return ok_ && std::fflush(out_) == 0;
}

void ColumnTable::Print(std::FILE* out) const {
  std::vector<std::size_t> widths(rows_.front().size());
  for (const auto& row : rows_)
    for (std::size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], CharactersOfUtf8(row[i]));
  for (const auto& row : rows_) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line.append(widths[i] - CharactersOfUtf8(row[i]) + 2, ' ');
    }
    std::fprintf(out, "%s\n", line.c_str());
  }
}

}  // namespace kelvorin::app
