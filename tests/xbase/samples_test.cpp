// Tables that other programs wrote, read and compared cell by cell with what independent readers
// found in them. The samples are no part of this repository; without them these cases are skipped.

#include "base/code_page.h"
#include "tests/support/temp_folder.h"
#include "tests/xbase/xbase_support.h"

#include <doctest/doctest.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace kelvorin::tests {
namespace {

struct Sample {
  const char* name;
  const char* why_read_only;  // part of it, empty for a table that can be written
};

const Sample kSamples[] = {
    {"ver02", "FoxBASE"},
    {"dbase_03", ""},
    {"ver43", ""},
    {"dbase_83", ""},
    {"db3", "db3code.ndx"},
    {"dbase_8b", ""},
    {"db4", "db4.mdx"},
    {"vercb", ""},
    {"mdxnum", "mdxnum.mdx"},
    {"fox25", "fox25.cdx"},
    {"dbase_30", "there is none"},
    {"calls", "calls.CDX"},
    {"dbase_31", "there is none"},
    {"dbase_32", ""},
    {"cp1251", "there is none"},
    {"vfp_currency", ""},
    {"stale_index", "stale_index.cdx"},
    {"vfp30", "vfp30.cdx"},
    {"vfpgen", "vfpgen.cdx"},
};

/// The value as the expected files write it; `expected` only settles how a number is compared.
std::string CellOf(Recordset& set, std::size_t field, const std::string& expected) {
  values::Value value;
  const Status read = set.Fields(field).GetValue(value);
  if (!read.ok()) return "<" + std::string(read.message()) + ">";
  double number = value.number;
  switch (value.kind) {
    case values::Kind::kNull:
      return {};
    case values::Kind::kText:
      return std::string(value.text);
    case values::Kind::kBoolean:
      return value.boolean ? "T" : "F";
    case values::Kind::kDateTime: {
      const auto day = values::FromDay(value.date_time.day);
      const int second = value.date_time.milliseconds / 1000;
      char text[40];
      std::snprintf(text, sizeof text, "%04d-%02d-%02d", day.year, day.month, day.day);
      if (expected.size() <= 10) return text;
      char time[40];
      std::snprintf(time, sizeof time, " %02d:%02d:%02d", second / 3600, second / 60 % 60,
                    second % 60);
      return std::string(text) + time;
    }
    case values::Kind::kInteger:
      number = static_cast<double>(value.integer);
      break;
    case values::Kind::kCurrency:
      number = static_cast<double>(value.integer) / 10000;
      break;
    default:
      break;
  }
  double wanted = 0;
  const char* end = expected.data() + expected.size();
  if (std::from_chars(expected.data(), end, wanted).ptr == end && wanted == number) return expected;
  return std::to_string(number);
}

struct Pages {
  Pages() {
    REQUIRE(base::SetAnsiPage(65001).ok());
    REQUIRE(base::SetOemPage(1252).ok());  // what the expected files assume for unmarked tables
  }
};

}  // namespace

TEST_CASE("sample tables read as independent readers saw them") {
  const std::string folder = SampleFolder("xbase");
  if (folder.empty()) return;
  const Pages pages;
  Folder samples(folder, "FoxPro 3.0");
  for (const Sample& sample : kSamples) {
    CAPTURE(std::string(sample.name));
    const std::vector<Row> expected = ReadCsv(folder + "/" + sample.name + ".expected.csv");
    auto set = samples.Open(sample.name);
    Row names;
    for (const FieldDef& field : set->Def().Fields) names.push_back(field.Name);
    CHECK(Show(names) == Show(expected[0]));
    CHECK(set->Updatable() == (*sample.why_read_only == '\0'));
    CHECK_MESSAGE(set->Def().WhyReadOnly.find(sample.why_read_only) != std::string::npos,
                  set->Def().WhyReadOnly);
    CHECK(set->RecordCount().value_or(-1) == static_cast<std::int64_t>(expected.size()) - 1);
    for (std::size_t row = 1; row < expected.size(); ++row) {
      CAPTURE(row);
      REQUIRE_FALSE(set->Eof());
      Row found;
      for (std::size_t i = 0; i < set->FieldCount(); ++i)
        found.push_back(CellOf(*set, i, expected[row][i]));
      CHECK(Show(found) == Show(expected[row]));
      CHECK(set->MoveNext().ok());
    }
    CHECK(set->Eof());
    CHECK(set->Close().ok());
    const auto problems = samples->Inspect(sample.name);
    REQUIRE(problems.ok());
    CHECK_MESSAGE(problems->empty(), Show(*problems));
  }
}

TEST_CASE("sample tables that cannot be read say why") {
  const std::string folder = SampleFolder("xbase");
  if (folder.empty()) return;
  Folder samples(folder);
  const auto dbase7 = samples->OpenRecordset("dbase_8c", RecordsetType::kTable);
  CHECK(dbase7.status().message().find("dBASE 7") != std::string_view::npos);
  auto nothing = samples.Open("nofields");
  CHECK(nothing->FieldCount() == 0);
  CHECK(nothing->RecordCount().value_or(-1) == 1);
}

namespace {

/// Text of a field; Null and empty text look the same, since not every table tells them apart.
std::string Plain(Recordset& set, std::size_t field) {
  std::string text;
  bool null = false;
  const Status read = set.Fields(field).GetText(text, null);
  return read.ok() ? text : std::string(read.message());
}

}  // namespace

TEST_CASE("sample tables can be copied record by record, and written to") {
  const std::string folder = SampleFolder("xbase");
  if (folder.empty()) return;
  const Pages pages;
  const TempFolder temp;
  Folder samples(folder, "FoxPro 3.0", storage::RealFileSystem(), true);
  for (const Sample& sample : kSamples) {
    CAPTURE(std::string(sample.name));
    auto from = samples.Open(sample.name);
    TableDef def = from->Def();
    def.Name = "COPY";
    Folder copies(temp.path(), "FoxPro 3.0");
    const Status made = copies->CreateTable(def);
    REQUIRE_MESSAGE(made.ok(), made.message());
    auto to = copies.Open("COPY");
    for (; !from->Eof(); (void)from->MoveNext()) {
      REQUIRE(to->AddNew().ok());
      for (std::size_t i = 0; i < from->FieldCount(); ++i) {
        values::Value value;
        REQUIRE(from->Fields(i).GetValue(value).ok());
        if (to->Fields(i).Def().AutoIncrement) continue;
        const Status set = to->Fields(i).SetValue(value);
        CHECK_MESSAGE(set.ok(), set.message());
      }
      REQUIRE(to->Update().ok());
    }
    // A western code page cannot hold Cyrillic, and says so.
    const bool foreign = std::string(sample.name) == "cp1251";
    CHECK((to->ReplacedCharacters() != 0) == foreign);
    REQUIRE(to->Close().ok());
    if (foreign) {
      CHECK(copies->DeleteTable("COPY").ok());
      continue;
    }
    to = copies.Open("COPY");
    REQUIRE(from->MoveFirst().ok());
    for (; !from->Eof(); (void)from->MoveNext(), (void)to->MoveNext())
      for (std::size_t i = 0; i < from->FieldCount(); ++i) CHECK(Plain(*from, i) == Plain(*to, i));
    CHECK(to->Eof());
    REQUIRE(to->Close().ok());
    CHECK(copies->Inspect("COPY")->empty());
    CHECK(copies->DeleteTable("COPY").ok());
  }

  // The same files, written to where they lie: nothing else in them changes.
  for (const Sample& sample : kSamples) {
    if (*sample.why_read_only != '\0') continue;
    CAPTURE(std::string(sample.name));
    for (const char* extension : {".dbf", ".dbt", ".fpt"}) {
      const std::string file = std::string(sample.name) + extension;
      if (std::filesystem::exists(folder + "/" + file))
        WriteWhole(temp.File(file), ReadWhole(folder + "/" + file));
    }
    Folder written(temp.path());
    std::vector<Row> expected = written.ReadAll(sample.name);
    auto set = written.Open(sample.name);
    expected.push_back(Row(set->FieldCount(), "<null>"));
    REQUIRE(set->AddNew().ok());
    for (std::size_t i = 0; i < set->FieldCount(); ++i) {
      const TypeCode type = set->Fields(i).Type();
      if (type == TypeCode::kText || type == TypeCode::kMemo) {
        expected.back()[i] = "n";
        REQUIRE(set->Fields(i).SetText("n").ok());
      } else if (type == TypeCode::kCurrency) {
        expected.back()[i] = "0";  // has no Null
      }
    }
    REQUIRE(set->Update().ok());
    for (std::size_t i = 0; i < set->FieldCount() && !set->Eof(); ++i) {
      if (set->Fields(i).Type() != TypeCode::kMemo) continue;
      expected[0][i] = std::string(1000, 'g');
      REQUIRE(written.Change(*set, i, expected[0][i]).ok());
    }
    REQUIRE(set->Close().ok());
    CHECK(Show(written.ReadAll(sample.name)) == Show(expected));
    CHECK(written->Inspect(sample.name)->empty());
  }
}

TEST_CASE("other programs read what is written here") {
  const std::string python = "/usr/bin/python3";
  if (std::system((python + " -c 'import dbf, dbfread' 2>/dev/null").c_str()) != 0) {
    MESSAGE("skipped: python3-dbf and python3-dbfread are not installed");
    return;
  }
  REQUIRE(base::SetAnsiPage(65001).ok());
  REQUIRE(base::SetOemPage(850).ok());
  for (const char* connect : {"dBASE III", "dBASE IV", "FoxPro 2.6", "FoxPro 3.0"}) {
    CAPTURE(std::string(connect));
    const TempFolder temp;
    Folder folder(temp.path(), connect);
    REQUIRE(folder
                ->CreateTable(MakeTable(
                    "T", {MakeField("NAME", TypeCode::kText, 20),
                          MakeField("AMT", TypeCode::kNumeric, 12, 2),
                          MakeField("NUM", TypeCode::kLong), MakeField("BORN", TypeCode::kDate),
                          MakeField("OK", TypeCode::kBoolean), MakeField("NOTE", TypeCode::kMemo)}))
                .ok());
    auto set = folder.Open("T");
    for (int i = 0; i < 60; ++i)
      REQUIRE(folder
                  .Append(*set, {"\u00E9 " + std::to_string(i), std::to_string(i * 7 - 90) + ".25",
                                 std::to_string(i * i), "20" + std::to_string(10 + i) + "-02-28",
                                 i % 2 == 0 ? "True" : "False",
                                 std::string(static_cast<std::size_t>(i * 30), 'n')})
                  .ok());
    REQUIRE(set->MoveFirst().ok());
    REQUIRE(set->Delete().ok());
    REQUIRE(set->MoveNext().ok());
    REQUIRE(folder.Change(*set, 5, "a longer note " + std::string(2000, 'e')).ok());
    REQUIRE(set->Close().ok());
    std::string expected;
    for (const Row& row : folder.ReadAll("T")) {
      for (const std::string& cell : row) expected += (cell == "<null>" ? "" : cell) + "\x1F";
      expected += '\n';
    }
    WriteWhole(temp.File("expected"), expected);
    const std::string script = std::string(KELVORIN_SOURCE_DIR) + "/tests/xbase/foreign_readers.py";
    CHECK(std::system((python + " " + script + " " + temp.path()).c_str()) == 0);
  }
}

}  // namespace kelvorin::tests
