// What happens to a value on its way from the source field into the target field.

#include <doctest/doctest.h>

#include "base/code_page.h"
#include "tests/engine/run_rig.h"

namespace kelvorin::tests {

using values::TypeCode;

TEST_CASE("Values are converted from OEM, change case and are cut, in this order") {
  REQUIRE((base::SetAnsiPage(65001).ok() && base::SetOemPage(850).ok()));
  struct Row {
    const char* name;
    bool oem, upper, lower;
    const char* value;
    const char* stored;
    std::int64_t truncated;
  };
  const Row kRows[] = {
      {"as it is", false, false, false, "aB", "aB", 0},
      {"upper", false, true, false, "aB\xC3\xA9", "AB\xC3\x89", 0},
      {"lower", false, false, true, "aB\xC3\x89", "ab\xC3\xA9", 0},
      {"both give lower", false, true, true, "aB", "ab", 0},
      {"OEM, then upper", true, true, false, "\x82t", "\xC3\x89T", 0},
      {"cut in characters", false, false, false, "ab\xC3\xA9\xC3\xA9", "ab\xC3\xA9", 1},
      {"as many as fit", false, false, false, "\xC3\xA9\xC3\xA9\xC3\xA9",
       "\xC3\xA9\xC3\xA9\xC3\xA9", 0},
      {"cut behind the conversion", true, false, false, "\x82\x82\x82\x82",
       "\xC3\xA9\xC3\xA9\xC3\xA9", 1},
  };
  for (const bool listening : {false, true}) {
    for (const Row& row : kRows) {
      CAPTURE(listening);
      CAPTURE(row.name);
      RunRig rig(TableOf("Goods", {Text("Word", 3)}));
      rig.FromText(std::string(row.value) + "\r\n");
      rig.Map({0});
      rig.setting.OemConvert = row.oem;
      rig.setting.Upper = row.upper;
      rig.setting.Lower = row.lower;
      std::string seen = row.stored;
      if (listening)
        rig.host.before_field = [&](auto, auto, auto, auto, std::string& value) { seen = value; };
      CHECK(rig.Run().truncated_values == row.truncated);
      CHECK(rig.Rows() == row.stored);
      CHECK(seen == row.stored);
    }
  }
  REQUIRE(base::SetAnsiPage(1252).ok());
  RunRig rig;
  rig.FromText("\xC4\xB3\r\n");  // two lines of a box, which the ANSI page lacks
  rig.Map({0});
  rig.setting.OemConvert = true;
  CHECK(rig.Run().replaced_characters == 2);
  REQUIRE(base::SetAnsiPage(65001).ok());
}

TEST_CASE("An empty value and values of every type reach their field") {
  struct Row {
    TypeCode type;
    bool zero_length;
    const char* value;
    const char* rows;
  };
  const Row kRows[] = {
      {TypeCode::kText, true, "", "1,"},
      {TypeCode::kText, false, "", "1"},
      {TypeCode::kLong, true, "", "1"},
      {TypeCode::kDate, true, "", "1"},
      {TypeCode::kDouble, true, "-1.25e2", "1,-125"},
      {TypeCode::kInteger, true, "32768", ""},
      {TypeCode::kDate, true, "13/1/2020", ""},
      {TypeCode::kLongBinary, true, "AB", "1"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.value);
    database::TableDef table =
        TableOf("Goods", {Typed("Id", TypeCode::kLong), Typed("Value", row.type)});
    table.Fields[1].AllowZeroLength = row.zero_length;
    RunRig rig(table);
    rig.FromText("1," + std::string(row.value) + "\r\n");
    rig.Map({0, 1});
    CHECK(rig.Run().rejected == (row.rows[0] == '\0' ? 1 : 0));
    CHECK(rig.Rows() == row.rows);
  }
}

TEST_CASE("Appending to fields takes what stands there, and nothing into new records") {
  struct Row {
    const char* name;
    bool append_records, append_fields;
    const char* before;
    const char* rows;
  };
  const Row kRows[] = {
      {"update with AppendFields", false, true, "old", "oldnew"},
      {"cut behind the appending", false, true, "oldold", "oldoldne"},
      {"Null is nothing to append to", false, true, "<null>", "new"},
      {"update without", false, false, "old", "new"},
      {"appended records leave the old alone", true, true, "old", "old | new"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig(TableOf("Goods", {Text("Word", 8)}));
    rig.Holds({{row.before}});
    rig.FromText("new\r\n");
    rig.Map({0});
    rig.setting.AppendRecords = row.append_records;
    rig.setting.AppendFields = row.append_fields;
    CHECK(rig.Counts() == "1 1 0 0");
    CHECK(rig.Rows() == row.rows);
  }
}

TEST_CASE("Hidden fields do not shift the others, and keys are looked up as they would be stored") {
  RunRig rig(TableOf("Goods", {Text("Name"), Text("Hidden"), Text("Notes")}, 1));
  rig.host.hidden = {"Hidden"};
  rig.Holds({{"AXE", "h", "1"}});
  rig.FromText("axe,b\r\n");
  rig.Map({0, 1});
  rig.setting.AppendRecords = false;
  rig.setting.UpdateIndex = rig.setting.KeyLookUp = rig.setting.Upper = true;
  rig.setting.IndexName = "ByKey";
  CHECK(rig.Counts() == "1 1 0 0");
  CHECK(rig.Rows() == "AXE,h,B");
}

}  // namespace kelvorin::tests
