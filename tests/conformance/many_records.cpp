// Conformance: tables of some size, and long random walks against a plain map.

#include <doctest/doctest.h>

#include <map>
#include <random>
#include <set>

#include "tests/conformance/fixture.h"

namespace kelvorin::tests {
namespace {

constexpr std::int32_t kShortNote = 60;  // where there are no memos

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

// Plays random operations on a table and on a map from ID to the rest of the record. Records are
// found again by their bookmarks.
class RandomWalk {
 public:
  explicit RandomWalk(Fixture& fixture) : fixture_(fixture) {
    TableDef def;
    def.Fields = {NumberField("ID"), TextField("CODE", 8), TextField("NAME", 30),
                  TextField("NOTE", fixture.backend.memos ? 0 : kShortNote)};
    if (fixture.backend.memos) def.Fields.back().Type = TypeCode::kMemo;
    table_ = fixture.Make(def);
    set_ = fixture.Open(table_);
  }

  void Play(std::size_t steps) {
    for (std::size_t step = 1; step <= steps; ++step) {
      CAPTURE(step);
      const auto chance = random_() % 100;
      if (chance < 45 || model_.size() < 5) {
        Append();
      } else if (chance < 85) {
        Edit(chance < 75);
      } else {
        Remove();
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

  // Texts for all fields but the ID; often short, sometimes longer than a block.
  Texts RandomTexts() {
    const char letter = static_cast<char>('A' + random_() % 26);
    Texts texts = {std::string(1 + random_() % 8, letter), std::string(1 + random_() % 30, letter)};
    const bool longer = fixture_.backend.memos && random_() % 10 == 0;
    texts.emplace_back(longer ? random_() % 9000 + 1 : random_() % 60 + 1, letter);
    return texts;
  }
  static std::string Join(const Texts& texts) {
    std::string all;
    for (const std::string& text : texts) all += "|" + text;
    return all;
  }
  auto Pick() {
    auto it = model_.lower_bound(static_cast<int>(random_() % 100'000));
    return it == model_.end() ? model_.begin() : it;
  }
  void Append() {
    const int id = static_cast<int>(random_() % 100'000);
    if (model_.count(id) != 0) return;
    Texts record = RandomTexts();
    Stored& stored = model_[id];
    stored.rest = Join(record);
    record.insert(record.begin(), std::to_string(id));
    REQUIRE(Fault(tests::Append(*set_, record)) == "");
    REQUIRE(Fault(set_->MoveLast()) == "");
    if (fixture_.TextOf(*set_, 0) != std::to_string(id)) Find(id);  // it took a deleted one's place
    REQUIRE(Fault(set_->GetBookmark(stored.bookmark)) == "");
  }
  void Find(int id) {
    REQUIRE(Fault(set_->MoveFirst()) == "");
    while (fixture_.TextOf(*set_, 0) != std::to_string(id)) REQUIRE(Fault(set_->MoveNext()) == "");
  }
  /// Changes a record, or breaks off in the middle.
  void Edit(bool keep) {
    const auto it = Pick();
    REQUIRE(Fault(set_->SetBookmark(it->second.bookmark)) == "");
    const Texts texts = RandomTexts();
    REQUIRE(Fault(set_->Edit()) == "");
    for (std::size_t i = 0; i < texts.size(); ++i)
      REQUIRE(Fault(set_->Fields(i + 1).SetText(texts[i])) == "");
    if (!keep)
      CHECK(Number(set_->Fields(1).SetText("longer than eight")) ==
            Number(ErrorNumber::kFieldTooSmall));
    REQUIRE(Fault(keep ? set_->Update() : set_->CancelUpdate()) == "");
    if (keep) it->second.rest = Join(texts);
    CHECK(fixture_.RecordOf(*set_) == std::to_string(it->first) + it->second.rest);
  }
  void Remove() {
    const auto it = Pick();
    REQUIRE(Fault(set_->SetBookmark(it->second.bookmark)) == "");
    REQUIRE(Fault(set_->Delete()) == "");
    model_.erase(it);
  }

  void Compare() {
    REQUIRE(Fault(set_->Close()) == "");
    fixture_.Reopen();
    fixture_.CheckSound();
    std::multiset<std::string> expected, found;
    for (const auto& [id, stored] : model_) expected.insert(std::to_string(id) + stored.rest);
    set_ = fixture_.Open(table_);
    CHECK(set_->RecordCount().value_or(-1) == static_cast<std::int64_t>(model_.size()));
    while (!set_->Eof()) {
      found.insert(fixture_.RecordOf(*set_));
      if (!fixture_.backend.lasting_bookmarks) {
        Stored& stored = model_[std::stoi(fixture_.TextOf(*set_, 0))];
        REQUIRE(Fault(set_->GetBookmark(stored.bookmark)) == "");
      }
      REQUIRE(Fault(set_->MoveNext()) == "");
    }
    const bool same = found == expected;
    CHECK_MESSAGE(same, "table and map differ");
  }

  Fixture& fixture_;
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
  SUBCASE("random operations against a map") {
    RandomWalk(fixture).Play(2000);
  }
}

}  // namespace kelvorin::tests
