// Random work on tables with small blocks and long keys against an ordered map; now and then the
// files are closed and looked at by our own check and by an independent one. Keys, trees of several
// levels, secondary indexes, blobs and encryption are in it. `KELVORIN_MODEL_STEPS` makes it
// longer.

#include "base/M_FILE.h"
#include "base/code_page.h"
#include "tests/conformance/random_walk.h"
#include "tests/paradox/paradox_support.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdlib>

namespace kelvorin::tests {
namespace {

using enum TypeCode;

struct Variant {
  const char* connect;
  bool keyed;
  bool indexed;
  bool blobs;
  const char* oracle;
};
const Variant kVariants[] = {
    {"Paradox 3.x", true, false, false, "-s"},
    {"Paradox 4.x", false, false, true, "-s"},
    {"Paradox 5.x", true, true, true, "-s"},
    {"Paradox 5.x;pwd=geheim;", true, true, true, "-s -p geheim"},
};

constexpr std::size_t kKeyChars = 150;

std::string KeyOf(int number) {
  std::string key = std::to_string(10'000 + number);
  // Long common fronts, so that a wrong place is not found by its first letter.
  key.insert(0, "K" + std::string(120 + static_cast<std::size_t>(number % 7), 'A'));
  key.resize(kKeyChars, 'Z');
  return key;
}

/// The table, made with blocks of 1 KiB: trees of three levels with few records.
void Make(const Variant& variant, const TempFolder& temp) {
  TableDef def = MakeTable("W", {MakeField("KEY", kText, kKeyChars), MakeField("KIND", kText, 6),
                                 MakeField("NUM", kInteger)});
  if (variant.blobs) def.Fields.push_back(MakeField("NOTE", kMemo));
  if (variant.keyed) def.Indexes.push_back(MakeIndex("PrimaryKey", "+KEY", true, true));
  if (variant.indexed) {
    def.Indexes.push_back(MakeIndex("KIND", "+KIND"));
    def.Indexes.push_back(MakeIndex("Falling", "-NUM;-KIND"));
  }
  Folder(temp.path(), variant.connect).Make(def);
  for (const char* extension : {"DB", "PX", "X02", "Y02", "XG0", "YG0"}) {
    const std::string path = temp.File(std::string("W.") + extension);
    if (!base::FileExists(path)) continue;
    std::string bytes = ReadWhole(path);
    bytes[5] = 1;
    WriteWhole(path, bytes);
  }
}

Texts RecordOf(const Variant& variant, std::minstd_rand& random, int number) {
  Texts row = {KeyOf(number), "K" + std::to_string(random() % 40),
               std::to_string(static_cast<int>(random() % 200) - 100)};
  const std::size_t sizes[] = {1, 2, 16, 17, 200, 2047, 2048, 2049, 4087, 4088, 9000};
  if (variant.blobs)
    row.push_back(random() % 4 == 0 ? "<null>" : std::string(sizes[random() % 11], 'm'));
  return row;
}

}  // namespace

TEST_CASE("random work on small blocks equals an ordered map") {
  REQUIRE(base::SetAnsiPage(65001).ok());
  REQUIRE(base::SetOemPage(437).ok());
  const char* asked = std::getenv("KELVORIN_MODEL_STEPS");
  const int steps = asked != nullptr ? std::atoi(asked) : 1000;
  for (const Variant& variant : kVariants) {
    CAPTURE(std::string(variant.connect));
    const TempFolder temp;
    Make(variant, temp);
    auto folder = std::make_unique<Folder>(temp.path(), variant.connect);
    int levels = 0;  // the most that the primary index had
    WalkPlan plan{.open = [&] { return folder->Open("W"); },
                  .record = [&](auto& random, int n) { return RecordOf(variant, random, n); },
                  .look =
                      [&] {
                        folder.reset();
                        levels = std::max<int>(
                            levels, variant.keyed ? ReadWhole(temp.File("W.PX"))[0x20] : 3);
                        CheckByOracle(temp.File("W.DB"), variant.oracle);
                        folder = std::make_unique<Folder>(temp.path(), variant.connect);
                        CheckSound(**folder);
                      },
                  .keys = 3000,
                  .refuses_twins = variant.keyed};
    if (variant.keyed) {
      plan.key_index = "PrimaryKey";
      plan.indexes.push_back({"PrimaryKey", {{0}}, true});
    }
    if (variant.indexed) {
      plan.indexes.push_back({"KIND", {{1}, {0}}, true});
      plan.indexes.push_back({"falling", {{2, true, true}, {1, false, true}, {0}}, true});
    }
    RandomWalk(std::move(plan)).Play(steps);
    CHECK(levels >= 3);
  }
}

}  // namespace kelvorin::tests
