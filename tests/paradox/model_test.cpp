// Random work on tables with small blocks and long keys against an ordered map; now and then the
// files are closed and looked at by our own check and by an independent one. Keys, trees of several
// levels, secondary indexes, blobs and encryption are in it. `KELVORIN_MODEL_STEPS` makes it
// longer.

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "tests/paradox/paradox_support.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>

namespace kelvorin::tests {
namespace {

using enum TypeCode;
using database::Bookmark;

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
constexpr int kKeys = 3000;

std::string KeyOf(int number) {
  std::string key = std::to_string(10'000 + number);
  // Long common fronts, so that a wrong place is not found by its first letter.
  key.insert(0, "K" + std::string(120 + static_cast<std::size_t>(number % 7), 'A'));
  key.resize(kKeyChars, 'Z');
  return key;
}

class Work {
 public:
  Work(const Variant& variant, const TempFolder& temp) : variant_(variant), temp_(temp) {
    TableDef def = MakeTable("W", {MakeField("KEY", kText, kKeyChars), MakeField("KIND", kText, 6),
                                   MakeField("NUM", kInteger)});
    if (variant.blobs) def.Fields.push_back(MakeField("NOTE", kMemo));
    if (variant.keyed) def.Indexes.push_back(MakeIndex("PrimaryKey", "+KEY", true, true));
    if (variant.indexed) {
      def.Indexes.push_back(MakeIndex("KIND", "+KIND"));
      def.Indexes.push_back(MakeIndex("Falling", "-NUM;-KIND"));
    }
    Folder folder(temp.path(), variant.connect);
    folder.Make(def);
    // Blocks of 1 KiB: trees of three levels with few records.
    for (const char* extension : {"DB", "PX", "X02", "Y02", "XG0", "YG0"}) {
      const std::string path = temp.File(std::string("W.") + extension);
      if (!base::FileExists(path)) continue;
      std::string bytes = ReadWhole(path);
      bytes[5] = 1;
      WriteWhole(path, bytes);
    }
    Open();
  }

  void Play(int steps) {
    for (int step = 1; step <= steps; ++step) {
      CAPTURE(step);
      const auto chance = static_cast<unsigned>(random_() % 100);
      const bool growing = step < steps * 2 / 3;
      if (chance < (growing ? 55u : 15u) || model_.empty()) {
        Insert();
      } else if (chance < 70) {
        Edit(random_() % 3 == 0);
      } else if (chance < (growing ? 80u : 92u)) {
        Remove();
      } else {
        Seek();
      }
      if (step % 250 == 0) Look();
    }
    Look();
  }

  /// The most levels that the primary index had.
  int levels() const noexcept { return levels_; }

 private:
  using Model = std::map<std::string, Row>;  // by key: the whole record

  void Open() {
    folder_ = std::make_unique<Folder>(temp_.path(), variant_.connect);
    set_ = folder_->Open("W");
  }

  Row RandomRow(int number) {
    Row row = {KeyOf(number), "K" + std::to_string(random_() % 40),
               std::to_string(static_cast<int>(random_() % 200) - 100)};
    const std::size_t sizes[] = {1, 2, 16, 17, 200, 2047, 2048, 2049, 4087, 4088, 9000};
    if (variant_.blobs)
      row.push_back(random_() % 4 == 0 ? std::string("<null>")
                                       : std::string(sizes[random_() % 11], 'm'));
    return row;
  }

  auto Pick() {
    auto it = model_.lower_bound(KeyOf(static_cast<int>(random_() % kKeys)));
    return it == model_.end() ? model_.begin() : it;
  }

  void Insert() {
    const Row row = RandomRow(static_cast<int>(random_() % kKeys));
    const bool there = model_.contains(row[0]);
    if (there && !variant_.keyed) return;
    const Status added = Append(*set_, row);
    CHECK(added.code() == (there ? Code::kDuplicateKey : Code::kOk));
    if (!there) model_[row[0]] = row;
  }

  /// Stands on a record of the model.
  void Find(const std::string& key) {
    if (variant_.keyed) {
      REQUIRE(set_->SetIndex("PrimaryKey").ok());
      const std::string_view keys[] = {key};
      REQUIRE(set_->SeekText(database::SeekComparison::kEqual, keys).ok());
      REQUIRE_FALSE(set_->NoMatch());
      return;
    }
    REQUIRE(set_->MoveFirst().ok());
    while (Shown()[0] != key) REQUIRE(set_->MoveNext().ok());
  }

  void Edit(bool with_key) {
    const auto it = Pick();
    Find(it->first);
    const Row row = RandomRow(static_cast<int>(random_() % kKeys));
    const bool there = row[0] != it->first && model_.contains(row[0]);
    if (there && !variant_.keyed) return;
    REQUIRE(set_->Edit().ok());
    Row after = it->second;
    for (std::size_t i = with_key ? 0 : 1; i < row.size(); ++i) {
      if (i != 0 && random_() % 2 == 0) continue;
      after[i] = row[i];
      REQUIRE((row[i] == "<null>" ? set_->Fields(i).SetValue(values::Value::Null())
                                  : set_->Fields(i).SetText(row[i]))
                  .ok());
    }
    const Status updated = set_->Update();
    CHECK(updated.code() == (there && with_key ? Code::kDuplicateKey : Code::kOk));
    if (!updated.ok()) return;
    CHECK(Show(Shown()) == Show(after));
    model_.erase(it);
    model_[after[0]] = after;
  }

  void Remove() {
    const auto it = Pick();
    Find(it->first);
    REQUIRE(set_->Delete().ok());
    model_.erase(it);
  }

  void Seek() {
    if (!variant_.keyed) return;
    using database::SeekComparison;
    const std::string key = KeyOf(static_cast<int>(random_() % kKeys));
    const std::string_view keys[] = {key};
    REQUIRE(set_->SetIndex("PrimaryKey").ok());
    const auto from = model_.lower_bound(key), above = model_.upper_bound(key);
    const struct {
      SeekComparison comparison;
      Model::const_iterator found;
    } cases[] = {
        {SeekComparison::kEqual, from == above ? model_.end() : from},
        {SeekComparison::kGreaterEqual, from},
        {SeekComparison::kGreater, above},
        {SeekComparison::kLessEqual, above == model_.begin() ? model_.end() : std::prev(above)},
        {SeekComparison::kLess, from == model_.begin() ? model_.end() : std::prev(from)}};
    for (const auto& sought : cases) {
      REQUIRE(set_->SeekText(sought.comparison, keys).ok());
      REQUIRE(set_->NoMatch() == (sought.found == model_.end()));
      if (!set_->NoMatch()) CHECK(Show(Shown()) == Show(sought.found->second));
    }
    if (variant_.indexed) SeekFalling();
  }

  /// The first in the order NUM and KIND falling, then key rising.
  void SeekFalling() {
    REQUIRE(set_->SetIndex("falling").ok());
    const int number = static_cast<int>(random_() % 200) - 100;
    const std::string text = std::to_string(number);
    const std::string_view keys[] = {text};
    const Row* expected = nullptr;
    for (const auto& [key, row] : model_) {
      const int held = std::stoi(row[2]);
      if (held > number) continue;
      if (expected != nullptr) {
        const int best = std::stoi((*expected)[2]);
        if (held < best || (held == best && row[1] <= (*expected)[1])) continue;
      }
      expected = &row;
    }
    REQUIRE(set_->SeekText(database::SeekComparison::kGreaterEqual, keys).ok());
    REQUIRE(set_->NoMatch() == (expected == nullptr));
    if (expected != nullptr) CHECK(Show(Shown()) == Show(*expected));
  }

  Row Shown() {
    Row row;
    std::string text;
    for (std::size_t i = 0; i < set_->FieldCount(); ++i) {
      bool null = false;
      REQUIRE(set_->Fields(i).GetText(text, null).ok());
      row.push_back(null ? "<null>" : text);
    }
    return row;
  }

  void Look() {
    REQUIRE(set_->Close().ok());
    set_ = nullptr;
    folder_ = nullptr;
    levels_ = std::max<int>(levels_, variant_.keyed ? ReadWhole(temp_.File("W.PX"))[0x20] : 3);
    CheckByOracle(temp_.File("W.DB"), variant_.oracle);
    Open();
    CheckSound(**folder_);
    std::vector<Row> expected, found = folder_->ReadAll("W");
    for (const auto& [key, row] : model_) expected.push_back(row);
    if (!variant_.keyed) std::sort(found.begin(), found.end());
    const bool same = found == expected;
    CHECK_MESSAGE(same, "table and map differ: ", found.size(), " and ", expected.size());
    if (variant_.indexed) {
      REQUIRE(set_->SetIndex("KIND").ok());
      std::pair<std::string, std::string> before;
      for (std::size_t i = 0; i < model_.size(); ++i) {
        const Row row = Shown();
        CHECK(model_.at(row[0]) == row);
        const std::pair now(row[1], row[0]);
        const bool rises = before < now;
        CHECK(rises);
        before = now;
        REQUIRE(set_->MoveNext().ok());
      }
      CHECK(set_->Eof());
    }
  }

  const Variant& variant_;
  const TempFolder& temp_;
  std::unique_ptr<Folder> folder_;
  std::unique_ptr<Recordset> set_;
  Model model_;
  int levels_ = 0;
  std::minstd_rand random_{20'261'122};
};

}  // namespace

TEST_CASE("random work on small blocks equals an ordered map") {
  REQUIRE(base::SetAnsiPage(65001).ok());
  REQUIRE(base::SetOemPage(437).ok());
  const char* asked = std::getenv("KELVORIN_MODEL_STEPS");
  const int steps = asked != nullptr ? std::atoi(asked) : 1000;
  for (const Variant& variant : kVariants) {
    CAPTURE(std::string(variant.connect));
    const TempFolder temp;
    Work work(variant, temp);
    work.Play(steps);
    CHECK(work.levels() >= 3);
  }
}

}  // namespace kelvorin::tests
