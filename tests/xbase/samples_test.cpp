// Tables that other programs wrote, read and compared cell by cell with what independent readers
// found in them. The samples are no part of this repository; without them these cases are skipped.

#include "base/code_page.h"
#include "tests/support/temp_folder.h"
#include "tests/xbase/xbase_support.h"

#include <doctest/doctest.h>

#include <charconv>
#include <cstdio>

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

}  // namespace kelvorin::tests
