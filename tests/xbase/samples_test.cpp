// Tables that other programs wrote, read and compared cell by cell with what independent readers
// found in them. The samples are no part of this repository; without them these cases are skipped.

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "engine/csv_line.h"
#include "tests/support/places.h"
#include "tests/support/temp_folder.h"
#include "tests/xbase/xbase_support.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace kelvorin::tests {
namespace {

struct Sample {
  const char* name;
  const char* why_read_only;  // part of it, empty for a table that can be written
  bool indexed = false;       // written to with its indexes, in index_test.cpp
};

const Sample kSamples[] = {
    {"ver02", "FoxBASE"},
    {"dbase_03", ""},
    {"ver43", ""},
    {"dbase_83", ""},
    {"db3", "", true},
    {"dbase_8b", ""},
    {"db4", "", true},
    {"vercb", ""},
    {"mdxnum", "", true},
    {"fox25", "", true},
    {"dbase_30", "there is none"},
    {"calls", "", true},
    {"dbase_31", "there is none"},
    {"dbase_32", ""},
    {"cp1251", "there is none"},
    {"vfp_currency", ""},
    {"stale_index", "", true},
    {"vfp30", "", true},
    {"vfpgen", "", true},
};

/// The value as the expected files write it.
std::string CellOf(Recordset& set, std::size_t field) {
  values::Value value;
  const Status read = set.Fields(field).GetValue(value);
  if (!read.ok()) return "<" + std::string(read.message()) + ">";
  if (value.kind == values::Kind::kBoolean) return value.boolean ? "T" : "F";
  value.text = value.kind == values::Kind::kDouble ? std::string_view() : value.text;
  std::string text;
  if (value.kind == values::Kind::kDateTime && value.date_time.day == 0) text = "1899-12-30 ";
  values::ValueFormat::Neutral().Append(value, text);
  return text;
}

void AddCell(std::string_view text, std::string& line) {
  engine::AppendCsvValue(base::Replace(text, "\r\n", "\n"), line);
  line += ',';
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
    const std::string expected = base::Replace(
        base::Replace(ReadWhole(folder + "/" + sample.name + ".expected.csv"), "\r\n", "\n"),
        " 00:00:00", "");
    auto set = samples.Open(sample.name);
    std::string found;
    for (const FieldDef& field : set->Def().Fields) AddCell(field.Name, found);
    found.back() = '\n';
    CHECK(set->Updatable() == (*sample.why_read_only == '\0'));
    CHECK_MESSAGE(set->Def().WhyReadOnly.find(sample.why_read_only) != std::string::npos,
                  set->Def().WhyReadOnly);
    std::int64_t records = 0;
    for (; !set->Eof() && expected.starts_with(found); ++records) {
      for (std::size_t i = 0; i < set->FieldCount(); ++i) AddCell(CellOf(*set, i), found);
      found.back() = '\n';
      CHECK(set->MoveNext().ok());
    }
    CHECK(found == expected);
    CHECK(set->RecordCount().value_or(-1) == records);
    CHECK(set->Eof());
    CHECK(set->Close().ok());
    const auto problems = samples->Inspect(sample.name);
    REQUIRE(problems.ok());
    const bool stale = sample.name == std::string_view("stale_index");  // and stays it when read
    CHECK_MESSAGE(problems->size() == (stale ? 8 : 0), Show(*problems));
  }
  const auto dbase7 = samples->OpenRecordset("dbase_8c", RecordsetType::kTable);
  CHECK(dbase7.status().message().find("dBASE 7") != std::string_view::npos);
  auto nothing = samples.Open("nofields");
  CHECK(nothing->FieldCount() == 0);
  CHECK(nothing->RecordCount().value_or(-1) == 1);
}

namespace {

/// All of a table; Null and empty text look the same, since not every table tells them apart.
std::string Plain(Folder& folder, std::string_view table) {
  std::vector<Row> rows = folder.ReadAll(table);
  for (Row& row : rows) std::replace(row.begin(), row.end(), std::string("<null>"), std::string());
  return Show(rows);
}

}  // namespace

// Nothing else in the files changes.
TEST_CASE("sample tables are written to where they lie") {
  const std::string folder = SampleFolder("xbase");
  if (folder.empty()) return;
  const Pages pages;
  const TempFolder temp;
  Folder copies(temp.path(), "FoxPro 3.0");
  for (const Sample& sample : kSamples) {
    if (*sample.why_read_only != '\0' || sample.indexed) continue;
    CAPTURE(std::string(sample.name));
    for (const char* extension : {".dbf", ".dbt"}) {
      const std::string file = std::string(sample.name) + extension;
      if (std::filesystem::exists(folder + "/" + file))
        WriteWhole(temp.File(file), ReadWhole(folder + "/" + file));
    }
    std::vector<Row> expected = copies.ReadAll(sample.name);
    auto set = copies.Open(sample.name);
    Row added(set->FieldCount(), "<null>");
    for (std::size_t i = 0; i < added.size(); ++i) {
      const TypeCode type = set->Fields(i).Type();
      if (type == TypeCode::kCurrency) added[i] = "0";  // it has no Null
      if (values::IsText(type)) added[i] = "n";
      if (type != TypeCode::kMemo) continue;
      expected[0][i] = std::string(1000, 'g');
      REQUIRE(Change(*set, i, expected[0][i]).ok());
    }
    expected.push_back(added);
    REQUIRE(Append(*set, added).ok());
    REQUIRE(set->Close().ok());
    CHECK(Show(copies.ReadAll(sample.name)) == Show(expected));
    CHECK(copies->Inspect(sample.name)->empty());
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
  const TableDef def = MakeTable(
      "T", {MakeField("NAME", TypeCode::kText, 20), MakeField("AMT", TypeCode::kNumeric, 12, 2),
            MakeField("NUM", TypeCode::kLong), MakeField("BORN", TypeCode::kDate),
            MakeField("OK", TypeCode::kBoolean), MakeField("NOTE", TypeCode::kMemo)});
  for (const char* connect : {"dBASE III", "dBASE IV", "FoxPro 2.6", "FoxPro 3.0"}) {
    CAPTURE(std::string(connect));
    const TempFolder temp;
    Folder folder(temp.path(), connect);
    folder.Make(def);
    std::vector<Row> rows;
    for (int i = 0; i < 60; ++i) {
      const std::string n = std::to_string(i + 10);
      const std::string note(static_cast<std::size_t>(i * 30), 'n');
      rows.push_back({"\u00E9 " + n, n + ".25", "-" + n, "20" + n + "-02-28", "True", note});
    }
    folder.Fill("T", rows);
    auto set = folder.Open("T");
    REQUIRE(set->MoveFirst().ok());
    REQUIRE(set->Delete().ok());
    REQUIRE(set->MoveNext().ok());
    REQUIRE(Change(*set, 5, "a longer note " + std::string(2000, 'e')).ok());
    REQUIRE(set->Close().ok());
    WriteWhole(temp.File("expected"), Plain(folder, "T"));
    const std::string script = SourceFolder() + "/tests/xbase/foreign_readers.py";
    CHECK(std::system((python + " " + script + " " + temp.path()).c_str()) == 0);
  }
}

}  // namespace kelvorin::tests
