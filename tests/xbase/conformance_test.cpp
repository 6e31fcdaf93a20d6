// The suite of all drivers, on tables of each product.

#include "tests/conformance/conformance.h"
#include "base/code_page.h"
#include "database/drivers/register_drivers.h"
#include "tests/storage/support/memory_files.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using enum database::TypeCode;

TypeCase AsNumber(database::TypeCode declared, std::vector<std::string> texts,
                  std::vector<std::string> refused) {
  TypeCase type = WholeRange(declared);
  type.stored = kDouble;
  type.texts = std::move(texts);
  type.refused = std::move(refused);
  type.changed.clear();
  return type;
}

/// The types that every product stores in the same way.
std::vector<TypeCase> CommonTypes() {
  std::vector<TypeCase> types = {WholeRange(kText), WholeRange(kMemo), WholeRange(kBoolean)};
  types.push_back(AsNumber(kByte, {"0", "-999", "9999"}, {"10000", "-1000", "x"}));
  types.push_back(AsNumber(kInteger, {"0", "-32768", "999999"}, {"1000000", "-100000"}));
  TypeCase numeric = AsNumber(kNumeric, {"0", "123456789", "-12345678"},
                              {"1234567890", "-123456789", "0.5", "12.7"});
  numeric.size = 9;
  types.push_back(numeric);
  return types;
}

std::vector<TypeCase> OldTypes() {
  std::vector<TypeCase> types = CommonTypes();
  types.push_back(AsNumber(kLong, {"0", "-2147483648", "99999999999"}, {"100000000000"}));
  types.push_back(
      AsNumber(kCurrency, {"0", "-0.01", "-999999999999.9999"}, {"922337203685477.5807"}));
  types.push_back(AsNumber(kDouble, {"0", "0.1", "-2.5", "123456789.125"},
                           {"99999999999999999999", "x", "1e-46", "0.000004"}));
  types.back().changed = {{"-9.999995", "-10"}, {"1.2345649999", "1.23456"}};
  TypeCase date = WholeRange(kDate);
  date.texts = {"1899-12-31", "2000-02-29", "0100-01-01", "9999-12-31"};
  date.changed = {{"2024-12-31 23:59:59", "2024-12-31"}};
  date.refused = {"12:30", "00:00"};
  types.push_back(date);
  return types;
}

std::vector<TypeCase> VisualTypes() {
  std::vector<TypeCase> types = CommonTypes();
  for (const auto type : {kLong, kDouble, kCurrency, kDate, kLongBinary})
    types.push_back(WholeRange(type));
  types[types.size() - 2].changed = {{"2024-12-31 23:59:59.25", "2024-12-31 23:59:59"}};
  return types;
}

/// Characters of the western Windows page that a DOS page lacks.
std::string MissingIn(int page) {
  const base::Converter converter(*base::FindCodePage(1252), *base::FindCodePage(page));
  std::string missing, ignored;
  for (int byte = 128; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    if (converter.Append(text, ignored) != 0) missing += text;
  }
  return missing;
}

/// On a disk in memory; syncing a real one for each of the suite's tables takes half a minute.
Backend BackendOf(const char* connect) {
  static int folders = 0;
  Backend backend;
  backend.name = backend.connect = connect;
  const auto disk = std::make_shared<MemoryFileSystem>();
  backend.enter_driver = [disk](database::DBEngine& engine) {
    database::RegisterDrivers(engine, *disk);
  };
  backend.make_database = [] { return "/base" + std::to_string(++folders); };
  const bool visual = std::string_view(connect) == "FoxPro 3.0";
  backend.types = visual ? VisualTypes() : OldTypes();
  backend.text_size = 254;
  backend.empty_text = backend.trailing_blanks = backend.unicode = false;
  backend.required = backend.auto_increment = backend.indexes_of_several = false;
  if (!visual) backend.lost_bytes = MissingIn(850);
  return backend;
}

}  // namespace

TEST_CASE("conformance of dBASE and FoxPro tables") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  REQUIRE(base::SetOemPage(850).ok());
  SUBCASE("dBASE III") {
    RunConformance(BackendOf("dBASE III"));
  }
  SUBCASE("dBASE IV") {
    RunConformance(BackendOf("dBASE IV"));
  }
  SUBCASE("dBASE 5.0") {
    Backend backend = BackendOf("dBASE 5.0");
    backend.types.push_back(WholeRange(kLongBinary));
    RunConformance(backend);
  }
  SUBCASE("FoxPro 2.6") {
    Backend backend = BackendOf("FoxPro 2.6");
    backend.types.push_back(WholeRange(kLongBinary));
    RunConformance(backend);
  }
  SUBCASE("FoxPro 3.0") {
    RunConformance(BackendOf("FoxPro 3.0"));
  }
}

}  // namespace kelvorin::tests
