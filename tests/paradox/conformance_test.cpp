// The suite of all drivers, on tables of each product.

#include "tests/conformance/conformance.h"
#include "base/code_page.h"
#include "database/drivers/register_drivers.h"
#include "tests/storage/support/memory_files.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using enum database::TypeCode;

TypeCase Stored(database::TypeCode declared, database::TypeCode stored,
                std::vector<std::string> texts, std::vector<std::string> refused,
                std::int32_t size = 0) {
  TypeCase type = WholeRange(declared);
  type.stored = stored;
  type.texts = std::move(texts);
  type.refused = std::move(refused);
  type.changed.clear();
  if (size != 0) type.size = size;
  return type;
}

std::vector<TypeCase> CommonTypes() {
  std::vector<TypeCase> types = {WholeRange(kText), WholeRange(kDouble)};
  types.push_back(
      Stored(kInteger, kInteger, {"0", "-1", "-32767", "32767"}, {"-32768", "32768", "x"}));
  types.push_back(Stored(kByte, kInteger, {"0", "255"}, {"32768"}));
  types.push_back(Stored(kCurrency, kDouble, {"0", "0.0001", "-1234567.89"}, {"x"}));
  types.push_back(Stored(kGuid, kText, {"{00112233-4455-6677-8899-AABBCCDDEEFF}"}, {}));
  return types;
}

std::vector<TypeCase> OldTypes() {
  std::vector<TypeCase> types = CommonTypes();
  types.push_back(Stored(kLong, kDouble, {"0", "-2147483648", "2147483647"}, {"x"}));
  types.push_back(
      Stored(kDate, kDate, {"1899-12-31", "2000-02-29", "0100-01-01", "9999-12-31"}, {"x"}));
  types.push_back(Stored(kBigInt, kText, {"-9223372036854775808"}, {}));
  return types;
}

std::vector<TypeCase> NewTypes() {
  std::vector<TypeCase> types = CommonTypes();
  for (const auto type : {kBoolean, kDate, kMemo, kLongBinary}) types.push_back(WholeRange(type));
  types.push_back(Stored(kLong, kLong, {"0", "-1", "-2147483647", "2147483647"},
                         {"-2147483648", "2147483648"}));
  types.push_back(
      Stored(kBinary, kBinary, {"00FF00FF00FF00FF0001"}, {"0", "XY", "00FF00FF00FF00FF00FF00"}));
  types.push_back(Stored(kBigInt, kDouble, {"0", "-9223372036854775808", "9223372036854775807"},
                         {"123456789012345678901234567890123"}));
  TypeCase decimal = Stored(kDecimal, kDouble, {"0", "-7", "-1.5", "12345678901234567890.12"},
                            {"1234567890123456789012345678901"});
  decimal.decimals = 2;
  types.push_back(decimal);
  TypeCase time = Stored(kTime, kDate, {"00:00:01", "23:59:59"}, {"2020-01-01", "24:00:00"});
  types.push_back(time);
  return types;
}

Backend BackendOf(const char* connect) {
  static int folders = 0;
  Backend backend;
  backend.name = backend.connect = connect;
  const auto disk = std::make_shared<MemoryFileSystem>();
  backend.enter_driver = [disk](database::DBEngine& engine) {
    database::RegisterDrivers(engine, *disk);
  };
  backend.make_database = [] { return "/paradox" + std::to_string(++folders); };
  backend.text_size = 255;
  backend.empty_text = backend.unicode = backend.required = false;
  backend.trees_need_primary = true;
  backend.lasting_bookmarks = false;
  const base::Converter converter(*base::FindCodePage(1252), base::OemPage());
  std::string ignored;
  for (int byte = 128; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    if (converter.Append(text, ignored) != 0) backend.lost_bytes += text;
  }
  return backend;
}

}  // namespace

TEST_CASE("conformance of Paradox tables") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  REQUIRE(base::SetOemPage(850).ok());
  SUBCASE("3") {
    Backend backend = BackendOf("Paradox 3.x");
    backend.types = OldTypes();
    backend.auto_increment = false;
    backend.memos = backend.indexes_of_several = false;
    RunConformance(backend);
  }
  SUBCASE("4") {
    Backend backend = BackendOf("Paradox 4.x");
    backend.types = OldTypes();
    backend.types.push_back(WholeRange(kMemo));
    backend.types.push_back(WholeRange(kLongBinary));
    backend.auto_increment = false;
    RunConformance(backend);
  }
  SUBCASE("5") {
    Backend backend = BackendOf("Paradox 5.x");
    backend.types = NewTypes();
    RunConformance(backend);
  }
  SUBCASE("5, encrypted") {
    Backend backend = BackendOf("Paradox 5.x;pwd=geheim;");
    backend.types = NewTypes();
    RunConformance(backend);
  }
}

}  // namespace kelvorin::tests
