// Conformance: the order that an index gives, Seek, and indexes that follow every change.

#include <doctest/doctest.h>

#include <random>
#include <set>

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

// A table of the given records, indexed by CODE and, where there are such, by ID.
std::string MakeCoded(Fixture& fixture, const std::vector<Texts>& records) {
  TableDef def = CodedTable();
  if (!fixture.backend.primary_index.empty()) def.Indexes.push_back(PrimaryIndex(fixture.backend));
  def.Indexes.push_back(IndexOn("CODE", {{"CODE", false}}));
  return fixture.MakeFilled(def, records);
}

std::string IdsBy(Fixture& fixture, std::string_view table, std::string_view index) {
  const auto set = fixture.Open(table);
  REQUIRE(Fault(set->SetIndex(index)) == "");
  std::string ids;
  while (!set->Eof()) {
    ids += (ids.empty() ? "" : " ") + fixture.TextOf(*set, 0);
    REQUIRE(Fault(set->MoveNext()) == "");
  }
  return ids;
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
  REQUIRE(Fault(set->Edit()) == "");
  REQUIRE(Fault(set->Fields(1).SetText("AB")) == "");
  REQUIRE(Fault(set->Update()) == "");
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

void CheckUnique(Fixture& fixture) {
  const std::string table = MakeCoded(fixture, {{"1", "A", "x"}, {"2", "B", "x"}, {"3", "B", "x"}});
  const auto set = fixture.Open(table);
  const std::string before = "1|A|x\n2|B|x\n3|B|x\n";
  const int duplicate = Number(ErrorNumber::kDuplicateKey);
  CHECK(Number(fixture.Add(*set, {"2", "Z", "y"})) == duplicate);
  CHECK(Number(fixture.Add(*set, {"<null>", "Z", "y"})) != 0);
  REQUIRE(Fault(set->MoveLast()) == "");
  REQUIRE(Fault(set->Edit()) == "");
  REQUIRE(Fault(set->Fields(0).SetText("1")) == "");
  REQUIRE(Fault(set->Fields(1).SetText("Z")) == "");
  CHECK(Number(set->Update()) == duplicate);
  CHECK(set->EditMode() == database::EditState::kNone);
  CHECK(fixture.RecordOf(*set) == "3|B|x");
  CHECK(set->RecordCount().value_or(-1) == 3);
  CHECK(fixture.Dump(table) == before);
  CHECK(IdsBy(fixture, table, "CODE") == "1 2 3");
  // Its own key is no duplicate.
  REQUIRE(Fault(set->Edit()) == "");
  REQUIRE(Fault(set->Fields(0).SetText("3")) == "");
  CHECK(Fault(set->Update()) == "");
  // A key given up can be taken.
  REQUIRE(Fault(set->Delete()) == "");
  CHECK(Fault(fixture.Add(*set, {"3", "A", "new"})) == "");
  CHECK(Fault(set->Close()) == "");
  fixture.Reopen();
  CHECK(IdsBy(fixture, table, fixture.backend.primary_index) == "1 2 3");
  CHECK(IdsBy(fixture, table, "CODE") == "1 3 2");
  fixture.CheckSound();
}

void CheckSeveralFields(Fixture& fixture) {
  TableDef def = CodedTable();
  if (!fixture.backend.primary_index.empty()) def.Indexes.push_back(PrimaryIndex(fixture.backend));
  def.Indexes.push_back(IndexOn("BOTH", {{"KIND", false}, {"CODE", fixture.backend.descending}}));
  const std::string table = fixture.Make(def);
  const auto set = fixture.Open(table);
  for (const Texts& record :
       {Texts{"1", "A", "y"}, {"2", "B", "y"}, {"3", "C", "x"}, {"4", "A", "x"}})
    REQUIRE(Fault(fixture.Add(*set, record)) == "");
  CHECK(IdsBy(fixture, table, "BOTH") == (fixture.backend.descending ? "3 4 2 1" : "4 3 1 2"));
  REQUIRE(Fault(set->SetIndex("BOTH")) == "");
  CHECK(set->CurrentIndex()->Fields() ==
        (fixture.backend.descending ? "+KIND;-CODE" : "+KIND;+CODE"));
  const std::string_view both[] = {"y", "A"};
  REQUIRE(Fault(set->SeekText(SeekComparison::kEqual, both)) == "");
  CHECK(fixture.TextOf(*set, 0) == "1");
  const std::string_view wrong_pair[] = {"x", "B"};
  REQUIRE(Fault(set->SeekText(SeekComparison::kEqual, wrong_pair)) == "");
  CHECK(set->NoMatch());
  REQUIRE(Fault(SeekOne(*set, SeekComparison::kEqual, "y")) == "");  // the leading field alone
  CHECK(fixture.TextOf(*set, 0) == (fixture.backend.descending ? "2" : "1"));
  REQUIRE(Fault(SeekOne(*set, SeekComparison::kGreater, "x")) == "");
  CHECK(fixture.TextOf(*set, 2) == "y");
}

// Many keys, so that an index grows by several levels and shrinks again.
void CheckGrowth(Fixture& fixture) {
  const int count = static_cast<int>(fixture.backend.many_records);
  const std::string table = MakeCoded(fixture, {});
  std::minstd_rand random(7);
  std::multiset<std::string> codes;
  {
    const auto set = fixture.Open(table);
    for (int id = 1; id <= count; ++id) {
      std::string code(4, 'A');
      for (char& c : code) c = static_cast<char>('A' + random() % 6);
      REQUIRE(Fault(fixture.Add(*set, {std::to_string(id), code, "x"})) == "");
      codes.insert(code);
    }
  }
  const auto check = [&] {
    fixture.Reopen();
    fixture.CheckSound();
    const auto set = fixture.Open(table);
    REQUIRE(Fault(set->SetIndex("CODE")) == "");
    std::size_t wrong = 0;
    for (const std::string& code : codes) {
      wrong += fixture.TextOf(*set, 1) == code ? 0 : 1;
      REQUIRE(Fault(set->MoveNext()) == "");
    }
    CHECK(set->Eof());
    CHECK(wrong == 0);
    for (const std::string code : {"AAAA", "CDEF", "FFFF", "GAAA"}) {
      REQUIRE(Fault(SeekOne(*set, SeekComparison::kEqual, code)) == "");
      CHECK(set->NoMatch() == (codes.count(code) == 0));
      REQUIRE(Fault(SeekOne(*set, SeekComparison::kGreaterEqual, code)) == "");
      const auto least = codes.lower_bound(code);
      CHECK(set->NoMatch() == (least == codes.end()));
      if (!set->NoMatch()) CHECK(fixture.TextOf(*set, 1) == *least);
    }
  };
  check();
  // All but every tenth go, in the order of the codes.
  {
    const auto set = fixture.Open(table);
    REQUIRE(Fault(set->SetIndex("CODE")) == "");
    std::multiset<std::string> left;
    for (int i = 0; !set->Eof(); ++i) {
      if (i % 10 == 0) {
        left.insert(fixture.TextOf(*set, 1));
      } else {
        REQUIRE(Fault(set->Delete()) == "");
      }
      REQUIRE(Fault(set->MoveNext()) == "");
    }
    codes = left;
  }
  check();
}

}  // namespace

void CheckIndexes(Fixture& fixture) {
  if (!fixture.backend.indexes) return;
  SUBCASE("Seek finds the first or the last that compares so") {
    CheckSeek(fixture);
  }
  SUBCASE("an index of many keys") {
    CheckGrowth(fixture);
  }
  if (fixture.backend.unique && !fixture.backend.primary_index.empty()) {
    SUBCASE("a key that is there already is refused and leaves no trace") {
      CheckUnique(fixture);
    }
  }
  if (fixture.backend.several_fields) {
    SUBCASE("keys of several fields") {
      CheckSeveralFields(fixture);
    }
  }
}

}  // namespace kelvorin::tests
