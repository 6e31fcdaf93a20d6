// Tables that other programs wrote, read and compared cell by cell with what independent readers
// found in them. The samples are no part of this repository; without them these cases are skipped.

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "tests/paradox/paradox_support.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>

#include <array>
#include <cstdio>
#include <filesystem>

namespace kelvorin::tests {
namespace {

using values::Kind;
using values::Value;

struct Sample {
  const char* folder;
  const char* name;
  const char* password = "";
  const char* why_read_only = "";  // part of it, empty for a table that can be written
  const char* indexes = "";
};

const Sample kSamples[] = {
    {"fields", "bcd"},
    {"fields", "bytes"},
    {"fields", "date35"},
    {"fields", "date4"},
    {"fields", "date5"},
    {"fields", "date7"},
    {"fields", "fmemo", "", "", "PrimaryKey:+Id "},
    {"fields", "graphic240", "", "", "PrimaryKey:+Id "},
    {"fields", "logical"},
    {"fields", "long", "", "", "PrimaryKey:+Id "},
    {"fields", "memo", "", "", "PrimaryKey:+Id "},
    {"fields", "time"},
    {"fields", "timestamp"},
    {"encrypted", "encrypted", "123"},
    {"encrypted", "encrypted35", "123"},
    {"indexed", "A", "", "", "PrimaryKey:+A "},
    {"indexed", "C", "", "", "PrimaryKey:+C A:+A B:+B "},
    {"indexed", "case"},
    {"indexed", "fk4", "", "", "PrimaryKey:+ID reference:+FK1;+FK "},
    {"indexed", "indexed"},
    {"indexed", "multiple", "", "", "PrimaryKey:+ID FK:+FK FK2:+FK2 "},
    {"ecology", "CHEMFORM"},
    {"ecology", "LOAD3", "", "", "PrimaryKey:+Date "},
    {"ecology", "LoadHourI", "", "", "PrimaryKey:+Date & Time "},
    {"ecology", "REMNFORM", "", "", "PrimaryKey:+Name "},
    {"ecology", "SITEFORM", "", "", "PrimaryKey:+Site Name "},
    {"synthetic", "V35KEY", "", "", "PrimaryKey:+Code;+No "},
    {"synthetic", "V3KEY", "", "", "PrimaryKey:+Code;+No "},
    {"synthetic", "V4ENC", "geheim", "", "PrimaryKey:+Code "},
    {"synthetic", "V4KEY3", "", "", "PrimaryKey:+Code "},
    {"synthetic", "V4MEMO"},
    {"synthetic", "V4SHORT", "", "", "PrimaryKey:+Code;+No "},
    {"synthetic", "V5IDX", "", "",
     "PrimaryKey:+Id Town:+Town SumDay:+Sum;+Day TownDay:+Town;+Day "},
    {"synthetic", "V5KEY", "", "", "PrimaryKey:+Id "},
    {"synthetic", "V5NEG", "", "", "PrimaryKey:+N;+D "},
    {"synthetic", "V5NONE", "", "", "PrimaryKey:+Id "},
    {"synthetic", "V7IDX", "", "", "PrimaryKey:+Id SumDown:-Sum TownCI:+Town "},
};

std::string ConnectOf(const Sample& sample) {
  return "Paradox 5.x;pwd=" + std::string(sample.password) + ";";
}

struct Cell {
  std::string text;
  bool quoted = false;
};

/// The next line of the expected text, cut into cells.
std::vector<Cell> NextCells(std::string_view& csv) {
  std::vector<Cell> cells(1);
  for (bool inside = false; !csv.empty();) {
    const char c = csv.front();
    csv.remove_prefix(1);
    if (inside && c == '"' && csv.starts_with('"')) {
      cells.back().text += c;
      csv.remove_prefix(1);
    } else if (c == '"') {
      inside = !inside;
      cells.back().quoted = true;
    } else if (!inside && c == '\n') {
      break;
    } else if (!inside && c == ',') {
      cells.emplace_back();
    } else {
      cells.back().text += c;
    }
  }
  return cells;
}

template <typename... Args>
std::string Print(const char* format, Args... args) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), format, args...);
  return text.data();
}

std::string Sha256(std::string_view bytes) {
  const TempFolder temp;
  WriteWhole(temp.File("blob"), bytes);
  REQUIRE(std::system(("sha256sum " + temp.File("blob") + " > " + temp.File("sum")).c_str()) == 0);
  return ReadWhole(temp.File("sum")).substr(0, 64);
}

std::string BytesText(std::string_view bytes) {
  if (bytes.size() > 64) return "sha256:" + Sha256(bytes) + ":" + std::to_string(bytes.size());
  std::string text = "0x";
  for (const char c : bytes) text += Print("%02x", static_cast<unsigned char>(c));
  return text;
}

/// The value as the expected files write it; of a date they tell by its length which parts count.
std::string CellOf(const Value& value, const FieldDef& def, const std::string& expected) {
  const auto& when = value.date_time;
  const int second = when.milliseconds / 1000;
  const std::string time = Print("%02d:%02d:%02d.%03d", second / 3600, second / 60 % 60,
                                 second % 60, when.milliseconds % 1000);
  switch (value.kind) {
    case Kind::kNull:
      return "";
    case Kind::kBoolean:
      return value.boolean ? "true" : "false";
    case Kind::kInteger:
      return std::to_string(value.integer);
    case Kind::kDouble: {
      if (value.text.empty()) return Print("%.17g", value.number);
      std::string digits(value.text);
      const auto decimals = static_cast<std::size_t>(def.Decimals);
      if (decimals == 0) return digits;
      if (digits.find('.') == std::string::npos) digits += '.';
      digits.resize(digits.find('.') + 1 + decimals, '0');
      return digits;
    }
    case Kind::kDateTime: {
      const auto date = values::FromDay(when.day);
      const std::string day = Print("%04d-%02d-%02d", date.year, date.month, date.day);
      if (expected.size() == 10 && when.milliseconds == 0) return day;
      return expected.size() == 12 && when.day == 0 ? time : day + "T" + time;
    }
    case Kind::kBytes:
      return BytesText(value.text);
    default:
      return std::string(value.text);
  }
}

/// Compares a whole table with its expected text; the answer is empty or the first difference.
std::string Difference(Recordset& set, std::string_view csv) {
  const std::vector<Cell> names = NextCells(csv);
  if (names.size() != set.FieldCount()) return "another number of fields";
  for (std::size_t i = 0; i < names.size(); ++i)
    if (set.Fields(i).Name() != names[i].text) return "field " + set.Fields(i).Name();
  for (std::int64_t record = 1; !csv.empty(); ++record) {
    const std::vector<Cell> cells = NextCells(csv);
    const std::string where = "record " + std::to_string(record) + ": ";
    if (set.Eof()) return where + "is missing";
    for (std::size_t i = 0; i < names.size(); ++i) {
      Value value;
      const Status read = set.Fields(i).GetValue(value);
      if (!read.ok()) return where + std::string(read.message());
      const std::string found = CellOf(value, set.Fields(i).Def(), cells[i].text);
      if (found != cells[i].text || value.IsNull() != (cells[i].text.empty() && !cells[i].quoted))
        return where + names[i].text + " is '" + found + "', not '" + cells[i].text + "'";
    }
    if (const Status moved = set.MoveNext(); !moved.ok())
      return where + std::string(moved.message());
  }
  return set.Eof() ? "" : "there are further records";
}

std::string IndexesOf(const TableDef& def) {
  std::string all;
  for (const database::IndexDef& index : def.Indexes)
    all += index.Name + ":" + index.Fields() + (index.Unique && !index.Primary ? "! " : " ");
  return all;
}

std::string ReadOnlyFolder(const Sample& sample) {
  const std::string folder = SampleFolder("paradox");
  return folder.empty() ? folder : folder + "/" + sample.folder;
}

struct Pages {
  Pages() {
    REQUIRE(base::SetAnsiPage(65001).ok());
    REQUIRE(base::SetOemPage(437).ok());
  }
};

}  // namespace

TEST_CASE("sample tables read as independent readers saw them") {
  const Pages pages;
  for (const Sample& sample : kSamples) {
    const std::string folder = ReadOnlyFolder(sample);
    if (folder.empty()) return;
    CAPTURE(std::string(sample.name));
    Folder samples(folder, ConnectOf(sample));
    auto set = samples.Open(sample.name, RecordsetType::kSnapshot);
    const std::string csv = ReadWhole(folder + "/" + sample.name + ".csv");
    CHECK(Difference(*set, csv) == "");
    CHECK(IndexesOf(set->Def()) == sample.indexes);
    CHECK(set->Close().ok());
    const auto problems = samples->Inspect(sample.name);
    REQUIRE(problems.ok());
    const std::string first = problems->empty() ? "" : problems->front();
    CHECK(first == "");
  }
}

namespace {

/// What a writing session may change of a header.
bool MayChange(std::size_t at) {
  return (at >= 0x06 && at < 0x12) || (at >= 0x1E && at < 0x21) || at == 0x2C || at == 0x2D ||
         at == 0x3A || at == 0x3B || (at >= 0x49 && at < 0x4F);
}

std::string HeaderOf(const std::string& path) {
  const std::string file = ReadWhole(path);
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(file[at]); };
  return file.substr(0, byte(2) | static_cast<std::size_t>(byte(3)) << 8);
}

std::string NewKey(TypeCode type) {
  return type == TypeCode::kDate ? "2077-07-07" : type == TypeCode::kText ? "ZZZZ" : "31999";
}

/// Fields that can be assigned get a value; the rest stay as they are.
Status Fill(Recordset& set) {
  for (std::size_t i = 0; i < set.FieldCount(); ++i) {
    const FieldDef& def = set.Fields(i).Def();
    if (def.AutoIncrement || values::IsBinary(def.Type)) continue;
    std::string text = NewKey(def.Type).substr(
        0, def.Type == TypeCode::kText ? static_cast<std::size_t>(def.Size) : std::string::npos);
    if (def.Type == TypeCode::kBoolean) text = "True";
    if (def.Decimals == 32) text = "0.5";
    Status status = set.Fields(i).SetText(text);
    // A field of times takes no date.
    if (!status.ok() && def.Type == TypeCode::kDate) status = set.Fields(i).SetText("12:34:56");
    if (!status.ok()) return status;
  }
  return Status();
}

}  // namespace

TEST_CASE("sample tables are read without a trace and written to where they lie") {
  const Pages pages;
  for (const Sample& sample : kSamples) {
    const std::string folder = ReadOnlyFolder(sample);
    if (folder.empty()) return;
    CAPTURE(std::string(sample.name));
    const TempFolder temp;
    CopyTable(folder, sample.name, temp.path());
    std::vector<std::pair<std::string, std::string>> before;
    for (const auto& entry : std::filesystem::directory_iterator(temp.path()))
      before.emplace_back(entry.path().string(), ReadWhole(entry.path().string()));
    {
      Folder copies(temp.path(), ConnectOf(sample));
      auto set = copies.Open(sample.name);
      if (!set->Updatable()) {
        MESSAGE(std::string(sample.name), " is not written: ", set->Def().WhyReadOnly);
        continue;
      }
      while (!set->Eof()) REQUIRE(set->MoveNext().ok());
    }
    for (const auto& [path, bytes] : before) CHECK(ReadWhole(path) == bytes);
    std::int64_t records = 0;
    {
      Folder copies(temp.path(), ConnectOf(sample));
      auto set = copies.Open(sample.name);
      records = set->RecordCount().value_or(-1);
      REQUIRE(set->AddNew().ok());
      const Status filled = Fill(*set);
      CHECK_MESSAGE(filled.ok(), filled.message());
      const Status added = set->Update();
      CHECK_MESSAGE(added.ok(), added.message());
      REQUIRE(set->MoveFirst().ok());
      REQUIRE(set->Delete().ok());
      CHECK(set->Close().ok());
    }
    for (const auto& [path, bytes] : before) {
      const std::string extension = base::UpperAscii(path.substr(path.find_last_of('.') + 1));
      if (extension == "MB" || extension == "VAL") continue;
      const std::string old = bytes.substr(0, HeaderOf(path).size()), now = HeaderOf(path);
      for (std::size_t at = 0; at < old.size(); ++at)
        if (old[at] != now[at]) CHECK_MESSAGE(MayChange(at), path, " at ", at);
    }
    Folder copies(temp.path(), ConnectOf(sample), storage::RealFileSystem(), true);
    CHECK(copies.Open(sample.name)->RecordCount().value_or(-1) == records);
    CheckSound(*copies);
    const std::string password = sample.password;
    for (const auto& [path, bytes] : before)
      if (base::EqualIgnoreCase(path.substr(path.size() - 3), ".db"))
        CheckByOracle(path, password.empty() ? "" : "-p " + password);
  }
}

}  // namespace kelvorin::tests
