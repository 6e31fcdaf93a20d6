#include "storage/open_files.h"

#include <algorithm>

#include "base/status.h"

namespace kelvorin::storage {

std::shared_ptr<Store> OpenFiles::Open(FileSystem& fs, const std::string& path,
                                       const StoreOptions& options) {
  std::erase_if(entries_, [](const Entry& entry) { return entry.store.expired(); });
  const auto identity = [&] { return fs.Open(path, os::OpenMode::kRead)->Identity(); };
  if (fs.Exists(path)) {
    const os::FileIdentity wanted = identity();
    for (const Entry& entry : entries_) {
      std::shared_ptr<Store> store = entry.store.lock();
      if (store == nullptr || entry.identity != wanted) continue;
      if (options.create) throw Error(Code::kAlreadyExists, path + ": the file exists already");
      if (store->read_only() && !options.read_only)
        throw Error(Code::kLocked, path + ": the file is open here for reading");
      return store;
    }
  }
  StoreOptions told = options;
  if (!told.tell) told.tell = tell_;
  std::shared_ptr<Store> store = Store::Open(fs, path, told);
  entries_.push_back({.identity = identity(), .store = store});
  return store;
}

}  // namespace kelvorin::storage
