#pragma once
// What drivers build over a store (a table, a database file) and share as the store itself is
// shared: everybody in this process who opens the same file gets the same object. Each driver has
// one of these.

#include <memory>
#include <utility>
#include <vector>

#include "storage/store.h"

namespace kelvorin::storage {

/// `T` holds its store, so that an object which lives stands for a store which does.
template <typename T>
class SharedByStore {
 public:
  /// The object of the store, if there is one.
  std::shared_ptr<T> Find(const Store& store) {
    std::erase_if(entries_, [](const Entry& entry) { return entry.object.expired(); });
    for (const Entry& entry : entries_)
      if (entry.store == &store) return entry.object.lock();
    return nullptr;
  }
  /// Makes the store's object, by `make` within `Store::Opening`.
  template <typename F>
  std::shared_ptr<T> Make(const std::shared_ptr<Store>& store, F&& make) {
    std::shared_ptr<T> made = store->Opening(std::forward<F>(make));
    entries_.push_back({store.get(), made});
    return made;
  }

 private:
  struct Entry {
    const Store* store;
    std::weak_ptr<T> object;
  };
  std::vector<Entry> entries_;
};

}  // namespace kelvorin::storage
