// Conformance: tables of some size, and long random work.

#include <doctest/doctest.h>

#include "tests/conformance/fixture.h"
#include "tests/conformance/random_walk.h"

namespace kelvorin::tests {
namespace {

constexpr std::uint32_t kShortNote = 60;  // where there are no memos

// Every third goes, every fifth changes, on one way through the table and back.
void CheckSize(Fixture& fixture) {
  const int count = static_cast<int>(fixture.backend.many_records);
  const std::string table = fixture.MakePeople(count);
  fixture.Reopen();
  const auto set = fixture.Open(table);
  std::string left;
  int live = 0;
  for (int id = 1; id <= count; ++id) {
    CHECK(fixture.TextOf(*set, 0) == std::to_string(id));
    if (id % 3 == 0) {
      REQUIRE(Fault(set->Delete()) == "");
    } else {
      if (id % 5 == 0) REQUIRE(Fault(Change(*set, 1, "changed")) == "");
      const std::string number = std::to_string(id);
      left += number + (id % 5 == 0 ? "|changed\n" : "|name " + number + "\n");
      ++live;
    }
    REQUIRE(Fault(set->MoveNext()) == "");
  }
  CHECK(set->Eof());
  CHECK(set->RecordCount().value_or(-1) == live);
  int met = 0;
  REQUIRE(Fault(set->MoveLast()) == "");
  for (; !set->Bof(); ++met) REQUIRE(Fault(set->MovePrevious()) == "");
  CHECK(met == live);
  CHECK(Fault(set->Close()) == "");
  fixture.Reopen();
  const bool same = fixture.Dump(table) == left;
  CHECK_MESSAGE(same, "records differ after deleting and changing");
  fixture.CheckSound();
}

void CheckRandomWork(Fixture& fixture) {
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

}  // namespace

void CheckManyRecords(Fixture& fixture) {
  SUBCASE("many records") {
    CheckSize(fixture);
  }
  SUBCASE("random operations against a map") {
    CheckRandomWork(fixture);
  }
}

}  // namespace kelvorin::tests
