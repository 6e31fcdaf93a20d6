// The run allocates nothing per record: the same job with more records makes as many allocations.

#include <doctest/doctest.h>

#include <array>

#include "database/database.h"
#include "tests/engine/run_rig.h"
#include "tests/support/allocations.h"
#include "tests/support/null_recordset.h"

namespace kelvorin::tests {

namespace {

std::string Lines(std::int16_t rule, int count) {
  std::string text;
  const char* const kLines[] = {
      "a name of more than 16 letters,12,2024-05-17,\"no,te\"\r\n",
      "a name of more than 16 letters12 2024-05-17note\r\n",
      "<td>a name of more than 16 letters</td><td>12</td><td>2024-05-17</td><td>note</td>\r\n"};
  for (int i = 0; i < count; ++i) text += kLines[rule];
  return text;
}

}  // namespace

TEST_CASE("No allocation per record by any rule, with and without a host that listens") {
  struct Row {
    bool listening;
    std::int16_t rule;
  };
  for (const auto [listening, rule] : {Row{false, 0}, Row{true, 0}, Row{false, 1}, Row{false, 2}}) {
    CAPTURE(listening);
    CAPTURE(rule);
    long counts[2] = {};
    for (const bool more : {true, false, true}) {  // the first run fills what is made once
      RunRig rig;
      rig.FromText(Lines(rule, more ? 3000 : 1000));
      rig.Map({0, 1, 2, 3});
      rig.setting.TypeFormat = rule;
      for (const auto& end : std::array<std::uint16_t, 4>{30, 33, 43, 50})
        REQUIRE(rig.breaks.AddFixedBreak(end).ok());
      rig.target.recordset = std::make_unique<NullRecordset>(*rig.target.database, Goods());
      if (listening) {
        rig.host.before_field = [](auto, auto, auto, auto, std::string&) {};
        rig.host.before_post = [](bool&, bool&) {};
        rig.host.after_post = [](bool&) {};
        rig.setting.OemConvert = rig.setting.Upper = true;
        rig.host.properties().ShowProgress = true;
      }
      const long before = Allocations();
      const engine::RunResult result = rig.Run();
      counts[more ? 1 : 0] = Allocations() - before;
      CHECK(result.imported == (more ? 3000 : 1000));
      CHECK(result.truncated_values == result.imported);
    }
    CHECK(counts[0] == counts[1]);
  }
}

}  // namespace kelvorin::tests
