// Databases that other programs wrote read as other programs read them.

#include "base/code_page.h"
#include "tests/access/access_support.h"
#include "tests/support/places.h"
#include "tests/support/temp_folder.h"
#include "values/value_format.h"

#include <doctest/doctest.h>

#include <cstdio>
#include <filesystem>

namespace kelvorin::tests {
namespace {

using values::Kind;
using values::Value;

/// A value as the expected files write it: neutral but for these.
std::string Canonical(const Value& value, TypeCode type) {
  char text[64];
  std::string out;
  if (value.kind == Kind::kBoolean) return value.boolean ? "1" : "0";
  if (value.kind == Kind::kDateTime) {
    const auto date = values::FromDay(value.date_time.day);
    const int seconds = (value.date_time.milliseconds + 500) / 1000;
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", date.year, date.month,
                  date.day, seconds / 3600, seconds / 60 % 60, seconds % 60);
    return text;
  }
  if (value.kind == Kind::kDouble && type != TypeCode::kDecimal) {
    std::snprintf(text, sizeof text, type == TypeCode::kSingle ? "%.6g" : "%.14g", value.number);
    return text;
  }
  values::ValueFormat::Neutral().Append(value, out);
  if (value.kind == Kind::kBytes)
    for (char& c : out) c = static_cast<char>(c >= 'A' ? c + 'a' - 'A' : c);
  if (type != TypeCode::kDecimal || out.find('.') == std::string::npos) return out;
  out.erase(out.find_last_not_of('0') + 1);
  if (out.back() == '.') out.pop_back();
  return out;
}

std::string Quoted(std::string_view text) {
  std::string out = "\"";
  for (char c : text) out.append(c == '"' ? 2 : 1, c);
  return out + "\"";
}

std::string CsvOf(Recordset& set) {
  std::string out;
  for (std::size_t i = 0; i < set.FieldCount(); ++i)
    out += (i != 0 ? "," : "") + Quoted(set.Fields(i).Name());
  out += "\n";
  Value value;
  while (!set.Eof()) {
    for (std::size_t i = 0; i < set.FieldCount(); ++i) {
      if (i != 0) out += ",";
      const Status read = set.Fields(i).GetValue(value);
      CHECK_MESSAGE(read.ok(), read.message());
      if (!value.IsNull()) out += Quoted(Canonical(value, set.Fields(i).Type()));
    }
    out += "\n";
    REQUIRE(set.MoveNext().ok());
  }
  return out;
}

/// A table's file; the names of some have characters that file names should not have.
std::string CsvFile(const std::string& folder, std::string table) {
  for (char& c : table)
    if (std::string_view("/\\:*?\"<>| ").find(c) != std::string_view::npos) c = '_';
  return folder + "/" + table + ".csv";
}

}  // namespace

TEST_CASE("the tables of sample databases read as their expected rows" *
          doctest::skip(!HasSamples("access"))) {
  const std::string samples = SampleFolder("access");
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  int compared = 0;
  for (const auto& entry : std::filesystem::directory_iterator(samples)) {
    const std::string name = entry.path().filename().string();
    if (!entry.path().extension().string().ends_with("db")) continue;
    CAPTURE(name);
    AccessFile file(entry.path().string(), storage::RealFileSystem(), true,
                    name == "j4-password.mdb" ? ";pwd=password;" : ";pwd=;");
    const auto tables = file->TableDefs();
    REQUIRE_MESSAGE(tables.ok(), tables.status().message());
    for (const database::TableInfo& table : *tables) {
      CAPTURE(table.Name);
      const std::string csv =
          CsvFile(samples + "/expected/" + entry.path().stem().string(), table.Name);
      if (table.Attributes != 0 || !std::filesystem::exists(csv)) continue;
      CHECK(CsvOf(*file.Open(table.Name)) == ReadWhole(csv));
      ++compared;
    }
  }
  CHECK(compared > 40);
}

}  // namespace kelvorin::tests
