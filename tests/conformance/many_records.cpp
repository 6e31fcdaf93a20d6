// Conformance: long random work.

#include <doctest/doctest.h>

#include "tests/conformance/fixture.h"
#include "tests/conformance/random_walk.h"

namespace kelvorin::tests {
namespace {

constexpr std::uint32_t kShortNote = 60;  // where there are no memos

}  // namespace

void CheckManyRecords(Fixture& fixture) {
  const bool memos = fixture.backend.memos;
  TableDef def;
  def.Fields = {NumberField("ID"), TextField("CODE", 8), TextField("NAME", 30),
                TextField("NOTE", memos ? 0 : std::int32_t{kShortNote})};
  if (memos) def.Fields.back().Type = TypeCode::kMemo;
  const std::string table = fixture.Make(def);
  WalkPlan plan{.open = [&] { return fixture.Open(table); },
                // Often short, sometimes longer than a block.
                .record =
                    [memos](std::minstd_rand& random, int n) {
                      const char letter = static_cast<char>('A' + random() % 26);
                      const bool longer = memos && random() % 10 == 0;
                      return Texts{
                          std::to_string(n), std::string(1 + random() % 8, letter),
                          std::string(1 + random() % 30, letter),
                          std::string(1 + random() % (longer ? 9000 : kShortNote), letter)};
                    },
                .look =
                    [&] {
                      fixture.Reopen();
                      fixture.CheckSound();
                    },
                .lasting_bookmarks = fixture.backend.lasting_bookmarks,
                .look_every = 500};
  RandomWalk(std::move(plan)).Play(2000);
}

}  // namespace kelvorin::tests
