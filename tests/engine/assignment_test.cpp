// What happens to a value on its way from the source field into the target field.

#include <doctest/doctest.h>

#include "base/code_page.h"
#include "tests/engine/run_rig.h"

namespace kelvorin::tests {

using values::TypeCode;

namespace {

class Pages {
 public:
  Pages(int ansi, int oem) : ansi_(base::AnsiPage().number()), oem_(base::OemPage().number()) {
    REQUIRE(base::SetAnsiPage(ansi).ok());
    REQUIRE(base::SetOemPage(oem).ok());
  }
  ~Pages() {
    CHECK(base::SetAnsiPage(ansi_).ok());
    CHECK(base::SetOemPage(oem_).ok());
  }

 private:
  int ansi_;
  int oem_;
};

}  // namespace

TEST_CASE("Values are converted from OEM, change case and are cut, in this order") {
  const Pages pages(65001, 850);
  struct Row {
    const char* name;
    bool oem, upper, lower;
    const char* value;
    const char* stored;
    std::int64_t truncated, replaced;
  };
  const Row kRows[] = {
      {"as it is", false, false, false, "aB", "aB", 0, 0},
      {"upper", false, true, false, "aB\xC3\xA9", "AB\xC3\x89", 0, 0},
      {"lower", false, false, true, "aB\xC3\x89", "ab\xC3\xA9", 0, 0},
      {"both give lower", false, true, true, "aB", "ab", 0, 0},
      {"OEM", true, false, false, "\x82t\x82", "\xC3\xA9t\xC3\xA9", 0, 0},
      {"OEM, then upper", true, true, false, "\x82", "\xC3\x89", 0, 0},
      {"cut in characters", false, false, false, "abcd\xC3\xA9\xC3\xA9\xC3\xA9", "abcd\xC3\xA9", 1,
       0},
      {"as many characters as fit", false, false, false, "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9",
       "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9", 0, 0},
      {"cut behind the conversion", true, false, false, "\x82\x82\x82\x82\x82\x82",
       "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9", 1, 0},
  };
  for (const bool listening : {false, true}) {
    for (const Row& row : kRows) {
      CAPTURE(listening);
      CAPTURE(row.name);
      RunRig rig(TableOf({Field("Word", TypeCode::kText, 5)}));
      rig.Text(std::string(row.value) + "\r\n");
      rig.Map({0});
      rig.setting.OemConvert = row.oem;
      rig.setting.Upper = row.upper;
      rig.setting.Lower = row.lower;
      std::string seen;
      if (listening)
        rig.host.before_field = [&](auto, auto, auto, auto, std::string& value) { seen = value; };
      const engine::RunResult result = rig.Run();
      CHECK(rig.memory.Rows("shop", "Goods")[0][0] == row.stored);
      CHECK(result.truncated_values == row.truncated);
      CHECK(result.replaced_characters == row.replaced);
      if (listening) CHECK(seen == row.stored);
    }
  }
  const Pages western(1252, 850);
  RunRig rig(TableOf({Field("Word", TypeCode::kText, 5)}));
  rig.Text("\xC4\xB3\r\n");  // two lines of a box, which the ANSI page lacks
  rig.Map({0});
  rig.setting.OemConvert = true;
  CHECK(rig.Run().replaced_characters == 2);
}

TEST_CASE("An empty value and values of every type reach their field") {
  struct Row {
    const char* name;
    TypeCode type;
    bool zero_length;
    const char* value;
    const char* stored;  // null: a record error
  };
  const Row kRows[] = {
      {"empty text", TypeCode::kText, true, "", ""},
      {"empty text that the field refuses", TypeCode::kText, false, "", "<null>"},
      {"empty number", TypeCode::kLong, true, "", "<null>"},
      {"empty date", TypeCode::kDate, true, "", "<null>"},
      {"number", TypeCode::kDouble, true, "-1.25e2", "-125"},
      {"overflow", TypeCode::kInteger, true, "32768", nullptr},
      {"date in no order", TypeCode::kDate, true, "13/1/2020", nullptr},
      {"binary fields stay unassigned", TypeCode::kLongBinary, true, "AB", "<null>"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    database::TableDef table =
        TableOf({Field("Id", TypeCode::kLong),
                 Field("Value", row.type, row.type == TypeCode::kText ? 9 : 0)});
    table.Fields[1].AllowZeroLength = row.zero_length;
    RunRig rig(table);
    rig.Text("1," + std::string(row.value) + "\r\n");
    rig.Map({0, 1});
    const engine::RunResult result = rig.Run();
    if (row.stored == nullptr) {
      CHECK(RunRig::Show(result) == "1 0 1 0");
    } else {
      CHECK(rig.Rows() == Show({{"1", row.stored}}));
    }
  }
}

TEST_CASE("Appending to fields takes what stands there, and nothing into new records") {
  struct Row {
    const char* name;
    bool append_records, append_fields;
    const char* before;
    const char* stored;  // of the first record
  };
  const Row kRows[] = {
      {"update with AppendFields", false, true, "old", "oldnew"},
      {"cut behind the appending", false, true, "oldold", "oldoldne"},
      {"Null is nothing to append to", false, true, "<null>", "new"},
      {"update without", false, false, "old", "new"},
      {"appended records leave the old alone", true, true, "old", "old"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig(TableOf({Field("Word", TypeCode::kText, 8)}));
    rig.AddGoods({row.before});
    rig.OpenTarget();
    rig.Text("new\r\n");
    rig.Map({0});
    rig.setting.AppendRecords = row.append_records;
    rig.setting.AppendFields = row.append_fields;
    CHECK(RunRig::Show(rig.Run()) == "1 1 0 0");
    const auto rows = rig.memory.Rows("shop", "Goods");
    CHECK(rows[0][0] == row.stored);
    if (row.append_records) CHECK(rows[1][0] == "new");
  }
}

TEST_CASE("Fields that the host hides do not shift the others") {
  RunRig rig;
  rig.host.hidden["Amount"] = true;
  rig.OpenTarget();
  REQUIRE(rig.target.fields.size() == 4);
  rig.Text("axe,2024-05-01\r\n");
  rig.Map({0, 1});
  CHECK(RunRig::Show(rig.Run()) == "1 1 0 0");
  CHECK(rig.Rows() == Show({{"axe", "<null>", "2024-05-01", "<null>", "<null>"}}));
}

TEST_CASE("Keys are looked up as they would be stored") {
  RunRig rig;
  rig.AddGoods({"AXE", "1", "<null>", "<null>", "<null>"});
  rig.OpenTarget();
  rig.Text("axe,2\r\n");
  rig.Map({0, 1});
  rig.setting.AppendRecords = false;
  rig.setting.UpdateIndex = rig.setting.KeyLookUp = true;
  rig.setting.IndexName = "byname";
  rig.setting.Upper = true;
  CHECK(RunRig::Show(rig.Run()) == "1 1 0 0");
  CHECK(rig.Rows() == Show({{"AXE", "2", "<null>", "<null>", "<null>"}}));
}

}  // namespace kelvorin::tests
