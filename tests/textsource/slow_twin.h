#pragma once
// The record reader and the three cutting rules byte by byte, as slow and plain as can be: what the
// fast ones are compared with, here and by the fuzzers.

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "textsource/record_reader.h"

namespace kelvorin::tests {

struct SlowReader {
  std::string_view file;
  std::size_t at = 0;
  bool at_end = false;
  std::size_t max_quoted_bytes = std::size_t{64} << 10;

  /// False where the real reader fails with an invalid argument.
  bool ReadRecord(const textsource::RecordFormat& format, std::string& record) {
    const bool ok = ReadTo(format, record);
    const bool dos_end = at_end && format.code >= 0 && format.code <= 3 && record.ends_with('\x1A');
    if (dos_end) record.pop_back();
    const auto length = static_cast<std::size_t>(format.length);
    if (length != 0 && record.size() > length) record.resize(length);
    return ok;
  }

 private:
  /// Position of the delimiter that closes what the one at `open` opens, or `npos`.
  std::size_t Closing(char quote, std::size_t open) const {
    for (std::size_t i = open + 1; i < file.size() && i - open <= max_quoted_bytes; ++i) {
      if (file[i] != quote) continue;
      if (i + 1 == file.size() || file[i + 1] != quote) return i;
      ++i;
    }
    return file.npos;
  }
  bool ReadTo(const textsource::RecordFormat& format, std::string& record) {
    const std::string& separator = format.other;
    const std::size_t from = at;
    std::size_t inside_to = 0;  // behind the closing delimiter of an open text
    record.clear();
    at_end = false;
    if (format.code == 3 && separator.empty()) return false;
    for (std::int32_t counter = 0;; ++counter) {
      if (at == file.size()) {
        at_end = true;
        break;
      }
      const bool starts = at == from || format.separators.find(file[at - 1]) != std::string::npos;
      if (format.quote != 0 && file[at] == format.quote && at >= inside_to && starts &&
          Closing(format.quote, at) != file.npos)
        inside_to = Closing(format.quote, at) + 1;
      const bool inside = at < inside_to;
      const char c = file[at++];
      if (format.any_line_end && !inside && (c == '\r' || c == '\n')) {
        if (c == '\r' && at < file.size() && file[at] == '\n') ++at;
        break;
      }
      const bool plain = !format.any_line_end && !inside;
      if (format.code == 0 && c == '\n' && !record.empty() && record.back() == '\r' && plain) {
        record.pop_back();
        break;
      }
      if (format.code == 1 && c == '\r' && plain) break;
      if (format.code == 2 && c == '\n' && plain) break;
      if (format.code == 3 && c == separator.back() && !format.any_line_end) {
        std::size_t k = 1;
        for (; k < separator.size(); ++k) {
          if (k > record.size()) return false;
          if (record[record.size() - k] != separator[separator.size() - 1 - k]) break;
        }
        if (k == separator.size() && plain) {
          record.resize(record.size() - (k - 1));
          break;
        }
      }
      if (format.code == 4 && counter == format.length) {
        at += static_cast<std::size_t>(format.gap - 1);
        break;
      }
      record += c;
    }
    return true;
  }
};

using Fields = std::vector<std::string>;

inline Fields SlowDelimited(std::string_view record, std::string_view separators, char delimiter) {
  Fields fields;
  std::string field;
  bool in_quotes = false;
  bool skip_next = false;
  for (std::size_t i = 0; i < record.size(); ++i) {
    const char c = record[i];
    const char n = i + 1 < record.size() ? record[i + 1] : '\0';
    if (skip_next) {
      skip_next = false;
    } else if (separators.find(c) == separators.npos || in_quotes) {
      if (delimiter != 0 && c == delimiter && !in_quotes) {
        in_quotes = true;
      } else if (delimiter != 0 && c == delimiter) {
        if (n == delimiter) {
          field += delimiter;
          skip_next = true;
        } else {
          in_quotes = false;
        }
      } else {
        field += c;
      }
    } else {
      fields.push_back(field);
      field.clear();
    }
  }
  fields.push_back(field);
  return fields;
}

inline Fields SlowFixed(std::string_view record, const std::vector<unsigned>& sorted_breaks) {
  Fields fields;
  std::size_t previous = 0;
  for (const unsigned end : sorted_breaks) {
    std::string field;
    for (std::size_t i = previous; i < end && i < record.size(); ++i) field += record[i];
    fields.push_back(field);
    previous = end;
  }
  return fields;
}

inline Fields SlowHtml(std::string_view record) {
  Fields fields;
  std::string field;
  bool in_tag = false;
  int counter = 0;
  for (std::size_t i = 0; i < record.size(); ++i) {
    const char c = record[i];
    const char n = i + 1 < record.size() ? record[i + 1] : '\0';
    if (c == '>' && in_tag) {
      field.clear();
      in_tag = false;
      counter = 0;
    } else if (c == '<' && !in_tag && n == '/' && counter >= 1) {
      fields.push_back(field);
      field.clear();
      in_tag = true;
      counter = 0;
    } else if (c == '<' && !in_tag) {
      in_tag = true;
    } else if (!in_tag) {
      field += c;
    }
    ++counter;
  }
  return fields;
}

/// A list as one line, its texts in brackets.
inline std::string Show(const Fields& list) {
  std::string shown;
  for (const std::string& text : list) shown += '[' + text + ']';
  return shown;
}

}  // namespace kelvorin::tests
