#include "tests/conformance/random_walk.h"

#include <doctest/doctest.h>

#include <algorithm>

namespace kelvorin::tests {
namespace {

using database::SeekComparison;

/// Less than, equal to or greater than 0 in the order of the column.
int Compare(const WalkIndex::Column& column, const std::string& a, const std::string& b) {
  int order = a.compare(b);
  if (column.number) order = std::stod(a) < std::stod(b) ? -1 : std::stod(a) > std::stod(b) ? 1 : 0;
  return column.descending ? -order : order;
}

/// Whether a record with `order` to what is sought is one that the comparison allows.
bool Fits(SeekComparison comparison, int order) {
  switch (comparison) {
    case SeekComparison::kEqual:
      return order == 0;
    case SeekComparison::kGreaterEqual:
      return order >= 0;
    case SeekComparison::kGreater:
      return order > 0;
    case SeekComparison::kLessEqual:
      return order <= 0;
    default:
      return order < 0;
  }
}

void Must(const Status& status) {
  REQUIRE_MESSAGE(status.ok(), status.message());
}

}  // namespace

RandomWalk::RandomWalk(WalkPlan plan) : plan_(std::move(plan)), set_(plan_.open()) {}
RandomWalk::~RandomWalk() = default;

void RandomWalk::Play(int steps) {
  for (int step = 1; step <= steps; ++step) {
    CAPTURE(step);
    const int chance = Below(100);
    const bool growing = step < steps * 2 / 3;
    if (chance < (growing ? 50 : 15) || model_.size() < 5) {
      Add();
    } else if (chance < 72) {
      Edit();
    } else if (chance < (growing ? 82 : 93)) {
      Remove();
    } else {
      Seek();
    }
    if (step % plan_.look_every == 0) Look();
  }
  Look();
}

RandomWalk::Model::iterator RandomWalk::Pick() {
  const auto it = model_.lower_bound(Fresh()[plan_.key_field]);
  return it == model_.end() ? model_.begin() : it;
}

void RandomWalk::Find(const Model::value_type& stored) {
  if (plan_.key_index.empty()) return Must(set_->SetBookmark(stored.second.bookmark));
  REQUIRE(Finds(*set_, plan_.key_index, {stored.first}));
}

void RandomWalk::Add() {
  const Texts row = Fresh();
  const std::string& key = row[plan_.key_field];
  const bool twin = model_.contains(key);
  if (twin && !plan_.refuses_twins) return;
  const Status added = Append(*set_, row);
  REQUIRE_MESSAGE(added.code() == (twin ? Code::kDuplicateKey : Code::kOk), added.message());
  if (twin) return;
  Stored& stored = model_[key];
  stored.texts = row;
  if (!plan_.key_index.empty()) return;
  Must(set_->MoveLast());
  if (TextsOf(*set_) != row)  // it took a deleted one's place
    for (Must(set_->MoveFirst()); TextsOf(*set_) != row;) Must(set_->MoveNext());
  Must(set_->GetBookmark(stored.bookmark));
}

/// Changes a record, or breaks off in the middle.
void RandomWalk::Edit() {
  const auto it = Pick();
  Find(*it);
  const Texts row = Fresh();
  const bool twin = row[plan_.key_field] != it->first && model_.contains(row[plan_.key_field]);
  const bool with_key = Below(3) == 0 && (!twin || plan_.refuses_twins);
  Must(set_->Edit());
  Texts after = it->second.texts;
  for (std::size_t i = 0; i < row.size(); ++i) {
    if (i == plan_.key_field ? !with_key : Below(2) == 0) continue;
    after[i] = row[i];
    Must(row[i] == "<null>" ? set_->Fields(i).SetValue(values::Value::Null())
                            : set_->Fields(i).SetText(row[i]));
  }
  if (Below(5) == 0) {
    Must(set_->CancelUpdate());
    CHECK(TextsOf(*set_) == it->second.texts);
    return;
  }
  const Status updated = set_->Update();
  REQUIRE_MESSAGE(updated.code() == (twin && with_key ? Code::kDuplicateKey : Code::kOk),
                  updated.message());
  if (!updated.ok()) return;
  CHECK(TextsOf(*set_) == after);
  const database::Bookmark bookmark = it->second.bookmark;
  model_.erase(it);
  model_[after[plan_.key_field]] = {after, bookmark};
}

void RandomWalk::Remove() {
  const auto it = Pick();
  Find(*it);
  Must(set_->Delete());
  model_.erase(it);
}

void RandomWalk::Seek() {
  for (const WalkIndex& index : plan_.indexes) {
    if (!index.sought) continue;
    CAPTURE(index.name);
    const WalkIndex::Column& column = index.columns.front();
    const std::string sought = Fresh()[column.field];
    const std::string_view keys[] = {sought};
    Must(set_->SetIndex(index.name));
    for (const auto comparison :
         {SeekComparison::kEqual, SeekComparison::kGreaterEqual, SeekComparison::kGreater,
          SeekComparison::kLessEqual, SeekComparison::kLess}) {
      CAPTURE(static_cast<int>(comparison));
      const bool first =
          comparison != SeekComparison::kLessEqual && comparison != SeekComparison::kLess;
      const std::string* expected = nullptr;
      for (const auto& [key, stored] : model_) {
        const std::string& text = stored.texts[column.field];
        if (!Fits(comparison, Compare(column, text, sought))) continue;
        const int order = expected == nullptr ? 0 : Compare(column, text, *expected);
        if (expected == nullptr || (first ? order < 0 : order > 0)) expected = &text;
      }
      Must(set_->SeekText(comparison, keys));
      REQUIRE(set_->NoMatch() == (expected == nullptr));
      if (expected == nullptr) continue;
      const Texts found = TextsOf(*set_);
      CHECK(found == model_.at(found[plan_.key_field]).texts);
      CHECK(Compare(column, found[column.field], *expected) == 0);
    }
  }
  Must(set_->SetIndex(""));
}

void RandomWalk::Look() {
  Must(set_->Close());
  set_.reset();
  plan_.look();
  set_ = plan_.open();
  CHECK(set_->RecordCount().value_or(-1) == static_cast<std::int64_t>(model_.size()));
  std::size_t found = 0;
  for (; !set_->Eof(); Must(set_->MoveNext()), ++found) {
    const Texts row = TextsOf(*set_);
    REQUIRE(model_.contains(row[plan_.key_field]));
    Stored& stored = model_.at(row[plan_.key_field]);
    REQUIRE(row == stored.texts);
    if (!plan_.lasting_bookmarks) Must(set_->GetBookmark(stored.bookmark));
  }
  CHECK(found == model_.size());
  for (const WalkIndex& index : plan_.indexes) CheckOrder(index);
  Must(set_->SetIndex(""));
}

/// An index holds every record, in its order, both ways.
void RandomWalk::CheckOrder(const WalkIndex& index) {
  CAPTURE(index.name);
  Must(set_->SetIndex(index.name));
  std::vector<std::string> keys, back;
  Texts before;
  for (; !set_->Eof(); Must(set_->MoveNext())) {
    const Texts row = TextsOf(*set_);
    keys.push_back(row[plan_.key_field]);
    int order = 0;
    for (std::size_t i = 0; !before.empty() && order == 0 && i < index.columns.size(); ++i)
      order =
          Compare(index.columns[i], before[index.columns[i].field], row[index.columns[i].field]);
    CHECK(order <= 0);
    before = row;
  }
  for ((void)set_->MoveLast(); !set_->Bof(); Must(set_->MovePrevious()))
    back.push_back(TextsOf(*set_)[plan_.key_field]);
  std::reverse(back.begin(), back.end());
  CHECK(keys.size() == model_.size());
  CHECK(keys == back);
}

}  // namespace kelvorin::tests
