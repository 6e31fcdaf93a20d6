// Conformance: where a record set stands, whatever is done to it.

#include <doctest/doctest.h>

#include "base/M_STRING.h"
#include "tests/conformance/fixture.h"

namespace kelvorin::tests {
namespace {

// Where a set stands: "Bof", "Eof", "Bof Eof", the current record's ID or the error of reading it.
std::string Where(Fixture& fixture, Recordset& set) {
  if (set.Bof() || set.Eof()) return set.Bof() && set.Eof() ? "Bof Eof" : set.Bof() ? "Bof" : "Eof";
  return fixture.TextOf(set, 0);
}

// Steps separated by blanks: F first, L last, N next, P previous, +n or -n move, D delete. Answers
// where the set then stands, or the number of the error that a step met.
std::string Steps(Fixture& fixture, Recordset& set, std::string_view steps) {
  for (std::string_view step : base::SplitAt(steps, ' ')) {
    Status status;
    if (step == "F") status = set.MoveFirst();
    if (step == "L") status = set.MoveLast();
    if (step == "N") status = set.MoveNext();
    if (step == "P") status = set.MovePrevious();
    if (step == "D") status = set.Delete();
    if (!step.empty() && (step[0] == '+' || step[0] == '-'))
      status = set.Move(base::ParseInteger(step));
    if (!status.ok()) return std::to_string(status.number());
  }
  return Where(fixture, set);
}

struct Way {
  std::string steps;
  std::string where;
};

// On records 1 to 5.
const Way kWays[] = {{"", "1"},        {"P", "Bof"},       {"P P", "3021"},   {"P N", "1"},
                     {"L", "5"},       {"L N", "Eof"},     {"L N N", "3021"}, {"L N P", "5"},
                     {"L P P", "3"},   {"N N F", "1"},     {"P F", "1"},      {"L N L", "5"},
                     {"+4", "5"},      {"+5", "Eof"},      {"+6", "Eof"},     {"L -4", "1"},
                     {"L -5", "Bof"},  {"L -99", "Bof"},   {"P +1", "1"},     {"P +5", "5"},
                     {"P +6", "Eof"},  {"L N -1", "5"},    {"L N -5", "1"},   {"L N -6", "Bof"},
                     {"P -1", "3021"}, {"L N +1", "3021"}, {"+2 +0", "3"},    {"P +0", "3021"}};

// The same, each on a table of its own.
const Way kWaysWithDeleting[] = {{"D", "3167"},
                                 {"D D", "3167"},
                                 {"D N", "2"},
                                 {"D P", "Bof"},
                                 {"D F", "2"},
                                 {"N D P", "1"},
                                 {"N D N", "3"},
                                 {"N D N P", "1"},
                                 {"L D N", "Eof"},
                                 {"L D P", "4"},
                                 {"L D L", "4"},
                                 {"+1 D +2", "4"},
                                 {"L -1 D -2", "2"},
                                 {"+1 D +9", "Eof"},
                                 {"+1 D +0", "3167"},
                                 {"N D N D N D F N", "5"},
                                 {"P D", "3021"},
                                 {"L N D", "3021"},
                                 {"D N D N D N D N D N", "Bof Eof"},
                                 {"L D P D P D P D P D P", "Bof Eof"},
                                 {"D N D N D N D N D N N", "3021"},
                                 {"D N D N D N D N D F", "3021"},
                                 {"D N D N D N D N D L", "3021"}};

void CheckEmptySet(Fixture& fixture) {
  const auto set = fixture.Open(fixture.MakePeople(0));
  CHECK(Where(fixture, *set) == "Bof Eof");
  for (const std::string step : {"F", "L", "N", "P", "+1", "-1", "+0"}) {
    CAPTURE(step);
    CHECK(Steps(fixture, *set, step) == "3021");
    CHECK(Where(fixture, *set) == "Bof Eof");
  }
  database::Bookmark bookmark;
  CHECK(Number(set->GetBookmark(bookmark)) == Number(ErrorNumber::kNoCurrentRecord));
  CHECK(fixture.TextOf(*set, 0) == "3021");
  CHECK(set->RecordCount().value_or(-1) == 0);
  if (fixture.backend.snapshots_only) return;
  CHECK(Number(set->Edit()) == Number(ErrorNumber::kNoCurrentRecord));
  CHECK(Number(set->Delete()) == Number(ErrorNumber::kNoCurrentRecord));
  CHECK(Fault(Append(*set, {"7", "first"})) == "");
  CHECK(set->RecordCount().value_or(-1) == 1);
  CHECK(Steps(fixture, *set, "F") == "7");
}

void CheckBookmarks(Fixture& fixture) {
  const std::string table = fixture.MakePeople(4);
  const auto set = fixture.Open(table);
  std::vector<database::Bookmark> bookmarks(4);
  for (auto& bookmark : bookmarks) {
    REQUIRE(Fault(set->GetBookmark(bookmark)) == "");
    REQUIRE(Fault(set->MoveNext()) == "");
  }
  CHECK(bookmarks[0] != bookmarks[1]);
  // From Eof, and after records came, changed and went.
  CHECK(Fault(set->SetBookmark(bookmarks[1])) == "");
  CHECK(fixture.RecordOf(*set) == "2|name 2");
  REQUIRE(Fault(Change(*set, 1, "a longer name")) == "");
  REQUIRE(Fault(Append(*set, {"5", "late"})) == "");
  REQUIRE(Fault(set->SetBookmark(bookmarks[0])) == "");
  REQUIRE(Fault(set->Delete()) == "");
  REQUIRE(Fault(set->SetBookmark(bookmarks[3])) == "");
  CHECK(fixture.RecordOf(*set) == "4|name 4");
  REQUIRE(Fault(set->SetBookmark(bookmarks[1])) == "");
  CHECK(fixture.RecordOf(*set) == "2|a longer name");
  database::Bookmark again;
  REQUIRE(Fault(set->GetBookmark(again)) == "");
  CHECK((again == bookmarks[1] || !fixture.backend.lasting_bookmarks));
  CHECK(Steps(fixture, *set, "N") == "3");
  // The record is gone, or there never was one: the set stays where it is.
  CHECK(Number(set->SetBookmark(bookmarks[0])) == Number(ErrorNumber::kRecordDeleted));
  CHECK(Number(set->SetBookmark({})) == Number(ErrorNumber::kRecordDeleted));
  CHECK(Where(fixture, *set) == "3");
}

void CheckTwoSets(Fixture& fixture) {
  const std::string table = fixture.MakePeople(3);
  const auto one = fixture.Open(table);
  const auto other = fixture.Open(table);
  REQUIRE(Fault(other->MoveNext()) == "");
  REQUIRE(Fault(Append(*one, {"4", "added"})) == "");
  CHECK(other->RecordCount().value_or(-1) == 4);
  REQUIRE(Fault(one->MoveNext()) == "");
  REQUIRE(Fault(one->Edit()) == "");
  REQUIRE(Fault(one->Fields(1).SetText("changed")) == "");
  CHECK(fixture.RecordOf(*other) == "2|name 2");
  REQUIRE(Fault(one->Update()) == "");
  CHECK(fixture.RecordOf(*other) == "2|changed");
  REQUIRE(Fault(one->Delete()) == "");
  CHECK(fixture.TextOf(*other, 0) == "3167");
  CHECK(Number(other->Edit()) == Number(ErrorNumber::kRecordDeleted));
  CHECK(Steps(fixture, *other, "N") == "3");
  CHECK(Steps(fixture, *other, "L") == "4");
  CHECK(Fault(one->Close()) == "");
  CHECK(Steps(fixture, *other, "F") == "1");
}

void CheckSnapshot(Fixture& fixture) {
  const std::string table = fixture.MakePeople(3);
  const auto set = fixture.Open(table, RecordsetType::kSnapshot);
  CheckNotWritable(*set);
  CHECK(Steps(fixture, *set, "L") == "3");
  CHECK(set->RecordCount().value_or(-1) == 3);
  CHECK(fixture.Walk(*set) == "1|name 1\n2|name 2\n3|name 3\n");
}

void CheckFarMoves(Fixture& fixture) {
  const int count = static_cast<int>(fixture.backend.many_records);
  const auto set = fixture.Open(fixture.MakePeople(count));
  const auto id = [&](int n) { return fixture.TextOf(*set, 0) == std::to_string(n); };
  // As a run does it: count, go to its first record, read to the end.
  REQUIRE(Fault(set->MoveLast()) == "");
  CHECK(id(count));
  REQUIRE(Fault(set->MoveFirst()) == "");
  CHECK(set->RecordCount().value_or(-1) == count);
  REQUIRE(Fault(set->Move(count / 2)) == "");
  int wrong = 0;
  for (int n = count / 2 + 1; n <= count; ++n) {
    wrong += id(n) ? 0 : 1;
    REQUIRE(Fault(set->MoveNext()) == "");
  }
  CHECK(wrong == 0);
  CHECK(set->Eof());
  REQUIRE(Fault(set->MovePrevious()) == "");
  CHECK(id(count));
  REQUIRE(Fault(set->Move(-(count - 1))) == "");
  CHECK(id(1));
  database::Bookmark first;
  REQUIRE(Fault(set->GetBookmark(first)) == "");
  REQUIRE(Fault(set->Move(count - 1)) == "");
  CHECK(id(count));
  REQUIRE(Fault(set->SetBookmark(first)) == "");
  CHECK(id(1));
  REQUIRE(Fault(set->MoveFirst()) == "");
  CHECK(id(1));
}

}  // namespace

void CheckEdges(Fixture& fixture) {
  SUBCASE("every edge is met from every side") {
    const auto set = fixture.Open(fixture.MakePeople(5));
    CHECK(set->RecordCount().value_or(-1) == 5);
    for (const Way& way : kWays) {
      CAPTURE(way.steps);
      REQUIRE(Fault(set->MoveFirst()) == "");
      CHECK(Steps(fixture, *set, way.steps) == way.where);
    }
  }
  SUBCASE("far moves") {
    CheckFarMoves(fixture);
  }
  SUBCASE("an empty set has no current record and takes its first") {
    CheckEmptySet(fixture);
  }
  SUBCASE("a snapshot moves but refuses writing") {
    CheckSnapshot(fixture);
  }
}

void CheckMoving(Fixture& fixture) {
  SUBCASE("a deleted record is left to where its neighbours are") {
    for (const Way& way : kWaysWithDeleting) {
      CAPTURE(way.steps);
      const auto set = fixture.Open(fixture.MakePeople(5));
      CHECK(Steps(fixture, *set, way.steps) == way.where);
    }
    fixture.CheckSound();
  }
  SUBCASE("an emptied table takes records again") {
    const std::string table = fixture.MakePeople(40);
    {
      const auto set = fixture.Open(table);
      while (!set->Eof()) {
        REQUIRE(Fault(set->Delete()) == "");
        REQUIRE(Fault(set->MoveNext()) == "");
      }
      CHECK(set->RecordCount().value_or(-1) == 0);
      CHECK(Fault(Append(*set, {"1", "again"})) == "");
    }
    fixture.Reopen();
    CHECK(fixture.Dump(table) == "1|again\n");
    fixture.CheckSound();
  }
  SUBCASE("bookmarks return to their records") {
    CheckBookmarks(fixture);
  }
  SUBCASE("two sets on one table see each other's records") {
    CheckTwoSets(fixture);
  }
}

}  // namespace kelvorin::tests
