// Numbers as text and values as record bytes: tables of cases.

#include "base/code_page.h"
#include "database/xbase/decimal_text.h"
#include "database/xbase/field_codec.h"
#include "values/value_format.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using namespace database::xbase;
using database::TypeCode;
using values::Value;

/// A table of one field behind the deletion byte.
struct OneField {
  OneField(char letter, TypeCode type, std::uint16_t bytes, std::uint8_t decimals = 0,
           std::uint8_t mark = 0x03)
      : page(mark), codec(layout, page), row(bytes + 1u) {
    column.name = "F";
    column.letter = letter;
    column.type = type;
    column.bytes = bytes;
    column.decimals = decimals;
    column.offset = 1;
    layout.columns = {column};
    codec.Blank(row);
  }
  TableLayout layout;
  TextPage page;
  FieldCodec codec;
  Column column;
  std::vector<std::byte> row;
  std::string scratch;
};

std::string ReadBytes(OneField& field, std::string_view bytes) {
  const auto raw = base::AsBytes(bytes);
  std::copy(raw.begin(), raw.end(), field.row.begin() + 1);
  Value value;
  if (!field.codec.Decode(field.column, field.row, field.scratch, value))
    return field.codec.WhatIsWrong(field.column, field.row);
  if (value.IsNull()) return "<null>";
  std::string text;
  values::ValueFormat::Neutral().Append(value, text);
  if (value.kind == values::Kind::kDouble) CHECK(value.number == std::stod(text));
  return text;
}

std::string WriteText(OneField& field, std::string_view text) {
  Value value;
  std::string digits;
  Status status = values::ValueFormat::Neutral().Parse(text, field.column.type, value, digits);
  std::size_t replaced = 0;
  if (status.ok())
    status = field.codec.Encode(field.column, value, field.row, field.scratch, replaced);
  if (!status.ok()) return "<" + std::string(status.message()) + ">";
  return std::string(base::AsText(field.row).substr(1)) + (replaced != 0 ? " replaced" : "");
}

std::string Bytes(std::initializer_list<int> bytes) {
  std::string text;
  for (int byte : bytes) text += static_cast<char>(byte);
  return text;
}

struct Decoding {
  char letter;
  TypeCode type;
  std::string bytes;
  const char* text;
};
const Decoding kDecodings[] = {
    {'C', TypeCode::kText, " ab   ", " ab"},
    {'C', TypeCode::kText, "      ", ""},
    {'C', TypeCode::kText, Bytes({'a', 'b', ' ', 0, 0}), "ab"},
    {'C', TypeCode::kText, Bytes({0xE9, ' '}), "\u00E9"},
    {'L', TypeCode::kBoolean, "y", "True"},
    {'L', TypeCode::kBoolean, "?", "<null>"},
    {'L', TypeCode::kBoolean, "x", "holds 'x', which is neither true nor false"},
    {'D', TypeCode::kDate, "20000229", "2000-02-29"},
    {'D', TypeCode::kDate, "        ", "<null>"},
    {'D', TypeCode::kDate, "00000000", "<null>"},
    {'D', TypeCode::kDate, "20010229", "holds '20010229', which is no date"},
    {'D', TypeCode::kDate, "2001 2 9", "holds '2001 2 9', which is no date"},
    {'N', TypeCode::kDouble, "        12", "12"},
    {'N', TypeCode::kDouble, "-0.5      ", "-0.5"},
    {'N', TypeCode::kDouble, "        .5", "0.5"},
    {'N', TypeCode::kDouble, "       -.5", "-0.5"},
    {'N', TypeCode::kDouble, "       +07", "7"},
    {'N', TypeCode::kDouble, "     -0.00", "0"},
    {'N', TypeCode::kDouble, "      12,5", "12.5"},
    {'N', TypeCode::kDouble, "   1.5E+03", "1500"},
    {'N', TypeCode::kDouble, "  -1.25E-1", "-0.125"},
    {'N', TypeCode::kDouble, "1234567890123456789", "1234567890123456789"},
    {'N', TypeCode::kDouble, "0.12345678901234567", "0.12345678901234567"},
    {'N', TypeCode::kDouble, "          ", "<null>"},
    {'N', TypeCode::kDouble, "         .", "<null>"},
    {'N', TypeCode::kDouble, "**********", "<null>"},
    {'N', TypeCode::kDouble, "1..2", "holds '1..2', which is no number"},
    {'N', TypeCode::kDouble, "7 up", "holds '7 up', which is no number"},
    {'N', TypeCode::kDouble, "1 2", "holds '1 2', which is no number"},
    {'N', TypeCode::kDouble, "-", "holds '-', which is no number"},
    {'N', TypeCode::kDouble, "1e5x", "holds '1e5x', which is no number"},
    {'N', TypeCode::kDouble, "1e400", "holds '1e400', which is no number"},
    {'I', TypeCode::kLong, Bytes({0xFE, 0xFF, 0xFF, 0xFF}), "-2"},
    {'Y', TypeCode::kCurrency, Bytes({0x10, 0x27, 0, 0, 0, 0, 0, 0}), "1"},
    {'B', TypeCode::kDouble, Bytes({0, 0, 0, 0, 0, 0, 0xF8, 0x3F}), "1.5"},
    {'B', TypeCode::kDouble, Bytes({0, 0, 0, 0, 0, 0, 0xF0, 0x7F}),
     "holds the bytes 000000000000F07F, which are no number"},
    // JD 2451545 is 2000-01-01; 86 399 999 ms mean the next midnight.
    {'T', TypeCode::kDate, Bytes({0x59, 0x68, 0x25, 0, 0xFF, 0x5B, 0x26, 0x05}), "2000-01-02"},
    {'T', TypeCode::kDate, Bytes({0x59, 0x68, 0x25, 0, 0xE7, 0x03, 0, 0}), "2000-01-01 00:00:01"},
    {'T', TypeCode::kDate, std::string(8, '\0'), "<null>"},
    {'T', TypeCode::kDate, "        ", "<null>"},
    {'T', TypeCode::kDate, Bytes({1, 0, 0, 0, 0, 0, 0, 0}),
     "holds the bytes 0100000000000000, which are no date and time"},
};

constexpr const char* kNoRoom = "no room";
struct Encoding {
  char letter;
  TypeCode type;
  std::uint16_t width;
  std::uint8_t decimals;
  const char* text;
  std::string bytes;
};
const Encoding kEncodings[] = {
    {'C', TypeCode::kText, 4, 0, "ab", "ab  "},
    {'C', TypeCode::kText, 4, 0, "\u00E9\u00E9\u00E9\u00E9", Bytes({0xE9, 0xE9, 0xE9, 0xE9})},
    {'C', TypeCode::kText, 2, 0, "\u03A9", "O  replaced"},
    {'C', TypeCode::kText, 2, 0, "abc", "<field 'F' holds 2 bytes, the value has 3>"},
    {'N', TypeCode::kDouble, 6, 2, "12", " 12.00"},
    {'N', TypeCode::kDouble, 6, 2, "1.005", "  1.01"},
    {'N', TypeCode::kDouble, 6, 2, "-1.005", " -1.01"},
    {'N', TypeCode::kDouble, 6, 2, "1.00499999", "  1.00"},
    {'N', TypeCode::kDouble, 5, 2, "9.995", "10.00"},
    {'N', TypeCode::kDouble, 2, 0, "99.5", kNoRoom},
    {'N', TypeCode::kDouble, 2, 0, "0.5", " 1"},
    {'N', TypeCode::kDouble, 5, 2, "-0.001", " 0.00"},
    {'N', TypeCode::kDouble, 5, 2, "-0.005", "-0.01"},
    {'N', TypeCode::kDouble, 3, 2, "0.25", ".25"},
    {'N', TypeCode::kDouble, 4, 2, "-0.25", "-.25"},
    {'N', TypeCode::kDouble, 3, 2, "1.25", kNoRoom},
    {'N', TypeCode::kDouble, 4, 0, "12345", kNoRoom},
    {'N', TypeCode::kDouble, 6, 2, "-1234.5",
     "<field 'F' cannot hold -1234.5: it has room for 6 characters, 2 of them decimals>"},
    {'N', TypeCode::kDouble, 20, 0, "12345678901234567890", "12345678901234567890"},
    {'L', TypeCode::kBoolean, 1, 0, "no", "F"},
    {'D', TypeCode::kDate, 8, 0, "0100-01-01 10:00:00", "01000101"},
    {'D', TypeCode::kDate, 8, 0, "", "        "},
    {'I', TypeCode::kLong, 4, 0, "-2", Bytes({0xFE, 0xFF, 0xFF, 0xFF})},
    {'I', TypeCode::kLong, 4, 0, "", "<field 'F' takes no Null>"},
    {'Y', TypeCode::kCurrency, 8, 0, "1", Bytes({0x10, 0x27, 0, 0, 0, 0, 0, 0})},
    {'B', TypeCode::kDouble, 8, 0, "1.5", Bytes({0, 0, 0, 0, 0, 0, 0xF8, 0x3F})},
    {'T', TypeCode::kDate, 8, 0, "2000-01-01 00:00:01",
     Bytes({0x59, 0x68, 0x25, 0, 0xE8, 0x03, 0, 0})},
};

}  // namespace

TEST_CASE("bytes of a field become a value") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  for (const Decoding& row : kDecodings) {
    OneField field(row.letter, row.type, static_cast<std::uint16_t>(row.bytes.size()));
    CHECK(ReadBytes(field, row.bytes) == row.text);
  }
}

TEST_CASE("a value becomes bytes, or says why not") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  for (const Encoding& row : kEncodings) {
    OneField field(row.letter, row.type, row.width, row.decimals);
    const std::string before(base::AsText(field.row).substr(1));
    const std::string written = WriteText(field, row.text);
    if (row.bytes != kNoRoom) {
      CHECK(written == row.bytes);
    } else {
      CHECK(written.find("it has room for") != std::string::npos);
      CHECK(before == base::AsText(field.row).substr(1));  // nothing of it is stored
    }
  }
}

TEST_CASE("a code page that is not supported lets ASCII pass and nothing else") {
  OneField field('C', TypeCode::kText, 4, 0, 0x13);
  CHECK(ReadBytes(field, "abc ") == "abc");
  CHECK(ReadBytes(field, Bytes({0x82, 0xA0, ' ', ' '})) ==
        "holds text in code page 932, which is not supported");
  CHECK(WriteText(field, "xy") == "xy  ");
  CHECK(WriteText(field, "\u00E9").find("only ASCII can be stored") != std::string::npos);
}

}  // namespace kelvorin::tests
