// Conformance: adding, editing, refusing, and what a failure leaves behind.

#include <doctest/doctest.h>

#include "tests/conformance/fixture.h"

namespace kelvorin::tests {
namespace {

using database::EditState;

// Discards a pending edit; each is tried on a new record and on a changed one.
struct Discarding {
  std::string name;
  Status (*act)(Recordset&);
};
const Discarding kDiscarding[] = {
    {"CancelUpdate", [](Recordset& set) { return set.CancelUpdate(); }},
    {"MoveFirst", [](Recordset& set) { return set.MoveFirst(); }},
    {"MoveLast", [](Recordset& set) { return set.MoveLast(); }},
    {"MoveNext", [](Recordset& set) { return set.MoveNext(); }},
    {"MovePrevious", [](Recordset& set) { return set.MovePrevious(); }},
    {"Move", [](Recordset& set) { return set.Move(1); }},
    {"Delete", [](Recordset& set) { return set.Delete(); }},
    {"Close", [](Recordset& set) { return set.Close(); }},
};

void CheckAdding(Fixture& fixture) {
  const std::string table = fixture.MakePeople(2);
  const auto set = fixture.Open(table);
  REQUIRE(Fault(set->MoveNext()) == "");
  REQUIRE(Fault(set->AddNew()) == "");
  CHECK(set->EditMode() == EditState::kAdd);
  CHECK(fixture.RecordOf(*set) == "<null>|<null>");
  REQUIRE(Fault(set->Fields(1).SetText("new")) == "");
  CHECK(fixture.RecordOf(*set) == "<null>|new");
  REQUIRE(Fault(set->AddNew()) == "");  // begins anew
  CHECK(fixture.RecordOf(*set) == "<null>|<null>");
  REQUIRE(Fault(set->Fields(0).SetText("3")) == "");
  REQUIRE(Fault(set->Update()) == "");
  CHECK(set->EditMode() == EditState::kNone);
  CHECK(fixture.RecordOf(*set) == "2|name 2");  // the current record stays
  CHECK(fixture.Dump(table) == "1|name 1\n2|name 2\n3|<null>\n");
  // Behind the last record, as an import does that has run past the end.
  REQUIRE(Fault(set->MoveLast()) == "");
  REQUIRE(Fault(set->MoveNext()) == "");
  REQUIRE(Fault(Append(*set, {"4", "past the end"})) == "");
  CHECK(set->Eof());
  REQUIRE(Fault(set->MovePrevious()) == "");
  CHECK(fixture.RecordOf(*set) == "4|past the end");
  CHECK(set->RecordCount().value_or(-1) == 4);
}

void CheckEditing(Fixture& fixture) {
  const std::string table = fixture.MakePeople(3);
  const auto set = fixture.Open(table);
  REQUIRE(Fault(set->MoveNext()) == "");
  REQUIRE(Fault(set->Edit()) == "");
  CHECK(set->EditMode() == EditState::kEdit);
  CHECK(fixture.RecordOf(*set) == "2|name 2");
  REQUIRE(Fault(set->Fields(1).SetText("changed")) == "");
  CHECK(fixture.RecordOf(*set) == "2|changed");
  REQUIRE(Fault(set->Edit()) == "");  // begins anew
  CHECK(fixture.RecordOf(*set) == "2|name 2");
  REQUIRE(Fault(set->Fields(0).SetText("20")) == "");
  REQUIRE(Fault(set->Update()) == "");
  CHECK(fixture.RecordOf(*set) == "20|name 2");  // fields left alone keep their values
  REQUIRE(Fault(Change(*set, 0, "")) == "");
  REQUIRE(Fault(set->Edit()) == "");
  REQUIRE(Fault(set->Update()) == "");  // nothing assigned
  REQUIRE(Fault(set->MoveNext()) == "");
  CHECK(fixture.RecordOf(*set) == "3|name 3");
  CHECK(fixture.Dump(table) == "1|name 1\n<null>|name 2\n3|name 3\n");
}

void CheckDiscarding(Fixture& fixture) {
  for (const Discarding& discarding : kDiscarding) {
    for (const bool adding : {true, false}) {
      CAPTURE(discarding.name);
      CAPTURE(adding);
      const std::string table = fixture.MakePeople(3);
      const auto set = fixture.Open(table);
      REQUIRE(Fault(set->MoveNext()) == "");
      database::Bookmark second;
      REQUIRE(Fault(set->GetBookmark(second)) == "");
      REQUIRE(Fault(adding ? set->AddNew() : set->Edit()) == "");
      REQUIRE(Fault(set->Fields(1).SetText("never")) == "");
      REQUIRE(Fault(discarding.act(*set)) == "");
      CHECK(set->EditMode() == EditState::kNone);
      const bool deleted = discarding.name == std::string_view("Delete");
      CHECK(fixture.Dump(table) ==
            (deleted ? "1|name 1\n3|name 3\n" : "1|name 1\n2|name 2\n3|name 3\n"));
    }
  }
  const auto set = fixture.Open(fixture.MakePeople(1));
  CHECK(Fault(set->CancelUpdate()) == "");  // nothing pending
}

// A call that must fail, the number it fails with and a word that its message names.
void CheckRefused(const Status& status, ErrorNumber number, std::string_view word) {
  CHECK(Number(status) == Number(number));
  CHECK_MESSAGE(status.message().find(word) != std::string_view::npos,
                std::string(status.message()) << " does not name " << std::string(word));
}

void CheckRefusals(Fixture& fixture) {
  const std::string table = fixture.MakePeople(2);
  const auto set = fixture.Open(table);
  CheckRefused(set->Update(), ErrorNumber::kNoCurrentEdit, table);
  CheckRefused(set->Fields(1).SetText("x"), ErrorNumber::kNoCurrentEdit, "NAME");
  CheckRefused(set->Fields("NONE").status(), ErrorNumber::kNotInCollection, "NONE");

  REQUIRE(Fault(set->Edit()) == "");
  REQUIRE(Fault(set->Fields(1).SetText(std::string(20, 'x'))) == "");
  const Status too_long = set->Fields(1).SetText(std::string(21, 'y'));
  CheckRefused(too_long, ErrorNumber::kFieldTooSmall, "NAME");
  CHECK(too_long.code() == Code::kTooLong);
  const Status no_number = set->Fields(0).SetText("12 apples");
  CheckRefused(no_number, ErrorNumber::kConversion, "12 apples");
  CHECK(no_number.code() == Code::kConversion);
  REQUIRE_FALSE(fixture.engine.Errors().empty());
  CHECK(fixture.engine.Errors().front().number == Number(ErrorNumber::kConversion));
  CHECK(fixture.engine.Errors().front().description == no_number.message());
  // Both fields kept what they had, and the record can still be stored.
  CHECK(fixture.RecordOf(*set) == "1|" + std::string(20, 'x'));
  REQUIRE(Fault(set->Update()) == "");
  CHECK(fixture.Dump(table) == "1|" + std::string(20, 'x') + "\n2|name 2\n");

  REQUIRE(Fault(set->Close()) == "");
  const int closed = Number(ErrorNumber::kObjectInvalid);
  CHECK(Number(set->MoveFirst()) == closed);
  CHECK(Number(set->AddNew()) == closed);
  CHECK(Number(set->Update()) == closed);
  CHECK(Number(set->Delete()) == closed);
  CHECK(Number(set->RecordCount().status()) == closed);
  CHECK(fixture.TextOf(*set, 0) == "3420");
}

void CheckRules(Fixture& fixture) {
  TableDef rules;
  rules.Fields = {NumberField("ID"), TextField("MUST", 10), TextField("FULL", 10),
                  TextField("FILLED", 10)};
  rules.Fields[1].Required = true;
  rules.Fields[1].AllowZeroLength = false;
  rules.Fields[2].AllowZeroLength = false;
  rules.Fields[3].Required = true;
  rules.Fields[3].DefaultValue = "default";
  const std::string table = fixture.Make(rules);
  fixture.Reopen();
  const auto set = fixture.Open(table);

  CHECK(Number(Append(*set, {"1", "<null>", "b", "c"})) == Number(ErrorNumber::kRequired));
  CHECK(set->EditMode() == EditState::kNone);
  CHECK(Number(Append(*set, {"1", "", "b", "c"})) == Number(ErrorNumber::kRequired));
  REQUIRE(Fault(set->AddNew()) == "");
  CHECK(Number(set->Fields(2).SetValue(values::Value::Text(""))) ==
        Number(ErrorNumber::kZeroLength));
  CHECK(Fault(set->Fields(2).SetText("")) == "");  // becomes Null, which is allowed
  CHECK(fixture.TextOf(*set, 2) == "<null>");
  CHECK(set->RecordCount().value_or(-1) == 0);

  REQUIRE(Fault(Append(*set, {"1", "a", "<null>", "<null>"})) == "");
  REQUIRE(Fault(Append(*set, {"2", "a", "b", "c"})) == "");
  REQUIRE(Fault(set->MoveLast()) == "");
  REQUIRE(Fault(set->Edit()) == "");
  REQUIRE(Fault(set->Fields(1).SetValue(values::Value::Null())) == "");
  CHECK(Number(set->Update()) == Number(ErrorNumber::kRequired));
  CHECK(fixture.Dump(table) == "1|a|<null>|default\n2|a|b|c\n");
}

void CheckAutomaticNumbers(Fixture& fixture) {
  TableDef numbered;
  numbered.Fields = {NumberField("ID"), TextField("NAME", 10)};
  numbered.Fields[0].AutoIncrement = true;
  const std::string table = fixture.Make(numbered);
  {
    const auto set = fixture.Open(table);
    CHECK(set->Def().Fields[0].AutoIncrement);
    REQUIRE(Fault(Append(*set, {"<null>", "a"})) == "");
    REQUIRE(Fault(Append(*set, {"", "b"})) == "");  // Null leaves it to the table
    REQUIRE(Fault(set->AddNew()) == "");
    REQUIRE(Fault(set->Fields(1).SetText("cancelled")) == "");
    REQUIRE(Fault(set->CancelUpdate()) == "");
    REQUIRE(Fault(set->MoveLast()) == "");
    REQUIRE(Fault(set->Delete()) == "");
  }
  fixture.Reopen();
  const auto set = fixture.Open(table);
  REQUIRE(Fault(Append(*set, {"<null>", "c"})) == "");
  CHECK(fixture.TextOf(*set, 0) == "1");
  REQUIRE(Fault(set->MoveLast()) == "");
  const std::string number = fixture.TextOf(*set, 0);
  CHECK_MESSAGE((number == "3" || number == "4"), "a number given out twice or lost: " << number);
}

void CheckReadOnly(Fixture& fixture) {
  const std::string table = fixture.MakePeople(2);
  fixture.Reopen(true);
  CHECK_FALSE(fixture.database().Updatable());
  const auto set = fixture.Open(table);
  CheckNotWritable(*set);
  CHECK(fixture.Walk(*set) == "1|name 1\n2|name 2\n");
  TableDef other;
  other.Name = "OTHER";
  other.Fields = {NumberField("ID")};
  CHECK(Number(fixture.database().CreateTable(other)) == Number(ErrorNumber::kReadOnly));
  CHECK(Number(fixture.database().DeleteTable(table)) == Number(ErrorNumber::kReadOnly));
}

}  // namespace

void CheckWriting(Fixture& fixture) {
  SUBCASE("a new record reads Null until it is assigned") {
    CheckAdding(fixture);
  }
  SUBCASE("an edit changes what was assigned and nothing else") {
    CheckEditing(fixture);
  }
  SUBCASE("moving and other calls discard a pending edit") {
    CheckDiscarding(fixture);
  }
  SUBCASE("refusals tell their number and leave everything as it was") {
    CheckRefusals(fixture);
  }
  SUBCASE("a database opened for reading only is not changed") {
    CheckReadOnly(fixture);
  }
  if (fixture.backend.required) {
    SUBCASE("required fields, zero length and defaults") {
      CheckRules(fixture);
    }
  }
  if (fixture.backend.auto_increment) {
    SUBCASE("automatic numbers") {
      CheckAutomaticNumbers(fixture);
    }
  }
}

}  // namespace kelvorin::tests
