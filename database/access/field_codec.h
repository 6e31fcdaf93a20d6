#pragma once
// Stored column values from and to the values of the database interface. One object per record set
// or writer; long values come and go as their whole contents.

#include <cstdint>
#include <string>

#include "base/status.h"
#include "database/access/row.h"
#include "database/access/text_codec.h"
#include "values/field_types.h"
#include "values/value.h"

namespace kelvorin::database::access {

/// The interface's type of a column.
values::TypeCode TypeCodeOf(const Column& column) noexcept;
/// The size a field shows: characters of texts, bytes of binaries, 0 for long values.
std::int32_t ShownSize(const Layout& layout, const Column& column) noexcept;

/// A stored value (not Null) as a value. What `out.text` points to lives in `scratch`. Fails with
/// kCorrupt or kConversion, naming the column.
Status ReadStored(const Column& column, base::ByteSpan stored, TextCodec& text, values::Value& out,
                  std::string& scratch);

/// A value in stored form; Null gives Null. `any_length` skips the check against the column's
/// length, for keys. Fails with kConversion, kTooLong or kOutOfRange, naming the column; `out` is
/// then unspecified. `replaced` counts characters that the file cannot hold.
Status WriteStored(const Layout& layout, const Column& column, const values::Value& value,
                   TextCodec& text, bool any_length, ColumnValue& out, std::size_t& replaced);

/// GUID in the order of its text form from and to the file's order, which swaps the first parts.
void SwapGuid(base::ByteSpan from, base::MutableByteSpan to) noexcept;

/// A date value as the file counts it, and back. False when it is outside the years 100 to 9999.
double ToStoredDate(values::DateTime date) noexcept;
bool FromStoredDate(double stored, values::DateTime& out) noexcept;

}  // namespace kelvorin::database::access
