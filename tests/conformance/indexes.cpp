// Conformance: the order that an index gives, Seek, and indexes that follow every change.

#include <doctest/doctest.h>

#include "base/M_STRING.h"
#include "tests/conformance/fixture.h"

namespace kelvorin::tests {
namespace {

struct Sought {
  SeekComparison comparison;
  std::string key;
  std::string found;  // ID, or empty for no match
};

// On the codes AA, CC, CC, EE of the records 1 to 4.
const Sought kSought[] = {
    {SeekComparison::kEqual, "CC", "2"},        {SeekComparison::kEqual, "AA", "1"},
    {SeekComparison::kEqual, "BB", ""},         {SeekComparison::kEqual, "C", ""},
    {SeekComparison::kEqual, "CCC", ""},        {SeekComparison::kGreaterEqual, "BB", "2"},
    {SeekComparison::kGreaterEqual, "CC", "2"}, {SeekComparison::kGreaterEqual, "FF", ""},
    {SeekComparison::kGreater, "AA", "2"},      {SeekComparison::kGreater, "CC", "4"},
    {SeekComparison::kGreater, "EE", ""},       {SeekComparison::kLessEqual, "CC", "3"},
    {SeekComparison::kLessEqual, "DD", "3"},    {SeekComparison::kLessEqual, "ZZ", "4"},
    {SeekComparison::kLessEqual, "A", ""},      {SeekComparison::kLess, "CC", "1"},
    {SeekComparison::kLess, "ZZ", "4"},         {SeekComparison::kLess, "AA", ""},
};

TableDef CodedTable() {
  TableDef def;
  def.Fields = {NumberField("ID"), TextField("CODE", 4), TextField("KIND", 4)};
  return def;
}

// A table of the given records, indexed by CODE and by ID.
std::string MakeCoded(Fixture& fixture, const std::vector<Texts>& records) {
  TableDef def = CodedTable();
  def.Indexes = {PrimaryIndex(), MakeIndex("CODE", "+CODE")};
  return fixture.MakeFilled(def, records);
}

Status SeekOne(Recordset& set, SeekComparison comparison, std::string_view key) {
  const std::string_view keys[] = {key};
  return set.SeekText(comparison, keys);
}

void CheckSeek(Fixture& fixture) {
  const std::string table =
      MakeCoded(fixture, {{"1", "AA", "x"}, {"2", "CC", "x"}, {"3", "CC", "x"}, {"4", "EE", "x"}});
  const auto set = fixture.Open(table);
  CHECK(Number(SeekOne(*set, SeekComparison::kEqual, "CC")) == Number(ErrorNumber::kNoIndexSet));
  CHECK(Number(set->SetIndex("NONE")) == Number(ErrorNumber::kIndexNotFound));
  REQUIRE(Fault(set->SetIndex("code")) == "");
  CHECK(set->Index() == "CODE");
  REQUIRE(set->CurrentIndex() != nullptr);
  CHECK(set->CurrentIndex()->Fields() == "+CODE");
  database::Bookmark third;
  REQUIRE(Fault(set->Move(2)) == "");
  REQUIRE(Fault(set->GetBookmark(third)) == "");
  for (const Sought& sought : kSought) {
    CAPTURE(static_cast<int>(sought.comparison));
    CAPTURE(sought.key);
    REQUIRE(Fault(SeekOne(*set, sought.comparison, sought.key)) == "");
    CHECK(set->NoMatch() == sought.found.empty());
    if (set->NoMatch()) {
      CHECK(fixture.TextOf(*set, 0) == "3021");
      CHECK(Number(set->MoveNext()) == Number(ErrorNumber::kNoCurrentRecord));
      CHECK(Number(set->Edit()) == Number(ErrorNumber::kNoCurrentRecord));
      REQUIRE(Fault(set->SetBookmark(third)) == "");
      CHECK(fixture.TextOf(*set, 0) == "3");
    } else {
      CHECK(fixture.TextOf(*set, 0) == sought.found);
    }
  }
  // Moving goes on from there, in the index's order.
  REQUIRE(Fault(SeekOne(*set, SeekComparison::kEqual, "CC")) == "");
  REQUIRE(Fault(set->MovePrevious()) == "");
  CHECK(fixture.TextOf(*set, 0) == "1");
  const std::string_view two[] = {"CC", "x"};
  CHECK(Number(set->SeekText(SeekComparison::kEqual, two)) ==
        Number(ErrorNumber::kInvalidArgument));
  // A deleted record is not found, and one found can be changed.
  REQUIRE(Fault(SeekOne(*set, SeekComparison::kEqual, "AA")) == "");
  REQUIRE(Fault(set->Delete()) == "");
  REQUIRE(Fault(SeekOne(*set, SeekComparison::kEqual, "AA")) == "");
  CHECK(set->NoMatch());
  REQUIRE(Fault(SeekOne(*set, SeekComparison::kEqual, "EE")) == "");
  REQUIRE(Fault(Change(*set, 1, "AB")) == "");
  CHECK(fixture.TextOf(*set, 0) == "4");
  REQUIRE(Fault(set->MoveFirst()) == "");
  CHECK(fixture.Walk(*set) == "4|AB|x\n2|CC|x\n3|CC|x\n");
  REQUIRE(Fault(set->SetIndex("")) == "");
  CHECK(set->Index() == "");
  const auto dynaset = fixture.Open(table, RecordsetType::kDynaset);
  CHECK(dynaset->SetIndex("CODE").code() == Code::kNotSupported);
  CHECK(Fault(set->Close()) == "");
  CHECK(Fault(dynaset->Close()) == "");
  fixture.CheckSound();
}

void CheckSeveralFields(Fixture& fixture) {
  TableDef def = CodedTable();
  const bool plain = fixture.backend.trees_need_primary;
  def.Indexes = {MakeIndex("BOTH", plain ? "+KIND;+CODE" : "+KIND;-CODE")};
  if (plain) def.Indexes.push_back(PrimaryIndex());
  const auto set = fixture.Open(fixture.MakeFilled(
      def, {{"1", "A", "y"}, {"2", "B", "y"}, {"3", "C", "x"}, {"4", "A", "x"}}));
  REQUIRE(Fault(set->SetIndex("BOTH")) == "");
  CHECK(set->CurrentIndex()->Fields() == (plain ? "+KIND;+CODE" : "+KIND;-CODE"));
  CHECK(fixture.Walk(*set) ==
        (plain ? "4|A|x\n3|C|x\n1|A|y\n2|B|y\n" : "3|C|x\n4|A|x\n2|B|y\n1|A|y\n"));
  const std::string_view both[] = {"y", "A"};
  REQUIRE(Fault(set->SeekText(SeekComparison::kEqual, both)) == "");
  CHECK(fixture.TextOf(*set, 0) == "1");
  const std::string_view wrong_pair[] = {"x", "B"};
  REQUIRE(Fault(set->SeekText(SeekComparison::kEqual, wrong_pair)) == "");
  CHECK(set->NoMatch());
  REQUIRE(Fault(SeekOne(*set, SeekComparison::kEqual, "y")) == "");  // the leading field alone
  CHECK(fixture.TextOf(*set, 0) == (plain ? "1" : "2"));
  REQUIRE(Fault(SeekOne(*set, SeekComparison::kGreater, "x")) == "");
  CHECK(fixture.TextOf(*set, 2) == "y");
}

}  // namespace

void CheckIndexes(Fixture& fixture) {
  if (!fixture.backend.indexes) return;
  SUBCASE("Seek finds the first or the last that compares so") {
    CheckSeek(fixture);
  }
  if (!fixture.backend.indexes_of_several) return;
  SUBCASE("keys of several fields") {
    CheckSeveralFields(fixture);
  }
}

}  // namespace kelvorin::tests
