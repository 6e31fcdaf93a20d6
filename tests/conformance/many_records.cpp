// Conformance: tables of some size, and long random walks against a plain map.

#include <doctest/doctest.h>

#include <map>
#include <random>

#include "tests/conformance/fixture.h"

namespace kelvorin::tests {
namespace {

std::string NameOf(int id) {
  return "name of number " + std::to_string(id % 97);
}

void CheckSize(Fixture& fixture) {
  const int count = static_cast<int>(fixture.backend.many_records);
  TableDef def;
  def.Fields = {NumberField("ID"), TextField("NAME", 40)};
  const std::string table = fixture.Make(def);
  std::string expected;
  {
    const auto set = fixture.Open(table);
    for (int id = 1; id <= count; ++id) {
      REQUIRE(Fault(fixture.Add(*set, {std::to_string(id), NameOf(id)})) == "");
      expected += std::to_string(id) + "|" + NameOf(id) + "\n";
    }
    CHECK(set->RecordCount().value_or(-1) == count);
  }
  fixture.Reopen();
  const bool same = fixture.Dump(table) == expected;
  CHECK_MESSAGE(same, "records changed by closing and opening");

  const auto set = fixture.Open(table);
  REQUIRE(Fault(set->Move(count / 2)) == "");
  CHECK(fixture.TextOf(*set, 0) == std::to_string(count / 2 + 1));
  // Every third goes, every fifth changes, on one way through the table and back.
  std::string left;
  int live = 0;
  REQUIRE(Fault(set->MoveFirst()) == "");
  for (int id = 1; id <= count; ++id) {
    if (id % 3 == 0) {
      REQUIRE(Fault(set->Delete()) == "");
    } else {
      if (id % 5 == 0) {
        REQUIRE(Fault(set->Edit()) == "");
        REQUIRE(Fault(set->Fields(1).SetText("changed")) == "");
        REQUIRE(Fault(set->Update()) == "");
      }
      ++live;
      left += std::to_string(id) + "|" + (id % 5 == 0 ? "changed" : NameOf(id)) + "\n";
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
  const bool same_left = fixture.Dump(table) == left;
  CHECK_MESSAGE(same_left, "records differ after deleting and changing");
  fixture.CheckSound();
}

// Plays random operations on a table and on a map from ID to the rest of the record. Records are
// found again by their bookmarks, or by Seek where the table has a primary index.
class RandomWalk {
 public:
  RandomWalk(Fixture& fixture, bool indexed) : fixture_(fixture), indexed_(indexed) {
    TableDef def;
    def.Fields = {NumberField("ID"), TextField("CODE", 8), TextField("NAME", 30)};
    if (fixture.backend.memo) {
      def.Fields.push_back(TextField("NOTE", 0));
      def.Fields.back().Type = TypeCode::kMemo;
    }
    if (indexed) {
      def.Indexes = {PrimaryIndex(fixture.backend), IndexOn("CODE", {{"CODE", false}})};
    }
    table_ = fixture.Make(def);
    OpenSet();
  }

  void Play(std::size_t steps) {
    for (std::size_t step = 1; step <= steps; ++step) {
      CAPTURE(step);
      const auto chance = random_() % 100;
      if (chance < 45 || model_.size() < 5) {
        Append();
      } else if (chance < 75) {
        Change();
      } else if (chance < 90) {
        Remove();
      } else if (chance < 95) {
        BreakOff();
      } else {
        Read();
      }
      if (step % 500 == 0) Compare();
    }
    Compare();
  }

 private:
  struct Stored {
    std::string rest;  // the other fields as `Fixture::RecordOf` shows them
    database::Bookmark bookmark;
  };
  const std::string& primary() const { return fixture_.backend.primary_index; }

  void OpenSet() {
    set_ = fixture_.Open(table_);
    if (indexed_) REQUIRE(Fault(set_->SetIndex(primary())) == "");
  }

  // Texts for all fields but the ID; often short, sometimes longer than a block.
  Texts RandomTexts() {
    const char letter = static_cast<char>('A' + random_() % 26);
    Texts texts = {std::string(1 + random_() % 8, letter), std::string(1 + random_() % 30, letter)};
    if (fixture_.backend.memo)
      texts.emplace_back(random_() % 10 == 0 ? random_() % 9000 + 1 : random_() % 60 + 1, letter);
    return texts;
  }
  static std::string Join(const Texts& texts) {
    std::string all;
    for (const std::string& text : texts) all += "|" + text;
    return all;
  }
  void Assign(const Texts& texts) {
    for (std::size_t i = 0; i < texts.size(); ++i)
      REQUIRE(Fault(set_->Fields(i + 1).SetText(texts[i])) == "");
  }
  auto Pick() {
    auto it = model_.lower_bound(static_cast<int>(random_() % 100'000));
    return it == model_.end() ? model_.begin() : it;
  }
  bool GoTo(int id, const Stored& stored) {
    if (!indexed_) return Fault(set_->SetBookmark(stored.bookmark)) == "";
    const std::string key = std::to_string(id);
    const std::string_view keys[] = {key};
    return Fault(set_->SeekText(SeekComparison::kEqual, keys)) == "" && !set_->NoMatch();
  }

  void Append() {
    const int id = static_cast<int>(random_() % 100'000);
    const bool known = model_.count(id) != 0;
    if (known && !(indexed_ && fixture_.backend.unique)) return;
    const Texts texts = RandomTexts();
    REQUIRE(Fault(set_->AddNew()) == "");
    REQUIRE(Fault(set_->Fields(0).SetText(std::to_string(id))) == "");
    Assign(texts);
    const Status status = set_->Update();
    if (known) {
      CHECK(Number(status) == Number(ErrorNumber::kDuplicateKey));
      return;
    }
    REQUIRE(Fault(status) == "");
    Stored& stored = model_[id];
    stored.rest = Join(texts);
    if (indexed_) return;
    REQUIRE(Fault(set_->MoveLast()) == "");
    if (fixture_.TextOf(*set_, 0) != std::to_string(id)) Find(id);  // it took a deleted one's place
    REQUIRE(Fault(set_->GetBookmark(stored.bookmark)) == "");
  }
  void Find(int id) {
    REQUIRE(Fault(set_->MoveFirst()) == "");
    while (fixture_.TextOf(*set_, 0) != std::to_string(id)) REQUIRE(Fault(set_->MoveNext()) == "");
  }
  void Change() {
    const auto it = Pick();
    REQUIRE(GoTo(it->first, it->second));
    const Texts texts = RandomTexts();
    REQUIRE(Fault(set_->Edit()) == "");
    Assign(texts);
    REQUIRE(Fault(set_->Update()) == "");
    it->second.rest = Join(texts);
    CHECK(fixture_.RecordOf(*set_) == std::to_string(it->first) + it->second.rest);
  }
  void Remove() {
    const auto it = Pick();
    REQUIRE(GoTo(it->first, it->second));
    REQUIRE(Fault(set_->Delete()) == "");
    if (indexed_) CHECK_FALSE(GoTo(it->first, it->second));
    model_.erase(it);
  }
  void BreakOff() {
    const auto it = Pick();
    REQUIRE(GoTo(it->first, it->second));
    REQUIRE(Fault(set_->Edit()) == "");
    Assign(RandomTexts());
    CHECK(Number(set_->Fields(1).SetText("longer than eight")) ==
          Number(ErrorNumber::kFieldTooSmall));
    REQUIRE(Fault(set_->CancelUpdate()) == "");
    CHECK(fixture_.RecordOf(*set_) == std::to_string(it->first) + it->second.rest);
  }
  void Read() {
    const auto it = Pick();
    REQUIRE(GoTo(it->first, it->second));
    CHECK(fixture_.RecordOf(*set_) == std::to_string(it->first) + it->second.rest);
  }

  void Compare() {
    REQUIRE(Fault(set_->Close()) == "");
    fixture_.Reopen();
    fixture_.CheckSound();
    std::string expected;
    for (const auto& [id, stored] : model_) expected += std::to_string(id) + stored.rest + "\n";
    OpenSet();
    CHECK(set_->RecordCount().value_or(-1) == static_cast<std::int64_t>(model_.size()));
    std::map<int, std::string> read;
    std::string in_order;
    while (!set_->Eof()) {
      const std::string record = fixture_.RecordOf(*set_) + "\n";
      read[std::stoi(record)] += record;
      if (indexed_) in_order += record;
      REQUIRE(Fault(set_->MoveNext()) == "");
    }
    std::string sorted;
    for (const auto& [id, records] : read) sorted += records;
    const bool same = sorted == expected;
    CHECK_MESSAGE(same, "table and map differ");
    if (!indexed_) return;
    const bool ordered = in_order == expected;
    CHECK_MESSAGE(ordered, "the order by ID is not that of the map");
    CheckOrderOfCodes();
  }
  void CheckOrderOfCodes() {
    REQUIRE(Fault(set_->SetIndex("CODE")) == "");
    std::string before;
    std::size_t count = 0;
    for (; !set_->Eof(); ++count) {
      const std::string code = fixture_.TextOf(*set_, 1);
      CHECK(before <= code);
      before = code;
      REQUIRE(Fault(set_->MoveNext()) == "");
    }
    CHECK(count == model_.size());
    REQUIRE(Fault(set_->SetIndex(primary())) == "");
  }

  Fixture& fixture_;
  bool indexed_;
  std::string table_;
  std::unique_ptr<Recordset> set_;
  std::map<int, Stored> model_;
  std::minstd_rand random_{20'240'229};
};

}  // namespace

void CheckManyRecords(Fixture& fixture) {
  SUBCASE("many records") {
    CheckSize(fixture);
  }
  if (fixture.backend.bookmarks) {
    SUBCASE("random operations against a map") {
      RandomWalk(fixture, false).Play(fixture.backend.random_steps);
    }
  }
  if (fixture.backend.indexes && !fixture.backend.primary_index.empty()) {
    SUBCASE("random operations under two indexes") {
      RandomWalk(fixture, true).Play(fixture.backend.random_steps);
    }
  }
}

}  // namespace kelvorin::tests
