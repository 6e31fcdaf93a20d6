#pragma once
// Values to the bytes of a record and back, for every field type but those in the memo file (of
// these only the block number stands in the record). Used by record sets and by the inspection;
// knows no files. Nothing is allocated per field once the scratch texts have grown.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/bytes.h"
#include "base/status.h"
#include "database/xbase/table_layout.h"
#include "database/xbase/text_page.h"
#include "values/value.h"

namespace kelvorin::database::xbase {

class FieldCodec {
 public:
  /// Both must outlive the codec.
  FieldCodec(const TableLayout& layout, const TextPage& page) noexcept
      : layout_(&layout), page_(&page) {}

  /// Reads the value of a column. `out.text` points into `row` or into `scratch`. False when the
  /// bytes make no sense; `out` is then Null, and `WhatIsWrong` has the words.
  bool Decode(const Column& column, base::ByteSpan row, std::string& scratch,
              values::Value& out) const;
  /// What `Decode` could not read: "holds '1..2', which is no number".
  std::string WhatIsWrong(const Column& column, base::ByteSpan row) const;
  /// Block number of a column in the memo file, 0 for Null. The answer is empty, or says what is
  /// wrong with the bytes.
  std::string DecodeBlock(const Column& column, base::ByteSpan row, std::uint32_t& block) const;

  /// Writes a value of the column's own kind: text, Boolean, date, number (any kind of number for
  /// N and F), bytes. On failure (`kTooLong`, `kConversion`, `kRequired`) the row is unchanged.
  /// `replaced` is set to the number of characters the table's code page lacks.
  Status Encode(const Column& column, const values::Value& value, base::MutableByteSpan row,
                std::string& scratch, std::size_t& replaced) const;
  /// `block` 0 stands for Null.
  void EncodeBlock(const Column& column, std::uint32_t block, base::MutableByteSpan row) const;

  /// Makes the row a live record in which every field is Null, as far as the format can say so.
  void Blank(base::MutableByteSpan row) const;

 private:
  bool DecodeText(const Column& column, base::ByteSpan bytes, std::string& scratch,
                  values::Value& out) const;
  bool Bit(base::ByteSpan row, int bit) const noexcept;
  void SetBit(base::MutableByteSpan row, int bit, bool on) const noexcept;
  // One call each from Encode: inlined, they would make it save what few fields need saved.
  [[gnu::noinline]] Status EncodeNull(const Column& column, base::MutableByteSpan row) const;
  [[gnu::noinline]] Status EncodeText(const Column& column, std::string_view text,
                                      base::MutableByteSpan row, std::string& scratch,
                                      std::size_t& replaced) const;
  [[gnu::noinline]] Status EncodeNumber(const Column& column, const values::Value& value,
                                        base::MutableByteSpan row) const;
  [[gnu::noinline]] Status EncodeDate(const Column& column, const values::Value& value,
                                      base::MutableByteSpan row) const;
  [[gnu::noinline]] Status EncodeBinary(const Column& column, const values::Value& value,
                                        base::MutableByteSpan row) const;

  const TableLayout* layout_;
  const TextPage* page_;
};

}  // namespace kelvorin::database::xbase
