#pragma once
// What the commands print: texts in UTF-8 whatever the ANSI page is, CSV, aligned columns.

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace kelvorin::app {

/// A text of the ANSI page as UTF-8. Bytes that are no UTF-8 under that page become U+FFFD.
std::string ToUtf8(std::string_view text);

/// CSV as RFC 4180 has it: CR LF behind every row, a value with a comma, a quote or a line end in
/// quotes, quotes doubled. Rows gather in a buffer that goes out in blocks.
class CsvWriter {
 public:
  explicit CsvWriter(std::FILE* out) : out_(out) {}
  ~CsvWriter() { Flush(); }
  CsvWriter(const CsvWriter&) = delete;
  CsvWriter& operator=(const CsvWriter&) = delete;

  /// `value` is UTF-8 already.
  void Add(std::string_view value);
  void EndRow();
  /// False once a write has failed.
  bool Flush();

 private:
  std::FILE* out_;
  std::string buffer_;
  bool first_ = true;
  bool ok_ = true;
};

/// Rows of equal length below a heading, columns padded to the widest cell.
class ColumnTable {
 public:
  explicit ColumnTable(std::vector<std::string> heading) { rows_.push_back(std::move(heading)); }
  void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  void Print(std::FILE* out) const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace kelvorin::app
