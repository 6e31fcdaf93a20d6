#include "tests/conformance/conformance.h"

#include <doctest/doctest.h>

#include "tests/conformance/fixture.h"

namespace kelvorin::tests {

void RunConformance(const Backend& backend) {
  CAPTURE(backend.name);
  Fixture fixture(backend);
  struct Theme {
    const char* name;
    void (*check)(Fixture&);
    bool for_snapshots = false;
  };
  const Theme themes[] = {{"edges", CheckEdges, true}, {"values", CheckValues, true},
                          {"names", CheckNames, true}, {"moving", CheckMoving},
                          {"writing", CheckWriting},   {"many records", CheckManyRecords},
                          {"indexes", CheckIndexes}};
  for (const Theme& theme : themes) {
    if (backend.snapshots_only && !theme.for_snapshots) continue;
    SUBCASE(theme.name) {
      theme.check(fixture);
    }
  }
}

}  // namespace kelvorin::tests
