#pragma once
// Records on their way to a server: their values in UTF-8 as the server reads them, and whole
// numbers as numbers, all in one text, so that taking a record costs no memory of its own. Filled
// by the posting scheme, sent by the strategies.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "database/odbc/sql_text.h"
#include "values/field_types.h"
#include "values/value.h"

namespace kelvorin::database::odbc {

/// Records first to end - 1 of a batch.
struct BatchRange {
  std::size_t first;
  std::size_t end;
  std::size_t size() const noexcept { return end - first; }
};

class RecordBatch {
 public:
  /// `types` of the fields that every record has.
  explicit RecordBatch(std::vector<values::TypeCode> types) : types_(std::move(types)) {}

  /// Fails with kConversion, adding nothing, when a value cannot be sent.
  Status Add(std::int64_t record_no, std::span<const values::Value> row);
  void Clear() noexcept;

  std::size_t size() const noexcept { return numbers_.size(); }
  std::size_t fields() const noexcept { return types_.size(); }
  /// Bytes of the values of these records; whole numbers count 8.
  std::size_t Bytes(BatchRange range) const noexcept {
    return Start(range.end) - Start(range.first);
  }
  /// Another number after each `Clear`, never 0.
  std::uint64_t generation() const noexcept { return generation_; }
  std::int64_t RecordNo(std::size_t i) const noexcept { return numbers_[i]; }
  CellKind Kind(std::size_t i, std::size_t field) const noexcept {
    return kinds_[i * fields() + field];
  }
  /// A value that is no whole number, without quotes; lives until the batch changes.
  std::string_view Text(std::size_t i, std::size_t field) const noexcept {
    const std::size_t at = i * fields() + field;
    const std::size_t from = at == 0 ? 0 : ends_[at - 1];
    return {text_.data() + from, ends_[at] - from};
  }
  /// A value of kind kWhole.
  std::int64_t Whole(std::size_t i, std::size_t field) const noexcept {
    std::int64_t number = 0;
    std::memcpy(&number, Text(i, field).data(), sizeof number);
    return number;
  }
  /// Appends a value as it stands in a statement.
  void AppendValue(std::size_t i, std::size_t field, const SqlDialect& dialect,
                   std::string& out) const;
  /// Appends a record as the list that stands behind VALUES, "(1,'a',NULL)".
  void AppendList(std::size_t i, const SqlDialect& dialect, std::string& out) const;

 private:
  std::size_t Start(std::size_t i) const noexcept { return i == 0 ? 0 : ends_[i * fields() - 1]; }
  void Put(const char* bytes, std::size_t size) {
    if (text_.size() - used_ < size) text_.resize(2 * text_.size() + size);
    if (size != 0) std::memcpy(text_.data() + used_, bytes, size);
    used_ += size;
  }

  std::vector<values::TypeCode> types_;
  std::vector<std::int64_t> numbers_;  // of the records
  std::vector<char> text_;             // of the values, and the bytes of whole numbers
  std::size_t used_ = 0;               // of text_
  std::string cell_;                   // a value on its way
  std::vector<std::size_t> ends_;      // of each value in text_; fields() a record
  std::vector<CellKind> kinds_;
  std::uint64_t generation_ = 1;
};

}  // namespace kelvorin::database::odbc
