#include <doctest/doctest.h>

#include "tests/conformance/conformance.h"
#include "tests/support/memory_database.h"

namespace kelvorin::tests {

namespace {
Backend BackendOf(MemoryDriver& memory) {
  memory.AddDatabase("conformance");
  Backend backend;
  backend.name = "memory";
  backend.connect = "Memory;";
  backend.enter_driver = [&](database::DBEngine& engine) { engine.Register(memory.Clone()); };
  backend.make_database = [] { return std::string("conformance"); };
  for (std::int16_t code = 1; code <= 23; ++code)
    if (!values::FieldType(code).empty())
      backend.types.push_back(WholeRange(static_cast<database::TypeCode>(code)));
  // It has no codecs: it tells what a field would round, and keeps the number that was read.
  for (TypeCase& type : backend.types)
    for (auto& [given, kept] : type.changed)
      if (type.declared != database::TypeCode::kBoolean &&
          type.declared != database::TypeCode::kCurrency)
        kept = given;
  return backend;
}
}  // namespace

TEST_CASE("the in-memory database keeps what the interface promises") {
  MemoryDriver memory;
  RunConformance(BackendOf(memory));
}

}  // namespace kelvorin::tests
