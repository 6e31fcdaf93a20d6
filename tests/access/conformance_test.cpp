// The suite of all drivers, on files of both versions that are made.

#include "tests/conformance/conformance.h"
#include "base/code_page.h"
#include "tests/access/access_support.h"
#include "tests/storage/support/memory_files.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using enum database::TypeCode;

/// On a disk in memory; syncing a real one for each of the suite's tables takes half a minute.
Backend BackendOf(const char* name, const char* connect) {
  static int files = 0;
  Backend backend;
  backend.name = name;
  backend.connect = ";pwd=;";
  const auto disk = std::make_shared<MemoryFileSystem>();
  backend.enter_driver = [disk](DBEngine& engine) { EnterAccess(engine, *disk); };
  backend.make_database = [disk, connect] {
    const std::string path = "/base" + std::to_string(++files) + ".mdb";
    MakeDatabase(path, connect, *disk);
    return path;
  };
  for (const auto type : {kBoolean, kByte, kInteger, kLong, kCurrency, kSingle, kDouble, kDate,
                          kBinary, kText, kLongBinary, kMemo, kGuid})
    backend.types.push_back(WholeRange(type));
  backend.types.front().null_text = "False";  // a Boolean is never Null
  return backend;
}

}  // namespace

TEST_CASE("conformance of Access files") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  SUBCASE("Jet 4") {
    Backend backend = BackendOf("Jet 4", "");
    backend.types.push_back(WholeRange(kDecimal));
    RunConformance(backend);
  }
  SUBCASE("Jet 3") {
    Backend backend = BackendOf("Jet 3", ";version=97;");
    backend.unicode = false;
    RunConformance(backend);
  }
}

}  // namespace kelvorin::tests
