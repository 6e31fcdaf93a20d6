#include "tests/conformance/conformance.h"

#include <doctest/doctest.h>

#include "tests/conformance/fixture.h"

namespace kelvorin::tests {

void RunConformance(const Backend& backend) {
  CAPTURE(backend.name);
  Fixture fixture(backend);
  SUBCASE("edges") {
    CheckEdges(fixture);
  }
  if (backend.SnapshotsOnly()) {
    SUBCASE("reading") {
      CheckReading(fixture);
    }
    return;
  }
  SUBCASE("moving") {
    CheckMoving(fixture);
  }
  SUBCASE("writing") {
    CheckWriting(fixture);
  }
  SUBCASE("values") {
    CheckValues(fixture);
  }
  SUBCASE("names") {
    CheckNames(fixture);
  }
  SUBCASE("many records") {
    CheckManyRecords(fixture);
  }
  SUBCASE("indexes") {
    CheckIndexes(fixture);
  }
}

}  // namespace kelvorin::tests
