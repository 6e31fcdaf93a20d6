// Databases that other programs wrote read as other programs read them.

#include "base/code_page.h"
#include "tests/access/access_support.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>

namespace kelvorin::tests {
namespace {

using values::Kind;
using values::Value;

struct Sample {
  const char* file;
  const char* connect = ";pwd=;";
};

const Sample kSamples[] = {
    {"j3-memo-ole.mdb"},     {"j3-keys.mdb"},
    {"j3-encoded.mdb"},      {"j4-blank.mdb"},
    {"j4-relations.mdb"},    {"j4-decimal.mdb"},
    {"j4-composite.mdb"},    {"j4-password.mdb", ";pwd=password;"},
    {"j4-alltypes.mdb"},     {"ace12-linked.accdb"},
    {"ace14-general.accdb"}, {"linkeeTest.accdb"},
};

std::string Hex(std::string_view bytes, bool upper = false) {
  std::string out;
  for (char c : bytes) {
    char pair[3];
    std::snprintf(pair, sizeof pair, upper ? "%02X" : "%02x", static_cast<unsigned char>(c));
    out += pair;
  }
  return out;
}

std::string Trimmed(std::string digits) {
  if (digits.find('.') != std::string::npos) {
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.back() == '.') digits.pop_back();
  }
  return digits == "-0" ? "0" : digits;
}

/// A value as the expected files write it.
std::string Canonical(const Value& value, TypeCode type) {
  char text[64];
  switch (value.kind) {
    case Kind::kNull:
      return {};
    case Kind::kBoolean:
      return value.boolean ? "1" : "0";
    case Kind::kInteger:
      return std::to_string(value.integer);
    case Kind::kDouble:
      if (type == TypeCode::kDecimal) return Trimmed(std::string(value.text));
      std::snprintf(text, sizeof text, type == TypeCode::kSingle ? "%.6g" : "%.14g", value.number);
      return text;
    case Kind::kCurrency: {
      const bool negative = value.integer < 0;
      const auto all = static_cast<unsigned long long>(negative ? -value.integer : value.integer);
      std::snprintf(text, sizeof text, "%s%llu.%04llu", negative ? "-" : "", all / 10000,
                    all % 10000);
      return Trimmed(text);
    }
    case Kind::kDateTime: {
      const auto date = values::FromDay(value.date_time.day);
      const int seconds = (value.date_time.milliseconds + 500) / 1000;
      std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", date.year, date.month,
                    date.day, seconds / 3600, seconds / 60 % 60, seconds % 60);
      return text;
    }
    case Kind::kText:
      return std::string(value.text);
    case Kind::kBytes:
      return Hex(value.text);
    case Kind::kGuid: {
      const std::string all =
          Hex(std::string_view(reinterpret_cast<const char*>(value.guid.bytes.data()), 16), true);
      return "{" + all.substr(0, 8) + "-" + all.substr(8, 4) + "-" + all.substr(12, 4) + "-" +
             all.substr(16, 4) + "-" + all.substr(20) + "}";
    }
  }
  return {};
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

std::string FileName(std::string table) {
  for (char& c : table)
    if (std::string_view("/\\:*?\"<>| ").find(c) != std::string_view::npos) c = '_';
  return table + ".csv";
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

/// The table list as the expected file writes it; sorted, since that file is in byte order.
std::string TableList(Database& database) {
  const auto tables = database.TableDefs();
  REQUIRE_MESSAGE(tables.ok(), tables.status().message());
  std::vector<std::string> lines;
  for (const database::TableInfo& table : *tables) {
    char attributes[16];
    std::snprintf(attributes, sizeof attributes, "%08x", table.Attributes & ~1u);  // hidden or not
    lines.push_back(table.Name + "\t" + attributes);
  }
  std::sort(lines.begin(), lines.end());
  std::string out;
  for (const std::string& line : lines) out += line + "\n";
  return out;
}

std::string ExpectedList(const std::string& path) {
  std::string out;
  for (const std::string& line : Lines(ReadWhole(path))) {
    if (line.starts_with("name\t")) continue;
    out += line.substr(0, line.find('\t', line.find('\t') + 1)) + "\n";
  }
  return out;
}

/// Schema lines of one table, as far as the interface shows them: the dotted names of the far side
/// of relations are left out, "none" counts as false.
std::string SchemaOf(const TableDef& table, std::int64_t rows, bool wide) {
  std::ostringstream out;
  const auto flag = [](bool on) { return on ? "true" : "false"; };
  out << "table\t" << table.Name << "\t" << rows << "\n";
  for (const FieldDef& field : table.Fields) {
    const bool decimal = field.Type == TypeCode::kDecimal;
    const int type = decimal ? 16 : static_cast<int>(field.Type);
    const int bytes = decimal ? 17 : type == 10 && wide ? 2 * field.Size : field.Size;
    out << "field\t" << field.Name << "\t" << type << "\t" << bytes
        << "\tauto=" << flag(field.AutoIncrement) << "\tzerolen=" << flag(field.AllowZeroLength)
        << "\trequired=" << flag(field.Required) << "\tscale=" << field.Decimals << "\n";
  }
  for (const IndexDef& index : table.Indexes)
    out << "index\t" << index.Name << "\t" << index.Fields() << "\tunique=" << flag(index.Unique)
        << "\tprimary=" << flag(index.Primary) << "\tignorenull=" << flag(index.IgnoreNulls)
        << "\trequired=" << flag(index.Required) << "\n";
  return out.str();
}

std::map<std::string, std::string> ExpectedSchemas(const std::string& path) {
  std::map<std::string, std::string> schemas;
  std::string table;
  for (std::string line : Lines(ReadWhole(path))) {
    const auto cut = [&](const std::string& key) {
      const std::size_t at = line.find("\t" + key);
      if (at != std::string::npos)
        line.erase(at, line.find('\t', at + 1) == std::string::npos ? std::string::npos
                                                                    : line.find('\t', at + 1) - at);
    };
    cut("prec=");
    cut("foreign=");
    for (std::size_t at; (at = line.find("=none")) != std::string::npos;)
      line.replace(at, 5, "=false");
    if (line.starts_with("table\t")) table = line.substr(6, line.find('\t', 6) - 6);
    if (line.starts_with("index\t.")) continue;
    schemas[table] += line + "\n";
  }
  return schemas;
}

}  // namespace

TEST_CASE("sample databases read as their expected catalog, schema and rows") {
  const std::string samples = SampleFolder("access");
  if (samples.empty()) return;
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  for (const Sample& sample : kSamples) {
    CAPTURE(std::string(sample.file));
    const std::string stem = std::filesystem::path(sample.file).stem().string();
    const std::string expected = samples + "/expected/" + stem;
    AccessFile file(samples + "/" + sample.file, storage::RealFileSystem(), true, sample.connect);
    CHECK(TableList(*file) == ExpectedList(expected + "/tables.tsv"));
    const auto schemas = ExpectedSchemas(expected + "/schema.txt");
    for (const auto& [name, schema] : schemas) {
      CAPTURE(name);
      const auto def = file->FindTableDef(name);
      REQUIRE_MESSAGE(def.ok(), def.status().message());
      auto set = file.Open(name);
      CHECK(SchemaOf(*def, set->RecordCount().value_or(-1), !stem.starts_with("j3")) == schema);
      const std::string csv = expected + "/" + FileName(name);
      if (std::filesystem::exists(csv)) CHECK(CsvOf(*set) == ReadWhole(csv));
    }
  }
}

}  // namespace kelvorin::tests
