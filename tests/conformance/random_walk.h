#pragma once
// Random work on one table against a plain map: records come, change, go and are sought, and now
// and then everything is compared. For the conformance suite and for drivers with shapes of their
// own.

#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/conformance/records.h"

namespace kelvorin::tests {

struct WalkIndex {
  struct Column {
    std::size_t field;
    bool number = false;
    bool descending = false;
  };
  std::string name;
  std::vector<Column> columns;
  bool sought = false;  // by its first column
};

struct WalkPlan {
  /// Opens the table; called again after each look.
  std::function<std::unique_ptr<database::Recordset>()> open;
  /// A record of the key number `n`, the same key each time. No text of an index is Null.
  std::function<Texts(std::minstd_rand&, int n)> record;
  /// Looks at what the closed table left, and leaves it so that it can be opened.
  std::function<void()> look;
  std::size_t key_field = 0;
  int keys = 100'000;
  std::vector<WalkIndex> indexes{};
  /// The index by which a key is found; without one records are found by their bookmarks.
  std::string key_index{};
  bool refuses_twins = false;      // a key that is there already
  bool lasting_bookmarks = false;  // they outlive the set
  int look_every = 250;
};

class RandomWalk {
 public:
  explicit RandomWalk(WalkPlan plan);
  ~RandomWalk();
  /// The table grows for two thirds of the steps and shrinks after that.
  void Play(int steps);

 private:
  struct Stored {
    Texts texts;
    database::Bookmark bookmark;
  };
  using Model = std::map<std::string, Stored>;  // by key

  int Below(int end) { return static_cast<int>(random_() % static_cast<unsigned>(end)); }
  Texts Fresh() { return plan_.record(random_, Below(plan_.keys)); }
  Model::iterator Pick();
  void Find(const Model::value_type& stored);
  void Add();
  void Edit();
  void Remove();
  void Seek();
  void Look();
  void CheckOrder(const WalkIndex& index);

  const WalkPlan plan_;
  std::unique_ptr<database::Recordset> set_;
  Model model_;
  std::minstd_rand random_{20'240'229};
};

}  // namespace kelvorin::tests
