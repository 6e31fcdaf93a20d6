#pragma once
// The stores that are open in this process, found by device and inode, so that a source and a
// target in one file share its pages and its lock. One object of it belongs to the database engine
// and is handed to every driver; it is no global.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "storage/store.h"

namespace kelvorin::storage {

class OpenFiles {
 public:
  /// The store whose main file this is, opened now or already open. Shared, because source and
  /// target let go of it in an order that nobody knows beforehand; the last one closes it.
  /// Errors as in `Store::Open`; also `kLocked` when it is open here for reading and the caller
  /// wants to write. A store that is open for writing is shared with a caller who only reads.
  std::shared_ptr<Store> Open(FileSystem& fs, const std::string& path, const StoreOptions& options);
  /// Who hears what the stores opened from now on tell of left journals.
  void set_tell(std::function<void(const std::string&)> tell) { tell_ = std::move(tell); }

 private:
  struct Entry {
    os::FileIdentity identity;
    std::weak_ptr<Store> store;
  };
  std::vector<Entry> entries_;
  std::function<void(const std::string&)> tell_;
};

}  // namespace kelvorin::storage
