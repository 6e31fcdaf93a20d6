#include "values/value_format.h"

#include <doctest/doctest.h>

#include <string>

#include "tests/values/show.h"
#include "values/field_types.h"

using namespace kelvorin;
using namespace kelvorin::values;
using tests::Show;
using enum TypeCode;

TEST_CASE("type codes, names and sizes") {
  struct Row {
    int code;
    const char* name;
    int size;
  };
  const Row kRows[] = {
      {16, "BigInt", 0},    {9, "Binary", 0},   {1, "Boolean", 2},   {2, "Byte", 1},
      {18, "Char", 1},      {5, "Currency", 4}, {20, "Decimal", 14}, {21, "Float", 4},
      {3, "Integer", 2},    {4, "Long", 4},     {19, "Numeric", 4},  {6, "Single", 0},
      {7, "Double", 8},     {8, "Date", 8},     {10, "Text", 0},     {11, "LongBinary", 0},
      {12, "Memo", 0},      {15, "GUID", 10},   {22, "Time", 8},     {23, "TimeStamp", 0},
      {17, "VarBinary", 0}, {13, "", 0},        {14, "", 0},         {0, "", 0},
      {24, "", 0},          {-1, "", 0},        {32767, "", 0},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.code);
    const auto code = static_cast<std::int16_t>(row.code);
    CHECK(FieldType(code) == row.name);
    CHECK(DefaultSize(code) == row.size);
    if (row.name[0] != '\0') CHECK(TypeFromName(row.name) == static_cast<TypeCode>(code));
  }
  CHECK(TypeFromName("longbinary") == kLongBinary);
  CHECK_FALSE(TypeFromName("").has_value());
  CHECK_FALSE(TypeFromName("Texts").has_value());
}

TEST_CASE("Boolean, GUID, bytes, text and Null") {
  struct Row {
    TypeCode type;
    const char* text;
    std::string expected;
  };
  constexpr const char* kNoGuid = "!is no GUID of the form {00000000-0000-0000-0000-000000000000}";
  const Row kRows[] = {
      {kBoolean, " OFF ", "False"},
      {kBoolean, "y", "True"},
      {kBoolean, ".F.", "False"},
      {kBoolean, "-1", "True"},
      {kBoolean, "0.00", "False"},
      {kBoolean, "1e-400", "True"},
      {kBoolean, "maybe", "!is neither True nor False"},
      {kGuid, "{00112233-4455-6677-8899-aabbccddeeff}", "{00112233-4455-6677-8899-AABBCCDDEEFF}"},
      {kGuid, "00112233-4455-6677-8899-AABBCCDDEEFF", "{00112233-4455-6677-8899-AABBCCDDEEFF}"},
      {kGuid, "00112233-4455-6677-8899-AABBCCDDEEF", kNoGuid},
      {kGuid, "{00112233-4455-6677-8899-AABBCCDDEEFF)", kNoGuid},
      {kGuid, "0011223344556677-8899-AABB-CCDDEEFFA", kNoGuid},
      {kBinary, "414243", "<ABC>"},
      {kBinary, "4", "!is no row of hexadecimal bytes"},
      {kBinary, "4G", "!is no row of hexadecimal bytes"},
      {kBinary, "4G", "!is no row of hexadecimal bytes"},
      {kText, " a ", "\" a \""},
      {kText, "", "\"\""},
      {static_cast<TypeCode>(13), "1", "!no field type has the code 13"}};
  const ValueFormat format;
  for (const Row& row : kRows) {
    CAPTURE(row.text);
    CHECK(Show(format, row.text, row.type) == row.expected);
  }
  // Long texts are cut in messages, between characters.
  std::string text(79, 'x');
  for (int i = 0; i < 40; ++i) text += "\xC3\xA4";
  CHECK(Show(format, text, kLong) == "!'" + std::string(79, 'x') + "...' is no number");
}
