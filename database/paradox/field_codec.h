#pragma once
// Values to the bytes of a record and back, for every field type but those whose value may lie in
// the blob file. Knows no files. Nothing is allocated per field once the scratch texts have grown.

#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "base/status.h"
#include "database/paradox/format.h"
#include "database/paradox/text_page.h"
#include "values/value.h"

namespace kelvorin::database::paradox {

class FieldCodec {
 public:
  /// `page` must outlive the codec.
  explicit FieldCodec(const TextPage& page) noexcept : page_(&page) {}

  /// Reads the value of a column; all zeros are Null. `out.text` points into `row` or `scratch`.
  /// False when the bytes make no sense: `WhatIsWrong` has the words.
  bool Decode(const Column& column, base::ByteSpan row, std::string& scratch,
              values::Value& out) const;
  std::string WhatIsWrong(const Column& column, base::ByteSpan row) const;

  /// Writes a value of the column's own kind (numbers of any kind into numbers). On failure
  /// (`kTooLong`, `kConversion`) the row is unchanged. `replaced` becomes the number of characters
  /// the table's page lacks.
  Status Encode(const Column& column, const values::Value& value, base::MutableByteSpan row,
                std::string& scratch, std::size_t& replaced) const;

 private:
  [[gnu::noinline]] Status EncodeText(const Column& column, std::string_view text,
                                      base::MutableByteSpan bytes, std::string& scratch,
                                      std::size_t& replaced) const;
  const TextPage* page_;
};

/// A whole number as the format stores it: big-endian, the sign bit flipped.
void StoreFlipped16(base::MutableByteSpan bytes, std::size_t at, std::int16_t value) noexcept;
void StoreFlipped32(base::MutableByteSpan bytes, std::size_t at, std::int32_t value) noexcept;

}  // namespace kelvorin::database::paradox
